// The tape analysis's screen data on tapes of very long pulses (bounded by the
// longest pulse shown), its memory per file byte, and a comparison with a
// straightforward reading of the pulses on mixed tapes.
#include "core/cbmencode.h"
#include "core/pulsemap.h"
#include "core/tapimage.h"
#include "pulsemap_testing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace pulsemap_testing;

// Bytes the map's vectors hold, reserved room included.
std::size_t map_bytes(const PulseMap &map)
{
    return map.screen_data.capacity() * sizeof(uint16_t) + map.line_starts.capacity() * sizeof(uint64_t) +
           map.checkpoints.capacity() * sizeof(PulseCheckpoint);
}

// The map read the plain way from the decoded pulses: every pulse cut into
// 256-unit pieces and a rest, a run of continuing pulses shown up to 8192
// units in all, lines of 622 units.
struct ReferenceMap {
    std::vector<uint16_t> entries;
    std::vector<uint64_t> line_starts{0};
    std::vector<uint32_t> offset_lines;  // at every byte: the line of the pulse covering it
};

ReferenceMap reference_map(const std::vector<uint8_t> &file)
{
    ReferenceMap r;
    // Every byte from a pulse's first to the next pulse's gets its line.
    r.offset_lines.assign(file.size(), 0);
    uint32_t line = 0, sum = 0, shown = 0;
    bool previous_continues = false;
    auto emit = [&](uint16_t entry) {
        r.entries.push_back(entry);
        sum += entry & 0x3FFF;
        if (sum >= 622) {
            sum %= 622;
            ++line;
            r.line_starts.push_back(r.entries.size());
        }
    };
    // Pulses are filled from the last to the first so that each fill stops
    // at the next pulse; here the lines are collected first.
    std::vector<std::pair<uint64_t, uint32_t>> starts;
    for (const TapePulse &p : decode_tape_pulses(file.data(), file.size())) {
        starts.emplace_back(p.offset, line);
        const bool marked = previous_continues || p.continues || p.units >= 256 || (p.long_form && p.units > 0);
        if (!previous_continues)
            shown = 0;
        previous_continues = p.continues;
        if (!marked) {
            emit(static_cast<uint16_t>(p.units));
            continue;
        }
        const uint32_t left = std::min<uint32_t>(p.units, 8192 - shown);
        shown += left;
        std::vector<uint32_t> pieces(left / 256, 256);
        if (left % 256 != 0 || left == 0)
            pieces.push_back(left % 256);
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            const bool last = i + 1 == pieces.size() && !p.continues;
            emit(static_cast<uint16_t>(0x8000 | (last ? 0x4000 : 0) | pieces[i]));
        }
    }
    r.line_starts.push_back(r.entries.size());
    uint64_t end = file.size();
    for (auto it = starts.rbegin(); it != starts.rend(); ++it) {
        std::fill(r.offset_lines.begin() + it->first, r.offset_lines.begin() + end, it->second);
        end = it->first;
    }
    return r;
}

// Pseudo-random pulse data: mostly plain bytes, with zero bytes, 3-byte
// forms short and long, overflow marks alone and in runs.
std::vector<uint8_t> mixed_tap_data(uint32_t seed, std::size_t pulses)
{
    std::vector<uint8_t> data;
    uint32_t x = seed;
    auto next = [&x]() {
        x = x * 1664525u + 1013904223u;
        return x >> 8;
    };
    for (std::size_t i = 0; i < pulses; ++i) {
        const uint32_t kind = next() % 20;
        if (kind < 12) {
            data.push_back(static_cast<uint8_t>(next()));
        } else if (kind < 15) {
            const uint32_t runs = 1 + next() % 4;
            for (uint32_t k = 0; k < runs; ++k)
                data.insert(data.end(), {0x00, 0xFF, 0xFF, 0xFF});
        } else {
            const uint32_t cycles = kind < 18 ? next() % 0x20000 : next();
            data.insert(data.end(), {0x00, static_cast<uint8_t>(cycles), static_cast<uint8_t>(cycles >> 8),
                                     static_cast<uint8_t>(cycles >> 16)});
        }
    }
    data.resize(data.size() - next() % 4);  // may end inside a 3-byte form
    return data;
}

std::vector<uint16_t> mixed_samples(uint32_t seed, std::size_t count)
{
    std::vector<uint16_t> samples;
    uint32_t x = seed;
    for (std::size_t i = 0; i < count; ++i) {
        x = x * 1103515245u + 12345u;
        const uint32_t r = x >> 8;
        if (r % 8 == 0) {
            samples.insert(samples.end(), 1 + r % 7, 0xFFFF);
        } else {
            samples.push_back(static_cast<uint16_t>(r % 8 == 1 ? r : r % 1200));
        }
    }
    return samples;
}

void expect_matches_reference(const std::vector<uint8_t> &file)
{
    const PulseMap map = build(file);
    const ReferenceMap expected = reference_map(file);
    EXPECT_EQ(map.screen_data, expected.entries);
    EXPECT_EQ(map.line_starts, expected.line_starts);
    std::vector<uint32_t> lines(file.size());
    for (std::size_t offset = 0; offset < file.size(); ++offset)
        lines[offset] = static_cast<uint32_t>(pulse_map_line_of_offset(map, file.data(), file.size(), offset));
    EXPECT_EQ(lines, expected.offset_lines);
    EXPECT_EQ(map.num_lines, expected.line_starts.size());
    // Reserved from a bound read off the file: never grown by doubling.
    EXPECT_LE(map.screen_data.capacity(), map.screen_data.size() + map.screen_data.size() / 8 + 2);
    EXPECT_LE(map.line_starts.capacity(), map.line_starts.size() + map.line_starts.size() / 8 + 4096);
    EXPECT_EQ(map.checkpoints.size(), (file.size() - 20 + PULSE_BLOCK_BYTES - 1) / PULSE_BLOCK_BYTES);
    EXPECT_EQ(map.checkpoints.capacity(), map.checkpoints.size());
}

} // namespace

TEST(PulseMapBounds, MegabyteOfOverflowMarksStaysSmall)
{
    // 262144 overflow marks: one physical pulse. The first shows 8192 units
    // (32 pieces, 13 lines), every later one a marked 0 without bit 14.
    const std::size_t marks = 262144;
    std::vector<uint8_t> data;
    for (std::size_t i = 0; i < marks; ++i)
        data.insert(data.end(), {0x00, 0xFF, 0xFF, 0xFF});
    const std::vector<uint8_t> file = tap(1, data);
    const PulseMap map = build(file);

    EXPECT_EQ(map.screen_data, repeat(0x8100, 32, std::vector<uint16_t>(marks - 1, 0x8000)));
    EXPECT_EQ(map.num_lines, 15u);
    EXPECT_EQ(map.line_starts.size(), 15u);
    EXPECT_EQ(map.line_starts.back(), marks + 31);
    const std::vector<uint32_t> lines = offset_lines(file, map);
    EXPECT_EQ(lines[20], 0u);
    EXPECT_EQ(lines[24], 13u);
    EXPECT_EQ(lines[file.size() - 4], 13u);
    EXPECT_EQ(lines[file.size() - 3], NO_LINE);
    EXPECT_EQ(pulse_map_line_of_offset(map, file.data(), file.size(), file.size() - 3), 13u);
    // Half an entry per file byte and a checkpoint per block: nothing more.
    EXPECT_LE(map_bytes(map), 2 * file.size());
}

TEST(PulseMapBounds, ZorvRunOfOverflowSamplesStaysSmall)
{
    // C64 PAL: 0xFFFF is 4036 units (15 pieces and 196); two of them and 120
    // units of the third fill the 8192 shown; the rest are marked zeros, and
    // the closing 2000 sample (123 units) is the last, with bit 14.
    const std::size_t run = 524288;
    const std::vector<uint8_t> file = zorv(0, 0, repeat(0xFFFF, run, {2000}));
    const PulseMap map = build(file);

    std::vector<uint16_t> expected;
    for (int sample = 0; sample < 2; ++sample) {
        expected.insert(expected.end(), 15, 0x8100);
        expected.push_back(0x80C4);
    }
    expected.push_back(0x8078);
    expected.insert(expected.end(), run - 3, 0x8000);
    expected.push_back(0xC000);
    EXPECT_EQ(map.screen_data, expected);
    EXPECT_EQ(map.num_lines, 15u);
    EXPECT_EQ(offset_lines(file, map)[file.size() - 2], 13u);
    EXPECT_LE(map_bytes(map), 2 * file.size());
}

TEST(PulseMapBounds, PlainTapeNeedsFewBytesPerFileByte)
{
    std::vector<PrgInput> prgs(2);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        prgs[i].name = "PROGRAM " + std::to_string(i);
        prgs[i].bytes = {0x01, 0x08};
        for (int k = 0; k < 6000; ++k)
            prgs[i].bytes.push_back(static_cast<uint8_t>(k * 7 + i));
    }
    const std::vector<uint8_t> file = encode_tap(prgs, EncodeOptions());
    const PulseMap map = build(file);
    ASSERT_GT(map.screen_data.size(), file.size() / 2);
    // Entries about 2, lines below 1, checkpoints an eighth.
    EXPECT_LE(map_bytes(map), 4 * file.size());
    expect_matches_reference(file);
}

TEST(PulseMapBounds, MixedTapesMatchAStraightforwardReading)
{
    for (const uint8_t version : {0, 1, 2, 3}) {
        for (const uint32_t seed : {1u, 2u, 3u}) {
            SCOPED_TRACE(testing::Message() << "version " << int(version) << " seed " << seed);
            expect_matches_reference(tap(version, mixed_tap_data(seed * 31 + version, 3000)));
        }
    }
    for (const uint8_t platform : {0, 1, 2}) {
        SCOPED_TRACE(testing::Message() << "ZORV platform " << int(platform));
        expect_matches_reference(zorv(platform, 0, mixed_samples(platform + 5, 3000)));
        expect_matches_reference(zorv(platform, 1, mixed_samples(platform + 9, 3000), {0x42}));
    }
}
