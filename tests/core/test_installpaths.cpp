// Tests of where the front end finds what it ships with and of the per-user
// console folder of an installed front end.
#include "core/installpaths.h"
#include "core/scannerlist.h"
#include "common/temp_folder.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string link_target(const std::string &path)
{
    gchar *target = g_file_read_link(path.c_str(), nullptr);
    std::string r = target != nullptr ? target : "";
    g_free(target);
    return r;
}

bool is_link(const std::string &path) { return g_file_test(path.c_str(), G_FILE_TEST_IS_SYMLINK); }

std::string read_file(const std::string &path)
{
    gchar *text = nullptr;
    gsize size = 0;
    if (!g_file_get_contents(path.c_str(), &text, &size, nullptr))
        return "<unreadable>";
    std::string r(text, size);
    g_free(text);
    return r;
}

// An install: bin/quillmar (executable) and share/quillmarfe/scanners.txt.
struct FakeInstall {
    TempFolder root{"qm-install-XXXXXX"};
    std::string bin, data;
    FakeInstall()
    {
        bin = root.path() + "/bin";
        data = root.path() + "/share/quillmarfe";
        g_mkdir_with_parents(bin.c_str(), 0755);
        g_mkdir_with_parents(data.c_str(), 0755);
        root.write("bin/quillmar", "#!/bin/sh\n");
        g_chmod((bin + "/quillmar").c_str(), 0755);
        root.write("share/quillmarfe/scanners.txt", "5:turbotape:Turbo Tape 64\n");
    }
};

} // namespace

TEST(InstallPaths, WorkingFolderWithAConsoleProgramStaysTheConsoleLocation)
{
    FakeInstall install;
    TempFolder work("qm-work-XXXXXX");
    work.write("quillmar", "#!/bin/sh\n");
    g_chmod((work.path() + "/quillmar").c_str(), 0755);
    TempFolder home("qm-home-XXXXXX");
    const std::string user = home.path() + "/data/quillmarfe/console";

    const ConsoleFolderChoice c = choose_default_console_location(work.path(), install.bin, install.data, user);
    EXPECT_EQ(c.folder, work.path());
    EXPECT_EQ(c.error, "");
    EXPECT_FALSE(g_file_test(user.c_str(), G_FILE_TEST_EXISTS)) << "nothing is made when not needed";
}

TEST(InstallPaths, InstalledFrontEndStartedElsewhereWorksInTheUserFolder)
{
    FakeInstall install;
    TempFolder work("qm-work-XXXXXX");
    TempFolder home("qm-home-XXXXXX");
    const std::string user = home.path() + "/data/quillmarfe/console";

    const ConsoleFolderChoice c = choose_default_console_location(work.path(), install.bin, install.data, user);
    EXPECT_EQ(c.folder, user);
    EXPECT_EQ(c.error, "");
    ASSERT_TRUE(is_link(user + "/quillmar"));
    EXPECT_EQ(link_target(user + "/quillmar"), install.bin + "/quillmar");
    ASSERT_TRUE(is_link(user + "/scanners.txt"));
    EXPECT_EQ(link_target(user + "/scanners.txt"), install.data + "/scanners.txt");
    EXPECT_TRUE(folder_has_console_program(user));
    EXPECT_EQ(work.files().size(), 0u) << "the working folder is left alone";

    // A second start finds everything in place.
    const ConsoleFolderChoice again = choose_default_console_location(work.path(), install.bin, install.data, user);
    EXPECT_EQ(again.folder, user);
    EXPECT_EQ(link_target(user + "/quillmar"), install.bin + "/quillmar");
}

TEST(InstallPaths, LinksOfAnOlderInstallAreRenewedAndTheUsersOwnFilesKept)
{
    FakeInstall install;
    TempFolder work("qm-work-XXXXXX");
    TempFolder user("qm-user-XXXXXX");
    ASSERT_EQ(symlink("/nonexistent/old/bin/quillmar", (user.path() + "/quillmar").c_str()), 0);
    user.write("scanners.txt", "9:mine:My own list\n");

    const ConsoleFolderChoice c =
        choose_default_console_location(work.path(), install.bin, install.data, user.path());
    EXPECT_EQ(c.folder, user.path());
    EXPECT_EQ(link_target(user.path() + "/quillmar"), install.bin + "/quillmar");
    EXPECT_FALSE(is_link(user.path() + "/scanners.txt"));
    EXPECT_EQ(read_file(user.path() + "/scanners.txt"), "9:mine:My own list\n");
}

TEST(InstallPaths, WithoutAnInstalledConsoleTheWorkingFolderStays)
{
    TempFolder empty_bin("qm-bin-XXXXXX");
    TempFolder work("qm-work-XXXXXX");
    TempFolder home("qm-home-XXXXXX");
    const std::string user = home.path() + "/console";
    const ConsoleFolderChoice c = choose_default_console_location(work.path(), empty_bin.path(), "/nonexistent", user);
    EXPECT_EQ(c.folder, work.path());
    EXPECT_FALSE(g_file_test(user.c_str(), G_FILE_TEST_EXISTS));
}

TEST(InstallPaths, AFolderThatCannotBeMadeIsReportedAndTheWorkingFolderStays)
{
    FakeInstall install;
    TempFolder work("qm-work-XXXXXX");
    TempFolder home("qm-home-XXXXXX");
    // A file where the folder should go: it cannot be made, whoever runs the test.
    home.write("data", "not a folder");
    const std::string user = home.path() + "/data/quillmarfe/console";
    const ConsoleFolderChoice c = choose_default_console_location(work.path(), install.bin, install.data, user);
    EXPECT_EQ(c.folder, work.path());
    EXPECT_NE(c.error.find(user), std::string::npos) << c.error;
}

TEST(InstallPaths, SavingTheScannerListThroughALinkLeavesTheShippedListAlone)
{
    FakeInstall install;
    TempFolder work("qm-work-XXXXXX");
    TempFolder user("qm-user-XXXXXX");
    ASSERT_EQ(choose_default_console_location(work.path(), install.bin, install.data, user.path()).folder,
              user.path());
    const std::string shipped = install.data + "/scanners.txt";
    const std::string before = read_file(shipped);

    std::vector<ScannerRow> rows;
    ASSERT_TRUE(load_scanner_rows(user.path(), rows));
    ASSERT_EQ(rows.size(), 2u);
    rows[1].frequency = 7;
    ASSERT_TRUE(save_scanner_rows(user.path(), rows));

    EXPECT_EQ(read_file(shipped), before);
    EXPECT_FALSE(is_link(user.path() + "/scanners.txt"));
    EXPECT_NE(read_file(user.path() + "/scanners.txt").find("7:turbotape:Turbo Tape 64"), std::string::npos);
}

TEST(InstallPaths, ShippedFilesAreFoundRelativeToTheProgram)
{
    // An install under any prefix: <prefix>/bin beside <prefix>/share.
    EXPECT_EQ(shipped_data_folder("/opt/qm/bin"), "/opt/qm/share/quillmarfe");
    EXPECT_EQ(shipped_data_folder("/usr/bin"), "/usr/share/quillmarfe");
    gchar *expected = g_build_filename(g_get_user_data_dir(), "quillmarfe", "console", nullptr);
    EXPECT_EQ(user_console_folder(), expected);
    g_free(expected);
}

TEST(InstallPaths, TheBuildTreeUsesItsOwnCatalogues)
{
    // This test runs from the build tree, where the catalogues are built
    // into <build>/locale; an unknown program folder falls back to "".
    const std::string folder = message_catalogue_folder(running_program_folder());
    ASSERT_GE(folder.size(), 7u);
    EXPECT_EQ(folder.substr(folder.size() - 7), "/locale");
    EXPECT_TRUE(g_file_test((folder + "/de/LC_MESSAGES/quillmarfe.mo").c_str(), G_FILE_TEST_IS_REGULAR));
    EXPECT_EQ(message_catalogue_folder(""), "");
    FakeInstall install;
    g_mkdir_with_parents((install.root.path() + "/share/locale").c_str(), 0755);
    EXPECT_EQ(message_catalogue_folder(install.bin), install.root.path() + "/share/locale");
}
