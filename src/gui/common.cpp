#include "gui/common.h"

#include "core/appinfo.h"
#include "gui/appstate.h"
#include "gui/interface.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <cstring>

namespace {

gchar *font_description = nullptr;

FilePopupBuilder file_popup_builders[FILE_POPUP_KINDS] = {};

// The job controls of each field of the status mask, from bits 0-1 upwards.
const char *const status_controls[STATUS_FIELD_COUNT][2] = {
    {"toolbutton_open_file", "menuitem_file_open"},
    {"toolbutton_batch", nullptr},
    {"toolbutton_test", nullptr},
    {"toolbutton_clean", nullptr},
    {"menutoolbutton_convert", nullptr},
    {"menutoolbutton_recordaudio", nullptr},
};

// The views that share the text-area font, in the order they are set.
const char *const font_views[] = {"textview_report", "textview_log", "textview_prgfiles_hex",
                                  "textview_prgfiles_dasm", "textview_prgfiles_basic"};

void set_all_controls(gboolean sensitive)
{
    for (const auto &field : status_controls)
        for (const char *name : field)
            if (name)
                gtk_widget_set_sensitive(lookup_widget(mainwindow, name), sensitive);
}

void apply_font_to_views()
{
    PangoFontDescription *description = pango_font_description_from_string(font_description);
    for (const char *name : font_views) {
        GtkWidget *view = lookup_widget(mainwindow, name);
        if (view)
            gtk_widget_modify_font(view, description);
    }
    pango_font_description_free(description);
}

} // namespace

void common_set_toolbar_and_menu_status(int mask)
{
    for (int field = 0; field < STATUS_FIELD_COUNT; ++field) {
        const StatusAction action = status_mask_action(mask, field);
        if (action == StatusAction::Leave)
            continue;
        for (const char *name : status_controls[field])
            if (name)
                gtk_widget_set_sensitive(lookup_widget(mainwindow, name),
                                         action == StatusAction::Enable);
    }
}

void common_enable_toolbar_and_menu_status_all()
{
    set_all_controls(TRUE);
}

void common_disable_toolbar_and_menu_status_all()
{
    set_all_controls(FALSE);
}

void common_set_statusbar_text(const gchar *text)
{
    GtkStatusbar *bar = GTK_STATUSBAR(lookup_widget(mainwindow, "statusbar_mainwin"));
    gtk_statusbar_pop(bar, 0);
    gtk_statusbar_push(bar, 0, text);
}

void common_append_log_textview(const gchar *text)
{
    GtkTextView *log = GTK_TEXT_VIEW(lookup_widget(mainwindow, "textview_log"));
    GtkTextBuffer *buffer = gtk_text_view_get_buffer(log);
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(buffer, &end);
    gtk_text_buffer_insert(buffer, &end, text, -1);
}

void common_init_textview_properties()
{
    for (const char *name : font_views)
        lookup_widget(mainwindow, name);
    common_set_textview_fonts_from_description(g_strdup("courier 11"));
}

const gchar *common_get_current_font_description()
{
    return font_description;
}

void common_set_textview_fonts_from_description(gchar *font)
{
    g_free(font_description);
    font_description = font;
    apply_font_to_views();
}

void common_on_set_textview_fonts()
{
    GtkWidget *dialog = create_fontselectiondialog_select_font();
    GtkFontSelectionDialog *chooser = GTK_FONT_SELECTION_DIALOG(dialog);
    gtk_font_selection_dialog_set_font_name(chooser, font_description);
    for (;;) {
        const gint response = gtk_dialog_run(GTK_DIALOG(dialog));
        if (response == GTK_RESPONSE_OK || response == GTK_RESPONSE_APPLY)
            common_set_textview_fonts_from_description(
                gtk_font_selection_dialog_get_font_name(chooser));
        if (response != GTK_RESPONSE_APPLY)
            break;
    }
    gtk_widget_destroy(dialog);
}

void common_advertise_progress(gdouble fraction)
{
    GtkWidget *bar = lookup_widget(mainwindow, "progressbar_prg_files_processing");
    if (bar)
        gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(bar), fraction);
    while (gtk_events_pending())
        gtk_main_iteration();
}

void common_create_friendly_dialog(const gchar *title, const gchar *text)
{
    GtkWidget *dialog = gtk_dialog_new_with_buttons(
        title, GTK_WINDOW(mainwindow),
        GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT), GTK_STOCK_OK,
        GTK_RESPONSE_NONE, nullptr);
    gtk_window_set_type_hint(GTK_WINDOW(dialog), GDK_WINDOW_TYPE_HINT_DIALOG);
    gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER);
    gtk_window_set_resizable(GTK_WINDOW(dialog), FALSE);
    GtkWidget *label = gtk_label_new(text);
    gtk_widget_set_name(label, "label_friendly_dialog");
    gtk_misc_set_padding(GTK_MISC(label), 10, 10);
    gtk_container_add(GTK_CONTAINER(GTK_DIALOG(dialog)->vbox), label);
    g_signal_connect(dialog, "response", G_CALLBACK(gtk_widget_destroy), nullptr);
    gtk_widget_show_all(dialog);
}

void common_set_dialog_start_folder(GtkFileChooser *chooser, const gchar *folder)
{
    if (folder != nullptr && g_file_test(folder, G_FILE_TEST_IS_DIR))
        gtk_file_chooser_set_current_folder(chooser, folder);
    else
        gtk_file_chooser_set_current_folder(chooser, g_get_home_dir());
}

std::string common_choose_save_path(const gchar *title, const std::string &proposed, const gchar *folder,
                                    std::string *chosen_folder)
{
    GtkWidget *dialog = create_filechooserdialog_save_generic();
    gtk_window_set_title(GTK_WINDOW(dialog), title);
    GtkFileChooser *chooser = GTK_FILE_CHOOSER(dialog);
    gtk_file_chooser_set_do_overwrite_confirmation(chooser, TRUE);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
    gchar *start = folder != nullptr ? g_strdup(folder) : nullptr;  // the chooser may change what folder points to
    common_set_dialog_start_folder(chooser, start);
    g_free(start);
    gtk_file_chooser_set_current_name(chooser, proposed.c_str());
    std::string path;
    if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK) {
        if (gchar *chosen = gtk_file_chooser_get_filename(chooser)) {
            path = chosen;
            g_free(chosen);
        }
        if (chosen_folder != nullptr)
            if (gchar *shown = gtk_file_chooser_get_current_folder(chooser)) {
                *chosen_folder = shown;
                g_free(shown);
            }
    }
    gtk_widget_destroy(dialog);
    return path;
}

std::string common_tested_tape_base_name(const char *fallback)
{
    if (utf8_path_lasttestedTAP == nullptr)
        return fallback;
    gchar *base = g_path_get_basename(utf8_path_lasttestedTAP);
    if (gchar *dot = std::strrchr(base, '.'); dot != nullptr && dot != base)
        *dot = '\0';
    std::string name = base;
    g_free(base);
    return name;
}

void common_create_simple_error_dialog(GtkWindow *parent, const gchar *text)
{
    // The text is the message's format, so a "%" in it is interpreted.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    GtkWidget *dialog = gtk_message_dialog_new(parent, GTK_DIALOG_DESTROY_WITH_PARENT,
                                               GTK_MESSAGE_ERROR, GTK_BUTTONS_CLOSE, text);
#pragma GCC diagnostic pop
    gtk_window_set_title(GTK_WINDOW(dialog), _("Error"));
    gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER);
    gtk_window_set_resizable(GTK_WINDOW(dialog), FALSE);
    gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
}

void common_save_as_png(GtkWidget *widget, GdkDrawable *drawable, const gchar *path,
                        const gchar *suffix)
{
    GtkWidget *dialog = create_filechooserdialog_save_generic();
    gtk_window_set_title(GTK_WINDOW(dialog), _("Save to a PNG file"));
    gchar *base = g_path_get_basename(path ? path : "");
    gchar *proposed = g_strdup_printf(_("%s_%s.png"), base, suffix);
    gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(dialog), proposed);
    gtk_file_chooser_set_do_overwrite_confirmation(GTK_FILE_CHOOSER(dialog), TRUE);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
    g_free(proposed);
    g_free(base);

    if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK) {
        gchar *filename = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(dialog));
        GError *error = nullptr;
        const int width = widget->allocation.width;
        const int height = widget->allocation.height;
        GdkPixbuf *picture = width > 0 && height > 0
                                 ? gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, height)
                                 : nullptr;
        if (!picture) {
            g_set_error_literal(&error, GDK_PIXBUF_ERROR, GDK_PIXBUF_ERROR_FAILED,
                                _("Failed to allocate pixbuf"));
        } else if (!drawable || !gdk_pixbuf_get_from_drawable(picture, drawable, nullptr, 0, 0,
                                                               0, 0, width, height)) {
            g_set_error_literal(&error, GDK_PIXBUF_ERROR, GDK_PIXBUF_ERROR_FAILED,
                                _("Failed to transfer data to pixbuf"));
        } else {
            gdk_pixbuf_save(picture, filename, "png", &error, nullptr);
        }
        if (error) {
            common_append_log_textview(error->message);
            common_append_log_textview("\n");
            g_error_free(error);
        }
        if (picture)
            g_object_unref(picture);
        g_free(filename);
    }
    gtk_widget_destroy(dialog);
}

int common_textview_save_contents(GtkTextView *view, const gchar *path)
{
    GtkTextBuffer *buffer = gtk_text_view_get_buffer(view);
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(buffer, &start, &end);
    gchar *text = gtk_text_buffer_get_text(buffer, &start, &end, FALSE);
    GError *error = nullptr;
    const gboolean written = g_file_set_contents(path, text, -1, &error);
    g_free(text);
    if (!written) {
        common_append_log_textview(error->message);
        common_append_log_textview("\n");
        g_error_free(error);
        return 0;
    }
    return 1;
}

void common_show_release_notes()
{
    GtkTextView *view = GTK_TEXT_VIEW(lookup_widget(mainwindow, "textview_report"));
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(view), release_notes_text(), -1);
}

void on_textview_report_save_contents_activate(GtkMenuItem *, gpointer)
{
    gchar *base = g_path_get_basename(utf8_path_lasttestedTAP ? utf8_path_lasttestedTAP : "");
    gchar *proposed = g_strdup_printf(_("%s_report.txt"), base);
    const std::string target =
        common_choose_save_path(_("Save report to text file"), proposed, utf8_path_lasttestedfolder);
    g_free(proposed);
    g_free(base);
    if (target.empty())
        return;
    GtkTextView *view = GTK_TEXT_VIEW(lookup_widget(mainwindow, "textview_report"));
    if (!common_textview_save_contents(view, target.c_str()))
        common_append_log_textview(_("Could not save report to file\n"));
}

gboolean on_view_file_popup_menu(GtkWidget *view, GdkEventButton *event, guint kind)
{
    GtkTreeSelection *selection = gtk_tree_view_get_selection(GTK_TREE_VIEW(view));
    if (gtk_tree_selection_count_selected_rows(selection) != 1)
        return FALSE;
    if (!utf8_path_lasttestedTAP || !(g_str_has_suffix(utf8_path_lasttestedTAP, ".TAP") ||
                                      g_str_has_suffix(utf8_path_lasttestedTAP, ".tap")))
        return FALSE;
    if (kind >= FILE_POPUP_KINDS || !file_popup_builders[kind])
        return FALSE;
    GtkWidget *menu = file_popup_builders[kind]();
    gtk_widget_show_all(menu);
    gtk_menu_popup(GTK_MENU(menu), nullptr, nullptr, nullptr, nullptr, event ? event->button : 0,
                   event ? event->time : gtk_get_current_event_time());
    return TRUE;
}

void common_register_file_popup_builder(guint kind, FilePopupBuilder builder)
{
    if (kind < FILE_POPUP_KINDS)
        file_popup_builders[kind] = builder;
}

GtkWidget *common_prepend_popup_item(GtkMenu *menu, const gchar *label, const gchar *stock_id,
                                     const gchar *name, GCallback handler)
{
    GtkWidget *separator = gtk_separator_menu_item_new();
    gtk_widget_show(separator);
    gtk_menu_shell_prepend(GTK_MENU_SHELL(menu), separator);
    GtkWidget *item = gtk_image_menu_item_new_with_label(label);
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item), gtk_image_new_from_stock(stock_id, GTK_ICON_SIZE_MENU));
    gtk_widget_set_name(item, name);
    gtk_widget_show(item);
    gtk_menu_shell_prepend(GTK_MENU_SHELL(menu), item);
    g_signal_connect(item, "activate", handler, nullptr);
    return item;
}
