#include "gui/report_bar.h"

#include "core/reportfile.h"

#include "gui/appstate.h"
#include "gui/report_model.h"
#include "gui/support.h"

#include <cmath>
#include <cstring>

namespace {

GtkWidget *drawing_area_tape_contents = nullptr;
GdkPixmap *pixmap_tape_contents = nullptr;

GtkTreeView *file_list()
{
    return GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_file_list"));
}

void fill_slice(GdkGC *gc, double s, double e)
{
    const SliceGeometry slice = report_slice_geometry(s, e, drawing_area_tape_contents->allocation.width);
    gdk_draw_rectangle(pixmap_tape_contents, gc, TRUE, slice.x, 0, slice.width,
                       drawing_area_tape_contents->allocation.height);
}

GdkGC *colour_gc(const char *name)
{
    GdkColor colour;
    gdk_color_parse(name, &colour);
    GdkGC *gc = gdk_gc_new(pixmap_tape_contents);
    gdk_gc_set_rgb_fg_color(gc, &colour);
    return gc;
}

template <class Wanted>
void paint_rows(GdkGC *gc, Wanted wanted)
{
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok; ok = gtk_tree_model_iter_next(model, &iter)) {
        gchar *type = nullptr, *read_errors = nullptr, *checkbyte = nullptr;
        gdouble s = 0, e = 0;
        gtk_tree_model_get(model, &iter, REPORT_TYPE, &type, REPORT_READ_ERRORS, &read_errors,
                           REPORT_CHECKBYTE, &checkbyte, REPORT_START_FRACTION, &s, REPORT_END_FRACTION, &e, -1);
        if (wanted(type ? type : "", read_errors, checkbyte))
            fill_slice(gc, s, e);
        g_free(type);
        g_free(read_errors);
        g_free(checkbyte);
    }
}

bool is_unrecognized(const char *type)
{
    return std::strncmp(type, "UNRECOGNIZED", 12) == 0;
}

// A turbo described from its pulses: unrecognised (nothing was checked),
// but shown apart from what nobody could read.
bool is_unknown_turbo(const char *type) { return report_type_unknown_turbo(type); }

// Unrecognised and unknown turbo slices, over whatever was painted.
void paint_unverified_rows()
{
    GdkGC *red = colour_gc("red"), *orange = colour_gc(UNKNOWN_TURBO_COLOUR);
    paint_rows(red, [](const char *type, const char *, const char *) { return is_unrecognized(type); });
    paint_rows(orange, [](const char *type, const char *, const char *) { return is_unknown_turbo(type); });
    g_object_unref(red);
    g_object_unref(orange);
}

void repaint_tape_contents()
{
    if (!drawing_area_tape_contents || !pixmap_tape_contents)
        return;
    const GtkAllocation &a = drawing_area_tape_contents->allocation;
    if (!report_has_been_produced()) {
        gdk_draw_rectangle(pixmap_tape_contents, drawing_area_tape_contents->style->white_gc, TRUE, 0, 0,
                           a.width, a.height);
        return;
    }
    GdkGC *green = colour_gc("green"), *yellow = colour_gc("yellow");
    gdk_draw_rectangle(pixmap_tape_contents, green, TRUE, 0, 0, a.width, a.height);
    paint_rows(yellow, [](const char *, const char *read_errors, const char *checkbyte) {
        return read_errors != nullptr || (checkbyte && std::strncmp(checkbyte, "OK", 2) != 0);
    });
    paint_unverified_rows();
    g_object_unref(green);
    g_object_unref(yellow);
}

void repaint_tape_selection()
{
    if (!drawing_area_tape_contents || !pixmap_tape_contents)
        return;
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(file_list()), &model, &iter))
        return;
    gchar *type = nullptr;
    gdouble s = 0, e = 0;
    gtk_tree_model_get(model, &iter, REPORT_TYPE, &type, REPORT_START_FRACTION, &s, REPORT_END_FRACTION, &e, -1);
    GdkGC *blue = colour_gc("blue");
    fill_slice(blue, s, e);
    g_object_unref(blue);
    // The widened blue slice must not hide an unrecognized neighbour.
    const char *selected = type ? type : "";
    if (std::strncmp(selected, "PAUSE", 5) != 0 && !is_unrecognized(selected) && !is_unknown_turbo(selected))
        paint_unverified_rows();
    g_free(type);
}

int selected_rows()
{
    return gtk_tree_selection_count_selected_rows(gtk_tree_view_get_selection(file_list()));
}

gboolean on_configure(GtkWidget *area, GdkEventConfigure *event, gpointer)
{
    return report_drawingarea_tape_contents_configure(area, event);
}

gboolean on_expose(GtkWidget *area, GdkEventExpose *event, gpointer)
{
    return report_drawingarea_tape_contents_expose(area, event);
}

void on_cursor_changed(GtkTreeView *view, gpointer)
{
    report_treeview_file_list_cursor_changed(view);
}

} // namespace

SliceGeometry report_slice_geometry(double s, double e, int width)
{
    SliceGeometry slice;
    slice.x = int((width - 1) * s);
    // Half a pixel more before rounding: short files stay visible.
    slice.width = int(std::lround((e - s) * width + 0.5));
    return slice;
}

GdkPixmap *report_bar_pixmap()
{
    return pixmap_tape_contents;
}

void report_bar_init()
{
    GtkWidget *area = lookup_widget(mainwindow, "drawingarea_tape_contents");
    g_signal_connect(area, "configure_event", G_CALLBACK(on_configure), nullptr);
    g_signal_connect(area, "expose_event", G_CALLBACK(on_expose), nullptr);
    gtk_widget_add_events(area, GDK_BUTTON_PRESS_MASK);
    g_signal_connect(file_list(), "cursor_changed", G_CALLBACK(on_cursor_changed), nullptr);
}

void report_bar_repaint()
{
    repaint_tape_contents();
    if (selected_rows() == 1)
        repaint_tape_selection();
    if (drawing_area_tape_contents)
        gtk_widget_queue_draw(drawing_area_tape_contents);
}

gboolean report_drawingarea_tape_contents_configure(GtkWidget *area, GdkEventConfigure *)
{
    drawing_area_tape_contents = area;
    if (pixmap_tape_contents)
        g_object_unref(pixmap_tape_contents);
    pixmap_tape_contents = gdk_pixmap_new(area->window, area->allocation.width, area->allocation.height, -1);
    repaint_tape_contents();
    if (selected_rows() == 1)
        repaint_tape_selection();
    return TRUE;
}

gboolean report_drawingarea_tape_contents_expose(GtkWidget *area, GdkEventExpose *event)
{
    if (pixmap_tape_contents)
        gdk_draw_drawable(area->window, area->style->fg_gc[GTK_WIDGET_STATE(area)], pixmap_tape_contents,
                          event->area.x, event->area.y, event->area.x, event->area.y,
                          event->area.width, event->area.height);
    return FALSE;
}

void report_treeview_file_list_cursor_changed(GtkTreeView *)
{
    report_bar_repaint();
}

void report_select_slice(gdouble x)
{
    if (!drawing_area_tape_contents)
        return;
    const double f = (1.0 + x) / drawing_area_tape_contents->allocation.width;
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok; ok = gtk_tree_model_iter_next(model, &iter)) {
        gdouble s = 0, e = 0;
        gtk_tree_model_get(model, &iter, REPORT_START_FRACTION, &s, REPORT_END_FRACTION, &e, -1);
        if (s <= f && f < e) {
            GtkTreePath *path = gtk_tree_model_get_path(model, &iter);
            gtk_tree_view_set_cursor(file_list(), path, nullptr, FALSE);
            gtk_tree_path_free(path);
            return;
        }
    }
}
