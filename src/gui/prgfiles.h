// The Prg Files page: the list of PRG files the console program extracted.
#pragma once
#include <gtk/gtk.h>

// Creates the list's sorted one-column store and its " File name " column.
void prgfiles_module_init();
// Refills the list from folder/"prg" when "Create PRG files" is on.
void prgfiles_update_list(const gchar *folder);
// Empties the list, the three viewers and their file-name entries.
void prgfiles_clear_list();
