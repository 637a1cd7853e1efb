// -t: tapes made by mktap read back whole; the report's lines, the front
// end's parser on them, and the PRG files of -doprg and -prgunite.
#include "console_support.h"

#include "core/cbmencode.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <cstdio>

namespace {

Bytes data_of(const Bytes &prg) { return Bytes(prg.begin() + 2, prg.end()); }

std::string hex4(unsigned v)
{
    char t[8];
    std::snprintf(t, sizeof t, "%04X", v);
    return t;
}

struct Format {
    const char *label;
    std::vector<std::string> flags;
};

class RoundTrip : public ConsoleTest, public ::testing::WithParamInterface<Format> {};

} // namespace

TEST_P(RoundTrip, EveryCopyPassesAndThePrgFilesAreTheInputs)
{
    const std::vector<NamedPrg> prgs = {
        {"FIRST ONE", make_prg(0x0801, 700, 1)},
        {"SECOND", make_prg(0xC000, 1500, 2)},
    };
    const std::string tape = mktap("game's tape.tap", prgs, GetParam().flags);
    const ProgramRun r = run({"-doprg", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    expect_consistent_report(report_path(), tape);

    const std::string text = report();
    EXPECT_EQ(report_value(text, "TAP Size    : "), std::to_string(read_bytes(tape).size()) + " bytes");
    EXPECT_EQ(report_value(text, "Checksum test     : "), "PASS - 8 of 8 checksummed files OK");
    EXPECT_EQ(report_value(text, "Read test         : "), "PASS - 0 read errors");

    const ParsedReport p = parsed();
    EXPECT_TRUE(p.totals.checksum_test_passed);
    EXPECT_TRUE(p.totals.read_test_passed);
    // header F, header R, pause, data F, data R, pause, header F, header R, pause, data F, data R
    ASSERT_EQ(p.entries.size(), 11u);
    const char *types[] = {"C64 ROM-TAPE HEADER", "C64 ROM-TAPE HEADER", "PAUSE", "C64 ROM-TAPE DATA",
                           "C64 ROM-TAPE DATA", "PAUSE"};
    for (std::size_t i = 0; i < p.entries.size(); ++i) {
        const ReportEntry &e = p.entries[i];
        EXPECT_EQ(e.index, int(i) + 1);
        EXPECT_EQ(e.type, types[i % 6]) << i;
        if (e.type == "PAUSE")
            continue;
        const NamedPrg &prg = prgs[i / 6];
        const bool header = e.type == "C64 ROM-TAPE HEADER";
        EXPECT_EQ(e.first_copy, i % 6 == 0 || i % 6 == 3) << i;
        EXPECT_EQ(e.checkbyte, std::optional<std::string>("OK")) << i;
        EXPECT_FALSE(e.read_errors.has_value()) << i;
        EXPECT_EQ(e.name, prg.name);
        const unsigned load = prg.bytes[0] | (prg.bytes[1] << 8);
        const unsigned end = load + unsigned(prg.bytes.size() - 2);
        EXPECT_EQ(e.load_address, hex4(load));
        EXPECT_EQ(e.end_address, hex4(end));
        const Bytes payload = header ? cbm_header_payload(CBM_HEADER_RELOCATABLE, uint16_t(load), uint16_t(end), prg.name)
                                     : data_of(prg.bytes);
        EXPECT_EQ(e.crc32, crc_text(payload)) << i;
    }
    // LA/EA/SZ lines as written.
    const std::vector<std::string> la = report_values(text, "LA: ");
    ASSERT_EQ(la.size(), 8u);
    EXPECT_EQ(la[0], "$0801  EA: $0ABD  SZ: 700");
    EXPECT_EQ(la[4], "$C000  EA: $C5DC  SZ: 1500");
    // Checkbyte lines: the XOR of the payload, and the value on the tape.
    const std::vector<std::string> cb = report_values(text, "Checkbyte Actual/Expected: ");
    ASSERT_EQ(cb.size(), 8u);
    uint8_t x = 0;
    for (uint8_t b : data_of(prgs[0].bytes))
        x ^= b;
    char line[32];
    std::snprintf(line, sizeof line, "$%02X/$%02X, PASS", x, x);
    EXPECT_EQ(cb[2], line);

    EXPECT_EQ(prg_files(), (std::vector<std::string>{"004-FIRST ONE.prg", "010-SECOND.prg"}));
    EXPECT_EQ(read_bytes(bin + "/prg/004-FIRST ONE.prg"), prgs[0].bytes);
    EXPECT_EQ(read_bytes(bin + "/prg/010-SECOND.prg"), prgs[1].bytes);
}

INSTANTIATE_TEST_SUITE_P(Formats, RoundTrip,
                         ::testing::Values(Format{"v1_c64_pal", {"--v1"}}, Format{"v0_c64_pal", {"--v0"}},
                                           Format{"v1_c64_ntsc", {"--v1", "--ntsc"}},
                                           Format{"v0_c64_ntsc", {"--v0", "--ntsc"}},
                                           Format{"v1_vic20_pal", {"--v1", "--vic20"}},
                                           Format{"v0_vic20_pal", {"--v0", "--vic20"}},
                                           Format{"v1_vic20_ntsc", {"--v1", "--vic20", "--ntsc"}},
                                           Format{"v0_vic20_ntsc", {"--v0", "--vic20", "--ntsc"}}),
                         [](const ::testing::TestParamInfo<Format> &p) { return std::string(p.param.label); });

TEST_F(ConsoleTest, ReportLinesAreExactAndOffsetsAreUpperCaseHex)
{
    const std::string tape = mktap("one.tap", {{"GAME", make_prg(0x0801, 527, 3)}});
    ASSERT_EQ(run({"-t", tape}).status, 0);
    const std::string text = report();
    EXPECT_EQ(report_value(text, "TAP Name    : "), tape);
    EXPECT_EQ(report_value(text, "File Type: "), "C64 ROM-TAPE HEADER");
    EXPECT_EQ(report_value(text, "LA: "), "$0801  EA: $0A10  SZ: 527");
    EXPECT_EQ(report_value(text, "File Name: "), "GAME");
    EXPECT_EQ(report_value(text, "Read Errors: "), "0");
    EXPECT_EQ(report_value(text, " - File ID : "), "FIRST");
    // "$%04X -> ..." with upper-case digits; the first entry starts after the header.
    const std::vector<std::string> loc = report_values(text, "Location: ");
    ASSERT_EQ(loc.size(), 5u);
    EXPECT_EQ(loc[0].substr(0, 9), "$0014 -> ");
    for (const std::string &l : loc)
        for (char c : l)
            EXPECT_FALSE(c >= 'a' && c <= 'f') << l;
    // Every block opens with its File Type line and the lines come in order.
    EXPECT_NE(text.find("File Type: C64 ROM-TAPE DATA\nLocation: $"), std::string::npos);
    EXPECT_NE(text.find("File Name: GAME\nCheckbyte Actual/Expected: $"), std::string::npos);
    EXPECT_NE(text.find("File Type: PAUSE\nLocation: $"), std::string::npos);
}

TEST_F(ConsoleTest, ALineAsTheFrontEndBuildsItRuns)
{
    // The front end puts the program in single quotes, so its folder holds
    // no apostrophe; the tape path stands in double quotes.
    const std::string location = root + "/front end \xC3\xB8";
    ASSERT_EQ(g_mkdir(location.c_str(), 0700), 0);
    const std::string program = location + "/quillmar";
    write_bytes(program, read_bytes(QM_QUILLMAR));
    ASSERT_EQ(g_chmod(program.c_str(), 0755), 0);
    const Bytes prg = make_prg(0x0801, 300, 4);
    const std::string tape = mktap("Game's best.tap", {{"HIT", prg}});
    const std::string line = "'" + program + "' -tol 9 -noid -doprg -prgunite -noturbo -t \"" + tape + "\"";
    const ProgramRun r = run_line(line);
    ASSERT_EQ(r.status, 0) << r.err;
    expect_consistent_report(location + "/qmreport.txt", tape);
    const std::string text = read_text(location + "/qmreport.txt");
    EXPECT_NE(text.find("tolerance 9"), std::string::npos);
    EXPECT_NE(text.find("Loader ID   : off (-noid)"), std::string::npos);
    EXPECT_NE(text.find("no scanner \"turbo\""), std::string::npos);
    EXPECT_EQ(read_bytes(location + "/prg/004-HIT.prg"), prg);
    EXPECT_FALSE(g_file_test(report_path().c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(ConsoleTest, DamagedFirstDataCopyFailsAndThePrgComesFromTheRepeat)
{
    const Bytes prg = make_prg(0x0801, 400, 5);
    const std::string clean = mktap("clean.tap", {{"DEMO", prg}});
    const std::string tape = path("damaged.tap");
    ASSERT_EQ(run_program(QM_SAMPLETOOL, {"damage", clean, tape}).status, 0);
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    expect_consistent_report(report_path(), tape);
    const ParsedReport p = parsed();
    ASSERT_EQ(p.entries.size(), 5u);
    EXPECT_EQ(p.entries[3].type, "C64 ROM-TAPE DATA");
    EXPECT_TRUE(p.entries[3].first_copy);
    EXPECT_EQ(p.entries[3].checkbyte, std::optional<std::string>("FAIL"));
    EXPECT_EQ(p.entries[3].read_errors, std::optional<std::string>("1"));
    EXPECT_FALSE(p.entries[4].first_copy);
    EXPECT_EQ(p.entries[4].checkbyte, std::optional<std::string>("OK"));
    EXPECT_EQ(p.entries[4].crc32, crc_text(data_of(prg)));
    EXPECT_FALSE(p.totals.checksum_test_passed);
    EXPECT_FALSE(p.totals.read_test_passed);
    const std::string text = report();
    EXPECT_EQ(report_value(text, "Checksum test     : "), "FAIL - 3 of 4 checksummed files OK");
    EXPECT_EQ(report_value(text, "Read test         : "), "FAIL - 1 read error");
    // The FIRST copy's checkbyte line: the XOR of what was read differs from the tape's.
    const std::vector<std::string> cb = report_values(text, "Checkbyte Actual/Expected: ");
    ASSERT_EQ(cb.size(), 4u);
    EXPECT_EQ(cb[2].substr(cb[2].size() - 4), "FAIL");
    EXPECT_NE(cb[2].substr(0, 3), cb[2].substr(4, 3));
    EXPECT_EQ(cb[2].substr(4, 3), cb[3].substr(4, 3));  // the same checkbyte is on both copies

    EXPECT_EQ(prg_files(), std::vector<std::string>{"005-DEMO.prg"});
    EXPECT_EQ(read_bytes(bin + "/prg/005-DEMO.prg"), prg);
}

TEST_F(ConsoleTest, NoPassingCopyWritesTheFirstCopyAsBad)
{
    const Bytes prg = make_prg(0x1000, 300, 6);
    const std::string clean = mktap("clean.tap", {{"BROKEN", prg}});
    Bytes tape = read_bytes(clean);
    // Turn a bit of payload byte 3 over in both data copies.
    const TapeScan scan = scan_tape(tape.data(), tape.size());
    int damaged = 0;
    for (const TapeEntry &e : scan.entries) {
        if (e.type != "C64 ROM-TAPE DATA")
            continue;
        const std::size_t b = e.inner_start_pulse + 3 * 20;
        std::swap(tape[scan.pulses.offset(b + 2)], tape[scan.pulses.offset(b + 3)]);
        ++damaged;
    }
    ASSERT_EQ(damaged, 2);
    const std::string path_bad = path("bad.tap");
    write_bytes(path_bad, tape);
    ASSERT_EQ(run({"-doprg", "-t", path_bad}).status, 0);
    expect_consistent_report(report_path(), path_bad);
    EXPECT_EQ(prg_files(), std::vector<std::string>{"004-BROKEN (bad).prg"});
    Bytes expected = prg;
    expected[2 + 3] ^= 0x01;
    EXPECT_EQ(read_bytes(bin + "/prg/004-BROKEN (bad).prg"), expected);
}

TEST_F(ConsoleTest, PrgNamesAreSanitisedAndFilesNotWrittenByTheProgramStay)
{
    const std::string tape =
        // A nameless program is named by its format and load address.
        mktap("names.tap", {{"A/B*C?", make_prg(0x0801, 20, 7)}, {"", make_prg(0x2000, 20, 8)},
                            {"x-y_z.1", make_prg(0x3000, 20, 9)}});
    ASSERT_EQ(g_mkdir((bin + "/prg").c_str(), 0700), 0);
    write_bytes(bin + "/prg/old.prg", {1, 8, 0});
    write_bytes(bin + "/prg/keep.txt", {1});
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    EXPECT_EQ(prg_files(), (std::vector<std::string>{"004-A_B_C_.prg", "010-CBM-2000.prg", "016-X-Y_Z.1.prg",
                                                     "keep.txt", "old.prg"}));
    EXPECT_EQ(read_bytes(bin + "/prg/old.prg"), (Bytes{1, 8, 0}));
}

TEST_F(ConsoleTest, WithoutDoprgNoPrgFolderIsWritten)
{
    const std::string tape = mktap("p.tap", {{"P", make_prg(0x0801, 20, 10)}});
    ASSERT_EQ(run({"-t", tape}).status, 0);
    EXPECT_TRUE(prg_files().empty());
}

TEST_F(ConsoleTest, PrguniteJoinsProgramsWhoseAddressesContinue)
{
    const Bytes a = make_prg(0x0801, 100, 11);  // $0801-$0865
    const Bytes b = make_prg(0x0865, 50, 12);   // continues A
    const Bytes c = make_prg(0x0897, 10, 13);   // continues B
    const Bytes d = make_prg(0xC000, 30, 14);   // elsewhere
    const std::string tape = mktap("parts.tap", {{"PART A", a}, {"PART B", b}, {"PART C", c}, {"OTHER", d}});

    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    EXPECT_EQ(prg_files(), (std::vector<std::string>{"004-PART A.prg", "010-PART B.prg", "016-PART C.prg",
                                                     "022-OTHER.prg"}));

    ASSERT_EQ(run({"-doprg", "-prgunite", "-t", tape}).status, 0);
    EXPECT_EQ(prg_files(), (std::vector<std::string>{"004-PART A.prg", "022-OTHER.prg"}));
    Bytes joined = a;
    joined.insert(joined.end(), b.begin() + 2, b.end());
    joined.insert(joined.end(), c.begin() + 2, c.end());
    EXPECT_EQ(read_bytes(bin + "/prg/004-PART A.prg"), joined);
    EXPECT_EQ(read_bytes(bin + "/prg/022-OTHER.prg"), d);
}

TEST_F(ConsoleTest, NoiseBetweenFilesIsOneUnrecognizedEntry)
{
    const std::string clean = mktap("two.tap", {{"ONE", make_prg(0x0801, 200, 15)}, {"TWO", make_prg(0x0801, 90, 16)}});
    const std::string tape = path("noisy.tap");
    ASSERT_EQ(run_program(QM_SAMPLETOOL, {"noise", clean, tape}).status, 0);
    ASSERT_EQ(run({"-t", tape}).status, 0);
    expect_consistent_report(report_path(), tape);
    const ParsedReport p = parsed();
    ASSERT_EQ(p.entries.size(), 12u);
    EXPECT_EQ(p.entries[5].type, "UNRECOGNIZED");
    EXPECT_EQ(p.entries[5].pulses, 2000);
    EXPECT_TRUE(p.totals.checksum_test_passed);
    EXPECT_TRUE(p.totals.read_test_passed);
}

TEST_F(ConsoleTest, TheToleranceReachesTheScanner)
{
    const std::string made = mktap("t.tap", {{"T", make_prg(0x0801, 50, 17)}});
    Bytes tape = read_bytes(made);
    // One short pulse of the data's FIRST copy made 6 units long: a read
    // error at tolerance 3, none at 10.
    const TapeScan scan = scan_tape(tape.data(), tape.size());
    ASSERT_EQ(scan.entries.size(), 5u);
    const TapeEntry &data = scan.entries[3];
    std::size_t p = data.inner_start_pulse + 2;
    while (scan.pulse_class(p) != PulseClass::Short)
        ++p;
    tape[scan.pulses.offset(p)] = uint8_t(tape[scan.pulses.offset(p)] + 6);
    const std::string jitter = path("jitter.tap");
    write_bytes(jitter, tape);

    ASSERT_EQ(run({"-tol", "3", "-t", jitter}).status, 0);
    EXPECT_EQ(report_value(report(), "Settings    : "), "tolerance 3, end-of-data markers required, scanners: " + all_scanner_ids());
    EXPECT_EQ(report_value(report(), "Read test         : "), "FAIL - 1 read error");
    EXPECT_EQ(report_value(report(), "Checksum test     : "), "PASS - 4 of 4 checksummed files OK");
    expect_consistent_report(report_path(), jitter);
    ASSERT_EQ(run({"-t", jitter}).status, 0);
    EXPECT_EQ(report_value(report(), "Read test         : "), "PASS - 0 read errors");
    ASSERT_EQ(run({"-t", jitter, "-tol", "0"}).status, 0);
    EXPECT_EQ(report_value(report(), "Settings    : "), "tolerance 0, end-of-data markers required, scanners: " + all_scanner_ids());
}

TEST_F(ConsoleTest, NoC64EofAcceptsBlocksWithoutEndMarker)
{
    const Bytes prg = make_prg(0x0801, 50, 21);
    const std::string made = mktap("t.tap", {{"NOEOF", prg}});
    Bytes tape = read_bytes(made);
    // Every copy's end-of-data marker (L, S after the checkbyte) becomes two short pulses.
    const TapeScan scan = scan_tape(tape.data(), tape.size());
    int copies = 0;
    for (const TapeEntry &e : scan.entries) {
        if (e.kind != EntryKind::File)
            continue;
        const std::size_t marker = e.inner_end_pulse + 20;
        ASSERT_EQ(scan.pulse_class(marker), PulseClass::Long);
        tape[scan.pulses.offset(marker)] = tape[scan.pulses.offset(marker + 1)];
        ++copies;
    }
    ASSERT_EQ(copies, 4);
    const std::string cut = path("no eof.tap");
    write_bytes(cut, tape);

    ASSERT_EQ(run({"-doprg", "-t", cut}).status, 0);
    expect_consistent_report(report_path(), cut);
    EXPECT_EQ(report_values(report(), "File Type: C64 ROM-TAPE").size(), 0u);
    EXPECT_TRUE(prg_files().empty());

    ASSERT_EQ(run({"-doprg", "-noc64eof", "-t", cut}).status, 0);
    expect_consistent_report(report_path(), cut);
    EXPECT_EQ(report_values(report(), "File Type: C64 ROM-TAPE").size(), 4u);
    EXPECT_EQ(report_value(report(), "Settings    : "), "tolerance 10, end-of-data markers optional, scanners: " + all_scanner_ids());
    const std::vector<std::string> files = prg_files();
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].substr(3), "-NOEOF.prg");
    EXPECT_EQ(read_bytes(bin + "/prg/" + files[0]), prg);
}

TEST_F(ConsoleTest, NoC64LeavesEveryPulseUnrecognised)
{
    const std::string tape = mktap("t.tap", {{"T", make_prg(0x0801, 50, 18)}});
    ASSERT_EQ(run({"-noc64", "-t", tape}).status, 0);
    expect_consistent_report(report_path(), tape);
    for (const ReportEntry &e : parsed().entries)
        EXPECT_TRUE(e.type == "UNRECOGNIZED" || e.type == "PAUSE") << e.type;
    EXPECT_EQ(report_value(report(), "Settings    : "),
              "tolerance 10, end-of-data markers required, scanners: " + all_scanner_ids().substr(5));
    ASSERT_EQ(run({"-noc64", "-doc64x", "-t", tape}).status, 0);
    EXPECT_EQ(report_value(report(), "Settings    : "), "tolerance 10, end-of-data markers required, scanners: none");
}

TEST_F(ConsoleTest, DebugAddsThePulseLengths)
{
    const std::string tape = mktap("t.tap", {{"T", make_prg(0x0801, 50, 19)}});
    ASSERT_EQ(run({"-debug", "-t", tape}).status, 0);
    EXPECT_EQ(report_values(report(), "Pulse lengths S/M/L: ").size(), 4u);
    expect_consistent_report(report_path(), tape);
}

TEST_F(ConsoleTest, RandomPulsesWithAValidHeaderAreScannedWithoutCrash)
{
    for (int version = 0; version <= 2; ++version) {
        Bytes tape = {'C', '6', '4', '-', 'T', 'A', 'P', 'E', '-', 'R', 'A', 'W', uint8_t(version), 0, 0, 0, 0, 0, 0, 0};
        uint32_t x = 99 + version;
        for (int i = 0; i < 200000; ++i) {
            x = x * 1103515245u + 12345u;
            tape.push_back(uint8_t(x >> 16));
        }
        const std::string p = path("random v" + std::to_string(version) + ".tap");
        write_bytes(p, tape);
        const ProgramRun r = run({"-doprg", "-t", p});
        EXPECT_EQ(r.status, 0) << r.err;
        expect_consistent_report(report_path(), p);
    }
}

TEST_F(ConsoleTest, AZorvDumpIsScanned)
{
    // C64 PAL: one ZORV sample of 2 MHz ticks per pulse.
    const std::string tap = mktap("t.tap", {{"Z", make_prg(0x0801, 40, 20)}});
    const Bytes dump = zorv_dump_of(read_bytes(tap));
    const std::string p = path("z.DMP");
    write_bytes(p, dump);
    ASSERT_EQ(run({"-doprg", "-t", p}).status, 0);
    expect_consistent_report(report_path(), p);
    EXPECT_TRUE(parsed().totals.checksum_test_passed);
    EXPECT_EQ(prg_files(), std::vector<std::string>{"004-Z.prg"});
}
