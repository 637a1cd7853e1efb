// The tape report (qmreport.txt): a title and notes, the tape-wide lines
// ("TAP Name", "TAP Size", "Checksum test", "Read test"), then one block per
// entry in tape order opened by its "File Type: " line. The keys and their
// spacing are what the front end matches at column 0; every other line is
// free text that it skips. Also the short reports of a failed job and of a
// usage error, and writing a text file whole.
#pragma once

#include "core/tapescan.h"

#include <cstdint>
#include <string>
#include <vector>

struct ReportHead {
    std::string title;                // first line, e.g. "quillmar 0.40 - test report"
    std::string command;              // the operation, e.g. "-t /tapes/game.tap"
    std::string settings;             // scan settings (settings_line)
    std::vector<std::string> notes;   // one "Note: " line each
};

struct TapeReportExtras {
    bool debug = false;               // calibrated pulse lengths per file
    std::vector<std::string> after_totals;  // free lines after "Read test" (source, PRG files, ...)
};

// The whole report of a scanned tape named `tape_path`.
std::string format_tape_report(const ReportHead &head, const TapeScan &scan, const std::string &tape_path,
                               const TapeReportExtras &extras);

// The report of a job that could not scan its tape: the tape name, its size
// when known, the reason, and both tests marked FAIL as not done.
std::string format_failure_report(const ReportHead &head, const std::string &tape_path, bool size_known,
                                  uint64_t file_size, const std::string &reason);

// The report of a usage error: what was wrong and how to call the program.
std::string format_usage_report(const std::string &title, const std::string &message);

// The report written when a job starts, so that no earlier report survives it.
std::string format_started_report(const ReportHead &head);

// "PASS - x of y checksummed files OK" / "FAIL - ..." and "PASS - n read errors".
std::string checksum_result_text(const ScanTotals &t);
// "64.6 % of the tape in recognised files".
std::string recognised_text(const ScanTotals &t);
std::string read_result_text(const ScanTotals &t);

// Writes the text as the whole file (replacing it). False with a reason on failure.
bool write_text_file(const std::string &path, const std::string &text, std::string *error);
bool write_binary_file(const std::string &path, const std::vector<uint8_t> &bytes, std::string *error);
