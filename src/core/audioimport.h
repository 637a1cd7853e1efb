// Turning a sound-card capture of a cassette (WAV, AIFF, FLAC, ... at any
// rate and depth, mono or stereo, read through libsndfile) into a TAP file.
//
// The capture is read in blocks, never whole. One channel (or the first)
// passes a DC blocker and a low-pass that takes most of the hiss; a follower tracks the signal's amplitude, and an edge
// is taken only when the signal swings past a share of that amplitude on the
// other side (hysteresis), so noise around zero and the slow, rounded edges
// of a worn tape give one edge each. The edge's time is the last zero
// crossing before that swing, interpolated between samples.
//
// A Commodore tape pulse is one full wave: the time from one edge of a
// direction to the next edge of the same direction, units = seconds x clock
// / 8 of the chosen machine and video standard. Which direction the machine
// would count depends on the wiring of the capture (its polarity): both are
// measured side by side and, unless told, the one whose lengths gather more
// tightly around the peaks of their histogram is written. A C16 tape is
// written as TAP version 2, a pulse per half wave (edge to edge), so the
// polarity then only decides which half comes first.
//
// A capture whose header promises more sound than the file holds (a
// recorder that was stopped or crashed) is the user's tape all the same: it
// is imported up to where its sound ends, and the result says how much was
// missing.
//
// TAP version 1 (2 for C16): a pulse of 1 to 255 units is one byte; a
// longer one (a silence) is a zero byte and its length in clock cycles as
// 24 bits, split when longer than 0xFFFFFF cycles.
//
// Pure (GLib and libsndfile): safe to call from a worker thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

enum class AudioPolarity { Automatic, Normal, Inverted };

struct AudioImportOptions {
    unsigned platform = 0; // 0 C64, 1 VIC 20, 2 C16 (as in a TAP header)
    unsigned video = 0;    // 0 PAL, 1 NTSC
    int channel = 0;       // 0 the first (left) channel, 1 the second, ...
    AudioPolarity polarity = AudioPolarity::Automatic;
    // The share of the tracked amplitude a swing must pass to count as an
    // edge (hysteresis), 0.05 to 0.9.
    double threshold = 0.25;
};

struct AudioImportResult {
    bool ok = false;
    std::string error;       // why nothing was written, in words (translated)
    int sample_rate = 0;
    int channels = 0;
    double seconds = 0;      // length of the capture
    uint64_t pulses = 0;     // pulses written
    bool inverted = false;   // the polarity written
    // A capture cut short (a recorder stopped or crashed: its header
    // promises more sound than the file holds) is imported up to where its
    // sound ends; this is how much sound the header promised beyond that.
    double missing_seconds = 0;
};

// "the capture ends 12.3 s early; imported what it holds" for a capture cut
// short, else "" (translated).
std::string audio_import_shortfall_text(const AudioImportResult &result);

// Progress of a conversion: the share of the capture read, 0 to 1. Return
// false to stop (nothing is then written).
using AudioImportProgress = std::function<bool(double)>;

// Reads the capture at audio_path and writes the TAP file tap_path. The
// capture is never changed. On failure no file is left at tap_path (an
// existing one is replaced only when the conversion succeeded).
AudioImportResult import_audio_capture(const std::string &audio_path, const std::string &tap_path,
                                       const AudioImportOptions &options,
                                       const AudioImportProgress &progress = {});

// The edge finder on its own, for samples already in memory: the time of
// every edge (in samples, fractional), rising edges first when `rising`.
// Used by the converter and by its tests.
class AudioEdgeFinder {
public:
    AudioEdgeFinder(double sample_rate, double threshold);
    // Feeds one sample; calls on_edge(time_in_samples, rising) for each edge.
    template <typename F> void feed(double sample, F &&on_edge);

private:
    double dc_previous_in_ = 0, dc_previous_out_ = 0, dc_pole_;
    double low1_ = 0, low2_ = 0, low_pass_;
    double envelope_ = 0, envelope_floor_ = 0, attack_, decay_, floor_decay_;
    double threshold_;
    double previous_ = 0;
    double last_up_crossing_ = -1, last_down_crossing_ = -1;
    int state_ = 0; // -1 low, +1 high, 0 not known yet
    uint64_t index_ = 0;
};

template <typename F> void AudioEdgeFinder::feed(double sample, F &&on_edge)
{
    // DC blocker: a one-pole high-pass far below the tape's frequencies;
    // then two one-pole low-passes above them, which take most of the hiss
    // (both edges of a wave are delayed alike, so no length changes).
    double x = sample - dc_previous_in_ + dc_pole_ * dc_previous_out_;
    dc_previous_in_ = sample;
    dc_previous_out_ = x;
    low1_ += low_pass_ * (x - low1_);
    low2_ += low_pass_ * (low1_ - low2_);
    x = low2_;

    // Amplitude: a follower quick to rise and slow to fall, and the loudest
    // recent level, which fades over seconds. While the signal is well
    // below that level (a pause between programs) only a swing of 40 % of
    // it counts, so hiss never becomes pulses; otherwise a share of the
    // current level.
    const double level = x < 0 ? -x : x;
    envelope_ = level > envelope_ ? envelope_ + (level - envelope_) * attack_ : envelope_ * decay_;
    envelope_floor_ = envelope_ > envelope_floor_ ? envelope_ : envelope_floor_ * floor_decay_;
    const double limit =
        envelope_ >= 0.4 * envelope_floor_ ? threshold_ * envelope_ : 0.4 * envelope_floor_;

    const double t = static_cast<double>(index_);
    if (previous_ <= 0 && x > 0)
        last_up_crossing_ = t - 1 + (-previous_) / (x - previous_);
    else if (previous_ >= 0 && x < 0)
        last_down_crossing_ = t - 1 + previous_ / (previous_ - x);
    if (limit > 1e-6) {
        if (state_ <= 0 && x > limit) {
            if (state_ < 0 && last_up_crossing_ >= 0)
                on_edge(last_up_crossing_, true);
            state_ = 1;
        } else if (state_ >= 0 && x < -limit) {
            if (state_ > 0 && last_down_crossing_ >= 0)
                on_edge(last_down_crossing_, false);
            state_ = -1;
        }
    }
    previous_ = x;
    ++index_;
}
