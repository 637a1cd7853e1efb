// PRG files of the programs found on a tape, written to the folder "prg"
// beside the console program (prgfolder.h: which files there are this
// program's to remove, and the name a file gets when its own is taken).
//
// One file per program, "NNN-NAME.prg": NNN is the report index (1-based,
// three digits or more) of the data copy written, NAME the program's name
// with every character other than an ASCII letter, a digit, blank, dot,
// minus and underscore replaced by "_"; a program without a name is called
// by its format and load address ("007-OCEAN-0400.prg"). The file holds
// the load address of the header (little-endian) and the payload of the copy
// that cbm_block_copy chooses: a copy whose checkbyte passed, FIRST
// preferred. When no copy passed, the FIRST copy is written and " (bad)"
// goes before ".prg".
//
// A turbo entry gives one program per run of bytes it loaded (formats that
// store pages: one per contiguous stretch), named after the entry or its
// header; it is "(bad)" when the entry's checksum failed.
//
// Only CBM ROM data announced by a program header (type 1 or 3) is a program. Data
// after a header of type 4 (a sequential file: its blocks hold records, not
// code) or type 5, and data with no header before it, get no PRG file; the
// report counts them in a note.
//
// Uniting (-prgunite): a program whose load address equals the end of the
// previous PRG being built (its load address plus the bytes it holds, modulo
// $10000) is appended to it, as long as the result stays within 64 KB. The
// joined file keeps the name, index and load address of its first program;
// it is "(bad)" when any part is.
#pragma once

#include "core/tapescan.h"

#include <cstdint>
#include <string>
#include <vector>

struct PrgFile {
    std::string file_name;        // "NNN-NAME.prg" or "NNN-NAME (bad).prg" (the name it asks for)
    std::vector<uint8_t> bytes;   // load address + data
    bool bad = false;
    unsigned parts = 1;           // programs joined into it
    bool merged = false;          // put together from both copies of a CBM block
};

// The PRG files of a scanned tape. *skipped (when given) counts data blocks
// that are no program (see cbm_programs).
std::vector<PrgFile> tape_prg_files(const TapeScan &scan, bool unite, unsigned *skipped = nullptr);

// The bytes of every UNKNOWN TURBO stretch, for study: "NNN-UNKNOWN-TURBO.bin"
// (NNN its report index), as read after its pilots, never a PRG file (no
// load address is known, and nothing was verified).
std::vector<PrgFile> tape_study_files(const TapeScan &scan);

// NAME of a program name (see the top of this file).
std::string prg_name_part(const std::string &name);
