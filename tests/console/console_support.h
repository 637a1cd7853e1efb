// Running the real quillmar in a temporary folder: every test gets its own
// copy of the program (so its qmreport.txt and "prg" folder are its own) in a
// folder whose name holds blanks, an apostrophe and non-ASCII letters, and a
// second such folder for its tapes. Tapes are made with "quillmarfe-cli mktap".
#pragma once

#include "core/reportfile.h"
#include "core/tapescan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

struct ProgramRun {
    int status = -1;
    std::string out, err;
};

// Runs a program with the given arguments (no shell).
ProgramRun run_program(const std::string &program, const std::vector<std::string> &args);
// Runs argv (argv[0] as given) in `cwd` (the current folder when empty), with
// PATH set to `path_env` and the program looked up in it when that is not empty.
ProgramRun spawn_program(const std::vector<std::string> &argv, const std::string &cwd, const std::string &path_env);

// A C64 PAL ZORV dump of a TAP v1 file's pulses: one sample of 2 MHz ticks
// per pulse, a few silence samples for each long pulse.
Bytes zorv_dump_of(const Bytes &tap);

// A PRG: load address, then `size` bytes from a seeded generator.
Bytes make_prg(uint16_t load, std::size_t size, uint32_t seed);

// zlib's CRC-32 as the report prints it ("%08X").
std::string crc_text(const Bytes &bytes);

Bytes read_bytes(const std::string &path);
std::string read_text(const std::string &path);
void write_bytes(const std::string &path, const Bytes &bytes);
std::string sha256_of_file(const std::string &path);

// The value of the first report line beginning with `key` (rest of the line),
// or "<none>".
std::string report_value(const std::string &report, const std::string &key);

// "c64, ID, ID..." with the id of every scanner the program has, in order.
std::string all_scanner_ids();
// Every line of the text beginning with `key`, rest of the line.
std::vector<std::string> report_values(const std::string &report, const std::string &key);

struct NamedPrg {
    std::string name;  // on the tape
    Bytes bytes;
};

class ConsoleTest : public ::testing::Test {
protected:
    std::string root;      // removed after the test
    std::string bin;       // holds the copy of quillmar
    std::string dir;       // holds the tapes
    std::string quillmar;  // bin/quillmar

    void SetUp() override;
    void TearDown() override;

    ProgramRun run(const std::vector<std::string> &args) { return run_program(quillmar, args); }
    // Runs a line the way the front end does: parsed into words honouring
    // quotes, then spawned.
    ProgramRun run_line(const std::string &line);

    std::string report_path() const { return bin + "/qmreport.txt"; }
    std::string batch_path() const { return bin + "/qmbatch.txt"; }
    std::string report() const { return read_text(report_path()); }
    ParsedReport parsed() const { return report_parse_file(report_path(), ReportTotals()); }
    // Base names of the files in bin/prg, sorted, as the front end lists
    // them: hidden names (the list of written files) left out.
    std::vector<std::string> prg_files() const;
    // The lines of the list of files the last run wrote (bin/prg/.quillmar-written.txt), sorted.
    std::vector<std::string> written_list() const;

    std::string path(const std::string &name) const { return dir + "/" + name; }
    // Writes the programs and puts them on a tape with mktap; returns its path.
    std::string mktap(const std::string &tape_name, const std::vector<NamedPrg> &prgs,
                      const std::vector<std::string> &flags = {});
};

// Checks what every tape report must hold, parsed with the front end's own
// parser: it names `tape`, its size is the file's, the entries cover every
// byte after the header in order, and the totals agree with the lines.
void expect_consistent_report(const std::string &report_path, const std::string &tape);
