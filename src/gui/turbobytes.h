// "Save bytes..." on an UNKNOWN TURBO row of the report's file list: the
// bytes read after the stretch's pilots, saved for study (they are no PRG:
// no load address is known and nothing was verified).
#pragma once
#include <gtk/gtk.h>

// True when the file list's selected row is an UNKNOWN TURBO stretch.
bool turbobytes_selected_row_is_unknown_turbo(GtkTreeView *view);

// Appends "Save bytes..." to a pop-up menu of the file list `view`.
void turbobytes_append_menu_item(GtkWidget *menu, GtkTreeView *view);
