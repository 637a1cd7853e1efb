#include "gui/split.h"

#include "core/tapesplit.h"
#include "gui/analysis.h"
#include "gui/appstate.h"
#include "gui/common.h"
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

void on_clear_all_clicked(GtkButton *, gpointer)
{
    std::vector<ReportEntry> rows = report_model_entries();
    tape_split_clear_marks(rows);
    store_marks(rows);
}

void on_show_in_analysis_activate(GtkMenuItem *, gpointer)
{
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(split_view()), &model, &iter))
        return;
    gint start = 0;
    gtk_tree_model_get(model, &iter, REPORT_START, &start, -1);
    tape_analysis_move_to_tape_offset(guint64(start));
}

gboolean on_button_press(GtkWidget *view, GdkEventButton *event, gpointer)
{
    if (event->type != GDK_BUTTON_PRESS || event->button != 3)
        return FALSE;
    on_view_file_popup_menu(view, event, SPLIT_POPUP_KIND);
    return TRUE;
}

gboolean on_popup_menu(GtkWidget *view, gpointer)
{
    on_view_file_popup_menu(view, nullptr, SPLIT_POPUP_KIND);
    return TRUE;
}

void text_column(GtkTreeView *view, const char *title, int column, float xalign)
{
    GtkCellRenderer *renderer = gtk_cell_renderer_text_new();
    g_object_set(renderer, "xalign", xalign, nullptr);
    g_object_set_data(G_OBJECT(renderer), "column_index", GINT_TO_POINTER(column));
    gtk_tree_view_append_column(view, gtk_tree_view_column_new_with_attributes(title, renderer, "text", column, nullptr));
}

} // namespace

GtkWidget *create_popupmenu_file_split()
{
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, "popupmenu_file_split");
    GtkWidget *item = gtk_image_menu_item_new_with_label(_("Show in graphical tape analysis tool"));
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item), gtk_image_new_from_stock(GTK_STOCK_FIND, GTK_ICON_SIZE_MENU));
    gtk_widget_set_name(item, "popupmenu_split_show_in_graphical_tape_analysis_tool");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_signal_connect(item, "activate", G_CALLBACK(on_show_in_analysis_activate), nullptr);
    return menu;
}

void split_module_init()
{
    GtkListStore *model = report_file_list_model();
    if (!model)
        return;
    GtkTreeView *view = split_view();
    text_column(view, _(" Index "), REPORT_INDEX, 0.0);
    text_column(view, _(" Offset "), REPORT_START, 1.0);
    text_column(view, _(" Type descriptor "), REPORT_TYPE, 0.0);
    GtkCellRenderer *toggle = gtk_cell_renderer_toggle_new();
    g_object_set_data(G_OBJECT(toggle), "column_index", GINT_TO_POINTER(REPORT_SPLIT_MARK));
    g_signal_connect(toggle, "toggled", G_CALLBACK(on_cut_before_toggled), nullptr);
    gtk_tree_view_append_column(view, gtk_tree_view_column_new_with_attributes(_(" Cut before "), toggle, "active",
                                                                               REPORT_SPLIT_MARK, nullptr));
    text_column(view, _(" File name "), REPORT_NAME, 0.0);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(model));

    common_register_file_popup_builder(SPLIT_POPUP_KIND, create_popupmenu_file_split);
    g_signal_connect(view, "button_press_event", G_CALLBACK(on_button_press), nullptr);
    g_signal_connect(view, "popup_menu", G_CALLBACK(on_popup_menu), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_split_analyze"), "clicked", G_CALLBACK(on_analyze_clicked),
                     nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_split_clear_all"), "clicked",
                     G_CALLBACK(on_clear_all_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_split_split"), "clicked", G_CALLBACK(on_split_clicked),
                     nullptr);
}

void split_analyze()
{
    std::vector<ReportEntry> rows = report_model_entries();
    const std::string log = tape_split_analyze(rows);
    store_marks(rows);
    common_append_log_textview(log.c_str());
    common_create_friendly_dialog(_(TAPE_SPLIT_ANALYSIS_TITLE), _(TAPE_SPLIT_ANALYSIS_DONE));
}

void split_split(gint32 total_size)
{
    const SplitResult result = tape_split_write(tested_tape(), report_model_entries(), total_size);
    common_append_log_textview(result.log.c_str());
    common_create_friendly_dialog(_(TAPE_SPLIT_TITLE), result.message.c_str());
}
