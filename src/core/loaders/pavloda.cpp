// Pavloda: three pulse lengths against two thresholds of 422 and 600
// cycles - short (about $25 units) a 0 bit, medium (about $43) a 1 bit,
// long (about $55) the two bits 1 and 0, which the loader's timing reads in
// one go. Bytes most significant bit first. Every block: a pilot of at
// least 1000 0 bits, one 1 bit, the sync bytes $66 $1B (so the 1 and the
// first 0 of $66 make one long pulse), then a header - the block number, a
// 0 byte, the start address (LE), the count of sub-blocks and the length of
// the last one (0 for 256) - then the sub-blocks: 256 bytes each (the last
// one that length), each followed by its check byte, the sum of (byte + 1)
// over its bytes, modulo 256.
//
// One entry "PAVLODA" per block; its check byte line is that of the first
// sub-block that fails, else of the last. The long pulse's reading and the
// meaning of the header's last byte are inferred from the loader's timing
// and from what makes the blocks' lengths whole.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include <algorithm>
#include <cmath>

const char PAVLODA_TYPE[] = "PAVLODA";

namespace {

using namespace turbo;

constexpr double SHORT_LONG_CYCLES[2] = {422, 600};  // thresholds: 0 | 1 | 1 0
constexpr uint8_t IDEAL_S = 0x25, IDEAL_M = 0x43, IDEAL_L = 0x55;
// For the pilot search: 0 bits against the first threshold.
constexpr Format PILOT_FORMAT{422, IDEAL_S, IDEAL_M, BitOrder::MsbFirst};
constexpr std::size_t PILOT_MIN = 1000;
constexpr uint8_t SYNC[2] = {0x66, 0x1B};
constexpr std::size_t HEADER_BYTES = 6;
constexpr std::size_t SUB_BLOCK = 256;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 1200;
constexpr std::size_t TRAILER_WRITTEN = 64;

constexpr PulseClass S = PulseClass::Short, M = PulseClass::Medium, L = PulseClass::Long;

// Reads bits from the pulses, one or two per pulse, and remembers which
// pulse each bit came from.
class BitStream {
public:
    BitStream(const PulseTrack &track, std::size_t from, double t1, double t2)
        : small_(track.small.data()), n_(track.size()), q_(from), t1_(t1), t2_(t2)
    {
    }

    // The next bit, or -1 at a pulse that is no bit (a silence) or the end.
    int bit()
    {
        if (pending_zero_) {
            pending_zero_ = false;
            return 0;
        }
        if (q_ >= n_ || small_[q_] == 0)
            return -1;
        const uint8_t u = small_[q_++];
        if (u < t1_)
            return 0;
        pending_zero_ = u >= t2_;
        return 1;
    }

    bool byte(uint8_t &value)
    {
        unsigned v = 0;
        for (int k = 0; k < 8; ++k) {
            const int b = bit();
            if (b < 0)
                return false;
            v = (v << 1) | unsigned(b);
        }
        value = uint8_t(v);
        return true;
    }

    // The first pulse not read (a long pulse half read counts as read).
    std::size_t pulse() const { return q_; }
    bool between_pulses() const { return !pending_zero_; }

private:
    const uint8_t *small_;
    std::size_t n_, q_;
    double t1_, t2_;
    bool pending_zero_ = false;
};

uint8_t plus_one_sum(const uint8_t *bytes, std::size_t size)
{
    unsigned s = 0;
    for (std::size_t i = 0; i < size; ++i)
        s += bytes[i] + 1u;
    return uint8_t(s);
}

// Classes and read errors of the block's pulses against calibrated values.
void classify(const ScanContext &ctx, std::size_t first, std::size_t end, double scale, double t1, double t2,
              TapeEntry &entry)
{
    entry.kind = EntryKind::File;
    entry.first_pulse = first;
    entry.pulse_count = end - first;
    entry.ideal_units[std::size_t(S)] = IDEAL_S;
    entry.ideal_units[std::size_t(M)] = IDEAL_M;
    entry.ideal_units[std::size_t(L)] = IDEAL_L;
    entry.pulse_short = IDEAL_S * scale;
    entry.pulse_medium = IDEAL_M * scale;
    entry.pulse_long = IDEAL_L * scale;
    const double values[3] = {entry.pulse_short, entry.pulse_medium, entry.pulse_long};
    const double tolerance = ctx.options->tolerance;
    const uint8_t *small = ctx.pulses->small.data();
    uint8_t *info = ctx.pulse_info->data();
    unsigned errors = 0;
    for (std::size_t q = first; q < end; ++q) {
        const double u = small[q];
        info[q] = uint8_t(u < t1 ? S : u < t2 ? M : L);
        const bool near = std::any_of(std::begin(values), std::end(values),
                                      [&](double v) { return u != 0 && std::fabs(u - v) <= tolerance; });
        if (!near) {
            info[q] |= PULSE_READ_ERROR;
            ++errors;
        }
    }
    entry.read_errors = errors;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_bit_pilot(track, index, PILOT_FORMAT, PILOT_MIN, pilot, retry, ctx.horizon))
        return false;
    retry = pilot.end;
    if (!plausible_speed(pilot.means, PILOT_FORMAT))
        return false;
    // The thresholds scaled as the pilot's 0 pulses are.
    const double scale = pilot.means.zero / IDEAL_S;
    const double t1 = SHORT_LONG_CYCLES[0] / 8 * scale, t2 = SHORT_LONG_CYCLES[1] / 8 * scale;
    // The pilot's closing pulse: a 1, or a long pulse "1 0" taking the first
    // bit of the sync.
    BitStream in(track, pilot.end - 1, t1, t2);
    if (in.bit() != 1)
        return false;
    uint8_t sync[2] = {0, 0};
    // The sync's first byte starts with the 0 a long closing pulse holds.
    if (!in.byte(sync[0]) || sync[0] != SYNC[0] || !in.byte(sync[1]) || sync[1] != SYNC[1])
        return false;
    const std::size_t inner_start = in.pulse();
    uint8_t h[HEADER_BYTES];
    for (uint8_t &b : h)
        if (!in.byte(b))
            return false;
    const uint16_t load = uint16_t(h[2] | h[3] << 8);
    const std::size_t subs = h[4];
    const std::size_t last = h[5] == 0 ? SUB_BLOCK : h[5];
    if (h[1] != 0 || subs == 0)
        return false;
    const std::size_t size = (subs - 1) * SUB_BLOCK + last;
    if (load + size > 0x10000)
        return false;

    std::vector<uint8_t> &payload = entry.payload;
    bool all_pass = true, first_fail_set = false;
    uint8_t shown_tape = 0, shown_sum = 0;
    std::size_t inner_end = in.pulse();
    for (std::size_t k = 0; k < subs; ++k) {
        const std::size_t want = k + 1 < subs ? SUB_BLOCK : last;
        const std::size_t before = payload.size();
        uint8_t v = 0;
        while (payload.size() - before < want && in.byte(v))
            payload.push_back(v);
        inner_end = in.pulse();
        uint8_t check = 0;
        const bool whole = payload.size() - before == want && in.byte(check);
        const uint8_t sum = plus_one_sum(payload.data() + before, payload.size() - before);
        const bool pass = whole && check == sum;
        if (!first_fail_set) {
            shown_tape = whole ? check : uint8_t(~sum);
            shown_sum = sum;
        }
        if (!pass && !first_fail_set)
            first_fail_set = true;
        all_pass = all_pass && pass;
        if (!whole)
            break;
    }
    if (payload.empty())
        return false;
    // The last bits: to the end of the pulse that holds them, then the trailer.
    std::size_t p = in.pulse();
    const BitReader reader(track, t1, BitOrder::MsbFirst);
    p = trailer_end(reader, p, TRAILER_LIMIT, [](std::size_t) { return false; });

    entry.type = PAVLODA_TYPE;
    entry.block_type = h[0];
    set_addresses(entry, load, uint16_t(load + size));
    set_checkbyte(entry, shown_tape, shown_sum);
    entry.checkbyte_pass = all_pass;
    set_payload_crc(entry);
    entry.loaded.push_back({load, payload});
    entry.inner_start_pulse = inner_start;
    entry.inner_end_pulse = std::max(inner_start, std::min(inner_end, p - 1));
    classify(ctx, pilot.start, p, scale, t1, t2, entry);
    entry.inner_start_pulse = std::min(entry.inner_start_pulse, p - 1);
    entry.inner_end_pulse = std::min(entry.inner_end_pulse, p - 1);
    return true;
}

// Writes bits as pulses: a 1 followed by a 0 as one long pulse.
class PulseWriter {
public:
    explicit PulseWriter(std::vector<uint8_t> &tap) : tap_(tap) {}
    void bit(int b)
    {
        if (one_pending_) {
            tap_.push_back(b == 0 ? IDEAL_L : IDEAL_M);
            one_pending_ = false;
            if (b == 0)
                return;
        }
        if (b == 1)
            one_pending_ = true;
        else
            tap_.push_back(IDEAL_S);
    }
    void byte(uint8_t v)
    {
        for (int k = 7; k >= 0; --k)
            bit((v >> k) & 1);
    }
    void flush()
    {
        if (one_pending_)
            tap_.push_back(IDEAL_M);
        one_pending_ = false;
    }

private:
    std::vector<uint8_t> &tap_;
    bool one_pending_ = false;
};

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "Pavloda");
    if (error.empty() && prgs.size() > 255)
        error = "at most 255 Pavloda blocks";
    if (!error.empty())
        return {};
    const BootCodePlan plan =
        one_shot_boot_plan(Format{422, IDEAL_S, IDEAL_M, BitOrder::MsbFirst}, {SYNC[0], SYNC[1]});
    auto write = [](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t i) {
        const std::size_t size = prg.bytes.size() - 2;
        const std::size_t subs = (size + SUB_BLOCK - 1) / SUB_BLOCK;
        PulseWriter w(tap);
        for (std::size_t k = 0; k < PILOT_WRITTEN; ++k)
            w.bit(0);
        w.bit(1);
        w.byte(SYNC[0]);
        w.byte(SYNC[1]);
        for (uint8_t b : {uint8_t(i + 1), uint8_t(0), prg.bytes[0], prg.bytes[1], uint8_t(subs), uint8_t(size % SUB_BLOCK)})
            w.byte(b);
        for (std::size_t k = 0; k < subs; ++k) {
            const uint8_t *sub = prg.bytes.data() + 2 + k * SUB_BLOCK;
            const std::size_t count = std::min(SUB_BLOCK, size - k * SUB_BLOCK);
            for (std::size_t b = 0; b < count; ++b)
                w.byte(sub[b]);
            w.byte(plus_one_sum(sub, count));
        }
        for (std::size_t k = 0; k < TRAILER_WRITTEN; ++k)
            w.bit(0);
        w.flush();
    };
    return tape_of_programs(make_boot_program(plan), "PAVLODA", prgs, options, write);
}

bool identify(const BootFacts &facts) { return facts.shows(422, {SYNC[0], SYNC[1]}); }

const TapeScanner SCANNER = {"pavloda", "Pavloda", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_PAVLODA = {"pavloda", "Pavloda", 3, &SCANNER, encode, identify};
