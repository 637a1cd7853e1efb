// The tape editor's flags and its save.
#include "core/tapeedit.h"

#include "core/tapimage.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

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

// Copies source bytes start..end inclusive to the end of the destination.
// The range is read whole into one buffer of its size and written only when
// it was read whole; otherwise it is left out without a word.
void copy_range(FILE *source, long source_size, FILE *destination, int32_t start, int32_t end)
{
    const int64_t size = static_cast<int64_t>(end) - start + 1;
    if (start < 0 || size <= 0)
        return;
    if (static_cast<int64_t>(start) + size > source_size)
        return;  // the read would fall short
    std::vector<unsigned char> buffer;
    try {
        buffer.resize(static_cast<std::size_t>(size));
    } catch (const std::exception &) {
        return;
    }
    if (std::fseek(source, start, SEEK_SET) != 0)
        return;
    if (std::fread(buffer.data(), 1, buffer.size(), source) != buffer.size())
        return;
    std::fwrite(buffer.data(), 1, buffer.size(), destination);
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

TapeEditResult tape_editor_save(const std::string &tape_path, const std::vector<ReportEntry> &rows)
{
    if (!tape_editor_is_tap_path(tape_path))
        return refused(N_("You can only save TAP files."));

    std::size_t excluded = 0;
    for (const ReportEntry &row : rows) {
        if (row.excluded)
            ++excluded;
    }
    if (excluded == 0)
        return refused(N_("No changes to save."));

    FILE *source = g_fopen(tape_path.c_str(), "rb");
    if (source == nullptr)
        return refused(N_("Could not open source TAP."));
    const std::string output_path = tape_editor_output_path(tape_path);
    FILE *destination = g_fopen(output_path.c_str(), "w+b");
    if (destination == nullptr) {
        std::fclose(source);
        return refused(N_("Could not create destination TAP."));
    }

    long source_size = 0;
    if (std::fseek(source, 0, SEEK_END) == 0)
        source_size = std::ftell(source);
    if (source_size < 0)
        source_size = 0;

    // The first run is the 20-byte header, so it is always copied first.
    int32_t run_start = 0;
    int32_t run_end = static_cast<int32_t>(TAP_HEADER_SIZE) - 1;
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
                copy_range(source, source_size, destination, run_start, run_end);
                run_open = false;
            }
            start_pending = true;
        }
    }
    // The tail run; bytes after the last row's end are never copied.
    if (!start_pending)
        copy_range(source, source_size, destination, run_start, run_end);

    common_fix_tap_file_size_in_header(destination);

    TapeEditResult result;
    result.written = true;
    result.output_path = output_path;
    gchar *text = g_strdup_printf(_("Operation finished. Check file:\nedited_%s"), base_name(tape_path).c_str());
    result.message = text;
    g_free(text);
    std::fclose(destination);
    std::fclose(source);
    return result;
}
