// CHR blocks (Cauldron, Hewson, Rainbird) written pulse by pulse, not by
// the loader's encoder: the long sync run $64..$FF with a damaged byte, the
// block byte, the 10-byte header, wrong checksums, and Turbo Tape's blocks
// at the same speed.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format CHR_PULSES{263, 0x1A, 0x2A, turbo::BitOrder::MsbFirst};

Bytes sync_run()
{
    Bytes s;
    for (unsigned v = 0x64; v <= 0xFF; ++v)
        s.push_back(uint8_t(v));
    return s;
}

struct ChrBlock {
    uint16_t load = 0x0801;
    Bytes data;
    uint8_t block_byte = 1;
    uint16_t exec = 0x080D;
    int checksum = -1;
    Bytes sync = sync_run();
    double speed = 1.0;
};

class HandTape : public HandTapeBase {
public:
    void block(const ChrBlock &b)
    {
        turbo::Format f = CHR_PULSES;
        f.ideal0 = uint8_t(f.ideal0 * b.speed + 0.5);
        f.ideal1 = uint8_t(f.ideal1 * b.speed + 0.5);
        turbo::Writer w(tap, f);
        w.repeat_byte(0x63, 300);
        w.bytes(b.sync);
        w.byte(b.block_byte);
        const uint16_t end = uint16_t(b.load + b.data.size());
        w.bytes({uint8_t(b.load), uint8_t(b.load >> 8), uint8_t(end), uint8_t(end >> 8), uint8_t(b.exec),
                 uint8_t(b.exec >> 8), 0x80, 0x00, 0x01, 0x00});
        w.bytes(b.data);
        w.byte(b.checksum >= 0 ? uint8_t(b.checksum) : turbo::xor_of(b.data.data(), b.data.size()));
        w.zeros(40);
    }
};

} // namespace

TEST(ChrScanner, HeaderAndDataOfEveryBlock)
{
    HandTape t;
    ChrBlock a;
    a.data = data_of(1000, 1);
    ChrBlock b;
    b.load = 0xC000;
    b.data = data_of(5, 2);
    b.block_byte = 0x2A;
    t.block(a);
    t.pause();
    t.block(b);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_CHR.scanner);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0]->type, CHR_TYPE);
    EXPECT_EQ(blocks[0]->load_address, 0x0801);
    EXPECT_EQ(blocks[0]->end_address, 0x0801 + 1000);
    EXPECT_EQ(blocks[0]->payload, a.data);
    EXPECT_EQ(blocks[0]->block_type, 1);
    EXPECT_EQ(blocks[1]->load_address, 0xC000);
    EXPECT_EQ(blocks[1]->payload, b.data);
    EXPECT_EQ(blocks[1]->block_type, 0x2A);
    for (const TapeEntry *e : blocks) {
        EXPECT_TRUE(e->has_checkbyte && e->checkbyte_pass);
        EXPECT_EQ(e->read_errors, 0u);
    }
    // Inner start after the sync run and the block byte: the header begins.
    EXPECT_EQ(blocks[0]->inner_start_pulse, std::size_t(300 + 156 + 1) * 8);
    EXPECT_EQ(blocks[0]->inner_end_pulse, std::size_t(300 + 156 + 1 + 10 + 1000) * 8);
    EXPECT_TRUE(entries_of(scan, LOADER_TURBOTAPE.scanner).empty());
}

TEST(ChrScanner, ADamagedSyncByteLateInTheRunIsForgiven)
{
    HandTape t;
    ChrBlock a;
    a.data = data_of(300, 3);
    a.sync[100] ^= 0x10;
    a.sync[150] ^= 0x01;
    t.block(a);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_CHR.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0]->payload, a.data);
}

TEST(ChrScanner, AWrongStartOfTheSyncOrABlockByteOfZeroIsNoBlock)
{
    for (int variant = 0; variant < 2; ++variant) {
        HandTape t;
        ChrBlock a;
        a.data = data_of(300, 4);
        if (variant == 0)
            a.sync[2] = 0x00;
        else
            a.block_byte = 0;
        t.block(a);
        const TapeScan scan = t.scan();
        EXPECT_TRUE(entries_of(scan, LOADER_CHR.scanner).empty()) << variant;
    }
}

TEST(ChrScanner, AWrongChecksumFailsAndOffSpeedTapesCalibrate)
{
    HandTape t;
    ChrBlock a;
    a.data = data_of(400, 5);
    a.checksum = turbo::xor_of(a.data.data(), a.data.size()) ^ 0x80;
    a.speed = 1.1;
    ChrBlock b;
    b.data = data_of(400, 6);
    b.speed = 0.9;
    t.block(a);
    t.block(b);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_CHR.scanner);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_FALSE(blocks[0]->checkbyte_pass);
    EXPECT_EQ(blocks[0]->payload, a.data);
    EXPECT_TRUE(blocks[1]->checkbyte_pass);
    EXPECT_EQ(blocks[1]->payload, b.data);
}

TEST(ChrScanner, TurboTapeTapesAreNotChrAndTheBootFilesTellThemApart)
{
    const std::vector<PrgInput> prgs = {program("GAME", 0x0801, 1500, 7)};
    const Bytes turbo_tape = encode(LOADER_TURBOTAPE, prgs);
    const Bytes chr = encode(LOADER_CHR, prgs);
    const TapeScan tt_scan = scan_tape(turbo_tape.data(), turbo_tape.size());
    const TapeScan chr_scan = scan_tape(chr.data(), chr.size());
    EXPECT_TRUE(entries_of(tt_scan, LOADER_CHR.scanner).empty());
    EXPECT_TRUE(entries_of(chr_scan, LOADER_TURBOTAPE.scanner).empty());
    EXPECT_EQ(entries_of(chr_scan, LOADER_CHR.scanner).size(), 1u);

    const TapeScan cbm = scan_tape(chr.data(), chr.size(), ScanOptions(), {&cbm_rom_scanner});
    const std::vector<const TurboLoader *> found = loaders_in_boot_files(cbm);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], find_turbo_loader("chr"));
}
