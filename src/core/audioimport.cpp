// Sound-card capture to TAP file; see audioimport.h.
#include "core/audioimport.h"

#include "core/tapeoutput.h"
#include "core/tapimage.h"
#include "core/tapewrite.h"
#include "core/textprintf.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>
#include <sndfile.h>

#include <cerrno>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr std::size_t BLOCK_FRAMES = 16384;
constexpr double DC_CUTOFF_HZ = 10;
// Above the tape's highest tones (a turbo loader's short pulse, ~5 kHz).
constexpr double LOW_PASS_HZ = 9000;
constexpr double ATTACK_SECONDS = 0.0001;
constexpr double DECAY_SECONDS = 0.005;
constexpr double FLOOR_DECAY_SECONDS = 5.0;
// A pulse of 255 units lasts about 2 ms: no half wave is longer.
constexpr double LONGEST_HALF_SECONDS = 0.0025;

double per_sample(double seconds, double rate)
{
    return std::exp(-1.0 / (seconds * rate));
}

// One candidate TAP file: the pulses between edges of one kind (a full
// wave) or of any kind (a half wave), written as they are found.
class PulseWriter {
public:
    PulseWriter(double seconds_per_sample, uint32_t clock) : cycles_per_sample_(seconds_per_sample * clock) {}

    bool open(const std::string &path, const uint8_t header[TAP_HEADER_SIZE])
    {
        return out_.create(path) && out_.write(header, TAP_HEADER_SIZE);
    }

    void edge(double time)
    {
        if (started_)
            pulse((time - last_) * cycles_per_sample_);
        last_ = time;
        started_ = true;
    }

    TapeOutput &output() { return out_; }
    uint64_t pulses() const { return pulses_; }
private:
    void pulse(double cycles)
    {
        const double units = cycles / 8;
        ++pulses_;
        if (units < 255.5) {
            const uint8_t byte = units < 1.5 ? 1 : static_cast<uint8_t>(std::lround(units));
            out_.write(&byte, 1);
            return;
        }
        // A silence: its exact length in cycles, in pieces of at most 0xFFFFFF.
        uint64_t left = static_cast<uint64_t>(std::llround(cycles));
        do {
            const uint32_t piece = left > TAP_OVERFLOW_CYCLES ? TAP_OVERFLOW_CYCLES : static_cast<uint32_t>(left);
            const uint8_t bytes[4] = {0, static_cast<uint8_t>(piece), static_cast<uint8_t>(piece >> 8),
                                      static_cast<uint8_t>(piece >> 16)};
            out_.write(bytes, sizeof bytes);
            left -= piece;
        } while (left > 0);
    }

    TapeOutput out_;
    double cycles_per_sample_;
    double last_ = 0;
    bool started_ = false;
    uint64_t pulses_ = 0;
};

// Which edges start the tape's waves. A Commodore machine writes every
// wave with two equal halves, so counted from the right edges each wave's
// halves match, whatever the lengths; counted from the wrong ones, a "wave"
// is the second half of one and the first half of the next, which differ
// wherever the lengths change. The mean difference of the halves decides.
class WaveSymmetry {
public:
    explicit WaveSymmetry(double longest_wave) : longest_(longest_wave) {}

    void edge(double time, bool rising)
    {
        double &same = rising ? last_rise_ : last_fall_;
        const double other = rising ? last_fall_ : last_rise_;
        if (same >= 0 && other > same && time - same < longest_) {
            (rising ? normal_ : inverted_).add(std::fabs((other - same) - (time - other)));
        }
        same = time;
    }

    // True when the waves counted between falling edges are the more even.
    bool inverted_is_better() const { return inverted_.mean() < normal_.mean(); }

private:
    struct Mean {
        double sum = 0;
        uint64_t count = 0;
        void add(double v) { sum += v, ++count; }
        double mean() const { return count == 0 ? 1e300 : sum / double(count); }
    };
    double longest_;
    double last_rise_ = -1, last_fall_ = -1;
    Mean normal_, inverted_;
};

// A capture cut short (a copy that stopped, a full disk) still opens: its
// header promises more sound than the file holds, which libsndfile notes in
// its log as "data : PROMISED (should be HELD)". The placeholder sizes of
// recorders that cannot go back to fix their header (0, 0xFFFFFFFF) promise
// nothing. Returns the two sizes when the file is short.
bool capture_is_cut_short(SNDFILE *sound, long long *promised, long long *held)
{
    char log[8192] = {};
    sf_command(sound, SFC_GET_LOG_INFO, log, sizeof log);
    gchar **lines = g_strsplit(log, "\n", -1);
    bool cut = false;
    for (gchar **it = lines; *it != nullptr && !cut; ++it) {
        long long p = 0, h = 0;
        char chunk[8] = {};
        if (std::sscanf(*it, "%4s : %lld (should be %lld)", chunk, &p, &h) == 3 &&
            (std::strcmp(chunk, "data") == 0 || std::strcmp(chunk, "SSND") == 0) && p > h && p != 0 &&
            p != 0xFFFFFFFFLL && p != 0x7FFFFFFFLL) {
            *promised = p;
            *held = h;
            cut = true;
        }
    }
    g_strfreev(lines);
    return cut;
}

struct SndfileCloser {
    void operator()(SNDFILE *f) const { sf_close(f); }
};

} // namespace

std::string audio_import_shortfall_text(const AudioImportResult &result)
{
    if (result.missing_seconds <= 0)
        return "";
    return text_printf(_("the capture ends %.1f s early; imported what it holds"), result.missing_seconds);
}

AudioEdgeFinder::AudioEdgeFinder(double sample_rate, double threshold, bool half_waves)
    : dc_pole_(std::exp(-2 * G_PI * DC_CUTOFF_HZ / sample_rate)),
      low_pass_(1 - std::exp(-2 * G_PI * std::min(LOW_PASS_HZ, 0.35 * sample_rate) / sample_rate)),
      attack_(1 - per_sample(ATTACK_SECONDS, sample_rate)),
      decay_(per_sample(DECAY_SECONDS, sample_rate)),
      floor_decay_(per_sample(FLOOR_DECAY_SECONDS, sample_rate)),
      threshold_(threshold), half_waves_(half_waves), longest_half_(LONGEST_HALF_SECONDS * sample_rate)
{
}

AudioImportResult import_audio_capture(const std::string &audio_path, const std::string &tap_path,
                                       const AudioImportOptions &options, const AudioImportProgress &progress)
{
    AudioImportResult result;
    SF_INFO info;
    std::memset(&info, 0, sizeof info);
    std::unique_ptr<SNDFILE, SndfileCloser> sound(sf_open(audio_path.c_str(), SFM_READ, &info));
    if (!sound) {
        result.error = text_printf(_("%s is not a sound file that can be read: %s"), audio_path.c_str(),
                                   sf_strerror(nullptr));
        return result;
    }
    result.sample_rate = info.samplerate;
    result.channels = info.channels;
    if (info.samplerate <= 0 || info.channels <= 0) {
        result.error = text_printf(_("%s holds no sound."), audio_path.c_str());
        return result;
    }
    // Cut short: the sound that is there is imported; the bytes the header
    // promised beyond it, at the bytes a frame takes, say how long a stretch
    // is missing.
    long long promised = 0, held = 0;
    if (capture_is_cut_short(sound.get(), &promised, &held) && info.frames > 0) {
        const double bytes_per_frame = double(held) / double(info.frames);
        result.missing_seconds = double(promised - held) / bytes_per_frame / info.samplerate;
    }
    if (options.channel < 0 || options.channel >= info.channels) {
        result.error = text_printf(_("%s has %d channel(s): there is no channel %d."), audio_path.c_str(),
                                   info.channels, options.channel + 1);
        return result;
    }
    const double threshold = options.threshold < 0.05 ? 0.05 : options.threshold > 0.9 ? 0.9 : options.threshold;

    const bool c16 = options.platform == 2;
    uint8_t header[TAP_HEADER_SIZE] = {};
    std::memcpy(header, c16 ? "C16-TAPE-RAW" : "C64-TAPE-RAW", TAP_MAGIC_SIZE);
    header[TAP_OFFSET_VERSION] = c16 ? 2 : 1;
    header[TAP_OFFSET_PLATFORM] = static_cast<uint8_t>(options.platform);
    header[TAP_OFFSET_VIDEO] = static_cast<uint8_t>(options.video);

    // Two candidates side by side: the waves counted from rising edges and
    // from falling ones (for C16 the half waves starting with either).
    const double seconds_per_sample = 1.0 / info.samplerate;
    const uint32_t clock = tape_clock_hz(options.platform, options.video);
    PulseWriter normal(seconds_per_sample, clock), inverted(seconds_per_sample, clock);
    const std::string normal_path = tap_path + ".part-normal";
    const std::string inverted_path = tap_path + ".part-inverted";
    const bool want_normal = options.polarity != AudioPolarity::Inverted;
    const bool want_inverted = options.polarity != AudioPolarity::Normal;
    if ((want_normal && !normal.open(normal_path, header)) || (want_inverted && !inverted.open(inverted_path, header))) {
        result.error = text_printf(_("Could not create %s: %s"), tap_path.c_str(),
                                   (normal.output().failed() ? normal.output() : inverted.output()).error().c_str());
        return result;
    }

    AudioEdgeFinder finder(info.samplerate, threshold, c16);
    bool seen_rising = false, seen_falling = false;
    // No ordinary wave lasts longer than 256 units of the machine's clock.
    WaveSymmetry symmetry(256.0 * 8 / clock / seconds_per_sample);
    auto on_edge = [&](double time, bool rising) {
        symmetry.edge(time, rising);
        if (c16) {
            // Half waves: every edge ends one; the polarity picks the first.
            if (want_normal && (seen_rising || rising))
                normal.edge(time);
            if (want_inverted && (seen_falling || !rising))
                inverted.edge(time);
            seen_rising = seen_rising || rising;
            seen_falling = seen_falling || !rising;
        } else if (rising) {
            if (want_normal)
                normal.edge(time);
        } else if (want_inverted) {
            inverted.edge(time);
        }
    };

    std::vector<float> block(BLOCK_FRAMES * static_cast<std::size_t>(info.channels));
    sf_count_t frames_read = 0;
    for (;;) {
        const sf_count_t got = sf_readf_float(sound.get(), block.data(), BLOCK_FRAMES);
        if (got <= 0)
            break;
        for (sf_count_t i = 0; i < got; ++i)
            finder.feed(block[static_cast<std::size_t>(i) * info.channels + options.channel], on_edge);
        frames_read += got;
        if (progress && info.frames > 0 && !progress(static_cast<double>(frames_read) / info.frames)) {
            result.error = _("The import was stopped; nothing was written.");
            return result;
        }
    }
    finder.finish(on_edge);
    if (sf_error(sound.get()) != SF_ERR_NO_ERROR) {
        result.error = text_printf(_("%s could not be read to its end: %s"), audio_path.c_str(),
                                   sf_strerror(sound.get()));
        return result;
    }
    result.seconds = static_cast<double>(frames_read) / info.samplerate;

    // The polarity whose waves have the more even halves, unless told.
    const bool use_inverted = !want_normal || (want_inverted && symmetry.inverted_is_better());
    PulseWriter &chosen = use_inverted ? inverted : normal;
    if (chosen.pulses() < 2) {
        result.error = text_printf(_("No tape signal was found in %s: it is silent, or too quiet or too short to "
                                     "hold pulses. Nothing was written."),
                                   audio_path.c_str());
        return result;
    }
    (use_inverted ? normal : inverted).output().discard();
    if (!chosen.output().finish()) {
        result.error = text_printf(_("Could not write %s: %s"), tap_path.c_str(), chosen.output().error().c_str());
        return result;
    }
    if (g_rename((use_inverted ? inverted_path : normal_path).c_str(), tap_path.c_str()) != 0) {
        result.error = text_printf(_("Could not write %s: %s"), tap_path.c_str(), g_strerror(errno));
        g_remove((use_inverted ? inverted_path : normal_path).c_str());
        return result;
    }
    result.ok = true;
    result.pulses = chosen.pulses();
    result.inverted = use_inverted;
    return result;
}
