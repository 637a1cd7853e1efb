// Loader identification: the code in a tape's CBM boot files tells which
// turbo loader the rest of the tape is in, so only that scanner needs to run
// beside the CBM ROM one ("faster scan"; with boot files of several
// loaders, the scanners of all of them). When no boot file carries a known
// loader, every selected scanner runs; so it does when identification is
// off, and when the identified loader's scanner finds nothing (the boot
// code only looked like that loader's).
#pragma once

#include "core/loaders/registry.h"
#include "core/tapescan.h"

#include <string>
#include <vector>

struct IdentifiedScan {
    TapeScan scan;
    // The first loader identified, when the identified loaders' scanners ran
    // alone beside CBM ROM (a tape may hold boot files of several).
    const TurboLoader *loader = nullptr;
    std::string summary;                  // one line for the report
};

// The loaders whose identification matches the code of the CBM data blocks
// of a scan, most common first.
std::vector<const TurboLoader *> loaders_in_boot_files(const TapeScan &cbm_scan);

// Scans with the selected scanners, narrowed by identification when
// `identify` is true (see the top of this file).
IdentifiedScan scan_tape_identified(const uint8_t *file, std::size_t size, const ScanOptions &options,
                                    const std::vector<const TapeScanner *> &selected, bool identify);
