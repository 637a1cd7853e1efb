// The report file parser: header totals, entries with their derived columns,
// the type table.
#include "core/reportfile.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

ParsedReport parse_text(const std::string &text, ReportTotals previous = {})
{
    FILE *stream = std::tmpfile();
    EXPECT_NE(stream, nullptr);
    std::fwrite(text.data(), 1, text.size(), stream);
    std::rewind(stream);
    ParsedReport report = report_parse_stream(stream, std::move(previous));
    std::fclose(stream);
    return report;
}

// A header of a tape of the given "TAP Size", both tests passed.
std::string header(const std::string &tap_size)
{
    return "TAP Name    : /tapes/t.tap\n"
           "TAP Size    : " + tap_size + " bytes\n"
           "Checksum test     : PASS - 0 of 0 checksummed files OK\n"
           "Read test         : PASS - 0 read errors\n";
}

// A report written the way the console program writes it: free text
// around the keys, four entries in tape order.
const char realistic_report[] =
    "quillmar 0.40 - tape report\n"
    "\n"
    "TAP Name    : /home/user/tapes/game.tap\n"
    "TAP Size    : 1044 bytes\n"
    "TAP Version : 1\n"
    "\n"
    "Checksum test     : FAIL - 1 of 2 checksummed files OK\n"
    "Read test         : FAIL - 3 read errors\n"
    "\n"
    "-------------------------------------------------------------\n"
    "File Type: PAUSE\n"
    "Location: $0014 -> $0014 -> $001F -> $001F\n"
    "\n"
    "File Type: C64 ROM-TAPE HEADER\n"
    "Location: $0020 -> $0100 -> $01F0 -> $020F\n"
    "LA: $0801  EA: $0A10  SZ: 527\n"
    "File Name: GAME\n"
    "Checkbyte Actual/Expected: $5C/$5C, PASS\n"
    "Read Errors: 0\n"
    "CRC32: 0E3A1F2B\n"
    " - File ID : FIRST\n"
    "\n"
    "File Type: UNRECOGNIZED\n"
    "Location: $0210 -> $0210 -> $02FF -> $02FF\n"
    "\n"
    "File Type: C64 ROM-TAPE DATA\n"
    "Location: $0300 -> $0310 -> $0400 -> $0413\n"
    "LA: $0801  EA: $0A10  SZ: 527\n"
    "File Name: GAME\n"
    "Checkbyte Actual/Expected: $11/$5C, FAIL\n"
    "Read Errors: 3\n"
    "CRC32: 1234ABCD\n"
    " - File ID : REPEAT\n"
    "\n"
    "End of report\n";

class TempFolder {
public:
    TempFolder()
    {
        gchar *made = g_dir_make_tmp("qmreport-XXXXXX", nullptr);
        EXPECT_NE(made, nullptr);
        path_ = made ? made : "";
        g_free(made);
    }
    ~TempFolder()
    {
        GDir *dir = g_dir_open(path_.c_str(), 0, nullptr);
        if (dir) {
            while (const char *name = g_dir_read_name(dir)) {
                gchar *file = g_build_filename(path_.c_str(), name, nullptr);
                g_remove(file);
                g_free(file);
            }
            g_dir_close(dir);
        }
        g_rmdir(path_.c_str());
    }
    std::string file(const char *name) const
    {
        gchar *p = g_build_filename(path_.c_str(), name, nullptr);
        std::string out(p);
        g_free(p);
        return out;
    }

private:
    std::string path_;
};

int type_count(GHashTable *table, const char *type)
{
    return GPOINTER_TO_INT(g_hash_table_lookup(table, type));
}

} // namespace

TEST(ReportFileName, BatchAndSingleTape)
{
    EXPECT_STREQ(report_file_name(true), "qmbatch.txt");
    EXPECT_STREQ(report_file_name(false), "qmreport.txt");
}

TEST(ReportParse, RealisticReportTotals)
{
    const ParsedReport r = parse_text(realistic_report);
    EXPECT_TRUE(r.opened);
    ASSERT_TRUE(r.totals.path_last_report.has_value());
    EXPECT_EQ(*r.totals.path_last_report, "/home/user/tapes/game.tap");
    EXPECT_EQ(r.totals.total_size, 1024);          // 1044 - 20
    EXPECT_EQ(r.totals.recognized_size, 784);      // 12 + 496 + 276, the UNRECOGNIZED 240 left out
    EXPECT_FALSE(r.totals.checksum_test_passed);
    EXPECT_FALSE(r.totals.read_test_passed);
    ASSERT_EQ(r.entries.size(), 4u);
}

TEST(ReportParse, RealisticReportPauseEntry)
{
    const ParsedReport r = parse_text(realistic_report);
    ASSERT_EQ(r.entries.size(), 4u);
    const ReportEntry &e = r.entries[0];
    EXPECT_EQ(e.index, 1);
    EXPECT_EQ(e.type, "PAUSE");
    EXPECT_EQ(e.start, 20);
    EXPECT_EQ(e.inner_start, 20);
    EXPECT_EQ(e.inner_end, 31);
    EXPECT_EQ(e.end, 31);
    EXPECT_EQ(e.pulses, 12);                       // 31 + 1 - 20
    EXPECT_EQ(e.coverage, 1);                      // (1200 + 512) / 1024
    EXPECT_DOUBLE_EQ(e.start_fraction, 0.01953125);  // 20 / 1024
    EXPECT_DOUBLE_EQ(e.end_fraction, 0.0302734375);  // 31 / 1024
    EXPECT_EQ(e.name, "");
    EXPECT_EQ(e.load_address, "");
    EXPECT_EQ(e.end_address, "");
    EXPECT_EQ(e.crc32, "");
    EXPECT_FALSE(e.read_errors.has_value());
    EXPECT_FALSE(e.checkbyte.has_value());
    EXPECT_FALSE(e.split_mark);
    EXPECT_FALSE(e.first_copy);
    EXPECT_FALSE(e.excluded);
}

TEST(ReportParse, RealisticReportHeaderEntry)
{
    const ParsedReport r = parse_text(realistic_report);
    ASSERT_EQ(r.entries.size(), 4u);
    const ReportEntry &e = r.entries[1];
    EXPECT_EQ(e.index, 2);
    EXPECT_EQ(e.coverage, 48);                     // (49600 + 512) / 1024 = 48.9 truncated
    EXPECT_EQ(e.type, "C64 ROM-TAPE HEADER");
    EXPECT_EQ(e.name, "GAME");
    EXPECT_EQ(e.start, 32);
    EXPECT_EQ(e.inner_start, 256);
    EXPECT_EQ(e.inner_end, 496);
    EXPECT_EQ(e.end, 527);
    EXPECT_EQ(e.pulses, 496);                      // 527 + 1 - 32
    EXPECT_DOUBLE_EQ(e.start_fraction, 0.03125);   // 32 / 1024
    EXPECT_DOUBLE_EQ(e.end_fraction, 0.5146484375); // 527 / 1024
    EXPECT_EQ(e.load_address, "0801");
    EXPECT_EQ(e.end_address, "0A10");
    EXPECT_EQ(e.crc32, "0E3A1F2B");
    EXPECT_FALSE(e.read_errors.has_value());
    ASSERT_TRUE(e.checkbyte.has_value());
    EXPECT_EQ(*e.checkbyte, "OK");
    EXPECT_FALSE(e.split_mark);
    EXPECT_TRUE(e.first_copy);
    EXPECT_FALSE(e.excluded);
}

TEST(ReportParse, RealisticReportUnrecognizedEntry)
{
    const ParsedReport r = parse_text(realistic_report);
    ASSERT_EQ(r.entries.size(), 4u);
    const ReportEntry &e = r.entries[2];
    EXPECT_EQ(e.index, 3);
    EXPECT_EQ(e.type, "UNRECOGNIZED");
    EXPECT_EQ(e.start, 528);
    EXPECT_EQ(e.inner_start, 528);
    EXPECT_EQ(e.inner_end, 767);
    EXPECT_EQ(e.end, 767);
    EXPECT_EQ(e.pulses, 240);                      // 767 + 1 - 528
    EXPECT_EQ(e.coverage, 23);                     // (24000 + 512) / 1024
    EXPECT_DOUBLE_EQ(e.start_fraction, 0.515625);  // 528 / 1024
    EXPECT_DOUBLE_EQ(e.end_fraction, 0.7490234375); // 767 / 1024
}

TEST(ReportParse, RealisticReportDataEntry)
{
    const ParsedReport r = parse_text(realistic_report);
    ASSERT_EQ(r.entries.size(), 4u);
    const ReportEntry &e = r.entries[3];
    EXPECT_EQ(e.index, 4);
    EXPECT_EQ(e.type, "C64 ROM-TAPE DATA");
    EXPECT_EQ(e.start, 768);
    EXPECT_EQ(e.inner_start, 784);
    EXPECT_EQ(e.inner_end, 1024);
    EXPECT_EQ(e.end, 1043);
    EXPECT_EQ(e.pulses, 276);                      // 1043 + 1 - 768
    EXPECT_EQ(e.coverage, 27);                     // (27600 + 512) / 1024
    EXPECT_DOUBLE_EQ(e.start_fraction, 0.75);      // 768 / 1024
    EXPECT_DOUBLE_EQ(e.end_fraction, 1.0185546875); // 1043 / 1024
    EXPECT_EQ(e.load_address, "0801");
    EXPECT_EQ(e.end_address, "0A10");
    EXPECT_EQ(e.name, "GAME");
    ASSERT_TRUE(e.checkbyte.has_value());
    EXPECT_EQ(*e.checkbyte, "FAIL");
    ASSERT_TRUE(e.read_errors.has_value());
    EXPECT_EQ(*e.read_errors, "3");
    EXPECT_EQ(e.crc32, "1234ABCD");
    EXPECT_FALSE(e.first_copy);
}

TEST(ReportParse, PassedTestsAreTrue)
{
    const ParsedReport r = parse_text(header("1044"));
    EXPECT_TRUE(r.totals.checksum_test_passed);
    EXPECT_TRUE(r.totals.read_test_passed);
    EXPECT_EQ(*r.totals.path_last_report, "/tapes/t.tap");
    EXPECT_TRUE(r.entries.empty());
}

TEST(ReportParse, TapSizeOf20GivesNoTotalAndNoOffsets)
{
    const ParsedReport r = parse_text(header("20") +
                                      "File Type: C64 ROM-TAPE HEADER\n"
                                      "Location: $0014 -> $0020 -> $0030 -> $0040\n"
                                      "File Name: X\n");
    EXPECT_EQ(r.totals.total_size, 0);
    ASSERT_EQ(r.entries.size(), 1u);
    const ReportEntry &e = r.entries[0];
    EXPECT_EQ(e.index, 1);
    EXPECT_EQ(e.name, "X");
    EXPECT_EQ(e.coverage, 0);
    EXPECT_EQ(e.start, 0);
    EXPECT_EQ(e.inner_start, 0);
    EXPECT_EQ(e.inner_end, 0);
    EXPECT_EQ(e.end, 0);
    EXPECT_EQ(e.pulses, 0);
    EXPECT_DOUBLE_EQ(e.start_fraction, 0.0);
    EXPECT_DOUBLE_EQ(e.end_fraction, 0.0);
    // The pulses still count as recognized: 0x40 + 1 - 0x14 = 45.
    EXPECT_EQ(r.totals.recognized_size, 45);
}

TEST(ReportParse, TapSizeAtOrBelowHeaderIsZeroAbove21IsReduced)
{
    EXPECT_EQ(parse_text(header("0")).totals.total_size, 0);
    EXPECT_EQ(parse_text(header("19")).totals.total_size, 0);
    EXPECT_EQ(parse_text(header("21")).totals.total_size, 1);
    EXPECT_EQ(parse_text(header("100020")).totals.total_size, 100000);
}

TEST(ReportParse, TotalSizeOfOneGivesFractionsOfOne)
{
    const ParsedReport r = parse_text(header("21") +
                                      "File Type: PAUSE\n"
                                      "Location: $0014 -> $0014 -> $0014 -> $0014\n");
    ASSERT_EQ(r.entries.size(), 1u);
    const ReportEntry &e = r.entries[0];
    EXPECT_EQ(e.start, 20);
    EXPECT_EQ(e.end, 20);
    EXPECT_EQ(e.pulses, 1);
    EXPECT_EQ(e.coverage, 100);                    // (100 + 0) / 1
    EXPECT_DOUBLE_EQ(e.start_fraction, 1.0);
    EXPECT_DOUBLE_EQ(e.end_fraction, 1.0);
}

// A report is a text anyone can edit: a negative size is no size at all.
TEST(ReportParse, NegativeTapSizeLeavesTheSizeUnknown)
{
    const ParsedReport r = parse_text(header("-5") +
                                      "File Type: PAUSE\n"
                                      "Location: $0000 -> $0000 -> $0009 -> $0009\n");
    EXPECT_EQ(r.totals.total_size, 0);
    ASSERT_EQ(r.entries.size(), 1u);
    const ReportEntry &e = r.entries[0];
    EXPECT_EQ(e.start, 0);                         // unset while the size is unknown
    EXPECT_EQ(e.pulses, 0);
    EXPECT_EQ(r.totals.recognized_size, 10);
}

TEST(ReportParse, TapSizeOverTwoGigabytesIsReadAsItIs)
{
    const ParsedReport r = parse_text(header("3000000020") +
                                      "File Type: PAUSE\n"
                                      "Location: $B2D05E00 -> $B2D05E00 -> $B2D05E13 -> $B2D05E13\n");
    EXPECT_EQ(r.totals.total_size, 3000000000LL);
    ASSERT_EQ(r.entries.size(), 1u);
    EXPECT_EQ(r.entries[0].start, 0xB2D05E00LL);   // above 2^31: no sign flip
    EXPECT_EQ(r.entries[0].end, 0xB2D05E13LL);
    EXPECT_EQ(r.entries[0].pulses, 20);
    EXPECT_DOUBLE_EQ(r.entries[0].start_fraction, double(0xB2D05E00LL) / 3000000000.0);
}

TEST(ReportParse, OffsetsNearTwoToThe31DoNotWrap)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: UNRECOGNIZED\n"
                                      "Location: $7FFFFFF0 -> $7FFFFFF0 -> $80000010 -> $80000010\n"
                                      "File Type: PAUSE\n"
                                      "Location: $0014 -> $0014 -> $FFFFFFFFFF -> $FFFFFFFFFF\n");
    ASSERT_EQ(r.entries.size(), 2u);
    EXPECT_EQ(r.entries[0].start, 0x7FFFFFF0LL);
    EXPECT_EQ(r.entries[0].end, 0x80000010LL);
    EXPECT_EQ(r.entries[0].pulses, 0x21);
    EXPECT_EQ(r.entries[1].end, 0xFFFFFFFFFFLL);
    EXPECT_EQ(r.entries[1].pulses, 0xFFFFFFFFFFLL + 1 - 0x14);
}

TEST(ReportParse, HugeNumbersAreClamped)
{
    const ParsedReport r = parse_text(header("99999999999999999999999") +
                                      "File Type: PAUSE\n"
                                      "Location: $FFFFFFFFFFFFFFFFFFFF -> $0 -> $0 -> $FFFFFFFFFFFFFFFF\n");
    EXPECT_EQ(r.totals.total_size, REPORT_OFFSET_MAX - 20);
    ASSERT_EQ(r.entries.size(), 1u);
    EXPECT_EQ(r.entries[0].start, REPORT_OFFSET_MAX);
    EXPECT_EQ(r.entries[0].end, REPORT_OFFSET_MAX);
    EXPECT_EQ(r.entries[0].pulses, 1);
}

TEST(ReportParse, TapSizeWithoutNumberIsSkipped)
{
    const ParsedReport r = parse_text("TAP Size    : 1044\nTAP Size    : unknown\n"
                                      "Read test         : PASS\n");
    EXPECT_EQ(r.totals.total_size, 1024);
}

TEST(ReportParse, NoReadTestLineGivesTotalsButNoEntries)
{
    const ParsedReport r = parse_text("TAP Name    : /tapes/a.tap\n"
                                      "TAP Size    : 120\n"
                                      "Checksum test     : PASS\n"
                                      "File Type: PAUSE\n"
                                      "Location: $0014 -> $0014 -> $0020 -> $0020\n"
                                      "File Type: UNRECOGNIZED\n");
    EXPECT_TRUE(r.opened);
    EXPECT_EQ(*r.totals.path_last_report, "/tapes/a.tap");
    EXPECT_EQ(r.totals.total_size, 100);
    EXPECT_TRUE(r.totals.checksum_test_passed);
    EXPECT_FALSE(r.totals.read_test_passed);
    EXPECT_EQ(r.totals.recognized_size, 0);
    EXPECT_TRUE(r.entries.empty());
}

TEST(ReportParse, HeaderKeysAfterReadTestAreIgnored)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "TAP Size    : 5000\n"
                                      "TAP Name    : /tapes/other.tap\n"
                                      "Read test         : FAIL\n");
    EXPECT_EQ(r.totals.total_size, 1024);
    EXPECT_EQ(*r.totals.path_last_report, "/tapes/t.tap");
    EXPECT_TRUE(r.totals.read_test_passed);
}

TEST(ReportParse, ReadErrorsZeroIsEmptyThreeIsKept)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: A\nRead Errors: 0\n"
                                      "File Type: B\nRead Errors: 3\n"
                                      "File Type: C\nRead Errors: 00\n"
                                      "File Type: D\nRead Errors: 0 \n");
    ASSERT_EQ(r.entries.size(), 4u);
    EXPECT_FALSE(r.entries[0].read_errors.has_value());
    ASSERT_TRUE(r.entries[1].read_errors.has_value());
    EXPECT_EQ(*r.entries[1].read_errors, "3");
    ASSERT_TRUE(r.entries[2].read_errors.has_value());
    EXPECT_EQ(*r.entries[2].read_errors, "00");
    ASSERT_TRUE(r.entries[3].read_errors.has_value());
    EXPECT_EQ(*r.entries[3].read_errors, "0 ");
}

TEST(ReportParse, CheckbyteIsFailOnlyWhenTheLineSaysFail)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: A\nCheckbyte Actual/Expected: $5C/$5C, PASS\n"
                                      "File Type: B\nCheckbyte Actual/Expected: $5C/$5D, FAIL\n"
                                      "File Type: C\nCheckbyte Actual/Expected: whatever\n");
    ASSERT_EQ(r.entries.size(), 3u);
    EXPECT_EQ(r.entries[0].checkbyte.value_or("none"), "OK");
    EXPECT_EQ(r.entries[1].checkbyte.value_or("none"), "FAIL");
    EXPECT_EQ(r.entries[2].checkbyte.value_or("none"), "OK");
}

TEST(ReportParse, FileIdFirstAndRepeat)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: A\n - File ID : FIRST\n"
                                      "File Type: B\n - File ID : REPEAT\n"
                                      "File Type: C\n");
    ASSERT_EQ(r.entries.size(), 3u);
    EXPECT_TRUE(r.entries[0].first_copy);
    EXPECT_FALSE(r.entries[1].first_copy);
    EXPECT_FALSE(r.entries[2].first_copy);
}

TEST(ReportParse, LoadAddressWordsStopAtBlanks)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: A\nLA: $C000 EA: $C100 SZ: 256\n"
                                      "File Type: B\nLA: $12 34  EA: $5678  SZ: 1\n"
                                      "File Type: C\nLA: 0801  EA: $0A10\n"
                                      "File Type: D\nLA: $0801  EA: $0A10\n");
    ASSERT_EQ(r.entries.size(), 4u);
    // One blank matches the two of the format.
    EXPECT_EQ(r.entries[0].load_address, "C000");
    EXPECT_EQ(r.entries[0].end_address, "C100");
    // "12" is the load address; "34" is not "EA:", so the end address is not read.
    EXPECT_EQ(r.entries[1].load_address, "12");
    EXPECT_EQ(r.entries[1].end_address, "");
    // No "$": nothing is read.
    EXPECT_EQ(r.entries[2].load_address, "");
    EXPECT_EQ(r.entries[2].end_address, "");
    // The size may be missing.
    EXPECT_EQ(r.entries[3].load_address, "0801");
    EXPECT_EQ(r.entries[3].end_address, "0A10");
}

TEST(ReportParse, MalformedLocationKeepsUnreadOffsets)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: PAUSE\n"
                                      "Location: $0020 -> $0030 -> $0040 -> $0050\n"
                                      "Location: $0018 -> $0019 -> junk -> $0000\n");
    ASSERT_EQ(r.entries.size(), 1u);
    const ReportEntry &e = r.entries[0];
    EXPECT_EQ(e.start, 24);
    EXPECT_EQ(e.inner_start, 25);
    EXPECT_EQ(e.inner_end, 64);                    // kept from the first line
    EXPECT_EQ(e.end, 80);                          // kept from the first line
    EXPECT_EQ(e.pulses, 57);                       // 80 + 1 - 24
    EXPECT_EQ(e.coverage, 6);                      // (5700 + 512) / 1024
    EXPECT_DOUBLE_EQ(e.start_fraction, 0.0234375); // 24 / 1024
    EXPECT_DOUBLE_EQ(e.end_fraction, 0.078125);    // 80 / 1024
    // Both lines count: 0x50 + 1 - 0x20 = 49, then 57.
    EXPECT_EQ(r.totals.recognized_size, 106);
}

TEST(ReportParse, UnreadableLocationOnAFreshRowUsesZeros)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: UNRECOGNIZED\n"
                                      "Location: none\n");
    ASSERT_EQ(r.entries.size(), 1u);
    const ReportEntry &e = r.entries[0];
    EXPECT_EQ(e.start, 0);
    EXPECT_EQ(e.end, 0);
    EXPECT_EQ(e.pulses, 1);                        // 0 + 1 - 0
    EXPECT_EQ(e.coverage, 0);                      // (100 + 512) / 1024
    EXPECT_EQ(r.totals.recognized_size, 0);
}

TEST(ReportParse, UnrecognizedIsAPrefixTest)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: UNRECOGNIZED junk\n"
                                      "Location: $0014 -> $0014 -> $0063 -> $0063\n"
                                      "File Type: PAUSE UNRECOGNIZED\n"
                                      "Location: $0064 -> $0064 -> $006D -> $006D\n"
                                      "File Type: unrecognized\n"
                                      "Location: $006E -> $006E -> $006E -> $006E\n");
    ASSERT_EQ(r.entries.size(), 3u);
    EXPECT_EQ(r.entries[0].type, "UNRECOGNIZED junk");
    EXPECT_EQ(r.entries[0].pulses, 80);            // 99 + 1 - 20, not counted
    // 109 + 1 - 100 = 10, plus 110 + 1 - 110 = 1 (the test is case sensitive).
    EXPECT_EQ(r.totals.recognized_size, 11);
}

TEST(ReportParse, KeysMustStartAtColumnZeroWithExactSpacing)
{
    const ParsedReport r = parse_text("TAP Size : 1044\n"
                                      " TAP Size    : 1044\n"
                                      "TAP Size    : 120\n"
                                      "Read test : FAIL\n"
                                      "Read test         : PASS\n"
                                      " File Type: A\n"
                                      "File type: B\n"
                                      "File Type: C\n"
                                      " File Name: D\n"
                                      "File Name : E\n"
                                      "CRC32 : F\n"
                                      "- File ID : FIRST\n");
    EXPECT_EQ(r.totals.total_size, 100);
    EXPECT_TRUE(r.totals.read_test_passed);
    ASSERT_EQ(r.entries.size(), 1u);
    EXPECT_EQ(r.entries[0].index, 1);
    EXPECT_EQ(r.entries[0].type, "C");
    EXPECT_EQ(r.entries[0].name, "");
    EXPECT_EQ(r.entries[0].crc32, "");
    EXPECT_FALSE(r.entries[0].first_copy);
}

TEST(ReportParse, EntryLinesBeforeTheFirstFileTypeAreIgnored)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "Location: $0014 -> $0014 -> $0063 -> $0063\n"
                                      "File Name: LOST\n"
                                      "Read Errors: 5\n"
                                      "File Type: PAUSE\n");
    EXPECT_EQ(r.totals.recognized_size, 0);
    ASSERT_EQ(r.entries.size(), 1u);
    EXPECT_EQ(r.entries[0].name, "");
    EXPECT_FALSE(r.entries[0].read_errors.has_value());
    EXPECT_EQ(r.entries[0].pulses, 0);
}

TEST(ReportParse, LongLinesArriveAsSeparatePieces)
{
    const std::string long_name(300, 'A');
    const std::string long_path(250, 'p');
    const ParsedReport r = parse_text("TAP Name    : " + long_path + "\n"
                                      "TAP Size    : 1044\n"
                                      "Read test         : PASS\n"
                                      "File Type: PRG\n"
                                      "File Name: " + long_name + "\n" +
                                      std::string(255, 'x') + "CRC32: DEADBEEF\n");
    // 255 bytes per piece: the 14-byte key leaves 241 bytes of the path.
    EXPECT_EQ(*r.totals.path_last_report, std::string(241, 'p'));
    EXPECT_EQ(r.totals.total_size, 1024);
    ASSERT_EQ(r.entries.size(), 1u);
    // The 11-byte key leaves 244 bytes of the name; the remaining 56 are a line of their own.
    EXPECT_EQ(r.entries[0].name, std::string(244, 'A'));
    // The piece after 255 bytes of junk begins with a key.
    EXPECT_EQ(r.entries[0].crc32, "DEADBEEF");
}

TEST(ReportParse, LastLineWithoutNewline)
{
    const ParsedReport r = parse_text(header("1044") + "File Type: PAUSE\nCRC32: 0BADF00D");
    ASSERT_EQ(r.entries.size(), 1u);
    EXPECT_EQ(r.entries[0].crc32, "0BADF00D");
}

TEST(ReportParse, PreviousTotalsAreKeptUnlessTheReportSetsThem)
{
    ReportTotals previous;
    previous.path_last_report = "/tapes/old.tap";
    previous.total_size = 5000;
    previous.recognized_size = 4000;
    previous.checksum_test_passed = true;
    previous.read_test_passed = true;
    const ParsedReport r = parse_text("Read test         : FAIL\n", previous);
    EXPECT_TRUE(r.opened);
    EXPECT_EQ(r.totals.path_last_report.value_or("none"), "/tapes/old.tap");
    EXPECT_EQ(r.totals.total_size, 0);
    EXPECT_EQ(r.totals.recognized_size, 0);
    EXPECT_TRUE(r.totals.checksum_test_passed);
    EXPECT_FALSE(r.totals.read_test_passed);
}

TEST(ReportParse, SecondParseReplacesEverything)
{
    const ParsedReport first = parse_text(realistic_report);
    ASSERT_EQ(first.entries.size(), 4u);
    const ParsedReport second = parse_text("TAP Name    : /tapes/second.tap\n"
                                           "TAP Size    : 220\n"
                                           "Checksum test     : PASS\n"
                                           "Read test         : PASS\n"
                                           "File Type: PAUSE\n"
                                           "Location: $0014 -> $0014 -> $0077 -> $0077\n",
                                           first.totals);
    EXPECT_EQ(*second.totals.path_last_report, "/tapes/second.tap");
    EXPECT_EQ(second.totals.total_size, 200);
    EXPECT_EQ(second.totals.recognized_size, 100); // 119 + 1 - 20
    EXPECT_TRUE(second.totals.checksum_test_passed);
    EXPECT_TRUE(second.totals.read_test_passed);
    ASSERT_EQ(second.entries.size(), 1u);
    EXPECT_EQ(second.entries[0].index, 1);
    EXPECT_EQ(second.entries[0].coverage, 50);     // (10000 + 100) / 200

    GHashTable *table = create_hashtable();
    report_fill_type_table(table, first.entries);
    EXPECT_EQ(g_hash_table_size(table), 4u);
    report_fill_type_table(table, second.entries);
    EXPECT_EQ(g_hash_table_size(table), 1u);
    EXPECT_EQ(type_count(table, "PAUSE"), 1);
    EXPECT_EQ(type_count(table, "UNRECOGNIZED"), 0);
    g_hash_table_destroy(table);
}

TEST(ReportParse, ReadsAFile)
{
    TempFolder folder;
    const std::string path = folder.file("qmreport.txt");
    FILE *file = std::fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs(realistic_report, file);
    std::fclose(file);
    const ParsedReport r = report_parse_file(path, {});
    EXPECT_TRUE(r.opened);
    EXPECT_EQ(r.totals.total_size, 1024);
    EXPECT_EQ(r.totals.recognized_size, 784);
    EXPECT_EQ(r.entries.size(), 4u);
}

TEST(ReportParse, MissingFileForgetsTotalsButKeepsRecognizedSize)
{
    TempFolder folder;
    ReportTotals previous;
    previous.path_last_report = "/tapes/old.tap";
    previous.total_size = 5000;
    previous.recognized_size = 4000;
    previous.checksum_test_passed = true;
    previous.read_test_passed = true;
    const ParsedReport r = report_parse_file(folder.file("qmreport.txt"), previous);
    EXPECT_FALSE(r.opened);
    EXPECT_TRUE(r.entries.empty());
    EXPECT_FALSE(r.totals.path_last_report.has_value());
    EXPECT_EQ(r.totals.total_size, 0);
    EXPECT_EQ(r.totals.recognized_size, 4000);
    EXPECT_FALSE(r.totals.checksum_test_passed);
    EXPECT_FALSE(r.totals.read_test_passed);

    const ParsedReport null_stream = report_parse_stream(nullptr, previous);
    EXPECT_FALSE(null_stream.opened);
    EXPECT_FALSE(null_stream.totals.path_last_report.has_value());
    EXPECT_EQ(null_stream.totals.recognized_size, 4000);
}

TEST(ReportTotals, WithoutReportForgetsPathSizeAndTests)
{
    ReportTotals previous;
    previous.path_last_report = "/tapes/old.tap";
    previous.total_size = 5000;
    previous.recognized_size = 4000;
    previous.checksum_test_passed = true;
    previous.read_test_passed = true;
    const ReportTotals t = report_totals_without_report(previous);
    EXPECT_FALSE(t.path_last_report.has_value());
    EXPECT_EQ(t.total_size, 0);
    EXPECT_EQ(t.recognized_size, 4000);
    EXPECT_FALSE(t.checksum_test_passed);
    EXPECT_FALSE(t.read_test_passed);
}

TEST(ReportTypeTable, HashIsOneForEveryKey)
{
    EXPECT_EQ(hash_func("PAUSE"), 1u);
    EXPECT_EQ(hash_func("UNRECOGNIZED"), 1u);
    EXPECT_EQ(hash_func(""), 1u);
}

TEST(ReportTypeTable, TwoPausesGiveOneRowWithCountTwo)
{
    const ParsedReport r = parse_text(header("1044") +
                                      "File Type: PAUSE\n"
                                      "File Type: C64 ROM-TAPE HEADER\n"
                                      "File Type: PAUSE\n");
    GHashTable *table = create_hashtable();
    report_fill_type_table(table, r.entries);
    EXPECT_EQ(g_hash_table_size(table), 2u);
    EXPECT_EQ(type_count(table, "PAUSE"), 2);
    EXPECT_EQ(type_count(table, "C64 ROM-TAPE HEADER"), 1);
    g_hash_table_destroy(table);
}

TEST(ReportTypeTable, RefillEmptiesFirstAndCountsEachDescriptor)
{
    const ParsedReport r = parse_text(realistic_report);
    GHashTable *table = create_hashtable();
    g_hash_table_insert(table, g_strdup("STALE"), GINT_TO_POINTER(7));
    report_fill_type_table(table, r.entries);
    report_fill_type_table(table, r.entries);
    EXPECT_EQ(g_hash_table_size(table), 4u);
    EXPECT_EQ(type_count(table, "STALE"), 0);
    EXPECT_EQ(type_count(table, "PAUSE"), 1);
    EXPECT_EQ(type_count(table, "C64 ROM-TAPE HEADER"), 1);
    EXPECT_EQ(type_count(table, "UNRECOGNIZED"), 1);
    EXPECT_EQ(type_count(table, "C64 ROM-TAPE DATA"), 1);
    report_fill_type_table(table, {});
    EXPECT_EQ(g_hash_table_size(table), 0u);
    g_hash_table_destroy(table);
}

TEST(ReportLarge, TenThousandEntriesAreAllRead)
{
    // 10,000 entries of 100 pulses each after a 20-byte header.
    std::string text = header("1000020");
    for (int i = 0; i < 10000; ++i) {
        const unsigned start = 20 + 100u * unsigned(i);
        gchar *block = g_strdup_printf("File Type: %s\nLocation: $%04X -> $%04X -> $%04X -> $%04X\n",
                                       i % 2 ? "PAUSE" : "UNRECOGNIZED", start, start, start + 99, start + 99);
        text += block;
        g_free(block);
    }
    const ParsedReport report = parse_text(text);
    ASSERT_EQ(report.entries.size(), 10000u);
    EXPECT_EQ(report.totals.total_size, 1000000);
    EXPECT_EQ(report.totals.recognized_size, 5000 * 100);
    EXPECT_EQ(report.entries.back().index, 10000);
    EXPECT_EQ(report.entries.back().start, 20 + 100 * 9999);
    EXPECT_EQ(report.entries.back().pulses, 100);
    EXPECT_EQ(report.entries[1234].coverage, 0); // (100 * 100 + 500000) / 1000000
    GHashTable *table = create_hashtable();
    report_fill_type_table(table, report.entries);
    EXPECT_EQ(GPOINTER_TO_INT(g_hash_table_lookup(table, "PAUSE")), 5000);
    EXPECT_EQ(GPOINTER_TO_INT(g_hash_table_lookup(table, "UNRECOGNIZED")), 5000);
    g_hash_table_destroy(table);
}
