// The CBM ROM tape scanner; see cbmscan.h.
#include "core/cbmscan.h"

#include "core/cbmencode.h"

#include <algorithm>
#include <cmath>
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
    PulseClass cls[256];
    bool error[256];

    void calibrate(double measured_s, const CbmPulseSet &ideal, int tolerance)
    {
        s = measured_s;
        m = ideal.m * measured_s / ideal.s;
        l = ideal.l * measured_s / ideal.s;
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

// The bytes from p up to the end-of-data marker or, failing that, to where
// the byte structure stops. Returns the pulse after the last byte.
std::size_t read_bytes(const Reader &rd, std::size_t p, std::vector<uint8_t> &bytes, bool *end_marker,
                       unsigned *parity_errors)
{
    bytes.clear();
    *end_marker = false;
    *parity_errors = 0;
    for (;;) {
        if (!rd.ordinary(p, 2))
            break;
        const PulseClass c0 = rd.cls(p), c1 = rd.cls(p + 1);
        if (c0 == L && c1 == S) {
            if (!rd.byte_follows(p)) {
                *end_marker = true;
                break;
            }
        } else if (!(c0 == L && c1 == M)) {
            // A damaged marker, when the next one is where it should be.
            if (!rd.ordinary(p, CBM_PULSES_PER_BYTE + 1) || rd.cls(p + CBM_PULSES_PER_BYTE) != L)
                break;
        }
        if (!rd.ordinary(p, CBM_PULSES_PER_BYTE))
            break;
        bool parity_ok = true;
        bytes.push_back(rd.byte(p, &parity_ok));
        *parity_errors += !parity_ok;
        p += CBM_PULSES_PER_BYTE;
    }
    return p;
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

// Classes of the copy's pulses [entry.first_pulse, last] and its read errors.
unsigned write_classes(const uint8_t *small, const Classifier &classes, const TapeEntry &entry, uint8_t checkbyte,
                       bool end_marker, std::size_t last, uint8_t *info)
{
    const std::size_t index = entry.first_pulse, sync = entry.sync_pulse;
    std::memset(info + index, uint8_t(S), sync - index);
    const uint8_t countdown = entry.copy == CopyId::Repeat ? CBM_COUNTDOWN_REPEAT : CBM_COUNTDOWN_FIRST;
    for (std::size_t b = 0; b < CBM_COUNTDOWN_BYTES; ++b)
        write_byte_classes(info, sync + b * CBM_PULSES_PER_BYTE, uint8_t(countdown - b));
    for (std::size_t b = 0; b < entry.payload.size(); ++b)
        write_byte_classes(info, entry.inner_start_pulse + b * CBM_PULSES_PER_BYTE, entry.payload[b]);
    write_byte_classes(info, entry.inner_end_pulse, checkbyte);
    std::size_t q = entry.inner_end_pulse + CBM_PULSES_PER_BYTE;
    if (end_marker) {
        info[q++] = uint8_t(L);
        info[q++] = uint8_t(S);
    }
    for (; q <= last; ++q)
        info[q] = uint8_t(S);  // trailer
    unsigned errors = 0;
    for (std::size_t r = index; r <= last; ++r) {
        if (classes.error[small[r]]) {
            info[r] |= PULSE_READ_ERROR;
            ++errors;
        }
    }
    return errors;
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
    const CbmPulseSet ideal = cbm_ideal_pulses(ctx.platform == 1, ctx.video == 1);
    retry = index + 1;

    const unsigned u0 = small[index];
    if (u0 == 0 || 10 * u0 < 7u * ideal.s || 10 * u0 > 13u * ideal.s)
        return false;
    const Leader leader = measure_leader(small, n, index);
    // Starting later inside the same leader ends at the same place, shorter.
    retry = std::max(leader.end, index + 1);
    if (leader.count < CBM_MIN_LEADER_PULSES)
        return false;

    Classifier classes;
    classes.calibrate(leader.mean, ideal, ctx.options->tolerance);
    const Reader rd{small, n, &classes};
    bool repeat = false;
    const std::size_t sync = find_sync(rd, index, leader.end, &repeat);
    if (sync == 0)
        return false;

    std::vector<uint8_t> &bytes = entry.payload;
    bool end_marker = false;
    unsigned parity_errors = 0;
    const std::size_t after = read_bytes(rd, sync + COUNTDOWN_PULSES, bytes, &end_marker, &parity_errors);
    if (bytes.empty() || (!end_marker && ctx.options->require_end_marker))
        return false;

    std::size_t last = end_marker ? after + 1 : after - 1;
    if (repeat) {
        std::size_t q = last + 1;
        while (q < n && q - last <= CBM_TRAILER_PULSES && classes.short_like(small[q]))
            ++q;
        last = q - 1;
    }

    const uint8_t checkbyte = bytes.back();
    bytes.pop_back();
    uint8_t computed = 0;
    for (uint8_t b : bytes)
        computed ^= b;

    entry.kind = EntryKind::File;
    entry.first_pulse = index;
    entry.pulse_count = last - index + 1;
    entry.sync_pulse = sync;
    entry.inner_start_pulse = sync + COUNTDOWN_PULSES;
    entry.inner_end_pulse = entry.inner_start_pulse + bytes.size() * CBM_PULSES_PER_BYTE;
    entry.has_checkbyte = true;
    entry.checkbyte_on_tape = checkbyte;
    entry.checkbyte_computed = computed;
    entry.checkbyte_pass = checkbyte == computed;
    entry.has_crc = true;
    entry.crc32 = crc32_of(bytes);
    entry.copy = repeat ? CopyId::Repeat : CopyId::First;
    entry.parity_errors = parity_errors;
    entry.pulse_short = classes.s;
    entry.pulse_medium = classes.m;
    entry.pulse_long = classes.l;
    entry.ideal_units[std::size_t(S)] = ideal.s;
    entry.ideal_units[std::size_t(M)] = ideal.m;
    entry.ideal_units[std::size_t(L)] = ideal.l;
    set_kind(*ctx.entries, entry);
    entry.read_errors = write_classes(small, classes, entry, checkbyte, end_marker, last, ctx.pulse_info->data());
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
