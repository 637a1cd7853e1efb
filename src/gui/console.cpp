#include "gui/console.h"

#include "core/consolecmd.h"
#include "core/jobcheck.h"
#include "core/reportfile.h"
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
#include <sys/wait.h>

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

// How the console program's run went, written by the worker before it
// clears thread_busy (whose atomic store makes them visible to the main
// thread that reads them after seeing thread_busy == 0).
bool console_started = false;
bool console_exit_known = false;
int console_exit_status = 0;

// What the job expects to find when it ends: the report it should write and
// the output it should make, each stamped before the start, so that a file
// left by an earlier job is never taken for this job's.
struct PendingJob {
    JobKind kind = JobKind::Test;
    int64_t start_ns = 0;
    std::string report_path;
    FileStamp report_before;
    std::string expected_tape;    // the tape the report must describe
    std::string output_path;      // clean., converted., .au or .wav; empty for Test and Batch
    FileStamp output_before;
};
PendingJob pending_job;

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
    console_started = started;
    console_exit_known = started;
    if (started) {
        console_exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return true;
    }
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

using Job = JobKind;

std::string console_folder()
{
    return utf8_path_consolelocation ? utf8_path_consolelocation : "";
}

// Stamps what the job should leave behind, just before it starts.
void expect_job_results(Job job)
{
    pending_job = PendingJob();
    pending_job.kind = job;
    pending_job.start_ns = job_clock_ns();
    gchar *report = g_build_filename(console_folder().c_str(), report_file_name(job == Job::Batch), nullptr);
    pending_job.report_path = report;
    g_free(report);
    pending_job.report_before = job_file_stamp(pending_job.report_path);
    const std::string tested = utf8_path_lasttestedTAP ? utf8_path_lasttestedTAP : "";
    const std::string attached = utf8_path_lastopenTAP ? utf8_path_lastopenTAP : "";
    switch (job) {
    case Job::Test: pending_job.expected_tape = tested; break;
    case Job::Clean:
    case Job::Convert:
        pending_job.expected_tape = tested;
        pending_job.output_path = tested;
        break;
    case Job::Record: pending_job.output_path = job_recorded_audio_path(attached, record_file_type == 0); break;
    case Job::Batch: break;
    }
    if (!pending_job.output_path.empty())
        pending_job.output_before = job_file_stamp(pending_job.output_path);
    console_started = false;
    console_exit_known = false;
    console_exit_status = 0;
}

// What the finished job left behind.
JobOutcome finished_job_outcome()
{
    JobOutcome outcome;
    outcome.kind = pending_job.kind;
    outcome.started = console_started;
    if (!console_started && stderr_console_command)
        outcome.start_error = stderr_console_command;
    outcome.exit_known = console_exit_known;
    outcome.exit_status = console_exit_status;
    outcome.console_folder = console_folder();
    outcome.report_path = pending_job.report_path;
    outcome.report_new = job_file_is_new(pending_job.report_before, job_file_stamp(pending_job.report_path),
                                         pending_job.start_ns);
    if (outcome.report_new)
        outcome.report_tape = job_report_tape_name(pending_job.report_path);
    outcome.expected_tape = pending_job.expected_tape;
    return outcome;
}

// A text shown through a dialog that takes a format: "%" stays "%".
std::string without_formats(const std::string &text)
{
    std::string result;
    for (char c : text) {
        result += c;
        if (c == '%')
            result += '%';
    }
    return result;
}

gboolean show_job_error(gpointer text)
{
    common_create_simple_error_dialog(GTK_WINDOW(mainwindow),
                                      without_formats(static_cast<const char *>(text)).c_str());
    g_free(text);
    return FALSE;
}

// The error dialog after the completion step has done its work (the dialog
// runs its own loop; the timeout is gone by then).
void report_job_error(const std::string &text)
{
    common_append_log_textview(text.c_str());
    common_append_log_textview("\n");
    g_idle_add(show_job_error, g_strdup(text.c_str()));
}

// The report pages and the tools are left empty when the report does not
// describe the tape just processed: the plain page says why (and shows
// what the console wrote, if it wrote a report at all).
void show_no_report(const std::string &problem, const JobOutcome &outcome)
{
    std::string text = problem;
    gchar *contents = nullptr;
    if (outcome.report_new && g_file_get_contents(outcome.report_path.c_str(), &contents, nullptr, nullptr)) {
        gchar *valid = g_utf8_make_valid(contents, -1);
        text += std::string("\n\n") + _("What the console program wrote:") + "\n\n" + valid;
        g_free(valid);
    }
    g_free(contents);
    report_clear_interactive();
    report_set_textview_text(text.c_str());
    report_set_type(0);
}

// "Written: PATH" in the System Log, or the problem to tell in a dialog.
std::string check_output(const JobOutcome &outcome)
{
    if (pending_job.output_path.empty())
        return std::string();
    const bool is_new = job_file_is_new(pending_job.output_before, job_file_stamp(pending_job.output_path),
                                        pending_job.start_ns);
    const OutputVerdict verdict = job_output_verdict(pending_job.output_path, is_new, outcome);
    if (verdict.written)
        common_append_log_textview(verdict.log_line.c_str());
    return verdict.dialog_text;
}

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
    expect_job_results(job);

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

// The reports are read only when this job wrote them for the tape it
// processed; otherwise the pages stay empty and a dialog says what happened
// and what to do (rather than showing an earlier report, as if nothing had
// gone wrong, for tools to cut this tape at another tape's offsets).
gboolean is_test_thread_busy(gpointer storage)
{
    if (thread_busy == 1)
        return TRUE;
    free_console_command();
    const int batch = static_cast<TestStorage *>(storage)->batch;
    const JobOutcome outcome = finished_job_outcome();
    std::string problem = job_report_problem(outcome);
    if (problem.empty()) {
        report_read_report_file(batch);
        report_read_report_file_interactive(batch);
    } else {
        show_no_report(problem, outcome);
    }
    if (batch) {
        common_set_statusbar_text(problem.empty() ? _(" Batch scan complete") : _(" Batch scan failed"));
        common_set_toolbar_and_menu_status(STATUS_BATCH_COMPLETE);
    } else {
        if (problem.empty())
            prgfiles_update_list(utf8_path_consolelocation);
        common_enable_toolbar_and_menu_status_all();
    }
    log_and_free_captured(stdout_console_command);
    log_and_free_captured(stderr_console_command);
    if (batch && problem.empty())
        report_set_type(0);
    const std::string output_problem = check_output(outcome);
    if (!output_problem.empty())
        problem = problem.empty() ? output_problem : problem + "\n\n" + output_problem;
    if (!problem.empty())
        report_job_error(problem);
    return FALSE;
}

gboolean is_conv_thread_busy(gpointer storage)
{
    if (thread_busy == 1)
        return TRUE;
    free_console_command();
    const JobOutcome outcome = finished_job_outcome();
    std::string problem;
    if (*static_cast<int *>(storage) == 0) {
        problem = job_report_problem(outcome);
        if (problem.empty()) {
            report_read_report_file(0);
            report_read_report_file_interactive(0);
            prgfiles_update_list(utf8_path_consolelocation);
        } else {
            show_no_report(problem, outcome);
        }
    }
    common_enable_toolbar_and_menu_status_all();
    log_and_free_captured(stdout_console_command);
    log_and_free_captured(stderr_console_command);
    const std::string output_problem = check_output(outcome);
    if (!output_problem.empty())
        problem = problem.empty() ? output_problem : problem + "\n\n" + output_problem;
    if (!problem.empty())
        report_job_error(problem);
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
    common_set_dialog_start_folder(GTK_FILE_CHOOSER(dialog), utf8_path_lastopenfolder);
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
