// Unknown turbos of less common shapes: a third pulse length that carries
// two bits, a pilot of two bytes repeated, blocks between pauses each with
// a pilot byte of its own, a turbo on a C16 tape of half waves; and what
// must stay apart or undescribed: stretches of two loaders between pauses,
// Commodore ROM files of every machine that no scanner read.
#include "core/cbmencode.h"
#include "core/cbmscan.h"
#include "core/loaders/registry.h"
#include "core/pulsestats.h"
#include "core/turbodescribe.h"
#include "loader_testing.h"
#include "turbodescribe_testing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace loader_testing;
using namespace describe_testing;

namespace {

using turbo::BitOrder;

// Writes bits as pulses of an invented loader: a 0 bit `zero` units, a 1
// bit `one`; with a longest length set, the pair of bits it stands for is
// written as one pulse of that length. On a tape of half waves every pulse
// is a full wave of two equal halves. Each pulse is moved by up to `jitter`
// units.
class ShapeWriter {
public:
    ShapeWriter(Bytes &tap, double zero, double one, BitOrder order, uint32_t seed, int jitter = 2)
        : tap_(tap), zero_(zero), one_(one), order_(order), random_(seed), jitter_(jitter)
    {
    }
    void longest(double units, uint8_t pair)
    {
        longest_ = units;
        pair_ = pair;
    }
    void half_waves() { half_waves_ = true; }

    void bit(int b)
    {
        if (longest_ > 0 && pending_ >= 0 && (pending_ << 1 | b) == pair_) {
            pulse(longest_);
            pending_ = -1;
            return;
        }
        flush();
        pending_ = b;
    }
    void byte(uint8_t v)
    {
        for (int k = 0; k < 8; ++k)
            bit(order_ == BitOrder::MsbFirst ? (v >> (7 - k)) & 1 : (v >> k) & 1);
    }
    void bytes(const Bytes &v)
    {
        for (uint8_t b : v)
            byte(b);
    }
    void bits(int b, std::size_t count)
    {
        for (std::size_t k = 0; k < count; ++k)
            bit(b);
    }
    void flush()
    {
        if (pending_ >= 0)
            pulse(pending_ ? one_ : zero_);
        pending_ = -1;
    }
    // A pause of `cycles` (a zero byte and three bytes of length).
    void pause(uint32_t cycles = 300000)
    {
        flush();
        tap_.push_back(0);
        for (int i = 0; i < 3; ++i)
            tap_.push_back(uint8_t(cycles >> (8 * i)));
    }

private:
    void pulse(double units)
    {
        const int shift = jitter_ > 0 ? int(random_() % uint32_t(2 * jitter_ + 1)) - jitter_ : 0;
        if (half_waves_) {
            const uint8_t half = uint8_t(std::clamp(int(std::lround(units / 2)) + shift / 2, 1, 255));
            tap_.push_back(half);
            tap_.push_back(half);
        } else {
            tap_.push_back(uint8_t(std::clamp(int(std::lround(units)) + shift, 1, 255)));
        }
    }

    Bytes &tap_;
    double zero_, one_;
    BitOrder order_;
    std::mt19937 random_;
    int jitter_;
    double longest_ = 0;
    uint8_t pair_ = 0;
    int pending_ = -1;
    bool half_waves_ = false;
};

// A block's sync, its bytes and a trailer of 0 bits.
void block_after_pilot(ShapeWriter &w, const Bytes &sync, const Bytes &bytes)
{
    w.bytes(sync);
    w.bytes(bytes);
    w.bits(0, 64);
}

// The tape with a pause at its end, scanned.
TapeScan finished(HandTapeBase &t, ShapeWriter &w)
{
    w.flush();
    t.pause();
    return t.scan();
}

std::vector<const TapeEntry *> unknown_turbo_entries(const TapeScan &scan)
{
    std::vector<const TapeEntry *> out;
    for (const TapeEntry &e : scan.entries)
        if (e.type == ENTRY_TYPE_UNKNOWN_TURBO)
            out.push_back(&e);
    return out;
}

bool holds(const Bytes &payload, const Bytes &part)
{
    return std::search(payload.begin(), payload.end(), part.begin(), part.end()) != payload.end();
}

Bytes joined(const Bytes &a, const Bytes &b)
{
    Bytes out = a;
    out.insert(out.end(), b.begin(), b.end());
    return out;
}

} // namespace

TEST(ThreeLengths, TheLongestPulseCarriesTwoBitsInEitherOrder)
{
    // As Pavloda: a 0 bit short, a 1 bit medium, and the longest pulse the
    // two bits the loader's timing reads in one go - here 1 0 or 0 1.
    const std::vector<Bytes> &programs = real_programs();
    ASSERT_FALSE(programs.empty());
    const Bytes sync = {0x66, 0x1B};
    for (const uint8_t pair : {uint8_t(0b10), uint8_t(0b01)})
        for (const BitOrder order : {BitOrder::MsbFirst, BitOrder::LsbFirst})
            for (const double speed : {0.96, 1.04}) {
                SCOPED_TRACE(testing::Message() << "pair " << int(pair >> 1) << int(pair & 1) << ", "
                                                << (order == BitOrder::MsbFirst ? "MSB" : "LSB") << ", speed "
                                                << speed);
                HandTapeBase t;
                ShapeWriter w(t.tap, 0x22 * speed, 0x3C * speed, order, 11);
                w.longest(0x52 * speed, pair);
                for (const Bytes &p : programs) {
                    w.bits(0, 1200);
                    w.bit(1);  // the pilot's end
                    block_after_pilot(w, sync, p);
                }
                const TapeScan scan = finished(t, w);
                ASSERT_EQ(unknown_turbos(scan), 1u);
                const TapeEntry &e = *unknown_turbo(scan);
                const Told told = read_text(e.description);
                EXPECT_NEAR(double(told.zero), 0x22 * speed, 1.0) << e.description;
                EXPECT_NEAR(double(told.one), 0x3C * speed, 1.0) << e.description;
                EXPECT_NEAR(double(told.longest), 0x52 * speed, 1.0) << e.description;
                EXPECT_NEAR(double(told.threshold), 4 * (0x22 + 0x3C) * speed, 8) << e.description;
                EXPECT_NEAR(double(told.second_threshold), 4 * (0x3C + 0x52) * speed, 8) << e.description;
                EXPECT_EQ(told.longest_bits[0], unsigned(pair >> 1)) << e.description;
                EXPECT_EQ(told.longest_bits[1], unsigned(pair & 1)) << e.description;
                EXPECT_EQ(told.order, order == BitOrder::MsbFirst ? "MSB" : "LSB") << e.description;
                EXPECT_TRUE(told.bit_pilot) << e.description;
                EXPECT_EQ(told.first_after, 0x66u) << e.description;
                EXPECT_EQ(told.blocks, programs.size()) << e.description;
                for (const Bytes &p : programs)
                    EXPECT_TRUE(holds(e.payload, joined(sync, p))) << "a program is missing: " << e.description;
                // The histogram marks all three measured lengths.
                EXPECT_EQ(pulse_histogram(scan).unknown_turbo.size(), 3u);
            }
}

TEST(ThreeLengths, InShortBlocksHowThePulsesFollowEachOtherTellsTheTwoBits)
{
    // Too few bytes for their looks to tell: a pulse for 1 0 means a single
    // 1 pulse is never followed by a single 0 one (and 0 1 the other way).
    const Bytes program(real_programs().at(0).begin(), real_programs().at(0).begin() + 120);
    for (const uint8_t pair : {uint8_t(0b10), uint8_t(0b01)}) {
        SCOPED_TRACE(testing::Message() << "pair " << int(pair >> 1) << int(pair & 1));
        HandTapeBase t;
        ShapeWriter w(t.tap, 0x24, 0x42, BitOrder::MsbFirst, 4);
        w.longest(0x56, pair);
        for (int block = 0; block < 4; ++block) {
            w.bits(0, 1000);
            w.bit(1);
            w.byte(0x66);
            w.bytes(program);
            w.bits(0, 32);
            w.pause();
        }
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> parts = unknown_turbo_entries(scan);
        ASSERT_EQ(parts.size(), 4u);
        for (const TapeEntry *e : parts) {
            const Told told = read_text(e->description);
            EXPECT_EQ(told.longest_bits[0], unsigned(pair >> 1)) << e->description;
            EXPECT_EQ(told.longest_bits[1], unsigned(pair & 1)) << e->description;
            EXPECT_TRUE(holds(e->payload, joined({0x66}, program))) << e->description;
        }
    }
}

TEST(PairPilot, TwoBytesRepeatedLeadIntoEveryBlock)
{
    const std::vector<Bytes> &programs = real_programs();
    ASSERT_FALSE(programs.empty());
    const Bytes sync = {0x5A, 0xA5};
    for (const BitOrder order : {BitOrder::MsbFirst, BitOrder::LsbFirst}) {
        SCOPED_TRACE(order == BitOrder::MsbFirst ? "MSB" : "LSB");
        HandTapeBase t;
        ShapeWriter w(t.tap, 0x1E, 0x3A, order, 5);
        for (const Bytes &p : programs) {
            for (int k = 0; k < 100; ++k)
                w.bytes({0xE7, 0x18});
            block_after_pilot(w, sync, p);
        }
        const TapeScan scan = finished(t, w);
        ASSERT_EQ(unknown_turbos(scan), 1u);
        const TapeEntry &e = *unknown_turbo(scan);
        const Told told = read_text(e.description);
        EXPECT_TRUE(told.pair_pilot) << e.description;
        EXPECT_EQ(told.pilot, 0xE7u) << e.description;
        EXPECT_EQ(told.pilot_second, 0x18u) << e.description;
        EXPECT_NEAR(double(told.pilot_count), 100, 1) << e.description;
        EXPECT_EQ(told.first_after, 0x5Au) << e.description;
        EXPECT_EQ(told.order, order == BitOrder::MsbFirst ? "MSB" : "LSB") << e.description;
        EXPECT_EQ(told.blocks, programs.size()) << e.description;
        for (const Bytes &p : programs)
            EXPECT_TRUE(holds(e.payload, joined(sync, p))) << "a program is missing: " << e.description;
    }
}

TEST(Chains, BlocksBetweenPausesWithAPilotByteEachArePartsOfOneChain)
{
    // Every block its own short pilot byte, its complement after it, then
    // the block's number and a page of a program; a pause after each.
    const Bytes &program = real_programs().at(0);
    const std::size_t blocks = std::min<std::size_t>(12, program.size() / 256);
    ASSERT_GE(blocks, 4u);
    for (const BitOrder order : {BitOrder::MsbFirst, BitOrder::LsbFirst}) {
        SCOPED_TRACE(order == BitOrder::MsbFirst ? "MSB" : "LSB");
        HandTapeBase t;
        ShapeWriter w(t.tap, 0x1C, 0x30, order, 3);
        std::vector<uint8_t> pilots;
        for (std::size_t b = 0; b < blocks; ++b) {
            const uint8_t pilot = uint8_t(0x0F + 0x25 * b);
            pilots.push_back(pilot);
            for (int k = 0; k < 8; ++k)
                w.byte(pilot);
            w.byte(uint8_t(~pilot));
            w.byte(uint8_t(b));
            w.bytes(Bytes(program.begin() + long(256 * b), program.begin() + long(256 * (b + 1))));
            w.bits(0, 32);
            w.pause();
        }
        const TapeScan scan = t.scan();
        const std::vector<const TapeEntry *> parts = unknown_turbo_entries(scan);
        ASSERT_EQ(parts.size(), blocks);
        for (std::size_t b = 0; b < blocks; ++b) {
            const Told told = read_text(parts[b]->description);
            EXPECT_EQ(told.part, b + 1) << parts[b]->description;
            EXPECT_EQ(told.parts, blocks) << parts[b]->description;
            EXPECT_EQ(told.pilot, pilots[b]) << parts[b]->description;
            EXPECT_EQ(told.first_after, uint8_t(~pilots[b])) << parts[b]->description;
            EXPECT_EQ(told.order, order == BitOrder::MsbFirst ? "MSB" : "LSB") << parts[b]->description;
            const Bytes page(program.begin() + long(256 * b), program.begin() + long(256 * (b + 1)));
            EXPECT_TRUE(holds(parts[b]->payload, joined({uint8_t(~pilots[b]), uint8_t(b)}, page)))
                << parts[b]->description;
        }
    }
}

TEST(Chains, BleeploadsBlocksAnnounceThePilotOfTheNext)
{
    const TurboLoader &loader = *find_turbo_loader("bleepload");
    std::vector<PrgInput> prgs;
    PrgInput p;
    p.name = "SIEVE";
    p.bytes = real_programs().at(0);
    prgs.push_back(p);
    const Bytes tap = distorted(encode(loader, prgs), 0.97, 2, 9);
    const TapeScan usual = scan_tape(tap.data(), tap.size());
    const std::size_t blocks = entries_of(usual, loader.scanner).size();
    ASSERT_GE(blocks, 4u);
    const TapeScan scan = scan_tape(tap.data(), tap.size(), ScanOptions(), all_scanners_but("bleepload"));
    const std::vector<const TapeEntry *> parts = unknown_turbo_entries(scan);
    ASSERT_EQ(parts.size(), blocks);
    Told before = read_text(parts[0]->description);
    EXPECT_EQ(before.pilot, 0x0Fu);
    for (std::size_t b = 1; b < blocks; ++b) {
        const Told told = read_text(parts[b]->description);
        EXPECT_EQ(told.part, b + 1) << parts[b]->description;
        EXPECT_EQ(told.parts, blocks) << parts[b]->description;
        // ¬P, P, then the next block's P.
        ASSERT_GE(parts[b - 1]->payload.size(), 3u);
        EXPECT_EQ(told.pilot, parts[b - 1]->payload[2]) << parts[b]->description;
        EXPECT_EQ(told.first_after, uint8_t(~told.pilot)) << parts[b]->description;
        before = told;
    }
}

TEST(Chains, StretchesOfTwoLoadersBetweenPausesStayApart)
{
    const std::vector<Bytes> &programs = real_programs();
    ASSERT_GE(programs.size(), 2u);
    HandTapeBase t;
    ShapeWriter a(t.tap, 0x24, 0x41, BitOrder::MsbFirst, 1);
    for (int k = 0; k < 256; ++k)
        a.byte(0x4E);
    a.bytes({0xB1});
    a.bytes(programs[0]);
    a.pause();
    ShapeWriter b(t.tap, 0x12, 0x1D, BitOrder::LsbFirst, 2);
    for (int k = 0; k < 64; ++k)
        b.byte(0x71);
    b.bytes({0x99, 0x66});
    b.bytes(programs[1]);
    b.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> found = unknown_turbo_entries(scan);
    ASSERT_EQ(found.size(), 2u);
    const Told first = read_text(found[0]->description), second = read_text(found[1]->description);
    EXPECT_EQ(first.parts, 0u) << found[0]->description;
    EXPECT_EQ(second.parts, 0u) << found[1]->description;
    EXPECT_NEAR(double(first.threshold), 8 * (0x24 + 0x41) / 2.0, 12) << found[0]->description;
    EXPECT_NEAR(double(second.threshold), 8 * (0x12 + 0x1D) / 2.0, 12) << found[1]->description;
    EXPECT_EQ(first.pilot, 0x4Eu) << found[0]->description;
    EXPECT_EQ(second.pilot, 0x71u);
    EXPECT_EQ(second.order, "LSB");
}

TEST(HalfWaves, AC16TurboIsDescribedByTheFullWavesItsHalvesPairInto)
{
    // A C16 boot file as the ROM writes it, then a turbo of full waves
    // $28 and $48 units long, each written as two equal half waves.
    const TurboLoader &c16 = *find_turbo_loader("c16");
    std::vector<PrgInput> boot(1);
    boot[0].name = "LOADER";
    boot[0].bytes = {0x01, 0x10, 0x0B, 0x10, 0x0A, 0x00, 0x9E, 0x34, 0x31, 0x30, 0x39, 0x00, 0x00, 0x00};
    Bytes tap = encode(c16, boot);
    ASSERT_FALSE(tap.empty());
    const std::vector<Bytes> &programs = real_programs();
    ShapeWriter w(tap, 0x28, 0x48, BitOrder::MsbFirst, 7);
    w.half_waves();
    for (const Bytes &p : programs) {
        for (int k = 0; k < 200; ++k)
            w.byte(0xE0);
        w.bytes({0x1C, 0x2D});
        w.bytes(p);
        w.bits(0, 64);
    }
    w.pause();
    tap_fix_data_size(tap);
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    expect_covering(scan);
    ASSERT_EQ(unknown_turbos(scan), 1u);
    const TapeEntry &e = *unknown_turbo(scan);
    const Told told = read_text(e.description);
    EXPECT_TRUE(told.full_waves) << e.description;
    EXPECT_NEAR(double(told.zero), 0x28, 1.5) << e.description;
    EXPECT_NEAR(double(told.one), 0x48, 1.5) << e.description;
    EXPECT_EQ(told.pilot, 0xE0u) << e.description;
    EXPECT_EQ(told.first_after, 0x1Cu) << e.description;
    EXPECT_EQ(told.blocks, programs.size()) << e.description;
    for (const Bytes &p : programs)
        EXPECT_TRUE(holds(e.payload, joined({0x1C, 0x2D}, p))) << "a program is missing: " << e.description;
    // The window's histogram shows the tape's own half waves: its marks too.
    EXPECT_NEAR(e.pulse_short, 0x14, 1.0);
    EXPECT_NEAR(e.pulse_medium, 0x24, 1.0);
}

TEST(UnknownTurboNever, RomFilesOfEveryMachineNoScannerReadAreNoTurbo)
{
    // Whole files as the C64's, the VIC 20's and the C16's ROM write them -
    // a leader tens of thousands of pulses long, header, data, repeats -
    // left by their scanner (switched off here, as a damaged file would
    // be): the leader is no turbo's pilot, the byte markers tell.
    std::vector<PrgInput> prgs(2);
    prgs[0].name = "SIEVE";
    prgs[0].bytes = real_programs().at(0);
    prgs[1].name = "PLASMA";
    prgs[1].bytes = real_programs().at(1);
    for (const double speed : {0.97, 1.0, 1.03}) {
        SCOPED_TRACE(testing::Message() << "speed " << speed);
        EncodeOptions c64;
        EncodeOptions vic20;
        vic20.vic20 = true;
        for (const EncodeOptions &options : {c64, vic20}) {
            const Bytes tap = distorted(encode_tap(prgs, options), speed, 2, 4);
            const TapeScan scan = scan_tape(tap.data(), tap.size(), ScanOptions(), all_scanners_but("c64"));
            for (const TapeEntry *e : unknown_turbo_entries(scan))
                ADD_FAILURE() << (options.vic20 ? "VIC 20: " : "C64: ") << e->description;
        }
        const Bytes tap = distorted(encode(*find_turbo_loader("c16"), prgs), speed, 2, 4);
        const TapeScan scan = scan_tape(tap.data(), tap.size(), ScanOptions(), all_scanners_but("c16"));
        for (const TapeEntry *e : unknown_turbo_entries(scan))
            ADD_FAILURE() << "C16: " << e->description;
    }
}
