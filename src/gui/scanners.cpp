#include "gui/scanners.h"

#include "core/scannerlist.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace {

GtkListStore *scanner_model = nullptr;

GtkTreeView *scanner_view()
{
    return GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_scanners"));
}

GtkRange *threshold_scale()
{
    return GTK_RANGE(lookup_widget(mainwindow, "vscale_frequency_threshold"));
}

// Rows whose id begins with "c64" (the built-in CBM ROM row) are never changed.
bool row_is_protected(GtkTreeModel *model, GtkTreeIter *iter)
{
    gchar *id = nullptr;
    gtk_tree_model_get(model, iter, SCANNER_ID, &id, -1);
    const bool builtin = scanner_id_is_builtin(id ? id : "");
    g_free(id);
    return builtin;
}

void fill_model(GtkListStore *model, const std::vector<ScannerRow> &rows)
{
    gtk_list_store_clear(model);
    for (const ScannerRow &row : rows) {
        GtkTreeIter iter;
        gtk_list_store_insert_with_values(model, &iter, -1, SCANNER_INCLUDED, row.included,
                                          SCANNER_FREQUENCY, row.frequency, SCANNER_ID,
                                          row.id.c_str(), SCANNER_NAME, row.name.c_str(), -1);
    }
}

void on_included_toggled(GtkCellRendererToggle *, gchar *path_text, gpointer)
{
    GtkTreeModel *model = GTK_TREE_MODEL(scanner_model);
    GtkTreeIter iter;
    if (!gtk_tree_model_get_iter_from_string(model, &iter, path_text) || row_is_protected(model, &iter))
        return;
    gboolean included = FALSE;
    gtk_tree_model_get(model, &iter, SCANNER_INCLUDED, &included, -1);
    gtk_list_store_set(scanner_model, &iter, SCANNER_INCLUDED, !included, -1);
}

void on_text_edited(GtkCellRendererText *renderer, gchar *path_text, gchar *new_text, gpointer)
{
    GtkTreeModel *model = GTK_TREE_MODEL(scanner_model);
    GtkTreeIter iter;
    if (!gtk_tree_model_get_iter_from_string(model, &iter, path_text) || row_is_protected(model, &iter))
        return;
    const int column = GPOINTER_TO_INT(g_object_get_data(G_OBJECT(renderer), "column_index"));
    if (column == SCANNER_FREQUENCY) {
        const int frequency = parse_scanner_frequency(new_text);
        const double threshold = gtk_range_get_value(threshold_scale());
        gtk_list_store_set(scanner_model, &iter, SCANNER_FREQUENCY, frequency, SCANNER_INCLUDED,
                           frequency >= threshold, -1);
    } else {
        gtk_list_store_set(scanner_model, &iter, column, new_text, -1);
    }
}

GtkTreeViewColumn *text_column(const char *title, int column, float xalign)
{
    GtkCellRenderer *renderer = gtk_cell_renderer_text_new();
    g_object_set(renderer, "editable", TRUE, "xalign", xalign, nullptr);
    g_object_set_data(G_OBJECT(renderer), "column_index", GINT_TO_POINTER(column));
    g_signal_connect(renderer, "edited", G_CALLBACK(on_text_edited), nullptr);
    return gtk_tree_view_column_new_with_attributes(title, renderer, "text", column, nullptr);
}

void build_columns(GtkTreeView *view)
{
    GtkCellRenderer *toggle = gtk_cell_renderer_toggle_new();
    g_signal_connect(toggle, "toggled", G_CALLBACK(on_included_toggled), nullptr);
    gtk_tree_view_append_column(view, gtk_tree_view_column_new_with_attributes(
                                          _(" Include "), toggle, "active", SCANNER_INCLUDED, nullptr));
    GtkTreeViewColumn *frequency = text_column(_(" Freq "), SCANNER_FREQUENCY, 1.0);
    gtk_tree_view_column_set_sort_column_id(frequency, SCANNER_FREQUENCY);
    gtk_tree_view_append_column(view, frequency);
    GtkTreeViewColumn *id = text_column(_(" Loader ID "), SCANNER_ID, 0.0);
    gtk_tree_view_append_column(view, id);
    GtkTreeViewColumn *name = text_column(_(" Loader Name "), SCANNER_NAME, 0.0);
    gtk_tree_view_column_set_sort_column_id(name, SCANNER_NAME);
    gtk_tree_view_append_column(view, name);
}

void set_all_included(gboolean value)
{
    gtk_tree_model_foreach(GTK_TREE_MODEL(scanner_model), foreach_scanner_select_func, &value);
}

void popup_menu_at(GdkEventButton *event)
{
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, "popupmenu_scanners");
    GtkWidget *add = gtk_image_menu_item_new_with_label(_("Manually add a scanner"));
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(add),
                                  gtk_image_new_from_stock(GTK_STOCK_ADD, GTK_ICON_SIZE_MENU));
    gtk_widget_set_tooltip_text(add, _("Add a scanner definition"));
    gtk_widget_set_name(add, "popupmenuitem_manually_add_a_scanner");
    GtkWidget *save = gtk_menu_item_new_with_label(_("Save current list"));
    gtk_widget_set_name(save, "popupmenuitem_save_current_list");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), add);
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), save);
    g_signal_connect_swapped(add, "activate", G_CALLBACK(scanners_manually_add_a_scanner), nullptr);
    g_signal_connect_swapped(save, "activate", G_CALLBACK(scanners_save_current_list), nullptr);
    gtk_widget_show_all(menu);
    gtk_menu_popup(GTK_MENU(menu), nullptr, nullptr, nullptr, nullptr, event ? event->button : 0,
                   event ? event->time : gtk_get_current_event_time());
}

} // namespace

void scanners_module_init()
{
    scanner_model = gtk_list_store_new(SCANNER_COLUMNS, G_TYPE_BOOLEAN, G_TYPE_INT, G_TYPE_STRING,
                                       G_TYPE_STRING);
    gchar *cwd = g_get_current_dir();
    load_scanner_info(scanner_model, cwd);
    g_free(cwd);
    GtkTreeView *view = scanner_view();
    build_columns(view);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(scanner_model));

    g_signal_connect(view, "button_press_event", G_CALLBACK(on_treeview_scanners_button_press_event), nullptr);
    g_signal_connect(view, "popup_menu", G_CALLBACK(on_treeview_scanners_popup_menu), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_scanners_select_all"), "clicked",
                     G_CALLBACK(on_button_scanners_select_all_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_scanners_select_none"), "clicked",
                     G_CALLBACK(on_button_scanners_select_none_clicked), nullptr);
    g_signal_connect(threshold_scale(), "value_changed",
                     G_CALLBACK(on_vscale_frequency_threshold_value_changed), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "checkbutton_excludeall"), "toggled",
                     G_CALLBACK(on_checkbutton_excludeall_toggled), nullptr);
}

gboolean load_scanner_info(GtkListStore *model, const gchar *folder)
{
    std::vector<ScannerRow> rows;
    const bool loaded = load_scanner_rows(folder ? folder : "", rows);
    fill_model(model, rows);
    if (!loaded)
        return FALSE;
    common_set_statusbar_text(_(" The list of known scanners was repopulated"));
    return TRUE;
}

void scanners_reload(const gchar *folder)
{
    GtkTreeView *view = scanner_view();
    g_object_ref(scanner_model);
    gtk_tree_view_set_model(view, nullptr);
    load_scanner_info(scanner_model, folder);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(scanner_model));
    g_object_unref(scanner_model);
}

std::vector<ScannerRow> scanners_read_rows()
{
    std::vector<ScannerRow> rows;
    if (!scanner_model)
        return rows;
    gtk_tree_model_foreach(
        GTK_TREE_MODEL(scanner_model),
        [](GtkTreeModel *model, GtkTreePath *, GtkTreeIter *iter, gpointer data) -> gboolean {
            gboolean included = FALSE;
            gint frequency = 0;
            gchar *id = nullptr, *name = nullptr;
            gtk_tree_model_get(model, iter, SCANNER_INCLUDED, &included, SCANNER_FREQUENCY, &frequency,
                               SCANNER_ID, &id, SCANNER_NAME, &name, -1);
            static_cast<std::vector<ScannerRow> *>(data)->push_back(
                {included != FALSE, frequency, id ? id : "", name ? name : ""});
            g_free(id);
            g_free(name);
            return FALSE;
        },
        &rows);
    return rows;
}

void scanners_append_switches(GString *command)
{
    GtkWidget *excludeall = lookup_widget(mainwindow, "checkbutton_excludeall");
    if (gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(excludeall))) {
        g_string_append(command, _("-doc64 "));
        return;
    }
    int active = 0;
    gtk_tree_model_foreach(GTK_TREE_MODEL(scanner_model), count_active_scanner_func, &active);
    gtk_tree_model_foreach(GTK_TREE_MODEL(scanner_model),
                           active == 2 ? find_active_scanner_func : foreach_scanner_func, command);
}

gboolean count_active_scanner_func(GtkTreeModel *model, GtkTreePath *, GtkTreeIter *iter, gpointer counter)
{
    gboolean included = FALSE;
    gtk_tree_model_get(model, iter, SCANNER_INCLUDED, &included, -1);
    if (included)
        ++*static_cast<int *>(counter);
    return FALSE;
}

gboolean foreach_scanner_func(GtkTreeModel *model, GtkTreePath *, GtkTreeIter *iter, gpointer command)
{
    gboolean included = FALSE;
    gchar *id = nullptr;
    gtk_tree_model_get(model, iter, SCANNER_INCLUDED, &included, SCANNER_ID, &id, -1);
    if (!included)
        g_string_append(static_cast<GString *>(command), scanner_exclude_piece(id ? id : "").c_str());
    g_free(id);
    return FALSE;
}

gboolean find_active_scanner_func(GtkTreeModel *model, GtkTreePath *, GtkTreeIter *iter, gpointer command)
{
    gboolean included = FALSE;
    gchar *id = nullptr;
    gtk_tree_model_get(model, iter, SCANNER_INCLUDED, &included, SCANNER_ID, &id, -1);
    const bool found = included && !scanner_id_is_builtin(id ? id : "");
    if (found)
        g_string_append(static_cast<GString *>(command), scanner_include_piece(id).c_str());
    g_free(id);
    return found;
}

gboolean foreach_scanner_select_func(GtkTreeModel *model, GtkTreePath *, GtkTreeIter *iter, gpointer value)
{
    if (!row_is_protected(model, iter))
        gtk_list_store_set(GTK_LIST_STORE(model), iter, SCANNER_INCLUDED, *static_cast<gboolean *>(value), -1);
    return FALSE;
}

gboolean foreach_scanner_threshold_select_func(GtkTreeModel *model, GtkTreePath *, GtkTreeIter *iter,
                                               gpointer threshold)
{
    if (row_is_protected(model, iter))
        return FALSE;
    gint frequency = 0;
    gtk_tree_model_get(model, iter, SCANNER_FREQUENCY, &frequency, -1);
    gtk_list_store_set(GTK_LIST_STORE(model), iter, SCANNER_INCLUDED,
                       double(frequency) >= *static_cast<double *>(threshold), -1);
    return FALSE;
}

void on_vscale_frequency_threshold_value_changed(GtkRange *range, gpointer)
{
    double threshold = gtk_range_get_value(range);
    gtk_tree_model_foreach(GTK_TREE_MODEL(scanner_model), foreach_scanner_threshold_select_func, &threshold);
}

void on_button_scanners_select_all_clicked(GtkButton *, gpointer)
{
    // Moving the slider selects through the threshold rule, so the slider
    // never contradicts the selection.
    if (int(gtk_range_get_value(threshold_scale())) != 0)
        gtk_range_set_value(threshold_scale(), 0);
    else
        set_all_included(TRUE);
}

void on_button_scanners_select_none_clicked(GtkButton *, gpointer)
{
    if (int(gtk_range_get_value(threshold_scale())) != 10)
        gtk_range_set_value(threshold_scale(), 10);
    else
        set_all_included(FALSE);
}

void on_checkbutton_excludeall_toggled(GtkToggleButton *button, gpointer)
{
    gtk_widget_set_sensitive(GTK_WIDGET(scanner_view()), !gtk_toggle_button_get_active(button));
}

gboolean on_treeview_scanners_button_press_event(GtkWidget *, GdkEventButton *event, gpointer)
{
    if (event->type != GDK_BUTTON_PRESS || event->button != 3)
        return FALSE;
    popup_menu_at(event);
    return TRUE;
}

gboolean on_treeview_scanners_popup_menu(GtkWidget *, gpointer)
{
    popup_menu_at(nullptr);
    return TRUE;
}

void scanners_manually_add_a_scanner()
{
    const bool included = gtk_range_get_value(threshold_scale()) == 0;
    GtkTreeIter iter;
    gtk_list_store_insert_with_values(scanner_model, &iter, -1, SCANNER_INCLUDED, included,
                                      SCANNER_FREQUENCY, 0, SCANNER_ID, "loaderid", SCANNER_NAME,
                                      _("Description"), -1);
    GtkTreeView *view = scanner_view();
    GtkTreePath *path = gtk_tree_model_get_path(GTK_TREE_MODEL(scanner_model), &iter);
    gtk_tree_view_set_cursor(view, path, gtk_tree_view_get_column(view, SCANNER_ID), TRUE);
    gtk_tree_path_free(path);
}

void scanners_save_current_list()
{
    gchar *cwd = g_get_current_dir();
    const bool saved = save_scanner_rows(cwd, scanners_read_rows());
    g_free(cwd);
    common_set_statusbar_text(saved ? _(" The list of known scanners was saved")
                                    : _(" Could not save the list of known scanners. Check write and sharing permissions!"));
}
