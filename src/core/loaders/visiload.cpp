// Visiload: a turbo whose variables live in its boot code and can change on
// the way. Bits are single pulses against a threshold (438 cycles unless
// the boot code's CIA timer says otherwise; bit 0 about $26 units, bit 1
// about $52), in the bit order of the boot code's rotate (ROL: most
// significant bit first, ROR: least), each byte followed by 0 to 3 extra
// bits the loader skips. Every file: a pilot of 0 bits, the sync byte $16,
// the end address (exclusive) and the start address, both big-endian, the
// data, then the XOR of the data.
//
// The loader keeps its parameters in four bytes at $03FC, after the
// cassette buffer - threshold (LE), flags (bit 0: least significant bit
// first), extra bits per byte - which the boot file carries after its code.
// A file that loads over them is a patch: the files after it are read with
// its parameters. Patch files are entries "VISILOAD PATCH"; their
// bytes go to PRG files only when asked (ScanOptions::extract_loader_patches).
//
// The variables read from a boot file (threshold, bit order, extra bits)
// are learnt for the next runs when kept (see loadermemory.h); a tape piece
// without its boot file is read with those, else with the defaults.
// Which of the loader's bytes are the parameters, and the extra bits'
// count, are inferred; they hold for the tapes this program writes.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <algorithm>
#include <cstdio>

const char VISILOAD_TYPE[] = "VISILOAD";
const char VISILOAD_PATCH_TYPE[] = "VISILOAD PATCH";

namespace {

using namespace turbo;

constexpr char LOADER_ID[] = "visiload";
constexpr uint16_t DEFAULT_THRESHOLD = 438;
constexpr uint8_t IDEAL0 = 0x26, IDEAL1 = 0x52;
constexpr uint8_t SYNC = 0x16;
constexpr std::size_t PILOT_MIN = 200;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 1000;
constexpr std::size_t TRAILER_WRITTEN = 32;
constexpr unsigned MAX_EXTRA_BITS = 3;
constexpr uint32_t PARAMETER_ADDRESS = 0x03FC;
constexpr std::size_t PARAMETER_BYTES = 4;

struct Params {
    uint16_t threshold = DEFAULT_THRESHOLD;
    BitOrder order = BitOrder::MsbFirst;
    unsigned extra_bits = 0;
};

// The pulses scale with the threshold: $26 and $52 at the default.
Format format_of(const Params &p)
{
    return Format{p.threshold, uint8_t((p.threshold * IDEAL0 + DEFAULT_THRESHOLD / 2) / DEFAULT_THRESHOLD),
                  uint8_t((p.threshold * IDEAL1 + DEFAULT_THRESHOLD / 2) / DEFAULT_THRESHOLD), p.order};
}

std::string params_text(const Params &p)
{
    char text[64];
    std::snprintf(text, sizeof text, "threshold=%u order=%s extra=%u", unsigned(p.threshold),
                  p.order == BitOrder::MsbFirst ? "msb" : "lsb", p.extra_bits);
    return text;
}

bool params_from_text(const std::string &text, Params &p)
{
    unsigned threshold = 0, extra = 0;
    char order[8] = {};
    if (std::sscanf(text.c_str(), "threshold=%u order=%3s extra=%u", &threshold, order, &extra) != 3 ||
        threshold < 200 || threshold > 800 || extra > MAX_EXTRA_BITS)
        return false;
    const std::string o = order;
    if (o != "msb" && o != "lsb")
        return false;
    p = Params{uint16_t(threshold), o == "msb" ? BitOrder::MsbFirst : BitOrder::LsbFirst, extra};
    return true;
}

// The parameter block's four bytes as parameters; false when they make none.
bool params_from_block(const uint8_t *b, Params &p)
{
    const unsigned threshold = unsigned(b[0] | b[1] << 8);
    if (threshold < 200 || threshold > 800 || (b[2] & ~1u) != 0 || b[3] > MAX_EXTRA_BITS)
        return false;
    p = Params{uint16_t(threshold), (b[2] & 1) ? BitOrder::LsbFirst : BitOrder::MsbFirst, b[3]};
    return true;
}

BootCodePlan boot_plan(const Params &p)
{
    BootCodePlan plan;
    plan.threshold_cycles = p.threshold;
    plan.one_shot = true;
    plan.lsb_first = p.order == BitOrder::LsbFirst;
    plan.compares = {SYNC};
    plan.parameters = {uint8_t(p.threshold), uint8_t(p.threshold >> 8),
                       uint8_t(p.order == BitOrder::LsbFirst ? 1 : 0), uint8_t(p.extra_bits)};
    return plan;
}

// Where the boot file carries the parameters: after its code (the payload
// has no load address).
std::size_t parameters_in_boot_file()
{
    static const std::size_t at = boot_parameters_offset(boot_plan(Params())) - 2;
    return at;
}

// What the boot file tells: its code's threshold and rotate, and the
// parameter block when it is our layout.
bool params_from_boot(const TapeEntry &boot, Params &p)
{
    const std::vector<uint8_t> &code = boot.payload;
    const BootFacts facts = read_boot_code(code.data(), code.size());
    if (!facts.compares_with(SYNC))
        return false;
    const std::size_t at = parameters_in_boot_file();
    if (code.size() >= at + PARAMETER_BYTES && params_from_block(code.data() + at, p))
        return true;
    p = Params();
    for (unsigned t : facts.thresholds)
        if (t >= 300 && t <= 600) {
            p.threshold = uint16_t(t);
            break;
        }
    if (facts.bit_order == 2)
        p.order = BitOrder::LsbFirst;
    return true;
}

// params_from_boot, worked out once per boot file.
bool boot_params_cached(const TapeEntry &boot, Params &p)
{
    struct Cache {
        const uint8_t *data = nullptr;
        std::size_t size = 0;
        uint32_t crc = 0;
        bool ok = false;
        Params params;
    };
    static thread_local Cache cache;
    if (cache.data != boot.payload.data() || cache.size != boot.payload.size() || cache.crc != boot.crc32) {
        cache.data = boot.payload.data();
        cache.size = boot.payload.size();
        cache.crc = boot.crc32;
        cache.ok = params_from_boot(boot, cache.params);
    }
    p = cache.params;
    return cache.ok;
}

// The parameters for a file starting now: the last patch file before it,
// else the last boot file (a CBM data block), else what earlier runs kept,
// else the defaults. `from_boot` tells whether a boot file gave them,
// `known` whether anything but the defaults did.
Params current_params(const ScanContext &ctx, bool &from_boot, bool &known)
{
    from_boot = false;
    known = true;
    const std::vector<TapeEntry> &entries = *ctx.entries;
    Params p;
    for (std::size_t k = entries.size(); k-- > 0;) {
        const TapeEntry &e = entries[k];
        if (e.type == VISILOAD_PATCH_TYPE && e.block_type >= 0) {
            // A patch's parameters are kept in its entry (see recognise).
            p.threshold = uint16_t(e.block_type & 0xFFFF);
            p.order = (e.block_type >> 16 & 1) ? BitOrder::LsbFirst : BitOrder::MsbFirst;
            p.extra_bits = unsigned(e.block_type >> 17 & 3);
            return p;
        }
        // The last boot file decides: another loader's ends what came before.
        if (e.scanner == &cbm_rom_scanner && e.type == CBM_TYPE_DATA) {
            if (!boot_params_cached(e, p))
                break;
            from_boot = true;
            return p;
        }
    }
    const std::string *kept =
        ctx.options->remembered != nullptr ? ctx.options->remembered->find(LOADER_ID) : nullptr;
    if (kept != nullptr && params_from_text(*kept, p))
        return p;
    known = false;
    return Params();
}

int packed(const Params &p)
{
    return int(p.threshold) | (p.order == BitOrder::LsbFirst ? 1 << 16 : 0) | int(p.extra_bits) << 17;
}

// Reads bytes of 8 bits and the extra bits after each.
struct ByteReader {
    const BitReader &reader;
    unsigned extra;
    std::size_t p;
    bool next(uint8_t &v)
    {
        if (!reader.byte(p, v))
            return false;
        for (unsigned k = 0; k < extra; ++k)
            if (reader.bit(p + 8 + k) < 0)
                return false;
        p += 8 + extra;
        return true;
    }
};

// current_params, worked out again only when an entry was added.
Params current_params_cached(const ScanContext &ctx, bool &from_boot, bool &known)
{
    struct Cache {
        const std::vector<TapeEntry> *entries = nullptr;
        std::size_t count = SIZE_MAX;
        const PulseTrack *track = nullptr;
        std::size_t pulses = 0;
        uint64_t last_start = 0;
        const LoaderMemory *remembered = nullptr;
        Params params;
        bool from_boot = false, known = false;
    };
    static thread_local Cache cache;
    // The same scan (track and entries) with no entry added since.
    const uint64_t last_start = ctx.entries->empty() ? 0 : ctx.entries->back().start;
    if (cache.entries != ctx.entries || cache.count != ctx.entries->size() || cache.track != ctx.pulses ||
        cache.pulses != ctx.pulses->size() || cache.last_start != last_start ||
        cache.remembered != ctx.options->remembered) {
        cache.entries = ctx.entries;
        cache.count = ctx.entries->size();
        cache.track = ctx.pulses;
        cache.pulses = ctx.pulses->size();
        cache.last_start = last_start;
        cache.remembered = ctx.options->remembered;
        cache.params = current_params(ctx, cache.from_boot, cache.known);
    }
    from_boot = cache.from_boot;
    known = cache.known;
    return cache.params;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    bool from_boot = false, known = false;
    const Params params = current_params_cached(ctx, from_boot, known);
    const Format format = format_of(params);
    PilotFound pilot;
    if (!find_bit_pilot(track, index, format, PILOT_MIN, pilot, retry, ctx.horizon))
        return false;
    retry = pilot.end;
    if (!plausible_speed(pilot.means, format))
        return false;
    // The 1 that ends the pilot is the first 1 of the sync byte: $16 has
    // three 0 bits before it most significant bit first, one the other way.
    const std::size_t lead = params.order == BitOrder::MsbFirst ? 3 : 1;
    const std::size_t sync_at = pilot.end - 1 - lead;
    const BitReader reader(track, pilot.threshold, params.order);
    ByteReader in{reader, params.extra_bits, sync_at};
    uint8_t sync = 0, h[4];
    if (!in.next(sync) || sync != SYNC)
        return false;
    const std::size_t inner_start = in.p;
    for (uint8_t &b : h)
        if (!in.next(b))
            return false;
    const uint16_t end = uint16_t(h[0] << 8 | h[1]);
    const uint16_t load = uint16_t(h[2] << 8 | h[3]);
    const uint32_t end_exclusive = end == 0 ? 0x10000u : end;
    if (end_exclusive <= load)
        return false;
    const std::size_t size = end_exclusive - load;

    Block block;
    block.first = pilot.start;
    block.inner_start = inner_start;
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    std::vector<uint8_t> &payload = entry.payload;
    uint8_t v = 0;
    std::size_t last = in.p;
    while (payload.size() < size + 1 && in.next(v)) {
        payload.push_back(v);
        last = in.p;
    }
    if (payload.size() < 2)
        return false;
    const uint8_t checksum = payload.back();
    payload.pop_back();
    // Without a boot file or kept variables to say the tape is Visiload's,
    // a file must prove itself: an Ocean chain, read the same way, has a
    // sync byte of $16 now and then, never a passing checksum as well.
    if (!known && checksum != xor_of(payload.data(), payload.size()))
        return false;
    block.inner_end = last - 8 - params.extra_bits;
    block.end = trailer_end(reader, last, TRAILER_LIMIT, [](std::size_t) { return false; });

    // A file over the parameter block patches the loader.
    const uint32_t at = PARAMETER_ADDRESS;
    const bool patch = load <= at && at + PARAMETER_BYTES <= load + payload.size();
    Params patched;
    entry.type = patch ? VISILOAD_PATCH_TYPE : VISILOAD_TYPE;
    if (patch)
        entry.block_type = params_from_block(payload.data() + (at - load), patched) ? packed(patched) : -1;
    set_addresses(entry, load, end);
    set_checkbyte(entry, checksum, xor_of(payload.data(), payload.size()));
    set_payload_crc(entry);
    if (!patch || ctx.options->extract_loader_patches)
        entry.loaded.push_back({load, payload});
    fill_entry(ctx, format, block, entry);
    if (from_boot && ctx.learnt != nullptr)
        ctx.learnt->values[LOADER_ID] = params_text(params);
    return true;
}

void append_file(std::vector<uint8_t> &tap, const Params &p, uint16_t load, const std::vector<uint8_t> &data)
{
    Writer w(tap, format_of(p));
    auto byte = [&](uint8_t v) {
        w.byte(v);
        for (unsigned k = 0; k < p.extra_bits; ++k)
            w.bit(1);
    };
    // The pilot's last 0 bits are the sync byte's first.
    w.zeros(PILOT_WRITTEN);
    const uint16_t end = uint16_t(load + data.size());
    for (uint8_t b : {SYNC, uint8_t(end >> 8), uint8_t(end), uint8_t(load >> 8), uint8_t(load)})
        byte(b);
    for (uint8_t b : data)
        byte(b);
    byte(xor_of(data.data(), data.size()));
    w.zeros(TRAILER_WRITTEN);
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "Visiload");
    if (!error.empty())
        return {};
    const Params params;
    auto write = [&](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t) {
        append_file(tap, params, uint16_t(prg.bytes[0] | prg.bytes[1] << 8),
                    std::vector<uint8_t>(prg.bytes.begin() + 2, prg.bytes.end()));
    };
    return tape_of_programs(make_boot_program(boot_plan(params)), "VISILOAD", prgs, options, write);
}

// The boot code compares with the sync byte and sets a timer in the
// loader's range (its value differs from tape to tape).
bool identify(const BootFacts &facts)
{
    return facts.compares_with(SYNC) &&
           std::any_of(facts.thresholds.begin(), facts.thresholds.end(), [](unsigned t) { return t >= 380 && t <= 500; });
}

const TapeScanner SCANNER = {LOADER_ID, "Visiload", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_VISILOAD = {LOADER_ID, "Visiload", 5, &SCANNER, encode, identify};

std::vector<uint8_t> visiload_patch_file(uint16_t threshold, bool lsb_first, unsigned extra_bits)
{
    return {uint8_t(PARAMETER_ADDRESS), uint8_t(PARAMETER_ADDRESS >> 8), uint8_t(threshold),
            uint8_t(threshold >> 8), uint8_t(lsb_first ? 1 : 0), uint8_t(extra_bits)};
}

std::vector<uint8_t> visiload_file_pulses(uint16_t threshold, bool lsb_first, unsigned extra_bits,
                                          const std::vector<uint8_t> &prg)
{
    std::vector<uint8_t> pulses;
    const Params p{threshold, lsb_first ? BitOrder::LsbFirst : BitOrder::MsbFirst, extra_bits};
    append_file(pulses, p, uint16_t(prg[0] | prg[1] << 8), std::vector<uint8_t>(prg.begin() + 2, prg.end()));
    return pulses;
}
