// The loaders of the table in registry.cpp, one per file in this folder.
#pragma once

#include "core/loaders/registry.h"

extern const TurboLoader LOADER_TURBOTAPE;
extern const TurboLoader LOADER_C16;

// Type descriptors the other modules look for.
extern const char TURBOTAPE_TYPE_HEADER[];  // "TURBOTAPE-250 HEADER"
extern const char TURBOTAPE_TYPE_DATA[];    // "TURBOTAPE-250 DATA"
extern const char C16_TYPE_HEADER[];        // "C16 ROM-TAPE HEADER"
extern const char C16_TYPE_DATA[];          // "C16 ROM-TAPE DATA"
