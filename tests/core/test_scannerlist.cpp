// Tests of the scanner list: the built-in row, reading and writing
// "scanners.txt", frequency reading and clamping, the threshold and the
// select-all rule.
//
// Every expected row and text below was written out by hand from the list's rules.
#include "core/scannerlist.h"

#include <gtest/gtest.h>

#include <glib.h>
#include <glib/gstdio.h>

#include <string>
#include <vector>

namespace {

void remove_tree(const std::string &path)
{
    if (g_file_test(path.c_str(), G_FILE_TEST_IS_DIR)) {
        GDir *dir = g_dir_open(path.c_str(), 0, nullptr);
        if (dir != nullptr) {
            const gchar *name;
            while ((name = g_dir_read_name(dir)) != nullptr)
                remove_tree(path + G_DIR_SEPARATOR_S + name);
            g_dir_close(dir);
        }
        g_rmdir(path.c_str());
    } else {
        g_remove(path.c_str());
    }
}

void expect_row(const ScannerRow &row, bool included, int frequency, const std::string &id,
                const std::string &name)
{
    EXPECT_EQ(row.included, included) << id;
    EXPECT_EQ(row.frequency, frequency) << id;
    EXPECT_EQ(row.id, id);
    EXPECT_EQ(row.name, name) << id;
}

void expect_builtin(const ScannerRow &row)
{
    expect_row(row, true, 10, "c64", "CBM ROM loader");
}

// A scratch folder per test, removed afterwards. The folder holding the list
// has blanks, an apostrophe and non-ASCII characters in its name.
class ScannerListFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        GError *err = nullptr;
        gchar *tmp = g_dir_make_tmp("quillmar-scanners-XXXXXX", &err);
        ASSERT_NE(tmp, nullptr) << (err ? err->message : "");
        root_ = tmp;
        g_free(tmp);
        dir_ = root_ + G_DIR_SEPARATOR_S + "Zo\xC3\xAB's \xC3\x9C" "bung \xE2\x80\x93 tools";
        ASSERT_EQ(g_mkdir(dir_.c_str(), 0700), 0);
    }

    void TearDown() override
    {
        if (!root_.empty())
            remove_tree(root_);
    }

    void write_list(const std::string &content)
    {
        const std::string path = dir_ + G_DIR_SEPARATOR_S + "scanners.txt";
        GError *err = nullptr;
        const gboolean ok = g_file_set_contents(path.c_str(), content.data(),
                                                static_cast<gssize>(content.size()), &err);
        ASSERT_TRUE(ok) << (err ? err->message : "");
    }

    std::string read_list()
    {
        const std::string path = dir_ + G_DIR_SEPARATOR_S + "scanners.txt";
        gchar *data = nullptr;
        gsize length = 0;
        if (!g_file_get_contents(path.c_str(), &data, &length, nullptr))
            return "<unreadable>";
        std::string out(data, length);
        g_free(data);
        return out;
    }

    // Rows left over from an earlier load, which every load must clear.
    static std::vector<ScannerRow> stale_rows()
    {
        return {{false, 3, "old", "Old"}, {true, 1, "older", "Older"}};
    }

    std::string root_;
    std::string dir_;
};

} // namespace

// ---- built-in row and frequencies ------------------------------------------

TEST(ScannerList, BuiltInRow)
{
    expect_builtin(builtin_scanner_row());
}

TEST(ScannerList, ClampKeepsZeroToNine)
{
    EXPECT_EQ(clamp_scanner_frequency(12), 9);
    EXPECT_EQ(clamp_scanner_frequency(10), 9);
    EXPECT_EQ(clamp_scanner_frequency(9), 9);
    EXPECT_EQ(clamp_scanner_frequency(4), 4);
    EXPECT_EQ(clamp_scanner_frequency(0), 0);
    EXPECT_EQ(clamp_scanner_frequency(-3), 0);
}

TEST(ScannerList, ParseReadsLikePercentDAndClamps)
{
    EXPECT_EQ(parse_scanner_frequency("5"), 5);
    EXPECT_EQ(parse_scanner_frequency("12"), 9);
    EXPECT_EQ(parse_scanner_frequency("-3"), 0);
    EXPECT_EQ(parse_scanner_frequency("+3"), 3);
    EXPECT_EQ(parse_scanner_frequency("  7"), 7);
    EXPECT_EQ(parse_scanner_frequency("4abc"), 4);
    EXPECT_EQ(parse_scanner_frequency("07"), 7);
    EXPECT_EQ(parse_scanner_frequency("3.9"), 3);
    EXPECT_EQ(parse_scanner_frequency("99999999999999999999999"), 9);
    EXPECT_EQ(parse_scanner_frequency("-99999999999999999999999"), 0);
}

TEST(ScannerList, NonNumberGivesTheFixedFrequencyZero)
{
    EXPECT_EQ(SCANNER_FREQUENCY_NOT_A_NUMBER, 0);
    EXPECT_EQ(parse_scanner_frequency("abc"), 0);
    EXPECT_EQ(parse_scanner_frequency(""), 0);
    EXPECT_EQ(parse_scanner_frequency("   "), 0);
    EXPECT_EQ(parse_scanner_frequency("-"), 0);
    EXPECT_EQ(parse_scanner_frequency("x5"), 0);
    EXPECT_EQ(parse_scanner_frequency(nullptr), 0);
}

// ---- loading ---------------------------------------------------------------

TEST_F(ScannerListFiles, LoadsRowsAfterTheBuiltInRow)
{
    write_list("5:ace:Ace of Tapes\n"
               "0:bleep:Bleepload\n"
               "9:cyber:Cyberload F3\n");
    std::vector<ScannerRow> rows = stale_rows();
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 4u);
    expect_builtin(rows[0]);
    expect_row(rows[1], true, 5, "ace", "Ace of Tapes");
    expect_row(rows[2], true, 0, "bleep", "Bleepload");
    expect_row(rows[3], true, 9, "cyber", "Cyberload F3");
}

TEST_F(ScannerListFiles, FrequenciesAreClampedOnLoading)
{
    write_list("12:ace:Ace\n-3:bleep:Bleep\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 3u);
    expect_builtin(rows[0]);
    expect_row(rows[1], true, 9, "ace", "Ace");
    expect_row(rows[2], true, 0, "bleep", "Bleep");
}

TEST_F(ScannerListFiles, IdsBeginningWithC64AreDropped)
{
    write_list("7:c64turbo:C64 turbo\n3:c64:CBM ROM loader\n4:ace:Ace\n2:C64x:Upper case\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 3u);
    expect_builtin(rows[0]);
    expect_row(rows[1], true, 4, "ace", "Ace");
    expect_row(rows[2], true, 2, "C64x", "Upper case");
}

TEST_F(ScannerListFiles, LinesMissingAFieldAreSkipped)
{
    write_list("4:twofields\n"
               "justtext\n"
               "\n"
               "5::No id\n"
               ":noid:No frequency\n"
               "6:noname:\n"
               "1:ok:Fine\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 2u);
    expect_builtin(rows[0]);
    expect_row(rows[1], true, 1, "ok", "Fine");
}

TEST_F(ScannerListFiles, NameRunsToTheNewlineAndMayHoldColons)
{
    write_list("3:ace: Ace: the loader : v2 \n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 2u);
    expect_row(rows[1], true, 3, "ace", " Ace: the loader : v2 ");
}

TEST_F(ScannerListFiles, NonNumericFrequencyReadsAsZero)
{
    write_list("x:ace:Ace\n 8:bleep:Bleep\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 3u);
    expect_row(rows[1], true, 0, "ace", "Ace");
    expect_row(rows[2], true, 8, "bleep", "Bleep");
}

TEST_F(ScannerListFiles, LastLineWithoutNewline)
{
    write_list("3:ace:Ace\n6:bleep:Bleep");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 3u);
    expect_row(rows[1], true, 3, "ace", "Ace");
    expect_row(rows[2], true, 6, "bleep", "Bleep");
}

TEST_F(ScannerListFiles, EmptyFileGivesOnlyTheBuiltInRow)
{
    write_list("");
    std::vector<ScannerRow> rows = stale_rows();
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 1u);
    expect_builtin(rows[0]);
}

TEST_F(ScannerListFiles, MissingFileGivesFalseAndOnlyTheBuiltInRow)
{
    std::vector<ScannerRow> rows = stale_rows();
    EXPECT_FALSE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 1u);
    expect_builtin(rows[0]);

    rows = stale_rows();
    EXPECT_FALSE(load_scanner_rows(dir_ + G_DIR_SEPARATOR_S + "no such folder", rows));
    ASSERT_EQ(rows.size(), 1u);
    expect_builtin(rows[0]);
}

TEST_F(ScannerListFiles, LineOf255BytesPlusNewlineLeavesALoneNewline)
{
    // 5 + 250 = 255 bytes before the newline: the first read takes all 255,
    // the second only the newline, which holds no field.
    const std::string name(250, 'n');
    write_list("2:id:" + name + "\n4:next:Next\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 3u);
    expect_row(rows[1], true, 2, "id", name);
    expect_row(rows[2], true, 4, "next", "Next");
}

TEST_F(ScannerListFiles, LineOf254BytesPlusNewlineIsReadInOnePiece)
{
    const std::string name(249, 'n');
    write_list("2:id:" + name + "\n4:next:Next\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 3u);
    expect_row(rows[1], true, 2, "id", name);
    expect_row(rows[2], true, 4, "next", "Next");
}

TEST_F(ScannerListFiles, RestOfALongLineIsReadAsALineOfItsOwn)
{
    // "6:long:" (7 bytes) and 248 letters make the first 255-byte piece; the
    // rest of the line, "7:tail:Tail", is a well-formed line by itself.
    const std::string name(248, 'L');
    write_list("6:long:" + name + "7:tail:Tail\n"
               "1:plain:Plain\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 4u);
    expect_row(rows[1], true, 6, "long", name);
    expect_row(rows[2], true, 7, "tail", "Tail");
    expect_row(rows[3], true, 1, "plain", "Plain");
}

TEST_F(ScannerListFiles, RestOfALongLineWithoutFieldsIsSkipped)
{
    // 601 bytes before the newline: pieces of 255, 255 and 91 bytes (the last
    // with the newline); only the first holds the fields.
    const std::string name(595, 'z');
    write_list("3:big:" + name + "\n");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 2u);
    expect_row(rows[1], true, 3, "big", std::string(249, 'z'));
}

TEST_F(ScannerListFiles, CarriageReturnsAreNotNewlines)
{
    write_list("3:ace:Ace\r5:bleep:Bleep");
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(dir_, rows));
    ASSERT_EQ(rows.size(), 2u);
    expect_row(rows[1], true, 3, "ace", "Ace\r5:bleep:Bleep");
}

// ---- saving ----------------------------------------------------------------

TEST(ScannerList, TextOfRowsStartsWithTheBuiltInRow)
{
    const std::vector<ScannerRow> rows = {builtin_scanner_row(),
                                          {false, 5, "ace", "Ace of Tapes"},
                                          {true, 0, "bleep", ""}};
    EXPECT_EQ(scanner_rows_text(rows), "10:c64:CBM ROM loader\n"
                                       "5:ace:Ace of Tapes\n"
                                       "0:bleep:<Missing description>\n");
    EXPECT_EQ(scanner_rows_text({}), "");
}

TEST_F(ScannerListFiles, SaveWritesEveryRowAndReadingBackRecreatesTheBuiltInRow)
{
    const std::vector<ScannerRow> rows = {builtin_scanner_row(),
                                          {false, 5, "ace", "Ace: v2"},
                                          {true, 9, "bleep", ""},
                                          {false, 0, "cyber", "Cyber"}};
    ASSERT_TRUE(save_scanner_rows(dir_, rows));
    EXPECT_EQ(read_list(), "10:c64:CBM ROM loader\n"
                           "5:ace:Ace: v2\n"
                           "9:bleep:<Missing description>\n"
                           "0:cyber:Cyber\n");

    std::vector<ScannerRow> back;
    ASSERT_TRUE(load_scanner_rows(dir_, back));
    ASSERT_EQ(back.size(), 4u);
    expect_builtin(back[0]);
    expect_row(back[1], true, 5, "ace", "Ace: v2");
    expect_row(back[2], true, 9, "bleep", "<Missing description>");
    expect_row(back[3], true, 0, "cyber", "Cyber");
}

TEST_F(ScannerListFiles, SaveReplacesALongerFile)
{
    write_list("1:a:A\n2:b:B\n3:c:C\n4:d:D\n5:e:E\n");
    ASSERT_TRUE(save_scanner_rows(dir_, {builtin_scanner_row()}));
    EXPECT_EQ(read_list(), "10:c64:CBM ROM loader\n");
}

TEST_F(ScannerListFiles, SaveIntoAMissingFolderFails)
{
    EXPECT_FALSE(save_scanner_rows(dir_ + G_DIR_SEPARATOR_S + "no such folder",
                                   {builtin_scanner_row()}));
}

// ---- threshold and select all -----------------------------------------------

namespace {

std::vector<ScannerRow> one_row_per_frequency()
{
    std::vector<ScannerRow> rows = {builtin_scanner_row()};
    for (int f = 0; f <= 9; ++f)
        rows.push_back({f % 2 == 0, f, "s" + std::to_string(f), "Scanner"});
    return rows;
}

} // namespace

TEST(ScannerList, ThresholdFourIncludesExactlyFourToNine)
{
    std::vector<ScannerRow> rows = one_row_per_frequency();
    apply_frequency_threshold(rows, 4.0);
    ASSERT_EQ(rows.size(), 11u);
    expect_builtin(rows[0]);
    const bool expected[] = {false, false, false, false, true, true, true, true, true, true};
    for (int f = 0; f <= 9; ++f)
        EXPECT_EQ(rows[1 + f].included, expected[f]) << f;
}

TEST(ScannerList, ThresholdIsComparedAsADouble)
{
    std::vector<ScannerRow> rows = one_row_per_frequency();
    apply_frequency_threshold(rows, 4.5);
    const bool expected[] = {false, false, false, false, false, true, true, true, true, true};
    for (int f = 0; f <= 9; ++f)
        EXPECT_EQ(rows[1 + f].included, expected[f]) << f;
}

TEST(ScannerList, ThresholdZeroIncludesAllAndTenNone)
{
    std::vector<ScannerRow> rows = one_row_per_frequency();
    apply_frequency_threshold(rows, 0.0);
    for (int f = 0; f <= 9; ++f)
        EXPECT_TRUE(rows[1 + f].included) << f;
    apply_frequency_threshold(rows, 10.0);
    for (int f = 0; f <= 9; ++f)
        EXPECT_FALSE(rows[1 + f].included) << f;
    expect_builtin(rows[0]);
}

TEST(ScannerList, ThresholdLeavesRowsWhoseIdBeginsWithC64)
{
    std::vector<ScannerRow> rows = {{false, 10, "c64", "CBM ROM loader"},
                                    {true, 0, "c64turbo", "Turbo"},
                                    {true, 0, "ace", "Ace"}};
    apply_frequency_threshold(rows, 0.0);
    EXPECT_FALSE(rows[0].included);
    apply_frequency_threshold(rows, 10.0);
    EXPECT_FALSE(rows[0].included);
    EXPECT_TRUE(rows[1].included);
    EXPECT_FALSE(rows[2].included);
}

TEST(ScannerList, SelectAllAndNoneLeaveTheBuiltInRow)
{
    std::vector<ScannerRow> rows = one_row_per_frequency();
    rows[0].included = true;
    select_all_scanner_rows(rows, false);
    EXPECT_TRUE(rows[0].included);
    for (int f = 0; f <= 9; ++f)
        EXPECT_FALSE(rows[1 + f].included) << f;
    rows[0].included = false;
    select_all_scanner_rows(rows, true);
    EXPECT_FALSE(rows[0].included);
    for (int f = 0; f <= 9; ++f)
        EXPECT_TRUE(rows[1 + f].included) << f;
    // Frequencies, ids and names stay as they were.
    for (int f = 0; f <= 9; ++f) {
        EXPECT_EQ(rows[1 + f].frequency, f);
        EXPECT_EQ(rows[1 + f].id, "s" + std::to_string(f));
    }
}
