#include "gui/analysis.h"

#include "core/pulsemap.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <string>
#include <vector>

namespace {

constexpr int TOOLS_PAGE = 4;
constexpr int TAPE_ANALYSIS_PAGE = 3;

std::vector<uint8_t> TAPData;
PulseMap map;
gint iAdjustmentValue = 0;
gchar *utf8_path_lastanalyzedTAP = nullptr;
int configure_busy = 1;
gint32 bAreaUpdateInProgress = 0;
GtkAdjustment *data_adjustment = nullptr;
GtkWidget *drawing_area = nullptr;
GdkPixmap *pixmap_tape_analysis = nullptr;
GdkGC *gc = nullptr;
GdkColor pulse_color, bar_color, thresholdline_color;
PulseLayout layout = PulseLayout::Vertical;
guint64 pending_offset = 0;

GtkWidget *W(const char *name)
{
    return lookup_widget(mainwindow, name);
}

bool parsed()
{
    return map.num_lines > 0 && !map.line_starts.empty();
}

int capacity()
{
    return drawing_area ? pulse_view_capacity(layout, drawing_area->allocation.width, drawing_area->allocation.height)
                        : 0;
}

void show_tool_page()
{
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), TOOLS_PAGE);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_tools")), TAPE_ANALYSIS_PAGE);
}

void fill_black(int x, int y, int width, int height)
{
    gdk_draw_rectangle(pixmap_tape_analysis, drawing_area->style->black_gc, TRUE, x, y, width, height);
}

// Draws the dots of `count` lines starting at line `first`, at line-axis positions from `position`.
void draw_lines(int64_t first, int position, int count)
{
    if (!parsed() || !gc)
        return;
    const int height = drawing_area->allocation.height;
    for (int i = 0; i < count; ++i) {
        const int64_t line = first + i;
        if (line < 0 || uint64_t(line) >= map.num_lines)
            break;
        const PulseLineEntries entries = pulse_map_line_entries(map, uint64_t(line));
        for (uint64_t e = entries.first; e < entries.end; ++e) {
            const uint16_t entry = map.screen_data[e];
            if (!pulse_entry_is_drawn(entry))
                continue;
            const PulseDot dot = pulse_view_dot(layout, position + i, pulse_entry_length(entry), height);
            gdk_draw_line(pixmap_tape_analysis, gc, dot.x0, dot.y0, dot.x1, dot.y1);
        }
    }
}

void set_adjustment()
{
    if (!data_adjustment)
        return;
    const PulseViewAdjustment a = pulse_view_adjustment(iAdjustmentValue, map.num_lines, capacity());
    data_adjustment->lower = a.lower;
    data_adjustment->upper = a.upper;
    data_adjustment->page_size = a.page_size;
    data_adjustment->page_increment = a.page_increment;
    gtk_adjustment_changed(data_adjustment);
    bAreaUpdateInProgress = 1; // the value below must not scroll the picture
    gtk_adjustment_set_value(data_adjustment, a.value);
    bAreaUpdateInProgress = 0;
}

void redraw_pixmap()
{
    if (!pixmap_tape_analysis)
        return;
    const int cap = capacity();
    if (parsed()) {
        const int64_t first = pulse_view_clamp_first_line(iAdjustmentValue, map.num_lines, cap);
        if (first != iAdjustmentValue) {
            iAdjustmentValue = gint(first);
            set_adjustment();
        }
    }
    fill_black(0, 0, drawing_area->allocation.width, drawing_area->allocation.height);
    const uint64_t end = pulse_view_lines_end(iAdjustmentValue, map.num_lines, cap);
    draw_lines(iAdjustmentValue, 0, int(end > uint64_t(iAdjustmentValue) ? end - uint64_t(iAdjustmentValue) : 0));
}

void queue_redraw()
{
    if (drawing_area)
        gtk_widget_queue_draw(drawing_area);
}

void on_adjustment_value_changed(GtkAdjustment *adjustment, gpointer)
{
    if (bAreaUpdateInProgress || !pixmap_tape_analysis)
        return;
    const gint value = gint(gtk_adjustment_get_value(adjustment));
    const int64_t d = int64_t(value) - iAdjustmentValue;
    iAdjustmentValue = value;
    if (d == 0)
        return;
    const int cap = capacity();
    if (!pulse_view_scroll_is_incremental(d, cap)) {
        bAreaUpdateInProgress = 1;
        redraw_pixmap();
        queue_redraw();
        return;
    }
    // Move the still valid part of the picture, then draw only the new band.
    const int width = drawing_area->allocation.width, height = drawing_area->allocation.height;
    const int shift = int(d);
    if (layout == PulseLayout::Vertical)
        gdk_draw_drawable(pixmap_tape_analysis, drawing_area->style->black_gc, pixmap_tape_analysis, 0,
                          shift > 0 ? shift : 0, 0, shift > 0 ? 0 : -shift, width, height - std::abs(shift));
    else
        gdk_draw_drawable(pixmap_tape_analysis, drawing_area->style->black_gc, pixmap_tape_analysis,
                          shift > 0 ? shift : 0, 0, shift > 0 ? 0 : -shift, 0, width - std::abs(shift), height);
    const PulseViewBand band = pulse_view_exposed_band(value, d, cap);
    if (layout == PulseLayout::Vertical)
        fill_black(0, band.position, width, band.count);
    else
        fill_black(band.position, 0, band.count, height);
    draw_lines(band.first_line, band.position, band.count);
    if (drawing_area->window) {
        if (layout == PulseLayout::Vertical)
            gdk_window_scroll(drawing_area->window, 0, -shift);
        else
            gdk_window_scroll(drawing_area->window, -shift, 0);
    }
}

gboolean on_configure(GtkWidget *area, GdkEventConfigure *, gpointer)
{
    drawing_area = area;
    if (pixmap_tape_analysis)
        g_object_unref(pixmap_tape_analysis);
    pixmap_tape_analysis = gdk_pixmap_new(area->window, area->allocation.width, area->allocation.height, -1);
    gdk_color_parse("green", &pulse_color);
    gdk_color_parse("blue", &bar_color);
    gdk_color_parse("red", &thresholdline_color);
    if (!gc)
        gc = gdk_gc_new(pixmap_tape_analysis);
    gdk_gc_set_rgb_fg_color(gc, &pulse_color);
    set_adjustment();
    redraw_pixmap();
    configure_busy = 0;
    return TRUE;
}

gboolean on_expose(GtkWidget *area, GdkEventExpose *event, gpointer)
{
    if (pixmap_tape_analysis)
        gdk_draw_drawable(area->window, area->style->fg_gc[GTK_WIDGET_STATE(area)], pixmap_tape_analysis,
                          event->area.x, event->area.y, event->area.x, event->area.y, event->area.width,
                          event->area.height);
    if (bAreaUpdateInProgress) {
        bAreaUpdateInProgress = 0;
        gtk_adjustment_set_value(data_adjustment, iAdjustmentValue);
    }
    return FALSE;
}

gboolean on_scroll(GtkWidget *, GdkEventScroll *event, gpointer)
{
    if (!parsed() || !data_adjustment)
        return FALSE;
    PulseViewAdjustment a;
    a.lower = data_adjustment->lower;
    a.upper = data_adjustment->upper;
    a.value = gtk_adjustment_get_value(data_adjustment);
    a.page_size = data_adjustment->page_size;
    a.page_increment = data_adjustment->page_increment;
    if (event->direction == GDK_SCROLL_UP || event->direction == GDK_SCROLL_DOWN)
        gtk_adjustment_set_value(data_adjustment, pulse_view_wheel_value(a, event->direction == GDK_SCROLL_UP));
    return TRUE;
}

gboolean on_button_press(GtkWidget *, GdkEventButton *event, gpointer)
{
    if (event->type != GDK_BUTTON_PRESS || event->button != 3 || !parsed())
        return FALSE;
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, "popupmenu_drawing_area_tape_analysis");
    GtkWidget *item = gtk_image_menu_item_new_with_label(_("Save snapshot"));
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item), gtk_image_new_from_stock(GTK_STOCK_SAVE_AS, GTK_ICON_SIZE_MENU));
    gtk_widget_set_name(item, "popupmenuitem_tape_analysis_save_snapshot");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_signal_connect_swapped(item, "activate", G_CALLBACK(tape_analysis_snapshot_save), nullptr);
    gtk_widget_show_all(menu);
    gtk_menu_popup(GTK_MENU(menu), nullptr, nullptr, nullptr, nullptr, event->button, event->time);
    return TRUE;
}

void on_layout_toggled(GtkToggleButton *button, gpointer horizontal)
{
    if (!gtk_toggle_button_get_active(button))
        return;
    layout = horizontal ? PulseLayout::Horizontal : PulseLayout::Vertical;
    gtk_widget_set_visible(W("vscrollbar_tape_analysis"), !horizontal);
    gtk_widget_set_visible(W("hscrollbar_tape_analysis"), horizontal != nullptr);
    set_adjustment();
    redraw_pixmap();
    queue_redraw();
}

void on_parse_clicked(GtkButton *, gpointer)
{
    if (utf8_path_lastopenTAP)
        tape_analysis_parse(utf8_path_lastopenTAP);
}

void move_to_offset(guint64 offset)
{
    const uint64_t line = pulse_map_line_of_offset(map, TAPData.data(), TAPData.size(), offset);
    if (line != PULSE_MAP_NO_LINE && offset < TAPData.size())
        gtk_adjustment_set_value(data_adjustment, double(line));
    show_tool_page();
}

gboolean is_configure_busy(gpointer)
{
    if (configure_busy)
        return TRUE;
    tape_analysis_parse(utf8_path_lasttestedTAP);
    move_to_offset(pending_offset);
    return FALSE;
}

} // namespace

void tape_analysis_module_init()
{
    data_adjustment = GTK_ADJUSTMENT(gtk_adjustment_new(0, 0, 10, 1, 10, 10));
    g_object_ref_sink(data_adjustment);
    gtk_range_set_adjustment(GTK_RANGE(W("vscrollbar_tape_analysis")), data_adjustment);
    gtk_range_set_adjustment(GTK_RANGE(W("hscrollbar_tape_analysis")), data_adjustment);
    gtk_widget_hide(W("hscrollbar_tape_analysis"));
    g_signal_connect(data_adjustment, "value-changed", G_CALLBACK(on_adjustment_value_changed), nullptr);

    GtkWidget *area = W("drawingarea_tape_analysis");
    gtk_widget_add_events(area, GDK_SCROLL_MASK | GDK_BUTTON_PRESS_MASK);
    g_signal_connect(area, "configure_event", G_CALLBACK(on_configure), nullptr);
    g_signal_connect(area, "expose_event", G_CALLBACK(on_expose), nullptr);
    g_signal_connect(area, "scroll_event", G_CALLBACK(on_scroll), nullptr);
    g_signal_connect(area, "button_press_event", G_CALLBACK(on_button_press), nullptr);
    g_signal_connect(W("radiobutton_layout_vertical"), "toggled", G_CALLBACK(on_layout_toggled), nullptr);
    g_signal_connect(W("radiobutton_layout_horizontal"), "toggled", G_CALLBACK(on_layout_toggled),
                     GINT_TO_POINTER(1));
    g_signal_connect(W("button_tape_analysis_parse"), "clicked", G_CALLBACK(on_parse_clicked), nullptr);
}

void tape_analysis_parse(const gchar *path)
{
    if (!path)
        return;
    std::string error;
    if (!pulse_map_parse_file(path, TAPData, map, error)) {
        // The dialog reads its text as a format: keep a "%" in a path literal.
        gchar **parts = g_strsplit(error.c_str(), "%", -1);
        gchar *escaped = g_strjoinv("%%", parts);
        common_create_simple_error_dialog(GTK_WINDOW(mainwindow), escaped);
        g_free(escaped);
        g_strfreev(parts);
        return;
    }
    replace_owned_string(utf8_path_lastanalyzedTAP, path);
    iAdjustmentValue = 0;
    set_adjustment();
    redraw_pixmap();
    queue_redraw();
}

void tape_analysis_move_to_tape_offset(guint64 offset)
{
    if (utf8_path_lastanalyzedTAP && g_strcmp0(utf8_path_lastanalyzedTAP, utf8_path_lasttestedTAP) == 0) {
        move_to_offset(offset);
        return;
    }
    GtkWidget *dialog = gtk_message_dialog_new(
        GTK_WINDOW(mainwindow), GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
        GTK_MESSAGE_QUESTION, GTK_BUTTONS_YES_NO, "%s",
        _("Tape not parsed yet. Would you like to parse it now?\nPlease be aware that this might take a moment or two,\ndepending on the size of the tape."));
    gtk_window_set_title(GTK_WINDOW(dialog), _("Confirmation request"));
    const gint answer = gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
    if (answer != GTK_RESPONSE_YES)
        return;
    if (configure_busy) {
        // The drawing area has never been shown: parse once it has its size.
        show_tool_page();
        pending_offset = offset;
        g_timeout_add(250, is_configure_busy, nullptr);
        return;
    }
    tape_analysis_parse(utf8_path_lasttestedTAP);
    move_to_offset(offset);
}

void tape_analysis_snapshot_save()
{
    const std::string suffix = pulse_view_snapshot_label(iAdjustmentValue);
    common_save_as_png(drawing_area, pixmap_tape_analysis, utf8_path_lastanalyzedTAP, suffix.c_str());
}

gint tape_analysis_first_line()
{
    return iAdjustmentValue;
}

guint64 tape_analysis_line_count()
{
    return map.num_lines;
}

GdkPixmap *tape_analysis_pixmap()
{
    return pixmap_tape_analysis;
}
