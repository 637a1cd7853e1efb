// Writing programs as the Commodore KERNAL's SAVE puts them on tape: the CBM
// ROM-loader format, as pulses of a TAP file.
//
// The format: three pulse lengths, short (S), medium (M) and long (L). A bit 0
// is (S, M), a bit 1 is (M, S). A byte is the new-data marker (L, M), its 8
// bits least significant first and an odd parity bit: 20 pulses. A block is a
// leader of S pulses, the countdown $89..$81 (FIRST copy) or $09..$01 (REPEAT
// copy), the payload, the checkbyte (XOR of the payload) and the end-of-data
// marker (L, S). Every block is written twice.
//
// Per program SAVE writes: header FIRST (leader of 27136 S), 79 S, header
// REPEAT, 78 S, a pause of 328088 cycles, data FIRST (leader of 5376 S), 79 S,
// data REPEAT, 78 S. The header payload is 192 bytes: type, load address,
// end address + 1 (both little-endian), a 16-byte name padded with $20, and
// 171 bytes of $20.
//
// Pulse values. On a C64 (PAL and NTSC alike, the KERNAL times pulses in
// clock cycles) the ideal TAP values are S/M/L = 0x30/0x42/0x56, that is
// 389.7/535.9/698.3 microseconds at the PAL clock of 985,248 Hz. A VIC 20
// tape holds pulses of the same durations, so its TAP values are those
// durations in units of 8 VIC 20 cycles, rounded to nearest:
//   VIC 20 PAL  (1,108,416 Hz): 0x36/0x4A/0x61 (54/74/97)
//   VIC 20 NTSC (1,022,720 Hz): 0x32/0x45/0x59 (50/69/89)
// Pauses given in seconds are turned into cycles with the clock of the chosen
// platform and video standard (C64 NTSC: 1,022,720 Hz).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Pulses of one block and of one SAVE.
constexpr std::size_t CBM_HEADER_LEADER_PULSES = 27136;
constexpr std::size_t CBM_DATA_LEADER_PULSES = 5376;
constexpr std::size_t CBM_COPY_GAP_PULSES = 79;   // S pulses between FIRST and REPEAT
constexpr std::size_t CBM_TRAILER_PULSES = 78;    // S pulses after a REPEAT copy
constexpr std::size_t CBM_PULSES_PER_BYTE = 20;
constexpr std::size_t CBM_COUNTDOWN_BYTES = 9;
constexpr uint8_t CBM_COUNTDOWN_FIRST = 0x89;     // $89..$81
constexpr uint8_t CBM_COUNTDOWN_REPEAT = 0x09;    // $09..$01
constexpr uint32_t CBM_HEADER_DATA_PAUSE_CYCLES = 328088;
constexpr std::size_t CBM_HEADER_PAYLOAD_SIZE = 192;
constexpr std::size_t CBM_NAME_SIZE = 16;
constexpr uint8_t CBM_PAD_BYTE = 0x20;

// Header types.
constexpr uint8_t CBM_HEADER_RELOCATABLE = 1;  // program loaded to $0801 (or the BASIC start)
constexpr uint8_t CBM_HEADER_DATA_BLOCK = 2;   // block of a sequential file (not a header)
constexpr uint8_t CBM_HEADER_ABSOLUTE = 3;     // program loaded to its own address
constexpr uint8_t CBM_HEADER_SEQ = 4;          // sequential file header
constexpr uint8_t CBM_HEADER_END_OF_TAPE = 5;

// A version 0 zero byte stands for this many cycles of silence.
constexpr uint32_t TAP_V0_ZERO_BYTE_CYCLES = 20000;
// Longest cycle count one version 1 long pulse is written with (0xFFFFFF is the overflow mark).
constexpr uint32_t TAP_V1_MAX_PULSE_CYCLES = 0xFFFFFE;

// Ideal TAP values of the three pulse lengths.
struct CbmPulseSet {
    uint8_t s = 0x30, m = 0x42, l = 0x56;
};

// The ideal values for a platform and video standard (see the top of this file).
CbmPulseSet cbm_ideal_pulses(bool vic20, bool ntsc);

// Clock frequency in Hz: C64 PAL 985,248; C64 NTSC and VIC 20 NTSC 1,022,720; VIC 20 PAL 1,108,416.
uint32_t machine_clock_hz(bool vic20, bool ntsc);

struct EncodeOptions {
    int tap_version = 1;          // 0 or 1 (anything but 0 writes version 1)
    bool ntsc = false;
    bool vic20 = false;
    double pause_seconds = 2.0;   // silence between two programs (none after the last)
    uint8_t header_type = CBM_HEADER_RELOCATABLE;  // 1 or 3
};

// A program file: its first two bytes are the load address (little-endian).
struct PrgInput {
    std::vector<uint8_t> bytes;
    std::string name;             // ASCII; upper-cased to PETSCII, cut to 16 characters
};

// Empty when the program can be written; otherwise why not (shorter than the
// 2-byte load address, or ending beyond $FFFF).
std::string prg_input_problem(const PrgInput &prg);

// --- Building blocks, appending TAP data bytes (one byte per pulse) -------

// `count` pulses of `units` TAP units (1..255).
void cbm_append_pulses(std::vector<uint8_t> &tap, uint8_t units, std::size_t count);

// One byte: new-data marker, 8 bits least significant first, odd parity bit.
void cbm_append_byte(std::vector<uint8_t> &tap, uint8_t value, const CbmPulseSet &p);

// The end-of-data marker (L, S).
void cbm_append_end_marker(std::vector<uint8_t> &tap, const CbmPulseSet &p);

// One copy of a block: `leader` S pulses, the countdown ($89.. when FIRST,
// $09.. when REPEAT), the payload, its checkbyte and the end-of-data marker.
void cbm_append_copy(std::vector<uint8_t> &tap, const uint8_t *payload, std::size_t size,
                     bool repeat, std::size_t leader, const CbmPulseSet &p);

// Silence of `cycles` clock cycles. Version 0: zero bytes of 20000 cycles
// each, their number rounded to nearest, at least one. Version 1: one long
// pulse (zero byte + 24-bit little-endian cycle count); a pause longer than
// 0xFFFFFE cycles is split into equal long pulses. Nothing for 0 cycles.
void tap_append_pause(std::vector<uint8_t> &tap, uint64_t cycles, int tap_version);

// PETSCII of an ASCII character as typed on a C64: lower-case letters become
// the (unshifted) capitals $41..$5A, everything else is kept.
uint8_t ascii_to_petscii(char c);

// The 192-byte header payload: type, load address, end address (exclusive,
// both little-endian), the name in PETSCII padded with $20 to 16 bytes, and
// 171 bytes of $20.
std::vector<uint8_t> cbm_header_payload(uint8_t type, uint16_t load, uint16_t end,
                                        const std::string &name);

// Everything SAVE writes for one program, from the header's leader to the
// trailer of the data's REPEAT copy. End address = load + data size
// (kept to 16 bits, so a program ending at $FFFF gets $0000).
void cbm_append_prg(std::vector<uint8_t> &tap, const PrgInput &prg, const EncodeOptions &options);

// The 20-byte header of a TAP file: "C64-TAPE-RAW", version, platform
// (0 C64, 1 VIC 20), video standard (0 PAL, 1 NTSC), 0, data size.
std::vector<uint8_t> tap_file_header(int tap_version, bool vic20, bool ntsc, uint32_t data_size);

// Sets the data-size field of a TAP file in memory to its length minus 20.
void tap_fix_data_size(std::vector<uint8_t> &file);

// A whole TAP file holding the programs in order, with `pause_seconds` of
// silence between two programs. Empty when a program can't be written (see
// prg_input_problem).
std::vector<uint8_t> encode_tap(const std::vector<PrgInput> &prgs, const EncodeOptions &options);
