// Audiogenic blocks written pulse by pulse, not by the loader's encoder:
// one page each behind a pilot of four $F0 bytes, one entry per chain of
// following pages, a check byte per block, whole pages without a boot file
// of this program, and the bounds of each program when the encoder's boot
// file records them.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format AUDIOGENIC_PULSES{319, 0x1A, 0x36, turbo::BitOrder::MsbFirst};

class HandTape : public HandTapeBase {
public:
    void block(uint8_t page, const Bytes &bytes, int checksum = -1, double speed = 1.0, uint8_t sync = 0xAA,
               int spoilt_pilot_byte = -1)
    {
        turbo::Format f = AUDIOGENIC_PULSES;
        f.ideal0 = uint8_t(f.ideal0 * speed + 0.5);
        f.ideal1 = uint8_t(f.ideal1 * speed + 0.5);
        turbo::Writer w(tap, f);
        for (int k = 0; k < 4; ++k)
            w.byte(k == spoilt_pilot_byte ? 0xF4 : 0xF0);
        w.byte(sync);
        w.byte(page);
        w.bytes(bytes);
        w.byte(checksum >= 0 ? uint8_t(checksum) : turbo::xor_of(bytes.data(), bytes.size()));
    }

    void zeros(std::size_t n) { turbo::Writer(tap, AUDIOGENIC_PULSES).zeros(n); }
};

} // namespace

TEST(AudiogenicScanner, BlocksOfFollowingPagesMakeOneEntry)
{
    HandTape t;
    const Bytes a = data_of(256, 1), b = data_of(256, 2), c = data_of(256, 3), d = data_of(256, 4);
    t.zeros(100);
    t.block(0x10, a);
    t.block(0x11, b, turbo::xor_of(b.data(), b.size()) ^ 0xFF);
    t.block(0x12, c);
    t.zeros(20);
    t.pause();
    t.block(0x40, d);  // another chain
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> chains = entries_of(scan, LOADER_AUDIOGENIC.scanner);
    ASSERT_EQ(chains.size(), 2u);
    const TapeEntry &e = *chains[0];
    EXPECT_EQ(e.type, AUDIOGENIC_TYPE);
    EXPECT_EQ(e.first_pulse, 0u);  // the leader belongs to the chain
    EXPECT_EQ(e.block_type, 3);    // blocks
    EXPECT_EQ(e.load_address, 0x1000);
    EXPECT_EQ(e.end_address, 0x1300);
    Bytes all = a;
    all.insert(all.end(), b.begin(), b.end());
    all.insert(all.end(), c.begin(), c.end());
    EXPECT_EQ(e.payload, all);
    // The second block fails, and its check byte is the one shown.
    EXPECT_FALSE(e.checkbyte_pass);
    EXPECT_EQ(e.checkbyte_computed, turbo::xor_of(b.data(), b.size()));
    EXPECT_EQ(e.checkbyte_on_tape, uint8_t(turbo::xor_of(b.data(), b.size()) ^ 0xFF));
    EXPECT_TRUE(chains[1]->checkbyte_pass);
    EXPECT_EQ(chains[1]->load_address, 0x4000);
    // Without a boot file of this program, every block loads its page.
    ASSERT_EQ(e.loaded.size(), 1u);
    EXPECT_EQ(e.loaded[0].load, 0x1000);
    EXPECT_EQ(e.loaded[0].bytes, all);
    // Inner start at the first page byte, inner end at the last checksum.
    EXPECT_EQ(e.inner_start_pulse, std::size_t(100 + 5 * 8));
    EXPECT_EQ(e.inner_end_pulse, std::size_t(100 + 3 * 8 * (4 + 1 + 1 + 256 + 1) - 8));
}

TEST(AudiogenicScanner, ASpoiltPilotByteInAChainIsReadThrough)
{
    HandTape t;
    const Bytes a = data_of(256, 5), b = data_of(256, 6);
    t.block(0x20, a);
    t.block(0x21, b, -1, 1.0, 0xAA, 1);  // the second pilot byte of the block is spoilt
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> chains = entries_of(scan, LOADER_AUDIOGENIC.scanner);
    ASSERT_EQ(chains.size(), 1u);
    EXPECT_EQ(chains[0]->block_type, 2);
    EXPECT_TRUE(chains[0]->checkbyte_pass);
}

TEST(AudiogenicScanner, OffSpeedBlocksCalibrateFromTheirShortPilot)
{
    for (const double speed : {0.9, 1.1}) {
        SCOPED_TRACE(speed);
        HandTape t;
        const Bytes a = data_of(256, 4);
        t.block(0xC0, a, -1, speed);
        t.pause();
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_AUDIOGENIC.scanner);
        ASSERT_EQ(blocks.size(), 1u);
        EXPECT_EQ(blocks[0]->payload, a);
        EXPECT_TRUE(blocks[0]->checkbyte_pass);
        EXPECT_EQ(blocks[0]->read_errors, 0u);
    }
}

TEST(AudiogenicScanner, AWrongSyncIsNoBlock)
{
    HandTape t;
    t.block(0x20, data_of(256, 7), -1, 1.0, 0xAB);
    t.pause();
    EXPECT_TRUE(entries_of(t.scan(), LOADER_AUDIOGENIC.scanner).empty());
}

TEST(AudiogenicEncoder, TheBootFileKeepsEachProgramsBounds)
{
    const PrgInput a = program("A", 0x0801, 600, 5), b = program("B", 0x08F0, 10, 6);
    const Bytes tap = encode(LOADER_AUDIOGENIC, {a, b});
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_AUDIOGENIC.scanner);
    // $0801..$0A59: pages $08, $09, $0A; then $08F0..$08FA: page $08.
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0]->block_type, 3);
    EXPECT_EQ(blocks[1]->block_type, 1);
    EXPECT_EQ(blocks[0]->load_address, 0x0800);
    EXPECT_EQ(blocks[1]->load_address, 0x0800);
    // Each chain loads its own program's bytes, though the two share page $08.
    ASSERT_EQ(blocks[0]->loaded.size(), 1u);
    EXPECT_EQ(blocks[0]->loaded[0].load, 0x0801);
    EXPECT_EQ(blocks[0]->loaded[0].bytes, Bytes(a.bytes.begin() + 2, a.bytes.end()));
    ASSERT_EQ(blocks[1]->loaded.size(), 1u);
    EXPECT_EQ(blocks[1]->loaded[0].load, 0x08F0);
    EXPECT_EQ(blocks[1]->loaded[0].bytes, Bytes(b.bytes.begin() + 2, b.bytes.end()));
    const std::vector<Bytes> back = loaded_programs(scan, LOADER_AUDIOGENIC.scanner);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0], a.bytes);
    EXPECT_EQ(back[1], b.bytes);
}
