// Attaching a tape: the open dialog with its header preview, and drops of
// files onto the main window.
#pragma once
#include <gtk/gtk.h>

// Which filter the open dialog showed last: 0 all supported types, 1 TAP,
// 2 ZORV dumps, 3 all files.
extern int filter_lastopenTAP;

void on_openfile_activate();
void on_toolbutton_open_file_clicked(GtkToolButton *button, gpointer data);
void on_menuitem_file_open_activate(GtkMenuItem *item, gpointer data);
// `labels` is an array of the three preview value labels (type, platform, video).
void on_open_file_selection_changed(GtkFileChooser *chooser, gpointer labels);
// Attaches the tape named on the front end's command line (relative to the
// working folder, or a URI), as Open would; an error dialog and false when
// it names no regular file.
bool attach_tape_from_command_line(const char *argument);
// What a drop does with its data: attaches the first file of a URI list and,
// when no job runs, tests it. False when the data is no URI list.
bool main_window_accept_drop(GtkSelectionData *data);
void on_mainwindow_drag_data_received(GtkWidget *widget, GdkDragContext *context, gint x, gint y,
                                      GtkSelectionData *data, guint info, guint time);
