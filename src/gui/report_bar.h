// The tape layout bar of the interactive report: every file of the tape a
// coloured slice, the selected file in blue; a click selects the file under
// the pointer. A turbo described from its pulses (UNKNOWN TURBO) has a
// colour of its own.
#pragma once
#include <gtk/gtk.h>

// The colour of an UNKNOWN TURBO stretch on the bar (green: recognised,
// yellow: read errors or a failed check, red: unrecognised, blue: selected).
constexpr const char UNKNOWN_TURBO_COLOUR[] = "dark orange";

void report_bar_init();
// Repaints the bar (and the selection) into its pixmap and queues a redraw.
void report_bar_repaint();

struct SliceGeometry {
    int x, width;
};
// The off-screen picture of the bar (null before the area is first configured).
GdkPixmap *report_bar_pixmap();

// Where a file with start and end fractions s and e lies on a bar W pixels wide.
SliceGeometry report_slice_geometry(double s, double e, int width);

gboolean report_drawingarea_tape_contents_configure(GtkWidget *area, GdkEventConfigure *event);
gboolean report_drawingarea_tape_contents_expose(GtkWidget *area, GdkEventExpose *event);
void report_treeview_file_list_cursor_changed(GtkTreeView *view);
void report_select_slice(gdouble x);
