// The pulse histogram and the file speeds, on tapes made by the KERNAL
// encoder and then played too fast or too slow (every pulse scaled).
#include "core/cbmencode.h"
#include "core/pulsestats.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

std::vector<uint8_t> two_programs()
{
    std::vector<uint8_t> a = {0x01, 0x08}, b = {0x00, 0xC0};
    for (int i = 0; i < 500; ++i)
        a.push_back(static_cast<uint8_t>(i * 7));
    for (int i = 0; i < 200; ++i)
        b.push_back(static_cast<uint8_t>(i * 13));
    return encode_tap({{a, "FIRST"}, {b, "SECOND"}}, EncodeOptions());
}

// Every ordinary pulse multiplied by `factor` (a tape played at 1/factor
// speed); long pulses (a zero byte and three more) kept.
std::vector<uint8_t> scaled(std::vector<uint8_t> tap, double factor)
{
    for (std::size_t i = 20; i < tap.size();) {
        if (tap[i] == 0) {
            i += 4;
            continue;
        }
        tap[i] = static_cast<uint8_t>(std::lround(tap[i] * factor));
        ++i;
    }
    return tap;
}

TEST(PulseStats, TheHistogramCountsEveryPulseOfTheTape)
{
    const std::vector<uint8_t> tap = two_programs();
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    ASSERT_TRUE(scan.ok);
    // Counted here from the file's bytes, independently of the scan.
    std::array<uint64_t, 256> expected{};
    uint64_t longs = 0;
    for (std::size_t i = 20; i < tap.size();) {
        if (tap[i] == 0) {
            ++longs;
            i += 4;
        } else {
            ++expected[tap[i++]];
        }
    }
    const PulseHistogram h = pulse_histogram(scan);
    EXPECT_EQ(h.counts, expected);
    EXPECT_EQ(h.longer, longs);
    // The three KERNAL lengths, and nothing else, are the ideals.
    EXPECT_EQ(h.ideals, (std::vector<uint8_t>{0x30, 0x42, 0x56}));
    EXPECT_GT(h.counts[0x30], 1000u);
}

TEST(PulseStats, TheHistogramOfOneEntryCountsItsPulsesOnly)
{
    const std::vector<uint8_t> tap = two_programs();
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    ASSERT_GT(scan.entries.size(), 2u);
    const PulseHistogram h = pulse_histogram(scan, 0);
    uint64_t total = h.longer;
    for (uint64_t c : h.counts)
        total += c;
    EXPECT_EQ(total, scan.entries[0].pulse_count);
}

TEST(PulseStats, AnIdealTapePlaysAtItsSpeed)
{
    const std::vector<uint8_t> tap = two_programs();
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    const std::vector<FileSpeed> speeds = tape_speeds(scan);
    ASSERT_EQ(speeds.size(), 8u); // two programs: header and data, twice each
    for (const FileSpeed &s : speeds) {
        EXPECT_NEAR(s.percent, 0.0, 0.01) << s.type;
        EXPECT_EQ(s.pulses, SPEED_LEADER_PULSES);
    }
}

TEST(PulseStats, ATapeFivePercentFastOrSlowSaysSo)
{
    for (const double speed : {1.05, 0.95}) {
        const std::vector<uint8_t> tap = scaled(two_programs(), 1 / speed);
        const TapeScan scan = scan_tape(tap.data(), tap.size());
        const std::vector<FileSpeed> speeds = tape_speeds(scan);
        ASSERT_EQ(speeds.size(), 8u) << speed;
        for (const FileSpeed &s : speeds)
            // Pulses are whole units: 48 / 1.05 rounds to 46, 4.3 % - the
            // measurement can be no finer than the tape.
            EXPECT_NEAR(s.percent, (speed - 1) * 100, 1.0) << speed << " " << s.type;
    }
}

} // namespace
