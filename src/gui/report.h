// The Report page: the plain report, and the interactive report built from
// the shared file list model (one row per file of the last report).
#pragma once
// The model's queries come with the page, for the pages that use both.
#include "gui/report_model.h"

#include <gtk/gtk.h>

void report_module_init();

void report_read_report_file(int batch);
void report_read_report_file_interactive(int batch);
void report_set_textview_text(const gchar *text);
// Empties the interactive report, its totals and the type table, as when no
// report could be read (the tools then see no report).
void report_clear_interactive();
void report_set_type(int page);
