// IDX index files: a line per program start, written beside the tape only
// when the report describes that tape.
#include "common/temp_folder.h"
#include "core/tapeidx.h"

#include <gtest/gtest.h>

namespace {

ReportEntry row(int index, const char *type, const char *name, int64_t start, int64_t end, bool first,
                const char *load = "$0801")
{
    ReportEntry e;
    e.index = index;
    e.type = type;
    e.name = name;
    e.start = start;
    e.end = end;
    e.first_copy = first;
    e.load_address = load;
    return e;
}

const char *const HEADER = "C64 ROM-TAPE HEADER";
const char *const DATA = "C64 ROM-TAPE DATA";

// Three programs, each saved twice by the KERNAL, with a pause between.
std::vector<ReportEntry> three_programs()
{
    return {row(1, HEADER, "GAME            ", 20, 99, true), row(2, HEADER, "GAME            ", 100, 179, false),
            row(3, DATA, "", 180, 299, true), row(4, DATA, "", 300, 419, false),
            row(5, "PAUSE", "", 420, 439, false),
            row(6, HEADER, "HISCORES", 440, 519, true, "$C000"), row(7, HEADER, "HISCORES", 520, 599, false, "$C000"),
            row(8, DATA, "", 600, 649, true), row(9, DATA, "", 650, 699, false),
            row(10, HEADER, "LEVEL 2", 0x123456, 0x123500, true), row(11, HEADER, "LEVEL 2", 0x123501, 0x123600, false)};
}

TEST(TapeIdx, ALinePerProgramWithItsFirstHeaderOffsetAndName)
{
    EXPECT_EQ(tape_idx_text(three_programs()), "0x14\t\tGAME\n0x1B8\t\tHISCORES\n0x123456\tLEVEL 2\n");
}

TEST(TapeIdx, TheRowsOrderDoesNotMatter)
{
    std::vector<ReportEntry> rows = three_programs();
    std::reverse(rows.begin(), rows.end());
    EXPECT_EQ(tape_idx_text(rows), "0x14\t\tGAME\n0x1B8\t\tHISCORES\n0x123456\tLEVEL 2\n");
}

TEST(TapeIdx, AProgramWhoseFirstHeaderWasLostCountsFromItsRepeat)
{
    std::vector<ReportEntry> rows = three_programs();
    rows[5].type = "UNRECOGNIZED"; // HISCORES' first header copy
    EXPECT_EQ(tape_idx_text(rows), "0x14\t\tGAME\n0x208\t\tHISCORES\n0x123456\tLEVEL 2\n");
}

TEST(TapeIdx, TwoProgramsOfOneNameAreBothListed)
{
    // Same name, another load address: another program.
    std::vector<ReportEntry> rows = {row(1, HEADER, "PART", 20, 99, true, "$0801"),
                                     row(2, HEADER, "PART", 100, 179, false, "$0801"),
                                     row(3, HEADER, "PART", 180, 259, true, "$2000"),
                                     row(4, HEADER, "PART", 260, 339, false, "$2000")};
    EXPECT_EQ(tape_idx_text(rows), "0x14\t\tPART\n0xB4\t\tPART\n");
}

TEST(TapeIdx, TheIndexIsNamedAfterTheTape)
{
    EXPECT_EQ(tape_idx_path("/tapes/side a.tap"), "/tapes/side a.idx");
    EXPECT_EQ(tape_idx_path("/tapes/v1.0/GAME.TAP"), "/tapes/v1.0/GAME.idx");
    EXPECT_EQ(tape_idx_path("/tapes/noextension"), "/tapes/noextension.idx");
}

TEST(TapeIdx, WritesTheIndexBesideATapeTheReportDescribes)
{
    TempFolder folder("qm-idx-XXXXXX");
    const std::string tape = folder.write("it's a tape.tap", std::string(0x123600 + 1, '\x30'));
    const std::string before = sha256_of_file(tape);
    const TapeIdxResult result = tape_idx_write(tape, three_programs(), 0x123600 + 1 - 20);
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.path, folder.path() + "/it's a tape.idx");
    EXPECT_EQ(read_file_or_missing(result.path), result.text);
    EXPECT_EQ(result.text, "0x14\t\tGAME\n0x1B8\t\tHISCORES\n0x123456\tLEVEL 2\n");
    EXPECT_EQ(sha256_of_file(tape), before);
}

TEST(TapeIdx, AReportOfAnotherTapeWritesNothing)
{
    TempFolder folder("qm-idx-XXXXXX");
    const std::string tape = folder.write("short.tap", std::string(500, '\x30'));
    folder.write("short.idx", "an older index\n");
    const TapeIdxResult result = tape_idx_write(tape, three_programs(), 0x123600 + 1 - 20);
    EXPECT_FALSE(result.ok);
    EXPECT_FALSE(result.error.empty());
    EXPECT_EQ(read_file_or_missing(folder.path() + "/short.idx"), "an older index\n");
}

TEST(TapeIdx, ATapeWithoutProgramsHasNothingToIndex)
{
    TempFolder folder("qm-idx-XXXXXX");
    const std::string tape = folder.write("noise.tap", std::string(120, '\x30'));
    const TapeIdxResult result = tape_idx_write(tape, {row(1, "UNRECOGNIZED", "", 20, 119, false)}, 100);
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.error.find("nothing to index"), std::string::npos) << result.error;
    EXPECT_EQ(read_file_or_missing(folder.path() + "/noise.idx"), "<missing>");
}

} // namespace
