// Tape pulses as AU or WAV sound; see audiowrite.h.
#include "core/audiowrite.h"

#include "core/tapewrite.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr uint64_t CYCLES_PER_UNIT = 8;

// The sample nearest to the instant `cycles` clock cycles after the start.
// cycles = q * clock + r keeps the products small.
uint64_t sample_at(uint64_t cycles, uint64_t clock)
{
    const uint64_t q = cycles / clock, r = cycles % clock;
    return q * AUDIO_SAMPLE_RATE + (r * AUDIO_SAMPLE_RATE + clock / 2) / clock;
}

void put_be32(std::vector<uint8_t> &out, uint32_t v)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<uint8_t>((v >> shift) & 0xFF));
}

void put_le32(std::vector<uint8_t> &out, uint32_t v)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<uint8_t>((v >> shift) & 0xFF));
}

void put_le16(std::vector<uint8_t> &out, uint16_t v)
{
    out.push_back(static_cast<uint8_t>(v & 0xFF));
    out.push_back(static_cast<uint8_t>(v >> 8));
}

void put_tag(std::vector<uint8_t> &out, const char *tag)
{
    out.insert(out.end(), tag, tag + 4);
}

uint32_t size_field(uint64_t size)
{
    return static_cast<uint32_t>(std::min<uint64_t>(size, 0xFFFFFFFFu));
}

// Number of samples of the whole recording.
uint64_t sample_count(const PulseTrack &track, uint64_t clock)
{
    uint64_t total = 0;
    for (std::size_t i = 0; i < track.size(); ++i)
        total += track.units(i);
    return sample_at(total * CYCLES_PER_UNIT, clock);
}

// Turns the wave, given piece by piece, into samples. Each sample is the
// wave's mean over the span it stands for, so an edge between two sample
// instants gives the sample it falls in a value between the two levels, in
// proportion to where it falls: the recording keeps every edge's exact time
// instead of moving it to the nearest sample, and a reader that finds the
// zero crossing between samples gets it back.
//
// Time is counted in steps of 1 / (2 x AUDIO_SAMPLE_RATE x clock) seconds,
// so that both the pulse edges (2 x AUDIO_SAMPLE_RATE steps per cycle) and
// the sample spans (2 x clock steps each, sample k standing for the span
// centred on k x 2 x clock) fall on whole steps. Sample 0 straddles the
// start: the first wave is taken to reach back over its first half.
class BoxSampler {
public:
    explicit BoxSampler(uint64_t clock)
        : width_(2 * int64_t(clock)), pos_(-int64_t(clock)), boundary_(int64_t(clock))
    {
    }

    static int64_t steps(uint64_t cycles) { return int64_t(cycles) * 2 * int64_t(AUDIO_SAMPLE_RATE); }

    // A constant level from where the wave stands up to `end`.
    template <class Emit>
    void flat(double level, int64_t end, Emit &emit)
    {
        while (end >= boundary_) {
            sum_ += level * double(boundary_ - pos_);
            pos_ = boundary_;
            close(emit);
            const int64_t whole = (end - pos_) / width_;
            if (whole > 0) {
                emit(static_cast<int16_t>(std::lround(level)), uint64_t(whole));
                pos_ += whole * width_;
                boundary_ += whole * width_;
            }
        }
        sum_ += level * double(end - pos_);
        pos_ = end;
    }

    // Part of a sine wave: amplitude x sin(omega x (t - start)) up to `end`.
    template <class Emit>
    void sine(double amplitude, double omega, int64_t start, int64_t end, Emit &emit)
    {
        // The integral of the sine over [u, v).
        auto area = [&](int64_t u, int64_t v) {
            return amplitude * (std::cos(omega * double(u - start)) - std::cos(omega * double(v - start))) / omega;
        };
        while (end >= boundary_) {
            sum_ += area(pos_, boundary_);
            pos_ = boundary_;
            close(emit);
        }
        sum_ += area(pos_, end);
        pos_ = end;
    }

private:
    template <class Emit>
    void close(Emit &emit)
    {
        emit(static_cast<int16_t>(std::lround(sum_ / double(width_))), 1);
        sum_ = 0;
        boundary_ += width_;
    }

    const int64_t width_;
    int64_t pos_;       // where the wave given so far ends
    int64_t boundary_;  // where the sample being filled ends
    double sum_ = 0;    // the wave's integral over that sample so far
};

// Calls emit(value, count) for every run of equal samples, in order: the
// samples whose whole span lies within the tape.
template <class Emit>
void render(const PulseTrack &track, uint64_t clock, bool sine, bool half_waves, Emit &&emit)
{
    const double pi = std::acos(-1.0);
    const double amplitude = AUDIO_AMPLITUDE;
    BoxSampler sampler(clock);
    uint64_t at = 0;      // cycles from the start of the tape to the current pulse
    int sign = 1;         // of the next half-wave
    uint64_t before = 0;  // cycles of the last wave, 0 when a silence came last
    for (std::size_t i = 0; i < track.size(); ++i) {
        const uint64_t cycles = uint64_t(track.units(i)) * CYCLES_PER_UNIT;
        const int64_t first = BoxSampler::steps(at), end = BoxSampler::steps(at + cycles);
        at += cycles;
        if (track.is_silence(i)) {
            // A wave ends where the next one rises; before a pause there is
            // no next one, so the pause opens with a half wave that gives
            // the last wave its closing edge (a reader then measures it
            // whole). Only where at least 10 ms of silence remain: a reader
            // must hear the pause to know that no wave follows at once.
            const uint64_t half = before / 2;
            if (!half_waves && half > 0 && cycles >= half + clock / 100) {
                const int64_t closed = first + BoxSampler::steps(half);
                if (sine)
                    sampler.sine(amplitude, pi / double(closed - first), first, closed, emit);
                else
                    sampler.flat(amplitude, closed, emit);
            }
            sampler.flat(0, end, emit);
            sign = 1;
            before = 0;
            continue;
        }
        before = cycles;
        if (half_waves) {
            // The pulse is one half of a wave: the halves alternate.
            if (sine)
                sampler.sine(sign * amplitude, pi / double(end - first), first, end, emit);
            else
                sampler.flat(sign * amplitude, end, emit);
            sign = -sign;
        } else if (sine) {
            sampler.sine(amplitude, 2 * pi / double(end - first), first, end, emit);
        } else {
            const int64_t middle = BoxSampler::steps(at - cycles + cycles / 2);
            sampler.flat(amplitude, middle, emit);
            sampler.flat(-amplitude, end, emit);
        }
    }
}

} // namespace

std::vector<int16_t> render_samples(const TapeScan &scan, bool sine)
{
    std::vector<int16_t> samples;
    if (!scan.ok)
        return samples;
    const uint64_t clock = tape_clock_hz(scan);
    samples.reserve(sample_count(scan.pulses, clock));
    render(scan.pulses, clock, sine, tape_holds_half_waves(scan),
           [&](int16_t v, uint64_t count) { samples.insert(samples.end(), count, v); });
    return samples;
}

std::vector<uint8_t> render_audio(const TapeScan &scan, AudioFormat format, bool sine)
{
    if (!scan.ok)
        return {};
    const uint64_t clock = tape_clock_hz(scan);
    const uint64_t data_size = sample_count(scan.pulses, clock) * 2;
    const bool au = format == AudioFormat::Au;
    std::vector<uint8_t> out;
    out.reserve((au ? AU_HEADER_SIZE : WAV_HEADER_SIZE) + data_size);
    if (au) {
        put_tag(out, ".snd");
        put_be32(out, uint32_t(AU_HEADER_SIZE));
        put_be32(out, size_field(data_size));
        put_be32(out, 3);  // 16-bit linear PCM
        put_be32(out, AUDIO_SAMPLE_RATE);
        put_be32(out, 1);  // channels
    } else {
        put_tag(out, "RIFF");
        put_le32(out, size_field(data_size + WAV_HEADER_SIZE - 8));
        put_tag(out, "WAVE");
        put_tag(out, "fmt ");
        put_le32(out, 16);
        put_le16(out, 1);  // PCM
        put_le16(out, 1);  // channels
        put_le32(out, AUDIO_SAMPLE_RATE);
        put_le32(out, AUDIO_SAMPLE_RATE * 2);  // bytes per second
        put_le16(out, 2);                      // block align
        put_le16(out, 16);                     // bits per sample
        put_tag(out, "data");
        put_le32(out, size_field(data_size));
    }
    render(scan.pulses, clock, sine, tape_holds_half_waves(scan), [&](int16_t v, uint64_t count) {
        const uint16_t u = static_cast<uint16_t>(v);
        const uint8_t hi = static_cast<uint8_t>(u >> 8), lo = static_cast<uint8_t>(u & 0xFF);
        for (uint64_t k = 0; k < count; ++k) {
            out.push_back(au ? hi : lo);
            out.push_back(au ? lo : hi);
        }
    });
    return out;
}
