#include "gui/icons.h"

#include "pixmaps/tape_icon.xpm"
#include "pixmaps/tape_icon_xmas.xpm"

const char *const *const tape_icon_xpm_data = tape_icon_xpm;
const char *const *const tape_icon_xmas_xpm_data = tape_icon_xmas_xpm;

void attach_icon_to_window(GtkWidget *window)
{
    GdkPixbuf *icon = gdk_pixbuf_new_from_xpm_data(const_cast<const char **>(tape_icon_xpm));
    if (!icon)
        return;
    gtk_window_set_icon(GTK_WINDOW(window), icon);
    g_object_unref(icon);
}
