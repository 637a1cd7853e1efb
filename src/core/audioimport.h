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
// measured side by side and, unless told, the one whose waves have the more
// even halves is written (a Commodore wave's two halves are equal; counted
// from the wrong edges a wave is the halves of two). A C16 tape is
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

#include <algorithm>
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
// every edge (in samples, fractional), in order, and whether it rises.
// Used by the converter and by its tests.
//
// At a pause the wave stops and the recording is silent: the half wave that
// runs into the silence has no edge of its own at its end, and the half wave
// that comes out of it none at its start. Where a pulse is a full wave (C64,
// VIC 20), both are taken as long as the other half of their wave (a tape's
// waves are symmetric, square or sine), so a file that ends straight at a
// pause keeps its last pulse and the first pulse after the pause is whole.
// Where a pulse is a half wave (C16), whose halves differ, the step into and
// out of the silence is the edge: where the signal passes half its level.
// A lone swing in a pause (a click) gives no edge.
class AudioEdgeFinder {
public:
    // No swing of a tape's wave stays below this share of the loudest
    // recent level (a level that wobbles by a third stays above half).
    static constexpr double SWING_SHARE_OF_LOUDEST = 0.25;

    AudioEdgeFinder(double sample_rate, double threshold, bool half_waves = false);
    // Feeds one sample; calls on_edge(time_in_samples, rising) for each edge.
    template <typename F> void feed(double sample, F &&on_edge);
    // The end of the capture: a wave still sounding ends there as at a pause.
    template <typename F> void finish(F &&on_edge);

private:
    // An edge found on the way: held while the start of a wave that came
    // out of silence is not known yet, then given on in order.
    template <typename F> void edge(double time, bool rising, F &&on_edge);
    template <typename F> void give(double time, bool rising, F &&on_edge);
    template <typename F> void fall_silent(double now, bool at_end, F &&on_edge);

    double dc_previous_in_ = 0, dc_previous_out_ = 0, dc_pole_;
    double low1_ = 0, low2_ = 0, low_pass_;
    double envelope_ = 0, envelope_floor_ = 0, attack_, decay_, floor_decay_;
    double threshold_;
    bool half_waves_;
    double longest_half_;     // in samples: longer than a tape's longest half wave
    double last_swing_ = 0;   // when the signal last swung past the limit
    double previous_ = 0;
    double half_drop_ = -1;  // where the signal last fell through half its level
    double last_up_crossing_ = -1, last_down_crossing_ = -1;
    int state_ = 0; // -1 low, +1 high, 0 not known yet (start, after a pause)
    uint64_t index_ = 0;
    // The last two edges given, for the half wave that runs into a pause.
    double last_edge_ = -1, edge_before_ = -1;
    bool last_rising_ = false;
    bool silent_ = true;          // before the first wave, or in a pause
    double silence_start_ = -1;   // the edge with which the pause began
    // A wave out of silence: 1 its first swing seen, 2 its middle edge too.
    int opening_ = 0;
    double opening_swing_ = 0, opening_middle_ = 0;
    bool opening_rising_ = false;
};

template <typename F> void AudioEdgeFinder::give(double time, bool rising, F &&on_edge)
{
    on_edge(time, rising);
    edge_before_ = last_edge_;
    last_edge_ = time;
    last_rising_ = rising;
}

template <typename F> void AudioEdgeFinder::edge(double time, bool rising, F &&on_edge)
{
    if (opening_ == 1) {
        opening_middle_ = time;
        opening_ = 2;
        return;
    }
    if (opening_ == 2) {
        // The first half wave as long as the second: it began at 2M - N.
        double start = 2 * opening_middle_ - time;
        if (start > opening_swing_ || start <= silence_start_)
            start = opening_swing_;
        opening_ = 0;
        give(start, opening_rising_, on_edge);
        give(opening_middle_, !opening_rising_, on_edge);
    }
    give(time, rising, on_edge);
}

template <typename F> void AudioEdgeFinder::fall_silent(double now, bool at_end, F &&on_edge)
{
    if (half_waves_ && opening_ == 0 && last_edge_ >= 0) {
        // Where the signal fell through half its level; at the end of the
        // capture, a half wave still sounding ends with it.
        if (half_drop_ > last_edge_ || at_end)
            give(half_drop_ > last_edge_ ? half_drop_ : now, !last_rising_, on_edge);
    } else if (!half_waves_ && opening_ == 0 && last_edge_ >= 0 && edge_before_ >= 0) {
        // The half wave that ran into the silence, as long as the other half.
        const double end = std::min(now, 2 * last_edge_ - edge_before_);
        give(end, !last_rising_, on_edge);
    }
    opening_ = 0;
    silent_ = true;
    silence_start_ = last_edge_;
    state_ = 0;
}

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
    // current level, but never less than a quarter of the loudest: as the
    // follower falls after the wave has stopped, hiss must not pass for
    // the wave's last swings.
    const double level = x < 0 ? -x : x;
    envelope_ = level > envelope_ ? envelope_ + (level - envelope_) * attack_ : envelope_ * decay_;
    envelope_floor_ = envelope_ > envelope_floor_ ? envelope_ : envelope_floor_ * floor_decay_;
    const bool quiet = envelope_ < 0.4 * envelope_floor_;
    const double limit =
        quiet ? 0.4 * envelope_floor_ : std::max(threshold_ * envelope_, SWING_SHARE_OF_LOUDEST * envelope_floor_);

    const double t = static_cast<double>(index_);
    const double half = 0.5 * envelope_, was = previous_ < 0 ? -previous_ : previous_;
    if (was >= half && level < half)
        half_drop_ = t - 1 + (was - half) / (was - level);
    if (previous_ <= 0 && x > 0)
        last_up_crossing_ = t - 1 + (-previous_) / (x - previous_);
    else if (previous_ >= 0 && x < 0)
        last_down_crossing_ = t - 1 + previous_ / (previous_ - x);
    if (limit > 1e-6) {
        const int swing = state_ <= 0 && x > limit ? 1 : state_ >= 0 && x < -limit ? -1 : 0;
        if (swing != 0 && state_ == 0) {
            // The first swing of a wave out of silence: its start is known
            // once the wave's next two edges are.
            if (silent_) {
                opening_swing_ = std::max(0.0, level > was ? t - 1 + (limit - was) / (level - was) : t);
                opening_rising_ = swing > 0;
                if (half_waves_)
                    give(opening_swing_, opening_rising_, on_edge);
                else
                    opening_ = 1;
            }
            silent_ = false;
        } else if (swing > 0 && last_up_crossing_ >= 0) {
            edge(last_up_crossing_, true, on_edge);
        } else if (swing < 0 && last_down_crossing_ >= 0) {
            edge(last_down_crossing_, false, on_edge);
        }
        if (swing != 0) {
            state_ = swing;
            last_swing_ = t;
        }
    }
    // The wave has stopped: the signal is well below its level and has not
    // swung for longer than any half wave lasts.
    if (quiet && !silent_ && state_ != 0 && t - last_swing_ > longest_half_)
        fall_silent(t, false, on_edge);
    previous_ = x;
    ++index_;
}

template <typename F> void AudioEdgeFinder::finish(F &&on_edge)
{
    if (!silent_ && state_ != 0)
        fall_silent(static_cast<double>(index_), true, on_edge);
}
