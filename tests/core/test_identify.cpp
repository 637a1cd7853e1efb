// Loader identification as real boot code shows a loader (timer latches
// loaded a few instructions before their stores, timer B, a control register
// started in one-shot mode, interrupt reads masked with AND, compares with
// CMP, CPX and CPY, code in the header's spare bytes), and per game: on a
// tape that joins games of several loaders each boot file's loader is asked
// first up to the next boot file, and the scan reads what -noid reads.
#include "core/cbmscan.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

// Code as a real loader writes its set-up: the latch's bytes loaded into
// two registers, then stored; timer B of CIA 1 started one-shot; the bit
// read from the interrupt register masked; the pilot and sync compared with
// CPX and CPY.
Bytes real_style_code(uint16_t latch, uint8_t pilot, uint8_t sync)
{
    return {0x78,                                   // SEI
            0xA9, uint8_t(latch), 0xA2, uint8_t(latch >> 8),  // LDA #lo, LDX #hi
            0x8D, 0x06, 0xDC, 0x8E, 0x07, 0xDC,     // STA $DC06, STX $DC07
            0xA9, 0x19, 0x8D, 0x0F, 0xDC,           // LDA #$19, STA $DC0F: start, one-shot, load
            0xAD, 0x0D, 0xDC, 0x29, 0x02,           // LDA $DC0D, AND #$02
            0xF0, 0x02, 0x38, 0x26, 0xA9,           // BEQ, SEC, ROL $A9
            0xA4, 0xA9, 0xC0, pilot,                // LDY $A9, CPY #pilot
            0xA6, 0xA9, 0xE0, sync,                 // LDX $A9, CPX #sync
            0x60};
}

} // namespace

TEST(BootCode, RealStyleSetUpGivesTheThresholdAndTheCompares)
{
    const Bytes code = real_style_code(360, 0x40, 0x5A);
    const BootFacts facts = read_boot_code(code.data(), code.size());
    EXPECT_TRUE(facts.has_threshold_near(360));
    EXPECT_TRUE(facts.compares_with(0x40));
    EXPECT_TRUE(facts.compares_with(0x5A));
    EXPECT_TRUE(LOADER_FREELOAD.identify(facts));
    EXPECT_FALSE(LOADER_TURBOTAPE.identify(facts));
}

TEST(BootCode, AContinuousTimerIsReadAsBefore)
{
    // LDA #$E0 / STA $DD04 / LDA #$03 / STA $DD05, the timer high byte EOR #2, LSR, LSR.
    const Bytes code = {0xA9, 0xE0, 0x8D, 0x04, 0xDD, 0xA9, 0x03, 0x8D, 0x05, 0xDD,
                        0xA9, 0x11, 0x8D, 0x0E, 0xDD, 0xAD, 0x05, 0xDD, 0x49, 0x02, 0x4A, 0x4A, 0x66, 0xA9};
    const BootFacts facts = read_boot_code(code.data(), code.size());
    EXPECT_TRUE(facts.continuous);
    EXPECT_TRUE(facts.has_threshold_near(480));
    EXPECT_EQ(facts.bit_order, 2);
}

TEST(Identification, CodeInTheHeadersSpareBytesIdentifiesTheLoader)
{
    // The data block is a bare BASIC line; the loader's code sits in the
    // header after the name.
    const Bytes code = real_style_code(360, 0x40, 0x5A);
    TapeEntry header, data;
    header.payload = Bytes(192, 0x20);
    std::copy(code.begin(), code.end(), header.payload.begin() + 21);
    data.payload = {0x0B, 0x08, 0x0A, 0x00, 0x9E, '2', '0', '6', '1', 0x00, 0x00, 0x00};
    const std::vector<const TurboLoader *> found = loaders_in_boot_code(&header, data);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_STREQ(found[0]->id, "freeload");
    EXPECT_TRUE(loaders_in_boot_code(nullptr, data).empty());
}

namespace {

// Games of several loaders joined, each after its own boot file, with a
// game of a boot file that carries no known loader among them.
Bytes joined_games()
{
    Bytes tap = tap_file_header(1, false, false, 0);
    auto add = [&tap](const Bytes &one) {
        tap.insert(tap.end(), one.begin() + TAP_HEADER_SIZE, one.end());
        turbo::append_pause(tap, turbo::TapeOptions());
    };
    uint32_t seed = 1;
    for (const char *id : {"novaload", "freeload", "ocean", "irqtape", "usgold", "burner", "turbotape"}) {
        add(encode(*find_turbo_loader(id), {program("G", 0x0801, 4000, seed), program("H", 0x4000, 900, seed + 1)}));
        seed += 2;
        if (std::string(id) == "irqtape")
            add(encode_tap({program("PLAIN", 0x0801, 300, 99)}, EncodeOptions()));  // a boot file of no loader
    }
    tap_fix_data_size(tap);
    return tap;
}

} // namespace

TEST(Identification, EachGamesLoaderIsAskedFirstAndTheScanReadsWhatNoIdReads)
{
    const Bytes tap = joined_games();
    const IdentifiedScan id = scan_tape_identified(tap.data(), tap.size(), ScanOptions(), builtin_scanners(), true);
    const IdentifiedScan off = scan_tape_identified(tap.data(), tap.size(), ScanOptions(), builtin_scanners(), false);
    EXPECT_EQ(off.summary, "off (-noid): every selected scanner ran");
    for (const char *name : {"Novaload", "Freeload", "Ocean/Imagine", "IRQTape", "US Gold", "Burner", "Turbo Tape 64"})
        EXPECT_NE(id.summary.find(name), std::string::npos) << name << ": " << id.summary;
    EXPECT_NE(id.summary.find("asked first up to the next boot file"), std::string::npos) << id.summary;
    EXPECT_NE(id.summary.find("no known loader in the boot file"), std::string::npos) << id.summary;
    ASSERT_EQ(id.scan.entries.size(), off.scan.entries.size());
    for (std::size_t k = 0; k < off.scan.entries.size(); ++k) {
        EXPECT_EQ(id.scan.entries[k].type, off.scan.entries[k].type) << k;
        EXPECT_EQ(id.scan.entries[k].start, off.scan.entries[k].start) << k;
    }
    // Every game's programs are read, every checksum passes.
    for (const char *loader : {"novaload", "freeload", "ocean", "irqtape", "usgold", "burner", "turbotape"})
        EXPECT_EQ(loaded_programs(id.scan, find_turbo_loader(loader)->scanner).size(), 2u) << loader;
    const ScanTotals totals = scan_totals(id.scan);
    EXPECT_EQ(totals.checksum_ok, totals.checksummed);
    EXPECT_GT(totals.recognised_percent(), 95.0);
}

TEST(Identification, AMisleadingBootFileReadsNoLessThanNoId)
{
    // Burner's boot code before Ocean chains: Burner is asked first, finds
    // nothing, and every other scanner still reads the chains.
    const Bytes burner = encode(LOADER_BURNER, {program("B", 0x0801, 10, 1)});
    const Bytes ocean = encode(LOADER_OCEAN, {program("O", 0x1000, 5000, 2)});
    const TapeScan boot = scan_tape(burner.data(), burner.size());
    Bytes tap = tap_file_header(1, false, false, 0);
    // The Burner tape's boot file only (up to its first turbo file), then the Ocean tape's chain.
    for (const TapeEntry &e : boot.entries)
        if (e.scanner == &cbm_rom_scanner || e.kind == EntryKind::Pause)
            tap.insert(tap.end(), burner.begin() + long(e.start), burner.begin() + long(e.end + 1));
        else
            break;
    const TapeScan chain_tape = scan_tape(ocean.data(), ocean.size());
    for (const TapeEntry &e : chain_tape.entries)
        if (e.type == OCEAN_TYPE)
            tap.insert(tap.end(), ocean.begin() + long(e.start), ocean.begin() + long(e.end + 1));
    tap_fix_data_size(tap);
    const IdentifiedScan id = scan_tape_identified(tap.data(), tap.size(), ScanOptions(), builtin_scanners(), true);
    EXPECT_NE(id.summary.find("Burner"), std::string::npos) << id.summary;
    EXPECT_EQ(entries_of(id.scan, LOADER_OCEAN.scanner).size(), 1u);
    const TapeScan off = scan_tape(tap.data(), tap.size());
    EXPECT_EQ(scan_totals(id.scan).recognised_bytes, scan_totals(off).recognised_bytes);
}
