// IRQTape files written pulse by pulse as mastering tools write them, not by
// the loader's encoder: the $C3 $FF lead-in, gapless blocks with none to a
// few $FF bytes between them, the header XOR that takes in $AA, data of
// end - start bytes whatever the header's other byte says, run-length coded
// blocks, blocks cut short or failing, off-speed tapes and the spread of
// pulses a real C64 writes.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format IRQ_PULSES{384, 0x20, 0x40, turbo::BitOrder::MsbFirst};

struct IrqBlock {
    uint16_t load = 0x0801;
    Bytes data;             // decoded
    Bytes stored;           // on the tape after the header; the data when empty
    bool coded = false;
    uint8_t name = 'A';
    uint8_t other = 8;      // the header byte between the addresses
    int header_xor = -1;    // the right one when -1
    bool xor_without_aa = false;
    int checksum = -1;      // the right one when -1
    int spoil = -1;         // index into the bytes from $C3 on to replace with `spoilt`
    uint8_t spoilt = 0;
    bool cut = false;       // stop after `stored`: no checksum, silence follows
    std::size_t fill_before = 0;  // $FF bytes before its $C3
};

// Bytes written MSB first at IRQTape's pulse lengths, optionally scaled
// and spread as a real machine writes them.
class HandTape : public HandTapeBase {
public:
    double speed = 1.0;
    int jitter = 0;

    void byte(uint8_t v)
    {
        for (int k = 7; k >= 0; --k)
            pulse((v >> k) & 1 ? IRQ_PULSES.ideal1 : IRQ_PULSES.ideal0);
    }
    void bytes(const Bytes &values)
    {
        for (uint8_t v : values)
            byte(v);
    }
    void lead_in(std::size_t pairs)
    {
        for (std::size_t k = 0; k < pairs; ++k)
            bytes({0xC3, 0xFF});
    }
    void block(const IrqBlock &b)
    {
        for (std::size_t k = 0; k < b.fill_before; ++k)
            byte(0xFF);
        const uint16_t end = uint16_t(b.load + b.data.size());
        Bytes header = {0xF0, b.coded ? uint8_t(0xB7) : uint8_t(0x96), b.name, uint8_t(b.load),
                        uint8_t(b.load >> 8), b.other, uint8_t(end), uint8_t(end >> 8)};
        const uint8_t right = uint8_t((b.xor_without_aa ? 0 : 0xAA) ^ turbo::xor_of(header.data(), header.size()));
        header.push_back(b.header_xor >= 0 ? uint8_t(b.header_xor) : right);
        Bytes start = {0xC3, 0xAA};
        start.insert(start.end(), header.begin(), header.end());
        if (b.spoil >= 0)
            start[std::size_t(b.spoil)] = b.spoilt;
        bytes(start);
        const Bytes &stored = b.stored.empty() ? b.data : b.stored;
        bytes(stored);
        if (!b.cut)
            byte(b.checksum >= 0 ? uint8_t(b.checksum) : turbo::xor_of(stored.data(), stored.size()));
    }
    // `count` gapless page blocks from `load` on, data from seeds `seed`,
    // `seed` + 1...; `touch` may change block k first. Returns all their data.
    template <class Touch>
    Bytes page_blocks(int count, uint16_t load, uint32_t seed, Touch &&touch)
    {
        Bytes all;
        for (int k = 0; k < count; ++k) {
            IrqBlock b;
            b.load = uint16_t(load + 256 * k);
            b.data = data_of(256, seed + uint32_t(k));
            touch(k, b);
            block(b);
            all.insert(all.end(), b.data.begin(), b.data.end());
        }
        return all;
    }
    // A file as mastering tools write it: lead-in, then one block per page.
    void file(uint16_t load, const Bytes &data, uint8_t name = 'A', std::size_t lead_pairs = 64)
    {
        lead_in(lead_pairs);
        for (std::size_t at = 0, k = 0; at < data.size(); at += 256, ++k) {
            IrqBlock b;
            b.load = uint16_t(load + at);
            b.data = Bytes(data.begin() + long(at), data.begin() + long(std::min(at + 256, data.size())));
            b.name = name;
            b.fill_before = k % 4;
            block(b);
        }
        for (int k = 0; k < 3; ++k)
            byte(0xFF);
    }

private:
    uint32_t x = 99;
    void pulse(uint8_t ideal)
    {
        x = x * 1103515245u + 12345u;
        const int shift = jitter > 0 ? int((x >> 16) % unsigned(2 * jitter + 1)) - jitter : 0;
        tap.push_back(uint8_t(int(ideal * speed + 0.5) + shift));
    }
};

std::vector<const TapeEntry *> irq_files(const TapeScan &scan) { return entries_of(scan, LOADER_IRQTAPE.scanner); }

// The scan of a tape holding one block after a short lead-in, and a pause.
TapeScan scan_of_block(const IrqBlock &b)
{
    HandTape t;
    t.lead_in(8);
    t.block(b);
    t.pause();
    return t.scan();
}

} // namespace

TEST(IrqTapeScanner, AFileOfGaplessBlocksAfterItsLeadInIsOneEntry)
{
    HandTape t;
    const Bytes data = data_of(1000, 1);
    t.file(0x0801, data, 'G');
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->type, IRQTAPE_TYPE);
    EXPECT_EQ(files[0]->name, "G");
    EXPECT_EQ(files[0]->load_address, 0x0801);
    EXPECT_EQ(files[0]->end_address, 0x0801 + 1000);
    EXPECT_EQ(files[0]->block_type, 4);  // blocks
    EXPECT_EQ(files[0]->payload, data);
    EXPECT_TRUE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->read_errors, 0u);
    // The lead-in belongs to the file; inner start at the first header's $F0.
    EXPECT_EQ(files[0]->first_pulse, 0u);
    EXPECT_EQ(files[0]->inner_start_pulse, std::size_t(64 * 2 + 2) * 8);
    // Nothing of the file is left unrecognised.
    EXPECT_EQ(scan.entries.size(), 2u);
}

TEST(IrqTapeScanner, TheHeaderXorTakesInAaAndWithoutItThereIsNoBlock)
{
    HandTape t;
    IrqBlock without;
    without.data = data_of(100, 2);
    without.xor_without_aa = true;
    IrqBlock with;
    with.data = data_of(100, 3);
    t.lead_in(8);
    t.block(without);
    t.pause();
    t.lead_in(8);
    t.block(with);
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, with.data);
    EXPECT_TRUE(files[0]->checkbyte_pass);
}

TEST(IrqTapeScanner, TheDataAreEndMinusStartBytesWhateverTheOtherHeaderByteSays)
{
    for (const uint8_t other : {uint8_t(0), uint8_t(1), uint8_t(8), uint8_t(0xFF)}) {
        SCOPED_TRACE(int(other));
        IrqBlock b;
        b.data = data_of(63, 4);
        b.other = other;
        const TapeScan scan = scan_of_block(b);
        const std::vector<const TapeEntry *> files = irq_files(scan);
        ASSERT_EQ(files.size(), 1u);
        EXPECT_EQ(files[0]->payload, b.data);
        EXPECT_EQ(files[0]->size, 63u);
        EXPECT_TRUE(files[0]->checkbyte_pass);
    }
}

TEST(IrqTapeScanner, ABlockIsFoundByItsStartWithoutAnyLeadIn)
{
    HandTape t;
    IrqBlock b;
    b.load = 0xC000;
    b.data = data_of(256, 5);
    t.block(b);
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->first_pulse, 0u);
    EXPECT_EQ(files[0]->payload, b.data);
    EXPECT_TRUE(files[0]->checkbyte_pass);
}

TEST(IrqTapeScanner, OneFailingBlockFailsTheFileAndTheBlocksAfterItStillCount)
{
    HandTape t;
    t.lead_in(16);
    const Bytes all = t.page_blocks(3, 0x2000, 10, [](int k, IrqBlock &b) {
        if (k == 1)
            b.checksum = turbo::xor_of(b.data.data(), b.data.size()) ^ 0x40;
        b.fill_before = k == 2 ? 2 : 0;
    });
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, all);
    EXPECT_FALSE(files[0]->checkbyte_pass);
    // The values of the failing block.
    const Bytes second = data_of(256, 11);
    EXPECT_EQ(files[0]->checkbyte_computed, turbo::xor_of(second.data(), second.size()));
    EXPECT_EQ(files[0]->checkbyte_on_tape, uint8_t(files[0]->checkbyte_computed ^ 0x40));
}

TEST(IrqTapeScanner, ABlockThatDoesNotContinueTheAddressesOrTheNameStartsAnotherFile)
{
    HandTape t;
    t.lead_in(16);
    IrqBlock a, b, c;
    a.load = 0x1000;
    a.data = data_of(256, 20);
    b.load = 0x3000;  // not 0x1100
    b.data = data_of(256, 21);
    c.load = 0x3100;
    c.data = data_of(100, 22);
    c.name = 'Z';
    t.block(a);
    t.block(b);
    t.block(c);
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0]->load_address, 0x1000);
    EXPECT_EQ(files[1]->load_address, 0x3000);
    EXPECT_EQ(files[2]->name, "Z");
    // Gapless: the three entries touch.
    EXPECT_EQ(files[1]->first_pulse, files[0]->first_pulse + files[0]->pulse_count);
    EXPECT_EQ(files[2]->first_pulse, files[1]->first_pulse + files[1]->pulse_count);
    for (const TapeEntry *e : files)
        EXPECT_TRUE(e->checkbyte_pass);
}

TEST(IrqTapeScanner, ABadSpotInABlocksStartOrHeaderFailsTheFileButDoesNotEndIt)
{
    // Spoilt: block 1's $AA, block 2's name byte, block 3's end address.
    struct Spot {
        int block, at;
        uint8_t value;
    };
    for (const Spot spot : {Spot{1, 1, 0xAB}, Spot{2, 4, 'Q'}, Spot{3, 9, 0x77}}) {
        SCOPED_TRACE(spot.block);
        HandTape t;
        t.lead_in(16);
        const Bytes all = t.page_blocks(5, 0x3000, 80, [&](int k, IrqBlock &b) {
            if (k == spot.block) {
                b.spoil = spot.at;
                b.spoilt = spot.value;
            }
        });
        t.pause();
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> files = irq_files(scan);
        ASSERT_EQ(files.size(), 1u);
        EXPECT_EQ(files[0]->payload, all);
        EXPECT_FALSE(files[0]->checkbyte_pass);
        EXPECT_EQ(files[0]->block_type, 5);
    }
}

TEST(IrqTapeScanner, RunLengthCodedBlock)
{
    // Escape $E5: a run of 300 zeros as 256 + 44, the escape byte itself,
    // plain bytes between.
    IrqBlock b;
    b.coded = true;
    b.stored = {0xE5, 0x01, 0x02, 0xE5, 0x00, 0x00, 0xE5, 44, 0x00, 0x03, 0xE5, 0x01, 0xE5, 0x04, 0xE5, 5, 0x77};
    b.data = {0x01, 0x02};
    b.data.insert(b.data.end(), 300, 0x00);
    b.data.insert(b.data.end(), {0x03, 0xE5, 0x04});
    b.data.insert(b.data.end(), 5, 0x77);
    b.load = 0x4000;
    const TapeScan scan = scan_of_block(b);
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, b.data);
    // The checksum is over the coded bytes, as they stand on the tape.
    EXPECT_TRUE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->checkbyte_on_tape, turbo::xor_of(b.stored.data(), b.stored.size()));
}

TEST(IrqTapeScanner, ABlockCutShortKeepsItsBytesAndFails)
{
    IrqBlock b;
    b.data = data_of(256, 6);
    b.stored = Bytes(b.data.begin(), b.data.begin() + 150);
    b.cut = true;
    const TapeScan scan = scan_of_block(b);
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, b.stored);
    EXPECT_EQ(files[0]->end_address, 0x0801 + 256);
    EXPECT_FALSE(files[0]->checkbyte_pass);
}

TEST(IrqTapeScanner, TapesWrittenByARealMachineOffSpeedAndSpreadRead)
{
    for (const double speed : {0.9, 0.95, 1.0, 1.05, 1.1}) {
        SCOPED_TRACE(speed);
        HandTape t;
        t.speed = speed;
        t.jitter = 2;
        const Bytes data = data_of(3000, 7);
        t.file(0x0801, data);
        t.pause();
        t.file(0x4000, data_of(500, 8), 'B', 3);
        t.pause();
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> files = irq_files(scan);
        ASSERT_EQ(files.size(), 2u);
        EXPECT_EQ(files[0]->payload, data);
        EXPECT_EQ(files[1]->payload, data_of(500, 8));
        for (const TapeEntry *e : files) {
            EXPECT_TRUE(e->checkbyte_pass);
            EXPECT_EQ(e->read_errors, 0u);
        }
    }
}

TEST(IrqTapeScanner, ALeadInOfAnotherFileAfterATrailerStartsItsOwnEntry)
{
    HandTape t;
    t.file(0x1000, data_of(300, 30), 'A');
    t.file(0x5000, data_of(300, 31), 'B');  // no pause between the two
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[1]->name, "B");
    EXPECT_EQ(files[1]->first_pulse, files[0]->first_pulse + files[0]->pulse_count);
    // The second file's lead-in is its own: its entry starts with a $C3.
    const std::size_t lead = files[1]->inner_start_pulse - files[1]->first_pulse;
    EXPECT_EQ(lead, std::size_t(64 * 2 + 2) * 8);
}

TEST(IrqTapeEncoder, WritesTheMasteredShapeAndProgramsComeBackWhole)
{
    PrgInput sparse = program("SPARSE", 0x2000, 0, 1);
    for (int i = 0; i < 3000; ++i)
        sparse.bytes.push_back(i % 500 < 450 ? 0x00 : uint8_t(i * 7));
    const PrgInput noisy = program("N", 0xC000, 800, 2);
    const Bytes tap = encode(LOADER_IRQTAPE, {sparse, noisy});
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    const std::vector<const TapeEntry *> files = irq_files(scan);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]->block_type, 12);  // 3000 bytes: 12 blocks of a page at most
    EXPECT_EQ(files[1]->block_type, 4);
    // Coded blocks make the sparse file far shorter on the tape than its 3000 bytes.
    EXPECT_LT(files[0]->inner_end_pulse - files[0]->inner_start_pulse, std::size_t(1500 * 8));
    EXPECT_EQ(files[0]->name, "S");
    const std::vector<Bytes> back = loaded_programs(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0], sparse.bytes);
    EXPECT_EQ(back[1], noisy.bytes);
    for (const TapeEntry *e : files)
        EXPECT_TRUE(e->checkbyte_pass);
    // The lead-in: $C3 $FF pairs after the boot file's pause (MSB first).
    const std::size_t at = files[1]->first_pulse;
    const Bytes lead = {0xC3, 0xFF, 0xC3, 0xFF};
    for (std::size_t k = 0; k < 32; ++k)
        EXPECT_EQ(scan.pulses.units(at + k) > 0x30, ((lead[k / 8] >> (7 - k % 8)) & 1) != 0) << k;
}
