#include "gui/callbacks.h"
#include "gui/ui/pages.h"
#include "gui/ui/uibuild.h"

GtkWidget *create_page_syslog(GtkWidget *top)
{
    // The log stays editable, with a visible cursor.
    GtkWidget *log = ui::text_view(top, "textview_log", false);
    g_signal_connect(log, "populate_popup", G_CALLBACK(on_textview_log_populate_popup), nullptr);
    GtkWidget *scrolled = ui::scrolled(top, "scrolledwindow_log", log);
    gtk_container_set_border_width(GTK_CONTAINER(scrolled), 4);
    return scrolled;
}
