// IDX index files: the tape counter index that tape players and emulators
// read beside a TAP file, "NAME.idx" for "NAME.tap". One line per program
// on the tape: where it starts (the byte offset of its KERNAL header's
// first copy in the TAP file, in hex), tabs, and its name - the format of
// the split tool's IDX lines:
//
//   0x14		GAME
//   0x1A2F4		HISCORES
//
// (two tabs, one for offsets above 0xFFFFF, so the names line up). The
// repeat copy of a header (same name and load address right after it) is
// not listed again; a header whose first copy was not recognised counts
// from its repeat copy.
//
// Pure and GLib-only.
#pragma once
#include "core/reportfile.h"

#include <cstdint>
#include <string>
#include <vector>

// The lines of the index for the report's rows (any order).
std::string tape_idx_text(const std::vector<ReportEntry> &rows);

// "NAME.idx" beside the tape: its extension (if any) replaced.
std::string tape_idx_path(const std::string &tape_path);

struct TapeIdxResult {
    bool ok = false;
    std::string path;  // the index written
    std::string text;  // its lines
    std::string error; // why nothing was written (translated)
};

// Checks the report against the tape (a report of another tape would give
// wrong offsets), then writes the index at once as a whole: an earlier
// index is replaced only by a complete new one.
TapeIdxResult tape_idx_write(const std::string &tape_path, const std::vector<ReportEntry> &rows,
                             int64_t total_size);
