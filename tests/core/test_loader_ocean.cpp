// Ocean/Imagine chains built pulse by pulse (not by the loader's encoder):
// the three types, pages apart, a page $02 that is data, pilots of other
// lengths, chains touching or cut short, and the other bit-pilot format
// (Novaload) scanned beside it.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"
#include "core/tapescan.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format OCEAN{480, 0x24, 0x56, turbo::BitOrder::LsbFirst};

Bytes new_tap() { return tap_file_header(1, false, false, 0); }

void pause(Bytes &tap) { tap_append_pause(tap, 200000, 1); }

Bytes page_data(uint32_t seed)
{
    const PrgInput p = program("", 0, 256, seed);
    Bytes out(p.bytes.begin() + 2, p.bytes.end());
    out[0] = 0x01;  // never an all-zero page
    return out;
}

struct Page {
    uint8_t flag, page;
    Bytes data;
};

// A chain: pilot, the 1 bit, $AA when synced, the blocks, the ending
// [flag][end_page], the trailer. Returns the pulses written.
std::size_t write_chain(Bytes &tap, std::size_t pilot, bool synced, const std::vector<Page> &pages, uint8_t end_page,
                        std::size_t trailer)
{
    const std::size_t before = tap.size();
    turbo::Writer w(tap, OCEAN);
    w.zeros(pilot);
    w.bit(1);
    if (synced)
        w.byte(0xAA);
    for (const Page &p : pages) {
        w.byte(p.flag);
        w.byte(p.page);
        w.bytes(p.data);
    }
    w.byte(0x00);
    w.byte(end_page);
    w.zeros(trailer);
    return tap.size() - before;
}

TapeScan scan_with(const Bytes &tap, const std::vector<const TapeScanner *> &scanners)
{
    Bytes t = tap;
    tap_fix_data_size(t);
    return scan_tape(t.data(), t.size(), ScanOptions(), scanners);
}

TapeScan scan_ocean(const Bytes &tap) { return scan_with(tap, {LOADER_OCEAN.scanner}); }

std::vector<const TapeEntry *> chains(const TapeScan &scan) { return entries_of(scan, LOADER_OCEAN.scanner); }

Bytes joined(std::initializer_list<const Bytes *> parts)
{
    Bytes out;
    for (const Bytes *p : parts)
        out.insert(out.end(), p->begin(), p->end());
    return out;
}

} // namespace

TEST(OceanScanner, TypeOneChainWithoutBootFile)
{
    const Bytes a = page_data(1), b = page_data(2), c = page_data(3);
    Bytes tap = new_tap();
    const std::size_t pulses = write_chain(tap, 4112, false, {{0x05, 0x08, a}, {0x05, 0x09, b}, {0x07, 0x0A, c}}, 0, 2047);
    const TapeScan scan = scan_ocean(tap);
    expect_covering(scan);
    ASSERT_EQ(scan.entries.size(), 1u);
    const TapeEntry &e = scan.entries[0];
    EXPECT_EQ(e.type, "OCEAN");
    EXPECT_EQ(e.block_type, 1);
    EXPECT_EQ(e.pulse_count, pulses);
    EXPECT_EQ(e.inner_start_pulse, 4113u);
    EXPECT_EQ(e.inner_end_pulse, 4113u + 3 * 8 * 258);
    EXPECT_FALSE(e.has_checkbyte);
    EXPECT_EQ(e.payload, joined({&a, &b, &c}));
    ASSERT_EQ(e.loaded.size(), 1u);
    EXPECT_EQ(e.loaded[0].load, 0x0800);
    EXPECT_EQ(e.loaded[0].bytes, e.payload);
    EXPECT_EQ(e.load_address, 0x0800);
    EXPECT_EQ(e.end_address, 0x0B00);
    EXPECT_EQ(e.read_errors, 0u);
}

TEST(OceanScanner, TypeTwoPagesApartGiveTwoRuns)
{
    const Bytes a = page_data(4), b = page_data(5), c = page_data(6);
    Bytes tap = new_tap();
    write_chain(tap, 4112, true, {{0, 0x40, a}, {0, 0x41, b}, {0, 0x10, c}}, 0, 2047);
    const TapeScan scan = scan_ocean(tap);
    const auto found = chains(scan);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->block_type, 2);
    EXPECT_EQ(found[0]->inner_start_pulse, 4113u + 8);
    ASSERT_EQ(found[0]->loaded.size(), 2u);
    EXPECT_EQ(found[0]->loaded[0].load, 0x4000);
    EXPECT_EQ(found[0]->loaded[0].bytes, joined({&a, &b}));
    EXPECT_EQ(found[0]->loaded[1].load, 0x1000);
    EXPECT_EQ(found[0]->loaded[1].bytes, c);
    EXPECT_FALSE(found[0]->has_addresses);
}

TEST(OceanScanner, TypeThreeEndsAtPageTwo)
{
    const Bytes a = page_data(7), b = page_data(8);
    Bytes tap = new_tap();
    const std::size_t pulses = write_chain(tap, 4112, true, {{0, 0x20, a}, {0, 0x21, b}}, 0x02, 2047);
    pause(tap);
    const TapeScan scan = scan_ocean(tap);
    expect_covering(scan);
    const auto found = chains(scan);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->block_type, 3);
    EXPECT_EQ(found[0]->pulse_count, pulses);
    EXPECT_EQ(found[0]->payload, joined({&a, &b}));
    EXPECT_EQ(found[0]->inner_end_pulse, 4113u + 8 + 2 * 8 * 258);
}

TEST(OceanScanner, TypeThreeEndRunningIntoTheNextPilot)
{
    const Bytes a = page_data(9), b = page_data(10);
    Bytes tap = new_tap();
    const std::size_t first = write_chain(tap, 4112, true, {{0, 0x20, a}}, 0x02, 2047);
    write_chain(tap, 4112, true, {{0, 0x30, b}}, 0x02, 2047);
    const TapeScan scan = scan_ocean(tap);
    expect_covering(scan);
    const auto found = chains(scan);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0]->block_type, 3);
    EXPECT_EQ(found[0]->payload, a);
    EXPECT_EQ(found[0]->pulse_count, first - 2047);
    EXPECT_EQ(found[1]->payload, b);
    EXPECT_EQ(found[1]->loaded[0].load, 0x3000);
}

TEST(OceanScanner, PageTwoWithDataIsLoadedInTypeTwo)
{
    const Bytes a = page_data(11), b = page_data(12), c = page_data(13);
    Bytes tap = new_tap();
    write_chain(tap, 4112, true, {{0, 0x02, a}, {0, 0x03, b}, {0, 0x04, c}}, 0, 2047);
    const TapeScan scan = scan_ocean(tap);
    const auto found = chains(scan);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->block_type, 2);
    ASSERT_EQ(found[0]->loaded.size(), 1u);
    EXPECT_EQ(found[0]->loaded[0].load, 0x0200);
    EXPECT_EQ(found[0]->loaded[0].bytes.size(), 3u * 256);
}

TEST(OceanScanner, WholePilotsShortAndLong)
{
    for (const std::size_t pilot : {std::size_t(2000), std::size_t(4112), std::size_t(9000)}) {
        const Bytes a = page_data(uint32_t(pilot));
        Bytes tap = new_tap();
        pause(tap);
        write_chain(tap, pilot, false, {{0, 0xC0, a}}, 0, 2047);
        pause(tap);
        const TapeScan scan = scan_ocean(tap);
        expect_covering(scan);
        const auto found = chains(scan);
        ASSERT_EQ(found.size(), 1u) << pilot;
        EXPECT_EQ(found[0]->first_pulse, 1u) << pilot;
        EXPECT_EQ(found[0]->payload, a) << pilot;
    }
}

TEST(OceanScanner, TooShortAPilotIsNoChain)
{
    // Without a checksum a chain needs a whole pilot: a run of a few hundred
    // 0 bits (a page of zeros in other data) is not one.
    for (const std::size_t pilot : {std::size_t(300), std::size_t(600), std::size_t(1900)}) {
        Bytes tap = new_tap();
        write_chain(tap, pilot, false, {{0, 0xC0, page_data(1)}}, 0, 2047);
        const TapeScan scan = scan_ocean(tap);
        EXPECT_TRUE(chains(scan).empty()) << pilot;
    }
}

TEST(OceanScanner, ChainCutBySilenceKeepsTheBytesRead)
{
    const Bytes a = page_data(14), b = page_data(15);
    Bytes tap = new_tap();
    turbo::Writer w(tap, OCEAN);
    w.zeros(4112);
    w.bit(1);
    w.bytes({0x00, 0x50});
    w.bytes(a);
    w.bytes({0x00, 0x51});
    w.bytes(b.data(), 100);
    pause(tap);
    const TapeScan scan = scan_ocean(tap);
    expect_covering(scan);
    const auto found = chains(scan);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->payload.size(), 356u);
    EXPECT_EQ(found[0]->loaded[0].bytes, Bytes(found[0]->payload));
    EXPECT_EQ(found[0]->pulse_count, 4113u + 8 * (258 + 102));
}

TEST(OceanScanner, NovaloadAndOceanSideBySide)
{
    // A Novaload file (pilot, 1, $AA, header, sums) and an Ocean type 2
    // chain (pilot, 1, $AA, blocks) look alike up to the sync byte: each
    // scanner takes its own.
    std::vector<PrgInput> one = {program("N", 0x0900, 600, 3)};
    std::string error;
    Bytes tap = LOADER_NOVALOAD.encode(one, turbo::TapeOptions(), error);
    ASSERT_EQ(error, "");
    pause(tap);
    const Bytes a = page_data(16);
    write_chain(tap, 4112, true, {{0, 0x60, a}}, 0, 2047);
    const TapeScan scan = scan_with(tap, builtin_scanners());
    expect_covering(scan);
    const auto nova = entries_of(scan, LOADER_NOVALOAD.scanner);
    const auto ocean = chains(scan);
    ASSERT_EQ(nova.size(), 1u);
    EXPECT_TRUE(nova[0]->checkbyte_pass);
    ASSERT_EQ(ocean.size(), 1u);
    EXPECT_EQ(ocean[0]->payload, a);
    for (const TapeEntry &e : scan.entries)
        EXPECT_NE(e.kind, EntryKind::Unrecognized);
}

TEST(OceanScanner, BoundsOnlyFromItsOwnBootFile)
{
    // The encoder's tape gives the programs exactly; the same chain after
    // a boot file of another loader gives whole pages.
    const std::vector<PrgInput> prgs = {program("P", 0x0801, 300, 4)};
    std::string error;
    const Bytes own = LOADER_OCEAN.encode(prgs, turbo::TapeOptions(), error);
    const TapeScan scan = scan_with(own, builtin_scanners());
    const auto found = chains(scan);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->loaded[0].load, 0x0801);
    EXPECT_EQ(found[0]->loaded[0].bytes, Bytes(prgs[0].bytes.begin() + 2, prgs[0].bytes.end()));
    EXPECT_EQ(found[0]->payload.size(), 512u);

    Bytes foreign = LOADER_NOVALOAD.encode({program("X", 0x2000, 10, 1)}, turbo::TapeOptions(), error);
    pause(foreign);
    const std::size_t chain_start = own.size() - found[0]->pulse_count;
    foreign.insert(foreign.end(), own.begin() + std::ptrdiff_t(chain_start), own.end());
    const TapeScan other = scan_with(foreign, builtin_scanners());
    const auto again = chains(other);
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0]->loaded[0].load, 0x0800);
    EXPECT_EQ(again[0]->loaded[0].bytes.size(), 512u);
}

TEST(OceanIdentify, ThresholdOfTheContinuousTimer)
{
    BootFacts facts;
    facts.thresholds = {480};
    EXPECT_FALSE(LOADER_OCEAN.identify(facts)) << "a one-shot timer of 480 cycles is Wild Save's";
    facts.continuous = true;
    EXPECT_TRUE(LOADER_OCEAN.identify(facts));
    facts.thresholds = {500};
    EXPECT_FALSE(LOADER_OCEAN.identify(facts));
    facts.thresholds = {263};
    EXPECT_FALSE(LOADER_OCEAN.identify(facts));
}

TEST(OceanScanner, NovaloadFilesAreNoChains)
{
    std::string error;
    const Bytes tap = LOADER_NOVALOAD.encode({program("GAME", 0x0801, 2500, 31), program("M", 0x1000, 400, 32)},
                                             turbo::TapeOptions(), error);
    const TapeScan scan = scan_ocean(tap);
    EXPECT_TRUE(chains(scan).empty());
}

TEST(NovaloadScanner, LongOceanChainsAreNoNovaloadFiles)
{
    // Many pages give many chances for a byte to agree as a check byte by
    // chance: the Novaload scanner still leaves every chain alone.
    for (uint32_t seed = 0; seed < 40; ++seed) {
        std::vector<Page> pages;
        for (uint8_t k = 0; k < 40; ++k)
            pages.push_back({uint8_t(seed & 7), uint8_t(0x20 + k), page_data(seed * 100 + k)});
        Bytes tap = new_tap();
        write_chain(tap, 4112, true, pages, seed % 2 ? 0x02 : 0x00, 2047);
        const TapeScan scan = scan_with(tap, builtin_scanners());
        EXPECT_TRUE(entries_of(scan, LOADER_NOVALOAD.scanner).empty()) << seed;
        const auto found = chains(scan);
        ASSERT_EQ(found.size(), 1u) << seed;
        EXPECT_EQ(found[0]->payload.size(), 40u * 256) << seed;
    }
}
