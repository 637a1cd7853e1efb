// The "BASIC" view of a PRG file: the program listed as Commodore BASIC V2.
//
// After the two-byte load address, a tokenized program is a chain of lines:
//   link (2 bytes, little-endian)  memory address of the next line; 0 ends the program
//   line number (2 bytes, little-endian, unsigned)
//   body                           tokens, characters and control codes
//   terminator                     a 0 byte
// The walk follows the links (a link may point anywhere after the load
// address, not only just past the terminator). Each line is listed as
// "\n<number> <body>" and the listing ends with "\n".
//
// Body bytes, rendered by the first rule that applies:
//   1. 34 (double quote): shown, and toggles quote mode (off at each line start)
//   2. 5..31: the control-character name ("{WHITE}", "{RETURN}", ...), in and
//      out of quotes; bytes without a name vanish
//   3. 129..160 inside quotes: the control-character name ("{CLEAR}", "{F1}", ...);
//      bytes without a name vanish
//   4. 128..203 outside quotes: the keyword ("END" ... "GO"), with no blanks added
//   5. anything else: shown as itself when printable (32..126), otherwise "."
//
// The walk fails (result 0) when the file has 2 bytes or less, when a line's
// link, number or terminator lies past the end of the file, when a link equals
// the load address or lies below it, and at the 6485th line (at most 6484
// lines are listed). A 3-byte file fails; a 4-byte file lists as "\n" when its
// link is 0 and fails otherwise.
#pragma once
#include <glib.h>

#include <cstddef>
#include <cstdint>

#include "core/decodehooks.h"

// What the BASIC view shows instead of a failed listing (an untranslated
// message id: show it through _()).
extern const char BASIC_NOT_VALID_TEXT[]; // "\nNot a valid CBM BASIC listing!\n"

// Reads the whole file at `filename` and appends its listing to `text`.
// Returns 1 on success, 0 on any failure. When the file can't be read,
// hooks.load_error gets the path and the system's message and nothing is
// appended. A walk that fails part-way leaves the lines listed so far in
// `text`; the caller discards them and shows BASIC_NOT_VALID_TEXT.
// No progress is reported (hooks.progress is not called).
int untokenize(const char *filename, GString *text, const DecodeHooks &hooks = {});

// The same on a PRG file already in memory.
int untokenize_bytes(const uint8_t *data, size_t size, GString *text, const DecodeHooks &hooks = {});
