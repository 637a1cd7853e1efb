// IRQTape files written pulse by pulse, not by the loader's encoder: plain
// and run-length coded data (runs of 256, the escape byte in the data), the
// header's own XOR, files cut short, and the encoder choosing the coding.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format IRQ_PULSES{384, 0x20, 0x40, turbo::BitOrder::MsbFirst};

struct IrqFile {
    uint16_t load = 0x0801;
    uint16_t end = 0;     // load + decoded size when 0
    std::size_t size = 0;  // decoded size
    Bytes stored;          // the bytes on the tape after the header
    bool coded = false;
    uint8_t name = 'A';
    int header_xor = -1;
    int checksum = -1;
    bool cut = false;  // no checksum, silence right after the stored bytes
    double speed = 1.0;
};

class HandTape : public HandTapeBase {
public:
    void file(const IrqFile &f)
    {
        turbo::Format pulses = IRQ_PULSES;
        pulses.ideal0 = uint8_t(pulses.ideal0 * f.speed + 0.5);
        pulses.ideal1 = uint8_t(pulses.ideal1 * f.speed + 0.5);
        turbo::Writer w(tap, pulses);
        w.repeat_byte(0xFF, 300);
        w.bytes({0xC3, 0xAA});
        const uint16_t end = f.end != 0 ? f.end : uint16_t(f.load + f.size);
        Bytes header = {0xF0,          f.coded ? uint8_t(0xB7) : uint8_t(0x96), f.name, uint8_t(f.load),
                        uint8_t(f.load >> 8), uint8_t((f.size + 255) / 256), uint8_t(end), uint8_t(end >> 8)};
        header.push_back(f.header_xor >= 0 ? uint8_t(f.header_xor) : turbo::xor_of(header.data(), header.size()));
        w.bytes(header);
        w.bytes(f.stored);
        if (!f.cut) {
            w.byte(f.checksum >= 0 ? uint8_t(f.checksum) : turbo::xor_of(f.stored.data(), f.stored.size()));
            w.zeros(30);
        }
    }
};

} // namespace

TEST(IrqTapeScanner, PlainDataWithNameAndAddresses)
{
    HandTape t;
    IrqFile f;
    f.stored = data_of(600, 1);
    f.size = 600;
    f.name = 'G';
    t.file(f);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->type, IRQTAPE_TYPE);
    EXPECT_EQ(files[0]->name, "G");
    EXPECT_EQ(files[0]->load_address, 0x0801);
    EXPECT_EQ(files[0]->end_address, 0x0801 + 600);
    EXPECT_EQ(files[0]->block_type, 3);  // pages
    EXPECT_EQ(files[0]->payload, f.stored);
    EXPECT_TRUE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->read_errors, 0u);
    // Inner start at the header's $F0, inner end at the checksum.
    EXPECT_EQ(files[0]->inner_start_pulse, std::size_t(300 + 2) * 8);
    EXPECT_EQ(files[0]->inner_end_pulse, std::size_t(300 + 2 + 9 + 600) * 8);
}

TEST(IrqTapeScanner, RunLengthCodedData)
{
    // Escape $E5: a run of 300 zeros as 256 + 44, the escape byte itself,
    // plain bytes between.
    HandTape t;
    IrqFile f;
    f.coded = true;
    f.stored = {0xE5, 0x01, 0x02, 0xE5, 0x00, 0x00, 0xE5, 44, 0x00, 0x03, 0xE5, 0x01, 0xE5, 0x04, 0xE5, 5, 0x77};
    Bytes decoded = {0x01, 0x02};
    decoded.insert(decoded.end(), 300, 0x00);
    decoded.insert(decoded.end(), {0x03, 0xE5, 0x04});
    decoded.insert(decoded.end(), 5, 0x77);
    f.size = decoded.size();
    f.load = 0x4000;
    t.file(f);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, decoded);
    EXPECT_EQ(files[0]->size, decoded.size());
    // The checksum is over the coded bytes, as they stand on the tape.
    EXPECT_TRUE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->checkbyte_on_tape, turbo::xor_of(f.stored.data(), f.stored.size()));
    ASSERT_EQ(files[0]->loaded.size(), 1u);
    EXPECT_EQ(files[0]->loaded[0].load, 0x4000);
}

TEST(IrqTapeScanner, AWrongHeaderXorIsNoFileAndAWrongChecksumFails)
{
    HandTape t;
    IrqFile bad_header;
    bad_header.stored = data_of(100, 2);
    bad_header.size = 100;
    bad_header.header_xor = 0x00;
    IrqFile bad_data;
    bad_data.stored = data_of(100, 3);
    bad_data.size = 100;
    bad_data.checksum = turbo::xor_of(bad_data.stored.data(), 100) ^ 0x01;
    t.file(bad_header);
    t.pause();
    t.file(bad_data);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, bad_data.stored);
    EXPECT_FALSE(files[0]->checkbyte_pass);
}

TEST(IrqTapeScanner, AFileCutShortKeepsItsBytesAndFails)
{
    HandTape t;
    IrqFile f;
    f.stored = data_of(150, 4);
    f.size = 400;
    f.cut = true;
    t.file(f);
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, f.stored);
    EXPECT_EQ(files[0]->end_address, 0x0801 + 400);
    EXPECT_FALSE(files[0]->checkbyte_pass);
}

TEST(IrqTapeScanner, OffSpeedFilesCalibrateFromTheirPilotOfOnes)
{
    for (const double speed : {0.9, 1.1}) {
        SCOPED_TRACE(speed);
        HandTape t;
        IrqFile f;
        f.stored = data_of(500, 5);
        f.size = 500;
        f.speed = speed;
        t.file(f);
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_IRQTAPE.scanner);
        ASSERT_EQ(files.size(), 1u);
        EXPECT_EQ(files[0]->payload, f.stored);
        EXPECT_TRUE(files[0]->checkbyte_pass);
        EXPECT_EQ(files[0]->read_errors, 0u);
    }
}

TEST(IrqTapeEncoder, ProgramsWithRunsAreCodedAndComeBackWhole)
{
    PrgInput sparse = program("SPARSE", 0x2000, 0, 1);
    for (int i = 0; i < 3000; ++i)
        sparse.bytes.push_back(i % 500 < 450 ? 0x00 : uint8_t(i * 7));
    sparse.bytes.push_back(0x00);  // the escape byte is the rarest: make every value appear
    const PrgInput noisy = program("N", 0xC000, 800, 2);
    const Bytes tap = encode(LOADER_IRQTAPE, {sparse, noisy});
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(files.size(), 2u);
    // The coded file is far shorter on the tape than its 3001 bytes.
    EXPECT_LT(files[0]->inner_end_pulse - files[0]->inner_start_pulse, std::size_t(1000 * 8));
    EXPECT_GT(files[1]->inner_end_pulse - files[1]->inner_start_pulse, std::size_t(800 * 8));
    EXPECT_EQ(files[0]->name, "S");
    const std::vector<Bytes> back = loaded_programs(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0], sparse.bytes);
    EXPECT_EQ(back[1], noisy.bytes);
    for (const TapeEntry *e : files)
        EXPECT_TRUE(e->checkbyte_pass);
}
