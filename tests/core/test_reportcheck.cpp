// The check of a report's offsets against its tape, and tape order.
#include "core/reportcheck.h"
#include "common/temp_folder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

ReportEntry entry(int index, int64_t start, int64_t end, int64_t inner_start = 0, int64_t inner_end = 0)
{
    ReportEntry e;
    e.index = index;
    e.type = "PAUSE";
    e.start = start;
    e.end = end;
    e.inner_start = inner_start;
    e.inner_end = inner_end;
    e.pulses = end + 1 - start;
    return e;
}

// A 100-byte tape: 80 bytes after the header, covered by three entries.
std::vector<ReportEntry> good_rows()
{
    return {entry(1, 20, 39, 20, 39), entry(2, 40, 79, 50, 70), entry(3, 80, 99, 80, 99)};
}

bool mentions(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(ReportCheck, AReportThatFitsItsTapePasses)
{
    EXPECT_EQ(report_offsets_problem(good_rows(), 80, 100), "");
    // Gaps between entries are allowed; inner offsets of 0 are not given.
    EXPECT_EQ(report_offsets_problem({entry(1, 20, 29), entry(2, 40, 99)}, 80, 100), "");
    EXPECT_EQ(report_offsets_problem({}, 80, 100), "");
}

TEST(ReportCheck, ATapeOfAnotherSizeIsRefused)
{
    const std::string problem = report_offsets_problem(good_rows(), 80, 101);
    EXPECT_TRUE(mentions(problem, "The tape is 101 bytes long, but its report gives 100 bytes")) << problem;
    EXPECT_TRUE(mentions(problem, "Nothing was written.")) << problem;
}

TEST(ReportCheck, EntriesOutsideTheTapeAreRefused)
{
    std::vector<ReportEntry> rows = good_rows();
    rows[2].end = 100;
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "Entry 3 of the report (offsets 80 to 100) lies outside"));
    rows = good_rows();
    rows[0].start = 19;
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "Entry 1 of the report"));
    rows = good_rows();
    rows[1].inner_end = 0x80000000LL;
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "Entry 2 of the report"));
    rows = good_rows();
    rows[2].end = REPORT_OFFSET_MAX;
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "lies outside the tape"));
}

TEST(ReportCheck, EntriesThatRunBackwardsAreRefused)
{
    std::vector<ReportEntry> rows = good_rows();
    rows[1].inner_start = 71;  // after its inner end
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "The offsets of entry 2 of the report run backwards"));
    rows = good_rows();
    rows[1].end = 45;  // before its inner end
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "run backwards"));
    rows = good_rows();
    rows[0].end = 19 + 0;  // before its start
    rows[0].inner_start = rows[0].inner_end = 0;
    rows[0].start = 25;
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "run backwards"));
}

TEST(ReportCheck, OverlapsAndStepsBackAreRefused)
{
    std::vector<ReportEntry> rows = good_rows();
    rows[1].start = 39;
    rows[1].inner_start = 50;
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "Entry 2 of the report (from offset 39) overlaps entry 1"));
    // Report order is index order, whatever order the rows come in.
    rows = good_rows();
    std::swap(rows[0], rows[2]);
    EXPECT_EQ(report_offsets_problem(rows, 80, 100), "");
    rows = good_rows();
    std::swap(rows[0].index, rows[2].index);  // entry 1 is the last on the tape
    EXPECT_TRUE(mentions(report_offsets_problem(rows, 80, 100), "comes before it"));
}

TEST(ReportCheck, TapeOrderFollowsStartOffsetsThenIndexes)
{
    std::vector<ReportEntry> rows = {entry(3, 80, 99), entry(1, 20, 39), entry(2, 40, 79), entry(4, 40, 40)};
    EXPECT_EQ(report_tape_order(rows), std::vector<std::size_t>({1, 2, 3, 0}));
    const std::vector<ReportEntry> sorted = report_rows_in_tape_order(rows);
    ASSERT_EQ(sorted.size(), 4u);
    EXPECT_EQ(sorted[0].index, 1);
    EXPECT_EQ(sorted[3].index, 3);
}

TEST(ReportCheckFile, TheTapeOnDiskIsMeasured)
{
    TempFolder temp{"quillmarfe check 'ä'-XXXXXX"};
    const std::string path = temp.write("game.tap", std::string(100, 'x'));
    EXPECT_EQ(report_tape_problem(path, good_rows(), 80), "");
    EXPECT_TRUE(mentions(report_tape_problem(path, good_rows(), 79), "has changed since it was tested"));
    EXPECT_TRUE(mentions(report_tape_problem(temp.path() + "/gone.tap", good_rows(), 80), "Could not read the tape"));
}
