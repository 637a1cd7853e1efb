// Burner (Mastertronic): a turbo whose variables live in its CBM boot file.
//
// Bits are single pulses against a one-shot timer of 384 cycles (bit 0
// about $22 units, bit 1 about $42). The pilot byte, the sync byte and the
// bit order differ from tape to tape (seen: pilot $E3 / sync $ED, pilot $96
// / sync $AD); the boot code holds them. Every file: the pilot byte
// repeated, the sync byte, start address, end address (exclusive, both
// little-endian), end - start bytes. No checksum.
//   - type 1: the boot code knows how many files there are;
//   - type 2: after each file a continuation byte; 0 ends the chain and the
//     entry address (2 bytes) follows.
// What follows a file's data up to the next pilot or silence (continuation
// byte, entry address, trailer) belongs to the file's entry. Without a file
// count, a non-zero continuation byte followed by another header instead of
// a pilot means the next file follows at once: it is an entry of its own,
// read with the pilot of the chain's first file.
//
// The variables are read from the last CBM ROM data block before the file
// and its header (the boot code): the operands of its CMP #imm (pilot then sync, in the
// order the loop compares them), the rotate that shifts the bit read from
// the timer into the byte (ROL: most significant bit first, ROR: least),
// and a file counter (LDA #n / STA zp, later DEC zp / BNE); not when the
// code sets another loader's timer threshold. A tape piece
// without its boot file, or one whose code says nothing readable, is read
// with the variables an earlier run learnt from a boot file (when they were
// kept, see loadermemory.h), then with the known pilot/sync pairs in both
// bit orders; the sync byte after the pilot decides between them. With no
// checksum to stop it, a file is taken only when its pilot's pulses fit
// Burner's lengths and ratio, and - with only the known pairs to go by - when
// its pilot is at least 64 bytes long.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

const char BURNER_TYPE[] = "BURNER";

namespace {

using namespace turbo;

constexpr char LOADER_ID[] = "burner";
constexpr uint16_t THRESHOLD_CYCLES = 384;
constexpr uint8_t IDEAL0 = 0x22, IDEAL1 = 0x42;
constexpr std::size_t PILOT_MIN_BYTES = 8;
// Without a boot file (or kept variables) that tells the pilot, only the
// known pilots are tried, and a file must then show a pilot long enough
// not to be a few bytes of another format's data.
constexpr std::size_t UNTOLD_PILOT_MIN_BYTES = 64;
constexpr std::size_t HEADER_BYTES = 4;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 192;
constexpr std::size_t TRAILER_WRITTEN = 32;
constexpr std::size_t MAX_BOOT_PAIRS = 8;

constexpr uint8_t CMP_IMM = 0xC9, LDA_IMM = 0xA9, LDX_IMM = 0xA2, LDY_IMM = 0xA0;
constexpr uint8_t STA_ZP = 0x85, STX_ZP = 0x86, STY_ZP = 0x84, DEC_ZP = 0xC6, BNE = 0xD0;
constexpr uint8_t LDA_ABS = 0xAD, LSR_A = 0x4A;
constexpr uint8_t ROL_ZP = 0x26, ROL_ABS = 0x2E, ROR_ZP = 0x66, ROR_ABS = 0x6E;

// One way a Burner tape can be written.
struct Variant {
    uint8_t pilot, sync;
    BitOrder order;
    bool told = false;  // by the boot file or by kept variables
};

constexpr Variant KNOWN[] = {{0xE3, 0xED, BitOrder::MsbFirst}, {0x96, 0xAD, BitOrder::MsbFirst}};

Format format_of(BitOrder order) { return Format{THRESHOLD_CYCLES, IDEAL0, IDEAL1, order}; }

// What the boot code tells.
struct BootParams {
    std::vector<Variant> variants;  // to try, the boot code's first
    int file_count = -1;            // type 1 when known
    std::string learnt;             // what the boot code told, as kept between runs ("" nothing)
};

// A variant as kept between runs: "pilot=E3 sync=ED order=msb" (order "any"
// when the boot code did not tell).
std::string variant_text(const Variant &v, bool order_known)
{
    char text[48];
    std::snprintf(text, sizeof text, "pilot=%02X sync=%02X order=%s", unsigned(v.pilot), unsigned(v.sync),
                  !order_known ? "any" : v.order == BitOrder::MsbFirst ? "msb" : "lsb");
    return text;
}

// Reads such a text; `which` as in read_params (0 any, 1 MSB, 2 LSB first).
bool variant_from_text(const std::string &text, uint8_t &pilot, uint8_t &sync, int &which)
{
    unsigned p = 0, y = 0;
    char order[8] = {};
    if (std::sscanf(text.c_str(), "pilot=%2X sync=%2X order=%3s", &p, &y, order) != 3)
        return false;
    const std::string o = order;
    if (o != "msb" && o != "lsb" && o != "any")
        return false;
    pilot = uint8_t(p);
    sync = uint8_t(y);
    which = o == "msb" ? 1 : o == "lsb" ? 2 : 0;
    return true;
}

// The bit order of the rotate that takes the timer's bit into the byte: the
// first ROL/ROR of memory shortly after a read of a CIA's interrupt register
// or after an LSR A. 0 = none found, 1 = MSB first (ROL), 2 = LSB first (ROR).
int rotate_order(const uint8_t *code, std::size_t size)
{
    auto rotate_at = [&](std::size_t i) {
        const uint8_t op = code[i];
        return op == ROL_ZP || op == ROL_ABS ? 1 : op == ROR_ZP || op == ROR_ABS ? 2 : 0;
    };
    for (std::size_t i = 0; i + 2 < size; ++i) {
        const bool icr_read = code[i] == LDA_ABS && code[i + 1] == 0x0D && (code[i + 2] == 0xDC || code[i + 2] == 0xDD);
        if (!icr_read)
            continue;
        for (std::size_t k = i + 3; k < size && k < i + 15; ++k)
            if (const int r = rotate_at(k))
                return r;
    }
    for (std::size_t i = 0; i + 1 < size; ++i) {
        if (code[i] != LSR_A)
            continue;
        for (std::size_t k = i + 1; k < size && k <= i + 3; ++k)
            if (const int r = rotate_at(k))
                return r;
    }
    return 0;
}

// A file counter: LDA/LDX/LDY #n, STA/STX/STY zp, and later DEC zp / BNE.
int file_count(const uint8_t *code, std::size_t size)
{
    for (std::size_t i = 0; i + 3 < size; ++i) {
        const uint8_t op = code[i];
        const uint8_t store = op == LDA_IMM ? STA_ZP : op == LDX_IMM ? STX_ZP : op == LDY_IMM ? STY_ZP : 0;
        if (store == 0 || code[i + 2] != store || code[i + 1] == 0)
            continue;
        const uint8_t zp = code[i + 3];
        for (std::size_t k = i + 4; k + 2 < size; ++k)
            if (code[k] == DEC_ZP && code[k + 1] == zp && code[k + 2] == BNE)
                return code[i + 1];
    }
    return -1;
}

BootParams read_params(const uint8_t *code, std::size_t size, const std::string *remembered)
{
    BootParams params;
    const int order = code != nullptr ? rotate_order(code, size) : 0;
    auto add = [&](uint8_t pilot, uint8_t sync, int which, bool told) {
        for (const BitOrder o : {BitOrder::MsbFirst, BitOrder::LsbFirst}) {
            if (which == 1 && o != BitOrder::MsbFirst)
                continue;
            if (which == 2 && o != BitOrder::LsbFirst)
                continue;
            const bool seen = std::any_of(params.variants.begin(), params.variants.end(), [&](const Variant &v) {
                return v.pilot == pilot && v.sync == sync && v.order == o;
            });
            if (!seen)
                params.variants.push_back({pilot, sync, o, told});
        }
    };
    // Code that sets another loader's threshold and not this one's is no
    // Burner boot file: its compares would only make false pilots.
    const BootFacts facts = read_boot_code(code, size);
    if (code != nullptr && (facts.thresholds.empty() || facts.has_threshold_near(THRESHOLD_CYCLES))) {
        // Pilot and sync: two compares in a row of the loop; a pilot is
        // neither all zeros nor all ones (those carry no byte boundary).
        std::vector<uint8_t> compares;
        for (std::size_t i = 0; i + 1 < size; ++i)
            if (code[i] == CMP_IMM)
                compares.push_back(code[i + 1]);
        std::size_t pairs = 0;
        for (std::size_t k = 0; k + 1 < compares.size() && pairs < MAX_BOOT_PAIRS; ++k) {
            const uint8_t pilot = compares[k], sync = compares[k + 1];
            if (pilot == sync || pilot == 0x00 || pilot == 0xFF)
                continue;
            add(pilot, sync, order, true);
            if (pairs == 0)
                params.learnt = variant_text(params.variants.front(), order != 0);
            ++pairs;
        }
        params.file_count = file_count(code, size);
    }
    // No boot file: the variables an earlier run learnt, when kept.
    uint8_t pilot = 0, sync = 0;
    int which = 0;
    if (code == nullptr && remembered != nullptr && variant_from_text(*remembered, pilot, sync, which))
        add(pilot, sync, which, true);
    for (const Variant &v : KNOWN)
        add(v.pilot, v.sync, 0, false);
    return params;
}

// The parameters of the boot file before the file being recognised: the
// code of the last CBM ROM data block, and of the header before it (boot
// code often sits in the header's spare bytes). Read once per boot file.
const BootParams &boot_params(const ScanContext &ctx)
{
    const std::vector<TapeEntry> &entries = *ctx.entries;
    const std::string *remembered =
        ctx.options->remembered != nullptr ? ctx.options->remembered->find(LOADER_ID) : nullptr;
    struct Cache {
        bool valid = false;
        const uint8_t *data = nullptr;
        std::size_t size = 0;
        uint32_t crc = 0, header_crc = 0;
        std::string remembered;
        BootParams params;
    };
    static thread_local Cache cache;
    const TapeEntry *boot = nullptr, *header = nullptr;
    // The last CBM data block, and the CBM header before it.
    std::size_t k = entries.size();
    while (k > 0 && boot == nullptr) {
        --k;
        if (entries[k].scanner == &cbm_rom_scanner && entries[k].type == CBM_TYPE_DATA)
            boot = &entries[k];
    }
    while (boot != nullptr && k > 0 && header == nullptr) {
        --k;
        if (entries[k].scanner == &cbm_rom_scanner && entries[k].type == CBM_TYPE_HEADER)
            header = &entries[k];
    }
    const uint8_t *data = boot != nullptr ? boot->payload.data() : nullptr;
    const std::size_t size = boot != nullptr ? boot->payload.size() : 0;
    const uint32_t crc = boot != nullptr ? boot->crc32 : 0;
    const uint32_t header_crc = header != nullptr ? header->crc32 : 0;
    const std::string remembered_text = remembered != nullptr ? *remembered : std::string();
    if (!cache.valid || cache.data != data || cache.size != size || cache.crc != crc ||
        cache.header_crc != header_crc || cache.remembered != remembered_text) {
        std::vector<uint8_t> code;
        if (header != nullptr)
            code = header->payload;
        if (boot != nullptr)
            code.insert(code.end(), boot->payload.begin(), boot->payload.end());
        cache.params = read_params(code.empty() ? nullptr : code.data(), code.size(), remembered);
        cache.data = data;
        cache.size = size;
        cache.crc = crc;
        cache.header_crc = header_crc;
        cache.remembered = remembered_text;
        cache.valid = true;
    }
    return cache.params;
}

// A pilot and its sync byte.
struct Found {
    Variant variant{};
    PilotFound pilot;  // end = first pulse of the sync byte
};

// Two pilot bytes in a row from q.
bool pilot_at(const BitReader &reader, std::size_t q, uint8_t pilot)
{
    uint8_t a = 0, b = 0;
    return reader.byte(q, a) && a == pilot && reader.byte(q + 8, b) && b == pilot;
}

// The first pilot of any variant followed by its sync byte, at or after
// `from`, in one pass: every variant is matched against the last 8 bits
// read in its order. A variant whose pilot run did not end in its sync
// looks again only after that run, so the pass stays linear. Same result
// and retry contract as find_byte_pilot.
bool find_pilot(const PulseTrack &track, std::size_t from, const std::vector<Variant> &variants, Found &found,
                std::size_t &retry, std::size_t until = SIZE_MAX)
{
    const double nominal = units_of_cycles(THRESHOLD_CYCLES);
    const BitReader msb_reader(track, nominal, BitOrder::MsbFirst);
    const BitReader lsb_reader(track, nominal, BitOrder::LsbFirst);
    const std::size_t n = track.size();
    std::vector<std::size_t> skip_until(variants.size(), 0);
    // Per byte value read in each order: the variants whose pilot it is.
    uint32_t msb_pilots[256] = {}, lsb_pilots[256] = {};
    for (std::size_t k = 0; k < variants.size() && k < 32; ++k)
        (variants[k].order == BitOrder::MsbFirst ? msb_pilots : lsb_pilots)[variants[k].pilot] |= 1u << k;
    // A pilot lies where pulses repeat the pulse 8 before them: only those
    // stretches are read pulse by pulse.
    std::vector<uint8_t> pilot_values;
    for (const Variant &v : variants)
        pilot_values.push_back(v.pilot);
    std::size_t begin = 0, stretch_end = 0, searched = from;
    while (next_repeating_stretch(msb_reader, searched, 8 * (PILOT_MIN_BYTES - 1), pilot_values, begin, stretch_end,
                                  until)) {
        searched = stretch_end;
        unsigned msb = 0, lsb = 0, valid = 0;
        const std::size_t first = std::max(from, begin >= 8 ? begin - 8 : 0);
        std::size_t run_start = first;
        for (std::size_t q = first; q < n && q <= stretch_end + 8; ++q) {
            const int b = msb_reader.bit(q);
            if (b < 0) {
                valid = 0;
                run_start = q + 1;
                continue;
            }
            msb = ((msb << 1) | unsigned(b)) & 0xFFu;
            lsb = (lsb >> 1) | (unsigned(b) << 7);
            if (++valid < 8)
                continue;
            const uint32_t candidates = msb_pilots[msb] | lsb_pilots[lsb];
            for (std::size_t k = 0; candidates != 0 && k < variants.size() && k < 32; ++k) {
                const Variant &v = variants[k];
                const bool is_msb = v.order == BitOrder::MsbFirst;
                if (!(candidates & (1u << k)) || q < skip_until[k])
                    continue;
                const BitReader &reader = is_msb ? msb_reader : lsb_reader;
                const std::size_t aligned = q - 7;
                std::size_t end = q + 1;
                std::size_t count = 1;
                uint8_t value = 0;
                while (reader.byte(end, value) && value == v.pilot) {
                    end += 8;
                    ++count;
                }
                skip_until[k] = end;  // a later start in this run has fewer bytes
                if (count < (v.told ? PILOT_MIN_BYTES : UNTOLD_PILOT_MIN_BYTES))
                    continue;
                // No checksum: the pilot's pulses must be Burner's.
                const Format format = format_of(v.order);
                const ClassMeans means = class_means(track, aligned, end, nominal);
                if (!plausible_speed(means, format))
                    continue;
                const double threshold = calibrated_threshold(means, format);
                const BitReader calibrated(track, threshold, v.order);
                if (!calibrated.byte(end, value) || value != v.sync || !pulses_fit(track, aligned, end, nominal, format))
                    continue;
                const std::size_t lead = std::min<std::size_t>(aligned - std::max(run_start, from), 7);
                if (aligned - lead > from) {
                    retry = aligned - lead;
                    return false;
                }
                found.variant = v;
                found.pilot.start = from;
                found.pilot.aligned = aligned;
                found.pilot.end = end;
                found.pilot.means = means;
                found.pilot.threshold = threshold;
                return true;
            }
        }
    }
    retry = retry_after_search(from, until, n);
    return false;
}

// Start and end address at `at`, when they make a file (end after start).
bool header_at(const BitReader &reader, std::size_t at, uint16_t &start, uint16_t &end)
{
    std::vector<uint8_t> header;
    if (!reader.bytes(at, HEADER_BYTES, header))
        return false;
    start = uint16_t(header[0] | header[1] << 8);
    end = uint16_t(header[2] | header[3] << 8);
    return end > start;
}

// Reads the file whose header is at `at` (its pilot, if any, from `first`)
// into the entry. When the chain may carry continuation bytes (no file
// count known), a non-zero one followed by another header instead of a
// pilot ends the entry, and the next file starts right after it.
bool read_file(const ScanContext &ctx, const Found &found, const BootParams &params, std::size_t first,
               std::size_t at, TapeEntry &entry)
{
    const Variant v = found.variant;
    const BitReader reader(*ctx.pulses, found.pilot.threshold, v.order);
    uint16_t start = 0, end = 0;
    if (!header_at(reader, at, start, end))
        return false;

    Block block;
    block.first = first;
    block.inner_start = at + 8 * HEADER_BYTES;
    block.threshold = found.pilot.threshold;
    block.means = found.pilot.means;
    // A file cut short (silence, end of tape) keeps the bytes read.
    std::vector<uint8_t> &payload = entry.payload;
    const std::size_t wanted = std::size_t(end - start);
    payload.reserve(wanted);
    std::size_t p = block.inner_start;
    uint8_t value = 0;
    while (payload.size() < wanted && reader.byte(p, value)) {
        payload.push_back(value);
        p += 8;
    }
    block.inner_end = p;
    uint8_t continuation = 0;
    uint16_t next_start = 0, next_end = 0;
    if (payload.size() == wanted && params.file_count < 0 && reader.byte(p, continuation) && continuation != 0 &&
        !pilot_at(reader, p + 8, v.pilot) && header_at(reader, p + 8, next_start, next_end)) {
        block.end = p + 8;
        entry.block_type = continuation;
    } else {
        block.end = trailer_end(reader, p, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q, v.pilot); });
    }
    if (block.end <= block.inner_start)
        block.end = block.inner_start + 1;  // the header's last pulse at least

    entry.type = BURNER_TYPE;
    set_addresses(entry, start, end);
    set_payload_crc(entry);
    if (!payload.empty())
        entry.loaded.push_back({start, payload});
    fill_entry(ctx, format_of(v.order), block, entry);
    return true;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    const BootParams &params = boot_params(ctx);
    Found found;
    // Right after a file that ended with a continuation byte: the next file
    // of the chain, read as its pilot told.
    // (entry.block_type holds a continuation byte that another file follows.)
    const std::vector<TapeEntry> &entries = *ctx.entries;
    auto continues_into = [&](std::size_t k, std::size_t next) {
        const TapeEntry &e = entries[k];
        return e.type == BURNER_TYPE && e.block_type > 0 && e.first_pulse + e.pulse_count == next;
    };
    if (!entries.empty() && continues_into(entries.size() - 1, index)) {
        std::size_t k = entries.size() - 1;  // back to the chain's file with a pilot
        while (k > 0 && continues_into(k - 1, entries[k].first_pulse))
            --k;
        std::size_t ignored = 0;
        if (find_pilot(track, entries[k].first_pulse, params.variants, found, ignored) &&
            found.pilot.start == entries[k].first_pulse && read_file(ctx, found, params, index, index, entry))
            return true;
        entry = TapeEntry();
    }
    if (!find_pilot(track, index, params.variants, found, retry, ctx.horizon))
        return false;
    retry = found.pilot.end;  // whatever follows, this pilot leads nowhere else
    if (!read_file(ctx, found, params, found.pilot.start, found.pilot.end + 8, entry))
        return false;
    // A file read with the variables of its boot code: they are kept for the
    // next runs when told (-preserve).
    const Variant &told = params.variants.front();
    if (!params.learnt.empty() && ctx.learnt != nullptr && found.variant.pilot == told.pilot &&
        found.variant.sync == told.sync)
        ctx.learnt->values[LOADER_ID] = params.learnt;
    return true;
}

// --- Encoding ----------------------------------------------------------------

constexpr Variant WRITTEN = KNOWN[0];

BootCodePlan boot_loop(std::size_t files)
{
    BootCodePlan loop;
    loop.threshold_cycles = THRESHOLD_CYCLES;
    loop.one_shot = true;
    loop.lsb_first = WRITTEN.order == BitOrder::LsbFirst;
    loop.compares = {WRITTEN.pilot, WRITTEN.sync};
    // The file loop: LDA #files / STA $02, then DEC $02 / BNE after each file.
    loop.parameters = {LDA_IMM, uint8_t(files), STA_ZP, 0x02, DEC_ZP, 0x02, BNE, 0xFC, 0x60};
    return loop;
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs);
    if (!error.empty())
        return {};
    if (prgs.size() > 255) {
        error = "too many programs for one Burner tape (255 at most)";
        return {};
    }
    for (const PrgInput &prg : prgs) {
        const unsigned load = unsigned(prg.bytes[0] | prg.bytes[1] << 8);
        if (load + prg.bytes.size() - 2 > 0xFFFF) {
            error = "a Burner file ends at $FFFF at the latest (its end address is exclusive)";
            return {};
        }
    }
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(boot_loop(prgs.size())), "BURNER", options);
    const Format format = format_of(WRITTEN.order);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const PrgInput &prg = prgs[i];
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const uint16_t end = uint16_t(load + prg.bytes.size() - 2);
        Writer w(tap, format);
        w.repeat_byte(WRITTEN.pilot, PILOT_WRITTEN);
        w.byte(WRITTEN.sync);
        w.bytes({uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8)});
        w.bytes(prg.bytes.data() + 2, prg.bytes.size() - 2);
        w.zeros(TRAILER_WRITTEN);
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

bool identify(const BootFacts &facts)
{
    if (!facts.has_threshold_near(THRESHOLD_CYCLES))
        return false;
    return std::any_of(std::begin(KNOWN), std::end(KNOWN),
                       [&](const Variant &v) { return facts.compares_with(v.pilot) && facts.compares_with(v.sync); });
}

const TapeScanner SCANNER = {LOADER_ID, "Burner (Mastertronic)", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_BURNER = {LOADER_ID, "Burner (Mastertronic)", 6, &SCANNER, encode, identify};
