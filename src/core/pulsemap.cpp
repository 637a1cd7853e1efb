// The tape analysis's screen data: building it and looking lines up.
#include "core/pulsemap.h"

#include <glib.h>
#include <glib/gi18n-lib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

// Plain TAP bytes are stored this many at a time.
constexpr std::size_t TAP_CHUNK_BYTES = 4096;

// Room to reserve before the walk: entries and line starts.
struct Reservation {
    std::size_t entries = 0;
    std::size_t lines = 0;
};

// Upper bounds of what a walk stores, read off the bytes without the walk's
// bookkeeping: every pulse gives one entry plus a piece per 256 units shown
// beyond that, and the units shown (capped over a run of continuing pulses as
// the walk caps them) bound the lines.
class RoomCounter {
public:
    void pulse(uint32_t units, bool continues)
    {
        if (!previous_continues_)
            chain_shown_ = 0;
        previous_continues_ = continues;
        const uint32_t budget = PULSE_LONGEST_SHOWN_UNITS - chain_shown_;
        const uint32_t shown = units < budget ? units : budget;
        chain_shown_ += shown;
        entries_ += 1 + shown / PULSE_PIECE_UNITS;
        units_ += shown;
    }
    // Pulses known to be plain (below 256 units, not in a run), counted in bulk.
    void plain(uint64_t count, uint64_t units)
    {
        previous_continues_ = false;
        entries_ += count;
        units_ += units;
    }
    Reservation room() const
    {
        Reservation r;
        r.entries = entries_;
        r.lines = units_ / PULSE_LINE_UNITS + 2;
        return r;
    }

private:
    uint64_t entries_ = 0;
    uint64_t units_ = 0;
    uint32_t chain_shown_ = 0;
    bool previous_continues_ = false;
};

// Sum of n bytes, eight at a time: the bytes of a 64-bit word are added
// pairwise into 16-bit lanes, which hold 255 such sums without overflowing.
uint64_t byte_sum(const uint8_t *bytes, std::size_t n)
{
    constexpr uint64_t low_bytes = 0x00FF00FF00FF00FFull;
    uint64_t total = 0;
    std::size_t i = 0;
    while (n - i >= 8) {
        uint64_t lanes = 0;
        for (std::size_t words = 0; words < 255 && n - i >= 8; ++words, i += 8) {
            uint64_t word;
            std::memcpy(&word, bytes + i, 8);
            lanes += (word & low_bytes) + ((word >> 8) & low_bytes);
        }
        for (int lane = 0; lane < 4; ++lane)
            total += (lanes >> (16 * lane)) & 0xFFFF;
    }
    for (; i < n; ++i)
        total += bytes[i];
    return total;
}

// TAP: the zero bytes are found with memchr; the plain bytes between them
// are summed in bulk.
Reservation tap_reservation(const uint8_t *file, std::size_t size)
{
    const uint8_t *data = file + TAP_HEADER_SIZE;
    const std::size_t n = size - TAP_HEADER_SIZE;
    const uint8_t version = file[TAP_OFFSET_VERSION];
    RoomCounter counter;
    std::size_t pos = 0;
    while (pos < n) {
        const void *zero = std::memchr(data + pos, 0, n - pos);
        const std::size_t at = zero != nullptr ? static_cast<const uint8_t *>(zero) - data : n;
        if (at > pos)
            counter.plain(at - pos, byte_sum(data + pos, at - pos));
        if (at == n)
            break;
        pos = at + 1;
        if (version == 0) {
            counter.pulse(TAP_V0_LONG_PULSE_UNITS, false);
        } else if (version == 1 || version == 2) {
            const std::size_t present = n - pos < 3 ? n - pos : 3;
            uint32_t cycles = 0;
            for (std::size_t i = 0; i < present; ++i)
                cycles |= static_cast<uint32_t>(data[pos + i]) << (8 * i);
            const bool overflow = present == 3 && cycles == TAP_OVERFLOW_CYCLES;
            counter.pulse(overflow ? TAP_OVERFLOW_UNITS : cycles >> 3, overflow);
            pos += present;
        } else {
            counter.plain(1, 0);
        }
    }
    Reservation room = counter.room();
    room.lines += TAP_CHUNK_BYTES / 2 + 1;  // see MapBuilder::plain_bytes()
    return room;
}

// ZORV: every sample converted, through a table when there are many.
Reservation zorv_reservation(const uint8_t *file, std::size_t size)
{
    const DownsampleFunc f =
        choose_downsample(tape_platform_index(file, FileType::ZorvDump), file[TAP_OFFSET_VIDEO]);
    const std::size_t samples = (size - TAP_HEADER_SIZE + 1) / 2;
    std::vector<uint16_t> table;
    if (samples > 0x10000) {
        table.resize(0x10000);
        for (uint32_t s = 0; s < 0x10000; ++s)
            table[s] = static_cast<uint16_t>(zorv_sample_to_units(s, f));
    }
    RoomCounter counter;
    for (std::size_t pos = TAP_HEADER_SIZE; pos < size; pos += 2) {
        uint32_t sample = file[pos];
        if (pos + 1 < size)
            sample |= static_cast<uint32_t>(file[pos + 1]) << 8;
        const uint32_t units = table.empty() ? zorv_sample_to_units(sample, f) : table[sample];
        counter.pulse(units, sample == ZORV_OVERFLOW_SAMPLE);
    }
    return counter.room();
}

Reservation reservation_for(const uint8_t *file, std::size_t size, bool zorv)
{
    if (file == nullptr || size <= TAP_HEADER_SIZE) {
        Reservation none;
        none.lines = 2;
        return none;
    }
    return zorv ? zorv_reservation(file, size) : tap_reservation(file, size);
}

// Asks for huge pages under a freshly reserved vector: its pages are then
// faulted in 2 MB at a time rather than 4 KB, which on a 50 MB tape saves
// most of the time spent filling hundreds of megabytes. Only a hint.
template <class T>
void advise_huge_pages(std::vector<T> &v)
{
#if defined(MADV_HUGEPAGE)
    constexpr uintptr_t huge = 2u * 1024 * 1024;
    const uintptr_t begin = reinterpret_cast<uintptr_t>(v.data());
    const uintptr_t end = begin + v.capacity() * sizeof(T);
    const uintptr_t first = (begin + huge - 1) & ~(huge - 1);
    const uintptr_t last = end & ~(huge - 1);
    if (last > first)
        madvise(reinterpret_cast<void *>(first), last - first, MADV_HUGEPAGE);
#else
    (void)v;
#endif
}

// Where an overflow run stands: whether the previous pulse continues into
// the next one, and how many units of the run are shown so far.
struct ChainState {
    uint32_t shown = 0;
    bool previous_continues = false;
};

// The entries of one pulse, handed to emit(uint16_t) in order; the chain
// state is updated. Used to build the map and to count entries when an
// offset is looked up, so both agree.
template <class Emit>
void pulse_entries(const TapePulse &p, ChainState &state, Emit &&emit)
{
    // A pulse is cut into marked pieces when it is long (the long forms and
    // anything of 256 units or more) or part of an overflow run.
    const bool follows_overflow = state.previous_continues;
    state.previous_continues = p.continues;
    if (!follows_overflow && !p.continues && p.units < PULSE_PIECE_UNITS && (!p.long_form || p.units == 0)) {
        // The 3-byte form that shifts to 0 units is a plain 0 too.
        emit(static_cast<uint16_t>(p.units));
        return;
    }
    if (!follows_overflow)
        state.shown = 0;
    const uint32_t budget = PULSE_LONGEST_SHOWN_UNITS - state.shown;
    uint32_t left = p.units < budget ? p.units : budget;
    state.shown += left;
    bool emitted = false;
    while (left >= PULSE_PIECE_UNITS) {
        const bool last = left == PULSE_PIECE_UNITS && !p.continues;
        emit(static_cast<uint16_t>(PULSE_ENTRY_PIECE | (last ? PULSE_ENTRY_LAST : 0) | PULSE_PIECE_UNITS));
        left -= PULSE_PIECE_UNITS;
        emitted = true;
        if (last)
            return;
    }
    // The rest below 256 closes the pulse; a continuing pulse that ended
    // exactly on a whole piece has no rest to store. Past the longest shown
    // length the rest is a marked 0.
    if (left > 0 || !emitted)
        emit(static_cast<uint16_t>(PULSE_ENTRY_PIECE | (p.continues ? 0 : PULSE_ENTRY_LAST) | left));
}

std::size_t block_of(uint64_t offset) { return static_cast<std::size_t>((offset - TAP_HEADER_SIZE) / PULSE_BLOCK_BYTES); }

uint64_t block_start(std::size_t block) { return TAP_HEADER_SIZE + uint64_t(block) * PULSE_BLOCK_BYTES; }

// Blocks of pulse data in a file of `size` bytes.
std::size_t block_count(std::size_t size)
{
    return size > TAP_HEADER_SIZE ? (size - TAP_HEADER_SIZE + PULSE_BLOCK_BYTES - 1) / PULSE_BLOCK_BYTES : 0;
}

// Builds the map in one walk over the pulses: the entries, the line starts
// and the checkpoints are appended in tape order.
class MapBuilder {
public:
    explicit MapBuilder(PulseMap &map) : map_(map) { map_.line_starts.push_back(0); }

    void visit(const TapePulse &p)
    {
        checkpoint(p.offset, map_.screen_data.size());
        pulse_entries(p, state_, [this](uint16_t value) { emit(value); });
    }

    // TAP file bytes [from, to), all non-zero: plain pulses of that many
    // units (the first one is marked when it follows an overflow mark). The
    // vectors grow a chunk at a time and the chunk is written through
    // pointers, which keeps this loop free of per-byte capacity checks.
    void plain_bytes(const uint8_t *file, std::size_t from, std::size_t to)
    {
        if (from < to && state_.previous_continues) {
            visit(TapePulse{from, file[from], false, false});
            ++from;
        }
        std::vector<uint16_t> &entries = map_.screen_data;
        std::vector<uint64_t> &lines = map_.line_starts;
        // Every byte begins a pulse of one entry: the blocks starting in the
        // run get their checkpoints up front.
        for (std::size_t block = map_.checkpoints.size(); from < to && block_start(block) < to; ++block) {
            const uint64_t at = block_start(block) > from ? block_start(block) : from;
            checkpoint(at, entries.size() + (at - from));
        }
        uint64_t line = line_;
        uint32_t sum = sum_;
        while (from < to) {
            const std::size_t count = to - from < TAP_CHUNK_BYTES ? to - from : TAP_CHUNK_BYTES;
            const std::size_t first_entry = entries.size();
            const std::size_t first_line = lines.size();
            entries.resize(first_entry + count);
            // Each byte adds at most 255 units to a sum below 622: at most
            // count / 2 + 1 lines close.
            lines.resize(first_line + count / 2 + 1);
            uint16_t *entry = entries.data() + first_entry;
            uint64_t *line_start = lines.data() + first_line;
            const uint8_t *bytes = file + from;
            for (std::size_t i = 0; i < count; ++i) {
                const uint32_t units = bytes[i];
                entry[i] = static_cast<uint16_t>(units);
                sum += units;
                if (sum >= PULSE_LINE_UNITS) {
                    sum -= PULSE_LINE_UNITS;
                    ++line;
                    *line_start++ = first_entry + i + 1;
                }
            }
            lines.resize(static_cast<std::size_t>(line_start - lines.data()));
            from += count;
        }
        line_ = line;
        sum_ = sum;
    }

    // Closes the last line and gives the blocks at the end without a pulse
    // their checkpoints.
    uint64_t finish(std::size_t file_size)
    {
        map_.line_starts.push_back(map_.screen_data.size());
        PulseCheckpoint none;
        none.flags = PULSE_CHECKPOINT_NO_PULSE;
        map_.checkpoints.resize(block_count(file_size), none);
        return line_;
    }

private:
    // The pulse beginning at `offset` has its first entry at `entry`; the
    // first such pulse of a block is its checkpoint.
    void checkpoint(uint64_t offset, uint64_t entry)
    {
        const std::size_t block = block_of(offset);
        std::vector<PulseCheckpoint> &checkpoints = map_.checkpoints;
        if (block < checkpoints.size())
            return;
        PulseCheckpoint none;
        none.flags = PULSE_CHECKPOINT_NO_PULSE;
        checkpoints.resize(block, none);
        PulseCheckpoint c;
        c.entry = entry;
        c.shown = static_cast<uint16_t>(state_.shown);
        c.first = static_cast<uint8_t>(offset - block_start(block));
        c.flags = state_.previous_continues ? PULSE_CHECKPOINT_FOLLOWS_OVERFLOW : 0;
        checkpoints.push_back(c);
    }

    void emit(uint16_t value)
    {
        map_.screen_data.push_back(value);
        // The sum stays below 622 + 256, so one subtraction keeps the remainder.
        sum_ += value & PULSE_ENTRY_LENGTH;
        if (sum_ >= PULSE_LINE_UNITS) {
            sum_ -= PULSE_LINE_UNITS;
            ++line_;
            map_.line_starts.push_back(map_.screen_data.size());
        }
    }

    PulseMap &map_;
    uint64_t line_ = 0;
    uint32_t sum_ = 0;
    ChainState state_;
};

// The pulses of a TAP file, read as for_each_tape_pulse() reads them, with
// the runs of plain bytes between zero bytes (found with memchr) handed over
// in bulk.
void walk_tap(const uint8_t *file, std::size_t size, MapBuilder &builder)
{
    const uint8_t version = file[TAP_OFFSET_VERSION];
    std::size_t pos = TAP_HEADER_SIZE;
    while (pos < size) {
        const void *zero = std::memchr(file + pos, 0, size - pos);
        const std::size_t at = zero != nullptr ? static_cast<const uint8_t *>(zero) - file : size;
        builder.plain_bytes(file, pos, at);
        if (at == size)
            break;
        TapePulse p{at, 0, false, false};
        pos = at + 1;
        if (version == 0) {
            p.units = TAP_V0_LONG_PULSE_UNITS;
            p.long_form = true;
        } else if (version == 1 || version == 2) {
            const std::size_t present = size - pos < 3 ? size - pos : 3;
            uint32_t cycles = 0;
            for (std::size_t i = 0; i < present; ++i)
                cycles |= static_cast<uint32_t>(file[pos + i]) << (8 * i);
            p.long_form = true;
            p.continues = present == 3 && cycles == TAP_OVERFLOW_CYCLES;
            p.units = p.continues ? TAP_OVERFLOW_UNITS : cycles >> 3;
            pos += present;
        }
        builder.visit(p);
    }
}

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
    const std::size_t file_size = file != nullptr ? size : 0;
    const Reservation room = reservation_for(file, file_size, map.zorv);

    try {
        map.screen_data.reserve(room.entries);
    } catch (const std::exception &) {
        map = PulseMap{};
        error = format_message(_("Could not allocate raw workspace in memory:\n\n%s"), g_strerror(ENOMEM));
        return false;
    }
    try {
        map.line_starts.reserve(room.lines);
        map.checkpoints.reserve(block_count(file_size));
    } catch (const std::exception &) {
        map = PulseMap{};
        error = format_message(_("Could not allocate index workspace in memory:\n\n%s"), g_strerror(ENOMEM));
        return false;
    }

    advise_huge_pages(map.screen_data);
    advise_huge_pages(map.line_starts);

    uint64_t last_line = 0;
    try {
        MapBuilder builder(map);
        if (map.zorv || file_size <= TAP_HEADER_SIZE)
            for_each_tape_pulse(file, file_size, [&builder](const TapePulse &p) { builder.visit(p); });
        else
            walk_tap(file, file_size, builder);
        last_line = builder.finish(file_size);
    } catch (const std::exception &) {
        // Only a vector that is full was growing.
        const bool entries = map.screen_data.size() == map.screen_data.capacity();
        map = PulseMap{};
        error = format_message(entries ? _("Could not allocate raw workspace in memory:\n\n%s")
                                       : _("Could not allocate index workspace in memory:\n\n%s"),
                               g_strerror(ENOMEM));
        return false;
    }
    if (last_line >= PULSE_MAP_LINE_LIMIT) {
        map = PulseMap{};
        gchar *text = g_strdup_printf(_("The tape is too long to analyse: it needs more than %u screen lines."),
                                      static_cast<unsigned>(PULSE_MAP_LINE_LIMIT - 1));
        error = text;
        g_free(text);
        return false;
    }
    map.num_lines = last_line + 2;
    map.file_size = file_size;
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

uint64_t pulse_map_line_of_offset(const PulseMap &map, const uint8_t *file, std::size_t size, uint64_t offset)
{
    if (offset >= map.file_size || size != map.file_size || file == nullptr)
        return PULSE_MAP_NO_LINE;
    if (offset < TAP_HEADER_SIZE || map.checkpoints.empty())
        return 0;
    // The last checkpoint at or before the offset: in its block, or in an
    // earlier one when the offset lies inside a pulse begun before.
    std::size_t block = block_of(offset);
    for (;;) {
        const PulseCheckpoint &c = map.checkpoints[block];
        if (!(c.flags & PULSE_CHECKPOINT_NO_PULSE) && block_start(block) + c.first <= offset)
            break;
        if (block == 0)
            return 0;
        --block;
    }
    const PulseCheckpoint &c = map.checkpoints[block];
    ChainState state;
    state.shown = c.shown;
    state.previous_continues = (c.flags & PULSE_CHECKPOINT_FOLLOWS_OVERFLOW) != 0;
    uint64_t entry = c.entry;
    const TapePulseReader reader(file, size);
    std::size_t pos = static_cast<std::size_t>(block_start(block) + c.first);
    for (;;) {
        TapePulse p{};
        const std::size_t next = reader.read(pos, p);
        if (next > offset || next >= size)
            break;
        pulse_entries(p, state, [&entry](uint16_t) { ++entry; });
        pos = next;
    }
    // The line whose first entry is the last one at or before `entry`.
    const auto starts_end = map.line_starts.end();
    const auto after = std::upper_bound(map.line_starts.begin(), starts_end, entry);
    return static_cast<uint64_t>(after - map.line_starts.begin()) - 1;
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
