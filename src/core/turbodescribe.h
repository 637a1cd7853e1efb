// What an unknown turbo loader's stretch of tape holds, read from its pulses
// alone. No scanner set covers every loader; where none recognised a long
// stretch, its shape still tells much: a turbo stores a bit as one pulse of
// two lengths, so the stretch's histogram has two peaks with a valley
// between (the loader's threshold lies there), its blocks begin with a
// pilot (one byte repeated, a pair of bytes repeated, or a run of one bit)
// and a sync, and the bytes that follow can be read for study. Nothing is
// verified: no checksum is known, so the stretch stays unrecognised in every
// share and check.
//
// Some loaders time three lengths: the longest pulse then carries two bits
// (a 1 and a 0 the loader's timing reads in one go). Which two is the
// reading whose bytes look more like a program.
//
// The describer runs only on pulses no scanner took. It never describes
// noise (no two tight classes), a Commodore ROM stretch (a leader is one
// class; its data have a byte marker, a longest pulse always followed by the
// middle one) or a stretch without a pilot. On a tape of half waves (C16) it
// reads the full waves the half waves pair into.
//
// Blocks separated by pauses are described together, a part per stretch:
// short pilots at the start of stretch after stretch mark a chain's blocks
// even where each block has its own pilot byte (the relation of the pilot
// to the sync after it stays the same).
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
    double short_units = 0, long_units = 0;  // the two bit classes' mean lengths (full waves)
    double longest_units = 0;                // a third class carrying two bits, or 0
    bool full_waves = false;                 // lengths of full waves a tape of half waves pairs into
    uint8_t longest_bits = 0;                // those two bits: 0b10 (1 then 0) or 0b01
    unsigned threshold_cycles = 0;           // halfway between the two bit classes
    unsigned second_threshold_cycles = 0;    // halfway to the third class, or 0
    turbo::BitOrder order = turbo::BitOrder::MsbFirst;
    bool bit_pilot = false;    // a run of one bit, else a repeated byte (or pair)
    bool pair_pilot = false;   // a pair of bytes repeated
    uint8_t pilot_value = 0;   // the byte (a bit pilot: 0 or 1; a pair: its first)
    uint8_t pilot_second = 0;  // a pair's second byte
    std::size_t pilot_count = 0;  // bytes, pairs or bits of the first block's pilot
    std::vector<uint8_t> first_bytes;  // the first block's first bytes after its pilot
    std::size_t blocks = 0;
    std::vector<uint8_t> bytes;  // every block's bytes after its pilot, in order
    // A part of a chain of stretches between pauses: its number (from 1),
    // how many parts, and the chain's bytes in all; 0 parts when alone.
    std::size_t part = 0, parts = 0, bytes_in_all = 0;

    // "Turbo: threshold 440 cycles, pulses $29/$4A, MSB first, pilot $40 x 256,
    // then $5A 01 08 ..., 12 blocks, about 23 KB"
    std::string text() const;
};

// The pulses [first, first + count) of a track, all ordinary (no silence).
// `facts`: what the boot code before the stretch shows (its rotate gives
// the bit order, its compares the pilot and sync), or null.
TurboDescription describe_unknown_turbo(const PulseTrack &track, std::size_t first, std::size_t count,
                                        const BootFacts *facts = nullptr);

// Stretches separated by pauses, described together: one description per
// stretch (not found where it holds no block). `half_waves`: the track
// holds half waves.
struct TurboStretch {
    std::size_t first = 0, count = 0;
};
std::vector<TurboDescription> describe_unknown_turbo_chain(const PulseTrack &track,
                                                           const std::vector<TurboStretch> &stretches,
                                                           const BootFacts *facts = nullptr, bool half_waves = false);

// Turns every UNRECOGNIZED entry of a scan that holds an unknown turbo into
// an "UNKNOWN TURBO" entry (still of kind Unrecognized) with its
// description and bytes.
void describe_unknown_turbos(TapeScan &scan);

// The bytes of the UNKNOWN TURBO stretch at file offsets [start, end] of a
// tape image (as its report's Location gives them), for saving; empty when
// no unknown turbo is there.
std::vector<uint8_t> unknown_turbo_bytes(const uint8_t *file, std::size_t size, uint64_t start, uint64_t end);
