// PRG files of the programs found on a tape, written to the folder "prg"
// beside the console program.
//
// One file per program, "NNN-NAME.prg": NNN is the report index (1-based,
// three digits or more) of the data copy written, NAME the program's name
// with every character other than an ASCII letter, a digit, blank, dot,
// minus and underscore replaced by "_" ("noname" when empty). The file holds
// the load address of the header (little-endian) and the payload of the copy
// that cbm_block_copy chooses: a copy whose checkbyte passed, FIRST
// preferred. When no copy passed, the FIRST copy is written and " (bad)"
// goes before ".prg".
//
// Only data announced by a program header (type 1 or 3) is a program. Data
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
    std::string file_name;        // "NNN-NAME.prg" or "NNN-NAME (bad).prg"
    std::vector<uint8_t> bytes;   // load address + data
    bool bad = false;
    unsigned parts = 1;           // programs joined into it
};

// The PRG files of a scanned tape. *skipped (when given) counts data blocks
// that are no program (see cbm_programs).
std::vector<PrgFile> tape_prg_files(const TapeScan &scan, bool unite, unsigned *skipped = nullptr);

// NAME of a program name (see the top of this file).
std::string prg_name_part(const std::string &name);

// Creates the folder when needed and removes every "*.prg" file in it.
// False with a reason when the folder can't be made.
bool clear_prg_folder(const std::string &folder, std::string *error);

// Removes every "*.prg" file in the folder when it exists (and makes none):
// a run that fails before its scan leaves no PRG files of an earlier run
// for the front end to take as its own.
void remove_prg_files(const std::string &folder);

// Writes the files into the folder. False with a reason at the first failure.
bool write_prg_files(const std::string &folder, const std::vector<PrgFile> &files, std::string *error);
