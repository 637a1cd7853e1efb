// The tape split tool: automatic cut marks, their IDX listing, and the
// writer of the pieces.
#include "core/tapesplit.h"

#include "core/reportcheck.h"
#include "core/tapeoutput.h"
#include "core/tapimage.h"

#include "core/textprintf.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <optional>

const char *const TAPE_SPLIT_ANALYZE_TITLE = N_("Analyze tape");
const char *const TAPE_SPLIT_ANALYZE_ONLY_TAP = N_("You can only analyze and split TAP files.");
const char *const TAPE_SPLIT_ANALYSIS_TITLE = N_("Analysis completed");
const char *const TAPE_SPLIT_ANALYSIS_DONE =
    N_("The automatic analysis has completed\nand split points have been marked, if\nappropriate.\n"
       "You might now want to review them\nbefore proceeding with a split.\n"
       "Note that the details of the split\nin IDX format are shown within the\nSystem Log tab.");
const char *const TAPE_SPLIT_TITLE = N_("Split tape");
const char *const TAPE_SPLIT_ONLY_TAP = N_("You can only split TAP files.");
const char *const TAPE_SPLIT_NO_POINT = N_("No split point set.");
const char *const TAPE_SPLIT_CANNOT_READ = N_("Could not read from TAP.");
const char *const TAPE_SPLIT_FAILED = N_("The split did not complete: these pieces could not be written.");
const char *const TAPE_SPLIT_DONE =
    N_("The split process has completed.\nNote that the details of the split\nare shown within the System Log\ntab.");

namespace {

// Offset of the first piece: just after the TAP header.
constexpr int64_t SPLIT_FIRST_OFFSET = 20;

// Offsets above this are logged with one tab instead of two.
constexpr int64_t SPLIT_SHORT_OFFSET_MAX = 0xFFFFF;

// Number of header bytes copied from the source into each piece; the data
// size follows.
constexpr std::size_t SPLIT_HEADER_COPY = 16;

bool starts_with(const std::string &text, const char *prefix)
{
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

// The text without white space at both ends (as g_strstrip trims).
std::string trimmed(const std::string &text)
{
    std::size_t begin = 0, end = text.size();
    while (begin < end && g_ascii_isspace(text[begin]))
        ++begin;
    while (end > begin && g_ascii_isspace(text[end - 1]))
        --end;
    return text.substr(begin, end - begin);
}


struct SplitState {
    int counter = 0;                 // number of the next piece
    std::optional<std::string> name; // sanitized name of the piece being collected
    int64_t start = SPLIT_FIRST_OFFSET;
    int64_t end = 0;
    uint8_t header[TAP_HEADER_SIZE] = {};
    FILE *source = nullptr;
    std::string folder;
};

// Writes the piece [start, end) of the source; see tape_split_write. An
// empty or reversed span writes nothing and uses no number; a piece that
// cannot be read or written is named in the result's failures.
void write_piece(SplitState &state, SplitResult &result)
{
    const int64_t length = state.end - state.start;
    if (length <= 0)
        return;

    const std::string file_name =
        tape_split_piece_name(state.counter, state.name ? &*state.name : nullptr);
    state.counter++;
    gchar *path = g_build_filename(state.folder.c_str(), file_name.c_str(), nullptr);
    const std::string piece_path = path;
    g_free(path);

    const uint32_t size = static_cast<uint32_t>(length);
    const uint8_t size_le[4] = {static_cast<uint8_t>(size & 0xFFu), static_cast<uint8_t>((size >> 8) & 0xFFu),
                                static_cast<uint8_t>((size >> 16) & 0xFFu),
                                static_cast<uint8_t>((size >> 24) & 0xFFu)};
    TapeOutput piece;
    if (piece.create(piece_path)) {
        piece.write(state.header, SPLIT_HEADER_COPY);
        piece.write(size_le, sizeof size_le);
        piece.copy_from(state.source, state.start, length);
    }
    if (!piece.finish() || piece.failed()) {
        result.failed.push_back(piece.error());
        result.log += text_printf(_("Not written: %s - %s\n"), file_name.c_str(), piece.error().c_str());
        return;
    }
    result.written.push_back(piece_path);
    result.log += text_printf(_("Filename: %s - Start: %lld - End: %lld - Block len: %lld\n"),
                         state.name ? state.name->c_str() : _("(none)"), static_cast<long long>(state.start),
                         static_cast<long long>(state.end - 1), static_cast<long long>(length));
}

} // namespace

bool tape_split_is_tap_name(const std::string &tape_path)
{
    return g_str_has_suffix(tape_path.c_str(), ".TAP") || g_str_has_suffix(tape_path.c_str(), ".tap");
}

std::vector<bool> tape_split_auto_marks(const std::vector<ReportEntry> &rows)
{
    // The walk follows the tape (start offsets), whatever order the rows come in.
    std::vector<bool> marks(rows.size(), false);
    int flag = 1;
    for (std::size_t i : report_tape_order(rows)) {
        const ReportEntry &row = rows[i];
        if (starts_with(row.type, "PAUSE")) {
            // a pause neither starts nor ends a file
        } else if (row.type == "C64 ROM-TAPE HEADER") {
            if (flag == 0) {
                marks[i] = true;
                flag = 1;
            }
        } else if (row.type == "TURBOTAPE-250 HEADER") {
            if (flag == 0)
                marks[i] = true;
        } else if (starts_with(row.type, "UNRECOGNI")) {
            if (row.pulses > 19)
                flag = 0;
        } else {
            flag = 0;
        }
    }
    return marks;
}

void tape_split_set_marks(std::vector<ReportEntry> &rows, const std::vector<bool> &marks)
{
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i].split_mark = i < marks.size() && marks[i];
}

void tape_split_clear_marks(std::vector<ReportEntry> &rows)
{
    for (ReportEntry &row : rows)
        row.split_mark = false;
}

std::string tape_split_idx_log(const std::vector<ReportEntry> &list_rows)
{
    const std::vector<ReportEntry> rows = report_rows_in_tape_order(list_rows);
    std::string log = _("Split offsets as IDX entries:\n");
    for (const ReportEntry &row : rows) {
        if (row.split_mark)
            break;
        const std::string name = trimmed(row.name);
        if (!name.empty()) {
            log += text_printf("0x%X\t\t%s\n", static_cast<unsigned>(SPLIT_FIRST_OFFSET), name.c_str());
            break;
        }
    }
    for (const ReportEntry &row : rows) {
        if (!row.split_mark)
            continue;
        log += text_printf(row.start > SPLIT_SHORT_OFFSET_MAX ? "0x%llX\t%s\n" : "0x%llX\t\t%s\n",
                      static_cast<unsigned long long>(row.start), row.name.c_str());
    }
    return log;
}

std::string tape_split_analyze(std::vector<ReportEntry> &rows)
{
    tape_split_set_marks(rows, tape_split_auto_marks(rows));
    return tape_split_idx_log(rows);
}

std::string tape_split_sanitize_name(const std::string &name)
{
    std::string result = name;
    for (char &c : result) {
        if (std::strchr("\"*/:<>?\\|", c) != nullptr && c != '\0')
            c = '_';
    }
    return result;
}

std::string tape_split_piece_name(int counter, const std::string *name)
{
    std::string file_name = text_printf("splitted-%04d", counter);
    if (name != nullptr)
        file_name += "-(" + *name + ")";
    return file_name + ".tap";
}

SplitResult tape_split_write(const std::string &tape_path, const std::vector<ReportEntry> &list_rows,
                             int64_t total_size)
{
    SplitResult result;
    // A mark on the first entry is ignored, so it alone is no split point.
    bool any_mark = false;
    for (const ReportEntry &row : list_rows)
        any_mark = any_mark || (row.split_mark && row.index != 1);
    if (!any_mark) {
        result.message = _(TAPE_SPLIT_NO_POINT);
        return result;
    }

    SplitState state;
    if (!common_read_tap_file_header(tape_path.c_str(), state.header) ||
        (state.source = g_fopen(tape_path.c_str(), "rb")) == nullptr) {
        result.message = _(TAPE_SPLIT_CANNOT_READ);
        return result;
    }
    // Pieces follow the tape, whatever order the list is sorted in.
    const std::vector<ReportEntry> rows = report_rows_in_tape_order(list_rows);
    const int64_t source_size = tape_output_file_size(state.source);
    const std::string problem =
        report_offsets_problem(rows, total_size, source_size < 0 ? 0 : static_cast<uint64_t>(source_size));
    if (!problem.empty()) {
        std::fclose(state.source);
        result.message = problem;
        return result;
    }
    gchar *folder = g_path_get_dirname(tape_path.c_str());
    state.folder = folder;
    g_free(folder);

    result.ok = true;
    result.log = _("Results of the split:\n");
    for (const ReportEntry &row : rows) {
        const std::string name = trimmed(row.name);
        if (row.split_mark && row.index != 1) {
            state.end = row.start;
            write_piece(state, result);
            if (!name.empty())
                state.name = tape_split_sanitize_name(name);
            else
                state.name.reset();
            state.start = state.end;
        } else if (state.counter == 0 && !state.name && !name.empty()) {
            state.name = tape_split_sanitize_name(name);
        }
    }
    state.end = total_size + SPLIT_FIRST_OFFSET;
    write_piece(state, result);
    std::fclose(state.source);

    if (result.failed.empty()) {
        result.message = _(TAPE_SPLIT_DONE);
    } else {
        // A piece that could not be written is said, never skipped in silence.
        result.ok = false;
        std::string text = _(TAPE_SPLIT_FAILED);
        for (const std::string &failure : result.failed)
            text += "\n" + failure;
        result.message = text;
    }
    return result;
}
