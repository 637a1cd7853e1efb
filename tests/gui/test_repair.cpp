// The CBM File Repair page: analysis, region navigation, ticks, the fix and
// its dialogs, and the row list's pop-up.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/repair.h"
#include "gui/report.h"

#include <glib/gstdio.h>
#include <unistd.h>

namespace {

struct Row {
    const char *type;
    int start, inner_start, inner_end, end;
    const char *checkbyte; // "PASS", "FAIL" or null for rows without one
    bool first;
    const char *ea;
};

// A healthy header FIRST with a damaged REPEAT and 25 pulses of debris after
// it; a damaged data FIRST, 20 pulses of debris (passed over), 21 more
// (taken in), then its healthy REPEAT.
const Row ROWS[] = {
    {"C64 ROM-TAPE HEADER", 20, 30, 60, 69, "PASS", true, "0A00"},
    {"PAUSE", 70, 70, 79, 79, nullptr, false, nullptr},
    {"C64 ROM-TAPE HEADER", 80, 90, 120, 129, "FAIL", false, "0A00"},
    {"UNRECOGNIZED", 130, 130, 154, 154, nullptr, false, nullptr},
    {"PAUSE", 155, 155, 164, 164, nullptr, false, nullptr},
    {"C64 ROM-TAPE DATA", 165, 175, 250, 259, "FAIL", true, "0A00"},
    {"UNRECOGNIZED", 260, 260, 279, 279, nullptr, false, nullptr},
    {"UNRECOGNIZED", 280, 280, 300, 300, nullptr, false, nullptr},
    {"C64 ROM-TAPE DATA", 301, 311, 386, 395, "PASS", false, "0A00"},
    {"PAUSE", 396, 396, 419, 419, nullptr, false, nullptr},
};

std::string report_for(const std::string &tape, bool damaged)
{
    std::string text = "TAP Name    : " + tape + "\nTAP Size    : 420 bytes\nChecksum test     : " +
                       (damaged ? "FAIL" : "PASS") + "\nRead test         : PASS\n\n";
    for (const Row &r : ROWS) {
        gchar *location = g_strdup_printf("Location: $%04X -> $%04X -> $%04X -> $%04X\n", r.start, r.inner_start,
                                          r.inner_end, r.end);
        text += std::string("File Type: ") + r.type + "\n" + location;
        g_free(location);
        if (r.checkbyte) {
            const char *verdict = damaged ? r.checkbyte : "PASS";
            text += std::string("LA: $0801  EA: $") + r.ea + "  SZ: 511\nFile Name: GAME\n" +
                    "Checkbyte Actual/Expected: $12/$12, " + verdict + "\nRead Errors: 0\nCRC32: 0BADF00D\n" +
                    " - File ID : " + (r.first ? "FIRST" : "REPEAT") + "\n";
        }
        text += "\n";
    }
    return text;
}

class Repair : public GuiTest {
protected:
    std::string folder, tape, source;
    void SetUp() override
    {
        GuiTest::SetUp();
        folder = tmp + "/repair 'Bänder'";
        g_mkdir_with_parents(folder.c_str(), 0700);
        // A wrong size field, and data bytes that tell their offset.
        source = std::string("C64-TAPE-RAW\x01\x00\x00\x00\xEF\xBE\xAD\xDE", 20);
        for (int i = 20; i < 420; ++i)
            source += char(i * 7 + 3);
        tape = folder + "/my game.tap";
        write_file(tape, source);
        replace_owned_string(utf8_path_consolelocation, folder.c_str());
        replace_owned_string(utf8_path_lasttestedTAP, tape.c_str());
        load_report(true);
    }
    void load_report(bool damaged)
    {
        write_file(folder + "/qmreport.txt", report_for(tape, damaged));
        report_read_report_file_interactive(0);
    }
    std::string label(const char *name) { return gtk_label_get_text(GTK_LABEL(W(name))); }
    std::vector<std::string> page_labels()
    {
        std::vector<std::string> out;
        for (const char *name :
             {"label_cbm_file_repair_faulty_current", "label_cbm_file_repair_faulty_total",
              "label_cbm_file_repair_faulty_size_current", "label_cbm_file_repair_healthy_index",
              "label_cbm_file_repair_healthy_pulses", "label_cbm_file_repair_healthy_data_pulses",
              "label_cbm_file_repair_healthy_id", "label_cbm_file_repair_healthy_type"})
            out.push_back(label(name));
        return out;
    }
    GtkTreeView *row_list() { return GTK_TREE_VIEW(W("treeview_cbm_file_repair_faulty_files")); }
    // Index, pulses, file id and type of every row shown, and its tick.
    std::vector<std::string> shown_rows()
    {
        std::vector<std::string> out;
        GtkTreeModel *model = gtk_tree_view_get_model(row_list());
        GtkTreeIter iter;
        for (gboolean ok = model && gtk_tree_model_get_iter_first(model, &iter); ok;
             ok = gtk_tree_model_iter_next(model, &iter)) {
            gboolean tick = FALSE;
            gint index = 0;
            gint64 pulses = 0, inner = 0, end = 0, data = 0, start = 0;
            gchar *id = nullptr, *type = nullptr;
            gtk_tree_model_get(model, &iter, REPAIR_INCLUDE, &tick, REPAIR_INDEX, &index, REPAIR_PULSES, &pulses,
                               REPAIR_FILE_ID, &id, REPAIR_TYPE, &type, REPAIR_INNER_START, &inner, REPAIR_END,
                               &end, REPAIR_DATA_PULSES, &data, REPAIR_START, &start, -1);
            gchar *row = g_strdup_printf("%c %d %" G_GINT64_FORMAT " '%s' %s %" G_GINT64_FORMAT " %" G_GINT64_FORMAT
                                         " %" G_GINT64_FORMAT " %" G_GINT64_FORMAT,
                                         tick ? 'x' : '-', index, pulses, id, type, inner, end, data, start);
            out.push_back(row);
            g_free(row);
            g_free(id);
            g_free(type);
        }
        return out;
    }
    std::vector<bool> ticks()
    {
        std::vector<bool> out;
        for (const std::string &row : shown_rows())
            out.push_back(row[0] == 'x');
        return out;
    }
    void click_tick(int row)
    {
        GtkTreeViewColumn *column = gtk_tree_view_get_column(row_list(), 0);
        GList *renderers = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(column));
        gchar *path = g_strdup_printf("%d", row);
        g_signal_emit_by_name(renderers->data, "toggled", path);
        g_free(path);
        g_list_free(renderers);
    }
    void click(const char *name) { gtk_button_clicked(GTK_BUTTON(W(name))); }
    void set_fix_region(bool on)
    {
        gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_cbm_file_repair_fix_region")), on);
    }
    std::string dialog() { return take_friendly_dialog("CBM File Repair"); }
    // Selects a row and asks for its pop-up: the visible menu item, or null.
    GtkWidget *popup_item_for_row(int row)
    {
        GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
        gtk_tree_view_set_cursor(row_list(), path, nullptr, FALSE);
        gtk_tree_path_free(path);
        gboolean handled = FALSE;
        g_signal_emit_by_name(row_list(), "popup_menu", &handled);
        GtkWidget *item = nullptr;
        GList *toplevels = gtk_window_list_toplevels();
        for (GList *t = toplevels; t; t = t->next)
            if (GtkWidget *found = find_named(GTK_WIDGET(t->data),
                                              "popupmenu_cbm_file_repair_show_in_graphical_tape_analysis_tool"))
                if (GTK_WIDGET_VISIBLE(found))
                    item = found;
        g_list_free(toplevels);
        return item;
    }
    std::string repaired() { return read_file(folder + "/repaired_my game.tap"); }
    std::string span(int from, int length) { return source.substr(size_t(from), size_t(length)); }
    static std::string with_size(std::string tape_bytes)
    {
        const uint32_t size = uint32_t(tape_bytes.size() - 20);
        for (int i = 0; i < 4; ++i)
            tape_bytes[size_t(16 + i)] = char((size >> (8 * i)) & 0xFF);
        return tape_bytes;
    }
};

const char *const ANALYSIS_TEXT = "Index: 3 - C64 ROM-TAPE HEADER - File ID: REPEAT\n"
                                  " - can be fixed using its FIRST copy at index 1\n"
                                  "Index: 6 - C64 ROM-TAPE DATA - File ID: FIRST\n"
                                  " - can be fixed using its REPEAT copy at index 9\n"
                                  "Faulty CBM region count: 2 - Can be fixed: 2\n";

} // namespace

TEST_F(Repair, StartsEmptyWithTheListColumnsAndOnlyTheOverwriteMethod)
{
    EXPECT_EQ(page_labels(), std::vector<std::string>(8, "-"));
    EXPECT_EQ(gtk_tree_view_get_model(row_list()), nullptr);
    const char *titles[] = {"Include", "Index", "Pulses", "File ID", "Type descriptor"};
    ASSERT_EQ(g_list_length(gtk_tree_view_get_columns(row_list())), 5u);
    for (int i = 0; i < 5; ++i)
        EXPECT_STREQ(gtk_tree_view_column_get_title(gtk_tree_view_get_column(row_list(), i)), titles[i]);
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("radiobutton_cbm_file_repair_radio_reconstruct")));
    EXPECT_TRUE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W("radiobutton_cbm_file_repair_radio_overwrite"))));
    EXPECT_EQ(std::string(gtk_expander_get_label(GTK_EXPANDER(W("expander_cbm_file_repair_region_breakdown")))),
              "Region breakdown (autopopulated - only review if you know what you're doing)");
}

TEST_F(Repair, AHealthyTapeHasNothingToFix)
{
    load_report(false);
    click("button_cbm_file_repair_analyze");
    EXPECT_EQ(text_view_text("textview_cbm_file_repair"), "Faulty CBM region count: 0 - Hurray!\n");
    EXPECT_EQ(page_labels(), std::vector<std::string>(8, "-"));
    click("button_cbm_file_repair_next_region");
    EXPECT_EQ(label("label_cbm_file_repair_faulty_current"), "-");
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(dialog(), "No file to repair.");
}

TEST_F(Repair, AnalysisShowsTheFirstRegionAndItsHealthyTwin)
{
    click("button_cbm_file_repair_analyze");
    EXPECT_EQ(text_view_text("textview_cbm_file_repair"), ANALYSIS_TEXT);
    EXPECT_EQ(page_labels(), (std::vector<std::string>{"1", "2", "65", "1", "50", "50", "FIRST",
                                                        "C64 ROM-TAPE HEADER"}));
    EXPECT_EQ(shown_rows(), (std::vector<std::string>{"x 3 50 'REPEAT' C64 ROM-TAPE HEADER 90 129 40 80",
                                                       "x 4 25 '' UNRECOGNIZED 130 154 25 130"}));
    EXPECT_TRUE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W("checkbutton_cbm_file_repair_fix_region"))));
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(GTK_WIDGET(row_list())));
}

TEST_F(Repair, RegionNavigationStaysWithinTheRegions)
{
    click("button_cbm_file_repair_analyze");
    click("button_cbm_file_repair_previous_region");
    EXPECT_EQ(label("label_cbm_file_repair_faulty_current"), "1");
    click("button_cbm_file_repair_next_region");
    EXPECT_EQ(page_labels(), (std::vector<std::string>{"2", "2", "126", "9", "95", "95", "REPEAT",
                                                        "C64 ROM-TAPE DATA"}));
    // The debris of 20 pulses is passed over; the 21 after it widen the region,
    // which stops short of the healthy twin.
    EXPECT_EQ(shown_rows(), (std::vector<std::string>{"x 6 95 'FIRST' C64 ROM-TAPE DATA 175 259 85 165",
                                                       "x 7 20 '' UNRECOGNIZED 260 279 20 260",
                                                       "x 8 21 '' UNRECOGNIZED 280 300 21 280"}));
    click("button_cbm_file_repair_next_region");
    EXPECT_EQ(label("label_cbm_file_repair_faulty_current"), "2");
    click("button_cbm_file_repair_previous_region");
    EXPECT_EQ(label("label_cbm_file_repair_faulty_current"), "1");
    EXPECT_EQ(label("label_cbm_file_repair_healthy_index"), "1");
}

TEST_F(Repair, TicksAlwaysFormALeadingRun)
{
    click("button_cbm_file_repair_analyze");
    click("button_cbm_file_repair_next_region");
    click_tick(0); // the damaged copy itself stays in
    EXPECT_EQ(ticks(), (std::vector<bool>{true, true, true}));
    click_tick(1);
    EXPECT_EQ(ticks(), (std::vector<bool>{true, false, false}));
    EXPECT_EQ(label("label_cbm_file_repair_faulty_size_current"), "85");
    click_tick(2);
    EXPECT_EQ(ticks(), (std::vector<bool>{true, true, true}));
    EXPECT_EQ(label("label_cbm_file_repair_faulty_size_current"), "126");
    click_tick(2);
    EXPECT_EQ(ticks(), (std::vector<bool>{true, true, false}));
    EXPECT_EQ(label("label_cbm_file_repair_faulty_size_current"), "105");
    click("button_cbm_file_repair_select_all");
    EXPECT_EQ(ticks(), (std::vector<bool>{true, true, true}));
    EXPECT_EQ(label("label_cbm_file_repair_faulty_size_current"), "126");
    // Each region keeps its own ticks.
    click_tick(1);
    click("button_cbm_file_repair_previous_region");
    EXPECT_EQ(ticks(), (std::vector<bool>{true, true}));
    click("button_cbm_file_repair_next_region");
    EXPECT_EQ(ticks(), (std::vector<bool>{true, false, false}));
}

TEST_F(Repair, TheFixRegionCheckGreysTheRowListAndIsKeptPerRegion)
{
    click("button_cbm_file_repair_analyze");
    set_fix_region(false);
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(GTK_WIDGET(row_list())));
    click("button_cbm_file_repair_next_region");
    EXPECT_TRUE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W("checkbutton_cbm_file_repair_fix_region"))));
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(GTK_WIDGET(row_list())));
    click("button_cbm_file_repair_previous_region");
    EXPECT_FALSE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W("checkbutton_cbm_file_repair_fix_region"))));
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(GTK_WIDGET(row_list())));
}

TEST_F(Repair, FixWritesTheHealthyTwinsInPlaceOfTheDamagedRegions)
{
    const std::string before = sha256_of(tape);
    click("button_cbm_file_repair_analyze");
    click("button_cbm_file_repair_next_region");
    click_tick(1); // keep the debris after the damaged data copy
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(dialog(), "Operation finished. Check file:\nrepaired_my game.tap");
    // Region 1 (twin FIRST): up to the damaged REPEAT's inner start, the twin's
    // span and 20 bytes, "V0" and 78 short pulses; the tape resumes after the debris.
    // Region 2 (twin REPEAT): the debris is kept, "V0" only.
    const std::string expected = with_size(span(0, 90) + span(30, 50) + "V0" + std::string(78, '0') +
                                           span(155, 20) + span(311, 95) + "V0" + span(260, 160));
    EXPECT_EQ(repaired(), expected);
    EXPECT_EQ(sha256_of(tape), before);
}

TEST_F(Repair, WithEveryRegionLeftOutTheCopyDiffersOnlyInItsSizeField)
{
    write_file(folder + "/repaired_my game.tap", "an older file of that name");
    click("button_cbm_file_repair_analyze");
    set_fix_region(false);
    click("button_cbm_file_repair_next_region");
    set_fix_region(false);
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(dialog(), "Operation finished. Check file:\nrepaired_my game.tap");
    EXPECT_EQ(repaired(), with_size(source));
}

TEST_F(Repair, FailuresToOpenOrCreateAreReported)
{
    click("button_cbm_file_repair_analyze");
    g_mkdir((folder + "/repaired_my game.tap").c_str(), 0700);
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(dialog(), "Could not create destination TAP.");
    g_rmdir((folder + "/repaired_my game.tap").c_str());
    g_remove(tape.c_str());
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(dialog(), "Could not open source TAP.");
    EXPECT_EQ(read_file(folder + "/repaired_my game.tap"), "");
}

TEST_F(Repair, AnalysingAgainStartsFromScratch)
{
    click("button_cbm_file_repair_analyze");
    click("button_cbm_file_repair_next_region");
    load_report(false);
    click("button_cbm_file_repair_analyze");
    EXPECT_EQ(text_view_text("textview_cbm_file_repair"), "Faulty CBM region count: 0 - Hurray!\n");
    EXPECT_EQ(page_labels(), std::vector<std::string>(8, "-"));
    EXPECT_EQ(gtk_tree_view_get_model(row_list()), nullptr);
}

TEST_F(Repair, ClearForgetsEverything)
{
    click("button_cbm_file_repair_analyze");
    cbm_file_repair_module_clear();
    EXPECT_EQ(page_labels(), std::vector<std::string>(8, "-"));
    EXPECT_EQ(text_view_text("textview_cbm_file_repair"), "");
    EXPECT_EQ(gtk_tree_view_get_model(row_list()), nullptr);
    click("button_cbm_file_repair_next_region");
    EXPECT_EQ(label("label_cbm_file_repair_faulty_current"), "-");
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(dialog(), "No file to repair.");
}

TEST_F(Repair, PopupItemShowsTheSelectedRowInTheAnalysis)
{
    click("button_cbm_file_repair_analyze");
    GtkWidget *item = popup_item_for_row(1);
    ASSERT_NE(item, nullptr);
    EXPECT_STREQ(gtk_menu_item_get_label(GTK_MENU_ITEM(item)), "Show in graphical tape analysis tool");
    std::string question;
    answer_dialog("Confirmation request", [&](GtkWidget *dialog) {
        question = all_label_texts(dialog);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_NO);
    });
    gtk_menu_item_activate(GTK_MENU_ITEM(item));
    EXPECT_NE(question.find("Tape not parsed yet."), std::string::npos);
}

TEST_F(Repair, NoPopupForADumpFile)
{
    click("button_cbm_file_repair_analyze");
    replace_owned_string(utf8_path_lasttestedTAP, (folder + "/my game.DMP").c_str());
    EXPECT_EQ(popup_item_for_row(0), nullptr);
}

// The list sorted by another column: the analysis pairs along the tape and
// the fix writes the same repaired tape.
TEST_F(Repair, SortedByPulsesTheRepairIsTheSame)
{
    gtk_tree_sortable_set_sort_column_id(GTK_TREE_SORTABLE(report_file_list_model()), REPORT_PULSES,
                                         GTK_SORT_DESCENDING);
    click("button_cbm_file_repair_analyze");
    click("button_cbm_file_repair_next_region");
    click_tick(1);
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(dialog(), "Operation finished. Check file:\nrepaired_my game.tap");
    EXPECT_EQ(repaired(), with_size(span(0, 90) + span(30, 50) + "V0" + std::string(78, '0') + span(155, 20) +
                                    span(311, 95) + "V0" + span(260, 160)));
}

TEST_F(Repair, AReportThatDoesNotFitTheTapeIsRefused)
{
    click("button_cbm_file_repair_analyze");
    write_file(tape, source + "more");  // the tape changed since its test
    click("button_cbm_file_repair_fix_all");
    const std::string text = dialog();
    EXPECT_NE(text.find("has changed since it was tested"), std::string::npos) << text;
    EXPECT_FALSE(g_file_test((folder + "/repaired_my game.tap").c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(Repair, ARepairedTapeThatCannotBeWrittenIsSaidAndNotLeft)
{
    if (!g_file_test("/dev/full", G_FILE_TEST_EXISTS))
        GTEST_SKIP() << "no /dev/full";
    ASSERT_EQ(symlink("/dev/full", (folder + "/repaired_my game.tap").c_str()), 0);
    click("button_cbm_file_repair_analyze");
    click("button_cbm_file_repair_fix_all");
    const std::string text = dialog();
    EXPECT_NE(text.find("The repaired tape could not be written"), std::string::npos) << text;
    EXPECT_NE(text.find("No space left on device"), std::string::npos) << text;
    EXPECT_FALSE(g_file_test((folder + "/repaired_my game.tap").c_str(), G_FILE_TEST_IS_SYMLINK));
}
