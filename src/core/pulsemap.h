// The tape analysis's screen data: every pulse of a TAP file or ZORV dump as
// 16-bit entries, cut into screen lines of equal tape time, with an index from
// screen lines to entries and a sparse one from file offsets to entries; plus
// the geometry of the view (scroll clamping, adjustment, wheel steps, dots) that
// needs no widget.
//
// Raw entry: bits 0..13 hold a length of 0..256 TAP units. Bit 15 marks a
// piece of a long pulse (256 units or more, the 3-byte form of TAP versions
// 1/2, the version 0 long pulse, an overflow mark or the pulse continuing
// one); bit 14 goes with bit 15 on the last piece of a long pulse that does
// not continue into the next one. Only entries without bit 15 are drawn.
//
// Screen line: entries whose lengths add up to 622 units. After each entry
// the running sum is compared with 622; when it reaches 622 the next entry
// opens a new line and the sum keeps the remainder. One entry never spans
// two lines; a long pulse usually does.
//
// Longest pulse shown: a pulse (with every pulse an overflow mark continues
// into) is drawn as at most PULSE_LONGEST_SHOWN_UNITS units, about 13 screen
// lines; the pieces beyond are not stored. Each raw pulse after that still
// gets one marked piece of 0 units, so that it keeps its place in the offset
// index and the last one still carries bit 14. This deliberately departs from
// drawing every unit of a very long pulse: a single overflow mark is over two
// million units (8192 pieces, 3371 lines), and a tape made of them would need
// gigabytes. Capped, every raw pulse costs a bounded number of entries and
// lines, and a pause of seconds shows as a short blank band instead of
// thousands of empty lines. Ordinary long pulses (a version 0 zero byte of
// 2500 units, a 3-byte form below the cap, any single ZORV sample) are
// drawn whole.
//
// File offsets to lines: a checkpoint every PULSE_BLOCK_BYTES bytes of pulse
// data records the first pulse beginning in that block, its first entry and
// the state of an overflow run there. The line of any offset is found by
// reading the few pulses from the checkpoint on, counting their entries, and
// looking the entry up in the line starts. Storing a line per file byte
// instead would cost more memory than all the rest together, and filling it
// is most of the time a 50 MB tape takes.
//
// Memory: 2 bytes per entry (about one per pulse), 8 bytes per screen line
// and 16 bytes per block; the vectors are reserved from a bound read off the
// file, so a plain tape needs about 3 bytes per file byte.
//
// Pure and GLib-only.
#ifndef QUILLMAR_CORE_PULSEMAP_H
#define QUILLMAR_CORE_PULSEMAP_H

#include "core/tapimage.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Tape time of one screen line, in TAP units.
constexpr uint32_t PULSE_LINE_UNITS = 622;
// Longest piece of a long pulse.
constexpr uint32_t PULSE_PIECE_UNITS = 256;
// Longest pulse drawn (32 pieces); see above.
constexpr uint32_t PULSE_LONGEST_SHOWN_UNITS = 8192;

constexpr uint16_t PULSE_ENTRY_PIECE = 0x8000;    // bit 15: piece of a long pulse
constexpr uint16_t PULSE_ENTRY_LAST = 0x4000;     // bit 14: last piece, no continuation
constexpr uint16_t PULSE_ENTRY_LENGTH = 0x3FFF;   // bits 0..13: length in units

// Answer of pulse_map_line_of_offset() for an offset beyond the file.
constexpr uint64_t PULSE_MAP_NO_LINE = UINT64_MAX;
// Screen line numbers stay below this (the view scrolls by 32-bit line
// numbers; a tape with more lines is refused).
constexpr uint64_t PULSE_MAP_LINE_LIMIT = UINT32_MAX;

// Bytes of pulse data between two checkpoints of the offset index.
constexpr std::size_t PULSE_BLOCK_BYTES = 128;

// The first pulse beginning in a block of PULSE_BLOCK_BYTES bytes (the blocks
// start at offset 20).
struct PulseCheckpoint {
    uint64_t entry = 0;   // index in screen_data of its first entry
    uint16_t shown = 0;   // units shown of the overflow run it continues
    uint8_t first = 0;    // its offset within the block
    uint8_t flags = 0;    // PULSE_CHECKPOINT_* below
};
constexpr uint8_t PULSE_CHECKPOINT_FOLLOWS_OVERFLOW = 1;  // the pulse before it was an overflow mark
constexpr uint8_t PULSE_CHECKPOINT_NO_PULSE = 2;          // no pulse begins in the block

struct PulseMap {
    // One entry per raw pulse piece, in tape order (nRawPulseCount = size()).
    std::vector<uint16_t> screen_data;
    // Per screen line, the index in screen_data of its first entry; the entry
    // after the last line holds screen_data.size(). Size = num_lines.
    std::vector<uint64_t> line_starts;
    // One per block of pulse data, in file order.
    std::vector<PulseCheckpoint> checkpoints;
    // Last screen line number plus 2 (so line_starts.size()).
    uint64_t num_lines = 0;
    // Size of the file the map was built from, header included.
    uint64_t file_size = 0;

    // What the header said: a ZORV dump (magic "ZORV-TAP-RAW") or else TAP,
    // the version byte, the platform index (low nibble of byte 13 for a ZORV
    // dump, the whole byte for TAP), the video standard byte and the sample
    // conversion chosen from them. Zero/TAP when the file is shorter.
    bool zorv = false;
    uint8_t version = 0;
    unsigned platform = 0;
    unsigned video = 0;
    DownsampleFunc downsample = nullptr;
};

// Entry helpers.
inline bool pulse_entry_is_drawn(uint16_t entry) { return (entry & PULSE_ENTRY_PIECE) == 0; }
inline unsigned pulse_entry_length(uint16_t entry) { return entry & PULSE_ENTRY_LENGTH; }

// Parses a whole file held in memory (header included) into map, replacing
// its contents. Pulse data run from offset 20 to the end of the buffer (the
// header's size field is not used). On allocation failure returns false with
// error set to "Could not allocate raw workspace in memory:\n\n%s" (entries)
// or "Could not allocate index workspace in memory:\n\n%s" (either index),
// and leaves map empty. A tape of PULSE_MAP_LINE_LIMIT screen lines or more
// gives "The tape is too long to analyse: it needs more than %u screen lines."
// with that number.
bool pulse_map_build(const uint8_t *file, std::size_t size, PulseMap &map, std::string &error);

// Loads the file at path (file-system encoding) into data, then builds map.
// A load failure gives "Could not load data from file '%s':\n\n%s" with the
// path and the loader's message; data and map are then left empty.
bool pulse_map_parse_file(const std::string &path, std::vector<uint8_t> &data, PulseMap &map,
                          std::string &error);

// The screen line to show for a file offset: the line in which the pulse
// beginning there starts; for an offset inside the data where no pulse
// begins, the line of the pulse whose encoding covers it (0 inside the
// header). file and size are those the map was built from. PULSE_MAP_NO_LINE
// when the offset is not below the file size (the view then keeps its
// scroll position) or the file is not the map's.
uint64_t pulse_map_line_of_offset(const PulseMap &map, const uint8_t *file, std::size_t size,
                                  uint64_t offset);

// Entries [first, end) of screen line `line`; empty for lines past the last.
struct PulseLineEntries {
    uint64_t first = 0;
    uint64_t end = 0;
};
PulseLineEntries pulse_map_line_entries(const PulseMap &map, uint64_t line);

// ---- View geometry -------------------------------------------------------
// capacity = lines the drawing area holds: its height in the vertical layout
// (a pixel row per line), its width in the horizontal one (a column per line).

enum class PulseLayout { Vertical, Horizontal };

// Capacity of a drawing area of the given size in a layout.
int pulse_view_capacity(PulseLayout layout, int width, int height);

// First visible line before a whole redraw: unchanged unless first + capacity
// exceeds num_lines; then num_lines - 1 - capacity, or 0 when num_lines -
// capacity is below 2.
int64_t pulse_view_clamp_first_line(int64_t first, uint64_t num_lines, int capacity);

// End (exclusive) of the lines drawn from `first`: min(num_lines, first + capacity).
uint64_t pulse_view_lines_end(int64_t first, uint64_t num_lines, int capacity);

// The scroll bar's adjustment for a layout.
struct PulseViewAdjustment {
    double lower = 0;
    double value = 0;
    double upper = 0;
    double page_increment = 0;
    double page_size = 0;
};
// lower 0, value = first visible line, upper = num_lines - 1, page size and
// page increment = capacity.
PulseViewAdjustment pulse_view_adjustment(int64_t first, uint64_t num_lines, int capacity);

// Value after one wheel notch: up moves by page_increment / 6 towards lower
// (not below it), down towards upper - page_size (not beyond it).
double pulse_view_wheel_value(const PulseViewAdjustment &adjustment, bool up);

// A scroll by d lines moves the existing image when |d| < capacity;
// otherwise everything is redrawn.
bool pulse_view_scroll_is_incremental(int64_t d, int capacity);

// After an incremental scroll by d (new first line = old + d): the band of
// newly exposed lines, as the first line-axis position (row or column), the
// number of positions and the first line drawn there.
struct PulseViewBand {
    int position = 0;
    int count = 0;
    int64_t first_line = 0;
};
PulseViewBand pulse_view_exposed_band(int64_t new_first, int64_t d, int capacity);

// A dot: the pixel segment from (x0, y0) to (x1, y1) drawn for an entry of
// `length` units at line-axis position `position` (line - first visible line).
// Vertical: row = position, x from 2 * length to 2 * length + 1.
// Horizontal: column = position, y from height - 2 * length to height - 2 * length - 1.
struct PulseDot {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};
PulseDot pulse_view_dot(PulseLayout layout, int position, unsigned length, int height);

// Name under which a snapshot is saved: "analysis_y=%d" with the first visible line.
std::string pulse_view_snapshot_label(int first_line);

#endif  // QUILLMAR_CORE_PULSEMAP_H
