// quillmarfe-cli split and repair write the files the tool pages write and
// print their System Log and dialog texts.
#include "common/program_run.h"
#include "common/temp_folder.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

struct Entry {
    const char *type;
    const char *name;
    int start, inner_start, inner_end, end;
    const char *checkbyte; // null: no checkbyte line
    bool first;
    const char *la = "0801";
    const char *ea = "0900";
};

// A report as the console program writes it, for a tape of data_size bytes after the header.
std::string report_text(const std::string &tape, int data_size, const std::vector<Entry> &entries)
{
    std::string text = "TAP Name    : " + tape + "\nTAP Size    : " + std::to_string(data_size + 20) +
                       "\nChecksum test     : PASS\nRead test         : PASS\n\n";
    for (const Entry &e : entries) {
        gchar *location = g_strdup_printf("Location: $%04X -> $%04X -> $%04X -> $%04X\n", e.start, e.inner_start,
                                          e.inner_end, e.end);
        text += std::string("File Type: ") + e.type + "\n" + location;
        g_free(location);
        text += std::string("LA: $") + e.la + "  EA: $" + e.ea + "  SZ: 255\n";
        text += std::string("File Name: ") + e.name + "\n";
        if (e.checkbyte != nullptr)
            text += std::string("Checkbyte Actual/Expected: $12/$34, ") + e.checkbyte + "\n";
        text += "Read Errors: 0\nCRC32: 0BADF00D\n";
        if (g_str_has_prefix(e.type, "C64 ROM-TAPE"))
            text += std::string(" - File ID : ") + (e.first ? "FIRST" : "REPEAT") + "\n";
        text += "\n";
    }
    return text;
}

std::string make_tape(std::size_t data_size)
{
    std::string tape = "C64-TAPE-RAW";
    tape += std::string("\x01\x00\x00\x00", 4);
    tape += std::string("\xEF\xBE\xAD\xDE", 4);
    for (std::size_t i = 0; i < data_size; ++i)
        tape += static_cast<char>((20 + i) * 7 + 3);
    return tape;
}

std::string piece(const std::string &tape, int start, int end)
{
    return tape.substr(0, 16) + le32(static_cast<uint32_t>(end - start)) +
           tape.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
}

const char *const ANALYSIS_DONE =
    "The automatic analysis has completed\nand split points have been marked, if\nappropriate.\n"
    "You might now want to review them\nbefore proceeding with a split.\n"
    "Note that the details of the split\nin IDX format are shown within the\nSystem Log tab.\n";
const char *const SPLIT_DONE =
    "The split process has completed.\nNote that the details of the split\nare shown within the System Log\ntab.\n";

// Two CBM files, the second named with characters a file name cannot hold.
const std::vector<Entry> TWO_FILES = {
    {"C64 ROM-TAPE HEADER", "GAME", 20, 30, 100, 119, "PASS", true},
    {"PAUSE", "", 120, 120, 129, 129, nullptr, false},
    {"C64 ROM-TAPE HEADER", "GAME", 130, 140, 210, 229, "PASS", false},
    {"C64 ROM-TAPE DATA", "", 230, 240, 270, 279, "PASS", true},
    {"C64 ROM-TAPE DATA", "", 280, 290, 320, 329, "PASS", false},
    {"PAUSE", "", 330, 330, 349, 349, nullptr, false},
    {"C64 ROM-TAPE HEADER", "A/B:C'Ü", 350, 360, 440, 449, "PASS", true},
    {"C64 ROM-TAPE HEADER", "A/B:C'Ü", 450, 460, 540, 549, "PASS", false},
    {"C64 ROM-TAPE DATA", "", 550, 560, 580, 589, "PASS", true},
    {"C64 ROM-TAPE DATA", "", 590, 600, 610, 619, "PASS", false},
};

class RepairSplitCli : public ::testing::Test {
protected:
    TempFolder temp{"quillmarfe cli 'Bänder'-XXXXXX"};
    const std::string dir = temp.path();
    std::string write(const std::string &name, const std::string &bytes) { return temp.write(name, bytes); }
    std::vector<std::string> files() const { return temp.files(); }
};

} // namespace

TEST_F(RepairSplitCli, SplitAutoPrintsTheIdxLogTheDialogsAndWritesThePieces)
{
    const std::string tape = make_tape(600);
    const std::string path = write("two files.tap", tape);
    const std::string report = write("qmreport.txt", report_text(path, 600, TWO_FILES));
    const std::string before = sha256_of_file(path);
    const ProgramRun run = run_program(QM_CLI, {"split", "--report", report, "--auto", path});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, std::string("Split offsets as IDX entries:\n0x14\t\tGAME\n0x15E\t\tA/B:C'Ü\n") + ANALYSIS_DONE +
                           "Results of the split:\n"
                           "Filename: GAME - Start: 20 - End: 349 - Block len: 330\n"
                           "Filename: A_B_C'Ü - Start: 350 - End: 619 - Block len: 270\n" +
                           SPLIT_DONE);
    EXPECT_EQ(files(), std::vector<std::string>({"qmreport.txt", "splitted-0000-(GAME).tap",
                                                 "splitted-0001-(A_B_C'Ü).tap", "two files.tap"}));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0000-(GAME).tap"), piece(tape, 20, 350));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001-(A_B_C'Ü).tap"), piece(tape, 350, 620));
    EXPECT_EQ(sha256_of_file(path), before);
}

TEST_F(RepairSplitCli, SplitCutMarksExactlyTheGivenEntries)
{
    const std::string tape = make_tape(600);
    const std::string path = write("t.TAP", tape);
    const std::string report = write("qmreport.txt", report_text(path, 600, TWO_FILES));
    const ProgramRun run = run_program(QM_CLI, {"split", "--report", report, "--cut", "1,4,9", path});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, std::string("Results of the split:\n"
                                   "Filename: GAME - Start: 20 - End: 229 - Block len: 210\n"
                                   "Filename: (none) - Start: 230 - End: 549 - Block len: 320\n"
                                   "Filename: (none) - Start: 550 - End: 619 - Block len: 70\n") +
                           SPLIT_DONE);
    EXPECT_EQ(files(), std::vector<std::string>({"qmreport.txt", "splitted-0000-(GAME).tap", "splitted-0001.tap",
                                                 "splitted-0002.tap", "t.TAP"}));
    EXPECT_EQ(read_file_or_missing(dir + "/splitted-0001.tap"), piece(tape, 230, 550));
}

TEST_F(RepairSplitCli, SplitWithoutMarksSaysSo)
{
    const std::string path = write("t.tap", make_tape(600));
    const std::vector<Entry> one = {TWO_FILES[0]};
    const std::string report = write("qmreport.txt", report_text(path, 600, one));
    const ProgramRun run = run_program(QM_CLI, {"split", "--report", report, "--auto", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, std::string("Split offsets as IDX entries:\n0x14\t\tGAME\n") + ANALYSIS_DONE +
                           "No split point set.\n");
    EXPECT_EQ(files(), std::vector<std::string>({"qmreport.txt", "t.tap"}));
}

TEST_F(RepairSplitCli, SplitOnlyTapFiles)
{
    const std::string path = write("t.dmp", make_tape(600));
    const std::string report = write("qmreport.txt", report_text(path, 600, TWO_FILES));
    ProgramRun run = run_program(QM_CLI, {"split", "--report", report, "--auto", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "You can only analyze and split TAP files.\n");
    run = run_program(QM_CLI, {"split", "--report", report, "--cut", "7", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "You can only split TAP files.\n");
    EXPECT_EQ(files(), std::vector<std::string>({"qmreport.txt", "t.dmp"}));
}

TEST_F(RepairSplitCli, SplitUnreadableTape)
{
    const std::string report = write("qmreport.txt", report_text(dir + "/gone.tap", 600, TWO_FILES));
    const ProgramRun run = run_program(QM_CLI, {"split", "--report", report, "--cut", "7", dir + "/gone.tap"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "Could not read from TAP.\n");
}

TEST_F(RepairSplitCli, SplitUsageErrors)
{
    const std::string path = write("t.tap", make_tape(600));
    const std::string report = write("qmreport.txt", report_text(path, 600, TWO_FILES));
    EXPECT_EQ(run_program(QM_CLI, {"split", "--report", report, path}).status, 2);
    EXPECT_EQ(run_program(QM_CLI, {"split", "--report", report, "--auto", "--cut", "3", path}).status, 2);
    EXPECT_EQ(run_program(QM_CLI, {"split", "--report", report, "--cut", "3,x", path}).status, 2);
    EXPECT_EQ(run_program(QM_CLI, {"split", "--auto", path}).status, 2);
    const ProgramRun missing = run_program(QM_CLI, {"split", "--report", report, "--cut", "11", path});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "quillmarfe-cli: the report has no entry 11\n");
    EXPECT_EQ(run_program(QM_CLI, {"split", "--report", dir + "/none.txt", "--auto", path}).status, 1);
    EXPECT_EQ(files(), std::vector<std::string>({"qmreport.txt", "t.tap"}));
}

TEST_F(RepairSplitCli, RepairPrintsTheAnalysisAndWritesTheRepairedTape)
{
    const std::string tape = make_tape(400);
    const std::string path = write("Spiel 'Ä'.tap", tape);
    const std::vector<Entry> entries = {
        {"C64 ROM-TAPE HEADER", "SPIEL", 20, 30, 60, 69, "PASS", true},
        {"PAUSE", "", 70, 70, 79, 79, nullptr, false},
        {"C64 ROM-TAPE HEADER", "SPIEL", 80, 90, 120, 129, "FAIL", false},
        {"UNRECOGNIZED", "", 130, 130, 154, 154, nullptr, false},
        {"PAUSE", "", 155, 155, 419, 419, nullptr, false},
    };
    const std::string report = write("qmreport.txt", report_text(path, 400, entries));
    const std::string before = sha256_of_file(path);
    const ProgramRun run = run_program(QM_CLI, {"repair", "--report", report, path});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Index: 3 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                       " - can be fixed using its FIRST copy at index 1\n"
                       "Faulty CBM region count: 1 - Can be fixed: 1\n"
                       "Operation finished. Check file:\nrepaired_Spiel 'Ä'.tap\n");
    std::string expected = tape.substr(0, 90) + tape.substr(30, 50) + "V0" + std::string(78, '\x30') + tape.substr(155);
    const std::string size = le32(static_cast<uint32_t>(expected.size() - 20));
    expected.replace(16, 4, size);
    EXPECT_EQ(read_file_or_missing(dir + "/repaired_Spiel 'Ä'.tap"), expected);
    EXPECT_EQ(sha256_of_file(path), before);
}

TEST_F(RepairSplitCli, RepairWithNothingToFix)
{
    const std::string path = write("t.tap", make_tape(600));
    const std::string report = write("qmreport.txt", report_text(path, 600, TWO_FILES));
    const ProgramRun run = run_program(QM_CLI, {"repair", "--report", report, path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "Faulty CBM region count: 0 - Hurray!\nNo file to repair.\n");
    EXPECT_EQ(files(), std::vector<std::string>({"qmreport.txt", "t.tap"}));
}

TEST_F(RepairSplitCli, RepairMissingTape)
{
    const std::vector<Entry> entries = {
        {"C64 ROM-TAPE DATA", "", 20, 30, 60, 69, "FAIL", true},
        {"C64 ROM-TAPE DATA", "", 70, 80, 110, 119, "PASS", false},
    };
    const std::string report = write("qmreport.txt", report_text(dir + "/gone.tap", 400, entries));
    const ProgramRun run = run_program(QM_CLI, {"repair", "--report", report, dir + "/gone.tap"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "Index: 1 - C64 ROM-TAPE DATA - File ID: FIRST\n"
                       " - can be fixed using its REPEAT copy at index 2\n"
                       "Faulty CBM region count: 1 - Can be fixed: 1\n"
                       "Could not open source TAP.\n");
}

TEST_F(RepairSplitCli, RepairUsageErrors)
{
    const std::string path = write("t.tap", make_tape(100));
    EXPECT_EQ(run_program(QM_CLI, {"repair", path}).status, 2);
    EXPECT_EQ(run_program(QM_CLI, {"repair", "--report"}).status, 2);
    EXPECT_EQ(run_program(QM_CLI, {"repair", "--report", dir + "/none.txt", path}).status, 1);
}
