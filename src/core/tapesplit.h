// The tape split tool: cuts a TAP file into one TAP file per program, at the
// rows of the report's file list that carry a "Cut before" mark (column 16,
// `ReportEntry::split_mark`). A mark means a new piece starts at that row's
// start offset.
//
// Pure and GLib-only: the GTK layer copies the marks into its model, sends
// the returned log text to the System Log and shows the returned message in
// a friendly dialog.
#pragma once
#include "core/reportfile.h"

#include <cstdint>
#include <string>
#include <vector>

// Dialog titles and texts of the split page.
extern const char *const TAPE_SPLIT_ANALYZE_TITLE;      // "Analyze tape"
extern const char *const TAPE_SPLIT_ANALYZE_ONLY_TAP;   // "You can only analyze and split TAP files."
extern const char *const TAPE_SPLIT_ANALYSIS_TITLE;     // "Analysis completed"
extern const char *const TAPE_SPLIT_ANALYSIS_DONE;      // "The automatic analysis has completed\n..."
extern const char *const TAPE_SPLIT_TITLE;              // "Split tape"
extern const char *const TAPE_SPLIT_ONLY_TAP;           // "You can only split TAP files."
extern const char *const TAPE_SPLIT_NO_POINT;           // "No split point set."
extern const char *const TAPE_SPLIT_CANNOT_READ;        // "Could not read from TAP."
extern const char *const TAPE_SPLIT_FAILED;             // "The split did not complete: ..."
extern const char *const TAPE_SPLIT_DONE;               // "The split process has completed.\n..."

// True when the tape's name ends in ".TAP" or ".tap" (the only tapes the
// page analyses and splits).
bool tape_split_is_tap_name(const std::string &tape_path);

// The automatic marks, one per row in model order. A state flag starts at 1;
// per row, by type descriptor: "PAUSE..." leaves it; "C64 ROM-TAPE HEADER"
// is marked when the flag is 0 and sets it to 1; "TURBOTAPE-250 HEADER" is
// marked when the flag is 0 and leaves it at 0 (every one of a run of such
// headers is cut before); "UNRECOGNI..." sets it to 0 when its pulses are
// more than 19; anything else sets it to 0.
std::vector<bool> tape_split_auto_marks(const std::vector<ReportEntry> &rows);

// Stores the marks in the rows' split_mark (a missing mark counts as clear).
void tape_split_set_marks(std::vector<ReportEntry> &rows, const std::vector<bool> &marks);

// Clears every row's split mark (the "Clear all" button).
void tape_split_clear_marks(std::vector<ReportEntry> &rows);

// Runs the automatic analysis on the rows (marks stored in split_mark) and
// returns the System Log text: "Split offsets as IDX entries:\n", the first
// entry "0x14\t\tNAME\n" (the first name before the first mark that is not
// empty once trimmed, shown trimmed; no line when there is none), then one
// line per marked row with its start offset and file name, one tab when the
// offset is above 0xFFFFF, else two.
std::string tape_split_analyze(std::vector<ReportEntry> &rows);

// The IDX text of the rows' current marks, as tape_split_analyze logs it.
std::string tape_split_idx_log(const std::vector<ReportEntry> &rows);

// A file name for a piece: '"', '*', '/', ':', '<', '>', '?', '\\' and '|'
// each become '_'; every other byte stays.
std::string tape_split_sanitize_name(const std::string &name);

// Output file name (no folder) of piece `counter`:
// "splitted-%04d" then "-(%s)" with the name when there is one, then ".tap".
std::string tape_split_piece_name(int counter, const std::string *name);

struct SplitResult {
    bool ok = false;                  // every piece was written (the done message)
    std::vector<std::string> written; // full paths of the files written, in order
    std::vector<std::string> failed;  // why each piece that could not be written failed
    std::string log;                  // System Log text ("Results of the split:\n" ...)
    std::string message;              // text of the "Split tape" dialog
};

// Splits the tape at the rows' marks into pieces beside the tape, walking
// the rows in tape order (by start offset) whatever order the list shows.
// total_size is the report's data size; the last piece ends at
// total_size + 20. A mark on the row of index 1 is ignored (the row counts
// as unmarked). With no other mark: message TAPE_SPLIT_NO_POINT; when the header
// or the tape cannot be read: TAPE_SPLIT_CANNOT_READ; when the report's
// offsets do not fit the tape (reportcheck.h): why; in these cases nothing
// is written and ok is false.
//
// Each piece holds the source's first 16 header bytes, its own length as
// the 32-bit little-endian data size, then the source bytes [start, end).
// An empty span is not written and does not use a number. A piece that
// cannot be created, read or written uses its number, is not left behind,
// and is named in `failed`, the log ("Not written: NAME - why") and the
// message (TAPE_SPLIT_FAILED and one line per failure); ok is then false.
// Each piece written logs
// "Filename: %s - Start: %lld - End: %lld - Block len: %lld\n" with its name
// or "(none)", start, end - 1 and the length.
SplitResult tape_split_write(const std::string &tape_path, const std::vector<ReportEntry> &rows,
                             int64_t total_size);
