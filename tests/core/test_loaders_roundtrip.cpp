// Every turbo loader, through its own encoder and the whole scan with every
// scanner: programs in, the same programs out, every checksum passing, no
// read error, no byte left unrecognised; also off-speed and jittered, and
// with one damaged byte.
#include "core/cbmscan.h"
#include "core/loaders/identify.h"
#include "core/loaders/registry.h"
#include "core/tapewrite.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

class LoaderRoundTrip : public testing::TestWithParam<std::string> {
protected:
    const TurboLoader &loader() const { return *find_turbo_loader(GetParam()); }

    std::vector<PrgInput> programs() const
    {
        return {program("first one", 0x0801, 3000, 1), program("SECOND", 0xC000, 700, 2),
                program("", 0x2000, 1, 3)};
    }

    // Checks a scan of a tape holding programs(): every program back, every
    // checksum passing, nothing unrecognised.
    void expect_read_back(const TapeScan &scan) const
    {
        ASSERT_TRUE(scan.ok);
        expect_covering(scan);
        for (const TapeEntry &e : scan.entries) {
            EXPECT_NE(e.kind, EntryKind::Unrecognized) << "at " << e.start << " to " << e.end;
            EXPECT_TRUE(e.scanner == nullptr || e.scanner == &cbm_rom_scanner || e.scanner == loader().scanner)
                << e.type;
            if (e.has_checkbyte) {
                EXPECT_TRUE(e.checkbyte_pass) << e.type << " at " << e.start;
            }
            EXPECT_EQ(e.read_errors, 0u) << e.type << " at " << e.start;
        }
        const std::vector<Bytes> got = loaded_programs(scan, loader().scanner);
        const std::vector<PrgInput> want = programs();
        ASSERT_EQ(got.size(), want.size());
        for (std::size_t i = 0; i < want.size(); ++i)
            EXPECT_EQ(got[i], want[i].bytes) << "program " << i;
    }
};

} // namespace

TEST_P(LoaderRoundTrip, ProgramsComeBackWhole)
{
    const Bytes tap = encode(loader(), programs());
    expect_read_back(scan_tape(tap.data(), tap.size()));
}

TEST_P(LoaderRoundTrip, OffSpeedAndJitteredTapesStillRead)
{
    const Bytes tap = encode(loader(), programs());
    for (const double speed : {0.92, 0.95, 1.05, 1.08}) {
        SCOPED_TRACE(testing::Message() << "speed " << speed);
        const Bytes off = distorted(tap, speed, 2, uint32_t(speed * 1000));
        expect_read_back(scan_tape(off.data(), off.size()));
    }
}

TEST_P(LoaderRoundTrip, FourUnitsOfJitterEitherWayStillRead)
{
    // A worn tape or a noisy capture: every pulse up to 4 units off at
    // random, on a tape at speed and 4 % off either way. Pulses that far
    // from their class may count as read errors; every program must still
    // come back with its checksum passing.
    const Bytes tap = encode(loader(), programs());
    for (const double speed : {0.96, 1.0, 1.04}) {
        SCOPED_TRACE(testing::Message() << "speed " << speed);
        const Bytes off = distorted(tap, speed, 4, uint32_t(speed * 100) + 11);
        const TapeScan scan = scan_tape(off.data(), off.size());
        expect_covering(scan);
        for (const TapeEntry &e : scan.entries) {
            EXPECT_NE(e.kind, EntryKind::Unrecognized) << "at " << e.start << " to " << e.end;
            if (e.has_checkbyte) {
                EXPECT_TRUE(e.checkbyte_pass) << e.type << " at " << e.start;
            }
        }
        const std::vector<Bytes> got = loaded_programs(scan, loader().scanner);
        const std::vector<PrgInput> want = programs();
        ASSERT_EQ(got.size(), want.size());
        for (std::size_t i = 0; i < want.size(); ++i)
            EXPECT_EQ(got[i], want[i].bytes) << "program " << i;
    }
}

TEST_P(LoaderRoundTrip, SlowSpeedDriftStillReads)
{
    // 2 % of wow over 20000 pulses, around a tape 3 % slow and 3 % fast.
    const Bytes tap = encode(loader(), programs());
    for (const double base : {0.97, 1.03}) {
        SCOPED_TRACE(testing::Message() << "speed " << base);
        expect_read_back(scan_tape(wobbled(distorted(tap, base, 0), 0.02, 20000, 1).data(), tap.size()));
    }
}

TEST_P(LoaderRoundTrip, TapVersionZeroPausesRead)
{
    turbo::TapeOptions options;
    options.tap_version = 0;
    const Bytes tap = encode(loader(), programs(), options);
    EXPECT_EQ(tap[TAP_OFFSET_VERSION], 0);
    expect_read_back(scan_tape(tap.data(), tap.size()));
}

TEST_P(LoaderRoundTrip, ADamagedByteFailsOnlyItsBlock)
{
    const Bytes tap = encode(loader(), programs());
    const TapeScan clean = scan_tape(tap.data(), tap.size());
    // A pulse in the middle of the first checksummed block of the loader,
    // turned into the other bit.
    const TapeEntry *victim = nullptr;
    for (const TapeEntry *e : entries_of(clean, loader().scanner))
        if (e->has_checkbyte && e->payload.size() > 100 && victim == nullptr)
            victim = e;
    if (victim == nullptr)
        GTEST_SKIP() << "the format has no checksum";
    // 40 bytes past the middle: the middle of a chain of page blocks can
    // fall on a block's own pilot, which the chain reads through unharmed.
    std::size_t pulse = (victim->inner_start_pulse + victim->inner_end_pulse) / 2 + 8 * 40;
    std::size_t count = 1;
    if (tap[TAP_OFFSET_PLATFORM] == 2) {
        // C16 ROM: a bit is two waves of two half-waves, 40 pulses a byte
        // (marker and long wave first): one pulse alone reads back right,
        // so a whole bit of the middle byte is turned.
        constexpr std::size_t BYTE_PULSES = 40;
        pulse -= (pulse - victim->inner_start_pulse) % BYTE_PULSES;
        pulse += 4 + 4 * 3;
        count = 4;
    }
    Bytes damaged = tap;
    for (std::size_t q = pulse; q < pulse + count; ++q) {
        const bool was_one = clean.pulse_class(q) == turbo::BIT1;
        damaged[clean.pulses.offset(q)] = was_one ? victim->ideal_units[1] : victim->ideal_units[2];
    }
    const TapeScan scan = scan_tape(damaged.data(), damaged.size());
    expect_covering(scan);
    const std::vector<const TapeEntry *> before = entries_of(clean, loader().scanner);
    const std::vector<const TapeEntry *> after = entries_of(scan, loader().scanner);
    ASSERT_EQ(after.size(), before.size());
    unsigned failed = 0;
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_EQ(after[i]->start, before[i]->start);
        if (after[i]->has_checkbyte && !after[i]->checkbyte_pass) {
            ++failed;
            EXPECT_EQ(after[i]->start, victim->start);
        }
    }
    EXPECT_EQ(failed, 1u);
}

TEST_P(LoaderRoundTrip, CleaningWritesTheIdealValues)
{
    const Bytes tap = distorted(encode(loader(), programs()), 1.06, 2);
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    const Bytes cleaned = clean_tap(scan, CleanOptions());
    const TapeScan again = scan_tape(cleaned.data(), cleaned.size());
    expect_read_back(again);
    for (const TapeEntry *e : entries_of(again, loader().scanner)) {
        for (std::size_t q = e->first_pulse; q < e->first_pulse + e->pulse_count; ++q) {
            const uint8_t ideal = e->ideal_units[std::size_t(again.pulse_class(q))];
            ASSERT_NE(ideal, 0);
            ASSERT_EQ(again.pulses.units(q), ideal) << "pulse " << q;
        }
    }
}

TEST_P(LoaderRoundTrip, TheBootFileIdentifiesTheLoader)
{
    const Bytes tap = encode(loader(), programs());
    if (tap[TAP_OFFSET_PLATFORM] == 2)
        GTEST_SKIP() << "C16 ROM tapes have no boot file to identify";
    const IdentifiedScan id = scan_tape_identified(tap.data(), tap.size(), ScanOptions(), builtin_scanners(), true);
    EXPECT_EQ(id.loader, &loader());
    EXPECT_NE(id.summary.find(loader().name), std::string::npos) << id.summary;
    EXPECT_NE(id.summary.find("asked first up to the next boot file"), std::string::npos) << id.summary;
    expect_read_back(id.scan);
    // Identification only puts the loader first: it reads what -noid reads.
    const TapeScan all = scan_tape(tap.data(), tap.size(), ScanOptions(), builtin_scanners());
    ASSERT_EQ(id.scan.entries.size(), all.entries.size());
    for (std::size_t k = 0; k < all.entries.size(); ++k) {
        EXPECT_EQ(id.scan.entries[k].type, all.entries[k].type) << k;
        EXPECT_EQ(id.scan.entries[k].start, all.entries[k].start) << k;
    }
}

INSTANTIATE_TEST_SUITE_P(Loaders, LoaderRoundTrip, testing::ValuesIn([] {
                             std::vector<std::string> ids;
                             for (const TurboLoader &l : turbo_loaders())
                                 ids.push_back(l.id);
                             return ids;
                         }()),
                         [](const testing::TestParamInfo<std::string> &param) { return param.param; });
