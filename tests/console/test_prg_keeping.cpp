// The "prg" folder is shared with the user: a -doprg run removes only the
// files the previous run wrote (named in the folder's list file), never
// replaces a file of the user's (its program gets a suffixed name instead),
// and a list file that names anything else, or can't be used, removes
// nothing outside what the program wrote.
#include "console_support.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <utility>

namespace {

bool exists(const std::string &p) { return g_file_test(p.c_str(), G_FILE_TEST_EXISTS); }

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

class PrgKeeping : public ConsoleTest {
protected:
    std::string prg_dir;
    std::map<std::string, std::string> user_hashes;  // path -> SHA-256 of the user's files

    void SetUp() override
    {
        ConsoleTest::SetUp();
        prg_dir = bin + "/prg";
        ASSERT_EQ(g_mkdir(prg_dir.c_str(), 0755), 0);
    }

    // A file of the user's, remembered by its hash.
    void user_file(const std::string &path, const Bytes &bytes)
    {
        write_bytes(path, bytes);
        user_hashes[path] = sha256_of_file(path);
    }

    void expect_user_files_unchanged()
    {
        for (const auto &item : user_hashes) {
            ASSERT_TRUE(exists(item.first)) << item.first;
            EXPECT_EQ(sha256_of_file(item.first), item.second) << item.first;
        }
    }
};

} // namespace

TEST_F(PrgKeeping, UsersFilesSurviveAndAClashGetsASuffix)
{
    const Bytes game = make_prg(0x0801, 200, 1);
    const Bytes intro = make_prg(0xC000, 60, 2);
    const std::string tape = mktap("two.tap", {{"GAME", game}, {"INTRO", intro}});
    user_file(prg_dir + "/004-GAME.prg", make_prg(0x0801, 33, 90));
    user_file(prg_dir + "/010-INTRO.prg", make_prg(0x1000, 20, 91));
    user_file(prg_dir + "/010-INTRO (2).prg", make_prg(0x1000, 21, 92));
    user_file(prg_dir + "/mine.prg", make_prg(0x2000, 40, 93));
    user_file(prg_dir + "/notes.txt", {'h', 'i'});
    ASSERT_EQ(g_mkdir((prg_dir + "/sub").c_str(), 0755), 0);
    user_file(prg_dir + "/sub/deep.prg", make_prg(0x3000, 10, 94));

    const ProgramRun r = run({"-doprg", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    expect_user_files_unchanged();
    EXPECT_EQ(read_bytes(prg_dir + "/004-GAME (2).prg"), game);
    EXPECT_EQ(read_bytes(prg_dir + "/010-INTRO (3).prg"), intro);
    EXPECT_EQ(written_list(), (std::vector<std::string>{"004-GAME (2).prg", "010-INTRO (3).prg"}));
    const std::string text = report();
    EXPECT_EQ(report_value(text, "PRG files   : "), "2 written to " + prg_dir);
    EXPECT_TRUE(contains(text, "Note: 004-GAME.prg in the folder is not this program's and was kept; written as "
                               "004-GAME (2).prg\n"))
        << text;
    EXPECT_TRUE(contains(text, "written as 010-INTRO (3).prg\n")) << text;

    // The next run removes the previous run's files, suffixed ones included,
    // and nothing else.
    const Bytes other = make_prg(0x0801, 70, 3);
    const std::string second = mktap("other.tap", {{"OTHER", other}});
    ASSERT_EQ(run({"-doprg", "-t", second}).status, 0);
    expect_user_files_unchanged();
    EXPECT_EQ(prg_files(), (std::vector<std::string>{"004-GAME.prg", "004-OTHER.prg", "010-INTRO (2).prg",
                                                     "010-INTRO.prg", "mine.prg", "notes.txt", "sub"}));
    EXPECT_EQ(written_list(), std::vector<std::string>{"004-OTHER.prg"});

    // The program's own file of the run before is no clash: it goes first.
    ASSERT_EQ(run({"-doprg", "-t", second}).status, 0);
    EXPECT_EQ(read_bytes(prg_dir + "/004-OTHER.prg"), other);
    EXPECT_FALSE(exists(prg_dir + "/004-OTHER (2).prg"));
    EXPECT_FALSE(contains(report(), "was kept; written as"));

    // A run without -doprg leaves the folder alone.
    ASSERT_EQ(run({"-t", tape}).status, 0);
    EXPECT_TRUE(exists(prg_dir + "/004-OTHER.prg"));
}

TEST_F(PrgKeeping, ABadCopyKeepsItsMarkBeforeTheSuffix)
{
    const Bytes prg = make_prg(0x1000, 300, 6);
    Bytes tape = read_bytes(mktap("clean.tap", {{"BROKEN", prg}}));
    const TapeScan scan = scan_tape(tape.data(), tape.size());
    for (const TapeEntry &e : scan.entries) {
        if (e.type != "C64 ROM-TAPE DATA")
            continue;
        const std::size_t b = e.inner_start_pulse + 3 * 20;  // a bit of payload byte 3, both copies
        std::swap(tape[scan.pulses.offset(b + 2)], tape[scan.pulses.offset(b + 3)]);
    }
    const std::string bad = path("bad.tap");
    write_bytes(bad, tape);
    user_file(prg_dir + "/004-BROKEN (bad).prg", {1, 2, 3});

    ASSERT_EQ(run({"-doprg", "-t", bad}).status, 0);
    expect_user_files_unchanged();
    Bytes expected = prg;
    expected[2 + 3] ^= 0x01;
    EXPECT_EQ(read_bytes(prg_dir + "/004-BROKEN (bad) (2).prg"), expected);
    EXPECT_EQ(written_list(), std::vector<std::string>{"004-BROKEN (bad) (2).prg"});
}

TEST_F(PrgKeeping, AUsageErrorOrAFailedRunRemovesOnlyThePreviousRunsFiles)
{
    const std::string tape = mktap("u.tap", {{"GAME", make_prg(0x0801, 20, 4)}});
    user_file(prg_dir + "/004-GAME.prg", make_prg(0x0801, 5, 95));
    user_file(prg_dir + "/keep.prg", make_prg(0x0801, 6, 96));
    const std::vector<std::string> users = {"004-GAME.prg", "keep.prg"};

    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    ASSERT_EQ(written_list(), std::vector<std::string>{"004-GAME (2).prg"});
    // A batch scan writes no PRG files and leaves the folder as it is.
    ASSERT_EQ(run({"-doprg", "-b", dir}).status, 0);
    EXPECT_TRUE(exists(prg_dir + "/004-GAME (2).prg"));

    EXPECT_EQ(run({"-doprg", "-bogus", "-t", tape}).status, 2);
    EXPECT_EQ(prg_files(), users);
    EXPECT_FALSE(exists(prg_dir + "/.quillmar-written.txt"));
    expect_user_files_unchanged();

    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    ASSERT_TRUE(exists(prg_dir + "/004-GAME (2).prg"));
    EXPECT_EQ(run({"-doprg", "-t", path("missing.tap")}).status, 1);
    EXPECT_EQ(prg_files(), users);
    EXPECT_TRUE(written_list().empty());
    expect_user_files_unchanged();
}

TEST_F(PrgKeeping, AHostileListRemovesNothingOutsideTheFolderNorAnyOtherKindOfFile)
{
    const std::string tape = mktap("h.tap", {{"GAME", make_prg(0x0801, 20, 5)}});
    user_file(root + "/outside.prg", {1});
    user_file(bin + "/beside.prg", {2});
    user_file(prg_dir + "/user.txt", {3});
    user_file(prg_dir + "/kept.prg", {4});
    ASSERT_EQ(g_mkdir((prg_dir + "/sub").c_str(), 0755), 0);
    user_file(prg_dir + "/sub/inner.prg", {5});
    ASSERT_EQ(g_mkdir((prg_dir + "/folder.prg").c_str(), 0755), 0);
    ASSERT_EQ(symlink((root + "/outside.prg").c_str(), (prg_dir + "/link.prg").c_str()), 0);
    write_bytes(prg_dir + "/listed.prg", {6});  // named in the list: it goes
    std::string list = "../outside.prg\n../beside.prg\n" + root + "/outside.prg\n" + prg_dir +
                       "/kept.prg\nsub/inner.prg\n..\n.\n\nuser.txt\nfolder.prg\nlink.prg\n./kept.prg\nkept.prg\r\n"
                       "listed.prg\n";
    list += std::string("user.txt") + '\0' + ".prg\n";
    write_bytes(prg_dir + "/.quillmar-written.txt", Bytes(list.begin(), list.end()));

    const ProgramRun r = run({"-doprg", "-t", tape});
    ASSERT_EQ(r.status, 0) << r.err;
    expect_user_files_unchanged();
    EXPECT_TRUE(g_file_test((prg_dir + "/folder.prg").c_str(), G_FILE_TEST_IS_DIR));
    EXPECT_TRUE(g_file_test((prg_dir + "/link.prg").c_str(), G_FILE_TEST_IS_SYMLINK));
    EXPECT_FALSE(exists(prg_dir + "/listed.prg"));
    EXPECT_EQ(written_list(), std::vector<std::string>{"004-GAME.prg"});

    // A list that is a link is replaced, never written through.
    const std::string elsewhere = root + "/elsewhere.txt";
    user_file(elsewhere, {'k', 'e', 'e', 'p', '.', 'p', 'r', 'g', '\n'});
    ASSERT_EQ(g_remove((prg_dir + "/.quillmar-written.txt").c_str()), 0);
    ASSERT_EQ(symlink(elsewhere.c_str(), (prg_dir + "/.quillmar-written.txt").c_str()), 0);
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    expect_user_files_unchanged();
    EXPECT_FALSE(g_file_test((prg_dir + "/.quillmar-written.txt").c_str(), G_FILE_TEST_IS_SYMLINK));
    // 004-GAME.prg was not in the list read through the link: it is kept.
    EXPECT_EQ(written_list(), std::vector<std::string>{"004-GAME (2).prg"});
}

TEST_F(PrgKeeping, AListThatCannotBeReadStopsThePrgOutputWithAReason)
{
    const std::string tape = mktap("l.tap", {{"GAME", make_prg(0x0801, 20, 6)}});
    user_file(prg_dir + "/keep.prg", {7});
    ASSERT_EQ(g_mkdir((prg_dir + "/.quillmar-written.txt").c_str(), 0755), 0);

    const ProgramRun r = run({"-doprg", "-t", tape});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(contains(r.err, "cannot read the list of PRG files written before")) << r.err;
    const std::string text = report();
    EXPECT_EQ(report_value(text, "PRG files   : ").rfind("none written: cannot read the list of PRG files written "
                                                         "before, " + prg_dir + "/.quillmar-written.txt: ", 0),
              0u)
        << text;
    // The tape itself is reported as usual.
    expect_consistent_report(report_path(), tape);
    EXPECT_TRUE(parsed().totals.checksum_test_passed);
    EXPECT_EQ(prg_files(), std::vector<std::string>{"keep.prg"});
    expect_user_files_unchanged();

    // A usage error says so in its report too.
    EXPECT_EQ(run({"-doprg", "-bogus", "-t", tape}).status, 2);
    EXPECT_TRUE(contains(report(), "Note: cannot read the list of PRG files written before")) << report();
    expect_user_files_unchanged();
}

TEST_F(PrgKeeping, ARunThatStopsHalfWayListsWhatItWrote)
{
    const Bytes a = make_prg(0x0801, 30, 7);
    const std::string tape = mktap("ab.tap", {{"A", a}, {"B", make_prg(0xC000, 30, 8)}});
    user_file(prg_dir + "/010-B.prg", {8});
    for (int n = 2; n <= 999; ++n)
        write_bytes(prg_dir + "/010-B (" + std::to_string(n) + ").prg", {9});

    const ProgramRun r = run({"-doprg", "-t", tape});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(contains(r.err, "no free name for 010-B.prg")) << r.err;
    EXPECT_EQ(report_value(report(), "PRG files   : "),
              "not all written (1 of 2): no free name for 010-B.prg in " + prg_dir);
    EXPECT_EQ(read_bytes(prg_dir + "/004-A.prg"), a);
    EXPECT_EQ(written_list(), std::vector<std::string>{"004-A.prg"});

    const std::string other = mktap("c.tap", {{"C", make_prg(0x0801, 30, 9)}});
    ASSERT_EQ(run({"-doprg", "-t", other}).status, 0);
    EXPECT_FALSE(exists(prg_dir + "/004-A.prg"));
    EXPECT_EQ(prg_files().size(), 1000u);  // 004-C.prg and the user's 999
    expect_user_files_unchanged();
}

TEST_F(PrgKeeping, AReadOnlyFolderGivesAReasonAndExitOne)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "permissions do not bind root";
    const std::string tape = mktap("r.tap", {{"GAME", make_prg(0x0801, 20, 10)}});
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    user_file(prg_dir + "/keep.prg", {1});
    ASSERT_EQ(g_chmod(prg_dir.c_str(), 0555), 0);

    const ProgramRun r = run({"-doprg", "-t", tape});
    EXPECT_EQ(r.status, 1);
    const std::string line = report_value(report(), "PRG files   : ");
    EXPECT_EQ(line.rfind("none written: cannot remove 1 PRG file(s) written before (" + prg_dir + "/004-GAME.prg: ",
                         0),
              0u)
        << line;
    EXPECT_EQ(run({"-doprg", "-bogus", "-t", tape}).status, 2);
    EXPECT_TRUE(contains(report(), "Note: cannot remove 1 PRG file(s) written before")) << report();

    ASSERT_EQ(g_chmod(prg_dir.c_str(), 0755), 0);
    expect_user_files_unchanged();
    // The file that could not go is still listed, so the next run removes it.
    EXPECT_EQ(written_list(), std::vector<std::string>{"004-GAME.prg"});
    ASSERT_EQ(run({"-doprg", "-t", mktap("s.tap", {{"SECOND", make_prg(0x0801, 20, 11)}})}).status, 0);
    EXPECT_EQ(prg_files(), (std::vector<std::string>{"004-SECOND.prg", "keep.prg"}));
}

TEST_F(PrgKeeping, APrgEntryThatIsNoFolderIsLeftAloneWithAReason)
{
    const std::string tape = mktap("f.tap", {{"GAME", make_prg(0x0801, 20, 12)}});
    ASSERT_EQ(g_rmdir(prg_dir.c_str()), 0);
    user_file(prg_dir, {'u'});
    const ProgramRun r = run({"-doprg", "-t", tape});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(contains(r.err, "cannot make the folder " + prg_dir)) << r.err;
    EXPECT_EQ(report_value(report(), "PRG files   : ").rfind("none written: cannot make the folder " + prg_dir, 0), 0u)
        << report();
    EXPECT_EQ(run({"-doprg", "-bogus", "-t", tape}).status, 2);
    expect_user_files_unchanged();
}
