// quillmarfe-cli mktap run as a program: the TAP file it writes equals the
// encoder's output for the same programs and options; usage and input errors.
#include "core/cbmencode.h"
#include "core/loaders/registry.h"

#include "common/program_run.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

ProgramRun run_mktap_cli(const std::vector<std::string> &args)
{
    std::vector<std::string> all = {"mktap"};
    all.insert(all.end(), args.begin(), args.end());
    return run_program(QM_CLI, all);
}

std::vector<uint8_t> program(uint16_t load, std::size_t size, uint8_t seed)
{
    std::vector<uint8_t> b = {uint8_t(load & 0xFF), uint8_t(load >> 8)};
    for (std::size_t i = 0; i < size; ++i)
        b.push_back(uint8_t(i * 13 + seed));
    return b;
}

class Mktap : public ::testing::Test {
protected:
    std::string dir;
    void SetUp() override
    {
        gchar *made = g_dir_make_tmp("quillmarfe-mktap-XXXXXX", nullptr);
        ASSERT_NE(made, nullptr);
        dir = made;
        g_free(made);
    }
    void TearDown() override
    {
        gchar *quoted = g_shell_quote(dir.c_str());
        gchar *command = g_strdup_printf("rm -rf %s", quoted);
        EXPECT_EQ(system(command), 0);
        g_free(command);
        g_free(quoted);
    }
    std::string write(const std::string &name, const std::vector<uint8_t> &bytes)
    {
        const std::string path = dir + "/" + name;
        EXPECT_TRUE(g_file_set_contents(path.c_str(), reinterpret_cast<const gchar *>(bytes.data()),
                                        gssize(bytes.size()), nullptr));
        return path;
    }
    std::vector<uint8_t> read(const std::string &path)
    {
        gchar *text = nullptr;
        gsize length = 0;
        if (!g_file_get_contents(path.c_str(), &text, &length, nullptr))
            return {};
        std::vector<uint8_t> result(text, text + length);
        g_free(text);
        return result;
    }
    bool exists(const std::string &path) { return g_file_test(path.c_str(), G_FILE_TEST_EXISTS); }
    void expect_usage_error(const std::vector<std::string> &args)
    {
        const ProgramRun run = run_mktap_cli(args);
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find("usage: quillmarfe-cli mktap"), std::string::npos) << run.err;
    }
};

} // namespace

TEST_F(Mktap, DefaultsAreVersion1C64PalAndUpperCasedFileNames)
{
    const std::vector<uint8_t> a = program(0x0801, 200, 1), b = program(0xC000, 50, 2);
    const std::string pa = write("game.prg", a), pb = write("Intro.v2.PRG", b);
    const std::string out = dir + "/out.tap";
    const ProgramRun run = run_mktap_cli({pa, pb, out});
    ASSERT_EQ(run.status, 0) << run.err;

    PrgInput ia{a, "GAME"}, ib{b, "INTRO.V2"};
    EXPECT_EQ(read(out), encode_tap({ia, ib}, EncodeOptions()));
}

TEST_F(Mktap, OptionsAndNames)
{
    const std::vector<uint8_t> a = program(0x1001, 100, 3), b = program(0x1201, 10, 4), c = program(0x2000, 0, 5);
    const std::string pa = write("a.prg", a), pb = write("b.prg", b), pc = write("noext", c);
    const std::string out = dir + "/vic.tap";
    const ProgramRun run = run_mktap_cli(
        {"--v0", "--ntsc", "--name", "My Game", pa, "--vic20", pb, "--pause", "0.5", pc, out});
    ASSERT_EQ(run.status, 0) << run.err;

    EncodeOptions o;
    o.tap_version = 0;
    o.ntsc = true;
    o.vic20 = true;
    o.pause_seconds = 0.5;
    const std::vector<PrgInput> prgs = {{a, "My Game"}, {b, "B"}, {c, "NOEXT"}};
    EXPECT_EQ(read(out), encode_tap(prgs, o));
}

TEST_F(Mktap, LastVersionSwitchWinsAndPauseZero)
{
    const std::vector<uint8_t> a = program(0x0801, 5, 6);
    const std::string pa = write("x.prg", a);
    const std::string out = dir + "/x.tap";
    ASSERT_EQ(run_mktap_cli({"--v0", "--v1", "--pause", "0", pa, pa, out}).status, 0);
    EncodeOptions o;
    o.pause_seconds = 0;
    EXPECT_EQ(read(out), encode_tap({{a, "X"}, {a, "X"}}, o));
}

TEST_F(Mktap, UsageErrors)
{
    const std::string pa = write("a.prg", program(0x0801, 5, 7));
    const std::string out = dir + "/u.tap";
    expect_usage_error({});
    expect_usage_error({out});
    expect_usage_error({"--pause", pa, out});
    expect_usage_error({"--pause", "abc", pa, out});
    expect_usage_error({"--pause", "-1", pa, out});
    expect_usage_error({"--pause", "nan", pa, out});
    expect_usage_error({pa, out, "--pause"});
    expect_usage_error({"--frobnicate", pa, out});
    expect_usage_error({"-x", pa, out});
    expect_usage_error({pa, "--name", "N", out});  // no program after --name
    expect_usage_error({"--name", "A", "--name", "B", pa, out});
    expect_usage_error({pa, out, "--name"});
    EXPECT_FALSE(exists(out));
}

TEST_F(Mktap, HelpDescribesTheSubcommand)
{
    const ProgramRun run = run_mktap_cli({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("mktap [--format ID] [--v0|--v1]"), std::string::npos);
}

TEST_F(Mktap, FormatWritesTheLoadersEncoding)
{
    const std::vector<uint8_t> a = program(0x0801, 900, 5), b = program(0x4000, 77, 9);
    const std::string pa = write("a.prg", a), pb = write("b.prg", b);
    for (const TurboLoader &loader : turbo_loaders()) {
        SCOPED_TRACE(loader.id);
        const std::string out = dir + "/" + loader.id + ".tap";
        const ProgramRun run = run_mktap_cli({"--format", loader.id, "--pause", "1.5", "--name", "GAME", pa, pb, out});
        ASSERT_EQ(run.status, 0) << run.err;
        PrgInput first, second;
        first.bytes = a;
        first.name = "GAME";
        second.bytes = b;
        second.name = "B";
        turbo::TapeOptions options;
        options.pause_seconds = 1.5;
        std::string error;
        EXPECT_EQ(read(out), loader.encode({first, second}, options, error));
    }
}

TEST_F(Mktap, UnknownFormatIsAnErrorNamingTheFormats)
{
    const std::string pa = write("a.prg", program(0x0801, 10, 1));
    const ProgramRun run = run_mktap_cli({"--format", "nope", pa, dir + "/x.tap"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no format \"nope\"; formats: c64, turbotape"), std::string::npos) << run.err;
    EXPECT_FALSE(exists(dir + "/x.tap"));
    // c64 is the KERNAL's own format, as without --format.
    const std::string out = dir + "/c.tap";
    ASSERT_EQ(run_mktap_cli({"--format", "c64", pa, out}).status, 0);
    PrgInput p;
    p.bytes = program(0x0801, 10, 1);
    p.name = "A";
    EXPECT_EQ(read(out), encode_tap({p}, EncodeOptions()));
}

TEST_F(Mktap, UnreadableOrUnwritableProgramIsAnError)
{
    const std::string out = dir + "/e.tap";
    ProgramRun run = run_mktap_cli({dir + "/missing.prg", out});
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(run.err.empty());
    EXPECT_FALSE(exists(out));

    const std::string tiny = write("tiny.prg", {0x01});
    run = run_mktap_cli({tiny, out});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("tiny.prg"), std::string::npos);
    EXPECT_FALSE(exists(out));

    const std::string big = write("big.prg", program(0xFF00, 0x101, 1));
    EXPECT_EQ(run_mktap_cli({big, out}).status, 1);
    EXPECT_FALSE(exists(out));

    const std::string pa = write("a.prg", program(0x0801, 5, 8));
    run = run_mktap_cli({pa, dir + "/no/such/folder/x.tap"});
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(run.err.empty());
}

TEST_F(Mktap, DoubleDashEndsTheSwitches)
{
    const std::vector<uint8_t> a = program(0x0801, 5, 9);
    write("-odd.prg", a);
    const std::string out = dir + "/d.tap";
    gchar *cwd = g_get_current_dir();
    ASSERT_EQ(g_chdir(dir.c_str()), 0);
    const ProgramRun run = run_mktap_cli({"--", "-odd.prg", out});
    g_chdir(cwd);
    g_free(cwd);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(read(out), encode_tap({{a, "-ODD"}}, EncodeOptions()));
}
