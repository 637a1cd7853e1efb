// The Tape Split page on the shared file list model.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/report.h"
#include "gui/split.h"

#include <glib/gstdio.h>

namespace {

class Split : public GuiTest {
protected:
    std::string folder, tape, source;
    void SetUp() override
    {
        GuiTest::SetUp();
        folder = tmp + "/split \xC3\xA5";
        g_mkdir_with_parents(folder.c_str(), 0700);
        source = std::string("C64-TAPE-RAW\x01\x00\x00\x00\x50\x00\x00\x00", 20);
        for (int i = 0; i < 80; ++i)
            source += char(i);
        tape = folder + "/two files.tap";
        write_file(tape, source);
        replace_owned_string(utf8_path_consolelocation, folder.c_str());
        replace_owned_string(utf8_path_lasttestedTAP, tape.c_str());
        auto entry = [](const char *type, int start, int end, const char *name) {
            gchar *text = g_strdup_printf("File Type: %s\nLocation: $%04X -> $%04X -> $%04X -> $%04X\nFile Name: %s\n",
                                          type, start, start, end, end, name);
            std::string result = text;
            g_free(text);
            return result;
        };
        write_file(folder + "/qmreport.txt",
                   "TAP Name    : " + tape + "\nTAP Size    : 100\nChecksum test     : PASS\nRead test         : PASS\n" +
                       entry("C64 ROM-TAPE HEADER", 20, 39, "GAME") + entry("C64 ROM-TAPE HEADER", 40, 49, "GAME") +
                       entry("C64 ROM-TAPE DATA", 50, 59, "") + entry("C64 ROM-TAPE HEADER", 60, 69, "A/B:C") +
                       entry("C64 ROM-TAPE DATA", 70, 99, ""));
        report_read_report_file_interactive(0);
    }
    std::vector<bool> marks()
    {
        std::vector<bool> out;
        for (const ReportEntry &e : report_model_entries())
            out.push_back(e.split_mark);
        return out;
    }
    std::string dialog(const char *title) { return take_friendly_dialog(title); }
};

} // namespace

TEST_F(Split, AnalysisMarksTheSecondFileLogsIdxAndSaysSo)
{
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_analyze")));
    EXPECT_EQ(marks(), (std::vector<bool>{false, false, false, true, false}));
    EXPECT_NE(log_text().find("Split offsets as IDX entries:\n0x14\t\tGAME\n0x3C\t\tA/B:C\n"), std::string::npos)
        << log_text();
    EXPECT_EQ(dialog("Analysis completed").rfind("The automatic analysis has completed\n", 0), 0u);
    GtkTreeViewColumn *column = gtk_tree_view_get_column(GTK_TREE_VIEW(W("treeview_file_split")), 3);
    EXPECT_STREQ(gtk_tree_view_column_get_title(column), " Cut before ");
}

TEST_F(Split, SplitWritesNamedPiecesAndLeavesTheSourceAlone)
{
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_analyze")));
    dialog("Analysis completed");
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_split")));
    EXPECT_EQ(dialog("Split tape").rfind("The split process has completed.\n", 0), 0u);
    std::string first = source.substr(0, 16) + std::string("\x28\x00\x00\x00", 4) + source.substr(20, 40);
    std::string second = source.substr(0, 16) + std::string("\x28\x00\x00\x00", 4) + source.substr(60, 40);
    EXPECT_EQ(read_file(folder + "/splitted-0000-(GAME).tap"), first);
    EXPECT_EQ(read_file(folder + "/splitted-0001-(A_B_C).tap"), second);
    EXPECT_EQ(read_file(tape), source);
    EXPECT_NE(log_text().find("Results of the split:\nFilename: GAME - Start: 20 - End: 59 - Block len: 40\n"),
              std::string::npos)
        << log_text();
}

TEST_F(Split, ToggleAndClearAllAndNoPointSet)
{
    GtkTreeViewColumn *column = gtk_tree_view_get_column(GTK_TREE_VIEW(W("treeview_file_split")), 3);
    GList *cells = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(column));
    g_signal_emit_by_name(cells->data, "toggled", "2");
    g_list_free(cells);
    EXPECT_EQ(marks(), (std::vector<bool>{false, false, true, false, false}));
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_clear_all")));
    EXPECT_EQ(marks(), (std::vector<bool>(5, false)));
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_split")));
    EXPECT_EQ(dialog("Split tape"), "No split point set.");
}

TEST_F(Split, DumpFilesAreRefused)
{
    replace_owned_string(utf8_path_lasttestedTAP, (folder + "/x.DMP").c_str());
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_analyze")));
    EXPECT_EQ(dialog("Analyze tape"), "You can only analyze and split TAP files.");
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_split")));
    EXPECT_EQ(dialog("Split tape"), "You can only split TAP files.");
}

TEST_F(Split, PopupItemOffersToShowTheSelectedRowInTheAnalysis)
{
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_file_split"));
    GtkTreePath *path = gtk_tree_path_new_from_indices(1, -1);
    gtk_tree_view_set_cursor(view, path, nullptr, FALSE);
    gtk_tree_path_free(path);
    gboolean handled = FALSE;
    g_signal_emit_by_name(view, "popup_menu", &handled);
    EXPECT_TRUE(handled);
    GtkWidget *item = nullptr;
    GList *toplevels = gtk_window_list_toplevels();
    for (GList *t = toplevels; t; t = t->next)
        if (GtkWidget *found = find_named(GTK_WIDGET(t->data), "popupmenu_split_show_in_graphical_tape_analysis_tool"))
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

// Sorted by pulses, the analysis and the split still follow the tape.
TEST_F(Split, SortedByPulsesTheMarksAndPiecesFollowTheTape)
{
    gtk_tree_sortable_set_sort_column_id(GTK_TREE_SORTABLE(report_file_list_model()), REPORT_PULSES,
                                         GTK_SORT_DESCENDING);
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_analyze")));
    dialog("Analysis completed");
    std::vector<int> marked;
    for (const ReportEntry &e : report_model_entries())
        if (e.split_mark)
            marked.push_back(e.index);
    EXPECT_EQ(marked, std::vector<int>({4}));
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_split")));
    EXPECT_EQ(dialog("Split tape").rfind("The split process has completed.\n", 0), 0u);
    EXPECT_EQ(read_file(folder + "/splitted-0000-(GAME).tap"),
              source.substr(0, 16) + std::string("\x28\x00\x00\x00", 4) + source.substr(20, 40));
    EXPECT_EQ(read_file(folder + "/splitted-0001-(A_B_C).tap"),
              source.substr(0, 16) + std::string("\x28\x00\x00\x00", 4) + source.substr(60, 40));
}

// A piece that cannot be written is said, never skipped in silence.
TEST_F(Split, APieceThatCannotBeWrittenIsSaid)
{
    g_mkdir((folder + "/splitted-0001-(A_B_C).tap").c_str(), 0700);
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_analyze")));
    dialog("Analysis completed");
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_split")));
    const std::string text = dialog("Split tape");
    EXPECT_EQ(text.rfind("The split did not complete: these pieces could not be written.", 0), 0u) << text;
    EXPECT_NE(text.find("Could not create " + folder + "/splitted-0001-(A_B_C).tap"), std::string::npos) << text;
    EXPECT_NE(log_text().find("Not written: splitted-0001-(A_B_C).tap"), std::string::npos) << log_text();
    EXPECT_TRUE(g_file_test((folder + "/splitted-0000-(GAME).tap").c_str(), G_FILE_TEST_IS_REGULAR));
}

TEST_F(Split, SaveIdxFileWritesAnIndexBesideTheTapeAndSaysSo)
{
    // The fixture's report: GAME's header twice (the KERNAL's two copies,
    // one program), then A/B:C.
    const std::string hash = sha256_of(tape);
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_save_idx")));
    const std::string idx = folder + "/two files.idx";
    EXPECT_EQ(dialog("IDX file"), "Operation finished. Check file:\n" + idx);
    EXPECT_EQ(read_file(idx), "0x14\t\tGAME\n0x3C\t\tA/B:C\n");
    EXPECT_NE(log_text().find("Index written to " + idx + ":\n0x14\t\tGAME\n"), std::string::npos) << log_text();
    EXPECT_EQ(sha256_of(tape), hash);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 4);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_tools")), 1);
    settle();
    save_screenshot(mainwindow, "split_with_idx_button");
}

TEST_F(Split, SaveIdxFileRefusesAReportOfAnotherTape)
{
    write_file(tape, source + "grown since the test");
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_save_idx")));
    EXPECT_NE(dialog("IDX file").find("bytes"), std::string::npos);
    EXPECT_FALSE(g_file_test((folder + "/two files.idx").c_str(), G_FILE_TEST_EXISTS));
}
