// The scanner of the Commodore ROM tape format (id "c64"): finds every copy
// of a header or data block that the KERNAL's LOAD would read (the format is
// described in cbmencode.h).
//
// A tape whose header names the C16 / Plus/4 (platform 2) is left to that
// machine's own scanner.
//
// Recognising a copy at a pulse:
//   - Leader: at least CBM_MIN_LEADER_PULSES pulses within 20 % of their
//     running mean, the first within 30 % of the platform's ideal S. A lone
//     stray pulse followed by 4 leader pulses is taken as part of the leader.
//   - Calibration: S is the mean of the leader's pulses; M and L are the
//     platform's ideal M and L scaled by S / ideal S. Each pulse then belongs
//     to the nearest class; one farther than the tolerance from all three is
//     a read error.
//   - Sync: the countdown is read at the first pulse after the leader (and,
//     for a damaged edge, one pulse earlier or later); it is found when at
//     least CBM_COUNTDOWN_MIN_MATCHES of its nine bytes are right. $89.. makes
//     a FIRST copy, $09.. a REPEAT copy.
//   - Bytes follow at 20 pulses each. A bit is (S, M) = 0 or (M, S) = 1; a pair
//     of the same class is decided by which pulse is shorter. A byte whose
//     new-data marker is damaged is still read when the next marker comes 20
//     pulses later. The block ends at the end-of-data marker (L, S), or - when
//     the option allows blocks without it - where the byte structure stops
//     (another kind of pulse, silence, or the end of the tape). The last byte
//     is the checkbyte; at least the checkbyte must be there.
//   - Trailer: a REPEAT copy also takes up to 78 following pulses within 20 %
//     of S.
// Header or data: a 192-byte payload beginning with type 1, 3, 4 or 5 is a
// header, except the REPEAT of a data copy and the block after the REPEAT of a
// header announcing exactly 192 bytes. A data copy takes LA/EA/SZ from the
// header copy just before it (preferring one whose checkbyte passed; pauses and
// unrecognised stretches in between do not matter), or from its FIRST copy.
//
// Every pulse of a copy gets the class an ideal tape has there: the leader and
// trailer S, countdown bytes as the countdown should be, other bytes as read
// (with the parity bit that makes their parity odd), the end marker L and S.
// Read errors are counted over all pulses of the copy.
#pragma once

#include "core/tapescan.h"

#include <cstddef>
#include <cstdint>
#include <string>

constexpr std::size_t CBM_MIN_LEADER_PULSES = 16;
constexpr int CBM_COUNTDOWN_MIN_MATCHES = 5;

extern const char CBM_TYPE_HEADER[];  // "C64 ROM-TAPE HEADER"
extern const char CBM_TYPE_DATA[];    // "C64 ROM-TAPE DATA"

extern const TapeScanner cbm_rom_scanner;  // id "c64"

// A file name in PETSCII shown in ASCII. Trailing $20, $A0 and $00 (padding)
// are dropped. $20-$5B and $5D are the same characters in both codes (space,
// punctuation, digits, '@', capitals, brackets); $A0 (shifted space) is a
// space; the shifted letters $C1-$DA and their copies $61-$7A (also what a
// PC-made tape holds as ASCII lower case) are the lower-case letters a-z, so
// that they stay apart from the capitals; every other byte becomes '?'.
std::string petscii_name_to_ascii(const uint8_t *bytes, std::size_t size);
