// What an unknown turbo loader's stretch of tape holds, read from its pulses
// alone. No scanner set covers every loader; where none recognised a long
// stretch, its shape still tells much: a turbo stores a bit as one pulse of
// two lengths, so the stretch's histogram has two peaks with a valley
// between (the loader's threshold lies there), its blocks begin with a
// pilot (one byte repeated, or a run of one bit) and a sync, and the bytes
// that follow can be read for study. Nothing is verified: no checksum is
// known, so the stretch stays unrecognised in every share and check.
//
// The describer runs only on pulses no scanner took. It never describes
// noise (no two tight classes), a CBM ROM stretch (a leader is one class,
// its data three) or a stretch without a pilot.
//
// Which bit order and where the bytes begin cannot be read from a pilot
// alone (a repeated byte repeats in every rotation and either order): they
// are the reading under which the bytes after the pilots look most like a
// Commodore program (6502 instructions, PETSCII text, BASIC tokens) - or,
// where the CBM boot file before the stretch holds the loader's code, what
// that code shows: its rotate (the bit order) and the bytes it compares
// with (pilot and sync).
#pragma once

#include "core/loaders/bootcode.h"
#include "core/loaders/turbo.h"
#include "core/tapescan.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern const char ENTRY_TYPE_UNKNOWN_TURBO[];  // "UNKNOWN TURBO"

struct TurboDescription {
    bool found = false;
    double short_units = 0, long_units = 0;  // the two classes' mean lengths
    unsigned threshold_cycles = 0;           // halfway between them
    turbo::BitOrder order = turbo::BitOrder::MsbFirst;
    bool bit_pilot = false;    // a run of one bit, else a repeated byte
    uint8_t pilot_value = 0;   // the byte (a bit pilot: 0 or 1)
    std::size_t pilot_count = 0;  // bytes (a bit pilot: bits) of the first block's pilot
    std::vector<uint8_t> first_bytes;  // the first block's first bytes after its pilot
    std::size_t blocks = 0;
    std::vector<uint8_t> bytes;  // every block's bytes after its pilot, in order

    // "Turbo: threshold 440 cycles, pulses $29/$4A, MSB first, pilot $40 x 256,
    // then $5A 01 08 ..., 12 blocks, about 23 KB"
    std::string text() const;
};

// The pulses [first, first + count) of a track, all ordinary (no silence).
// `facts`: what the boot code before the stretch shows (its rotate gives
// the bit order, its compares the pilot and sync), or null.
TurboDescription describe_unknown_turbo(const PulseTrack &track, std::size_t first, std::size_t count,
                                        const BootFacts *facts = nullptr);

// Turns every UNRECOGNIZED entry of a scan that holds an unknown turbo into
// an "UNKNOWN TURBO" entry (still of kind Unrecognized) with its
// description and bytes.
void describe_unknown_turbos(TapeScan &scan);

// The bytes of the UNKNOWN TURBO stretch at file offsets [start, end] of a
// tape image (as its report's Location gives them), for saving; empty when
// no unknown turbo is there.
std::vector<uint8_t> unknown_turbo_bytes(const uint8_t *file, std::size_t size, uint64_t start, uint64_t end);
