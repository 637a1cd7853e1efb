// Visiload files written pulse by pulse: the threshold, bit order and extra
// bits per byte read from the boot file, a patch file that changes them for
// the files after it, the variables kept for a tape piece without its boot
// file, and files that must prove themselves when nothing says Visiload.
#include "core/cbmscan.h"
#include "core/loadermemory.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

BootCodePlan visiload_boot(uint16_t threshold, bool lsb_first, unsigned extra_bits)
{
    BootCodePlan plan;
    plan.threshold_cycles = threshold;
    plan.one_shot = true;
    plan.lsb_first = lsb_first;
    plan.compares = {0x16};
    plan.parameters = {uint8_t(threshold), uint8_t(threshold >> 8), uint8_t(lsb_first ? 1 : 0), uint8_t(extra_bits)};
    return plan;
}

class HandTape : public HandTapeBase {
public:
    explicit HandTape(const BootCodePlan *boot)
    {
        if (boot != nullptr)
            tap = turbo::tape_with_boot_file(make_boot_program(*boot), "LOADER", turbo::TapeOptions());
    }

    void file(uint16_t threshold, bool lsb_first, unsigned extra, const Bytes &prg)
    {
        const Bytes pulses = visiload_file_pulses(threshold, lsb_first, extra, prg);
        tap.insert(tap.end(), pulses.begin(), pulses.end());
        pause();
    }
};

} // namespace

TEST(VisiloadScanner, TheBootFileSetsThresholdBitOrderAndExtraBits)
{
    const BootCodePlan boot = visiload_boot(400, true, 1);
    HandTape t(&boot);
    const PrgInput a = program("", 0x0801, 2000, 1), b = program("", 0xC000, 300, 2);
    t.file(400, true, 1, a.bytes);
    t.file(400, true, 1, b.bytes);
    const TapeScan scan = t.scan();
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_VISILOAD.scanner);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]->type, VISILOAD_TYPE);
    EXPECT_EQ(files[0]->load_address, 0x0801);
    EXPECT_EQ(files[0]->end_address, 0x0801 + 2000);
    EXPECT_EQ(files[0]->payload, Bytes(a.bytes.begin() + 2, a.bytes.end()));
    EXPECT_EQ(files[1]->payload, Bytes(b.bytes.begin() + 2, b.bytes.end()));
    for (const TapeEntry *e : files) {
        EXPECT_TRUE(e->checkbyte_pass);
        EXPECT_EQ(e->read_errors, 0u);
    }
    // Kept for the next runs when told.
    ASSERT_NE(scan.learnt.find("visiload"), nullptr);
    EXPECT_EQ(*scan.learnt.find("visiload"), "threshold=400 order=lsb extra=1");
    // Read with the default variables, the files are no Visiload files.
    HandTape bare(nullptr);
    bare.file(400, true, 1, a.bytes);
    EXPECT_TRUE(entries_of(bare.scan(), LOADER_VISILOAD.scanner).empty());
}

TEST(VisiloadScanner, APatchFileChangesTheVariablesOfTheFilesAfterIt)
{
    const BootCodePlan boot = visiload_boot(438, false, 0);
    HandTape t(&boot);
    const PrgInput a = program("", 0x0801, 500, 3), b = program("", 0x4000, 700, 4);
    t.file(438, false, 0, a.bytes);
    t.file(438, false, 0, visiload_patch_file(360, true, 2));
    t.file(360, true, 2, b.bytes);
    for (const bool extract : {false, true}) {
        ScanOptions options;
        options.extract_loader_patches = extract;
        const TapeScan scan = t.scan(options);
        const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_VISILOAD.scanner);
        ASSERT_EQ(files.size(), 3u);
        EXPECT_EQ(files[1]->type, VISILOAD_PATCH_TYPE);
        EXPECT_EQ(files[1]->load_address, 0x03FC);
        EXPECT_TRUE(files[1]->checkbyte_pass);
        // Its bytes go to a PRG file only when asked.
        EXPECT_EQ(files[1]->loaded.size(), extract ? 1u : 0u);
        EXPECT_EQ(files[2]->type, VISILOAD_TYPE);
        EXPECT_EQ(files[2]->payload, Bytes(b.bytes.begin() + 2, b.bytes.end()));
        EXPECT_TRUE(files[2]->checkbyte_pass);
    }
}

TEST(VisiloadScanner, KeptVariablesReadAPieceWithoutItsBootFile)
{
    const PrgInput a = program("", 0x1000, 800, 5);
    HandTape piece(nullptr);
    piece.file(470, true, 3, a.bytes);
    EXPECT_TRUE(entries_of(piece.scan(), LOADER_VISILOAD.scanner).empty());
    LoaderMemory kept;
    kept.values["visiload"] = "threshold=470 order=lsb extra=3";
    ScanOptions options;
    options.remembered = &kept;
    const TapeScan scan = piece.scan(options);
    const std::vector<const TapeEntry *> files = entries_of(scan, LOADER_VISILOAD.scanner);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->payload, Bytes(a.bytes.begin() + 2, a.bytes.end()));
    // Nothing new learnt without a boot file.
    EXPECT_EQ(scan.learnt.find("visiload"), nullptr);
}

TEST(VisiloadScanner, WithoutBootFileAFileMustPassItsChecksum)
{
    const PrgInput a = program("", 0x2000, 400, 6);
    HandTape good(nullptr);
    good.file(438, false, 0, a.bytes);
    EXPECT_EQ(entries_of(good.scan(), LOADER_VISILOAD.scanner).size(), 1u);
    // The same file with one pulse spoilt: its checksum fails.
    Bytes tap = good.bytes();
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    const TapeEntry *e = entries_of(scan, LOADER_VISILOAD.scanner).front();
    const std::size_t q = (e->inner_start_pulse + e->inner_end_pulse) / 2;
    tap[scan.pulses.offset(q)] = scan.pulse_class(q) == turbo::BIT1 ? 0x26 : 0x52;
    const TapeScan spoilt = scan_tape(tap.data(), tap.size());
    EXPECT_TRUE(entries_of(spoilt, LOADER_VISILOAD.scanner).empty());
    // With the boot file it is a failing Visiload file.
    const BootCodePlan boot = visiload_boot(438, false, 0);
    HandTape booted(&boot);
    booted.file(438, false, 0, a.bytes);
    Bytes btap = booted.bytes();
    const TapeScan bscan = scan_tape(btap.data(), btap.size());
    const TapeEntry *be = entries_of(bscan, LOADER_VISILOAD.scanner).front();
    const std::size_t bq = (be->inner_start_pulse + be->inner_end_pulse) / 2;
    btap[bscan.pulses.offset(bq)] = bscan.pulse_class(bq) == turbo::BIT1 ? 0x26 : 0x52;
    const TapeScan bspoilt = scan_tape(btap.data(), btap.size());
    const std::vector<const TapeEntry *> files = entries_of(bspoilt, LOADER_VISILOAD.scanner);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_FALSE(files[0]->checkbyte_pass);
}

TEST(VisiloadScanner, TheBootCodeIdentifiesIt)
{
    const BootCodePlan boot = visiload_boot(420, false, 0);
    const Bytes code = make_boot_program(boot);
    EXPECT_TRUE(LOADER_VISILOAD.identify(read_boot_code(code.data(), code.size())));
    BootCodePlan other = boot;
    other.compares = {0x17};
    const Bytes wrong = make_boot_program(other);
    EXPECT_FALSE(LOADER_VISILOAD.identify(read_boot_code(wrong.data(), wrong.size())));
    const Bytes lsb_code = make_boot_program(visiload_boot(420, true, 0));
    const BootFacts lsb = read_boot_code(lsb_code.data(), lsb_code.size());
    EXPECT_EQ(lsb.bit_order, 2);
    EXPECT_EQ(read_boot_code(code.data(), code.size()).bit_order, 1);
}
