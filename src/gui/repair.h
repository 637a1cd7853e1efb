// The CBM File Repair page: finds damaged CBM ROM copies in the report of
// the tape tested last, pairs them with their healthy twins, lets the user
// review each repair region and writes "repaired_NAME" beside the tape.
#pragma once
#include <gtk/gtk.h>

// Columns of a region's row list.
enum RepairColumn {
    REPAIR_INCLUDE, REPAIR_INDEX, REPAIR_PULSES, REPAIR_FILE_ID, REPAIR_TYPE, REPAIR_INNER_START, REPAIR_END,
    REPAIR_DATA_PULSES, REPAIR_START, REPAIR_COLUMNS
};

void cbm_file_repair_module_init();
// Forgets every region and resets the page; called before every console job.
void cbm_file_repair_module_clear();
void cbm_file_repair_analyze();
void cbm_file_repair_previous_region();
void cbm_file_repair_next_region();
void cbm_file_repair_select_all();
void cbm_file_repair_fix_all();
GtkWidget *create_popupmenu_cbm_file_repair();
