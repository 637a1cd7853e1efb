// The tape analysis's pulse map of a fuzzed tape: line starts begin at 0, never
// go down and end at the number of entries; every entry is at most 256 units;
// every offset maps to a line that exists (none beyond the file), the lines
// of the pulses never go down and every byte of a pulse shows the pulse's
// line; and each screen line's drawn range lies within the entries.
#include "core/pulsemap.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    PulseMap map;
    std::string error;
    FUZZ_CHECK(pulse_map_build(data, size, map, error));
    const auto entries = static_cast<uint64_t>(map.screen_data.size());
    FUZZ_CHECK(!map.line_starts.empty());
    FUZZ_CHECK(static_cast<uint64_t>(map.line_starts.size()) == static_cast<uint64_t>(map.num_lines));
    FUZZ_CHECK(static_cast<uint64_t>(map.line_starts.front()) == 0);
    FUZZ_CHECK(static_cast<uint64_t>(map.line_starts.back()) == entries);
    for (std::size_t i = 1; i < map.line_starts.size(); ++i)
        FUZZ_CHECK(map.line_starts[i - 1] <= map.line_starts[i]);
    for (const auto entry : map.screen_data)
        FUZZ_CHECK(pulse_entry_length(static_cast<uint16_t>(entry)) <= PULSE_PIECE_UNITS);
    if (size <= TAP_HEADER_SIZE)
        FUZZ_CHECK(entries == 0);
    else
        FUZZ_CHECK(entries > 0);

    const uint64_t lines = static_cast<uint64_t>(map.num_lines);
    for (uint64_t offset = 0; offset < size; offset += 1 + offset / 8) {
        const uint64_t line = pulse_map_line_of_offset(map, data, size, offset);
        if (entries > 0)
            FUZZ_CHECK(line < lines);
    }
    FUZZ_CHECK(pulse_map_line_of_offset(map, data, size, size) == PULSE_MAP_NO_LINE);
    uint64_t previous_line = 0, previous_offset = TAP_HEADER_SIZE;
    // Every pulse of the first few kilobytes (a lookup re-reads up to a block
    // of pulses; all of a big input would slow the run down too much).
    for_each_tape_pulse(data, size < 512 ? size : 512, [&](const TapePulse &p) {
        const uint64_t line = pulse_map_line_of_offset(map, data, size, p.offset);
        FUZZ_CHECK(line >= previous_line && line < lines);
        for (uint64_t inside = previous_offset; inside < p.offset; ++inside)
            FUZZ_CHECK(pulse_map_line_of_offset(map, data, size, inside) == previous_line);
        previous_line = line;
        previous_offset = p.offset;
    });
    for (uint64_t line = 0; line <= lines; ++line) {
        const PulseLineEntries range = pulse_map_line_entries(map, line);
        FUZZ_CHECK(range.first <= range.end && range.end <= entries);
    }
    return 0;
}
