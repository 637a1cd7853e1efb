// Programs for the benchmarks' tapes: `count` BASIC-area PRGs named
// "BENCH n", each of `size` pseudo-random bytes after the load address.
#pragma once
#include "core/cbmencode.h"

#include <string>
#include <vector>

inline std::vector<PrgInput> bench_programs(int count, int size, uint32_t seed)
{
    std::vector<PrgInput> prgs;
    uint32_t x = seed;
    for (int i = 0; i < count; ++i) {
        PrgInput p;
        p.name = "BENCH " + std::to_string(i);
        p.bytes = {0x01, 0x08};
        for (int k = 0; k < size; ++k) {
            x = x * 1103515245u + 12345u;
            p.bytes.push_back(uint8_t(x >> 16));
        }
        prgs.push_back(std::move(p));
    }
    return prgs;
}
