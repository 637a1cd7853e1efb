#include "gui/editor.h"

#include "core/tapeedit.h"
#include "gui/analysis.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/report.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <string>

namespace {

constexpr guint EDITOR_POPUP_KIND = 2;

GtkTreeView *editor_view()
{
    return GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_tape_editor"));
}

std::string tested_tape()
{
    return utf8_path_lasttestedTAP ? utf8_path_lasttestedTAP : "";
}

void editor_dialog(const std::string &text)
{
    common_create_friendly_dialog(_(TAPE_EDITOR_TITLE), text.c_str());
}

void set_all_excluded_where(bool (*wanted)(const std::string &type), gboolean value)
{
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok; ok = gtk_tree_model_iter_next(model, &iter)) {
        gchar *type = nullptr;
        gtk_tree_model_get(model, &iter, REPORT_TYPE, &type, -1);
        if (!wanted || wanted(type ? type : ""))
            gtk_list_store_set(report_file_list_model(), &iter, REPORT_EXCLUDED, value, -1);
        g_free(type);
    }
}

void on_exclude_cell_toggled(GtkCellRendererToggle *, gchar *path_text, gpointer)
{
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    if (!gtk_tree_model_get_iter_from_string(model, &iter, path_text))
        return;
    gboolean excluded = FALSE;
    gtk_tree_model_get(model, &iter, REPORT_EXCLUDED, &excluded, -1);
    gtk_list_store_set(report_file_list_model(), &iter, REPORT_EXCLUDED, !excluded, -1);
}

void on_button_tape_editor_exclude_unrecognized_clicked(GtkButton *, gpointer)
{
    if (!report_has_been_produced())
        return;
    if (!tape_editor_is_tap_path(tested_tape())) {
        editor_dialog(_("You can only edit and save TAP files."));
        return;
    }
    set_all_excluded_where([](const std::string &type) { return tape_editor_type_is_unrecognized(type); }, TRUE);
}

void on_button_tape_editor_select_all_clicked(GtkButton *, gpointer)
{
    if (report_has_been_produced())
        set_all_excluded_where(nullptr, FALSE);
}

void on_button_tape_editor_save_tape_as_clicked(GtkButton *, gpointer)
{
    tape_editor_save_as();
}

void on_popupmenu_editor_show_in_graphical_tape_analysis_tool_activate(GtkMenuItem *, gpointer)
{
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(editor_view()), &model, &iter))
        return;
    gint start = 0;
    gtk_tree_model_get(model, &iter, REPORT_START, &start, -1);
    tape_analysis_move_to_tape_offset(guint64(start));
}

gboolean on_treeview_tape_editor_button_press_event(GtkWidget *view, GdkEventButton *event, gpointer)
{
    if (event->type != GDK_BUTTON_PRESS || event->button != 3)
        return FALSE;
    on_view_file_popup_menu(view, event, EDITOR_POPUP_KIND);
    return TRUE;
}

gboolean on_treeview_tape_editor_popup_menu(GtkWidget *view, gpointer)
{
    on_view_file_popup_menu(view, nullptr, EDITOR_POPUP_KIND);
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

GtkWidget *create_popupmenu_tape_editor()
{
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, "popupmenu_tape_editor");
    GtkWidget *item = gtk_image_menu_item_new_with_label(_("Show in graphical tape analysis tool"));
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item), gtk_image_new_from_stock(GTK_STOCK_FIND, GTK_ICON_SIZE_MENU));
    gtk_widget_set_name(item, "popupmenu_editor_show_in_graphical_tape_analysis_tool");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_signal_connect(item, "activate", G_CALLBACK(on_popupmenu_editor_show_in_graphical_tape_analysis_tool_activate),
                     nullptr);
    return menu;
}

void tape_editor_module_init()
{
    GtkListStore *model = report_file_list_model();
    if (!model)
        return;
    GtkTreeView *view = editor_view();
    text_column(view, _(" Index "), REPORT_INDEX, 0.0);
    text_column(view, _(" Offset "), REPORT_START, 1.0);
    text_column(view, _(" Pulses "), REPORT_PULSES, 1.0);
    text_column(view, _(" Type descriptor "), REPORT_TYPE, 0.0);
    GtkCellRenderer *toggle = gtk_cell_renderer_toggle_new();
    g_object_set_data(G_OBJECT(toggle), "column_index", GINT_TO_POINTER(REPORT_EXCLUDED));
    g_signal_connect(toggle, "toggled", G_CALLBACK(on_exclude_cell_toggled), nullptr);
    gtk_tree_view_append_column(view, gtk_tree_view_column_new_with_attributes(_(" Exclude "), toggle, "active",
                                                                               REPORT_EXCLUDED, nullptr));
    text_column(view, _(" File name "), REPORT_NAME, 0.0);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(model));

    common_register_file_popup_builder(EDITOR_POPUP_KIND, create_popupmenu_tape_editor);
    g_signal_connect(view, "button_press_event", G_CALLBACK(on_treeview_tape_editor_button_press_event), nullptr);
    g_signal_connect(view, "popup_menu", G_CALLBACK(on_treeview_tape_editor_popup_menu), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_editor_exclude_unrecognized"), "clicked",
                     G_CALLBACK(on_button_tape_editor_exclude_unrecognized_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_editor_include_all_files"), "clicked",
                     G_CALLBACK(on_button_tape_editor_select_all_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_editor_save_tape_as"), "clicked",
                     G_CALLBACK(on_button_tape_editor_save_tape_as_clicked), nullptr);
}

void tape_editor_save_as()
{
    if (!report_has_been_produced())
        return;
    editor_dialog(tape_editor_save(tested_tape(), report_model_entries()).message);
}
