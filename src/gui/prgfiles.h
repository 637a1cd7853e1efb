// The Prg Files page: the list of PRG files the console program extracted,
// and the hex, disassembly and BASIC viewers.
#pragma once
#include <gtk/gtk.h>

enum PrgView { PRG_VIEW_HEX = 0, PRG_VIEW_DASM = 1, PRG_VIEW_BASIC = 2 };

// Creates the list's sorted one-column store and its " File name " column.
void prgfiles_module_init();
// Refills the list from folder/"prg" when "Create PRG files" is on.
void prgfiles_update_list(const gchar *folder);
// Empties the list, the three viewers and their file-name entries.
void prgfiles_clear_list();

void prgfiles_view_as_hex();
void prgfiles_view_in_dasm();
void prgfiles_view_as_basic_listing();
void prgfiles_save_a_copy();
void prgfiles_load_foreign(int view);
// Shows the selected row in viewer `view` and switches to its page.
void on_prgfiles_menuitems_activate(int view);

gboolean on_treeview_prgfiles_button_press_event(GtkWidget *view, GdkEventButton *event, gpointer data);
gboolean on_treeview_prgfiles_popup_menu(GtkWidget *view, gpointer data);
void on_treeview_prgfiles_cursor_changed(GtkTreeView *view, gpointer data);
void on_textview_prgfiles_hex_populate_popup(GtkTextView *view, GtkMenu *menu, gpointer data);
void on_textview_prgfiles_dasm_populate_popup(GtkTextView *view, GtkMenu *menu, gpointer data);
void on_textview_prgfiles_basic_populate_popup(GtkTextView *view, GtkMenu *menu, gpointer data);
