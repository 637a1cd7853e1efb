// The two compiled-in program pictures.
#pragma once
#include <gtk/gtk.h>

extern const char *const *const tape_icon_xpm_data;      // 48 x 48, the window icon
extern const char *const *const tape_icon_xmas_xpm_data; // 57 x 50, About in December

// Sets the window icon from the normal picture; without a picture the
// window simply keeps no icon.
void attach_icon_to_window(GtkWidget *window);
