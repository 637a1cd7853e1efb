// A model of a tape deck playing a cassette that a real machine recorded,
// for tests at the level of TAP files: every pulse keeps its true duration
// in cycles, then the deck runs it through its speed (a drift from the start
// of the tape to its end, and wow: a slow wobble), the digitiser's jitter,
// and dropouts - moments the signal is gone, which the digitiser sees as one
// long silence or as a burst of noise in place of the pulses.
#pragma once

#include "core/cbmencode.h"
#include "core/tapimage.h"

#include <cmath>
#include <cstdint>
#include <vector>

namespace tape_deck {

struct Dropout {
    double at = 0;       // seconds from the start of the tape
    double seconds = 0;  // how long the signal is gone
    bool noise = false;  // a burst of short pulses, else one long silence
};

struct Deck {
    double drift = 0;      // speed lost from the start of the tape to its end (0.04: 4 % slower at the end)
    double wow = 0;        // depth of the wobble (0.03: +/- 3 %)
    double wow_hz = 0.7;   // its rate
    int jitter = 0;        // units either way, at random
    std::vector<Dropout> dropouts;
    uint32_t seed = 1;
};

namespace detail {

struct Pulse {
    double cycles;
};

inline std::vector<Pulse> pulses_of(const std::vector<uint8_t> &tap)
{
    std::vector<Pulse> out;
    for (std::size_t i = TAP_HEADER_SIZE; i < tap.size(); ++i) {
        if (tap[i] != 0) {
            out.push_back({tap[i] * 8.0});
        } else if (i + 3 < tap.size()) {
            out.push_back({double(tap[i + 1] | tap[i + 2] << 8 | tap[i + 3] << 16)});
            i += 3;
        }
    }
    return out;
}

inline void write_pulse(std::vector<uint8_t> &tap, double cycles)
{
    const long units = std::lround(cycles / 8);
    if (units >= 1 && units <= 255) {
        tap.push_back(uint8_t(units));
        return;
    }
    const long whole = std::max(1L, std::lround(cycles));
    tap.insert(tap.end(), {0, uint8_t(whole), uint8_t(whole >> 8), uint8_t(whole >> 16)});
}

} // namespace detail

// The times (seconds) at which each pulse of a version 1 TAP file starts,
// before the deck: to place dropouts where a test wants them.
inline double seconds_at_pulse(const std::vector<uint8_t> &tap, std::size_t pulse, double clock_hz)
{
    const std::vector<detail::Pulse> pulses = detail::pulses_of(tap);
    double cycles = 0;
    for (std::size_t k = 0; k < pulse && k < pulses.size(); ++k)
        cycles += pulses[k].cycles;
    return cycles / clock_hz;
}

// Plays a version 1 TAP file through the deck: a version 1 TAP file of what
// the digitiser saw (same header; the data size set).
inline std::vector<uint8_t> play(const std::vector<uint8_t> &tap, const Deck &deck, double clock_hz)
{
    const std::vector<detail::Pulse> pulses = detail::pulses_of(tap);
    double total = 0;
    for (const detail::Pulse &p : pulses)
        total += p.cycles;
    const double total_seconds = total / clock_hz;
    std::vector<uint8_t> out(tap.begin(), tap.begin() + TAP_HEADER_SIZE);
    out[TAP_OFFSET_VERSION] = 1;
    uint32_t x = deck.seed * 2654435761u + 7;
    auto random01 = [&x] {
        x = x * 1103515245u + 12345u;
        return double((x >> 8) & 0xFFFF) / 65536.0;
    };
    double t_in = 0;       // seconds of the recording played so far
    double gone = 0;       // cycles the current dropout has swallowed
    const Dropout *in_dropout = nullptr;
    auto end_dropout = [&] {
        if (in_dropout == nullptr)
            return;
        if (!in_dropout->noise) {
            detail::write_pulse(out, gone);
        } else {
            while (gone > 0) {
                const double piece = std::min(gone, (8 + 40 * random01()) * 8);
                detail::write_pulse(out, piece);
                gone -= piece;
            }
        }
        gone = 0;
        in_dropout = nullptr;
    };
    for (const detail::Pulse &p : pulses) {
        const double speed = 1 + deck.drift * (t_in / std::max(total_seconds, 1e-9)) +
                             deck.wow * std::sin(6.283185307179586 * deck.wow_hz * t_in);
        double cycles = p.cycles * speed;
        if (p.cycles < 256 * 8 && deck.jitter > 0)
            cycles += 8 * (std::floor(random01() * (2 * deck.jitter + 1)) - deck.jitter);
        const Dropout *now = nullptr;
        for (const Dropout &d : deck.dropouts)
            if (t_in >= d.at && t_in < d.at + d.seconds)
                now = &d;
        if (now != in_dropout)
            end_dropout();
        if (now != nullptr) {
            in_dropout = now;
            gone += cycles;
        } else {
            detail::write_pulse(out, cycles);
        }
        t_in += p.cycles / clock_hz;
    }
    end_dropout();
    tap_fix_data_size(out);
    return out;
}

} // namespace tape_deck
