// The tape split: automatic marks, the IDX listing, names, and the pieces.
#include "core/tapesplit.h"
#include "common/temp_folder.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>
#include <unistd.h>

namespace {

ReportEntry row(int index, const char *type, const char *name = "", int64_t start = 0, int64_t pulses = 0)
{
    ReportEntry e;
    e.index = index;
    e.type = type;
    e.name = name;
    e.start = start;
    e.pulses = pulses;
    e.end = start + pulses - 1;
    return e;
}

std::vector<ReportEntry> numbered(const std::vector<const char *> &types)
{
    std::vector<ReportEntry> rows;
    for (const char *type : types)
        rows.push_back(row(static_cast<int>(rows.size()) + 1, type, "", 0, 100));
    return rows;
}

// The source tape: a header with unusual bytes 12..15 and a wrong size
// field, then bytes whose value tells their offset.
std::string make_tape(std::size_t data_size)
{
    std::string tape = "C64-TAPE-RAW";
    tape += std::string("\x01\x00\x01\x07", 4);
    tape += std::string("\xEF\xBE\xAD\xDE", 4);
    for (std::size_t i = 0; i < data_size; ++i)
        tape += static_cast<char>((20 + i) * 7 + 3);
    return tape;
}

// What a piece of `tape` from start to end (exclusive) must hold.
std::string piece(const std::string &tape, int start, int end)
{
    return tape.substr(0, 16) + le32(static_cast<uint32_t>(end - start)) +
           tape.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
}

std::vector<bool> marks_of(const std::vector<ReportEntry> &rows)
{
    std::vector<bool> marks;
    for (const ReportEntry &e : rows)
        marks.push_back(e.split_mark);
    return marks;
}

class SplitWrite : public ::testing::Test {
protected:
    TempFolder temp{"quillmarfe split 'täpe'-XXXXXX"};
    const std::string dir = temp.path();
    std::string write(const std::string &name, const std::string &bytes) { return temp.write(name, bytes); }
    std::vector<std::string> files() const { return temp.files(); }
};

// Two CBM ROM files: header FIRST/REPEAT and data FIRST/REPEAT each, with pauses.
std::vector<ReportEntry> two_cbm_files()
{
    return {
        row(1, "C64 ROM-TAPE HEADER", "GAME", 20, 100),  row(2, "PAUSE", "", 120, 10),
        row(3, "C64 ROM-TAPE HEADER", "GAME", 130, 100), row(4, "C64 ROM-TAPE DATA", "", 230, 50),
        row(5, "C64 ROM-TAPE DATA", "", 280, 50),        row(6, "PAUSE", "", 330, 20),
        row(7, "C64 ROM-TAPE HEADER", "SECOND", 350, 100), row(8, "C64 ROM-TAPE HEADER", "SECOND", 450, 100),
        row(9, "C64 ROM-TAPE DATA", "", 550, 40),        row(10, "C64 ROM-TAPE DATA", "", 590, 30),
    };
}

} // namespace

TEST(SplitAuto, TwoCbmFilesGetOneMarkBeforeTheSecondFirstHeader)
{
    const std::vector<bool> marks = tape_split_auto_marks(two_cbm_files());
    EXPECT_EQ(marks, std::vector<bool>({false, false, false, false, false, false, true, false, false, false}));
}

TEST(SplitAuto, FirstEntryIsNeverCutBefore)
{
    EXPECT_EQ(tape_split_auto_marks(numbered({"C64 ROM-TAPE HEADER"})), std::vector<bool>({false}));
    EXPECT_EQ(tape_split_auto_marks(numbered({"TURBOTAPE-250 HEADER"})), std::vector<bool>({false}));
}

TEST(SplitAuto, ConsecutiveTurboTapeHeadersAreEachMarked)
{
    const auto rows = numbered({"C64 ROM-TAPE DATA", "TURBOTAPE-250 HEADER", "TURBOTAPE-250 HEADER", "PAUSE",
                                "TURBOTAPE-250 HEADER", "C64 ROM-TAPE HEADER"});
    EXPECT_EQ(tape_split_auto_marks(rows), std::vector<bool>({false, true, true, false, true, true}));
}

TEST(SplitAuto, CbmHeaderAfterAMarkedCbmHeaderIsNotMarked)
{
    const auto rows = numbered({"TURBOTAPE-250 DATA", "C64 ROM-TAPE HEADER", "PAUSE", "C64 ROM-TAPE HEADER"});
    EXPECT_EQ(tape_split_auto_marks(rows), std::vector<bool>({false, true, false, false}));
}

TEST(SplitAuto, PausesLeaveTheFlag)
{
    const auto rows = numbered({"C64 ROM-TAPE DATA", "PAUSE", "PAUSE (long)", "C64 ROM-TAPE HEADER"});
    EXPECT_EQ(tape_split_auto_marks(rows), std::vector<bool>({false, false, false, true}));
}

TEST(SplitAuto, UnrecognisedStretchCountsOnlyAbove19Pulses)
{
    std::vector<ReportEntry> rows = {row(1, "C64 ROM-TAPE HEADER"), row(2, "UNRECOGNIZED", "", 0, 19),
                                     row(3, "C64 ROM-TAPE HEADER")};
    EXPECT_EQ(tape_split_auto_marks(rows), std::vector<bool>({false, false, false}));
    rows[1].pulses = 20;
    EXPECT_EQ(tape_split_auto_marks(rows), std::vector<bool>({false, false, true}));
    rows[1].type = "UNRECOGNIsed stuff";  // the first nine characters decide
    EXPECT_EQ(tape_split_auto_marks(rows), std::vector<bool>({false, false, true}));
}

TEST(SplitAuto, OtherTypesOfFilesEndAFile)
{
    const auto rows = numbered({"C64 ROM-TAPE HEADER", "FREELOAD", "C64 ROM-TAPE HEADER"});
    EXPECT_EQ(tape_split_auto_marks(rows), std::vector<bool>({false, false, true}));
}

TEST(SplitAuto, AnalyzeReplacesEveryMarkAndLogsIdx)
{
    std::vector<ReportEntry> rows = two_cbm_files();
    rows[0].split_mark = true;
    rows[3].split_mark = true;
    const std::string log = tape_split_analyze(rows);
    EXPECT_EQ(marks_of(rows), std::vector<bool>({false, false, false, false, false, false, true, false, false, false}));
    EXPECT_EQ(log, "Split offsets as IDX entries:\n0x14\t\tGAME\n0x15E\t\tSECOND\n");
}

TEST(SplitAuto, ClearAllAndSetMarks)
{
    std::vector<ReportEntry> rows = two_cbm_files();
    tape_split_set_marks(rows, {true, false, true});
    EXPECT_EQ(marks_of(rows), std::vector<bool>({true, false, true, false, false, false, false, false, false, false}));
    tape_split_clear_marks(rows);
    EXPECT_EQ(marks_of(rows), std::vector<bool>(10, false));
}

TEST(SplitIdx, LongOffsetsGetOneTabShortOnesTwo)
{
    std::vector<ReportEntry> rows = {row(1, "C64 ROM-TAPE HEADER", "A", 20), row(2, "X", "B", 0xFFFFF),
                                     row(3, "X", "C", 0x100000), row(4, "X", "", 0x2ABCDE)};
    rows[1].split_mark = rows[2].split_mark = rows[3].split_mark = true;
    EXPECT_EQ(tape_split_idx_log(rows),
              "Split offsets as IDX entries:\n0x14\t\tA\n0xFFFFF\t\tB\n0x100000\tC\n0x2ABCDE\t\n");
}

TEST(SplitIdx, FirstEntryIsTheFirstNameBeforeTheFirstMarkTrimmed)
{
    std::vector<ReportEntry> rows = {row(1, "PAUSE", "   ", 20), row(2, "X", "", 30),
                                     row(3, "X", "  Ü'S GAME \t", 40), row(4, "X", "OTHER", 50),
                                     row(5, "X", " NEXT ", 0x60)};
    rows[4].split_mark = true;
    EXPECT_EQ(tape_split_idx_log(rows), "Split offsets as IDX entries:\n0x14\t\tÜ'S GAME\n0x60\t\t NEXT \n");
}

TEST(SplitIdx, NoFirstEntryWhenNoNameComesBeforeTheFirstMark)
{
    std::vector<ReportEntry> rows = {row(1, "X", " ", 20), row(2, "X", "LATE", 0x30), row(3, "X", "LATER", 0x40)};
    rows[1].split_mark = true;
    EXPECT_EQ(tape_split_idx_log(rows), "Split offsets as IDX entries:\n0x30\t\tLATE\n");
}

TEST(SplitIdx, WithoutMarksTheFirstNameOfTheTapeIsTheOnlyEntry)
{
    const std::vector<ReportEntry> rows = {row(1, "X", "", 20), row(2, "X", "ONLY", 0x30)};
    EXPECT_EQ(tape_split_idx_log(rows), "Split offsets as IDX entries:\n0x14\t\tONLY\n");
}

TEST(SplitNames, ForbiddenCharactersBecomeUnderscores)
{
    EXPECT_EQ(tape_split_sanitize_name("A/B:C"), "A_B_C");
    EXPECT_EQ(tape_split_sanitize_name("\"*/:<>?\\|"), "_________");
    EXPECT_EQ(tape_split_sanitize_name("it's Ärger ok.-_"), "it's Ärger ok.-_");
}

TEST(SplitNames, PieceNames)
{
    const std::string name = "GAME";
    EXPECT_EQ(tape_split_piece_name(0, &name), "splitted-0000-(GAME).tap");
    EXPECT_EQ(tape_split_piece_name(12, nullptr), "splitted-0012.tap");
    EXPECT_EQ(tape_split_piece_name(12345, nullptr), "splitted-12345.tap");
}

TEST(SplitNames, OnlyTapNamesAreSplit)
{
    EXPECT_TRUE(tape_split_is_tap_name("/a/b.tap"));
    EXPECT_TRUE(tape_split_is_tap_name("B.TAP"));
    EXPECT_FALSE(tape_split_is_tap_name("b.Tap"));
    EXPECT_FALSE(tape_split_is_tap_name("b.dmp"));
    EXPECT_FALSE(tape_split_is_tap_name("tap"));
}

TEST(SplitNames, DialogTexts)
{
    EXPECT_STREQ(TAPE_SPLIT_ANALYSIS_DONE,
                 "The automatic analysis has completed\nand split points have been marked, if\nappropriate.\n"
                 "You might now want to review them\nbefore proceeding with a split.\nNote that the details of "
                 "the split\nin IDX format are shown within the\nSystem Log tab.");
    EXPECT_STREQ(TAPE_SPLIT_DONE, "The split process has completed.\nNote that the details of the split\nare "
                                  "shown within the System Log\ntab.");
    EXPECT_STREQ(TAPE_SPLIT_ANALYZE_ONLY_TAP, "You can only analyze and split TAP files.");
    EXPECT_STREQ(TAPE_SPLIT_ONLY_TAP, "You can only split TAP files.");
    EXPECT_STREQ(TAPE_SPLIT_TITLE, "Split tape");
    EXPECT_STREQ(TAPE_SPLIT_ANALYSIS_TITLE, "Analysis completed");
    EXPECT_STREQ(TAPE_SPLIT_ANALYZE_TITLE, "Analyze tape");
}

TEST_F(SplitWrite, TwoCbmFilesSplitIntoTwoNamedPieces)
{
    const std::string tape = make_tape(600);
    const std::string path = write("my game's tape.tap", tape);
    const std::string before = sha256_of_file(path);
    std::vector<ReportEntry> rows = two_cbm_files();
    tape_split_analyze(rows);

    const SplitResult result = tape_split_write(path, rows, 600);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.message, TAPE_SPLIT_DONE);
    EXPECT_EQ(result.log, "Results of the split:\n"
                          "Filename: GAME - Start: 20 - End: 349 - Block len: 330\n"
                          "Filename: SECOND - Start: 350 - End: 619 - Block len: 270\n");
    EXPECT_EQ(result.written, std::vector<std::string>({dir + "/splitted-0000-(GAME).tap",
                                                        dir + "/splitted-0001-(SECOND).tap"}));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0000-(GAME).tap"), piece(tape, 20, 350));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001-(SECOND).tap"), piece(tape, 350, 620));
    EXPECT_EQ(files(), std::vector<std::string>({"my game's tape.tap", "splitted-0000-(GAME).tap",
                                                 "splitted-0001-(SECOND).tap"}));
    EXPECT_EQ(sha256_of_file(path), before);
}

TEST_F(SplitWrite, HeaderBytesAreCopiedAndTheSizeIsThePieceLength)
{
    const std::string tape = make_tape(100);
    const std::string path = write("t.tap", tape);
    std::vector<ReportEntry> rows = {row(1, "X", "", 20, 40), row(2, "X", "", 60, 60)};
    rows[1].split_mark = true;
    tape_split_write(path, rows, 100);
    const std::string first = read_file_or_missing(dir + "/splitted-0000.tap");
    EXPECT_EQ(first, std::string("C64-TAPE-RAW\x01\x00\x01\x07\x28\x00\x00\x00", 20) + tape.substr(20, 40));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001.tap"), piece(tape, 60, 120));
}

TEST_F(SplitWrite, ForbiddenCharactersInNamesAreReplaced)
{
    const std::string tape = make_tape(100);
    const std::string path = write("t.tap", tape);
    std::vector<ReportEntry> rows = {row(1, "X", " A/B:C ", 20, 40), row(2, "X", "Ü<1>?", 60, 60)};
    rows[1].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 100);
    EXPECT_EQ(files(), std::vector<std::string>({"splitted-0000-(A_B_C).tap", "splitted-0001-(Ü_1__).tap", "t.tap"}));
    EXPECT_EQ(result.log, "Results of the split:\n"
                          "Filename: A_B_C - Start: 20 - End: 59 - Block len: 40\n"
                          "Filename: Ü_1__ - Start: 60 - End: 119 - Block len: 60\n");
}

TEST_F(SplitWrite, NoMarkMeansNoSplit)
{
    const std::string path = write("t.tap", make_tape(100));
    const SplitResult result = tape_split_write(path, {row(1, "X", "A", 20, 100)}, 100);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.message, "No split point set.");
    EXPECT_EQ(result.log, "");
    EXPECT_TRUE(result.written.empty());
    EXPECT_EQ(files(), std::vector<std::string>({"t.tap"}));
}

TEST_F(SplitWrite, UnreadableTapeIsReported)
{
    std::vector<ReportEntry> rows = {row(1, "X", "A", 20, 40), row(2, "X", "B", 60, 40)};
    rows[1].split_mark = true;
    SplitResult result = tape_split_write(dir + "/missing.tap", rows, 80);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.message, "Could not read from TAP.");
    EXPECT_EQ(result.log, "");
    const std::string shorty = write("short.tap", make_tape(0).substr(0, 19));
    result = tape_split_write(shorty, rows, 80);
    EXPECT_EQ(result.message, "Could not read from TAP.");
    EXPECT_EQ(files(), std::vector<std::string>({"short.tap"}));
}

TEST_F(SplitWrite, MarkOnTheFirstEntryIsIgnored)
{
    const std::string tape = make_tape(100);
    const std::string path = write("t.tap", tape);
    std::vector<ReportEntry> rows = {row(1, "X", "FIRST ONE", 20, 40), row(2, "X", "B", 60, 60)};
    rows[0].split_mark = true;
    rows[1].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 100);
    EXPECT_TRUE(result.ok);
    // No empty first piece: the mark on entry 1 counts as none.
    EXPECT_EQ(result.log, "Results of the split:\nFilename: FIRST ONE - Start: 20 - End: 59 - Block len: 40\n"
                          "Filename: B - Start: 60 - End: 119 - Block len: 60\n");
    EXPECT_EQ(files(), std::vector<std::string>({"splitted-0000-(FIRST ONE).tap", "splitted-0001-(B).tap", "t.tap"}));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0000-(FIRST ONE).tap"), piece(tape, 20, 60));
}

TEST_F(SplitWrite, FirstPieceTakesTheFirstNameBeforeTheMarkAndLaterPiecesTheirMarkedRowsName)
{
    const std::string tape = make_tape(200);
    const std::string path = write("t.tap", tape);
    std::vector<ReportEntry> rows = {row(1, "PAUSE", "", 20, 10),     row(2, "X", "  ", 30, 10),
                                     row(3, "X", "FIRST", 40, 10),    row(4, "X", "NOT THIS", 50, 10),
                                     row(5, "X", "", 60, 40),         row(6, "X", "LATE NAME", 100, 20),
                                     row(7, "X", "THIRD", 120, 100)};
    rows[4].split_mark = true;
    rows[6].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 200);
    EXPECT_EQ(result.log, "Results of the split:\n"
                          "Filename: FIRST - Start: 20 - End: 59 - Block len: 40\n"
                          "Filename: (none) - Start: 60 - End: 119 - Block len: 60\n"
                          "Filename: THIRD - Start: 120 - End: 219 - Block len: 100\n");
    EXPECT_EQ(files(), std::vector<std::string>({"splitted-0000-(FIRST).tap", "splitted-0001.tap",
                                                 "splitted-0002-(THIRD).tap", "t.tap"}));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001.tap"), piece(tape, 60, 120));
}

TEST_F(SplitWrite, AReportOfAnotherSizeIsRefusedAndNothingIsWritten)
{
    const std::string tape = make_tape(100);
    const std::string path = write("t.tap", tape);
    std::vector<ReportEntry> rows = {row(1, "X", "A", 20, 40), row(2, "X", "B", 60, 60)};
    rows[1].split_mark = true;
    // The report claims more data than the file holds.
    const SplitResult result = tape_split_write(path, rows, 101);
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.message.find("The tape is 120 bytes long, but its report gives 121 bytes"), std::string::npos)
        << result.message;
    EXPECT_EQ(result.log, "");
    EXPECT_EQ(files(), std::vector<std::string>({"t.tap"}));
}

// Offsets near 2^31 used to overflow the piece length and write truncated
// pieces while reporting success.
TEST_F(SplitWrite, OffsetsNearTwoToThe31AreRefused)
{
    const std::string path = write("t.tap", make_tape(100));
    std::vector<ReportEntry> rows = {row(1, "X", "A", 20, 40), row(2, "X", "B", 0x7FFFFFF0, 60)};
    rows[1].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 100);
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.message.find("Entry 2 of the report"), std::string::npos) << result.message;
    EXPECT_EQ(files(), std::vector<std::string>({"t.tap"}));
}

TEST_F(SplitWrite, OverlappingRowsAreRefused)
{
    const std::string path = write("t.tap", make_tape(100));
    std::vector<ReportEntry> rows = {row(1, "X", "A", 20, 50), row(2, "X", "B", 60, 60)};
    rows[1].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 100);
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.message.find("overlaps entry 1"), std::string::npos) << result.message;
    EXPECT_EQ(files(), std::vector<std::string>({"t.tap"}));
}

// Whatever the list's order, the pieces follow the tape.
TEST_F(SplitWrite, RowsSortedOtherwiseGiveTheSamePieces)
{
    const std::string tape = make_tape(600);
    const std::string path = write("t.tap", tape);
    std::vector<ReportEntry> rows = two_cbm_files();
    tape_split_analyze(rows);
    std::reverse(rows.begin(), rows.end());
    const SplitResult result = tape_split_write(path, rows, 600);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0000-(GAME).tap"), piece(tape, 20, 350));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001-(SECOND).tap"), piece(tape, 350, 620));
}

TEST_F(SplitWrite, PieceThatCannotBeCreatedIsReportedAndUsesItsNumber)
{
    const std::string tape = make_tape(100);
    const std::string path = write("t.tap", tape);
    g_mkdir((dir + "/splitted-0000-(A).tap").c_str(), 0700);
    std::vector<ReportEntry> rows = {row(1, "X", "A", 20, 40), row(2, "X", "B", 60, 60)};
    rows[1].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 100);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.message.rfind(TAPE_SPLIT_FAILED, 0), 0u) << result.message;
    EXPECT_NE(result.message.find("Could not create " + dir + "/splitted-0000-(A).tap"), std::string::npos)
        << result.message;
    EXPECT_NE(result.log.find("Not written: splitted-0000-(A).tap - Could not create"), std::string::npos)
        << result.log;
    EXPECT_NE(result.log.find("Filename: B - Start: 60 - End: 119 - Block len: 60\n"), std::string::npos);
    EXPECT_EQ(result.written, std::vector<std::string>({dir + "/splitted-0001-(B).tap"}));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001-(B).tap"), piece(tape, 60, 120));
}

// A piece that fails while being written (a full device) is not left behind.
TEST_F(SplitWrite, APieceThatCannotBeWrittenIsReportedAndRemoved)
{
    if (!g_file_test("/dev/full", G_FILE_TEST_EXISTS))
        GTEST_SKIP() << "no /dev/full";
    const std::string tape = make_tape(100);
    const std::string path = write("t.tap", tape);
    ASSERT_EQ(symlink("/dev/full", (dir + "/splitted-0001-(B).tap").c_str()), 0);
    std::vector<ReportEntry> rows = {row(1, "X", "A", 20, 40), row(2, "X", "B", 60, 60)};
    rows[1].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 100);
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.message.find("No space left on device"), std::string::npos) << result.message;
    EXPECT_EQ(files(), std::vector<std::string>({"splitted-0000-(A).tap", "t.tap"}));
}

TEST_F(SplitWrite, ExistingPiecesAreOverwritten)
{
    const std::string tape = make_tape(100);
    const std::string path = write("t.tap", tape);
    write("splitted-0001.tap", std::string(500, 'x'));
    std::vector<ReportEntry> rows = {row(1, "X", "", 20, 40), row(2, "X", "", 60, 60)};
    rows[1].split_mark = true;
    tape_split_write(path, rows, 100);
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001.tap"), piece(tape, 60, 120));
}

TEST_F(SplitWrite, AMarkOnlyOnTheFirstEntryIsNoSplitPoint)
{
    const std::string path = write("t.tap", make_tape(100));
    std::vector<ReportEntry> rows = {row(1, "X", "A", 20, 40), row(2, "X", "B", 60, 60)};
    rows[0].split_mark = true;
    const SplitResult result = tape_split_write(path, rows, 100);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.message, "No split point set.");
    EXPECT_EQ(files(), std::vector<std::string>({"t.tap"}));
}
