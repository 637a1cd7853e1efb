// How much hiss a tape of each loader takes through sound and back. A tape
// of three programs, cut so that every file ends straight at a pause, is
// played by the tests' synthesiser (44.1 kHz, square waves, low half first,
// treble lost above 7 kHz) with hiss ever louder, imported, and scanned; the
// counter `min_snr_db` is the least signal-to-hiss ratio at which every file
// still reads as on the tape itself (lower is better), on the tape as
// written (`jitter_units` 0) and on one whose pulses are each up to 4 units
// off at random. Time is not the figure here. Run build/bench/bench_audio_margin.
#include "common/audio_synth.h"
#include "common/tape_roundtrip.h"
#include "core/cbmencode.h"
#include "core/loaders/registry.h"

#include <benchmark/benchmark.h>
#include <glib.h>
#include <glib/gstdio.h>

#include <random>

using namespace tape_roundtrip;

namespace {

PrgInput program(const char *name, uint16_t load, std::size_t size, uint32_t seed)
{
    PrgInput p;
    p.name = name;
    p.bytes = {uint8_t(load), uint8_t(load >> 8)};
    std::mt19937 random(seed);
    for (std::size_t i = 0; i < size; ++i)
        p.bytes.push_back(uint8_t(random()));
    return p;
}

Bytes tape_of(const std::string &id, int jitter)
{
    const std::vector<PrgInput> prgs = {program("FIRST ONE", 0x0801, 2500, 1), program("SECOND", 0xC000, 600, 2),
                                        program("THIRD", 0x4000, 300, 3)};
    std::string error;
    Bytes tap = id == "cbm" ? encode_tap(prgs, EncodeOptions()) : find_turbo_loader(id)->encode(prgs, {}, error);
    tap = ending_at_pauses(tap);
    std::mt19937 random(7);
    for (std::size_t i = TAP_HEADER_SIZE; i < tap.size() && jitter > 0; ++i) {
        if (tap[i] == 0) {
            i += tap[TAP_OFFSET_VERSION] >= 1 ? 3 : 0;
            continue;
        }
        const int moved = int(tap[i]) + int(random() % uint32_t(2 * jitter + 1)) - jitter;
        tap[i] = uint8_t(std::clamp(moved, 1, 255));
    }
    return tap;
}

bool comes_back(const Bytes &tap, double snr_db, const std::string &folder)
{
    audio_synth::Player p;
    p.rate = 44100;
    p.cutoff_hz = 7000;
    p.hiss_db = snr_db;
    const std::string capture = folder + "/margin.wav";
    if (!write_capture(capture, audio_synth::play(tap, p), p.rate))
        return false;
    const Bytes back = imported_tape(capture, tap);
    return !back.empty() && files_of(back) == files_of(tap);
}

void BM_HissMargin(benchmark::State &state, const std::string &id, int jitter)
{
    gchar *made = g_dir_make_tmp("qm-margin-XXXXXX", nullptr);
    const std::string folder = made != nullptr ? made : "/tmp";
    g_free(made);
    const Bytes tap = tape_of(id, jitter);
    double least = 99;
    for (auto _ : state) {
        least = 99;
        for (double snr : {30.0, 26.0, 22.0, 20.0, 18.0, 16.0, 14.0, 12.0, 10.0, 8.0}) {
            if (!comes_back(tap, snr, folder))
                break;
            least = snr;
        }
    }
    state.counters["min_snr_db"] = least;
    state.counters["jitter_units"] = jitter;
    g_remove((folder + "/margin.wav.tap").c_str());
    g_remove((folder + "/margin.wav").c_str());
    g_rmdir(folder.c_str());
}

const bool registered = [] {
    std::vector<std::string> ids = {"cbm"};
    for (const TurboLoader &l : turbo_loaders())
        ids.push_back(l.id);
    for (const std::string &id : ids)
        for (int jitter : {0, 4})
            benchmark::RegisterBenchmark(("BM_HissMargin/" + id + "/jitter" + std::to_string(jitter)).c_str(),
                                         BM_HissMargin, id, jitter)
                ->Iterations(1)
                ->Unit(benchmark::kSecond);
    return true;
}();

} // namespace

BENCHMARK_MAIN();
