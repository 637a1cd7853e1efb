// quillmarfe's own command line, run as a program without a display:
// --help and --version answer and exit, no toolkit warning.
#include "common/program_run.h"

#include <glib.h>
#include <gtest/gtest.h>

namespace {

// Runs quillmarfe with no display at all.
ProgramRun run_without_display(const std::vector<std::string> &args)
{
    const gchar *saved = g_getenv("DISPLAY");
    const std::string display = saved ? saved : "";
    g_unsetenv("DISPLAY");
    const ProgramRun run = run_program(QM_FRONT_END, args);
    if (saved)
        g_setenv("DISPLAY", display.c_str(), TRUE);
    return run;
}

} // namespace

TEST(FrontEndCommandLine, HelpWorksWithoutADisplay)
{
    for (const char *option : {"--help", "-h"}) {
        const ProgramRun run = run_without_display({option});
        EXPECT_EQ(run.status, 0) << option;
        EXPECT_EQ(run.out.rfind("usage: quillmarfe [OPTION...] [FILE]\n", 0), 0u) << run.out;
        EXPECT_NE(run.out.find("attach this tape at start-up"), std::string::npos);
        EXPECT_EQ(run.err, "");
    }
}

TEST(FrontEndCommandLine, VersionWorksWithoutADisplay)
{
    const ProgramRun run = run_without_display({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "quillmarfe 0.40 (Quillmar Front End)\n");
    EXPECT_EQ(run.err, "");
}

TEST(FrontEndCommandLine, NoDisplayIsSaidPlainly)
{
    const ProgramRun run = run_without_display({});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "quillmarfe: cannot open the display (DISPLAY is not set): the front end needs a graphical "
                       "desktop (see quillmarfe --help)\n");
    EXPECT_EQ(run.out, "");
}
