// The loaders of the table in registry.cpp, one per file in this folder.
#pragma once

#include "core/loaders/registry.h"

extern const TurboLoader LOADER_TURBOTAPE;
extern const TurboLoader LOADER_NOVALOAD;
extern const TurboLoader LOADER_OCEAN;
extern const TurboLoader LOADER_FREELOAD;
extern const TurboLoader LOADER_USGOLD;
extern const TurboLoader LOADER_BURNER;
extern const TurboLoader LOADER_BLEEPLOAD;
extern const TurboLoader LOADER_C16;
extern const TurboLoader LOADER_MICROLOAD;
extern const TurboLoader LOADER_WILDSAVE;
extern const TurboLoader LOADER_CHR;
extern const TurboLoader LOADER_IRQTAPE;
extern const TurboLoader LOADER_RACKIT;
extern const TurboLoader LOADER_AUDIOGENIC;
extern const TurboLoader LOADER_PAVLODA;
extern const TurboLoader LOADER_VISILOAD;

// Type descriptors the other modules look for.
extern const char TURBOTAPE_TYPE_HEADER[];  // "TURBOTAPE-250 HEADER"
extern const char TURBOTAPE_TYPE_DATA[];    // "TURBOTAPE-250 DATA"
extern const char NOVALOAD_TYPE_NORMAL[];    // "NOVALOAD"
extern const char NOVALOAD_TYPE_SPECIAL[];   // "NOVALOAD SPECIAL"
extern const char OCEAN_TYPE[];              // "OCEAN"

// True when the bytes from p, read by `reader`, are a Novaload file after
// its sync byte (its check bytes agree). Ocean chains share the pilot and
// sync of Novaload files and have no check bytes of their own.
bool novaload_file_at(const turbo::BitReader &reader, std::size_t p);
extern const char FREELOAD_TYPE[];          // "FREELOAD"
extern const char USGOLD_TYPE[];            // "US GOLD"
extern const char BURNER_TYPE[];            // "BURNER"
extern const char BLEEPLOAD_TYPE[];         // "BLEEPLOAD"
extern const char C16_TYPE_HEADER[];        // "C16 ROM-TAPE HEADER"
extern const char C16_TYPE_DATA[];          // "C16 ROM-TAPE DATA"
extern const char MICROLOAD_TYPE[];         // "MICROLOAD"
extern const char WILDSAVE_TYPE[];          // "WILD SAVE"
extern const char CHR_TYPE[];               // "CHR"
extern const char IRQTAPE_TYPE[];           // "IRQTAPE"
extern const char RACKIT_TYPE[];            // "RACK-IT"
extern const char AUDIOGENIC_TYPE[];        // "AUDIOGENIC"
extern const char PAVLODA_TYPE[];           // "PAVLODA"
extern const char VISILOAD_TYPE[];          // "VISILOAD"
extern const char VISILOAD_PATCH_TYPE[];    // "VISILOAD PATCH"

// For tests: a Visiload patch file (a PRG over the loader's parameter block
// of this program's boot code) and the pulses of one file written with
// given parameters.
std::vector<uint8_t> visiload_patch_file(uint16_t threshold, bool lsb_first, unsigned extra_bits);
std::vector<uint8_t> visiload_file_pulses(uint16_t threshold, bool lsb_first, unsigned extra_bits,
                                          const std::vector<uint8_t> &prg);
