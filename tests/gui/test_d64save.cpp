// "Save all as D64 image..." on the Prg Files page: the console's PRG files
// go on a disk image in tape order; the image holds their bytes.
#include "harness.h"

#include "gui/appstate.h"

#include <glib/gstdio.h>

namespace {

class D64Save : public GuiTest {
protected:
    std::string console, tapes;
    std::string one, two;

    void SetUp() override
    {
        GuiTest::SetUp();
        console = tmp + "/console 'ü'";
        tapes = tmp + "/tapes";
        g_mkdir_with_parents((console + "/prg").c_str(), 0700);
        g_mkdir_with_parents(tapes.c_str(), 0700);
        replace_owned_string(utf8_path_consolelocation, console.c_str());
        replace_owned_string(utf8_path_lasttestedTAP, (tapes + "/side b.tap").c_str());
        replace_owned_string(utf8_path_lasttestedfolder, tapes.c_str());
        one = std::string("\x01\x08", 2) + std::string(300, 'A');
        two = std::string("\x00\xC0", 2) + std::string(40, 'B');
        write_file(console + "/prg/005-SECOND.prg", two);
        write_file(console + "/prg/002-FIRST ONE.prg", one);
    }
};

TEST_F(D64Save, TheProgramsGoOnADiskImageBesideTheTape)
{
    const std::string image = tapes + "/side b.d64";
    std::string suggested;
    answer_dialog("Save all as D64 image", [&](GtkWidget *dialog) {
        suggested = chooser_current_name(dialog);
        choose_file_and_accept(dialog, image);
    });
    gtk_button_clicked(GTK_BUTTON(W("button_prgfiles_save_d64")));
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_EQ(suggested, "side b.d64");
    EXPECT_EQ(take_friendly_dialog("D64 image"), "Operation finished. Check file:\n" + image);
    const std::string disk = read_file(image);
    ASSERT_EQ(disk.size(), 174848u);
    // The directory (track 18, sector 1) lists FIRST ONE, then SECOND.
    const std::size_t dir = (17 * 21 + 1) * 256;
    EXPECT_EQ(disk.substr(dir + 5, 16), "FIRST ONE" + std::string(7, '\xA0'));
    EXPECT_EQ(disk.substr(dir + 32 + 5, 16), "SECOND" + std::string(10, '\xA0'));
    EXPECT_EQ(static_cast<unsigned char>(disk[dir + 30]), 2u); // 302 bytes: two blocks
    EXPECT_EQ(static_cast<unsigned char>(disk[dir + 32 + 30]), 1u);
    EXPECT_NE(disk.find(std::string(300, 'A').substr(0, 252)), std::string::npos);
    EXPECT_NE(log_text().find("2 PRG files (3 blocks) written to the disk image"), std::string::npos) << log_text();
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 3);
    settle();
    save_screenshot(mainwindow, "prgfiles_save_d64");
}

TEST_F(D64Save, NoProgramsNoDialog)
{
    g_remove((console + "/prg/005-SECOND.prg").c_str());
    g_remove((console + "/prg/002-FIRST ONE.prg").c_str());
    gtk_button_clicked(GTK_BUTTON(W("button_prgfiles_save_d64")));
    EXPECT_EQ(take_friendly_dialog("D64 image"), "There are no PRG files to put on a disk.");
    EXPECT_TRUE(windows_titled("Save all as D64 image").empty());
}

} // namespace
