#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace {
GList *pixmaps_directories = nullptr;

// Searches the pixmap folders in order; returns an owned path or null.
gchar *find_pixmap_file(const gchar *filename)
{
    for (GList *elem = pixmaps_directories; elem; elem = elem->next) {
        gchar *pathname = g_strdup_printf("%s%s%s", static_cast<gchar *>(elem->data),
                                          G_DIR_SEPARATOR_S, filename);
        if (g_file_test(pathname, G_FILE_TEST_EXISTS))
            return pathname;
        g_free(pathname);
    }
    return nullptr;
}
} // namespace

GtkWidget *lookup_widget(GtkWidget *widget, const gchar *name)
{
    GtkWidget *parent = nullptr;
    for (;;) {
        if (GTK_IS_MENU(widget))
            parent = gtk_menu_get_attach_widget(GTK_MENU(widget));
        else
            parent = widget->parent;
        if (!parent)
            parent = static_cast<GtkWidget *>(g_object_get_data(G_OBJECT(widget), "GladeParentKey"));
        if (!parent)
            break;
        widget = parent;
    }
    auto *found = static_cast<GtkWidget *>(g_object_get_data(G_OBJECT(widget), name));
    if (!found)
        g_warning(_("Widget not found: %s"), name);
    return found;
}

void hookup_object(GtkWidget *toplevel, gpointer object, const gchar *name)
{
    g_object_set_data_full(G_OBJECT(toplevel), name, g_object_ref(object), g_object_unref);
    if (GTK_IS_WIDGET(object))
        gtk_widget_set_name(GTK_WIDGET(object), name);
}

void add_pixmap_directory(const gchar *directory)
{
    pixmaps_directories = g_list_prepend(pixmaps_directories, g_strdup(directory));
}

const GList *pixmaps_directories_list()
{
    return pixmaps_directories;
}

GtkWidget *create_pixmap(GtkWidget *, const gchar *filename)
{
    if (!filename || !filename[0])
        return gtk_image_new();
    gchar *pathname = find_pixmap_file(filename);
    if (!pathname) {
        g_warning(_("Couldn't find pixmap file: %s"), filename);
        return gtk_image_new();
    }
    GtkWidget *pixmap = gtk_image_new_from_file(pathname);
    g_free(pathname);
    return pixmap;
}

GdkPixbuf *create_pixbuf(const gchar *filename)
{
    if (!filename || !filename[0])
        return nullptr;
    gchar *pathname = find_pixmap_file(filename);
    if (!pathname) {
        g_warning(_("Couldn't find pixmap file: %s"), filename);
        return nullptr;
    }
    GError *error = nullptr;
    GdkPixbuf *pixbuf = gdk_pixbuf_new_from_file(pathname, &error);
    if (!pixbuf) {
        fprintf(stderr, _("Failed to load pixbuf file: %s: %s\n"), pathname, error->message);
        g_error_free(error);
    }
    g_free(pathname);
    return pixbuf;
}
