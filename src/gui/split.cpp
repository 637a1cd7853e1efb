#include "gui/split.h"

#include "core/tapeidx.h"
#include "core/tapesplit.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/filelist.h"
#include "gui/report.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <string>
#include <vector>

namespace {

constexpr guint SPLIT_POPUP_KIND = 3;

GtkTreeView *split_view()
{
    return GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_file_split"));
}

std::string tested_tape()
{
    return utf8_path_lasttestedTAP ? utf8_path_lasttestedTAP : "";
}

// Writes the rows' split marks back into the shared model, row by row.
void store_marks(const std::vector<ReportEntry> &rows)
{
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    size_t i = 0;
    for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok && i < rows.size();
         ok = gtk_tree_model_iter_next(model, &iter), ++i)
        gtk_list_store_set(report_file_list_model(), &iter, REPORT_SPLIT_MARK, rows[i].split_mark, -1);
}

void on_cut_before_toggled(GtkCellRendererToggle *, gchar *path_text, gpointer)
{
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    if (!gtk_tree_model_get_iter_from_string(model, &iter, path_text))
        return;
    gboolean mark = FALSE;
    gtk_tree_model_get(model, &iter, REPORT_SPLIT_MARK, &mark, -1);
    gtk_list_store_set(report_file_list_model(), &iter, REPORT_SPLIT_MARK, !mark, -1);
}

void on_analyze_clicked(GtkButton *, gpointer)
{
    if (report_has_been_produced() && tape_split_is_tap_name(tested_tape()))
        split_analyze();
    else
        common_create_friendly_dialog(_(TAPE_SPLIT_ANALYZE_TITLE), _(TAPE_SPLIT_ANALYZE_ONLY_TAP));
}

void on_split_clicked(GtkButton *, gpointer)
{
    if (report_has_been_produced() && tape_split_is_tap_name(tested_tape()))
        split_split(report_get_total_size());
    else
        common_create_friendly_dialog(_(TAPE_SPLIT_TITLE), _(TAPE_SPLIT_ONLY_TAP));
}

void on_save_idx_clicked(GtkButton *, gpointer)
{
    // Only a tested TAP file has a report whose offsets describe it.
    if (!report_has_been_produced() || !tape_split_is_tap_name(tested_tape())) {
        common_create_friendly_dialog(_("IDX file"), _("Test a TAP file first: its index comes from its report."));
        return;
    }
    const TapeIdxResult result = tape_idx_write(tested_tape(), report_model_entries(), report_get_total_size());
    if (!result.ok) {
        common_create_friendly_dialog(_("IDX file"), result.error.c_str());
        return;
    }
    gchar *line = g_strdup_printf(_("Index written to %s:\n"), result.path.c_str());
    common_append_log_textview(line);
    common_append_log_textview(result.text.c_str());
    g_free(line);
    gchar *text = g_strdup_printf(_("Operation finished. Check file:\n%s"), result.path.c_str());
    common_create_friendly_dialog(_("IDX file"), text);
    g_free(text);
}

void on_clear_all_clicked(GtkButton *, gpointer)
{
    std::vector<ReportEntry> rows = report_model_entries();
    tape_split_clear_marks(rows);
    store_marks(rows);
}

} // namespace

GtkWidget *create_popupmenu_file_split()
{
    return file_list_analysis_menu("popupmenu_file_split", "popupmenu_split_show_in_graphical_tape_analysis_tool",
                                   "treeview_file_split");
}

void split_module_init()
{
    GtkListStore *model = report_file_list_model();
    if (!model)
        return;
    GtkTreeView *view = split_view();
    file_list_text_column(view, _(" Index "), REPORT_INDEX, 0.0);
    file_list_text_column(view, _(" Offset "), REPORT_START, 1.0);
    file_list_text_column(view, _(" Type descriptor "), REPORT_TYPE, 0.0);
    GtkCellRenderer *toggle = gtk_cell_renderer_toggle_new();
    g_object_set_data(G_OBJECT(toggle), "column_index", GINT_TO_POINTER(REPORT_SPLIT_MARK));
    g_signal_connect(toggle, "toggled", G_CALLBACK(on_cut_before_toggled), nullptr);
    gtk_tree_view_append_column(view, gtk_tree_view_column_new_with_attributes(_(" Cut before "), toggle, "active",
                                                                               REPORT_SPLIT_MARK, nullptr));
    file_list_text_column(view, _(" File name "), REPORT_NAME, 0.0);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(model));

    common_register_file_popup_builder(SPLIT_POPUP_KIND, create_popupmenu_file_split);
    file_list_connect_popup(GTK_WIDGET(view), SPLIT_POPUP_KIND);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_split_analyze"), "clicked", G_CALLBACK(on_analyze_clicked),
                     nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_split_clear_all"), "clicked",
                     G_CALLBACK(on_clear_all_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_split_split"), "clicked", G_CALLBACK(on_split_clicked),
                     nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_split_save_idx"), "clicked",
                     G_CALLBACK(on_save_idx_clicked), nullptr);
}

void split_analyze()
{
    std::vector<ReportEntry> rows = report_model_entries();
    const std::string log = tape_split_analyze(rows);
    store_marks(rows);
    common_append_log_textview(log.c_str());
    common_create_friendly_dialog(_(TAPE_SPLIT_ANALYSIS_TITLE), _(TAPE_SPLIT_ANALYSIS_DONE));
}

void split_split(gint64 total_size)
{
    const SplitResult result = tape_split_write(tested_tape(), report_model_entries(), total_size);
    common_append_log_textview(result.log.c_str());
    common_create_friendly_dialog(_(TAPE_SPLIT_TITLE), result.message.c_str());
}
