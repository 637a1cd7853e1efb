// Freeload blocks written pulse by pulse, not by the loader's encoder:
// pilots of other lengths, leaders, gaps, trailers, blocks cut short, and
// the tapes of the loader that shares its threshold.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "core/loaders/usgold.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format FREELOAD_PULSES{360, 0x24, 0x41, turbo::BitOrder::MsbFirst};


// A tape without boot file, built block by block.
class HandTape {
public:
    HandTape() : tap_(tap_file_header(1, false, false, 0)) {}

    turbo::Writer writer(double speed = 1.0)
    {
        format_ = FREELOAD_PULSES;
        format_.ideal0 = uint8_t(FREELOAD_PULSES.ideal0 * speed + 0.5);
        format_.ideal1 = uint8_t(FREELOAD_PULSES.ideal1 * speed + 0.5);
        return turbo::Writer(tap_, format_);
    }

    // Pilot, sync, addresses, data and a checksum (XOR of the data unless given).
    void block(uint16_t load, const Bytes &data, std::size_t pilot = 256, std::size_t trailer = 16,
               int checksum = -1, uint16_t announced_end = 0, double speed = 1.0)
    {
        const uint16_t end = announced_end != 0 ? announced_end : uint16_t(load + data.size());
        turbo::Writer w = writer(speed);
        w.repeat_byte(0x40, pilot);
        w.byte(0x5A);
        w.bytes({uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8)});
        w.bytes(data);
        w.byte(checksum >= 0 ? uint8_t(checksum) : turbo::xor_of(data.data(), data.size()));
        w.zeros(trailer);
    }

    void pause(double seconds = 1.0)
    {
        turbo::TapeOptions options;
        options.pause_seconds = seconds;
        turbo::append_pause(tap_, options);
    }

    Bytes &bytes() { return tap_; }

    TapeScan scan()
    {
        tap_fix_data_size(tap_);
        TapeScan s = scan_tape(tap_.data(), tap_.size());
        expect_covering(s);
        return s;
    }

private:
    Bytes tap_;
    turbo::Format format_ = FREELOAD_PULSES;
};

unsigned count_kind(const TapeScan &scan, EntryKind kind)
{
    unsigned n = 0;
    for (const TapeEntry &e : scan.entries)
        n += e.kind == kind;
    return n;
}

} // namespace

TEST(FreeloadScanner, PilotsOfAnyLengthAndBlocksWithoutGapsRead)
{
    HandTape t;
    const Bytes a = data_of(500, 1), b = data_of(40, 2), c = data_of(3, 3);
    t.block(0x0801, a, 12, 0);
    t.block(0xC000, b, 600, 0);  // straight after the last one's checksum
    t.pause();
    t.block(0x4000, c, 64, 100);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_FREELOAD.scanner);
    ASSERT_EQ(blocks.size(), 3u);
    EXPECT_EQ(count_kind(scan, EntryKind::Unrecognized), 0u);
    EXPECT_EQ(blocks[0]->type, FREELOAD_TYPE);
    EXPECT_EQ(blocks[0]->first_pulse, 0u);
    EXPECT_EQ(blocks[0]->load_address, 0x0801);
    EXPECT_EQ(blocks[0]->end_address, 0x0801 + 500);
    EXPECT_EQ(blocks[0]->payload, a);
    EXPECT_EQ(blocks[1]->load_address, 0xC000);
    EXPECT_EQ(blocks[1]->first_pulse, blocks[0]->first_pulse + blocks[0]->pulse_count);
    EXPECT_EQ(blocks[1]->first_pulse, std::size_t(12 + 1 + 4 + 500 + 1) * 8);
    EXPECT_EQ(blocks[1]->payload, b);
    EXPECT_EQ(blocks[2]->payload, c);
    EXPECT_EQ(blocks[2]->crc32, crc32_of(c));
    for (const TapeEntry *e : blocks) {
        EXPECT_TRUE(e->has_checkbyte && e->checkbyte_pass);
        EXPECT_FALSE(e->has_name);
        ASSERT_EQ(e->loaded.size(), 1u);
        EXPECT_EQ(e->loaded[0].load, e->load_address);
    }
    // Inner start after the sync byte, inner end at the checksum byte.
    EXPECT_EQ(blocks[2]->inner_start_pulse, blocks[2]->first_pulse + (64 + 1) * 8);
    EXPECT_EQ(blocks[2]->inner_end_pulse, blocks[2]->inner_start_pulse + (4 + 3) * 8);
    // The trailer of 100 pulses belongs to the last block.
    EXPECT_EQ(blocks[2]->first_pulse + blocks[2]->pulse_count, scan.pulses.size());
}

TEST(FreeloadScanner, ALeaderOfZerosBelongsToTheBlock)
{
    HandTape t;
    t.writer().zeros(777);
    t.block(0x1000, data_of(50, 4), 30);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_FREELOAD.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0]->first_pulse, 0u);
    EXPECT_EQ(blocks[0]->inner_start_pulse, std::size_t(777 + 31 * 8));
    EXPECT_TRUE(blocks[0]->checkbyte_pass);
    EXPECT_EQ(scan.entries.size(), 1u);
}

TEST(FreeloadScanner, SlowAndFastTapesCalibrateFromThePilot)
{
    // 12 % fast puts bit 1 at 57 units; 12 % slow puts bit 0 at 40, close
    // to the loader's own threshold of 45, and 25 % slow right on it.
    for (const double speed : {0.88, 1.12, 1.25}) {
        SCOPED_TRACE(speed);
        HandTape t;
        const Bytes d = data_of(300, 5);
        t.block(0x2000, d, 100, 16, -1, 0, speed);
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_FREELOAD.scanner);
        ASSERT_EQ(blocks.size(), 1u);
        EXPECT_EQ(blocks[0]->payload, d);
        EXPECT_TRUE(blocks[0]->checkbyte_pass);
        EXPECT_EQ(blocks[0]->read_errors, 0u);
    }
}

TEST(FreeloadScanner, ABlockCutShortBySilenceKeepsItsBytes)
{
    HandTape t;
    const Bytes d = data_of(300, 6);
    // Announced 1000 bytes, 300 written, and no checksum after them.
    turbo::Writer w = t.writer();
    w.repeat_byte(0x40, 100);
    w.byte(0x5A);
    w.bytes({0x00, 0x10, 0xE8, 0x13});
    w.bytes(d);
    w.bit(1);  // half a byte more
    w.bit(0);
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_FREELOAD.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0]->load_address, 0x1000);
    EXPECT_EQ(blocks[0]->end_address, 0x13E8);
    EXPECT_EQ(blocks[0]->payload, Bytes(d.begin(), d.end() - 1));
    EXPECT_EQ(blocks[0]->checkbyte_on_tape, d.back());
    EXPECT_EQ(blocks[0]->checkbyte_computed, turbo::xor_of(d.data(), d.size() - 1));
    EXPECT_EQ(count_kind(scan, EntryKind::Unrecognized), 0u);
    EXPECT_EQ(scan.entries.back().kind, EntryKind::Pause);
}

TEST(FreeloadScanner, AShortBlockEndingWithItsChecksumPasses)
{
    HandTape t;
    const Bytes d = data_of(200, 7);
    t.block(0x3000, d, 50, 0, -1, 0x3400);  // announces 1024 bytes
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_FREELOAD.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0]->payload, d);
    EXPECT_TRUE(blocks[0]->checkbyte_pass);
}

TEST(FreeloadScanner, ABlockUpToTheTopOfMemoryEndsAtZero)
{
    HandTape t;
    const Bytes d = data_of(256, 8);
    t.block(0xFF00, d, 50, 16, -1, 0x0000);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_FREELOAD.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0]->size, 256u);
    EXPECT_EQ(blocks[0]->payload, d);
    EXPECT_TRUE(blocks[0]->checkbyte_pass);
}

TEST(FreeloadScanner, AWrongChecksumFailsAndALongTrailerStaysWithItsBlock)
{
    HandTape t;
    const Bytes d = data_of(100, 9);
    const uint8_t wrong = uint8_t(turbo::xor_of(d.data(), d.size()) ^ 0x11);
    t.block(0x0900, d, 80, 3000, wrong);
    t.block(0x0A00, d, 80, 16);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_FREELOAD.scanner);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_FALSE(blocks[0]->checkbyte_pass);
    EXPECT_EQ(blocks[0]->checkbyte_on_tape, wrong);
    EXPECT_TRUE(blocks[1]->checkbyte_pass);
    EXPECT_EQ(blocks[1]->first_pulse, std::size_t(80 + 1 + 4 + 100 + 1) * 8 + 3000);
}

TEST(FreeloadScanner, APilotWithTheWrongSyncIsNoBlock)
{
    HandTape t;
    turbo::Writer w = t.writer();
    w.repeat_byte(0x40, 100);
    w.byte(0x5B);
    w.bytes(data_of(100, 10));
    const TapeScan scan = t.scan();
    EXPECT_TRUE(entries_of(scan, LOADER_FREELOAD.scanner).empty());
}

TEST(FreeloadScanner, UsGoldTapesAreNotFreeloadAndTheBootFilesTellThemApart)
{
    const std::vector<PrgInput> prgs = {program("GAME", 0x0801, 2000, 11), program("", 0xC000, 100, 12)};
    std::string error;
    const Bytes gold = usgold_encode(prgs, turbo::TapeOptions(), false, error);
    const Bytes free = encode(LOADER_FREELOAD, prgs);
    const TapeScan gold_scan = scan_tape(gold.data(), gold.size());
    const TapeScan free_scan = scan_tape(free.data(), free.size());
    EXPECT_TRUE(entries_of(gold_scan, LOADER_FREELOAD.scanner).empty());
    EXPECT_EQ(entries_of(gold_scan, LOADER_USGOLD.scanner).size(), 2u);
    EXPECT_TRUE(entries_of(free_scan, LOADER_USGOLD.scanner).empty());
    EXPECT_EQ(entries_of(free_scan, LOADER_FREELOAD.scanner).size(), 2u);

    const TapeScan free_cbm = scan_tape(free.data(), free.size(), ScanOptions(), {&cbm_rom_scanner});
    const std::vector<const TurboLoader *> found = loaders_in_boot_files(free_cbm);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], find_turbo_loader("freeload"));
}

TEST(FreeloadScanner, BootCodeNeedsTheThresholdAndBothCompares)
{
    BootCodePlan plan;
    plan.threshold_cycles = 360;
    plan.compares = {0x40, 0x5A};
    const Bytes good = make_boot_program(plan);
    EXPECT_TRUE(LOADER_FREELOAD.identify(read_boot_code(good.data(), good.size())));
    EXPECT_FALSE(LOADER_USGOLD.identify(read_boot_code(good.data(), good.size())));
    plan.threshold_cycles = 480;
    const Bytes slow = make_boot_program(plan);
    EXPECT_FALSE(LOADER_FREELOAD.identify(read_boot_code(slow.data(), slow.size())));
    plan.threshold_cycles = 360;
    plan.compares = {0x40, 0xFF};
    const Bytes mixed = make_boot_program(plan);
    EXPECT_FALSE(LOADER_FREELOAD.identify(read_boot_code(mixed.data(), mixed.size())));
    EXPECT_FALSE(LOADER_USGOLD.identify(read_boot_code(mixed.data(), mixed.size())));
}

TEST(FreeloadScanner, ATapeWithoutBootFileIsReadWithIdentificationOn)
{
    HandTape t;
    const Bytes d = data_of(400, 13);
    t.block(0x0801, d);
    tap_fix_data_size(t.bytes());
    const IdentifiedScan id =
        scan_tape_identified(t.bytes().data(), t.bytes().size(), ScanOptions(), builtin_scanners(), true);
    EXPECT_EQ(id.loader, nullptr);
    const std::vector<const TapeEntry *> blocks = entries_of(id.scan, LOADER_FREELOAD.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0]->payload, d);
}
