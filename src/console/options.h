// The command line of the console program:
//   quillmar [switches] OPERATION PATH
// Switches come in any order, before or after the operation; exactly one
// operation is given, followed by its tape (or, for -b, folder) path.
#pragma once

#include "core/tapescan.h"

#include <string>
#include <vector>

enum class Operation { None, Test, Clean, Batch, ConvertV0, ConvertV1, RecordAu, RecordWav };

struct ConsoleOptions {
    Operation operation = Operation::None;
    std::string operation_switch;  // as typed: "-t", "-o", ...
    std::string path;

    int tolerance = SCAN_TOLERANCE_DEFAULT;
    bool tolerance_given = false;  // "-tol N" was on the line
    bool doprg = false;
    bool prgunite = false;
    bool noc64eof = false;
    bool noaddpause = false;
    bool boostclean = false;
    bool sine = false;
    bool incsubdirs = false;
    bool sortbycrc = false;
    bool debug = false;
    bool doc64 = false;
    bool noid = false;  // no loader identification: every selected scanner runs
    bool preserve = false;  // loader variables kept between runs (qmpreserve.txt)
    bool extvisipatch = false;  // Visiload patch files go to PRG files too
    // Scanner ids of "-doID" and "-noID", in the order given, without repeats.
    std::vector<std::string> do_ids;
    std::vector<std::string> no_ids;
    // Switches accepted for compatibility that no scanner of this program
    // uses ("-docyberfault"), in the order
    // given, without repeats.
    std::vector<std::string> inert_switches;

    bool help = false;
    bool version = false;
};

struct ParsedCommandLine {
    bool ok = false;
    std::string error;  // usage error in plain words when !ok
    ConsoleOptions options;
};

// Parses the arguments after the program name. --help or --version anywhere
// wins over everything else (ok, nothing more is checked). Otherwise exactly
// one operation with its path is required; any switch not listed, a missing
// or out-of-range tolerance, a second operation or a stray word is a usage
// error. "-doID" and "-noID" take any id that is no listed switch; ids the
// program does not know are accepted (see selected_scanners).
ParsedCommandLine parse_command_line(const std::vector<std::string> &args);

// Whether the operation writes a tape report (qmreport.txt).
bool operation_writes_tape_report(Operation op);

// The scanners to run, in order. "-doc64" runs the CBM ROM scanner ("c64")
// alone, whatever "-doID", "-noID" and "-noc64" say (each of them gets a note
// that it had no effect). Otherwise the CBM ROM scanner runs unless "-noc64"
// is given; with "-doID" switches only the scanners they name run beside
// it (an unknown id adds nothing), else every scanner but those "-noID"
// leaves out. A note for every switch that names an unknown scanner is
// appended to `notes`.
std::vector<const TapeScanner *> selected_scanners(const ConsoleOptions &o, std::vector<std::string> *notes);

// Scan options from the switches: tolerance and the end-of-data marker rule.
ScanOptions scan_options(const ConsoleOptions &o);

// Notes on switches given that have no effect on this operation, one line
// each: written at the head of the tape and batch reports, and printed on
// standard output by Record (which writes no report).
std::vector<std::string> switch_notes(const ConsoleOptions &o);

// One line describing the scan settings, e.g.
// "tolerance 10, end-of-data markers required, scanners: c64".
std::string settings_line(const ConsoleOptions &o, const std::vector<const TapeScanner *> &scanners);

// The text of --help and --version.
const char *usage_text();
std::string version_text();
