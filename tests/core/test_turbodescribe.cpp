// Unknown turbo stretches described from their pulses alone: invented
// two-class loaders (both bit orders, pilots of bytes and of bits,
// thresholds from 200 to 700 cycles, off speed, jittered), the known
// loaders with their own scanners switched off (the description must give
// the threshold, order, pilot and sync of their format notes), and what must
// never be described: noise, CBM leaders and data, a stretch without pilot.
// The programs on these tapes are real ones (cc65's samples), since the bit
// order and where the bytes begin are told by what the bytes look like.
#include "core/cbmscan.h"
#include "core/loaders/registry.h"
#include "core/pulsestats.h"
#include "core/turbodescribe.h"
#include "loader_testing.h"
#include "turbodescribe_testing.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <random>

using namespace loader_testing;
using namespace describe_testing;

namespace {

// An invented loader: one pulse per bit, a pilot and a sync, the bytes.
struct Invented {
    unsigned threshold_cycles;  // halfway between its two pulses
    double ratio;               // of its 1 pulse to its 0 pulse
    turbo::BitOrder order;
    bool bit_pilot;
    uint8_t pilot;              // byte (or bit) of the pilot
    std::size_t pilot_count;    // bytes (or bits)
    Bytes sync;
};

// Writes a block of the invented loader: pulses scaled by `speed`, each
// moved by up to `jitter` units.
class InventedWriter {
public:
    InventedWriter(Bytes &tap, const Invented &l, double speed, int jitter, uint32_t seed)
        : tap_(tap), l_(l), random_(seed), jitter_(jitter)
    {
        const double middle = l.threshold_cycles / 8.0;  // units
        zero_ = 2 * middle / (1 + l.ratio) * speed;
        one_ = zero_ * l.ratio;
    }
    void bit(int b)
    {
        const int shift = jitter_ > 0 ? int(random_() % uint32_t(2 * jitter_ + 1)) - jitter_ : 0;
        tap_.push_back(uint8_t(std::clamp(int(std::lround(b ? one_ : zero_)) + shift, 1, 255)));
    }
    void byte(uint8_t v)
    {
        for (int k = 0; k < 8; ++k)
            bit(l_.order == turbo::BitOrder::MsbFirst ? (v >> (7 - k)) & 1 : (v >> k) & 1);
    }
    void block(const Bytes &data)
    {
        if (l_.bit_pilot) {
            for (std::size_t k = 0; k < l_.pilot_count; ++k)
                bit(l_.pilot);
        } else {
            for (std::size_t k = 0; k < l_.pilot_count; ++k)
                byte(l_.pilot);
        }
        for (uint8_t s : l_.sync)
            byte(s);
        for (uint8_t v : data)
            byte(v);
        for (int k = 0; k < 64; ++k)
            bit(0);
    }
    double zero() const { return zero_; }
    double one() const { return one_; }

private:
    Bytes &tap_;
    Invented l_;
    std::mt19937 random_;
    int jitter_;
    double zero_ = 0, one_ = 0;
};

} // namespace

class InventedLoaders : public testing::TestWithParam<Invented> {};

TEST_P(InventedLoaders, AreDescribedByTheirShape)
{
    const Invented &l = GetParam();
    const std::vector<Bytes> &programs = real_programs();
    ASSERT_FALSE(programs.empty());
    for (const double speed : {0.95, 1.0, 1.05}) {
        SCOPED_TRACE(testing::Message() << "speed " << speed);
        HandTapeBase t;
        InventedWriter w(t.tap, l, speed, 2, 5);
        for (const Bytes &p : programs)
            w.block(p);
        t.pause();
        const TapeScan scan = t.scan();
        ASSERT_EQ(unknown_turbos(scan), 1u);
        const TapeEntry *e = unknown_turbo(scan);
        EXPECT_EQ(e->kind, EntryKind::Unrecognized);
        const Told told = read_text(e->description);
        EXPECT_NEAR(double(told.threshold), l.threshold_cycles * speed, l.threshold_cycles * 0.04);
        EXPECT_NEAR(double(told.zero), w.zero(), 1.0);
        EXPECT_NEAR(double(told.one), w.one(), 1.0);
        EXPECT_EQ(told.order, l.order == turbo::BitOrder::MsbFirst ? "MSB" : "LSB");
        EXPECT_EQ(told.bit_pilot, l.bit_pilot);
        EXPECT_EQ(told.pilot, l.pilot);
        EXPECT_NEAR(double(told.pilot_count), double(l.pilot_count), l.bit_pilot ? 8.0 : 1.0);
        EXPECT_EQ(told.first_after, l.sync[0]);
        EXPECT_EQ(told.blocks, programs.size());
        // The bytes for study: every block's sync and program, in order.
        auto at = e->payload.begin();
        for (const Bytes &p : programs) {
            Bytes block = l.sync;
            block.insert(block.end(), p.begin(), p.end());
            at = std::search(at, e->payload.end(), block.begin(), block.end());
            ASSERT_NE(at, e->payload.end()) << "a program is missing from the bytes: " << e->description << " program of " << p.size();
            at += long(block.size());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    ShapesOfLoaders, InventedLoaders,
    testing::Values(Invented{440, 1.8, turbo::BitOrder::MsbFirst, false, 0x40, 256, {0x5A, 0x01, 0x08}},
                    Invented{200, 1.6, turbo::BitOrder::LsbFirst, false, 0x71, 64, {0x99, 0x66}},
                    Invented{700, 2.0, turbo::BitOrder::MsbFirst, true, 0, 2000, {0x16, 0x42}},
                    Invented{320, 2.2, turbo::BitOrder::LsbFirst, true, 0, 800, {0xAA, 0x55}},
                    Invented{560, 1.5, turbo::BitOrder::MsbFirst, false, 0x0F, 40, {0xE1}},
                    Invented{380, 1.9, turbo::BitOrder::LsbFirst, false, 0xC6, 128, {0x3B, 0xC4}},
                    // As fast as homebrew loaders go: pulses of about $0C and $1A.
                    Invented{150, 2.2, turbo::BitOrder::MsbFirst, false, 0x3C, 128, {0xC3}}),
    [](const testing::TestParamInfo<Invented> &p) {
        return std::to_string(p.param.threshold_cycles) + "cycles" +
               (p.param.order == turbo::BitOrder::MsbFirst ? "Msb" : "Lsb") + (p.param.bit_pilot ? "BitPilot" : "BytePilot");
    });

namespace {

enum class PilotKind { Byte, Bits, Pair };

struct Known {
    const char *id;
    const char *order;
    PilotKind kind;
    unsigned pilot;      // byte (a bit pilot: the bit; a pair: its first)
    int first_after;     // the sync (or first) byte after the pilot; -1: not checked
    unsigned pilot_second = 0;  // a pair's second byte
    // Bytes enciphered with a key (Rack-It): without the boot file's code
    // neither the bit order nor the sync can be told from them.
    bool enciphered = false;
};

std::vector<PrgInput> real_prg_inputs()
{
    std::vector<PrgInput> out;
    const char *names[] = {"SIEVE", "PLASMA", "MANDELBROT"};
    for (std::size_t i = 0; i < real_programs().size(); ++i) {
        PrgInput p;
        p.name = names[i % 3];
        p.bytes = real_programs()[i];
        out.push_back(p);
    }
    return out;
}

} // namespace

class KnownLoadersUnknown : public testing::TestWithParam<Known> {};

TEST_P(KnownLoadersUnknown, AreDescribedAsTheirFormatNotesSay)
{
    const Known &k = GetParam();
    const TurboLoader &loader = *find_turbo_loader(k.id);
    const Bytes tap = distorted(encode(loader, real_prg_inputs()), 1.03, 2, 3);
    // With the loader's boot file before it (its code tells the bit order
    // and the bytes it compares with), and without (the bytes tell).
    // The format's own pulses (3 % slow), and the threshold between them.
    const TapeEntry *own = nullptr;
    const TapeScan usual = scan_tape(tap.data(), tap.size());
    for (const TapeEntry &f : usual.entries)
        if (f.scanner == loader.scanner && own == nullptr)
            own = &f;
    ASSERT_NE(own, nullptr);
    const double zero = own->ideal_units[1] * 1.03, one = own->ideal_units[2] * 1.03;
    for (const bool boot_file_read : {true, false}) {
        SCOPED_TRACE(boot_file_read ? "boot file read" : "boot file left unread");
        std::vector<const TapeScanner *> scanners = all_scanners_but(k.id);
        if (!boot_file_read)
            scanners.erase(std::find(scanners.begin(), scanners.end(), &cbm_rom_scanner));
        const TapeScan scan = scan_tape(tap.data(), tap.size(), ScanOptions(), scanners);
        expect_covering(scan);
        const TapeEntry *e = unknown_turbo(scan);
        ASSERT_NE(e, nullptr) << "no UNKNOWN TURBO entry";
        for (const TapeEntry &f : scan.entries)
            EXPECT_TRUE(f.scanner == nullptr || f.scanner == &cbm_rom_scanner) << f.type << " took the loader's pulses";
        const Told told = read_text(e->description);
        EXPECT_NEAR(double(told.zero), zero, 1.5) << e->description;
        EXPECT_NEAR(double(told.one), one, 1.5) << e->description;
        EXPECT_NEAR(double(told.threshold), 4 * (zero + one), 0.04 * 4 * (zero + one)) << e->description;
        if (own->ideal_units[3] != 0) {
            // A third length: the loader's timing reads it as the bits 1 and 0.
            const double longest = own->ideal_units[3] * 1.03;
            EXPECT_NEAR(double(told.longest), longest, 1.5) << e->description;
            EXPECT_NEAR(double(told.second_threshold), 4 * (one + longest), 0.04 * 4 * (one + longest)) << e->description;
            EXPECT_EQ(told.longest_bits[0], 1u) << e->description;
            EXPECT_EQ(told.longest_bits[1], 0u) << e->description;
        } else {
            EXPECT_EQ(told.longest, 0u) << e->description;
        }
        if (getenv("QM_SHOW_DESCRIPTIONS") != nullptr)
            std::printf("%s, %s: %s\n", k.id, boot_file_read ? "boot file read" : "boot file unread", e->description.c_str());
        EXPECT_EQ(told.bit_pilot, k.kind == PilotKind::Bits) << e->description;
        EXPECT_EQ(told.pair_pilot, k.kind == PilotKind::Pair) << e->description;
        // Nothing was verified: the share of recognised pulses leaves it out.
        EXPECT_EQ(e->kind, EntryKind::Unrecognized);
        EXPECT_FALSE(e->has_checkbyte);
        EXPECT_FALSE(e->payload.empty());
        if (k.enciphered && !boot_file_read)
            continue;
        EXPECT_EQ(told.order, k.order) << e->description;
        EXPECT_EQ(told.pilot, k.pilot) << e->description;
        EXPECT_EQ(told.pilot_second, k.pilot_second) << e->description;
        if (k.first_after >= 0) {
            EXPECT_EQ(told.first_after, unsigned(k.first_after)) << e->description;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    FormatNotes, KnownLoadersUnknown,
    testing::Values(Known{"turbotape", "MSB", PilotKind::Byte, 0x02, 0x09},
                    Known{"freeload", "MSB", PilotKind::Byte, 0x40, 0x5A},
                    Known{"usgold", "MSB", PilotKind::Byte, 0x20, 0xFF}, Known{"chr", "MSB", PilotKind::Byte, 0x63, 0x64},
                    Known{"microload", "LSB", PilotKind::Byte, 0xA0, 0x0A},
                    Known{"wildsave", "LSB", PilotKind::Byte, 0xA0, 0x0A},
                    Known{"rackit", "MSB", PilotKind::Byte, 0x25, 0x3D, 0, true},
                    Known{"burner", "MSB", PilotKind::Byte, 0xE3, 0xED},
                    Known{"visiload", "MSB", PilotKind::Bits, 0, 0x16},
                    Known{"novaload", "LSB", PilotKind::Bits, 0, 0xAA}, Known{"ocean", "LSB", PilotKind::Bits, 0, -1},
                    Known{"audiogenic", "MSB", PilotKind::Byte, 0xF0, 0xAA},
                    // Each block its own pilot byte, announced by the one before; the first $0F.
                    Known{"bleepload", "MSB", PilotKind::Byte, 0x0F, 0xF0},
                    // A lead-in of $C3 $FF pairs; every block begins $C3 $AA.
                    Known{"irqtape", "MSB", PilotKind::Pair, 0xC3, 0xC3, 0xFF},
                    // Three lengths; the pilot's closing 1 bit and the sync's first 0 make one long pulse.
                    Known{"pavloda", "MSB", PilotKind::Bits, 0, 0x66}),
    [](const testing::TestParamInfo<Known> &p) { return std::string(p.param.id); });

TEST(UnknownTurboNever, NoiseIsNoTurbo)
{
    HandTapeBase t;
    std::mt19937 random(17);
    for (int i = 0; i < 400000; ++i)
        t.tap.push_back(uint8_t(20 + random() % 70));
    const TapeScan scan = t.scan();
    EXPECT_EQ(unknown_turbos(scan), 0u);
}

TEST(UnknownTurboNever, ACbmLeaderAloneIsNoTurbo)
{
    HandTapeBase t;
    std::mt19937 random(18);
    for (int i = 0; i < 27000; ++i)
        t.tap.push_back(uint8_t(0x30 + int(random() % 5) - 2));
    t.pause();
    EXPECT_EQ(unknown_turbos(t.scan()), 0u);
}

TEST(UnknownTurboNever, CbmRomDataNoScannerTookIsNoTurbo)
{
    // A leader and bytes as the KERNAL writes them (a long and a medium
    // pulse before each byte, two pulses a bit, a parity bit), but no
    // countdown: the CBM ROM scanner leaves it; its three classes are no
    // two-class turbo.
    HandTapeBase t;
    std::mt19937 random(19);
    const auto pulse = [&](uint8_t u) { t.tap.push_back(uint8_t(u + int(random() % 3) - 1)); };
    for (int i = 0; i < 2000; ++i)
        pulse(0x30);
    for (int n = 0; n < 600; ++n) {
        const uint8_t v = uint8_t(random());
        pulse(0x56), pulse(0x42);
        int parity = 1;
        for (int k = 0; k < 8; ++k) {
            const int b = (v >> k) & 1;
            parity ^= b;
            b ? (pulse(0x42), pulse(0x30)) : (pulse(0x30), pulse(0x42));
        }
        parity ? (pulse(0x42), pulse(0x30)) : (pulse(0x30), pulse(0x42));
    }
    t.pause();
    const TapeScan scan = t.scan();
    EXPECT_EQ(unknown_turbos(scan), 0u);
}

TEST(UnknownTurboNever, TwoLengthsWithoutAPilotAreNoTurbo)
{
    HandTapeBase t;
    std::mt19937 random(20);
    for (int i = 0; i < 40000; ++i)
        t.tap.push_back(uint8_t((random() & 1) ? 0x42 : 0x24));
    t.pause();
    EXPECT_EQ(unknown_turbos(t.scan()), 0u);
}

TEST(UnknownTurboNever, TakesNoPulsesAScannerRead)
{
    // A known loader's tape reads as before: its files, nothing unknown.
    for (const char *id : {"turbotape", "freeload", "novaload"}) {
        const Bytes tap = encode(*find_turbo_loader(id), real_prg_inputs());
        const TapeScan scan = scan_tape(tap.data(), tap.size());
        EXPECT_EQ(unknown_turbos(scan), 0u) << id;
        for (const TapeEntry &e : scan.entries)
            EXPECT_NE(e.kind, EntryKind::Unrecognized) << id << " at " << e.start;
    }
}

TEST(UnknownTurbo, TheTextSaysWhatWasFound)
{
    TurboDescription d;
    d.found = true;
    d.short_units = 0x29;
    d.long_units = 0x4A;
    d.threshold_cycles = 440;
    d.pilot_value = 0x40;
    d.pilot_count = 256;
    d.first_bytes = {0x5A, 0x01, 0x08};
    d.blocks = 12;
    d.bytes.assign(23 * 1024 + 100, 0);
    EXPECT_EQ(d.text(), "Turbo: threshold 440 cycles, pulses $29/$4A, MSB first, pilot $40 x 256, then $5A 01 08 ..., "
                        "12 blocks, about 23 KB");
    d.order = turbo::BitOrder::LsbFirst;
    d.bit_pilot = true;
    d.pilot_value = 0;
    d.pilot_count = 2064;
    d.blocks = 1;
    d.bytes.assign(700, 0);
    EXPECT_EQ(d.text(), "Turbo: threshold 440 cycles, pulses $29/$4A, LSB first, pilot of 2064 0 bits, then $5A 01 08 "
                        "..., 1 block, 700 bytes");
}

TEST(UnknownTurbo, ThePulseHistogramMarksItsTwoMeasuredLengths)
{
    HandTapeBase t;
    const Invented l{440, 1.8, turbo::BitOrder::MsbFirst, false, 0x40, 256, {0x5A, 0x01, 0x08}};
    InventedWriter w(t.tap, l, 1.0, 0, 5);
    w.block(real_programs().front());
    t.pause();
    const TapeScan scan = t.scan();
    const PulseHistogram h = pulse_histogram(scan);
    EXPECT_TRUE(h.ideals.empty());
    EXPECT_EQ(h.unknown_turbo, (std::vector<uint8_t>{uint8_t(std::lround(w.zero())), uint8_t(std::lround(w.one()))}));
}

TEST(UnknownTurbo, ItsBytesAreFoundAgainByTheirPlaceOnTheTape)
{
    HandTapeBase t;
    const Invented l{380, 1.9, turbo::BitOrder::LsbFirst, false, 0xC6, 128, {0x3B, 0xC4}};
    InventedWriter w(t.tap, l, 1.02, 1, 5);
    w.block(real_programs().back());
    t.pause();
    const TapeScan scan = t.scan();
    const TapeEntry *e = unknown_turbo(scan);
    ASSERT_NE(e, nullptr);
    const Bytes &tap = t.bytes();
    EXPECT_EQ(unknown_turbo_bytes(tap.data(), tap.size(), e->start, e->end), e->payload);
    // Elsewhere (the pause) there is none.
    EXPECT_TRUE(unknown_turbo_bytes(tap.data(), tap.size(), tap.size() - 4, tap.size() - 1).empty());
}
