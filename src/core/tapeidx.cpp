// IDX index files; see tapeidx.h.
#include "core/tapeidx.h"

#include "core/reportcheck.h"
#include "core/tapeoutput.h"
#include "core/textprintf.h"

#include <glib.h>
#include <glib/gi18n-lib.h>

#include <cstring>

namespace {

// Offsets up to this value get two tabs, longer ones one.
constexpr int64_t IDX_SHORT_OFFSET_MAX = 0xFFFFF;

std::string trimmed(const std::string &text)
{
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

} // namespace

std::string tape_idx_text(const std::vector<ReportEntry> &rows)
{
    std::string text;
    // A KERNAL file is saved twice: the repeat copy of the header just
    // listed (same name and load address) is the same program.
    const ReportEntry *previous = nullptr;
    for (const ReportEntry &row : report_rows_in_tape_order(rows)) {
        if (row.type != "C64 ROM-TAPE HEADER")
            continue;
        const bool repeat_of_previous = !row.first_copy && previous != nullptr && previous->name == row.name &&
                                        previous->load_address == row.load_address;
        if (!repeat_of_previous) {
            text += text_printf(row.start > IDX_SHORT_OFFSET_MAX ? "0x%llX\t%s\n" : "0x%llX\t\t%s\n",
                                static_cast<unsigned long long>(row.start), trimmed(row.name).c_str());
        }
        previous = &row;
    }
    return text;
}

std::string tape_idx_path(const std::string &tape_path)
{
    return path_beside_with_extension(tape_path, ".idx");
}

TapeIdxResult tape_idx_write(const std::string &tape_path, const std::vector<ReportEntry> &rows, int64_t total_size)
{
    TapeIdxResult result;
    const std::string problem = report_tape_problem(tape_path, rows, total_size);
    if (!problem.empty()) {
        result.error = problem;
        return result;
    }
    result.text = tape_idx_text(rows);
    if (result.text.empty()) {
        result.error = _("The report names no program on this tape (no KERNAL header was recognised), so there is "
                         "nothing to index. Nothing was written.");
        return result;
    }
    result.path = tape_idx_path(tape_path);
    GError *error = nullptr;
    if (!g_file_set_contents(result.path.c_str(), result.text.data(), static_cast<gssize>(result.text.size()),
                             &error)) {
        result.error = text_printf(_("Could not write %s: %s"), result.path.c_str(), error->message);
        g_error_free(error);
        return result;
    }
    result.ok = true;
    return result;
}
