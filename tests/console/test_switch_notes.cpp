// Switches that change nothing for the operation asked for are said to have
// had no effect: in the tape report, in the batch report, and (Record writes
// no report) on standard output. -doc64 runs the CBM ROM scanner alone.
#include "console_support.h"

#include <glib.h>
#include <glib/gstdio.h>

namespace {

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

} // namespace

TEST_F(ConsoleTest, DebugInABatchIsNotedInTheBatchReport)
{
    const std::string folder = path("batch");
    ASSERT_EQ(g_mkdir(folder.c_str(), 0700), 0);
    write_bytes(folder + "/a.tap", read_bytes(mktap("a.tap", {{"A", make_prg(0x0801, 30, 1)}})));
    ASSERT_EQ(run({"-debug", "-b", folder}).status, 0);
    const std::string text = read_text(batch_path());
    EXPECT_TRUE(contains(text, "Note: -debug had no effect")) << text;
    EXPECT_FALSE(contains(text, "Pulse lengths"));
    // Where it works, no note.
    ASSERT_EQ(run({"-debug", "-t", folder + "/a.tap"}).status, 0);
    EXPECT_FALSE(contains(report(), "-debug had no effect"));
    EXPECT_FALSE(contains(report(), "-tol had no effect"));
}

TEST_F(ConsoleTest, RecordSaysWhichScanSwitchesHadNoEffect)
{
    const std::string tape = mktap("r.tap", {{"R", make_prg(0x0801, 30, 2)}});
    for (const char *op : {"-au", "-wav"}) {
        const ProgramRun r = run({"-debug", "-tol", "4", "-noc64eof", "-doc64", op, tape});
        ASSERT_EQ(r.status, 0) << op << ": " << r.err;
        for (const char *s : {"-debug", "-tol", "-noc64eof", "-doc64"})
            EXPECT_TRUE(contains(r.out, std::string("quillmar: ") + s + " had no effect")) << op << " " << s << "\n"
                                                                                          << r.out;
        EXPECT_FALSE(contains(r.out, "-sine had no effect")) << r.out;
    }
    // The recording is the same whatever the scan switches.
    const Bytes plain = read_bytes(path("r.wav"));
    ASSERT_EQ(run({"-wav", tape}).status, 0);
    EXPECT_TRUE(read_bytes(path("r.wav")) == plain);
    // Without such switches nothing is said.
    const ProgramRun quiet = run({"-au", tape});
    ASSERT_EQ(quiet.status, 0);
    EXPECT_FALSE(contains(quiet.out, "had no effect")) << quiet.out;
}

TEST_F(ConsoleTest, Doc64RunsTheCbmRomScannerWhateverElseIsAsked)
{
    const std::string tape = mktap("c.tap", {{"C", make_prg(0x0801, 30, 4)}});
    const ProgramRun r = run({"-noc64", "-doc64", "-doturbo", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    expect_consistent_report(report_path(), tape);
    const std::string text = report();
    EXPECT_EQ(report_value(text, "Settings    : "), "tolerance 10, end-of-data markers required, scanners: c64");
    EXPECT_EQ(report_values(text, "File Type: C64 ROM-TAPE").size(), 4u);
    EXPECT_TRUE(parsed().totals.checksum_test_passed);
    EXPECT_TRUE(contains(text, "Note: -noc64 had no effect: -doc64 runs the CBM ROM scanner (c64) alone\n")) << text;
    EXPECT_TRUE(contains(text, "Note: -doturbo had no effect: -doc64 runs the CBM ROM scanner (c64) alone\n")) << text;
}
