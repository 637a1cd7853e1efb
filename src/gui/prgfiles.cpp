#include "gui/prgfiles.h"

#include "gui/appstate.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

void prgfiles_module_init()
{
    GtkListStore *store = gtk_list_store_new(1, G_TYPE_STRING);
    gtk_tree_sortable_set_sort_column_id(GTK_TREE_SORTABLE(store), 0, GTK_SORT_ASCENDING);

    GtkCellRenderer *renderer = gtk_cell_renderer_text_new();
    g_object_set_data(G_OBJECT(renderer), "column_index", GINT_TO_POINTER(0));
    GtkTreeViewColumn *column =
        gtk_tree_view_column_new_with_attributes(_(" File name "), renderer, "text", 0, nullptr);
    gtk_tree_view_column_set_sort_column_id(column, 0);

    GtkTreeView *view = GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_prgfiles"));
    gtk_tree_view_append_column(view, column);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(store));
    // The view holds the only reference.
    g_object_unref(store);
}
