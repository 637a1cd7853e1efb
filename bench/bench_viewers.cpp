// Speed of the PRG viewers on a full 64 KB program: the hex listing and the
// disassembly (with and without comments); and the hex listing of 1 MB.
#include "core/dasm.h"
#include "core/hexlisting.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

// A 64 KB PRG at $0801 of mixed code-like and random bytes, the same every run.
std::vector<uint8_t> sample_program()
{
    std::vector<uint8_t> bytes = {0x01, 0x08};
    std::mt19937 random(1234);
    const uint8_t code[] = {0xA9, 0x00, 0x8D, 0x20, 0xD0, 0x20, 0xD2, 0xFF, 0xE8, 0xD0, 0xF5, 0x60};
    while (bytes.size() < 65536 + 2) {
        if (random() % 3 == 0)
            bytes.insert(bytes.end(), std::begin(code), std::end(code));
        else
            bytes.push_back(uint8_t(random()));
    }
    bytes.resize(65536 + 2);
    return bytes;
}

void BM_HexListing64K(benchmark::State &state)
{
    const std::vector<uint8_t> program = sample_program();
    for (auto _ : state) {
        GString *text = g_string_sized_new(303104);
        benchmark::DoNotOptimize(make_hex_listing_bytes(program.data(), program.size(), 1, text));
        g_string_free(text, TRUE);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(program.size()));
}
BENCHMARK(BM_HexListing64K)->Unit(benchmark::kMillisecond);

// The hex listing of a 1 MB PRG of random bytes (what bench/compare-hex-xxd.sh
// times through the command line against xxd).
void BM_HexListingOneMegabyte(benchmark::State &state)
{
    std::vector<uint8_t> program(1048576 + 2);
    std::mt19937 random(99);
    for (uint8_t &b : program)
        b = uint8_t(random());
    for (auto _ : state) {
        GString *text = g_string_sized_new(303104);
        benchmark::DoNotOptimize(make_hex_listing_bytes(program.data(), program.size(), 0, text));
        g_string_free(text, TRUE);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(program.size()));
}
BENCHMARK(BM_HexListingOneMegabyte)->Unit(benchmark::kMillisecond);

void BM_Disassembly64K(benchmark::State &state)
{
    const std::vector<uint8_t> program = sample_program();
    for (auto _ : state) {
        GString *text = g_string_sized_new(1048576);
        benchmark::DoNotOptimize(disassemble_bytes(program.data(), program.size(), 0, int(state.range(0)), text));
        g_string_free(text, TRUE);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(program.size()));
}
BENCHMARK(BM_Disassembly64K)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
