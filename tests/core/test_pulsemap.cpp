// The tape analysis's screen data (entries, screen lines, offset index) and
// the view geometry.
#include "core/pulsemap.h"
#include "pulsemap_testing.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace pulsemap_testing;

// The offset index with NO_LINE everywhere but the given (offset, line) pairs.
std::vector<uint32_t> offsets(std::size_t size, const std::vector<std::pair<uint64_t, uint32_t>> &set)
{
    std::vector<uint32_t> v(size, NO_LINE);
    for (const auto &p : set)
        v[p.first] = p.second;
    return v;
}

const uint64_t NO = PULSE_MAP_NO_LINE;

} // namespace

TEST(PulseMap, VersionZeroZeroByteIsTenPiecesOverFiveLines)
{
    const std::vector<uint8_t> file = tap(0, {0x00});
    const PulseMap map = build(file);
    EXPECT_EQ(map.screen_data, repeat(0x8100, 9, {0xC0C4}));
    // 2500 = 4 x 622 + 12: lines 0 to 3 are complete, line 4 keeps 12 units
    // and holds no entry.
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 3, 5, 8, 10, 10}));
    EXPECT_EQ(map.num_lines, 6u);
    EXPECT_EQ(offset_lines(file, map), offsets(21, {{20, 0}}));
    for (const uint16_t e : map.screen_data)
        EXPECT_FALSE(pulse_entry_is_drawn(e));
    EXPECT_FALSE(map.zorv);
    EXPECT_EQ(map.version, 0);
}

TEST(PulseMap, PlainBytesFillLinesOf622Units)
{
    // 255 + 255 + 112 = 622 exactly: the next entry opens line 1 with sum 0.
    const std::vector<uint8_t> file = tap(1, {0xFF, 0xFF, 0x70, 0x10});
    const PulseMap map = build(file);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{255, 255, 112, 16}));
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 3, 4}));
    EXPECT_EQ(map.num_lines, 3u);
    EXPECT_EQ(offset_lines(file, map), offsets(24, {{20, 0}, {21, 0}, {22, 0}, {23, 1}}));
}

TEST(PulseMap, LineSumKeepsTheRemainder)
{
    // 200+200+250 = 650: line 1 from entry 3 with 28 units; 28+250+250+100 =
    // 628: line 2 from entry 6 (after the last entry) with 6 units.
    const std::vector<uint8_t> file = tap(1, {200, 200, 250, 250, 250, 100});
    const PulseMap map = build(file);
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 3, 6, 6}));
    EXPECT_EQ(map.num_lines, 4u);
    EXPECT_EQ(offset_lines(file, map), offsets(26, {{20, 0}, {21, 0}, {22, 0}, {23, 1}, {24, 1}, {25, 1}}));
}

TEST(PulseMap, HeaderOnlyAndShortFilesHaveOneEmptyLine)
{
    for (const std::size_t size : {std::size_t(0), std::size_t(10), std::size_t(20)}) {
        std::vector<uint8_t> file = tap(1, {});
        file.resize(size);
        const PulseMap map = build(file);
        EXPECT_TRUE(map.screen_data.empty());
        EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 0}));
        EXPECT_EQ(map.num_lines, 2u);
        EXPECT_EQ(offset_lines(file, map), std::vector<uint32_t>(size, NO_LINE));
    }
}

TEST(PulseMap, ThreeByteFormIsAlwaysMarked)
{
    // 0x000400 cycles = 128 units: one marked last piece; 2048 = 256 units:
    // 0xC100 alone; 2400 = 300 units: 256 + 44.
    const std::vector<uint8_t> file =
        tap(1, {0x00, 0x00, 0x04, 0x00, 0x20, 0x00, 0x00, 0x08, 0x00, 0x00, 0x60, 0x09, 0x00});
    const PulseMap map = build(file);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{0xC080, 0x0020, 0xC100, 0x8100, 0xC02C}));
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 4, 5}));
    EXPECT_EQ(offset_lines(file, map), offsets(33, {{20, 0}, {24, 0}, {25, 0}, {29, 0}}));
    EXPECT_EQ(map.num_lines, 3u);
}

TEST(PulseMap, ThreeByteFormOfZeroUnitsIsOnePlainZero)
{
    const std::vector<uint8_t> file = tap(1, {0x00, 0x07, 0x00, 0x00, 0x05});
    const PulseMap map = build(file);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{0x0000, 0x0005}));
    EXPECT_TRUE(pulse_entry_is_drawn(map.screen_data[0]));
    EXPECT_EQ(offset_lines(file, map), offsets(25, {{20, 0}, {24, 0}}));
}

TEST(PulseMap, VersionTwoReadsLikeVersionOne)
{
    const std::vector<uint8_t> data = {0x30, 0x00, 0x60, 0x09, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x04, 0x00};
    const std::vector<uint8_t> file_one = tap(1, data), file_two = tap(2, data);
    const PulseMap one = build(file_one);
    const PulseMap two = build(file_two);
    EXPECT_EQ(one.screen_data, two.screen_data);
    EXPECT_EQ(one.line_starts, two.line_starts);
    EXPECT_EQ(offset_lines(file_one, one), offset_lines(file_two, two));
    EXPECT_EQ(one.num_lines, two.num_lines);
}

TEST(PulseMap, OtherVersionsReadAZeroByteAsAPlainZero)
{
    const std::vector<uint8_t> file = tap(3, {0x00, 0x00, 0x04, 0x00});
    const PulseMap map = build(file);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{0, 0, 4, 0}));
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 4}));
    EXPECT_EQ(offset_lines(file, map), offsets(24, {{20, 0}, {21, 0}, {22, 0}, {23, 0}}));
}

TEST(PulseMap, OverflowMarkContinuesIntoTheNextPulse)
{
    // 0xFFFFFF: 0x1FFFFF units, shown as the longest 8192: 32 pieces of 256
    // without bit 14; the following 128-unit pulse is the last piece of the
    // same pulse, past the longest length: a marked 0 with bit 14.
    const std::vector<uint8_t> file = tap(1, {0x00, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x04, 0x00, 0x11});
    const PulseMap map = build(file);
    EXPECT_EQ(map.screen_data, repeat(0x8100, 32, {0xC000, 0x0011}));
    // A line closes after entry k when 256 k first reaches 622 j: 8192 =
    // 13 x 622 + 106, so the second pulse starts in line 13.
    EXPECT_EQ(offset_lines(file, map), offsets(29, {{20, 0}, {24, 13}, {28, 13}}));
    EXPECT_EQ(map.line_starts,
              (std::vector<uint64_t>{0, 3, 5, 8, 10, 13, 15, 18, 20, 22, 25, 27, 30, 32, 34}));
    EXPECT_EQ(map.num_lines, 15u);
}

TEST(PulseMap, PlainByteAfterAnOverflowMarkIsMarked)
{
    const PulseMap map = build(tap(1, {0x00, 0xFF, 0xFF, 0xFF, 0x30, 0x30}));
    EXPECT_EQ(map.screen_data, repeat(0x8100, 32, {0xC000, 0x0030}));
}

TEST(PulseMap, LongPulsesAreShownUpTo8192Units)
{
    // 65528 cycles = 8191 units: whole, 31 x 256 + 255.
    PulseMap map = build(tap(1, {0x00, 0xF8, 0xFF, 0x00}));
    EXPECT_EQ(map.screen_data, repeat(0x8100, 31, {0xC0FF}));
    // 65536 cycles = 8192 units: 32 pieces, the last with bit 14.
    map = build(tap(1, {0x00, 0x00, 0x00, 0x01}));
    EXPECT_EQ(map.screen_data, repeat(0x8100, 31, {0xC100}));
    // 8193 units and 0x7FFFFF cycles (over a million units) look the same.
    for (const std::vector<uint8_t> &data :
         {std::vector<uint8_t>{0x00, 0x08, 0x00, 0x01}, std::vector<uint8_t>{0x00, 0xFF, 0xFF, 0x7F}}) {
        map = build(tap(1, data));
        EXPECT_EQ(map.screen_data, repeat(0x8100, 31, {0xC100}));
        EXPECT_EQ(map.num_lines, 15u);  // 8192 = 13 x 622 + 106
    }
}

TEST(PulseMap, FileEndingInsideTheThreeByteForm)
{
    // Two of three bytes: 0x0240 = 576 cycles = 72 units.
    std::vector<uint8_t> file = tap(1, {0x10, 0x00, 0x40, 0x02});
    PulseMap map = build(file);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{0x0010, 0xC048}));
    EXPECT_EQ(offset_lines(file, map), offsets(24, {{20, 0}, {21, 0}}));
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 2}));

    // 0xFFFF of only two bytes is no overflow mark: 8191 units, 31 x 256 + 255.
    map = build(tap(2, {0x00, 0xFF, 0xFF}));
    EXPECT_EQ(map.screen_data, repeat(0x8100, 31, {0xC0FF}));

    // A zero byte at the very end: count 0, a plain zero.
    file = tap(1, {0x05, 0x00});
    map = build(file);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{0x0005, 0x0000}));
    EXPECT_EQ(offset_lines(file, map), offsets(22, {{20, 0}, {21, 0}}));
}

TEST(PulseMap, ZorvSamplesOverflowAndLoneLastByte)
{
    // C64 PAL (platform 0x20: the high nibble is ignored): 2000 -> 985 cycles
    // -> 123 units; 1 -> 0 cycles -> 1 unit; 0xFFFF -> 32284 cycles -> 4036
    // units, continuing; 2000 after it ends that pulse; 5000 -> 308 units;
    // 4150 -> 2044 cycles -> exactly 256 units; the lone byte 0x10 -> 1 unit.
    const std::vector<uint8_t> file = zorv(0x20, 0, {2000, 1, 0xFFFF, 2000, 5000, 4150}, {0x10});
    const PulseMap map = build(file);
    EXPECT_TRUE(map.zorv);
    EXPECT_EQ(map.platform, 0u);
    EXPECT_EQ(map.downsample, &downsample_c64_pal);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{0x007B, 0x0001, 0x8100, 0x8100, 0x8100, 0x8100, 0x8100,
                                                      0x8100, 0x8100, 0x8100, 0x8100, 0x8100, 0x8100, 0x8100,
                                                      0x8100, 0x8100, 0x8100, 0x80C4, 0xC07B, 0x8100, 0xC034,
                                                      0xC100, 0x0001}));
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 4, 7, 9, 12, 14, 17, 20, 23}));
    EXPECT_EQ(map.num_lines, 9u);
    EXPECT_EQ(offset_lines(file, map), offsets(33, {{20, 0}, {22, 0}, {24, 0}, {26, 6}, {28, 6}, {30, 7}, {32, 7}}));
}

TEST(PulseMap, ZorvConversionFollowsPlatformNibbleAndVideo)
{
    // Byte 13 = 0x21: VIC 20; PAL: 2000 -> 1108 cycles -> 139 units.
    PulseMap map = build(zorv(0x21, 0, {2000}));
    EXPECT_EQ(map.platform, 1u);
    EXPECT_EQ(map.downsample, &downsample_vic_pal);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{139}));

    map = build(zorv(0x02, 1, {2000}));
    EXPECT_EQ(map.downsample, &downsample_c16_ntsc);
    map = build(zorv(0x01, 7, {2000}));
    EXPECT_EQ(map.downsample, &downsample_c64_pal);
    map = build(zorv(0x00, 1, {2000}));
    EXPECT_EQ(map.downsample, &downsample_c64_ntsc);
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{static_cast<uint16_t>((downsample_c64_ntsc(2000) + 4) >> 3)}));

    // A TAP file takes the whole byte: 0x21 is platform 33, C64 PAL.
    std::vector<uint8_t> file = header("C64-TAPE-RAW", 1, 0x21, 0);
    file.push_back(0x30);
    map = build(file);
    EXPECT_FALSE(map.zorv);
    EXPECT_EQ(map.platform, 33u);
    EXPECT_EQ(map.downsample, &downsample_c64_pal);
}

TEST(PulseMap, AnyMagicButZorvIsReadAsTap)
{
    std::vector<uint8_t> file = header("NOT-A-TAPE!!", 0);
    file.insert(file.end(), {0x00, 0x40});
    const PulseMap map = build(file);
    EXPECT_FALSE(map.zorv);
    EXPECT_EQ(map.screen_data, repeat(0x8100, 9, {0xC0C4, 0x0040}));
}

TEST(PulseMap, LineOfOffset)
{
    const std::vector<uint8_t> file = tap(1, {0xFF, 0xFF, 0x70, 0x00, 0x00, 0x04, 0x00, 0x10});
    const PulseMap map = build(file);
    auto line_of = [&](uint64_t offset) { return pulse_map_line_of_offset(map, file.data(), file.size(), offset); };
    EXPECT_EQ(line_of(20), 0u);
    EXPECT_EQ(line_of(23), 1u);
    EXPECT_EQ(line_of(25), 1u);  // inside the 3-byte form
    EXPECT_EQ(line_of(27), 1u);
    EXPECT_EQ(line_of(5), 0u);  // inside the header
    EXPECT_EQ(line_of(28), NO);  // beyond the file
    EXPECT_EQ(line_of(1000), NO);
    EXPECT_EQ(pulse_map_line_of_offset(PulseMap{}, nullptr, 0, 0), NO);
    // Another file than the map's has no lines in it.
    const std::vector<uint8_t> longer = tap(1, std::vector<uint8_t>(50, 0x30));
    EXPECT_EQ(pulse_map_line_of_offset(map, longer.data(), longer.size(), 20), NO);
}

TEST(PulseMap, LineEntriesStopAtTheLastLine)
{
    const PulseMap map = build(tap(0, {0x00}));
    PulseLineEntries r = pulse_map_line_entries(map, 0);
    EXPECT_EQ(r.first, 0u);
    EXPECT_EQ(r.end, 3u);
    r = pulse_map_line_entries(map, 3);
    EXPECT_EQ(r.first, 8u);
    EXPECT_EQ(r.end, 10u);
    r = pulse_map_line_entries(map, 4);
    EXPECT_EQ(r.first, 10u);
    EXPECT_EQ(r.end, 10u);
    r = pulse_map_line_entries(map, 5);  // num_lines - 1: nothing stored
    EXPECT_EQ(r.first, r.end);
    r = pulse_map_line_entries(map, 99);
    EXPECT_EQ(r.first, r.end);
}

TEST(PulseMap, ParseFileLoadsAndReportsLoadFailure)
{
    gchar *made = g_dir_make_tmp("quillmarfe-pulses-XXXXXX", nullptr);
    const std::string dir = made;
    g_free(made);
    const std::string path = dir + "/tape l'\xc3\xa9t\xc3\xa9.tap";
    const std::vector<uint8_t> file = tap(0, {0x00});
    ASSERT_TRUE(g_file_set_contents(path.c_str(), reinterpret_cast<const char *>(file.data()),
                                    gssize(file.size()), nullptr));
    std::vector<uint8_t> data;
    PulseMap map;
    std::string error;
    EXPECT_TRUE(pulse_map_parse_file(path, data, map, error));
    EXPECT_EQ(data, file);
    EXPECT_EQ(map.screen_data.size(), 10u);

    const std::string missing = dir + "/missing.tap";
    EXPECT_FALSE(pulse_map_parse_file(missing, data, map, error));
    EXPECT_EQ(error.rfind("Could not load data from file '" + missing + "':\n\n", 0), 0u) << error;
    EXPECT_GT(error.size(), ("Could not load data from file '" + missing + "':\n\n").size());
    EXPECT_TRUE(data.empty());
    EXPECT_TRUE(map.screen_data.empty());
    g_remove(path.c_str());
    g_rmdir(dir.c_str());
}

TEST(PulseMap, RebuildReplacesEverything)
{
    PulseMap map = build(tap(0, {0x00}));
    std::string error;
    const std::vector<uint8_t> file = tap(1, {0x40});
    ASSERT_TRUE(pulse_map_build(file.data(), file.size(), map, error));
    EXPECT_EQ(map.screen_data, (std::vector<uint16_t>{0x40}));
    EXPECT_EQ(map.line_starts, (std::vector<uint64_t>{0, 1}));
    EXPECT_EQ(map.num_lines, 2u);
}

TEST(PulseView, ClampFirstLine)
{
    // Fits: unchanged.
    EXPECT_EQ(pulse_view_clamp_first_line(10, 1000, 300), 10);
    EXPECT_EQ(pulse_view_clamp_first_line(700, 1000, 300), 700);
    // Too far: num_lines - 1 - capacity.
    EXPECT_EQ(pulse_view_clamp_first_line(701, 1000, 300), 699);
    // Fewer lines than the area holds: 0.
    EXPECT_EQ(pulse_view_clamp_first_line(5, 301, 300), 0);
    EXPECT_EQ(pulse_view_clamp_first_line(5, 6, 300), 0);
    EXPECT_EQ(pulse_view_clamp_first_line(5, 302, 300), 1);
}

TEST(PulseView, LinesEndAndCapacity)
{
    EXPECT_EQ(pulse_view_lines_end(0, 6, 300), 6u);
    EXPECT_EQ(pulse_view_lines_end(100, 1000, 300), 400u);
    EXPECT_EQ(pulse_view_capacity(PulseLayout::Vertical, 640, 480), 480);
    EXPECT_EQ(pulse_view_capacity(PulseLayout::Horizontal, 640, 480), 640);
}

TEST(PulseView, AdjustmentAndWheel)
{
    const PulseViewAdjustment a = pulse_view_adjustment(120, 1000, 300);
    EXPECT_EQ(a.lower, 0);
    EXPECT_EQ(a.value, 120);
    EXPECT_EQ(a.upper, 999);
    EXPECT_EQ(a.page_size, 300);
    EXPECT_EQ(a.page_increment, 300);
    EXPECT_EQ(pulse_view_wheel_value(a, true), 70);
    EXPECT_EQ(pulse_view_wheel_value(a, false), 170);

    PulseViewAdjustment b = a;
    b.value = 20;
    EXPECT_EQ(pulse_view_wheel_value(b, true), 0);
    b.value = 680;
    EXPECT_EQ(pulse_view_wheel_value(b, false), 699);
}

TEST(PulseView, WholePageScrollRedrawsSmallerMovesTheImage)
{
    EXPECT_TRUE(pulse_view_scroll_is_incremental(1, 300));
    EXPECT_TRUE(pulse_view_scroll_is_incremental(-299, 300));
    EXPECT_FALSE(pulse_view_scroll_is_incremental(300, 300));
    EXPECT_FALSE(pulse_view_scroll_is_incremental(-300, 300));
    EXPECT_FALSE(pulse_view_scroll_is_incremental(5000, 300));

    PulseViewBand band = pulse_view_exposed_band(150, 50, 300);
    EXPECT_EQ(band.position, 250);
    EXPECT_EQ(band.count, 50);
    EXPECT_EQ(band.first_line, 400);
    band = pulse_view_exposed_band(100, -50, 300);
    EXPECT_EQ(band.position, 0);
    EXPECT_EQ(band.count, 50);
    EXPECT_EQ(band.first_line, 100);
    band = pulse_view_exposed_band(100, 0, 300);
    EXPECT_EQ(band.count, 0);
}

TEST(PulseView, DotsInBothLayouts)
{
    PulseDot d = pulse_view_dot(PulseLayout::Vertical, 7, 48, 400);
    EXPECT_EQ(d.x0, 96);
    EXPECT_EQ(d.x1, 97);
    EXPECT_EQ(d.y0, 7);
    EXPECT_EQ(d.y1, 7);
    d = pulse_view_dot(PulseLayout::Horizontal, 7, 48, 400);
    EXPECT_EQ(d.x0, 7);
    EXPECT_EQ(d.x1, 7);
    EXPECT_EQ(d.y0, 304);
    EXPECT_EQ(d.y1, 303);
    d = pulse_view_dot(PulseLayout::Horizontal, 0, 0, 400);
    EXPECT_EQ(d.y0, 400);
    EXPECT_EQ(d.y1, 399);
    EXPECT_EQ(pulse_view_snapshot_label(42), "analysis_y=42");
}
