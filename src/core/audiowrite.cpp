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

// Calls emit(value, count) for every run of equal samples, in order.
template <class Emit>
void render(const PulseTrack &track, uint64_t clock, bool sine, bool half_waves, Emit &&emit)
{
    const double two_pi = 2.0 * std::acos(-1.0);
    uint64_t at = 0;  // cycles from the start of the tape to the current pulse
    int sign = 1;     // of the next half-wave
    for (std::size_t i = 0; i < track.size(); ++i) {
        const uint64_t cycles = uint64_t(track.units(i)) * CYCLES_PER_UNIT;
        const uint64_t first = sample_at(at, clock);
        const uint64_t end = sample_at(at + cycles, clock);
        at += cycles;
        if (track.is_silence(i)) {
            emit(int16_t(0), end - first);
            sign = 1;
        } else if (half_waves) {
            // The pulse is one half of a wave: the halves alternate.
            if (sine) {
                const double length = double(end - first);
                for (uint64_t k = first; k < end; ++k) {
                    const double phase = two_pi / 2 * (double(k - first) + 0.5) / length;
                    emit(static_cast<int16_t>(std::lround(sign * AUDIO_AMPLITUDE * std::sin(phase))), 1);
                }
            } else {
                emit(int16_t(sign * AUDIO_AMPLITUDE), end - first);
            }
            sign = -sign;
        } else if (sine) {
            const double length = double(end - first);
            for (uint64_t k = first; k < end; ++k) {
                const double phase = two_pi * (double(k - first) + 0.5) / length;
                emit(static_cast<int16_t>(std::lround(AUDIO_AMPLITUDE * std::sin(phase))), 1);
            }
        } else {
            const uint64_t middle = sample_at(at - cycles + cycles / 2, clock);
            emit(AUDIO_AMPLITUDE, middle - first);
            emit(int16_t(-AUDIO_AMPLITUDE), end - middle);
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
