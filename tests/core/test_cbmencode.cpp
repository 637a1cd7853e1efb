// Tests of the CBM ROM-loader encoder: pulse values per platform, the pulses
// of a byte and of a block, pauses, the header payload and whole TAP files.
// Expected values are worked out by hand from the format.
#include "core/cbmencode.h"
#include "core/tapimage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

PrgInput prg(uint16_t load, std::size_t size, const std::string &name, uint8_t seed = 1)
{
    PrgInput p;
    p.name = name;
    p.bytes.push_back(uint8_t(load & 0xFF));
    p.bytes.push_back(uint8_t(load >> 8));
    for (std::size_t i = 0; i < size; ++i)
        p.bytes.push_back(uint8_t(i * 7 + seed));
    return p;
}

// Pulses of one copy: leader, countdown, payload, checkbyte, end marker.
std::size_t copy_pulses(std::size_t leader, std::size_t payload)
{
    return leader + (CBM_COUNTDOWN_BYTES + payload + 1) * CBM_PULSES_PER_BYTE + 2;
}

std::size_t prg_bytes_in_tap(std::size_t data, std::size_t pause_bytes)
{
    return copy_pulses(CBM_HEADER_LEADER_PULSES, 192) + copy_pulses(CBM_COPY_GAP_PULSES, 192) +
           CBM_TRAILER_PULSES + pause_bytes + copy_pulses(CBM_DATA_LEADER_PULSES, data) +
           copy_pulses(CBM_COPY_GAP_PULSES, data) + CBM_TRAILER_PULSES;
}

// The byte whose 20 pulses start at pos, read back by the ideal values.
int read_byte(const Bytes &tap, std::size_t pos, const CbmPulseSet &p)
{
    if (tap[pos] != p.l || tap[pos + 1] != p.m)
        return -1;
    unsigned v = 0, ones = 0;
    for (unsigned b = 0; b < 9; ++b) {
        const uint8_t a = tap[pos + 2 + 2 * b], c = tap[pos + 3 + 2 * b];
        unsigned bit;
        if (a == p.s && c == p.m)
            bit = 0;
        else if (a == p.m && c == p.s)
            bit = 1;
        else
            return -1;
        ones += bit;
        if (b < 8)
            v |= bit << b;
    }
    return (ones & 1) ? int(v) : -2;
}

} // namespace

TEST(CbmEncode, IdealPulseValuesPerPlatform)
{
    const CbmPulseSet c64 = cbm_ideal_pulses(false, false);
    EXPECT_EQ(c64.s, 0x30);
    EXPECT_EQ(c64.m, 0x42);
    EXPECT_EQ(c64.l, 0x56);
    const CbmPulseSet ntsc = cbm_ideal_pulses(false, true);
    EXPECT_EQ(ntsc.s, 0x30);
    EXPECT_EQ(ntsc.m, 0x42);
    EXPECT_EQ(ntsc.l, 0x56);
    // Same durations in VIC 20 cycles: x 1108416/985248 and x 1022720/985248.
    const CbmPulseSet vic_pal = cbm_ideal_pulses(true, false);
    EXPECT_EQ(vic_pal.s, 54);
    EXPECT_EQ(vic_pal.m, 74);
    EXPECT_EQ(vic_pal.l, 97);
    const CbmPulseSet vic_ntsc = cbm_ideal_pulses(true, true);
    EXPECT_EQ(vic_ntsc.s, 50);
    EXPECT_EQ(vic_ntsc.m, 69);
    EXPECT_EQ(vic_ntsc.l, 89);
}

TEST(CbmEncode, ClockFrequencies)
{
    EXPECT_EQ(machine_clock_hz(false, false), 985248u);
    EXPECT_EQ(machine_clock_hz(false, true), 1022720u);
    EXPECT_EQ(machine_clock_hz(true, false), 1108416u);
    EXPECT_EQ(machine_clock_hz(true, true), 1022720u);
}

TEST(CbmEncode, ByteIsMarkerBitsLeastSignificantFirstAndOddParity)
{
    const CbmPulseSet p;
    Bytes tap;
    cbm_append_byte(tap, 0x89, p);  // 1000 1001: bits 1,0,0,1,0,0,0,1; three ones -> parity 0
    const Bytes expected = {0x56, 0x42,              // marker L M
                            0x42, 0x30, 0x30, 0x42,  // 1, 0
                            0x30, 0x42, 0x42, 0x30,  // 0, 1
                            0x30, 0x42, 0x30, 0x42,  // 0, 0
                            0x30, 0x42, 0x42, 0x30,  // 0, 1
                            0x30, 0x42};             // parity 0
    EXPECT_EQ(tap, expected);

    tap.clear();
    cbm_append_byte(tap, 0x00, p);  // no ones: parity 1
    ASSERT_EQ(tap.size(), 20u);
    EXPECT_EQ(tap[18], 0x42);
    EXPECT_EQ(tap[19], 0x30);
    for (int v = 0; v < 256; ++v) {
        tap.clear();
        cbm_append_byte(tap, uint8_t(v), p);
        EXPECT_EQ(read_byte(tap, 0, p), v);
    }
}

TEST(CbmEncode, EndMarkerIsLongShort)
{
    Bytes tap;
    cbm_append_end_marker(tap, cbm_ideal_pulses(true, false));
    EXPECT_EQ(tap, (Bytes{97, 54}));
}

TEST(CbmEncode, CopyHasLeaderCountdownPayloadCheckbyteAndEndMarker)
{
    const CbmPulseSet p;
    const Bytes payload = {0x01, 0x02, 0x04, 0xF0};
    for (bool repeat : {false, true}) {
        Bytes tap;
        cbm_append_copy(tap, payload.data(), payload.size(), repeat, 100, p);
        ASSERT_EQ(tap.size(), copy_pulses(100, payload.size()));
        for (std::size_t i = 0; i < 100; ++i)
            ASSERT_EQ(tap[i], 0x30);
        for (std::size_t b = 0; b < 9; ++b)
            EXPECT_EQ(read_byte(tap, 100 + 20 * b, p), int((repeat ? 0x09 : 0x89) - b));
        for (std::size_t b = 0; b < payload.size(); ++b)
            EXPECT_EQ(read_byte(tap, 280 + 20 * b, p), payload[b]);
        EXPECT_EQ(read_byte(tap, 280 + 80, p), 0x01 ^ 0x02 ^ 0x04 ^ 0xF0);
        EXPECT_EQ(tap[tap.size() - 2], 0x56);
        EXPECT_EQ(tap[tap.size() - 1], 0x30);
    }
}

TEST(CbmEncode, EmptyCopyHasOnlyTheCheckbyteZero)
{
    const CbmPulseSet p;
    Bytes tap;
    cbm_append_copy(tap, nullptr, 0, false, 0, p);
    ASSERT_EQ(tap.size(), 10u * 20 + 2);
    EXPECT_EQ(read_byte(tap, 180, p), 0);
}

TEST(CbmEncode, PauseVersion1IsOneLongPulse)
{
    Bytes tap;
    tap_append_pause(tap, CBM_HEADER_DATA_PAUSE_CYCLES, 1);  // 328088 = 0x050198
    EXPECT_EQ(tap, (Bytes{0x00, 0x98, 0x01, 0x05}));
}

TEST(CbmEncode, PauseVersion0IsZeroBytesRoundedToNearest)
{
    Bytes tap;
    tap_append_pause(tap, CBM_HEADER_DATA_PAUSE_CYCLES, 0);  // 16.4 x 20000 cycles
    EXPECT_EQ(tap, Bytes(16, 0));
    tap.clear();
    tap_append_pause(tap, 30000, 0);  // 1.5 -> 2
    EXPECT_EQ(tap, Bytes(2, 0));
    tap.clear();
    tap_append_pause(tap, 100, 0);  // never less than one
    EXPECT_EQ(tap, Bytes(1, 0));
}

TEST(CbmEncode, PauseOfNothingWritesNothing)
{
    Bytes tap;
    tap_append_pause(tap, 0, 0);
    tap_append_pause(tap, 0, 1);
    EXPECT_TRUE(tap.empty());
}

TEST(CbmEncode, LongPauseIsSplitIntoEqualLongPulses)
{
    Bytes tap;
    const uint64_t cycles = 2ull * TAP_V1_MAX_PULSE_CYCLES + 1;  // three pieces
    tap_append_pause(tap, cycles, 1);
    ASSERT_EQ(tap.size(), 12u);
    uint64_t total = 0;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(tap[4 * i], 0);
        const uint32_t c = tap[4 * i + 1] | (tap[4 * i + 2] << 8) | (tap[4 * i + 3] << 16);
        EXPECT_LT(c, TAP_OVERFLOW_CYCLES);
        total += c;
    }
    EXPECT_EQ(total, cycles);
}

TEST(CbmEncode, HeaderPayloadLayout)
{
    const Bytes h = cbm_header_payload(3, 0xC000, 0xC123, "Game 1");
    ASSERT_EQ(h.size(), 192u);
    EXPECT_EQ(h[0], 3);
    EXPECT_EQ(h[1], 0x00);
    EXPECT_EQ(h[2], 0xC0);
    EXPECT_EQ(h[3], 0x23);
    EXPECT_EQ(h[4], 0xC1);
    const Bytes name(h.begin() + 5, h.begin() + 21);
    EXPECT_EQ(name, (Bytes{'G', 'A', 'M', 'E', ' ', '1', 0x20, 0x20, 0x20, 0x20, 0x20, 0x20, 0x20, 0x20, 0x20, 0x20}));
    for (std::size_t i = 21; i < 192; ++i)
        EXPECT_EQ(h[i], 0x20);
}

TEST(CbmEncode, LongNameIsCutToSixteen)
{
    const Bytes h = cbm_header_payload(1, 0x0801, 0x0802, "ABCDEFGHIJKLMNOPQRS");
    EXPECT_EQ(std::string(h.begin() + 5, h.begin() + 21), "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(h[21], 0x20);
}

TEST(CbmEncode, AsciiToPetscii)
{
    EXPECT_EQ(ascii_to_petscii('a'), 0x41);
    EXPECT_EQ(ascii_to_petscii('z'), 0x5A);
    EXPECT_EQ(ascii_to_petscii('Q'), 0x51);
    EXPECT_EQ(ascii_to_petscii('7'), 0x37);
    EXPECT_EQ(ascii_to_petscii(' '), 0x20);
}

TEST(CbmEncode, TapHeaderFields)
{
    const Bytes h = tap_file_header(1, true, true, 0x01020304);
    ASSERT_EQ(h.size(), 20u);
    EXPECT_EQ(std::memcmp(h.data(), "C64-TAPE-RAW", 12), 0);
    EXPECT_EQ(h[12], 1);
    EXPECT_EQ(h[13], 1);
    EXPECT_EQ(h[14], 1);
    EXPECT_EQ(h[15], 0);
    EXPECT_EQ(h[16], 0x04);
    EXPECT_EQ(h[19], 0x01);
    EXPECT_EQ(tap_file_header(0, false, false, 0)[12], 0);
}

TEST(CbmEncode, FixDataSize)
{
    Bytes file = tap_file_header(1, false, false, 0);
    file.resize(1000, 0x30);
    tap_fix_data_size(file);
    EXPECT_EQ(file[16], 0xD4);
    EXPECT_EQ(file[17], 0x03);
    EXPECT_EQ(file[18], 0);
    EXPECT_EQ(file[19], 0);
}

TEST(CbmEncode, OneProgramVersion1Sequence)
{
    const PrgInput in = prg(0x0801, 300, "hello");
    const Bytes tap = encode_tap({in}, EncodeOptions());
    ASSERT_EQ(tap.size(), 20 + prg_bytes_in_tap(300, 4));
    EXPECT_EQ(std::memcmp(tap.data(), "C64-TAPE-RAW", 12), 0);
    EXPECT_EQ(tap[12], 1);
    EXPECT_EQ(tap[13], 0);
    EXPECT_EQ(tap[14], 0);
    const uint32_t size = tap[16] | (tap[17] << 8) | (tap[18] << 16) | (uint32_t(tap[19]) << 24);
    EXPECT_EQ(size, tap.size() - 20);

    const CbmPulseSet p;
    std::size_t pos = 20;
    for (std::size_t i = 0; i < CBM_HEADER_LEADER_PULSES; ++i)
        ASSERT_EQ(tap[pos + i], 0x30) << i;
    pos += CBM_HEADER_LEADER_PULSES;
    EXPECT_EQ(read_byte(tap, pos, p), 0x89);
    pos += 180;
    const Bytes header = cbm_header_payload(1, 0x0801, 0x0801 + 300, "HELLO");
    for (std::size_t b = 0; b < 192; ++b)
        ASSERT_EQ(read_byte(tap, pos + 20 * b, p), header[b]) << b;
    pos += 192 * 20 + 20 + 2;
    for (std::size_t i = 0; i < 79; ++i)
        ASSERT_EQ(tap[pos + i], 0x30);
    pos += 79;
    EXPECT_EQ(read_byte(tap, pos, p), 0x09);
    pos += 180 + 193 * 20;
    EXPECT_EQ(tap[pos], 0x56);
    EXPECT_EQ(tap[pos + 1], 0x30);
    pos += 2;
    for (std::size_t i = 0; i < 78; ++i)
        ASSERT_EQ(tap[pos + i], 0x30);
    pos += 78;
    EXPECT_EQ(Bytes(tap.begin() + pos, tap.begin() + pos + 4), (Bytes{0x00, 0x98, 0x01, 0x05}));
    pos += 4;
    for (std::size_t i = 0; i < CBM_DATA_LEADER_PULSES; ++i)
        ASSERT_EQ(tap[pos + i], 0x30);
    pos += CBM_DATA_LEADER_PULSES;
    EXPECT_EQ(read_byte(tap, pos, p), 0x89);
    pos += 180;
    uint8_t check = 0;
    for (std::size_t b = 0; b < 300; ++b) {
        ASSERT_EQ(read_byte(tap, pos + 20 * b, p), in.bytes[2 + b]);
        check ^= in.bytes[2 + b];
    }
    pos += 300 * 20;
    EXPECT_EQ(read_byte(tap, pos, p), check);
    pos += 22 + 79;
    EXPECT_EQ(read_byte(tap, pos, p), 0x09);
    pos += 180 + 301 * 20 + 2 + 78;
    EXPECT_EQ(pos, tap.size());
}

TEST(CbmEncode, Version0UsesZeroBytesForThePause)
{
    const Bytes tap = encode_tap({prg(0x1000, 10, "X")}, EncodeOptions{0});
    ASSERT_EQ(tap.size(), 20 + prg_bytes_in_tap(10, 16));
    EXPECT_EQ(tap[12], 0);
    const std::size_t pause = 20 + copy_pulses(CBM_HEADER_LEADER_PULSES, 192) + copy_pulses(79, 192) + 78;
    EXPECT_EQ(tap[pause - 1], 0x30);
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(tap[pause + i], 0);
    EXPECT_EQ(tap[pause + 16], 0x30);
}

TEST(CbmEncode, PauseBetweenProgramsOnly)
{
    EncodeOptions o;
    o.pause_seconds = 2.0;  // 1970496 cycles = 0x1E1140
    const Bytes tap = encode_tap({prg(0x0801, 5, "A"), prg(0x0801, 6, "B")}, o);
    const std::size_t first = prg_bytes_in_tap(5, 4);
    ASSERT_EQ(tap.size(), 20 + first + 4 + prg_bytes_in_tap(6, 4));
    EXPECT_EQ(Bytes(tap.begin() + 20 + first, tap.begin() + 24 + first), (Bytes{0x00, 0x40, 0x11, 0x1E}));

    o.ntsc = true;  // 2045440 = 0x1F3600
    const Bytes ntsc = encode_tap({prg(0x0801, 5, "A"), prg(0x0801, 6, "B")}, o);
    EXPECT_EQ(Bytes(ntsc.begin() + 20 + first, ntsc.begin() + 24 + first), (Bytes{0x00, 0x00, 0x36, 0x1F}));
    EXPECT_EQ(ntsc[14], 1);

    o.pause_seconds = 0;
    EXPECT_EQ(encode_tap({prg(0x0801, 5, "A"), prg(0x0801, 6, "B")}, o).size(),
              20 + first + prg_bytes_in_tap(6, 4));
}

TEST(CbmEncode, Vic20UsesItsOwnValuesAndPlatformByte)
{
    EncodeOptions o;
    o.vic20 = true;
    const Bytes tap = encode_tap({prg(0x1001, 3, "V")}, o);
    EXPECT_EQ(tap[13], 1);
    EXPECT_EQ(tap[14], 0);
    EXPECT_EQ(tap[20], 54);
    EXPECT_EQ(read_byte(tap, 20 + CBM_HEADER_LEADER_PULSES, cbm_ideal_pulses(true, false)), 0x89);
}

TEST(CbmEncode, HeaderTypeAndEndAddress)
{
    EncodeOptions o;
    o.header_type = 3;
    const Bytes tap = encode_tap({prg(0xC000, 0x123, "T")}, o);
    const std::size_t h = 20 + CBM_HEADER_LEADER_PULSES + 180;
    const CbmPulseSet p;
    EXPECT_EQ(read_byte(tap, h, p), 3);
    EXPECT_EQ(read_byte(tap, h + 20, p), 0x00);
    EXPECT_EQ(read_byte(tap, h + 40, p), 0xC0);
    EXPECT_EQ(read_byte(tap, h + 60, p), 0x23);
    EXPECT_EQ(read_byte(tap, h + 80, p), 0xC1);
}

TEST(CbmEncode, ProgramEndingAtTopOfMemoryWrapsEndAddress)
{
    const PrgInput in = prg(0xFF00, 0x100, "TOP");
    EXPECT_EQ(prg_input_problem(in), "");
    const Bytes tap = encode_tap({in}, EncodeOptions());
    const std::size_t h = 20 + CBM_HEADER_LEADER_PULSES + 180;
    EXPECT_EQ(read_byte(tap, h + 60, CbmPulseSet()), 0x00);
    EXPECT_EQ(read_byte(tap, h + 80, CbmPulseSet()), 0x00);
}

TEST(CbmEncode, UnwritableProgramsGiveNothing)
{
    PrgInput tiny;
    tiny.bytes = {0x01};
    EXPECT_NE(prg_input_problem(tiny), "");
    EXPECT_TRUE(encode_tap({prg(0x0801, 1, "OK"), tiny}, EncodeOptions()).empty());
    const PrgInput too_long = prg(0xFF00, 0x101, "BIG");
    EXPECT_NE(prg_input_problem(too_long), "");
    EXPECT_TRUE(encode_tap({too_long}, EncodeOptions()).empty());
}

TEST(CbmEncode, NoProgramsIsAnEmptyTape)
{
    const Bytes tap = encode_tap({}, EncodeOptions());
    ASSERT_EQ(tap.size(), 20u);
    EXPECT_EQ(tap[16], 0);
}
