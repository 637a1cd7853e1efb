#include "gui/report.h"

#include "core/reportfile.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/report_bar.h"
#include "gui/report_export.h"
#include "gui/report_model.h"
#include "gui/report_popups.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace {

GtkListStore *file_types_model = nullptr;
GHashTable *hashtable = nullptr;

GtkWidget *W(const char *name)
{
    return lookup_widget(mainwindow, name);
}

gchar *report_path(int batch)
{
    return g_build_filename(utf8_path_consolelocation ? utf8_path_consolelocation : "",
                            report_file_name(batch != 0), nullptr);
}

GtkTreeViewColumn *list_column(GtkTreeView *view, const char *title, int model_column,
                               int sort_column, GtkCellRenderer *renderer, const char *attribute)
{
    g_object_set_data(G_OBJECT(renderer), "column_index", GINT_TO_POINTER(model_column));
    GtkTreeViewColumn *column =
        gtk_tree_view_column_new_with_attributes(title, renderer, attribute, model_column, nullptr);
    if (sort_column >= 0)
        gtk_tree_view_column_set_sort_column_id(column, sort_column);
    gtk_tree_view_column_set_resizable(column, TRUE);
    gtk_tree_view_append_column(view, column);
    return column;
}

GtkCellRenderer *text_renderer(float xalign)
{
    GtkCellRenderer *renderer = gtk_cell_renderer_text_new();
    g_object_set(renderer, "xalign", xalign, nullptr);
    return renderer;
}

void build_file_list_view()
{
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_file_list"));
    list_column(view, _(" Index "), REPORT_INDEX, REPORT_INDEX, text_renderer(0.0), "text");
    // Coverage sorts by pulses, so equal percentages keep their size order.
    list_column(view, _(" Coverage "), REPORT_COVERAGE, REPORT_PULSES, gtk_cell_renderer_progress_new(), "value");
    list_column(view, _(" Offset "), REPORT_START, REPORT_START, text_renderer(0.0), "text");
    list_column(view, _(" Pulses "), REPORT_PULSES, REPORT_PULSES, text_renderer(0.0), "text");
    list_column(view, _(" Type descriptor "), REPORT_TYPE, REPORT_TYPE, text_renderer(0.0), "text");
    list_column(view, _(" Load "), REPORT_LOAD, -1, text_renderer(0.0), "text");
    list_column(view, _(" End "), REPORT_END_ADDRESS, -1, text_renderer(0.0), "text");
    list_column(view, _(" CRC32 "), REPORT_CRC32, REPORT_CRC32, text_renderer(0.0), "text");
    list_column(view, _(" Read err "), REPORT_READ_ERRORS, REPORT_READ_ERRORS, text_renderer(1.0), "text");
    list_column(view, _(" Check? "), REPORT_CHECKBYTE, REPORT_CHECKBYTE, text_renderer(0.5), "text");
    list_column(view, _(" File name "), REPORT_NAME, REPORT_NAME, text_renderer(0.0), "text");
    gtk_tree_selection_set_mode(gtk_tree_view_get_selection(view), GTK_SELECTION_BROWSE);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(report_file_list_model()));
}

void build_file_types_view()
{
    file_types_model = gtk_list_store_new(2, G_TYPE_STRING, G_TYPE_INT);
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_file_types"));
    list_column(view, _(" Occurrences "), 1, 1, text_renderer(1.0), "text");
    list_column(view, _(" Type descriptor "), 0, -1, text_renderer(0.0), "text");
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(file_types_model));
    g_object_unref(file_types_model);
}

void refill_file_types()
{
    GtkTreeView *view = GTK_TREE_VIEW(W("treeview_file_types"));
    g_object_ref(file_types_model);
    gtk_tree_view_set_model(view, nullptr);
    gtk_list_store_clear(file_types_model);
    GHashTableIter iter;
    gpointer key, value;
    g_hash_table_iter_init(&iter, hashtable);
    while (g_hash_table_iter_next(&iter, &key, &value)) {
        GtkTreeIter row;
        gtk_list_store_insert_with_values(file_types_model, &row, -1, 0, static_cast<const char *>(key),
                                          1, GPOINTER_TO_INT(value), -1);
    }
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(file_types_model));
    g_object_unref(file_types_model);
}

void refresh_interactive_page()
{
    const ReportTotals &totals = report_model_totals();
    report_bar_repaint();
    gtk_image_set_from_stock(GTK_IMAGE(W("image_checkbyte_test")),
                             totals.checksum_test_passed ? GTK_STOCK_YES : GTK_STOCK_NO, GTK_ICON_SIZE_BUTTON);
    gtk_image_set_from_stock(GTK_IMAGE(W("image_read_test")),
                             totals.read_test_passed ? GTK_STOCK_YES : GTK_STOCK_NO, GTK_ICON_SIZE_BUTTON);
    GtkProgressBar *bar = GTK_PROGRESS_BAR(W("progressbar_recognition"));
    if (totals.total_size == 0) {
        gtk_progress_bar_set_fraction(bar, 0.0);
        gtk_progress_bar_set_text(bar, _("N/A"));
    } else {
        const double fraction = double(totals.recognized_size) / double(totals.total_size);
        gtk_progress_bar_set_fraction(bar, CLAMP(fraction, 0.0, 1.0));
        gchar *text = g_strdup_printf(_("%.6f%%"), fraction * 100.0);
        gtk_progress_bar_set_text(bar, text);
        g_free(text);
    }
    refill_file_types();
}

} // namespace

void report_module_init()
{
    build_file_types_view();
    hashtable = create_hashtable();
    report_model_init();
    build_file_list_view();
    report_bar_init();
    report_export_init();
    // A left click on the bar selects the file under the pointer.
    report_popups_init(report_select_slice);
}

void report_read_report_file(int batch)
{
    gchar *path = report_path(batch);
    gchar *text = nullptr;
    if (g_file_get_contents(path, &text, nullptr, nullptr)) {
        // A report that is not UTF-8 is shown with the invalid bytes replaced.
        gchar *valid = g_utf8_make_valid(text, -1);
        report_set_textview_text(valid);
        g_free(valid);
    } else {
        report_set_textview_text(_("Could not load the contents of the report"));
    }
    g_free(text);
    g_free(path);
}

namespace {

// Rebuilds the file list, totals and type table from the report; with
// `parse` false nothing is read and everything is left empty.
void rebuild_interactive(int batch, bool parse)
{
    GtkWidget *list = W("treeview_file_list");
    GtkWidget *split = W("treeview_file_split");
    GtkWidget *editor = W("treeview_tape_editor");
    GtkListStore *file_list_model = report_file_list_model();
    g_object_ref(file_list_model);
    gtk_tree_view_set_model(GTK_TREE_VIEW(list), nullptr);
    if (split)
        gtk_tree_view_set_model(GTK_TREE_VIEW(split), nullptr);
    if (editor)
        gtk_tree_view_set_model(GTK_TREE_VIEW(editor), nullptr);
    report_model_clear();
    g_hash_table_remove_all(hashtable);

    ReportTotals totals = report_model_totals();
    ParsedReport parsed;
    if (batch) {
        common_append_log_textview(_("NOTE: in batch mode the interactive report is not applicable\n"));
    } else if (parse) {
        totals.total_size = 0;
        totals.recognized_size = 0;
        gchar *path = report_path(0);
        parsed = report_parse_file(path, totals);
        g_free(path);
    }
    if (batch || !parse || !parsed.opened) {
        totals.path_last_report.reset();
        totals.total_size = 0;
        totals.checksum_test_passed = false;
        totals.read_test_passed = false;
    } else {
        totals = parsed.totals;
        for (const ReportEntry &entry : parsed.entries)
            report_model_append(entry);
        report_fill_type_table(hashtable, parsed.entries);
    }
    report_model_set_totals(totals);
    refresh_interactive_page();

    gtk_tree_view_set_model(GTK_TREE_VIEW(list), GTK_TREE_MODEL(file_list_model));
    if (split)
        gtk_tree_view_set_model(GTK_TREE_VIEW(split), GTK_TREE_MODEL(file_list_model));
    if (editor)
        gtk_tree_view_set_model(GTK_TREE_VIEW(editor), GTK_TREE_MODEL(file_list_model));
    g_object_unref(file_list_model);
}

} // namespace

void report_read_report_file_interactive(int batch)
{
    rebuild_interactive(batch, true);
}

void report_clear_interactive()
{
    rebuild_interactive(0, false);
}

void report_set_textview_text(const gchar *text)
{
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_report"))), text, -1);
}

void report_set_type(int page)
{
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), page);
}
