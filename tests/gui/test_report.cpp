// The report: plain text, the shared file list model, the file types, the
// test images, the recognition bar and the tape layout bar.
#include "harness.h"

#include "fake_console.h"
#include "gui/appstate.h"
#include "gui/report.h"
#include "gui/report_bar.h"
#include "gui/report_export.h"

#include <glib/gstdio.h>

#include <map>

namespace {

class Report : public GuiTest {
protected:
    std::string folder;
    void SetUp() override
    {
        GuiTest::SetUp();
        folder = tmp + "/console";
        g_mkdir(folder.c_str(), 0700);
        replace_owned_string(utf8_path_consolelocation, folder.c_str());
    }
    void load(const std::string &report, int batch = 0)
    {
        write_file(folder + (batch ? "/qmbatch.txt" : "/qmreport.txt"), report);
        report_read_report_file(batch);
        report_read_report_file_interactive(batch);
    }
    GtkTreeModel *model() { return GTK_TREE_MODEL(report_file_list_model()); }
    int rows() { return gtk_tree_model_iter_n_children(model(), nullptr); }
    template <class T>
    T cell(int row, int column)
    {
        GtkTreeIter iter;
        gtk_tree_model_iter_nth_child(model(), &iter, nullptr, row);
        T value{};
        gtk_tree_model_get(model(), &iter, column, &value, -1);
        return value;
    }
    std::string text(int row, int column)
    {
        gchar *value = cell<gchar *>(row, column);
        std::string result = value ? value : "<none>";
        g_free(value);
        return result;
    }
    std::string stock(const char *image)
    {
        gchar *id = nullptr;
        gtk_image_get_stock(GTK_IMAGE(W(image)), &id, nullptr);
        return id ? id : "";
    }
    std::string recognition()
    {
        const gchar *t = gtk_progress_bar_get_text(GTK_PROGRESS_BAR(W("progressbar_recognition")));
        return t ? t : "";
    }
    // Colour of the tape layout bar's picture at x.
    guint32 bar_pixel(int x)
    {
        GtkWidget *area = W("drawingarea_tape_contents");
        GdkPixbuf *picture = gdk_pixbuf_get_from_drawable(nullptr, report_bar_pixmap(), nullptr, x,
                                                          area->allocation.height / 2, 0, 0, 1, 1);
        const guchar *p = gdk_pixbuf_get_pixels(picture);
        const guint32 rgb = (p[0] << 16) | (p[1] << 8) | p[2];
        g_object_unref(picture);
        return rgb;
    }
    void show_interactive_page(int width)
    {
        gtk_window_resize(GTK_WINDOW(mainwindow), 900, 600);
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 0);
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
        GtkWidget *area = W("drawingarea_tape_contents");
        ASSERT_TRUE(wait_for_window_width(900));
        ASSERT_TRUE(wait_for("the layout bar on show", [&] { return GTK_WIDGET_MAPPED(area) && area->allocation.width > 100; }));
        settle();
        ASSERT_GT(area->allocation.width, width / 2);
    }
};

} // namespace

TEST_F(Report, PlainViewShowsTheWholeReport)
{
    load(sample_report("/tapes/game.tap"));
    EXPECT_EQ(text_view_text("textview_report"), sample_report("/tapes/game.tap"));
}

TEST_F(Report, MissingReportSaysSo)
{
    report_read_report_file(0);
    EXPECT_EQ(text_view_text("textview_report"), "Could not load the contents of the report");
    report_read_report_file_interactive(0);
    EXPECT_EQ(rows(), 0);
    EXPECT_FALSE(report_has_been_produced());
    EXPECT_EQ(recognition(), "N/A");
}

TEST_F(Report, RowsColumnsAndTotalsOfASampleReport)
{
    load(sample_report("/tapes/game.tap"));
    ASSERT_EQ(rows(), 4);
    EXPECT_TRUE(report_has_been_produced());
    EXPECT_EQ(report_get_total_size(), 1000);
    EXPECT_STREQ(report_path_last_report(), "/tapes/game.tap");
    EXPECT_EQ(cell<int>(0, REPORT_INDEX), 1);
    EXPECT_EQ(text(0, REPORT_TYPE), "PAUSE");
    EXPECT_EQ(cell<gint64>(0, REPORT_PULSES), 80);
    EXPECT_EQ(cell<int>(0, REPORT_COVERAGE), 8);
    EXPECT_DOUBLE_EQ(cell<double>(0, REPORT_START_FRACTION), 0.02);
    EXPECT_DOUBLE_EQ(cell<double>(0, REPORT_END_FRACTION), 0.099);
    EXPECT_EQ(text(1, REPORT_NAME), "GAME");
    EXPECT_EQ(text(1, REPORT_LOAD), "0801");
    EXPECT_EQ(text(1, REPORT_END_ADDRESS), "0810");
    EXPECT_EQ(text(1, REPORT_CRC32), "1234ABCD");
    EXPECT_EQ(text(1, REPORT_READ_ERRORS), "<none>");
    EXPECT_EQ(text(1, REPORT_CHECKBYTE), "OK");
    EXPECT_TRUE(cell<gboolean>(1, REPORT_FIRST_COPY));
    EXPECT_EQ(cell<gint64>(2, REPORT_START), 200);
    EXPECT_EQ(cell<gint64>(2, REPORT_INNER_START), 208);
    EXPECT_EQ(cell<gint64>(2, REPORT_INNER_END), 768);
    EXPECT_EQ(cell<gint64>(2, REPORT_END), 768);
    EXPECT_EQ(cell<int>(2, REPORT_COVERAGE), 57);
    EXPECT_EQ(text(2, REPORT_READ_ERRORS), "3");
    EXPECT_EQ(text(2, REPORT_CHECKBYTE), "FAIL");
    EXPECT_FALSE(cell<gboolean>(2, REPORT_FIRST_COPY));
    EXPECT_FALSE(cell<gboolean>(2, REPORT_SPLIT_MARK));
    EXPECT_FALSE(cell<gboolean>(2, REPORT_EXCLUDED));
    EXPECT_EQ(cell<gint64>(3, REPORT_PULSES), 255);
    EXPECT_EQ(recognition(), "74.900000%");
    EXPECT_DOUBLE_EQ(gtk_progress_bar_get_fraction(GTK_PROGRESS_BAR(W("progressbar_recognition"))), 0.749);
    EXPECT_EQ(stock("image_checkbyte_test"), "gtk-yes");
    EXPECT_EQ(stock("image_read_test"), "gtk-yes");
}

TEST_F(Report, FailedTestsShowNoImagesAndTypesAreCounted)
{
    load("TAP Name    : /t.tap\nTAP Size    : 120\nChecksum test     : FAIL\nRead test         : FAIL - 2\n"
         "File Type: PAUSE\nLocation: $0014 -> $0014 -> $0020 -> $0020\n"
         "File Type: PAUSE\nLocation: $0021 -> $0021 -> $0030 -> $0030\n"
         "File Type: UNRECOGNIZED\nLocation: $0031 -> $0031 -> $0077 -> $0077\n");
    EXPECT_EQ(stock("image_checkbyte_test"), "gtk-no");
    EXPECT_EQ(stock("image_read_test"), "gtk-no");
    GtkTreeModel *types = gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_file_types")));
    ASSERT_EQ(gtk_tree_model_iter_n_children(types, nullptr), 2);
    std::map<std::string, int> counts;
    GtkTreeIter iter;
    for (gboolean ok = gtk_tree_model_get_iter_first(types, &iter); ok; ok = gtk_tree_model_iter_next(types, &iter)) {
        gchar *type = nullptr;
        int count = 0;
        gtk_tree_model_get(types, &iter, 0, &type, 1, &count, -1);
        counts[type] = count;
        g_free(type);
    }
    EXPECT_EQ(counts["PAUSE"], 2);
    EXPECT_EQ(counts["UNRECOGNIZED"], 1);
}

TEST_F(Report, TapSizeOf20MeansNoReportForTheTools)
{
    load("TAP Name    : /t.tap\nTAP Size    : 20\nChecksum test     : PASS\nRead test         : PASS\n"
         "File Type: PAUSE\nLocation: $0014 -> $0014 -> $0020 -> $0020\n");
    ASSERT_EQ(rows(), 1);
    EXPECT_EQ(cell<gint64>(0, REPORT_PULSES), 0);
    EXPECT_EQ(cell<gint64>(0, REPORT_START), 0);
    EXPECT_FALSE(report_has_been_produced());
    EXPECT_EQ(recognition(), "N/A");
}

TEST_F(Report, BatchEmptiesTheInteractiveReportWithANote)
{
    load(sample_report("/tapes/game.tap"));
    ASSERT_EQ(rows(), 4);
    load(sample_report("/tapes/batch"), 1);
    EXPECT_EQ(rows(), 0);
    EXPECT_FALSE(report_has_been_produced());
    EXPECT_EQ(report_path_last_report(), nullptr);
    EXPECT_NE(log_text().find("NOTE: in batch mode the interactive report is not applicable\n"), std::string::npos);
    EXPECT_EQ(text_view_text("textview_report"), sample_report("/tapes/batch"));
}

TEST_F(Report, FileListColumnsTitlesSortingAndRenderers)
{
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_file_list"));
    struct Col { const char *title; int model; int sort; };
    const Col cols[] = {{" Index ", 0, 0}, {" Coverage ", 1, 8}, {" Offset ", 4, 4}, {" Pulses ", 8, 8},
                        {" Type descriptor ", 2, 2}, {" Load ", 11, -1}, {" End ", 12, -1},
                        {" CRC32 ", 13, 13}, {" Read err ", 14, 14}, {" Check? ", 15, 15},
                        {" File name ", 3, 3}};
    ASSERT_EQ(g_list_length(gtk_tree_view_get_columns(view)), 11u);
    for (int i = 0; i < 11; ++i) {
        GtkTreeViewColumn *column = gtk_tree_view_get_column(view, i);
        EXPECT_STREQ(gtk_tree_view_column_get_title(column), cols[i].title);
        EXPECT_EQ(gtk_tree_view_column_get_sort_column_id(column), cols[i].sort) << cols[i].title;
        GList *cells = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(column));
        EXPECT_EQ(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(cells->data), "column_index")), cols[i].model);
        if (i == 1) {
            EXPECT_TRUE(GTK_IS_CELL_RENDERER_PROGRESS(cells->data));
        }
        g_list_free(cells);
    }
    EXPECT_EQ(gtk_tree_selection_get_mode(gtk_tree_view_get_selection(view)), GTK_SELECTION_BROWSE);
    EXPECT_EQ(gtk_tree_view_get_model(view), model());
}

TEST(ReportSlices, GeometryWidensEverySlice)
{
    SliceGeometry slice = report_slice_geometry(0.5, 0.5, 200);
    EXPECT_EQ(slice.x, 99); // (200 - 1) * 0.5 truncated
    EXPECT_EQ(slice.width, 1); // round(0 + 0.5)
    slice = report_slice_geometry(0.0, 0.1, 200);
    EXPECT_EQ(slice.x, 0);
    EXPECT_EQ(slice.width, 21); // round(20 + 0.5)
    slice = report_slice_geometry(0.25, 1.0, 101);
    EXPECT_EQ(slice.x, 25);
    EXPECT_EQ(slice.width, 76); // round(75.75 + 0.5)
}

TEST_F(Report, BarPaintsWhiteThenGreenYellowRedAndTheSelectionBlue)
{
    show_interactive_page(600);
    const int width = W("drawingarea_tape_contents")->allocation.width;
    EXPECT_EQ(bar_pixel(width / 2), 0xFFFFFFu) << "white before any report";
    load(sample_report("/tapes/game.tap"));
    settle();
    auto at = [&](double f) { return int(f * (width - 1)); };
    auto named = [](const char *name) {
        GdkColor colour;
        gdk_color_parse(name, &colour);
        return guint32(((colour.red >> 8) << 16) | ((colour.green >> 8) << 8) | (colour.blue >> 8));
    };
    EXPECT_EQ(bar_pixel(at(0.05)), named("green")) << "recognized";
    EXPECT_EQ(bar_pixel(at(0.5)), named("yellow")) << "read errors and checkbyte FAIL";
    EXPECT_EQ(bar_pixel(at(0.9)), named("red")) << "unrecognized";
    // A click selects the row under the pointer, s <= f < e, and shows it blue.
    report_select_slice(at(0.15));
    settle();
    GtkTreeModel *m = nullptr;
    GtkTreeIter iter;
    ASSERT_TRUE(gtk_tree_selection_get_selected(
        gtk_tree_view_get_selection(GTK_TREE_VIEW(W("treeview_file_list"))), &m, &iter));
    int index = 0;
    gtk_tree_model_get(m, &iter, REPORT_INDEX, &index, -1);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(bar_pixel(at(0.15)), named("blue"));
    EXPECT_EQ(bar_pixel(at(0.9)), named("red"));
}

TEST_F(Report, SliceAtTheLastByteStartsAtTheLastPixel)
{
    const SliceGeometry slice = report_slice_geometry(1.0, 1.0, 321);
    EXPECT_EQ(slice.x, 320);
}

TEST_F(Report, ClickOnABoundarySelectsTheLaterFileAndBeyondTheEndKeepsTheSelection)
{
    show_interactive_page(600);
    // Two files meeting at f = 0.5: [0.0, 0.5) and [0.5, 0.75).
    load("TAP Name    : /t.tap\nTAP Size    : 220\nChecksum test     : PASS\nRead test         : PASS\n"
         "File Type: PAUSE\nLocation: $0000 -> $0000 -> $0064 -> $0064\n"
         "File Type: UNRECOGNIZED\nLocation: $0064 -> $0064 -> $0095 -> $0096\n");
    settle();
    const int width = W("drawingarea_tape_contents")->allocation.width;
    auto selected_index = [&] {
        GtkTreeModel *m = nullptr;
        GtkTreeIter iter;
        if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(GTK_TREE_VIEW(W("treeview_file_list"))), &m, &iter))
            return 0;
        int index = 0;
        gtk_tree_model_get(m, &iter, REPORT_INDEX, &index, -1);
        return index;
    };
    // f = (1 + x) / W = 0.5 exactly when x = W / 2 - 1 (W even).
    ASSERT_EQ(width % 2, 0) << "pick an even width for an exact boundary";
    report_select_slice(width / 2 - 1);
    EXPECT_EQ(selected_index(), 2);
    report_select_slice(width / 2 - 2);
    EXPECT_EQ(selected_index(), 1);
    report_select_slice(width - 1); // f = 1.0, beyond the last file's end (0.75)
    EXPECT_EQ(selected_index(), 1);
}

TEST_F(Report, SelectingAPauseDoesNotRepaintUnrecognizedSlicesRed)
{
    show_interactive_page(600);
    // A pause whose widened slice reaches into a tiny unrecognized stretch after it.
    load("TAP Name    : /t.tap\nTAP Size    : 1020\nChecksum test     : PASS\nRead test         : PASS\n"
         "File Type: PAUSE\nLocation: $0000 -> $0000 -> $01F3 -> $01F3\n"
         "File Type: UNRECOGNIZED\nLocation: $01F4 -> $01F4 -> $01F4 -> $01F4\n"
         "File Type: C64 ROM-TAPE DATA\nLocation: $01F5 -> $01F5 -> $03E7 -> $03E7\n");
    settle();
    const int width = W("drawingarea_tape_contents")->allocation.width;
    GdkColor blue;
    gdk_color_parse("blue", &blue);
    const guint32 expected_blue = ((blue.red >> 8) << 16) | ((blue.green >> 8) << 8) | (blue.blue >> 8);
    report_select_slice(1); // the pause
    settle();
    // The pause's slice ends at round(0.5 * W + 0.5) pixels: where the unrecognized slice starts.
    const SliceGeometry pause = report_slice_geometry(0.0, 0.5, width);
    const SliceGeometry unrecognized = report_slice_geometry(0.5, 0.501, width);
    ASSERT_GE(pause.x + pause.width - 1, unrecognized.x);
    EXPECT_EQ(bar_pixel(unrecognized.x), expected_blue) << "not repainted red after a pause";
}

TEST_F(Report, WithoutAReportLeftClicksAreIgnored)
{
    show_interactive_page(600);
    load("TAP Name    : /t.tap\nTAP Size    : 20\nChecksum test     : PASS\nRead test         : PASS\n"
         "File Type: PAUSE\nLocation: $0000 -> $0000 -> $0001 -> $0001\n");
    GdkEvent *event = gdk_event_new(GDK_BUTTON_PRESS);
    event->button.button = 1;
    event->button.x = 5;
    event->button.window = GDK_WINDOW(g_object_ref(W("drawingarea_tape_contents")->window));
    gboolean handled = FALSE;
    g_signal_emit_by_name(W("drawingarea_tape_contents"), "button_press_event", event, &handled);
    gdk_event_free(event);
    EXPECT_TRUE(handled);
    EXPECT_EQ(gtk_tree_selection_count_selected_rows(gtk_tree_view_get_selection(GTK_TREE_VIEW(W("treeview_file_list")))), 0);
}

TEST_F(Report, SortingTheListReSortsTheSharedModelForTheSplitView)
{
    load(sample_report("/tapes/game.tap"));
    EXPECT_EQ(gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_file_split"))), model());
    // Clicking " Pulses " sorts the store by pulses.
    gtk_tree_view_column_clicked(gtk_tree_view_get_column(GTK_TREE_VIEW(W("treeview_file_list")), 3));
    gint column = -1;
    GtkSortType order;
    ASSERT_TRUE(gtk_tree_sortable_get_sort_column_id(GTK_TREE_SORTABLE(model()), &column, &order));
    EXPECT_EQ(column, REPORT_PULSES);
    GtkTreeModel *split = gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_file_split")));
    GtkTreeIter iter;
    ASSERT_TRUE(gtk_tree_model_get_iter_first(split, &iter));
    gint64 pulses = 0;
    gtk_tree_model_get(split, &iter, REPORT_PULSES, &pulses, -1);
    EXPECT_EQ(pulses, order == GTK_SORT_ASCENDING ? 80 : 569);
}

TEST_F(Report, SummaryButtonDoesNothingWithoutAReport)
{
    gtk_button_clicked(GTK_BUTTON(W("button_report_save_summary")));
    settle();
    EXPECT_TRUE(windows_titled("Save report to HTML file").empty());
}

TEST_F(Report, SummaryIsSavedWhereTheDialogSays)
{
    load(sample_report("/tapes/game.tap"));
    const std::string target = tmp + "/game.tap_report.html";
    answer_dialog("Save report to HTML file", [&](GtkWidget *dialog) {
        EXPECT_EQ(chooser_current_name(dialog), "game.tap_report.html");
        choose_file_and_accept(dialog, target);
    });
    gtk_button_clicked(GTK_BUTTON(W("button_report_save_summary")));
    const std::string html = read_file(target);
    EXPECT_EQ(html.rfind("<!DOCTYPE html>\n\n<head>\n\n<title>Quillmar Front End Summary Report for game.tap</title>\n", 0), 0u);
    EXPECT_NE(html.find("\t\t\t\t\t<tr class=\"warning\">\n"), std::string::npos);
    EXPECT_NE(html.find("\t\t\t\t\t<tr class=\"danger\">\n"), std::string::npos);
    EXPECT_EQ(html.substr(html.size() - 8), "</html>\n");
}

TEST_F(Report, SummaryThatCannotBeWrittenIsReported)
{
    load(sample_report("/tapes/game.tap"));
    answer_dialog("Save report to HTML file", [&](GtkWidget *dialog) {
        choose_file_and_accept(dialog, "/proc/game.html");
    });
    gtk_button_clicked(GTK_BUTTON(W("button_report_save_summary")));
    EXPECT_EQ(statusbar_text(), " Could not save report. Check write and sharing permissions!");
    EXPECT_NE(log_text().find("Could not save report to HTML file\n"), std::string::npos);
}

namespace {

std::vector<std::string> popup_item_names(GtkWidget *view)
{
    GtkWidget *menu = gtk_menu_new();
    g_object_ref_sink(menu);
    g_signal_emit_by_name(view, "populate-popup", menu);
    std::vector<std::string> names;
    GList *items = gtk_container_get_children(GTK_CONTAINER(menu));
    for (GList *i = items; i; i = i->next)
        names.push_back(gtk_widget_get_name(GTK_WIDGET(i->data)));
    g_list_free(items);
    g_object_unref(menu);
    return names;
}

} // namespace

TEST_F(Report, SaveACopyOnlyForATestedTapesReport)
{
    GtkWidget *view = W("textview_report");
    EXPECT_TRUE(popup_item_names(view).empty()) << "release notes on show";
    replace_owned_string(utf8_path_lasttestedTAP, "/tapes/game.tap");
    release_notes_on = 0;
    const std::vector<std::string> names = popup_item_names(view);
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], "menuitem_report_save_a_copy");
    release_notes_on = 1;
    EXPECT_TRUE(popup_item_names(view).empty());
}

TEST_F(Report, ListPopupOffersTheAnalysisWhichAsksBeforeParsing)
{
    load(sample_report("/tapes/game.tap"));
    replace_owned_string(utf8_path_lasttestedTAP, "/tapes/game.tap");
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_file_list"));
    GtkTreePath *path = gtk_tree_path_new_from_indices(1, -1);
    gtk_tree_view_set_cursor(view, path, nullptr, FALSE);
    gtk_tree_path_free(path);
    gboolean handled = FALSE;
    g_signal_emit_by_name(view, "popup_menu", &handled);
    GtkWidget *item = nullptr;
    GList *toplevels = gtk_window_list_toplevels();
    for (GList *t = toplevels; t; t = t->next)
        if (GtkWidget *found = find_named(GTK_WIDGET(t->data), "popupmenu_report_show_in_graphical_tape_analysis_tool"))
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
    EXPECT_NE(question.find("Tape not parsed yet. Would you like to parse it now?"), std::string::npos);
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_main"))), 0) << "No leaves the page";
}
