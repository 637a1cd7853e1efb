// The Scanners page and the scanner switches of the command line.
#include "harness.h"

#include "core/consolecmd.h"
#include "gui/appstate.h"
#include "gui/console.h"
#include "gui/scanners.h"

#include <glib/gstdio.h>

namespace {

class Scanners : public GuiTest {
protected:
    std::string scanners_text =
        "5:turbo:Turbo Tape\n"
        "12:big:Too frequent\n"
        "-3:neg:Negative\n"
        "7:c64turbo:Looks built in\n"
        "2:twofields\n"
        "4:four:Four\n"
        "9:nine:Nine\n";
    void before_startup() override
    {
        // Start-up reads the list from the working folder.
        write_file(work_dir + "/scanners.txt", scanners_text);
    }
    GtkTreeModel *model() { return gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_scanners"))); }
    std::vector<ScannerRow> rows() { return scanners_read_rows(); }
    std::string included()
    {
        std::string out;
        for (const ScannerRow &row : rows())
            out += row.included ? '1' : '0';
        return out;
    }
    void set_threshold(double value)
    {
        gtk_range_set_value(GTK_RANGE(W("vscale_frequency_threshold")), value);
    }
    double threshold() { return gtk_range_get_value(GTK_RANGE(W("vscale_frequency_threshold"))); }
    std::string switches()
    {
        GString *command = g_string_new("");
        scanners_append_switches(command);
        std::string result = command->str;
        g_string_free(command, TRUE);
        return result;
    }
    void toggle_row(int row)
    {
        GList *renderers = gtk_cell_layout_get_cells(
            GTK_CELL_LAYOUT(gtk_tree_view_get_column(GTK_TREE_VIEW(W("treeview_scanners")), 0)));
        gchar *path = g_strdup_printf("%d", row);
        g_signal_emit_by_name(renderers->data, "toggled", path);
        g_free(path);
        g_list_free(renderers);
    }
    void edit_row(int column, int row, const char *text)
    {
        GList *renderers = gtk_cell_layout_get_cells(
            GTK_CELL_LAYOUT(gtk_tree_view_get_column(GTK_TREE_VIEW(W("treeview_scanners")), column)));
        gchar *path = g_strdup_printf("%d", row);
        g_signal_emit_by_name(renderers->data, "edited", path, text);
        g_free(path);
        g_list_free(renderers);
    }
};

} // namespace

TEST_F(Scanners, StartUpLoadsTheWorkingFoldersListAfterTheBuiltInRow)
{
    const std::vector<ScannerRow> r = rows();
    ASSERT_EQ(r.size(), 6u);
    EXPECT_EQ(r[0].id, "c64");
    EXPECT_EQ(r[0].name, "CBM ROM loader");
    EXPECT_EQ(r[0].frequency, 10);
    EXPECT_EQ(r[1].id, "turbo");
    EXPECT_EQ(r[2].frequency, 9);  // 12 clamped
    EXPECT_EQ(r[3].frequency, 0);  // -3 clamped
    EXPECT_EQ(r[4].id, "four");
    EXPECT_EQ(included(), "111111");
}

TEST_F(Scanners, ViewColumnsAndPageWidgets)
{
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_scanners"));
    const char *titles[] = {" Include ", " Freq ", " Loader ID ", " Loader Name "};
    for (int i = 0; i < 4; ++i)
        EXPECT_STREQ(gtk_tree_view_column_get_title(gtk_tree_view_get_column(view, i)), titles[i]);
    EXPECT_EQ(gtk_tree_view_column_get_sort_column_id(gtk_tree_view_get_column(view, 1)), SCANNER_FREQUENCY);
    EXPECT_EQ(gtk_tree_view_column_get_sort_column_id(gtk_tree_view_get_column(view, 2)), -1);
    EXPECT_EQ(gtk_tree_view_column_get_sort_column_id(gtk_tree_view_get_column(view, 3)), SCANNER_NAME);
    GtkAdjustment *adj = gtk_range_get_adjustment(GTK_RANGE(W("vscale_frequency_threshold")));
    EXPECT_EQ(adj->lower, 0.0);
    EXPECT_EQ(adj->upper, 10.0);
    EXPECT_EQ(adj->page_increment, 2.0);
    EXPECT_TRUE(gtk_range_get_inverted(GTK_RANGE(W("vscale_frequency_threshold"))));
    EXPECT_EQ(threshold(), 0.0);
}

TEST_F(Scanners, ThresholdFourIncludesFrequenciesFourToNine)
{
    set_threshold(4);
    // c64(10) turbo(5) big(9) neg(0) four(4) nine(9)
    EXPECT_EQ(included(), "111011");
    set_threshold(10);
    EXPECT_EQ(included(), "100000") << "the built-in row stays included";
}

TEST_F(Scanners, SelectNoneTwiceMovesTheSliderThenClearsExplicitly)
{
    gtk_button_clicked(GTK_BUTTON(W("button_scanners_select_none")));
    EXPECT_EQ(threshold(), 10.0);
    EXPECT_EQ(included(), "100000");
    toggle_row(1);
    EXPECT_EQ(included(), "110000");
    gtk_button_clicked(GTK_BUTTON(W("button_scanners_select_none")));
    EXPECT_EQ(threshold(), 10.0);
    EXPECT_EQ(included(), "100000");
}

TEST_F(Scanners, SelectAllMovesTheSliderToZeroOrIncludesEveryRow)
{
    set_threshold(6);
    gtk_button_clicked(GTK_BUTTON(W("button_scanners_select_all")));
    EXPECT_EQ(threshold(), 0.0);
    EXPECT_EQ(included(), "111111");
    toggle_row(2);
    gtk_button_clicked(GTK_BUTTON(W("button_scanners_select_all")));
    EXPECT_EQ(included(), "111111");
}

TEST_F(Scanners, BuiltInRowCannotBeToggledOrEdited)
{
    toggle_row(0);
    edit_row(1, 0, "3");
    edit_row(2, 0, "other");
    const ScannerRow first = rows()[0];
    EXPECT_TRUE(first.included);
    EXPECT_EQ(first.frequency, 10);
    EXPECT_EQ(first.id, "c64");
}

TEST_F(Scanners, EditingAFrequencyBelowTheThresholdExcludesTheRow)
{
    set_threshold(8);
    edit_row(1, 5, "7"); // "nine"
    EXPECT_EQ(rows()[5].frequency, 7);
    EXPECT_FALSE(rows()[5].included);
    edit_row(1, 5, "12");
    EXPECT_EQ(rows()[5].frequency, 9);
    EXPECT_TRUE(rows()[5].included);
    edit_row(1, 5, "not a number");
    EXPECT_EQ(rows()[5].frequency, 0);
    edit_row(2, 5, "newid");
    edit_row(3, 5, "New name");
    EXPECT_EQ(rows()[5].id, "newid");
    EXPECT_EQ(rows()[5].name, "New name");
}

TEST_F(Scanners, ExcludeAllMakesTheListInsensitiveAndWritesOnlyDoc64)
{
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_excludeall")), TRUE);
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("treeview_scanners")));
    EXPECT_EQ(switches(), "-doc64 ");
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_excludeall")), FALSE);
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("treeview_scanners")));
}

TEST_F(Scanners, SwitchesForEveryCountOfActiveRows)
{
    EXPECT_EQ(switches(), "") << "all active: nothing";
    toggle_row(2);
    EXPECT_EQ(switches(), "-nobig ");
    gtk_button_clicked(GTK_BUTTON(W("button_scanners_select_none")));
    toggle_row(4);
    EXPECT_EQ(switches(), "-dofour ") << "exactly two active: the one besides CBM ROM";
    toggle_row(4);
    EXPECT_EQ(switches(), "-noturbo -nobig -noneg -nofour -nonine ") << "one active";
    // The walkers and the core builder agree on the same rows.
    EXPECT_EQ(switches(), scanner_switches(false, rows()));
}

TEST_F(Scanners, ManuallyAddedRowIsEditedAndIncludedOnlyAtThresholdZero)
{
    scanners_manually_add_a_scanner();
    ScannerRow added = rows().back();
    EXPECT_EQ(added.id, "loaderid");
    EXPECT_EQ(added.name, "Description");
    EXPECT_EQ(added.frequency, 0);
    EXPECT_TRUE(added.included);
    GtkTreePath *path = nullptr;
    GtkTreeViewColumn *column = nullptr;
    gtk_tree_view_get_cursor(GTK_TREE_VIEW(W("treeview_scanners")), &path, &column);
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(gtk_tree_path_get_indices(path)[0], 6);
    EXPECT_STREQ(gtk_tree_view_column_get_title(column), " Loader ID ");
    gtk_tree_path_free(path);
    set_threshold(3);
    scanners_manually_add_a_scanner();
    EXPECT_FALSE(rows().back().included);
}

TEST_F(Scanners, SavingWritesTheWorkingFolderFileWithTheBuiltInRowFirst)
{
    edit_row(3, 1, "");
    scanners_save_current_list();
    EXPECT_EQ(statusbar_text(), " The list of known scanners was saved");
    EXPECT_EQ(read_file(work_dir + "/scanners.txt"),
              "10:c64:CBM ROM loader\n5:turbo:<Missing description>\n9:big:Too frequent\n"
              "0:neg:Negative\n4:four:Four\n9:nine:Nine\n");
}

TEST_F(Scanners, SavingFailureIsShownInTheStatusBar)
{
    g_remove((work_dir + "/scanners.txt").c_str());
    g_mkdir((work_dir + "/scanners.txt").c_str(), 0700);
    scanners_save_current_list();
    EXPECT_EQ(statusbar_text(), " Could not save the list of known scanners. Check write and sharing permissions!");
}

TEST_F(Scanners, ChangingTheConsoleLocationReloadsTheListFromThere)
{
    const std::string other = tmp + "/other console";
    g_mkdir(other.c_str(), 0700);
    write_file(other + "/scanners.txt", "3:three:Three\n");
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(W("filechooserbutton_quillmar_location")), other.c_str());
    ASSERT_TRUE(wait_for("the scanner list to show two rows", [&] { return rows().size() == 2; }));
    EXPECT_EQ(rows()[1].id, "three");
    EXPECT_EQ(std::string(utf8_path_consolelocation), other);
    EXPECT_EQ(statusbar_text(), " The list of known scanners was repopulated");
    EXPECT_EQ(gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_scanners"))), model());
}

TEST_F(Scanners, MissingListLeavesOnlyTheBuiltInRow)
{
    const std::string empty = tmp + "/empty console";
    g_mkdir(empty.c_str(), 0700);
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(W("filechooserbutton_quillmar_location")), empty.c_str());
    ASSERT_TRUE(wait_for("the scanner list to show one row", [&] { return rows().size() == 1; }));
    EXPECT_EQ(rows()[0].id, "c64");
}

TEST_F(Scanners, RightClickOpensThePopupWithItsTwoItems)
{
    GdkEvent *event = gdk_event_new(GDK_BUTTON_PRESS);
    event->button.button = 3;
    event->button.window = GDK_WINDOW(g_object_ref(W("treeview_scanners")->window));
    gboolean handled = FALSE;
    g_signal_emit_by_name(W("treeview_scanners"), "button_press_event", event, &handled);
    gdk_event_free(event);
    EXPECT_TRUE(handled);
    GtkWidget *menu = nullptr;
    GList *toplevels = gtk_window_list_toplevels();
    for (GList *t = toplevels; t; t = t->next)
        if (GtkWidget *found = find_named(GTK_WIDGET(t->data), "popupmenuitem_manually_add_a_scanner"))
            menu = found;
    g_list_free(toplevels);
    ASSERT_NE(menu, nullptr);
    gtk_menu_item_activate(GTK_MENU_ITEM(menu));
    EXPECT_EQ(rows().back().id, "loaderid");
}
