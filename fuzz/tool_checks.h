// Shared by the harnesses of the tools that write tapes beside their source
// (editor, split, repair): the fuzzed tape is written to a temporary folder,
// the rows come from the fuzzed report, and afterwards the source must be
// unchanged and every tape written must lie in that folder with a correct
// data-size field.
#pragma once

#include "core/reportcheck.h"
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

// A tool writes only for a report whose offsets fit the tape.
inline void check_report_fits(const ToolInput &in)
{
    FUZZ_CHECK(report_offsets_problem(in.report.entries, in.report.totals.total_size, in.parts.tape.size()).empty());
}

// A tape a tool wrote: in the temporary folder, its size field right, the
// header's first 16 bytes those of the source, never larger than the source
// (apart from a repair's endings), and only for a report that fits.
inline std::vector<uint8_t> check_written_tape(const ToolInput &in, const std::string &path)
{
    gchar *folder = g_path_get_dirname(path.c_str());
    FUZZ_CHECK(fuzz::temp_folder() == folder);
    g_free(folder);
    std::vector<uint8_t> bytes;
    FUZZ_CHECK(fuzz::read_file(path, bytes));
    fuzz::check_tape_size_field(bytes);
    check_report_fits(in);
    FUZZ_CHECK(bytes.size() >= 20 && in.parts.tape.size() >= 20);
    FUZZ_CHECK(std::memcmp(bytes.data(), in.parts.tape.data(), 16) == 0);
    return bytes;
}
