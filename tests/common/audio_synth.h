// A tape played into a sound card, written for the tests from the TAP
// definition alone (it shares no code with the console's recorder): a
// version 0/1 pulse of N units is one full wave of 8 x N clock cycles of the
// tape's machine, a version 2 (C16) pulse one half wave; a zero byte is a
// long pulse (version 0: at least 256 units; 1 and 2: the 24-bit cycle count
// that follows) and is played as silence. Each wave is a square or a sine,
// low half or high half first; the deck's speed may be off and wobble (wow),
// the head and amplifier round the edges (an RC low-pass), and hiss is added
// this far below the signal. The card takes each sample as the mean of the
// signal over its span (computed on a finer grid), as its anti-alias filter
// roughly does.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace audio_synth {

struct Player {
    int rate = 44100;
    bool sine = false;
    bool low_first = true;     // each wave starts with its low half
    double speed = 1.0;        // above 1 the deck runs slow: every duration longer
    double wow = 0;            // depth of a slow wobble of the speed (0.01: +/- 1 %)
    double wow_hz = 0.6;
    double cutoff_hz = 0;      // RC low-pass of head and amplifier; 0: none
    double hiss_db = 0;        // white noise this far below the wave; 0: none
    double lead_seconds = 0.3; // silence before the tape starts and after it ends
    uint32_t seed = 1;
};

// The clock of a TAP file's machine and video standard, in Hz.
inline double tap_clock(const std::vector<uint8_t> &tap)
{
    const bool c16 = tap.size() > 13 && tap[0] == 'C' && tap[1] == '1' && tap[2] == '6';
    const unsigned platform = c16 ? 2 : tap[13];
    const bool ntsc = tap[14] == 1;
    if (platform == 2)
        return ntsc ? 894886.0 : 886724.0;
    if (platform == 1)
        return ntsc ? 1022727.0 : 1108405.0;
    return ntsc ? 1022730.0 : 985248.0;
}

namespace detail {

// One piece of the wave: a duration in seconds at normal speed, its shape.
struct Piece {
    double seconds;
    int level;     // -1, +1 (a half wave), 0 silence
    bool full;     // a full wave: level is its first half's sign
};

inline std::vector<Piece> pieces_of(const std::vector<uint8_t> &tap, bool low_first)
{
    std::vector<Piece> out;
    const int version = tap[12];
    const double clock = tap_clock(tap);
    const int first = low_first ? -1 : 1;
    int next_half = first;
    for (std::size_t i = 20; i < tap.size(); ++i) {
        if (tap[i] != 0) {
            const double seconds = tap[i] * 8.0 / clock;
            if (version == 2) {
                out.push_back({seconds, next_half, false});
                next_half = -next_half;
            } else {
                out.push_back({seconds, first, true});
            }
            continue;
        }
        double cycles = 256 * 8;
        if (version >= 1 && i + 3 < tap.size()) {
            cycles = double(tap[i + 1] | tap[i + 2] << 8 | tap[i + 3] << 16);
            i += 3;
        }
        out.push_back({cycles / clock, 0, false});
        next_half = first;
    }
    return out;
}

} // namespace detail

// The capture as float samples in [-1, 1].
inline std::vector<float> play(const std::vector<uint8_t> &tap, const Player &p)
{
    constexpr int FINE = 4;  // points per sample
    const double pi = std::acos(-1.0);
    const double dt = 1.0 / (double(p.rate) * FINE);
    std::vector<detail::Piece> pieces = detail::pieces_of(tap, p.low_first);
    pieces.insert(pieces.begin(), {p.lead_seconds, 0, false});
    pieces.push_back({p.lead_seconds, 0, false});

    const double rc = p.cutoff_hz > 0 ? 1 / (2 * pi * p.cutoff_hz) : 0;
    const double follow = rc > 0 ? 1 - std::exp(-dt / rc) : 1;
    std::vector<float> out;
    double y = 0, sum = 0;
    int points = 0;
    double rate_now = 1 / p.speed;  // of the tape's time against real time
    double t = 0;      // real time
    double phase = 0;  // time within the current piece, at normal speed
    std::size_t k = 0;
    while (k < pieces.size()) {
        const detail::Piece &piece = pieces[k];
        const double u = phase / piece.seconds;  // 0..1 through the piece
        double level = 0;
        if (piece.level != 0) {
            if (piece.full) {
                level = p.sine ? std::sin(2 * pi * u) : (u < 0.5 ? 1.0 : -1.0);
            } else {
                level = p.sine ? std::sin(pi * u) : 1.0;
            }
            level *= piece.level;
        }
        y += follow * (level - y);
        sum += y;
        if (++points == FINE) {
            out.push_back(float(sum / FINE));
            sum = 0;
            points = 0;
            // Wow is slow: the speed is worked out once a sample.
            if (p.wow != 0)
                rate_now = 1 / (p.speed * (1 + p.wow * std::sin(2 * pi * p.wow_hz * t)));
        }
        t += dt;
        phase += dt * rate_now;
        while (k < pieces.size() && phase >= pieces[k].seconds) {
            phase -= pieces[k].seconds;
            ++k;
        }
    }
    if (p.hiss_db > 0) {
        std::mt19937 random(p.seed);
        std::normal_distribution<double> hiss(0, std::pow(10.0, -p.hiss_db / 20) * (p.sine ? std::sqrt(0.5) : 1.0));
        for (float &s : out)
            s = float(s + hiss(random));
    }
    for (float &s : out)
        s *= 0.5f;
    return out;
}

} // namespace audio_synth
