// The tape analysis's view geometry (declared in core/pulsemap.h): scroll
// clamping, the scroll bar's adjustment, wheel steps, exposed bands and dots.
#include "core/pulsemap.h"

#include <glib.h>

#include <string>

int pulse_view_capacity(PulseLayout layout, int width, int height)
{
    return layout == PulseLayout::Vertical ? height : width;
}

int64_t pulse_view_clamp_first_line(int64_t first, uint64_t num_lines, int capacity)
{
    const int64_t lines = static_cast<int64_t>(num_lines);
    if (first + capacity <= lines)
        return first;
    if (lines - capacity < 2)
        return 0;
    return lines - 1 - capacity;
}

uint64_t pulse_view_lines_end(int64_t first, uint64_t num_lines, int capacity)
{
    const int64_t end = first + capacity;
    if (end < 0)
        return 0;
    return static_cast<uint64_t>(end) < num_lines ? static_cast<uint64_t>(end) : num_lines;
}

PulseViewAdjustment pulse_view_adjustment(int64_t first, uint64_t num_lines, int capacity)
{
    PulseViewAdjustment a;
    a.lower = 0;
    a.value = static_cast<double>(first);
    a.upper = static_cast<double>(num_lines) - 1;
    a.page_increment = capacity;
    a.page_size = capacity;
    return a;
}

double pulse_view_wheel_value(const PulseViewAdjustment &a, bool up)
{
    const double step = a.page_increment / 6;
    if (up) {
        const double v = a.value - step;
        return v < a.lower ? a.lower : v;
    }
    const double limit = a.upper - a.page_size;
    const double v = a.value + step;
    return v > limit ? limit : v;
}

bool pulse_view_scroll_is_incremental(int64_t d, int capacity)
{
    const int64_t magnitude = d < 0 ? -d : d;
    return magnitude < capacity;
}

PulseViewBand pulse_view_exposed_band(int64_t new_first, int64_t d, int capacity)
{
    PulseViewBand band;
    if (d > 0) {
        band.count = static_cast<int>(d);
        band.position = capacity - band.count;
        band.first_line = new_first + band.position;
    } else if (d < 0) {
        band.count = static_cast<int>(-d);
        band.position = 0;
        band.first_line = new_first;
    }
    return band;
}

PulseDot pulse_view_dot(PulseLayout layout, int position, unsigned length, int height)
{
    PulseDot dot;
    const int distance = 2 * static_cast<int>(length);
    if (layout == PulseLayout::Vertical) {
        dot.x0 = distance;
        dot.x1 = distance + 1;
        dot.y0 = dot.y1 = position;
    } else {
        dot.x0 = dot.x1 = position;
        dot.y0 = height - distance;
        dot.y1 = height - distance - 1;
    }
    return dot;
}

std::string pulse_view_snapshot_label(int first_line)
{
    gchar *text = g_strdup_printf("analysis_y=%d", first_line);
    std::string result(text);
    g_free(text);
    return result;
}
