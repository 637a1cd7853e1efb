#include "gui/about.h"

#include "core/appinfo.h"
#include "gui/appstate.h"
#include "gui/callbacks.h"
#include "gui/icons.h"

#include <glib/gi18n-lib.h>

#include <string>

namespace {

gint64 real_time_now()
{
    return g_get_real_time() / G_USEC_PER_SEC;
}

GtkWidget *centred(GtkWidget *box, GtkWidget *child, guint xpad, guint ypad)
{
    if (GTK_IS_MISC(child)) {
        gtk_misc_set_alignment(GTK_MISC(child), 0.5, 0.5);
        gtk_misc_set_padding(GTK_MISC(child), xpad, ypad);
    }
    gtk_box_pack_start(GTK_BOX(box), child, FALSE, FALSE, 0);
    gtk_widget_show(child);
    return child;
}

} // namespace

gint64 (*about_current_time)() = real_time_now;

void on_menuitem_help_about_activate(GtkMenuItem *, gpointer)
{
    const bool seasonal = about_shows_seasonal_picture(about_current_time());
    GdkPixbuf *picture = gdk_pixbuf_new_from_xpm_data(const_cast<const char **>(
        seasonal ? tape_icon_xmas_xpm_data : tape_icon_xpm_data));

    GtkWidget *dialog = gtk_dialog_new_with_buttons(
        _("About Quillmar Front End"), GTK_WINDOW(mainwindow),
        GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT), GTK_STOCK_OK,
        GTK_RESPONSE_NONE, nullptr);
    gtk_window_set_type_hint(GTK_WINDOW(dialog), GDK_WINDOW_TYPE_HINT_DIALOG);
    gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER);
    gtk_window_set_resizable(GTK_WINDOW(dialog), FALSE);

    GtkWidget *vbox = gtk_vbox_new(FALSE, 0);
    gtk_container_set_border_width(GTK_CONTAINER(vbox), 6);
    gtk_box_pack_start(GTK_BOX(GTK_DIALOG(dialog)->vbox), vbox, TRUE, TRUE, 0);
    gtk_widget_show(vbox);

    GtkWidget *image = centred(vbox, gtk_image_new_from_pixbuf(picture), 0, 5);
    gtk_widget_set_name(image, "image_about");
    if (picture)
        g_object_unref(picture);

    gchar *title = g_markup_printf_escaped("<span size=\"xx-large\"><b>%s</b></span>",
                                           _("Quillmar Front End 0.40"));
    GtkWidget *title_label = gtk_label_new(nullptr);
    gtk_label_set_markup(GTK_LABEL(title_label), title);
    g_free(title);
    centred(vbox, title_label, 0, 0);

    const std::string build = about_build_text(__DATE__, __GNUC__, __GNUC_MINOR__,
                                               __GNUC_PATCHLEVEL__, gtk_major_version,
                                               gtk_minor_version, gtk_micro_version);
    GtkWidget *build_label = centred(vbox, gtk_label_new(build.c_str()), 5, 5);
    gtk_label_set_justify(GTK_LABEL(build_label), GTK_JUSTIFY_CENTER);
    gtk_widget_set_name(build_label, "label_about_build");

    gchar *notice = g_markup_printf_escaped(
        "<span size=\"small\">%s</span>",
        _("Copyright \xC2\xA9 2026 the Quillmar Front End developers.\n"
          "Free software for preserving Commodore tapes; no warranty."));
    GtkWidget *notice_label = gtk_label_new(nullptr);
    gtk_label_set_markup(GTK_LABEL(notice_label), notice);
    gtk_label_set_justify(GTK_LABEL(notice_label), GTK_JUSTIFY_CENTER);
    g_free(notice);
    centred(vbox, notice_label, 5, 5);

    GtkWidget *link = gtk_link_button_new_with_label("https://quillmarfe.example.org/",
                                                     _("Quillmar software home page"));
    centred(vbox, link, 0, 0);

    g_signal_connect(dialog, "response", G_CALLBACK(gtk_widget_destroy), nullptr);
    gtk_widget_show(dialog);
}
