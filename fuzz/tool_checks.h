// Shared by the harnesses of the tools that write tapes beside their source
// (editor, split, repair): the fuzzed tape is written to a temporary folder,
// the rows come from the fuzzed report, and afterwards the source must be
// unchanged and every tape written must lie in that folder with a correct
// data-size field.
#pragma once

#include "fuzz_support.h"

#include <cstring>

struct ToolInput {
    fuzz::TapeAndReport parts;
    std::string tape_path;
    ParsedReport report;
};

inline bool prepare_tool_input(const uint8_t *data, std::size_t size, ToolInput &in)
{
    if (!fuzz::split_tape_and_report(data, size, in.parts))
        return false;
    in.tape_path = fuzz::temp_path("fuzzed.tap");
    fuzz::write_file(in.tape_path, in.parts.tape.data(), in.parts.tape.size());
    in.report = fuzz::parse_report_text(in.parts.report);
    return true;
}

inline void check_source_unchanged(const ToolInput &in)
{
    std::vector<uint8_t> now;
    FUZZ_CHECK(fuzz::read_file(in.tape_path, now));
    FUZZ_CHECK(now == in.parts.tape);
}

// The report's offsets as a scan of this tape gives them: every row inside
// the data part, start <= end, each after the one before. Rows that break
// this are cut by the tools as they are (see fuzz/findings/tapeedit), so the
// source's header is only expected in the output for rows like these.
inline bool rows_in_order(const std::vector<ReportEntry> &rows, std::size_t tape_size)
{
    int64_t previous_end = 19;
    for (const ReportEntry &row : rows) {
        const auto start = static_cast<int64_t>(row.start);
        const auto end = static_cast<int64_t>(row.end);
        if (start <= previous_end || end < start || end >= static_cast<int64_t>(tape_size))
            return false;
        previous_end = end;
    }
    return true;
}

// A tape a tool wrote: in the temporary folder, its size field right, and the
// header's first 16 bytes those of the source when both have a header and the
// rows are in order.
inline std::vector<uint8_t> check_written_tape(const ToolInput &in, const std::string &path)
{
    gchar *folder = g_path_get_dirname(path.c_str());
    FUZZ_CHECK(fuzz::temp_folder() == folder);
    g_free(folder);
    std::vector<uint8_t> bytes;
    FUZZ_CHECK(fuzz::read_file(path, bytes));
    fuzz::check_tape_size_field(bytes);
    if (bytes.size() >= 20 && in.parts.tape.size() >= 20 && rows_in_order(in.report.entries, in.parts.tape.size()))
        FUZZ_CHECK(std::memcmp(bytes.data(), in.parts.tape.data(), 16) == 0);
    return bytes;
}
