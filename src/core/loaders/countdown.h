// What Microload and Wild Save share: a pilot of the byte $A0 repeated,
// then the countdown $0A $09 ... $01 as sync bytes (8 of the 10 right will
// do), bytes least significant bit first. Their speeds and layouts differ.
#pragma once

#include "core/loaders/turbo.h"

#include <array>

namespace turbo::countdown {

constexpr BytePilot PILOT{0xA0, 16};
constexpr std::array<uint8_t, 10> SYNC = {10, 9, 8, 7, 6, 5, 4, 3, 2, 1};
constexpr SyncSpec SYNC_SPEC{SYNC.data(), SYNC.size(), 8};
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 256;
constexpr std::size_t TRAILER_WRITTEN = 32;

// Three pilot bytes in a row from q: another block begins.
inline bool pilot_at(const BitReader &reader, std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); }

// The boot code of these loaders: the threshold, and compares with the
// pilot and the first sync byte.
inline BootCodePlan boot_plan(const Format &format) { return one_shot_boot_plan(format, {PILOT.value, SYNC.front()}); }

// A block's pilot and sync, as the encoders write them.
inline void write_start(Writer &w)
{
    w.repeat_byte(PILOT.value, PILOT_WRITTEN);
    w.bytes(SYNC.data(), SYNC.size());
}

} // namespace turbo::countdown
