// CBM file repair: files saved by the Commodore 64 ROM loader are recorded
// twice, a FIRST copy then a REPEAT copy. When one copy fails its checkbyte
// test and its twin is healthy, the damaged copy and the unrecognised debris
// after it (a repair region) are replaced by the healthy twin's pulses.
//
// The analysis walks the report's file list in model order and finds the
// regions; the user may leave a region out (include flag) or trim its rows
// (ticks, always a leading run); the fix writes "repaired_NAME" beside the
// tape and never changes the source.
//
// Pure and GLib-only: the GTK layer shows the texts, rows and labels.
#pragma once
#include "core/reportfile.h"

#include <cstdint>
#include <string>
#include <vector>

// Title of the fix's dialog, and its four texts.
extern const char *const CBM_REPAIR_TITLE;            // "CBM File Repair"
extern const char *const CBM_REPAIR_NO_FILE;          // "No file to repair."
extern const char *const CBM_REPAIR_CANNOT_OPEN;      // "Could not open source TAP."
extern const char *const CBM_REPAIR_CANNOT_CREATE;    // "Could not create destination TAP."

// One row of a region's list (columns 1..8 of its model; column 0, the
// tick, is RepairRegion::ticks).
struct RepairRow {
    int index = 0;          // 1: report index
    int64_t pulses = 0;     // 2: report pulses
    std::string file_id;    // 3: "FIRST"/"REPEAT" for a "C64 ROM-TAPE..." row, else ""
    std::string type;       // 4: type descriptor
    int64_t inner_start = 0;  // 5: inner start offset
    int64_t end = 0;        // 6: end offset (inclusive)
    int64_t data_pulses = 0;  // 7: end + 1 - inner start, or the pulses when inner start is 0
    int64_t start = 0;      // 8: start offset
};

struct RepairRegion {
    int faulty_index = 0;   // report index of the damaged copy (the region's first row)
    int healthy_index = 0;  // report index of its healthy twin
    int row_count = 0;      // report rows in the region, the damaged copy included
    bool include = true;    // fix this region
    int64_t size = 0;       // data pulses of the leading run of ticked rows
    std::vector<bool> ticks;     // one per row, all set at first
    std::vector<RepairRow> rows; // the region's rows, in report order
};

struct RepairAnalysis {
    int faulty_count = 0;   // faulty C64 ROM copies (known exceptions not counted)
    int fixable_count = 0;  // faulty copies paired with a healthy twin
    std::vector<RepairRegion> regions; // one per fixable copy, in the order found
    std::string text;       // the result view's text
};

// The analysis of the report rows (model order). The text holds, per faulty
// copy, "Index: %d - TYPE - File ID: FIRST|REPEAT\n" and, when it was paired,
// " - can be fixed using its FIRST copy at index %d\n", " - can be fixed
// using its REPEAT copy at index %d\n" or the Booga-Boo exception line; then
// "Faulty CBM region count: 0 - Hurray!\n" or
// "Faulty CBM region count: %d - Can be fixed: %d\n". Regions come with
// their extent, rows, ticks (all set) and size.
RepairAnalysis cbm_repair_analyze(const std::vector<ReportEntry> &rows);

// Data pulses of the region's rows from the first on, up to the first
// unticked row.
int64_t cbm_repair_region_size(const RepairRegion &region);

// A click on the tick of row `row` (0-based in the region): row 0 cannot be
// unticked (nothing happens); a ticked row is unticked with every row after
// it; an unticked row is ticked with every row before it. The size is
// recomputed. Out-of-range rows do nothing.
void cbm_repair_toggle_tick(RepairRegion &region, int row);

// The select-all button: ticks every row and recomputes the size.
void cbm_repair_select_all(RepairRegion &region);

// The check button "Fix region": the region's include flag.
void cbm_repair_set_include(RepairRegion &region, bool include);

// What the page shows of a region's healthy twin.
struct RepairHealthyInfo {
    int index = 0;          // report index
    int64_t pulses = 0;     // report pulses
    int64_t data_pulses = 0;  // inner end + 20 - inner start
    std::string file_id;    // "FIRST" or "REPEAT"
    std::string type;       // type descriptor
};
RepairHealthyInfo cbm_repair_healthy_info(const std::vector<ReportEntry> &rows, const RepairRegion &region);

// Name of the repaired tape: "repaired_" and the source's base name.
std::string cbm_repair_destination_name(const std::string &tape_path);

// Writes the repaired copy of the tape beside it and returns the dialog
// text: CBM_REPAIR_NO_FILE (fixable count 0), CBM_REPAIR_CANNOT_OPEN, why
// the report's offsets do not fit the tape (total_size is the report's size
// less the header; see reportcheck.h), CBM_REPAIR_CANNOT_CREATE, or
// "Operation finished. Check file:\nrepaired_%s".
// For every included region: the source up to the damaged copy's inner
// start, then the healthy twin's bytes from its inner start, inner end -
// inner start + 20 long, then "V0", then 78 bytes 0x30 when the twin is the
// FIRST copy; the source resumes after the end offset of the region's last
// ticked row. The rest of the source follows and the size field is set.
// When any span cannot be read or written the fix fails as a whole: no
// repaired tape is left and the text says what failed (a tape with a silent
// gap would pass for a good one).
std::string cbm_repair_fix(const std::string &tape_path, const std::vector<ReportEntry> &rows,
                           const RepairAnalysis &analysis, int64_t total_size);
