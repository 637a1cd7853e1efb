// Widget lookup by name and picture loading, shared by every module of the
// GTK layer.
#pragma once
#include <gtk/gtk.h>

// Finds the widget registered under `name` on the top-level window that
// contains `widget`; warns "Widget not found: %s" and returns null otherwise.
GtkWidget *lookup_widget(GtkWidget *widget, const gchar *name);

// Registers `object` on `toplevel` under `name` (holding a reference) and
// gives widgets that name, so both lookup_widget and tests can find them.
void hookup_object(GtkWidget *toplevel, gpointer object, const gchar *name);

void add_pixmap_directory(const gchar *directory);
GtkWidget *create_pixmap(GtkWidget *widget, const gchar *filename);
GdkPixbuf *create_pixbuf(const gchar *filename);

// Folders searched by create_pixmap/create_pixbuf, most recently added first.
const GList *pixmaps_directories_list();
