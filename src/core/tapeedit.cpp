// The tape editor's flags and its save.
#include "core/tapeedit.h"

#include "core/reportcheck.h"
#include "core/tapeoutput.h"
#include "core/tapimage.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <vector>

const char TAPE_EDITOR_TITLE[] = N_("Tape Editor");

namespace {

bool ends_with(const std::string &text, const char *suffix)
{
    const std::size_t n = std::strlen(suffix);
    return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

std::string base_name(const std::string &path)
{
    gchar *name = g_path_get_basename(path.c_str());
    std::string result(name);
    g_free(name);
    return result;
}

TapeEditResult refused(const char *text)
{
    TapeEditResult result;
    result.message = _(text);
    return result;
}

} // namespace

bool tape_editor_is_tap_path(const std::string &path)
{
    return ends_with(path, ".TAP") || ends_with(path, ".tap");
}

bool tape_editor_type_is_unrecognized(const std::string &type)
{
    return type.compare(0, 9, "UNRECOGNI") == 0;
}

bool tape_editor_exclude_unrecognized(const std::string &tape_path, std::vector<ReportEntry> &rows,
                                      std::string &message)
{
    message.clear();
    if (!tape_editor_is_tap_path(tape_path)) {
        message = _("You can only edit and save TAP files.");
        return false;
    }
    for (ReportEntry &row : rows) {
        if (tape_editor_type_is_unrecognized(row.type))
            row.excluded = true;
    }
    return true;
}

void tape_editor_include_all(std::vector<ReportEntry> &rows)
{
    for (ReportEntry &row : rows)
        row.excluded = false;
}

bool tape_editor_popup_allowed(std::size_t selected_rows, const std::string &tape_path)
{
    return selected_rows == 1 && tape_editor_is_tap_path(tape_path);
}

std::string tape_editor_output_name(const std::string &tape_path)
{
    return "edited_" + base_name(tape_path);
}

std::string tape_editor_output_path(const std::string &tape_path)
{
    gchar *folder = g_path_get_dirname(tape_path.c_str());
    gchar *path = g_build_filename(folder, tape_editor_output_name(tape_path).c_str(), nullptr);
    std::string result(path);
    g_free(path);
    g_free(folder);
    return result;
}

int64_t tape_editor_excluded_bytes(const std::vector<ReportEntry> &rows)
{
    int64_t bytes = 0;
    for (const ReportEntry &row : rows) {
        if (row.excluded && row.end >= row.start)
            bytes += row.end - row.start + 1;
    }
    return bytes;
}

bool tape_editor_cut_needs_confirmation(const std::vector<ReportEntry> &rows, int64_t total_size)
{
    return total_size > 0 && tape_editor_excluded_bytes(rows) * 2 > total_size;
}

int tape_editor_excluded_percent(const std::vector<ReportEntry> &rows, int64_t total_size)
{
    if (total_size <= 0)
        return 0;
    const int64_t bytes = std::min(tape_editor_excluded_bytes(rows), total_size);
    return static_cast<int>((bytes * 100 + total_size / 2) / total_size);
}

TapeEditResult tape_editor_save(const std::string &tape_path, const std::vector<ReportEntry> &report_rows,
                                int64_t total_size)
{
    if (!tape_editor_is_tap_path(tape_path))
        return refused(N_("You can only save TAP files."));

    std::size_t excluded = 0;
    for (const ReportEntry &row : report_rows) {
        if (row.excluded)
            ++excluded;
    }
    if (excluded == 0)
        return refused(N_("No changes to save."));

    // The rows are walked in tape order, whatever order the list is sorted
    // in: a walk in another order would copy ranges out of order and twice.
    const std::vector<ReportEntry> rows = report_rows_in_tape_order(report_rows);

    FILE *source = g_fopen(tape_path.c_str(), "rb");
    if (source == nullptr)
        return refused(N_("Could not open source TAP."));
    const int64_t source_size = tape_output_file_size(source);
    const std::string problem =
        report_offsets_problem(rows, total_size, source_size < 0 ? 0 : static_cast<uint64_t>(source_size));
    if (!problem.empty()) {
        std::fclose(source);
        TapeEditResult result;
        result.message = problem;
        return result;
    }
    TapeOutput output;
    if (!output.create(tape_editor_output_path(tape_path))) {
        std::fclose(source);
        return refused(N_("Could not create destination TAP."));
    }

    // The first run is the 20-byte header, so it is always copied first.
    int64_t run_start = 0;
    int64_t run_end = static_cast<int64_t>(TAP_HEADER_SIZE) - 1;
    bool start_pending = false;
    bool run_open = true;
    for (const ReportEntry &row : rows) {
        if (!row.excluded) {
            // Consecutive included rows merge into one run, bytes between
            // them included.
            if (start_pending) {
                run_start = row.start;
                start_pending = false;
            }
            run_end = row.end;
            run_open = true;
        } else {
            if (run_open) {
                output.copy_from(source, run_start, run_end - run_start + 1);
                run_open = false;
            }
            start_pending = true;
        }
    }
    // The tail run; bytes after the last row's end are never copied.
    if (!start_pending)
        output.copy_from(source, run_start, run_end - run_start + 1);
    std::fclose(source);

    TapeEditResult result;
    if (!output.finish()) {
        // Nothing half written is left behind; the dialog says what failed.
        gchar *text = g_strdup_printf(_("The edited tape could not be written, so no edited_%s was left.\n\n%s"),
                                      base_name(tape_path).c_str(), output.error().c_str());
        result.message = text;
        g_free(text);
        return result;
    }
    result.written = true;
    result.output_path = output.path();
    gchar *text = g_strdup_printf(_("Operation finished. Check file:\nedited_%s"), base_name(tape_path).c_str());
    result.message = text;
    g_free(text);
    return result;
}
