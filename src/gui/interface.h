// Constructors of the main window and of the dialogs and menus it uses.
#pragma once
#include <gtk/gtk.h>

GtkWidget *create_mainwindow();

GtkWidget *create_fontselectiondialog_select_font();
GtkWidget *create_filechooserdialog_save_generic();
GtkWidget *create_filechooserdialog_open_generic();
GtkWidget *create_filechooserdialog_open_file();
GtkWidget *create_filechooserdialog_open_batch_location();
GtkWidget *create_menu_convert();
GtkWidget *create_menu_record();
