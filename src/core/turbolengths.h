// The pulse lengths of a stretch no scanner read, for the unknown turbo
// describer: their classes - two, or three where the longest pulse carries
// two bits - found in the histogram's peaks and valleys, never Commodore ROM
// data (its byte markers tell); the full waves a tape of half waves pairs
// into; and the bits the pulses give.
#pragma once

#include "core/tapescan.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace turbo_shape {

// Fewer pulses than this tell no shape.
constexpr std::size_t MIN_PULSES = 400;

// The pulse lengths of a stretch as full waves: the track's own, or its
// half waves paired and added up (kept in `paired`).
struct Stretch {
    const uint8_t *units = nullptr;
    std::size_t size = 0;
    std::vector<uint8_t> paired;  // moved with its buffer, never copied (units may point into it)

    Stretch() = default;
    Stretch(Stretch &&) = default;
    Stretch &operator=(Stretch &&) = default;
    Stretch(const Stretch &) = delete;
    Stretch &operator=(const Stretch &) = delete;
    uint8_t operator[](std::size_t q) const { return units[q]; }
};

using Histogram = std::array<double, 258>;

// The classes of a stretch: two or three peaks of its histogram, far enough
// apart, with deep valleys between them, and nearly every pulse near one of
// them. More peaks, or pulses spread everywhere (noise), make no turbo.
struct Classes {
    bool ok = false;
    int count = 0;
    std::array<double, 3> mean{};
    std::array<uint8_t, 256> class_of{};  // of every length
    double threshold(int k) const { return (mean[std::size_t(k)] + mean[std::size_t(k) + 1]) / 2; }
    int of(uint8_t u) const { return class_of[u]; }
    void fill_lookup()
    {
        for (int u = 0; u < 256; ++u) {
            int k = 0;
            while (k + 1 < count && u >= threshold(k))
                ++k;
            class_of[std::size_t(u)] = uint8_t(k);
        }
    }
};

void add_to_histogram(Histogram &h, const Stretch &s);
// `h`: the parts' histogram (add_to_histogram); not ok when no turbo's.
Classes find_classes(const Histogram &h, const std::vector<const Stretch *> &parts);
// Pulses [first, first + count) of a track as full waves. A tape of half
// waves holds a full wave as two halves of one length: they are paired
// from the phase whose pairs are the more even.
Stretch stretch_of(const PulseTrack &track, std::size_t first, std::size_t count, bool half_waves);
// Appends the bits of a stretch's pulses; a pulse of the third class gives
// the two bits of `longest` (0b10: 1 then 0).
void append_bits(std::vector<uint8_t> &bit, const Stretch &units, const Classes &c, uint8_t longest);
// The two bits a third class may carry, as `longest` values to try (one
// when the pulses show it).
std::vector<uint8_t> longest_pulse_readings(const std::vector<const Stretch *> &units, const Classes &classes);
// Whether two stretches' classes are one loader's.
bool same_classes(const Classes &a, const Classes &b);

} // namespace turbo_shape
