// The Commodore 16 / Plus/4 ROM tape format (scanner "c16") and a writer of
// it, as the KERNAL's SAVE records programs.
//
// The machine records square waves ("dipoles") of three lengths: short
// (240 us per half-wave), long (480 us) and word marker (960 us). A TAP
// version 2 file stores every half-wave as a pulse; versions 0 and 1 store
// one pulse per full wave. In a version 2 file a dipole is two pulses; the
// leader cannot tell their pairing, the first word marker after it can: it
// starts a dipole, and the leader's half-waves pair backwards from it (a lone
// half-wave may lead the leader).
//
// A bit is two dipoles: 0 = short, long; 1 = long, short (decided by which
// of the two is shorter, so that one stretched half-wave does not turn it).
// A byte is 20 dipoles: word marker, long, 8 bits least significant first,
// an odd parity bit. A block:
//   - a leader of short dipoles (about 16 382 before a FIRST copy, about 450
//     between the two copies);
//   - the countdown $89..$81 (FIRST copy) or $09..$01 (REPEAT copy);
//   - the bytes: a header is its type (1 BASIC program, 3 fixed-address
//     program, 4 data-file header, 5 end of tape) and 191 more bytes: start
//     and end address (exclusive), then the 16-byte name. A program's data
//     block has no type byte; a data file's block starts with type 2;
//   - the XOR of the bytes (the type byte included) as checkbyte;
//   - one long dipole as end marker, then short dipoles (about 194).
// Only a tape whose header names the C16 (platform 2) is scanned.
//
// Recognising a copy at a pulse:
//   - Leader: at least 32 waves within 20 % of their running mean (half-waves
//     measured in pairs), the first within 35 % of the ideal short wave.
//     Its mean gives the short value; long and word marker are the ideal
//     ones scaled alike (real machines run about 14 % fast). Waves are
//     short below 1.5 short waves, long below 3, word markers above.
//   - Countdown at the leader's end (or one pulse off): 7 of its 9 bytes
//     right; it tells FIRST from REPEAT.
//   - Bytes up to the end marker (or where the byte structure stops: then
//     the last byte read is still taken as the checkbyte).
//   - The short waves after the end marker are the copy's trailer, unless
//     they are a leader (32 waves or more) ending in another block: the
//     waves between the two copies lead the REPEAT.
// Header or data: a 192-byte block starting with type 1, 3, 4 or 5 is a
// header, except the REPEAT of a data copy and the block that follows a
// program header (1 or 3). A data copy after a program header takes its
// addresses and gives the program (the `loaded` run): the FIRST copy when
// its checkbyte passes, else the REPEAT.
//
// Pulse classes: Short, Medium and Long for the short, long and word marker
// half-waves (full waves on versions 0 and 1); cleaning writes their ideal
// values, so a cleaned version 2 tape stays one of half-waves.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <algorithm>
#include <cmath>
#include <cstring>

const char C16_TYPE_HEADER[] = "C16 ROM-TAPE HEADER";
const char C16_TYPE_DATA[] = "C16 ROM-TAPE DATA";

namespace {

constexpr PulseClass S = PulseClass::Short;
constexpr PulseClass M = PulseClass::Medium;  // long
constexpr PulseClass W = PulseClass::Long;    // word marker

constexpr unsigned C16_PLATFORM = 2;
constexpr double PAL_HZ = 886724, NTSC_HZ = 894886;
constexpr double SHORT_HALF_SECONDS = 240e-6;

constexpr std::size_t DIPOLES_PER_BYTE = 20;
constexpr std::size_t COUNTDOWN_BYTES = 9;
constexpr uint8_t COUNTDOWN_FIRST = 0x89;
constexpr uint8_t COUNTDOWN_REPEAT = 0x09;
constexpr int COUNTDOWN_MIN_MATCHES = 7;
constexpr std::size_t HEADER_SIZE = 192;  // type byte included
constexpr std::size_t NAME_OFFSET = 5;
constexpr std::size_t NAME_SIZE = 16;
constexpr uint8_t TYPE_BASIC = 1, TYPE_PROGRAM = 3, TYPE_DATA_HEADER = 4, TYPE_END = 5;

constexpr std::size_t MIN_LEADER_DIPOLES = 32;
constexpr std::size_t LEADER_WRITTEN = 16382;
constexpr std::size_t GAP_WRITTEN = 450;
constexpr std::size_t TRAILER_WRITTEN = 194;

// Ideal pulse values (TAP units) of the three classes.
struct Ideal {
    uint8_t s, l, w;
};

Ideal ideal_pulses(bool half_waves, bool ntsc)
{
    const double hz = ntsc ? NTSC_HZ : PAL_HZ;
    const double per_wave = half_waves ? 1 : 2;
    auto units = [&](double factor) { return uint8_t(std::lround(SHORT_HALF_SECONDS * factor * per_wave * hz / 8)); };
    return Ideal{units(1), units(2), units(4)};
}

// The tape's dipoles from a pulse: one pulse each (full waves) or two.
struct Dipoles {
    const uint8_t *small;
    std::size_t n;
    std::size_t stride;  // pulses per dipole
    double fs;           // calibrated short dipole (units)

    // No irregular pulse in `count` dipoles from p.
    bool ordinary(std::size_t p, std::size_t count) const
    {
        const std::size_t len = count * stride;
        return p + len <= n && std::memchr(small + p, 0, len) == nullptr;
    }
    unsigned length(std::size_t p, std::size_t k) const
    {
        const std::size_t q = p + k * stride;
        return stride == 2 ? unsigned(small[q]) + small[q + 1] : small[q];
    }
    PulseClass kind(std::size_t p, std::size_t k) const
    {
        const double d = length(p, k);
        return d < 1.5 * fs ? S : d < 3 * fs ? M : W;
    }
    int bit(std::size_t p, std::size_t k) const { return length(p, k) > length(p, k + 1) ? 1 : 0; }
    // The byte of 20 dipoles at p; parity_ok when the parity bit makes it odd.
    uint8_t byte(std::size_t p, bool *parity_ok) const
    {
        unsigned v = 0;
        for (unsigned b = 0; b < 8; ++b)
            v |= unsigned(bit(p, 2 + 2 * b)) << b;
        unsigned ones = unsigned(bit(p, 18));
        for (unsigned b = 0; b < 8; ++b)
            ones += (v >> b) & 1u;
        *parity_ok = (ones & 1u) == 1;
        return uint8_t(v);
    }
    // A byte follows the (long, short) at p: a word marker 20 dipoles on and
    // long dipoles in between, so that was a damaged marker, not the end.
    bool byte_follows(std::size_t p) const
    {
        if (!ordinary(p, DIPOLES_PER_BYTE + 2) || kind(p, DIPOLES_PER_BYTE) != W ||
            kind(p, DIPOLES_PER_BYTE + 1) != M)
            return false;
        int longs = 0;
        for (std::size_t k = 2; k < DIPOLES_PER_BYTE; ++k)
            longs += kind(p, k) == M;
        return longs >= 4;
    }
};

// The leader from `index`: waves within 20 % of their running mean (a lone
// stray wave followed by 4 such waves included; silence ends it). Half-waves
// are measured in pairs, as their two halves may differ.
struct Leader {
    std::size_t end = 0;  // first pulse after it
    double mean = 0;      // of a wave
};

Leader measure_leader(const uint8_t *small, std::size_t n, std::size_t index, std::size_t stride)
{
    auto wave = [&](std::size_t k) -> unsigned {
        if (k + stride > n || small[k] == 0 || (stride == 2 && small[k + 1] == 0))
            return 0;
        return stride == 2 ? unsigned(small[k]) + small[k + 1] : small[k];
    };
    uint64_t sum = wave(index), count = 1;
    auto in_leader = [&](unsigned u) {
        const uint64_t scaled = 5 * uint64_t(u) * count;
        return u != 0 && scaled >= 4 * sum && scaled <= 6 * sum;
    };
    std::size_t k = index + stride;
    while (k < n) {
        if (in_leader(wave(k))) {
            sum += wave(k);
            ++count;
            k += stride;
        } else if (wave(k) != 0 && in_leader(wave(k + stride)) && in_leader(wave(k + 2 * stride)) &&
                   in_leader(wave(k + 3 * stride)) && in_leader(wave(k + 4 * stride))) {
            k += stride;
        } else {
            break;
        }
    }
    return Leader{std::min(k, n), double(sum) / double(count)};
}

// The countdown's first pulse near the leader's end (0 when none).
std::size_t find_countdown(const Dipoles &d, std::size_t index, std::size_t leader_end, bool *repeat)
{
    std::size_t found = 0;
    int best = COUNTDOWN_MIN_MATCHES - 1;
    const std::size_t candidates[3] = {leader_end, leader_end - 1, leader_end + 1};
    for (std::size_t c : candidates) {
        if (c <= index || !d.ordinary(c, COUNTDOWN_BYTES * DIPOLES_PER_BYTE) || d.kind(c, 0) != W)
            continue;
        int first = 0, second = 0;
        for (std::size_t b = 0; b < COUNTDOWN_BYTES; ++b) {
            bool parity = true;
            const uint8_t v = d.byte(c + b * DIPOLES_PER_BYTE * d.stride, &parity);
            first += v == COUNTDOWN_FIRST - b;
            second += v == COUNTDOWN_REPEAT - b;
        }
        if (std::max(first, second) > best) {
            best = std::max(first, second);
            found = c;
            *repeat = second > first;
        }
    }
    return found;
}

// The bytes from p up to the end marker or where the byte structure stops,
// with the first pulse of each; returns the pulse after the last byte. A
// damaged word marker is passed over when the next one is where it should
// be; a pulse gained or lost (noise splitting or merging waves) is passed
// over when a clean marker follows one pulse off.
std::size_t read_bytes(const Dipoles &d, std::size_t p, std::vector<uint8_t> &bytes, std::vector<std::size_t> &starts,
                       bool *end_marker, unsigned *parity_errors)
{
    *end_marker = false;
    *parity_errors = 0;
    const std::size_t first = p;
    auto clean_marker = [&](std::size_t q) { return d.ordinary(q, 2) && d.kind(q, 0) == W && d.kind(q, 1) == M; };
    for (;;) {
        if (!d.ordinary(p, 2))
            break;
        const PulseClass c0 = d.kind(p, 0), c1 = d.kind(p, 1);
        if (c0 == M && c1 == S) {
            if (!d.byte_follows(p)) {
                *end_marker = true;
                break;
            }
        } else if (!(c0 == W && c1 == M)) {
            const bool next_in_place = d.ordinary(p, DIPOLES_PER_BYTE + 1) && d.kind(p, DIPOLES_PER_BYTE) == W;
            if (!next_in_place) {
                if (clean_marker(p + 1))
                    ++p;
                else if (p > first && clean_marker(p - 1))
                    --p;
                else
                    break;
            }
        }
        if (!d.ordinary(p, DIPOLES_PER_BYTE))
            break;
        bool parity_ok = true;
        bytes.push_back(d.byte(p, &parity_ok));
        starts.push_back(p);
        *parity_errors += !parity_ok;
        p += DIPOLES_PER_BYTE * d.stride;
    }
    return p;
}

// Writes the class of the dipole at pulse p.
void put(uint8_t *info, std::size_t p, std::size_t stride, PulseClass c)
{
    for (std::size_t k = 0; k < stride; ++k)
        info[p + k] = uint8_t(c);
}

void put_byte(uint8_t *info, std::size_t p, std::size_t stride, uint8_t value)
{
    put(info, p, stride, W);
    put(info, p + stride, stride, M);
    unsigned parity = 1;
    for (unsigned b = 0; b <= 8; ++b) {
        const unsigned bit = b < 8 ? (value >> b) & 1u : parity;
        parity ^= b < 8 ? bit : 0;
        const std::size_t q = p + (2 + 2 * b) * stride;
        put(info, q, stride, bit ? M : S);
        put(info, q + stride, stride, bit ? S : M);
    }
}

bool is_header(const TapeEntry &e) { return e.block_type >= 0; }
bool is_program_header(const TapeEntry &e) { return e.block_type == TYPE_BASIC || e.block_type == TYPE_PROGRAM; }

// The last file entry before the one being recognised, when it is one of ours.
const TapeEntry *previous_block(const std::vector<TapeEntry> &entries, std::size_t before, std::size_t *index,
                                const TapeScanner *self)
{
    for (std::size_t k = before; k-- > 0;) {
        const TapeEntry &e = entries[k];
        if (e.kind != EntryKind::File)
            continue;
        if (e.scanner != self)
            return nullptr;
        *index = k;
        return &e;
    }
    return nullptr;
}

// Header or data, with a header's fields, or the addresses (and loaded
// bytes) of a program's data.
void set_kind(const std::vector<TapeEntry> &entries, const TapeScanner *self, TapeEntry &entry)
{
    const std::vector<uint8_t> &bytes = entry.payload;
    const bool repeat = entry.copy == CopyId::Repeat;
    std::size_t prev_index = 0;
    const TapeEntry *prev = previous_block(entries, entries.size(), &prev_index, self);
    const uint8_t t = bytes.size() == HEADER_SIZE ? bytes[0] : 0;
    bool header = t == TYPE_BASIC || t == TYPE_PROGRAM || t == TYPE_DATA_HEADER || t == TYPE_END;
    if (header && prev != nullptr) {
        if (!is_header(*prev) && prev->copy == CopyId::First && repeat)
            header = false;  // the REPEAT of a data copy
        else if (is_program_header(*prev) && !(repeat && prev->copy == CopyId::First))
            header = false;  // the program that header announced
    }
    if (header) {
        entry.type = C16_TYPE_HEADER;
        entry.block_type = t;
        turbo::set_addresses(entry, uint16_t(bytes[1] | bytes[2] << 8), uint16_t(bytes[3] | bytes[4] << 8));
        entry.has_name = true;
        entry.raw_name.assign(bytes.begin() + NAME_OFFSET, bytes.begin() + NAME_OFFSET + NAME_SIZE);
        entry.name = petscii_name_to_ascii(entry.raw_name.data(), entry.raw_name.size());
        return;
    }
    entry.type = C16_TYPE_DATA;
    const TapeEntry *from = nullptr;
    int from_index = -1;
    bool first_copy_loaded = false;  // a passing FIRST copy already gave the program
    if (prev != nullptr && !is_header(*prev) && prev->copy == CopyId::First && repeat) {
        if (prev->has_addresses) {
            from = prev;
            from_index = prev->header_entry;
            first_copy_loaded = !prev->loaded.empty();
        }
    } else if (prev != nullptr && is_program_header(*prev)) {
        from = prev;
        from_index = int(prev_index);
        // The header's FIRST copy when its REPEAT failed.
        std::size_t before_index = 0;
        const TapeEntry *before = previous_block(entries, prev_index, &before_index, self);
        if (!prev->checkbyte_pass && prev->copy == CopyId::Repeat && before != nullptr && is_program_header(*before) &&
            before->copy == CopyId::First && before->checkbyte_pass) {
            from = before;
            from_index = int(before_index);
        }
    }
    if (from == nullptr)
        return;
    turbo::set_addresses(entry, from->load_address, from->end_address);
    entry.header_entry = from_index;
    // One program per file: the FIRST copy's when it passes, else the REPEAT's.
    const bool gives = repeat ? !first_copy_loaded : entry.checkbyte_pass;
    if (gives)
        entry.loaded.push_back({from->load_address, bytes});
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry);

const TapeScanner SCANNER = {"c16", "C16 / Plus/4 ROM loader", SCAN_FOR_C16, recognise};

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    const uint8_t *small = track.small.data();
    const std::size_t n = track.size();
    if (ctx.platform != C16_PLATFORM) {
        retry = std::max(n, index + 1);
        return false;
    }
    const Ideal ideal = ideal_pulses(ctx.half_waves, ctx.video == 1);
    const std::size_t stride = ctx.half_waves ? 2 : 1;
    retry = index + 1;

    // A short pulse, up to 35 % off (real machines run fast).
    const unsigned u0 = index + stride <= n ? unsigned(small[index]) + (stride == 2 ? small[index + 1] : 0) : 0;
    const unsigned ideal_wave = ideal.s * unsigned(stride);
    if (u0 == 0 || small[index] == 0 || 20 * u0 < 13 * ideal_wave || 20 * u0 > 27 * ideal_wave)
        return false;
    const Leader leader = measure_leader(small, n, index, stride);
    retry = std::max(leader.end, index + 1);
    if (leader.end - index < MIN_LEADER_DIPOLES * stride)
        return false;

    const double hs = leader.mean / double(stride);  // calibrated short pulse
    const Dipoles d{small, n, stride, hs * double(stride)};
    bool repeat = false;
    const std::size_t sync = find_countdown(d, index, leader.end, &repeat);
    if (sync == 0)
        return false;
    const std::size_t inner = sync + COUNTDOWN_BYTES * DIPOLES_PER_BYTE * stride;
    std::vector<uint8_t> &bytes = entry.payload;
    bool end_marker = false;
    unsigned parity_errors = 0;
    std::vector<std::size_t> starts;
    const std::size_t after = read_bytes(d, inner, bytes, starts, &end_marker, &parity_errors);
    if (bytes.size() < 2)
        return false;
    const uint8_t checkbyte = bytes.back();
    bytes.pop_back();

    // The pulses after the block: short ones are its trailer, unless they
    // run long enough to be the leader of a block that follows.
    std::size_t end = end_marker ? after + stride : after;
    {
        auto short_pulse = [&](std::size_t q) {
            return q < n && small[q] != 0 && 10.0 * small[q] >= 7.0 * hs && 10.0 * small[q] <= 13.0 * hs;
        };
        auto short_wave = [&](std::size_t q) {
            if (!short_pulse(q) || (stride == 2 && !short_pulse(q + 1)))
                return false;
            const double w = stride == 2 ? double(small[q]) + small[q + 1] : small[q];
            return 5.0 * w >= 4.0 * d.fs && 5.0 * w <= 6.0 * d.fs;
        };
        std::size_t q = end;
        while (short_wave(q))
            q += stride;
        if (short_pulse(q))
            ++q;  // the lone first half of a wave cut off
        const bool next_leader = q - end >= MIN_LEADER_DIPOLES * stride && q < n && small[q] != 0;
        if (!next_leader)
            end = q;
    }

    entry.kind = EntryKind::File;
    entry.first_pulse = index;
    entry.pulse_count = end - index;
    entry.sync_pulse = sync;
    entry.inner_start_pulse = inner;
    entry.inner_end_pulse = starts.back();
    turbo::set_checkbyte(entry, checkbyte, turbo::xor_of(bytes.data(), bytes.size()));
    entry.has_crc = true;
    entry.crc32 = crc32_of(bytes);
    entry.copy = repeat ? CopyId::Repeat : CopyId::First;
    entry.parity_errors = parity_errors;
    entry.pulse_short = hs;
    entry.pulse_medium = hs * ideal.l / ideal.s;
    entry.pulse_long = hs * ideal.w / ideal.s;
    entry.ideal_units[std::size_t(S)] = ideal.s;
    entry.ideal_units[std::size_t(M)] = ideal.l;
    entry.ideal_units[std::size_t(W)] = ideal.w;
    set_kind(*ctx.entries, &SCANNER, entry);

    // Classes: what an ideal tape has at every pulse.
    uint8_t *info = ctx.pulse_info->data();
    std::memset(info + index, uint8_t(S), sync - index);
    const uint8_t countdown = repeat ? COUNTDOWN_REPEAT : COUNTDOWN_FIRST;
    const std::size_t byte_pulses = DIPOLES_PER_BYTE * stride;
    for (std::size_t b = 0; b < COUNTDOWN_BYTES; ++b)
        put_byte(info, sync + b * byte_pulses, stride, uint8_t(countdown - b));
    for (std::size_t b = 0; b < bytes.size(); ++b)
        put_byte(info, starts[b], stride, bytes[b]);
    put_byte(info, entry.inner_end_pulse, stride, checkbyte);
    std::size_t q = after;
    if (end_marker) {
        put(info, q, stride, M);
        q += stride;
    }
    if (q < end)
        std::memset(info + q, uint8_t(S), end - q);
    const double values[3] = {entry.pulse_short, entry.pulse_medium, entry.pulse_long};
    const double tolerance = ctx.options->tolerance;
    unsigned errors = 0;
    for (std::size_t r = index; r < end; ++r) {
        const double u = small[r];
        bool near = false;
        for (double v : values)
            near = near || (u != 0 && std::fabs(u - v) <= tolerance);
        if (!near) {
            info[r] |= PULSE_READ_ERROR;
            ++errors;
        }
    }
    entry.read_errors = errors;
    return true;
}

// --- Encoding --------------------------------------------------------------

class TapeWriter {
public:
    TapeWriter(std::vector<uint8_t> &tap, bool half_waves, const Ideal &ideal)
        : tap_(tap), half_(half_waves), ideal_(ideal)
    {
    }
    void dipole(uint8_t units)
    {
        tap_.push_back(units);
        if (half_)
            tap_.push_back(units);
    }
    void shorts(std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
            dipole(ideal_.s);
    }
    void byte(uint8_t value)
    {
        dipole(ideal_.w);
        dipole(ideal_.l);
        unsigned parity = 1;
        for (unsigned b = 0; b <= 8; ++b) {
            const unsigned bit = b < 8 ? (value >> b) & 1u : parity;
            parity ^= b < 8 ? bit : 0;
            dipole(bit ? ideal_.l : ideal_.s);
            dipole(bit ? ideal_.s : ideal_.l);
        }
    }
    // Both copies of a block, as SAVE writes them.
    void block(const std::vector<uint8_t> &bytes)
    {
        const uint8_t check = turbo::xor_of(bytes.data(), bytes.size());
        for (const uint8_t countdown : {COUNTDOWN_FIRST, COUNTDOWN_REPEAT}) {
            shorts(countdown == COUNTDOWN_FIRST ? LEADER_WRITTEN : GAP_WRITTEN);
            for (std::size_t b = 0; b < COUNTDOWN_BYTES; ++b)
                byte(uint8_t(countdown - b));
            for (uint8_t v : bytes)
                byte(v);
            byte(check);
            dipole(ideal_.l);
        }
        shorts(TRAILER_WRITTEN);
    }

private:
    std::vector<uint8_t> &tap_;
    bool half_;
    Ideal ideal_;
};

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const turbo::TapeOptions &options,
                            std::string &error)
{
    error = turbo::programs_problem(prgs);
    if (!error.empty())
        return {};
    // Half-waves (version 2) unless version 0 is asked for, which stores full waves.
    const int version = options.tap_version == 0 ? 0 : 2;
    const bool half_waves = version == 2;
    std::vector<uint8_t> tap(TAP_HEADER_SIZE, 0);
    std::memcpy(tap.data(), TAP_MAGIC_C16, TAP_MAGIC_SIZE);
    tap[TAP_OFFSET_VERSION] = uint8_t(version);
    tap[TAP_OFFSET_PLATFORM] = C16_PLATFORM;
    tap[TAP_OFFSET_VIDEO] = options.ntsc ? 1 : 0;
    TapeWriter w(tap, half_waves, ideal_pulses(half_waves, options.ntsc));
    const double seconds = std::max(0.0, std::min(options.pause_seconds, 86400.0));
    const uint64_t pause = uint64_t(seconds * (options.ntsc ? NTSC_HZ : PAL_HZ));
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const PrgInput &prg = prgs[i];
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const uint16_t end = uint16_t(load + prg.bytes.size() - 2);
        // BASIC programs at the C16's BASIC start are relocatable.
        const uint8_t type = load == 0x1001 ? TYPE_BASIC : TYPE_PROGRAM;
        std::vector<uint8_t> header = {type, uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8)};
        const std::vector<uint8_t> name = turbo::petscii_name(prg.name, NAME_SIZE);
        header.insert(header.end(), name.begin(), name.end());
        header.resize(HEADER_SIZE, 0x20);
        w.block(header);
        w.block(std::vector<uint8_t>(prg.bytes.begin() + 2, prg.bytes.end()));
        if (i + 1 < prgs.size() && pause > 0)
            tap_append_pause(tap, pause, version);
    }
    tap_fix_data_size(tap);
    return tap;
}

// The ROM loader needs no boot file.
bool identify(const BootFacts &) { return false; }

} // namespace

const TurboLoader LOADER_C16 = {"c16", "C16 / Plus/4 ROM loader", 5, &SCANNER, encode, identify};
