// The pulse lengths of an unknown turbo stretch; see turbolengths.h.
#include "core/turbolengths.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace turbo_shape {

namespace {

constexpr double CLASS_SPREAD = 0.22;              // of a class's length, around it
constexpr double CLASS_SPREAD_UNITS = 3;           // at least: a TAP unit of rounding and a real deck's jitter
constexpr double BYTE_MARKER_SHARE = 0.8;          // markers followed by a long pulse
constexpr double MARKER_FROM = 1.15, MARKER_TO = 2.3;  // a marker's length, of the long class's
constexpr std::size_t MIN_MARKERS = 32;

// How far around a class's length its pulses spread.
double spread(double length) { return std::max(CLASS_SPREAD * length, CLASS_SPREAD_UNITS); }

// A pulse longer than the bit classes' longest that is nearly always
// followed by one of that class is a byte marker: Commodore ROM data (its
// leader then looks like a pilot of 0 bits), not a turbo.
bool has_byte_markers(const std::vector<const Stretch *> &parts, const Classes &c)
{
    const double one = c.mean[1];
    std::size_t markers = 0, then_one = 0;
    for (const Stretch *part : parts)
        for (std::size_t q = 0; q + 1 < part->size; ++q) {
            const Stretch &units = *part;
            const uint8_t u = units[q];
            if (u == 0 || u < MARKER_FROM * one || u > MARKER_TO * one || (c.count == 3 && c.of(u) != 2))
                continue;
            ++markers;
            then_one += std::fabs(units[q + 1] - one) <= 0.15 * one;
        }
    return markers >= MIN_MARKERS && double(then_one) >= BYTE_MARKER_SHARE * double(markers);
}

} // namespace

void add_to_histogram(Histogram &h, const Stretch &s)
{
    std::array<uint32_t, 256> counts{};
    for (std::size_t q = 0; q < s.size; ++q)
        ++counts[s.units[q]];
    for (std::size_t u = 1; u < 256; ++u)
        h[u] += counts[u];
}

Classes find_classes(const Histogram &h, const std::vector<const Stretch *> &parts)
{
    double total = 0;
    for (std::size_t u = 1; u < 256; ++u)
        total += h[u];
    Classes c;
    if (total < double(MIN_PULSES))
        return c;
    std::array<double, 258> s{};  // smoothed over three units
    for (int u = 1; u <= 255; ++u)
        s[std::size_t(u)] = h[std::size_t(u - 1)] + h[std::size_t(u)] + h[std::size_t(u + 1)];
    const auto at = [&](int u) { return s[std::size_t(u)]; };
    // Peaks: local maxima holding 2 % of the pulses (a long pilot may be
    // most of a stretch); two without a deep valley between them, or too
    // close, are one (the higher).
    std::vector<int> peaks;
    for (int u = 1; u <= 255; ++u) {
        if (at(u) < std::max(0.02 * total, 24.0) || at(u) < at(u - 1) || at(u) <= at(u + 1))
            continue;
        if (!peaks.empty()) {
            const int last = peaks.back();
            double valley = at(last);
            for (int v = last; v <= u; ++v)
                valley = std::min(valley, at(v));
            const bool apart = u - last >= std::max(4, last / 5);
            if (!apart || valley > 0.15 * std::min(at(last), at(u))) {
                if (at(u) > at(last))
                    peaks.back() = u;
                continue;
            }
        }
        peaks.push_back(u);
    }
    if (peaks.size() < 2 || peaks.size() > 3)
        return c;
    c.count = int(peaks.size());
    // Class means, each over the pulses nearest to its peak and close to it.
    std::array<double, 3> sum{}, n{};
    for (int u = 1; u <= 255; ++u) {
        std::size_t k = 0;
        while (k + 1 < peaks.size() && u >= (peaks[k] + peaks[k + 1]) / 2.0)
            ++k;
        if (std::fabs(u - peaks[k]) > spread(peaks[k]))
            continue;
        sum[k] += u * h[std::size_t(u)];
        n[k] += h[std::size_t(u)];
    }
    double in_classes = 0;
    for (std::size_t k = 0; k < peaks.size(); ++k) {
        if (n[k] == 0)
            return c;
        c.mean[k] = sum[k] / n[k];
        in_classes += n[k];
    }
    const double ratio = c.mean[1] / c.mean[0];
    if (ratio < 1.25 || ratio > 3.5 || in_classes < 0.92 * total)
        return c;
    if (c.count == 3 && (c.mean[2] / c.mean[1] < 1.12 || c.mean[2] / c.mean[1] > 2.5))
        return c;
    // No other class: outside these, no length gathers pulses.
    for (int u = 1; u <= 255; ++u) {
        bool near = false;
        for (std::size_t k = 0; k < peaks.size(); ++k)
            near = near || std::fabs(u - c.mean[k]) <= spread(c.mean[k]);
        if (!near && h[std::size_t(u)] >= std::max(4.0, 0.004 * total))
            return c;
    }
    c.fill_lookup();
    if (has_byte_markers(parts, c))
        return c;
    c.ok = true;
    return c;
}

Stretch stretch_of(const PulseTrack &track, std::size_t first, std::size_t count, bool half_waves)
{
    Stretch s;
    const uint8_t *half = track.small.data() + first;
    if (!half_waves) {
        s.units = half;
        s.size = count;
        return s;
    }
    std::size_t even[2] = {0, 0};
    for (std::size_t phase = 0; phase < 2; ++phase)
        for (std::size_t q = phase; q + 1 < count; q += 2) {
            const int a = half[q], b = half[q + 1];
            even[phase] += std::abs(a - b) <= std::max(2, (a + b) / 8);
        }
    for (std::size_t q = even[1] > even[0] ? 1 : 0; q + 1 < count; q += 2)
        s.paired.push_back(half[q] == 0 || half[q + 1] == 0 ? 0 : uint8_t(std::min(255, half[q] + half[q + 1])));
    s.units = s.paired.data();
    s.size = s.paired.size();
    return s;
}

void append_bits(std::vector<uint8_t> &bit, const Stretch &units, const Classes &c, uint8_t longest)
{
    for (std::size_t q = 0; q < units.size; ++q) {
        const int k = c.of(units[q]);
        if (k < 2) {
            bit.push_back(uint8_t(k));
        } else {
            bit.push_back(uint8_t(longest >> 1 & 1));
            bit.push_back(uint8_t(longest & 1));
        }
    }
}

// Which two bits a third, longest class may carry. A loader that times a
// 1 and a 0 in one pulse writes every 1 followed by a 0 that way: a single
// 1 pulse is then never followed by a single 0 one. (Likewise a 0 never by
// a 1 where the pulse carries 0 1.) Where the pulses show one of them
// clearly, that is the reading; else both are tried and the bytes decide.
std::vector<uint8_t> longest_pulse_readings(const std::vector<const Stretch *> &units, const Classes &classes)
{
    std::size_t one_then_zero = 0, zero_then_one = 0;
    for (const Stretch *part : units)
        for (std::size_t q = 0; q + 1 < part->size; ++q) {
            const int a = classes.of((*part)[q]), b = classes.of((*part)[q + 1]);
            one_then_zero += a == 1 && b == 0;
            zero_then_one += a == 0 && b == 1;
        }
    if (4 * one_then_zero < zero_then_one)
        return {0b10};
    if (4 * zero_then_one < one_then_zero)
        return {0b01};
    return {0b10, 0b01};
}

// Whether two stretches' classes are the same loader's.
bool same_classes(const Classes &a, const Classes &b)
{
    if (a.count != b.count)
        return false;
    for (int k = 0; k < a.count; ++k)
        if (std::fabs(a.mean[std::size_t(k)] - b.mean[std::size_t(k)]) > 0.08 * a.mean[std::size_t(k)])
            return false;
    return true;
}

} // namespace turbo_shape
