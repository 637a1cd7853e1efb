// The tape tools end to end: tapes made by mktap, spoilt by qmsampletool,
// tested by the real quillmar, mended by quillmarfe-cli (repair, split, edit:
// the files the window writes) and tested again. The source tape of every
// tool must come through unchanged.
#include "console_support.h"

#include <glib.h>

#include <algorithm>
#include <map>

namespace {

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

bool is_cbm_copy(const ReportEntry &e) { return e.type.rfind("C64 ROM-TAPE", 0) == 0; }

class ToolsEndToEnd : public ConsoleTest {
protected:
    // "quillmar -doprg -t TAPE"; checks the report holds together.
    ParsedReport test_tape(const std::string &tape)
    {
        const ProgramRun r = run({"-doprg", "-t", tape});
        EXPECT_EQ(r.status, 0) << r.err;
        expect_consistent_report(report_path(), tape);
        return parsed();
    }

    // The report of the last test, copied beside the tapes (the next test
    // rewrites qmreport.txt while the tools still read this one).
    std::string keep_report(const std::string &name)
    {
        const std::string kept = path(name);
        write_bytes(kept, read_bytes(report_path()));
        return kept;
    }

    static ProgramRun cli(const std::vector<std::string> &args) { return run_program(QM_CLI, args); }
    static ProgramRun sampletool(const std::vector<std::string> &args) { return run_program(QM_SAMPLETOOL, args); }

    // Every C64 ROM copy passes, no read error anywhere, both test lines PASS.
    void expect_every_copy_passes(const ParsedReport &p)
    {
        int copies = 0;
        for (const ReportEntry &e : p.entries) {
            EXPECT_FALSE(e.read_errors.has_value()) << "entry " << e.index;
            if (!is_cbm_copy(e))
                continue;
            ++copies;
            EXPECT_EQ(e.checkbyte, std::optional<std::string>("OK")) << "entry " << e.index;
        }
        EXPECT_GT(copies, 0);
        const std::string text = report();
        EXPECT_EQ(report_value(text, "Checksum test     : ").substr(0, 4), "PASS");
        EXPECT_EQ(report_value(text, "Read test         : "), "PASS - 0 read errors");
    }

    // The "prg" folder holds exactly these files with exactly these bytes.
    void expect_prgs(const std::map<std::string, Bytes> &expected)
    {
        std::vector<std::string> names;
        for (const auto &item : expected)
            names.push_back(item.first);
        EXPECT_EQ(prg_files(), names);
        for (const auto &item : expected)
            EXPECT_EQ(read_bytes(bin + "/prg/" + item.first), item.second) << item.first;
    }

    // Unrecognised rows of a report, in order.
    static std::vector<const ReportEntry *> unrecognized(const ParsedReport &p)
    {
        std::vector<const ReportEntry *> rows;
        for (const ReportEntry &e : p.entries)
            if (e.type == "UNRECOGNIZED")
                rows.push_back(&e);
        return rows;
    }

    // A damaged tape (qmsampletool `damage_command`) of two programs: one
    // checkbyte fails; the repair mends it back into the clean tape.
    void repair_round_trip(const std::string &damage_command, int faulty_index, int healthy_index,
                           const char *faulty_id, const char *healthy_id);
};

void ToolsEndToEnd::repair_round_trip(const std::string &damage_command, int faulty_index, int healthy_index,
                                      const char *faulty_id, const char *healthy_id)
{
    const std::vector<NamedPrg> prgs = {{"REPAIR ME", make_prg(0x0801, 640, 31)},
                                        {"LEAVE ME", make_prg(0xC000, 300, 32)}};
    const std::string clean = mktap("clean pair.tap", prgs);
    const std::string tape = path("damaged 'pair'.tap");
    ASSERT_EQ(sampletool({damage_command, clean, tape}).status, 0);
    const std::string hash = sha256_of_file(tape);

    // The damaged copy: the only failing checkbyte, with its read error.
    const ParsedReport damaged = test_tape(tape);
    EXPECT_EQ(sha256_of_file(tape), hash);
    int failing = 0;
    for (const ReportEntry &e : damaged.entries)
        failing += e.checkbyte == std::optional<std::string>("FAIL") ? 1 : 0;
    EXPECT_EQ(failing, 1);
    ASSERT_GE(damaged.entries.size(), std::size_t(healthy_index));
    const ReportEntry &faulty = damaged.entries[std::size_t(faulty_index - 1)];
    EXPECT_EQ(faulty.type, "C64 ROM-TAPE DATA");
    EXPECT_EQ(faulty.checkbyte, std::optional<std::string>("FAIL"));
    EXPECT_EQ(faulty.read_errors, std::optional<std::string>("1"));
    EXPECT_EQ(report_value(report(), "Checksum test     : "), "FAIL - 7 of 8 checksummed files OK");
    const std::string kept = keep_report("damaged report.txt");

    const ProgramRun r = cli({"repair", "--report", kept, tape});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(sha256_of_file(tape), hash);
    const std::string analysis = "Index: " + std::to_string(faulty_index) + " - C64 ROM-TAPE DATA - File ID: " +
                                 faulty_id + "\n - can be fixed using its " + healthy_id + " copy at index " +
                                 std::to_string(healthy_index) + "\nFaulty CBM region count: 1 - Can be fixed: 1\n";
    EXPECT_TRUE(contains(r.out, analysis)) << r.out;
    EXPECT_TRUE(contains(r.out, "Operation finished. Check file:\nrepaired_damaged 'pair'.tap")) << r.out;
    const std::string repaired = path("repaired_damaged 'pair'.tap");
    ASSERT_TRUE(g_file_test(repaired.c_str(), G_FILE_TEST_IS_REGULAR));

    // The repaired tape reads whole and gives back both programs.
    const ParsedReport mended = test_tape(repaired);
    EXPECT_EQ(sha256_of_file(tape), hash);
    expect_every_copy_passes(mended);
    EXPECT_EQ(mended.entries.size(), damaged.entries.size());
    expect_prgs({{"004-REPAIR ME.prg", prgs[0].bytes}, {"010-LEAVE ME.prg", prgs[1].bytes}});
    // The healthy twin's ideal pulses and the ideal ending make the copy as mktap made it.
    EXPECT_EQ(read_bytes(repaired), read_bytes(clean));
}

} // namespace

TEST_F(ToolsEndToEnd, RepairMendsADamagedFirstCopy)
{
    repair_round_trip("damage", 4, 5, "FIRST", "REPEAT");
}

TEST_F(ToolsEndToEnd, RepairMendsADamagedRepeatCopy)
{
    repair_round_trip("damage-repeat", 5, 4, "REPEAT", "FIRST");
}

TEST_F(ToolsEndToEnd, SplitCutsANoisyTapeIntoOneTapePerProgram)
{
    const std::vector<NamedPrg> prgs = {{"FIRST GAME", make_prg(0x0801, 500, 41)},
                                        {"SECOND GAME", make_prg(0xC000, 350, 42)},
                                        {"THIRD GAME", make_prg(0x1000, 420, 43)}};
    const std::string clean = mktap("three.tap", prgs);
    const std::string tape = path("three noisy.tap");
    ASSERT_EQ(sampletool({"noise", clean, tape}).status, 0);
    const std::string hash = sha256_of_file(tape);

    // Noise after the first and the second program, none after the third.
    const ParsedReport noisy = test_tape(tape);
    EXPECT_EQ(sha256_of_file(tape), hash);
    expect_every_copy_passes(noisy);
    const std::vector<const ReportEntry *> noise = unrecognized(noisy);
    ASSERT_EQ(noise.size(), 2u);
    EXPECT_EQ(noise[0]->index, 6);
    EXPECT_EQ(noise[1]->index, 13);
    EXPECT_EQ(noise[0]->pulses, 2000);
    EXPECT_EQ(noise[1]->pulses, 2000);
    std::vector<int> second_and_third;  // start offsets of the later programs' first headers
    for (const ReportEntry &e : noisy.entries)
        if (e.type == "C64 ROM-TAPE HEADER" && e.first_copy && e.index != 1)
            second_and_third.push_back(e.start);
    ASSERT_EQ(second_and_third.size(), 2u);
    const std::string kept = keep_report("three noisy report.txt");

    const ProgramRun r = cli({"split", "--report", kept, "--auto", tape});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(sha256_of_file(tape), hash);
    EXPECT_TRUE(contains(r.out, "Split offsets as IDX entries:\n")) << r.out;
    EXPECT_TRUE(contains(r.out, "Filename: SECOND GAME - Start: " + std::to_string(second_and_third[0]))) << r.out;
    EXPECT_TRUE(contains(r.out, "Filename: THIRD GAME - Start: " + std::to_string(second_and_third[1]))) << r.out;

    const std::vector<std::string> pieces = {"splitted-0000-(FIRST GAME).tap", "splitted-0001-(SECOND GAME).tap",
                                             "splitted-0002-(THIRD GAME).tap"};
    std::vector<std::string> written;
    GDir *d = g_dir_open(dir.c_str(), 0, nullptr);
    ASSERT_NE(d, nullptr);
    while (const gchar *n = g_dir_read_name(d))
        if (g_str_has_prefix(n, "splitted-"))
            written.push_back(n);
    g_dir_close(d);
    std::sort(written.begin(), written.end());
    EXPECT_EQ(written, pieces);

    for (std::size_t i = 0; i < pieces.size(); ++i) {
        SCOPED_TRACE(pieces[i]);
        const ParsedReport piece = test_tape(path(pieces[i]));
        EXPECT_EQ(sha256_of_file(tape), hash);
        expect_every_copy_passes(piece);
        expect_prgs({{"004-" + prgs[i].name + ".prg", prgs[i].bytes}});
    }
}

TEST_F(ToolsEndToEnd, EditDropsTheNoiseBetweenTwoPrograms)
{
    const std::vector<NamedPrg> prgs = {{"BEFORE NOISE", make_prg(0x0801, 450, 51)},
                                        {"AFTER NOISE", make_prg(0x2000, 260, 52)}};
    const std::string clean = mktap("pair.tap", prgs);
    const std::string tape = path("pair with noise.tap");
    ASSERT_EQ(sampletool({"noise", clean, tape}).status, 0);
    const std::string hash = sha256_of_file(tape);

    const ParsedReport noisy = test_tape(tape);
    EXPECT_EQ(sha256_of_file(tape), hash);
    const std::vector<const ReportEntry *> noise = unrecognized(noisy);
    ASSERT_EQ(noise.size(), 1u);
    std::string indexes;
    for (const ReportEntry *e : noise)
        indexes += (indexes.empty() ? "" : ",") + std::to_string(e->index);
    const std::string kept = keep_report("noisy report.txt");

    const ProgramRun r = cli({"edit", "--report", kept, "--exclude", indexes, tape});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(sha256_of_file(tape), hash);
    EXPECT_EQ(r.out, "Operation finished. Check file:\nedited_pair with noise.tap\n");
    const std::string edited = path("edited_pair with noise.tap");
    ASSERT_TRUE(g_file_test(edited.c_str(), G_FILE_TEST_IS_REGULAR));

    const ParsedReport result = test_tape(edited);
    EXPECT_EQ(sha256_of_file(tape), hash);
    EXPECT_TRUE(unrecognized(result).empty());
    expect_every_copy_passes(result);
    expect_prgs({{"004-BEFORE NOISE.prg", prgs[0].bytes}, {"010-AFTER NOISE.prg", prgs[1].bytes}});
    // The noise was all that came between: what is left is the tape as made.
    EXPECT_EQ(read_bytes(edited), read_bytes(clean));
}
