#include "gui/startup.h"

#include "gui/analysis.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/editor.h"
#include "gui/icons.h"
#include "gui/interface.h"
#include "gui/options.h"
#include "gui/prgfiles.h"
#include "gui/pulsestats_page.h"
#include "gui/repair.h"
#include "gui/report.h"
#include "gui/scanners.h"
#include "gui/split.h"
#include "gui/support.h"

#include "core/installpaths.h"

#include <glib/gi18n-lib.h>

#include <clocale>

namespace {

const GtkTargetEntry target_list[] = {
    {const_cast<gchar *>("text/uri-list"), 0, 0},
};

void log_environment()
{
    common_append_log_textview(_("Quillmar Front End environment options:\n"));
    common_append_log_textview("         TAPHOME: ");
    const gchar *taphome = g_getenv("TAPHOME");
    if (taphome) {
        common_append_log_textview(taphome);
        common_append_log_textview("\n");
        // A value that is not a folder is shown but not used.
        if (g_file_test(taphome, G_FILE_TEST_IS_DIR))
            replace_owned_string(utf8_path_lastopenfolder, taphome);
    } else {
        common_append_log_textview(_("[none]\n"));
    }
}

void attach_menu(const char *tool_button, GtkWidget *menu)
{
    gtk_menu_tool_button_set_menu(GTK_MENU_TOOL_BUTTON(lookup_widget(mainwindow, tool_button)),
                                  menu);
}

} // namespace

void bind_message_catalogue()
{
    // The catalogues of the install (or of the build tree) the program runs
    // from; "" (the working folder) when neither has any.
    bindtextdomain(GETTEXT_PACKAGE, message_catalogue_folder(running_program_folder()).c_str());
    bind_textdomain_codeset(GETTEXT_PACKAGE, "UTF-8");
    textdomain(GETTEXT_PACKAGE);
    setlocale(LC_ALL, "");
}

void quillmarfe_startup(int *argc, char ***argv)
{
    bind_message_catalogue();
    gtk_init(argc, argv);

    add_pixmap_directory("/quillmarfe/pixmaps");

    mainwindow = create_mainwindow();
    attach_icon_to_window(mainwindow);

    gtk_drag_dest_set(mainwindow, GtkDestDefaults(GTK_DEST_DEFAULT_MOTION | GTK_DEST_DEFAULT_DROP),
                      target_list, G_N_ELEMENTS(target_list),
                      GdkDragAction(GDK_ACTION_COPY | GDK_ACTION_MOVE));

    common_init_textview_properties();

    gchar *cwd = g_get_current_dir();
    const std::string program_folder = running_program_folder();
    // Started beside its console program, the front end works there; an
    // installed one started elsewhere (from the menu) works in the user's own
    // console folder, where the console may write its reports.
    const ConsoleFolderChoice console_folder = choose_default_console_location(
        cwd, program_folder, shipped_data_folder(program_folder), user_console_folder());
    replace_owned_string(utf8_path_consolelocation, console_folder.folder.c_str());
    g_free(cwd);

    log_environment();
    if (!console_folder.error.empty()) {
        gchar *line = g_strdup_printf(_("Cannot prepare the console folder (%s); the console location "
                                        "stays the working folder.\n"),
                                      console_folder.error.c_str());
        common_append_log_textview(line);
        g_free(line);
    }

    options_module_init();
    options_init_checkbuttons();

    attach_menu("menutoolbutton_convert", create_menu_convert());
    attach_menu("menutoolbutton_recordaudio", create_menu_record());

    common_set_toolbar_and_menu_status(STATUS_NO_FILE_ATTACHED);

    scanners_module_init();
    prgfiles_module_init();
    report_module_init();
    tape_editor_module_init();
    split_module_init();
    tape_analysis_module_init();
    cbm_file_repair_module_init();
    pulse_statistics_module_init();

    common_show_release_notes();
    release_notes_on = 1;
    common_set_statusbar_text(_(" No TAP/DMP file or folder attached for operation or batch scan"));
}
