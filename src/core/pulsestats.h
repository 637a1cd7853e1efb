// What the pulses of a scanned tape say about the tape itself: the
// histogram of their lengths, and how fast each recognised file plays.
//
// Histogram: how many ordinary pulses (1 to 255 TAP units) have each length,
// over the whole tape or one entry; longer pulses (silences, overflow marks)
// are counted apart. The ideal lengths of the recognised formats are listed
// so that a view can mark where the peaks should be.
//
// Speed: a file's leader (its first SPEED_LEADER_PULSES pulses that carry a
// class) measured against the ideal lengths its scanner gave those classes:
// percent = (sum of ideals / sum of measured - 1) x 100. A tape played 5 %
// fast has pulses 1/1.05 as long as they should be: +5 %. A stretched tape
// or a slow motor shows as minus. Whatever the mix of pulse classes in a
// loader's leader, each pulse is compared with its own ideal.
//
// Pure and GLib-only.
#pragma once
#include "core/tapescan.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

constexpr std::size_t SPEED_LEADER_PULSES = 256;

struct PulseHistogram {
    std::array<uint64_t, 256> counts{}; // by units; counts[0] unused
    uint64_t longer = 0;                // silences and pulses beyond 255 units
    std::vector<uint8_t> ideals;        // ideal lengths of the recognised files, ascending, once each
    // The two lengths measured in unknown turbo stretches (nothing ideal is
    // known of them), ascending, once each.
    std::vector<uint8_t> unknown_turbo;
};

// The histogram of the whole tape (entry < 0) or of entry `entry`.
PulseHistogram pulse_histogram(const TapeScan &scan, int entry = -1);

struct FileSpeed {
    std::size_t entry = 0;   // index into scan.entries
    std::string type, name;
    std::size_t pulses = 0;  // leader pulses measured
    double measured = 0;     // their mean length, units
    double ideal = 0;        // the mean of their ideals, units
    double percent = 0;      // + fast, - slow
};

// One line per recognised file whose leader has classified pulses.
std::vector<FileSpeed> tape_speeds(const TapeScan &scan);
