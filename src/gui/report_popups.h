// Pop-ups of the report's file list and tape layout bar.
#pragma once
#include <gtk/gtk.h>

// `select_at` selects the file under a left click at x on the bar; the page
// passes the bar's own selection, so the pop-ups need not know the bar.
void report_popups_init(void (*select_at)(gdouble x));
GtkWidget *create_popupmenu_report_file();
GtkWidget *create_popupmenu_drawing_area_tape_contents();

gboolean on_drawingarea_tape_contents_button_press_event(GtkWidget *area, GdkEventButton *event, gpointer data);
