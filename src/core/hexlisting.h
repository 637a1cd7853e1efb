// The "Hex View" of a PRG file: one line per 16 data bytes with the Commodore
// memory address, the bytes in hexadecimal and a character column.
//
// A PRG file is a two-byte little-endian load address followed by the data it
// places in memory; data byte i lives at (load + i) modulo 65536.
//
// Listing layout (it always begins with a line break):
//   "\nAAAA: XX XX ... XX '................'"   per full line of 16 bytes
//                                               (one blank after the 16th byte)
//   "\nAAAA: XX XX ...                 '...'\n" a short last line, padded with
//                                               three blanks per missing byte
//   "\n"                                        instead, when no short line remains
//
// Character column, per byte b: with `convert` 1, screen codes below 32 become
// b + 64 (screen codes 1..26 are the capital letters). The byte is then shown as
// itself when it is an ASCII letter or digit, or the space character; anything
// else, bytes from 128 up (not UTF-8 on their own) and punctuation included, is
// shown as ".".
#pragma once
#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "core/decodehooks.h"

// Reads the whole file at `filename` and appends its listing to `text`;
// `convert` 1 converts screen codes in the character column.
// Returns 1 when a listing was produced; 0 when the file can't be read (then
// hooks.load_error gets the path and the system's message) or holds fewer than
// 3 bytes. Nothing is appended when 0 is returned. While the full lines are
// listed, hooks.progress gets o / n whenever the data offset o is a multiple
// of 1024 (n = number of data bytes).
int make_hex_listing(const char *filename, int convert, GString *text, const DecodeHooks &hooks = {});

// The same on a PRG file already in memory.
int make_hex_listing_bytes(const uint8_t *data, size_t size, int convert, GString *text,
                           const DecodeHooks &hooks = {});

// The listing of the file at `filename` written to `out` as it is made, a few
// kilobytes at a time (what the command line prints: no text of the whole
// listing is held). Returns and reports as make_hex_listing() does, except
// that hooks.progress is not called; nothing is written when 0 is returned
// before the first line (a read error later leaves the lines already written).
int write_hex_listing(const char *filename, int convert, FILE *out, const DecodeHooks &hooks = {});
