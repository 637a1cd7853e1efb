// Writing a scanned tape back as a TAP file: cleaned (every recognised file
// rewritten with ideal pulses) or converted to TAP version 0 or 1.
//
// Both writers work from a TapeScan alone: its header, its pulse track (the
// pulses in TAP units of the tape's machine) and its entries with the class
// of every pulse of a recognised file.
//
// The header of the written file. A TAP source keeps its magic
// ("C64-TAPE-RAW" or "C16-TAPE-RAW"), platform, video standard and reserved
// byte; the version byte is the one written. A ZORV dump becomes a
// "C64-TAPE-RAW" file with the dump's platform (the low nibble of its byte
// 13), its video standard and a reserved byte of 0. The data-size field
// always holds the number of data bytes written.
//
// How a pulse is written. An ordinary pulse (1 to 255 units, not read from
// a zero-byte long form) is one byte. A silence pulse - what PAUSE entries
// are made of - is written as silence of units x 8 clock cycles: in
// version 1 as long pulses (a zero byte and a 24-bit little-endian cycle
// count; above 0xFFFFFE cycles split into equal pieces; 0 cycles still one
// long pulse), in version 0 as zero bytes of 2500 units (20000 cycles) each,
// as many as cover the length rounded to nearest, at least one.
//
// Plain functions of their arguments, safe to call from any thread.
#pragma once

#include "core/tapescan.h"

#include <cstdint>
#include <vector>

// The clock frequency in Hz of the machine a tape was recorded on, from its
// platform index and video standard byte, chosen as the ZORV sample
// conversions choose theirs: C64 PAL 985,248, C64 NTSC 1,022,720,
// VIC 20 PAL 1,108,416, VIC 20 NTSC 1,022,720, C16 PAL 886,720,
// C16 NTSC 894,880; a VIC 20 or C16 with an unknown standard, and any
// unknown platform, take the C64 PAL clock.
uint32_t tape_clock_hz(unsigned platform, unsigned video);

// The clock of a scanned tape (its header's platform and video standard).
uint32_t tape_clock_hz(const TapeScan &scan);

// Silence after the last entry of a cleaned tape.
constexpr unsigned CLEAN_TRAILING_PAUSE_SECONDS = 5;

struct CleanOptions {
    // Make the tape end in at least CLEAN_TRAILING_PAUSE_SECONDS of silence.
    bool add_trailing_pause = true;
    // Wider cleaning tolerance. The cleaner itself has no tolerance to widen:
    // the scanner already gave every pulse of a recognised file the class an
    // ideal tape has there (also the pulses it counted as read errors), and
    // all of them are rewritten. Accepted and without effect on the output.
    bool boost = false;
};

// The tape cleaned, as a TAP version 1 file (version 2 for a version 2 tape,
// whose pulses are half-waves; empty when the scan is not ok):
//   - a recognised file: every pulse with a class is written as the ideal
//     value its scanner gave that class (the CBM ROM scanner: the platform's
//     ideal S, M or L; a turbo scanner: its format's bit 0 and bit 1); a
//     pulse without a class, or a class without an ideal value, keeps its
//     length.
//   - a PAUSE entry: one silence of the entry's measured length (the sum of
//     its pulses, units x 8 cycles; at least 8 cycles so that no pause
//     vanishes), written as above, so its whole run of zero bytes or
//     overflow marks becomes a single long pulse (two or more only beyond
//     0xFFFFFE cycles, about 17 seconds).
//   - an UNRECOGNIZED entry: every pulse copied with its length.
//   - then, unless add_trailing_pause is false, a trailing silence of at
//     least 5 seconds (5 x the tape's clock): a tape ending in a shorter
//     pause gets that pause lengthened to 5 seconds, a longer final pause is
//     kept, any other tape gets a 5-second pause appended. Cleaning a cleaned
//     tape therefore changes nothing.
std::vector<uint8_t> clean_tap(const TapeScan &scan, const CleanOptions &options);

// The same pulses written as a TAP file of `version` 0 or 1 (anything but 0
// writes version 1); empty when the scan is not ok. Every ordinary pulse is
// one byte; every silence pulse - an overflow mark and the pulse it
// continues into taken as the one physical pulse they are - is written as
// silence of its length (see the top of this file), so a version 1 long
// form stays one long pulse of its length (to 8 cycles) and a version 0 zero
// byte becomes one of 20,000 cycles. Pulse lengths of files
// are untouched, so every recognised file is read back as it was. The
// half-waves of a version 2 tape become whole waves: two neighbours at a
// time, from the first of each run between silences.
std::vector<uint8_t> convert_tap(const TapeScan &scan, int version);
