// The Pulse Statistics tool page: the histogram of the attached tape's pulse
// lengths (whole tape or the report entry selected on the Interactive
// page), linear or logarithmic, with the recognised formats' ideal lengths
// marked in red (an unknown turbo's measured lengths in orange); and how
// fast each recognised file plays. The histogram is
// drawn into a pixmap, which the snapshot saves as PNG.
#include "gui/pulsestats_page.h"

#include "core/pulsestats.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/report.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

namespace {

enum SpeedColumn { SPEED_INDEX, SPEED_TYPE, SPEED_NAME, SPEED_MEASURED, SPEED_IDEAL, SPEED_PERCENT, SPEED_COLUMNS };

std::unique_ptr<TapeScan> scan;
std::string scanned_path;
PulseHistogram histogram;
GdkPixmap *pixmap = nullptr;

GtkWidget *widget(const char *name)
{
    return lookup_widget(mainwindow, name);
}

bool log_scale()
{
    return gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(widget("checkbutton_histogram_log")));
}

void draw_histogram()
{
    GtkWidget *area = widget("drawingarea_pulse_histogram");
    if (pixmap == nullptr || area == nullptr)
        return;
    int width = 0, height = 0;
    gdk_drawable_get_size(pixmap, &width, &height);
    cairo_t *cr = gdk_cairo_create(pixmap);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    const double left = 40, bottom = 20, plot_w = width - left - 8, plot_h = height - bottom - 8;
    uint64_t top = 0;
    for (uint64_t c : histogram.counts)
        top = std::max(top, c);
    auto scale = [&](uint64_t c) {
        if (top == 0)
            return 0.0;
        return log_scale() ? std::log10(1.0 + static_cast<double>(c)) / std::log10(1.0 + static_cast<double>(top))
                           : static_cast<double>(c) / static_cast<double>(top);
    };
    // Axis with a tick every 16 units.
    cairo_set_source_rgb(cr, 0.3, 0.3, 0.3);
    cairo_set_line_width(cr, 1);
    cairo_move_to(cr, left, 8 + plot_h + 0.5);
    cairo_line_to(cr, left + plot_w, 8 + plot_h + 0.5);
    cairo_stroke(cr);
    cairo_set_font_size(cr, 9);
    for (int u = 0; u <= 256; u += 32) {
        const double x = left + plot_w * u / 256.0;
        cairo_move_to(cr, u == 256 ? x - 18 : x - 8, height - 5);
        cairo_show_text(cr, std::to_string(u).c_str());
    }
    // The ideal lengths in red, an unknown turbo's measured ones in orange:
    // a line under the bars and a notch under the axis, which a tall bar
    // cannot hide.
    const auto draw_marks = [&](const std::vector<uint8_t> &lengths, double red, double green, double blue) {
        cairo_set_source_rgb(cr, red, green, blue);
        for (uint8_t length : lengths) {
            const double x = std::floor(left + plot_w * (length + 0.5) / 256.0) + 0.5;
            cairo_move_to(cr, x, 8);
            cairo_line_to(cr, x, 8 + plot_h);
            cairo_stroke(cr);
            cairo_move_to(cr, x, 8 + plot_h + 1);
            cairo_line_to(cr, x - 3.5, 8 + plot_h + 7);
            cairo_line_to(cr, x + 3.5, 8 + plot_h + 7);
            cairo_close_path(cr);
            cairo_fill(cr);
        }
    };
    draw_marks(histogram.ideals, 0.85, 0.1, 0.1);
    draw_marks(histogram.unknown_turbo, 1.0, 0.55, 0.0);
    cairo_set_source_rgb(cr, 0.1, 0.25, 0.6);
    for (int u = 1; u < 256; ++u) {
        const double h = plot_h * scale(histogram.counts[static_cast<std::size_t>(u)]);
        if (h <= 0)
            continue;
        cairo_rectangle(cr, left + plot_w * u / 256.0, 8 + plot_h - h, std::max(1.0, plot_w / 256.0 - 0.5), h);
    }
    cairo_fill(cr);
    cairo_destroy(cr);
    gtk_widget_queue_draw(area);
}

gboolean on_configure(GtkWidget *area, GdkEventConfigure *, gpointer)
{
    if (pixmap != nullptr)
        g_object_unref(pixmap);
    pixmap = gdk_pixmap_new(area->window, area->allocation.width, area->allocation.height, -1);
    draw_histogram();
    return TRUE;
}

gboolean on_expose(GtkWidget *area, GdkEventExpose *event, gpointer)
{
    if (pixmap != nullptr)
        gdk_draw_drawable(area->window, area->style->fg_gc[GTK_WIDGET_STATE(area)], pixmap, event->area.x,
                          event->area.y, event->area.x, event->area.y, event->area.width, event->area.height);
    return FALSE;
}

// The report entry selected on the Interactive page (0-based), or -1.
int selected_entry()
{
    GtkTreeView *list = GTK_TREE_VIEW(widget("treeview_file_list"));
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    if (list == nullptr || !gtk_tree_selection_get_selected(gtk_tree_view_get_selection(list), &model, &iter))
        return -1;
    gint index = 0;
    gtk_tree_model_get(model, &iter, REPORT_INDEX, &index, -1);
    return index - 1;
}

void fill_speeds()
{
    GtkListStore *store = GTK_LIST_STORE(gtk_tree_view_get_model(GTK_TREE_VIEW(widget("treeview_pulse_speeds"))));
    gtk_list_store_clear(store);
    if (!scan)
        return;
    for (const FileSpeed &s : tape_speeds(*scan)) {
        GtkTreeIter iter;
        gchar *measured = g_strdup_printf("%.2f", s.measured);
        gchar *ideal = g_strdup_printf("%.2f", s.ideal);
        gchar *percent = g_strdup_printf("%+.1f %%", s.percent);
        gtk_list_store_append(store, &iter);
        gtk_list_store_set(store, &iter, SPEED_INDEX, static_cast<gint>(s.entry + 1), SPEED_TYPE, s.type.c_str(),
                           SPEED_NAME, s.name.c_str(), SPEED_MEASURED, measured, SPEED_IDEAL, ideal, SPEED_PERCENT,
                           percent, -1);
        g_free(measured);
        g_free(ideal);
        g_free(percent);
    }
}

void update_histogram()
{
    if (!scan)
        return;
    const bool only_selected =
        gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(widget("checkbutton_histogram_selected_entry")));
    const int entry = only_selected ? selected_entry() : -1;
    histogram = pulse_histogram(*scan, entry < static_cast<int>(scan->entries.size()) ? entry : -1);
    draw_histogram();
}

void on_compute_clicked(GtkButton *, gpointer)
{
    const char *path = utf8_path_lastopenTAP;
    if (path == nullptr) {
        common_create_friendly_dialog(_("Pulse Statistics"), _("Attach a tape first."));
        return;
    }
    auto fresh = std::make_unique<TapeScan>(scan_tape_file(path));
    if (!fresh->ok) {
        gchar *text = g_strdup_printf(_("Could not read the tape %s: %s"), path, fresh->error.c_str());
        common_create_friendly_dialog(_("Pulse Statistics"), text);
        g_free(text);
        return;
    }
    scan = std::move(fresh);
    scanned_path = path;
    fill_speeds();
    update_histogram();
}

void on_option_toggled(GtkToggleButton *, gpointer)
{
    update_histogram();
}

void on_snapshot_clicked(GtkButton *, gpointer)
{
    if (scan)
        common_save_as_png(widget("drawingarea_pulse_histogram"), pixmap, scanned_path.c_str(), "histogram");
}

void add_text_column(GtkTreeView *view, const char *title, int column, float align)
{
    GtkCellRenderer *renderer = gtk_cell_renderer_text_new();
    g_object_set(renderer, "xalign", align, nullptr);
    GtkTreeViewColumn *c = gtk_tree_view_column_new_with_attributes(title, renderer, "text", column, nullptr);
    gtk_tree_view_column_set_resizable(c, TRUE);
    gtk_tree_view_append_column(view, c);
}

} // namespace

void pulse_statistics_module_init()
{
    GtkWidget *area = widget("drawingarea_pulse_histogram");
    g_signal_connect(area, "configure_event", G_CALLBACK(on_configure), nullptr);
    g_signal_connect(area, "expose_event", G_CALLBACK(on_expose), nullptr);
    g_signal_connect(widget("button_pulse_statistics_compute"), "clicked", G_CALLBACK(on_compute_clicked), nullptr);
    g_signal_connect(widget("button_pulse_histogram_snapshot"), "clicked", G_CALLBACK(on_snapshot_clicked), nullptr);
    g_signal_connect(widget("checkbutton_histogram_log"), "toggled", G_CALLBACK(on_option_toggled), nullptr);
    g_signal_connect(widget("checkbutton_histogram_selected_entry"), "toggled", G_CALLBACK(on_option_toggled),
                     nullptr);
    GtkTreeView *view = GTK_TREE_VIEW(widget("treeview_pulse_speeds"));
    GtkListStore *store = gtk_list_store_new(SPEED_COLUMNS, G_TYPE_INT, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING,
                                             G_TYPE_STRING, G_TYPE_STRING);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(store));
    g_object_unref(store);
    add_text_column(view, _(" Index "), SPEED_INDEX, 1.0f);
    add_text_column(view, _(" Type descriptor "), SPEED_TYPE, 0.0f);
    add_text_column(view, _(" File name "), SPEED_NAME, 0.0f);
    add_text_column(view, _(" Leader pulse "), SPEED_MEASURED, 1.0f);
    add_text_column(view, _(" Ideal "), SPEED_IDEAL, 1.0f);
    add_text_column(view, _(" Speed "), SPEED_PERCENT, 1.0f);
}

const PulseHistogram &pulse_statistics_histogram()
{
    return histogram;
}
