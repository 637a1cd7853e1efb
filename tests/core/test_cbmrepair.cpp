// CBM file repair: pairing, regions, ticks and the repaired tape.
#include "core/cbmrepair.h"
#include "common/temp_folder.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

const char *const HEADER = "C64 ROM-TAPE HEADER";
const char *const DATA = "C64 ROM-TAPE DATA";

// A C64 ROM copy: checkbyte "OK" when ok, else "FAIL".
ReportEntry cbm(int index, const char *type, bool first, bool ok, int64_t start, int64_t inner_start, int64_t inner_end,
                int64_t end, const char *la = "0801", const char *ea = "0900", const char *crc = "12345678")
{
    ReportEntry e;
    e.index = index;
    e.type = type;
    e.first_copy = first;
    e.checkbyte = ok ? "OK" : "FAIL";
    e.start = start;
    e.inner_start = inner_start;
    e.inner_end = inner_end;
    e.end = end;
    e.pulses = end + 1 - start;
    e.load_address = la;
    e.end_address = ea;
    e.crc32 = crc;
    return e;
}

// Any other row (pause, unrecognised stretch, other loader): no inner offsets.
ReportEntry other(int index, const char *type, int64_t start, int64_t end)
{
    ReportEntry e;
    e.index = index;
    e.type = type;
    e.start = start;
    e.end = end;
    e.pulses = end + 1 - start;
    return e;
}

// Healthy header FIRST, a pause, its faulty REPEAT, debris, then a healthy data pair.
std::vector<ReportEntry> healthy_first_rows()
{
    return {cbm(1, HEADER, true, true, 20, 30, 60, 69),
            other(2, "PAUSE", 70, 79),
            cbm(3, HEADER, false, false, 80, 90, 120, 129),
            other(4, "UNRECOGNIZED", 130, 154),
            other(5, "PAUSE", 155, 164),
            cbm(6, DATA, true, true, 165, 175, 250, 259, "0801", "0A00"),
            cbm(7, DATA, false, true, 260, 270, 345, 354, "0801", "0A00"),
            other(8, "PAUSE", 355, 419)};
}

// Faulty header FIRST, short debris, a pause, 21 pulses of debris, its healthy REPEAT.
std::vector<ReportEntry> faulty_first_rows()
{
    return {cbm(1, HEADER, true, false, 20, 30, 60, 69),
            other(2, "UNRECOGNIZED", 70, 89),
            other(3, "PAUSE", 90, 99),
            other(4, "UNRECOGNIZED", 100, 120),
            cbm(5, HEADER, false, true, 121, 131, 161, 170),
            other(6, "PAUSE", 171, 419)};
}

// Data size of the tapes that make_tape(400) makes, as their reports give it.
constexpr int64_t TOTAL = 400;

// The source tape: a header with a wrong size field, then bytes that tell their offset.
std::string make_tape(std::size_t data_size)
{
    std::string tape = "C64-TAPE-RAW";
    tape += std::string("\x01\x00\x00\x00", 4);
    tape += std::string("\xEF\xBE\xAD\xDE", 4);
    for (std::size_t i = 0; i < data_size; ++i)
        tape += static_cast<char>((20 + i) * 7 + 3);
    return tape;
}

std::string span(const std::string &tape, std::size_t from, std::size_t to)
{
    return tape.substr(from, to - from);
}

// `body` with its size field set to its length minus 20.
std::string sized(std::string body)
{
    const uint32_t size = static_cast<uint32_t>(body.size() - 20);
    for (int i = 0; i < 4; ++i)
        body[static_cast<std::size_t>(16 + i)] = static_cast<char>((size >> (8 * i)) & 0xFF);
    return body;
}

const std::string V0 = "V0";
const std::string SHORTS(78, '\x30');

class RepairFix : public ::testing::Test {
protected:
    TempFolder temp{"quillmarfe repair 'Bänder'-XXXXXX"};
    const std::string dir = temp.path();
    std::string write(const std::string &name, const std::string &bytes) { return temp.write(name, bytes); }
    std::vector<std::string> files() const { return temp.files(); }
};

} // namespace

TEST(RepairAnalyze, HealthyFirstPauseFaultyRepeatMakeOneRegion)
{
    const RepairAnalysis a = cbm_repair_analyze(healthy_first_rows());
    EXPECT_EQ(a.text, "Index: 3 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                      " - can be fixed using its FIRST copy at index 1\n"
                      "Faulty CBM region count: 1 - Can be fixed: 1\n");
    EXPECT_EQ(a.faulty_count, 1);
    EXPECT_EQ(a.fixable_count, 1);
    ASSERT_EQ(a.regions.size(), 1u);
    const RepairRegion &r = a.regions[0];
    EXPECT_EQ(r.faulty_index, 3);
    EXPECT_EQ(r.healthy_index, 1);
    EXPECT_EQ(r.row_count, 2);
    EXPECT_TRUE(r.include);
    EXPECT_EQ(r.ticks, std::vector<bool>({true, true}));
    EXPECT_EQ(r.size, 40 + 25);
}

TEST(RepairAnalyze, RegionRowsHoldTheNineColumns)
{
    const RepairAnalysis a = cbm_repair_analyze(faulty_first_rows());
    ASSERT_EQ(a.regions.size(), 1u);
    const std::vector<RepairRow> &rows = a.regions[0].rows;
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[0].index, 1);
    EXPECT_EQ(rows[0].pulses, 50);
    EXPECT_EQ(rows[0].file_id, "FIRST");
    EXPECT_EQ(rows[0].type, HEADER);
    EXPECT_EQ(rows[0].inner_start, 30);
    EXPECT_EQ(rows[0].end, 69);
    EXPECT_EQ(rows[0].data_pulses, 40);  // end + 1 - inner start
    EXPECT_EQ(rows[0].start, 20);
    EXPECT_EQ(rows[1].file_id, "");
    EXPECT_EQ(rows[1].type, "UNRECOGNIZED");
    EXPECT_EQ(rows[1].data_pulses, 20);  // no inner start: the pulses
    EXPECT_EQ(rows[2].data_pulses, 10);
    EXPECT_EQ(rows[3].data_pulses, 21);
    EXPECT_EQ(rows[3].start, 100);
}

TEST(RepairAnalyze, FaultyFirstIsFixedFromItsHealthyRepeat)
{
    const RepairAnalysis a = cbm_repair_analyze(faulty_first_rows());
    EXPECT_EQ(a.text, "Index: 1 - C64 ROM-TAPE HEADER - File ID: FIRST\n"
                      " - can be fixed using its REPEAT copy at index 5\n"
                      "Faulty CBM region count: 1 - Can be fixed: 1\n");
    ASSERT_EQ(a.regions.size(), 1u);
    EXPECT_EQ(a.regions[0].faulty_index, 1);
    EXPECT_EQ(a.regions[0].healthy_index, 5);
    EXPECT_EQ(a.regions[0].row_count, 4);  // never reaches the twin
    EXPECT_EQ(a.regions[0].size, 40 + 20 + 10 + 21);
}

TEST(RepairAnalyze, ShortDebrisRightAfterDoesNotWidenButLongDebrisFurtherOnDoesAcrossIt)
{
    std::vector<ReportEntry> rows = faulty_first_rows();
    EXPECT_EQ(cbm_repair_analyze(rows).regions[0].row_count, 4);
    rows[3] = other(4, "UNRECOGNIZED", 100, 119);  // 20 pulses: passed over
    EXPECT_EQ(cbm_repair_analyze(rows).regions[0].row_count, 1);
    rows[1] = other(2, "UNRECOGNIZED", 70, 90);    // 21 pulses right after
    EXPECT_EQ(cbm_repair_analyze(rows).regions[0].row_count, 2);
}

TEST(RepairAnalyze, AnyOtherRowStopsTheRegion)
{
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows.insert(rows.begin() + 3, other(99, "TURBOTAPE-250 DATA", 130, 130));
    rows[4].start = 131;  // the debris follows the turbo block on the tape
    rows.push_back(other(100, "UNRECOGNIZED", 420, 500));
    EXPECT_EQ(cbm_repair_analyze(rows).regions[0].row_count, 1);
}

TEST(RepairAnalyze, FaultyFirstAndFaultyRepeatAreNotFixable)
{
    const std::vector<ReportEntry> rows = {cbm(1, HEADER, true, false, 20, 30, 60, 69),
                                           cbm(2, HEADER, false, false, 80, 90, 120, 129)};
    const RepairAnalysis a = cbm_repair_analyze(rows);
    EXPECT_EQ(a.text, "Index: 1 - C64 ROM-TAPE HEADER - File ID: FIRST\n"
                      "Index: 2 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                      "Faulty CBM region count: 2 - Can be fixed: 0\n");
    EXPECT_EQ(a.faulty_count, 2);
    EXPECT_EQ(a.fixable_count, 0);
    EXPECT_TRUE(a.regions.empty());
}

TEST(RepairAnalyze, BoogaBooRepeatIsAKnownException)
{
    for (const char *crc : {"2E15A09F", "F66703CD"}) {
        const std::vector<ReportEntry> rows = {cbm(1, DATA, true, true, 20, 30, 60, 69, "0801", "0A00"),
                                               cbm(2, DATA, false, false, 80, 90, 120, 129, "0801", "0A00", crc)};
        const RepairAnalysis a = cbm_repair_analyze(rows);
        EXPECT_EQ(a.text, "Index: 2 - C64 ROM-TAPE DATA - File ID: REPEAT\n"
                          " - doesn't need to be fixed as this is a known exception (Booga-Boo)\n"
                          "Faulty CBM region count: 0 - Hurray!\n");
        EXPECT_EQ(a.faulty_count, 0);
        EXPECT_EQ(a.fixable_count, 0);
    }
}

TEST(RepairAnalyze, BoogaBooCrcWithoutAHealthyFirstStillCounts)
{
    const std::vector<ReportEntry> rows = {cbm(1, DATA, true, false, 20, 30, 60, 69),
                                           cbm(2, DATA, false, false, 80, 90, 120, 129, "0801", "0900", "2E15A09F")};
    EXPECT_EQ(cbm_repair_analyze(rows).text, "Index: 1 - C64 ROM-TAPE DATA - File ID: FIRST\n"
                                             "Index: 2 - C64 ROM-TAPE DATA - File ID: REPEAT\n"
                                             "Faulty CBM region count: 2 - Can be fixed: 0\n");
}

TEST(RepairAnalyze, HeadersPairOnLoadAddressDataOnBothAddresses)
{
    const std::vector<ReportEntry> rows = {
        cbm(1, HEADER, true, true, 20, 30, 60, 69, "0801", "0900"),
        cbm(2, HEADER, false, false, 80, 90, 120, 129, "0801", "1000"),
        cbm(3, DATA, true, true, 130, 140, 160, 169, "0801", "0A00"),
        cbm(4, DATA, false, false, 170, 180, 200, 209, "0801", "0A01"),
        cbm(5, DATA, true, true, 210, 220, 240, 249, "0801", "0A00"),
        cbm(6, DATA, false, false, 250, 260, 280, 289, "0802", "0A00"),
    };
    const RepairAnalysis a = cbm_repair_analyze(rows);
    EXPECT_EQ(a.text, "Index: 2 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                      " - can be fixed using its FIRST copy at index 1\n"
                      "Index: 4 - C64 ROM-TAPE DATA - File ID: REPEAT\n"
                      "Index: 6 - C64 ROM-TAPE DATA - File ID: REPEAT\n"
                      "Faulty CBM region count: 3 - Can be fixed: 1\n");
    ASSERT_EQ(a.regions.size(), 1u);
    EXPECT_EQ(a.regions[0].faulty_index, 2);
}

TEST(RepairAnalyze, HealthyRepeatPairsWithFaultyFirstOnlyWhenAddressesMatch)
{
    const std::vector<ReportEntry> rows = {cbm(1, HEADER, true, false, 20, 30, 60, 69, "0801", "0900"),
                                           cbm(2, HEADER, false, true, 80, 90, 120, 129, "C000", "0900")};
    EXPECT_EQ(cbm_repair_analyze(rows).text, "Index: 1 - C64 ROM-TAPE HEADER - File ID: FIRST\n"
                                             "Faulty CBM region count: 1 - Can be fixed: 0\n");
}

TEST(RepairAnalyze, NoFaultyCopyIsHurray)
{
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows[2].checkbyte = "OK";
    const RepairAnalysis a = cbm_repair_analyze(rows);
    EXPECT_EQ(a.text, "Faulty CBM region count: 0 - Hurray!\n");
    EXPECT_EQ(a.faulty_count, 0);
    EXPECT_TRUE(a.regions.empty());
    EXPECT_EQ(cbm_repair_analyze({}).text, "Faulty CBM region count: 0 - Hurray!\n");
}

TEST(RepairAnalyze, MissingCheckbyteCountsAsHealthy)
{
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows[0].checkbyte.reset();
    EXPECT_EQ(cbm_repair_analyze(rows).fixable_count, 1);
    rows[2].checkbyte.reset();
    EXPECT_EQ(cbm_repair_analyze(rows).faulty_count, 0);
}

TEST(RepairAnalyze, OtherFilesBetweenTheCopiesDoNotBreakAPair)
{
    const std::vector<ReportEntry> rows = {cbm(1, HEADER, true, true, 20, 30, 60, 69),
                                           other(2, "TURBOTAPE-250 DATA", 70, 79), other(3, "PAUSE", 80, 89),
                                           cbm(4, HEADER, false, false, 90, 100, 130, 139)};
    const RepairAnalysis a = cbm_repair_analyze(rows);
    EXPECT_EQ(a.text, "Index: 4 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                      " - can be fixed using its FIRST copy at index 1\n"
                      "Faulty CBM region count: 1 - Can be fixed: 1\n");
}

TEST(RepairAnalyze, RepeatForgetsTheRememberedCopy)
{
    // FIRST and REPEAT both healthy, then a stray faulty REPEAT: nothing to pair with.
    const std::vector<ReportEntry> rows = {cbm(1, HEADER, true, true, 20, 30, 60, 69),
                                           cbm(2, HEADER, false, true, 70, 80, 110, 119),
                                           cbm(3, HEADER, false, false, 120, 130, 160, 169)};
    EXPECT_EQ(cbm_repair_analyze(rows).text, "Index: 3 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                                             "Faulty CBM region count: 1 - Can be fixed: 0\n");
}

TEST(RepairAnalyze, ALaterFirstReplacesTheRememberedCopy)
{
    const std::vector<ReportEntry> rows = {cbm(1, HEADER, true, false, 20, 30, 60, 69),
                                           cbm(2, HEADER, true, true, 70, 80, 110, 119),
                                           cbm(3, HEADER, false, true, 120, 130, 160, 169)};
    const RepairAnalysis a = cbm_repair_analyze(rows);
    EXPECT_EQ(a.text, "Index: 1 - C64 ROM-TAPE HEADER - File ID: FIRST\n"
                      "Faulty CBM region count: 1 - Can be fixed: 0\n");
}

TEST(RepairAnalyze, TwoRegionsInTheOrderFound)
{
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows[5].checkbyte = "FAIL";  // the data FIRST, fixed from its healthy REPEAT
    const RepairAnalysis a = cbm_repair_analyze(rows);
    EXPECT_EQ(a.text, "Index: 3 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                      " - can be fixed using its FIRST copy at index 1\n"
                      "Index: 6 - C64 ROM-TAPE DATA - File ID: FIRST\n"
                      " - can be fixed using its REPEAT copy at index 7\n"
                      "Faulty CBM region count: 2 - Can be fixed: 2\n");
    ASSERT_EQ(a.regions.size(), 2u);
    EXPECT_EQ(a.regions[1].faulty_index, 6);
    EXPECT_EQ(a.regions[1].healthy_index, 7);
    EXPECT_EQ(a.regions[1].row_count, 1);
    EXPECT_EQ(a.regions[1].size, 259 + 1 - 175);
}

TEST(RepairAnalyze, HealthyTwinInfo)
{
    const std::vector<ReportEntry> rows = healthy_first_rows();
    const RepairAnalysis a = cbm_repair_analyze(rows);
    const RepairHealthyInfo info = cbm_repair_healthy_info(rows, a.regions[0]);
    EXPECT_EQ(info.index, 1);
    EXPECT_EQ(info.pulses, 50);
    EXPECT_EQ(info.data_pulses, 60 + 20 - 30);
    EXPECT_EQ(info.file_id, "FIRST");
    EXPECT_EQ(info.type, HEADER);
}

TEST(RepairTicks, TicksAlwaysFormALeadingRun)
{
    RepairRegion r = cbm_repair_analyze(faulty_first_rows()).regions[0];
    cbm_repair_toggle_tick(r, 0);  // the damaged copy stays ticked
    EXPECT_EQ(r.ticks, std::vector<bool>({true, true, true, true}));
    cbm_repair_toggle_tick(r, 2);
    EXPECT_EQ(r.ticks, std::vector<bool>({true, true, false, false}));
    EXPECT_EQ(r.size, 60);
    cbm_repair_toggle_tick(r, 1);
    EXPECT_EQ(r.ticks, std::vector<bool>({true, false, false, false}));
    EXPECT_EQ(r.size, 40);
    cbm_repair_toggle_tick(r, 0);
    EXPECT_EQ(r.ticks, std::vector<bool>({true, false, false, false}));
    cbm_repair_toggle_tick(r, 3);
    EXPECT_EQ(r.ticks, std::vector<bool>({true, true, true, true}));
    EXPECT_EQ(r.size, 91);
    cbm_repair_toggle_tick(r, 1);
    cbm_repair_toggle_tick(r, 4);
    cbm_repair_toggle_tick(r, -1);
    EXPECT_EQ(r.ticks, std::vector<bool>({true, false, false, false}));
    cbm_repair_select_all(r);
    EXPECT_EQ(r.ticks, std::vector<bool>({true, true, true, true}));
    EXPECT_EQ(r.size, 91);
}

TEST(RepairTicks, SizeStopsAtTheFirstUntickedRow)
{
    RepairRegion r = cbm_repair_analyze(faulty_first_rows()).regions[0];
    r.ticks = {true, false, true, true};
    EXPECT_EQ(cbm_repair_region_size(r), 40);
    cbm_repair_set_include(r, false);
    EXPECT_FALSE(r.include);
}

TEST_F(RepairFix, HealthyFirstTwinReplacesTheRepeatWithItsPulsesAndALongEnding)
{
    const std::string tape = make_tape(400);
    const std::string path = write("game.tap", tape);
    const std::string before = sha256_of_file(path);
    const std::vector<ReportEntry> rows = healthy_first_rows();
    const RepairAnalysis a = cbm_repair_analyze(rows);
    EXPECT_EQ(cbm_repair_fix(path, rows, a, TOTAL), "Operation finished. Check file:\nrepaired_game.tap");
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_game.tap"),
              sized(span(tape, 0, 90) + span(tape, 30, 80) + V0 + SHORTS + span(tape, 155, 420)));
    EXPECT_EQ(sha256_of_file(path), before);
}

TEST_F(RepairFix, HealthyRepeatTwinGivesTheShortEnding)
{
    const std::string tape = make_tape(400);
    const std::string path = write("game.tap", tape);
    const std::vector<ReportEntry> rows = faulty_first_rows();
    cbm_repair_fix(path, rows, cbm_repair_analyze(rows), TOTAL);
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_game.tap"),
              sized(span(tape, 0, 30) + span(tape, 131, 181) + V0 + span(tape, 121, 420)));
}

TEST_F(RepairFix, UntickingTheSecondRowKeepsTheDebris)
{
    const std::string tape = make_tape(400);
    const std::string path = write("game.tap", tape);
    const std::vector<ReportEntry> rows = faulty_first_rows();
    RepairAnalysis a = cbm_repair_analyze(rows);
    cbm_repair_toggle_tick(a.regions[0], 1);
    cbm_repair_fix(path, rows, a, TOTAL);
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_game.tap"),
              sized(span(tape, 0, 30) + span(tape, 131, 181) + V0 + span(tape, 70, 420)));
}

TEST_F(RepairFix, ExcludedRegionsGiveACopyWithACorrectedSize)
{
    const std::string tape = make_tape(400);
    const std::string path = write("game.tap", tape);
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows[5].checkbyte = "FAIL";
    RepairAnalysis a = cbm_repair_analyze(rows);
    for (RepairRegion &r : a.regions)
        cbm_repair_set_include(r, false);
    EXPECT_EQ(cbm_repair_fix(path, rows, a, TOTAL), "Operation finished. Check file:\nrepaired_game.tap");
    const std::string repaired = read_file_or_missing(dir + "/repaired_game.tap");
    EXPECT_EQ(repaired, sized(tape));
    EXPECT_EQ(repaired.substr(16, 4), std::string("\x90\x01\x00\x00", 4));
}

TEST_F(RepairFix, TwoRegionsAndOneLeftOut)
{
    const std::string tape = make_tape(400);
    const std::string path = write("game.tap", tape);
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows[5].checkbyte = "FAIL";
    RepairAnalysis a = cbm_repair_analyze(rows);
    cbm_repair_fix(path, rows, a, TOTAL);
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_game.tap"),
              sized(span(tape, 0, 90) + span(tape, 30, 80) + V0 + SHORTS + span(tape, 155, 175) +
                    span(tape, 270, 365) + V0 + span(tape, 260, 420)));
    cbm_repair_set_include(a.regions[0], false);
    cbm_repair_fix(path, rows, a, TOTAL);
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_game.tap"),
              sized(span(tape, 0, 175) + span(tape, 270, 365) + V0 + span(tape, 260, 420)));
}

TEST_F(RepairFix, NothingFixableIsReportedAndNothingWritten)
{
    const std::string path = write("game.tap", make_tape(400));
    const std::vector<ReportEntry> rows = {cbm(1, HEADER, true, false, 20, 30, 60, 69),
                                           cbm(2, HEADER, false, false, 80, 90, 120, 129)};
    EXPECT_EQ(cbm_repair_fix(path, rows, cbm_repair_analyze(rows), TOTAL), "No file to repair.");
    EXPECT_EQ(files(), std::vector<std::string>({"game.tap"}));
}

TEST_F(RepairFix, MissingSourceIsReported)
{
    const std::vector<ReportEntry> rows = healthy_first_rows();
    EXPECT_EQ(cbm_repair_fix(dir + "/gone.tap", rows, cbm_repair_analyze(rows), TOTAL), "Could not open source TAP.");
    EXPECT_TRUE(files().empty());
}

TEST_F(RepairFix, DestinationThatCannotBeCreatedIsReported)
{
    const std::string path = write("game.tap", make_tape(400));
    const std::string before = sha256_of_file(path);
    g_mkdir((dir + "/repaired_game.tap").c_str(), 0700);
    const std::vector<ReportEntry> rows = healthy_first_rows();
    EXPECT_EQ(cbm_repair_fix(path, rows, cbm_repair_analyze(rows), TOTAL), "Could not create destination TAP.");
    EXPECT_EQ(sha256_of_file(path), before);
}

TEST_F(RepairFix, DestinationBesideTheSourceWithItsNameAndOverwritten)
{
    const std::string tape = make_tape(400);
    const std::string path = write("Spiel 'Ä' 1.TAP", tape);
    write("repaired_Spiel 'Ä' 1.TAP", std::string(5000, 'x'));
    const std::vector<ReportEntry> rows = faulty_first_rows();
    EXPECT_EQ(cbm_repair_fix(path, rows, cbm_repair_analyze(rows), TOTAL),
              "Operation finished. Check file:\nrepaired_Spiel 'Ä' 1.TAP");
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_Spiel 'Ä' 1.TAP"),
              sized(span(tape, 0, 30) + span(tape, 131, 181) + V0 + span(tape, 121, 420)));
    EXPECT_EQ(cbm_repair_destination_name("/a/b c/x.tap"), "repaired_x.tap");
}

// A report is untrusted text: offsets that do not fit the tape are refused
// before anything is written, never cut at.
TEST_F(RepairFix, OffsetsOutsideTheTapeAreRefusedAndNothingIsWritten)
{
    const std::string tape = make_tape(400);
    const std::string path = write("game.tap", tape);
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows[0].inner_start = 400;  // the twin's span runs past the end of the file
    rows[0].inner_end = 500;
    const RepairAnalysis a = cbm_repair_analyze(rows);
    const std::string message = cbm_repair_fix(path, rows, a, TOTAL);
    EXPECT_NE(message.find("Entry 1 of the report"), std::string::npos) << message;
    EXPECT_NE(message.find("Nothing was written."), std::string::npos) << message;
    EXPECT_EQ(files(), std::vector<std::string>({"game.tap"}));
}

TEST_F(RepairFix, DebrisClaimedPastTheEndOfTheSourceIsRefused)
{
    const std::string path = write("game.tap", make_tape(400));
    const std::string before = sha256_of_file(path);
    std::vector<ReportEntry> rows = healthy_first_rows();
    rows[3] = other(4, "UNRECOGNIZED", 130, 600);  // the report claims debris beyond the file
    const std::string message = cbm_repair_fix(path, rows, cbm_repair_analyze(rows), TOTAL);
    EXPECT_NE(message.find("lies outside the tape"), std::string::npos) << message;
    EXPECT_EQ(files(), std::vector<std::string>({"game.tap"}));
    EXPECT_EQ(sha256_of_file(path), before);
}

TEST_F(RepairFix, AReportOfAnotherSizeIsRefused)
{
    const std::string path = write("game.tap", make_tape(400));
    const std::vector<ReportEntry> rows = healthy_first_rows();
    const std::string message = cbm_repair_fix(path, rows, cbm_repair_analyze(rows), TOTAL + 1);
    EXPECT_NE(message.find("has changed since it was tested"), std::string::npos) << message;
    EXPECT_EQ(files(), std::vector<std::string>({"game.tap"}));
}

// Offsets near 2^31 used to overflow 32-bit arithmetic; they are refused now.
TEST_F(RepairFix, OffsetsNearTwoToThe31AreRefused)
{
    const std::string path = write("game.tap", make_tape(400));
    std::vector<ReportEntry> rows = faulty_first_rows();
    rows[5] = other(6, "PAUSE", 171, 0x7FFFFFFFLL);
    const std::string message = cbm_repair_fix(path, rows, cbm_repair_analyze(rows), TOTAL);
    EXPECT_NE(message.find("lies outside the tape"), std::string::npos) << message;
    EXPECT_EQ(files(), std::vector<std::string>({"game.tap"}));
}

// The list may be sorted by any column: the analysis and the fix follow the tape.
TEST_F(RepairFix, RowsSortedOtherwiseGiveTheSameRepair)
{
    const std::string tape = make_tape(400);
    const std::string path = write("game.tap", tape);
    std::vector<ReportEntry> rows = healthy_first_rows();
    std::sort(rows.begin(), rows.end(), [](const ReportEntry &a, const ReportEntry &b) { return a.pulses > b.pulses; });
    const RepairAnalysis a = cbm_repair_analyze(rows);
    ASSERT_EQ(a.fixable_count, 1);
    EXPECT_EQ(cbm_repair_fix(path, rows, a, TOTAL), "Operation finished. Check file:\nrepaired_game.tap");
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_game.tap"),
              sized(span(tape, 0, 90) + span(tape, 30, 80) + V0 + SHORTS + span(tape, 155, 420)));
}
