// The Prg Files page: the list of PRG files the console program extracted.
#pragma once
#include <gtk/gtk.h>

// Creates the list's sorted one-column store and its " File name " column.
void prgfiles_module_init();
