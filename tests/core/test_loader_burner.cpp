// Burner tapes built pulse by pulse: variables read from the boot code (a
// pilot/sync pair no fallback knows, the bit order of ROR), tapes without a
// boot file, continuation bytes, pilots of many lengths, noise between
// files, a file cut short by silence, pilots that lead nowhere.
#include "core/cbmencode.h"
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/bootcode.h"
#include "core/loaders/turbo.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

const turbo::Format MSB{384, 0x22, 0x42, turbo::BitOrder::MsbFirst};
const turbo::Format LSB{384, 0x22, 0x42, turbo::BitOrder::LsbFirst};

struct File {
    uint16_t load;
    Bytes data;
};

File file(uint16_t load, std::size_t size, uint32_t seed)
{
    const PrgInput p = program("", load, size, seed);
    return {load, Bytes(p.bytes.begin() + 2, p.bytes.end())};
}

Bytes bare_tape() { return tap_file_header(1, false, false, 0); }

Bytes tape_with_boot(uint8_t pilot, uint8_t sync, bool lsb_first, std::vector<uint8_t> parameters = {})
{
    BootCodePlan loop;
    loop.threshold_cycles = 384;
    loop.one_shot = true;
    loop.lsb_first = lsb_first;
    loop.compares = {pilot, sync};
    loop.parameters = std::move(parameters);
    return turbo::tape_with_boot_file(make_boot_program(loop), "LOADER", turbo::TapeOptions());
}

void append_file(Bytes &tap, const turbo::Format &format, uint8_t pilot, std::size_t pilot_bytes, uint8_t sync,
                 const File &f)
{
    turbo::Writer w(tap, format);
    w.repeat_byte(pilot, pilot_bytes);
    w.byte(sync);
    const uint16_t end = uint16_t(f.load + f.data.size());
    w.bytes({uint8_t(f.load), uint8_t(f.load >> 8), uint8_t(end), uint8_t(end >> 8)});
    w.bytes(f.data);
}

void append_pause(Bytes &tap) { tap_append_pause(tap, 500000, 1); }

TapeScan scan(Bytes &tap)
{
    tap_fix_data_size(tap);
    return scan_tape(tap.data(), tap.size());
}

std::vector<const TapeEntry *> burner_entries(const TapeScan &s)
{
    return entries_of(s, find_turbo_loader("burner")->scanner);
}

void expect_file(const TapeEntry *e, const File &f)
{
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->type, "BURNER");
    EXPECT_TRUE(e->has_addresses);
    EXPECT_EQ(e->load_address, f.load);
    EXPECT_EQ(e->end_address, uint16_t(f.load + f.data.size()));
    EXPECT_FALSE(e->has_checkbyte);
    EXPECT_EQ(e->payload, f.data);
    EXPECT_EQ(e->crc32, crc32_of(f.data));
    ASSERT_EQ(e->loaded.size(), 1u);
    EXPECT_EQ(e->loaded[0].load, f.load);
    EXPECT_EQ(e->loaded[0].bytes, f.data);
    EXPECT_EQ(e->read_errors, 0u);
}

unsigned unrecognised(const TapeScan &s)
{
    unsigned n = 0;
    for (const TapeEntry &e : s.entries)
        n += e.kind == EntryKind::Unrecognized;
    return n;
}

} // namespace

TEST(BurnerLoader, PilotAndSyncComeFromTheBootCode)
{
    // $5C/$3A is no pair the scanner knows by itself: only the boot code's
    // compares can tell it.
    const File a = file(0x0801, 900, 1), b = file(0x4000, 300, 2);
    Bytes tap = tape_with_boot(0x5C, 0x3A, false);
    append_file(tap, MSB, 0x5C, 100, 0x3A, a);
    append_pause(tap);
    append_file(tap, MSB, 0x5C, 40, 0x3A, b);
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 2u);
    expect_file(files[0], a);
    expect_file(files[1], b);
    EXPECT_EQ(unrecognised(s), 0u);

    // The same files after a boot file that says nothing of them.
    Bytes other = tape_with_boot(0x11, 0x22, false);
    append_file(other, MSB, 0x5C, 100, 0x3A, a);
    EXPECT_TRUE(burner_entries(scan(other)).empty());
}

TEST(BurnerLoader, RorInTheBootCodeMeansLeastSignificantBitFirst)
{
    const File a = file(0xC000, 700, 3);
    Bytes tap = tape_with_boot(0x5C, 0x3A, true);
    append_file(tap, LSB, 0x5C, 64, 0x3A, a);
    const TapeScan s = scan(tap);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 1u);
    expect_file(files[0], a);

    // Read most significant bit first (ROL), the same pulses make nothing.
    Bytes rol = tape_with_boot(0x5C, 0x3A, false);
    append_file(rol, LSB, 0x5C, 64, 0x3A, a);
    EXPECT_TRUE(burner_entries(scan(rol)).empty());
}

TEST(BurnerLoader, WithoutABootFileBothKnownVariantsInBothOrdersDecode)
{
    const File a = file(0x0801, 500, 4), b = file(0x2000, 1, 5), c = file(0x6000, 257, 6), d = file(0x9000, 64, 7);
    Bytes tap = bare_tape();
    append_file(tap, LSB, 0x96, 64, 0xAD, a);
    append_pause(tap);
    append_file(tap, MSB, 0x96, 100, 0xAD, b);
    append_pause(tap);
    append_file(tap, LSB, 0xE3, 192, 0xED, c);
    append_pause(tap);
    append_file(tap, MSB, 0xE3, 70, 0xED, d);
    append_pause(tap);
    // Without a boot file to tell its pilot, a file must show a whole one:
    // a few pilot bytes in another format's data are no Burner file.
    append_file(tap, MSB, 0xE3, 30, 0xED, file(0xA000, 100, 8));
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 4u);
    expect_file(files[0], a);
    expect_file(files[1], b);
    expect_file(files[2], c);
    expect_file(files[3], d);
    EXPECT_EQ(unrecognised(s), 1u);
}

TEST(BurnerLoader, PilotLengthsNoiseAndOffSpeedFiles)
{
    const File a = file(0x1000, 200, 8), b = file(0x3000, 2000, 9), c = file(0x5000, 20, 10);
    Bytes tap = tape_with_boot(0xE3, 0xED, false);
    append_file(tap, MSB, 0xE3, 8, 0xED, a);  // the shortest pilot taken
    for (int k = 0; k < 50; ++k)
        tap.push_back(uint8_t(k % 2 ? 0x22 : 0x42));  // stray bits between files
    append_file(tap, MSB, 0xE3, 3000, 0xED, b);
    append_pause(tap);
    tap.insert(tap.end(), {0x90, 0x10, 0x70});  // noise after a pause
    append_file(tap, MSB, 0xE3, 20, 0xED, c);
    Bytes off = distorted(tap, 1.07, 2, 11);
    const TapeScan s = scan(off);
    expect_covering(s);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0]->payload, a.data);
    EXPECT_EQ(files[1]->payload, b.data);
    EXPECT_EQ(files[2]->payload, c.data);
    // The stray bits after the first file are its trailer.
    EXPECT_EQ(files[0]->first_pulse + files[0]->pulse_count, files[1]->first_pulse);
}

TEST(BurnerLoader, ContinuationBytesAndTheEntryAddressStayWithTheirFile)
{
    const File a = file(0x0801, 300, 12), b = file(0x8000, 100, 13);
    Bytes tap = tape_with_boot(0x96, 0xAD, false);
    append_file(tap, MSB, 0x96, 50, 0xAD, a);
    turbo::Writer(tap, MSB).byte(0x01);  // another file follows
    append_file(tap, MSB, 0x96, 50, 0xAD, b);
    turbo::Writer(tap, MSB).bytes({0x00, 0x0D, 0x08});  // end of the chain: entry $080D
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 2u);
    expect_file(files[0], a);
    expect_file(files[1], b);
    EXPECT_EQ(unrecognised(s), 0u);
    // Inner end just after the data; the continuation byte is the first file's.
    EXPECT_EQ(files[0]->inner_end_pulse, files[0]->inner_start_pulse + 8 * a.data.size());
    EXPECT_EQ(files[0]->first_pulse + files[0]->pulse_count, files[1]->first_pulse);
    EXPECT_EQ(files[1]->first_pulse + files[1]->pulse_count, s.pulses.size());
}

TEST(BurnerLoader, AFileCutShortBySilenceKeepsTheBytesRead)
{
    const File a = file(0x0801, 1000, 14), b = file(0x2000, 50, 15);
    Bytes tap = tape_with_boot(0xE3, 0xED, false);
    append_file(tap, MSB, 0xE3, 50, 0xED, a);
    tap.resize(tap.size() - 8 * 400 - 3);  // 400 bytes and 3 bits lost
    append_pause(tap);
    append_file(tap, MSB, 0xE3, 50, 0xED, b);
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]->end_address, 0x0801 + 1000);
    EXPECT_EQ(files[0]->payload, Bytes(a.data.begin(), a.data.begin() + 599));
    EXPECT_TRUE(s.pulses.is_silence(files[0]->first_pulse + files[0]->pulse_count));
    expect_file(files[1], b);
}

TEST(BurnerLoader, PilotsThatLeadNowhereAreNotFiles)
{
    const File a = file(0x0801, 100, 16);
    Bytes tap = tape_with_boot(0xE3, 0xED, false);
    append_file(tap, MSB, 0xE3, 5, 0xED, a);  // pilot too short
    append_pause(tap);
    append_file(tap, MSB, 0xE3, 100, 0xEE, a);  // wrong sync
    append_pause(tap);
    turbo::Writer w(tap, MSB);
    w.repeat_byte(0xE3, 100);
    w.bytes({0xED, 0x00, 0x20, 0x00, 0x10});  // end before start
    w.zeros(40);
    const TapeScan s = scan(tap);
    expect_covering(s);
    EXPECT_TRUE(burner_entries(s).empty());
    EXPECT_EQ(unrecognised(s), 3u);
}

TEST(BurnerLoader, IdentifiedByThresholdAndAKnownPair)
{
    BootCodePlan loop;
    loop.threshold_cycles = 384;
    loop.compares = {0x96, 0xAD};
    const Bytes code = make_boot_program(loop);
    EXPECT_TRUE(LOADER_BURNER.identify(read_boot_code(code.data(), code.size())));
    loop.threshold_cycles = 263;
    const Bytes slow = make_boot_program(loop);
    EXPECT_FALSE(LOADER_BURNER.identify(read_boot_code(slow.data(), slow.size())));
    loop.threshold_cycles = 384;
    loop.compares = {0x96, 0x12};
    const Bytes other = make_boot_program(loop);
    EXPECT_FALSE(LOADER_BURNER.identify(read_boot_code(other.data(), other.size())));
}

TEST(BurnerLoader, AFileRightAfterAContinuationByteNeedsNoPilot)
{
    const File a = file(0x0801, 300, 17), b = file(0x9000, 120, 18), c = file(0xA000, 40, 19);
    auto chain = [&](Bytes tap) {
        append_file(tap, LSB, 0x96, 60, 0xAD, a);
        turbo::Writer w(tap, LSB);
        for (const File *f : {&b, &c}) {
            w.byte(0x01);  // another file follows, at once
            const uint16_t end = uint16_t(f->load + f->data.size());
            w.bytes({uint8_t(f->load), uint8_t(f->load >> 8), uint8_t(end), uint8_t(end >> 8)});
            w.bytes(f->data);
        }
        w.bytes({0x00, 0x00, 0x90});
        w.zeros(16);
        return tap;
    };
    Bytes tap = chain(tape_with_boot(0x96, 0xAD, true));
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 3u);
    expect_file(files[0], a);
    expect_file(files[1], b);
    expect_file(files[2], c);
    EXPECT_EQ(files[1]->first_pulse, files[0]->inner_end_pulse + 8);
    EXPECT_EQ(files[1]->inner_start_pulse, files[1]->first_pulse + 32);
    EXPECT_EQ(files[2]->first_pulse, files[1]->inner_end_pulse + 8);
    EXPECT_EQ(unrecognised(s), 0u);

    // A boot file that counts its files has no continuation bytes: what
    // follows the data is trailer.
    Bytes counted = chain(tape_with_boot(0x96, 0xAD, true, {0xA9, 0x03, 0x85, 0x02, 0xC6, 0x02, 0xD0, 0xFC}));
    const TapeScan counted_scan = scan(counted);
    const auto one = burner_entries(counted_scan);
    ASSERT_EQ(one.size(), 1u);
    expect_file(one[0], a);
}

TEST(BurnerLoader, AnotherLoadersBootCodeLendsNoPilot)
{
    // Compares with $5C/$3A, but a timer of 360 cycles: not Burner's code.
    const File a = file(0x0801, 200, 20);
    BootCodePlan loop;
    loop.threshold_cycles = 360;
    loop.compares = {0x5C, 0x3A};
    Bytes tap = turbo::tape_with_boot_file(make_boot_program(loop), "OTHER", turbo::TapeOptions());
    append_file(tap, MSB, 0x5C, 60, 0x3A, a);
    append_pause(tap);
    append_file(tap, MSB, 0xE3, 100, 0xED, a);  // a known pair still reads, with a whole pilot
    const TapeScan s = scan(tap);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 1u);
    expect_file(files[0], a);
    EXPECT_EQ(unrecognised(s), 1u);
}

TEST(BurnerLoader, BootCodeInTheHeadersSpareBytesCounts)
{
    // The header carries the loop (compares $5C/$3A, ROR); the data block is
    // a BASIC line with no code.
    BootCodePlan loop;
    loop.threshold_cycles = 384;
    loop.lsb_first = true;
    loop.compares = {0x5C, 0x3A};
    const Bytes code = make_boot_program(loop);
    Bytes header = cbm_header_payload(CBM_HEADER_ABSOLUTE, 0x0801, 0x080E, "GAME");
    std::copy(code.begin() + 16, code.end(), header.begin() + 21);
    const Bytes data(code.begin() + 2, code.begin() + 16);
    Bytes tap = bare_tape();
    const CbmPulseSet pulses;
    cbm_append_copy(tap, header.data(), header.size(), false, 27136, pulses);
    cbm_append_copy(tap, header.data(), header.size(), true, 79, pulses);
    cbm_append_pulses(tap, pulses.s, 78);
    tap_append_pause(tap, 328088, 1);
    cbm_append_copy(tap, data.data(), data.size(), false, 5376, pulses);
    cbm_append_copy(tap, data.data(), data.size(), true, 79, pulses);
    cbm_append_pulses(tap, pulses.s, 78);
    append_pause(tap);
    const File a = file(0x4000, 333, 21);
    append_file(tap, LSB, 0x5C, 40, 0x3A, a);
    const TapeScan s = scan(tap);
    expect_covering(s);
    const auto files = burner_entries(s);
    ASSERT_EQ(files.size(), 1u);
    expect_file(files[0], a);
}
