// Importing a long capture: 30 minutes of a tape at 44.1 kHz and at 96 kHz,
// 16-bit mono (about 160 MB and 345 MB), into a TAP file. The counters give the capture's length
// and the growth of the process's peak memory during the import: the
// capture is streamed, so that growth stays a few megabytes whatever the
// capture's length.
#include "core/audioimport.h"

#include <benchmark/benchmark.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <sndfile.h>
#include <sys/resource.h>

#include <random>
#include <string>
#include <vector>

namespace {

constexpr double MINUTES = 30;

long peak_kilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Square waves of the CBM ROM pulse lengths in a random order, with a
// second of silence every minute, written block by block.
std::string make_capture(const std::string &folder, int rate)
{
    const std::string path = folder + "/capture.wav";
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE *f = sf_open(path.c_str(), SFM_WRITE, &info);
    std::mt19937 random(1);
    const double units_to_samples = 8.0 / 985248 * rate;
    const int lengths[3] = {48, 66, 86};
    std::vector<short> block;
    const long total = static_cast<long>(MINUTES * 60 * rate);
    double position = 0;
    long written = 0;
    while (written < total) {
        block.clear();
        while (block.size() < 65536) {
            const long second = (written + static_cast<long>(block.size())) / rate;
            if (second % 60 == 59) {
                block.insert(block.end(), static_cast<std::size_t>(rate), 0);
                continue;
            }
            const double samples = lengths[random() % 3] * units_to_samples;
            const long start = static_cast<long>(position), middle = static_cast<long>(position + samples / 2),
                       end = static_cast<long>(position + samples);
            block.insert(block.end(), static_cast<std::size_t>(middle - start), 20000);
            block.insert(block.end(), static_cast<std::size_t>(end - middle), -20000);
            position += samples;
        }
        sf_write_short(f, block.data(), static_cast<sf_count_t>(block.size()));
        written += static_cast<long>(block.size());
        position = static_cast<double>(written);
    }
    sf_close(f);
    return path;
}

void BM_ImportThirtyMinuteCapture(benchmark::State &state)
{
    gchar *folder = g_dir_make_tmp("qm-bench-audio-XXXXXX", nullptr);
    const std::string capture = make_capture(folder, static_cast<int>(state.range(0)));
    const std::string tap = std::string(folder) + "/capture.tap";
    const long before = peak_kilobytes();
    AudioImportResult result;
    for (auto _ : state) {
        result = import_audio_capture(capture, tap, AudioImportOptions());
        benchmark::DoNotOptimize(result.pulses);
    }
    state.counters["capture_minutes"] = result.seconds / 60;
    state.counters["pulses"] = static_cast<double>(result.pulses);
    state.counters["peak_growth_MB"] = static_cast<double>(peak_kilobytes() - before) / 1024;
    state.counters["peak_MB"] = static_cast<double>(peak_kilobytes()) / 1024;
    if (!result.ok)
        state.SkipWithError(result.error.c_str());
    g_remove(capture.c_str());
    g_remove(tap.c_str());
    g_rmdir(folder);
    g_free(folder);
}
BENCHMARK(BM_ImportThirtyMinuteCapture)->Arg(44100)->Arg(96000)->Unit(benchmark::kSecond)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
