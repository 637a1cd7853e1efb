// The CBM ROM tape scanner; see cbmscan.h.
#include "core/cbmscan.h"

#include "core/cbmencode.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

const char CBM_TYPE_HEADER[] = "C64 ROM-TAPE HEADER";
const char CBM_TYPE_DATA[] = "C64 ROM-TAPE DATA";

namespace {

constexpr PulseClass S = PulseClass::Short;
constexpr PulseClass M = PulseClass::Medium;
constexpr PulseClass L = PulseClass::Long;

constexpr std::size_t COUNTDOWN_PULSES = CBM_COUNTDOWN_BYTES * CBM_PULSES_PER_BYTE;

// Class and read-error flag of every ordinary pulse value (0 = irregular pulse: no class).
struct Classifier {
    double s = 0, m = 0, l = 0;
    int tolerance = 0;
    PulseClass cls[256];
    bool error[256];

    // S measured; M and L the ideal ones scaled alike.
    void calibrate(double measured_s, const CbmPulseSet &ideal, int tol)
    {
        set(measured_s, ideal.m * measured_s / ideal.s, ideal.l * measured_s / ideal.s, tol);
    }
    void set(double measured_s, double measured_m, double measured_l, int tol)
    {
        s = measured_s;
        m = measured_m;
        l = measured_l;
        tolerance = tol;
        cls[0] = PulseClass::None;
        error[0] = true;
        for (int u = 1; u < 256; ++u) {
            const double ds = std::fabs(u - s), dm = std::fabs(u - m), dl = std::fabs(u - l);
            double best = ds;
            cls[u] = S;
            if (dm < best) {
                best = dm;
                cls[u] = M;
            }
            if (dl < best) {
                best = dl;
                cls[u] = L;
            }
            error[u] = best > tolerance;
        }
    }
    // Within 20 % of S: a pulse of a leader or trailer.
    bool short_like(uint8_t u) const { return u != 0 && 5.0 * u >= 4.0 * s && 5.0 * u <= 6.0 * s; }
    // The units one byte takes: new-data marker (L, M) and nine bit pairs (S, M).
    double byte_units() const { return l + m + 9 * (s + m); }
};

struct Reader {
    const uint8_t *small;  // ordinary pulse values, 0 for irregular pulses
    std::size_t n;
    const Classifier *c;

    PulseClass cls(std::size_t q) const { return c->cls[small[q]]; }
    // No irregular pulse in [p, p + len).
    bool ordinary(std::size_t p, std::size_t len) const
    {
        return p + len <= n && std::memchr(small + p, 0, len) == nullptr;
    }
    unsigned bit(std::size_t q) const
    {
        const PulseClass a = cls(q), b = cls(q + 1);
        if (a == S && b == M)
            return 0;
        if (a == M && b == S)
            return 1;
        return small[q] < small[q + 1] ? 0 : 1;
    }
    // The byte at p (20 ordinary pulses); parity_ok when the parity bit makes it odd.
    uint8_t byte(std::size_t p, bool *parity_ok = nullptr) const
    {
        unsigned v = 0;
        for (unsigned b = 0; b < 8; ++b)
            v |= bit(p + 2 + 2 * b) << b;
        if (parity_ok != nullptr) {
            unsigned ones = bit(p + 18);
            for (unsigned b = 0; b < 8; ++b)
                ones += (v >> b) & 1u;
            *parity_ok = (ones & 1u) == 1;
        }
        return static_cast<uint8_t>(v);
    }
    // Another byte follows 20 pulses after the (L, S) at p: a marker there and
    // medium pulses in between, so (L, S) was a damaged marker, not the end.
    bool byte_follows(std::size_t p) const
    {
        if (!ordinary(p, 2 * CBM_PULSES_PER_BYTE) || cls(p + 20) != L || cls(p + 21) != M)
            return false;
        int mediums = 0;
        for (std::size_t q = p + 2; q < p + 20; ++q)
            mediums += cls(q) == M;
        return mediums >= 4;
    }
};

// Writes the classes of an ideal byte `value` at p.
void write_byte_classes(uint8_t *info, std::size_t p, uint8_t value)
{
    info[p] = uint8_t(L);
    info[p + 1] = uint8_t(M);
    unsigned parity = 1;
    for (unsigned b = 0; b < 8; ++b) {
        const unsigned bit = (value >> b) & 1u;
        parity ^= bit;
        info[p + 2 + 2 * b] = uint8_t(bit ? M : S);
        info[p + 3 + 2 * b] = uint8_t(bit ? S : M);
    }
    info[p + 18] = uint8_t(parity ? M : S);
    info[p + 19] = uint8_t(parity ? S : M);
}

// The last entry before the one being recognised that is a file, when it is a CBM copy.
const TapeEntry *previous_copy(const std::vector<TapeEntry> &entries, std::size_t before, std::size_t *index)
{
    for (std::size_t k = before; k-- > 0;) {
        const TapeEntry &e = entries[k];
        if (e.kind != EntryKind::File)
            continue;
        if (e.scanner != &cbm_rom_scanner)
            return nullptr;
        if (index != nullptr)
            *index = k;
        return &e;
    }
    return nullptr;
}

bool is_header(const TapeEntry &e) { return e.block_type >= 0; }

// The leader starting at `index`: pulses within 20 % of their running mean
// (a lone stray pulse followed by 4 such pulses included, but never a
// silence or other long pulse: a pause between two files must stay a pause).
struct Leader {
    std::size_t end = 0;  // first pulse after it
    uint64_t count = 0;   // pulses measured
    double mean = 0;
};

Leader measure_leader(const uint8_t *small, std::size_t n, std::size_t index)
{
    uint64_t sum = small[index], count = 1;
    auto in_leader = [&](uint8_t u) {
        const uint64_t scaled = 5 * uint64_t(u) * count;
        return u != 0 && scaled >= 4 * sum && scaled <= 6 * sum;
    };
    std::size_t k = index + 1;
    while (k < n) {
        if (in_leader(small[k])) {
            sum += small[k];
            ++count;
            ++k;
        } else if (small[k] != 0 && k + 4 < n && in_leader(small[k + 1]) && in_leader(small[k + 2]) &&
                   in_leader(small[k + 3]) && in_leader(small[k + 4])) {
            ++k;  // a stray pulse inside the leader; silence always ends it
        } else {
            break;
        }
    }
    return Leader{k, count, double(sum) / double(count)};
}

// The first pulse at or after q where a leader can begin: one within 30 %
// of the ideal S, and four of the five after it within 20 % of a mean in that
// range (a leader takes at most one stray pulse in five). Where none can,
// the scan need not ask this scanner at all.
std::size_t next_leader_start(const uint8_t *small, std::size_t n, std::size_t q, unsigned ideal_s)
{
    const unsigned lo0 = (7 * ideal_s + 9) / 10, hi0 = 13 * ideal_s / 10;
    const unsigned lo1 = (56 * ideal_s + 99) / 100, hi1 = 156 * ideal_s / 100;
    auto near = [&](uint8_t u) { return u >= lo1 && u <= hi1; };
    for (; q + 6 <= n; ++q) {
        const uint8_t u = small[q];
        if (u < lo0 || u > hi0)
            continue;
        const int around = near(small[q + 1]) + near(small[q + 2]) + near(small[q + 3]) + near(small[q + 4]) +
                           near(small[q + 5]);
        if (around >= 4)
            return q;
    }
    return std::max(n, q);
}

// The countdown at the leader's end or one pulse off: its first pulse, or 0 when none.
std::size_t find_sync(const Reader &rd, std::size_t index, std::size_t leader_end, bool *repeat)
{
    std::size_t sync = 0;
    int best = CBM_COUNTDOWN_MIN_MATCHES - 1;
    const std::size_t candidates[3] = {leader_end, leader_end + 1, leader_end - 1};
    for (std::size_t c : candidates) {
        if (c <= index || !rd.ordinary(c, COUNTDOWN_PULSES))
            continue;
        int first = 0, second = 0;
        for (std::size_t b = 0; b < CBM_COUNTDOWN_BYTES; ++b) {
            const uint8_t v = rd.byte(c + b * CBM_PULSES_PER_BYTE);
            first += v == CBM_COUNTDOWN_FIRST - b;
            second += v == CBM_COUNTDOWN_REPEAT - b;
        }
        if (std::max(first, second) > best) {
            best = std::max(first, second);
            sync = c;
            *repeat = second > first;
        }
    }
    return sync;
}

// Pulse index of a byte that was lost in a dropout (no pulses of its own).
constexpr std::size_t LOST = std::size_t(-1);

// A tape's speed drifts and wobbles through a long file: the classes follow
// it, estimated from every clean byte read (one with exact structure and
// odd parity) and moved a sixteenth of the way each time.
struct SpeedFollower {
    double s = 0, m = 0, l = 0;

    void start(const Classifier &c)
    {
        s = c.s;
        m = c.m;
        l = c.l;
    }
    // Takes in the clean byte at p; recalibrates `c` when the estimates
    // have moved away from it.
    void learn(const uint8_t *small, std::size_t p, const Reader &rd, Classifier &c)
    {
        double sum_s = 0, sum_m = 0;
        for (std::size_t q = p + 2; q < p + CBM_PULSES_PER_BYTE; q += 2) {
            const bool one = rd.cls(q) == M;
            sum_s += small[one ? q + 1 : q];
            sum_m += small[one ? q : q + 1];
        }
        s += (sum_s / 9 - s) / 16;
        m += ((sum_m + small[p + 1]) / 10 - m) / 16;
        l += (small[p] - l) / 16;
        if (std::fabs(s - c.s) > 0.4 || std::fabs(m - c.m) > 0.5 || std::fabs(l - c.l) > 0.6)
            c.set(s, m, l, c.tolerance);
    }
};

// A byte at q read without doubt: marker (L, M), nine bit pairs that are
// exactly (S, M) or (M, S), odd parity.
bool clean_byte_at(const Reader &rd, std::size_t q)
{
    if (!rd.ordinary(q, CBM_PULSES_PER_BYTE) || rd.cls(q) != L || rd.cls(q + 1) != M)
        return false;
    unsigned ones = 0;
    for (std::size_t k = q + 2; k < q + CBM_PULSES_PER_BYTE; k += 2) {
        const PulseClass a = rd.cls(k), b = rd.cls(k + 1);
        if (a == S && b == M)
            continue;
        if (a != M || b != S)
            return false;
        ++ones;
    }
    return (ones & 1u) == 1;
}

// After an end-of-data marker comes the gap before the REPEAT copy or the
// trailer (short pulses), silence, or the end of the tape - not a dropout's
// noise, which can begin with what looks like an end marker. One odd pulse
// among the first eight is forgiven.
bool trailer_follows(const Reader &rd, const Classifier &c, std::size_t q)
{
    int odd = 0;
    for (std::size_t k = q; k < q + 8 && k < rd.n; ++k) {
        if (rd.small[k] == 0)
            return true;  // silence
        odd += !c.short_like(rd.small[k]);
        if (odd > 1)
            return false;
    }
    return true;
}

// What reading a copy's bytes found.
struct BytesRead {
    std::vector<std::size_t> at;  // first pulse of every byte, LOST for one lost in a dropout
    std::size_t after = 0;        // the pulse after the last byte read
    bool end_marker = false;
    unsigned parity_errors = 0;
    std::vector<std::pair<std::size_t, std::size_t>> debris;  // pulses [from, to) of every dropout
    std::size_t lost = 0;         // bytes lost in dropouts
    std::vector<uint8_t> errors;  // per read byte its 20 pulses: off every class where it was read
    Classifier last_classes;      // the classes in force at the end

    void lose(std::size_t count)
    {
        at.insert(at.end(), count, LOST);
        lost += count;
    }
};

// The longest stretch of tape a dropout inside a file may take, and the
// short pulses in a row that make a leader or the gap between two copies
// (a file never goes on after one).
constexpr double DROPOUT_MAX_SECONDS = 1.5;
constexpr std::size_t LEADER_RUN = 40;

// Three bytes of a countdown ($89 $88 $87 or $09 $08 $07) from q.
bool countdown_at(const Reader &rd, std::size_t q)
{
    if (!rd.ordinary(q, 3 * CBM_PULSES_PER_BYTE))
        return false;
    const uint8_t a = rd.byte(q), b = rd.byte(q + CBM_PULSES_PER_BYTE), c = rd.byte(q + 2 * CBM_PULSES_PER_BYTE);
    return (a & 0x7F) == 0x09 && b == a - 1 && c == a - 2;
}

// After the byte structure broke at p: the first pulse where clean bytes
// begin again (two in a row, or one and the end-of-data marker) within a
// dropout's length of tape, or 0 when a leader, a long silence or the end of
// the tape comes first. *units gets the tape's length from p to there (or
// to where the search stopped).
std::size_t resync(const PulseTrack &track, const Reader &rd, const Classifier &c, std::size_t p, double max_units,
                   double *units)
{
    double elapsed = 0;
    std::size_t shorts = 0;
    for (std::size_t q = p; q < rd.n; ++q) {
        if (q > p && clean_byte_at(rd, q) && rd.ordinary(q + CBM_PULSES_PER_BYTE, 2) &&
            rd.cls(q + CBM_PULSES_PER_BYTE) == L &&
            (clean_byte_at(rd, q + CBM_PULSES_PER_BYTE) || rd.cls(q + CBM_PULSES_PER_BYTE + 1) == S)) {
            *units = elapsed;
            // The countdown of the next copy is no continuation of this one.
            return countdown_at(rd, q) ? 0 : q;
        }
        const uint8_t u = rd.small[q];
        shorts = c.short_like(u) ? shorts + 1 : 0;
        if (shorts >= LEADER_RUN) {
            *units = elapsed - double(shorts) * c.s;
            return 0;
        }
        elapsed += u != 0 ? u : double(track.units(q));
        if (elapsed > max_units)
            break;
    }
    *units = elapsed;
    return 0;
}

// Units of the clean bytes from q on (at most 8 of them), per byte; 0 when none.
double byte_units_from(const Reader &rd, std::size_t q)
{
    double sum = 0;
    std::size_t count = 0;
    for (; count < 8 && clean_byte_at(rd, q); ++count, q += CBM_PULSES_PER_BYTE)
        for (std::size_t k = q; k < q + CBM_PULSES_PER_BYTE; ++k)
            sum += rd.small[k];
    return count == 0 ? 0 : sum / double(count);
}

// The bytes from p up to the end-of-data marker. Where the byte structure
// breaks and does not come back a byte later (a dropout: silence or noise in
// place of the signal), the reading goes on at the next clean bytes within a
// dropout's length, and the bytes lost there are counted from the time the
// dropout took - never more than `max_bytes` in all (the block's announced
// size and its checkbyte, when known). Without an end marker the bytes end
// where the structure stops for good; when the block's size is known, a
// dropout there that took its last bytes is counted as such.
BytesRead read_bytes(const PulseTrack &track, Reader &rd, Classifier &classes, std::size_t p, std::size_t max_bytes,
                     std::vector<uint8_t> &bytes)
{
    BytesRead r;
    bytes.clear();
    SpeedFollower speed;
    speed.start(classes);
    const uint8_t *small = rd.small;
    const double clock_units = 985248.0 / 8;  // close enough for any machine: a bound, not a measure
    auto dropout = [&](std::size_t from) -> bool {
        // The byte just read, unless it was read without doubt, is the
        // dropout's beginning: its pulses are partly the dropout's.
        if (!r.at.empty() && r.at.back() != LOST && !clean_byte_at(rd, r.at.back())) {
            from = r.at.back();
            r.at.pop_back();
            bytes.pop_back();
            r.errors.resize(r.errors.size() - CBM_PULSES_PER_BYTE);
        }
        double units = 0;
        const double byte_before = classes.byte_units();
        const std::size_t q = resync(track, rd, classes, from, DROPOUT_MAX_SECONDS * clock_units, &units);
        const double byte_after = q != 0 ? byte_units_from(rd, q) : 0;
        const double per_byte = byte_after > 0 ? (byte_before + byte_after) / 2 : byte_before;
        std::size_t count = std::size_t(std::lround(units / per_byte));
        const std::size_t room = max_bytes > bytes.size() ? max_bytes - bytes.size() : 0;
        if (q == 0 || count >= room) {
            // Cut off (or what follows would make the block longer than it
            // is): when the block's size is known and the time up to the
            // leader or silence held the rest of it, its last bytes were
            // lost there. A tape that ends, or goes silent, sooner holds no
            // more of the block: that is no dropout.
            if (max_bytes == SIZE_MAX || room == 0 || bytes.empty() || count + 2 + room / 25 < room)
                return false;
            count = room;
            r.debris.push_back({from, from});
            r.lose(count);
            bytes.insert(bytes.end(), count, 0);
            p = from;
            return false;
        }
        r.debris.push_back({from, q});
        r.lose(count);
        bytes.insert(bytes.end(), count, 0);
        p = q;
        return true;
    };
    for (;;) {
        bool readable = rd.ordinary(p, CBM_PULSES_PER_BYTE);
        if (rd.ordinary(p, 2)) {
            const PulseClass c0 = rd.cls(p), c1 = rd.cls(p + 1);
            if (c0 == L && c1 == S && !rd.byte_follows(p) && trailer_follows(rd, classes, p + 2)) {
                r.end_marker = true;
                break;
            }
            // A damaged marker is still a byte when the next one is where it should be.
            if (!(c0 == L && (c1 == M || c1 == S)) &&
                (!rd.ordinary(p, CBM_PULSES_PER_BYTE + 1) || rd.cls(p + CBM_PULSES_PER_BYTE) != L))
                readable = false;
        }
        if (!readable) {
            if (dropout(p))
                continue;
            break;
        }
        bool parity_ok = true;
        bytes.push_back(rd.byte(p, &parity_ok));
        r.at.push_back(p);
        for (std::size_t k = p; k < p + CBM_PULSES_PER_BYTE; ++k)
            r.errors.push_back(classes.error[small[k]]);
        r.parity_errors += !parity_ok;
        if (clean_byte_at(rd, p))
            speed.learn(small, p, rd, classes);
        p += CBM_PULSES_PER_BYTE;
    }
    r.after = p;
    r.last_classes = classes;
    return r;
}

// A block whose size is known and that lost bytes in dropouts: the count
// taken from a dropout's time is off by a byte or two when the tape's speed
// wobbled meanwhile; the known size sets it right (on the longest dropout).
// `wanted` counts the checkbyte.
void fit_to_size(BytesRead &r, std::vector<uint8_t> &bytes, std::size_t wanted)
{
    if (r.lost == 0 || bytes.size() == wanted)
        return;
    const long diff = long(wanted) - long(bytes.size());
    if (std::labs(diff) > 2 + long(r.lost / 25))
        return;  // not a miscount: the block is another size than announced
    // The longest run of lost bytes.
    std::size_t best = 0, best_count = 0;
    for (std::size_t b = 0; b < r.at.size();) {
        std::size_t e = b;
        while (e < r.at.size() && r.at[e] == LOST)
            ++e;
        if (e - b > best_count) {
            best = b;
            best_count = e - b;
        }
        b = e > b ? e : b + 1;
    }
    if (diff < 0 && best_count < std::size_t(-diff))
        return;
    const auto at = r.at.begin() + long(best);
    const auto byte = bytes.begin() + long(best);
    if (diff > 0) {
        r.at.insert(at, std::size_t(diff), LOST);
        bytes.insert(byte, std::size_t(diff), 0);
    } else {
        r.at.erase(at, at - diff);
        bytes.erase(byte, byte - diff);
    }
    r.lost = std::size_t(long(r.lost) + diff);
}

// The payload size the copy starting after `entries` should have (its
// checkbyte not counted): 192 for a header, the announced size for the data
// of a program header or for the REPEAT of such data; unknown (SIZE_MAX)
// otherwise.
std::size_t expected_payload(const std::vector<TapeEntry> &entries, bool repeat)
{
    std::size_t prev_index = 0;
    const TapeEntry *prev = previous_copy(entries, entries.size(), &prev_index);
    if (prev == nullptr)
        return SIZE_MAX;
    const bool prev_header = prev->block_type >= 0;
    if (prev_header && repeat && prev->copy == CopyId::First)
        return CBM_HEADER_PAYLOAD_SIZE;  // the header's REPEAT
    if (prev_header && (prev->block_type == CBM_HEADER_RELOCATABLE || prev->block_type == CBM_HEADER_ABSOLUTE) &&
        prev->size > 0)
        return prev->size;  // the data the header announced
    if (!prev_header && repeat && prev->copy == CopyId::First && prev->has_addresses && prev->size > 0)
        return prev->size;  // the REPEAT of that data
    return SIZE_MAX;
}

// Header or data; a header's own fields, or the addresses a data copy takes
// from the copy before it.
void set_kind(const std::vector<TapeEntry> &entries, TapeEntry &entry)
{
    const std::vector<uint8_t> &bytes = entry.payload;
    const bool repeat = entry.copy == CopyId::Repeat;
    std::size_t prev_index = 0;
    const TapeEntry *prev = previous_copy(entries, entries.size(), &prev_index);
    const uint8_t t = bytes.size() == CBM_HEADER_PAYLOAD_SIZE ? bytes[0] : 0;
    bool header = t == CBM_HEADER_RELOCATABLE || t == CBM_HEADER_ABSOLUTE || t == CBM_HEADER_SEQ ||
                  t == CBM_HEADER_END_OF_TAPE;
    if (header && prev != nullptr) {
        if (!is_header(*prev) && prev->copy == CopyId::First && repeat)
            header = false;  // the REPEAT of a data copy
        else if (is_header(*prev) && prev->size == CBM_HEADER_PAYLOAD_SIZE &&
                 (prev->block_type == CBM_HEADER_RELOCATABLE || prev->block_type == CBM_HEADER_ABSOLUTE) &&
                 !(repeat && prev->copy == CopyId::First))
            header = false;  // the data that header announced
    }
    if (header) {
        entry.type = CBM_TYPE_HEADER;
        entry.block_type = t;
        entry.has_addresses = true;
        entry.load_address = uint16_t(bytes[1] | (bytes[2] << 8));
        entry.end_address = uint16_t(bytes[3] | (bytes[4] << 8));
        entry.size = uint16_t(entry.end_address - entry.load_address);
        entry.has_name = true;
        entry.raw_name.assign(bytes.begin() + 5, bytes.begin() + 5 + CBM_NAME_SIZE);
        entry.name = petscii_name_to_ascii(entry.raw_name.data(), entry.raw_name.size());
        return;
    }
    entry.type = CBM_TYPE_DATA;
    const TapeEntry *from = nullptr;
    int from_index = -1;
    if (prev != nullptr && !is_header(*prev) && prev->copy == CopyId::First && repeat) {
        if (prev->has_addresses) {
            from = prev;
            from_index = prev->header_entry;
        }
    } else if (prev != nullptr && is_header(*prev)) {
        from = prev;
        from_index = int(prev_index);
        // The header's FIRST copy when its REPEAT failed.
        std::size_t before_index = 0;
        const TapeEntry *before = previous_copy(entries, prev_index, &before_index);
        if (!prev->checkbyte_pass && prev->copy == CopyId::Repeat && before != nullptr && is_header(*before) &&
            before->copy == CopyId::First && before->checkbyte_pass) {
            from = before;
            from_index = int(before_index);
        }
    }
    if (from != nullptr) {
        entry.has_addresses = true;
        entry.load_address = from->load_address;
        entry.end_address = from->end_address;
        entry.size = from->size;
        entry.header_entry = from_index;
    }
}

// Classes of the copy's pulses [entry.first_pulse, last] and its read
// errors: pulses off every class where the copy was read (the leader and
// countdown against the leader's classes, each byte against the classes of
// its stretch of tape, the rest against the last ones), and 20 for every
// byte lost in a dropout, whose debris keeps no class.
unsigned write_classes(const uint8_t *small, const Classifier &leader, const TapeEntry &entry, const BytesRead &read,
                       uint8_t checkbyte, std::size_t last, uint8_t *info)
{
    const std::size_t index = entry.first_pulse, sync = entry.sync_pulse;
    std::memset(info + index, uint8_t(S), sync - index);
    const uint8_t countdown = entry.copy == CopyId::Repeat ? CBM_COUNTDOWN_REPEAT : CBM_COUNTDOWN_FIRST;
    for (std::size_t b = 0; b < CBM_COUNTDOWN_BYTES; ++b)
        write_byte_classes(info, sync + b * CBM_PULSES_PER_BYTE, uint8_t(countdown - b));
    unsigned count = unsigned(read.lost * CBM_PULSES_PER_BYTE);
    auto judge = [&](std::size_t r, bool error) {
        if (error) {
            info[r] |= PULSE_READ_ERROR;
            ++count;
        }
    };
    for (std::size_t r = index; r < entry.inner_start_pulse; ++r)
        judge(r, leader.error[small[r]]);
    std::size_t q = entry.inner_start_pulse, read_byte = 0;
    for (std::size_t b = 0; b < read.at.size(); ++b) {
        if (read.at[b] == LOST)
            continue;
        for (; q < read.at[b]; ++q)
            info[q] = uint8_t(PulseClass::None);  // dropout debris
        write_byte_classes(info, read.at[b], b < entry.payload.size() ? entry.payload[b] : checkbyte);
        for (std::size_t k = 0; k < CBM_PULSES_PER_BYTE; ++k)
            judge(read.at[b] + k, read.errors[read_byte * CBM_PULSES_PER_BYTE + k] != 0);
        ++read_byte;
        q = read.at[b] + CBM_PULSES_PER_BYTE;
    }
    const std::size_t tail = q;
    if (read.end_marker) {
        info[q++] = uint8_t(L);
        info[q++] = uint8_t(S);
    }
    for (; q <= last; ++q)
        info[q] = uint8_t(S);  // trailer
    for (std::size_t r = tail; r <= last; ++r)
        judge(r, read.last_classes.error[small[r]]);
    return count;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    const uint8_t *small = track.small.data();
    const std::size_t n = track.size();
    // A C16 / Plus/4 tape holds its own ROM format (scanner "c16"), whose
    // long half-waves would otherwise pass for leader pulses here.
    if (ctx.platform == 2) {
        retry = n;
        return false;
    }
    // The ideal pulses of the four machines, worked out once.
    static const CbmPulseSet ideals[2][2] = {{cbm_ideal_pulses(false, false), cbm_ideal_pulses(false, true)},
                                             {cbm_ideal_pulses(true, false), cbm_ideal_pulses(true, true)}};
    const CbmPulseSet ideal = ideals[ctx.platform == 1][ctx.video == 1];
    retry = index + 1;

    const unsigned u0 = small[index];
    if (u0 == 0 || 10 * u0 < 7u * ideal.s || 10 * u0 > 13u * ideal.s) {
        retry = next_leader_start(small, n, index + 1, ideal.s);
        return false;
    }
    const Leader leader = measure_leader(small, n, index);
    // Starting later inside the same leader ends at the same place, shorter.
    retry = std::max(leader.end, index + 1);
    if (leader.count < CBM_MIN_LEADER_PULSES) {
        retry = next_leader_start(small, n, retry, ideal.s);
        return false;
    }

    Classifier leader_classes;
    leader_classes.calibrate(leader.mean, ideal, ctx.options->tolerance);
    Classifier classes = leader_classes;
    Reader rd{small, n, &leader_classes};
    bool repeat = false;
    const std::size_t sync = find_sync(rd, index, leader.end, &repeat);
    if (sync == 0)
        return false;

    // The bytes, with the classes following the tape's speed; each pulse's
    // read error is judged by the classes in force where it was read.
    rd.c = &classes;
    std::vector<uint8_t> &bytes = entry.payload;
    const std::size_t expected = expected_payload(*ctx.entries, repeat);
    const std::size_t max_bytes = expected == SIZE_MAX ? SIZE_MAX : expected + 1;
    BytesRead read = read_bytes(track, rd, classes, sync + COUNTDOWN_PULSES, max_bytes, bytes);
    if (max_bytes != SIZE_MAX)
        fit_to_size(read, bytes, max_bytes);
    const bool dropout_at_end = !read.debris.empty() && read.debris.back().first == read.debris.back().second;
    if (bytes.empty() || read.at.front() == LOST ||
        (!read.end_marker && !dropout_at_end && ctx.options->require_end_marker))
        return false;

    std::size_t last = read.end_marker ? read.after + 1 : read.after - 1;
    if (repeat) {
        std::size_t q = last + 1;
        while (q < n && q - last <= CBM_TRAILER_PULSES && classes.short_like(small[q]))
            ++q;
        last = q - 1;
    }
    const uint8_t checkbyte = bytes.back();
    const bool checkbyte_lost = read.at.back() == LOST;
    bytes.pop_back();
    uint8_t computed = 0;
    for (uint8_t b : bytes)
        computed ^= b;

    entry.kind = EntryKind::File;
    entry.first_pulse = index;
    entry.pulse_count = last - index + 1;
    entry.sync_pulse = sync;
    entry.inner_start_pulse = sync + COUNTDOWN_PULSES;
    // The checkbyte's first pulse; where a dropout took it, the pulse after the data.
    std::size_t data_end = read.after;
    for (std::size_t b = read.at.size() - 1; b-- > 0;)
        if (read.at[b] != LOST) {
            data_end = read.at[b] + CBM_PULSES_PER_BYTE;
            break;
        }
    entry.inner_end_pulse = checkbyte_lost ? std::min(data_end, last) : read.at.back();
    entry.has_checkbyte = true;
    entry.checkbyte_on_tape = checkbyte;
    entry.checkbyte_computed = computed;
    entry.checkbyte_pass = !checkbyte_lost && read.lost == 0 && checkbyte == computed;
    entry.has_crc = true;
    entry.crc32 = crc32_of(bytes);
    entry.copy = repeat ? CopyId::Repeat : CopyId::First;
    entry.parity_errors = read.parity_errors;
    entry.pulse_short = leader_classes.s;
    entry.pulse_medium = leader_classes.m;
    entry.pulse_long = leader_classes.l;
    entry.ideal_units[std::size_t(S)] = ideal.s;
    entry.ideal_units[std::size_t(M)] = ideal.m;
    entry.ideal_units[std::size_t(L)] = ideal.l;
    for (std::size_t b = 0; b < read.at.size(); ++b)
        if (read.at[b] == LOST) {
            if (!entry.lost_bytes.empty() && entry.lost_bytes.back().first + entry.lost_bytes.back().second == b)
                ++entry.lost_bytes.back().second;
            else
                entry.lost_bytes.push_back({b, 1});
        }
    set_kind(*ctx.entries, entry);
    entry.read_errors = write_classes(small, leader_classes, entry, read, checkbyte, last, ctx.pulse_info->data());
    return true;
}

} // namespace

const TapeScanner cbm_rom_scanner = {"c64", "CBM ROM loader", SCAN_FOR_C64 | SCAN_FOR_VIC20, recognise};

std::string petscii_name_to_ascii(const uint8_t *bytes, std::size_t size)
{
    while (size > 0 && (bytes[size - 1] == 0x20 || bytes[size - 1] == 0xA0 || bytes[size - 1] == 0x00))
        --size;
    std::string out;
    out.reserve(size);
    for (std::size_t i = 0; i < size; ++i) {
        const uint8_t b = bytes[i];
        if ((b >= 0x20 && b <= 0x5B) || b == 0x5D)
            out += char(b);
        else if (b == 0xA0)
            out += ' ';
        else if (b >= 0xC1 && b <= 0xDA)
            out += char('a' + (b - 0xC1));
        else if (b >= 0x61 && b <= 0x7A)
            out += char(b);
        else
            out += '?';
    }
    return out;
}
