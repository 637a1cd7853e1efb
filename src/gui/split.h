// The Tape Split page: marks where new files begin ("Cut before") on the
// shared file list model, and cuts the tape tested last into pieces.
#pragma once
#include <gtk/gtk.h>

void split_module_init();
void split_analyze();
void split_split(gint64 total_size);
GtkWidget *create_popupmenu_file_split();
