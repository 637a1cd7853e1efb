// File > Import audio capture...: the console's recording of a sample tape
// is chosen in the dialog, converted on a worker thread and attached; an
// existing tape is replaced only when the user says so; a capture that is
// no sound file gets its reason and leaves no tape.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/importaudio.h"

#include <glib/gstdio.h>

#include <functional>

namespace {

class ImportAudio : public GuiTest {
protected:
    std::string folder, capture, tap;

    void SetUp() override
    {
        GuiTest::SetUp();
        folder = tmp + "/captures 'ü'";
        g_mkdir_with_parents(folder.c_str(), 0700);
        const std::string source = folder + "/recorded.tap";
        write_file(source, read_file(std::string(QM_BUILD_DIR "/samples/two-programs.tap")));
        gchar *out = nullptr;
        gint status = 0;
        const gchar *argv[] = {QM_QUILLMAR, "-wav", source.c_str(), nullptr};
        ASSERT_TRUE(g_spawn_sync(nullptr, const_cast<gchar **>(argv), nullptr, G_SPAWN_STDERR_TO_DEV_NULL, nullptr,
                                 nullptr, &out, nullptr, &status, nullptr));
        g_free(out);
        capture = folder + "/side a.wav";
        ASSERT_EQ(g_rename((folder + "/recorded.wav").c_str(), capture.c_str()), 0);
        tap = folder + "/side a.tap";
    }

    // Opens the menu's dialog, selects `path`, lets `before` set options,
    // and accepts once the chooser has selected the capture.
    void import_from_menu(const std::string &path, std::function<void(GtkWidget *)> before = {})
    {
        answer_dialog("Import an audio capture", [=](GtkWidget *dialog) {
            if (before)
                before(dialog);
            when_chooser_shows(dialog, path, [](GtkWidget *shown) {
                save_screenshot(shown, "import_audio_dialog");
                gtk_dialog_response(GTK_DIALOG(shown), GTK_RESPONSE_OK);
            });
        });
        gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_file_import_audio")));
    }
    bool wait_for_the_tape_attached()
    {
        return wait_for("the imported tape to be attached",
                        [&] { return utf8_path_lastopenTAP && tap == utf8_path_lastopenTAP; });
    }
};

TEST_F(ImportAudio, TheCaptureBecomesATapeBesideItThatIsAttached)
{
    const std::string hash = sha256_of(capture);
    import_from_menu(capture, [](GtkWidget *dialog) {
        GtkWidget *machine = find_named(dialog, "combobox_import_machine");
        ASSERT_NE(machine, nullptr);
        EXPECT_EQ(gtk_combo_box_get_active(GTK_COMBO_BOX(machine)), 0);
        EXPECT_NE(find_named(dialog, "combobox_import_polarity"), nullptr);
        EXPECT_NE(find_named(dialog, "spinbutton_import_channel"), nullptr);
    });
    ASSERT_TRUE(wait_for_the_tape_attached()) << statusbar_text();
    EXPECT_TRUE(all_dialogs_answered());
    EXPECT_FALSE(import_audio_capture_running());
    EXPECT_TRUE(gtk_widget_is_sensitive(W("menuitem_file_import_audio")));
    EXPECT_EQ(read_file(tap).substr(0, 13), std::string("C64-TAPE-RAW\x01", 13));
    EXPECT_EQ(statusbar_text(), " Attached file: side a.tap");
    EXPECT_NE(log_text().find("Imported side a.tap: "), std::string::npos) << log_text();
    EXPECT_EQ(sha256_of(capture), hash);
    // The new tape is ready to test.
    EXPECT_TRUE(gtk_widget_is_sensitive(W("toolbutton_test")));
    save_screenshot(mainwindow, "import_audio_attached");
}

TEST_F(ImportAudio, AnExistingTapeIsKeptWhenTheUserSaysNo)
{
    write_file(tap, "an earlier import");
    bool asked = false;
    answer_dialog("Replace tape?", [&](GtkWidget *dialog) {
        asked = all_label_texts(dialog).find("side a.tap already exists") != std::string::npos;
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_NO);
    });
    // The question comes before any work starts: once the menu item has
    // returned, No has been answered and nothing is running.
    import_from_menu(capture);
    EXPECT_TRUE(all_dialogs_answered());
    EXPECT_TRUE(asked);
    EXPECT_FALSE(import_audio_capture_running());
    EXPECT_EQ(read_file(tap), "an earlier import");
    EXPECT_TRUE(windows_titled("Importing audio capture").empty());
}

TEST_F(ImportAudio, AnExistingTapeIsReplacedWhenTheUserSaysYes)
{
    write_file(tap, "an earlier import");
    answer_dialog("Replace tape?", [](GtkWidget *dialog) { gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_YES); });
    import_from_menu(capture);
    ASSERT_TRUE(wait_for_the_tape_attached());
    EXPECT_EQ(read_file(tap).substr(0, 12), "C64-TAPE-RAW");
}

TEST_F(ImportAudio, ACaptureCutShortIsImportedAndTheWindowSaysHowMuchWasMissing)
{
    // A recorder stopped halfway: the header still promises the whole.
    const std::string whole = read_file(capture);
    write_file(capture, whole.substr(0, whole.size() / 2));
    import_from_menu(capture);
    ASSERT_TRUE(wait_for_the_tape_attached()) << statusbar_text();
    ASSERT_EQ(windows_titled("Import audio capture").size(), 1u);
    save_screenshot(windows_titled("Import audio capture").front(), "import_audio_cut_short");
    const std::string said = take_friendly_dialog("Import audio capture");
    EXPECT_NE(said.find("side a.wav: the capture ends "), std::string::npos) << said;
    EXPECT_NE(said.find(" s early; imported what it holds"), std::string::npos) << said;
    EXPECT_NE(log_text().find("the capture ends "), std::string::npos) << log_text();
    EXPECT_EQ(read_file(tap).substr(0, 12), "C64-TAPE-RAW");
}

TEST_F(ImportAudio, ACaptureThatIsNoSoundSaysWhyAndLeavesNoTape)
{
    const std::string notes = folder + "/notes.wav";
    write_file(notes, "these are my notes, not a recording\n");
    std::string said;
    answer_dialog("Error", [&](GtkWidget *dialog) {
        said = all_label_texts(dialog);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
    });
    import_from_menu(notes);
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(said.find("is not a sound file that can be read"), std::string::npos) << said;
    EXPECT_FALSE(g_file_test((folder + "/notes.tap").c_str(), G_FILE_TEST_EXISTS));
    EXPECT_TRUE(utf8_path_lastopenTAP == nullptr || std::string(utf8_path_lastopenTAP).find("notes") == std::string::npos);
}

} // namespace
