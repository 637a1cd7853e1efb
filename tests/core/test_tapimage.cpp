// Tests of the tape image module: header reading and classification, the
// open dialog's preview texts, the sample conversions and their chooser,
// pulse decoding of every TAP version and of ZORV dumps, and the data-size fix.
//
// Every expected value below was worked out by hand from the format rules.
#include "core/tapimage.h"

#include <gtest/gtest.h>

#include <glib.h>
#include <glib/gstdio.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// A 20-byte header: magic, version, platform, video, reserved, data size 0.
Bytes make_header(const char *magic, uint8_t version, uint8_t platform = 0,
                  uint8_t video = 0, uint8_t reserved = 0)
{
    Bytes h(TAP_HEADER_SIZE, 0);
    std::memcpy(h.data(), magic, 12);
    h[12] = version;
    h[13] = platform;
    h[14] = video;
    h[15] = reserved;
    return h;
}

Bytes with_data(Bytes header, std::initializer_list<uint8_t> data)
{
    header.insert(header.end(), data.begin(), data.end());
    return header;
}

std::vector<TapePulse> decode(const Bytes &file)
{
    return decode_tape_pulses(file.data(), file.size());
}

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
        g_chmod(path.c_str(), 0600);
        g_remove(path.c_str());
    }
}

// Each test gets its own scratch folder, removed afterwards. The inner
// folder's name has blanks, an apostrophe and non-ASCII characters so that
// every file path exercises them.
class TapeFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        GError *err = nullptr;
        gchar *tmp = g_dir_make_tmp("quillmar-tapimage-XXXXXX", &err);
        ASSERT_NE(tmp, nullptr) << (err ? err->message : "");
        root_ = tmp;
        g_free(tmp);
        dir_ = root_ + G_DIR_SEPARATOR_S + "Tapes of Zo\xC3\xAB's \xC3\x9C" "bung \xE2\x80\x93 copy";
        ASSERT_EQ(g_mkdir(dir_.c_str(), 0700), 0);
    }

    void TearDown() override
    {
        if (!root_.empty())
            remove_tree(root_);
    }

    std::string write_file(const std::string &name, const Bytes &content)
    {
        const std::string path = dir_ + G_DIR_SEPARATOR_S + name;
        GError *err = nullptr;
        const gboolean ok = g_file_set_contents(
            path.c_str(), reinterpret_cast<const gchar *>(content.data()),
            static_cast<gssize>(content.size()), &err);
        EXPECT_TRUE(ok) << (err ? err->message : "");
        if (err)
            g_error_free(err);
        return path;
    }

    Bytes read_file(const std::string &path)
    {
        gchar *data = nullptr;
        gsize len = 0;
        EXPECT_TRUE(g_file_get_contents(path.c_str(), &data, &len, nullptr));
        Bytes out(reinterpret_cast<uint8_t *>(data), reinterpret_cast<uint8_t *>(data) + len);
        g_free(data);
        return out;
    }

    void expect_preview(const std::string &path, const char *type,
                        const char *platform, const char *video)
    {
        const TapePreview p = tape_header_preview(path.c_str());
        EXPECT_EQ(p.file_type, type);
        EXPECT_EQ(p.platform, platform);
        EXPECT_EQ(p.video, video);
    }

    void expect_no_preview(const std::string &path)
    {
        expect_preview(path, "---", "---", "---");
    }

    std::string root_;
    std::string dir_;
};

// ---------------------------------------------------------------------------
// Header layout and classification

TEST(TapeHeaderFields, AccessorsReadTheRawBytesLittleEndian)
{
    TapeImageInfo info{};
    const Bytes h = make_header("C16-TAPE-RAW", 2, 0x21, 1, 7);
    std::memcpy(info.raw, h.data(), TAP_HEADER_SIZE);
    info.raw[16] = 0x5C;
    info.raw[17] = 0x11;
    info.raw[18] = 0x01;
    info.raw[19] = 0x00;
    EXPECT_EQ(info.version(), 2);
    EXPECT_EQ(info.platform(), 0x21);
    EXPECT_EQ(info.video(), 1);
    EXPECT_EQ(info.reserved(), 7);
    EXPECT_EQ(info.data_size(), 69980u);
    EXPECT_EQ(std::memcmp(info.magic(), "C16-TAPE-RAW", 12), 0);
}

TEST(TapeHeaderFields, DataSizeUsesAllFourBytes)
{
    TapeImageInfo info{};
    info.raw[16] = 0xFF;
    info.raw[17] = 0xFF;
    info.raw[18] = 0xFF;
    info.raw[19] = 0xFF;
    EXPECT_EQ(info.data_size(), 0xFFFFFFFFu);
    info.raw[16] = 0x01;
    info.raw[17] = 0x00;
    info.raw[18] = 0x00;
    info.raw[19] = 0x80;
    EXPECT_EQ(info.data_size(), 0x80000001u);
}

TEST(TapeFileType, EachMagicIsRecognised)
{
    EXPECT_EQ(tape_file_type(make_header("ZORV-TAP-RAW", 1).data()), FileType::ZorvDump);
    EXPECT_EQ(tape_file_type(make_header("C64-TAPE-RAW", 1).data()), FileType::C64Tap);
    EXPECT_EQ(tape_file_type(make_header("C16-TAPE-RAW", 1).data()), FileType::C16Tap);
}

TEST(TapeFileType, AnyOtherMagicIsUnknown)
{
    EXPECT_EQ(tape_file_type(make_header("c64-tape-raw", 1).data()), FileType::Unknown);
    EXPECT_EQ(tape_file_type(make_header("C64-TAPE-RAX", 1).data()), FileType::Unknown);
    EXPECT_EQ(tape_file_type(make_header("ZORV-TAPE-RA", 1).data()), FileType::Unknown);
    EXPECT_EQ(tape_file_type(make_header("C20-TAPE-RAW", 1).data()), FileType::Unknown);
    EXPECT_EQ(tape_file_type(make_header(" C64-TAPE-RA", 1).data()), FileType::Unknown);
    const Bytes zeros(20, 0);
    EXPECT_EQ(tape_file_type(zeros.data()), FileType::Unknown);
    EXPECT_EQ(tape_file_type(nullptr), FileType::Unknown);
}

TEST(TapeFileType, OnlyTheFirstTwelveBytesCount)
{
    Bytes h = make_header("C64-TAPE-RAW", 0xEE, 0xEE, 0xEE, 0xEE);
    for (std::size_t i = 16; i < 20; ++i)
        h[i] = 0xEE;
    EXPECT_EQ(tape_file_type(h.data()), FileType::C64Tap);
}

TEST(TapePlatformIndex, ZorvUsesTheLowNibbleOnly)
{
    EXPECT_EQ(tape_platform_index(make_header("ZORV-TAP-RAW", 1, 0x21).data(), FileType::ZorvDump), 1u);
    EXPECT_EQ(tape_platform_index(make_header("ZORV-TAP-RAW", 1, 0x12).data(), FileType::ZorvDump), 2u);
    EXPECT_EQ(tape_platform_index(make_header("ZORV-TAP-RAW", 1, 0xF0).data(), FileType::ZorvDump), 0u);
    EXPECT_EQ(tape_platform_index(make_header("ZORV-TAP-RAW", 1, 0x0F).data(), FileType::ZorvDump), 15u);
}

TEST(TapePlatformIndex, TapUsesTheWholeByte)
{
    EXPECT_EQ(tape_platform_index(make_header("C64-TAPE-RAW", 1, 0x21).data(), FileType::C64Tap), 33u);
    EXPECT_EQ(tape_platform_index(make_header("C16-TAPE-RAW", 1, 0x12).data(), FileType::C16Tap), 18u);
    EXPECT_EQ(tape_platform_index(make_header("C64-TAPE-RAW", 1, 2).data(), FileType::C64Tap), 2u);
    EXPECT_EQ(tape_platform_index(make_header("XXXXXXXXXXXX", 1, 0xFF).data(), FileType::Unknown), 255u);
}

// ---------------------------------------------------------------------------
// Name tables

TEST(TapeNameTables, PlatformNames)
{
    EXPECT_STREQ(machine_types[0], "Commodore 64");
    EXPECT_STREQ(machine_types[1], "VIC 20");
    EXPECT_STREQ(machine_types[2], "Commodore 16");
    EXPECT_STREQ(machine_type_name(0), "Commodore 64");
    EXPECT_STREQ(machine_type_name(1), "VIC 20");
    EXPECT_STREQ(machine_type_name(2), "Commodore 16");
}

TEST(TapeNameTables, PlatformAboveTwoIsUnknown)
{
    EXPECT_STREQ(machine_type_name(3), "Unknown");
    EXPECT_STREQ(machine_type_name(33), "Unknown");
    EXPECT_STREQ(machine_type_name(255), "Unknown");
    EXPECT_STREQ(machine_type_name(0xFFFFFFFFu), "Unknown");
}

TEST(TapeNameTables, VideoStandardNames)
{
    EXPECT_STREQ(video_standards[0], "PAL");
    EXPECT_STREQ(video_standards[1], "NTSC");
    EXPECT_STREQ(video_standard_name(0), "PAL");
    EXPECT_STREQ(video_standard_name(1), "NTSC");
}

TEST(TapeNameTables, VideoStandardAboveOneIsUnknown)
{
    EXPECT_STREQ(video_standard_name(2), "Unknown");
    EXPECT_STREQ(video_standard_name(255), "Unknown");
}

// ---------------------------------------------------------------------------
// Header reader

TEST_F(TapeFiles, FolderGivesFalseAndLeavesTheBufferAlone)
{
    uint8_t buf[20];
    std::memset(buf, 0xA5, sizeof buf);
    EXPECT_EQ(common_read_tap_file_header(dir_.c_str(), buf), 0);
    EXPECT_EQ(common_read_tap_file_header(root_.c_str(), buf), 0);
    for (uint8_t b : buf)
        EXPECT_EQ(b, 0xA5);
}

TEST_F(TapeFiles, NineteenByteFileGivesFalse)
{
    Bytes content = make_header("C64-TAPE-RAW", 1);
    content.resize(19);
    const std::string path = write_file("short.tap", content);
    uint8_t buf[20];
    EXPECT_EQ(common_read_tap_file_header(path.c_str(), buf), 0);
}

TEST_F(TapeFiles, EmptyFileGivesFalse)
{
    const std::string path = write_file("empty.tap", Bytes{});
    uint8_t buf[20];
    EXPECT_EQ(common_read_tap_file_header(path.c_str(), buf), 0);
}

TEST_F(TapeFiles, MissingFileGivesFalse)
{
    const std::string path = dir_ + G_DIR_SEPARATOR_S + "not here.tap";
    uint8_t buf[20];
    EXPECT_EQ(common_read_tap_file_header(path.c_str(), buf), 0);
}

TEST_F(TapeFiles, PathThroughAPlainFileGivesFalse)
{
    // Cannot be opened whatever the rights of the user running the tests.
    const std::string file = write_file("plain.tap", make_header("C64-TAPE-RAW", 1));
    const std::string path = file + G_DIR_SEPARATOR_S + "inner.tap";
    uint8_t buf[20];
    EXPECT_EQ(common_read_tap_file_header(path.c_str(), buf), 0);
    expect_no_preview(path);
}

TEST_F(TapeFiles, NullArgumentsGiveFalse)
{
    uint8_t buf[20];
    EXPECT_EQ(common_read_tap_file_header(nullptr, buf), 0);
    const std::string path = write_file("twenty.bin", Bytes(20, 1));
    EXPECT_EQ(common_read_tap_file_header(path.c_str(), nullptr), 0);
}

TEST_F(TapeFiles, UnreadableFileGivesFalse)
{
    const std::string path = write_file("locked.tap", make_header("C64-TAPE-RAW", 1));
    ASSERT_EQ(g_chmod(path.c_str(), 0), 0);
    if (access(path.c_str(), R_OK) == 0)
        GTEST_SKIP() << "running with rights that read any file";
    uint8_t buf[20];
    EXPECT_EQ(common_read_tap_file_header(path.c_str(), buf), 0);
}

TEST_F(TapeFiles, AnyTwentyBytesGiveTrueWhateverTheMagic)
{
    Bytes content(20);
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<uint8_t>(0xF0 - 7 * i);
    const std::string path = write_file("noise.bin", content);
    uint8_t buf[20] = {};
    ASSERT_EQ(common_read_tap_file_header(path.c_str(), buf), 1);
    EXPECT_EQ(Bytes(buf, buf + 20), content);
}

TEST_F(TapeFiles, LongerFileGivesTrueWithTheFirstTwentyBytes)
{
    Bytes content = with_data(make_header("ZORV-TAP-RAW", 1, 0x21, 1), {0xD0, 0x07, 0x01, 0x00, 0x99});
    content[16] = 5;
    const std::string path = write_file("dump.dmp", content);
    TapeImageInfo info{};
    ASSERT_EQ(common_read_tap_file_header(path.c_str(), info.raw), 1);
    EXPECT_EQ(Bytes(info.raw, info.raw + 20), Bytes(content.begin(), content.begin() + 20));
    EXPECT_EQ(tape_file_type(info.raw), FileType::ZorvDump);
    EXPECT_EQ(info.data_size(), 5u);
}

TEST_F(TapeFiles, PathWithBlanksApostropheAndNonAsciiIsRead)
{
    const std::string path =
        write_file("Zak's B\xC3\xA4nd \xE2\x99\xAA side A.tap", make_header("C64-TAPE-RAW", 1));
    uint8_t buf[20] = {};
    ASSERT_EQ(common_read_tap_file_header(path.c_str(), buf), 1);
    EXPECT_EQ(tape_file_type(buf), FileType::C64Tap);
    expect_preview(path, "Standard TAP v 1", "Commodore 64", "PAL");
}

// ---------------------------------------------------------------------------
// Preview texts of the open dialog

TEST_F(TapeFiles, StandardTapVersionZeroAndOne)
{
    expect_preview(write_file("v0.tap", make_header("C64-TAPE-RAW", 0)),
                   "Standard TAP v 0", "Commodore 64", "PAL");
    expect_preview(write_file("v1.tap", make_header("C64-TAPE-RAW", 1)),
                   "Standard TAP v 1", "Commodore 64", "PAL");
}

TEST_F(TapeFiles, NtscC64TapIsShownAsNonStandard)
{
    expect_preview(write_file("ntsc.tap", make_header("C64-TAPE-RAW", 1, 0, 1)),
                   "Non-standard TAP v 1", "Commodore 64", "NTSC");
}

TEST_F(TapeFiles, ReservedByteMakesTapNonStandard)
{
    expect_preview(write_file("reserved.tap", make_header("C64-TAPE-RAW", 0, 0, 0, 1)),
                   "Non-standard TAP v 0", "Commodore 64", "PAL");
}

TEST_F(TapeFiles, VicTwentyTapIsShownAsNonStandard)
{
    expect_preview(write_file("vic.tap", make_header("C64-TAPE-RAW", 1, 1, 0)),
                   "Non-standard TAP v 1", "VIC 20", "PAL");
}

TEST_F(TapeFiles, C64TapVersionOnePlatformTwoNtsc)
{
    expect_preview(write_file("c16ntsc.tap", make_header("C64-TAPE-RAW", 1, 2, 1)),
                   "Non-standard TAP v 1", "Commodore 16", "NTSC");
}

TEST_F(TapeFiles, C64TapVersionTwoWithZeroFieldsIsNonStandard)
{
    expect_preview(write_file("v2.tap", make_header("C64-TAPE-RAW", 2)),
                   "Non-standard TAP v 2", "Commodore 64", "PAL");
}

TEST_F(TapeFiles, C64TapHigherVersionIsNonStandard)
{
    expect_preview(write_file("v200.tap", make_header("C64-TAPE-RAW", 200)),
                   "Non-standard TAP v 200", "Commodore 64", "PAL");
}

TEST_F(TapeFiles, ZorvPlatformByte0x21IsVic20)
{
    expect_preview(write_file("vic.dmp", make_header("ZORV-TAP-RAW", 1, 0x21, 0)),
                   "ZORV v 1", "VIC 20", "PAL");
}

TEST_F(TapeFiles, TapPlatformByte0x21IsUnknown)
{
    expect_preview(write_file("p33.tap", make_header("C64-TAPE-RAW", 1, 0x21, 0)),
                   "Non-standard TAP v 1", "Unknown", "PAL");
    expect_preview(write_file("p33c16.tap", make_header("C16-TAPE-RAW", 1, 0x21, 0)),
                   "Markus' Extended TAP v 1", "Unknown", "PAL");
}

TEST_F(TapeFiles, ZorvPlatformByte0x12IsCommodore16)
{
    expect_preview(write_file("c16.dmp", make_header("ZORV-TAP-RAW", 0, 0x12, 1)),
                   "ZORV v 0", "Commodore 16", "NTSC");
}

TEST_F(TapeFiles, TapPlatformByte0x12IsUnknown)
{
    expect_preview(write_file("p18.tap", make_header("C64-TAPE-RAW", 1, 0x12, 0)),
                   "Non-standard TAP v 1", "Unknown", "PAL");
    expect_preview(write_file("p18c16.tap", make_header("C16-TAPE-RAW", 1, 0x12, 0)),
                   "Markus' Extended TAP v 1", "Unknown", "PAL");
}

TEST_F(TapeFiles, ZorvLowNibbleAboveTwoIsUnknown)
{
    expect_preview(write_file("p3.dmp", make_header("ZORV-TAP-RAW", 2, 0x03, 0)),
                   "ZORV v 2", "Unknown", "PAL");
}

TEST_F(TapeFiles, ZorvVersionIsShownAsAnUnsignedNumber)
{
    expect_preview(write_file("v255.dmp", make_header("ZORV-TAP-RAW", 255, 0, 0)),
                   "ZORV v 255", "Commodore 64", "PAL");
}

TEST_F(TapeFiles, C16TapShowsMarkusExtendedTap)
{
    expect_preview(write_file("plus4.tap", make_header("C16-TAPE-RAW", 1, 2, 0)),
                   "Markus' Extended TAP v 1", "Commodore 16", "PAL");
    expect_preview(write_file("plus4v2.tap", make_header("C16-TAPE-RAW", 2, 2, 1)),
                   "Markus' Extended TAP v 2", "Commodore 16", "NTSC");
}

TEST_F(TapeFiles, VideoByteTwoIsUnknown)
{
    expect_preview(write_file("vid2.tap", make_header("C64-TAPE-RAW", 1, 0, 2)),
                   "Non-standard TAP v 1", "Commodore 64", "Unknown");
    expect_preview(write_file("vid2.dmp", make_header("ZORV-TAP-RAW", 1, 0, 2)),
                   "ZORV v 1", "Commodore 64", "Unknown");
    expect_preview(write_file("vid2c16.tap", make_header("C16-TAPE-RAW", 1, 2, 2)),
                   "Markus' Extended TAP v 1", "Commodore 16", "Unknown");
}

TEST_F(TapeFiles, FileShorterThanSixteenBytesHasNoPreview)
{
    Bytes content = make_header("C64-TAPE-RAW", 1);
    content.resize(10);
    expect_no_preview(write_file("ten.tap", content));
    content = make_header("C64-TAPE-RAW", 1);
    content.resize(15);
    expect_no_preview(write_file("fifteen.tap", content));
    expect_no_preview(write_file("empty.tap", Bytes{}));
}

TEST_F(TapeFiles, FileShorterThanTwentyBytesHasNoPreview)
{
    Bytes content = make_header("ZORV-TAP-RAW", 1, 1, 0);
    content.resize(16);
    expect_no_preview(write_file("sixteen.dmp", content));
    content = make_header("C64-TAPE-RAW", 0);
    content.resize(19);
    expect_no_preview(write_file("nineteen.tap", content));
}

TEST_F(TapeFiles, UnknownMagicHasNoPreview)
{
    expect_no_preview(write_file("other.tap", make_header("C64-TAPE-RAX", 1)));
    expect_no_preview(write_file("zeros.bin", Bytes(64, 0)));
}

TEST_F(TapeFiles, FolderMissingFileAndNoNameHaveNoPreview)
{
    expect_no_preview(dir_);
    expect_no_preview(dir_ + G_DIR_SEPARATOR_S + "absent.tap");
    const TapePreview p = tape_header_preview(nullptr);
    EXPECT_EQ(p.file_type, "---");
    EXPECT_EQ(p.platform, "---");
    EXPECT_EQ(p.video, "---");
}

TEST(TapePreviewFromHeader, MatchesTheFileRules)
{
    const TapePreview p = tape_header_preview_from_header(make_header("C64-TAPE-RAW", 0, 0, 1).data());
    EXPECT_EQ(p.file_type, "Non-standard TAP v 0");
    EXPECT_EQ(p.platform, "Commodore 64");
    EXPECT_EQ(p.video, "NTSC");
    const TapePreview none = tape_header_preview_from_header(make_header("ABCDEFGHIJKL", 1).data());
    EXPECT_EQ(none.file_type, "---");
    EXPECT_EQ(none.platform, "---");
    EXPECT_EQ(none.video, "---");
}

// ---------------------------------------------------------------------------
// Sample conversions

struct ConversionRow {
    const char *name;
    DownsampleFunc f;
    uint64_t sample;
    uint64_t cycles;
};

void PrintTo(const ConversionRow &r, std::ostream *os)
{
    *os << r.name << "(" << r.sample << ")";
}

class SampleConversion : public ::testing::TestWithParam<ConversionRow> {};

TEST_P(SampleConversion, GivesTheRoundedCycleCount)
{
    const ConversionRow &r = GetParam();
    EXPECT_EQ(r.f(r.sample), r.cycles) << r.name << " of " << r.sample;
}

// cycles = (s * factor + divisor / 2) / divisor, worked out by hand. The
// sample of 1,000,000,000 (500 s) needs 64-bit products and gives exactly
// 500 times the machine clock.
INSTANTIATE_TEST_SUITE_P(
    AllSixConversions, SampleConversion,
    ::testing::Values(
        ConversionRow{"c64_pal", downsample_c64_pal, 0, 0},
        ConversionRow{"c64_pal", downsample_c64_pal, 1, 0},
        ConversionRow{"c64_pal", downsample_c64_pal, 2, 1},
        ConversionRow{"c64_pal", downsample_c64_pal, 2000, 985},
        ConversionRow{"c64_pal", downsample_c64_pal, 65534, 32284},
        ConversionRow{"c64_pal", downsample_c64_pal, 65535, 32284},
        ConversionRow{"c64_pal", downsample_c64_pal, 1000000000, 492624000},
        ConversionRow{"c64_ntsc", downsample_c64_ntsc, 0, 0},
        ConversionRow{"c64_ntsc", downsample_c64_ntsc, 1, 1},
        ConversionRow{"c64_ntsc", downsample_c64_ntsc, 2, 1},
        ConversionRow{"c64_ntsc", downsample_c64_ntsc, 2000, 1023},
        ConversionRow{"c64_ntsc", downsample_c64_ntsc, 65534, 33511},
        ConversionRow{"c64_ntsc", downsample_c64_ntsc, 65535, 33512},
        ConversionRow{"c64_ntsc", downsample_c64_ntsc, 1000000000, 511360000},
        ConversionRow{"vic_pal", downsample_vic_pal, 0, 0},
        ConversionRow{"vic_pal", downsample_vic_pal, 1, 1},
        ConversionRow{"vic_pal", downsample_vic_pal, 2, 1},
        ConversionRow{"vic_pal", downsample_vic_pal, 2000, 1108},
        ConversionRow{"vic_pal", downsample_vic_pal, 65534, 36319},
        ConversionRow{"vic_pal", downsample_vic_pal, 65535, 36320},
        ConversionRow{"vic_pal", downsample_vic_pal, 1000000000, 554208000},
        ConversionRow{"vic_ntsc", downsample_vic_ntsc, 0, 0},
        ConversionRow{"vic_ntsc", downsample_vic_ntsc, 1, 1},
        ConversionRow{"vic_ntsc", downsample_vic_ntsc, 2, 1},
        ConversionRow{"vic_ntsc", downsample_vic_ntsc, 2000, 1023},
        ConversionRow{"vic_ntsc", downsample_vic_ntsc, 65534, 33511},
        ConversionRow{"vic_ntsc", downsample_vic_ntsc, 65535, 33512},
        ConversionRow{"vic_ntsc", downsample_vic_ntsc, 1000000000, 511360000},
        ConversionRow{"c16_pal", downsample_c16_pal, 0, 0},
        ConversionRow{"c16_pal", downsample_c16_pal, 1, 0},
        ConversionRow{"c16_pal", downsample_c16_pal, 2, 1},
        ConversionRow{"c16_pal", downsample_c16_pal, 2000, 887},
        ConversionRow{"c16_pal", downsample_c16_pal, 65534, 29055},
        ConversionRow{"c16_pal", downsample_c16_pal, 65535, 29056},
        ConversionRow{"c16_pal", downsample_c16_pal, 1000000000, 443360000},
        ConversionRow{"c16_ntsc", downsample_c16_ntsc, 0, 0},
        ConversionRow{"c16_ntsc", downsample_c16_ntsc, 1, 0},
        ConversionRow{"c16_ntsc", downsample_c16_ntsc, 2, 1},
        ConversionRow{"c16_ntsc", downsample_c16_ntsc, 2000, 895},
        ConversionRow{"c16_ntsc", downsample_c16_ntsc, 65534, 29323},
        ConversionRow{"c16_ntsc", downsample_c16_ntsc, 65535, 29323},
        ConversionRow{"c16_ntsc", downsample_c16_ntsc, 1000000000, 447440000}));

TEST(SampleToUnits, SampleOfOneIsZeroCyclesAndOneUnitOnC64Pal)
{
    EXPECT_EQ(downsample_c64_pal(1), 0u);
    EXPECT_EQ(zorv_sample_to_units(1, downsample_c64_pal), 1u);
}

TEST(SampleToUnits, OneMillisecondIs985CyclesAnd123UnitsOnC64Pal)
{
    EXPECT_EQ(downsample_c64_pal(2000), 985u);
    EXPECT_EQ(zorv_sample_to_units(2000, downsample_c64_pal), 123u);
}

TEST(SampleToUnits, OverflowSamplePerPlatform)
{
    // 0xFFFF: 32284 -> 4036, 33512 -> 4189, 36320 -> 4540, 29056 -> 3632,
    // 29323 -> 3665 (cycles + 4, shifted right by 3).
    EXPECT_EQ(zorv_sample_to_units(0xFFFF, downsample_c64_pal), 4036u);
    EXPECT_EQ(zorv_sample_to_units(0xFFFF, downsample_c64_ntsc), 4189u);
    EXPECT_EQ(zorv_sample_to_units(0xFFFF, downsample_vic_pal), 4540u);
    EXPECT_EQ(zorv_sample_to_units(0xFFFF, downsample_vic_ntsc), 4189u);
    EXPECT_EQ(zorv_sample_to_units(0xFFFF, downsample_c16_pal), 3632u);
    EXPECT_EQ(zorv_sample_to_units(0xFFFF, downsample_c16_ntsc), 3665u);
}

TEST(SampleToUnits, OneMillisecondPerPlatform)
{
    // 2000: 1023 -> 128, 1108 -> 139, 887 -> 111, 895 -> 112.
    EXPECT_EQ(zorv_sample_to_units(2000, downsample_c64_ntsc), 128u);
    EXPECT_EQ(zorv_sample_to_units(2000, downsample_vic_pal), 139u);
    EXPECT_EQ(zorv_sample_to_units(2000, downsample_vic_ntsc), 128u);
    EXPECT_EQ(zorv_sample_to_units(2000, downsample_c16_pal), 111u);
    EXPECT_EQ(zorv_sample_to_units(2000, downsample_c16_ntsc), 112u);
}

uint64_t same_cycles(uint64_t s) { return s; }

TEST(SampleToUnits, RoundingAroundTheFourCycleFloor)
{
    EXPECT_EQ(zorv_sample_to_units(0, same_cycles), 1u);
    EXPECT_EQ(zorv_sample_to_units(3, same_cycles), 1u);
    EXPECT_EQ(zorv_sample_to_units(4, same_cycles), 1u);   // 8 >> 3
    EXPECT_EQ(zorv_sample_to_units(11, same_cycles), 1u);  // 15 >> 3
    EXPECT_EQ(zorv_sample_to_units(12, same_cycles), 2u);  // 16 >> 3
    EXPECT_EQ(zorv_sample_to_units(19, same_cycles), 2u);  // 23 >> 3
    EXPECT_EQ(zorv_sample_to_units(20, same_cycles), 3u);  // 24 >> 3
    EXPECT_EQ(zorv_sample_to_units(65535, same_cycles), 8192u);  // 65539 >> 3
}

TEST(SampleToUnits, CyclesAreKeptToSixteenBits)
{
    EXPECT_EQ(zorv_sample_to_units(0x10000 + 3, same_cycles), 1u);
    EXPECT_EQ(zorv_sample_to_units(0x10000 + 800, same_cycles), 100u);  // 804 >> 3
    EXPECT_EQ(zorv_sample_to_units(0x10000, same_cycles), 1u);
    // 200000 samples: 98525 cycles, 32989 in 16 bits, (32989 + 4) >> 3.
    EXPECT_EQ(zorv_sample_to_units(200000, downsample_c64_pal), 4124u);
}

// ---------------------------------------------------------------------------
// Choice of conversion

struct ChooserRow {
    unsigned platform;
    unsigned video;
    DownsampleFunc expected;
    const char *expected_name;
};

void PrintTo(const ChooserRow &r, std::ostream *os)
{
    *os << "platform " << r.platform << ", video " << r.video << " -> " << r.expected_name;
}

class ConversionChooser : public ::testing::TestWithParam<ChooserRow> {};

TEST_P(ConversionChooser, PicksTheConversion)
{
    const ChooserRow &r = GetParam();
    EXPECT_EQ(choose_downsample(r.platform, r.video), r.expected)
        << "expected " << r.expected_name;
}

INSTANTIATE_TEST_SUITE_P(
    EveryPlatformAndStandard, ConversionChooser,
    ::testing::Values(
        ChooserRow{0, 0, downsample_c64_pal, "c64_pal"},
        ChooserRow{0, 1, downsample_c64_ntsc, "c64_ntsc"},
        ChooserRow{0, 2, downsample_c64_pal, "c64_pal"},
        ChooserRow{0, 255, downsample_c64_pal, "c64_pal"},
        ChooserRow{1, 0, downsample_vic_pal, "vic_pal"},
        ChooserRow{1, 1, downsample_vic_ntsc, "vic_ntsc"},
        ChooserRow{1, 2, downsample_c64_pal, "c64_pal"},
        ChooserRow{1, 255, downsample_c64_pal, "c64_pal"},
        ChooserRow{2, 0, downsample_c16_pal, "c16_pal"},
        ChooserRow{2, 1, downsample_c16_ntsc, "c16_ntsc"},
        ChooserRow{2, 2, downsample_c64_pal, "c64_pal"},
        ChooserRow{2, 255, downsample_c64_pal, "c64_pal"},
        ChooserRow{3, 0, downsample_c64_pal, "c64_pal"},
        ChooserRow{3, 1, downsample_c64_pal, "c64_pal"},
        ChooserRow{15, 1, downsample_c64_pal, "c64_pal"},
        ChooserRow{33, 0, downsample_c64_pal, "c64_pal"},
        ChooserRow{33, 1, downsample_c64_pal, "c64_pal"},
        ChooserRow{255, 2, downsample_c64_pal, "c64_pal"}));

// ---------------------------------------------------------------------------
// TAP pulse decoding

TEST(TapDecoding, Version0ZeroByteIsOneLongPulseOf2500Units)
{
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", 0), {0x00}));
    ASSERT_EQ(pulses.size(), 1u);
    EXPECT_EQ(pulses[0], (TapePulse{20, 2500, true, false}));
}

TEST(TapDecoding, Version3ZeroByteIsOnePulseOfLengthZero)
{
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", 3), {0x00}));
    ASSERT_EQ(pulses.size(), 1u);
    EXPECT_EQ(pulses[0], (TapePulse{20, 0, false, false}));
}

TEST(TapDecoding, Version0Table)
{
    // A zero byte takes no following bytes in version 0.
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", 0),
                                         {0x30, 0x00, 0xFF, 0x01, 0x00, 0x00, 0x10}));
    const std::vector<TapePulse> expected = {
        {20, 0x30, false, false}, {21, 2500, true, false}, {22, 255, false, false},
        {23, 1, false, false},    {24, 2500, true, false}, {25, 2500, true, false},
        {26, 0x10, false, false},
    };
    EXPECT_EQ(pulses, expected);
}

class TapVersionOneAndTwo : public ::testing::TestWithParam<uint8_t> {};

TEST_P(TapVersionOneAndTwo, DecodingTable)
{
    const auto pulses = decode(with_data(
        make_header("C64-TAPE-RAW", GetParam()),
        {
            0x2F,                    // 20: 47 units
            0x00, 0x20, 0x4E, 0x00,  // 21: 20000 cycles -> 2500 units
            0x56,                    // 25: 86 units
            0x00, 0x07, 0x00, 0x00,  // 26: 7 cycles -> 0 units
            0x00, 0xFF, 0xFF, 0xFF,  // 30: overflow mark, continues
            0x00, 0x10, 0x00, 0x00,  // 34: 16 cycles -> 2 units
            0x00, 0xFE, 0xFF, 0xFF,  // 38: 0xFFFFFE cycles -> 0x1FFFFF units, ends
            0x00, 0x08, 0x00, 0x00,  // 42: 8 cycles -> 1 unit
            0x00, 0x00, 0x01, 0x00,  // 46: 256 cycles -> 32 units
            0x00, 0x00, 0x00, 0x00,  // 50: 0 cycles -> 0 units
            0x00, 0x4F, 0x3A, 0x12,  // 54: 0x123A4F cycles -> 0x24749 units
            0x01,                    // 58: 1 unit
            0xFF,                    // 59: 255 units
        }));
    const std::vector<TapePulse> expected = {
        {20, 47, false, false},
        {21, 2500, true, false},
        {25, 86, false, false},
        {26, 0, true, false},
        {30, 0x1FFFFF, true, true},
        {34, 2, true, false},
        {38, 0x1FFFFF, true, false},
        {42, 1, true, false},
        {46, 32, true, false},
        {50, 0, true, false},
        {54, 0x24749, true, false},
        {58, 1, false, false},
        {59, 255, false, false},
    };
    EXPECT_EQ(pulses, expected);
}

TEST_P(TapVersionOneAndTwo, OverflowMarkContinuesIntoTheNextPulse)
{
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", GetParam()),
                                         {0x00, 0xFF, 0xFF, 0xFF, 0x00, 0xFF, 0xFF, 0xFF,
                                          0x00, 0x00, 0x10, 0x00}));
    const std::vector<TapePulse> expected = {
        {20, 0x1FFFFF, true, true},
        {24, 0x1FFFFF, true, true},
        {28, 0x200, true, false},  // 0x1000 cycles
    };
    EXPECT_EQ(pulses, expected);
}

TEST_P(TapVersionOneAndTwo, FileEndsRightAfterTheZeroByte)
{
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", GetParam()), {0x40, 0x00}));
    const std::vector<TapePulse> expected = {{20, 64, false, false}, {21, 0, true, false}};
    EXPECT_EQ(pulses, expected);
}

TEST_P(TapVersionOneAndTwo, FileEndsAfterOneByteOfTheLength)
{
    // 0x50 = 80 cycles -> 10 units.
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", GetParam()), {0x00, 0x50}));
    const std::vector<TapePulse> expected = {{20, 10, true, false}};
    EXPECT_EQ(pulses, expected);
}

TEST_P(TapVersionOneAndTwo, FileEndsAfterTwoBytesOfTheLength)
{
    // 0x0150 = 336 cycles -> 42 units.
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", GetParam()),
                                         {0x05, 0x00, 0x50, 0x01}));
    const std::vector<TapePulse> expected = {{20, 5, false, false}, {21, 42, true, false}};
    EXPECT_EQ(pulses, expected);
}

TEST_P(TapVersionOneAndTwo, CutShortAllOnesIsNoOverflowMark)
{
    // Only two bytes present: 0xFFFF = 65535 cycles -> 8191 units.
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", GetParam()), {0x00, 0xFF, 0xFF}));
    const std::vector<TapePulse> expected = {{20, 8191, true, false}};
    EXPECT_EQ(pulses, expected);
}

INSTANTIATE_TEST_SUITE_P(Versions, TapVersionOneAndTwo, ::testing::Values(uint8_t{1}, uint8_t{2}),
                         [](const ::testing::TestParamInfo<uint8_t> &param_info) {
                             return "Version" + std::to_string(param_info.param);
                         });

class TapOtherVersions : public ::testing::TestWithParam<uint8_t> {};

TEST_P(TapOtherVersions, ZeroByteIsOnePulseOfLengthZero)
{
    const auto pulses = decode(with_data(make_header("C64-TAPE-RAW", GetParam()),
                                         {0x00, 0x10, 0x00, 0x00, 0x05, 0x00}));
    const std::vector<TapePulse> expected = {
        {20, 0, false, false}, {21, 16, false, false}, {22, 0, false, false},
        {23, 0, false, false}, {24, 5, false, false},  {25, 0, false, false},
    };
    EXPECT_EQ(pulses, expected);
}

INSTANTIATE_TEST_SUITE_P(Versions, TapOtherVersions,
                         ::testing::Values(uint8_t{3}, uint8_t{7}, uint8_t{128}, uint8_t{255}),
                         [](const ::testing::TestParamInfo<uint8_t> &param_info) {
                             return "Version" + std::to_string(param_info.param);
                         });

TEST(TapDecoding, C16TapFollowsTheTapRules)
{
    const auto pulses = decode(with_data(make_header("C16-TAPE-RAW", 1, 2, 0),
                                         {0x22, 0x00, 0x40, 0x1F, 0x00}));
    // 0x1F40 = 8000 cycles -> 1000 units.
    const std::vector<TapePulse> expected = {{20, 0x22, false, false}, {21, 1000, true, false}};
    EXPECT_EQ(pulses, expected);
}

TEST(TapDecoding, UnknownMagicIsReadByTapRules)
{
    const auto pulses = decode(with_data(make_header("JUNK-PULSES!", 0), {0x00, 0x07}));
    const std::vector<TapePulse> expected = {{20, 2500, true, false}, {21, 7, false, false}};
    EXPECT_EQ(pulses, expected);
}

TEST(TapDecoding, DataSizeFieldIsIgnored)
{
    Bytes file = with_data(make_header("C64-TAPE-RAW", 1), {0x11, 0x22, 0x33});
    file[16] = 1;  // claims one data byte
    const auto pulses = decode(file);
    const std::vector<TapePulse> expected = {
        {20, 0x11, false, false}, {21, 0x22, false, false}, {22, 0x33, false, false}};
    EXPECT_EQ(pulses, expected);
}

TEST(TapDecoding, HeaderOnlyOrShorterHasNoPulses)
{
    EXPECT_TRUE(decode(make_header("C64-TAPE-RAW", 1)).empty());
    Bytes short_file = make_header("C64-TAPE-RAW", 1);
    short_file.resize(12);
    EXPECT_TRUE(decode(short_file).empty());
    EXPECT_TRUE(decode_tape_pulses(nullptr, 100).empty());
}

// ---------------------------------------------------------------------------
// ZORV pulse decoding

TEST(ZorvDecoding, SamplesOnC64PalIgnoringTheHighNibble)
{
    // Byte 13 = 0x10: platform 0 (C64), PAL.
    const auto pulses = decode(with_data(make_header("ZORV-TAP-RAW", 1, 0x10, 0),
                                         {
                                             0xD0, 0x07,  // 20: 2000 -> 985 cycles -> 123
                                             0x01, 0x00,  // 22: 1 -> 0 cycles -> 1
                                             0x00, 0x01,  // 24: 256 -> 126 cycles -> 16
                                             0x00, 0x00,  // 26: 0 -> 0 cycles -> 1
                                         }));
    const std::vector<TapePulse> expected = {
        {20, 123, false, false},
        {22, 1, false, false},
        {24, 16, false, false},
        {26, 1, false, false},
    };
    EXPECT_EQ(pulses, expected);
}

TEST(ZorvDecoding, OverflowSampleContinuesIntoTheNext)
{
    const auto pulses = decode(with_data(make_header("ZORV-TAP-RAW", 1, 0, 0),
                                         {0xFF, 0xFF, 0xFF, 0xFF, 0xD0, 0x07, 0xFE, 0xFF}));
    // 0xFFFF -> 32284 cycles -> 4036 units; 0xFFFE -> 32284 cycles too.
    const std::vector<TapePulse> expected = {
        {20, 4036, false, true},
        {22, 4036, false, true},
        {24, 123, false, false},
        {26, 4036, false, false},
    };
    EXPECT_EQ(pulses, expected);
}

TEST(ZorvDecoding, OddTrailingByteIsASampleOnItsOwn)
{
    // Trailing 0x50 = 80 -> 39 cycles -> 5 units.
    const auto pulses = decode(with_data(make_header("ZORV-TAP-RAW", 1, 0, 0),
                                         {0xD0, 0x07, 0x50}));
    const std::vector<TapePulse> expected = {{20, 123, false, false}, {22, 5, false, false}};
    EXPECT_EQ(pulses, expected);
}

TEST(ZorvDecoding, OddTrailingAllOnesByteIsNoOverflowMark)
{
    // 0xFF = 255 -> (255 * 30789 + 31250) / 62500 = 126 cycles -> 16 units.
    const auto pulses = decode(with_data(make_header("ZORV-TAP-RAW", 1, 0, 0), {0xFF}));
    const std::vector<TapePulse> expected = {{20, 16, false, false}};
    EXPECT_EQ(pulses, expected);
}

TEST(ZorvDecoding, ZeroSampleIsNotALongForm)
{
    // A zero byte has no extra meaning in a dump.
    const auto pulses = decode(with_data(make_header("ZORV-TAP-RAW", 0, 0, 0),
                                         {0x00, 0x00, 0x00, 0x00}));
    const std::vector<TapePulse> expected = {{20, 1, false, false}, {22, 1, false, false}};
    EXPECT_EQ(pulses, expected);
}

TEST(ZorvDecoding, ConversionFollowsTheHeader)
{
    const Bytes samples = {0xD0, 0x07};
    auto one = [&samples](uint8_t platform, uint8_t video) {
        Bytes file = make_header("ZORV-TAP-RAW", 1, platform, video);
        file.insert(file.end(), samples.begin(), samples.end());
        const auto pulses = decode(file);
        return pulses.size() == 1 ? pulses[0].units : 0xDEADu;
    };
    // 2000 samples: C64 PAL 123, C64 NTSC 128, VIC PAL 139, VIC NTSC 128,
    // C16 PAL 111, C16 NTSC 112; unknown standards and platforms C64 PAL.
    EXPECT_EQ(one(0x00, 0), 123u);
    EXPECT_EQ(one(0x00, 1), 128u);
    EXPECT_EQ(one(0x21, 0), 139u);
    EXPECT_EQ(one(0x21, 1), 128u);
    EXPECT_EQ(one(0x21, 2), 123u);
    EXPECT_EQ(one(0x12, 0), 111u);
    EXPECT_EQ(one(0xF2, 1), 112u);
    EXPECT_EQ(one(0x02, 5), 123u);
    EXPECT_EQ(one(0x03, 1), 123u);
}

TEST(ZorvDecoding, HeaderOnlyHasNoPulses)
{
    EXPECT_TRUE(decode(make_header("ZORV-TAP-RAW", 1)).empty());
}

// ---------------------------------------------------------------------------
// Streaming walk

TEST(TapeWalk, VisitsTheSamePulsesInOrder)
{
    const Bytes file = with_data(make_header("C64-TAPE-RAW", 1),
                                 {0x30, 0x00, 0xFF, 0xFF, 0xFF, 0x00, 0x40, 0x00, 0x00, 0x2A});
    std::vector<TapePulse> seen;
    uint64_t total_units = 0;
    for_each_tape_pulse(file.data(), file.size(), [&](const TapePulse &p) {
        seen.push_back(p);
        total_units += p.units;
    });
    const std::vector<TapePulse> expected = {
        {20, 0x30, false, false},
        {21, 0x1FFFFF, true, true},
        {25, 8, true, false},  // 0x40 = 64 cycles
        {29, 42, false, false},
    };
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(total_units, 0x30u + 0x1FFFFFu + 8u + 42u);
    EXPECT_EQ(decode(file), expected);
}

// ---------------------------------------------------------------------------
// Data-size fix

TEST_F(TapeFiles, FixSizeOnAThousandByteFile)
{
    Bytes content(1000);
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<uint8_t>(i * 13 + 1);
    std::memcpy(content.data(), "C64-TAPE-RAW", 12);
    const std::string path = write_file("fix me.tap", content);

    FILE *f = g_fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(std::fseek(f, 123, SEEK_SET), 0);
    common_fix_tap_file_size_in_header(f);
    EXPECT_EQ(std::ftell(f), 1000);
    std::fclose(f);

    const Bytes after = read_file(path);
    ASSERT_EQ(after.size(), 1000u);
    EXPECT_EQ(after[16], 0xD4);
    EXPECT_EQ(after[17], 0x03);
    EXPECT_EQ(after[18], 0x00);
    EXPECT_EQ(after[19], 0x00);
    for (std::size_t i = 0; i < after.size(); ++i) {
        if (i < 16 || i > 19) {
            EXPECT_EQ(after[i], content[i]) << "byte " << i;
        }
    }
}

TEST_F(TapeFiles, FixSizeOnAHeaderOnlyFileWritesZero)
{
    Bytes content = make_header("C64-TAPE-RAW", 1);
    content[16] = 0x11;
    content[17] = 0x22;
    content[18] = 0x33;
    content[19] = 0x44;
    const std::string path = write_file("header only.tap", content);
    FILE *f = g_fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    common_fix_tap_file_size_in_header(f);
    EXPECT_EQ(std::ftell(f), 20);
    std::fclose(f);
    const Bytes after = read_file(path);
    ASSERT_EQ(after.size(), 20u);
    EXPECT_EQ(Bytes(after.begin() + 16, after.end()), (Bytes{0, 0, 0, 0}));
}

TEST_F(TapeFiles, FixSizeWritesAllFourBytesLeastSignificantFirst)
{
    // 70000 - 20 = 69980 = 0x0001115C.
    Bytes content = make_header("C16-TAPE-RAW", 2, 2, 1);
    content.resize(70000, 0x30);
    const std::string path = write_file("Zoë's long tape.tap", content);
    FILE *f = g_fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    common_fix_tap_file_size_in_header(f);
    EXPECT_EQ(std::ftell(f), 70000);
    std::fclose(f);
    const Bytes after = read_file(path);
    ASSERT_EQ(after.size(), 70000u);
    EXPECT_EQ(Bytes(after.begin() + 16, after.begin() + 20), (Bytes{0x5C, 0x11, 0x01, 0x00}));
    TapeImageInfo info{};
    std::memcpy(info.raw, after.data(), 20);
    EXPECT_EQ(info.data_size(), 69980u);
}

TEST_F(TapeFiles, FixSizeThenAppendingKeepsWritingAtTheEnd)
{
    Bytes content = make_header("C64-TAPE-RAW", 1);
    content.resize(30, 0x40);
    const std::string path = write_file("append.tap", content);
    FILE *f = g_fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    common_fix_tap_file_size_in_header(f);
    const uint8_t more[2] = {0x2F, 0x2F};
    ASSERT_EQ(std::fwrite(more, 1, 2, f), 2u);
    std::fclose(f);
    const Bytes after = read_file(path);
    ASSERT_EQ(after.size(), 32u);
    EXPECT_EQ(after[16], 10);  // the size at the time of the fix
    EXPECT_EQ(after[30], 0x2F);
    EXPECT_EQ(after[31], 0x2F);
}

TEST_F(TapeFiles, FixSizeLeavesAFileWithoutACompleteHeaderAlone)
{
    const Bytes content(10, 0x77);
    const std::string path = write_file("tiny.tap", content);
    FILE *f = g_fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    common_fix_tap_file_size_in_header(f);
    EXPECT_EQ(std::ftell(f), 10);
    std::fclose(f);
    EXPECT_EQ(read_file(path), content);
}

}  // namespace
