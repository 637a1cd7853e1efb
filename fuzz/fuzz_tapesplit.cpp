// The tape split on a fuzzed tape with the rows of a fuzzed report (cut
// marks from the input, the report's data size): without a usable mark
// nothing is written; every piece written lies beside the source, has a
// correct size field and the source's first 16 header bytes; a split that
// completed holds every data byte once; the source is unchanged.
#include "core/tapesplit.h"
#include "tool_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    ToolInput in;
    if (!prepare_tool_input(data, size, in))
        return 0;
    std::vector<ReportEntry> rows = in.report.entries;
    std::vector<bool> marks(rows.size());
    std::size_t usable_marks = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        marks[i] = in.parts.flag(i);
        usable_marks += marks[i] && rows[i].index != 1 ? 1 : 0;
    }
    tape_split_set_marks(rows, marks);
    for (std::size_t i = 0; i < rows.size(); ++i)
        FUZZ_CHECK(rows[i].split_mark == marks[i]);

    const SplitResult result = tape_split_write(in.tape_path, rows, in.report.totals.total_size);
    check_source_unchanged(in);
    FUZZ_CHECK(!result.message.empty());
    if (usable_marks == 0)
        FUZZ_CHECK(result.written.empty());
    FUZZ_CHECK(result.written.size() <= usable_marks + 1);
    int64_t piece_data = 0;
    for (const std::string &path : result.written)
        piece_data += int64_t(check_written_tape(in, path).size()) - 20;
    // A split that completed cut the whole tape into its pieces, no byte lost
    // and none twice.
    if (result.ok)
        FUZZ_CHECK(piece_data == in.report.totals.total_size);
    for (const std::string &path : result.written)
        g_remove(path.c_str());

    // The IDX log of the marks set above.
    const std::string log = tape_split_idx_log(rows);
    FUZZ_CHECK(log.rfind("Split offsets as IDX entries:\n", 0) == 0);
    tape_split_clear_marks(rows);
    for (const ReportEntry &row : rows)
        FUZZ_CHECK(!row.split_mark);
    return 0;
}
