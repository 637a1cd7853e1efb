// The Tape Editor page on the shared file list model.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/editor.h"
#include "gui/report.h"

#include <glib/gstdio.h>
#include <unistd.h>

namespace {

class Editor : public GuiTest {
protected:
    std::string folder, tape, source;
    void SetUp() override
    {
        GuiTest::SetUp();
        folder = tmp + "/tapes \xC3\xA5";
        g_mkdir_with_parents(folder.c_str(), 0700);
        // A header and 100 data bytes 0..99; three rows of 30, 30 and 40 bytes.
        source = std::string("C64-TAPE-RAW\x01\x00\x00\x00\x64\x00\x00\x00", 20);
        for (int i = 0; i < 100; ++i)
            source += char(i);
        tape = folder + "/game's.tap";
        write_file(tape, source);
        replace_owned_string(utf8_path_consolelocation, folder.c_str());
        replace_owned_string(utf8_path_lasttestedTAP, tape.c_str());
        write_file(folder + "/qmreport.txt",
                   "TAP Name    : " + tape + "\nTAP Size    : 120\nChecksum test     : PASS\nRead test         : PASS\n"
                   "File Type: C64 ROM-TAPE HEADER\nLocation: $0014 -> $0014 -> $0031 -> $0031\n"
                   "File Type: UNRECOGNIZED junk\nLocation: $0032 -> $0032 -> $004F -> $004F\n"
                   "File Type: C64 ROM-TAPE DATA\nLocation: $0050 -> $0050 -> $0077 -> $0077\n");
        report_read_report_file_interactive(0);
    }
    bool excluded(int row)
    {
        GtkTreeIter iter;
        gtk_tree_model_iter_nth_child(GTK_TREE_MODEL(report_file_list_model()), &iter, nullptr, row);
        gboolean value = FALSE;
        gtk_tree_model_get(GTK_TREE_MODEL(report_file_list_model()), &iter, REPORT_EXCLUDED, &value, -1);
        return value;
    }
    void toggle(int row)
    {
        GtkTreeViewColumn *column = gtk_tree_view_get_column(GTK_TREE_VIEW(W("treeview_tape_editor")), 4);
        GList *cells = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(column));
        gchar *path = g_strdup_printf("%d", row);
        g_signal_emit_by_name(cells->data, "toggled", path);
        g_free(path);
        g_list_free(cells);
    }
    std::string dialog_text_after(const std::function<void()> &act)
    {
        act();
        return take_friendly_dialog("Tape Editor");
    }
    std::string bytes(int from, int to) // data bytes of offsets from..to inclusive
    {
        return source.substr(size_t(from), size_t(to - from + 1));
    }
};

} // namespace

TEST_F(Editor, ColumnsOnTheSharedModel)
{
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_tape_editor"));
    EXPECT_EQ(gtk_tree_view_get_model(view), GTK_TREE_MODEL(report_file_list_model()));
    const char *titles[] = {" Index ", " Offset ", " Pulses ", " Type descriptor ", " Exclude ", " File name "};
    for (int i = 0; i < 6; ++i)
        EXPECT_STREQ(gtk_tree_view_column_get_title(gtk_tree_view_get_column(view, i)), titles[i]);
}

TEST_F(Editor, ToggleExcludeUnrecognizedByNineCharactersAndIncludeAll)
{
    toggle(0);
    EXPECT_TRUE(excluded(0));
    toggle(0);
    EXPECT_FALSE(excluded(0));
    gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_exclude_unrecognized")));
    EXPECT_FALSE(excluded(0));
    EXPECT_TRUE(excluded(1)) << "\"UNRECOGNIZED junk\" starts with UNRECOGNI";
    gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_include_all_files")));
    EXPECT_FALSE(excluded(1));
}

TEST_F(Editor, SavingWithNothingExcludedSaysSo)
{
    EXPECT_EQ(dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as"))); }),
              "No changes to save.");
}

TEST_F(Editor, SaveDropsTheExcludedRowAndFixesTheSize)
{
    const std::string before = read_file(tape);
    toggle(1);
    EXPECT_EQ(dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as"))); }),
              "Operation finished. Check file:\nedited_game's.tap");
    std::string expected = source.substr(0, 20) + bytes(20, 49) + bytes(80, 119);
    expected[16] = char(expected.size() - 20);
    EXPECT_EQ(read_file(folder + "/edited_game's.tap"), expected);
    EXPECT_EQ(read_file(tape), before) << "the source is never changed";
}

TEST_F(Editor, DumpFilesAreRefused)
{
    replace_owned_string(utf8_path_lasttestedTAP, (folder + "/game.DMP").c_str());
    EXPECT_EQ(dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_exclude_unrecognized"))); }),
              "You can only edit and save TAP files.");
    toggle(0);
    EXPECT_EQ(dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as"))); }),
              "You can only save TAP files.");
}

TEST_F(Editor, WithoutAReportTheButtonsDoNothing)
{
    write_file(folder + "/qmreport.txt", "nothing\n");
    report_read_report_file_interactive(0);
    gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as")));
    gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_exclude_unrecognized")));
    settle();
    EXPECT_TRUE(windows_titled("Tape Editor").empty());
}

TEST_F(Editor, PopupItemOffersToShowTheSelectedRowInTheAnalysis)
{
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_tape_editor"));
    GtkTreePath *path = gtk_tree_path_new_from_indices(1, -1);
    gtk_tree_view_set_cursor(view, path, nullptr, FALSE);
    gtk_tree_path_free(path);
    gboolean handled = FALSE;
    g_signal_emit_by_name(view, "popup_menu", &handled);
    EXPECT_TRUE(handled);
    GtkWidget *item = nullptr;
    GList *toplevels = gtk_window_list_toplevels();
    for (GList *t = toplevels; t; t = t->next)
        if (GtkWidget *found = find_named(GTK_WIDGET(t->data), "popupmenu_editor_show_in_graphical_tape_analysis_tool"))
            if (GTK_WIDGET_VISIBLE(found))
                item = found;
    g_list_free(toplevels);
    ASSERT_NE(item, nullptr);
    std::string question;
    answer_dialog("Confirmation request", [&](GtkWidget *dialog) {
        question = all_label_texts(dialog);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_NO);
    });
    gtk_menu_item_activate(GTK_MENU_ITEM(item));
    EXPECT_NE(question.find("Tape not parsed yet."), std::string::npos);
}

// However the list is sorted, the edited tape is written in tape order
// (sorted by coverage it used to get the header twice and grow).
TEST_F(Editor, SortedByCoverageTheSaveStillFollowsTheTape)
{
    gtk_tree_sortable_set_sort_column_id(GTK_TREE_SORTABLE(report_file_list_model()), REPORT_PULSES,
                                         GTK_SORT_DESCENDING);
    gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_exclude_unrecognized")));
    EXPECT_EQ(dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as"))); }),
              "Operation finished. Check file:\nedited_game's.tap");
    std::string expected = source.substr(0, 20) + bytes(20, 49) + bytes(80, 119);
    expected[16] = char(expected.size() - 20);
    EXPECT_EQ(read_file(folder + "/edited_game's.tap"), expected);
}

TEST_F(Editor, ACutOfMoreThanHalfTheTapeAsksFirst)
{
    const std::string before = sha256_of(tape);
    toggle(0);
    toggle(2);  // 30 + 40 of 100 bytes
    std::string question;
    answer_dialog("Tape Editor", [&](GtkWidget *dialog) {
        question = all_label_texts(dialog);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_NO);
    });
    gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as")));
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(question.find("The files you excluded hold 70 % of the tape's data: the edited tape keeps only about "
                            "30 % of it."),
              std::string::npos)
        << question;
    settle();
    EXPECT_TRUE(windows_titled("Tape Editor").empty()) << "No: nothing is saved, nothing more is said";
    EXPECT_FALSE(g_file_test((folder + "/edited_game's.tap").c_str(), G_FILE_TEST_EXISTS));

    answer_dialog("Tape Editor", [](GtkWidget *dialog) { gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_YES); });
    EXPECT_EQ(dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as"))); }),
              "Operation finished. Check file:\nedited_game's.tap");
    std::string expected = source.substr(0, 20) + bytes(50, 79);
    expected[16] = char(expected.size() - 20);
    EXPECT_EQ(read_file(folder + "/edited_game's.tap"), expected);
    EXPECT_EQ(sha256_of(tape), before);
}

TEST_F(Editor, AnEditedTapeThatCannotBeWrittenIsSaidAndNotLeft)
{
    if (!g_file_test("/dev/full", G_FILE_TEST_EXISTS))
        GTEST_SKIP() << "no /dev/full";
    ASSERT_EQ(symlink("/dev/full", (folder + "/edited_game's.tap").c_str()), 0);
    toggle(1);
    const std::string text =
        dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as"))); });
    EXPECT_NE(text.find("The edited tape could not be written"), std::string::npos) << text;
    EXPECT_FALSE(g_file_test((folder + "/edited_game's.tap").c_str(), G_FILE_TEST_IS_SYMLINK));
}

TEST_F(Editor, AReportThatDoesNotFitTheTapeIsRefused)
{
    write_file(tape, source.substr(0, 110));  // the tape changed since its test
    toggle(1);
    const std::string text =
        dialog_text_after([] { gtk_button_clicked(GTK_BUTTON(W("button_tape_editor_save_tape_as"))); });
    EXPECT_NE(text.find("The tape is 110 bytes long, but its report gives 120 bytes"), std::string::npos) << text;
    EXPECT_FALSE(g_file_test((folder + "/edited_game's.tap").c_str(), G_FILE_TEST_EXISTS));
}
