// Keeping a report: the summary as an HTML page, and the plain report's
// "Save a copy..." item.
#pragma once
#include <gtk/gtk.h>

void on_button_report_save_summary_clicked(GtkButton *button, gpointer data);
void on_textview_report_populate_popup(GtkTextView *view, GtkMenu *menu, gpointer data);
void report_export_init();
