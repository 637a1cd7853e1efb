// The Report page: the plain report, and the interactive report built from
// the shared file list model (one row per file of the last report).
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

void report_module_init();
// The shared file list model.
GtkListStore *report_file_list_model();

void report_read_report_file(int batch);
void report_read_report_file_interactive(int batch);
void report_set_textview_text(const gchar *text);
// Empties the interactive report, its totals and the type table, as when no
// report could be read (the tools then see no report).
void report_clear_interactive();
void report_set_type(int page);
gboolean report_has_been_produced();
gint64 report_get_total_size();
// The rows of the file list model, in its current order.
std::vector<ReportEntry> report_model_entries();
// The tape path named by the report, or null.
const gchar *report_path_last_report();
