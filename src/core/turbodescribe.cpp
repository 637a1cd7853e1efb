// The shape of an unknown turbo stretch; see turbodescribe.h.
#include "core/turbodescribe.h"

#include "core/cbmscan.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>

const char ENTRY_TYPE_UNKNOWN_TURBO[] = "UNKNOWN TURBO";

namespace {

using turbo::BitOrder;

constexpr std::size_t MIN_PULSES = 400;
constexpr std::size_t MIN_PILOT_BYTES = 32;        // a pilot of a block on its own
constexpr std::size_t MIN_SHORT_PILOT_BYTES = 3;   // of blocks whose pilot and sync repeat
constexpr std::size_t MIN_REPEATS = 3;             // how often they must
constexpr std::size_t MIN_PILOT_BITS = 256;
constexpr std::size_t SCORED_BYTES = 2048;
constexpr std::size_t FIRST_BYTES = 4;

// The two classes of a stretch: the two highest peaks of its histogram, far
// enough apart, with a deep valley between them, and nearly every pulse
// near one of them. A third peak (the CBM ROM's long pulses) or pulses
// spread everywhere (noise) make no two-class stretch.
struct Classes {
    bool ok = false;
    double zero = 0, one = 0;
};

Classes find_classes(const PulseTrack &track, std::size_t first, std::size_t count)
{
    std::array<double, 258> h{};
    double total = 0;
    for (std::size_t q = first; q < first + count; ++q) {
        const uint8_t u = track.small[q];
        if (u != 0) {
            ++h[u];
            ++total;
        }
    }
    Classes c;
    if (total < double(MIN_PULSES))
        return c;
    std::array<double, 258> s{};  // smoothed over three units
    for (int u = 1; u <= 255; ++u)
        s[std::size_t(u)] = h[std::size_t(u - 1)] + h[std::size_t(u)] + h[std::size_t(u + 1)];
    const auto peak_in = [&](int from, int to, int avoid, int gap) {
        int best = 0;
        for (int u = std::max(from, 1); u <= std::min(to, 255); ++u)
            if (std::abs(u - avoid) >= gap && (best == 0 || s[std::size_t(u)] > s[std::size_t(best)]))
                best = u;
        return best;
    };
    const int p1 = peak_in(1, 255, -1000, 0);
    const int p2 = peak_in(1, 255, p1, std::max(4, p1 / 4));
    if (p2 == 0 || s[std::size_t(p2)] < 0.05 * total)
        return c;
    const int lo = std::min(p1, p2), hi = std::max(p1, p2);
    double valley = s[std::size_t(lo)];
    for (int u = lo; u <= hi; ++u)
        valley = std::min(valley, s[std::size_t(u)]);
    if (valley > 0.15 * std::min(s[std::size_t(lo)], s[std::size_t(hi)]))
        return c;
    // Class means, each over the pulses on its side of the middle.
    const double middle = (lo + hi) / 2.0;
    double sum0 = 0, n0 = 0, sum1 = 0, n1 = 0;
    for (int u = 1; u <= 255; ++u) {
        const bool zero = u < middle;
        const double near = zero ? lo : hi;
        if (std::fabs(u - near) > 0.22 * near)
            continue;
        (zero ? sum0 : sum1) += u * h[std::size_t(u)];
        (zero ? n0 : n1) += h[std::size_t(u)];
    }
    if (n0 == 0 || n1 == 0)
        return c;
    c.zero = sum0 / n0;
    c.one = sum1 / n1;
    const double ratio = c.one / c.zero;
    if (ratio < 1.25 || ratio > 3.5 || n0 + n1 < 0.92 * total)
        return c;
    // No third class: outside both classes, no length gathers pulses.
    for (int u = 1; u <= 255; ++u) {
        const bool near0 = std::fabs(u - c.zero) <= 0.22 * c.zero, near1 = std::fabs(u - c.one) <= 0.22 * c.one;
        if (!near0 && !near1 && h[std::size_t(u)] >= std::max(4.0, 0.004 * total))
            return c;
    }
    c.ok = true;
    return c;
}

// A pilot found among the bits: [start, end), end the first bit that breaks it.
struct Pilot {
    std::size_t start = 0, end = 0;
    bool bits = false;     // a run of one bit value, long enough for a pilot of bits
    bool uniform = false;  // of one bit value (a trailer, if short)
};

std::vector<Pilot> find_pilots(const std::vector<uint8_t> &bit)
{
    std::vector<Pilot> out;
    const std::size_t n = bit.size();
    // repeat_from: where the run of bits equal to those 8 before began;
    // same_from: where the run of one bit value began.
    std::size_t repeat_from = 0, same_from = 0;
    const auto close = [&](std::size_t at) {
        const bool uniform = same_from <= repeat_from + 8;
        const bool bits = uniform && at - same_from >= MIN_PILOT_BITS;
        if (!bits && at - repeat_from < 8 * MIN_SHORT_PILOT_BYTES)
            return;
        Pilot p;
        p.start = uniform ? std::max(same_from, repeat_from) : repeat_from;
        p.end = at;
        p.bits = bits;
        p.uniform = uniform;
        // A pilot leads into a block: a run of one bit value with less than
        // a few bytes after it before the next pilot is a block's trailer
        // (a long one only before another long pilot).
        const bool long_pilot = bits || at - repeat_from >= 8 * MIN_PILOT_BYTES;
        if (!out.empty() && out.back().uniform && (!out.back().bits || long_pilot) &&
            p.start < out.back().end + 8 * 16)
            out.pop_back();
        out.push_back(p);
    };
    for (std::size_t q = 1; q < n; ++q) {
        if (q >= 8 && bit[q] != bit[q - 8]) {
            close(q);
            repeat_from = q - 7;  // the 8 bits before q may begin the next pilot
        }
        if (bit[q] != bit[q - 1])
            same_from = q;
    }
    if (!out.empty() && out.back().end + 8 * 16 > n)
        out.pop_back();
    return out;
}

// How much a run of bytes looks like a Commodore program: 6502 instructions
// and their usual operands, PETSCII text, BASIC keywords.
const std::array<uint8_t, 256> &program_likeness()
{
    static const std::array<uint8_t, 256> table = [] {
        std::array<uint8_t, 256> w{};
        for (uint8_t b : {0xA9, 0x8D, 0x20, 0x60, 0x4C, 0xA2, 0xA0, 0xD0, 0xF0, 0x85, 0xA5, 0xC9, 0xE8, 0xC8, 0x18,
                          0x38, 0x69, 0xE9, 0xBD, 0x9D, 0xB9, 0x99, 0x10, 0x30, 0x90, 0xB0, 0x29, 0x0A, 0x4A, 0xAA,
                          0xA8, 0xE6, 0xC6, 0xCA, 0x88, 0x91, 0xB1, 0xA6, 0x86, 0x84, 0xA4, 0xAD, 0xAE, 0xAC, 0x8E,
                          0x8C, 0xEE, 0xCE, 0x78, 0x58, 0xEA, 0x48, 0x68, 0x2C, 0x24, 0xC0, 0xE0, 0x8A, 0x98, 0x09})
            w[b] = 3;
        for (uint8_t b : {0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0xD4, 0xD8, 0xDC, 0xDD, 0x0D, 0x2E, 0x2C, 0x3A, 0x22,
                          0x9E, 0x89, 0x8F, 0x97, 0x8B, 0xA7, 0x81, 0x82, 0xB2})
            w[b] = std::max<uint8_t>(w[b], 1);
        for (int b = 0x41; b <= 0x5A; ++b)
            w[std::size_t(b)] = std::max<uint8_t>(w[std::size_t(b)], 1);
        for (int b = 0x30; b <= 0x39; ++b)
            w[std::size_t(b)] = std::max<uint8_t>(w[std::size_t(b)], 1);
        w[0x00] = 2;
        w[0xFF] = 1;
        return w;
    }();
    return table;
}

uint8_t byte_at(const std::vector<uint8_t> &bit, std::size_t p, BitOrder order)
{
    uint8_t v = 0;
    for (std::size_t k = 0; k < 8; ++k)
        v = order == BitOrder::MsbFirst ? uint8_t(v << 1 | bit[p + k]) : uint8_t(v | bit[p + k] << k);
    return v;
}

double likeness(const std::vector<uint8_t> &bit, std::size_t from, std::size_t to, BitOrder order)
{
    const auto &w = program_likeness();
    double sum = 0;
    std::size_t n = 0;
    for (std::size_t p = from; p + 8 <= to && n < SCORED_BYTES; p += 8, ++n)
        sum += w[byte_at(bit, p, order)];
    return n == 0 ? 0 : sum / double(n);
}

// A run of bytes counting down or up by one (Turbo Tape's and Microload's
// $09 $08 ... $01, CHR's $64 $65 ...) right after a pilot is a sync: five
// such bytes in a row among the first twelve.
double counting_bonus(const std::vector<uint8_t> &bit, std::size_t from, std::size_t to, BitOrder order)
{
    int run = 0, step = 0;
    for (std::size_t k = 0; k + 1 < 12 && from + 8 * (k + 2) <= to; ++k) {
        const int diff = int(byte_at(bit, from + 8 * (k + 1), order)) - int(byte_at(bit, from + 8 * k, order));
        run = (diff == 1 || diff == -1) && (run == 0 || diff == step) ? run + 1 : (diff == 1 || diff == -1) ? 1 : 0;
        step = diff;
        if (run >= 4)
            return 3;
    }
    return 0;
}

// Where a block's bytes begin: the sync's first bit lies at most 7 bits
// before the pilot's break (it may share its first bits with the pilot);
// after a pilot of one bit value, a single bit of the other may mark its
// end before the sync. Boot code that compares with the pilot and sync
// bytes tells; else the reading that looks most like a program.
struct Reading {
    std::size_t from = 0;  // the first bit of the block's bytes
    double score = -1;
};

Reading best_reading(const std::vector<uint8_t> &bit, const Pilot &pilot, std::size_t block_end, BitOrder order,
                     const BootFacts *facts)
{
    Reading best;
    const std::size_t last = pilot.bits ? pilot.end + 1 : pilot.end;
    for (std::size_t from = pilot.end >= 7 ? pilot.end - 7 : 0; from <= last; ++from) {
        if (from < pilot.start + 8 || from + 8 > block_end)
            continue;
        double score = likeness(bit, from, block_end, order) + counting_bonus(bit, from, block_end, order);
        if (facts != nullptr && !facts->compares.empty()) {
            score += facts->compares_with(byte_at(bit, from, order)) ? 100 : 0;
            if (!pilot.bits)
                score += facts->compares_with(byte_at(bit, from - 8, order)) ? 100 : 0;
        }
        if (score > best.score + 1e-9) {
            best.score = score;
            best.from = from;
        }
    }
    return best;
}

std::string hex_bytes(const std::vector<uint8_t> &b)
{
    std::string out;
    char part[8];
    for (std::size_t i = 0; i < b.size(); ++i) {
        std::snprintf(part, sizeof part, i == 0 ? "$%02X" : " %02X", unsigned(b[i]));
        out += part;
    }
    return out;
}

} // namespace

std::string TurboDescription::text() const
{
    char head[160];
    std::snprintf(head, sizeof head, "Turbo: threshold %u cycles, pulses $%02X/$%02X, %s first, ", threshold_cycles,
                  unsigned(std::lround(short_units)), unsigned(std::lround(long_units)),
                  order == BitOrder::MsbFirst ? "MSB" : "LSB");
    std::string out = head;
    char pilot[64];
    if (bit_pilot)
        std::snprintf(pilot, sizeof pilot, "pilot of %zu %u bits", pilot_count, unsigned(pilot_value));
    else
        std::snprintf(pilot, sizeof pilot, "pilot $%02X x %zu", unsigned(pilot_value), pilot_count);
    out += pilot;
    if (!first_bytes.empty())
        out += ", then " + hex_bytes(first_bytes) + " ...";
    char tail[64];
    if (bytes.size() >= 1024)
        std::snprintf(tail, sizeof tail, ", %zu block%s, about %zu KB", blocks, blocks == 1 ? "" : "s",
                      (bytes.size() + 512) / 1024);
    else
        std::snprintf(tail, sizeof tail, ", %zu block%s, %zu bytes", blocks, blocks == 1 ? "" : "s", bytes.size());
    return out + tail;
}

TurboDescription describe_unknown_turbo(const PulseTrack &track, std::size_t first, std::size_t count,
                                        const BootFacts *facts)
{
    TurboDescription d;
    if (count < MIN_PULSES || first + count > track.size())
        return d;
    const Classes classes = find_classes(track, first, count);
    if (!classes.ok)
        return d;
    const double threshold = (classes.zero + classes.one) / 2;
    std::vector<uint8_t> bit(count);
    for (std::size_t q = 0; q < count; ++q)
        bit[q] = track.small[first + q] >= threshold ? 1 : 0;
    const std::vector<Pilot> candidates = find_pilots(bit);
    if (candidates.empty())
        return d;
    const auto block_end = [&](const std::vector<Pilot> &pilots, std::size_t i) {
        return i + 1 < pilots.size() ? pilots[i + 1].start : count;
    };

    // The loader's pilot and sync: the same bits on both sides of a pilot's
    // break, after a long pilot or before every block of a chain. A run of
    // one byte inside a program (a page of zeros) looks like a pilot too,
    // and the same runs recur in programs, but not at the steady pace of a
    // chain's blocks (pages). Of the groups of pilots with the same bits
    // around their break, the one with the most blocks, counted twice,
    // times their length wins; its pilots start the blocks.
    const auto key_of = [&](const Pilot &p) {
        uint32_t key = 0;
        for (std::size_t k = p.end - 8; k < p.end + 8; ++k)
            key = key << 1 | (k < count ? bit[k] : 0);
        return key | (p.bits ? 1u << 16 : 0);
    };
    const auto length = [](const Pilot &p) { return p.end - p.start; };
    const auto long_pilot = [&](const Pilot &p) { return p.bits || length(p) >= 8 * MIN_PILOT_BYTES; };
    struct Group {
        std::vector<std::size_t> members;  // indexes into candidates
        std::size_t bits = 0;
        bool long_pilot = false;
    };
    std::map<uint32_t, Group> groups;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        Group &g = groups[key_of(candidates[i])];
        g.members.push_back(i);
        g.bits += length(candidates[i]);
        g.long_pilot = g.long_pilot || long_pilot(candidates[i]);
    }
    const auto steady = [&](const Group &g) {
        std::vector<std::size_t> gaps;
        for (std::size_t k = 1; k < g.members.size(); ++k)
            gaps.push_back(candidates[g.members[k]].end - candidates[g.members[k - 1]].end);
        if (gaps.empty())
            return false;
        std::vector<std::size_t> sorted = gaps;
        std::nth_element(sorted.begin(), sorted.begin() + long(sorted.size() / 2), sorted.end());
        const double median = double(sorted[sorted.size() / 2]);
        const auto near = std::count_if(gaps.begin(), gaps.end(),
                                        [&](std::size_t gap) { return std::fabs(double(gap) - median) <= 0.1 * median; });
        return median >= 8 * 16 && double(near) >= 0.6 * double(gaps.size());
    };
    const Group *chosen = nullptr;
    double best_weight = 0;
    for (const auto &[key, g] : groups) {
        if (!g.long_pilot && (g.members.size() < MIN_REPEATS || !steady(g)))
            continue;
        const double weight = double(g.members.size()) * double(g.bits);  // count^2 x mean length
        if (weight > best_weight)
            chosen = &g, best_weight = weight;
    }
    if (chosen == nullptr)
        return d;
    std::size_t longest = chosen->members.front();
    for (std::size_t i : chosen->members)
        if (length(candidates[i]) > length(candidates[longest]))
            longest = i;
    // A long pilot's group: its short members are runs in a program.
    std::vector<Pilot> pilots;
    for (std::size_t i : chosen->members)
        if (!chosen->long_pilot || 4 * length(candidates[i]) >= length(candidates[longest]))
            pilots.push_back(candidates[i]);
    const Pilot reference = candidates[longest];
    const std::size_t reference_at =
        std::size_t(std::find_if(pilots.begin(), pilots.end(), [&](const Pilot &p) { return p.end == reference.end; }) -
                    pilots.begin());

    // One bit order for the stretch: the boot code's rotate, else the one
    // whose best readings look more like a program, summed over the blocks.
    double msb = 0, lsb = 0;
    for (std::size_t i = 0; i < pilots.size(); ++i) {
        msb += best_reading(bit, pilots[i], block_end(pilots, i), BitOrder::MsbFirst, facts).score;
        lsb += best_reading(bit, pilots[i], block_end(pilots, i), BitOrder::LsbFirst, facts).score;
    }
    d.order = lsb > msb + 1e-9 ? BitOrder::LsbFirst : BitOrder::MsbFirst;
    if (facts != nullptr && facts->bit_order != 0)
        d.order = facts->bit_order == 1 ? BitOrder::MsbFirst : BitOrder::LsbFirst;

    // Every block's bytes begin where the reference's do, from its break.
    const std::size_t reference_from = best_reading(bit, reference, block_end(pilots, reference_at), d.order, facts).from;
    std::vector<std::size_t> starts;
    for (const Pilot &p : pilots)
        starts.push_back(std::min(count, std::max(p.start + 8, p.end + reference_from - reference.end)));
    for (std::size_t i = 0; i < pilots.size(); ++i) {
        const Pilot &p = pilots[i];
        const std::size_t from = starts[i];
        // A block's last byte may end in bits like the next pilot's first
        // ones, which the pilot's run then took: it may reach 7 bits in.
        const std::size_t to = std::min(count, block_end(pilots, i) + 7);
        std::vector<uint8_t> block;
        for (std::size_t q = from; q + 8 <= to; q += 8)
            block.push_back(byte_at(bit, q, d.order));
        if (i == 0) {
            d.bit_pilot = p.bits;
            d.pilot_value = p.bits ? bit[p.start] : byte_at(bit, from - 8, d.order);
            d.pilot_count = p.bits ? p.end - p.start : (from - p.start) / 8;
            d.first_bytes.assign(block.begin(), block.begin() + long(std::min(block.size(), FIRST_BYTES)));
        }
        d.bytes.insert(d.bytes.end(), block.begin(), block.end());
    }
    d.blocks = pilots.size();
    d.short_units = classes.zero;
    d.long_units = classes.one;
    d.threshold_cycles = unsigned(std::lround(threshold * 8));
    d.found = true;
    return d;
}

void describe_unknown_turbos(TapeScan &scan)
{
    // The code of the last CBM ROM file before a stretch: its loader.
    BootFacts facts;
    bool have_facts = false;
    for (TapeEntry &e : scan.entries) {
        if (e.kind == EntryKind::File && e.scanner == &cbm_rom_scanner && e.copy != CopyId::Repeat &&
            e.type.find("DATA") != std::string::npos && !e.payload.empty()) {
            facts = read_boot_code(e.payload.data(), e.payload.size());
            have_facts = true;
        }
        if (e.kind != EntryKind::Unrecognized || e.type != ENTRY_TYPE_UNRECOGNIZED || e.pulse_count < MIN_PULSES)
            continue;
        TurboDescription d = describe_unknown_turbo(scan.pulses, e.first_pulse, e.pulse_count,
                                                    have_facts ? &facts : nullptr);
        if (!d.found)
            continue;
        e.type = ENTRY_TYPE_UNKNOWN_TURBO;
        e.description = d.text();
        e.payload = std::move(d.bytes);
        // Its two lengths, as measured (no ideal is known).
        e.pulse_short = d.short_units;
        e.pulse_medium = d.long_units;
    }
}

std::vector<uint8_t> unknown_turbo_bytes(const uint8_t *file, std::size_t size, uint64_t start, uint64_t end)
{
    const TapeScan scan = scan_tape(file, size);
    for (const TapeEntry &e : scan.entries)
        if (e.type == ENTRY_TYPE_UNKNOWN_TURBO && e.start == start && e.end == end)
            return e.payload;
    // Scanned with other scanners than the report's: the same pulses,
    // described on their own.
    std::size_t first = scan.pulses.size(), last = 0;
    for (std::size_t i = 0; i < scan.pulses.size(); ++i) {
        const uint64_t at = scan.pulses.offset(i);
        if (at >= start && scan.pulses.last_byte(i) <= end && !scan.pulses.is_silence(i)) {
            first = std::min(first, i);
            last = i;
        }
    }
    if (first > last)
        return {};
    return describe_unknown_turbo(scan.pulses, first, last + 1 - first).bytes;
}
