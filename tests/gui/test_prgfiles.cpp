// The Prg Files page: the list, the viewers, foreign files and copies.
#include "harness.h"

#include "core/basiclisting.h"
#include "gui/appstate.h"
#include "gui/prgfiles.h"

#include <glib/gstdio.h>

namespace {

class PrgFiles : public GuiTest {
protected:
    std::string console, prg;
    void SetUp() override
    {
        GuiTest::SetUp();
        console = tmp + "/console";
        prg = console + "/prg";
        g_mkdir_with_parents(prg.c_str(), 0700);
        replace_owned_string(utf8_path_consolelocation, console.c_str());
        // "10 PRINT" as a BASIC program at $0801, and a small data file.
        write_file(prg + "/b basic.prg", std::string("\x01\x08\x07\x08\x0a\x00\x99\x00\x00\x00", 10));
        write_file(prg + "/a data.prg", std::string("\x00\xc0\x41\x42\x01", 5));
        write_file(prg + "/.hidden", "xx");
        g_mkdir((prg + "/c folder").c_str(), 0700);
        prgfiles_update_list(console.c_str());
    }
    std::vector<std::string> names()
    {
        std::vector<std::string> out;
        GtkTreeModel *model = gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_prgfiles")));
        GtkTreeIter iter;
        for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok; ok = gtk_tree_model_iter_next(model, &iter)) {
            gchar *name = nullptr;
            gtk_tree_model_get(model, &iter, 0, &name, -1);
            out.push_back(name);
            g_free(name);
        }
        return out;
    }
    void select_row(int row)
    {
        GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
        gtk_tree_view_set_cursor(GTK_TREE_VIEW(W("treeview_prgfiles")), path, nullptr, FALSE);
        gtk_tree_path_free(path);
    }
    std::string entry(const char *name) { return gtk_entry_get_text(GTK_ENTRY(W(name))); }
};

} // namespace

TEST_F(PrgFiles, ListIsSortedAndSkipsHiddenEntriesButShowsFolders)
{
    EXPECT_EQ(names(), (std::vector<std::string>{"a data.prg", "b basic.prg", "c folder"}));
    GtkTreeViewColumn *column = gtk_tree_view_get_column(GTK_TREE_VIEW(W("treeview_prgfiles")), 0);
    EXPECT_STREQ(gtk_tree_view_column_get_title(column), " File name ");
}

TEST_F(PrgFiles, WithPrgCreationOffTheListIsLeftAsItWas)
{
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_doprg")), FALSE);
    g_remove((prg + "/a data.prg").c_str());
    prgfiles_update_list(console.c_str());
    EXPECT_EQ(names().size(), 3u);
}

TEST_F(PrgFiles, ClearEmptiesListViewersAndEntries)
{
    prgfiles_clear_list();
    EXPECT_TRUE(names().empty());
    EXPECT_EQ(text_view_text("textview_prgfiles_hex"), "");
    EXPECT_EQ(entry("textentry_prg_basic_filename"), "");
}

TEST_F(PrgFiles, ViewsShowTheSelectedFileAndSwitchPages)
{
    select_row(0);
    wait_for_prg_decoding();
    prgfiles_view_as_hex();
    EXPECT_EQ(text_view_text("textview_prgfiles_hex"),
              "\nC000: 41 42 01 " + std::string(13 * 3, ' ') + "'AB.'\n");
    EXPECT_EQ(entry("textentry_prg_hexview_filename"), "a data.prg");
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_prg_views"))), 0);
    EXPECT_FALSE(GTK_WIDGET_VISIBLE(W("progressbar_prg_files_processing")));
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("treeview_prgfiles")));
    select_row(1);
    wait_for_prg_decoding();
    prgfiles_view_as_basic_listing();
    EXPECT_EQ(text_view_text("textview_prgfiles_basic"), "\n10 PRINT\n");
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_prg_views"))), 2);
    select_row(0);
    wait_for_prg_decoding();
    prgfiles_view_as_basic_listing();
    EXPECT_EQ(text_view_text("textview_prgfiles_basic"), BASIC_NOT_VALID_TEXT);
    prgfiles_view_in_dasm();
    EXPECT_NE(text_view_text("textview_prgfiles_dasm"), "");
    EXPECT_EQ(entry("textentry_prg_dasm_filename"), "a data.prg");
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_prg_views"))), 1);
}

TEST_F(PrgFiles, QuickCursorMovesDecodeOnlyOnce250msAfterTheFirst)
{
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_prg_views")), 0);
    const gint64 start = g_get_monotonic_time();
    select_row(0);
    EXPECT_EQ(prg_decoding_busy, 1);
    select_row(1);
    select_row(0);
    select_row(1);
    EXPECT_EQ(text_view_text("textview_prgfiles_hex"), "Nothing yet to show here...");
    ASSERT_TRUE(wait_for_prg_decoding());
    EXPECT_GE(g_get_monotonic_time() - start, 240000);
    // The row selected when the time-out fired is the one decoded.
    EXPECT_EQ(entry("textentry_prg_hexview_filename"), "b basic.prg");
}

TEST_F(PrgFiles, PopupWithoutSelectionShowsNothingButConsumesThePress)
{
    gtk_tree_selection_unselect_all(gtk_tree_view_get_selection(GTK_TREE_VIEW(W("treeview_prgfiles"))));
    GdkEvent *event = gdk_event_new(GDK_BUTTON_PRESS);
    event->button.button = 3;
    event->button.window = GDK_WINDOW(g_object_ref(W("treeview_prgfiles")->window));
    gboolean handled = FALSE;
    g_signal_emit_by_name(W("treeview_prgfiles"), "button_press_event", event, &handled);
    gdk_event_free(event);
    EXPECT_TRUE(handled);
    bool shown = false;
    GList *toplevels = gtk_window_list_toplevels();
    for (GList *t = toplevels; t; t = t->next)
        if (GtkWidget *item = find_named(GTK_WIDGET(t->data), "popupmenuitem_view_as_hex"))
            shown = shown || GTK_WIDGET_VISIBLE(item);
    g_list_free(toplevels);
    EXPECT_FALSE(shown);
}

TEST_F(PrgFiles, SaveACopyWritesAnIdenticalFile)
{
    select_row(1);
    wait_for_prg_decoding();
    const std::string target = tmp + "/copy of it's.prg";
    answer_dialog("Save a copy of a PRG file", [&](GtkWidget *dialog) {
        EXPECT_EQ(chooser_current_name(dialog), "b basic.prg");
        choose_file_and_accept(dialog, target);
    });
    prgfiles_save_a_copy();
    EXPECT_EQ(read_file(target), read_file(prg + "/b basic.prg"));
}

TEST_F(PrgFiles, FailedCopyIsLoggedWithALineBreak)
{
    select_row(1);
    wait_for_prg_decoding();
    g_remove((prg + "/b basic.prg").c_str());
    answer_dialog("Save a copy of a PRG file", [&](GtkWidget *dialog) {
        choose_file_and_accept(dialog, tmp + "/copy.prg");
    });
    const size_t before = log_text().size();
    prgfiles_save_a_copy();
    const std::string added = log_text().substr(before);
    EXPECT_FALSE(added.empty());
    EXPECT_EQ(added.back(), '\n');
}

TEST_F(PrgFiles, UnreadableFileShowsTheErrorDialog)
{
    std::string shown;
    // The automatic decode after the cursor move meets the error first.
    for (int i = 0; i < 2; ++i)
        answer_dialog("Error", [&](GtkWidget *dialog) {
            shown = all_label_texts(dialog);
            gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
        });
    select_row(2); // a folder
    wait_for_prg_decoding();
    prgfiles_view_as_hex();
    EXPECT_TRUE(all_dialogs_answered());
    EXPECT_NE(shown.find("Could not load data from file '" + prg + "/c folder':"), std::string::npos) << shown;
    EXPECT_EQ(text_view_text("textview_prgfiles_hex"), "");
}

TEST_F(PrgFiles, ForeignFileDialogRemembersFolderAndFilterOnlyOnOk)
{
    const std::string other = tmp + "/elsewhere";
    g_mkdir(other.c_str(), 0700);
    write_file(other + "/x.bin", std::string("\x00\x10\x20", 3));
    answer_dialog("Select a PRG file", [&](GtkWidget *dialog) {
        GSList *filters = gtk_file_chooser_list_filters(GTK_FILE_CHOOSER(dialog));
        EXPECT_STREQ(gtk_file_filter_get_name(GTK_FILE_FILTER(filters->data)), "  PRG files (*.PRG) ");
        EXPECT_STREQ(gtk_file_filter_get_name(GTK_FILE_FILTER(filters->next->data)), "  All files (*.*) ");
        EXPECT_EQ(gtk_file_chooser_get_filter(GTK_FILE_CHOOSER(dialog)), filters->data);
        gtk_file_chooser_set_filter(GTK_FILE_CHOOSER(dialog), GTK_FILE_FILTER(filters->next->data));
        g_slist_free(filters);
        choose_file_and_accept(dialog, other + "/x.bin");
    });
    prgfiles_load_foreign(PRG_VIEW_HEX);
    EXPECT_EQ(entry("textentry_prg_hexview_filename"), "x.bin");
    EXPECT_EQ(text_view_text("textview_prgfiles_hex").substr(0, 8), "\n1000: 2");
    answer_dialog("Select a PRG file", [&](GtkWidget *dialog) {
        EXPECT_TRUE(wait_for("the dialog to start in the folder of the last foreign file",
                             [&] { return chooser_folder(dialog) == other; }))
            << chooser_folder(dialog);
        EXPECT_STREQ(gtk_file_filter_get_name(gtk_file_chooser_get_filter(GTK_FILE_CHOOSER(dialog))), "  All files (*.*) ");
        GSList *filters = gtk_file_chooser_list_filters(GTK_FILE_CHOOSER(dialog));
        gtk_file_chooser_set_filter(GTK_FILE_CHOOSER(dialog), GTK_FILE_FILTER(filters->data));
        g_slist_free(filters);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    prgfiles_load_foreign(PRG_VIEW_BASIC);
    answer_dialog("Select a PRG file", [&](GtkWidget *dialog) {
        EXPECT_STREQ(gtk_file_filter_get_name(gtk_file_chooser_get_filter(GTK_FILE_CHOOSER(dialog))), "  All files (*.*) ");
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    prgfiles_load_foreign(PRG_VIEW_BASIC);
    EXPECT_TRUE(all_dialogs_answered());
}

TEST_F(PrgFiles, ViewerMenusStartWithLoadForeignThenASeparator)
{
    for (const char *view : {"textview_prgfiles_hex", "textview_prgfiles_dasm", "textview_prgfiles_basic"}) {
        GtkWidget *menu = gtk_menu_new();
        g_object_ref_sink(menu);
        gtk_menu_shell_append(GTK_MENU_SHELL(menu), gtk_menu_item_new_with_label("Copy"));
        g_signal_emit_by_name(W(view), "populate-popup", menu);
        GList *items = gtk_container_get_children(GTK_CONTAINER(menu));
        ASSERT_EQ(g_list_length(items), 3u) << view;
        EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(gtk_bin_get_child(GTK_BIN(items->data)))), "Load foreign PRG file...");
        EXPECT_TRUE(GTK_IS_SEPARATOR_MENU_ITEM(items->next->data));
        g_list_free(items);
        g_object_unref(menu);
    }
}
