#include "core/jobcheck.h"

#include "core/textprintf.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace {

constexpr int64_t NS_PER_SECOND = 1000000000;


std::string canonical(const std::string &path)
{
    gchar *canon = g_canonicalize_filename(path.c_str(), nullptr);
    std::string result(canon);
    g_free(canon);
    return result;
}

// What the console program's failure to run looks like, with the way out.
std::string not_run_text(const JobOutcome &outcome)
{
    return text_printf(_("The console program could not be run:\n%s\n\nIt was looked for in %s. Choose the "
                           "folder that holds it on the Options page, then start the job again. The report "
                           "pages and the tools stay empty."),
                         outcome.start_error.c_str(), outcome.console_folder.c_str());
}

} // namespace

FileStamp job_file_stamp(const std::string &path)
{
    FileStamp stamp;
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return stamp;
    stamp.exists = true;
    stamp.device = static_cast<uint64_t>(status.st_dev);
    stamp.inode = static_cast<uint64_t>(status.st_ino);
    stamp.size = static_cast<int64_t>(status.st_size);
    stamp.mtime_ns = static_cast<int64_t>(status.st_mtim.tv_sec) * NS_PER_SECOND + status.st_mtim.tv_nsec;
    stamp.ctime_ns = static_cast<int64_t>(status.st_ctim.tv_sec) * NS_PER_SECOND + status.st_ctim.tv_nsec;
    return stamp;
}

bool job_file_is_new(const FileStamp &before, const FileStamp &after, int64_t job_start_ns)
{
    if (!after.exists)
        return false;
    const bool unchanged = before.exists && before.device == after.device && before.inode == after.inode &&
                           before.size == after.size && before.mtime_ns == after.mtime_ns &&
                           before.ctime_ns == after.ctime_ns;
    if (unchanged)
        return false;
    // Older than the job: a file put there with an old time (a copy that
    // kept its date), not one the job wrote.
    return after.mtime_ns / NS_PER_SECOND >= job_start_ns / NS_PER_SECOND - 1;
}

int64_t job_clock_ns()
{
    return static_cast<int64_t>(g_get_real_time()) * 1000;
}

bool job_same_file(const std::string &a, const std::string &b)
{
    struct stat sa, sb;
    if (stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0)
        return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
    return canonical(a) == canonical(b);
}

std::optional<std::string> job_report_tape_name(const std::string &report_path)
{
    FILE *file = g_fopen(report_path.c_str(), "r");
    if (file == nullptr)
        return std::nullopt;
    static const char KEY[] = "TAP Name    : ";
    std::optional<std::string> name;
    char line[4096];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        if (std::strncmp(line, KEY, sizeof KEY - 1) == 0) {
            name = std::string(line + sizeof KEY - 1, std::strcspn(line + sizeof KEY - 1, "\r\n"));
            break;
        }
        // The tape's name comes before the test lines; the entries follow them.
        if (std::strncmp(line, "Read test         : ", 20) == 0)
            break;
    }
    std::fclose(file);
    return name;
}

std::string job_report_problem(const JobOutcome &outcome)
{
    if (!outcome.started)
        return not_run_text(outcome);
    if (!outcome.report_new) {
        if (outcome.exit_known && outcome.exit_status != 0)
            return text_printf(_("The console program failed (exit status %d) and wrote no report.\n\nThe report "
                                   "pages and the tools stay empty. Tick \"Redirect console output to the System "
                                   "Log\" on the Options page to see what it says in the System Log."),
                                 outcome.exit_status);
        return text_printf(_("The console program wrote no new report (%s).\n\nThe report pages and the tools "
                               "stay empty: no report of an earlier job is shown for this one. Check that the "
                               "console location on the Options page holds the console program."),
                             outcome.report_path.c_str());
    }
    if (outcome.kind == JobKind::Batch)
        return std::string();
    if (!outcome.report_tape)
        return text_printf(_("The report that the console program wrote (%s) does not say which tape it "
                               "describes.%s\n\nIt is shown on the Plain page only; the interactive report and the "
                               "tools stay empty."),
                             outcome.report_path.c_str(),
                             outcome.exit_known && outcome.exit_status != 0
                                 ? text_printf(_(" The console program failed (exit status %d)."),
                                                 outcome.exit_status)
                                       .c_str()
                                 : "");
    if (!job_same_file(*outcome.report_tape, outcome.expected_tape))
        return text_printf(_("The report describes %s, not the tape just processed (%s).\n\nIt is not shown, and "
                               "the tools stay empty, so that no tool cuts this tape at another tape's offsets."),
                             outcome.report_tape->c_str(), outcome.expected_tape.c_str());
    return std::string();
}

std::string job_recorded_audio_path(const std::string &tape_path, bool sun_au)
{
    gchar *folder = g_path_get_dirname(tape_path.c_str());
    gchar *base = g_path_get_basename(tape_path.c_str());
    std::string name = base;
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0)
        name.erase(dot);
    name += sun_au ? ".au" : ".wav";
    gchar *path = g_build_filename(folder, name.c_str(), nullptr);
    std::string result(path);
    g_free(path);
    g_free(base);
    g_free(folder);
    return result;
}

OutputVerdict job_output_verdict(const std::string &path, bool is_new, const JobOutcome &outcome)
{
    OutputVerdict verdict;
    if (is_new) {
        verdict.written = true;
        verdict.log_line = text_printf(_("Written: %s\n"), path.c_str());
        return verdict;
    }
    if (!outcome.started) {
        verdict.dialog_text = not_run_text(outcome) + "\n\n" + text_printf(_("Nothing was written: %s"), path.c_str());
        return verdict;
    }
    std::string why;
    if (outcome.exit_known && outcome.exit_status != 0)
        why = text_printf(_("The console program failed (exit status %d). "), outcome.exit_status);
    verdict.dialog_text = text_printf(_("Nothing was written: the console program did not write %s.\n\n%sTick "
                                          "\"Redirect console output to the System Log\" on the Options page to see what it says in "
                                          "the System Log."),
                                        path.c_str(), why.c_str());
    return verdict;
}
