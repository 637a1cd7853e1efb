// US Gold blocks written pulse by pulse: both places of the name, headers
// whose other reading also looks like addresses, pilots of other lengths,
// gaps, trailers, blocks cut short; and the encoder's name-last layout.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "core/loaders/usgold.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format GOLD_PULSES{360, 0x24, 0x42, turbo::BitOrder::MsbFirst};


Bytes name_bytes(const std::string &text)
{
    Bytes n(16, 0x20);
    for (std::size_t i = 0; i < text.size() && i < 16; ++i)
        n[i] = uint8_t(text[i]);
    return n;
}

Bytes addresses(uint16_t load, uint16_t end)
{
    return {uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8)};
}

// A tape without boot file, built block by block.
class HandTape {
public:
    HandTape() : tap_(tap_file_header(1, false, false, 0)) {}

    turbo::Writer writer(const turbo::Format &pulses = GOLD_PULSES) { return turbo::Writer(tap_, pulses); }

    // Pilot, sync, the 20 header bytes as given, data, checksum, trailer.
    void block(const Bytes &header, const Bytes &data, std::size_t pilot = 64, std::size_t trailer = 16,
               int checksum = -1)
    {
        turbo::Writer w = writer();
        w.repeat_byte(0x20, pilot);
        w.byte(0xFF);
        w.bytes(header);
        w.bytes(data);
        w.byte(checksum >= 0 ? uint8_t(checksum) : turbo::xor_of(data.data(), data.size()));
        w.zeros(trailer);
    }

    void name_first(const std::string &name, uint16_t load, const Bytes &data, std::size_t pilot = 64,
                    std::size_t trailer = 16)
    {
        Bytes h = name_bytes(name);
        const Bytes a = addresses(load, uint16_t(load + data.size()));
        h.insert(h.end(), a.begin(), a.end());
        block(h, data, pilot, trailer);
    }

    void name_last(const std::string &name, uint16_t load, const Bytes &data, std::size_t pilot = 64,
                   std::size_t trailer = 16)
    {
        Bytes h = addresses(load, uint16_t(load + data.size()));
        const Bytes n = name_bytes(name);
        h.insert(h.end(), n.begin(), n.end());
        block(h, data, pilot, trailer);
    }

    void pause()
    {
        turbo::TapeOptions options;
        options.pause_seconds = 1.0;
        turbo::append_pause(tap_, options);
    }

    TapeScan scan()
    {
        tap_fix_data_size(tap_);
        TapeScan s = scan_tape(tap_.data(), tap_.size());
        expect_covering(s);
        return s;
    }

private:
    Bytes tap_;
};

std::vector<const TapeEntry *> gold(const TapeScan &scan) { return entries_of(scan, LOADER_USGOLD.scanner); }

} // namespace

TEST(UsGoldScanner, NameFirstAndNameLastBlocksOnOneTape)
{
    HandTape t;
    const Bytes a = data_of(1000, 1), b = data_of(300, 2), c = data_of(2, 3);
    t.name_first("LOADER", 0x0801, a, 64);
    t.pause();
    t.name_last("MAIN PART", 0x4000, b, 20, 0);
    t.name_first("", 0xC000, c, 200);  // straight after, no gap
    t.pause();
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = gold(scan);
    ASSERT_EQ(blocks.size(), 3u);
    for (const TapeEntry &e : scan.entries)
        EXPECT_NE(e.kind, EntryKind::Unrecognized);
    EXPECT_EQ(blocks[0]->type, USGOLD_TYPE);
    EXPECT_EQ(blocks[0]->name, "LOADER");
    EXPECT_EQ(blocks[0]->load_address, 0x0801);
    EXPECT_EQ(blocks[0]->payload, a);
    EXPECT_EQ(blocks[1]->name, "MAIN PART");
    EXPECT_EQ(blocks[1]->load_address, 0x4000);
    EXPECT_EQ(blocks[1]->end_address, 0x4000 + 300);
    EXPECT_EQ(blocks[1]->payload, b);
    EXPECT_EQ(blocks[2]->first_pulse, blocks[1]->first_pulse + std::size_t(20 + 1 + 20 + 300 + 1) * 8);
    EXPECT_EQ(blocks[2]->load_address, 0xC000);
    EXPECT_EQ(blocks[2]->raw_name, Bytes(16, 0x20));
    EXPECT_EQ(blocks[2]->payload, c);
    for (const TapeEntry *e : blocks) {
        EXPECT_TRUE(e->has_checkbyte && e->checkbyte_pass);
        EXPECT_EQ(e->crc32, crc32_of(e->payload));
        EXPECT_EQ(e->inner_start_pulse, e->inner_end_pulse - (20 + e->payload.size()) * 8);
    }
}

TEST(UsGoldScanner, AddressesReadFromTheNameThatDoNotFitAreNotChosen)
{
    // Name last; read as name first, the name's last four bytes would give
    // $2020-$4040, a block far longer than the tape holds.
    HandTape t;
    const Bytes d = data_of(16, 4);
    Bytes h = addresses(0x1000, 0x1010);
    Bytes n = name_bytes("ABCDEFGHIJKL");
    n[12] = 0x20, n[13] = 0x20, n[14] = 0x40, n[15] = 0x40;
    h.insert(h.end(), n.begin(), n.end());
    t.block(h, d);
    t.pause();
    const TapeScan scan = t.scan();
    ASSERT_EQ(gold(scan).size(), 1u);
    const TapeEntry &e = *gold(scan)[0];
    EXPECT_EQ(e.load_address, 0x1000);
    EXPECT_EQ(e.raw_name, n);
    EXPECT_EQ(e.payload, d);
    EXPECT_TRUE(e.checkbyte_pass);
}

TEST(UsGoldScanner, TheChecksumDecidesWhenBothReadingsFit)
{
    // Name first, whose first four bytes read as $1000-$1008: a block of 8
    // bytes that fits too, but whose checksum fails.
    HandTape t;
    Bytes d = data_of(256, 5);
    d[8] = uint8_t(turbo::xor_of(d.data(), 8) ^ 0x5A);
    Bytes h = {0x00, 0x10, 0x08, 0x10};
    const Bytes rest = name_bytes("ZZZZZZZZZZZZ");
    h.insert(h.end(), rest.begin(), rest.begin() + 12);
    const Bytes a = addresses(0xC000, 0xC100);
    h.insert(h.end(), a.begin(), a.end());
    t.block(h, d);
    t.pause();
    const TapeScan scan = t.scan();
    ASSERT_EQ(gold(scan).size(), 1u);
    const TapeEntry &e = *gold(scan)[0];
    EXPECT_EQ(e.load_address, 0xC000);
    EXPECT_EQ(e.end_address, 0xC100);
    EXPECT_EQ(e.raw_name, Bytes(h.begin(), h.begin() + 16));
    EXPECT_EQ(e.payload, d);
    EXPECT_TRUE(e.checkbyte_pass);
}

TEST(UsGoldScanner, ADamagedBlockStillTakesTheReadingWhoseSizeFits)
{
    HandTape t;
    const Bytes d = data_of(500, 6);
    Bytes h = addresses(0x2000, 0x2000 + 500);
    const Bytes n = name_bytes("TITLE");
    h.insert(h.end(), n.begin(), n.end());
    t.block(h, d, 64, 16, turbo::xor_of(d.data(), d.size()) ^ 1);
    t.pause();
    const TapeScan scan = t.scan();
    ASSERT_EQ(gold(scan).size(), 1u);
    const TapeEntry &e = *gold(scan)[0];
    EXPECT_EQ(e.load_address, 0x2000);
    EXPECT_EQ(e.name, "TITLE");
    EXPECT_EQ(e.payload, d);
    EXPECT_FALSE(e.checkbyte_pass);
}

TEST(UsGoldScanner, ABlockCutShortBySilenceKeepsItsBytes)
{
    HandTape t;
    const Bytes d = data_of(100, 7);
    Bytes h = name_bytes("CUT");
    const Bytes a = addresses(0x3000, 0x3000 + 1000);
    h.insert(h.end(), a.begin(), a.end());
    turbo::Writer w = t.writer();
    w.repeat_byte(0x20, 64);
    w.byte(0xFF);
    w.bytes(h);
    w.bytes(d);  // its last byte happens to be where the checksum would be
    t.pause();
    const TapeScan scan = t.scan();
    ASSERT_EQ(gold(scan).size(), 1u);
    const TapeEntry &e = *gold(scan)[0];
    EXPECT_EQ(e.load_address, 0x3000);
    EXPECT_EQ(e.end_address, 0x3000 + 1000);
    EXPECT_EQ(e.payload, Bytes(d.begin(), d.end() - 1));
    EXPECT_EQ(e.checkbyte_on_tape, d.back());
    EXPECT_EQ(scan.entries.back().kind, EntryKind::Pause);
}

TEST(UsGoldScanner, AHeaderWithoutAnyPlausibleAddressesIsNoBlock)
{
    HandTape t;
    Bytes h = name_bytes("NOTHING");
    const Bytes a = addresses(0x5000, 0x4000);
    h.insert(h.end(), a.begin(), a.end());
    h[0] = 0x00, h[1] = 0x90, h[2] = 0x00, h[3] = 0x80;  // read name last: $9000-$8000
    t.block(h, data_of(50, 8));
    const TapeScan scan = t.scan();
    EXPECT_TRUE(gold(scan).empty());
}

TEST(UsGoldScanner, ALeaderAndALongTrailerBelongToTheirBlock)
{
    HandTape t;
    t.writer().zeros(300);
    const Bytes d = data_of(64, 9);
    t.name_first("A", 0x0400, d, 40, 2500);
    t.name_first("B", 0x0500, d, 64, 0);
    const TapeScan scan = t.scan();
    ASSERT_EQ(gold(scan).size(), 2u);
    EXPECT_EQ(scan.entries.size(), 2u);
    EXPECT_EQ(gold(scan)[0]->first_pulse, 0u);
    EXPECT_EQ(gold(scan)[1]->first_pulse, std::size_t(300 + (40 + 1 + 20 + 64 + 1) * 8 + 2500));
    EXPECT_EQ(gold(scan)[1]->name, "B");
}

TEST(UsGoldScanner, TheEncoderWritesTheNameLastOnRequest)
{
    const std::vector<PrgInput> prgs = {program("FIRST", 0x0801, 900, 10), program("SECOND", 0x6000, 5, 11)};
    std::string error;
    const Bytes last = usgold_encode(prgs, turbo::TapeOptions(), true, error);
    ASSERT_EQ(error, "");
    const Bytes first = usgold_encode(prgs, turbo::TapeOptions(), false, error);
    ASSERT_EQ(error, "");
    EXPECT_EQ(last.size(), first.size());
    EXPECT_NE(last, first);
    for (const Bytes *tap : {&last, &first}) {
        const TapeScan scan = scan_tape(tap->data(), tap->size());
        const std::vector<const TapeEntry *> blocks = gold(scan);
        ASSERT_EQ(blocks.size(), 2u);
        EXPECT_EQ(blocks[0]->name, "FIRST");
        EXPECT_EQ(blocks[1]->name, "SECOND");
        const std::vector<Bytes> back = loaded_programs(scan, LOADER_USGOLD.scanner);
        ASSERT_EQ(back.size(), 2u);
        EXPECT_EQ(back[0], prgs[0].bytes);
        EXPECT_EQ(back[1], prgs[1].bytes);
        const IdentifiedScan id = scan_tape_identified(tap->data(), tap->size(), ScanOptions(), builtin_scanners(), true);
        EXPECT_EQ(id.loader, find_turbo_loader("usgold"));
    }
}

TEST(UsGoldScanner, FreeloadTapesAreNotUsGoldAndBootCodeNeedsBothCompares)
{
    const Bytes free = encode(LOADER_FREELOAD, {program("X", 0x0801, 1500, 12)});
    const TapeScan scan = scan_tape(free.data(), free.size());
    EXPECT_TRUE(gold(scan).empty());

    BootCodePlan plan;
    plan.threshold_cycles = 360;
    plan.compares = {0x20, 0xFF};
    const Bytes good = make_boot_program(plan);
    EXPECT_TRUE(LOADER_USGOLD.identify(read_boot_code(good.data(), good.size())));
    EXPECT_FALSE(LOADER_FREELOAD.identify(read_boot_code(good.data(), good.size())));
    plan.compares = {0x20};
    const Bytes pilot_only = make_boot_program(plan);
    EXPECT_FALSE(LOADER_USGOLD.identify(read_boot_code(pilot_only.data(), pilot_only.size())));
    plan.compares = {0x20, 0xFF};
    plan.threshold_cycles = 263;
    const Bytes other = make_boot_program(plan);
    EXPECT_FALSE(LOADER_USGOLD.identify(read_boot_code(other.data(), other.size())));
}

TEST(UsGoldScanner, ReadInTheMiddleOfItsPulsesAndAtTheLoadersThresholdWhereOnlyThatPasses)
{
    // The loader's threshold, 360 cycles (45 units), lies 9 units above bit
    // 0's $24 and 21 below bit 1's $42. File A's data 0 bits came out long
    // ($2E, 46 units: a worn tape, a noisy capture): only the middle of the
    // pilot's two lengths (51) reads them. File B was mastered with short 1
    // bits ($30, 48 units): only the loader's own threshold reads them, and
    // the checksum decides that the second reading is kept.
    HandTape t;
    const Bytes a = data_of(400, 21), b = data_of(300, 22);
    for (int f = 0; f < 2; ++f) {
        const Bytes &data = f == 0 ? a : b;
        turbo::Writer w = t.writer();
        w.repeat_byte(0x20, 64);
        w.byte(0xFF);
        Bytes h = name_bytes(f == 0 ? "A" : "B");
        const Bytes ad = addresses(uint16_t(0x1000 * (f + 1)), uint16_t(0x1000 * (f + 1) + data.size()));
        h.insert(h.end(), ad.begin(), ad.end());
        w.bytes(h);
        turbo::Writer d = t.writer(f == 0 ? turbo::Format{360, 0x2E, 0x42, turbo::BitOrder::MsbFirst}
                                          : turbo::Format{360, 0x24, 0x30, turbo::BitOrder::MsbFirst});
        d.bytes(data);
        // The checksum in ordinary pulses (read as zeros, the data of B
        // would otherwise check against a checksum read as zero).
        t.writer().byte(turbo::xor_of(data.data(), data.size()));
        t.writer().zeros(16);
        t.pause();
    }
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> blocks = gold(scan);
    ASSERT_EQ(blocks.size(), 2u);
    for (int f = 0; f < 2; ++f) {
        EXPECT_TRUE(blocks[f]->checkbyte_pass) << f;
        EXPECT_EQ(blocks[f]->payload, f == 0 ? a : b) << f;
    }
}
