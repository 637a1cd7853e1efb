// The summary export: the interactive report's table saved as a
// self-contained HTML page styled by the Bootstrap 3.3.6 stylesheet, one
// table row per report entry, coloured by what went wrong with the file.
#pragma once
#include "core/reportfile.h"

#include <string>
#include <vector>

// The HTML text of a cell: the text escaped for HTML ("<", ">", "&", quotes;
// invalid UTF-8 replaced), or "&nbsp;" when it is missing or empty. Names
// come from tape data, so every text written into the page is escaped.
std::string summary_cell_text(const std::optional<std::string> &text);

// Bootstrap class of an entry's row, by the first rule that holds:
// "danger" when the type descriptor is exactly "UNRECOGNIZED" or "UNKNOWN
// TURBO" (a turbo only described from its pulses: nothing verified); "warning"
// when the read-errors cell is not "&nbsp;"; "warning" when the checkbyte
// cell is "FAIL"; else "success".
const char *summary_row_class(const ReportEntry &e);

// The whole page: head (titled with the tape's base name, escaped), one row per
// entry in the given order, foot. Every line ends in "\n". The head opens
// no html element while the foot closes one.
std::string summary_html(const std::string &tape_base_name, const std::vector<ReportEntry> &entries);

// Writes the page to `path` (opened with "w+"); false when it cannot be
// opened or written whole.
bool summary_write_file(const std::string &path, const std::string &tape_base_name,
                        const std::vector<ReportEntry> &entries);

// Base name of the report's tape path, for the page title and the file name.
std::string summary_tape_base_name(const std::string &report_tape_path);

// Name the save dialog suggests: "<base name>_report.html".
std::string summary_suggested_name(const std::string &report_tape_path);
