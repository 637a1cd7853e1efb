// The operations on one tape: Test (-t), Clean (-o), Convert (-ct0, -ct1)
// and Record (-au, -wav). Each returns the exit status: 0 done, 1 when the
// tape can't be read or scanned or an output can't be written.
//
// Test, Clean and Convert rewrite qmreport.txt in `report_folder` as soon as
// they start, then write the report of the tape they end with (the source for
// a Test, the written tape for Clean and Convert) and, with -doprg, its PRG
// files. Record writes the audio file only. The source is only ever read.
#pragma once

#include "console/options.h"
#include "console/report.h"

#include <string>

int run_tape_job(const ConsoleOptions &o, const std::string &report_folder);
int run_record(const ConsoleOptions &o);

// The head of a report: title, the operation with its path, the scan
// settings and the notes on switches (`scanner_notes` included).
ReportHead report_head(const ConsoleOptions &o, const char *kind, const std::vector<const TapeScanner *> &scanners,
                       const std::vector<std::string> &scanner_notes);
