// Signal handlers of the main window's menu bar and window.
#pragma once
#include <gtk/gtk.h>

gboolean on_mainwindow_delete_event(GtkWidget *widget, GdkEvent *event, gpointer data);
void on_menuitem_file_quit_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_help_about_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_help_release_notes_activate(GtkMenuItem *item, gpointer data);

void on_textview_log_populate_popup(GtkTextView *view, GtkMenu *menu, gpointer data);
void on_textview_clear_log_menuitem_activate(GtkMenuItem *item, gpointer data);

void on_checkbutton_doprg_toggled(GtkToggleButton *button, gpointer data);
void on_button_options_restore_defaults_clicked(GtkButton *button, gpointer data);
void on_button_options_max_tolerance_clicked(GtkButton *button, gpointer data);
void on_button_options_font_clicked(GtkButton *button, gpointer data);
void on_button_options_save_config_clicked(GtkButton *button, gpointer data);
