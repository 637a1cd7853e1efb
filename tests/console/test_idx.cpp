// "quillmarfe-cli idx" on a tape of three programs made by mktap and tested
// by the real quillmar: NAME.idx lists the three programs where their first
// header copies start, as the report gives them, with their names.
#include "console_support.h"

#include <algorithm>

#include <glib.h>

namespace {

class IdxFile : public ConsoleTest {
protected:
    static ProgramRun cli(const std::vector<std::string> &args) { return run_program(QM_CLI, args); }
};

TEST_F(IdxFile, ThreeProgramsGiveThreeLinesOfTheirStartsAndNames)
{
    const std::string tape = mktap("three 'programs'.tap", {{"INTRO", make_prg(0x0801, 300, 1)},
                                                            {"MAIN GAME", make_prg(0x0801, 900, 2)},
                                                            {"HISCORE", make_prg(0xC000, 64, 3)}});
    const std::string hash = sha256_of_file(tape);
    ASSERT_EQ(run({"-t", tape}).status, 0);
    const std::string report = path("report.txt");
    write_bytes(report, read_bytes(report_path()));

    // The offsets the report gives the first copies of the headers.
    std::string expected;
    for (const ReportEntry &e : parsed().entries)
        if (e.type == "C64 ROM-TAPE HEADER" && e.first_copy)
            expected += "0x" + [&] {
                char hex[32];
                g_snprintf(hex, sizeof hex, "%llX", static_cast<unsigned long long>(e.start));
                return std::string(hex);
            }() + "\t\t" + e.name.substr(0, e.name.find_last_not_of(' ') + 1) + "\n";
    ASSERT_EQ(std::count(expected.begin(), expected.end(), '\n'), 3) << expected;
    EXPECT_NE(expected.find("\t\tINTRO\n"), std::string::npos);
    EXPECT_NE(expected.find("\t\tMAIN GAME\n"), std::string::npos);
    EXPECT_NE(expected.find("\t\tHISCORE\n"), std::string::npos);
    EXPECT_EQ(expected.substr(0, 6), "0x14\t\t"); // the first program starts right after the TAP header

    const ProgramRun r = cli({"idx", "--report", report, tape});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, expected);
    EXPECT_EQ(read_text(path("three 'programs'.idx")), expected);
    EXPECT_EQ(sha256_of_file(tape), hash);
}

TEST_F(IdxFile, AReportOfAnotherTapeIsRefused)
{
    const std::string tape = mktap("one.tap", {{"ONE", make_prg(0x0801, 100, 1)}});
    const std::string other = mktap("other.tap", {{"OTHER", make_prg(0x0801, 900, 2)}});
    ASSERT_EQ(run({"-t", other}).status, 0);
    const ProgramRun r = cli({"idx", "--report", report_path(), tape});
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(r.err.empty());
    EXPECT_FALSE(g_file_test(path("one.idx").c_str(), G_FILE_TEST_EXISTS));
}

} // namespace
