// Shared helpers of the tape analysis tests: TAP files and ZORV dumps built
// in memory, and the map of one.
#ifndef QUILLMAR_TESTS_PULSEMAP_TESTING_H
#define QUILLMAR_TESTS_PULSEMAP_TESTING_H

#include "core/pulsemap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace pulsemap_testing {

// A 20-byte header with the magic and bytes 12 to 14.
inline std::vector<uint8_t> header(const char *magic, uint8_t version, uint8_t platform = 0, uint8_t video = 0)
{
    std::vector<uint8_t> file(magic, magic + 12);
    file.push_back(version);
    file.push_back(platform);
    file.push_back(video);
    file.push_back(0);
    file.insert(file.end(), {0, 0, 0, 0});
    return file;
}

inline std::vector<uint8_t> tap(uint8_t version, const std::vector<uint8_t> &data)
{
    std::vector<uint8_t> file = header("C64-TAPE-RAW", version);
    file.insert(file.end(), data.begin(), data.end());
    return file;
}

// A ZORV dump of 16-bit samples (low byte first), then `tail` as it is.
inline std::vector<uint8_t> zorv(uint8_t platform, uint8_t video, const std::vector<uint16_t> &samples,
                                 const std::vector<uint8_t> &tail = {})
{
    std::vector<uint8_t> file = header("ZORV-TAP-RAW", 1, platform, video);
    for (const uint16_t s : samples) {
        file.push_back(static_cast<uint8_t>(s & 0xFF));
        file.push_back(static_cast<uint8_t>(s >> 8));
    }
    file.insert(file.end(), tail.begin(), tail.end());
    return file;
}

inline PulseMap build(const std::vector<uint8_t> &file)
{
    PulseMap map;
    std::string error;
    EXPECT_TRUE(pulse_map_build(file.data(), file.size(), map, error));
    EXPECT_EQ(error, "");
    return map;
}

// Marks the offsets where no pulse begins in offset_lines() below.
constexpr uint32_t NO_LINE = UINT32_MAX;

// The line the map gives for every offset where a pulse begins, NO_LINE at
// the others: the whole offset index, written out.
inline std::vector<uint32_t> offset_lines(const std::vector<uint8_t> &file, const PulseMap &map)
{
    std::vector<uint32_t> lines(file.size(), NO_LINE);
    for_each_tape_pulse(file.data(), file.size(), [&](const TapePulse &p) {
        lines[p.offset] = static_cast<uint32_t>(pulse_map_line_of_offset(map, file.data(), file.size(), p.offset));
    });
    return lines;
}

inline std::vector<uint16_t> repeat(uint16_t value, std::size_t n, std::vector<uint16_t> tail = {})
{
    std::vector<uint16_t> v(n, value);
    v.insert(v.end(), tail.begin(), tail.end());
    return v;
}

} // namespace pulsemap_testing

#endif  // QUILLMAR_TESTS_PULSEMAP_TESTING_H
