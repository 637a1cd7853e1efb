#include "gui/callbacks.h"

#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/options.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

gboolean on_mainwindow_delete_event(GtkWidget *, GdkEvent *, gpointer)
{
    // No prompt and nothing saved: a running job is simply abandoned.
    gtk_main_quit();
    return FALSE;
}

void on_menuitem_file_quit_activate(GtkMenuItem *, gpointer)
{
    gtk_main_quit();
}

void on_menuitem_help_release_notes_activate(GtkMenuItem *, gpointer)
{
    GtkWidget *report = lookup_widget(mainwindow, "notebook_report");
    if (report)
        gtk_notebook_set_current_page(GTK_NOTEBOOK(report), 0);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(lookup_widget(mainwindow, "notebook_main")), 0);
    common_show_release_notes();
    release_notes_on = 1;
}

void on_textview_log_populate_popup(GtkTextView *, GtkMenu *menu, gpointer)
{
    common_prepend_popup_item(menu, _("Clear log"), GTK_STOCK_NEW, "menuitem_clear_log",
                              G_CALLBACK(on_textview_clear_log_menuitem_activate));
}

void on_textview_clear_log_menuitem_activate(GtkMenuItem *, gpointer)
{
    GtkTextView *log = GTK_TEXT_VIEW(lookup_widget(mainwindow, "textview_log"));
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(log), "", -1);
}

void on_checkbutton_doprg_toggled(GtkToggleButton *button, gpointer)
{
    options_set_child_prg_checkbuttons_status(gtk_toggle_button_get_active(button));
}

void on_button_options_restore_defaults_clicked(GtkButton *, gpointer)
{
    options_set_defaults();
}

void on_button_options_max_tolerance_clicked(GtkButton *, gpointer)
{
    options_set_max_tolerance();
}

void on_button_options_font_clicked(GtkButton *, gpointer)
{
    common_on_set_textview_fonts();
}

void on_button_options_save_config_clicked(GtkButton *, gpointer)
{
    common_set_statusbar_text(options_save_to_file() ? _(" Options saved to file")
                                                     : _(" Options could not be saved to file"));
}
