// quillmarfe-cli run as a program: its output, files and exit codes.
#include "core/summary.h"

#include "common/program_run.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

ProgramRun run_cli(const std::vector<std::string> &args)
{
    return run_program(QM_CLI, args);
}

class Cli : public ::testing::Test {
protected:
    std::string dir;
    void SetUp() override
    {
        gchar *made = g_dir_make_tmp("quillmarfe-cli-XXXXXX", nullptr);
        ASSERT_NE(made, nullptr);
        dir = std::string(made) + "/odd 'name' \xC3\xB8";
        g_free(made);
        g_mkdir(dir.c_str(), 0700);
    }
    void TearDown() override
    {
        gchar *parent = g_path_get_dirname(dir.c_str());
        gchar *quoted = g_shell_quote(parent);
        gchar *command = g_strdup_printf("rm -rf %s", quoted);
        EXPECT_EQ(system(command), 0);
        g_free(command);
        g_free(quoted);
        g_free(parent);
    }
    std::string write(const std::string &name, const std::string &contents)
    {
        const std::string path = dir + "/" + name;
        EXPECT_TRUE(g_file_set_contents(path.c_str(), contents.data(), gssize(contents.size()), nullptr));
        return path;
    }
    std::string read(const std::string &path)
    {
        gchar *text = nullptr;
        gsize length = 0;
        if (!g_file_get_contents(path.c_str(), &text, &length, nullptr))
            return "<unreadable>";
        std::string result(text, length);
        g_free(text);
        return result;
    }
};

} // namespace

TEST_F(Cli, HeaderPrintsThePreviewValues)
{
    const std::string tape = write("t.tap", std::string("C64-TAPE-RAW\x01\x02\x01\x00", 16) + std::string(4, '\0'));
    const ProgramRun run = run_cli({"header", tape});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "File Type: Non-standard TAP v 1\nComputer Platform: Commodore 16\nVideo Standard: NTSC\n");
}

TEST_F(Cli, HeaderOfAShortFileIsThreeDashes)
{
    const ProgramRun run = run_cli({"header", write("short.tap", "C64-TAPE-RAW")});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "File Type: ---\nComputer Platform: ---\nVideo Standard: ---\n");
}

TEST_F(Cli, HeaderOfAMissingFileFails)
{
    const ProgramRun run = run_cli({"header", dir + "/missing.tap"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("missing.tap"), std::string::npos);
}

TEST_F(Cli, SummaryWritesTheSamePageAsTheWindow)
{
    const std::string report = write("qmreport.txt",
        "TAP Name    : /tapes/game.tap\nTAP Size    : 120\nChecksum test     : PASS\nRead test         : PASS\n"
        "File Type: PAUSE\nLocation: $0014 -> $0014 -> $0063 -> $0063\n");
    const std::string out = dir + "/out page.html";
    const ProgramRun run = run_cli({"summary", report, out});
    EXPECT_EQ(run.status, 0) << run.err;
    ReportEntry pause;
    pause.index = 1;
    pause.type = "PAUSE";
    pause.start = pause.inner_start = 20;
    pause.inner_end = pause.end = 99;
    pause.pulses = 80;
    pause.coverage = 80;
    EXPECT_EQ(read(out), summary_html("game.tap", {pause}));
}

TEST_F(Cli, SummaryWithoutAReportFails)
{
    const ProgramRun run = run_cli({"summary", dir + "/none.txt", dir + "/out.html"});
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(g_file_test((dir + "/out.html").c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(Cli, UsageErrorsAndHelp)
{
    EXPECT_EQ(run_cli({}).status, 2);
    EXPECT_EQ(run_cli({"frobnicate"}).status, 2);
    EXPECT_EQ(run_cli({"header"}).status, 2);
    const ProgramRun help = run_cli({"summary", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("usage: quillmarfe-cli summary REPORT OUT.html\n", 0), 0u);
    const ProgramRun overview = run_cli({"--help"});
    EXPECT_EQ(overview.status, 0);
    EXPECT_NE(overview.out.find("header FILE"), std::string::npos);
}

TEST_F(Cli, VersionNamesTheProgramAndItsVersion)
{
    const ProgramRun r = run_cli({"--version"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "quillmarfe-cli 0.40 (Quillmar Front End)\n");
}
