// Bleepload tapes built pulse by pulse: pilots of any byte and of several
// lengths, blocks back to back or apart, fillers, the checksum's coverage,
// a block cut short by silence, a missing block, pilots that lead nowhere.
#include "core/cbmencode.h"
#include "core/loaders/all.h"
#include "core/loaders/bootcode.h"
#include "core/loaders/turbo.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

const turbo::Format FORMAT{562, 0x30, 0x5A, turbo::BitOrder::MsbFirst};

enum class Sum { Data, FromNextPilot, ThroughFiller, Wrong };

struct BlockPlan {
    uint8_t pilot = 0x0F;
    std::size_t pilot_bytes = 10;
    uint8_t next = 0x3C;
    uint8_t number = 1;
    uint16_t load = 0x0801;
    Bytes data;  // 64 or 256 bytes
    Bytes filler;
    Sum sum = Sum::Data;
    uint16_t vector = 0x0801;
};

Bytes page(std::size_t size, uint32_t seed)
{
    const PrgInput p = program("", 0, size, seed);
    return Bytes(p.bytes.begin() + 2, p.bytes.end());
}

void append_block(Bytes &tap, const BlockPlan &b)
{
    turbo::Writer w(tap, FORMAT);
    w.repeat_byte(b.pilot, b.pilot_bytes);
    w.byte(uint8_t(~b.pilot));
    w.byte(b.pilot);
    const Bytes header = {b.next, b.number, uint8_t(b.load), uint8_t(b.load >> 8)};
    w.bytes(header);
    w.bytes(b.data);
    w.byte(uint8_t(b.filler.size()));
    w.bytes(b.filler);
    uint8_t sum = turbo::xor_of(b.data.data(), b.data.size());
    if (b.sum != Sum::Data)
        sum ^= turbo::xor_of(header.data(), header.size());
    if (b.sum == Sum::ThroughFiller)
        sum ^= uint8_t(b.filler.size()) ^ turbo::xor_of(b.filler.data(), b.filler.size());
    if (b.sum == Sum::Wrong)
        sum ^= 0x40;
    w.byte(sum);
    w.bytes({uint8_t(b.vector), uint8_t(b.vector >> 8)});
}

void append_pause(Bytes &tap) { tap_append_pause(tap, 200000, 1); }

Bytes boot_tape()
{
    BootCodePlan loop;
    loop.threshold_cycles = 562;
    loop.compares = {0x0F, 0xF0};
    return turbo::tape_with_boot_file(make_boot_program(loop), "FIREBIRD", turbo::TapeOptions());
}

TapeScan scan(Bytes &tap)
{
    tap_fix_data_size(tap);
    return scan_tape(tap.data(), tap.size());
}

std::vector<const TapeEntry *> blocks(const TapeScan &s)
{
    return entries_of(s, find_turbo_loader("bleepload")->scanner);
}

unsigned unrecognised(const TapeScan &s)
{
    unsigned n = 0;
    for (const TapeEntry &e : s.entries)
        n += e.kind == EntryKind::Unrecognized;
    return n;
}

// A chain of blocks: block 0 at $0801 (64 bytes), then `pages` pages.
std::vector<BlockPlan> chain(std::size_t pages)
{
    const uint8_t pilots[] = {0x0F, 0x55, 0xE1, 0x3C, 0x81, 0x7E, 0x0F, 0x9A};
    std::vector<BlockPlan> out;
    uint16_t load = 0x0801;
    for (std::size_t i = 0; i <= pages; ++i) {
        BlockPlan b;
        b.pilot = pilots[i % 8];
        b.next = pilots[(i + 1) % 8];
        b.number = uint8_t(i);
        b.load = load;
        b.data = page(i == 0 ? 64 : 256, uint32_t(i + 1));
        load = uint16_t(load + b.data.size());
        out.push_back(b);
    }
    return out;
}

} // namespace

TEST(BleeploadLoader, EveryBlockIsAnEntryWhateverItsPilotByte)
{
    const std::vector<BlockPlan> c = chain(5);
    Bytes tap = boot_tape();
    for (const BlockPlan &b : c) {
        append_block(tap, b);
        append_pause(tap);
    }
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto found = blocks(s);
    ASSERT_EQ(found.size(), c.size());
    for (std::size_t i = 0; i < c.size(); ++i) {
        const TapeEntry *e = found[i];
        EXPECT_EQ(e->type, "BLEEPLOAD");
        EXPECT_EQ(e->load_address, c[i].load);
        EXPECT_EQ(e->end_address, uint16_t(c[i].load + c[i].data.size()));
        EXPECT_EQ(e->payload, c[i].data);
        EXPECT_TRUE(e->has_checkbyte);
        EXPECT_TRUE(e->checkbyte_pass);
        EXPECT_EQ(e->read_errors, 0u);
        // Inner start: the first loaded byte; inner end: the checksum.
        EXPECT_EQ(e->inner_start_pulse, e->first_pulse + 8 * (10 + 2 + 4));
        EXPECT_EQ(e->inner_end_pulse, e->inner_start_pulse + 8 * (c[i].data.size() + 1));
    }
    EXPECT_EQ(unrecognised(s), 0u);
    // The pages make one run at $0801, carried by the last block.
    for (std::size_t i = 0; i + 1 < c.size(); ++i)
        EXPECT_TRUE(found[i]->loaded.empty()) << i;
    ASSERT_EQ(found.back()->loaded.size(), 1u);
    EXPECT_EQ(found.back()->loaded[0].load, 0x0801);
    EXPECT_EQ(found.back()->loaded[0].bytes.size(), 64u + 5 * 256);
}

TEST(BleeploadLoader, ShortAndLongPilotsBackToBackBlocksAndNoBootFile)
{
    std::vector<BlockPlan> c = chain(3);
    c[0].pilot_bytes = 6;    // the first bytes lost after the pause
    c[1].pilot_bytes = 200;  // a long one
    Bytes tap = tap_file_header(1, false, false, 0);
    for (const BlockPlan &b : c) {
        append_block(tap, b);
        turbo::Writer(tap, FORMAT).zeros(20);  // no pause: a trailer, then the next pilot
    }
    Bytes off = distorted(tap, 0.94, 2, 5);
    const TapeScan s = scan(off);
    expect_covering(s);
    const auto found = blocks(s);
    ASSERT_EQ(found.size(), c.size());
    for (std::size_t i = 0; i < c.size(); ++i) {
        EXPECT_EQ(found[i]->payload, c[i].data) << i;
        EXPECT_TRUE(found[i]->checkbyte_pass) << i;
        if (i + 1 < c.size()) {
            EXPECT_EQ(found[i]->first_pulse + found[i]->pulse_count, found[i + 1]->first_pulse);
        }
    }
    EXPECT_EQ(unrecognised(s), 0u);
}

TEST(BleeploadLoader, AMissingBlockLeavesTheOthersReadable)
{
    std::vector<BlockPlan> c = chain(3);
    Bytes tap = boot_tape();
    for (std::size_t i = 0; i < c.size(); ++i) {
        if (i == 1)
            continue;  // its pilot byte is the one block 0 announced; block 2's is not
        append_block(tap, c[i]);
        turbo::Writer(tap, FORMAT).zeros(12);
    }
    const TapeScan s = scan(tap);
    const auto found = blocks(s);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[1]->payload, c[2].data);
    EXPECT_EQ(found[0]->first_pulse + found[0]->pulse_count, found[1]->first_pulse);
    // Two runs: $0801 and after the gap.
    EXPECT_EQ(loaded_programs(s, found[0]->scanner).size(), 2u);
}

TEST(BleeploadLoader, FillerAndChecksumCoverage)
{
    std::vector<BlockPlan> c = chain(4);
    c[1].filler = {1, 2, 3, 4, 5};
    c[1].sum = Sum::FromNextPilot;
    c[2].filler = {9, 9};
    c[2].sum = Sum::ThroughFiller;
    c[3].filler = {7};
    c[3].sum = Sum::Wrong;
    Bytes tap = boot_tape();
    for (const BlockPlan &b : c) {
        append_block(tap, b);
        append_pause(tap);
    }
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto found = blocks(s);
    ASSERT_EQ(found.size(), c.size());
    EXPECT_TRUE(found[0]->checkbyte_pass);
    EXPECT_TRUE(found[1]->checkbyte_pass);
    EXPECT_TRUE(found[2]->checkbyte_pass);
    EXPECT_FALSE(found[3]->checkbyte_pass);
    EXPECT_EQ(found[3]->checkbyte_computed, turbo::xor_of(c[3].data.data(), c[3].data.size()));
    EXPECT_TRUE(found[4]->checkbyte_pass);
    // Fillers load nothing. The failing block closes the run of the blocks
    // before it (its PRG file is the bad one); the last block carries the rest.
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_TRUE(found[i]->loaded.empty()) << i;
    ASSERT_EQ(found[3]->loaded.size(), 1u);
    EXPECT_EQ(found[3]->loaded[0].load, 0x0801);
    Bytes first_four;
    for (std::size_t i = 0; i < 4; ++i)
        first_four.insert(first_four.end(), c[i].data.begin(), c[i].data.end());
    EXPECT_EQ(found[3]->loaded[0].bytes, first_four);
    ASSERT_EQ(found[4]->loaded.size(), 1u);
    EXPECT_EQ(found[4]->loaded[0].load, c[4].load);
    EXPECT_EQ(found[4]->loaded[0].bytes, c[4].data);
    EXPECT_FALSE(scan_totals(s).checksum_pass());
}

TEST(BleeploadLoader, TheUsedMarkTrimsTheLastBlock)
{
    std::vector<BlockPlan> c = chain(1);
    c[1].filler = {0xBB, 10, 0xF5};
    Bytes tap = boot_tape();
    for (const BlockPlan &b : c) {
        append_block(tap, b);
        append_pause(tap);
    }
    const TapeScan s = scan(tap);
    const auto found = blocks(s);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[1]->payload.size(), 256u);
    EXPECT_TRUE(found[0]->loaded.empty());
    ASSERT_EQ(found[1]->loaded.size(), 1u);
    Bytes want = c[0].data;
    want.insert(want.end(), c[1].data.begin(), c[1].data.begin() + 10);
    EXPECT_EQ(found[1]->loaded[0].load, 0x0801);
    EXPECT_EQ(found[1]->loaded[0].bytes, want);
}

TEST(BleeploadLoader, ABlockCutShortBySilenceFails)
{
    std::vector<BlockPlan> c = chain(2);
    Bytes tap = boot_tape();
    append_block(tap, c[0]);
    append_pause(tap);
    append_block(tap, c[1]);
    tap.resize(tap.size() - 8 * 100 - 5);
    append_pause(tap);
    append_block(tap, c[2]);
    append_pause(tap);
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto found = blocks(s);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_TRUE(found[0]->checkbyte_pass);
    EXPECT_FALSE(found[1]->checkbyte_pass);
    EXPECT_TRUE(found[2]->checkbyte_pass);
    // 256 + N + checksum + vector = 260 bytes written, 100 and 5 bits lost.
    EXPECT_EQ(found[1]->payload, Bytes(c[1].data.begin(), c[1].data.begin() + 159));
    EXPECT_TRUE(s.pulses.is_silence(found[1]->first_pulse + found[1]->pulse_count));
}

TEST(BleeploadLoader, PilotsThatLeadNowhereAreNotBlocks)
{
    std::vector<BlockPlan> c = chain(0);
    Bytes tap = boot_tape();
    c[0].pilot_bytes = 4;  // too short
    append_block(tap, c[0]);
    append_pause(tap);
    turbo::Writer w(tap, FORMAT);
    w.repeat_byte(0x0F, 10);
    w.byte(0x0F);  // no complement
    w.bytes(page(80, 3));
    append_pause(tap);
    const TapeScan s = scan(tap);
    expect_covering(s);
    EXPECT_TRUE(blocks(s).empty());
    EXPECT_EQ(unrecognised(s), 2u);
}

TEST(BleeploadLoader, IdentifiedByItsThreshold)
{
    BootCodePlan loop;
    loop.threshold_cycles = 562;
    const Bytes code = make_boot_program(loop);
    EXPECT_TRUE(LOADER_BLEEPLOAD.identify(read_boot_code(code.data(), code.size())));
    loop.threshold_cycles = 384;
    const Bytes other = make_boot_program(loop);
    EXPECT_FALSE(LOADER_BLEEPLOAD.identify(read_boot_code(other.data(), other.size())));
}
