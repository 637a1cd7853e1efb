#include "gui/report_popups.h"

#include "gui/analysis.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/report.h"
#include "gui/report_bar.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace {

// Shows the selected file's start in the graphical tape analysis tool.
void on_show_in_tape_analysis_activate(GtkMenuItem *, gpointer)
{
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    GtkTreeView *list = GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_file_list"));
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(list), &model, &iter))
        return;
    gint start = 0;
    gtk_tree_model_get(model, &iter, REPORT_START, &start, -1);
    tape_analysis_move_to_tape_offset(guint64(start));
}

GtkWidget *show_in_analysis_menu(const char *menu_name, const char *item_name)
{
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, menu_name);
    GtkWidget *item = gtk_image_menu_item_new_with_label(_("Show in graphical tape analysis tool"));
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item),
                                  gtk_image_new_from_stock(GTK_STOCK_FIND, GTK_ICON_SIZE_MENU));
    gtk_widget_set_name(item, item_name);
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_signal_connect(item, "activate", G_CALLBACK(on_show_in_tape_analysis_activate), nullptr);
    return menu;
}

GtkWidget *file_list()
{
    return lookup_widget(mainwindow, "treeview_file_list");
}

} // namespace

GtkWidget *create_popupmenu_report_file()
{
    return show_in_analysis_menu("popupmenu_report_file", "popupmenu_report_show_in_graphical_tape_analysis_tool");
}

GtkWidget *create_popupmenu_drawing_area_tape_contents()
{
    return show_in_analysis_menu("popupmenu_drawing_area_tape_contents",
                                 "popupmenu_drawing_area_show_in_graphical_tape_analysis_tool");
}

void report_popups_init()
{
    common_register_file_popup_builder(0, create_popupmenu_report_file);
    common_register_file_popup_builder(1, create_popupmenu_drawing_area_tape_contents);
    g_signal_connect(file_list(), "button_press_event", G_CALLBACK(on_treeview_file_list_button_press_event), nullptr);
    g_signal_connect(file_list(), "popup_menu", G_CALLBACK(on_treeview_file_list_popup_menu), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "drawingarea_tape_contents"), "button_press_event",
                     G_CALLBACK(on_drawingarea_tape_contents_button_press_event), nullptr);
}

gboolean on_treeview_file_list_button_press_event(GtkWidget *view, GdkEventButton *event, gpointer)
{
    if (event->type != GDK_BUTTON_PRESS || event->button != 3)
        return FALSE;
    // The selection stays as it is: the menu is about the selected row.
    on_view_file_popup_menu(view, event, 0);
    return TRUE;
}

gboolean on_treeview_file_list_popup_menu(GtkWidget *view, gpointer)
{
    on_view_file_popup_menu(view, nullptr, 0);
    return TRUE;
}

gboolean on_drawingarea_tape_contents_button_press_event(GtkWidget *, GdkEventButton *event, gpointer)
{
    if (event->button == 1) {
        if (report_has_been_produced())
            report_select_slice(event->x);
        return TRUE;
    }
    if (event->button == 3) {
        on_view_file_popup_menu(file_list(), event, 1);
        return TRUE;
    }
    return FALSE;
}
