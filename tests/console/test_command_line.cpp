// The command line: usage errors (exit 2), inputs that can't be scanned
// (exit 1), --help and --version, and the reports each leaves.
#include "console_support.h"

#include <glib.h>
#include <glib/gstdio.h>

namespace {

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

} // namespace

TEST_F(ConsoleTest, HelpAndVersionPrintAndExitZero)
{
    const ProgramRun help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(contains(help.out, "usage: quillmar"));
    EXPECT_TRUE(contains(help.out, "-prgunite"));
    const ProgramRun version = run({"-t", "x.tap", "--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(contains(version.out, "quillmar 0.40"));
    EXPECT_FALSE(g_file_test(report_path().c_str(), G_FILE_TEST_EXISTS));
}

struct UsageCase {
    const char *label;
    std::vector<std::string> args;
    const char *words;  // in the message on standard error and in the report
};

class UsageErrors : public ConsoleTest, public ::testing::WithParamInterface<UsageCase> {};

TEST_P(UsageErrors, ExitTwoWithTheReasonOnStandardErrorAndInTheReport)
{
    std::vector<std::string> args = GetParam().args;
    for (std::string &a : args)
        if (a == "TAPE")
            a = mktap("ok.tap", {{"OK", make_prg(0x0801, 10, 1)}});
    // An earlier report must not survive.
    write_bytes(report_path(), Bytes{'o', 'l', 'd'});
    const ProgramRun r = run(args);
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(contains(r.err, GetParam().words)) << r.err;
    const std::string text = report();
    EXPECT_TRUE(contains(text, "Usage error : ")) << text;
    EXPECT_TRUE(contains(text, GetParam().words)) << text;
    const ParsedReport p = parsed();
    EXPECT_TRUE(p.opened);
    EXPECT_EQ(p.totals.total_size, 0);
    EXPECT_FALSE(p.totals.checksum_test_passed);
    EXPECT_FALSE(p.totals.read_test_passed);
    EXPECT_TRUE(p.entries.empty());
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UsageErrors,
    ::testing::Values(UsageCase{"unknown_switch", {"-frobnicate", "-t", "TAPE"}, "unknown switch \"-frobnicate\""},
                      UsageCase{"nothing", {}, "no operation"},
                      UsageCase{"no_operation", {"-doprg", "-tol", "3"}, "no operation"},
                      UsageCase{"missing_path", {"-doprg", "-t"}, "needs a tape path"},
                      UsageCase{"two_operations", {"-t", "TAPE", "-o", "TAPE"}, "two operations"},
                      UsageCase{"tolerance_too_high", {"-tol", "16", "-t", "TAPE"}, "tolerance from 0 to 15"},
                      UsageCase{"tolerance_not_a_number", {"-tol", "x", "-t", "TAPE"}, "tolerance from 0 to 15"},
                      UsageCase{"tolerance_negative", {"-tol", "-1", "-t", "TAPE"}, "tolerance from 0 to 15"},
                      UsageCase{"tolerance_missing", {"-t", "TAPE", "-tol"}, "tolerance from 0 to 15"},
                      UsageCase{"stray_word", {"-t", "TAPE", "extra"}, "unexpected word \"extra\""},
                      UsageCase{"bare_no", {"-no", "-t", "TAPE"}, "unknown switch \"-no\""},
                      UsageCase{"single_dash", {"-", "-t", "TAPE"}, "unknown switch \"-\""},
                      // A line break in an argument is shown escaped: on a line
                      // of its own it would pass for the report's "Read test".
                      UsageCase{"line_break_in_scanner_id",
                                {"-do\nRead test         : PASS", "-t", "TAPE"},
                                "unknown switch \"-do\\nRead test"},
                      UsageCase{"line_break_in_stray_word",
                                {"-t", "TAPE", "x\nRead test         : PASS"},
                                "unexpected word \"x\\nRead test"},
                      UsageCase{"control_character_in_tolerance", {"-tol", "1\x01", "-t", "TAPE"},
                                "(got \"1\\x01\")"}),
    [](const ::testing::TestParamInfo<UsageCase> &p) { return std::string(p.param.label); });

TEST_F(ConsoleTest, AUsageErrorOfABatchAlsoGoesToTheBatchReport)
{
    const ProgramRun r = run({"-b", dir, "-bogus"});
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(contains(read_text(batch_path()), "unknown switch \"-bogus\""));
}

struct BadInput {
    const char *label;
    const char *words;
};

class BadInputs : public ConsoleTest, public ::testing::WithParamInterface<BadInput> {
protected:
    std::string make_input()
    {
        const std::string label = GetParam().label;
        const std::string p = path("input '" + label + "' \xC3\xB8.tap");
        if (label == "missing")
            return p;
        if (label == "folder") {
            g_mkdir(p.c_str(), 0700);
            return p;
        }
        Bytes b;
        if (label == "ten_bytes")
            b = Bytes(10, 'C');
        if (label == "header_cut")
            b = Bytes{'C', '6', '4', '-', 'T', 'A', 'P', 'E', '-', 'R', 'A', 'W', 1, 0, 0};
        if (label == "no_magic" || label == "bad_version") {
            uint32_t x = 5;
            for (int i = 0; i < 5000; ++i) {
                x = x * 1103515245u + 12345u;
                b.push_back(uint8_t(x >> 16));
            }
            if (label == "bad_version") {
                const char magic[] = "C64-TAPE-RAW";
                std::copy(magic, magic + 12, b.begin());
                b[12] = 0xC7;
            }
        }
        write_bytes(p, b);
        return p;
    }
};

TEST_P(BadInputs, ExitOneAndTheReportSaysWhy)
{
    const std::string input = make_input();
    // A good test first: its report and PRG files must not survive the failure.
    const std::string good = mktap("good.tap", {{"GOOD", make_prg(0x0801, 10, 2)}});
    ASSERT_EQ(run({"-doprg", "-t", good}).status, 0);
    ASSERT_EQ(prg_files().size(), 1u);

    for (const char *op : {"-t", "-o", "-ct0", "-ct1"}) {
        const ProgramRun r = run({"-doprg", op, input});
        EXPECT_EQ(r.status, 1) << op;
        EXPECT_TRUE(contains(r.err, GetParam().words)) << op << ": " << r.err;
        const std::string text = report();
        EXPECT_TRUE(contains(text, "TAP Name    : " + input + "\n")) << text;
        EXPECT_TRUE(contains(text, "Error       : ")) << text;
        EXPECT_TRUE(contains(text, GetParam().words)) << text;
        const ParsedReport p = parsed();
        EXPECT_EQ(p.totals.total_size, 0);
        EXPECT_FALSE(p.totals.checksum_test_passed);
        EXPECT_FALSE(p.totals.read_test_passed);
        EXPECT_TRUE(p.entries.empty());
        EXPECT_TRUE(prg_files().empty()) << op;
    }
    for (const char *op : {"-au", "-wav"}) {
        const ProgramRun r = run({op, input});
        EXPECT_EQ(r.status, 1) << op;
        EXPECT_TRUE(contains(r.err, GetParam().words)) << op << ": " << r.err;
    }
    // Nothing was written beside the input.
    GDir *d = g_dir_open(dir.c_str(), 0, nullptr);
    ASSERT_NE(d, nullptr);
    while (const gchar *n = g_dir_read_name(d)) {
        const std::string name = n;
        EXPECT_TRUE(name.rfind("input", 0) == 0 || name == "good.tap") << name;
    }
    g_dir_close(d);
}

INSTANTIATE_TEST_SUITE_P(Inputs, BadInputs,
                         ::testing::Values(BadInput{"missing", "does not exist"}, BadInput{"folder", "folder"},
                                           BadInput{"empty", "empty"}, BadInput{"ten_bytes", "only 10 bytes"},
                                           BadInput{"header_cut", "only 15 bytes"},
                                           BadInput{"no_magic", "not a tape image"},
                                           BadInput{"bad_version", "TAP version 199 is not supported"}),
                         [](const ::testing::TestParamInfo<BadInput> &p) { return std::string(p.param.label); });

TEST_F(ConsoleTest, UnknownScannerIdsAreAcceptedAndNamedInTheReport)
{
    const std::string tape = mktap("t.tap", {{"T", make_prg(0x0801, 30, 3)}});
    ProgramRun r = run({"-noturbo", "-nozzz", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    std::string text = report();
    EXPECT_TRUE(contains(text, "Note: -noturbo: this program has no scanner \"turbo\"")) << text;
    EXPECT_TRUE(contains(text, "Note: -nozzz: this program has no scanner \"zzz\"")) << text;
    EXPECT_TRUE(parsed().totals.checksum_test_passed);

    r = run({"-docyberload", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    text = report();
    EXPECT_TRUE(contains(text, "Note: -docyberload: this program has no scanner \"cyberload\"; it adds nothing"));
    EXPECT_EQ(report_value(text, "Settings    : "), "tolerance 10, end-of-data markers required, scanners: c64");
    EXPECT_TRUE(parsed().totals.checksum_test_passed);

    r = run({"-doc64", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(parsed().totals.checksum_test_passed);
}

TEST_F(ConsoleTest, EveryListedSwitchIsAcceptedAndIneffectiveOnesAreNoted)
{
    const std::string tape = mktap("t.tap", {{"T", make_prg(0x0801, 30, 4)}});
    const ProgramRun r = run({"-debug", "-noid", "-noc64eof", "-docyberfault", "-boostclean", "-noaddpause", "-doprg",
                              "-prgunite", "-extvisipatch", "-incsubdirs", "-sortbycrc", "-sine", "-preserve",
                              "-doc64", "-tol", "12", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string text = report();
    for (const char *s : {"-docyberfault", "-extvisipatch", "-boostclean", "-noaddpause",
                          "-incsubdirs", "-sortbycrc", "-sine"})
        EXPECT_TRUE(contains(text, std::string("Note: ") + s + " had no effect")) << s;
    EXPECT_FALSE(contains(text, "Note: -noid"));
    EXPECT_FALSE(contains(text, "Note: -preserve"));
    EXPECT_TRUE(contains(text, "Loader ID   : off (-noid): every selected scanner ran"));
    EXPECT_FALSE(contains(text, "Note: -doprg"));
    EXPECT_FALSE(contains(text, "Note: -prgunite"));
    expect_consistent_report(report_path(), tape);
}

TEST_F(ConsoleTest, TheReportIsRewrittenSoNoStaleResultSurvives)
{
    const std::string tape = mktap("t.tap", {{"T", make_prg(0x0801, 30, 5)}});
    ASSERT_EQ(run({"-t", tape}).status, 0);
    EXPECT_TRUE(parsed().totals.checksum_test_passed);
    ASSERT_EQ(run({"-t", path("gone.tap")}).status, 1);
    const ParsedReport p = parsed();
    EXPECT_EQ(*p.totals.path_last_report, path("gone.tap"));
    EXPECT_FALSE(p.totals.checksum_test_passed);
    EXPECT_TRUE(p.entries.empty());
}

TEST_F(ConsoleTest, ARelativeTapePathIsReportedInFull)
{
    const std::string tape = mktap("rel.tap", {{"R", make_prg(0x0801, 30, 6)}});
    gchar *cwd = g_get_current_dir();
    ASSERT_EQ(g_chdir(dir.c_str()), 0);
    const ProgramRun r = run({"-t", "./rel.tap"});
    g_chdir(cwd);
    g_free(cwd);
    ASSERT_EQ(r.status, 0) << r.err;
    expect_consistent_report(report_path(), tape);
}
