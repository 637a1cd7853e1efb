// Before a tool cuts a tape at a report's offsets, the report is checked
// against the tape. A report is a text file that anyone can edit, or one
// left over from another tape; cutting at offsets that do not fit writes a
// wrong tape, so such a report is refused, with a message that says why,
// before anything is written.
//
// The tools also walk the rows in tape order (by start offset), whatever
// order the views sort the shared file list in: a tape is written forward.
//
// Pure and GLib-only.
#pragma once
#include "core/reportfile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Positions of the rows sorted by start offset (then by report index), so
// that rows[order[0]], rows[order[1]], ... walk the tape forward.
std::vector<std::size_t> report_tape_order(const std::vector<ReportEntry> &rows);

// The rows in tape order (a sorted copy).
std::vector<ReportEntry> report_rows_in_tape_order(const std::vector<ReportEntry> &rows);

// Why the report's offsets do not fit a tape file of tape_size bytes, or an
// empty text when they do. total_size is the report's "TAP Size" less the
// 20-byte header. Checked, in report order (index):
// - the tape has the size the report gives (else it changed since the test,
//   or the report is another tape's);
// - every entry lies after the header and inside the file;
// - no entry runs backwards (start <= inner start <= inner end <= end;
//   inner offsets of 0 are taken as not given);
// - every entry starts after the end of the one before it (no overlap, no
//   step back).
std::string report_offsets_problem(const std::vector<ReportEntry> &rows, int64_t total_size, uint64_t tape_size);

// The same for the tape at `path` (its size is read from the file system).
// A tape that cannot be read gives a message too.
std::string report_tape_problem(const std::string &path, const std::vector<ReportEntry> &rows,
                                int64_t total_size);
