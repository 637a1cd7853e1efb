// Shared interface services: status mask, status bar, log, fonts, dialogs,
// PNG export, text saving and the file-list pop-up.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/callbacks.h"
#include "gui/common.h"

#include <glib/gstdio.h>

namespace {

const char *const controls[] = {"toolbutton_open_file", "menuitem_file_open", "toolbutton_batch",
                                "toolbutton_test", "toolbutton_clean", "menutoolbutton_convert",
                                "menutoolbutton_recordaudio"};

std::string sensitivities()
{
    std::string out;
    for (const char *name : controls)
        out += GTK_WIDGET_SENSITIVE(W(name)) ? '1' : '0';
    return out;
}

std::string font_of(const char *view)
{
    gchar *text = pango_font_description_to_string(gtk_widget_get_style(W(view))->font_desc);
    std::string result = text;
    g_free(text);
    return result;
}

const char *const font_views[] = {"textview_report", "textview_log", "textview_prgfiles_hex",
                                  "textview_prgfiles_dasm", "textview_prgfiles_basic"};

} // namespace

using StatusMask = GuiTest;

TEST_F(StatusMask, ZeroChangesNothing)
{
    const std::string before = sensitivities();
    common_set_toolbar_and_menu_status(0);
    EXPECT_EQ(sensitivities(), before);
    common_enable_toolbar_and_menu_status_all();
    common_set_toolbar_and_menu_status(0);
    EXPECT_EQ(sensitivities(), "1111111");
}

TEST_F(StatusMask, FieldValueThreeDisablesLikeTwo)
{
    common_enable_toolbar_and_menu_status_all();
    common_set_toolbar_and_menu_status(3 << 4); // Test: 3
    EXPECT_EQ(sensitivities(), "1110111");
    common_set_toolbar_and_menu_status(2 << 6); // Clean: 2
    EXPECT_EQ(sensitivities(), "1110011");
    common_set_toolbar_and_menu_status(3); // Open and its menu item: 3
    EXPECT_EQ(sensitivities(), "0010011");
}

TEST_F(StatusMask, FileAttachedLeavesOpenAndBatchAlone)
{
    common_disable_toolbar_and_menu_status_all();
    common_set_toolbar_and_menu_status(STATUS_FILE_ATTACHED);
    EXPECT_EQ(sensitivities(), "0001111");
    common_enable_toolbar_and_menu_status_all();
    common_set_toolbar_and_menu_status(STATUS_FILE_ATTACHED);
    EXPECT_EQ(sensitivities(), "1111111");
}

TEST_F(StatusMask, NoFileAttachedAndBatchComplete)
{
    common_disable_toolbar_and_menu_status_all();
    common_set_toolbar_and_menu_status(STATUS_NO_FILE_ATTACHED);
    EXPECT_EQ(sensitivities(), "0000000");
    common_set_toolbar_and_menu_status(STATUS_BATCH_COMPLETE);
    EXPECT_EQ(sensitivities(), "1110000");
}

TEST_F(StatusMask, EnableAndDisableAll)
{
    common_enable_toolbar_and_menu_status_all();
    EXPECT_EQ(sensitivities(), "1111111");
    common_disable_toolbar_and_menu_status_all();
    EXPECT_EQ(sensitivities(), "0000000");
}

using StatusBar = GuiTest;

TEST_F(StatusBar, TwoTextsInARowShowOnlyTheSecond)
{
    common_set_statusbar_text(" first");
    common_set_statusbar_text(" second");
    EXPECT_EQ(statusbar_text(), " second");
    GtkStatusbar *bar = GTK_STATUSBAR(W("statusbar_mainwin"));
    EXPECT_EQ(g_slist_length(bar->messages), 1u);
    // Taking the message away leaves nothing older behind.
    gtk_statusbar_pop(bar, 0);
    EXPECT_EQ(statusbar_text(), "");
}

using SystemLog = GuiTest;

TEST_F(SystemLog, AppendWithoutNewlineContinuesTheLine)
{
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_log"))), "", -1);
    common_append_log_textview("abc");
    common_append_log_textview("def\n");
    common_append_log_textview("ghi");
    EXPECT_EQ(log_text(), "abcdef\nghi");
}

TEST_F(SystemLog, PopupGetsClearLogFirstThenASeparator)
{
    common_append_log_textview("something\n");
    GtkWidget *menu = gtk_menu_new();
    g_object_ref_sink(menu);
    GtkWidget *existing = gtk_menu_item_new_with_label("Copy");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), existing);
    g_signal_emit_by_name(W("textview_log"), "populate-popup", menu);
    GList *items = gtk_container_get_children(GTK_CONTAINER(menu));
    ASSERT_EQ(g_list_length(items), 3u);
    GtkWidget *clear = GTK_WIDGET(items->data);
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(gtk_bin_get_child(GTK_BIN(clear)))), "Clear log");
    GtkWidget *image = gtk_image_menu_item_get_image(GTK_IMAGE_MENU_ITEM(clear));
    gchar *stock = nullptr;
    gtk_image_get_stock(GTK_IMAGE(image), &stock, nullptr);
    EXPECT_STREQ(stock, "gtk-new");
    EXPECT_TRUE(GTK_IS_SEPARATOR_MENU_ITEM(items->next->data));
    EXPECT_EQ(items->next->next->data, existing);
    gtk_menu_item_activate(GTK_MENU_ITEM(clear));
    EXPECT_EQ(log_text(), "");
    g_list_free(items);
    g_object_unref(menu);
}

using Fonts = GuiTest;

TEST_F(Fonts, StartUpSetsCourier11OnAllFiveViews)
{
    EXPECT_STREQ(common_get_current_font_description(), "courier 11");
    for (const char *view : font_views)
        EXPECT_EQ(font_of(view), "courier 11") << view;
}

TEST_F(Fonts, ApplyChangesAllViewsAndKeepsTheDialogOpenCancelKeepsIt)
{
    int runs_seen = 0;
    answer_dialog("Select font", [&](GtkWidget *dialog) {
        ++runs_seen;
        gtk_font_selection_dialog_set_font_name(GTK_FONT_SELECTION_DIALOG(dialog), "Monospace 14");
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_APPLY);
    });
    answer_dialog("Select font", [&](GtkWidget *dialog) {
        ++runs_seen; // still open after Apply
        for (const char *view : font_views)
            EXPECT_EQ(font_of(view), "Monospace 14") << view;
        gtk_font_selection_dialog_set_font_name(GTK_FONT_SELECTION_DIALOG(dialog), "Serif 20");
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    gtk_button_clicked(GTK_BUTTON(W("button_options_font")));
    EXPECT_EQ(runs_seen, 2);
    EXPECT_STREQ(common_get_current_font_description(), "Monospace 14");
    for (const char *view : font_views)
        EXPECT_EQ(font_of(view), "Monospace 14") << view;
    EXPECT_TRUE(windows_titled("Select font").empty());
}

TEST_F(Fonts, OkAppliesAndCloses)
{
    answer_dialog("Select font", [](GtkWidget *dialog) {
        gtk_font_selection_dialog_set_font_name(GTK_FONT_SELECTION_DIALOG(dialog), "Sans 9");
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
    });
    common_on_set_textview_fonts();
    EXPECT_STREQ(common_get_current_font_description(), "Sans 9");
    EXPECT_EQ(font_of("textview_prgfiles_basic"), "Sans 9");
}

using Progress = GuiTest;

TEST_F(Progress, AdvertiseSetsTheFractionAndDrainsEvents)
{
    bool idle_ran = false;
    g_idle_add([](gpointer flag) -> gboolean {
        *static_cast<bool *>(flag) = true;
        return FALSE;
    }, &idle_ran);
    common_advertise_progress(0.375);
    EXPECT_DOUBLE_EQ(gtk_progress_bar_get_fraction(GTK_PROGRESS_BAR(W("progressbar_prg_files_processing"))),
                     0.375);
    EXPECT_TRUE(idle_ran);
}

using Dialogs = GuiTest;

TEST_F(Dialogs, FriendlyDialogReturnsAtOnceAndClosesOnResponse)
{
    common_create_friendly_dialog("Tape Editor", "All done.");
    std::vector<GtkWidget *> found = windows_titled("Tape Editor");
    ASSERT_EQ(found.size(), 1u);
    GtkWidget *dialog = found[0];
    EXPECT_TRUE(gtk_window_get_modal(GTK_WINDOW(dialog)));
    EXPECT_FALSE(gtk_window_get_resizable(GTK_WINDOW(dialog)));
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(dialog)), GTK_WINDOW(mainwindow));
    GtkWidget *label = find_named(dialog, "label_friendly_dialog");
    ASSERT_NE(label, nullptr);
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(label)), "All done.");
    gint xpad = 0, ypad = 0;
    gtk_misc_get_padding(GTK_MISC(label), &xpad, &ypad);
    EXPECT_EQ(xpad, 10);
    EXPECT_EQ(ypad, 10);
    gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_NONE);
    settle();
    EXPECT_TRUE(windows_titled("Tape Editor").empty());
}

TEST_F(Dialogs, ErrorDialogBlocksAndInterpretsPercent)
{
    std::string shown;
    answer_dialog("Error", [&](GtkWidget *dialog) {
        shown = all_label_texts(dialog);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
    });
    common_create_simple_error_dialog(GTK_WINDOW(mainwindow), "100%% lost");
    EXPECT_TRUE(all_dialogs_answered()); // it ran to completion before returning
    EXPECT_NE(shown.find("100% lost"), std::string::npos) << shown;
    EXPECT_TRUE(windows_titled("Error").empty());
}

class PngExport : public GuiTest {
protected:
    GtkWidget *area = nullptr;
    void make_area(int width, int height)
    {
        // A fixed container gives the area exactly the size it asks for.
        GtkWidget *fixed = gtk_fixed_new();
        area = gtk_drawing_area_new();
        gtk_widget_set_size_request(area, width, height);
        gtk_fixed_put(GTK_FIXED(fixed), area, 0, 0);
        GtkWidget *box = gtk_bin_get_child(GTK_BIN(mainwindow));
        gtk_box_pack_start(GTK_BOX(box), fixed, FALSE, FALSE, 0);
        gtk_widget_show_all(fixed);
        wait_for("the drawing area to get its size",
                 [&] { return GTK_WIDGET_REALIZED(area) && area->allocation.height == height; });
    }
    void answer_save(const std::string &path, const std::string &expected_name)
    {
        answer_dialog("Save to a PNG file", [=](GtkWidget *dialog) {
            EXPECT_EQ(chooser_current_name(dialog), expected_name);
            EXPECT_TRUE(gtk_file_chooser_get_do_overwrite_confirmation(GTK_FILE_CHOOSER(dialog)));
            choose_file_and_accept(dialog, path);
        });
    }
};

TEST_F(PngExport, WidgetOfZeroWidthFailsToAllocate)
{
    make_area(0, 20);
    // The toolkit never allocates less than one pixel; a widget that has
    // not been allocated yet (or collapsed) is what reaches 0 here.
    area->allocation.width = 0;
    const std::string target = work_dir + "/zero.png";
    answer_save(target, "game.tap_bar.png");
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_log"))), "", -1);
    common_save_as_png(area, area->window, "/somewhere/game.tap", "bar");
    EXPECT_EQ(log_text(), "Failed to allocate pixbuf\n");
    EXPECT_FALSE(g_file_test(target.c_str(), G_FILE_TEST_EXISTS));
    EXPECT_TRUE(windows_titled("Save to a PNG file").empty());
}

TEST_F(PngExport, SavesThePictureOfTheWidgetsSize)
{
    make_area(64, 20);
    const std::string target = work_dir + "/bar it's \xC3\xBC.png";
    answer_save(target, "tape.tap_analysis_y=3.png");
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_log"))), "", -1);
    GdkPixmap *pixmap = gdk_pixmap_new(area->window, area->allocation.width, 20, -1);
    common_save_as_png(area, pixmap, "tape.tap", "analysis_y=3");
    g_object_unref(pixmap);
    EXPECT_EQ(log_text(), "");
    GdkPixbuf *saved = gdk_pixbuf_new_from_file(target.c_str(), nullptr);
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(gdk_pixbuf_get_width(saved), area->allocation.width);
    EXPECT_EQ(gdk_pixbuf_get_height(saved), 20);
    EXPECT_FALSE(gdk_pixbuf_get_has_alpha(saved));
    g_object_unref(saved);
}

TEST_F(PngExport, CancelWritesNothing)
{
    make_area(64, 20);
    answer_dialog("Save to a PNG file", [](GtkWidget *dialog) {
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    const std::string before = log_text();
    common_save_as_png(area, area->window, "tape.tap", "x");
    EXPECT_EQ(log_text(), before);
    EXPECT_TRUE(windows_titled("Save to a PNG file").empty());
}

using TextSave = GuiTest;

TEST_F(TextSave, WritesTheWholeTextAndReturnsNonzero)
{
    GtkTextView *view = GTK_TEXT_VIEW(W("textview_report"));
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(view), "line 1\nline 2 \xC3\xA4", -1);
    const std::string path = work_dir + "/report copy's.txt";
    EXPECT_NE(common_textview_save_contents(view, path.c_str()), 0);
    EXPECT_EQ(read_file(path), "line 1\nline 2 \xC3\xA4");
}

TEST_F(TextSave, FailedWriteLogsTheErrorAndReturnsZero)
{
    GtkTextView *view = GTK_TEXT_VIEW(W("textview_report"));
    const std::string path = work_dir + "/missing folder/report.txt";
    const size_t before = log_text().size();
    EXPECT_EQ(common_textview_save_contents(view, path.c_str()), 0);
    const std::string added = log_text().substr(before);
    EXPECT_NE(added.find("missing folder"), std::string::npos) << added;
    EXPECT_EQ(added.back(), '\n');
}

TEST_F(TextSave, ReportSaveWritesTheReportView)
{
    replace_owned_string(utf8_path_lasttestedTAP, (work_dir + "/game.tap").c_str());
    replace_owned_string(utf8_path_lasttestedfolder, work_dir.c_str());
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_report"))), "the report", -1);
    const std::string target = work_dir + "/saved report.txt";
    answer_dialog("Save report to text file", [&](GtkWidget *dialog) {
        choose_file_and_accept(dialog, target);
    });
    const std::string before = log_text();
    on_textview_report_save_contents_activate(nullptr, nullptr);
    EXPECT_EQ(read_file(target), "the report");
    EXPECT_EQ(log_text(), before);
}

TEST_F(TextSave, ReportSaveProposesTheTestedTapesNameAndReportsFailure)
{
    replace_owned_string(utf8_path_lasttestedTAP, (work_dir + "/game.tap").c_str());
    replace_owned_string(utf8_path_lasttestedfolder, work_dir.c_str());
    answer_dialog("Save report to text file", [&](GtkWidget *dialog) {
        EXPECT_EQ(chooser_current_name(dialog), "game.tap_report.txt");
        // Nothing can be written in /proc, not even by the superuser.
        choose_file_and_accept(dialog, "/proc/out.txt");
    });
    on_textview_report_save_contents_activate(nullptr, nullptr);
    const std::string log = log_text();
    EXPECT_GE(log.size(), std::string("Could not save report to file\n").size());
    EXPECT_EQ(log.substr(log.size() - 30), "Could not save report to file\n") << log;
}

namespace {

int popups_built = 0;
GtkWidget *test_popup()
{
    ++popups_built;
    GtkWidget *menu = gtk_menu_new();
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), gtk_menu_item_new_with_label("Show"));
    return menu;
}

class FilePopup : public GuiTest {
protected:
    GtkWidget *view = nullptr;
    void SetUp() override
    {
        GuiTest::SetUp();
        popups_built = 0;
        GtkListStore *store = gtk_list_store_new(1, G_TYPE_INT);
        GtkTreeIter iter;
        for (int i = 0; i < 3; ++i)
            gtk_list_store_insert_with_values(store, &iter, -1, 0, i, -1);
        view = gtk_tree_view_new_with_model(GTK_TREE_MODEL(store));
        g_object_ref_sink(view);
        g_object_unref(store);
        gtk_tree_selection_set_mode(gtk_tree_view_get_selection(GTK_TREE_VIEW(view)),
                                    GTK_SELECTION_MULTIPLE);
        for (guint kind = 0; kind < FILE_POPUP_KINDS; ++kind)
            common_register_file_popup_builder(kind, test_popup);
        replace_owned_string(utf8_path_lasttestedTAP, "/tapes/game.tap");
    }
    void TearDown() override
    {
        g_object_unref(view);
        GuiTest::TearDown();
    }
    void select_rows(int count)
    {
        GtkTreeSelection *selection = gtk_tree_view_get_selection(GTK_TREE_VIEW(view));
        gtk_tree_selection_unselect_all(selection);
        for (int i = 0; i < count; ++i) {
            GtkTreePath *path = gtk_tree_path_new_from_indices(i, -1);
            gtk_tree_selection_select_path(selection, path);
            gtk_tree_path_free(path);
        }
    }
};

} // namespace

TEST_F(FilePopup, NeedsExactlyOneSelectedRow)
{
    select_rows(0);
    EXPECT_FALSE(on_view_file_popup_menu(view, nullptr, 0));
    select_rows(2);
    EXPECT_FALSE(on_view_file_popup_menu(view, nullptr, 0));
    EXPECT_EQ(popups_built, 0);
    select_rows(1);
    EXPECT_TRUE(on_view_file_popup_menu(view, nullptr, 0));
    EXPECT_EQ(popups_built, 1);
}

TEST_F(FilePopup, NeedsATestedTapFileNotADump)
{
    select_rows(1);
    replace_owned_string(utf8_path_lasttestedTAP, "/tapes/clean.game.DMP");
    EXPECT_FALSE(on_view_file_popup_menu(view, nullptr, 1));
    replace_owned_string(utf8_path_lasttestedTAP, "/tapes/game.Tap");
    EXPECT_FALSE(on_view_file_popup_menu(view, nullptr, 1));
    replace_owned_string(utf8_path_lasttestedTAP, nullptr);
    EXPECT_FALSE(on_view_file_popup_menu(view, nullptr, 1));
    replace_owned_string(utf8_path_lasttestedTAP, "/tapes/GAME.TAP");
    EXPECT_TRUE(on_view_file_popup_menu(view, nullptr, 1));
}

TEST_F(FilePopup, KindAboveFourShowsNothing)
{
    select_rows(1);
    EXPECT_TRUE(on_view_file_popup_menu(view, nullptr, 4));
    EXPECT_FALSE(on_view_file_popup_menu(view, nullptr, 5));
    EXPECT_EQ(popups_built, 1);
}
