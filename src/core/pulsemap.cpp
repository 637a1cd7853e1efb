// The tape analysis's screen data and view geometry.
#include "core/pulsemap.h"

#include <glib.h>
#include <glib/gi18n-lib.h>

#include <cerrno>
#include <exception>

namespace {

// Turns decoded pulses into raw entries and screen lines, handing each to the
// sink: sink.pulse(offset, line) at the start of every pulse,
// sink.entry(value) for every entry, sink.line(start) when a line opens.
template <class Sink>
class EntryWalker {
public:
    explicit EntryWalker(Sink &sink) : sink_(sink) {}

    void visit(const TapePulse &p)
    {
        sink_.pulse(p.offset, line_);
        // A pulse is cut into marked pieces when it is long (the long forms
        // and anything of 256 units or more) or part of an overflow run.
        const bool follows_overflow = previous_continues_;
        previous_continues_ = p.continues;
        if (!follows_overflow && !p.continues) {
            if (p.units < PULSE_PIECE_UNITS && (!p.long_form || p.units == 0)) {
                // The 3-byte form that shifts to 0 units is a plain 0 too.
                emit(static_cast<uint16_t>(p.units));
                return;
            }
        }
        uint32_t left = p.units;
        bool emitted = false;
        while (left >= PULSE_PIECE_UNITS) {
            const bool last = left == PULSE_PIECE_UNITS && !p.continues;
            emit(static_cast<uint16_t>(PULSE_ENTRY_PIECE | (last ? PULSE_ENTRY_LAST : 0) |
                                       PULSE_PIECE_UNITS));
            left -= PULSE_PIECE_UNITS;
            emitted = true;
            if (last)
                return;
        }
        // The rest below 256 closes the pulse; a continuing pulse that ended
        // exactly on a whole piece has no rest to store.
        if (left > 0 || !emitted)
            emit(static_cast<uint16_t>(PULSE_ENTRY_PIECE | (p.continues ? 0 : PULSE_ENTRY_LAST) | left));
    }

    uint64_t entries() const { return entries_; }
    uint64_t last_line() const { return line_; }

private:
    void emit(uint16_t value)
    {
        sink_.entry(value);
        ++entries_;
        sum_ += value & PULSE_ENTRY_LENGTH;
        if (sum_ >= PULSE_LINE_UNITS) {
            sum_ %= PULSE_LINE_UNITS;
            ++line_;
            sink_.line(entries_);
        }
    }

    Sink &sink_;
    uint64_t entries_ = 0;
    uint64_t line_ = 0;
    uint32_t sum_ = 0;
    bool previous_continues_ = false;
};

template <class Sink>
void walk(const uint8_t *file, std::size_t size, Sink &sink, uint64_t &entries, uint64_t &last_line)
{
    EntryWalker<Sink> walker(sink);
    for_each_tape_pulse(file, size, [&walker](const TapePulse &p) { walker.visit(p); });
    entries = walker.entries();
    last_line = walker.last_line();
}

struct CountSink {
    void pulse(uint64_t, uint64_t) {}
    void entry(uint16_t) {}
    void line(uint64_t) {}
};

struct FillSink {
    PulseMap &map;
    uint64_t next_line = 1;
    void pulse(uint64_t offset, uint64_t line) { map.offset_lines[offset] = line; }
    void entry(uint16_t value) { map.screen_data.push_back(value); }
    void line(uint64_t start) { map.line_starts[next_line++] = start; }
};

std::string format_message(const char *format, const char *detail)
{
    gchar *text = g_strdup_printf(format, detail);
    std::string result(text);
    g_free(text);
    return result;
}

} // namespace

bool pulse_map_build(const uint8_t *file, std::size_t size, PulseMap &map, std::string &error)
{
    map = PulseMap{};
    if (file != nullptr && size >= TAP_MAGIC_SIZE) {
        map.zorv = tape_file_type(file) == FileType::ZorvDump;
    }
    if (file != nullptr && size > TAP_OFFSET_VIDEO) {
        map.version = file[TAP_OFFSET_VERSION];
        map.platform = map.zorv ? (file[TAP_OFFSET_PLATFORM] & 0x0Fu) : file[TAP_OFFSET_PLATFORM];
        map.video = file[TAP_OFFSET_VIDEO];
    }
    map.downsample = choose_downsample(map.platform, map.video);

    // First pass: how many entries and lines.
    CountSink counter;
    uint64_t entries = 0, last_line = 0;
    walk(file, size, counter, entries, last_line);

    try {
        map.screen_data.reserve(entries);
    } catch (const std::exception &) {
        map = PulseMap{};
        error = format_message(_("Could not allocate raw workspace in memory:\n\n%s"), g_strerror(ENOMEM));
        return false;
    }
    try {
        map.line_starts.assign(last_line + 2, 0);
        map.offset_lines.assign(file != nullptr ? size : 0, PULSE_MAP_NO_LINE);
    } catch (const std::exception &) {
        map = PulseMap{};
        error = format_message(_("Could not allocate index workspace in memory:\n\n%s"), g_strerror(ENOMEM));
        return false;
    }

    // Second pass: the same walk, storing. Line 0 starts at entry 0.
    FillSink filler{map};
    walk(file, size, filler, entries, last_line);
    map.line_starts[last_line + 1] = entries;
    map.num_lines = last_line + 2;
    return true;
}

bool pulse_map_parse_file(const std::string &path, std::vector<uint8_t> &data, PulseMap &map,
                          std::string &error)
{
    data.clear();
    map = PulseMap{};
    gchar *contents = nullptr;
    gsize length = 0;
    GError *load_error = nullptr;
    if (!g_file_get_contents(path.c_str(), &contents, &length, &load_error)) {
        gchar *text = g_strdup_printf(_("Could not load data from file '%s':\n\n%s"), path.c_str(),
                                      load_error != nullptr ? load_error->message : "");
        error = text;
        g_free(text);
        if (load_error != nullptr)
            g_error_free(load_error);
        return false;
    }
    try {
        data.assign(reinterpret_cast<const uint8_t *>(contents),
                    reinterpret_cast<const uint8_t *>(contents) + length);
    } catch (const std::exception &) {
        g_free(contents);
        gchar *text = g_strdup_printf(_("Could not load data from file '%s':\n\n%s"), path.c_str(),
                                      g_strerror(ENOMEM));
        error = text;
        g_free(text);
        return false;
    }
    g_free(contents);
    if (!pulse_map_build(data.data(), data.size(), map, error)) {
        return false;
    }
    return true;
}

uint64_t pulse_map_line_of_offset(const PulseMap &map, uint64_t offset)
{
    if (offset >= map.offset_lines.size())
        return PULSE_MAP_NO_LINE;
    for (uint64_t o = offset + 1; o-- > 0;) {
        if (map.offset_lines[o] != PULSE_MAP_NO_LINE)
            return map.offset_lines[o];
    }
    return 0;
}

PulseLineEntries pulse_map_line_entries(const PulseMap &map, uint64_t line)
{
    PulseLineEntries range;
    if (line + 1 < map.line_starts.size()) {
        range.first = map.line_starts[line];
        range.end = map.line_starts[line + 1];
    }
    return range;
}

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
