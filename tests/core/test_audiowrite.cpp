// Tests of the audio recording of a tape: AU and WAV headers field by field,
// every sample the mean of the wave over its span (an edge between two
// sample instants gives its sample a value in between), silent pauses,
// square and sine waves, and the length of a whole encoded tape.
#include "core/audiowrite.h"

#include "core/cbmencode.h"
#include "core/tapescan.h"
#include "core/tapewrite.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int16_t>;

TapeScan scan(const Bytes &f) { return scan_tape(f.data(), f.size()); }

uint32_t be32(const Bytes &b, std::size_t at)
{
    return (uint32_t(b[at]) << 24) | (uint32_t(b[at + 1]) << 16) | (uint32_t(b[at + 2]) << 8) | uint32_t(b[at + 3]);
}

uint32_t le32(const Bytes &b, std::size_t at)
{
    return uint32_t(b[at]) | (uint32_t(b[at + 1]) << 8) | (uint32_t(b[at + 2]) << 16) | (uint32_t(b[at + 3]) << 24);
}

unsigned le16(const Bytes &b, std::size_t at) { return unsigned(b[at]) | (unsigned(b[at + 1]) << 8); }

std::string tag(const Bytes &b, std::size_t at) { return std::string(b.begin() + long(at), b.begin() + long(at) + 4); }

// C64 PAL, version 1: S, M, L, one second of silence (985,248 cycles = $0F08A0), S.
Bytes hand_tape(bool vic20 = false)
{
    Bytes f = tap_file_header(1, vic20, false, 0);
    const Bytes data = {0x30, 0x42, 0x56, 0x00, 0xA0, 0x08, 0x0F, 0x30};
    f.insert(f.end(), data.begin(), data.end());
    tap_fix_data_size(f);
    return f;
}

// Runs of equal samples: value and count.
struct SampleRun {
    int16_t value;
    std::size_t count;
    bool operator==(const SampleRun &o) const { return value == o.value && count == o.count; }
};

std::vector<SampleRun> runs_of(const Samples &s)
{
    std::vector<SampleRun> runs;
    for (int16_t v : s) {
        if (!runs.empty() && runs.back().value == v)
            ++runs.back().count;
        else
            runs.push_back(SampleRun{v, 1});
    }
    return runs;
}

constexpr int16_t HI = 30000, LO = -30000;

// The hand tape's samples. Edges in samples, cycles x 44100 / 985248:
// S 0, 8.594, 17.188; M 29.005, 40.821; L 56.219, 71.616; silence to
// 44171.616; S 44180.210, 44188.804. The pause opens with a high half as
// long as L's (to 87.014), which gives L its closing edge. Sample k stands
// for [k - 0.5, k + 0.5): the one an edge falls in is 30000 x (share before -
// share after), e.g. sample 9: 30000 x (0.094 - 0.906) = -24361; the last one
// whose span ends within the tape is 44188.
const std::vector<SampleRun> HAND_SQUARE = {
    {HI, 9},  {-24361, 1}, {LO, 7},  {-11277, 1}, {HI, 11}, {281, 1},   {LO, 11},   {10716, 1}, {HI, 14},
    {13137, 1}, {LO, 15},  {23011, 1}, {HI, 14}, {15421, 1}, {0, 44084}, {26505, 1}, {HI, 7}, {12628, 1}, {LO, 8}};
constexpr std::size_t HAND_SAMPLES = 44189;

} // namespace

TEST(AudioWrite, SquareWaveEdgesByHand)
{
    const Samples s = render_samples(scan(hand_tape()), false);
    ASSERT_EQ(s.size(), HAND_SAMPLES);
    EXPECT_EQ(runs_of(s), HAND_SQUARE);
}

TEST(AudioWrite, SineWaveByHand)
{
    const Samples s = render_samples(scan(hand_tape()), true);
    ASSERT_EQ(s.size(), HAND_SAMPLES);
    // The first pulse lasts L = 17.1875 samples: sample k is the mean of
    // 30000 x sin(w t), w = 2 pi / L, over [k - 0.5, k + 0.5), which is
    // 30000 x 2 sin(w k) sin(w / 2) / w (the wave reaching back before the
    // start, so sample 0 is 0).
    const Samples first = {0,      10664,  19920,  26542,  29658,  28853,  24236,  16416,  6427,
                           -4412, -14667, -22985, -28265, -29810, -27415, -21397, -12552};
    EXPECT_EQ(Samples(s.begin(), s.begin() + 17), first);
    // The pause opens with the closing half wave (a positive half of a sine
    // as long as L's halves), then is silent, in sine waves too.
    for (std::size_t k = 73; k < 87; ++k)
        ASSERT_GT(s[k], 0) << k;
    for (std::size_t k = 88; k < 44172; ++k)
        ASSERT_EQ(s[k], 0) << k;
    EXPECT_NE(s[44172], 0);
    EXPECT_NE(s, render_samples(scan(hand_tape()), false));
}

TEST(AudioWrite, AuHeaderAndBigEndianSamples)
{
    const Bytes au = render_audio(scan(hand_tape()), AudioFormat::Au, false);
    ASSERT_EQ(au.size(), 24 + 2 * HAND_SAMPLES);
    EXPECT_EQ(tag(au, 0), ".snd");
    EXPECT_EQ(be32(au, 4), 24u);                // data offset
    EXPECT_EQ(be32(au, 8), 2 * HAND_SAMPLES);   // data size: 88,378
    EXPECT_EQ(be32(au, 12), 3u);                // 16-bit linear PCM
    EXPECT_EQ(be32(au, 16), 44100u);
    EXPECT_EQ(be32(au, 20), 1u);                // channels
    // +30000 = $7530, -30000 = $8AD0, most significant byte first.
    EXPECT_EQ(au[24], 0x75);
    EXPECT_EQ(au[25], 0x30);
    EXPECT_EQ(au[24 + 2 * 10], 0x8A);
    EXPECT_EQ(au[24 + 2 * 10 + 1], 0xD0);
    // -24361 = $A0D7, the sample the first edge falls in.
    EXPECT_EQ(au[24 + 2 * 9], 0xA0);
    EXPECT_EQ(au[24 + 2 * 9 + 1], 0xD7);
    EXPECT_EQ(au[24 + 2 * 100], 0x00);
    EXPECT_EQ(au[24 + 2 * 100 + 1], 0x00);
}

TEST(AudioWrite, WavHeaderAndLittleEndianSamples)
{
    const Bytes wav = render_audio(scan(hand_tape()), AudioFormat::Wav, false);
    ASSERT_EQ(wav.size(), 44 + 2 * HAND_SAMPLES);
    EXPECT_EQ(tag(wav, 0), "RIFF");
    EXPECT_EQ(le32(wav, 4), 36 + 2 * HAND_SAMPLES);  // 88,414
    EXPECT_EQ(tag(wav, 8), "WAVE");
    EXPECT_EQ(tag(wav, 12), "fmt ");
    EXPECT_EQ(le32(wav, 16), 16u);
    EXPECT_EQ(le16(wav, 20), 1u);       // PCM
    EXPECT_EQ(le16(wav, 22), 1u);       // channels
    EXPECT_EQ(le32(wav, 24), 44100u);   // sample rate
    EXPECT_EQ(le32(wav, 28), 88200u);   // bytes per second
    EXPECT_EQ(le16(wav, 32), 2u);       // block align
    EXPECT_EQ(le16(wav, 34), 16u);      // bits per sample
    EXPECT_EQ(tag(wav, 36), "data");
    EXPECT_EQ(le32(wav, 40), 2 * HAND_SAMPLES);
    EXPECT_EQ(wav[44], 0x30);
    EXPECT_EQ(wav[45], 0x75);
    EXPECT_EQ(wav[44 + 2 * 10], 0xD0);
    EXPECT_EQ(wav[44 + 2 * 10 + 1], 0x8A);
    EXPECT_EQ(wav[44 + 2 * 9], 0xD7);
    EXPECT_EQ(wav[44 + 2 * 9 + 1], 0xA0);
}

TEST(AudioWrite, FormatsHoldTheSameSamples)
{
    const TapeScan s = scan(hand_tape());
    for (bool sine : {false, true}) {
        const Samples samples = render_samples(s, sine);
        const Bytes au = render_audio(s, AudioFormat::Au, sine);
        const Bytes wav = render_audio(s, AudioFormat::Wav, sine);
        for (std::size_t k = 0; k < samples.size(); ++k) {
            const uint16_t u = uint16_t(samples[k]);
            ASSERT_EQ(au[24 + 2 * k], u >> 8) << k;
            ASSERT_EQ(au[24 + 2 * k + 1], u & 0xFF) << k;
            ASSERT_EQ(wav[44 + 2 * k], u & 0xFF) << k;
            ASSERT_EQ(wav[44 + 2 * k + 1], u >> 8) << k;
        }
    }
}

TEST(AudioWrite, ClockOfThePlatform)
{
    // VIC 20 PAL (1,108,416 Hz), edges at cycles x 44100 / 1108416 samples:
    // S 7.640, 15.279; M 25.783, 36.287; L 49.973, 63.659; silence to
    // 39263.228; S 39270.867, 39278.506; the closing half of L to 77.345.
    const Samples s = render_samples(scan(hand_tape(true)), false);
    const std::vector<SampleRun> expected = {
        {HI, 8},  {-21659, 1}, {LO, 6},  {-16681, 1}, {HI, 10}, {-13101, 1}, {LO, 9},   {-17118, 1}, {HI, 13},
        {-1689, 1}, {LO, 13},  {20495, 1}, {HI, 12}, {25349, 1}, {0, 39185}, {7979, 1}, {HI, 7},   {-7618, 1}, {LO, 7}};
    EXPECT_EQ(runs_of(s), expected);
}

TEST(AudioWrite, WholeTapeLastsAsLongAsItsPulses)
{
    PrgInput p;
    p.name = "TUNE";
    p.bytes = {0x01, 0x08};
    for (int i = 0; i < 2000; ++i)
        p.bytes.push_back(uint8_t(i * 7));
    EncodeOptions o;
    o.pause_seconds = 1.5;
    const Bytes tap = encode_tap({p, p}, o);
    const TapeScan s = scan(tap);

    double seconds = 0;
    for (std::size_t i = 0; i < s.pulses.size(); ++i)
        seconds += s.pulses.units(i) * 8.0 / 985248.0;
    for (bool sine : {false, true}) {
        const Samples samples = render_samples(s, sine);
        EXPECT_NEAR(double(samples.size()), seconds * 44100.0, 44.0);
        std::size_t zeros = 0, loud = 0;
        for (int16_t v : samples) {
            ASSERT_LE(std::abs(int(v)), 30000);
            zeros += v == 0;
            loud += std::abs(int(v)) > 20000;
        }
        // Silence: two 328,088-cycle pauses and 1.5 s between the programs.
        const double silence = (2 * 328088 + 1477872) * 44100.0 / 985248.0;
        EXPECT_GE(double(zeros), silence - 3);
        EXPECT_GT(loud, samples.size() / 3);
        if (!sine) {
            // Levels in between only where an edge falls within the sample.
            for (std::size_t k = 1; k + 1 < samples.size(); ++k) {
                if (samples[k] != 0 && samples[k] != HI && samples[k] != LO) {
                    ASSERT_NE(samples[k - 1], samples[k + 1]) << k;
                }
            }
        }
        const Bytes wav = render_audio(s, AudioFormat::Wav, sine);
        EXPECT_EQ(wav.size(), 44 + 2 * samples.size());
        EXPECT_EQ(le32(wav, 40), 2 * samples.size());
    }
    EXPECT_NE(render_samples(s, true), render_samples(s, false));
}

TEST(AudioWrite, OverflowedPauseIsSilentAndWhole)
{
    // $FFFFFF continues into the S after it: (2,097,151 + 48) x 8 cycles of silence.
    Bytes f = tap_file_header(1, false, false, 0);
    const Bytes data = {0x30, 0x00, 0xFF, 0xFF, 0xFF, 0x30, 0x30};
    f.insert(f.end(), data.begin(), data.end());
    tap_fix_data_size(f);
    const Samples s = render_samples(scan(f), false);
    // Edges in samples: 8.594, 17.188, the closing half to 25.782; 384 +
    // 16,777,592 = 16,777,976 cycles -> 750,986.688; + 192 -> 750,995.282;
    // + 384 -> 751,003.876.
    const std::vector<SampleRun> expected = {{HI, 9}, {-24361, 1}, {LO, 7}, {-11277, 1}, {HI, 8}, {8458, 1}, {0, 750960},
                                             {5810, 1}, {HI, 8},      {-5981, 1}, {LO, 7}};
    EXPECT_EQ(runs_of(s), expected);
}

TEST(AudioWrite, NotATapeGivesNothing)
{
    const Bytes junk(30, 0x20);
    EXPECT_TRUE(render_audio(scan(junk), AudioFormat::Au, false).empty());
    EXPECT_TRUE(render_audio(scan(junk), AudioFormat::Wav, true).empty());
    EXPECT_TRUE(render_samples(scan(junk), false).empty());
}

TEST(AudioWrite, EmptyTapeIsAHeaderOnly)
{
    const Bytes f = tap_file_header(1, false, false, 0);
    const Bytes au = render_audio(scan(f), AudioFormat::Au, false);
    ASSERT_EQ(au.size(), 24u);
    EXPECT_EQ(be32(au, 8), 0u);
    const Bytes wav = render_audio(scan(f), AudioFormat::Wav, false);
    ASSERT_EQ(wav.size(), 44u);
    EXPECT_EQ(le32(wav, 4), 36u);
    EXPECT_EQ(le32(wav, 40), 0u);
}

TEST(AudioWrite, VersionTwoPulsesAreAlternatingHalfWaves)
{
    // C16 PAL half-waves of 40, 40 and 80 units, one second of silence,
    // then 40 again: a square half each, + and - in turn, + after the pause.
    Bytes f = tap_file_header(1, false, false, 0);
    f[TAP_OFFSET_VERSION] = 2;
    f[TAP_OFFSET_PLATFORM] = 2;
    const Bytes data = {40, 40, 80, 0x00, 0x00, 0x00, 0x01, 40};
    f.insert(f.end(), data.begin(), data.end());
    tap_fix_data_size(f);
    const TapeScan s = scan(f);
    const uint64_t clock = tape_clock_hz(s);
    const Samples square = render_samples(s, false);
    // The runs at the three levels, leaving out the samples edges fall in.
    Samples levels;
    for (int16_t v : square)
        if (v == 0 || v == HI || v == LO)
            levels.push_back(v);
    EXPECT_LE(square.size() - levels.size(), 5u);
    const std::vector<SampleRun> runs = runs_of(levels);
    ASSERT_EQ(runs.size(), 5u);
    EXPECT_EQ(runs[0].value, HI);
    EXPECT_EQ(runs[1].value, LO);
    EXPECT_EQ(runs[2].value, HI);
    EXPECT_EQ(runs[3].value, 0);
    EXPECT_EQ(runs[4].value, HI);
    // 40 units = 320 cycles at the C16's clock.
    EXPECT_NEAR(double(runs[0].count), 320.0 * 44100 / clock, 1.0);
    EXPECT_NEAR(double(runs[2].count), 640.0 * 44100 / clock, 1.0);
    // Sine halves: the second is the first turned over.
    const Samples sine = render_samples(s, true);
    ASSERT_EQ(sine.size(), square.size());
    for (std::size_t k = 1; k < runs[0].count; ++k) { // sample 0 straddles the start: 0
        EXPECT_GT(sine[k], 0) << k;
        EXPECT_LT(sine[runs[0].count + k], 0) << k;
    }
}
