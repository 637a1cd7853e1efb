#include "gui/options.h"

#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace {

std::string utf8_path_configfile;

GtkWidget *flag_button(int index)
{
    gchar *name = g_strconcat("checkbutton_", configurable_options_console_flags[index].key, nullptr);
    GtkWidget *button = lookup_widget(mainwindow, name);
    g_free(name);
    return button;
}

GtkRange *tolerance_scale()
{
    return GTK_RANGE(lookup_widget(mainwindow, "hscale_tolerance"));
}

void log_path_message(const char *before, const std::string &path, const char *after)
{
    common_append_log_textview(before);
    common_append_log_textview(path.c_str());
    common_append_log_textview(after);
}

} // namespace

const std::string &options_config_file()
{
    return utf8_path_configfile;
}

void options_module_init()
{
    utf8_path_configfile = options_config_file_path();
    options_load_from_file();
}

void options_init_checkbuttons()
{
    GtkWidget *doprg = lookup_widget(mainwindow, "checkbutton_doprg");
    options_set_child_prg_checkbuttons_status(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(doprg)));
}

void options_set_child_prg_checkbuttons_status(bool active)
{
    gtk_widget_set_sensitive(lookup_widget(mainwindow, "checkbutton_prgunite"), active);
}

void options_load_from_file()
{
    OptionsUpdate update;
    switch (options_load_file(utf8_path_configfile, update)) {
    case OptionsLoad::CreatedDefault:
        // The widgets' initial states already are the defaults.
        log_path_message(_("\nDefault options saved to:\n         "), utf8_path_configfile, "\n\n");
        break;
    case OptionsLoad::CouldNotCreate:
        log_path_message(_("\nDefault options could not be saved to:\n         "),
                         utf8_path_configfile, "\n");
        common_append_log_textview(
            _("Try to create the path manually and restart the application\n\n"));
        break;
    case OptionsLoad::Loaded:
        set_options_from_config(update);
        log_path_message(_("\nOptions loaded from:\n         "), utf8_path_configfile, "\n\n");
        break;
    case OptionsLoad::Unreadable:
        break;
    }
}

void set_options_from_config(const OptionsUpdate &update)
{
    if (update.tolerance)
        gtk_range_set_value(tolerance_scale(), *update.tolerance);
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        if (update.buttons[i])
            gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(flag_button(i)), *update.buttons[i]);
    if (update.automove)
        gtk_toggle_button_set_active(
            GTK_TOGGLE_BUTTON(lookup_widget(mainwindow, "checkbutton_move_files_after_clean")),
            *update.automove);
    if (update.font)
        common_set_textview_fonts_from_description(g_strdup(update.font->c_str()));
}

OptionsState options_read_widgets()
{
    OptionsState state;
    state.tolerance = gtk_range_get_value(tolerance_scale());
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        state.buttons[i] = gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(flag_button(i)));
    state.automove = gtk_toggle_button_get_active(
        GTK_TOGGLE_BUTTON(lookup_widget(mainwindow, "checkbutton_move_files_after_clean")));
    // Without any font set, the default keeps the file a readable key file.
    const gchar *font = common_get_current_font_description();
    state.font = font ? font : FONT_DEFAULT;
    return state;
}

bool options_save_to_file()
{
    return options_save_file(utf8_path_configfile, options_read_widgets());
}

void options_set_defaults()
{
    OptionsUpdate update;
    if (options_parse(options_default_text, OPTIONS_DEFAULT_TEXT_SIZE, update))
        set_options_from_config(update);
}

void options_set_max_tolerance()
{
    gtk_range_set_value(tolerance_scale(), TOLERANCE_MAX);
}
