// quillmarfe-cli pulses (the tape analysis's screen lines) and edit (the tape
// editor's save).
#include "common/program_run.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::string;

ProgramRun run_cli(const std::vector<std::string> &args)
{
    return run_program(QM_CLI, args);
}

std::string sha(const std::string &bytes)
{
    gchar *sum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar *>(bytes.data()),
                                             bytes.size());
    std::string s(sum);
    g_free(sum);
    return s;
}

// A 100-byte TAP (version 1): bytes 20..99 hold their offset + 100.
std::string source_tape()
{
    std::string b("C64-TAPE-RAW\x01\x00\x00\x00\xEF\xBE\xAD\xDE", 20);
    for (int offset = 20; offset < 100; ++offset)
        b.push_back(static_cast<char>(offset + 100));
    return b;
}

// The report of that tape: rows at 20..29, 32..49, 50..59 (unrecognized), 60..89.
std::string report_text(const std::string &tape)
{
    return "TAP Name    : " + tape +
           "\nTAP Size    : 100 bytes\nChecksum test     : PASS\nRead test         : PASS\n\n"
           "File Type: PAUSE\nLocation: $0014 -> $0014 -> $001D -> $001D\n\n"
           "File Type: C64 ROM-TAPE HEADER\nLocation: $0020 -> $0020 -> $0031 -> $0031\nFile Name: GAME\n\n"
           "File Type: UNRECOGNIZED\nLocation: $0032 -> $0032 -> $003B -> $003B\n\n"
           "File Type: C64 ROM-TAPE DATA\nLocation: $003C -> $003C -> $0059 -> $0059\n";
}

std::string part(const std::string &b, std::size_t first, std::size_t last)
{
    return b.substr(first, last - first + 1);
}

std::string sized(std::string b)
{
    const uint32_t size = static_cast<uint32_t>(b.size() - 20);
    for (int i = 0; i < 4; ++i)
        b[16 + std::size_t(i)] = static_cast<char>((size >> (8 * i)) & 0xFF);
    return b;
}

class ToolsCli : public ::testing::Test {
protected:
    std::string dir;
    std::string source = source_tape();

    void SetUp() override
    {
        gchar *made = g_dir_make_tmp("quillmarfe-tools-XXXXXX", nullptr);
        dir = made;
        g_free(made);
        // A folder with a blank, an apostrophe and non-ASCII letters.
        dir += "/my l'\xc3\xa9t\xc3\xa9 tapes";
        g_mkdir(dir.c_str(), 0700);
    }
    void TearDown() override
    {
        GDir *d = g_dir_open(dir.c_str(), 0, nullptr);
        if (d != nullptr) {
            while (const gchar *name = g_dir_read_name(d))
                g_remove((dir + "/" + name).c_str());
            g_dir_close(d);
        }
        g_rmdir(dir.c_str());
        gchar *parent = g_path_get_dirname(dir.c_str());
        g_rmdir(parent);
        g_free(parent);
    }
    std::string write(const std::string &name, const std::string &bytes)
    {
        const std::string path = dir + "/" + name;
        EXPECT_TRUE(g_file_set_contents(path.c_str(), bytes.data(), gssize(bytes.size()), nullptr));
        return path;
    }
    std::string read(const std::string &name)
    {
        gchar *contents = nullptr;
        gsize length = 0;
        if (!g_file_get_contents((dir + "/" + name).c_str(), &contents, &length, nullptr))
            return "<missing>";
        std::string b(contents, length);
        g_free(contents);
        return b;
    }
    // Runs edit on the source tape saved as tape_name with extra arguments.
    ProgramRun edit(const std::string &tape_name, const std::vector<std::string> &extra)
    {
        const std::string tape = write(tape_name, source);
        const std::string report = write("qmreport.txt", report_text(tape));
        std::vector<std::string> args = {"edit", "--report", report};
        args.insert(args.end(), extra.begin(), extra.end());
        args.push_back(tape);
        const std::string before = sha(read(tape_name));
        ProgramRun run = run_cli(args);
        EXPECT_EQ(sha(read(tape_name)), before);
        return run;
    }
};

} // namespace

TEST_F(ToolsCli, PulsesPrintsCountsThenLineStarts)
{
    const std::string tape = write("long.tap", std::string("C64-TAPE-RAW\x00\x00\x00\x00\x01\x00\x00\x00\x00", 21));
    const ProgramRun run = run_cli({"pulses", tape});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "10 6\n0\n3\n5\n8\n10\n10\n");
}

TEST_F(ToolsCli, PulsesOfAZorvDump)
{
    // 2000, 1 (C64 PAL): 123 and 1 units, one line.
    const std::string tape =
        write("t.dmp", std::string("ZORV-TAP-RAW\x01\x00\x00\x00\x04\x00\x00\x00\xd0\x07\x01\x00", 24));
    const ProgramRun run = run_cli({"pulses", tape});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "2 2\n0\n2\n");
}

TEST_F(ToolsCli, PulsesReportsALoadFailure)
{
    const std::string missing = dir + "/missing.tap";
    const ProgramRun run = run_cli({"pulses", missing});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.rfind("Could not load data from file '" + missing + "':\n\n", 0), 0u) << run.err;
    EXPECT_EQ(run_cli({"pulses"}).status, 2);
    EXPECT_EQ(run_cli({"pulses", "a", "b"}).status, 2);
}

TEST_F(ToolsCli, EditWritesTheEditedTapeBesideTheSource)
{
    const ProgramRun run = edit("game one.tap", {"--exclude", "1"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Operation finished. Check file:\nedited_game one.tap\n");
    EXPECT_EQ(read("edited_game one.tap"), sized(part(source, 0, 19) + part(source, 32, 89)));
}

TEST_F(ToolsCli, EditTakesSeveralIndexes)
{
    ProgramRun run = edit("game.TAP", {"--exclude", "2,3"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(read("edited_game.TAP"), sized(part(source, 0, 29) + part(source, 60, 89)));

    run = edit("game.TAP", {"--exclude", "4", "--exclude", "1"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(read("edited_game.TAP"), sized(part(source, 0, 19) + part(source, 32, 59)));
}

TEST_F(ToolsCli, EditExcludeUnrecognized)
{
    const ProgramRun run = edit("l'\xc3\xa9t\xc3\xa9.tap", {"--exclude-unrecognized"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Operation finished. Check file:\nedited_l'\xc3\xa9t\xc3\xa9.tap\n");
    EXPECT_EQ(read("edited_l'\xc3\xa9t\xc3\xa9.tap"), sized(part(source, 0, 49) + part(source, 60, 89)));
}

TEST_F(ToolsCli, EditPrintsTheRefusals)
{
    ProgramRun run = edit("game.tap", {});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "No changes to save.\n");
    EXPECT_EQ(read("edited_game.tap"), "<missing>");

    run = edit("game.dmp", {"--exclude", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "You can only save TAP files.\n");
    EXPECT_EQ(read("edited_game.dmp"), "<missing>");

    run = edit("game.DMP", {"--exclude-unrecognized"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "You can only edit and save TAP files.\n");
}

TEST_F(ToolsCli, EditErrors)
{
    // An index the report does not have.
    ProgramRun run = edit("game.tap", {"--exclude", "9"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no entry 9"), std::string::npos) << run.err;
    EXPECT_EQ(read("edited_game.tap"), "<missing>");

    // Usage errors.
    EXPECT_EQ(edit("game.tap", {"--exclude", "x"}).status, 2);
    EXPECT_EQ(edit("game.tap", {"--exclude", "1,"}).status, 2);
    EXPECT_EQ(edit("game.tap", {"--bogus"}).status, 2);
    EXPECT_EQ(run_cli({"edit", dir + "/game.tap"}).status, 2);

    // No report, or a report of no tape data.
    run = run_cli({"edit", "--report", dir + "/none.txt", "--exclude", "1", dir + "/game.tap"});
    EXPECT_EQ(run.status, 1);
    const std::string empty = write("empty.txt", "TAP Size    : 20\nRead test         : PASS\nFile Type: PAUSE\n");
    run = run_cli({"edit", "--report", empty, "--exclude", "1", dir + "/game.tap"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(read("edited_game.tap"), "<missing>");
}
