// The tape editor's save on a fuzzed tape with the rows of a fuzzed report
// (excluded flags from the input): refused without an excluded row, else the
// edited tape is written beside the source with a correct size field and
// the source's header, never larger than the source, only for a report that
// fits the tape; the source is unchanged.
#include "core/tapeedit.h"
#include "tool_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    ToolInput in;
    if (!prepare_tool_input(data, size, in))
        return 0;
    std::vector<ReportEntry> rows = in.report.entries;
    bool any_excluded = false;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i].excluded = in.parts.flag(i);
        any_excluded = any_excluded || rows[i].excluded;
    }
    const std::string output = tape_editor_output_path(in.tape_path);
    g_remove(output.c_str());

    const TapeEditResult result = tape_editor_save(in.tape_path, rows, in.report.totals.total_size);
    check_source_unchanged(in);
    FUZZ_CHECK(!result.message.empty());
    if (!any_excluded) {
        FUZZ_CHECK(!result.written);
        FUZZ_CHECK(!g_file_test(output.c_str(), G_FILE_TEST_EXISTS));
        return 0;
    }
    if (!result.written) {
        // a refusal, with its message, and nothing left behind
        FUZZ_CHECK(!g_file_test(output.c_str(), G_FILE_TEST_EXISTS));
        return 0;
    }
    FUZZ_CHECK(result.output_path == output);
    const std::vector<uint8_t> edited = check_written_tape(in, result.output_path);
    // Cut in tape order: the edited tape is never larger than its source.
    FUZZ_CHECK(edited.size() <= in.parts.tape.size());
    return 0;
}
