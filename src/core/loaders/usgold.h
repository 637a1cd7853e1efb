// The US Gold loader's encoder with a choice of layout, for the tests of
// the variant that stores the name after the addresses.
#pragma once

#include "core/cbmencode.h"
#include "core/loaders/turbo.h"

#include <string>
#include <vector>

// A whole TAP file in the US Gold format; name_last: every block stores its
// name after the addresses instead of before them.
std::vector<uint8_t> usgold_encode(const std::vector<PrgInput> &prgs, const turbo::TapeOptions &options,
                                   bool name_last, std::string &error);
