// The hex listing of PRG files: line layout, short last line, address
// wrap-around, character column, progress reports and unreadable files.
#include "core/hexlisting.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// The listing of `bytes`, appended to an empty text; `result` receives the return value.
std::string listing(const Bytes &bytes, int convert, int *result = nullptr, const DecodeHooks &hooks = {})
{
    GString *text = g_string_sized_new(303104);
    int r = make_hex_listing_bytes(bytes.data(), bytes.size(), convert, text, hooks);
    if (result)
        *result = r;
    std::string out(text->str, text->len);
    g_string_free(text, TRUE);
    return out;
}

// A PRG image: load address (low byte first), then the data.
Bytes prg(unsigned load, const Bytes &data)
{
    Bytes b(2 + data.size());
    b[0] = static_cast<uint8_t>(load & 0xFF);
    b[1] = static_cast<uint8_t>(load >> 8);
    for (size_t i = 0; i < data.size(); i++)
        b[2 + i] = data[i];
    return b;
}

// `count` bytes counting up from `first` (wrapping at 256).
Bytes counting(unsigned first, size_t count)
{
    Bytes b;
    for (size_t i = 0; i < count; i++)
        b.push_back(static_cast<uint8_t>((first + i) & 0xFF));
    return b;
}

// The character columns (text between the quotes) of every line of a listing.
std::vector<std::string> columns(const std::string &text)
{
    std::vector<std::string> out;
    size_t pos = 0;
    while ((pos = text.find('\n', pos)) != std::string::npos) {
        size_t end = text.find('\n', pos + 1);
        std::string line = text.substr(pos + 1, end == std::string::npos ? std::string::npos : end - pos - 1);
        if (line.size() >= 56)
            out.push_back(line.substr(55, line.size() - 56)); // after "AAAA: " + 16 x 3 + "'"
        pos = pos + 1;
    }
    return out;
}

struct ProgressLog {
    std::vector<double> fractions;
};

void record_progress(double fraction, void *user)
{
    static_cast<ProgressLog *>(user)->fractions.push_back(fraction);
}

struct LoadErrorLog {
    int calls = 0;
    std::string path;
    std::string message;
};

void record_load_error(const char *path, const char *message, void *user)
{
    auto *log = static_cast<LoadErrorLog *>(user);
    log->calls++;
    log->path = path;
    log->message = message;
}

// A fresh folder under the temporary folder, removed (one level deep) at the end.
struct TempFolder {
    std::string path;

    explicit TempFolder(const char *name_template)
    {
        GError *error = nullptr;
        gchar *made = g_dir_make_tmp(name_template, &error);
        EXPECT_NE(made, nullptr) << (error ? error->message : "");
        if (error)
            g_error_free(error);
        path = made ? made : "";
        g_free(made);
    }

    ~TempFolder()
    {
        if (GDir *dir = g_dir_open(path.c_str(), 0, nullptr)) {
            while (const gchar *name = g_dir_read_name(dir)) {
                gchar *child = g_build_filename(path.c_str(), name, nullptr);
                g_remove(child); // files and empty folders alike
                g_free(child);
            }
            g_dir_close(dir);
        }
        g_rmdir(path.c_str());
    }

    std::string file(const char *name) const
    {
        gchar *p = g_build_filename(path.c_str(), name, nullptr);
        std::string s = p;
        g_free(p);
        return s;
    }

    std::string write(const char *name, const Bytes &bytes) const
    {
        std::string p = file(name);
        GError *error = nullptr;
        EXPECT_TRUE(g_file_set_contents(p.c_str(), reinterpret_cast<const gchar *>(bytes.data()),
                                        static_cast<gssize>(bytes.size()), &error))
            << (error ? error->message : "");
        if (error)
            g_error_free(error);
        return p;
    }
};

std::string file_listing(const std::string &path, int convert, int *result, const DecodeHooks &hooks = {},
                         const char *before = "")
{
    GString *text = g_string_new(before);
    *result = make_hex_listing(path.c_str(), convert, text, hooks);
    std::string out(text->str, text->len);
    g_string_free(text, TRUE);
    return out;
}

// 3 x `count` blanks: the padding of `count` missing bytes on a short line.
std::string missing(int count)
{
    return std::string(static_cast<size_t>(3 * count), ' ');
}

// ---------------------------------------------------------------------------
// Layout

TEST(HexListingEdge, ThreeByteFileListsOneBytePaddedToTheColumn)
{
    int result = -1;
    EXPECT_EQ(listing({0x00, 0xC0, 0x41}, 0, &result),
              "\nC000: 41                                              'A'\n");
    EXPECT_EQ(result, 1);
}

TEST(HexListingEdge, DataLengthMultipleOf16EndsWithLoneNewlineAndNoShortLine)
{
    int result = -1;
    Bytes file = prg(0x0801, {'H', 'E', 'L', 'L', 'O', ',', ' ', 'W', 'O', 'R', 'L', 'D', '!', ' ', '0', '9'});
    EXPECT_EQ(listing(file, 0, &result),
              "\n0801: 48 45 4C 4C 4F 2C 20 57 4F 52 4C 44 21 20 30 39 'HELLO. WORLD. 09'"
              "\n");
    EXPECT_EQ(result, 1);
}

TEST(HexListing, FullLinesThenShortLineGolden)
{
    int result = -1;
    EXPECT_EQ(listing(prg(0x1000, counting(0x00, 37)), 0, &result),
              "\n1000: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F '................'"
              "\n1010: 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F '................'"
              "\n1020: 20 21 22 23 24                                  ' ....'"
              "\n");
    EXPECT_EQ(result, 1);
}

TEST(HexListing, FullLinesThenShortLineGoldenWithConversion)
{
    EXPECT_EQ(listing(prg(0x1000, counting(0x00, 37)), 1),
              "\n1000: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F '.ABCDEFGHIJKLMNO'"
              "\n1010: 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F 'PQRSTUVWXYZ.....'"
              "\n1020: 20 21 22 23 24                                  ' ....'"
              "\n");
}

TEST(HexListing, BlankFollowsTheSixteenthByteBeforeTheColumn)
{
    std::string text = listing(prg(0xABCD, Bytes(16, 0xEE)), 0);
    EXPECT_EQ(text, "\nABCD: EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE '................'\n");
    EXPECT_EQ(text.substr(52, 3), "EE ");
    EXPECT_EQ(text[55], '\'');
}

TEST(HexListing, ShortLineOfFifteenBytesPadsOneMissingByte)
{
    EXPECT_EQ(listing(prg(0x0000, Bytes(15, 0x30)), 0),
              "\n0000: 30 30 30 30 30 30 30 30 30 30 30 30 30 30 30    '000000000000000'\n");
}

TEST(HexListing, ShortLineColumnLinesUpWithFullLines)
{
    for (int r = 1; r < 16; r++) {
        std::string text = listing(prg(0x2000, Bytes(static_cast<size_t>(16 + r), 0x41)), 0);
        // Both lines: "AAAA: " and 16 x 3 characters come before the column's quote.
        size_t second = text.find('\n', 1);
        ASSERT_NE(second, std::string::npos);
        EXPECT_EQ(text[1 + 54], '\'') << r;
        EXPECT_EQ(text[second + 1 + 54], '\'') << r;
        EXPECT_EQ(text.substr(second + 1, 6), "2010: ") << r;
        EXPECT_EQ(text.substr(second + 1 + 6 + 3 * r), missing(16 - r) + "'" + std::string(r, 'A') + "'\n") << r;
    }
}

TEST(HexListing, UpperCaseHexDigitsAndFourDigitAddress)
{
    EXPECT_EQ(listing({0x0A, 0x00, 0xAB, 0xCD, 0xEF}, 0),
              "\n000A: AB CD EF " + missing(13) + "'...'\n");
}

TEST(HexListingEdge, TwoByteFileListsNothingAndFails)
{
    int result = -1;
    EXPECT_EQ(listing({0x01, 0x08}, 0, &result), "");
    EXPECT_EQ(result, 0);
}

TEST(HexListingEdge, EmptyAndOneByteFilesFailWithNothingAppended)
{
    int result = -1;
    EXPECT_EQ(listing({}, 0, &result), "");
    EXPECT_EQ(result, 0);
    result = -1;
    EXPECT_EQ(listing({0x01}, 1, &result), "");
    EXPECT_EQ(result, 0);
}

TEST(HexListing, AppendsAfterExistingText)
{
    Bytes file{0x00, 0x10, 0x31};
    GString *text = g_string_new("before");
    EXPECT_EQ(make_hex_listing_bytes(file.data(), file.size(), 0, text), 1);
    EXPECT_EQ(std::string(text->str), "before\n1000: 31 " + missing(15) + "'1'\n");
    g_string_free(text, TRUE);
}

// ---------------------------------------------------------------------------
// Addresses

TEST(HexListingEdge, AddressesWrapPastFFFFToZero)
{
    EXPECT_EQ(listing(prg(0xFFF8, counting(0x41, 21)), 0),
              "\nFFF8: 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50 'ABCDEFGHIJKLMNOP'"
              "\n0008: 51 52 53 54 55 " + missing(11) + "'QRSTU'\n");
}

TEST(HexListingEdge, ShortLineAddressWrapsToo)
{
    EXPECT_EQ(listing(prg(0xFFFF, counting(0x61, 17)), 0),
              "\nFFFF: 61 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 'abcdefghijklmnop'"
              "\n000F: 71 " + missing(15) + "'q'\n");
}

TEST(HexListingFile, SixtyFourKilobyteFileWrapsAround)
{
    TempFolder folder("qm-hex-XXXXXX");
    // 65536 data bytes (0x00..0xFF repeated) loaded at $FFF8: the data cover
    // the whole memory once, and the addresses pass $FFFF after the first line.
    std::string path = folder.write("big.prg", prg(0xFFF8, counting(0x00, 65536)));
    int result = -1;
    std::string text = file_listing(path, 0, &result);
    EXPECT_EQ(result, 1);

    const size_t line = 1 + 6 + 48 + 18; // "\n" "AAAA: " 16 x "XX " "'...'"
    ASSERT_EQ(text.size(), 4096 * line + 1);
    EXPECT_EQ(text.substr(0, 2 * line),
              "\nFFF8: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F '................'"
              "\n0008: 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F '................'");
    EXPECT_EQ(text.substr(4095 * line),
              "\nFFE8: F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF '................'\n");
    // Line 4 holds the bytes 0x30..0x3F at $0028.
    EXPECT_EQ(text.substr(3 * line, line),
              "\n0028: 30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F '0123456789......'");
    // Every line's address: $FFF8 + 16 x line, modulo 65536.
    for (size_t j = 0; j < 4096; j++) {
        gchar *address = g_strdup_printf("\n%04X: ", static_cast<unsigned>((0xFFF8 + 16 * j) % 65536));
        ASSERT_EQ(text.substr(j * line, 7), address) << j;
        g_free(address);
    }
}

// ---------------------------------------------------------------------------
// Character column

const char *const UNCONVERTED_COLUMNS[16] = {
    "................", // 00
    "................", // 10
    " ...............", // 20
    "0123456789......", // 30
    ".ABCDEFGHIJKLMNO", // 40
    "PQRSTUVWXYZ.....", // 50
    ".abcdefghijklmno", // 60
    "pqrstuvwxyz.....", // 70
    "................", // 80
    "................", // 90
    "................", // A0
    "................", // B0
    "................", // C0
    "................", // D0
    "................", // E0
    "................", // F0
};

TEST(HexListingColumn, EveryByteWithoutConversion)
{
    std::vector<std::string> cols = columns(listing(prg(0, counting(0, 256)), 0));
    ASSERT_EQ(cols.size(), 16u);
    for (int j = 0; j < 16; j++)
        EXPECT_EQ(cols[static_cast<size_t>(j)], UNCONVERTED_COLUMNS[j]) << j;
}

TEST(HexListingColumn, EveryByteWithConversion)
{
    std::vector<std::string> cols = columns(listing(prg(0, counting(0, 256)), 1));
    ASSERT_EQ(cols.size(), 16u);
    EXPECT_EQ(cols[0], ".ABCDEFGHIJKLMNO"); // 0 -> '@' is punctuation
    EXPECT_EQ(cols[1], "PQRSTUVWXYZ.....");  // 27..31 -> "[\]^_"
    for (int j = 2; j < 16; j++)
        EXPECT_EQ(cols[static_cast<size_t>(j)], UNCONVERTED_COLUMNS[j]) << j;
}

TEST(HexListingEdge, ScreenCodeOneIsDotWithoutConversionAndCapitalAWith)
{
    EXPECT_EQ(listing({0x00, 0x04, 0x01}, 0), "\n0400: 01 " + missing(15) + "'.'\n");
    EXPECT_EQ(listing({0x00, 0x04, 0x01}, 1), "\n0400: 01 " + missing(15) + "'A'\n");
}

TEST(HexListingDecision, BlankIsTheSpaceCharacterOnly)
{
    // Tab, line feed, vertical tab, form feed, carriage return, space, and the
    // no-break space of Latin-1.
    EXPECT_EQ(listing(prg(0, {0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20, 0xA0}), 0),
              "\n0000: 09 0A 0B 0C 0D 20 A0 " + missing(9) + "'..... .'\n");
}

TEST(HexListingColumn, ConversionTurnsControlCodesIntoLettersNotBlanks)
{
    // 0x09 would be a tab: converted it is 'I'; 0x0D becomes 'M'.
    EXPECT_EQ(listing(prg(0, {0x09, 0x0D, 0x20}), 1), "\n0000: 09 0D 20 " + missing(13) + "'IM '\n");
}

TEST(HexListingColumn, ConversionLeavesBytesFrom32Up)
{
    // 0x41 stays 'A'; 0x81 and 0xC1 (shifted letters) stay "." even converted.
    EXPECT_EQ(listing(prg(0, {0x41, 0x81, 0xC1, 0x7F}), 1), "\n0000: 41 81 C1 7F " + missing(12) + "'A...'\n");
}

TEST(HexListingColumn, PunctuationIsShownAsDot)
{
    EXPECT_EQ(listing(prg(0, {'!', '"', '#', '\'', ',', '.', ':', '@', '[', '_', '`', '{', '~'}), 0),
              "\n0000: 21 22 23 27 2C 2E 3A 40 5B 5F 60 7B 7E " + missing(3) + "'.............'\n");
}

// ---------------------------------------------------------------------------
// Progress

TEST(HexListingProgress, ReportedEvery1024DataBytes)
{
    ProgressLog log;
    DecodeHooks hooks;
    hooks.progress = record_progress;
    hooks.user = &log;
    int result = -1;
    listing(prg(0x0801, Bytes(4096, 0)), 0, &result, hooks);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(log.fractions, (std::vector<double>{0.0, 0.25, 0.5, 0.75}));
}

TEST(HexListingProgress, FractionIsOffsetOverDataLength)
{
    ProgressLog log;
    DecodeHooks hooks;
    hooks.progress = record_progress;
    hooks.user = &log;
    listing(prg(0x0801, Bytes(1040, 0)), 0, nullptr, hooks);
    ASSERT_EQ(log.fractions.size(), 2u);
    EXPECT_DOUBLE_EQ(log.fractions[0], 0.0);
    EXPECT_DOUBLE_EQ(log.fractions[1], 1024.0 / 1040.0);
}

TEST(HexListingProgress, OnlyFullLinesReport)
{
    ProgressLog log;
    DecodeHooks hooks;
    hooks.progress = record_progress;
    hooks.user = &log;
    listing(prg(0x0801, Bytes(15, 0)), 0, nullptr, hooks);
    EXPECT_TRUE(log.fractions.empty());
    listing(prg(0x0801, Bytes(16, 0)), 0, nullptr, hooks);
    EXPECT_EQ(log.fractions, (std::vector<double>{0.0}));
    log.fractions.clear();
    listing(prg(0x0801, Bytes(1024 + 15, 0)), 0, nullptr, hooks);
    EXPECT_EQ(log.fractions, (std::vector<double>{0.0}));
}

TEST(HexListingProgress, SixtyFourKilobytesReportSixtyFourTimes)
{
    ProgressLog log;
    DecodeHooks hooks;
    hooks.progress = record_progress;
    hooks.user = &log;
    listing(prg(0, Bytes(65536, 0)), 0, nullptr, hooks);
    ASSERT_EQ(log.fractions.size(), 64u);
    for (size_t j = 0; j < 64; j++)
        EXPECT_DOUBLE_EQ(log.fractions[j], static_cast<double>(j) / 64.0);
}

TEST(HexListingProgress, TooShortFileReportsNothing)
{
    ProgressLog log;
    DecodeHooks hooks;
    hooks.progress = record_progress;
    hooks.user = &log;
    listing({0x01, 0x08}, 0, nullptr, hooks);
    EXPECT_TRUE(log.fractions.empty());
}

// ---------------------------------------------------------------------------
// Files

TEST(HexListingFile, MissingFileReportsLoadErrorAndFails)
{
    TempFolder folder("qm-hex-XXXXXX");
    std::string path = folder.file("absent.prg");
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    int result = -1;
    EXPECT_EQ(file_listing(path, 0, &result, hooks, "kept"), "kept");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(log.calls, 1);
    EXPECT_EQ(log.path, path);
    EXPECT_FALSE(log.message.empty());
}

TEST(HexListingFile, FolderReportsLoadErrorAndFails)
{
    TempFolder folder("qm-hex-XXXXXX");
    std::string path = folder.file("a folder.prg");
    ASSERT_EQ(g_mkdir(path.c_str(), 0700), 0);
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    int result = -1;
    EXPECT_EQ(file_listing(path, 1, &result, hooks, "kept"), "kept");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(log.calls, 1);
    EXPECT_EQ(log.path, path);
    EXPECT_FALSE(log.message.empty());
}

TEST(HexListingFile, UnreadableFileWithoutHooksJustFails)
{
    int result = -1;
    EXPECT_EQ(file_listing("/nonexistent-qm-folder/x.prg", 0, &result), "");
    EXPECT_EQ(result, 0);
}

TEST(HexListingFile, PathsWithBlanksApostropheAndNonAsciiCharacters)
{
    TempFolder folder("qm hex l'été \xC3\xBC XXXXXX");
    std::string path = folder.write("Spiel f\xC3\xBCr 'Oma' \xE2\x86\x92 1.prg", {0x01, 0x08, 0x51, 0x4D});
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    int result = -1;
    EXPECT_EQ(file_listing(path, 0, &result, hooks), "\n0801: 51 4D " + missing(14) + "'QM'\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(log.calls, 0);
}

TEST(HexListingFile, TwoByteFileFailsWithoutLoadError)
{
    TempFolder folder("qm-hex-XXXXXX");
    std::string path = folder.write("short.prg", {0x01, 0x08});
    LoadErrorLog log;
    DecodeHooks hooks;
    hooks.load_error = record_load_error;
    hooks.user = &log;
    int result = -1;
    EXPECT_EQ(file_listing(path, 0, &result, hooks), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(log.calls, 0);
}

// The listing formatted the plain way, one printf per byte.
std::string reference_listing(const Bytes &file, int convert)
{
    const unsigned load = file[0] + 256u * file[1];
    const size_t n = file.size() - 2;
    std::string out;
    char piece[16];
    for (size_t o = 0; o < n; o += 16) {
        const size_t count = n - o < 16 ? n - o : 16;
        std::snprintf(piece, sizeof piece, "\n%04X: ", (load + unsigned(o)) % 65536u);
        out += piece;
        std::string column;
        for (size_t j = 0; j < 16; j++) {
            if (j >= count) {
                out += "   ";
                continue;
            }
            uint8_t b = file[2 + o + j];
            std::snprintf(piece, sizeof piece, "%02X ", b);
            out += piece;
            if (convert == 1 && b < 32)
                b = uint8_t(b + 64);
            const bool shown = (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || b == ' ';
            column += shown ? char(b) : '.';
        }
        out += "'" + column + "'";
    }
    out += "\n";
    return out;
}

TEST(HexListing, LargeRandomFileMatchesAPlainFormatter)
{
    std::mt19937 random(2024);
    for (const size_t size : {size_t(1048576 + 2), size_t(1048576 + 2 + 13), size_t(70001)}) {
        Bytes file(size);
        for (uint8_t &b : file)
            b = uint8_t(random());
        for (const int convert : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "size " << size << " convert " << convert);
            const std::string expected = reference_listing(file, convert);
            EXPECT_TRUE(listing(file, convert) == expected);  // megabytes: no diff printed
            EXPECT_EQ(listing(file, convert).size(), expected.size());
        }
    }
}

// What write_hex_listing() writes for the file at path; `result` receives its return value.
std::string streamed_listing(const std::string &path, int convert, int *result, const DecodeHooks &hooks = {})
{
    FILE *out = std::tmpfile();
    EXPECT_NE(out, nullptr);
    if (out == nullptr)
        return "";
    *result = write_hex_listing(path.c_str(), convert, out, hooks);
    std::string text;
    std::rewind(out);
    char buffer[65536];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, out)) > 0)
        text.append(buffer, got);
    std::fclose(out);
    return text;
}

TEST(HexListingFile, StreamedListingEqualsTheListingOfTheWholeFile)
{
    TempFolder folder("qm-hex-stream-XXXXXX");
    std::mt19937 random(7);
    // Sizes around the line length and the 16 KB chunks the writer reads.
    for (const size_t size : {size_t(3), size_t(17), size_t(18), size_t(19), size_t(16386), size_t(16387),
                              size_t(16384 * 3 + 2 + 15), size_t(1048576 + 2), size_t(1048576 + 9)}) {
        Bytes file(size);
        for (uint8_t &b : file)
            b = uint8_t(random());
        const std::string path = folder.write("big.prg", file);
        for (const int convert : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "size " << size << " convert " << convert);
            int result = -1;
            const std::string streamed = streamed_listing(path, convert, &result);
            EXPECT_EQ(result, 1);
            EXPECT_TRUE(streamed == reference_listing(file, convert));  // megabytes: no diff printed
        }
    }
}

TEST(HexListingFile, StreamedListingFailsLikeTheWholeFileListing)
{
    TempFolder folder("qm-hex-stream-XXXXXX");
    const std::string missing = folder.file("missing.prg");
    const std::string short_file = folder.write("short.prg", {0x01, 0x08});
    for (const std::string &path : {missing, folder.path, short_file}) {
        SCOPED_TRACE(path);
        LoadErrorLog whole_log, streamed_log;
        DecodeHooks hooks;
        hooks.load_error = record_load_error;
        hooks.user = &whole_log;
        int whole = -1, streamed = -1;
        EXPECT_EQ(file_listing(path, 0, &whole, hooks), "");
        hooks.user = &streamed_log;
        EXPECT_EQ(streamed_listing(path, 0, &streamed, hooks), "");
        EXPECT_EQ(streamed, 0);
        EXPECT_EQ(whole, 0);
        EXPECT_EQ(streamed_log.calls, whole_log.calls);
        EXPECT_EQ(streamed_log.path, whole_log.path);
        EXPECT_EQ(streamed_log.message, whole_log.message);
    }
}

} // namespace
