// The Prg Files page's "Save all as D64 image...": every PRG file of the
// console's "prg" folder on a D64 disk image, in tape order under the
// report's names (see core/d64export.h).
#pragma once
#include <gtk/gtk.h>

void on_button_prgfiles_save_d64_clicked(GtkButton *button, gpointer data);
