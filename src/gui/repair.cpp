#include "gui/repair.h"

#include "core/cbmrepair.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/filelist.h"
#include "gui/report.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <string>
#include <vector>

namespace {

constexpr guint REPAIR_POPUP_KIND = 4;

// The last analysis, the row list of each of its regions (one model per
// region, in the same order) and the region shown.
RepairAnalysis analysis;
std::vector<GtkListStore *> region_models;
int current_region = 0;

const char *const PAGE_LABELS[] = {
    "label_cbm_file_repair_faulty_current",     "label_cbm_file_repair_faulty_total",
    "label_cbm_file_repair_faulty_size_current", "label_cbm_file_repair_healthy_index",
    "label_cbm_file_repair_healthy_pulses",     "label_cbm_file_repair_healthy_data_pulses",
    "label_cbm_file_repair_healthy_id",         "label_cbm_file_repair_healthy_type",
};

GtkWidget *page_widget(const char *name) { return lookup_widget(mainwindow, name); }

GtkTreeView *row_list() { return GTK_TREE_VIEW(page_widget("treeview_cbm_file_repair_faulty_files")); }

void set_label(const char *name, const std::string &text) { gtk_label_set_text(GTK_LABEL(page_widget(name)), text.c_str()); }

void set_label(const char *name, int64_t value) { set_label(name, std::to_string(value)); }

void set_result_text(const std::string &text)
{
    GtkTextView *view = GTK_TEXT_VIEW(page_widget("textview_cbm_file_repair"));
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(view), text.c_str(), -1);
}

// Detaches the row list and frees every region with its model.
void forget_regions()
{
    gtk_tree_view_set_model(row_list(), nullptr);
    for (GtkListStore *model : region_models)
        g_object_unref(model);
    region_models.clear();
    analysis = RepairAnalysis();
    current_region = 0;
}

void reset_labels()
{
    for (const char *name : PAGE_LABELS)
        set_label(name, "-");
}

GtkListStore *build_region_model(const RepairRegion &region)
{
    // Pulses and offsets are 64-bit, as in the report's file list.
    GtkListStore *model = gtk_list_store_new(REPAIR_COLUMNS, G_TYPE_BOOLEAN, G_TYPE_INT, G_TYPE_INT64, G_TYPE_STRING,
                                             G_TYPE_STRING, G_TYPE_INT64, G_TYPE_INT64, G_TYPE_INT64, G_TYPE_INT64);
    for (size_t i = 0; i < region.rows.size(); ++i) {
        const RepairRow &row = region.rows[i];
        GtkTreeIter iter;
        gtk_list_store_append(model, &iter);
        gtk_list_store_set(model, &iter, REPAIR_INCLUDE, gboolean(region.ticks[i]), REPAIR_INDEX, row.index,
                           REPAIR_PULSES, row.pulses, REPAIR_FILE_ID, row.file_id.c_str(), REPAIR_TYPE,
                           row.type.c_str(), REPAIR_INNER_START, row.inner_start, REPAIR_END, row.end,
                           REPAIR_DATA_PULSES, row.data_pulses, REPAIR_START, row.start, -1);
    }
    return model;
}

bool have_region() { return current_region >= 0 && size_t(current_region) < region_models.size(); }

// Copies the current region's ticks into its model and shows its size.
void show_ticks()
{
    const RepairRegion &region = analysis.regions[size_t(current_region)];
    GtkListStore *model = region_models[size_t(current_region)];
    GtkTreeIter iter;
    size_t i = 0;
    for (gboolean ok = gtk_tree_model_get_iter_first(GTK_TREE_MODEL(model), &iter); ok && i < region.ticks.size();
         ok = gtk_tree_model_iter_next(GTK_TREE_MODEL(model), &iter), ++i)
        gtk_list_store_set(model, &iter, REPAIR_INCLUDE, gboolean(region.ticks[i]), -1);
    set_label("label_cbm_file_repair_faulty_size_current", region.size);
}

// Shows the current region: its number, size, include flag, rows and the
// healthy twin it is fixed from.
void on_cbm_file_repair_query_region()
{
    if (!have_region())
        return;
    const RepairRegion &region = analysis.regions[size_t(current_region)];
    set_label("label_cbm_file_repair_faulty_current", current_region + 1);
    set_label("label_cbm_file_repair_faulty_size_current", region.size);
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(page_widget("checkbutton_cbm_file_repair_fix_region")),
                                 region.include);
    gtk_tree_view_set_model(row_list(), GTK_TREE_MODEL(region_models[size_t(current_region)]));
    gtk_widget_set_sensitive(GTK_WIDGET(row_list()), region.include);

    const RepairHealthyInfo healthy = cbm_repair_healthy_info(report_model_entries(), region);
    set_label("label_cbm_file_repair_healthy_index", healthy.index);
    set_label("label_cbm_file_repair_healthy_pulses", healthy.pulses);
    set_label("label_cbm_file_repair_healthy_data_pulses", healthy.data_pulses);
    set_label("label_cbm_file_repair_healthy_id", healthy.file_id);
    set_label("label_cbm_file_repair_healthy_type", healthy.type);
}

void cbm_file_repair_fix_region_toggled(GtkToggleButton *button, gpointer)
{
    if (!have_region())
        return;
    RepairRegion &region = analysis.regions[size_t(current_region)];
    cbm_repair_set_include(region, gtk_toggle_button_get_active(button));
    gtk_widget_set_sensitive(GTK_WIDGET(row_list()), region.include);
}

void on_cbm_file_repair_cell_toggled(GtkCellRendererToggle *, gchar *path_text, gpointer)
{
    if (!have_region())
        return;
    GtkTreePath *path = gtk_tree_path_new_from_string(path_text);
    const int row = gtk_tree_path_get_depth(path) == 1 ? gtk_tree_path_get_indices(path)[0] : -1;
    gtk_tree_path_free(path);
    cbm_repair_toggle_tick(analysis.regions[size_t(current_region)], row);
    show_ticks();
}

void on_analyze_clicked(GtkButton *, gpointer) { cbm_file_repair_analyze(); }
void on_previous_clicked(GtkButton *, gpointer) { cbm_file_repair_previous_region(); }
void on_next_clicked(GtkButton *, gpointer) { cbm_file_repair_next_region(); }
void on_select_all_clicked(GtkButton *, gpointer) { cbm_file_repair_select_all(); }
void on_button_cbm_file_repair_fix_all_clicked(GtkButton *, gpointer) { cbm_file_repair_fix_all(); }

void connect(const char *name, const char *signal, GCallback handler)
{
    g_signal_connect(page_widget(name), signal, handler, nullptr);
}

} // namespace

GtkWidget *create_popupmenu_cbm_file_repair()
{
    return file_list_analysis_menu("popupmenu_cbm_file_repair",
                                   "popupmenu_cbm_file_repair_show_in_graphical_tape_analysis_tool",
                                   "treeview_cbm_file_repair_faulty_files", REPAIR_START);
}

void cbm_file_repair_module_init()
{
    GtkTreeView *view = row_list();
    GtkCellRenderer *tick = gtk_cell_renderer_toggle_new();
    g_signal_connect(tick, "toggled", G_CALLBACK(on_cbm_file_repair_cell_toggled), nullptr);
    gtk_tree_view_append_column(
        view, gtk_tree_view_column_new_with_attributes(_("Include"), tick, "active", REPAIR_INCLUDE, nullptr));
    file_list_text_column(view, _("Index"), REPAIR_INDEX, 0.0);
    file_list_text_column(view, _("Pulses"), REPAIR_PULSES, 1.0);
    file_list_text_column(view, _("File ID"), REPAIR_FILE_ID, 0.0);
    file_list_text_column(view, _("Type descriptor"), REPAIR_TYPE, 0.0);
    forget_regions();
    gtk_widget_set_sensitive(page_widget("radiobutton_cbm_file_repair_radio_reconstruct"), FALSE);

    common_register_file_popup_builder(REPAIR_POPUP_KIND, create_popupmenu_cbm_file_repair);
    file_list_connect_popup(GTK_WIDGET(view), REPAIR_POPUP_KIND);
    connect("button_cbm_file_repair_analyze", "clicked", G_CALLBACK(on_analyze_clicked));
    connect("button_cbm_file_repair_previous_region", "clicked", G_CALLBACK(on_previous_clicked));
    connect("button_cbm_file_repair_next_region", "clicked", G_CALLBACK(on_next_clicked));
    connect("button_cbm_file_repair_select_all", "clicked", G_CALLBACK(on_select_all_clicked));
    connect("button_cbm_file_repair_fix_all", "clicked", G_CALLBACK(on_button_cbm_file_repair_fix_all_clicked));
    connect("checkbutton_cbm_file_repair_fix_region", "toggled", G_CALLBACK(cbm_file_repair_fix_region_toggled));
}

void cbm_file_repair_module_clear()
{
    reset_labels();
    set_result_text("");
    forget_regions();
}

void cbm_file_repair_analyze()
{
    // Nothing of an earlier analysis may stay on show once its regions are gone.
    cbm_file_repair_module_clear();
    analysis = cbm_repair_analyze(report_model_entries());
    set_result_text(analysis.text);
    if (analysis.fixable_count == 0)
        return;
    set_label("label_cbm_file_repair_faulty_total", analysis.fixable_count);
    for (const RepairRegion &region : analysis.regions)
        region_models.push_back(build_region_model(region));
    current_region = 0;
    on_cbm_file_repair_query_region();
}

void cbm_file_repair_previous_region()
{
    if (analysis.fixable_count == 0 || current_region <= 0)
        return;
    --current_region;
    on_cbm_file_repair_query_region();
}

void cbm_file_repair_next_region()
{
    if (analysis.fixable_count == 0 || current_region >= analysis.fixable_count - 1)
        return;
    ++current_region;
    on_cbm_file_repair_query_region();
}

void cbm_file_repair_select_all()
{
    if (!have_region())
        return;
    cbm_repair_select_all(analysis.regions[size_t(current_region)]);
    show_ticks();
}

void cbm_file_repair_fix_all()
{
    const std::string tape = utf8_path_lasttestedTAP ? utf8_path_lasttestedTAP : "";
    const std::string message = cbm_repair_fix(tape, report_model_entries(), analysis, report_get_total_size());
    common_create_friendly_dialog(_(CBM_REPAIR_TITLE), message.c_str());
}
