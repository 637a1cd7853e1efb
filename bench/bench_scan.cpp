// Scanning speed on a generated tape of about 10 MB: six 40 KB programs as
// SAVE writes them, clean and with every pulse jittered by up to 3 units,
// as TAP version 1 and as a ZORV dump of the same pulses; and a 10 MB tape
// mixing every turbo loader's format (each after its boot file) with
// stretches of noise no scanner reads, scanned with every scanner and no
// identification (the most work a scan does). Target: 50 MB/s on one core.
#include "bench_programs.h"
#include "core/cbmencode.h"
#include "core/loaders/registry.h"
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

// Every loader's tape (two 20 KB programs) in turn, each followed by 20 KB
// of random pulses between 20 and 100 units, until 10 MB; jittered.
Bytes make_mixed_turbo_tape()
{
    const std::vector<PrgInput> prgs = bench_programs(2, 20000, 3);
    Bytes out = tap_file_header(1, false, false, 0);
    uint32_t x = 3;
    while (out.size() < 10000000) {
        for (const TurboLoader &l : turbo_loaders()) {
            std::string error;
            const Bytes one = l.encode(prgs, turbo::TapeOptions(), error);
            if (one.size() <= TAP_HEADER_SIZE || one[TAP_OFFSET_VERSION] != 1)
                continue;  // a format of another machine or TAP version
            out.insert(out.end(), one.begin() + TAP_HEADER_SIZE, one.end());
            for (int i = 0; i < 20000; ++i) {
                x = x * 1664525u + 1013904223u;
                out.push_back(uint8_t(20 + (x >> 16) % 81));
            }
        }
    }
    for_each_tape_pulse(out.data(), out.size(), [&](const TapePulse &p) {
        if (p.long_form)
            return;
        x = x * 1664525u + 1013904223u;
        out[p.offset] = uint8_t(int(p.units) + int((x >> 16) % 5) - 2);
    });
    tap_fix_data_size(out);
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

void BM_ScanMixedTurboTape(benchmark::State &state)
{
    static const Bytes tape = make_mixed_turbo_tape();
    std::size_t files = 0, unrecognized_pulses = 0, pulses = 0;
    for (auto _ : state) {
        const TapeScan scan = scan_tape(tape.data(), tape.size(), ScanOptions(), builtin_scanners());
        files = 0;
        unrecognized_pulses = 0;
        for (const TapeEntry &e : scan.entries) {
            files += e.kind == EntryKind::File;
            if (e.kind == EntryKind::Unrecognized)
                unrecognized_pulses += e.pulse_count;
        }
        pulses = scan.pulses.size();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(tape.size()));
    state.counters["tape_MB"] = double(tape.size()) / 1e6;
    state.counters["files"] = double(files);
    // The noise's share, for a check that the formats were read.
    state.counters["unrecognized_share"] = double(unrecognized_pulses) / double(pulses);
}

BENCHMARK(BM_ScanCleanTap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanMixedTurboTape)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanJitteredTap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanZorvDump)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
