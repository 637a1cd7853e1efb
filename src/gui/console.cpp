#include "gui/console.h"

#include "core/consolecmd.h"
#include "core/statusmask.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/interface.h"
#include "gui/options.h"
#include "gui/prgfiles.h"
#include "gui/repair.h"
#include "gui/report.h"
#include "gui/scanners.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <cstdlib>

int convert_tap_version = 1;
int record_file_type = 1;

GString *console_command = nullptr;
gchar *stdout_console_command = nullptr;
gchar *stderr_console_command = nullptr;

namespace {

// Handed to the completion timeouts; single records, as only one job runs.
struct TestStorage {
    int batch;
    int clean;
};
TestStorage test_storage = {0, 0};
int record_storage = 0;

ConsoleSettings read_console_settings()
{
    ConsoleSettings settings;
    settings.console_location = utf8_path_consolelocation ? utf8_path_consolelocation : "";
    const OptionsState options = options_read_widgets();
    settings.tolerance = options.tolerance;
    std::copy(std::begin(options.buttons), std::end(options.buttons), settings.buttons);
    settings.excludeall = gtk_toggle_button_get_active(
        GTK_TOGGLE_BUTTON(lookup_widget(mainwindow, "checkbutton_excludeall")));
    settings.scanners = scanners_read_rows();
    GtkWidget *params = lookup_widget(mainwindow, "comboboxentry_additional_params");
    settings.additional_params = gtk_entry_get_text(GTK_ENTRY(gtk_bin_get_child(GTK_BIN(params))));
    return settings;
}

bool redirect_output()
{
    return gtk_toggle_button_get_active(
        GTK_TOGGLE_BUTTON(lookup_widget(mainwindow, "checkbutton_redirect_console_output")));
}

// Runs one line through the process spawner; false (with the message in
// stderr_console_command) when the program could not be started.
bool spawn_first_piece(const char *line, bool redirected)
{
    GError *error = nullptr;
    gint status = 0;
    const gboolean started = g_spawn_command_line_sync(
        line, redirected ? &stdout_console_command : nullptr,
        redirected ? &stderr_console_command : nullptr, &status, &error);
    if (started)
        return true;
    g_free(stderr_console_command);
    stderr_console_command = g_strdup_printf(_("Cannot execute console program: %s"),
                                             error ? error->message : "");
    if (error)
        g_error_free(error);
    return false;
}

gpointer run_test_style(bool redirected)
{
    const std::vector<std::string> pieces = split_console_command(console_command->str);
    if (!pieces.empty() && spawn_first_piece(pieces[0].c_str(), redirected)) {
        // Further pieces (the move after a Clean) run through the shell.
        for (size_t i = 1; i < pieces.size(); ++i)
            if (std::system(pieces[i].c_str()) == -1)
                break;
    }
    thread_busy = 0;
    return nullptr;
}

gpointer run_convert_style(bool redirected)
{
    spawn_first_piece(console_command->str, redirected);
    thread_busy = 0;
    return nullptr;
}

void log_and_free_captured(gchar *&captured)
{
    if (!captured)
        return;
    if (captured[0]) {
        common_append_log_textview(captured);
        common_append_log_textview("\n");
    }
    g_free(captured);
    captured = nullptr;
}

void free_console_command()
{
    if (console_command)
        g_string_free(console_command, TRUE);
    console_command = nullptr;
}

// The base name of the attached tape turned into a sibling's full path.
gchar *sibling_of_attached_tape(const std::string &name)
{
    gchar *folder = g_path_get_dirname(utf8_path_lastopenTAP);
    gchar *path = g_build_filename(folder, name.c_str(), nullptr);
    g_free(folder);
    return path;
}

std::string attached_base_name()
{
    gchar *base = g_path_get_basename(utf8_path_lastopenTAP ? utf8_path_lastopenTAP : "");
    std::string result = base;
    g_free(base);
    return result;
}

enum class Job { Test, Clean, Batch, Convert, Record };

void start_job(Job job)
{
    const bool batch = job == Job::Batch;
    const bool record = job == Job::Record;
    const ConsoleSettings settings = read_console_settings();

    prepare_console_command(batch ? 1 : 0, record ? 1 : 0);
    if ((job == Job::Test || job == Job::Clean || batch) && !settings.additional_params.empty()) {
        g_string_append(console_command, settings.additional_params.c_str());
        g_string_append(console_command, " ");
    }
    ConsoleOperation operation = ConsoleOperation::Test;
    const char *target = utf8_path_lastopenTAP ? utf8_path_lastopenTAP : "";
    switch (job) {
    case Job::Test: operation = ConsoleOperation::Test; break;
    case Job::Clean: operation = ConsoleOperation::Clean; break;
    case Job::Batch:
        operation = ConsoleOperation::Batch;
        target = utf8_path_lastopenfolder ? utf8_path_lastopenfolder : "";
        break;
    case Job::Convert:
        operation = convert_tap_version == 0 ? ConsoleOperation::ConvertV0 : ConsoleOperation::ConvertV1;
        break;
    case Job::Record:
        operation = record_file_type == 0 ? ConsoleOperation::RecordAu : ConsoleOperation::RecordWav;
        break;
    }
    g_string_append(console_command, console_operation_piece(operation, target).c_str());

    common_disable_toolbar_and_menu_status_all();
    prgfiles_clear_list();
    cbm_file_repair_module_clear();

    common_append_log_textview(console_command->str);
    common_append_log_textview("\n");

    thread_busy = 1;
    const bool redirected = redirect_output();

    switch (job) {
    case Job::Test:
        replace_owned_string(utf8_path_lasttestedfolder, utf8_path_lastopenfolder);
        replace_owned_string(utf8_path_lasttestedTAP, utf8_path_lastopenTAP);
        break;
    case Job::Clean: {
        replace_owned_string(utf8_path_lasttestedfolder, utf8_path_lastopenfolder);
        const std::string cleaned = cleaned_tape_name(attached_base_name());
        gchar *destination = sibling_of_attached_tape(cleaned);
        g_free(utf8_path_lasttestedTAP);
        utf8_path_lasttestedTAP = destination;
        if (gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(
                lookup_widget(mainwindow, "checkbutton_move_files_after_clean"))))
            g_string_append(console_command, move_command_piece(cleaned, destination).c_str());
        break;
    }
    case Job::Batch:
        common_set_statusbar_text(_(" Processing..."));
        break;
    case Job::Convert: {
        replace_owned_string(utf8_path_lasttestedfolder, utf8_path_lastopenfolder);
        g_free(utf8_path_lasttestedTAP);
        utf8_path_lasttestedTAP = sibling_of_attached_tape(converted_tape_name(attached_base_name()));
        break;
    }
    case Job::Record:
        break;
    }

    const bool test_style = job == Job::Test || job == Job::Clean || batch;
    GThreadFunc worker = test_style ? (redirected ? thread_func_test_tap_redirected : thread_func_test_tap)
                                    : (redirected ? thread_func_conv_tap_redirected : thread_func_conv_tap);
    GThread *thread = g_thread_new(test_style ? "test_activate" : "convert_and_record_activate",
                                   worker, nullptr);
    g_thread_unref(thread); // never joined

    if (test_style) {
        test_storage = {batch ? 1 : 0, job == Job::Clean ? 1 : 0};
        release_notes_on = 0;
        g_timeout_add(250, is_test_thread_busy, &test_storage);
    } else {
        record_storage = record ? 1 : 0;
        g_timeout_add(250, is_conv_thread_busy, &record_storage);
    }
}

} // namespace

void prepare_console_command(int batch, int record)
{
    // A new string each time: the previous one is freed by the completion step.
    console_command = g_string_new(console_command_head(read_console_settings(), batch, record).c_str());
    scanners_append_switches(console_command);
}

gpointer thread_func_test_tap(gpointer)
{
    return run_test_style(false);
}

gpointer thread_func_test_tap_redirected(gpointer)
{
    return run_test_style(true);
}

gpointer thread_func_conv_tap(gpointer)
{
    return run_convert_style(false);
}

gpointer thread_func_conv_tap_redirected(gpointer)
{
    return run_convert_style(true);
}

gboolean is_test_thread_busy(gpointer storage)
{
    if (thread_busy == 1)
        return TRUE;
    free_console_command();
    const int batch = static_cast<TestStorage *>(storage)->batch;
    report_read_report_file(batch);
    report_read_report_file_interactive(batch);
    if (batch) {
        common_set_statusbar_text(_(" Batch scan complete"));
        common_set_toolbar_and_menu_status(STATUS_BATCH_COMPLETE);
    } else {
        prgfiles_update_list(utf8_path_consolelocation);
        common_enable_toolbar_and_menu_status_all();
    }
    log_and_free_captured(stdout_console_command);
    log_and_free_captured(stderr_console_command);
    if (batch)
        report_set_type(0);
    return FALSE;
}

gboolean is_conv_thread_busy(gpointer storage)
{
    if (thread_busy == 1)
        return TRUE;
    free_console_command();
    if (*static_cast<int *>(storage) == 0) {
        report_read_report_file(0);
        report_read_report_file_interactive(0);
        prgfiles_update_list(utf8_path_consolelocation);
    }
    common_enable_toolbar_and_menu_status_all();
    log_and_free_captured(stdout_console_command);
    log_and_free_captured(stderr_console_command);
    return FALSE;
}

void on_core_test_activate()
{
    start_job(Job::Test);
}

void on_toolbutton_test_clicked(GtkToolButton *, gpointer)
{
    on_core_test_activate();
}

void on_toolbutton_clean_clicked(GtkToolButton *, gpointer)
{
    start_job(Job::Clean);
}

void on_toolbutton_batch_clicked(GtkToolButton *, gpointer)
{
    GtkWidget *dialog = create_filechooserdialog_open_batch_location();
    if (utf8_path_lastopenfolder)
        gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(dialog), utf8_path_lastopenfolder);
    if (gtk_dialog_run(GTK_DIALOG(dialog)) != GTK_RESPONSE_OK) {
        gtk_widget_destroy(dialog);
        return;
    }
    // The folder whose contents the dialog shows, not one highlighted in it.
    gchar *folder = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(dialog));
    replace_owned_string(utf8_path_lastopenfolder, folder);
    g_free(folder);
    gtk_widget_destroy(dialog);
    start_job(Job::Batch);
}

void on_menutoolbutton_convert_clicked(GtkToolButton *, gpointer)
{
    start_job(Job::Convert);
}

void on_menutoolbutton_recordaudio_clicked(GtkToolButton *, gpointer)
{
    start_job(Job::Record);
}

// Choosing an item only records the choice; the tool button starts the job.
void on_menuitem_convert_to_tap_v_0_activate(GtkMenuItem *, gpointer)
{
    convert_tap_version = 0;
}

void on_menuitem_convert_to_tap_v_1_activate(GtkMenuItem *, gpointer)
{
    convert_tap_version = 1;
}

void on_menuitem_record_as_sun_au_activate(GtkMenuItem *, gpointer)
{
    record_file_type = 0;
}

void on_menuitem_record_as_microsoft_wav_activate(GtkMenuItem *, gpointer)
{
    record_file_type = 1;
}

void on_filechooserbutton_quillmar_location_current_folder_changed(GtkFileChooser *chooser, gpointer)
{
    gchar *folder = gtk_file_chooser_get_filename(chooser);
    if (!folder)
        folder = gtk_file_chooser_get_current_folder(chooser);
    // Re-announcing the folder already in use changes nothing.
    if (!folder || g_strcmp0(folder, utf8_path_consolelocation) == 0) {
        g_free(folder);
        return;
    }
    replace_owned_string(utf8_path_consolelocation, folder);
    scanners_reload(folder);
    g_free(folder);
}
