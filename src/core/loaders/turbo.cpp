// What the turbo loaders share; see turbo.h.
#include "core/loaders/turbo.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <cstdint>

namespace turbo {

// --- Reading ---------------------------------------------------------------

BitReader::BitReader(const PulseTrack &track, double threshold_units, BitOrder order)
    : small_(track.small.data()), n_(track.size()), threshold_(threshold_units), order_(order)
{
    // The first whole unit value at or above the threshold; readers are
    // made for every scanner call, so no table is filled here.
    const double up = std::ceil(threshold_units);
    cutoff_ = up < 1 ? 1u : up > 256 ? 256u : unsigned(up);
}

bool BitReader::byte(std::size_t p, uint8_t &value) const
{
    if (p + 8 > n_)
        return false;
    unsigned v = 0;
    for (unsigned k = 0; k < 8; ++k) {
        const int b = bit_of(small_[p + k]);
        if (b < 0)
            return false;
        if (order_ == BitOrder::MsbFirst)
            v = (v << 1) | unsigned(b);
        else
            v |= unsigned(b) << k;
    }
    value = uint8_t(v);
    return true;
}

bool BitReader::bytes(std::size_t p, std::size_t count, std::vector<uint8_t> &out) const
{
    for (std::size_t k = 0; k < count; ++k) {
        uint8_t v = 0;
        if (!byte(p + 8 * k, v))
            return false;
        out.push_back(v);
    }
    return true;
}

ClassMeans class_means(const PulseTrack &track, std::size_t first, std::size_t end, double threshold_units)
{
    ClassMeans m;
    uint64_t zero_sum = 0, one_sum = 0;
    for (std::size_t q = first; q < end && q < track.size(); ++q) {
        const uint8_t u = track.small[q];
        if (u == 0)
            continue;
        if (u < threshold_units) {
            zero_sum += u;
            ++m.zeros;
        } else {
            one_sum += u;
            ++m.ones;
        }
    }
    m.zero = m.zeros ? double(zero_sum) / double(m.zeros) : 0;
    m.one = m.ones ? double(one_sum) / double(m.ones) : 0;
    return m;
}

namespace {
thread_local bool reading_at_loader_threshold = false;
}

LoaderThresholdReading::LoaderThresholdReading() : was_(reading_at_loader_threshold)
{
    reading_at_loader_threshold = true;
}

LoaderThresholdReading::~LoaderThresholdReading() { reading_at_loader_threshold = was_; }

double calibrated_threshold(const ClassMeans &means, const Format &format)
{
    const double nominal = units_of_cycles(format.threshold_cycles);
    if (means.zeros == 0)
        return nominal;
    // The loader's own threshold at the tape's speed.
    if (reading_at_loader_threshold)
        return means.zero * nominal / format.ideal0;
    // The middle of the two lengths: with no 1 pulse measured, the ideal 1
    // at the speed of the 0 pulses.
    const double one = means.ones == 0 ? means.zero * format.ideal1 / format.ideal0 : means.one;
    return (means.zero + one) / 2;
}

bool plausible_speed(const ClassMeans &means, const Format &format, double slack)
{
    auto near = [slack](double measured, double ideal) {
        return measured >= ideal * (1 - slack) && measured <= ideal * (1 + slack);
    };
    return (means.zeros == 0 || near(means.zero, format.ideal0)) && (means.ones == 0 || near(means.one, format.ideal1));
}

bool pulses_fit(const ClassMeans &means, const Format &format, double speed_slack, double ratio_slack,
                std::size_t min_each)
{
    if (means.zeros < min_each || means.ones < min_each || means.zero <= 0)
        return false;
    const double speed = means.zero / format.ideal0;
    const double ratio = (means.one / means.zero) / (double(format.ideal1) / format.ideal0);
    return std::fabs(speed - 1) <= speed_slack && std::fabs(ratio - 1) <= ratio_slack;
}

bool pulses_fit(const PulseTrack &track, std::size_t first, std::size_t end, double threshold_units,
                const Format &format)
{
    const ClassMeans means = class_means(track, first, end, threshold_units);
    if (means.zeros < 16 || means.ones < 4 || !pulses_fit(means, format, 0.15, 0.08, 4))
        return false;
    std::size_t tight_zeros = 0, tight_ones = 0;
    for (std::size_t q = first; q < end && q < track.size(); ++q) {
        const uint8_t u = track.small[q];
        if (u == 0)
            continue;
        if (u < threshold_units)
            tight_zeros += std::fabs(u - means.zero) <= 0.2 * means.zero;
        else
            tight_ones += std::fabs(u - means.one) <= 0.2 * means.one;
    }
    return 10 * tight_zeros >= 9 * means.zeros && 10 * tight_ones >= 9 * means.ones;
}

// --- Pilots ----------------------------------------------------------------

namespace {

// Pulse q holds a bit and the pulse 8 later holds the same: inside a pilot
// of one byte value every pulse but the last byte's does.
inline bool repeats(const BitReader &reader, std::size_t q)
{
    const int b = reader.bit(q);
    return b >= 0 && b == reader.bit(q + 8);
}

// The 8 bits from q, the first one highest.
unsigned bits_from(const BitReader &reader, std::size_t q)
{
    unsigned v = 0;
    for (unsigned k = 0; k < 8; ++k)
        v = (v << 1) | unsigned(reader.bit(q + k) > 0);
    return v;
}

// Marks every rotation of `value`, in either bit order: the 8 bits read
// anywhere in a run of that byte are one of them.
void mark_rotations(uint8_t value, std::bitset<256> &marks)
{
    uint8_t mirrored = 0;
    for (unsigned k = 0; k < 8; ++k)
        mirrored |= uint8_t(((value >> k) & 1u) << (7 - k));
    for (unsigned r = 0; r < 8; ++r) {
        marks.set(uint8_t((value << r) | (value >> ((8 - r) & 7))));
        marks.set(uint8_t((mirrored << r) | (mirrored >> ((8 - r) & 7))));
    }
}

} // namespace

bool next_repeating_stretch(const BitReader &reader, std::size_t from, std::size_t span,
                            const std::vector<uint8_t> &values, std::size_t &begin, std::size_t &end,
                            std::size_t until)
{
    const std::size_t n = reader.size();
    span = std::max<std::size_t>(span, 8);
    // A stretch beginning before `until` holds a grid point before until + span.
    const std::size_t grid_end = std::min(n, until > SIZE_MAX - span ? SIZE_MAX : until + span);
    std::size_t g = from + span - 1;  // every stretch of `span` from `from` on holds one grid point
    std::bitset<256> rotations;
    for (uint8_t v : values)
        mark_rotations(v, rotations);
    auto wanted = [&](std::size_t q) { return values.empty() || rotations.test(bits_from(reader, q)); };
    while (g < grid_end) {
        // The 8 bits from a pulse of a stretch are a rotation of its byte:
        // a stretch of another byte (a leader, another format's pilot) is
        // passed over without being walked.
        if (!repeats(reader, g) || !wanted(g)) {
            g += span;
            continue;
        }
        std::size_t b = g, e = g + 1;
        while (b > from && repeats(reader, b - 1))
            --b;
        while (e < n && repeats(reader, e))
            ++e;
        if (e - b >= span) {
            begin = b;
            end = e;
            return true;
        }
        // No stretch through g will do: the next one starts after e.
        g = e + span;
    }
    return false;
}

bool find_byte_pilot(const PulseTrack &track, std::size_t from, const Format &format, const BytePilot &pilot,
                     PilotFound &found, std::size_t &retry, std::size_t until)
{
    const BitReader reader(track, units_of_cycles(format.threshold_cycles), format.order);
    const std::size_t n = reader.size();
    const bool msb = format.order == BitOrder::MsbFirst;
    const std::size_t span = 8 * (std::max<std::size_t>(pilot.min_bytes, 2) - 1);
    std::size_t begin = 0, stretch_end = 0;
    std::size_t searched = from;  // pulses before this hold no pilot
    const std::vector<uint8_t> values = {pilot.value};
    while (next_repeating_stretch(reader, searched, span, values, begin, stretch_end, until)) {
        // Read byte by byte through the stretch, from 8 pulses before it (so
        // the pulses leading into a pilot are seen) to its end.
        const std::size_t first = std::max(from, begin >= 8 ? begin - 8 : 0);
        const std::size_t last = std::min(n, stretch_end + 8);
        unsigned reg = 0;
        unsigned valid = 0;            // bits in reg since the last pulse that was no bit
        std::size_t run_start = first;  // first bit pulse of the current run
        for (std::size_t q = first; q < last; ++q) {
            const int b = reader.bit(q);
            if (b < 0) {
                valid = 0;
                run_start = q + 1;
                continue;
            }
            reg = msb ? ((reg << 1) | unsigned(b)) & 0xFFu : (reg >> 1) | (unsigned(b) << 7);
            if (++valid < 8 || reg != pilot.value)
                continue;
            // A pilot byte ends at q: count the ones after it.
            const std::size_t aligned = q - 7;
            std::size_t end = q + 1;
            std::size_t count = 1;
            uint8_t v = 0;
            while (reader.byte(end, v) && v == pilot.value) {
                end += 8;
                ++count;
            }
            if (count < pilot.min_bytes)
                continue;
            const std::size_t lead = std::min<std::size_t>(aligned - std::max(run_start, from), 7);
            if (aligned - lead > from) {
                retry = aligned - lead;
                return false;
            }
            found.start = from;
            found.aligned = aligned;
            found.end = end;
            found.means = class_means(track, aligned, end, reader.threshold());
            found.threshold = calibrated_threshold(found.means, format);
            return true;
        }
        searched = stretch_end;
    }
    retry = retry_after_search(from, until, n);
    return false;
}

bool find_byte_pilot_after_zeros(const PulseTrack &track, std::size_t from, const Format &format,
                                 const BytePilot &pilot, PilotFound &found, std::size_t &retry, std::size_t until)
{
    if (find_byte_pilot(track, from, format, pilot, found, retry, until))
        return true;
    if (retry >= until)
        return false;  // no pilot before the horizon
    // The pilot found farther on may follow 0 bits all the way from `from`;
    // the pulses before retry were looked at once, the search goes on from
    // there, so the whole stays linear.
    const BitReader reader(track, units_of_cycles(format.threshold_cycles), format.order);
    const std::size_t leader_end = retry;
    if (leader_end >= reader.size())
        return false;
    for (std::size_t q = from; q < leader_end; ++q)
        if (reader.bit(q) != 0) {
            // The pilot farther on may follow a leader of 0 bits of its own:
            // come back where that leader begins, so it stays the entry's.
            std::size_t z = leader_end;
            while (z > q + 1 && reader.bit(z - 1) == 0)
                --z;
            retry = z;
            return false;
        }
    if (!find_byte_pilot(track, leader_end, format, pilot, found, retry, until))
        return false;
    found.start = from;
    return true;
}

namespace {

// A 1 inside a pilot of 0 bits is a stray pulse when this many zeros follow it.
constexpr std::size_t STRAY_FOLLOWERS = 32;

// find_bit_pilot for a pilot that starts right at `from`.
bool bit_pilot_at(const PulseTrack &track, const BitReader &reader, std::size_t from, const Format &format,
                  std::size_t min_pulses, PilotFound &found, std::size_t &retry)
{
    const std::size_t n = reader.size();
    std::size_t q = from;
    while (q < n && reader.bit(q) != 0)
        ++q;  // a pilot starts with a 0
    if (q > from) {
        retry = std::max(q, from + 1);
        return false;
    }
    std::size_t zeros = 0;
    for (;;) {
        while (q < n && reader.bit(q) == 0) {
            ++q;
            ++zeros;
        }
        if (q >= n || reader.bit(q) < 0)
            break;
        // A 1: the pilot's end, or a stray pulse when zeros go on after it.
        std::size_t k = q + 1;
        while (k < n && k - q <= STRAY_FOLLOWERS && reader.bit(k) == 0)
            ++k;
        if (k - q > STRAY_FOLLOWERS && zeros >= 1) {
            zeros += k - q - 1;
            q = k;
            continue;
        }
        if (zeros >= min_pulses) {
            found.start = from;
            found.aligned = from;
            found.end = q + 1;
            found.means = class_means(track, from, q, reader.threshold());
            found.means.one = 0;
            found.means.ones = 0;
            found.threshold = calibrated_threshold(found.means, format);
            return true;
        }
        break;
    }
    retry = std::max(q + 1, from + 1);
    return false;
}

} // namespace

bool find_bit_pilot(const PulseTrack &track, std::size_t from, const Format &format, std::size_t min_pulses,
                    PilotFound &found, std::size_t &retry, std::size_t until)
{
    const BitReader reader(track, units_of_cycles(format.threshold_cycles), format.order);
    const std::size_t span = std::max<std::size_t>(min_pulses, 1);
    const std::size_t n = reader.size();
    // A run beginning before `until` holds a grid point before until + span.
    const std::size_t grid_end = std::min(n, until > SIZE_MAX - span ? SIZE_MAX : until + span);
    // A pilot's first 0 at `from` is tried at once; elsewhere a pilot of
    // `span` 0 bits holds one pulse of a grid of that spacing, so only those
    // pulses need a look where there is none.
    if (reader.bit(from) == 0)
        return bit_pilot_at(track, reader, from, format, min_pulses, found, retry);
    std::size_t g = from + span;
    while (g < grid_end) {
        // A stray 1 between 0 bits on the grid point: the run goes on past it.
        if (reader.bit(g) == 1 && reader.bit(g - 1) == 0 && reader.bit(g + 1) == 0)
            ++g;
        if (reader.bit(g) != 0) {
            g += span;
            continue;
        }
        // Back to where this run of 0 bits starts (through stray 1 pulses).
        std::size_t r = g;
        for (;;) {
            if (r > from && reader.bit(r - 1) == 0) {
                --r;
                continue;
            }
            if (r > from + 1 && reader.bit(r - 1) == 1 && reader.bit(r - 2) == 0) {
                std::size_t zeros = 0;
                while (zeros <= STRAY_FOLLOWERS && reader.bit(r + zeros) == 0)
                    ++zeros;
                if (zeros > STRAY_FOLLOWERS) {
                    r -= 2;
                    continue;
                }
            }
            break;
        }
        std::size_t next = 0;
        PilotFound here;
        if (bit_pilot_at(track, reader, r, format, min_pulses, here, next)) {
            retry = r;  // asked again there, it is found at once
            return false;
        }
        g = std::max(next, r + 1) + span - 1;
    }
    retry = retry_after_search(from, until, n);
    return false;
}

// --- Entries ---------------------------------------------------------------

void fill_entry(const ScanContext &ctx, const Format &format, const Block &block, TapeEntry &entry)
{
    const PulseTrack &track = *ctx.pulses;
    entry.kind = EntryKind::File;
    entry.first_pulse = block.first;
    entry.pulse_count = block.end - block.first;
    entry.inner_start_pulse = std::min(block.inner_start, block.end - 1);
    entry.inner_end_pulse = std::min(std::max(block.inner_end, entry.inner_start_pulse), block.end - 1);
    entry.ideal_units[std::size_t(BIT0)] = format.ideal0;
    entry.ideal_units[std::size_t(BIT1)] = format.ideal1;

    const double zero = block.means.zeros ? block.means.zero : format.ideal0;
    const double one = block.means.ones ? block.means.one : zero * format.ideal1 / format.ideal0;
    entry.pulse_short = zero;
    entry.pulse_medium = one;
    // The class and read-error flag of every pulse value, worked out once.
    const double tolerance = ctx.options->tolerance;
    uint8_t info_of[256];
    info_of[0] = uint8_t(PulseClass::None) | PULSE_READ_ERROR;
    for (int u = 1; u < 256; ++u) {
        info_of[u] = uint8_t(u < block.threshold ? BIT0 : BIT1);
        if (std::fabs(u - zero) > tolerance && std::fabs(u - one) > tolerance)
            info_of[u] |= PULSE_READ_ERROR;
    }
    uint8_t *info = ctx.pulse_info->data();
    const uint8_t *small = track.small.data();
    unsigned errors = 0;
    for (std::size_t q = block.first; q < block.end; ++q) {
        info[q] = info_of[small[q]];
        errors += (info[q] & PULSE_READ_ERROR) != 0;
    }
    entry.read_errors = errors;
}

bool find_plausible_byte_pilot(const PulseTrack &track, std::size_t from, const Format &format,
                               const BytePilot &pilot, bool after_zeros, PilotFound &found, std::size_t &retry,
                               std::size_t until)
{
    const bool seen = after_zeros ? find_byte_pilot_after_zeros(track, from, format, pilot, found, retry, until)
                                  : find_byte_pilot(track, from, format, pilot, found, retry, until);
    if (!seen)
        return false;
    retry = found.end;  // whatever follows, this pilot leads nowhere else
    return plausible_speed(found.means, format);
}

Block BlockHead::block() const
{
    Block b;
    b.first = pilot.start;
    b.inner_start = header_at;
    b.threshold = pilot.threshold;
    b.means = pilot.means;
    return b;
}

bool read_block_head(const PulseTrack &track, std::size_t from, const Format &format, const BytePilot &pilot,
                     bool after_zeros, const SyncSpec &sync, std::size_t header_bytes, BlockHead &head,
                     std::size_t &retry, std::size_t until)
{
    if (!find_plausible_byte_pilot(track, from, format, pilot, after_zeros, head.pilot, retry, until))
        return false;
    const BitReader reader(track, head.pilot.threshold, format.order);
    std::vector<uint8_t> bytes;
    if (!reader.bytes(head.pilot.end, sync.size + header_bytes, bytes) ||
        count_matching(bytes.data(), sync.bytes, sync.size) < sync.min_matches)
        return false;
    head.header.assign(bytes.begin() + long(sync.size), bytes.end());
    head.header_at = head.pilot.end + 8 * sync.size;
    return true;
}

bool read_data_and_checksum(const BitReader &reader, std::size_t p, std::size_t size, std::vector<uint8_t> &data,
                            BlockTail &tail)
{
    uint8_t v = 0;
    while (data.size() < size + 1 && reader.byte(p, v)) {
        data.push_back(v);
        p += 8;
    }
    if (data.size() < 2)
        return false;
    tail.checksum = data.back();
    data.pop_back();
    tail.checksum_at = p - 8;
    tail.after = p;
    return true;
}

std::size_t count_matching(const uint8_t *a, const uint8_t *b, std::size_t size)
{
    std::size_t n = 0;
    for (std::size_t i = 0; i < size; ++i)
        n += a[i] == b[i];
    return n;
}

bool byte_run_at(const BitReader &reader, std::size_t q, uint8_t value, std::size_t count)
{
    uint8_t v = 0;
    for (std::size_t k = 0; k < count; ++k)
        if (!reader.byte(q + 8 * k, v) || v != value)
            return false;
    return true;
}

void finish_program_entry(const ScanContext &ctx, const Format &format, const Block &block, const char *type,
                          uint16_t load, uint16_t end, uint8_t checksum, TapeEntry &entry)
{
    entry.type = type;
    set_addresses(entry, load, end);
    set_checkbyte(entry, checksum, xor_of(entry.payload.data(), entry.payload.size()));
    set_payload_crc(entry);
    entry.loaded.push_back({load, entry.payload});
    fill_entry(ctx, format, block, entry);
}

void set_payload_crc(TapeEntry &entry)
{
    entry.has_crc = true;
    entry.crc32 = crc32_of(entry.payload);
}

uint8_t xor_of(const uint8_t *bytes, std::size_t size)
{
    uint8_t x = 0;
    for (std::size_t i = 0; i < size; ++i)
        x ^= bytes[i];
    return x;
}

uint8_t sum_of(const uint8_t *bytes, std::size_t size)
{
    unsigned s = 0;
    for (std::size_t i = 0; i < size; ++i)
        s += bytes[i];
    return uint8_t(s);
}

void set_checkbyte(TapeEntry &entry, uint8_t on_tape, uint8_t computed)
{
    entry.has_checkbyte = true;
    entry.checkbyte_on_tape = on_tape;
    entry.checkbyte_computed = computed;
    entry.checkbyte_pass = on_tape == computed;
}

void set_addresses(TapeEntry &entry, uint16_t load, uint16_t end)
{
    entry.has_addresses = true;
    entry.load_address = load;
    entry.end_address = end;
    entry.size = uint16_t(end - load);
}

// --- Encoding --------------------------------------------------------------

BootCodePlan one_shot_boot_plan(const Format &format, std::vector<uint8_t> compares)
{
    BootCodePlan plan;
    plan.threshold_cycles = format.threshold_cycles;
    plan.one_shot = true;
    plan.lsb_first = format.order == BitOrder::LsbFirst;
    plan.compares = std::move(compares);
    return plan;
}

std::vector<uint8_t> tape_with_boot_file(const std::vector<uint8_t> &boot_prg, const std::string &name,
                                         const TapeOptions &options)
{
    ::EncodeOptions cbm;
    cbm.tap_version = options.tap_version == 0 ? 0 : 1;
    cbm.ntsc = options.ntsc;
    std::vector<uint8_t> tap = tap_file_header(cbm.tap_version, false, options.ntsc, 0);
    PrgInput boot;
    boot.bytes = boot_prg;
    boot.name = name;
    cbm_append_prg(tap, boot, cbm);
    append_pause(tap, options);
    return tap;
}

void append_pause(std::vector<uint8_t> &tap, const TapeOptions &options)
{
    const double cycles = options.pause_seconds * machine_clock_hz(false, options.ntsc);
    tap_append_pause(tap, cycles > 0 ? uint64_t(cycles) : 0, options.tap_version == 0 ? 0 : 1);
}

std::string programs_problem(const std::vector<PrgInput> &prgs)
{
    if (prgs.empty())
        return "no program to write";
    for (const PrgInput &p : prgs) {
        const std::string problem = prg_input_problem(p);
        if (!problem.empty())
            return problem;
    }
    return "";
}

std::string programs_problem(const std::vector<PrgInput> &prgs, const char *format)
{
    std::string problem = programs_problem(prgs);
    for (const PrgInput &prg : prgs)
        if (problem.empty() && prg.bytes.size() < 3)
            problem = std::string("a ") + format + " file holds at least one byte";
    return problem;
}

std::vector<uint8_t> petscii_name(const std::string &name, std::size_t size, uint8_t pad)
{
    std::vector<uint8_t> out(size, pad);
    for (std::size_t i = 0; i < name.size() && i < size; ++i)
        out[i] = ascii_to_petscii(name[i]);
    return out;
}

void Writer::byte(uint8_t value)
{
    for (unsigned k = 0; k < 8; ++k) {
        const unsigned shift = format_.order == BitOrder::MsbFirst ? 7 - k : k;
        bit((value >> shift) & 1u);
    }
}

void Writer::bytes(const uint8_t *data, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i)
        byte(data[i]);
}

void Writer::repeat_byte(uint8_t value, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        byte(value);
}

void Writer::zeros(std::size_t count)
{
    tap_.insert(tap_.end(), count, format_.ideal0);
}

} // namespace turbo
