// What the tests of the unknown turbo describer share: real programs to put
// on their tapes (cc65's samples, compiled once), and a description's text
// read back into its parts.
#pragma once

#include "common/cc65_sample.h"
#include "common/temp_folder.h"
#include "core/turbodescribe.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace describe_testing {

using loader_testing::Bytes;

// Real programs, compiled once.
inline const std::vector<Bytes> &real_programs()
{
    static const std::vector<Bytes> programs = [] {
        std::vector<Bytes> out;
        TempFolder folder("qm-describe-XXXXXX");
        for (const char *name : {"sieve", "plasma", "mandelbrot"}) {
            std::string error;
            const std::string path = build_cc65_sample(folder.path(), name, &error);
            gchar *data = nullptr;
            gsize size = 0;
            if (path.empty() || !g_file_get_contents(path.c_str(), &data, &size, nullptr)) {
                ADD_FAILURE() << error;
                continue;
            }
            out.emplace_back(data, data + size);
            g_free(data);
        }
        return out;
    }();
    return programs;
}

inline const TapeEntry *unknown_turbo(const TapeScan &scan)
{
    for (const TapeEntry &e : scan.entries)
        if (e.type == ENTRY_TYPE_UNKNOWN_TURBO)
            return &e;
    return nullptr;
}

inline std::size_t unknown_turbos(const TapeScan &scan)
{
    std::size_t n = 0;
    for (const TapeEntry &e : scan.entries)
        n += e.type == ENTRY_TYPE_UNKNOWN_TURBO;
    return n;
}

// The description's parts, read back from its text.
struct Told {
    unsigned threshold = 0, zero = 0, one = 0;
    unsigned second_threshold = 0, longest = 0, longest_bits[2] = {};  // a third class
    std::string order;
    unsigned pilot = 0, pilot_second = 0;
    std::size_t pilot_count = 0;
    bool bit_pilot = false, pair_pilot = false;
    unsigned first_after = 0;
    std::size_t blocks = 0;
    std::size_t part = 0, parts = 0;
    bool full_waves = false;
};

inline Told read_text(const std::string &whole)
{
    Told t;
    // Lengths of a tape of half waves are given as the full waves they pair into.
    std::string text = whole;
    const std::size_t full_at = text.find(" as full waves");
    if (full_at != std::string::npos) {
        t.full_waves = true;
        text.erase(full_at, std::string(" as full waves").size());
    }
    char order[4] = {};
    int used = 0;
    if (text.rfind("Turbo: thresholds", 0) == 0) {
        EXPECT_EQ(std::sscanf(text.c_str(),
                              "Turbo: thresholds %u and %u cycles, pulses $%x/$%x/$%x (the longest two bits, %u %u), "
                              "%3s first, %n",
                              &t.threshold, &t.second_threshold, &t.zero, &t.one, &t.longest, &t.longest_bits[0],
                              &t.longest_bits[1], order, &used),
                  8)
            << text;
    } else {
        EXPECT_EQ(std::sscanf(text.c_str(), "Turbo: threshold %u cycles, pulses $%x/$%x, %3s first, %n", &t.threshold,
                              &t.zero, &t.one, order, &used),
                  4)
            << text;
    }
    t.order = order;
    const std::string rest = text.substr(std::size_t(used));
    if (std::sscanf(rest.c_str(), "pilot $%x $%x x %zu, then $%x", &t.pilot, &t.pilot_second, &t.pilot_count,
                    &t.first_after) == 4) {
        t.pair_pilot = true;
    } else if (std::sscanf(rest.c_str(), "pilot $%x x %zu, then $%x", &t.pilot, &t.pilot_count, &t.first_after) == 3) {
        t.bit_pilot = false;
    } else {
        EXPECT_EQ(std::sscanf(rest.c_str(), "pilot of %zu %u bits, then $%x", &t.pilot_count, &t.pilot,
                              &t.first_after),
                  3)
            << text;
        t.bit_pilot = true;
    }
    const std::size_t blocks_at = text.rfind(" block");
    const std::size_t comma = text.rfind(", ", blocks_at);
    t.blocks = std::size_t(std::stoul(text.substr(comma + 2, blocks_at - comma - 2)));
    const std::size_t part_at = text.find("; part ");
    if (part_at != std::string::npos) {
        EXPECT_EQ(std::sscanf(text.c_str() + part_at, "; part %zu of %zu between pauses", &t.part, &t.parts), 2) << text;
    }
    return t;
}

} // namespace describe_testing
