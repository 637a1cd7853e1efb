// Builders of the main notebook's pages. Each builds its page's widgets,
// registers every named widget on `top` (the main window) and returns the
// page's outermost widget; the tab is made by the window builder.
#pragma once
#include <gtk/gtk.h>

GtkWidget *create_page_report(GtkWidget *top);
GtkWidget *create_page_scanners(GtkWidget *top);
GtkWidget *create_page_options(GtkWidget *top);
GtkWidget *create_page_prg_files(GtkWidget *top);
GtkWidget *create_page_tools(GtkWidget *top);
GtkWidget *create_page_syslog(GtkWidget *top);
