// The report's model: the shared file list (one row per file of the last
// report) and the last report's totals. The Report page fills it; the
// page's views (layout bar, pop-ups, export) and the tape tools read it.
#pragma once
#include "core/reportfile.h"

#include <gtk/gtk.h>

#include <vector>

// Columns of the shared file list model; the numbers are a contract between
// the report, the summary export and the tape tools. Offsets and pulse
// counts (REPORT_START .. REPORT_PULSES) are 64-bit (G_TYPE_INT64): a
// report is untrusted text, and tapes may pass 2 GB.
enum ReportColumn {
    REPORT_INDEX, REPORT_COVERAGE, REPORT_TYPE, REPORT_NAME, REPORT_START, REPORT_INNER_START,
    REPORT_INNER_END, REPORT_END, REPORT_PULSES, REPORT_START_FRACTION, REPORT_END_FRACTION,
    REPORT_LOAD, REPORT_END_ADDRESS, REPORT_CRC32, REPORT_READ_ERRORS, REPORT_CHECKBYTE,
    REPORT_SPLIT_MARK, REPORT_FIRST_COPY, REPORT_EXCLUDED, REPORT_COLUMNS
};

// Creates the empty file list model, sorted by index.
void report_model_init();
// The shared file list model.
GtkListStore *report_file_list_model();

// Filling, for the page that reads the report: the views attached to the
// model should be detached around a refill.
void report_model_clear();
void report_model_append(const ReportEntry &entry);
const ReportTotals &report_model_totals();
void report_model_set_totals(const ReportTotals &totals);

gboolean report_has_been_produced();
gint64 report_get_total_size();
// The rows of the file list model, in its current order.
std::vector<ReportEntry> report_model_entries();
// The tape path named by the report, or null.
const gchar *report_path_last_report();
