// The loaders of the table in registry.cpp, one per file in this folder.
#pragma once

#include "core/loaders/registry.h"

extern const TurboLoader LOADER_TURBOTAPE;
extern const TurboLoader LOADER_FREELOAD;
extern const TurboLoader LOADER_USGOLD;

// Type descriptors the other modules look for.
extern const char TURBOTAPE_TYPE_HEADER[];  // "TURBOTAPE-250 HEADER"
extern const char TURBOTAPE_TYPE_DATA[];    // "TURBOTAPE-250 DATA"
extern const char FREELOAD_TYPE[];          // "FREELOAD"
extern const char USGOLD_TYPE[];            // "US GOLD"
