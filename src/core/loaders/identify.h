// Loader identification, per game: the code in a CBM boot file (its data
// block, and its header, whose spare bytes often hold loader code) tells
// which turbo loader the tape is in from there on. The scanners of the
// loaders a boot file carries are asked first up to the next CBM boot file
// (a tape may join several games, each with its own loader); every other
// selected scanner is still asked where they find nothing, and where no
// loader is identified every selected scanner runs in the usual order. So
// the scan is one walk over the tape, never slower than without
// identification and never recognising less. Off (-noid): every selected
// scanner in the usual order everywhere.
#pragma once

#include "core/loaders/registry.h"
#include "core/tapescan.h"

#include <string>
#include <vector>

struct IdentifiedScan {
    TapeScan scan;
    // The first loader identified whose scanner was asked first somewhere.
    const TurboLoader *loader = nullptr;
    std::string summary;                  // one line for the report
};

// The loaders whose identification matches the code of one boot file: its
// CBM data block and the header before it (null: none), most common first.
std::vector<const TurboLoader *> loaders_in_boot_code(const TapeEntry *header, const TapeEntry &data);

// The loaders found in any boot file of a scan (each boot file on its own),
// most common first.
std::vector<const TurboLoader *> loaders_in_boot_files(const TapeScan &cbm_scan);

// Scans with the selected scanners, guided by identification when
// `identify` is true (see the top of this file).
IdentifiedScan scan_tape_identified(const uint8_t *file, std::size_t size, const ScanOptions &options,
                                    const std::vector<const TapeScanner *> &selected, bool identify);
