// Pieces shared by the pages that show the report's file list model (report
// list, tape editor, tape split): text columns, the pop-up wiring and the
// "Show in graphical tape analysis tool" menu.
#pragma once
#include "gui/report_model.h"

#include <gtk/gtk.h>

// A text column bound to a model column; the renderer carries "column_index".
void file_list_text_column(GtkTreeView *view, const char *title, int column, float xalign);

// Right click (button 3) and the pop-up key open the file pop-up of `kind`.
void file_list_connect_popup(GtkWidget *view, guint kind);

// A menu with the one item "Show in graphical tape analysis tool", which
// moves the analysis to the start offset of the row selected in `view_name`
// (model column `offset_column`: the shared model's start offset unless the
// view shows a model of its own).
GtkWidget *file_list_analysis_menu(const char *menu_name, const char *item_name, const char *view_name,
                                   int offset_column = REPORT_START);
