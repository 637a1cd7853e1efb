// The loaders of the table in registry.cpp, one per file in this folder.
#pragma once

#include "core/loaders/registry.h"

extern const TurboLoader LOADER_TURBOTAPE;
extern const TurboLoader LOADER_BURNER;
extern const TurboLoader LOADER_BLEEPLOAD;

// Type descriptors the other modules look for.
extern const char TURBOTAPE_TYPE_HEADER[];  // "TURBOTAPE-250 HEADER"
extern const char TURBOTAPE_TYPE_DATA[];    // "TURBOTAPE-250 DATA"
extern const char BURNER_TYPE[];            // "BURNER"
extern const char BLEEPLOAD_TYPE[];         // "BLEEPLOAD"
