// The Scanners page: the list of loader scanners the console program knows,
// their inclusion, and the frequency threshold.
#pragma once
#include "core/consolecmd.h"

#include <gtk/gtk.h>

#include <vector>

enum ScannerColumn { SCANNER_INCLUDED, SCANNER_FREQUENCY, SCANNER_ID, SCANNER_NAME, SCANNER_COLUMNS };

void scanners_module_init();
// Refills the model from folder/"scanners.txt"; false when it can't be read
// (the model then holds only the built-in row).
gboolean load_scanner_info(GtkListStore *model, const gchar *folder);
// Reloads for a new console location, with the model detached meanwhile.
void scanners_reload(const gchar *folder);
void scanners_manually_add_a_scanner();
void scanners_save_current_list();

// The rows as the command line builder reads them, in model order.
std::vector<ScannerRow> scanners_read_rows();
// Appends the scanner switches of the command line ("-doc64 ", "-do%s " or "-no%s " pieces).
void scanners_append_switches(GString *command);

// Tree-model walkers.
gboolean count_active_scanner_func(GtkTreeModel *model, GtkTreePath *path, GtkTreeIter *iter, gpointer counter);
gboolean foreach_scanner_func(GtkTreeModel *model, GtkTreePath *path, GtkTreeIter *iter, gpointer command);
gboolean find_active_scanner_func(GtkTreeModel *model, GtkTreePath *path, GtkTreeIter *iter, gpointer command);
gboolean foreach_scanner_select_func(GtkTreeModel *model, GtkTreePath *path, GtkTreeIter *iter, gpointer value);
gboolean foreach_scanner_threshold_select_func(GtkTreeModel *model, GtkTreePath *path, GtkTreeIter *iter, gpointer threshold);

gboolean on_treeview_scanners_button_press_event(GtkWidget *view, GdkEventButton *event, gpointer data);
gboolean on_treeview_scanners_popup_menu(GtkWidget *view, gpointer data);
void on_button_scanners_select_all_clicked(GtkButton *button, gpointer data);
void on_button_scanners_select_none_clicked(GtkButton *button, gpointer data);
void on_vscale_frequency_threshold_value_changed(GtkRange *range, gpointer data);
void on_checkbutton_excludeall_toggled(GtkToggleButton *button, gpointer data);
