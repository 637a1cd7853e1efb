// The Tape Editor page: drop files from the tape tested last and save the
// rest beside it as "edited_NAME".
#pragma once
#include <gtk/gtk.h>

void tape_editor_module_init();
void tape_editor_save_as();
GtkWidget *create_popupmenu_tape_editor();
