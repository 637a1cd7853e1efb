// The turbo loaders the console program knows, in one table: each one's
// scanner, its encoder, how its boot code is recognised, and its line of
// "scanners.txt" (id, name, how common the loader is from 0 to 9).
#pragma once

#include "core/cbmencode.h"
#include "core/loaders/bootcode.h"
#include "core/loaders/turbo.h"
#include "core/tapescan.h"

#include <string>
#include <vector>

struct TurboLoader {
    const char *id;      // as on the command line ("-doID") and in scanners.txt
    const char *name;
    int rating;          // 0 (rare) to 9 (common)
    const TapeScanner *scanner;
    // A whole TAP file: the loader's CBM boot file (when it needs one), then
    // the programs in its format. Empty with `error` set when a program
    // can't be written in it.
    std::vector<uint8_t> (*encode)(const std::vector<PrgInput> &prgs, const turbo::TapeOptions &options,
                                   std::string &error);
    // True when boot code carries this loader.
    bool (*identify)(const BootFacts &facts);
};

// Every turbo loader, most common first (a rare one goes before a common one
// whose weaker checks would take its blocks), in the order the scan asks them.
const std::vector<TurboLoader> &turbo_loaders();

// A loader by id, or null.
const TurboLoader *find_turbo_loader(const std::string &id);

// The loader whose scanner this is, or null.
const TurboLoader *turbo_loader_of(const TapeScanner *scanner);

// The lines of "scanners.txt": "RATING:ID:NAME\n" per loader.
std::string turbo_scanner_lines();
