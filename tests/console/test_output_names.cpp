// The files Clean, Convert and Record write beside the source: their names
// (as the front end works them out), their replacing an existing file, a
// dump converted into a TAP file, and the trailing silence of a cleaned tape.
#include "console_support.h"

#include <glib.h>

namespace {

bool exists(const std::string &p) { return g_file_test(p.c_str(), G_FILE_TEST_EXISTS); }

// A version 1 long pulse of `cycles`.
Bytes long_pulse(uint32_t cycles)
{
    return {0, uint8_t(cycles & 0xFF), uint8_t((cycles >> 8) & 0xFF), uint8_t(cycles >> 16)};
}

void set_data_size(Bytes &tap)
{
    const uint32_t size = uint32_t(tap.size() - 20);
    for (int i = 0; i < 4; ++i)
        tap[16 + i] = uint8_t(size >> (8 * i));
}

// The tape with `tail` appended and its data size set.
Bytes with_tail(const Bytes &tape, const Bytes &tail)
{
    Bytes t = tape;
    t.insert(t.end(), tail.begin(), tail.end());
    set_data_size(t);
    return t;
}

// Five seconds at the C64 PAL clock.
constexpr uint32_t FIVE_SECONDS = 5 * 985248;

} // namespace

TEST_F(ConsoleTest, CleanedNamesFollowTheFrontEndsDmpRule)
{
    const Bytes tape = read_bytes(mktap("made.tap", {{"N", make_prg(0x0801, 40, 1)}}));
    // The last ".DMP" wins over a later ".dmp" and the tail after it goes.
    write_bytes(path("a.DMP.dmp"), tape);
    ASSERT_EQ(run({"-o", path("a.DMP.dmp")}).status, 0);
    EXPECT_TRUE(exists(path("clean.a.tap")));
    EXPECT_FALSE(exists(path("clean.a.DMP.tap")));
    expect_consistent_report(report_path(), path("clean.a.tap"));
    // Only ".DMP" and ".dmp" are replaced; "game.Dmp" keeps its name.
    write_bytes(path("game.Dmp"), tape);
    ASSERT_EQ(run({"-o", path("game.Dmp")}).status, 0);
    EXPECT_TRUE(exists(path("clean.game.Dmp")));
    expect_consistent_report(report_path(), path("clean.game.Dmp"));
    ASSERT_EQ(run({"-ct0", path("game.Dmp")}).status, 0);
    EXPECT_TRUE(exists(path("converted.game.Dmp")));
}

TEST_F(ConsoleTest, ConvertingAZorvDumpGivesAC64TapFile)
{
    const Bytes prg = make_prg(0x0801, 60, 2);
    const Bytes dump = zorv_dump_of(read_bytes(mktap("made.tap", {{"ZD", prg}}, {"--v1"})));
    const std::string source = path("z.DMP");
    write_bytes(source, dump);
    for (int version : {0, 1}) {
        const ProgramRun r = run({"-doprg", "-ct" + std::to_string(version), source});
        ASSERT_EQ(r.status, 0) << r.err;
        const std::string converted = path("converted.z.tap");
        const Bytes out = read_bytes(converted);
        ASSERT_GT(out.size(), 20u);
        EXPECT_EQ(std::string(out.begin(), out.begin() + 12), "C64-TAPE-RAW");
        EXPECT_EQ(out[12], version);
        EXPECT_EQ(out[13], 0);  // C64
        EXPECT_EQ(out[14], 0);  // PAL
        expect_consistent_report(report_path(), converted);
        EXPECT_EQ(report_value(report(), "TAP Format  : "),
                  "C64 TAP version " + std::to_string(version) + ", Commodore 64, PAL");
        EXPECT_TRUE(parsed().totals.checksum_test_passed);
        EXPECT_EQ(read_bytes(bin + "/prg/004-ZD.prg"), prg);
    }
    EXPECT_EQ(read_bytes(source), dump);
}

TEST_F(ConsoleTest, ConvertAndRecordReplaceAnExistingOutput)
{
    const std::string tape = mktap("out.tap", {{"O", make_prg(0x0801, 30, 3)}});
    const Bytes junk = {'j', 'u', 'n', 'k'};
    struct Case {
        const char *op;
        std::string output;
        std::string magic;
    };
    const Case cases[] = {{"-ct0", path("converted.out.tap"), "C64-TAPE-RAW"},
                          {"-ct1", path("converted.out.tap"), "C64-TAPE-RAW"},
                          {"-au", path("out.au"), ".snd"},
                          {"-wav", path("out.wav"), "RIFF"}};
    for (const Case &c : cases) {
        write_bytes(c.output, junk);
        const ProgramRun r = run({c.op, tape});
        ASSERT_EQ(r.status, 0) << c.op << ": " << r.err;
        const Bytes out = read_bytes(c.output);
        ASSERT_GT(out.size(), 1000u) << c.op;
        EXPECT_EQ(std::string(out.begin(), out.begin() + long(c.magic.size())), c.magic) << c.op;
    }
}

TEST_F(ConsoleTest, CleaningEndsInFiveSecondsOfSilenceUnlessNoaddpause)
{
    // mktap's tape ends in the trailer of the last REPEAT copy, and every pulse
    // on it is already ideal: cleaning it gives the same bytes, plus the
    // silence as one long pulse of 5 x 985248 cycles ($4B2B20).
    const Bytes source = read_bytes(mktap("quiet.tap", {{"Q", make_prg(0x0801, 80, 4)}}, {"--v1"}));
    const std::string tape = path("quiet.tap");
    ASSERT_EQ(source[source.size() - 1], 0x30);

    ASSERT_EQ(run({"-o", tape}).status, 0);
    const Bytes cleaned = read_bytes(path("clean.quiet.tap"));
    EXPECT_TRUE(cleaned == with_tail(source, long_pulse(FIVE_SECONDS)));
    EXPECT_EQ(Bytes(cleaned.end() - 4, cleaned.end()), (Bytes{0x00, 0x20, 0x2B, 0x4B}));
    expect_consistent_report(report_path(), path("clean.quiet.tap"));
    EXPECT_EQ(report_values(report(), "File Type: ").back(), "PAUSE");

    ASSERT_EQ(run({"-noaddpause", "-o", tape}).status, 0);
    EXPECT_TRUE(read_bytes(path("clean.quiet.tap")) == source);
    EXPECT_EQ(report_values(report(), "File Type: ").back(), "C64 ROM-TAPE DATA");

    // A tape ending in a one-second pause: lengthened to five seconds, not followed by another.
    const std::string short_end = path("short end.tap");
    write_bytes(short_end, with_tail(source, long_pulse(985248)));
    ASSERT_EQ(run({"-o", short_end}).status, 0);
    EXPECT_TRUE(read_bytes(path("clean.short end.tap")) == with_tail(source, long_pulse(FIVE_SECONDS)));
    ASSERT_EQ(run({"-noaddpause", "-o", short_end}).status, 0);
    EXPECT_TRUE(read_bytes(path("clean.short end.tap")) == with_tail(source, long_pulse(985248)));

    // A longer final pause is kept as it is.
    const std::string long_end = path("long end.tap");
    write_bytes(long_end, with_tail(source, long_pulse(7 * 985248)));
    ASSERT_EQ(run({"-o", long_end}).status, 0);
    EXPECT_TRUE(read_bytes(path("clean.long end.tap")) == with_tail(source, long_pulse(7 * 985248)));
}
