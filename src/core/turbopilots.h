// Where an unknown turbo's blocks begin: its pilots among the bits of its
// stretches - a byte repeated, a run of one bit, or (IRQTape's lead-in) a
// pair of different bytes repeated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace turbo_shape {

constexpr std::size_t MIN_PILOT_BYTES = 32;        // a pilot of a block on its own
constexpr std::size_t MIN_SHORT_PILOT_BYTES = 3;   // of blocks whose pilot and sync repeat
constexpr std::size_t MIN_PILOT_BITS = 256;
constexpr std::size_t PART_START_SLACK = 32;       // bits a pause may take off a pilot's start

// A pilot found among the bits: [start, end), end the first bit that breaks it.
struct Pilot {
    std::size_t start = 0, end = 0;
    bool bits = false;     // a run of one bit value, long enough for a pilot of bits
    bool uniform = false;  // of one bit value (a trailer, if short)
    bool pair = false;     // two different bytes repeated
    bool at_part_start = false;  // right after a pause
    std::size_t part = 0;        // the stretch it lies in
};

// The pilots of one byte (or of one bit) among bits [begin, end).
std::vector<Pilot> find_pilots(const std::vector<uint8_t> &bit, std::size_t begin, std::size_t end);
// The long pilots of a pair of different bytes repeated among bits [begin, end).
std::vector<Pilot> find_pair_pilots(const std::vector<uint8_t> &bit, std::size_t begin, std::size_t end);

} // namespace turbo_shape
