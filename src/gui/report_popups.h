// Pop-ups of the report's file list and tape layout bar.
#pragma once
#include <gtk/gtk.h>

void report_popups_init();
GtkWidget *create_popupmenu_report_file();
GtkWidget *create_popupmenu_drawing_area_tape_contents();

gboolean on_drawingarea_tape_contents_button_press_event(GtkWidget *area, GdkEventButton *event, gpointer data);
