// -o, -ct0, -ct1, -au, -wav: the files written beside the source, the report
// on the written tape, and the source left as it was.
#include "console_support.h"

#include <glib.h>
#include <glib/gstdio.h>

namespace {

bool exists(const std::string &p) { return g_file_test(p.c_str(), G_FILE_TEST_EXISTS); }

} // namespace

TEST_F(ConsoleTest, CleanWritesCleanNameBesideTheSourceAndReportsOnIt)
{
    const Bytes prg = make_prg(0x0801, 500, 1);
    const std::string tape = mktap("Game's tape.tap", {{"GAME", prg}});
    const std::string hash = sha256_of_file(tape);
    const ProgramRun r = run({"-doprg", "-o", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string cleaned = path("clean.Game's tape.tap");
    ASSERT_TRUE(exists(cleaned));
    EXPECT_EQ(sha256_of_file(tape), hash);
    expect_consistent_report(report_path(), cleaned);
    EXPECT_EQ(report_value(report(), "Source      : "), tape);
    EXPECT_TRUE(parsed().totals.checksum_test_passed);
    EXPECT_TRUE(parsed().totals.read_test_passed);
    EXPECT_EQ(read_bytes(bin + "/prg/004-GAME.prg"), prg);
    // An existing output is replaced.
    write_bytes(cleaned, Bytes{1, 2, 3});
    ASSERT_EQ(run({"-o", tape}).status, 0);
    EXPECT_GT(read_bytes(cleaned).size(), 1000u);
}

TEST_F(ConsoleTest, CleaningADmpNameGivesATapName)
{
    const std::string made = mktap("made.tap", {{"D", make_prg(0x0801, 40, 2)}});
    const std::string dump = path("game.DMP");
    write_bytes(dump, read_bytes(made));
    ASSERT_EQ(run({"-o", dump}).status, 0);
    EXPECT_TRUE(exists(path("clean.game.tap")));
    expect_consistent_report(report_path(), path("clean.game.tap"));
    const std::string lower = path("x.dmp.DMP");
    write_bytes(lower, read_bytes(made));
    ASSERT_EQ(run({"-ct1", lower}).status, 0);
    EXPECT_TRUE(exists(path("converted.x.dmp.tap")));
}

TEST_F(ConsoleTest, NoaddpauseReachesTheCleanerAndBoostcleanIsSaidToDoNothing)
{
    const std::string tape = mktap("t.tap", {{"T", make_prg(0x0801, 40, 3)}});
    ASSERT_EQ(run({"-o", tape}).status, 0);
    const Bytes with_pause = read_bytes(path("clean.t.tap"));
    EXPECT_EQ(report().find("-boostclean"), std::string::npos);
    ASSERT_EQ(run({"-noaddpause", "-boostclean", "-o", tape}).status, 0);
    const std::size_t without = read_bytes(path("clean.t.tap")).size();
    EXPECT_LT(without, with_pause.size());
    const std::string text = report();
    EXPECT_EQ(text.find("-noaddpause had no effect"), std::string::npos);
    // The cleaner rewrites every classified pulse already, so a wider
    // tolerance changes nothing, and the report says so.
    EXPECT_NE(text.find("Note: -boostclean had no effect: this cleaner rewrites every pulse of a recognised file "
                        "whatever the tolerance\n"),
              std::string::npos)
        << text;
    ASSERT_EQ(run({"-boostclean", "-o", tape}).status, 0);
    EXPECT_TRUE(read_bytes(path("clean.t.tap")) == with_pause);
}

TEST_F(ConsoleTest, ConvertWritesTheChosenVersionAndReportsOnIt)
{
    const Bytes prg = make_prg(0x0801, 300, 4);
    const std::string tape = mktap("conv.tap", {{"CONV", prg}}, {"--v1"});
    const std::string hash = sha256_of_file(tape);
    for (int version : {0, 1}) {
        const ProgramRun r = run({"-doprg", "-ct" + std::to_string(version), tape});
        ASSERT_EQ(r.status, 0) << r.err;
        const std::string converted = path("converted.conv.tap");
        const Bytes out = read_bytes(converted);
        ASSERT_GT(out.size(), 20u);
        EXPECT_EQ(out[12], version);
        expect_consistent_report(report_path(), converted);
        EXPECT_TRUE(parsed().totals.checksum_test_passed);
        EXPECT_EQ(read_bytes(bin + "/prg/004-CONV.prg"), prg);
    }
    EXPECT_EQ(sha256_of_file(tape), hash);
}

TEST_F(ConsoleTest, RecordWritesAudioBesideTheSourceAndNoReport)
{
    const std::string tape = mktap("song.tap", {{"S", make_prg(0x0801, 30, 5)}});
    const std::string hash = sha256_of_file(tape);
    ASSERT_EQ(run({"-t", tape}).status, 0);
    const std::string before = report();
    const ProgramRun au = run({"-au", tape});
    ASSERT_EQ(au.status, 0) << au.err;
    const Bytes a = read_bytes(path("song.au"));
    ASSERT_GT(a.size(), 24u);
    EXPECT_EQ(std::string(a.begin(), a.begin() + 4), ".snd");
    const ProgramRun wav = run({"-sine", "-wav", tape});
    ASSERT_EQ(wav.status, 0) << wav.err;
    const Bytes w = read_bytes(path("song.wav"));
    ASSERT_GT(w.size(), 44u);
    EXPECT_EQ(std::string(w.begin(), w.begin() + 4), "RIFF");
    EXPECT_EQ(report(), before);
    EXPECT_EQ(sha256_of_file(tape), hash);
    // Sine and square recordings differ.
    ASSERT_EQ(run({"-wav", tape}).status, 0);
    EXPECT_NE(read_bytes(path("song.wav")), w);
}

TEST_F(ConsoleTest, RecordNeverOverwritesItsSource)
{
    const std::string made = mktap("made.tap", {{"S", make_prg(0x0801, 30, 6)}});
    const std::string odd = path("odd.wav");
    write_bytes(odd, read_bytes(made));
    const std::string hash = sha256_of_file(odd);
    const ProgramRun r = run({"-wav", odd});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("would replace the source"), std::string::npos) << r.err;
    EXPECT_EQ(sha256_of_file(odd), hash);
}
