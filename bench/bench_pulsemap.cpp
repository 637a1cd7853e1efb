// The tape analysis on a 50 MB tape: parsing it into screen data (entries,
// line starts and the offset checkpoints), and working out the dots of one
// screen of 1024 lines (what a full redraw hands to the drawing calls); and
// parsing a 1 MB tape of overflow marks.
#include "bench_programs.h"
#include "core/cbmencode.h"
#include "core/pulsemap.h"
#include "core/tapimage.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

constexpr std::size_t TARGET_SIZE = 50u * 1024 * 1024;

// Programs as SAVE writes them, repeated until the tape holds about 50 MB of
// pulses, every pulse jittered by up to 3 units.
const Bytes &big_tape()
{
    static const Bytes tape = [] {
        const std::vector<PrgInput> prgs = bench_programs(4, 40000, 7);
        uint32_t x = 7;
        const Bytes one = encode_tap(prgs, EncodeOptions());
        Bytes out(one.begin(), one.begin() + TAP_HEADER_SIZE);
        out.reserve(TARGET_SIZE + one.size());
        while (out.size() < TARGET_SIZE)
            out.insert(out.end(), one.begin() + TAP_HEADER_SIZE, one.end());
        for (std::size_t i = TAP_HEADER_SIZE; i < out.size(); ++i) {
            if (out[i] < 8)  // keep zero bytes (long pulses) and their length bytes as they are
                continue;
            x = x * 1664525u + 1013904223u;
            out[i] = uint8_t(int(out[i]) + int((x >> 16) % 7) - 3);
        }
        tap_fix_data_size(out);
        return out;
    }();
    return tape;
}

// Bytes the map's vectors hold, reserved room included.
template <class Vector>
double held_bytes(const Vector &v)
{
    return double(v.capacity()) * double(sizeof(typename Vector::value_type));
}

// Parses the tape once per iteration; the bytes all the map's arrays hold.
double parse_in_loop(benchmark::State &state, const Bytes &tape)
{
    double held = 0;
    for (auto _ : state) {
        PulseMap map;
        std::string error;
        if (!pulse_map_build(tape.data(), tape.size(), map, error))
            state.SkipWithError(error.c_str());
        benchmark::DoNotOptimize(map.num_lines);
        held = held_bytes(map.screen_data) + held_bytes(map.line_starts) + held_bytes(map.checkpoints);
    }
    return held;
}

void BM_ParseFiftyMegabytes(benchmark::State &state)
{
    const Bytes &tape = big_tape();
    const double held = parse_in_loop(state, tape);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(tape.size()));
    state.counters["MB"] = double(tape.size()) / (1024.0 * 1024.0);
    // Memory of all the map's arrays per byte of tape.
    state.counters["bytes_per_tape_byte"] = held / double(tape.size());
}
BENCHMARK(BM_ParseFiftyMegabytes)->Unit(benchmark::kMillisecond);

// A 1 MB TAP of nothing but overflow marks (00 FF FF FF): one pulse of
// seconds, shown as at most 8192 units.
void BM_ParseMegabyteOfOverflowMarks(benchmark::State &state)
{
    Bytes tape(big_tape().begin(), big_tape().begin() + TAP_HEADER_SIZE);  // a version 1 header
    while (tape.size() < 1024 * 1024)
        tape.insert(tape.end(), {0x00, 0xFF, 0xFF, 0xFF});
    const double held = parse_in_loop(state, tape);
    state.counters["bytes_per_tape_byte"] = held / double(tape.size());
}
BENCHMARK(BM_ParseMegabyteOfOverflowMarks)->Unit(benchmark::kMillisecond);

void BM_OneScreenOfDots(benchmark::State &state)
{
    const Bytes &tape = big_tape();
    PulseMap map;
    std::string error;
    if (!pulse_map_build(tape.data(), tape.size(), map, error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    const PulseLayout layout = state.range(0) ? PulseLayout::Horizontal : PulseLayout::Vertical;
    const int width = 1024, height = 1024;
    const int capacity = pulse_view_capacity(layout, width, height);
    const int64_t first = int64_t(map.num_lines / 2);
    for (auto _ : state) {
        long sum = 0;
        for (int position = 0; position < capacity; ++position) {
            const PulseLineEntries line = pulse_map_line_entries(map, uint64_t(first + position));
            for (uint64_t i = line.first; i < line.end; ++i) {
                const uint16_t entry = map.screen_data[i];
                if (!pulse_entry_is_drawn(entry))
                    continue;
                const PulseDot dot = pulse_view_dot(layout, position, pulse_entry_length(entry), height);
                sum += dot.x0 + dot.y1;
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_OneScreenOfDots)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
