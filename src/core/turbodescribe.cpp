// The shape of an unknown turbo stretch; see turbodescribe.h.
#include "core/turbodescribe.h"

#include "core/cbmscan.h"
#include "core/turbolengths.h"
#include "core/turbopilots.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>

const char ENTRY_TYPE_UNKNOWN_TURBO[] = "UNKNOWN TURBO";

namespace {

using turbo::BitOrder;
using namespace turbo_shape;

constexpr std::size_t MIN_REPEATS = 3;             // blocks whose short pilot and sync repeat, at least
constexpr std::size_t SCORED_BYTES = 2048;
constexpr std::size_t FIRST_BYTES = 4;

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
        // After a run of one bit, a first byte of seven pilot bits and the
        // one that ends the run is that run's closing mark, not a sync: a
        // loader's sync stands out from its pilot.
        if (pilot.bits && from + 7 == pilot.end)
            score -= 1;
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

std::string size_text(std::size_t bytes)
{
    char text[48];
    if (bytes >= 1024)
        std::snprintf(text, sizeof text, "about %zu KB", (bytes + 512) / 1024);
    else
        std::snprintf(text, sizeof text, "%zu bytes", bytes);
    return text;
}

// The bits of a chain's stretches one after the other, and where each
// stretch's bits begin (the last: where they end).
struct ChainBits {
    std::vector<uint8_t> bit;
    std::vector<std::size_t> begin;
};

struct Attempt {
    double score = -1;
    std::vector<TurboDescription> parts;  // found: holds a block
};

Attempt describe_bits(const ChainBits &chain, const BootFacts *facts)
{
    const std::vector<uint8_t> &bit = chain.bit;
    const std::size_t parts = chain.begin.size() - 1;
    const auto part_end = [&](const Pilot &p) { return chain.begin[p.part + 1]; };
    std::vector<Pilot> candidates;
    for (std::size_t part = 0; part < parts; ++part) {
        const std::size_t b = chain.begin[part], e = chain.begin[part + 1];
        const std::vector<Pilot> pairs = find_pair_pilots(bit, b, e);
        const auto in_pair = [&](const Pilot &p) {
            return std::any_of(pairs.begin(), pairs.end(),
                               [&](const Pilot &q) { return p.start >= q.start && p.end <= q.end; });
        };
        for (Pilot p : find_pilots(bit, b, e))
            if (!in_pair(p)) {
                p.part = part;
                candidates.push_back(p);
            }
        for (Pilot p : pairs) {
            p.part = part;
            candidates.push_back(p);
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Pilot &a, const Pilot &b) { return a.start < b.start; });
    Attempt attempt;
    attempt.parts.resize(parts);
    if (candidates.empty())
        return attempt;

    // The loader's pilot and sync: the same bits on both sides of a pilot's
    // break, after a long pilot or before every block of a chain. A run of
    // one byte inside a program (a page of zeros) looks like a pilot too,
    // and the same runs recur in programs, but not at the steady pace of a
    // chain's blocks (pages), nor right after pause after pause. Short
    // pilots after pauses are grouped by how the sync's bits follow from
    // the pilot's (a loader that changes its pilot byte from block to block
    // keeps that). Of the groups, the one with the most blocks, counted
    // twice, times their length wins; its pilots start the blocks.
    const auto length = [](const Pilot &p) { return p.end - p.start; };
    const auto long_pilot = [&](const Pilot &p) { return p.bits || length(p) >= 8 * MIN_PILOT_BYTES; };
    const auto after_pause = [&](const Pilot &p) { return parts > 1 && p.at_part_start && !long_pilot(p); };
    const auto bit_or_0 = [&](const Pilot &p, std::size_t k) { return k < part_end(p) ? bit[k] : uint8_t(0); };
    const auto key_of = [&](const Pilot &p) {
        uint64_t key = 0;
        if (after_pause(p)) {
            for (std::size_t k = p.end; k < p.end + 8; ++k)
                key = key << 1 | uint64_t(bit_or_0(p, k) ^ bit[k - 8]);
            return key | uint64_t(1) << 40;
        }
        for (std::size_t k = p.end - (p.pair ? 16 : 8); k < p.end + 8; ++k)
            key = key << 1 | bit_or_0(p, k);
        return key | uint64_t(p.bits) << 41 | uint64_t(p.pair) << 42;
    };
    struct Group {
        std::vector<std::size_t> members;  // indexes into candidates
        std::size_t bits = 0;
        bool long_pilot = false, after_pauses = true;
    };
    std::map<uint64_t, Group> groups;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        Group &g = groups[key_of(candidates[i])];
        g.members.push_back(i);
        g.bits += length(candidates[i]);
        g.long_pilot = g.long_pilot || long_pilot(candidates[i]);
        g.after_pauses = g.after_pauses && after_pause(candidates[i]);
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
        const bool repeated = g.members.size() >= MIN_REPEATS && (g.after_pauses || steady(g));
        if (!g.long_pilot && !repeated)
            continue;
        const double weight = double(g.members.size()) * double(g.bits);  // count^2 x mean length
        if (weight > best_weight)
            chosen = &g, best_weight = weight;
    }
    if (chosen == nullptr)
        return attempt;
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
    // A block ends where the next pilot of its stretch begins.
    const auto block_end = [&](std::size_t i) {
        return i + 1 < pilots.size() && pilots[i + 1].part == pilots[i].part ? pilots[i + 1].start
                                                                             : part_end(pilots[i]);
    };

    // One bit order for the chain: the boot code's rotate, else the one
    // whose best readings look more like a program, summed over the blocks.
    double msb = 0, lsb = 0;
    for (std::size_t i = 0; i < pilots.size(); ++i) {
        msb += best_reading(bit, pilots[i], block_end(i), BitOrder::MsbFirst, facts).score;
        lsb += best_reading(bit, pilots[i], block_end(i), BitOrder::LsbFirst, facts).score;
    }
    BitOrder order = lsb > msb + 1e-9 ? BitOrder::LsbFirst : BitOrder::MsbFirst;
    if (facts != nullptr && facts->bit_order != 0)
        order = facts->bit_order == 1 ? BitOrder::MsbFirst : BitOrder::LsbFirst;
    attempt.score = (order == BitOrder::MsbFirst ? msb : lsb) / double(pilots.size());

    // Every block's bytes begin where the reference's do, from its break.
    const std::size_t reference_from = best_reading(bit, reference, block_end(reference_at), order, facts).from;
    for (std::size_t i = 0; i < pilots.size(); ++i) {
        const Pilot &p = pilots[i];
        const std::size_t end = part_end(p);
        std::size_t from = std::min(end, std::max(p.start + 8, p.end + reference_from - reference.end));
        // A pair's pilot ends with a whole pair: a last lone byte of it
        // belongs to the block (IRQTape's blocks begin $C3 $AA).
        std::size_t count = (from - p.start) / 8;
        if (p.pair) {
            if (count % 2 == 1)
                from -= 8;
            count /= 2;
        }
        // A block's last byte may end in bits like the next pilot's first
        // ones, which the pilot's run then took: it may reach 7 bits in.
        const std::size_t to = std::min(end, block_end(i) + 7);
        std::vector<uint8_t> block;
        for (std::size_t q = from; q + 8 <= to; q += 8)
            block.push_back(byte_at(bit, q, order));
        TurboDescription &d = attempt.parts[p.part];
        if (d.blocks == 0) {
            d.bit_pilot = p.bits;
            d.pair_pilot = p.pair;
            d.pilot_count = p.bits ? p.end - p.start : count;
            if (p.bits) {
                d.pilot_value = bit[p.start];
            } else if (p.pair) {
                d.pilot_value = byte_at(bit, from - 16 * count, order);
                d.pilot_second = byte_at(bit, from - 16 * count + 8, order);
            } else {
                d.pilot_value = byte_at(bit, from - 8, order);
            }
            d.first_bytes.assign(block.begin(), block.begin() + long(std::min(block.size(), FIRST_BYTES)));
            d.order = order;
            d.found = true;
        }
        ++d.blocks;
        d.bytes.insert(d.bytes.end(), block.begin(), block.end());
    }
    return attempt;
}

} // namespace

std::string TurboDescription::text() const
{
    std::string out = "Turbo: ";
    char piece[160];
    if (longest_units > 0)
        std::snprintf(piece, sizeof piece,
                      "thresholds %u and %u cycles, pulses $%02X/$%02X/$%02X (the longest two bits, %u %u)",
                      threshold_cycles, second_threshold_cycles, unsigned(std::lround(short_units)),
                      unsigned(std::lround(long_units)), unsigned(std::lround(longest_units)),
                      unsigned(longest_bits >> 1 & 1), unsigned(longest_bits & 1));
    else
        std::snprintf(piece, sizeof piece, "threshold %u cycles, pulses $%02X/$%02X", threshold_cycles,
                      unsigned(std::lround(short_units)), unsigned(std::lround(long_units)));
    out += piece;
    out += full_waves ? " as full waves, " : ", ";
    out += order == turbo::BitOrder::MsbFirst ? "MSB first, " : "LSB first, ";
    if (bit_pilot)
        std::snprintf(piece, sizeof piece, "pilot of %zu %u bits", pilot_count, unsigned(pilot_value));
    else if (pair_pilot)
        std::snprintf(piece, sizeof piece, "pilot $%02X $%02X x %zu", unsigned(pilot_value), unsigned(pilot_second),
                      pilot_count);
    else
        std::snprintf(piece, sizeof piece, "pilot $%02X x %zu", unsigned(pilot_value), pilot_count);
    out += piece;
    if (!first_bytes.empty())
        out += ", then " + hex_bytes(first_bytes) + " ...";
    std::snprintf(piece, sizeof piece, ", %zu block%s, ", blocks, blocks == 1 ? "" : "s");
    out += piece + size_text(bytes.size());
    if (parts > 1) {
        std::snprintf(piece, sizeof piece, "; part %zu of %zu between pauses, ", part, parts);
        out += piece + size_text(bytes_in_all) + " in all";
    }
    return out;
}

namespace {

// The parts of a chain, their classes found.
std::vector<TurboDescription> describe_parts(const std::vector<const Stretch *> &units, const Classes &classes,
                                             const BootFacts *facts, bool half_waves)
{
    std::vector<TurboDescription> none(units.size());
    Attempt best;
    uint8_t longest_bits = 0;
    std::vector<uint8_t> readings = {0};
    if (classes.count == 3)
        readings = longest_pulse_readings(units, classes);
    for (const uint8_t longest : readings) {
        ChainBits chain;
        for (const Stretch *u : units) {
            chain.begin.push_back(chain.bit.size());
            append_bits(chain.bit, *u, classes, longest);
        }
        chain.begin.push_back(chain.bit.size());
        Attempt a = describe_bits(chain, facts);
        if (a.score > best.score + 1e-9) {
            best = std::move(a);
            longest_bits = longest;
        }
    }
    if (best.score < 0)
        return none;
    std::size_t found = 0, bytes = 0;
    for (const TurboDescription &d : best.parts)
        if (d.found)
            ++found, bytes += d.bytes.size();
    std::size_t number = 0;
    for (TurboDescription &d : best.parts) {
        if (!d.found)
            continue;
        d.full_waves = half_waves;
        d.short_units = classes.mean[0];
        d.long_units = classes.mean[1];
        d.threshold_cycles = unsigned(std::lround(classes.threshold(0) * 8));
        if (classes.count == 3) {
            d.longest_units = classes.mean[2];
            d.longest_bits = longest_bits;
            d.second_threshold_cycles = unsigned(std::lround(classes.threshold(1) * 8));
        }
        if (found > 1) {
            d.part = ++number;
            d.parts = found;
            d.bytes_in_all = bytes;
        }
    }
    return best.parts;
}

} // namespace

std::vector<TurboDescription> describe_unknown_turbo_chain(const PulseTrack &track,
                                                           const std::vector<TurboStretch> &stretches,
                                                           const BootFacts *facts, bool half_waves)
{
    std::vector<Stretch> units;
    Histogram h{};
    for (const TurboStretch &s : stretches) {
        if (s.first + s.count > track.size())
            return std::vector<TurboDescription>(stretches.size());
        units.push_back(stretch_of(track, s.first, s.count, half_waves));
        add_to_histogram(h, units.back());
    }
    std::vector<const Stretch *> parts;
    for (const Stretch &u : units)
        parts.push_back(&u);
    const Classes classes = find_classes(h, parts);
    if (!classes.ok)
        return std::vector<TurboDescription>(stretches.size());
    return describe_parts(parts, classes, facts, half_waves);
}

TurboDescription describe_unknown_turbo(const PulseTrack &track, std::size_t first, std::size_t count,
                                        const BootFacts *facts)
{
    if (count < MIN_PULSES)
        return {};
    return describe_unknown_turbo_chain(track, {TurboStretch{first, count}}, facts).front();
}

void describe_unknown_turbos(TapeScan &scan)
{
    const bool half_waves = tape_holds_half_waves(scan);
    // The code of the last CBM ROM file before a stretch: its loader.
    BootFacts facts;
    bool have_facts = false;
    // A chain: unrecognised stretches of the same two or three lengths with
    // nothing but pauses between them.
    std::vector<std::size_t> chain;
    std::vector<Stretch> stretches;
    Classes chain_classes;
    Histogram chain_histogram{};
    const auto flush = [&] {
        if (chain.empty())
            return;
        std::vector<const Stretch *> parts;
        for (const Stretch &u : stretches)
            parts.push_back(&u);
        const Classes classes = chain.size() == 1 ? chain_classes : find_classes(chain_histogram, parts);
        std::vector<TurboDescription> described;
        if (classes.ok)
            described = describe_parts(parts, classes, have_facts ? &facts : nullptr, half_waves);
        for (std::size_t k = 0; k < described.size(); ++k) {
            TurboDescription &d = described[k];
            if (!d.found)
                continue;
            TapeEntry &e = scan.entries[chain[k]];
            e.type = ENTRY_TYPE_UNKNOWN_TURBO;
            e.description = d.text();
            e.payload = std::move(d.bytes);
            // Its lengths, as measured (no ideal is known), in the tape's
            // own pulses (half waves on a tape of half waves).
            const double scale = half_waves ? 0.5 : 1.0;
            e.pulse_short = d.short_units * scale;
            e.pulse_medium = d.long_units * scale;
            e.pulse_long = d.longest_units * scale;
        }
        chain.clear();
        stretches.clear();
        chain_histogram = Histogram{};
    };
    for (std::size_t i = 0; i < scan.entries.size(); ++i) {
        const TapeEntry &e = scan.entries[i];
        if (e.kind == EntryKind::Pause)
            continue;
        if (e.kind == EntryKind::Unrecognized && e.type == ENTRY_TYPE_UNRECOGNIZED && e.pulse_count >= MIN_PULSES) {
            Stretch own = stretch_of(scan.pulses, e.first_pulse, e.pulse_count, half_waves);
            Histogram h{};
            add_to_histogram(h, own);
            const Classes classes = find_classes(h, {&own});
            if (!classes.ok || (!chain.empty() && !same_classes(chain_classes, classes)))
                flush();
            if (classes.ok) {
                if (chain.empty())
                    chain_classes = classes;
                chain.push_back(i);
                stretches.push_back(std::move(own));
                for (std::size_t u = 0; u < h.size(); ++u)
                    chain_histogram[u] += h[u];
            }
            continue;
        }
        flush();
        if (e.kind == EntryKind::File && e.scanner == &cbm_rom_scanner && e.copy != CopyId::Repeat &&
            e.type.find("DATA") != std::string::npos && !e.payload.empty()) {
            facts = read_boot_code(e.payload.data(), e.payload.size());
            have_facts = true;
        }
    }
    flush();
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
    return describe_unknown_turbo_chain(scan.pulses, {TurboStretch{first, last + 1 - first}}, nullptr,
                                        tape_holds_half_waves(scan))
        .front()
        .bytes;
}
