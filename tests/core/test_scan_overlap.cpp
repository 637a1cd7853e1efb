// Debug mode's overlapping files: every scanner also looks at the whole
// tape on its own, and what it finds under other entries is added, sorted
// in by start, with data entries still pointing at their headers.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/tapewrite.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

// A Freeload block with a CHR block straight after it: the Freeload
// block's trailer swallows the CHR block's start.
Bytes hidden_chr_tape()
{
    Bytes tap = tap_file_header(1, false, false, 0);
    const Bytes a = program("", 0, 300, 1).bytes, b = program("", 0, 200, 2).bytes;
    turbo::Writer freeload(tap, turbo::Format{360, 0x24, 0x41, turbo::BitOrder::MsbFirst});
    freeload.repeat_byte(0x40, 64);
    freeload.byte(0x5A);
    freeload.bytes({0x00, 0x10, 0x2C, 0x11});
    freeload.bytes(a.data() + 2, 300);
    freeload.byte(turbo::xor_of(a.data() + 2, 300));
    turbo::Writer chr(tap, turbo::Format{263, 0x1A, 0x2A, turbo::BitOrder::MsbFirst});
    chr.repeat_byte(0x63, 300);
    for (unsigned v = 0x64; v <= 0xFF; ++v)
        chr.byte(uint8_t(v));
    chr.byte(0x01);
    chr.bytes({0x00, 0x40, 0xC8, 0x40, 0x00, 0x40, 0, 0, 0, 0});
    chr.bytes(b.data() + 2, 200);
    chr.byte(turbo::xor_of(b.data() + 2, 200));
    chr.zeros(32);
    return tap;
}

} // namespace

TEST(ScanOverlap, ATapeWithoutHiddenFilesScansAlike)
{
    const Bytes tap = encode(LOADER_TURBOTAPE, {program("ONE", 0x0801, 500, 1), program("TWO", 0x2000, 100, 2)});
    ScanOptions debug;
    debug.overlap = true;
    const TapeScan plain = scan_tape(tap.data(), tap.size());
    const TapeScan overlapping = scan_tape(tap.data(), tap.size(), debug);
    ASSERT_EQ(overlapping.entries.size(), plain.entries.size());
    for (std::size_t k = 0; k < plain.entries.size(); ++k) {
        EXPECT_EQ(overlapping.entries[k].start, plain.entries[k].start);
        EXPECT_EQ(overlapping.entries[k].type, plain.entries[k].type);
        EXPECT_EQ(overlapping.entries[k].header_entry, plain.entries[k].header_entry);
        EXPECT_FALSE(overlapping.entries[k].overlapping);
    }
}

TEST(ScanOverlap, AHiddenFileIsSortedInAndHeadersStillMatch)
{
    Bytes tap = hidden_chr_tape();
    // Then a Turbo Tape program (header and data) after a pause.
    turbo::TapeOptions options;
    turbo::append_pause(tap, options);
    const Bytes tt = encode(LOADER_TURBOTAPE, {program("LATER", 0x3000, 300, 3)});
    const TapeScan tt_scan = scan_tape(tt.data(), tt.size());
    const TapeEntry *tt_header = entries_of(tt_scan, LOADER_TURBOTAPE.scanner).front();
    tap.insert(tap.end(), tt.begin() + long(tt_header->start), tt.end());
    tap_fix_data_size(tap);

    const TapeScan plain = scan_tape(tap.data(), tap.size());
    EXPECT_TRUE(entries_of(plain, LOADER_CHR.scanner).empty());
    ScanOptions debug;
    debug.overlap = true;
    const TapeScan scan = scan_tape(tap.data(), tap.size(), debug);
    ASSERT_EQ(scan.entries.size(), plain.entries.size() + 1);
    const std::vector<const TapeEntry *> chr = entries_of(scan, LOADER_CHR.scanner);
    ASSERT_EQ(chr.size(), 1u);
    EXPECT_TRUE(chr[0]->overlapping);
    EXPECT_TRUE(chr[0]->checkbyte_pass);
    // Its lead-in pulses are the Freeload block's last: no read errors there.
    EXPECT_EQ(chr[0]->read_errors, 0u);
    EXPECT_EQ(chr[0]->load_address, 0x4000);
    // In order of their start; the Freeload entry holds the CHR entry's start.
    for (std::size_t k = 1; k < scan.entries.size(); ++k)
        EXPECT_LE(scan.entries[k - 1].start, scan.entries[k].start);
    EXPECT_EQ(scan.entries[0].type, FREELOAD_TYPE);
    EXPECT_EQ(&scan.entries[1], chr[0]);
    EXPECT_LT(chr[0]->start, scan.entries[0].end);
    // The Turbo Tape data entry still points at its header.
    const std::vector<const TapeEntry *> turbo = entries_of(scan, LOADER_TURBOTAPE.scanner);
    ASSERT_EQ(turbo.size(), 2u);
    ASSERT_GE(turbo[1]->header_entry, 0);
    EXPECT_EQ(&scan.entries[std::size_t(turbo[1]->header_entry)], turbo[0]);
    // The pulse classes are the scan's own: the same as without debug mode.
    EXPECT_EQ(scan.pulse_info, plain.pulse_info);
}
