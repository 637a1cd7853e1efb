// CBM file repair on a fuzzed tape and a fuzzed report together: the
// analysis pairs at most the faulty copies it counts, each region lists its
// rows with one tick each, ticks stay a leading run whatever is clicked, the
// size follows the ticks; the fix writes "repaired_" beside the source with a
// correct size field and leaves the source unchanged.
#include "core/cbmrepair.h"
#include "tool_checks.h"

namespace {

void check_region(const RepairRegion &region)
{
    FUZZ_CHECK(region.row_count >= 1);
    FUZZ_CHECK(region.rows.size() == std::size_t(region.row_count));
    FUZZ_CHECK(region.ticks.size() == region.rows.size());
    FUZZ_CHECK(region.ticks[0]);
    bool unticked = false;
    for (bool tick : region.ticks) {
        FUZZ_CHECK(!(tick && unticked));  // a leading run
        unticked = unticked || !tick;
    }
    FUZZ_CHECK(region.size == cbm_repair_region_size(region));
    FUZZ_CHECK(region.rows[0].index == region.faulty_index);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    ToolInput in;
    if (!prepare_tool_input(data, size, in))
        return 0;
    const std::vector<ReportEntry> &rows = in.report.entries;
    RepairAnalysis analysis = cbm_repair_analyze(rows);
    FUZZ_CHECK(analysis.fixable_count <= analysis.faulty_count);
    FUZZ_CHECK(analysis.regions.size() == std::size_t(analysis.fixable_count));
    FUZZ_CHECK(!analysis.text.empty() && analysis.text.back() == '\n');
    for (std::size_t r = 0; r < analysis.regions.size(); ++r) {
        RepairRegion &region = analysis.regions[r];
        FUZZ_CHECK(region.include);
        for (bool tick : region.ticks)
            FUZZ_CHECK(tick);
        check_region(region);
        const RepairHealthyInfo twin = cbm_repair_healthy_info(rows, region);
        FUZZ_CHECK(twin.index == region.healthy_index);
        // Clicks chosen by the input, an out-of-range one included.
        const int clicks[] = {int(in.parts.flags % 5), region.row_count, -1, int(in.parts.flags >> 5)};
        for (int row : clicks) {
            cbm_repair_toggle_tick(region, row);
            check_region(region);
        }
        cbm_repair_set_include(region, in.parts.flag(r));
        FUZZ_CHECK(region.include == in.parts.flag(r));
    }

    const std::string output = fuzz::temp_path(cbm_repair_destination_name(in.tape_path));
    g_remove(output.c_str());
    const std::string message = cbm_repair_fix(in.tape_path, rows, analysis, in.report.totals.total_size);
    check_source_unchanged(in);
    const bool written = message.rfind("Operation finished. Check file:\n", 0) == 0;
    FUZZ_CHECK(!message.empty());
    if (analysis.fixable_count == 0)
        FUZZ_CHECK(message == CBM_REPAIR_NO_FILE);
    FUZZ_CHECK(written == g_file_test(output.c_str(), G_FILE_TEST_EXISTS));
    if (written)
        check_written_tape(in, output);
    return 0;
}
