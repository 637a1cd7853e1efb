// Formats without a checksum (Ocean/Imagine chains, Burner) claim pulses
// only on the evidence of their shape: hand-made stretches of every other
// two-class format's files (their pilot, sync and data, a page of zeros among
// the data as cleared memory gives), of IRQTape as a real C64 writes it and
// of noise are never taken for them, even with the format's own scanner off;
// and where a format with a checksum reads the same pulses with its check
// passing, it wins.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

struct Shape {
    const char *id;  // the format's scanner, switched off in the harsh runs
    uint8_t ideal0, ideal1;
    turbo::BitOrder order;
    Bytes pilot;  // its pilot and sync as they stand before a file's data
};

Bytes repeated(uint8_t v, std::size_t n, const Bytes &then = {})
{
    Bytes b;
    b.reserve(n + then.size());
    for (std::size_t k = 0; k < n; ++k)
        b.push_back(v);
    for (uint8_t t : then)
        b.push_back(t);
    return b;
}

// The two-class formats whose pulses are not Ocean's (they straddle its
// threshold all the same) and Burner's neighbours.
std::vector<Shape> shapes()
{
    using turbo::BitOrder;
    return {
        {"turbotape", 0x1A, 0x2A, BitOrder::MsbFirst, repeated(0x02, 256, {9, 8, 7, 6, 5, 4, 3, 2, 1, 1})},
        {"freeload", 0x24, 0x41, BitOrder::MsbFirst, repeated(0x40, 256, {0x5A})},
        {"usgold", 0x24, 0x42, BitOrder::MsbFirst, repeated(0x20, 64, {0xFF})},
        {"bleepload", 0x30, 0x5A, BitOrder::MsbFirst, repeated(0x0F, 10, {0xF0, 0x0F})},
        {"chr", 0x1A, 0x2A, BitOrder::MsbFirst, repeated(0x63, 256, {0x64, 0x65, 0x66, 0x67, 0x68, 0x69})},
        {"audiogenic", 0x1A, 0x36, BitOrder::MsbFirst, repeated(0xF0, 4, {0xAA})},
        {"microload", 0x1C, 0x38, BitOrder::LsbFirst, repeated(0xA0, 256, {10, 9, 8, 7, 6, 5, 4, 3, 2, 1})},
        {"visiload", 0x26, 0x52, BitOrder::MsbFirst, repeated(0x00, 1000, {0x16})},
        {"rackit", 0x1D, 0x3C, BitOrder::MsbFirst, repeated(0x25, 256, {0x3D})},
        {"irqtape", 0x20, 0x40, BitOrder::MsbFirst, {0xC3, 0xFF, 0xC3, 0xFF, 0xC3, 0xAA, 0xF0, 0x96}},
        {"burner", 0x22, 0x42, BitOrder::MsbFirst, repeated(0xE3, 192, {0xED})},
    };
}

// Pulses of a shape, spread +/- 2 units as a real machine writes them.
class ShapeWriter {
public:
    ShapeWriter(Bytes &tap, const Shape &shape) : tap_(tap), shape_(shape) {}
    void bit(int b)
    {
        x_ = x_ * 1103515245u + 12345u;
        const int shift = int((x_ >> 16) % 5) - 2;
        tap_.push_back(uint8_t((b ? shape_.ideal1 : shape_.ideal0) + shift));
    }
    void byte(uint8_t v)
    {
        for (int k = 0; k < 8; ++k)
            bit(shape_.order == turbo::BitOrder::MsbFirst ? (v >> (7 - k)) & 1 : (v >> k) & 1);
    }
    void bytes(const Bytes &values)
    {
        for (uint8_t v : values)
            byte(v);
    }

private:
    Bytes &tap_;
    Shape shape_;
    uint32_t x_ = 5;
};

// Three files of the shape, each: pilot and sync, a few header bytes, data
// holding a page of zeros between random bytes, a trailer of 0 bits; pauses
// between.
Bytes files_of_shape(const Shape &shape)
{
    HandTapeBase t;
    for (uint32_t f = 0; f < 3; ++f) {
        ShapeWriter w(t.tap, shape);
        w.bytes(shape.pilot);
        w.bytes(data_of(6, 40 + f));
        w.bytes(data_of(700, 50 + f));
        w.bytes(Bytes(256 + 40 * f, 0x00));
        w.bytes(data_of(1500, 60 + f));
        for (int k = 0; k < 64; ++k)
            w.bit(0);
        t.pause();
    }
    return t.bytes();
}

void expect_no_unchecked_claim(const TapeScan &scan)
{
    for (const TapeEntry &e : scan.entries) {
        EXPECT_NE(e.type, OCEAN_TYPE) << "at $" << std::hex << e.start;
        EXPECT_NE(e.type, BURNER_TYPE) << "at $" << std::hex << e.start;
    }
}

} // namespace

TEST(UncheckedClaims, NoOtherFormatsFilesAreTakenForOceanOrBurnerEvenWithTheirScannerOff)
{
    for (const Shape &shape : shapes()) {
        SCOPED_TRACE(shape.id);
        const Bytes tap = files_of_shape(shape);
        const TapeScan harsh = scan_tape(tap.data(), tap.size(), ScanOptions(), all_scanners_but(shape.id));
        expect_covering(harsh);
        if (std::string(shape.id) == "burner") {
            // Burner's own files are no Ocean chains.
            for (const TapeEntry &e : harsh.entries)
                EXPECT_NE(e.type, OCEAN_TYPE);
            continue;
        }
        expect_no_unchecked_claim(harsh);
        const TapeScan usual = scan_tape(tap.data(), tap.size());
        expect_no_unchecked_claim(usual);
    }
}

TEST(UncheckedClaims, IrqTapeAsARealMachineWritesItIsIrqTapeAndNothingElse)
{
    Shape irq = shapes()[9];
    ASSERT_STREQ(irq.id, "irqtape");
    HandTapeBase t;
    ShapeWriter w(t.tap, irq);
    for (int k = 0; k < 64; ++k)
        w.bytes({0xC3, 0xFF});
    Bytes all;
    for (int b = 0; b < 8; ++b) {
        Bytes data = b == 3 ? Bytes(256, 0x00) : data_of(256, 70 + b);  // a page of zeros among them
        const uint16_t load = uint16_t(0x0801 + 256 * b), end = uint16_t(load + 256);
        Bytes header = {0xF0, 0x96, 'A', uint8_t(load), uint8_t(load >> 8), 8, uint8_t(end), uint8_t(end >> 8)};
        header.push_back(uint8_t(0xAA ^ turbo::xor_of(header.data(), header.size())));
        w.bytes({0xC3, 0xAA});
        w.bytes(header);
        w.bytes(data);
        w.byte(turbo::xor_of(data.data(), data.size()));
        all.insert(all.end(), data.begin(), data.end());
    }
    w.bytes({0xFF, 0xFF});
    t.pause();
    const Bytes tap = t.bytes();
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    expect_no_unchecked_claim(scan);
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_IRQTAPE.scanner);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, all);
    EXPECT_TRUE(files[0]->checkbyte_pass);
    const TapeScan without = scan_tape(tap.data(), tap.size(), ScanOptions(), all_scanners_but("irqtape"));
    expect_no_unchecked_claim(without);
}

TEST(UncheckedClaims, NoiseIsNeverTakenForOceanOrBurner)
{
    HandTapeBase t;
    uint32_t x = 3;
    for (int k = 0; k < 400000; ++k) {
        x = x * 1103515245u + 12345u;
        // Noise of every length, with long stretches at a bit-0 length (hiss
        // on a blank stretch of tape reads as short pulses).
        const unsigned r = (x >> 16) % 1000;
        t.tap.push_back(uint8_t(k % 50000 < 20000 ? 0x20 + r % 10 : 0x10 + r % 0x70));
    }
    const Bytes tap = t.bytes();
    expect_no_unchecked_claim(scan_tape(tap.data(), tap.size()));
}

TEST(UncheckedClaims, TheRealShapeOfAnOceanChainStillReadsOffSpeedAndSpread)
{
    const PrgInput prg = program("GAME", 0x0400, 6000, 9);
    const Bytes tap = encode(LOADER_OCEAN, {prg});
    for (const double speed : {0.94, 1.0, 1.06}) {
        SCOPED_TRACE(speed);
        const Bytes played = distorted(tap, speed, 2);
        const TapeScan scan = scan_tape(played.data(), played.size());
        const std::vector<Bytes> back = loaded_programs(scan, LOADER_OCEAN.scanner);
        ASSERT_EQ(back.size(), 1u);
        EXPECT_EQ(back[0], prg.bytes);
    }
}

TEST(UncheckedClaims, AFormatWithAPassingChecksumWinsThePulsesAnOceanChainWouldTake)
{
    // Wild Save writes Ocean's pulse lengths at Ocean's threshold. A long
    // run of 0 bits before a Wild Save file makes an Ocean pilot whose
    // "chain" reads the file's bytes as pages: the Wild Save file, whose
    // checksum passes, is what those pulses are.
    const PrgInput prg = program("W", 0x2000, 2000, 11);
    const Bytes wild = encode(LOADER_WILDSAVE, {prg});
    // The Wild Save file itself: from its pilot on, after the boot file and pause.
    TapeScan original = scan_tape(wild.data(), wild.size());
    const std::vector<const TapeEntry *> files = entries_of(original, LOADER_WILDSAVE.scanner);
    ASSERT_EQ(files.size(), 1u);
    const std::size_t from = std::size_t(files[0]->start);
    HandTapeBase t;
    turbo::Writer ocean_bait(t.tap, turbo::Format{480, 0x24, 0x56, turbo::BitOrder::LsbFirst});
    ocean_bait.zeros(4200);
    ocean_bait.bit(1);
    t.tap.insert(t.tap.end(), wild.begin() + long(from), wild.begin() + long(files[0]->end + 1));
    t.pause();
    const TapeScan scan = t.scan();
    expect_no_unchecked_claim(scan);
    const std::vector<Bytes> back = loaded_programs(scan, LOADER_WILDSAVE.scanner);
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0], prg.bytes);
}

TEST(UncheckedClaims, PulsesFitWantsBothClassesAtTheFormatsRatio)
{
    const turbo::Format ocean{480, 0x24, 0x56, turbo::BitOrder::LsbFirst};
    turbo::ClassMeans m;
    m.zeros = m.ones = 100;
    m.zero = 0x24;
    m.one = 0x56;
    EXPECT_TRUE(turbo::pulses_fit(m, ocean));
    m.zero = 0x24 * 1.08;  // a tape 8 % slow
    m.one = 0x56 * 1.08;
    EXPECT_TRUE(turbo::pulses_fit(m, ocean));
    m.zero = 0x20;  // IRQTape's $20/$40
    m.one = 0x40;
    EXPECT_FALSE(turbo::pulses_fit(m, ocean));
    m.zero = 0x24;  // Freeload's $24/$41
    m.one = 0x41;
    EXPECT_FALSE(turbo::pulses_fit(m, ocean));
    m.zero = 0x24;
    m.one = 0x56;
    m.ones = 3;  // too few 1 pulses to tell
    EXPECT_FALSE(turbo::pulses_fit(m, ocean));
}
