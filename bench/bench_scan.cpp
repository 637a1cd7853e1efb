// Scanning speed on a generated tape of about 10 MB: six 40 KB programs as
// SAVE writes them, clean and with every pulse jittered by up to 3 units,
// as TAP version 1 and as a ZORV dump of the same pulses; and a 10 MB tape
// mixing every turbo loader's format (each after its boot file) with
// stretches of noise no scanner reads, scanned with every scanner and no
// identification (the most work a scan does); and a tape shaped as real
// ones are (see make_real_shaped_tape), scanned with every scanner without
// identification (-noid) and with it (the default). Target: 100 MB/s on
// one core, and identification never slower than -noid.
#include "bench_programs.h"
#include "core/cbmencode.h"
#include "core/loaders/identify.h"
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

// Games joined as a collector's tape of many cassettes is: each game a CBM
// boot file and its loader's files as that loader writes them, played on a
// deck (speed a few percent off, different for every game, C64-written
// jitter of +/- 2 units), with hiss between games (short pulses of every
// length a blank stretch gives) and pauses; about 50 MB.
Bytes make_real_shaped_tape()
{
    Bytes out = tap_file_header(1, false, false, 0);
    uint32_t x = 5;
    auto random = [&x](unsigned below) {
        x = x * 1664525u + 1013904223u;
        return (x >> 8) % below;
    };
    std::size_t game = 0;
    while (out.size() < 50000000) {
        for (const TurboLoader &l : turbo_loaders()) {
            const std::vector<PrgInput> prgs = bench_programs(3, 15000 + 1000 * unsigned(game % 7), unsigned(game));
            ++game;
            std::string error;
            turbo::TapeOptions options;
            options.pause_seconds = 1.0 + double(random(30)) / 10;
            const Bytes one = l.encode(prgs, options, error);
            if (one.size() <= TAP_HEADER_SIZE || one[TAP_OFFSET_VERSION] != 1)
                continue;  // a format of another machine or TAP version
            const double speed = 0.96 + double(random(80)) / 1000;
            const std::size_t start = out.size();
            out.insert(out.end(), one.begin() + TAP_HEADER_SIZE, one.end());
            for (std::size_t i = start; i < out.size(); ++i) {
                if (out[i] == 0) {
                    i += 3;
                    continue;
                }
                const int v = int(out[i] * speed + 0.5) + int(random(5)) - 2;
                out[i] = uint8_t(v < 1 ? 1 : v > 255 ? 255 : v);
            }
            // Hiss on the blank tape between two games, then a pause.
            for (unsigned k = 0, n = 2000 + random(20000); k < n; ++k)
                out.push_back(uint8_t(8 + random(120)));
            out.insert(out.end(), {0, 0x40, 0x42, 0x0F});
        }
    }
    tap_fix_data_size(out);
    return out;
}

const Bytes &real_shaped_tape()
{
    static const Bytes tape = make_real_shaped_tape();
    return tape;
}

void scan_real_shaped(benchmark::State &state, bool identify)
{
    const Bytes &tape = real_shaped_tape();
    std::size_t files = 0;
    uint64_t recognised = 0;
    for (auto _ : state) {
        const IdentifiedScan s =
            scan_tape_identified(tape.data(), tape.size(), ScanOptions(), builtin_scanners(), identify);
        files = 0;
        recognised = 0;
        for (const TapeEntry &e : s.scan.entries)
            if (e.kind == EntryKind::File) {
                ++files;
                recognised += e.end + 1 - e.start;
            }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(tape.size()));
    state.counters["tape_MB"] = double(tape.size()) / 1e6;
    state.counters["files"] = double(files);
    state.counters["recognised_percent"] = 100.0 * double(recognised) / double(tape.size() - TAP_HEADER_SIZE);
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

void BM_ScanRealShapedTapeNoId(benchmark::State &state) { scan_real_shaped(state, false); }

void BM_ScanRealShapedTapeOneScanner(benchmark::State &state)
{
    const Bytes &tape = real_shaped_tape();
    const TapeScanner *scanner = builtin_scanners()[std::size_t(state.range(0))];
    for (auto _ : state) {
        const TapeScan scan = scan_tape(tape.data(), tape.size(), ScanOptions(), {scanner});
        benchmark::DoNotOptimize(scan.entries.size());
    }
    state.SetLabel(scanner->id);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(tape.size()));
}

// The same tape with no scanner: what reading the pulses and walking them costs.
void BM_ScanRealShapedTapeNoScanners(benchmark::State &state)
{
    const Bytes &tape = real_shaped_tape();
    for (auto _ : state) {
        const TapeScan scan = scan_tape(tape.data(), tape.size(), ScanOptions(), {});
        benchmark::DoNotOptimize(scan.entries.size());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(tape.size()));
}
void BM_ScanRealShapedTapeIdentified(benchmark::State &state) { scan_real_shaped(state, true); }

BENCHMARK(BM_ScanRealShapedTapeNoScanners)->Unit(benchmark::kMillisecond);
// Each scanner alone on that tape: where the time of a scan with all goes.
BENCHMARK(BM_ScanRealShapedTapeOneScanner)->DenseRange(0, 16)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanRealShapedTapeNoId)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanRealShapedTapeIdentified)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanCleanTap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanMixedTurboTape)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanJitteredTap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanZorvDump)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
