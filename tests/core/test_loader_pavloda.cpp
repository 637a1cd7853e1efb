// Pavloda blocks written pulse by pulse, not by the loader's encoder: the
// three pulse lengths (a long pulse is the two bits 1 0), the pilot's
// closing pulse joining the sync, sub-blocks with their own check bytes, a
// block cut short, and the Ocean scanner that must leave them alone.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr uint8_t S = 0x25, M = 0x43, L = 0x55;

uint8_t plus_one_sum(const Bytes &b)
{
    unsigned s = 0;
    for (uint8_t v : b)
        s += v + 1u;
    return uint8_t(s);
}

// Bits to pulses by hand: 0 short, 1 medium, "1 0" long (when `pair_up`).
class HandTape : public HandTapeBase {
public:
    void bits(const std::vector<int> &b, bool pair_up = true)
    {
        for (std::size_t i = 0; i < b.size(); ++i) {
            if (b[i] == 1 && pair_up && i + 1 < b.size() && b[i + 1] == 0) {
                pulse(L);
                ++i;
            } else {
                pulse(b[i] ? M : S);
            }
        }
    }

    std::vector<int> of_byte(uint8_t v)
    {
        std::vector<int> b;
        for (int k = 7; k >= 0; --k)
            b.push_back((v >> k) & 1);
        return b;
    }

    // A whole block: pilot, closing 1, sync, header, sub-blocks, trailer.
    void block(uint8_t number, uint16_t load, const Bytes &data, int bad_sub = -1, std::size_t cut = SIZE_MAX)
    {
        std::vector<int> b(1100, 0);
        b.push_back(1);
        const std::size_t subs = (data.size() + 255) / 256;
        Bytes bytes = {0x66, 0x1B, number, 0, uint8_t(load), uint8_t(load >> 8), uint8_t(subs),
                       uint8_t(data.size() % 256)};
        for (std::size_t k = 0; k < subs; ++k) {
            const Bytes sub(data.begin() + long(k * 256), data.begin() + long(std::min(data.size(), (k + 1) * 256)));
            bytes.insert(bytes.end(), sub.begin(), sub.end());
            bytes.push_back(uint8_t(plus_one_sum(sub) + (int(k) == bad_sub ? 1 : 0)));
        }
        if (cut < bytes.size())
            bytes.resize(cut);
        for (uint8_t v : bytes) {
            const std::vector<int> vb = of_byte(v);
            b.insert(b.end(), vb.begin(), vb.end());
        }
        if (cut == SIZE_MAX)
            b.insert(b.end(), 40, 0);
        bits(b);
    }

    void pulse(uint8_t u) { tap.push_back(u); }
};

} // namespace

TEST(PavlodaScanner, ThreePulseLengthsAndSubBlocks)
{
    HandTape t;
    const Bytes d = data_of(600, 1);  // sub-blocks of 256, 256 and 88
    t.block(7, 0x0801, d);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_PAVLODA.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    const TapeEntry &e = *blocks[0];
    EXPECT_EQ(e.type, PAVLODA_TYPE);
    EXPECT_EQ(e.block_type, 7);
    EXPECT_EQ(e.load_address, 0x0801);
    EXPECT_EQ(e.end_address, 0x0801 + 600);
    EXPECT_EQ(e.payload, d);
    EXPECT_TRUE(e.checkbyte_pass);
    EXPECT_EQ(e.read_errors, 0u);
    EXPECT_EQ(e.first_pulse, 0u);
    EXPECT_EQ(e.first_pulse + e.pulse_count, scan.pulses.size());
    // Every pulse keeps its length class, for cleaning.
    for (std::size_t q = 0; q < scan.pulses.size(); ++q) {
        const uint8_t u = scan.pulses.units(q);
        const PulseClass c = scan.pulse_class(q);
        ASSERT_EQ(e.ideal_units[std::size_t(c)], u) << q;
    }
    EXPECT_TRUE(entries_of(scan, LOADER_OCEAN.scanner).empty());
}

TEST(PavlodaScanner, MediumPulsesAloneReadTheSameBits)
{
    // The same block without a single long pulse: "1 0" as medium + short.
    HandTape paired, plain;
    const Bytes d = data_of(300, 2);
    paired.block(1, 0x2000, d);
    std::vector<int> bits(1100, 0);
    bits.push_back(1);
    Bytes bytes = {0x66, 0x1B, 1, 0, 0x00, 0x20, 2, 300 % 256};
    const Bytes first(d.begin(), d.begin() + 256), second(d.begin() + 256, d.end());
    bytes.insert(bytes.end(), first.begin(), first.end());
    bytes.push_back(plus_one_sum(first));
    bytes.insert(bytes.end(), second.begin(), second.end());
    bytes.push_back(plus_one_sum(second));
    for (uint8_t v : bytes) {
        const std::vector<int> vb = plain.of_byte(v);
        bits.insert(bits.end(), vb.begin(), vb.end());
    }
    bits.insert(bits.end(), 40, 0);
    plain.bits(bits, false);
    const TapeScan a = paired.scan(), b = plain.scan();
    ASSERT_EQ(entries_of(a, LOADER_PAVLODA.scanner).size(), 1u);
    ASSERT_EQ(entries_of(b, LOADER_PAVLODA.scanner).size(), 1u);
    EXPECT_LT(a.pulses.size(), b.pulses.size());
    EXPECT_EQ(entries_of(a, LOADER_PAVLODA.scanner)[0]->payload, d);
    EXPECT_EQ(entries_of(b, LOADER_PAVLODA.scanner)[0]->payload, d);
}

TEST(PavlodaScanner, TheFirstFailingSubBlockIsShown)
{
    HandTape t;
    const Bytes d = data_of(700, 3);
    t.block(1, 0x4000, d, 1);  // the second sub-block's check byte is off by one
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_PAVLODA.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_FALSE(blocks[0]->checkbyte_pass);
    const Bytes second(d.begin() + 256, d.begin() + 512);
    EXPECT_EQ(blocks[0]->checkbyte_computed, plus_one_sum(second));
    EXPECT_EQ(blocks[0]->checkbyte_on_tape, uint8_t(plus_one_sum(second) + 1));
    EXPECT_EQ(blocks[0]->payload, d);
}

TEST(PavlodaScanner, ABlockCutShortKeepsItsBytesAndFails)
{
    HandTape t;
    const Bytes d = data_of(500, 4);
    t.block(1, 0x1000, d, -1, 8 + 300);  // sync and header, the first sub-block and 43 bytes
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_PAVLODA.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_FALSE(blocks[0]->checkbyte_pass);
    EXPECT_EQ(blocks[0]->payload, Bytes(d.begin(), d.begin() + 299));
}

TEST(PavlodaScanner, AWrongSyncIsNoBlockAndOceanTapesAreNoPavloda)
{
    HandTape t;
    std::vector<int> bits(1100, 0);
    bits.push_back(1);
    for (uint8_t v : {uint8_t(0x66), uint8_t(0x1C), uint8_t(1), uint8_t(0)}) {
        const std::vector<int> vb = t.of_byte(v);
        bits.insert(bits.end(), vb.begin(), vb.end());
    }
    t.bits(bits);
    EXPECT_TRUE(entries_of(t.scan(), LOADER_PAVLODA.scanner).empty());

    const Bytes ocean = encode(LOADER_OCEAN, {program("O", 0x0801, 2000, 5)});
    const TapeScan scan = scan_tape(ocean.data(), ocean.size());
    EXPECT_TRUE(entries_of(scan, LOADER_PAVLODA.scanner).empty());
    EXPECT_FALSE(entries_of(scan, LOADER_OCEAN.scanner).empty());
}
