// Microload and Wild Save blocks written pulse by pulse, not by the loaders'
// encoders: the two share the pilot byte $A0, the countdown $0A..$01 and the
// bit order, and differ in speed and layout (Microload: start and the
// complement of the length, then the data and their XOR; Wild Save: end,
// size and check byte, then the data last to first, each XOR the low byte
// of its address). Each must read its own blocks and leave the other's.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format MICROLOAD_PULSES{333, 0x1C, 0x38, turbo::BitOrder::LsbFirst};
constexpr turbo::Format WILDSAVE_PULSES{480, 0x24, 0x56, turbo::BitOrder::LsbFirst};
const Bytes COUNTDOWN = {10, 9, 8, 7, 6, 5, 4, 3, 2, 1};

class HandTape : public HandTapeBase {
public:
    turbo::Writer writer(const turbo::Format &pulses, double speed = 1.0)
    {
        format_ = pulses;
        format_.ideal0 = uint8_t(pulses.ideal0 * speed + 0.5);
        format_.ideal1 = uint8_t(pulses.ideal1 * speed + 0.5);
        return turbo::Writer(tap, format_);
    }

    void microload(uint16_t load, const Bytes &data, double speed = 1.0, std::size_t pilot = 200, int checksum = -1)
    {
        turbo::Writer w = writer(MICROLOAD_PULSES, speed);
        w.repeat_byte(0xA0, pilot);
        w.bytes(COUNTDOWN);
        const uint16_t complement = uint16_t(0xFFFF - data.size());
        w.bytes({uint8_t(load), uint8_t(load >> 8), uint8_t(complement), uint8_t(complement >> 8)});
        w.bytes(data);
        w.byte(checksum >= 0 ? uint8_t(checksum) : turbo::xor_of(data.data(), data.size()));
        w.zeros(20);
    }

    // `written` bytes of the data go on tape (all when 0), from the top.
    void wildsave(uint16_t load, const Bytes &data, double speed = 1.0, std::size_t written = 0)
    {
        turbo::Writer w = writer(WILDSAVE_PULSES, speed);
        w.repeat_byte(0xA0, 200);
        w.bytes(COUNTDOWN);
        const uint32_t end = load + uint32_t(data.size());
        w.bytes({uint8_t(end), uint8_t(end >> 8), uint8_t(data.size()), uint8_t(data.size() >> 8),
                 turbo::xor_of(data.data(), data.size())});
        // The top byte first: the byte for address A is stored as value ^ (A & $FF).
        const std::size_t count = written == 0 ? data.size() : written;
        for (std::size_t k = 0; k < count; ++k) {
            const uint32_t address = end - 1 - k;
            w.byte(uint8_t(data[data.size() - 1 - k] ^ (address & 0xFF)));
        }
        if (written == 0)
            w.zeros(20);
    }

private:
    turbo::Format format_ = MICROLOAD_PULSES;
};

} // namespace

TEST(MicroloadScanner, TheComplementOfTheLengthGivesTheSize)
{
    HandTape t;
    const Bytes a = data_of(700, 1), b = data_of(1, 2);
    t.microload(0x0801, a);
    t.pause();
    t.microload(0xCFFF, b);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_MICROLOAD.scanner);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0]->type, MICROLOAD_TYPE);
    EXPECT_EQ(blocks[0]->load_address, 0x0801);
    EXPECT_EQ(blocks[0]->end_address, 0x0801 + 700);
    EXPECT_EQ(blocks[0]->size, 700u);
    EXPECT_EQ(blocks[0]->payload, a);
    EXPECT_EQ(blocks[1]->load_address, 0xCFFF);
    EXPECT_EQ(blocks[1]->payload, b);
    for (const TapeEntry *e : blocks) {
        EXPECT_TRUE(e->has_checkbyte && e->checkbyte_pass);
        EXPECT_EQ(e->read_errors, 0u);
        EXPECT_FALSE(e->has_name);
        EXPECT_EQ(e->crc32, crc32_of(e->payload));
    }
    // Inner start after the countdown, inner end at the checksum.
    EXPECT_EQ(blocks[0]->inner_start_pulse, std::size_t(200 + 10) * 8);
    EXPECT_EQ(blocks[0]->inner_end_pulse, std::size_t(200 + 10 + 4 + 700) * 8);
    EXPECT_TRUE(entries_of(scan, LOADER_WILDSAVE.scanner).empty());
}

TEST(MicroloadScanner, AWrongChecksumFailsOnlyItsBlock)
{
    HandTape t;
    const Bytes d = data_of(300, 3);
    t.microload(0x2000, d, 1.0, 200, turbo::xor_of(d.data(), d.size()) ^ 0x40);
    t.microload(0x3000, d);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_MICROLOAD.scanner);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_FALSE(blocks[0]->checkbyte_pass);
    EXPECT_TRUE(blocks[1]->checkbyte_pass);
}

TEST(MicroloadScanner, AWrongCountdownIsNoBlock)
{
    HandTape t;
    turbo::Writer w = t.writer(MICROLOAD_PULSES);
    w.repeat_byte(0xA0, 200);
    w.bytes({10, 9, 8, 0x77, 0x66, 5, 4, 0x33, 2, 1});  // three of ten wrong
    w.bytes(data_of(100, 4));
    const TapeScan scan = t.scan();
    EXPECT_TRUE(entries_of(scan, LOADER_MICROLOAD.scanner).empty());
}

TEST(WildSaveScanner, BytesComeLastFirstAndXorTheirAddress)
{
    HandTape t;
    const Bytes a = data_of(500, 5), b = data_of(256, 6);
    t.wildsave(0x0801, a);
    t.pause();
    t.wildsave(0xFF00, b);  // up to the top of memory: end $0000
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_WILDSAVE.scanner);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0]->type, WILDSAVE_TYPE);
    EXPECT_EQ(blocks[0]->load_address, 0x0801);
    EXPECT_EQ(blocks[0]->end_address, 0x0801 + 500);
    EXPECT_EQ(blocks[0]->payload, a);
    ASSERT_EQ(blocks[0]->loaded.size(), 1u);
    EXPECT_EQ(blocks[0]->loaded[0].load, 0x0801);
    EXPECT_EQ(blocks[1]->load_address, 0xFF00);
    EXPECT_EQ(blocks[1]->size, 256u);
    EXPECT_EQ(blocks[1]->payload, b);
    for (const TapeEntry *e : blocks) {
        EXPECT_TRUE(e->has_checkbyte && e->checkbyte_pass);
        EXPECT_EQ(e->read_errors, 0u);
    }
    // The check byte comes before the data: inner end is after the last byte.
    EXPECT_EQ(blocks[0]->inner_start_pulse, std::size_t(200 + 10) * 8);
    EXPECT_EQ(blocks[0]->inner_end_pulse, std::size_t(200 + 10 + 5 + 500) * 8);
    EXPECT_TRUE(entries_of(scan, LOADER_MICROLOAD.scanner).empty());
}

TEST(WildSaveScanner, ABlockCutShortKeepsItsTopBytes)
{
    HandTape t;
    const Bytes d = data_of(400, 7);
    t.wildsave(0x4000, d, 1.0, 150);  // only the top 150 bytes before the silence
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = entries_of(scan, LOADER_WILDSAVE.scanner);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0]->load_address, 0x4000);
    EXPECT_EQ(blocks[0]->end_address, 0x4000 + 400);
    EXPECT_EQ(blocks[0]->payload, Bytes(d.end() - 150, d.end()));
    ASSERT_EQ(blocks[0]->loaded.size(), 1u);
    EXPECT_EQ(blocks[0]->loaded[0].load, 0x4000 + 250);
    EXPECT_FALSE(blocks[0]->checkbyte_pass);
}

TEST(MicroloadAndWildSave, EachReadsOnlyItsOwnBlocksAtAnySpeed)
{
    // Wild Save's bit 0 (36 units) is below Microload's threshold (42), so
    // either tape reads bit for bit with the other's threshold: only the
    // pilot's pulse lengths tell them apart, also 8 % off speed.
    for (const double speed : {0.92, 1.0, 1.08}) {
        SCOPED_TRACE(speed);
        HandTape t;
        const Bytes m = data_of(300, 8), w = data_of(300, 9);
        t.microload(0x1000, m, speed);
        t.pause();
        t.wildsave(0x1000, w, speed);
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> micro = entries_of(scan, LOADER_MICROLOAD.scanner);
        const std::vector<const TapeEntry *> wild = entries_of(scan, LOADER_WILDSAVE.scanner);
        ASSERT_EQ(micro.size(), 1u);
        ASSERT_EQ(wild.size(), 1u);
        EXPECT_EQ(micro[0]->payload, m);
        EXPECT_EQ(wild[0]->payload, w);
        EXPECT_TRUE(micro[0]->checkbyte_pass);
        EXPECT_TRUE(wild[0]->checkbyte_pass);
    }
}

TEST(MicroloadAndWildSave, BootCodeTellsThemApartAndFromOcean)
{
    BootCodePlan plan;
    plan.threshold_cycles = 333;
    plan.lsb_first = true;
    plan.compares = {0xA0, 0x0A};
    const Bytes micro = make_boot_program(plan);
    plan.threshold_cycles = 480;
    const Bytes wild = make_boot_program(plan);
    const BootFacts m = read_boot_code(micro.data(), micro.size());
    const BootFacts w = read_boot_code(wild.data(), wild.size());
    EXPECT_TRUE(LOADER_MICROLOAD.identify(m));
    EXPECT_FALSE(LOADER_WILDSAVE.identify(m));
    EXPECT_TRUE(LOADER_WILDSAVE.identify(w));
    EXPECT_FALSE(LOADER_MICROLOAD.identify(w));
    // Ocean's loader runs a continuous timer at the same threshold.
    EXPECT_FALSE(LOADER_OCEAN.identify(w));

    // A Wild Save tape's boot file names Wild Save alone.
    std::string error;
    const Bytes tape = LOADER_WILDSAVE.encode({program("W", 0x0801, 100, 1)}, turbo::TapeOptions(), error);
    ASSERT_EQ(error, "");
    const TapeScan cbm = scan_tape(tape.data(), tape.size(), ScanOptions(), {&cbm_rom_scanner});
    const std::vector<const TurboLoader *> found = loaders_in_boot_files(cbm);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], find_turbo_loader("wildsave"));
}

TEST(MicroloadAndWildSave, ProgramsThatCannotBeWrittenAreRefused)
{
    std::string error;
    EXPECT_TRUE(LOADER_MICROLOAD.encode({program("E", 0x1000, 0, 1)}, turbo::TapeOptions(), error).empty());
    EXPECT_NE(error, "");
    error.clear();
    EXPECT_TRUE(LOADER_WILDSAVE.encode({program("E", 0x1000, 0, 1)}, turbo::TapeOptions(), error).empty());
    EXPECT_NE(error, "");
}
