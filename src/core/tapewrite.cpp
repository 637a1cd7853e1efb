// Cleaned and converted TAP files from a scanned tape; see tapewrite.h.
#include "core/tapewrite.h"

#include "core/cbmencode.h"
#include "core/cbmscan.h"
#include "core/tapimage.h"

#include <algorithm>
#include <cstring>

namespace {

// One second of ZORV samples (2 MHz): the sample conversions turn it into
// exactly one second of the machine's cycles.
constexpr uint64_t ZORV_SAMPLES_PER_SECOND = 2000000;

constexpr uint64_t CYCLES_PER_UNIT = 8;

// The header of the written file (data size still 0).
std::vector<uint8_t> output_header(const TapeScan &scan, int version)
{
    std::vector<uint8_t> h(scan.header, scan.header + TAP_HEADER_SIZE);
    if (scan.file_type == FileType::ZorvDump) {
        std::memcpy(h.data(), TAP_MAGIC_C64, TAP_MAGIC_SIZE);
        h[TAP_OFFSET_PLATFORM] = static_cast<uint8_t>(tape_platform_index(scan.header, scan.file_type));
        h[TAP_OFFSET_RESERVED] = 0;
    }
    h[TAP_OFFSET_VERSION] = static_cast<uint8_t>(version);
    std::fill(h.begin() + TAP_OFFSET_DATA_SIZE, h.end(), 0);
    return h;
}

// Silence of `cycles` clock cycles. A pulse of 0 cycles is still written
// (a long pulse of length 0, or one zero byte in version 0), so that a
// silence pulse never disappears.
void append_silence(std::vector<uint8_t> &tap, uint64_t cycles, int version)
{
    if (cycles == 0) {
        tap.push_back(0);
        if (version != 0)
            tap.insert(tap.end(), 3, 0);
        return;
    }
    tap_append_pause(tap, cycles, version);
}

// A pulse of `units` TAP units: one byte when it fits, silence otherwise.
void append_units(std::vector<uint8_t> &tap, uint64_t units, int version)
{
    if (units >= 1 && units <= 255)
        tap.push_back(static_cast<uint8_t>(units));
    else
        append_silence(tap, units * CYCLES_PER_UNIT, version);
}

// Pulses [first, end) of the track copied with their lengths. An overflow
// mark and the pulses it continues into form one physical pulse.
void append_pulses(std::vector<uint8_t> &tap, const PulseTrack &track, std::size_t first, std::size_t end,
                   int version)
{
    std::size_t i = first;
    while (i < end) {
        if (track.small[i] != 0) {
            tap.push_back(track.small[i]);
            ++i;
            continue;
        }
        uint64_t units = track.units(i);
        bool joined = false;
        while (track.pulse(i).continues && i + 1 < end) {
            ++i;
            units += track.units(i);
            joined = true;
        }
        // A lone irregular pulse that is no silence (a ZORV dump's last
        // single byte) is an ordinary pulse in a TAP file.
        if (!joined && !track.is_silence(i))
            append_units(tap, units, version);
        else
            append_silence(tap, units * CYCLES_PER_UNIT, version);
        ++i;
    }
}

// Total units of pulses [first, end).
uint64_t units_between(const PulseTrack &track, std::size_t first, std::size_t end)
{
    uint64_t sum = 0;
    for (std::size_t i = first; i < end; ++i)
        sum += track.units(i);
    return sum;
}

// The half-waves of a version 2 tape as whole waves: each run of ordinary
// pulses paired from its first, every pair one wave of both lengths (a last
// lone half-wave counts twice); silence as it is.
void append_whole_waves(std::vector<uint8_t> &tap, const PulseTrack &track, int version)
{
    std::size_t i = 0;
    while (i < track.size()) {
        if (track.small[i] == 0) {
            std::size_t end = i + 1;
            while (end < track.size() && track.small[end] == 0)
                ++end;
            append_pulses(tap, track, i, end, version);
            i = end;
            continue;
        }
        const bool pair = i + 1 < track.size() && track.small[i + 1] != 0;
        append_units(tap, pair ? uint64_t(track.small[i]) + track.small[i + 1] : 2 * uint64_t(track.small[i]),
                     version);
        i += pair ? 2 : 1;
    }
}

} // namespace

uint32_t tape_clock_hz(unsigned platform, unsigned video)
{
    return static_cast<uint32_t>(choose_downsample(platform, video)(ZORV_SAMPLES_PER_SECOND));
}

uint32_t tape_clock_hz(const TapeScan &scan)
{
    return tape_clock_hz(tape_platform_index(scan.header, scan.file_type), scan.header[TAP_OFFSET_VIDEO]);
}

std::vector<uint8_t> clean_tap(const TapeScan &scan, const CleanOptions &options)
{
    if (!scan.ok)
        return {};
    // A version 2 tape stays one: its pulses are half-waves.
    const int version = scan.file_type != FileType::ZorvDump && scan.header[TAP_OFFSET_VERSION] == 2 ? 2 : 1;
    const PulseTrack &track = scan.pulses;
    const unsigned platform = tape_platform_index(scan.header, scan.file_type);
    const unsigned video = scan.header[TAP_OFFSET_VIDEO];

    std::vector<uint8_t> tap = output_header(scan, version);
    tap.reserve(TAP_HEADER_SIZE + track.size() + 64);

    uint64_t final_pause = 0;  // cycles of a PAUSE that ends the tape, held back
    bool ends_in_pause = false;
    for (std::size_t k = 0; k < scan.entries.size(); ++k) {
        const TapeEntry &e = scan.entries[k];
        const std::size_t first = e.first_pulse, end = e.first_pulse + e.pulse_count;
        switch (e.kind) {
        case EntryKind::Pause: {
            const uint64_t cycles = std::max<uint64_t>(units_between(track, first, end) * CYCLES_PER_UNIT,
                                                       CYCLES_PER_UNIT);
            if (k + 1 == scan.entries.size()) {
                final_pause = cycles;
                ends_in_pause = true;
            } else {
                append_silence(tap, cycles, version);
            }
            break;
        }
        case EntryKind::File:
            for (std::size_t i = first; i < end; ++i) {
                const uint8_t v = e.ideal_units[std::size_t(scan.pulse_class(i))];
                if (v != 0)
                    tap.push_back(v);
                else
                    append_pulses(tap, track, i, i + 1, version);
            }
            break;
        case EntryKind::Unrecognized:
            append_pulses(tap, track, first, end, version);
            break;
        }
    }

    if (options.add_trailing_pause) {
        const uint64_t trailing = uint64_t(CLEAN_TRAILING_PAUSE_SECONDS) * tape_clock_hz(platform, video);
        final_pause = std::max(final_pause, trailing);
        ends_in_pause = true;
    }
    if (ends_in_pause)
        append_silence(tap, final_pause, version);
    tap_fix_data_size(tap);
    return tap;
}

std::vector<uint8_t> convert_tap(const TapeScan &scan, int version)
{
    if (!scan.ok)
        return {};
    version = version == 0 ? 0 : 1;
    const PulseTrack &track = scan.pulses;
    std::vector<uint8_t> tap = output_header(scan, version);
    tap.reserve(TAP_HEADER_SIZE + track.size() + 64);
    if (tape_holds_half_waves(scan))
        append_whole_waves(tap, track, version);
    else
        append_pulses(tap, track, 0, track.size(), version);
    tap_fix_data_size(tap);
    return tap;
}
