// The folder the reports and the "prg" folder go to is the folder of the
// quillmar entry that was started, also when that entry is a link to a
// program elsewhere; and a run that fails at once leaves no PRG files of an
// earlier run behind.
#include "console_support.h"
#include "core/loaders/registry.h"
#include "core/scannerlist.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <unistd.h>

namespace {

bool exists(const std::string &p) { return g_file_test(p.c_str(), G_FILE_TEST_EXISTS); }


class LinkedProgram : public ConsoleTest {
protected:
    std::string links;  // holds "quillmar", a link to bin/quillmar
    std::string link;
    Bytes prg;
    std::string tape;

    void SetUp() override
    {
        ConsoleTest::SetUp();
        links = root + "/links 'l' \xC3\xB8";
        ASSERT_EQ(g_mkdir(links.c_str(), 0700), 0);
        link = links + "/quillmar";
        ASSERT_EQ(symlink(quillmar.c_str(), link.c_str()), 0);
        prg = make_prg(0x0801, 50, 1);
        tape = mktap("linked.tap", {{"LINKED", prg}});
    }

    // The results are beside the link, none beside the program it points to.
    void expect_results_beside_the_link()
    {
        expect_consistent_report(links + "/qmreport.txt", tape);
        EXPECT_EQ(read_bytes(links + "/prg/004-LINKED.prg"), prg);
        EXPECT_FALSE(exists(report_path()));
        EXPECT_FALSE(exists(bin + "/prg"));
    }
};

} // namespace

TEST_F(LinkedProgram, StartedByItsPathTheResultsGoBesideTheLink)
{
    const ProgramRun r = run_program(link, {"-doprg", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    expect_results_beside_the_link();
    // A batch report too.
    ASSERT_EQ(run_program(link, {"-b", dir}).status, 0);
    EXPECT_TRUE(exists(links + "/qmbatch.txt"));
    EXPECT_FALSE(exists(batch_path()));
}

TEST_F(LinkedProgram, StartedByARelativePathTheResultsGoBesideTheLink)
{
    const ProgramRun r = spawn_program({"./quillmar", "-doprg", "-t", tape}, links, "");
    ASSERT_EQ(r.status, 0) << r.err;
    expect_results_beside_the_link();
}

TEST_F(LinkedProgram, FoundOnTheSearchPathTheResultsGoBesideTheLink)
{
    const ProgramRun r = spawn_program({"quillmar", "-doprg", "-t", tape}, dir, links);
    ASSERT_EQ(r.status, 0) << r.err;
    expect_results_beside_the_link();
}

TEST_F(ConsoleTest, AUsageErrorWithDoprgRemovesTheOldPrgFiles)
{
    const std::string tape = mktap("u.tap", {{"OLD", make_prg(0x0801, 20, 2)}});
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    ASSERT_EQ(prg_files(), std::vector<std::string>{"004-OLD.prg"});
    write_bytes(bin + "/prg/notes.txt", {'n'});

    // Without -doprg the folder is not this run's business.
    EXPECT_EQ(run({"-bogus", "-t", tape}).status, 2);
    EXPECT_EQ(prg_files(), (std::vector<std::string>{"004-OLD.prg", "notes.txt"}));

    EXPECT_EQ(run({"-doprg", "-bogus", "-t", tape}).status, 2);
    EXPECT_EQ(prg_files(), std::vector<std::string>{"notes.txt"});
    EXPECT_NE(report().find("Usage error : unknown switch \"-bogus\""), std::string::npos);

    // No "prg" folder is made for a usage error.
    ASSERT_EQ(g_remove((bin + "/prg/notes.txt").c_str()), 0);
    ASSERT_EQ(g_rmdir((bin + "/prg").c_str()), 0);
    EXPECT_EQ(run({"-doprg", "-tol", "99", "-t", tape}).status, 2);
    EXPECT_FALSE(exists(bin + "/prg"));
}

TEST(ScannersFile, ListsEveryTurboScannerOfTheProgram)
{
    gchar *dir = g_path_get_dirname(QM_QUILLMAR);
    const std::string folder = dir;
    g_free(dir);
    const std::string text = read_text(folder + "/scanners.txt");
    EXPECT_EQ(text, turbo_scanner_lines());
    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(folder, rows));
    ASSERT_EQ(rows.size(), 1 + turbo_loaders().size());
    for (std::size_t i = 0; i < turbo_loaders().size(); ++i) {
        EXPECT_EQ(rows[i + 1].id, turbo_loaders()[i].id);
        EXPECT_EQ(rows[i + 1].name, turbo_loaders()[i].name);
        EXPECT_EQ(rows[i + 1].frequency, turbo_loaders()[i].rating);
        EXPECT_TRUE(rows[i + 1].included);
        EXPECT_NE(find_scanner(rows[i + 1].id), nullptr);
    }
}
