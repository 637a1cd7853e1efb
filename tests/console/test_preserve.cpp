// -preserve: the loader variables a boot file teaches (here a Burner tape
// whose boot code picks its own pilot $5A, sync $C3 and least significant
// bit first) are kept in qmpreserve.txt beside quillmar and used for a piece
// of that tape split off without its boot file; without -preserve every run
// starts afresh and nothing is written.
#include "console_support.h"
#include "core/loaders/bootcode.h"
#include "core/loaders/turbo.h"
#include "core/tapewrite.h"

#include <glib.h>
#include <gtest/gtest.h>

namespace {

const turbo::Format BURNER_LSB{384, 0x22, 0x42, turbo::BitOrder::LsbFirst};

// The boot file, a pause, then two Burner files after pauses.
Bytes burner_tape(const std::vector<Bytes> &prgs)
{
    BootCodePlan plan;
    plan.threshold_cycles = 384;
    plan.one_shot = true;
    plan.lsb_first = true;
    plan.compares = {0x5A, 0xC3};
    turbo::TapeOptions options;
    Bytes tap = turbo::tape_with_boot_file(make_boot_program(plan), "OWN BURNER", options);
    for (const Bytes &prg : prgs) {
        turbo::Writer w(tap, BURNER_LSB);
        w.repeat_byte(0x5A, 192);
        w.byte(0xC3);
        const unsigned load = prg[0] | prg[1] << 8, end = load + unsigned(prg.size()) - 2;
        w.bytes({prg[0], prg[1], uint8_t(end), uint8_t(end >> 8)});
        w.bytes(prg.data() + 2, prg.size() - 2);
        w.zeros(32);
        turbo::append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

class Preserve : public ConsoleTest {
protected:
    std::string memory_path() const { return bin + "/qmpreserve.txt"; }
    bool memory_exists() const { return g_file_test(memory_path().c_str(), G_FILE_TEST_EXISTS); }
    static ProgramRun cli(const std::vector<std::string> &args) { return run_program(QM_CLI, args); }
};

} // namespace

TEST_F(Preserve, ASplitPieceWithoutItsBootFileDecodesWithTheKeptVariables)
{
    const Bytes game = make_prg(0x0801, 1500, 61), music = make_prg(0xC000, 300, 62);
    const std::string tape = path("own burner.tap");
    write_bytes(tape, burner_tape({game, music}));
    const std::string hash = sha256_of_file(tape);

    // Without -preserve: read, but nothing kept.
    ASSERT_EQ(run({"-t", tape}).status, 0);
    EXPECT_EQ(report_values(report(), "File Type: BURNER").size(), 2u);
    EXPECT_FALSE(memory_exists());
    EXPECT_TRUE(report_values(report(), "Preserved   : ").empty());

    // With it: the boot file's variables are kept.
    ASSERT_EQ(run({"-preserve", "-t", tape}).status, 0);
    std::string text = report();
    ASSERT_TRUE(memory_exists());
    EXPECT_EQ(read_text(memory_path()), "burner: pilot=5A sync=C3 order=lsb\n");
    EXPECT_EQ(report_value(text, "Preserved   : "), "kept for the next runs: burner pilot=5A sync=C3 order=lsb");

    // The piece after the boot file, cut off as the Tape Split page does.
    int first_burner = -1;
    for (const ReportEntry &e : parsed().entries)
        if (e.type == "BURNER" && first_burner < 0)
            first_burner = e.index;
    ASSERT_GT(first_burner, 0);
    const std::string kept = path("full report.txt");
    write_bytes(kept, read_bytes(report_path()));
    const ProgramRun split = cli({"split", "--report", kept, "--cut", std::to_string(first_burner), tape});
    ASSERT_EQ(split.status, 0) << split.out << split.err;
    std::string piece;
    GDir *d = g_dir_open(dir.c_str(), 0, nullptr);
    ASSERT_NE(d, nullptr);
    while (const gchar *n = g_dir_read_name(d))
        if (g_str_has_prefix(n, "splitted-0001"))
            piece = path(n);
    g_dir_close(d);
    ASSERT_FALSE(piece.empty());
    EXPECT_EQ(sha256_of_file(tape), hash);

    // A fresh run does not know the pilot: no Burner file in the piece.
    ASSERT_EQ(run({"-doprg", "-t", piece}).status, 0);
    EXPECT_TRUE(report_values(report(), "File Type: BURNER").empty()) << report();
    EXPECT_TRUE(report_values(report(), "File Type: C64 ROM-TAPE").empty());

    // With -preserve it does: both programs come back whole.
    const std::string piece_hash = sha256_of_file(piece);
    ASSERT_EQ(run({"-preserve", "-doprg", "-t", piece}).status, 0);
    text = report();
    EXPECT_EQ(report_values(text, "File Type: BURNER").size(), 2u) << text;
    EXPECT_EQ(report_value(text, "Preserved   : "), "offered from earlier runs: burner pilot=5A sync=C3 order=lsb");
    const std::vector<std::string> files = prg_files();
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(read_bytes(bin + "/prg/" + files[0]), game);
    EXPECT_EQ(read_bytes(bin + "/prg/" + files[1]), music);
    EXPECT_EQ(sha256_of_file(piece), piece_hash);
    // Nothing new learnt from a piece without boot file: the file stays.
    EXPECT_EQ(read_text(memory_path()), "burner: pilot=5A sync=C3 order=lsb\n");
}

TEST_F(Preserve, AnUnreadableMemoryFileIsIgnoredAndBatchesNoteTheSwitch)
{
    write_bytes(memory_path(), Bytes{'n', 'o', 's', 'e', 'n', 's', 'e', '\n', 0xFF, 0x00, '\n'});
    const std::string tape = mktap("plain.tap", {{"PLAIN", make_prg(0x0801, 100, 63)}});
    ASSERT_EQ(run({"-preserve", "-t", tape}).status, 0);
    EXPECT_TRUE(report_values(report(), "Preserved   : ").empty()) << report();
    ASSERT_EQ(run({"-preserve", "-b", dir}).status, 0);
    EXPECT_NE(read_text(batch_path()).find("Note: -preserve had no effect"), std::string::npos);
}
