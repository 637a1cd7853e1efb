// Pulse histogram and file speeds; see pulsestats.h.
#include "core/pulsestats.h"

#include "core/turbodescribe.h"

#include <algorithm>
#include <cmath>
#include <set>

PulseHistogram pulse_histogram(const TapeScan &scan, int entry)
{
    PulseHistogram h;
    std::size_t first = 0, end = scan.pulses.size();
    if (entry >= 0 && static_cast<std::size_t>(entry) < scan.entries.size()) {
        first = scan.entries[static_cast<std::size_t>(entry)].first_pulse;
        end = first + scan.entries[static_cast<std::size_t>(entry)].pulse_count;
    }
    end = std::min(end, scan.pulses.size());
    for (std::size_t i = first; i < end; ++i) {
        const uint8_t small = scan.pulses.small[i];
        if (small != 0)
            ++h.counts[small];
        else
            ++h.longer;
    }
    std::set<uint8_t> ideals, turbo;
    for (std::size_t e = 0; e < scan.entries.size(); ++e) {
        if (entry >= 0 && e != static_cast<std::size_t>(entry))
            continue;
        const TapeEntry &x = scan.entries[e];
        for (int c = 1; c < 4; ++c)
            if (x.kind == EntryKind::File && x.ideal_units[c] != 0)
                ideals.insert(x.ideal_units[c]);
        if (x.type == ENTRY_TYPE_UNKNOWN_TURBO) {
            turbo.insert(uint8_t(std::lround(std::clamp(x.pulse_short, 1.0, 255.0))));
            turbo.insert(uint8_t(std::lround(std::clamp(x.pulse_medium, 1.0, 255.0))));
            if (x.pulse_long > 0)
                turbo.insert(uint8_t(std::lround(std::clamp(x.pulse_long, 1.0, 255.0))));
        }
    }
    h.ideals.assign(ideals.begin(), ideals.end());
    h.unknown_turbo.assign(turbo.begin(), turbo.end());
    return h;
}

std::vector<FileSpeed> tape_speeds(const TapeScan &scan)
{
    std::vector<FileSpeed> speeds;
    for (std::size_t e = 0; e < scan.entries.size(); ++e) {
        const TapeEntry &entry = scan.entries[e];
        if (entry.kind != EntryKind::File)
            continue;
        FileSpeed s;
        s.entry = e;
        s.type = entry.type;
        s.name = entry.name;
        double measured = 0, ideal = 0;
        const std::size_t end = std::min(entry.first_pulse + entry.pulse_count, scan.pulses.size());
        for (std::size_t i = entry.first_pulse; i < end && s.pulses < SPEED_LEADER_PULSES; ++i) {
            const uint8_t c = scan.pulse_info[i] & PULSE_CLASS_MASK;
            if (c == 0 || entry.ideal_units[c] == 0 || scan.pulses.small[i] == 0 || scan.pulse_read_error(i))
                continue;
            measured += scan.pulses.small[i];
            ideal += entry.ideal_units[c];
            ++s.pulses;
        }
        if (s.pulses == 0 || measured == 0)
            continue;
        s.measured = measured / static_cast<double>(s.pulses);
        s.ideal = ideal / static_cast<double>(s.pulses);
        s.percent = (ideal / measured - 1) * 100;
        speeds.push_back(s);
    }
    return speeds;
}
