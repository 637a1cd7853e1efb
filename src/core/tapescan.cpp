// Pulses to report entries; see tapescan.h.
#include "core/tapescan.h"

#include "core/cbmscan.h"
#include "core/loaders/registry.h"

#include <glib.h>
#include <glib/gi18n-lib.h>

#include <algorithm>
#include <cstring>

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

PulseTrack read_pulse_track(const uint8_t *file, std::size_t size)
{
    PulseTrack track;
    track.file_size = size;
    if (file == nullptr || size <= TAP_HEADER_SIZE)
        return track;
    const bool zorv = tape_file_type(file) == FileType::ZorvDump;
    track.width = zorv ? 2 : 1;
    track.small.reserve(zorv ? (size - TAP_HEADER_SIZE + 1) / 2 : size - TAP_HEADER_SIZE);

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
    scan.pulse_info.assign(n, 0);

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
    TapeEntry candidate;
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
        for (std::size_t s = 0; s < scanners.size(); ++s) {
            const TapeScanner *scanner = scanners[s];
            if (next_try[s] > i) {
                next = std::min(next, next_try[s]);
                continue;
            }
            candidate = TapeEntry();
            std::size_t retry = i + 1;
            if (scanner->recognise(ctx, i, candidate, retry)) {
                flush_unrecognized(i);
                candidate.scanner = scanner;
                candidate.kind = EntryKind::File;
                set_offsets(track, candidate);
                scan.entries.push_back(std::move(candidate));
                i = scan.entries.back().first_pulse + scan.entries.back().pulse_count;
                found = true;
                break;
            }
            next_try[s] = std::max(retry, i + 1);
            next = std::min(next, next_try[s]);
        }
        if (found)
            continue;
        if (unrecognized_from == n)
            unrecognized_from = i;
        // Pulses no scanner can start from; a silence pulse still ends the run.
        std::size_t j = i + 1;
        while (j < next && j < n && !track.is_silence(j))
            ++j;
        i = j;
    }
    flush_unrecognized(n);
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
    for (const TapeEntry &e : scan.entries) {
        if (e.has_checkbyte) {
            ++t.checksummed;
            if (e.checkbyte_pass)
                ++t.checksum_ok;
        }
        t.read_errors += e.read_errors;
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
