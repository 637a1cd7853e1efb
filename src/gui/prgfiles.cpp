#include "gui/prgfiles.h"

#include "gui/appstate.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <initializer_list>

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

namespace {

GtkListStore *prg_store()
{
    GtkTreeView *view = GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_prgfiles"));
    return GTK_LIST_STORE(gtk_tree_view_get_model(view));
}

} // namespace

void prgfiles_update_list(const gchar *folder)
{
    GtkWidget *doprg = lookup_widget(mainwindow, "checkbutton_doprg");
    if (!gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(doprg)))
        return;
    GtkListStore *store = prg_store();
    gtk_list_store_clear(store);
    gchar *prg_folder = g_build_filename(folder, "prg", nullptr);
    GDir *dir = g_dir_open(prg_folder, 0, nullptr);
    g_free(prg_folder);
    if (!dir)
        return;
    // g_dir_read_name never yields "." or ".."; other hidden names are skipped too.
    while (const gchar *name = g_dir_read_name(dir)) {
        if (name[0] == '.')
            continue;
        GtkTreeIter iter;
        gtk_list_store_insert_with_values(store, &iter, -1, 0, name, -1);
    }
    g_dir_close(dir);
}

// The empty text is set as it is: looking up "" in a message catalogue
// would yield the catalogue's header instead.
void prgfiles_clear_list()
{
    gtk_list_store_clear(prg_store());
    for (const char *view : {"textview_prgfiles_hex", "textview_prgfiles_dasm", "textview_prgfiles_basic"})
        gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(lookup_widget(mainwindow, view))),
                                 "", -1);
    for (const char *entry : {"textentry_prg_hexview_filename", "textentry_prg_dasm_filename",
                              "textentry_prg_basic_filename"})
        gtk_entry_set_text(GTK_ENTRY(lookup_widget(mainwindow, entry)), "");
}
