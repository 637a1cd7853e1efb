#include "gui/filelist.h"

#include "gui/analysis.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/report_model.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace {

gboolean on_button_press(GtkWidget *view, GdkEventButton *event, gpointer kind)
{
    if (event->type != GDK_BUTTON_PRESS || event->button != 3)
        return FALSE;
    // The selection stays as it is: the menu is about the selected row.
    on_view_file_popup_menu(view, event, GPOINTER_TO_UINT(kind));
    return TRUE;
}

gboolean on_popup_menu(GtkWidget *view, gpointer kind)
{
    on_view_file_popup_menu(view, nullptr, GPOINTER_TO_UINT(kind));
    return TRUE;
}

void on_show_in_analysis_activate(GtkMenuItem *item, gpointer view_name)
{
    GtkTreeView *view = GTK_TREE_VIEW(lookup_widget(mainwindow, static_cast<const char *>(view_name)));
    const int offset_column = GPOINTER_TO_INT(g_object_get_data(G_OBJECT(item), "offset_column"));
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(view), &model, &iter))
        return;
    gint64 start = 0;  // offset columns are 64-bit in every file list
    gtk_tree_model_get(model, &iter, offset_column, &start, -1);
    if (start >= 0)
        tape_analysis_move_to_tape_offset(guint64(start));
}

} // namespace

void file_list_text_column(GtkTreeView *view, const char *title, int column, float xalign)
{
    GtkCellRenderer *renderer = gtk_cell_renderer_text_new();
    g_object_set(renderer, "xalign", xalign, nullptr);
    g_object_set_data(G_OBJECT(renderer), "column_index", GINT_TO_POINTER(column));
    gtk_tree_view_append_column(view, gtk_tree_view_column_new_with_attributes(title, renderer, "text", column, nullptr));
}

void file_list_connect_popup(GtkWidget *view, guint kind)
{
    g_signal_connect(view, "button_press_event", G_CALLBACK(on_button_press), GUINT_TO_POINTER(kind));
    g_signal_connect(view, "popup_menu", G_CALLBACK(on_popup_menu), GUINT_TO_POINTER(kind));
}

GtkWidget *file_list_analysis_menu(const char *menu_name, const char *item_name, const char *view_name,
                                   int offset_column)
{
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, menu_name);
    GtkWidget *item = gtk_image_menu_item_new_with_label(_("Show in graphical tape analysis tool"));
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item), gtk_image_new_from_stock(GTK_STOCK_FIND, GTK_ICON_SIZE_MENU));
    gtk_widget_set_name(item, item_name);
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_object_set_data(G_OBJECT(item), "offset_column", GINT_TO_POINTER(offset_column));
    // The view names are string literals: they outlive the menu.
    g_signal_connect(item, "activate", G_CALLBACK(on_show_in_analysis_activate), const_cast<char *>(view_name));
    return menu;
}
