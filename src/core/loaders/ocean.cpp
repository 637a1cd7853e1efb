// Ocean/Imagine, the older loader: bits are single pulses against a
// continuous timer of 480 cycles (bit 0 about $24 units, bit 1 about $56),
// bytes least significant bit first. A chain of blocks: a pilot of about
// 4112 0 bits, one 1 bit, the sync byte $AA for types 2 and 3 (none for
// type 1), then blocks of [flag][page][256 bytes] loaded at page * 256 (the
// flag's bits choose the memory set-up, music and a bitmap screen; it is
// kept out of the payload). A block whose page byte is $00 ends the chain
// and carries no data. Type 3 ends its chain with page $02 instead: after
// the sync byte a page $02 ends the chain when no further block can follow
// it (no 256 bytes and another [flag][page] readable before a silence, or
// only 0 bits: the trailer or the next pilot); otherwise it is a page of
// data like any other. No checksum. About 2047 0 bits follow a chain.
// Without a checksum a chain is taken only on the evidence of its pulses: a
// pilot of at least 2000 0 bits, one whole block, and both pulse classes at
// Ocean's lengths and ratio (see turbo::pulses_fit).
// Novaload files have the same pilot and sync byte: bytes after the sync
// whose check bytes agree as a Novaload file's are no Ocean chain.
//
// One entry "OCEAN" per chain (block_type = 1, 2 or 3): inner start at the
// first flag byte, inner end at the ending block's flag byte (just after
// the data); the payload is the pages' bytes in tape order, loaded as one
// run per stretch of consecutive pages. A chain cut short by silence keeps
// the bytes read, as long as one block of it is whole.
//
// The pages carry no file bounds. Boot files this program writes append,
// after their code, the count of chains and each chain's load address and
// length (LE); a chain after such a boot file loads just those bytes, so a
// program goes back to a PRG file exactly as it was written.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <algorithm>

const char OCEAN_TYPE[] = "OCEAN";

namespace {

using namespace turbo;

constexpr Format FORMAT{480, 0x24, 0x56, BitOrder::LsbFirst};
constexpr uint8_t SYNC = 0xAA;
constexpr uint8_t END_PAGE = 0x00;
constexpr uint8_t TYPE3_END_PAGE = 0x02;
// A whole pilot: the loader writes about 4112 0 bits; a tape whose start
// was clipped keeps most of them. Runs of 0 bits in other formats' data
// are seldom that long.
constexpr std::size_t PILOT_MIN = 2000;
constexpr std::size_t PAGE = 256;
constexpr std::size_t BLOCK_PULSES = 8 * (2 + PAGE);
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 4112;
constexpr std::size_t TRAILER_WRITTEN = 2047;

bool plausible_pilot(const PilotFound &pilot)
{
    return pilot.means.zeros > 0 && pilot.means.zero > FORMAT.ideal0 * 0.78 && pilot.means.zero < FORMAT.ideal0 * 1.22;
}

// A whole block ([flag][page][256 bytes]) readable from q.
bool block_follows(const BitReader &reader, std::size_t q)
{
    for (std::size_t k = 0; k < BLOCK_PULSES; ++k)
        if (reader.bit(q + k) < 0)
            return false;
    return true;
}

// After a page byte $02 at p - 8 in a chain with the sync byte: true when
// the chain ends there (type 3).
bool type3_end(const BitReader &reader, std::size_t p)
{
    std::vector<uint8_t> bytes;
    if (!reader.bytes(p, PAGE + 2, bytes))
        return true;
    return std::all_of(bytes.begin(), bytes.begin() + PAGE, [](uint8_t b) { return b == 0; });
}

BootCodePlan boot_setup()
{
    BootCodePlan setup;
    setup.threshold_cycles = FORMAT.threshold_cycles;
    setup.one_shot = false;
    setup.lsb_first = FORMAT.order == BitOrder::LsbFirst;  // bits rotated in from the top
    return setup;
}

// The bounds our own boot file recorded for the chain being read: the last
// CBM ROM data file before it must hold our boot code; the chain's number
// is the count of chains since.
bool recorded_bounds(const std::vector<TapeEntry> &entries, uint16_t &load, uint16_t &length)
{
    static const std::vector<uint8_t> code = make_boot_program(boot_setup());
    std::size_t chains = 0;
    for (std::size_t k = entries.size(); k-- > 0;) {
        const TapeEntry &e = entries[k];
        if (e.type == OCEAN_TYPE) {
            ++chains;
            continue;
        }
        if (e.scanner != &cbm_rom_scanner || e.type != CBM_TYPE_DATA)
            continue;
        const std::vector<uint8_t> &p = e.payload;
        const std::size_t at = code.size() - 2;  // the payload has no load address
        if (p.size() < at + 1 || !std::equal(code.begin() + 2, code.end(), p.begin()))
            return false;
        const std::size_t count = p[at];
        const std::size_t slot = at + 1 + 4 * chains;
        if (chains >= count || slot + 4 > p.size())
            return false;
        load = uint16_t(p[slot] | p[slot + 1] << 8);
        length = uint16_t(p[slot + 2] | p[slot + 3] << 8);
        return true;
    }
    return false;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_bit_pilot(track, index, FORMAT, PILOT_MIN, pilot, retry, ctx.horizon))
        return false;
    retry = pilot.end;  // whatever follows, this pilot leads nowhere else
    if (!plausible_pilot(pilot))
        return false;
    const BitReader reader(track, pilot.threshold, FORMAT.order);
    uint8_t first = 0;
    if (!reader.byte(pilot.end, first))
        return false;
    const bool synced = first == SYNC;
    if (synced && novaload_file_at(reader, pilot.end + 8))
        return false;
    int type = synced ? 2 : 1;

    Block block;
    block.first = pilot.start;
    block.inner_start = synced ? pilot.end + 8 : pilot.end;
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    std::size_t p = block.inner_start;
    int last_page = -2;
    std::size_t pages = 0, whole_pages = 0;
    bool fits_checked = false;
    std::vector<uint8_t> &data = entry.payload;
    for (;;) {
        block.inner_end = p;
        uint8_t flag = 0, page = 0;
        if (!reader.byte(p, flag) || !reader.byte(p + 8, page))
            break;
        if (page == END_PAGE) {
            p += 16;
            break;
        }
        if (synced && page == TYPE3_END_PAGE && type3_end(reader, p + 16)) {
            type = 3;
            p += 16;
            break;
        }
        p += 16;
        std::vector<uint8_t> bytes;
        reader.bytes(p, PAGE, bytes);
        p += 8 * bytes.size();
        if (bytes.empty())
            break;
        if (page != last_page + 1 || entry.loaded.empty())
            entry.loaded.push_back({uint16_t(page << 8), {}});
        entry.loaded.back().bytes.insert(entry.loaded.back().bytes.end(), bytes.begin(), bytes.end());
        data.insert(data.end(), bytes.begin(), bytes.end());
        last_page = page;
        ++pages;
        if (bytes.size() < PAGE) {
            block.inner_end = p;
            break;
        }
        ++whole_pages;
        // The pulses' evidence, as soon as the blocks read hold enough 1 bits
        // to measure: another format's data are given up at once.
        if (!fits_checked && class_means(track, block.inner_start, p, pilot.threshold).ones >= 64) {
            if (!pulses_fit(track, block.inner_start, p, pilot.threshold, FORMAT))
                return false;
            fits_checked = true;
        }
    }
    // Without a check byte, a chain must hold one whole block at least:
    // a pilot of 0 bits followed by anything else (another loader's pilot
    // and a short block) is no Ocean chain. And its pulses must be Ocean's:
    // another format's data after a long run of 0 bits have the classes
    // where that format puts them, not at Ocean's $24/$56.
    if (whole_pages == 0 || (!fits_checked && !pulses_fit(track, block.inner_start, p, pilot.threshold, FORMAT)))
        return false;

    entry.type = OCEAN_TYPE;
    entry.block_type = type;
    uint16_t load = 0, length = 0;
    if (entry.loaded.size() == 1 && recorded_bounds(*ctx.entries, load, length)) {
        TapeEntry::LoadedRun &run = entry.loaded[0];
        if (load >= run.load && std::size_t(load - run.load) + length <= run.bytes.size()) {
            const std::size_t skip = load - run.load;
            run.bytes = std::vector<uint8_t>(run.bytes.begin() + std::ptrdiff_t(skip),
                                             run.bytes.begin() + std::ptrdiff_t(skip + length));
            run.load = load;
        }
    }
    if (entry.loaded.size() == 1)
        set_addresses(entry, entry.loaded[0].load, uint16_t(entry.loaded[0].load + entry.loaded[0].bytes.size()));

    block.end = bit_trailer_end(reader, p, TRAILER_LIMIT, PILOT_MIN,
                                [&](std::size_t q) { return block_follows(reader, q + 1); });
    entry.has_crc = true;
    entry.crc32 = crc32_of(data);
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

// A type 1 chain holding the pages that cover a program (bytes around it 0).
void append_chain(std::vector<uint8_t> &tap, const PrgInput &prg)
{
    const unsigned load = prg.bytes[0] | prg.bytes[1] << 8;
    const std::size_t length = prg.bytes.size() - 2;
    const unsigned first = load >> 8, last = unsigned(load + length - 1) >> 8;
    std::vector<uint8_t> image((last - first + 1) * PAGE, 0);
    std::copy(prg.bytes.begin() + 2, prg.bytes.end(), image.begin() + std::ptrdiff_t(load - first * PAGE));
    Writer w(tap, FORMAT);
    w.zeros(PILOT_WRITTEN);
    w.bit(1);
    for (unsigned page = first; page <= last; ++page) {
        w.byte(0x00);
        w.byte(uint8_t(page));
        w.bytes(image.data() + (page - first) * PAGE, PAGE);
    }
    w.byte(0x00);
    w.byte(END_PAGE);
    w.zeros(TRAILER_WRITTEN);
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs);
    if (error.empty() && prgs.size() > 255)
        error = "at most 255 programs";
    for (const PrgInput &prg : prgs)
        if (error.empty() && (prg.bytes.size() < 3 || prg.bytes[1] == 0))
            error = "an Ocean chain holds at least one byte and loads nothing in page $00";
    if (!error.empty())
        return {};
    BootCodePlan setup = boot_setup();
    std::vector<uint8_t> &bounds = setup.parameters;
    bounds.push_back(uint8_t(prgs.size()));
    for (const PrgInput &prg : prgs) {
        const std::size_t length = prg.bytes.size() - 2;
        bounds.insert(bounds.end(), {prg.bytes[0], prg.bytes[1], uint8_t(length), uint8_t(length >> 8)});
    }
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(setup), "OCEAN", options);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        append_chain(tap, prgs[i]);
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

// The loader's boot code runs a continuous timer of 480 cycles (Wild Save's
// one-shot timer has the same threshold).
bool identify(const BootFacts &facts)
{
    return facts.continuous && facts.has_threshold_near(FORMAT.threshold_cycles);
}

const TapeScanner SCANNER = {"ocean", "Ocean/Imagine", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_OCEAN = {"ocean", "Ocean/Imagine", 7, &SCANNER, encode, identify};
