// Invariants of a tape scan, shared by the scanner harnesses: every pulse
// and every byte after the 20-byte header belongs to exactly one entry, the
// entries are in tape order, and each entry's fields agree with its pulses.
#pragma once

#include "core/tapescan.h"
#include "core/turbodescribe.h"
#include "fuzz_support.h"

inline void check_pulse_track(const uint8_t *data, std::size_t size, const PulseTrack &track)
{
    const std::vector<TapePulse> decoded = decode_tape_pulses(data, size);
    FUZZ_CHECK(track.size() == decoded.size());
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        FUZZ_CHECK(track.pulse(i) == decoded[i]);
        FUZZ_CHECK(track.offset(i) == decoded[i].offset);
        FUZZ_CHECK(track.units(i) == decoded[i].units);
        const uint64_t last = i + 1 < decoded.size() ? decoded[i + 1].offset - 1 : size - 1;
        FUZZ_CHECK(track.last_byte(i) == last);
        const bool follows_overflow = i > 0 && decoded[i - 1].continues;
        FUZZ_CHECK(track.is_silence(i) == (is_silence_pulse(decoded[i]) || follows_overflow));
    }
}

inline void check_scan(const uint8_t *data, std::size_t size, const TapeScan &scan)
{
    FUZZ_CHECK(scan.file_size == size);
    if (size < TAP_HEADER_SIZE || tape_file_type(data) == FileType::Unknown) {
        FUZZ_CHECK(!scan.ok && !scan.error.empty() && scan.entries.empty());
        return;
    }
    FUZZ_CHECK(scan.ok);
    check_pulse_track(data, size, scan.pulses);
    const std::size_t n = scan.pulses.size();
    FUZZ_CHECK(scan.pulse_info.size() == n);

    std::size_t next_pulse = 0;
    uint64_t next_byte = TAP_HEADER_SIZE;
    const TapeEntry *previous = nullptr;
    ScanTotals totals;
    for (std::size_t k = 0; k < scan.entries.size(); ++k) {
        const TapeEntry &e = scan.entries[k];
        FUZZ_CHECK(e.pulse_count > 0);
        FUZZ_CHECK(e.first_pulse == next_pulse);
        FUZZ_CHECK(e.start == next_byte);
        FUZZ_CHECK(e.first_pulse + e.pulse_count <= n);
        const std::size_t last_pulse = e.first_pulse + e.pulse_count - 1;
        FUZZ_CHECK(e.start == scan.pulses.offset(e.first_pulse));
        FUZZ_CHECK(e.end == scan.pulses.last_byte(last_pulse));
        FUZZ_CHECK(e.first_pulse <= e.inner_start_pulse && e.inner_start_pulse <= e.inner_end_pulse &&
                   e.inner_end_pulse <= last_pulse);
        FUZZ_CHECK(e.start <= e.inner_start && e.inner_start <= e.inner_end && e.inner_end <= e.end);
        // Read errors count pulses, and 20 for every byte a dropout took.
        std::size_t lost = 0;
        for (const auto &run : e.lost_bytes)
            lost += run.second;
        FUZZ_CHECK(e.read_errors <= e.pulse_count + 20 * lost);
        switch (e.kind) {
        case EntryKind::Pause:
            FUZZ_CHECK(e.type == ENTRY_TYPE_PAUSE && e.scanner == nullptr);
            for (std::size_t i = e.first_pulse; i <= last_pulse; ++i)
                FUZZ_CHECK(scan.pulses.is_silence(i));
            // A pause holds the whole run of silence.
            FUZZ_CHECK(previous == nullptr || previous->kind != EntryKind::Pause);
            break;
        case EntryKind::Unrecognized:
            // What no scanner took; an unknown turbo only described, no check.
            FUZZ_CHECK((e.type == ENTRY_TYPE_UNRECOGNIZED || e.type == ENTRY_TYPE_UNKNOWN_TURBO) &&
                       e.scanner == nullptr && !e.has_checkbyte && e.read_errors == 0);
            FUZZ_CHECK(e.type == ENTRY_TYPE_UNKNOWN_TURBO || e.description.empty());
            for (std::size_t i = e.first_pulse; i <= last_pulse; ++i)
                FUZZ_CHECK(!scan.pulses.is_silence(i));
            FUZZ_CHECK(previous == nullptr || previous->kind != EntryKind::Unrecognized);
            break;
        case EntryKind::File:
            FUZZ_CHECK(e.scanner != nullptr && !e.type.empty());
            FUZZ_CHECK(!scan.pulses.is_silence(e.first_pulse));
            break;
        }
        if (e.has_checkbyte) {
            ++totals.checksummed;
            totals.checksum_ok += e.checkbyte_pass ? 1 : 0;
        }
        totals.read_errors += e.read_errors;
        next_pulse = e.first_pulse + e.pulse_count;
        next_byte = e.end + 1;
        previous = &e;
    }
    FUZZ_CHECK(next_pulse == n);
    FUZZ_CHECK(next_byte == (n == 0 ? TAP_HEADER_SIZE : size));
    const ScanTotals t = scan_totals(scan);
    FUZZ_CHECK(t.checksummed == totals.checksummed && t.checksum_ok == totals.checksum_ok &&
               t.read_errors == totals.read_errors);
}

// Scan options taken from the input's size, so that every input is a plain tape.
inline ScanOptions scan_options_for(std::size_t size)
{
    ScanOptions o;
    o.tolerance = int(size % 19) - 2;  // also out of range: the scan clamps it
    o.require_end_marker = (size / 19) % 2 == 0;
    return o;
}
