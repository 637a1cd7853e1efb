// Putting the programs found on a tape on a disk image: a D64 (the 1541's
// 35 tracks, 664 free blocks, 144 directory entries) written by Debian's
// cc1541, holding the PRG files in tape order under their tape names.
//
// Names on the disk are PETSCII, at most 16 characters: letters become the
// capitals of the machine's upper-case set, other printable characters stay,
// anything else is passed as its PETSCII code. Two programs of one name get
// " 2", " 3", ... (shortened to stay within 16 characters), since a disk
// directory cannot tell them apart.
//
// The image is made in a new file beside the one asked for and renamed into
// place only when cc1541 succeeded: a disk that did not come out whole never
// replaces an earlier one.
//
// Pure and GLib-only (cc1541 runs as a child process).
#pragma once
#include "core/reportfile.h"

#include <string>
#include <vector>

struct D64Program {
    std::string path; // the PRG file (load address first)
    std::string name; // its name on the tape, as the report shows it
};

constexpr int D64_FREE_BLOCKS = 664;
constexpr int D64_DIRECTORY_ENTRIES = 144;
constexpr int D64_NAME_LENGTH = 16;

// The PRG files of a "prg" folder ("NNN-NAME.prg") in tape order (by NNN),
// named after the report's entry NNN when the report lists it, else after
// the file name. Files without the "NNN-" prefix come last, by name.
std::vector<D64Program> d64_programs_in_folder(const std::string &folder, const std::vector<ReportEntry> &rows);

// The disk names of the programs, unique, at most 16 characters, in the
// form cc1541's -f option takes ("#hh" for a PETSCII code).
std::vector<std::string> d64_disk_names(const std::vector<D64Program> &programs);

// Blocks a file of `bytes` bytes takes on a 1541 disk (254 data bytes a block).
int d64_blocks(long long bytes);

struct D64ExportResult {
    bool ok = false;
    std::string error; // translated; empty when ok
    int blocks = 0;    // used by the programs
};

// Writes the image at image_path with the disk name given (ASCII, at most
// 16 characters are used).
D64ExportResult d64_export(const std::vector<D64Program> &programs, const std::string &image_path,
                           const std::string &disk_name);
