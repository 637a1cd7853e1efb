// Reading a tape image given on the command line, with a plain reason when
// it can't be used: missing, a folder, unreadable, empty, shorter than the
// 20-byte header, no known magic, or a TAP version other than 0, 1 and 2.
#pragma once

#include "core/tapescan.h"

#include <cstdint>
#include <string>
#include <vector>

struct TapeInput {
    bool ok = false;
    std::string error;        // why the file can't be scanned (when !ok)
    bool size_known = false;  // the file could be read (file_size is set)
    uint64_t file_size = 0;
    std::vector<uint8_t> bytes;
};

TapeInput read_tape_input(const std::string &path);

// A one-line description of the image: "C64 TAP version 1, C64, PAL" or
// "ZORV dump version 1, VIC 20, NTSC".
std::string tape_format_text(const TapeScan &scan);
