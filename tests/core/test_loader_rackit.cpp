// Rack-It files written pulse by pulse, not by the loader's encoder: both
// bit orders, the per-file XOR key, big-endian addresses, the checksum in
// the header, and files cut short.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

struct RackFile {
    uint16_t load = 0x0801;
    Bytes data;
    uint8_t key = 0x00;
    turbo::BitOrder order = turbo::BitOrder::MsbFirst;
    int checksum = -1;
    std::size_t written = SIZE_MAX;  // data bytes on the tape
    uint8_t sync = 0x3D;
    double speed = 1.0;
};

class HandTape : public HandTapeBase {
public:
    void file(const RackFile &f)
    {
        turbo::Format pulses{352, uint8_t(0x1D * f.speed + 0.5), uint8_t(0x3C * f.speed + 0.5), f.order};
        turbo::Writer w(tap, pulses);
        w.repeat_byte(0x25, 200);
        w.byte(f.sync);
        const uint16_t end = uint16_t(f.load + f.data.size());
        w.bytes({f.key, uint8_t(end >> 8), uint8_t(end), uint8_t(f.load >> 8), uint8_t(f.load),
                 f.checksum >= 0 ? uint8_t(f.checksum) : turbo::xor_of(f.data.data(), f.data.size())});
        for (std::size_t i = 0; i < f.data.size() && i < f.written; ++i)
            w.byte(uint8_t(f.data[i] ^ f.key));
        if (f.written >= f.data.size())
            w.zeros(30);
    }
};

} // namespace

TEST(RackItScanner, EitherBitOrderAndAKeyPerFile)
{
    HandTape t;
    RackFile a;
    a.data = data_of(900, 1);
    a.key = 0x9E;
    RackFile b;
    b.load = 0xC123;
    b.data = data_of(300, 2);
    b.key = 0x41;
    b.order = turbo::BitOrder::LsbFirst;
    t.file(a);
    t.pause();
    t.file(b);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_RACKIT.scanner);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]->type, RACKIT_TYPE);
    EXPECT_EQ(files[0]->load_address, 0x0801);
    EXPECT_EQ(files[0]->end_address, 0x0801 + 900);
    EXPECT_EQ(files[0]->payload, a.data);
    EXPECT_EQ(files[1]->load_address, 0xC123);
    EXPECT_EQ(files[1]->payload, b.data);
    for (const TapeEntry *e : files) {
        EXPECT_TRUE(e->has_checkbyte && e->checkbyte_pass);
        EXPECT_EQ(e->read_errors, 0u);
    }
    // Inner start at the key, inner end after the last data byte.
    EXPECT_EQ(files[0]->inner_start_pulse, std::size_t(200 + 1) * 8);
    EXPECT_EQ(files[0]->inner_end_pulse, std::size_t(200 + 1 + 6 + 900) * 8);
}

TEST(RackItScanner, AWrongChecksumFailsAndAFileCutShortKeepsItsBytes)
{
    HandTape t;
    RackFile a;
    a.data = data_of(200, 3);
    a.key = 0x11;
    a.checksum = turbo::xor_of(a.data.data(), a.data.size()) ^ 0x22;
    RackFile b;
    b.data = data_of(500, 4);
    b.key = 0x77;
    b.written = 120;
    b.speed = 1.08;
    t.file(a);
    t.file(b);
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_RACKIT.scanner);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_FALSE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->payload, a.data);
    EXPECT_EQ(files[1]->payload, Bytes(b.data.begin(), b.data.begin() + 120));
    EXPECT_FALSE(files[1]->checkbyte_pass);
}

TEST(RackItScanner, AWrongSyncIsNoFile)
{
    HandTape t;
    RackFile a;
    a.data = data_of(200, 5);
    a.sync = 0x3C;
    t.file(a);
    EXPECT_TRUE(entries_of(t.scan(), LOADER_RACKIT.scanner).empty());
}

TEST(RackItScanner, TheBootFileIdentifiesIt)
{
    const Bytes tape = encode(LOADER_RACKIT, {program("R", 0x0801, 100, 1)});
    const TapeScan cbm = scan_tape(tape.data(), tape.size(), ScanOptions(), {&cbm_rom_scanner});
    const std::vector<const TurboLoader *> found = loaders_in_boot_files(cbm);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], find_turbo_loader("rackit"));
}
