// Scanning speed on a generated tape of about 10 MB: six 40 KB programs as
// SAVE writes them, clean and with every pulse jittered by up to 3 units,
// as TAP version 1 and as a ZORV dump of the same pulses.
#include "bench_programs.h"
#include "core/cbmencode.h"
#include "core/tapescan.h"
#include "core/tapimage.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes make_tape(bool jitter)
{
    const std::vector<PrgInput> prgs = bench_programs(6, 40000, 1);
    uint32_t x = 1;
    Bytes tap = encode_tap(prgs, EncodeOptions());
    if (jitter) {
        for_each_tape_pulse(tap.data(), tap.size(), [&](const TapePulse &p) {
            if (p.long_form)
                return;
            x = x * 1664525u + 1013904223u;
            tap[p.offset] = uint8_t(int(p.units) + int((x >> 16) % 7) - 3);
        });
    }
    return tap;
}

Bytes make_zorv(const Bytes &tap)
{
    Bytes out(tap.begin(), tap.begin() + TAP_HEADER_SIZE);
    std::memcpy(out.data(), TAP_MAGIC_ZORV, TAP_MAGIC_SIZE);
    for_each_tape_pulse(tap.data(), tap.size(), [&](const TapePulse &p) {
        uint64_t samples = (uint64_t(p.units) * 8 * 62500 + 15394) / 30789;
        while (samples >= ZORV_OVERFLOW_SAMPLE) {
            out.push_back(0xFF);
            out.push_back(0xFF);
            samples -= ZORV_OVERFLOW_SAMPLE;
        }
        out.push_back(uint8_t(samples & 0xFF));
        out.push_back(uint8_t(samples >> 8));
    });
    return out;
}

void run(benchmark::State &state, const Bytes &tape)
{
    std::size_t entries = 0;
    for (auto _ : state) {
        const TapeScan scan = scan_tape(tape.data(), tape.size());
        entries = scan.entries.size();
        benchmark::DoNotOptimize(entries);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(tape.size()));
    state.counters["tape_MB"] = double(tape.size()) / 1e6;
    state.counters["entries"] = double(entries);
}

void BM_ScanCleanTap(benchmark::State &state)
{
    static const Bytes tape = make_tape(false);
    run(state, tape);
}

void BM_ScanJitteredTap(benchmark::State &state)
{
    static const Bytes tape = make_tape(true);
    run(state, tape);
}

void BM_ScanZorvDump(benchmark::State &state)
{
    static const Bytes tape = make_zorv(make_tape(true));
    run(state, tape);
}

} // namespace

BENCHMARK(BM_ScanCleanTap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanJitteredTap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanZorvDump)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
