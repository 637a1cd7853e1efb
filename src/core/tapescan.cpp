// Pulses to report entries; see tapescan.h.
#include "core/tapescan.h"

#include "core/cbmscan.h"
#include "core/loaders/registry.h"
#include "core/turbodescribe.h"

#include <glib.h>
#include <glib/gi18n-lib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <sys/mman.h>

#include <zlib.h>

const char ENTRY_TYPE_PAUSE[] = "PAUSE";
const char ENTRY_TYPE_UNRECOGNIZED[] = "UNRECOGNIZED";

// --- Pulses -------------------------------------------------------------

bool is_silence_pulse(const TapePulse &p)
{
    return p.long_form || p.continues || p.units == 0 || p.units >= SILENCE_MIN_UNITS;
}

namespace {

// The last run whose first pulse is at or before i, or end().
std::vector<PulseTrack::Irregular>::const_iterator run_before(const std::vector<PulseTrack::Irregular> &runs,
                                                              std::size_t i)
{
    auto it = std::upper_bound(runs.begin(), runs.end(), i,
                               [](std::size_t index, const PulseTrack::Irregular &r) { return index < r.first; });
    return it == runs.begin() ? runs.end() : it - 1;
}

} // namespace

const PulseTrack::Irregular &PulseTrack::irregular_at(std::size_t i) const
{
    return *run_before(irregular, i);
}

uint64_t PulseTrack::offset(std::size_t i) const
{
    // The nearest run at or before i fixes the offset; ordinary pulses after
    // it follow at `width` bytes each.
    const auto it = run_before(irregular, i);
    if (it == irregular.end())
        return TAP_HEADER_SIZE + uint64_t(i) * width;
    const Irregular &r = *it;
    if (i < r.first + r.count)
        return r.offset + uint64_t(i - r.first) * r.length;
    return r.offset + uint64_t(r.count) * r.length + uint64_t(i - r.first - r.count) * width;
}

uint64_t PulseTrack::last_byte(std::size_t i) const
{
    return offset(i) + (small[i] == 0 ? irregular_at(i).length : width) - 1;
}

TapePulse PulseTrack::pulse(std::size_t i) const
{
    if (small[i] == 0) {
        const Irregular &r = irregular_at(i);
        return TapePulse{offset(i), r.units, r.long_form, r.continues};
    }
    return TapePulse{offset(i), small[i], false, false};
}

namespace {

// A buffer of tens of megabytes is touched page by page as it is filled; on
// Linux, huge pages make that one fault per 2 MB instead of per 4 KB (a
// request the kernel may ignore).
void advise_huge_pages(void *data, std::size_t bytes)
{
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t HUGE = 2u << 20;
    if (bytes < 2 * HUGE)
        return;
    const std::uintptr_t from = (reinterpret_cast<std::uintptr_t>(data) + HUGE - 1) & ~(HUGE - 1);
    const std::uintptr_t to = (reinterpret_cast<std::uintptr_t>(data) + bytes) & ~(HUGE - 1);
    if (to > from)
        madvise(reinterpret_cast<void *>(from), to - from, MADV_HUGEPAGE);
#else
    (void)data;
    (void)bytes;
#endif
}

} // namespace

PulseTrack read_pulse_track(const uint8_t *file, std::size_t size)
{
    PulseTrack track;
    track.file_size = size;
    if (file == nullptr || size <= TAP_HEADER_SIZE)
        return track;
    const bool zorv = tape_file_type(file) == FileType::ZorvDump;
    track.width = zorv ? 2 : 1;
    track.small.reserve(zorv ? (size - TAP_HEADER_SIZE + 1) / 2 : size - TAP_HEADER_SIZE);
    advise_huge_pages(track.small.data(), track.small.capacity());

    // An irregular pulse waits for the next one (or the end of the file) to
    // know its length, then joins the run before it when alike.
    bool pending = false;
    TapePulse waiting{};
    bool waiting_silence = false;
    bool continued = false;  // the previous pulse was an overflow mark
    auto settle = [&](uint64_t next_offset) {
        const uint8_t length = static_cast<uint8_t>(next_offset - waiting.offset);
        const std::size_t index = track.small.size() - 1;
        if (!track.irregular.empty()) {
            PulseTrack::Irregular &r = track.irregular.back();
            if (r.first + r.count == index && r.offset + uint64_t(r.count) * r.length == waiting.offset &&
                r.units == waiting.units && r.length == length && r.long_form == waiting.long_form &&
                r.continues == waiting.continues && r.silence == waiting_silence) {
                ++r.count;
                return;
            }
        }
        track.irregular.push_back(PulseTrack::Irregular{index, 1, waiting.offset, waiting.units, length,
                                                        waiting.long_form, waiting.continues, waiting_silence});
    };
    auto visit = [&](const TapePulse &p) {
        if (pending) {
            settle(p.offset);
            pending = false;
        }
        const bool ordinary = !continued && !p.long_form && !p.continues && p.units >= 1 && p.units <= 255;
        if (ordinary && (!zorv || p.offset + 2 <= size)) {
            track.small.push_back(static_cast<uint8_t>(p.units));
            return;
        }
        track.small.push_back(0);
        waiting = p;
        waiting_silence = continued || is_silence_pulse(p);
        pending = true;
        continued = p.continues;
    };
    const TapePulseReader reader(file, size);
    TapePulse pulse{};
    for (std::size_t pos = TAP_HEADER_SIZE; pos < reader.end();) {
        // In a TAP file every byte but 0 is an ordinary pulse of that many
        // units: runs of them are copied whole.
        if (!zorv && !pending && !continued) {
            const void *zero = std::memchr(file + pos, 0, size - pos);
            const std::size_t run_end = zero != nullptr ? std::size_t(static_cast<const uint8_t *>(zero) - file) : size;
            if (run_end > pos) {
                track.small.insert(track.small.end(), file + pos, file + run_end);
                pos = run_end;
                continue;
            }
        }
        pos = reader.read(pos, pulse);
        visit(pulse);
    }
    if (pending)
        settle(size);
    return track;
}

// --- Entries, scanners --------------------------------------------------

unsigned scan_platform_bit(unsigned platform)
{
    switch (platform) {
    case 1:
        return SCAN_FOR_VIC20;
    case 2:
        return SCAN_FOR_C16;
    default:
        return SCAN_FOR_C64;
    }
}

const char *copy_id_text(CopyId id)
{
    switch (id) {
    case CopyId::First:
        return "FIRST";
    case CopyId::Repeat:
        return "REPEAT";
    default:
        return "";
    }
}

const std::vector<const TapeScanner *> &builtin_scanners()
{
    static const std::vector<const TapeScanner *> list = [] {
        std::vector<const TapeScanner *> all = {&cbm_rom_scanner};
        for (const TurboLoader &l : turbo_loaders())
            all.push_back(l.scanner);
        return all;
    }();
    return list;
}

const TapeScanner *find_scanner(const std::string &id)
{
    for (const TapeScanner *s : builtin_scanners())
        if (id == s->id)
            return s;
    return nullptr;
}

// --- Scanning -----------------------------------------------------------

namespace {

void set_offsets(const PulseTrack &track, TapeEntry &e)
{
    const std::size_t last = e.first_pulse + e.pulse_count - 1;
    e.start = track.offset(e.first_pulse);
    e.inner_start = track.offset(e.inner_start_pulse);
    e.inner_end = track.offset(e.inner_end_pulse);
    e.end = track.last_byte(last);
}

void push_plain(TapeScan &scan, EntryKind kind, std::size_t first, std::size_t count)
{
    TapeEntry e;
    e.kind = kind;
    e.type = kind == EntryKind::Pause ? ENTRY_TYPE_PAUSE : ENTRY_TYPE_UNRECOGNIZED;
    e.first_pulse = first;
    e.pulse_count = count;
    e.inner_start_pulse = first;
    e.inner_end_pulse = first + count - 1;
    set_offsets(scan.pulses, e);
    // Inner = outer: the inner end is the last byte, not the last pulse's first byte.
    e.inner_end = e.end;
    scan.entries.push_back(std::move(e));
}

// Adds the files each scanner finds on its own where the scan's entries
// do not show them (see ScanOptions::overlap).
void add_overlapping_files(TapeScan &scan, const uint8_t *file, std::size_t size, const ScanOptions &options,
                           const std::vector<const TapeScanner *> &scanners)
{
    struct Key {
        const TapeScanner *scanner;
        uint64_t start, end;
        bool operator==(const Key &o) const { return scanner == o.scanner && start == o.start && end == o.end; }
    };
    auto key_of = [](const TapeEntry &e) { return Key{e.scanner, e.start, e.end}; };
    std::vector<Key> known;
    for (const TapeEntry &e : scan.entries)
        if (e.kind == EntryKind::File)
            known.push_back(key_of(e));

    struct Extra {
        TapeEntry entry;
        bool has_header = false;
        Key header{};
    };
    std::vector<Extra> extras;
    // Pulses the scan's own files hold: an overlapping file's read errors
    // are counted where no other file claims the pulses (its lead-in may be
    // the end of the file before it, read at the wrong speed).
    std::vector<bool> claimed(scan.pulses.size(), false);
    for (const TapeEntry &e : scan.entries)
        if (e.kind == EntryKind::File)
            std::fill(claimed.begin() + long(e.first_pulse), claimed.begin() + long(e.first_pulse + e.pulse_count),
                      true);
    ScanOptions alone = options;
    alone.overlap = false;
    alone.guide = nullptr;
    const bool with_cbm = std::find(scanners.begin(), scanners.end(), &cbm_rom_scanner) != scanners.end();
    for (const TapeScanner *s : scanners) {
        std::vector<const TapeScanner *> pair = {s};
        if (s != &cbm_rom_scanner && with_cbm)
            pair.insert(pair.begin(), &cbm_rom_scanner);
        const TapeScan solo = scan_tape(file, size, alone, pair);
        for (const TapeEntry &e : solo.entries) {
            if (e.scanner != s || e.kind != EntryKind::File ||
                std::find(known.begin(), known.end(), key_of(e)) != known.end())
                continue;
            Extra x;
            x.entry = e;
            x.entry.overlapping = true;
            x.entry.read_errors = 0;
            for (std::size_t q = e.first_pulse; q < e.first_pulse + e.pulse_count; ++q)
                x.entry.read_errors += !claimed[q] && solo.pulse_read_error(q);
            if (e.header_entry >= 0 && std::size_t(e.header_entry) < solo.entries.size()) {
                x.has_header = true;
                x.header = key_of(solo.entries[std::size_t(e.header_entry)]);
            }
            known.push_back(key_of(e));
            extras.push_back(std::move(x));
        }
    }
    if (extras.empty())
        return;

    // Merge by start, keeping the scan's own order among equals, and point
    // every data entry at its header's new place.
    std::vector<Key> main_headers(scan.entries.size());
    std::vector<bool> main_has_header(scan.entries.size(), false);
    for (std::size_t k = 0; k < scan.entries.size(); ++k) {
        const int h = scan.entries[k].header_entry;
        if (h >= 0 && std::size_t(h) < scan.entries.size()) {
            main_has_header[k] = true;
            main_headers[k] = key_of(scan.entries[std::size_t(h)]);
        }
    }
    struct Item {
        TapeEntry entry;
        bool has_header;
        Key header;
    };
    std::vector<Item> items;
    for (std::size_t k = 0; k < scan.entries.size(); ++k)
        items.push_back({std::move(scan.entries[k]), main_has_header[k], main_headers[k]});
    for (Extra &x : extras)
        items.push_back({std::move(x.entry), x.has_header, x.header});
    std::stable_sort(items.begin(), items.end(), [](const Item &a, const Item &b) { return a.entry.start < b.entry.start; });
    scan.entries.clear();
    for (Item &it : items)
        scan.entries.push_back(std::move(it.entry));
    for (std::size_t k = 0; k < items.size(); ++k) {
        TapeEntry &e = scan.entries[k];
        e.header_entry = -1;
        if (!items[k].has_header)
            continue;
        for (std::size_t h = 0; h < scan.entries.size(); ++h)
            if (key_of(scan.entries[h]) == items[k].header) {
                e.header_entry = int(h);
                break;
            }
    }
}

// How far ahead a scanner searches for a file's start in one call: past it
// another scanner may have claimed the pulses by the time it is asked again,
// and they are never searched through.
constexpr std::size_t SEARCH_HORIZON = 16384;

// True when a scanner other than `claimant` reads a file with a passing
// checksum that starts in [from, to): the pulses a format without a
// checksum wants to claim are that file's. The scanners look as in the scan
// (from where each is next worth asking); what they write is undone.
bool checked_file_within(const ScanContext &scan_ctx, const std::vector<const TapeScanner *> &scanners,
                         const std::vector<std::size_t> &next_try, std::size_t claimant, std::size_t from,
                         std::size_t to)
{
    ScanContext ctx = scan_ctx;
    ctx.horizon = to;  // only files that start among the claimed pulses count
    LoaderMemory learnt_before;
    if (ctx.learnt != nullptr)
        learnt_before = *ctx.learnt;
    std::vector<uint8_t> &info = *ctx.pulse_info;
    bool found = false;
    TapeEntry probe;
    for (std::size_t s = 0; s < scanners.size() && !found; ++s) {
        if (s == claimant || next_try[s] >= to)
            continue;
        std::size_t q = std::max(from, next_try[s]);
        while (q < to && !found) {
            probe = TapeEntry();
            std::size_t retry = q + 1;
            if (scanners[s]->recognise(ctx, q, probe, retry)) {
                const std::size_t end = probe.first_pulse + probe.pulse_count;
                std::fill(info.begin() + long(probe.first_pulse), info.begin() + long(end), uint8_t(0));
                found = probe.has_checkbyte && probe.checkbyte_pass;
                q = std::max(end, q + 1);
            } else {
                q = std::max(retry, q + 1);
            }
        }
    }
    if (ctx.learnt != nullptr)
        *ctx.learnt = learnt_before;
    return found;
}

// A turbo file whose checksum failed is read once more at its loader's own
// threshold (the first reading takes the middle of the file's two pulse
// lengths); that reading replaces it when its checksum passes. The pulse
// classes and loader variables of a reading not kept are undone.
void read_again_at_loader_threshold(const ScanContext &ctx, const TapeScanner *scanner, std::size_t index,
                                    TapeEntry &candidate)
{
    std::vector<uint8_t> &info = *ctx.pulse_info;
    const auto span = [&](const TapeEntry &e) {
        return std::make_pair(info.begin() + long(e.first_pulse), info.begin() + long(e.first_pulse + e.pulse_count));
    };
    const auto [first, last] = span(candidate);
    const std::vector<uint8_t> classes(first, last);
    std::fill(first, last, uint8_t(0));
    LoaderMemory learnt_before;
    if (ctx.learnt != nullptr)
        learnt_before = *ctx.learnt;
    TapeEntry again;
    std::size_t retry = index + 1;
    bool read = false;
    {
        const turbo::LoaderThresholdReading at_loader_threshold;
        read = scanner->recognise(ctx, index, again, retry);
    }
    if (read && again.has_checkbyte && again.checkbyte_pass) {
        candidate = std::move(again);
        return;
    }
    if (read) {
        const auto [from, to] = span(again);
        std::fill(from, to, uint8_t(0));
    }
    std::copy(classes.begin(), classes.end(), first);
    if (ctx.learnt != nullptr)
        *ctx.learnt = learnt_before;
}

} // namespace

TapeScan scan_tape(const uint8_t *file, std::size_t size, const ScanOptions &options,
                   const std::vector<const TapeScanner *> &scanners)
{
    TapeScan scan;
    scan.file_size = size;
    if (file == nullptr || size < TAP_HEADER_SIZE) {
        scan.error = _("shorter than the 20-byte header");
        return scan;
    }
    std::copy(file, file + TAP_HEADER_SIZE, scan.header);
    scan.file_type = tape_file_type(file);
    if (scan.file_type == FileType::Unknown) {
        scan.error = _("not a TAP file or ZORV dump");
        return scan;
    }
    scan.ok = true;
    scan.pulses = read_pulse_track(file, size);
    const PulseTrack &track = scan.pulses;
    const std::size_t n = track.size();
    scan.pulse_info.reserve(n);
    advise_huge_pages(scan.pulse_info.data(), n);
    scan.pulse_info.resize(n, 0);

    ScanOptions opts = options;
    opts.tolerance = std::clamp(opts.tolerance, SCAN_TOLERANCE_MIN, SCAN_TOLERANCE_MAX);
    ScanContext ctx;
    ctx.pulses = &track;
    ctx.options = &opts;
    ctx.platform = tape_platform_index(file, scan.file_type);
    ctx.video = file[TAP_OFFSET_VIDEO];
    ctx.half_waves = tape_holds_half_waves(scan);
    ctx.entries = &scan.entries;
    ctx.pulse_info = &scan.pulse_info;
    ctx.learnt = &scan.learnt;

    std::size_t unrecognized_from = n;  // start of the pending UNRECOGNIZED run, n = none
    auto flush_unrecognized = [&](std::size_t upto) {
        if (unrecognized_from < upto)
            push_plain(scan, EntryKind::Unrecognized, unrecognized_from, upto - unrecognized_from);
        unrecognized_from = n;
    };

    // Per scanner, the first pulse where it is worth calling it again: a
    // scanner that looked ahead and found nothing is not asked again before
    // that, so every scanner reads each pulse about once.
    std::vector<std::size_t> next_try(scanners.size(), 0);
    // Scanners of another machine's format are never called.
    const unsigned platform_bit = scan_platform_bit(ctx.platform);
    for (std::size_t s = 0; s < scanners.size(); ++s)
        if ((scanners[s]->platforms & platform_bit) == 0)
            next_try[s] = n;
    // The order in which the scanners are asked: the guide's first, then
    // the others as given.
    std::vector<std::size_t> order(scanners.size());
    std::vector<const TapeScanner *> first;
    auto set_order = [&] {
        order.clear();
        for (const TapeScanner *f : first)
            for (std::size_t s = 0; s < scanners.size(); ++s)
                if (scanners[s] == f && std::find(order.begin(), order.end(), s) == order.end())
                    order.push_back(s);
        for (std::size_t s = 0; s < scanners.size(); ++s)
            if (std::find(order.begin(), order.end(), s) == order.end())
                order.push_back(s);
    };
    set_order();
    TapeEntry candidate;
    std::vector<uint8_t> classes;  // a candidate's pulse classes while others look at its pulses
    std::size_t i = 0;
    while (i < n) {
        if (track.is_silence(i)) {
            flush_unrecognized(i);
            std::size_t j = i + 1;
            while (j < n && track.is_silence(j))
                ++j;
            push_plain(scan, EntryKind::Pause, i, j - i);
            i = j;
            continue;
        }
        bool found = false;
        std::size_t next = n;
        for (const std::size_t s : order) {
            const TapeScanner *scanner = scanners[s];
            if (next_try[s] > i) {
                next = std::min(next, next_try[s]);
                continue;
            }
            candidate = TapeEntry();
            std::size_t retry = i + 1;
            ctx.horizon = i + SEARCH_HORIZON;
            if (scanner->recognise(ctx, i, candidate, retry)) {
                if (candidate.has_checkbyte && !candidate.checkbyte_pass && turbo_loader_of(scanner) != nullptr)
                    read_again_at_loader_threshold(ctx, scanner, i, candidate);
                const std::size_t end = candidate.first_pulse + candidate.pulse_count;
                if (!candidate.has_checkbyte) {
                    // The probe writes classes of its own: keep the candidate's.
                    const auto span_begin = scan.pulse_info.begin() + long(candidate.first_pulse);
                    classes.assign(span_begin, scan.pulse_info.begin() + long(end));
                    const bool beaten = checked_file_within(ctx, scanners, next_try, s, i, end);
                    std::copy(classes.begin(), classes.end(), span_begin);
                    if (beaten) {
                        // Another format reads these pulses with its checksum passing.
                        std::fill(span_begin, scan.pulse_info.begin() + long(end), uint8_t(0));
                        next_try[s] = end;
                        next = std::min(next, end);
                        continue;
                    }
                }
                flush_unrecognized(i);
                candidate.scanner = scanner;
                candidate.kind = EntryKind::File;
                set_offsets(track, candidate);
                scan.entries.push_back(std::move(candidate));
                i = end;
                found = true;
                if (opts.guide != nullptr) {
                    const std::vector<const TapeScanner *> before = first;
                    opts.guide->after_file(scan.entries, first);
                    if (first != before)
                        set_order();
                }
                break;
            }
            next_try[s] = std::max(retry, i + 1);
            next = std::min(next, next_try[s]);
        }
        if (found)
            continue;
        if (unrecognized_from == n)
            unrecognized_from = i;
        // Pulses no scanner can start from; a silence pulse still ends the
        // run (only a pulse kept as 0 can be one).
        std::size_t j = i + 1;
        const std::size_t stop = std::min(next, n);
        while (j < stop) {
            const void *zero = std::memchr(track.small.data() + j, 0, stop - j);
            if (zero == nullptr) {
                j = stop;
                break;
            }
            j = std::size_t(static_cast<const uint8_t *>(zero) - track.small.data());
            if (track.is_silence(j))
                break;
            ++j;
        }
        i = j;
    }
    flush_unrecognized(n);
    describe_unknown_turbos(scan);
    if (options.overlap)
        add_overlapping_files(scan, file, size, opts, scanners);
    return scan;
}

bool tape_holds_half_waves(const TapeScan &scan)
{
    return (scan.file_type == FileType::C64Tap || scan.file_type == FileType::C16Tap) &&
           scan.header[TAP_OFFSET_VERSION] == 2;
}

TapeScan scan_tape(const uint8_t *file, std::size_t size, const ScanOptions &options)
{
    return scan_tape(file, size, options, builtin_scanners());
}

TapeScan scan_tape_file(const std::string &path, const ScanOptions &options)
{
    gchar *contents = nullptr;
    gsize length = 0;
    GError *error = nullptr;
    if (!g_file_get_contents(path.c_str(), &contents, &length, &error)) {
        TapeScan scan;
        scan.error = error != nullptr ? error->message : _("cannot be read");
        g_clear_error(&error);
        return scan;
    }
    TapeScan scan = scan_tape(reinterpret_cast<const uint8_t *>(contents), length, options);
    g_free(contents);
    return scan;
}

ScanTotals scan_totals(const TapeScan &scan)
{
    ScanTotals t;
    t.data_bytes = scan.file_size > TAP_HEADER_SIZE ? scan.file_size - TAP_HEADER_SIZE : 0;
    uint64_t counted_to = 0;  // files overlap in debug mode: each byte counts once
    for (const TapeEntry &e : scan.entries) {
        if (e.has_checkbyte) {
            ++t.checksummed;
            if (e.checkbyte_pass)
                ++t.checksum_ok;
        }
        t.read_errors += e.read_errors;
        if (e.kind == EntryKind::File && e.end + 1 > std::max<uint64_t>(e.start, counted_to)) {
            t.recognised_bytes += e.end + 1 - std::max<uint64_t>(e.start, counted_to);
            counted_to = e.end + 1;
        }
    }
    return t;
}

// --- CRC-32 -------------------------------------------------------------

uint32_t crc32_update(uint32_t crc, const uint8_t *data, std::size_t size)
{
    // zlib takes lengths as unsigned int: a huge buffer goes in pieces.
    uLong value = crc;
    while (size > 0) {
        const uInt piece = size > 0x40000000u ? 0x40000000u : uInt(size);
        value = ::crc32(value, data, piece);
        data += piece;
        size -= piece;
    }
    return uint32_t(value);
}
