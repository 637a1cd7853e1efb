// Recording a scanned tape as sound, as a tape deck would play it back:
// 16-bit signed mono samples at 44,100 Hz in a Sun AU or a RIFF WAVE file.
//
// Every pulse is one full wave of its duration, units x 8 / clock seconds,
// with the clock of the tape's platform and video standard (tape_clock_hz):
// a square wave (the first half at +AUDIO_AMPLITUDE, the second half at
// -AUDIO_AMPLITUDE) or, when asked, one period of a sine wave starting
// upwards. On a TAP version 2 tape every pulse is half a wave instead: the
// halves alternate between + and - (a square half or half a sine period),
// starting with + after each silence. Silence pulses (the pulses of PAUSE
// entries) are silent: samples of 0 for their whole duration.
//
// Each sample is the mean of that wave over the 1/44,100 s it stands for
// (sample k centred on k / 44,100 s; the first wave is taken to reach back
// over the half sample before the tape's start), so an edge that falls between two sample instants gives its
// sample a value between the two levels, in proportion to where it falls.
// Edges keep their exact times, counted from the start of the tape in whole
// clock cycles, and a reader that finds the zero crossing between samples
// gets them back to a fraction of a sample. The recording holds the samples
// whose span lies within the tape: it lasts the tape's total duration to
// within half a sample.
//
// Sun AU: a 24-byte big-endian header - ".snd", data offset 24, data size in
// bytes, encoding 3 (16-bit linear PCM), sample rate 44100, 1 channel -
// then big-endian samples. WAV: "RIFF", size of what follows, "WAVE", a
// 16-byte "fmt " chunk (PCM 1, 1 channel, 44100 Hz, 88200 bytes per second,
// block align 2, 16 bits) and a "data" chunk of little-endian samples.
// A recording of more than 0xFFFFFFFF bytes (about 13.5 hours) has its size
// fields held at 0xFFFFFFFF (AU: "size unknown").
#pragma once

#include "core/tapescan.h"

#include <cstddef>
#include <cstdint>
#include <vector>

enum class AudioFormat { Au, Wav };

constexpr uint32_t AUDIO_SAMPLE_RATE = 44100;
constexpr int16_t AUDIO_AMPLITUDE = 30000;
constexpr std::size_t AU_HEADER_SIZE = 24;
constexpr std::size_t WAV_HEADER_SIZE = 44;

// The samples of the tape (no header); empty when the scan is not ok.
std::vector<int16_t> render_samples(const TapeScan &scan, bool sine);

// The whole audio file; empty when the scan is not ok.
std::vector<uint8_t> render_audio(const TapeScan &scan, AudioFormat format, bool sine);
