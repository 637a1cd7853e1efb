// Shared helpers of the turbo loader tests: programs to write, tapes made
// off-speed and jittered as real ones are, and the programs a scan read back.
#pragma once

#include "core/cbmencode.h"
#include "core/loaders/registry.h"
#include "core/tapescan.h"
#include "core/tapimage.h"
#include "core/tapewrite.h"
#include "core/loaders/turbo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace loader_testing {

using Bytes = std::vector<uint8_t>;

// A program of `size` bytes loading at `load`, its bytes from a seed.
inline PrgInput program(const std::string &name, uint16_t load, std::size_t size, uint32_t seed)
{
    PrgInput p;
    p.name = name;
    p.bytes = {uint8_t(load), uint8_t(load >> 8)};
    uint32_t x = seed * 2654435761u + 1;
    for (std::size_t i = 0; i < size; ++i) {
        x = x * 1664525u + 1013904223u;
        p.bytes.push_back(uint8_t(x >> 24));
    }
    return p;
}

// `size` bytes from a seeded generator (a program's data, no load address).
inline Bytes data_of(std::size_t size, uint32_t seed)
{
    const Bytes p = program("", 0, size, seed).bytes;
    return Bytes(p.begin() + 2, p.end());
}

inline Bytes encode(const TurboLoader &loader, const std::vector<PrgInput> &prgs,
                    const turbo::TapeOptions &options = turbo::TapeOptions())
{
    std::string error;
    Bytes tap = loader.encode(prgs, options, error);
    EXPECT_EQ(error, "");
    return tap;
}

// Every ordinary pulse (a data byte 1..255 of a TAP file, not part of a long
// form) scaled by `speed` (above 1: the tape ran slow, pulses got longer)
// and moved by up to `jitter` units either way.
inline Bytes distorted(const Bytes &tap, double speed, int jitter, uint32_t seed = 7)
{
    Bytes out = tap;
    uint32_t x = seed;
    const uint8_t version = tap[TAP_OFFSET_VERSION];
    for (std::size_t i = TAP_HEADER_SIZE; i < out.size(); ++i) {
        if (tap[i] == 0) {
            if (version != 0)
                i += 3;
            continue;
        }
        x = x * 1103515245u + 12345u;
        const int shift = jitter > 0 ? int((x >> 16) % unsigned(2 * jitter + 1)) - jitter : 0;
        const int v = int(tap[i] * speed + 0.5) + shift;
        out[i] = uint8_t(v < 1 ? 1 : v > 255 ? 255 : v);
    }
    return out;
}

// Wow: the speed drifts slowly, as with a stretched tape or a worn capstan:
// every ordinary pulse scaled by 1 + depth x sin(2 pi i / period), plus up
// to `jitter` units either way.
inline Bytes wobbled(const Bytes &tap, double depth, double period, int jitter)
{
    Bytes out = tap;
    uint32_t x = 11;
    std::size_t pulse = 0;
    const uint8_t version = tap[TAP_OFFSET_VERSION];
    for (std::size_t i = TAP_HEADER_SIZE; i < out.size(); ++i, ++pulse) {
        if (tap[i] == 0) {
            if (version != 0)
                i += 3;
            continue;
        }
        x = x * 1103515245u + 12345u;
        const double speed = 1 + depth * std::sin(6.283185307179586 * double(pulse) / period);
        const int shift = jitter > 0 ? int((x >> 16) % unsigned(2 * jitter + 1)) - jitter : 0;
        const int v = int(tap[i] * speed + 0.5) + shift;
        out[i] = uint8_t(v < 1 ? 1 : v > 255 ? 255 : v);
    }
    return out;
}

// Entries of one scanner.
// Every built-in scanner but the one of that id.
inline std::vector<const TapeScanner *> all_scanners_but(const char *id)
{
    std::vector<const TapeScanner *> out;
    for (const TapeScanner *s : builtin_scanners())
        if (std::string(s->id) != id)
            out.push_back(s);
    return out;
}

inline std::vector<const TapeEntry *> entries_of(const TapeScan &scan, const TapeScanner *scanner)
{
    std::vector<const TapeEntry *> out;
    for (const TapeEntry &e : scan.entries)
        if (e.scanner == scanner)
            out.push_back(&e);
    return out;
}

// The programs the turbo entries loaded: each run of bytes at its address,
// runs that continue the previous one joined, as PRG bytes.
inline std::vector<Bytes> loaded_programs(const TapeScan &scan, const TapeScanner *scanner)
{
    std::vector<Bytes> prgs;
    uint32_t next = 0x10000 + 1;
    for (const TapeEntry *e : entries_of(scan, scanner)) {
        for (const TapeEntry::LoadedRun &run : e->loaded) {
            if (!prgs.empty() && run.load == next) {
                prgs.back().insert(prgs.back().end(), run.bytes.begin(), run.bytes.end());
            } else {
                prgs.push_back({uint8_t(run.load), uint8_t(run.load >> 8)});
                prgs.back().insert(prgs.back().end(), run.bytes.begin(), run.bytes.end());
            }
            next = run.load + run.bytes.size();
        }
    }
    return prgs;
}

// Every byte after the header in exactly one entry, in order.
inline void expect_covering(const TapeScan &s)
{
    uint64_t next = TAP_HEADER_SIZE;
    std::size_t pulse = 0;
    for (const TapeEntry &e : s.entries) {
        EXPECT_EQ(e.start, next) << e.type;
        EXPECT_EQ(e.first_pulse, pulse);
        EXPECT_LE(e.start, e.inner_start);
        EXPECT_LE(e.inner_start, e.inner_end);
        EXPECT_LE(e.inner_end, e.end);
        next = e.end + 1;
        pulse += e.pulse_count;
    }
    EXPECT_EQ(next, s.file_size);
    EXPECT_EQ(pulse, s.pulses.size());
}

// A C64 TAP file written pulse by pulse by a test: `tap` starts as a bare
// header; pause() appends a silence, scan() scans the whole (every byte in
// exactly one entry).
class HandTapeBase {
public:
    Bytes tap = tap_file_header(1, false, false, 0);

    void pause(double seconds = 1.0)
    {
        turbo::TapeOptions options;
        options.pause_seconds = seconds;
        turbo::append_pause(tap, options);
    }

    Bytes &bytes()
    {
        tap_fix_data_size(tap);
        return tap;
    }

    TapeScan scan(const ScanOptions &options = ScanOptions())
    {
        tap_fix_data_size(tap);
        TapeScan s = scan_tape(tap.data(), tap.size(), options);
        expect_covering(s);
        return s;
    }
};

} // namespace loader_testing
