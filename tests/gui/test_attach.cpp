// Attaching a tape: the open dialog, its preview, and drops.
#include "harness.h"

#include "core/statusmask.h"
#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/common.h"

#include <glib/gstdio.h>

#include <cstring>

namespace {

std::string header(const char *magic, int version, int platform, int video, int reserved = 0)
{
    std::string bytes(magic, 12);
    bytes += char(version);
    bytes += char(platform);
    bytes += char(video);
    bytes += char(reserved);
    bytes += std::string(4, '\0');
    return bytes;
}

std::string label_text(GtkWidget *dialog, const char *name)
{
    GtkWidget *label = find_named(dialog, name);
    return label ? gtk_label_get_text(GTK_LABEL(label)) : "<missing>";
}

class Attach : public GuiTest {
protected:
    std::string tapes;
    void before_startup() override
    {
        tapes = tmp + "/tapes o'neil \xC3\xA9";
        g_mkdir(tapes.c_str(), 0700);
        g_setenv("TAPHOME", tapes.c_str(), TRUE);
    }
    std::string tape(const std::string &name, const std::string &contents)
    {
        const std::string path = tapes + "/" + name;
        write_file(path, contents);
        return path;
    }
    // Opens the dialog, selects `path`, lets `check` look at it, then answers.
    void run_open_dialog(const std::string &path, const std::function<void(GtkWidget *)> &check,
                         GtkResponseType response)
    {
        answer_dialog("Select a tape image", [=](GtkWidget *dialog) {
            // Selection and preview arrive asynchronously: answer once the
            // chooser has selected the file.
            when_chooser_shows(dialog, path, [=](GtkWidget *shown) {
                if (check)
                    check(shown);
                gtk_dialog_response(GTK_DIALOG(shown), response);
            });
        });
        gtk_button_clicked(GTK_BUTTON(gtk_bin_get_child(GTK_BIN(W("toolbutton_open_file")))));
        EXPECT_TRUE(all_dialogs_answered());
    }
    std::vector<std::string> preview_of(const std::string &contents)
    {
        const std::string path = tape("preview.tap", contents);
        std::vector<std::string> values;
        run_open_dialog(path, [&](GtkWidget *dialog) {
            values = {label_text(dialog, "label_preview_file_type"), label_text(dialog, "label_preview_platform"),
                      label_text(dialog, "label_preview_video")};
        }, GTK_RESPONSE_CANCEL);
        return values;
    }
};

using Strings = std::vector<std::string>;

} // namespace

TEST_F(Attach, DialogTitleFiltersAndStartingFolder)
{
    answer_dialog("Select a tape image", [&](GtkWidget *dialog) {
        GSList *filters = gtk_file_chooser_list_filters(GTK_FILE_CHOOSER(dialog));
        std::vector<std::string> names;
        for (GSList *f = filters; f; f = f->next)
            names.push_back(gtk_file_filter_get_name(GTK_FILE_FILTER(f->data)));
        g_slist_free(filters);
        EXPECT_EQ(names, (Strings{"  All supported types (*.TAP, *.DMP) ", "  TAP image files (*.TAP) ",
                                  "  ZORV image files (*.DMP) ", "  All files (*.*) "}));
        EXPECT_STREQ(gtk_file_filter_get_name(gtk_file_chooser_get_filter(GTK_FILE_CHOOSER(dialog))),
                     "  All supported types (*.TAP, *.DMP) ");
        EXPECT_TRUE(wait_for("the open dialog to show the TAPHOME folder",
                             [&] { return chooser_folder(dialog) == tapes; }))
            << chooser_folder(dialog);
        EXPECT_EQ(all_label_texts(find_named(dialog, "hbox_open_file_preview")),
                  "File Type:\n---\nComputer Platform:\n---\nVideo Standard:\n---");
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    on_openfile_activate();
    EXPECT_TRUE(all_dialogs_answered());
    EXPECT_EQ(utf8_path_lastopenTAP, nullptr);
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
}

TEST_F(Attach, OkAttachesTheFileEnablesJobsAndShowsItsName)
{
    const std::string path = tape("game's tape.tap", header("C64-TAPE-RAW", 1, 0, 0));
    run_open_dialog(path, nullptr, GTK_RESPONSE_OK);
    ASSERT_NE(utf8_path_lastopenTAP, nullptr);
    EXPECT_EQ(std::string(utf8_path_lastopenTAP), path);
    EXPECT_EQ(std::string(utf8_path_lastopenfolder), tapes);
    EXPECT_EQ(statusbar_text(), " Attached file: game's tape.tap");
    for (const char *name : {"toolbutton_test", "toolbutton_clean", "menutoolbutton_convert",
                             "menutoolbutton_recordaudio", "toolbutton_open_file", "toolbutton_batch"})
        EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W(name))) << name;
}

TEST_F(Attach, PreviewOfAStandardTap)
{
    EXPECT_EQ(preview_of(header("C64-TAPE-RAW", 1, 0, 0)), (Strings{"Standard TAP v 1", "Commodore 64", "PAL"}));
}

TEST_F(Attach, PreviewNonStandardWhenPlatformAndVideoAreSet)
{
    EXPECT_EQ(preview_of(header("C64-TAPE-RAW", 1, 2, 1)), (Strings{"Non-standard TAP v 1", "Commodore 16", "NTSC"}));
}

TEST_F(Attach, PreviewVersionTwoIsNonStandard)
{
    EXPECT_EQ(preview_of(header("C64-TAPE-RAW", 2, 0, 0)), (Strings{"Non-standard TAP v 2", "Commodore 64", "PAL"}));
}

TEST_F(Attach, PreviewZorvUsesTheLowNibbleAndTapTheWholeByte)
{
    EXPECT_EQ(preview_of(header("ZORV-TAP-RAW", 3, 0x12, 0)), (Strings{"ZORV v 3", "Commodore 16", "PAL"}));
    EXPECT_EQ(preview_of(header("C16-TAPE-RAW", 1, 0x12, 2)), (Strings{"Markus' Extended TAP v 1", "Unknown", "Unknown"}));
}

TEST_F(Attach, PreviewOfAShortOrUnknownFile)
{
    EXPECT_EQ(preview_of("C64-TAPE-RAW\x01"), (Strings{"---", "---", "---"}));
    EXPECT_EQ(preview_of(header("NOT-A-TAPE!!", 1, 0, 0)), (Strings{"---", "---", "---"}));
}

TEST_F(Attach, FilterUsedOnOkIsRememberedCancelKeepsIt)
{
    const std::string path = tape("x.tap", header("C64-TAPE-RAW", 1, 0, 0));
    answer_dialog("Select a tape image", [&](GtkWidget *dialog) {
        GSList *filters = gtk_file_chooser_list_filters(GTK_FILE_CHOOSER(dialog));
        gtk_file_chooser_set_filter(GTK_FILE_CHOOSER(dialog), GTK_FILE_FILTER(g_slist_nth_data(filters, 3)));
        g_slist_free(filters);
        choose_file_and_accept(dialog, path);
    });
    on_openfile_activate();
    EXPECT_EQ(filter_lastopenTAP, 3);
    answer_dialog("Select a tape image", [&](GtkWidget *dialog) {
        EXPECT_STREQ(gtk_file_filter_get_name(gtk_file_chooser_get_filter(GTK_FILE_CHOOSER(dialog))),
                     "  All files (*.*) ");
        GSList *filters = gtk_file_chooser_list_filters(GTK_FILE_CHOOSER(dialog));
        gtk_file_chooser_set_filter(GTK_FILE_CHOOSER(dialog), GTK_FILE_FILTER(g_slist_nth_data(filters, 1)));
        g_slist_free(filters);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    on_openfile_activate();
    EXPECT_EQ(filter_lastopenTAP, 3);
}

namespace {

// Delivers a drop of the given URI list as the drop handler receives it.
bool drop_uris(const std::string &uri_list)
{
    GtkSelectionData data = {};
    data.target = data.type = gdk_atom_intern("text/uri-list", FALSE);
    data.format = 8;
    data.display = gdk_display_get_default();
    data.data = reinterpret_cast<guchar *>(const_cast<char *>(uri_list.c_str()));
    data.length = gint(uri_list.size());
    return main_window_accept_drop(&data);
}

} // namespace

TEST_F(Attach, DropWhileAJobRunsAttachesTheFirstFileWithoutStartingATest)
{
    const std::string first = tape("first one.tap", header("C64-TAPE-RAW", 1, 0, 0));
    const std::string second = tape("second.tap", header("C64-TAPE-RAW", 1, 0, 0));
    gchar *uri1 = g_filename_to_uri(first.c_str(), nullptr, nullptr);
    gchar *uri2 = g_filename_to_uri(second.c_str(), nullptr, nullptr);
    thread_busy = 1;
    const std::string log_before = log_text();
    EXPECT_TRUE(drop_uris(std::string(uri1) + "\r\n" + uri2 + "\r\n"));
    g_free(uri1);
    g_free(uri2);
    ASSERT_NE(utf8_path_lastopenTAP, nullptr);
    EXPECT_EQ(std::string(utf8_path_lastopenTAP), first);
    EXPECT_EQ(std::string(utf8_path_lastopenfolder), tapes);
    EXPECT_EQ(statusbar_text(), " Attached file: first one.tap");
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
    EXPECT_EQ(log_text(), log_before) << "no Test was started";
    thread_busy = 0;
}

TEST_F(Attach, DropOfSomethingThatIsNoLocalFileIsIgnored)
{
    EXPECT_TRUE(drop_uris("http://example.org/tape.tap\r\n")); // accepted, and ignored
    EXPECT_EQ(utf8_path_lastopenTAP, nullptr);
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
}

TEST_F(Attach, DropOfDataThatIsNoUriListFails)
{
    GtkSelectionData data = {};
    data.target = data.type = gdk_atom_intern("text/uri-list", FALSE);
    data.format = 16;
    data.display = gdk_display_get_default();
    guchar bytes[] = "file:///x.tap\r\n";
    data.data = bytes;
    data.length = sizeof bytes - 1;
    EXPECT_FALSE(main_window_accept_drop(&data));
    data.format = 8;
    data.display = gdk_display_get_default();
    data.length = -1;
    EXPECT_FALSE(main_window_accept_drop(&data));
    EXPECT_FALSE(main_window_accept_drop(nullptr));
    EXPECT_EQ(utf8_path_lastopenTAP, nullptr);
}

TEST_F(Attach, ATapeNamedOnTheCommandLineIsAttached)
{
    const std::string tape = tmp + "/my tape's 100%.tap";
    write_file(tape, std::string("C64-TAPE-RAW\x01", 13) + std::string(107, '\0'));
    // Relative to the working folder, as a shell passes it.
    ASSERT_EQ(g_chdir(tmp.c_str()), 0);
    EXPECT_TRUE(attach_tape_from_command_line("my tape's 100%.tap"));
    EXPECT_EQ(std::string(utf8_path_lastopenTAP), tape);
    EXPECT_EQ(std::string(utf8_path_lastopenfolder), tmp);
    EXPECT_EQ(statusbar_text(), " Attached file: my tape's 100%.tap");
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
}

TEST_F(Attach, AMissingTapeOnTheCommandLineSaysSo)
{
    std::string said;
    answer_dialog("Error", [&](GtkWidget *dialog) {
        said = all_label_texts(dialog);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
    });
    EXPECT_FALSE(attach_tape_from_command_line("/no/such/tape 50%.tap"));
    EXPECT_TRUE(all_dialogs_answered());
    EXPECT_NE(said.find("The tape '/no/such/tape 50%.tap' given on the command line is not a file that can be attached."),
              std::string::npos)
        << said;
    EXPECT_EQ(utf8_path_lastopenTAP, nullptr);
}

TEST_F(Attach, WithoutALastFolderTheDialogStartsAtHome)
{
    replace_owned_string(utf8_path_lastopenfolder, nullptr);
    std::string shown;
    answer_dialog("Select a tape image", [&](GtkWidget *dialog) {
        wait_for("the open dialog to show the home folder",
                 [&] { return (shown = chooser_folder(dialog)) == g_get_home_dir(); });
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    on_openfile_activate();
    EXPECT_TRUE(all_dialogs_answered());
    EXPECT_EQ(shown, std::string(g_get_home_dir()));
    EXPECT_EQ(shown, tmp);  // the tests' HOME
}
