// The tape editor: its flags and the save that copies byte ranges of the
// source into "edited_NAME".
#include "core/tapeedit.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

ReportEntry row(int index, const char *type, int64_t start, int64_t end, bool excluded = false)
{
    ReportEntry e;
    e.index = index;
    e.type = type;
    e.start = start;
    e.end = end;
    e.pulses = end + 1 - start;
    e.excluded = excluded;
    return e;
}

// A 100-byte TAP: header with a wrong size field, then bytes 20..99 whose
// value is their offset + 100 (so every range is recognisable).
Bytes source_tape()
{
    static const uint8_t head[20] = {'C', '6', '4', '-', 'T', 'A', 'P', 'E', '-', 'R', 'A', 'W',
                                     1,   0,   0,   0,   0xEF, 0xBE, 0xAD, 0xDE};
    Bytes b(100);
    for (std::size_t offset = 0; offset < b.size(); ++offset)
        b[offset] = offset < 20 ? head[offset] : static_cast<uint8_t>(offset + 100);
    return b;
}

// Data size of the source tape (its report's "TAP Size" less the header).
constexpr int64_t TOTAL = 80;

// Rows of the source tape: a gap at 30..31 and a tail at 90..99 that no row covers.
std::vector<ReportEntry> source_rows()
{
    return {row(1, "PAUSE", 20, 29), row(2, "C64 ROM-TAPE HEADER", 32, 49), row(3, "UNRECOGNIZED", 50, 59),
            row(4, "C64 ROM-TAPE DATA", 60, 89)};
}

Bytes slice(const Bytes &b, std::size_t first, std::size_t last)
{
    return Bytes(b.begin() + long(first), b.begin() + long(last) + 1);
}

Bytes join(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes &p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

// The bytes with the header's size field set to the data after the header.
Bytes sized(Bytes b)
{
    const uint32_t size = static_cast<uint32_t>(b.size() - 20);
    for (int i = 0; i < 4; ++i)
        b[16 + std::size_t(i)] = static_cast<uint8_t>(size >> (8 * i));
    return b;
}

std::string checksum(const Bytes &b)
{
    gchar *sum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, b.data(), b.size());
    std::string s(sum);
    g_free(sum);
    return s;
}

class TapeEdit : public ::testing::Test {
protected:
    std::string dir;
    Bytes source = source_tape();

    void SetUp() override
    {
        gchar *made = g_dir_make_tmp("quillmarfe-editor-XXXXXX", nullptr);
        dir = made;
        g_free(made);
    }
    void TearDown() override
    {
        GDir *d = g_dir_open(dir.c_str(), 0, nullptr);
        if (d != nullptr) {
            while (const gchar *name = g_dir_read_name(d)) {
                const std::string path = dir + "/" + name;
                if (g_file_test(path.c_str(), G_FILE_TEST_IS_DIR))
                    g_rmdir(path.c_str());
                else
                    g_remove(path.c_str());
            }
            g_dir_close(d);
        }
        g_rmdir(dir.c_str());
    }
    std::string write(const std::string &name, const Bytes &bytes)
    {
        const std::string path = dir + "/" + name;
        EXPECT_TRUE(g_file_set_contents(path.c_str(), reinterpret_cast<const char *>(bytes.data()),
                                        gssize(bytes.size()), nullptr));
        return path;
    }
    Bytes read(const std::string &path)
    {
        gchar *contents = nullptr;
        gsize length = 0;
        if (!g_file_get_contents(path.c_str(), &contents, &length, nullptr))
            return {};
        Bytes b(contents, contents + length);
        g_free(contents);
        return b;
    }
    // Saves the source tape (named name) with rows and checks the source is unchanged.
    Bytes save(const std::vector<ReportEntry> &rows, const std::string &name = "game.tap")
    {
        const std::string path = write(name, source);
        const std::string before = checksum(read(path));
        const TapeEditResult result = tape_editor_save(path, rows, TOTAL);
        EXPECT_TRUE(result.written);
        EXPECT_EQ(result.message, "Operation finished. Check file:\nedited_" + name);
        EXPECT_EQ(result.output_path, dir + "/edited_" + name);
        EXPECT_EQ(checksum(read(path)), before);
        return read(result.output_path);
    }
    bool exists(const std::string &name) { return g_file_test((dir + "/" + name).c_str(), G_FILE_TEST_EXISTS); }
};

} // namespace

TEST_F(TapeEdit, ExcludingOnlyTheLastRowKeepsEverythingUpToThePreviousEnd)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[3].excluded = true;
    EXPECT_EQ(save(rows), sized(slice(source, 0, 59)));
}

TEST_F(TapeEdit, ExcludingOnlyTheFirstRowKeepsTheHeaderThenSecondStartToLastEnd)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[0].excluded = true;
    EXPECT_EQ(save(rows), sized(join({slice(source, 0, 19), slice(source, 32, 89)})));
}

TEST_F(TapeEdit, ExcludingEveryRowWritesTheHeaderAlone)
{
    std::vector<ReportEntry> rows = source_rows();
    for (ReportEntry &r : rows)
        r.excluded = true;
    const Bytes out = save(rows);
    EXPECT_EQ(out, sized(slice(source, 0, 19)));
    EXPECT_EQ(out[16], 0);
    EXPECT_EQ(out[19], 0);
}

TEST_F(TapeEdit, IncludedRowsMergeWithTheBytesBetweenThem)
{
    // Rows 1 and 2 are one run with the gap 30..31; the tail after row 4's end is dropped.
    std::vector<ReportEntry> rows = source_rows();
    rows[2].excluded = true;
    EXPECT_EQ(save(rows), sized(join({slice(source, 0, 49), slice(source, 60, 89)})));
}

TEST_F(TapeEdit, ConsecutiveExcludedRowsCopyOnce)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[1].excluded = true;
    rows[2].excluded = true;
    EXPECT_EQ(save(rows), sized(join({slice(source, 0, 29), slice(source, 60, 89)})));
}

// The list may be sorted by any column; the tape is still written forward,
// once, in tape order (sorted by coverage, "Exclude Unrecognized" used to
// write a tape larger than its source with a header twice).
TEST_F(TapeEdit, TheWalkFollowsTheTapeWhateverTheListsOrder)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[2].excluded = true;
    const Bytes expected = sized(join({slice(source, 0, 49), slice(source, 60, 89)}));
    // Sorted by pulses: rows 1 (10), 3 (10), 2 (18), 4 (30).
    EXPECT_EQ(save({rows[0], rows[2], rows[1], rows[3]}), expected);
    // Backwards through the file.
    EXPECT_EQ(save({rows[3], rows[2], rows[1], rows[0]}), expected);
    EXPECT_EQ(save({rows[2], rows[3], rows[0], rows[1]}), expected);
}

TEST_F(TapeEdit, ARowBeyondTheFileIsRefusedAndNothingIsWritten)
{
    std::vector<ReportEntry> rows = {row(1, "PAUSE", 20, 49), row(2, "UNRECOGNIZED", 50, 59, true),
                                     row(3, "C64 ROM-TAPE DATA", 60, 150)};
    const std::string path = write("game.tap", source);
    const TapeEditResult result = tape_editor_save(path, rows, TOTAL);
    EXPECT_FALSE(result.written);
    EXPECT_NE(result.message.find("Entry 3 of the report (offsets 60 to 150) lies outside the tape"),
              std::string::npos)
        << result.message;
    EXPECT_NE(result.message.find("Nothing was written."), std::string::npos);
    EXPECT_FALSE(exists("edited_game.tap"));
    EXPECT_EQ(read(path), source);
}

TEST_F(TapeEdit, OverlappingOrBackwardRowsAreRefused)
{
    const std::string path = write("game.tap", source);
    const std::vector<std::vector<ReportEntry>> bad = {
        {row(1, "PAUSE", 20, 49), row(2, "UNRECOGNIZED", 40, 59, true), row(3, "PAUSE", 60, 99)},  // overlap
        {row(1, "PAUSE", 20, 49), row(2, "UNRECOGNIZED", 59, 50, true), row(3, "PAUSE", 60, 99)},  // backwards
        {row(1, "PAUSE", 10, 49), row(2, "UNRECOGNIZED", 50, 59, true)},                           // in the header
        {row(1, "PAUSE", 60, 99), row(2, "UNRECOGNIZED", 20, 59, true)},  // entry 2 comes before entry 1
    };
    for (const std::vector<ReportEntry> &rows : bad) {
        const TapeEditResult result = tape_editor_save(path, rows, TOTAL);
        EXPECT_FALSE(result.written);
        EXPECT_NE(result.message.find("Nothing was written."), std::string::npos) << result.message;
        EXPECT_FALSE(exists("edited_game.tap"));
    }
    EXPECT_EQ(read(path), source);
}

TEST_F(TapeEdit, AReportOfAnotherSizeIsRefused)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[0].excluded = true;
    const std::string path = write("game.tap", source);
    const TapeEditResult result = tape_editor_save(path, rows, TOTAL + 20);
    EXPECT_FALSE(result.written);
    EXPECT_NE(result.message.find("The tape is 100 bytes long, but its report gives 120 bytes"), std::string::npos)
        << result.message;
    EXPECT_FALSE(exists("edited_game.tap"));
}

// Offsets near 2^31 used to wrap around in 32-bit arithmetic.
TEST_F(TapeEdit, OffsetsNearTwoToThe31AreRefused)
{
    std::vector<ReportEntry> rows = {row(1, "PAUSE", 20, 49), row(2, "UNRECOGNIZED", 50, 59, true)};
    rows.push_back(row(3, "PAUSE", 60, 0));
    rows[2].end = 0x7FFFFFFFLL;
    const std::string path = write("game.tap", source);
    const TapeEditResult result = tape_editor_save(path, rows, TOTAL);
    EXPECT_FALSE(result.written);
    EXPECT_NE(result.message.find("lies outside the tape"), std::string::npos) << result.message;
    EXPECT_FALSE(exists("edited_game.tap"));
}

// A write that fails (here: a full device) is said, and no edited tape is left.
TEST_F(TapeEdit, AFailedWriteIsReportedAndLeavesNoFile)
{
    if (!g_file_test("/dev/full", G_FILE_TEST_EXISTS))
        GTEST_SKIP() << "no /dev/full";
    std::vector<ReportEntry> rows = source_rows();
    rows[2].excluded = true;
    const std::string path = write("game.tap", source);
    ASSERT_EQ(symlink("/dev/full", (dir + "/edited_game.tap").c_str()), 0);
    const TapeEditResult result = tape_editor_save(path, rows, TOTAL);
    EXPECT_FALSE(result.written);
    EXPECT_NE(result.message.find("The edited tape could not be written"), std::string::npos) << result.message;
    EXPECT_NE(result.message.find("No space left on device"), std::string::npos) << result.message;
    EXPECT_FALSE(g_file_test((dir + "/edited_game.tap").c_str(), G_FILE_TEST_IS_SYMLINK));
    EXPECT_EQ(read(path), source);
}

TEST(TapeEditCut, MoreThanHalfOfTheTapeAsksFirst)
{
    std::vector<ReportEntry> rows = source_rows();  // 10, 18, 10 and 30 bytes of 80
    EXPECT_FALSE(tape_editor_cut_needs_confirmation(rows, TOTAL));
    rows[3].excluded = true;  // 30 of 80
    EXPECT_FALSE(tape_editor_cut_needs_confirmation(rows, TOTAL));
    EXPECT_EQ(tape_editor_excluded_percent(rows, TOTAL), 38);
    rows[2].excluded = true;  // 40 of 80: half, not more
    EXPECT_FALSE(tape_editor_cut_needs_confirmation(rows, TOTAL));
    rows[0].excluded = true;  // 50 of 80
    EXPECT_TRUE(tape_editor_cut_needs_confirmation(rows, TOTAL));
    EXPECT_EQ(tape_editor_excluded_bytes(rows), 50);
    EXPECT_EQ(tape_editor_excluded_percent(rows, TOTAL), 63);
    EXPECT_FALSE(tape_editor_cut_needs_confirmation(rows, 0));
}

TEST_F(TapeEdit, NamesWithBlanksApostrophesAndNonAscii)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[2].excluded = true;
    const Bytes expected = sized(join({slice(source, 0, 49), slice(source, 60, 89)}));
    EXPECT_EQ(save(rows, "my l'\xc3\xa9t\xc3\xa9 tape.TAP"), expected);
    EXPECT_TRUE(exists("edited_my l'\xc3\xa9t\xc3\xa9 tape.TAP"));
}

TEST_F(TapeEdit, AnExistingEditedTapeIsOverwritten)
{
    write("edited_game.tap", Bytes(500, 0x55));
    std::vector<ReportEntry> rows = source_rows();
    rows[3].excluded = true;
    EXPECT_EQ(save(rows), sized(slice(source, 0, 59)));
}

TEST_F(TapeEdit, OnlyTapPathsAreSaved)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[0].excluded = true;
    for (const char *name : {"game.DMP", "game.Tap", "game.tap.bak", "tap"}) {
        const std::string path = write(name, source);
        const TapeEditResult result = tape_editor_save(path, rows, TOTAL);
        EXPECT_FALSE(result.written) << name;
        EXPECT_EQ(result.message, "You can only save TAP files.");
        EXPECT_FALSE(exists(std::string("edited_") + name));
    }
}

TEST_F(TapeEdit, NoExcludedRowIsNoChange)
{
    const std::string path = write("game.tap", source);
    TapeEditResult result = tape_editor_save(path, source_rows(), TOTAL);
    EXPECT_FALSE(result.written);
    EXPECT_EQ(result.message, "No changes to save.");
    result = tape_editor_save(path, {}, TOTAL);
    EXPECT_EQ(result.message, "No changes to save.");
    EXPECT_FALSE(exists("edited_game.tap"));
}

TEST_F(TapeEdit, MissingSourceAndUncreatableDestination)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[0].excluded = true;
    TapeEditResult result = tape_editor_save(dir + "/absent.tap", rows, TOTAL);
    EXPECT_FALSE(result.written);
    EXPECT_EQ(result.message, "Could not open source TAP.");
    EXPECT_FALSE(exists("edited_absent.tap"));

    // A folder in the destination's place cannot be opened for writing.
    const std::string path = write("game.tap", source);
    ASSERT_EQ(g_mkdir((dir + "/edited_game.tap").c_str(), 0700), 0);
    result = tape_editor_save(path, rows, TOTAL);
    EXPECT_FALSE(result.written);
    EXPECT_EQ(result.message, "Could not create destination TAP.");
    EXPECT_EQ(read(path), source);
}

TEST_F(TapeEdit, SaveLeavesTheFlagsAlone)
{
    std::vector<ReportEntry> rows = source_rows();
    rows[1].excluded = true;
    const std::vector<ReportEntry> copy = rows;
    save(rows);
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i].excluded, copy[i].excluded);
}

TEST(TapeEditFlags, ExcludeUnrecognizedComparesNineCharacters)
{
    std::vector<ReportEntry> rows = {row(1, "UNRECOGNIZED", 20, 29),     row(2, "UNRECOGNISED BLOCK", 30, 39),
                                     row(3, "UNRECOGNI", 40, 49),        row(4, "UNRECOGN", 50, 59),
                                     row(5, "unrecognized", 60, 69),     row(6, "PAUSE", 70, 79, true),
                                     row(7, "C64 ROM-TAPE DATA", 80, 89)};
    std::string message = "old";
    EXPECT_TRUE(tape_editor_exclude_unrecognized("/tapes/game.tap", rows, message));
    EXPECT_EQ(message, "");
    const bool expected[] = {true, true, true, false, false, true, false};
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i].excluded, expected[i]) << rows[i].type;
}

TEST(TapeEditFlags, ExcludeUnrecognizedRefusesOtherFiles)
{
    std::vector<ReportEntry> rows = {row(1, "UNRECOGNIZED", 20, 29)};
    std::string message;
    EXPECT_FALSE(tape_editor_exclude_unrecognized("/tapes/game.DMP", rows, message));
    EXPECT_EQ(message, "You can only edit and save TAP files.");
    EXPECT_FALSE(rows[0].excluded);
    EXPECT_TRUE(tape_editor_exclude_unrecognized("/tapes/GAME.TAP", rows, message));
    EXPECT_TRUE(rows[0].excluded);
}

TEST(TapeEditFlags, IncludeAllClearsEveryFlag)
{
    std::vector<ReportEntry> rows = {row(1, "A", 20, 29, true), row(2, "B", 30, 39), row(3, "C", 40, 49, true)};
    tape_editor_include_all(rows);
    for (const ReportEntry &r : rows)
        EXPECT_FALSE(r.excluded);
}

TEST(TapeEditFlags, PathsPopupAndOutputName)
{
    EXPECT_TRUE(tape_editor_is_tap_path("a.tap"));
    EXPECT_TRUE(tape_editor_is_tap_path("/x/y/a.TAP"));
    EXPECT_FALSE(tape_editor_is_tap_path("a.Tap"));
    EXPECT_FALSE(tape_editor_is_tap_path("a.dmp"));
    EXPECT_FALSE(tape_editor_is_tap_path(""));
    EXPECT_TRUE(tape_editor_popup_allowed(1, "a.tap"));
    EXPECT_FALSE(tape_editor_popup_allowed(0, "a.tap"));
    EXPECT_FALSE(tape_editor_popup_allowed(2, "a.tap"));
    EXPECT_FALSE(tape_editor_popup_allowed(1, "a.DMP"));
    EXPECT_EQ(tape_editor_output_name("/my tapes/l'été.tap"), "edited_l'été.tap");
    EXPECT_EQ(tape_editor_output_path("/my tapes/l'été.tap"), "/my tapes/edited_l'été.tap");
    EXPECT_EQ(tape_editor_output_path("game.tap"), "./edited_game.tap");
    EXPECT_STREQ(TAPE_EDITOR_TITLE, "Tape Editor");
}
