// quillmarfe-cli hex, basic and dasm print exactly what the viewers show.
#include "core/basiclisting.h"
#include "core/dasm.h"
#include "core/hexlisting.h"

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

class ViewerCli : public ::testing::Test {
protected:
    std::string dir;
    void SetUp() override
    {
        gchar *made = g_dir_make_tmp("quillmarfe-viewers-XXXXXX", nullptr);
        dir = made;
        g_free(made);
    }
    void TearDown() override
    {
        for (const char *name : {"basic.prg", "code.prg", "tiny.prg"})
            g_remove((dir + "/" + name).c_str());
        g_rmdir(dir.c_str());
    }
    std::string write(const std::string &name, const std::string &bytes)
    {
        const std::string path = dir + "/" + name;
        g_file_set_contents(path.c_str(), bytes.data(), gssize(bytes.size()), nullptr);
        return path;
    }
    template <class F>
    std::string expected(F decode)
    {
        GString *text = g_string_new("");
        decode(text);
        std::string result(text->str, text->len);
        g_string_free(text, TRUE);
        return result;
    }
};

} // namespace

TEST_F(ViewerCli, HexPrintsTheViewersTextWithAndWithoutConversion)
{
    const std::string prg = write("code.prg", std::string("\x00\xc0\x01\x41\x20\x2e", 6));
    const ProgramRun plain = run_cli({"hex", prg});
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.out, expected([&](GString *t) { make_hex_listing(prg.c_str(), 0, t); }));
    const ProgramRun converted = run_cli({"hex", "--convert", prg});
    EXPECT_EQ(converted.out, expected([&](GString *t) { make_hex_listing(prg.c_str(), 1, t); }));
    EXPECT_NE(plain.out, converted.out);
}

TEST_F(ViewerCli, BasicPrintsTheListingOrTheFailureText)
{
    const std::string good = write("basic.prg", std::string("\x01\x08\x07\x08\x0a\x00\x99\x00\x00\x00", 10));
    const ProgramRun listed = run_cli({"basic", good});
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.out, "\n10 PRINT\n");
    const std::string bad = write("tiny.prg", std::string("\x01\x08\x05", 3));
    const ProgramRun failed = run_cli({"basic", bad});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.out, "");
    EXPECT_EQ(failed.err, BASIC_NOT_VALID_TEXT);
}

TEST_F(ViewerCli, DasmPassesItsOptions)
{
    const std::string prg = write("code.prg", std::string("\x00\xc0\xa9\x00\x20\xd2\xff\x60", 8));
    for (int exclude : {0, 1})
        for (int comment : {0, 1}) {
            std::vector<std::string> args = {"dasm"};
            if (exclude)
                args.push_back("--exclude-header");
            if (comment)
                args.push_back("--comment");
            args.push_back(prg);
            const ProgramRun run = run_cli(args);
            EXPECT_EQ(run.status, 0);
            EXPECT_EQ(run.out, expected([&](GString *t) { disassemble(prg.c_str(), exclude, comment, t); }));
        }
}

TEST_F(ViewerCli, UnreadableFilesFailWithTheReasonOnStandardError)
{
    const ProgramRun run = run_cli({"hex", dir + "/missing.prg"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("Could not load data from file '" + dir + "/missing.prg'"), std::string::npos);
    EXPECT_EQ(run_cli({"dasm", "--bogus", "x.prg"}).status, 2);
    EXPECT_EQ(run_cli({"basic"}).status, 2);
}
