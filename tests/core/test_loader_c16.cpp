// The C16 / Plus/4 ROM scanner on tapes built wave by wave: leaders of
// several lengths, machines running fast or slow, both pairings of
// half-waves, damaged and missing copies, full-wave (version 1) tapes, and
// tapes of other machines it must leave alone.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/tapewrite.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using namespace loader_testing;

namespace {

// Half-wave lengths (TAP units) of the KERNAL's short, long and word marker
// on a PAL machine.
constexpr double SHORT = 26.6, LONG = 53.2, MARKER = 106.4;

class HandTape {
public:
    // version 2: half-waves; 1: full waves. speed > 1: the waves are longer.
    explicit HandTape(int version = 2, double speed = 1.0, unsigned platform = 2) : version_(version), speed_(speed)
    {
        tap_.assign(TAP_HEADER_SIZE, 0);
        std::memcpy(tap_.data(), platform == 2 ? TAP_MAGIC_C16 : TAP_MAGIC_C64, TAP_MAGIC_SIZE);
        tap_[TAP_OFFSET_VERSION] = uint8_t(version);
        tap_[TAP_OFFSET_PLATFORM] = uint8_t(platform);
    }

    // Makes the first half of every wave longer by `units` and the second
    // shorter by as much.
    void skew(double units) { skew_ = units; }

    void half(double units) { tap_.push_back(uint8_t(std::lround(units * speed_))); }
    void wave(double half_units)
    {
        if (version_ == 2) {
            half(half_units + skew_);
            half(half_units - skew_);
        } else {
            half(2 * half_units);
        }
    }
    void shorts(std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
            wave(SHORT);
    }
    void byte(uint8_t v, bool good_parity = true)
    {
        wave(MARKER);
        wave(LONG);
        unsigned ones = 0;
        for (unsigned b = 0; b < 8; ++b) {
            const bool one = (v >> b) & 1u;
            ones += one;
            wave(one ? LONG : SHORT);
            wave(one ? SHORT : LONG);
        }
        const bool parity = ((ones & 1u) == 0) == good_parity;
        wave(parity ? LONG : SHORT);
        wave(parity ? SHORT : LONG);
    }
    // One copy: leader, countdown, bytes, their XOR (or `check`), end marker.
    void copy(std::size_t leader, bool first, const Bytes &bytes, int check = -1, bool end_marker = true)
    {
        shorts(leader);
        for (uint8_t k = 0; k < 9; ++k)
            byte(uint8_t((first ? 0x89 : 0x09) - k));
        uint8_t x = 0;
        for (uint8_t v : bytes) {
            byte(v);
            x ^= v;
        }
        byte(check >= 0 ? uint8_t(check) : x);
        if (end_marker)
            wave(LONG);
    }
    void pause(uint32_t cycles = 200000)
    {
        tap_.push_back(0);
        for (int i = 0; i < 3; ++i)
            tap_.push_back(uint8_t(cycles >> (8 * i)));
    }
    Bytes file() const
    {
        Bytes f = tap_;
        tap_fix_data_size(f);
        return f;
    }

private:
    Bytes tap_;
    int version_;
    double speed_;
    double skew_ = 0;
};

Bytes header_bytes(uint8_t type, uint16_t load, uint16_t end, const std::string &name)
{
    Bytes h = {type, uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8)};
    for (std::size_t i = 0; i < 16; ++i)
        h.push_back(i < name.size() ? uint8_t(name[i]) : 0x20);
    h.resize(192, 0x20);
    return h;
}

Bytes data_bytes(std::size_t size, uint32_t seed)
{
    const PrgInput p = program("", 0x1001, size, seed);
    return Bytes(p.bytes.begin() + 2, p.bytes.end());
}

// A whole program as SAVE writes it: header and data, two copies each.
void save(HandTape &t, const std::string &name, uint16_t load, const Bytes &data, std::size_t leader = 16382)
{
    const Bytes h = header_bytes(3, load, uint16_t(load + data.size()), name);
    t.copy(leader, true, h);
    t.copy(450, false, h);
    t.shorts(194);
    t.copy(leader, true, data);
    t.copy(450, false, data);
    t.shorts(194);
}

TapeScan scan_of(const Bytes &f) { return scan_tape(f.data(), f.size()); }

const TapeScanner *c16() { return find_scanner("c16"); }

std::vector<const TapeEntry *> files(const TapeScan &s) { return entries_of(s, c16()); }

// Every program read back whole, every copy passing, nothing unrecognised.
void expect_program(const TapeScan &s, uint16_t load, const Bytes &data, std::size_t copies = 4)
{
    ASSERT_TRUE(s.ok);
    expect_covering(s);
    const auto found = files(s);
    ASSERT_EQ(found.size(), copies);
    for (const TapeEntry &e : s.entries) {
        EXPECT_NE(e.kind, EntryKind::Unrecognized) << e.start;
        EXPECT_EQ(e.read_errors, 0u) << e.type << " at " << e.start;
    }
    for (const TapeEntry *e : found)
        EXPECT_TRUE(e->checkbyte_pass) << e->type << " at " << e->start;
    Bytes prg = {uint8_t(load), uint8_t(load >> 8)};
    prg.insert(prg.end(), data.begin(), data.end());
    const std::vector<Bytes> got = loaded_programs(s, c16());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], prg);
}

} // namespace

TEST(C16RomLoader, HeaderFieldsAndCopies)
{
    HandTape t;
    const Bytes data = data_bytes(500, 1);
    save(t, "GAME", 0x1001, data);
    const TapeScan s = scan_of(t.file());
    expect_program(s, 0x1001, data);
    const auto f = files(s);
    EXPECT_EQ(f[0]->type, C16_TYPE_HEADER);
    EXPECT_EQ(f[0]->copy, CopyId::First);
    EXPECT_EQ(f[1]->type, C16_TYPE_HEADER);
    EXPECT_EQ(f[1]->copy, CopyId::Repeat);
    EXPECT_EQ(f[0]->name, "GAME");
    EXPECT_EQ(f[0]->block_type, 3);
    EXPECT_EQ(f[0]->load_address, 0x1001);
    EXPECT_EQ(f[0]->end_address, 0x1001 + 500);
    EXPECT_EQ(f[0]->payload.size(), 192u);
    EXPECT_EQ(f[2]->type, C16_TYPE_DATA);
    EXPECT_EQ(f[2]->copy, CopyId::First);
    EXPECT_EQ(f[3]->type, C16_TYPE_DATA);
    EXPECT_EQ(f[3]->copy, CopyId::Repeat);
    EXPECT_EQ(f[3]->size, 500u);
    EXPECT_EQ(f[2]->payload, data);
    EXPECT_EQ(f[2]->crc32, crc32_of(data));
    // The header's type byte is part of its XOR.
    uint8_t x = 0;
    for (uint8_t v : f[0]->payload)
        x ^= v;
    EXPECT_EQ(f[0]->checkbyte_on_tape, x);
    // A copy starts at its leader; the FIRST copy ends at its end marker (the
    // short waves after it lead the REPEAT); the last trailer goes with the
    // REPEAT of the data.
    EXPECT_EQ(f[0]->first_pulse, 0u);
    EXPECT_EQ(f[1]->first_pulse, f[0]->first_pulse + f[0]->pulse_count);
    EXPECT_EQ(f[0]->inner_start_pulse, (16382 + 9 * 20) * 2u);
    EXPECT_EQ(f[0]->inner_end_pulse, f[0]->inner_start_pulse + 192 * 40u);
    EXPECT_EQ(f[0]->pulse_count, f[0]->inner_end_pulse + 40 + 2);
    EXPECT_EQ(f[3]->first_pulse + f[3]->pulse_count, s.pulses.size());
}

TEST(C16RomLoader, LeadersOfManyLengths)
{
    for (const std::size_t leader : {40u, 300u, 5000u, 20000u}) {
        SCOPED_TRACE(leader);
        HandTape t;
        const Bytes data = data_bytes(100, unsigned(leader));
        save(t, "L", 0x2000, data, leader);
        expect_program(scan_of(t.file()), 0x2000, data);
    }
    // Too short a leader is no block: nothing read.
    HandTape t;
    t.copy(10, true, data_bytes(50, 9));
    EXPECT_TRUE(files(scan_of(t.file())).empty());
}

TEST(C16RomLoader, FastAndSlowMachines)
{
    for (const double speed : {0.86, 0.92, 1.08}) {
        SCOPED_TRACE(speed);
        HandTape t(2, speed);
        const Bytes data = data_bytes(700, 4);
        save(t, "SPEED", 0x3000, data, 2000);
        const TapeScan s = scan_of(t.file());
        expect_program(s, 0x3000, data);
        EXPECT_NEAR(files(s)[0]->pulse_short, SHORT * speed, 1.0);
    }
}

TEST(C16RomLoader, BothPairingsOfHalfWaves)
{
    for (const bool odd : {false, true}) {
        SCOPED_TRACE(odd);
        HandTape t;
        t.skew(3);  // uneven halves: only the right pairing gives clean waves
        if (odd)
            t.half(SHORT);  // a lone half-wave shifts every wave by one pulse
        const Bytes data = data_bytes(300, 5);
        save(t, "PHASE", 0x1001, data, 1000);
        const TapeScan s = scan_of(t.file());
        expect_program(s, 0x1001, data);
        const auto f = files(s);
        EXPECT_EQ(f[0]->first_pulse, 0u);
        EXPECT_EQ(f[0]->sync_pulse, 2000u + (odd ? 1 : 0));
    }
}

TEST(C16RomLoader, ADamagedByteFailsOnlyItsCopy)
{
    const Bytes data = data_bytes(400, 6);
    const Bytes h = header_bytes(3, 0x4000, uint16_t(0x4000 + data.size()), "HURT");
    Bytes bad = data;
    bad[200] ^= 0x10;
    uint8_t good_check = 0;
    for (uint8_t v : data)
        good_check ^= v;
    HandTape t;
    t.copy(3000, true, h);
    t.copy(450, false, h);
    t.shorts(194);
    t.copy(3000, true, bad, good_check);  // the FIRST data copy read wrong
    t.copy(450, false, data);
    t.shorts(194);
    const TapeScan s = scan_of(t.file());
    expect_covering(s);
    const auto f = files(s);
    ASSERT_EQ(f.size(), 4u);
    EXPECT_TRUE(f[0]->checkbyte_pass);
    EXPECT_TRUE(f[1]->checkbyte_pass);
    EXPECT_FALSE(f[2]->checkbyte_pass);
    EXPECT_TRUE(f[3]->checkbyte_pass);
    EXPECT_EQ(f[2]->type, C16_TYPE_DATA);
    // The program comes from the good REPEAT, once.
    EXPECT_TRUE(f[2]->loaded.empty());
    const std::vector<Bytes> got = loaded_programs(s, c16());
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(Bytes(got[0].begin() + 2, got[0].end()), data);
}

TEST(C16RomLoader, APulseGainedInsideABlock)
{
    HandTape t;
    const Bytes data = data_bytes(400, 14);
    save(t, "NOISE", 0x1001, data, 2000);
    Bytes f = t.file();
    const TapeScan clean = scan_of(f);
    ASSERT_EQ(files(clean).size(), 4u);
    // A long half-wave of the FIRST data copy's byte 100 split in two.
    std::size_t q = files(clean)[2]->inner_start_pulse + 100 * 40 + 4;
    while (f[TAP_HEADER_SIZE + q] < 40)
        ++q;
    const uint8_t v = f[TAP_HEADER_SIZE + q];
    f[TAP_HEADER_SIZE + q] = uint8_t(v / 2);
    f.insert(f.begin() + long(TAP_HEADER_SIZE + q + 1), uint8_t(v - v / 2));
    const TapeScan s = scan_of(f);
    expect_covering(s);
    const auto got = files(s);
    ASSERT_EQ(got.size(), 4u);
    for (const TapeEntry &e : s.entries)
        EXPECT_NE(e.kind, EntryKind::Unrecognized);
    // The copy is read to its end: only the split byte is wrong.
    ASSERT_EQ(got[2]->payload.size(), data.size());
    unsigned wrong = 0;
    for (std::size_t i = 0; i < data.size(); ++i)
        wrong += got[2]->payload[i] != data[i];
    EXPECT_EQ(wrong, 1u);
    EXPECT_FALSE(got[2]->checkbyte_pass);
    EXPECT_TRUE(got[3]->checkbyte_pass);
    const std::vector<Bytes> prgs = loaded_programs(s, c16());
    ASSERT_EQ(prgs.size(), 1u);
    EXPECT_EQ(Bytes(prgs[0].begin() + 2, prgs[0].end()), data);
}

TEST(C16RomLoader, ABadParityBitIsCounted)
{
    HandTape t;
    t.shorts(500);
    for (uint8_t k = 0; k < 9; ++k)
        t.byte(uint8_t(0x89 - k));
    t.byte(0x12);
    t.byte(0x34, false);
    t.byte(0x12 ^ 0x34);
    t.wave(LONG);
    t.shorts(100);
    const TapeScan scan = scan_of(t.file());
    const auto f = files(scan);
    ASSERT_EQ(f.size(), 1u);
    EXPECT_EQ(f[0]->parity_errors, 1u);
    EXPECT_TRUE(f[0]->checkbyte_pass);
    EXPECT_EQ(f[0]->payload, Bytes({0x12, 0x34}));
}

TEST(C16RomLoader, MissingSecondCopies)
{
    const Bytes data = data_bytes(250, 7);
    const Bytes h = header_bytes(1, 0x1001, uint16_t(0x1001 + data.size()), "ONCE");
    HandTape t;
    t.copy(2000, true, h);
    t.shorts(194);
    t.pause();
    t.copy(2000, true, data);
    t.shorts(194);
    const TapeScan s = scan_of(t.file());
    expect_program(s, 0x1001, data, 2);
    const auto f = files(s);
    EXPECT_EQ(f[0]->type, C16_TYPE_HEADER);
    EXPECT_EQ(f[0]->block_type, 1);
    EXPECT_EQ(f[1]->type, C16_TYPE_DATA);
    EXPECT_EQ(f[1]->copy, CopyId::First);
    EXPECT_EQ(f[1]->load_address, 0x1001);
    // The trailer before the pause belongs to the copy.
    EXPECT_EQ(s.entries[1].kind, EntryKind::Pause);
}

TEST(C16RomLoader, ABlockCutShortBySilence)
{
    const Bytes data = data_bytes(300, 8);
    HandTape t;
    t.copy(2000, true, header_bytes(3, 0x5000, uint16_t(0x5000 + data.size()), "CUT"));
    t.shorts(194);
    t.pause();
    t.copy(2000, true, Bytes(data.begin(), data.begin() + 120), data[0], false);
    t.pause();
    const TapeScan s = scan_of(t.file());
    expect_covering(s);
    const auto f = files(s);
    ASSERT_EQ(f.size(), 2u);
    EXPECT_EQ(f[1]->type, C16_TYPE_DATA);
    EXPECT_EQ(f[1]->payload, Bytes(data.begin(), data.begin() + 120));
    EXPECT_FALSE(f[1]->checkbyte_pass);
    EXPECT_TRUE(f[1]->loaded.empty());
}

TEST(C16RomLoader, FullWaveTapes)
{
    HandTape t(1);
    const Bytes data = data_bytes(600, 10);
    save(t, "V1", 0x1001, data, 3000);
    const TapeScan s = scan_of(t.file());
    expect_program(s, 0x1001, data);
    const auto f = files(s);
    EXPECT_EQ(f[0]->ideal_units[1], 53);
    EXPECT_EQ(f[0]->ideal_units[2], 106);
    EXPECT_EQ(f[0]->ideal_units[3], 213);
}

TEST(C16RomLoader, OnlyOnC16Tapes)
{
    // The same waves on a tape that names the C64 are not read as C16 blocks.
    for (const int version : {1, 2}) {
        HandTape t(version, 1.0, 0);
        save(t, "C64", 0x1001, data_bytes(100, 11), 2000);
        EXPECT_TRUE(files(scan_of(t.file())).empty());
    }
    // And the CBM ROM scanner leaves a C16 tape alone even where it could
    // read it: a C64 ROM tape relabelled as a C16 one.
    std::vector<PrgInput> prgs = {program("X", 0x0801, 50, 1)};
    Bytes c64 = encode_tap(prgs, EncodeOptions());
    c64[TAP_OFFSET_PLATFORM] = 2;
    EXPECT_TRUE(entries_of(scan_of(c64), &cbm_rom_scanner).empty());
}

TEST(C16RomLoader, CleaningKeepsHalfWaves)
{
    HandTape t(2, 0.9);
    t.skew(3);
    const Bytes data = data_bytes(200, 12);
    save(t, "CLEAN", 0x1001, data, 1000);
    const TapeScan s = scan_of(t.file());
    expect_program(s, 0x1001, data);
    const Bytes cleaned = clean_tap(s, CleanOptions());
    ASSERT_GT(cleaned.size(), TAP_HEADER_SIZE);
    EXPECT_EQ(cleaned[TAP_OFFSET_VERSION], 2);
    EXPECT_EQ(cleaned[TAP_OFFSET_PLATFORM], 2);
    const TapeScan again = scan_of(cleaned);
    expect_program(again, 0x1001, data);
    // Ideal half-waves: 27, 53 and 106 units.
    const TapeEntry *e = files(again)[2];
    for (std::size_t q = e->first_pulse; q < e->first_pulse + e->pulse_count; ++q) {
        const uint8_t u = again.pulses.small[q];
        ASSERT_TRUE(u == 27 || u == 53 || u == 106) << q << ": " << int(u);
    }
}

TEST(C16RomLoader, RealMachineTimings)
{
    // Half-waves of $17, $2D and $5A: a machine about 14 % fast.
    HandTape t(2, 23.0 / SHORT);
    const Bytes data = data_bytes(1000, 13);
    save(t, "REAL", 0x1001, data, 4000);
    expect_program(scan_of(t.file()), 0x1001, data);
}
