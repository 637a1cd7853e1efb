// quillmar on tapes in the turbo loaders' formats, made with
// "quillmarfe-cli mktap --format ID": the report lists the loader's blocks
// with passing checksums, the PRG files hold the programs, identification
// narrows the scan unless -noid, and the -do/-no switches choose scanners.
#include "console_support.h"
#include "core/loaders/all.h"
#include "core/loaders/bootcode.h"
#include "core/loaders/registry.h"
#include "core/loaders/turbo.h"
#include "core/tapewrite.h"

#include <gtest/gtest.h>

#include <glib.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

namespace {

class TurboTapes : public ConsoleTest, public testing::WithParamInterface<std::string> {
protected:
    const TurboLoader &loader() const { return *find_turbo_loader(GetParam()); }
    std::vector<NamedPrg> programs() const
    {
        return {{"GAME", make_prg(0x0801, 2500, 31)}, {"MUSIC", make_prg(0x1000, 400, 32)}};
    }
    std::string tape() { return mktap(std::string(loader().id) + " tape.tap", programs(), {"--format", loader().id}); }

    // The types of the report's entries made by the loader's scanner (not
    // the CBM ROM boot file, pauses or unrecognised stretches).
    std::vector<std::string> turbo_types() const
    {
        std::vector<std::string> types;
        for (const ReportEntry &e : parsed().entries)
            if (e.type != "PAUSE" && !report_type_unrecognised(e.type) && e.type.rfind("C64 ROM-TAPE", 0) != 0)
                types.push_back(e.type);
        return types;
    }
};

} // namespace

TEST_P(TurboTapes, TestReadsEveryBlockAndWritesThePrograms)
{
    const std::string t = tape();
    const ProgramRun r = run({"-doprg", "-t", t});
    ASSERT_EQ(r.status, 0) << r.err;
    expect_consistent_report(report_path(), t);
    const std::string text = report();
    EXPECT_EQ(report_value(text, "Read test         : "), "PASS - 0 read errors");
    EXPECT_EQ(report_value(text, "Checksum test     : ").substr(0, 4), "PASS");
    EXPECT_EQ(report_values(text, "File Type: UNRECOGNIZED").size(), 0u) << text;
    EXPECT_FALSE(turbo_types().empty());
    // The C16 ROM format has no boot file to be identified by.
    const bool boot_file = std::string(loader().id) != "c16";
    EXPECT_NE(report_value(text, "Loader ID   : ").find(boot_file ? "asked first up to the next boot file" : "no known loader"), std::string::npos)
        << text;

    // Every program in a PRG file of its own, as it went on tape.
    std::vector<Bytes> written;
    for (const std::string &f : prg_files())
        written.push_back(read_bytes(bin + "/prg/" + f));
    for (const NamedPrg &p : programs())
        EXPECT_NE(std::find(written.begin(), written.end(), p.bytes), written.end()) << p.name;
}

TEST_P(TurboTapes, OffSpeedJitteredTapesReadWhole)
{
    const Bytes clean = read_bytes(tape());
    for (const double speed : {0.92, 0.95, 1.05, 1.08}) {
        SCOPED_TRACE(testing::Message() << "speed " << speed);
        // Every ordinary pulse scaled and moved by up to 2 units.
        Bytes off = clean;
        uint32_t x = uint32_t(speed * 100);
        const bool long_forms = clean[TAP_OFFSET_VERSION] != 0;
        for (std::size_t i = TAP_HEADER_SIZE; i < off.size(); ++i) {
            if (clean[i] == 0) {
                i += long_forms ? 3 : 0;
                continue;
            }
            x = x * 1103515245u + 12345u;
            off[i] = uint8_t(std::clamp(int(clean[i] * speed + 0.5) + int((x >> 16) % 5) - 2, 1, 255));
        }
        const std::string t = path("off speed.tap");
        write_bytes(t, off);
        ASSERT_EQ(run({"-doprg", "-t", t}).status, 0);
        expect_consistent_report(report_path(), t);
        const std::string text = report();
        EXPECT_EQ(report_value(text, "Read test         : "), "PASS - 0 read errors");
        EXPECT_EQ(report_value(text, "Checksum test     : ").substr(0, 4), "PASS");
        EXPECT_EQ(report_values(text, "File Type: UNRECOGNIZED").size(), 0u);
        std::vector<Bytes> written;
        for (const std::string &f : prg_files())
            written.push_back(read_bytes(bin + "/prg/" + f));
        for (const NamedPrg &p : programs())
            EXPECT_NE(std::find(written.begin(), written.end(), p.bytes), written.end()) << p.name;
    }
}

TEST_P(TurboTapes, CleanWritesATapeThatTestsClean)
{
    const std::string t = tape();
    ASSERT_EQ(run({"-o", t}).status, 0);
    const std::string cleaned = path(std::string("clean.") + loader().id + " tape.tap");
    ASSERT_TRUE(g_file_test(cleaned.c_str(), G_FILE_TEST_EXISTS));
    expect_consistent_report(report_path(), cleaned);
    EXPECT_EQ(report_value(report(), "Read test         : "), "PASS - 0 read errors");
    EXPECT_EQ(report_value(report(), "Checksum test     : ").substr(0, 4), "PASS");
    EXPECT_FALSE(turbo_types().empty());
}

TEST_P(TurboTapes, NoidRunsEverySelectedScanner)
{
    const std::string t = tape();
    ASSERT_EQ(run({"-noid", "-t", t}).status, 0);
    EXPECT_EQ(report_value(report(), "Loader ID   : "), "off (-noid): every selected scanner ran");
    EXPECT_EQ(report_value(report(), "Checksum test     : ").substr(0, 4), "PASS");
    EXPECT_FALSE(turbo_types().empty());
}

TEST_P(TurboTapes, LeavingTheScannerOutLeavesItsBlocksUnrecognised)
{
    const std::string t = tape();
    ASSERT_EQ(run({"-no" + std::string(loader().id), "-t", t}).status, 0);
    expect_consistent_report(report_path(), t);
    // No other scanner takes its blocks - not even Ocean's, which has no
    // checksum: Pavloda's and Visiload's long pilots of 0 bits are followed
    // by pulses that are not Ocean's.
    EXPECT_EQ(turbo_types(), std::vector<std::string>());
    // What no scanner took stays unrecognised, described where it shows
    // the shape of a turbo.
    EXPECT_GT(report_values(report(), "File Type: UNRECOGNIZED").size() +
                  report_values(report(), "File Type: UNKNOWN TURBO").size(),
              0u);
    EXPECT_EQ(report_value(report(), "Settings    : ").find(std::string(", ") + loader().id), std::string::npos);

    // -doID runs it beside CBM ROM alone.
    ASSERT_EQ(run({"-do" + std::string(loader().id), "-t", t}).status, 0);
    EXPECT_EQ(report_value(report(), "Settings    : "),
              std::string("tolerance 10, end-of-data markers required, scanners: c64, ") + loader().id);
    EXPECT_FALSE(turbo_types().empty());
}

INSTANTIATE_TEST_SUITE_P(Loaders, TurboTapes, testing::ValuesIn([] {
                             std::vector<std::string> ids;
                             for (const TurboLoader &l : turbo_loaders())
                                 ids.push_back(l.id);
                             return ids;
                         }()),
                         [](const testing::TestParamInfo<std::string> &param) { return param.param; });

TEST_F(ConsoleTest, TurboTapeBlocksAreReportedWithTheirHeadersFields)
{
    const Bytes game = make_prg(0xC000, 1200, 40);
    const std::string t = mktap("tt.tap", {{"SPACE GAME", game}}, {"--format", "turbotape"});
    ASSERT_EQ(run({"-doprg", "-t", t}).status, 0);
    const ParsedReport r = parsed();
    std::vector<const ReportEntry *> turbo;
    for (const ReportEntry &e : r.entries)
        if (e.type.rfind("TURBOTAPE-250", 0) == 0)
            turbo.push_back(&e);
    ASSERT_EQ(turbo.size(), 2u);
    EXPECT_EQ(turbo[0]->type, "TURBOTAPE-250 HEADER");
    EXPECT_EQ(turbo[1]->type, "TURBOTAPE-250 DATA");
    const std::string text = report();
    EXPECT_NE(text.find("LA: $C000  EA: $C4B0  SZ: 1200"), std::string::npos) << text;
    EXPECT_NE(text.find("File Name: SPACE GAME"), std::string::npos);
    EXPECT_NE(text.find("CRC32: " + crc_text(Bytes(game.begin() + 2, game.end()))), std::string::npos);
    // The header has no checksum; the data and the boot file's four copies have.
    EXPECT_EQ(report_value(text, "Checksum test     : "), "PASS - 5 of 5 checksummed files OK");
    const std::vector<std::string> files = prg_files();
    const auto it = std::find_if(files.begin(), files.end(),
                                 [](const std::string &f) { return f.find("SPACE GAME") != std::string::npos; });
    ASSERT_NE(it, files.end());
    EXPECT_EQ(read_bytes(bin + "/prg/" + *it), game);
}

TEST_F(ConsoleTest, ADamagedTurboBlockFailsAndItsPrgIsMarkedBad)
{
    const Bytes game = make_prg(0x0801, 3000, 41);
    const std::string t = mktap("tt.tap", {{"GAME", game}}, {"--format", "turbotape"});
    Bytes bytes = read_bytes(t);
    // A bit 0 ($1A) in the middle of the data block's bytes becomes a bit 1 ($2A).
    const TapeScan scan = scan_tape(bytes.data(), bytes.size());
    const auto data = std::find_if(scan.entries.begin(), scan.entries.end(),
                                   [](const TapeEntry &e) { return e.type == "TURBOTAPE-250 DATA"; });
    ASSERT_NE(data, scan.entries.end());
    std::size_t at = std::size_t(data->inner_start + data->inner_end) / 2;
    while (bytes[at] != 0x1A)
        ++at;
    bytes[at] = 0x2A;
    const std::string damaged = path("damaged.tap");
    write_bytes(damaged, bytes);
    ASSERT_EQ(run({"-doprg", "-t", damaged}).status, 0);
    expect_consistent_report(report_path(), damaged);
    EXPECT_EQ(report_value(report(), "Checksum test     : "), "FAIL - 4 of 5 checksummed files OK");
    const std::vector<std::string> files = prg_files();
    EXPECT_NE(std::find_if(files.begin(), files.end(),
                           [](const std::string &f) { return f.find("-GAME (bad).prg") != std::string::npos; }),
              files.end());
}

TEST_F(ConsoleTest, AnUnknownBootFileRunsEverySelectedScanner)
{
    const std::string t = mktap("plain.tap", {{"PLAIN", make_prg(0x0801, 100, 42)}});
    ASSERT_EQ(run({"-t", t}).status, 0);
    EXPECT_EQ(report_value(report(), "Loader ID   : "), "no known loader in the boot files: every selected scanner ran");
    ASSERT_EQ(run({"-doc64", "-t", t}).status, 0);
    EXPECT_EQ(report_value(report(), "Loader ID   : "), "not needed: no turbo scanner selected");
}

TEST_F(ConsoleTest, DebugGivesATurboBlocksTwoCalibratedLengths)
{
    const std::string t = mktap("tt.tap", {{"GAME", make_prg(0x0801, 300, 43)}}, {"--format", "turbotape"});
    ASSERT_EQ(run({"-debug", "-t", t}).status, 0);
    const std::vector<std::string> lines = report_values(report(), "Pulse lengths bit 0/bit 1: ");
    ASSERT_EQ(lines.size(), 2u);  // the Turbo Tape header and data
    for (const std::string &l : lines)
        EXPECT_EQ(l, "26.0/42.0 TAP units (calibrated)");
    EXPECT_EQ(report_values(report(), "Pulse lengths S/M/L: ").size(), 4u);  // the boot file's copies
}

// A Freeload block with a CHR block straight after it, no gap: the Freeload
// block's trailer (0 bits up to a silence or 4096 pulses) takes the CHR
// block's pilot, sync and header, and the rest of the CHR block is left
// unrecognised - the gap where a user expects a file. Debug mode shows it.
TEST_F(ConsoleTest, DebugShowsAFileHiddenUnderAnotherOnesTrailer)
{
    Bytes tap = tap_file_header(1, false, false, 0);
    const Bytes first = make_prg(0x1000, 300, 44), second = make_prg(0x4000, 200, 45);
    turbo::Writer freeload(tap, turbo::Format{360, 0x24, 0x41, turbo::BitOrder::MsbFirst});
    freeload.repeat_byte(0x40, 64);
    freeload.byte(0x5A);
    freeload.bytes({0x00, 0x10, 0x2C, 0x11});
    freeload.bytes(first.data() + 2, first.size() - 2);
    freeload.byte(turbo::xor_of(first.data() + 2, first.size() - 2));
    turbo::Writer chr(tap, turbo::Format{263, 0x1A, 0x2A, turbo::BitOrder::MsbFirst});
    chr.repeat_byte(0x63, 300);
    for (unsigned v = 0x64; v <= 0xFF; ++v)
        chr.byte(uint8_t(v));
    chr.byte(0x01);
    chr.bytes({0x00, 0x40, 0xC8, 0x40, 0x00, 0x40, 0, 0, 0, 0});
    chr.bytes(second.data() + 2, second.size() - 2);
    chr.byte(turbo::xor_of(second.data() + 2, second.size() - 2));
    chr.zeros(32);
    tap_fix_data_size(tap);
    const std::string t = path("hidden.tap");
    write_bytes(t, tap);
    const std::string hash = sha256_of_file(t);

    ASSERT_EQ(run({"-doprg", "-t", t}).status, 0);
    std::string text = report();
    EXPECT_EQ(report_values(text, "File Type: FREELOAD").size(), 1u);
    EXPECT_TRUE(report_values(text, "File Type: CHR").empty()) << text;
    EXPECT_EQ(report_values(text, "File Type: UNRECOGNIZED").size(), 1u);
    EXPECT_EQ(prg_files().size(), 1u);

    ASSERT_EQ(run({"-debug", "-doprg", "-t", t}).status, 0);
    text = report();
    ASSERT_EQ(report_values(text, "File Type: CHR").size(), 1u) << text;
    EXPECT_EQ(report_values(text, "Note: overlaps other entries").size(), 1u);
    // The CHR entry starts where its pilot does, inside the Freeload entry.
    const std::vector<std::string> locations = report_values(text, "Location: ");
    ASSERT_EQ(locations.size(), 3u);  // Freeload, CHR, the unrecognised rest
    // Its pilot follows the Freeload block's (64 + 1 + 4 + 300 + 1) x 8
    // pulses, at 20 + 2960 = $0BA4; as everywhere, up to 7 pulses leading
    // into a pilot join its entry: $0B9D.
    EXPECT_EQ(locations[1].substr(0, 5), "$0B9D") << locations[1];
    EXPECT_EQ(report_value(text, "Checksum test     : "), "PASS - 2 of 2 checksummed files OK");
    EXPECT_EQ(report_value(text, "Read test         : "), "PASS - 0 read errors");
    EXPECT_EQ(prg_files().size(), 2u);
    EXPECT_EQ(sha256_of_file(t), hash);
}

// A Visiload tape whose second file patches the loader (threshold, bit
// order, extra bits) for the third: always read and listed; its bytes go
// to a PRG file only with -extvisipatch.
TEST_F(ConsoleTest, ExtvisipatchWritesTheLoaderPatchFileToo)
{
    BootCodePlan boot;
    boot.threshold_cycles = 438;
    boot.one_shot = true;
    boot.compares = {0x16};
    boot.parameters = {0xB6, 0x01, 0x00, 0x00};
    turbo::TapeOptions options;
    Bytes tap = turbo::tape_with_boot_file(make_boot_program(boot), "VISI", options);
    const Bytes game = make_prg(0x0801, 900, 46), music = make_prg(0x4000, 300, 47);
    const Bytes patch = visiload_patch_file(350, true, 1);
    for (const auto &[prg, threshold, lsb, extra] :
         {std::tuple<Bytes, int, bool, int>{game, 438, false, 0}, {patch, 438, false, 0}, {music, 350, true, 1}}) {
        const Bytes pulses = visiload_file_pulses(uint16_t(threshold), lsb, unsigned(extra), prg);
        tap.insert(tap.end(), pulses.begin(), pulses.end());
        turbo::append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    const std::string t = path("patched visiload.tap");
    write_bytes(t, tap);

    ASSERT_EQ(run({"-doprg", "-t", t}).status, 0);
    std::string text = report();
    EXPECT_EQ(report_values(text, "File Type: VISILOAD PATCH").size(), 1u) << text;
    EXPECT_EQ(report_value(text, "Checksum test     : "), "PASS - 7 of 7 checksummed files OK");
    EXPECT_EQ(prg_files().size(), 3u);  // the boot file, the game, the music
    EXPECT_EQ(report_value(text, "Loader ID   : ").find("Visiload"), 0u) << text;

    ASSERT_EQ(run({"-doprg", "-extvisipatch", "-t", t}).status, 0);
    text = report();
    std::vector<Bytes> written;
    for (const std::string &f : prg_files())
        written.push_back(read_bytes(bin + "/prg/" + f));
    ASSERT_EQ(written.size(), 4u);
    EXPECT_NE(std::find(written.begin(), written.end(), patch), written.end());
    EXPECT_NE(std::find(written.begin(), written.end(), music), written.end());
    EXPECT_FALSE((text.find("-extvisipatch had no effect") != std::string::npos)) << text;

    // A tape without patch file says the switch did nothing.
    const std::string plain = mktap("plain visiload.tap", {{"GAME", game}}, {"--format", "visiload"});
    ASSERT_EQ(run({"-doprg", "-extvisipatch", "-t", plain}).status, 0);
    EXPECT_TRUE((report().find("Note: -extvisipatch had no effect: the tape holds no Visiload patch file") != std::string::npos));
}

TEST_F(ConsoleTest, AnUnknownTurboIsDescribedAndItsBytesKeptForStudyNotAsAProgram)
{
    // A Freeload tape read without the Freeload scanner: a loader this run
    // does not know. Its boot file's code shows the rotate and the bytes it
    // compares with, so the description gives Freeload's own shape.
    const Bytes game = make_prg(0xC000, 3000, 41);
    const std::string t = mktap("free 'load'.tap", {{"GAME", game}}, {"--format", "freeload"});
    const std::string hash = sha256_of_file(t);
    ASSERT_EQ(run({"-nofreeload", "-doprg", "-t", t}).status, 0);
    expect_consistent_report(report_path(), t);
    const std::string text = report();
    ASSERT_EQ(report_values(text, "File Type: UNKNOWN TURBO").size(), 1u);
    const std::vector<std::string> turbo = report_values(text, "Turbo: ");
    ASSERT_EQ(turbo.size(), 1u);
    EXPECT_NE(turbo[0].find("MSB first, pilot $40 x "), std::string::npos) << turbo[0];
    EXPECT_NE(turbo[0].find(", then $5A "), std::string::npos) << turbo[0];
    EXPECT_NE(turbo[0].find(", 1 block, about 3 KB"), std::string::npos) << turbo[0];
    // Nothing of it was verified: the boot file's checks are the only ones,
    // and the share leaves the stretch out.
    EXPECT_EQ(report_value(text, "Checksum test     : "), "PASS - 4 of 4 checksummed files OK");
    double share = 100;
    std::sscanf(report_value(text, "Recognised  : ").c_str(), "%lf", &share);
    EXPECT_LT(share, 80);
    // Its bytes for study, beside the boot file's program; no PRG of it.
    std::string study;
    for (const std::string &f : prg_files()) {
        if (f.find("UNKNOWN-TURBO") != std::string::npos)
            study = f;
        else
            EXPECT_NE(f.find("FREELOAD"), std::string::npos) << f;
    }
    ASSERT_EQ(study.size(), std::string("000-UNKNOWN-TURBO.bin").size()) << study;
    EXPECT_EQ(study.substr(3), "-UNKNOWN-TURBO.bin");
    const Bytes bytes = read_bytes(bin + "/prg/" + study);
    const Bytes data(game.begin() + 2, game.end());
    EXPECT_NE(std::search(bytes.begin(), bytes.end(), data.begin(), data.end()), bytes.end());
    EXPECT_NE(report_value(text, "Study files : ").find(study), std::string::npos);
    EXPECT_EQ(sha256_of_file(t), hash) << "the tape changed";

    // With Freeload known, the next run writes the program and takes the
    // study file of the last run away.
    ASSERT_EQ(run({"-doprg", "-t", t}).status, 0);
    for (const std::string &f : prg_files())
        EXPECT_EQ(f.find("UNKNOWN-TURBO"), std::string::npos) << f;
    EXPECT_EQ(report_values(report(), "File Type: UNKNOWN TURBO").size(), 0u);
}

TEST_F(ConsoleTest, AChainOfUnknownTurboBlocksBetweenPausesIsAPartEachWithItsOwnStudyFile)
{
    // Bleepload without its scanner: every block after a pause, each with a
    // pilot byte of its own. Each block is a part of one chain, described
    // and kept for study; none is a program, none verified.
    const Bytes game = make_prg(0x2000, 1800, 43);
    const std::string t = mktap("bleep load.tap", {{"GAME", game}}, {"--format", "bleepload"});
    const std::string hash = sha256_of_file(t);
    ASSERT_EQ(run({"-nobleepload", "-doprg", "-t", t}).status, 0);
    expect_consistent_report(report_path(), t);
    const std::string text = report();
    const std::vector<std::string> turbo = report_values(text, "Turbo: ");
    ASSERT_GE(turbo.size(), 4u) << text;
    EXPECT_EQ(report_values(text, "File Type: UNKNOWN TURBO").size(), turbo.size());
    for (std::size_t k = 0; k < turbo.size(); ++k) {
        char part[48];
        std::snprintf(part, sizeof part, "; part %zu of %zu between pauses", k + 1, turbo.size());
        EXPECT_NE(turbo[k].find(part), std::string::npos) << turbo[k];
    }
    EXPECT_NE(turbo[0].find("MSB first, pilot $0F x "), std::string::npos) << turbo[0];
    EXPECT_NE(turbo[0].find(", then $F0 0F "), std::string::npos) << turbo[0];
    std::size_t study = 0;
    Bytes all;
    for (const std::string &f : prg_files())
        if (f.find("UNKNOWN-TURBO") != std::string::npos) {
            ++study;
            const Bytes part = read_bytes(bin + "/prg/" + f);
            all.insert(all.end(), part.begin(), part.end());
        }
    EXPECT_EQ(study, turbo.size());
    // The program's first bytes are in the first block's bytes.
    const Bytes head(game.begin() + 2, game.begin() + 34);
    EXPECT_NE(std::search(all.begin(), all.end(), head.begin(), head.end()), all.end());
    EXPECT_EQ(sha256_of_file(t), hash) << "the tape changed";
}
