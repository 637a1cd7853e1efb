// Tests of the TAP writers: cleaning (ideal pulses for recognised files, one
// long pulse per pause, unrecognised pulses kept, the trailing silence) and
// conversion between TAP versions 0 and 1, on tapes made by the encoder and
// jittered, rescaled, damaged or turned into ZORV dumps.
#include "core/tapewrite.h"

#include "core/cbmencode.h"
#include "core/cbmscan.h"
#include "core/tapescan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

PrgInput prg(uint16_t load, std::size_t size, const std::string &name, uint8_t seed)
{
    PrgInput p;
    p.name = name;
    p.bytes.push_back(uint8_t(load & 0xFF));
    p.bytes.push_back(uint8_t(load >> 8));
    uint32_t x = seed * 2654435761u + 1;
    for (std::size_t i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        p.bytes.push_back(uint8_t(x >> 16));
    }
    return p;
}

std::vector<PrgInput> two_programs()
{
    return {prg(0x0801, 300, "first one", 1), prg(0xC000, 1000, "SECOND", 2)};
}

EncodeOptions encoding(int version, bool vic20 = false, bool ntsc = false)
{
    EncodeOptions o;
    o.tap_version = version;
    o.vic20 = vic20;
    o.ntsc = ntsc;
    return o;
}

TapeScan scan(const Bytes &f) { return scan_tape(f.data(), f.size()); }

std::vector<const TapeEntry *> files_of(const TapeScan &s)
{
    std::vector<const TapeEntry *> v;
    for (const TapeEntry &e : s.entries)
        if (e.kind == EntryKind::File)
            v.push_back(&e);
    return v;
}

uint32_t le32(const Bytes &b, std::size_t at)
{
    return uint32_t(b[at]) | (uint32_t(b[at + 1]) << 8) | (uint32_t(b[at + 2]) << 16) | (uint32_t(b[at + 3]) << 24);
}

// A TAP file: the encoder's header for the version, then the data bytes.
Bytes tap_of(int version, const Bytes &data)
{
    Bytes f = tap_file_header(version, false, false, 0);
    f.insert(f.end(), data.begin(), data.end());
    tap_fix_data_size(f);
    return f;
}

// A version 1 long pulse of `cycles` cycles.
Bytes long_pulse(uint32_t cycles)
{
    return {0, uint8_t(cycles & 0xFF), uint8_t((cycles >> 8) & 0xFF), uint8_t(cycles >> 16)};
}

Bytes join(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

Bytes data_part(const Bytes &f) { return Bytes(f.begin() + TAP_HEADER_SIZE, f.end()); }

// Applies f to every pulse written as a data byte (not the zero-byte forms).
template <class F>
Bytes map_pulses(const Bytes &tap, F f)
{
    Bytes out = tap;
    for_each_tape_pulse(tap.data(), tap.size(), [&](const TapePulse &p) {
        if (!p.long_form && p.units != 0)
            out[p.offset] = uint8_t(std::min(255, std::max(1, f(int(p.units)))));
    });
    return out;
}

Bytes scaled(const Bytes &tap, double factor)
{
    return map_pulses(tap, [factor](int u) { return int(std::lround(u * factor)); });
}

Bytes jittered(const Bytes &tap, int amount, uint32_t seed = 12345)
{
    uint32_t x = seed;
    return map_pulses(tap, [&](int u) {
        x = x * 1664525u + 1013904223u;
        return u + int((x >> 16) % uint32_t(2 * amount + 1)) - amount;
    });
}

// ZORV samples for a pulse of `cycles` C64 PAL cycles: the inverse of downsample_c64_pal.
void zorv_append(Bytes &out, uint64_t cycles)
{
    uint64_t samples = (cycles * 62500 + 15394) / 30789;
    while (samples >= ZORV_OVERFLOW_SAMPLE) {
        out.push_back(0xFF);
        out.push_back(0xFF);
        samples -= ZORV_OVERFLOW_SAMPLE;
    }
    if (samples == 0)
        samples = 1;
    out.push_back(uint8_t(samples & 0xFF));
    out.push_back(uint8_t(samples >> 8));
}

Bytes zorv_from_tap(const Bytes &tap)
{
    Bytes out(tap.begin(), tap.begin() + TAP_HEADER_SIZE);
    std::memcpy(out.data(), TAP_MAGIC_ZORV, TAP_MAGIC_SIZE);
    out[TAP_OFFSET_VERSION] = 1;
    out[TAP_OFFSET_PLATFORM] = 0x50;  // high nibble ignored: platform 0
    out[TAP_OFFSET_RESERVED] = 0x77;
    for (const TapePulse &p : decode_tape_pulses(tap.data(), tap.size()))
        zorv_append(out, uint64_t(p.units) * 8);
    tap_fix_data_size(out);
    return out;
}

void expect_size_field(const Bytes &f)
{
    ASSERT_GE(f.size(), TAP_HEADER_SIZE);
    EXPECT_EQ(le32(f, TAP_OFFSET_DATA_SIZE), f.size() - TAP_HEADER_SIZE);
}

// The recognised files of two scans are the same: payloads, CRCs, checkbytes, copies.
void expect_same_files(const TapeScan &a, const TapeScan &b)
{
    const auto fa = files_of(a), fb = files_of(b);
    ASSERT_EQ(fa.size(), fb.size());
    for (std::size_t i = 0; i < fa.size(); ++i) {
        SCOPED_TRACE("file " + std::to_string(i));
        EXPECT_EQ(fa[i]->type, fb[i]->type);
        EXPECT_EQ(fa[i]->copy, fb[i]->copy);
        EXPECT_EQ(fa[i]->payload, fb[i]->payload);
        EXPECT_EQ(fa[i]->crc32, fb[i]->crc32);
        EXPECT_EQ(fa[i]->checkbyte_on_tape, fb[i]->checkbyte_on_tape);
        EXPECT_EQ(fa[i]->checkbyte_computed, fb[i]->checkbyte_computed);
        EXPECT_EQ(fa[i]->checkbyte_pass, fb[i]->checkbyte_pass);
        EXPECT_EQ(fa[i]->load_address, fb[i]->load_address);
        EXPECT_EQ(fa[i]->end_address, fb[i]->end_address);
    }
}

// Every pulse of every recognised file in `f` is exactly the ideal value of its class.
void expect_ideal_files(const Bytes &f, const CbmPulseSet &p)
{
    const TapeScan s = scan(f);
    ASSERT_TRUE(s.ok);
    for (const TapeEntry &e : s.entries) {
        if (e.kind != EntryKind::File)
            continue;
        for (std::size_t i = e.first_pulse; i < e.first_pulse + e.pulse_count; ++i) {
            const PulseClass c = s.pulse_class(i);
            const uint8_t ideal = c == PulseClass::Short ? p.s : c == PulseClass::Medium ? p.m
                                                             : c == PulseClass::Long     ? p.l
                                                                                         : 0;
            ASSERT_EQ(f[s.pulses.offset(i)], ideal) << i;
            ASSERT_FALSE(s.pulse_read_error(i)) << i;
        }
    }
}

CleanOptions no_trailing_pause()
{
    CleanOptions o;
    o.add_trailing_pause = false;
    return o;
}

// 5 seconds of C64 PAL: 4,926,240 cycles = $4B2B20.
const Bytes FIVE_SECONDS_C64_PAL = {0x00, 0x20, 0x2B, 0x4B};

} // namespace

// --- Clock ------------------------------------------------------------------

TEST(CleanClock, ClockOfEveryPlatformAndStandard)
{
    EXPECT_EQ(tape_clock_hz(0, 0), 985248u);
    EXPECT_EQ(tape_clock_hz(0, 1), 1022720u);
    EXPECT_EQ(tape_clock_hz(0, 7), 985248u);
    EXPECT_EQ(tape_clock_hz(1, 0), 1108416u);
    EXPECT_EQ(tape_clock_hz(1, 1), 1022720u);
    EXPECT_EQ(tape_clock_hz(1, 2), 985248u);
    EXPECT_EQ(tape_clock_hz(2, 0), 886720u);
    EXPECT_EQ(tape_clock_hz(2, 1), 894880u);
    EXPECT_EQ(tape_clock_hz(2, 2), 985248u);
    EXPECT_EQ(tape_clock_hz(3, 1), 985248u);
}

// --- Clean --------------------------------------------------------------------

TEST(CleanTap, IdealTapeIsWrittenBackUnchanged)
{
    const Bytes tap = encode_tap(two_programs(), encoding(1));
    const Bytes clean = clean_tap(scan(tap), no_trailing_pause());
    EXPECT_EQ(clean, tap);
    expect_size_field(clean);
}

TEST(CleanTap, TrailingPauseOfFiveSeconds)
{
    const Bytes tap = encode_tap(two_programs(), encoding(1));
    const Bytes clean = clean_tap(scan(tap), CleanOptions());
    ASSERT_EQ(clean.size(), tap.size() + 4);
    EXPECT_TRUE(std::equal(tap.begin() + TAP_HEADER_SIZE, tap.end(), clean.begin() + TAP_HEADER_SIZE));
    EXPECT_EQ(Bytes(clean.end() - 4, clean.end()), FIVE_SECONDS_C64_PAL);
    expect_size_field(clean);
    const TapeScan s = scan(clean);
    ASSERT_FALSE(s.entries.empty());
    EXPECT_EQ(s.entries.back().kind, EntryKind::Pause);
    EXPECT_EQ(s.entries.back().pulse_count, 1u);
}

TEST(CleanTap, TrailingPauseUsesTheTapesClock)
{
    // VIC 20 NTSC: 5 x 1,022,720 = 5,113,600 cycles = $4E0700.
    const Bytes tap = encode_tap({prg(0x1001, 50, "V", 3)}, encoding(1, true, true));
    const Bytes clean = clean_tap(scan(tap), CleanOptions());
    EXPECT_EQ(Bytes(clean.end() - 4, clean.end()), Bytes({0x00, 0x00, 0x07, 0x4E}));
}

TEST(CleanTap, FinalPauseShorterThanFiveSecondsIsLengthened)
{
    // Unrecognised pulses, then one second of silence in two pieces.
    const Bytes f = tap_of(1, join({{0x20, 0x21, 0x80}, long_pulse(500000), long_pulse(485248)}));
    EXPECT_EQ(data_part(clean_tap(scan(f), CleanOptions())), join({{0x20, 0x21, 0x80}, FIVE_SECONDS_C64_PAL}));
    // Without the trailing pause it is one pause of its own length: 985,248 = $0F08A0.
    EXPECT_EQ(data_part(clean_tap(scan(f), no_trailing_pause())),
              join({{0x20, 0x21, 0x80}, {0x00, 0xA0, 0x08, 0x0F}}));
}

TEST(CleanTap, FinalPauseLongerThanFiveSecondsIsKept)
{
    // 6,000,000 cycles = $5B8D80.
    const Bytes f = tap_of(1, join({{0x20}, long_pulse(6000000)}));
    EXPECT_EQ(data_part(clean_tap(scan(f), CleanOptions())), Bytes({0x20, 0x00, 0x80, 0x8D, 0x5B}));
}

TEST(CleanTap, CleaningACleanedTapeChangesNothing)
{
    const Bytes once = clean_tap(scan(jittered(encode_tap(two_programs(), encoding(1)), 3)), CleanOptions());
    EXPECT_EQ(clean_tap(scan(once), CleanOptions()), once);
}

TEST(CleanTap, PausesBecomeOneLongPulseOfTheirLength)
{
    const Bytes f = tap_of(1, join({
                                  {0x20, 0x21},
                                  long_pulse(100000), long_pulse(200003),  // 300,003 cycles: 37,500 units
                                  {0x22},
                                  long_pulse(0),                           // no length: at least 8 cycles
                                  {0x23},
                                  long_pulse(10000000), long_pulse(10000000),  // beyond one long pulse
                                  {0x24},
                                  long_pulse(0xFFFFFF), {0x30},            // overflow into the next pulse
                                  {0x25},
                              }));
    const Bytes expected = join({
        {0x20, 0x21},
        {0x00, 0xE0, 0x93, 0x04},  // 300,000
        {0x22},
        {0x00, 0x08, 0x00, 0x00},  // 8
        {0x23},
        {0x00, 0x80, 0x96, 0x98}, {0x00, 0x80, 0x96, 0x98},  // 20,000,000 in two halves of $989680
        {0x24},
        {0x00, 0xBC, 0x00, 0x80}, {0x00, 0xBC, 0x00, 0x80},  // ($1FFFFF + $30) x 8 = 16,777,592 in halves of $8000BC
        {0x25},
    });
    const Bytes clean = clean_tap(scan(f), no_trailing_pause());
    EXPECT_EQ(data_part(clean), expected);
    expect_size_field(clean);
    EXPECT_EQ(clean[TAP_OFFSET_VERSION], 1);
}

TEST(CleanTap, VersionZeroPausesBecomeOneLongPulse)
{
    // The encoder writes 328,088 cycles as 16 zero bytes and 2 s (1,970,496
    // cycles) as 99 zero bytes of 20,000 cycles each.
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes v0 = encode_tap(prgs, encoding(0));
    const Bytes clean = clean_tap(scan(v0), no_trailing_pause());
    EXPECT_EQ(clean[TAP_OFFSET_VERSION], 1);

    // Expected: the version 1 tape with its pauses as 320,000 ($04E200) and 1,980,000 ($1E3660) cycles.
    const Bytes v1 = encode_tap(prgs, encoding(1));
    Bytes expected(v1.begin(), v1.begin() + TAP_HEADER_SIZE);
    const Bytes inner = long_pulse(CBM_HEADER_DATA_PAUSE_CYCLES);
    const Bytes between = long_pulse(1970496);
    const Bytes inner_clean = {0x00, 0x00, 0xE2, 0x04};
    const Bytes between_clean = {0x00, 0x60, 0x36, 0x1E};
    std::size_t pos = TAP_HEADER_SIZE;
    while (pos < v1.size()) {
        if (v1[pos] == 0) {
            const Bytes p(v1.begin() + long(pos), v1.begin() + long(pos) + 4);
            ASSERT_TRUE(p == inner || p == between);
            const Bytes &r = p == inner ? inner_clean : between_clean;
            expected.insert(expected.end(), r.begin(), r.end());
            pos += 4;
        } else {
            expected.push_back(v1[pos++]);
        }
    }
    tap_fix_data_size(expected);
    EXPECT_EQ(clean, expected);
    expect_same_files(scan(clean), scan(v1));
}

TEST(CleanTap, UnrecognizedStretchesAreCopied)
{
    // Garbage before, between and after two programs.
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes garbage = {0x11, 0xF0, 0x07, 0x99, 0x42, 0x30, 0xFF, 0x01};
    Bytes data = garbage;
    const Bytes one = encode_tap({prgs[0]}, encoding(1));
    const Bytes two = encode_tap({prgs[1]}, encoding(1));
    data.insert(data.end(), one.begin() + TAP_HEADER_SIZE, one.end());
    data.insert(data.end(), garbage.begin(), garbage.end());
    data.insert(data.end(), two.begin() + TAP_HEADER_SIZE, two.end());
    data.insert(data.end(), garbage.begin(), garbage.end());
    const Bytes f = tap_of(1, data);
    const TapeScan s = scan(f);
    unsigned unrecognized = 0;
    for (const TapeEntry &e : s.entries)
        unrecognized += e.kind == EntryKind::Unrecognized;
    ASSERT_EQ(unrecognized, 3u);
    EXPECT_EQ(clean_tap(s, no_trailing_pause()), f);
}

TEST(CleanTap, JitteredTapeComesOutIdeal)
{
    const Bytes tap = encode_tap(two_programs(), encoding(1));
    const Bytes dirty = jittered(tap, 3);
    ASSERT_NE(dirty, tap);
    const Bytes clean = clean_tap(scan(dirty), no_trailing_pause());
    EXPECT_EQ(clean, tap);
    expect_ideal_files(clean, CbmPulseSet());
}

TEST(CleanTap, FastAndSlowTapesComeOutIdeal)
{
    const Bytes tap = encode_tap(two_programs(), encoding(1));
    for (double factor : {0.90, 1.10}) {
        SCOPED_TRACE(factor);
        const Bytes dirty = jittered(scaled(tap, factor), 3, 77);
        const TapeScan before = scan(dirty);
        ASSERT_EQ(files_of(before).size(), 8u);
        const Bytes clean = clean_tap(before, CleanOptions());
        expect_ideal_files(clean, CbmPulseSet());
        const TapeScan after = scan(clean);
        expect_same_files(after, scan(tap));
        EXPECT_TRUE(scan_totals(after).read_pass());
        EXPECT_TRUE(scan_totals(after).checksum_pass());
        expect_size_field(clean);
        EXPECT_EQ(Bytes(clean.end() - 4, clean.end()), FIVE_SECONDS_C64_PAL);
        EXPECT_EQ(Bytes(clean.begin() + TAP_HEADER_SIZE, clean.end() - 4),
                  data_part(clean_tap(before, no_trailing_pause())));
    }
}

TEST(CleanTap, VicTapesGetTheirOwnIdealValues)
{
    for (bool ntsc : {false, true}) {
        SCOPED_TRACE(ntsc);
        const Bytes tap = encode_tap(two_programs(), encoding(1, true, ntsc));
        const Bytes clean = clean_tap(scan(jittered(tap, 3, 5)), no_trailing_pause());
        EXPECT_EQ(clean, tap);
        expect_ideal_files(clean, ntsc ? CbmPulseSet{0x32, 0x45, 0x59} : CbmPulseSet{0x36, 0x4A, 0x61});
    }
}

TEST(CleanTap, DamagedPulsesAreRepaired)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes tap = encode_tap(prgs, encoding(1));
    const TapeScan ideal = scan(tap);
    const auto files = files_of(ideal);
    ASSERT_EQ(files.size(), 8u);

    // Pulses far from their class but still telling their bit: an S of 20
    // units, an M of 110; a stray pulse inside a leader.
    Bytes dirty = tap;
    for (const TapeEntry *e : files) {
        for (std::size_t b = 0; b < 8; ++b) {
            const std::size_t pulse = e->inner_start_pulse + b * CBM_PULSES_PER_BYTE + 2 + (b % 2);
            const uint64_t at = ideal.pulses.offset(pulse);
            dirty[at] = dirty[at] == 0x30 ? 20 : 110;
        }
        dirty[ideal.pulses.offset(e->first_pulse + 10)] = 5;
    }
    const TapeScan before = scan(dirty);
    EXPECT_GE(scan_totals(before).read_errors, 8u * 9u);
    EXPECT_TRUE(scan_totals(before).checksum_pass());

    const Bytes clean = clean_tap(before, no_trailing_pause());
    EXPECT_EQ(clean, tap);
    const TapeScan after = scan(clean);
    EXPECT_EQ(scan_totals(after).read_errors, 0u);
    expect_same_files(after, ideal);
}

TEST(CleanTap, BoostMakesNoDifferenceToTheOutput)
{
    const Bytes dirty = jittered(scaled(encode_tap(two_programs(), encoding(1)), 1.05), 4);
    const TapeScan s = scan(dirty);
    CleanOptions boost;
    boost.boost = true;
    EXPECT_EQ(clean_tap(s, boost), clean_tap(s, CleanOptions()));
}

TEST(CleanTap, ZorvDumpBecomesAC64Tap)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes tap = encode_tap(prgs, encoding(1));
    const Bytes dump = zorv_from_tap(tap);
    const TapeScan before = scan(dump);
    ASSERT_EQ(before.file_type, FileType::ZorvDump);
    ASSERT_EQ(files_of(before).size(), 8u);

    const Bytes clean = clean_tap(before, CleanOptions());
    ASSERT_GE(clean.size(), TAP_HEADER_SIZE);
    EXPECT_EQ(std::string(clean.begin(), clean.begin() + 12), "C64-TAPE-RAW");
    EXPECT_EQ(clean[TAP_OFFSET_VERSION], 1);
    EXPECT_EQ(clean[TAP_OFFSET_PLATFORM], 0);
    EXPECT_EQ(clean[TAP_OFFSET_VIDEO], 0);
    EXPECT_EQ(clean[TAP_OFFSET_RESERVED], 0);
    expect_size_field(clean);

    const TapeScan after = scan(clean);
    EXPECT_EQ(after.file_type, FileType::C64Tap);
    expect_same_files(after, scan(tap));
    EXPECT_EQ(scan_totals(after).read_errors, 0u);
    expect_ideal_files(clean, CbmPulseSet());

    // Every pause is one long pulse within 0.1 % of the one recorded.
    std::vector<uint64_t> pauses;
    for (const TapeEntry &e : after.entries)
        if (e.kind == EntryKind::Pause) {
            ASSERT_EQ(e.pulse_count, 1u);
            pauses.push_back(after.pulses.units(e.first_pulse) * 8ull);
        }
    const std::vector<uint64_t> recorded = {CBM_HEADER_DATA_PAUSE_CYCLES, 1970496, CBM_HEADER_DATA_PAUSE_CYCLES,
                                            4926240};
    ASSERT_EQ(pauses.size(), recorded.size());
    for (std::size_t i = 0; i + 1 < pauses.size(); ++i)
        EXPECT_NEAR(double(pauses[i]), double(recorded[i]), recorded[i] / 1000.0) << i;
    EXPECT_EQ(pauses.back(), recorded.back());
}

TEST(CleanTap, ZorvPlatformAndStandardAreKept)
{
    Bytes dump = zorv_from_tap(encode_tap({prg(0x1001, 40, "V", 4)}, encoding(1)));
    dump[TAP_OFFSET_PLATFORM] = 0x31;  // VIC 20
    dump[TAP_OFFSET_VIDEO] = 1;
    const Bytes clean = clean_tap(scan(dump), CleanOptions());
    ASSERT_GE(clean.size(), TAP_HEADER_SIZE);
    EXPECT_EQ(clean[TAP_OFFSET_PLATFORM], 1);
    EXPECT_EQ(clean[TAP_OFFSET_VIDEO], 1);
    // 5 s of VIC 20 NTSC: $4E0700.
    EXPECT_EQ(Bytes(clean.end() - 4, clean.end()), Bytes({0x00, 0x00, 0x07, 0x4E}));
}

TEST(CleanTap, TapHeaderIsKeptButForVersionAndSize)
{
    Bytes tap = encode_tap({prg(0x0801, 30, "A", 5)}, encoding(0));
    std::memcpy(tap.data(), TAP_MAGIC_C16, TAP_MAGIC_SIZE);
    tap[TAP_OFFSET_PLATFORM] = 2;
    tap[TAP_OFFSET_RESERVED] = 9;
    tap[TAP_OFFSET_DATA_SIZE] ^= 0x55;  // a wrong size field is put right
    const Bytes clean = clean_tap(scan(tap), CleanOptions());
    ASSERT_GE(clean.size(), TAP_HEADER_SIZE);
    EXPECT_EQ(std::string(clean.begin(), clean.begin() + 12), "C16-TAPE-RAW");
    EXPECT_EQ(clean[TAP_OFFSET_VERSION], 1);
    EXPECT_EQ(clean[TAP_OFFSET_PLATFORM], 2);
    EXPECT_EQ(clean[TAP_OFFSET_VIDEO], 0);
    EXPECT_EQ(clean[TAP_OFFSET_RESERVED], 9);
    expect_size_field(clean);
    // 5 s of C16 PAL: 4,433,600 cycles = $43A6C0.
    EXPECT_EQ(Bytes(clean.end() - 4, clean.end()), Bytes({0x00, 0xC0, 0xA6, 0x43}));
}

TEST(CleanTap, NotATapeGivesNothing)
{
    const Bytes junk(40, 0x41);
    EXPECT_TRUE(clean_tap(scan(junk), CleanOptions()).empty());
    EXPECT_TRUE(convert_tap(scan(junk), 1).empty());
}

TEST(CleanTap, EmptyTape)
{
    const Bytes f = tap_of(1, {});
    EXPECT_EQ(data_part(clean_tap(scan(f), CleanOptions())), FIVE_SECONDS_C64_PAL);
    EXPECT_EQ(clean_tap(scan(f), no_trailing_pause()), f);
}

// --- Convert ------------------------------------------------------------------

TEST(ConvertTap, VersionOneToZeroMatchesTheEncoder)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes v1 = encode_tap(prgs, encoding(1));
    const Bytes v0 = convert_tap(scan(v1), 0);
    EXPECT_EQ(v0, encode_tap(prgs, encoding(0)));
    // 328,088 cycles: 16 zero bytes (twice); 1,970,496: 99 zero bytes.
    EXPECT_EQ(v0.size(), v1.size() - 3 * 4 + 16 + 16 + 99);
    expect_size_field(v0);
}

TEST(ConvertTap, RoundTripKeepsEveryFile)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes v1 = jittered(encode_tap(prgs, encoding(1)), 2);
    const TapeScan original = scan(v1);
    const Bytes v0 = convert_tap(original, 0);
    const Bytes back = convert_tap(scan(v0), 1);
    expect_size_field(v0);
    expect_size_field(back);
    EXPECT_EQ(v0[TAP_OFFSET_VERSION], 0);
    EXPECT_EQ(back[TAP_OFFSET_VERSION], 1);

    // Version 0 has no 3-byte forms: every zero byte is a 2500-unit pulse of its own.
    const TapeScan s0 = scan(v0);
    for (std::size_t i = 0; i < s0.pulses.size(); ++i) {
        const TapePulse p = s0.pulses.pulse(i);
        if (p.long_form) {
            ASSERT_EQ(p.units, TAP_V0_LONG_PULSE_UNITS) << i;
        }
        ASSERT_EQ(s0.pulses.last_byte(i), p.offset) << i;
    }
    expect_same_files(s0, original);
    const TapeScan s1 = scan(back);
    expect_same_files(s1, original);
    EXPECT_TRUE(scan_totals(s1).checksum_pass());
    EXPECT_EQ(files_of(s1).size(), 8u);

    // Back in version 1 each zero byte is a long pulse of 20,000 ($004E20) cycles.
    std::size_t longs = 0;
    for (std::size_t i = 0; i < s1.pulses.size(); ++i) {
        const TapePulse p = s1.pulses.pulse(i);
        if (!p.long_form)
            continue;
        ++longs;
        EXPECT_EQ(Bytes(back.begin() + long(p.offset), back.begin() + long(p.offset) + 4),
                  Bytes({0x00, 0x20, 0x4E, 0x00}));
    }
    EXPECT_EQ(longs, 16u + 16u + 99u);
}

TEST(ConvertTap, VersionOneToOneIsUnchanged)
{
    const Bytes v1 = jittered(encode_tap(two_programs(), encoding(1)), 3);
    EXPECT_EQ(convert_tap(scan(v1), 1), v1);
    EXPECT_EQ(convert_tap(scan(v1), 7), v1);  // anything but 0 is version 1
}

TEST(ConvertTap, LongPulsesByHand)
{
    const Bytes f = tap_of(1, join({{0x40}, long_pulse(0), {0x41}, long_pulse(50000), {0x42},
                                    long_pulse(0xFFFFFF), {0x30}, {0x43}, long_pulse(4)}));
    // Version 1: a pulse of 0 cycles stays one; 50,000 = $00C350; the overflow and
    // its continuation are one pulse of 16,777,592 cycles, split in halves of $8000BC;
    // 4 cycles are 0 units.
    EXPECT_EQ(data_part(convert_tap(scan(f), 1)),
              join({{0x40, 0x00, 0x00, 0x00, 0x00, 0x41, 0x00, 0x50, 0xC3, 0x00, 0x42},
                    {0x00, 0xBC, 0x00, 0x80, 0x00, 0xBC, 0x00, 0x80},
                    {0x43, 0x00, 0x00, 0x00, 0x00}}));
    // Version 0: 0 cycles give one zero byte; 50,000 cycles 3 (2.5 rounded up);
    // 16,777,592 cycles 839; 0 cycles one.
    Bytes expected = {0x40, 0x00, 0x41, 0x00, 0x00, 0x00, 0x42};
    expected.insert(expected.end(), 839, 0x00);
    expected.push_back(0x43);
    expected.push_back(0x00);
    const Bytes v0 = convert_tap(scan(f), 0);
    EXPECT_EQ(data_part(v0), expected);
    EXPECT_EQ(v0[TAP_OFFSET_VERSION], 0);
}

TEST(ConvertTap, ZorvDumpToBothVersions)
{
    const Bytes tap = encode_tap(two_programs(), encoding(1));
    const TapeScan dump = scan(zorv_from_tap(tap));
    for (int version : {0, 1}) {
        SCOPED_TRACE(version);
        const Bytes out = convert_tap(dump, version);
        ASSERT_GE(out.size(), TAP_HEADER_SIZE);
        EXPECT_EQ(std::string(out.begin(), out.begin() + 12), "C64-TAPE-RAW");
        EXPECT_EQ(out[TAP_OFFSET_VERSION], version);
        EXPECT_EQ(out[TAP_OFFSET_PLATFORM], 0);
        EXPECT_EQ(out[TAP_OFFSET_RESERVED], 0);
        expect_size_field(out);
        const TapeScan s = scan(out);
        expect_same_files(s, scan(tap));
        EXPECT_TRUE(scan_totals(s).read_pass());
    }
}

TEST(ConvertTap, HalfWavesOfVersionTwoBecomeWholeWaves)
{
    // C16 half-waves: pairs from the start of each run; a lone last one
    // counts twice; the silence between runs stays silence.
    Bytes f = tap_of(2, join({{0x1B, 0x1B, 0x35, 0x36, 0x6A}, long_pulse(50000), {0x1A, 0x1C, 0x90, 0x90}}));
    f[TAP_OFFSET_VERSION] = 2;
    f[TAP_OFFSET_PLATFORM] = 2;
    const Bytes v1 = convert_tap(scan(f), 1);
    EXPECT_EQ(v1[TAP_OFFSET_VERSION], 1);
    EXPECT_EQ(v1[TAP_OFFSET_PLATFORM], 2);
    // 0x90 + 0x90 = 288 units: too long for a byte, written as a long pulse of 2304 cycles.
    EXPECT_EQ(data_part(v1), join({{0x36, 0x6B, 0xD4}, {0x00, 0x50, 0xC3, 0x00}, {0x36}, {0x00, 0x00, 0x09, 0x00}}));
}
