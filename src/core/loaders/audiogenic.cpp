// Audiogenic: bits are single pulses against a one-shot timer of 319 cycles
// (bit 0 about $1A units, bit 1 about $36), bytes most significant bit
// first. A program is a run of blocks of one memory page each: a short
// pilot of the byte $F0 (four of them), the sync byte $AA, the page's high
// address byte, its 256 bytes, then their XOR. One entry "AUDIOGENIC" per
// chain of blocks of consecutive pages that follow each other straight
// away, loaded from the first page on; its check byte line is that of the
// first block that fails, else of the last (block_type: the count of
// blocks).
//
// The pages carry no program bounds. Boot files this program writes append,
// after their code, the count of programs and each program's load address
// and length (LE); blocks after such a boot file load only the bytes within
// those bounds, so a program goes back to a PRG file exactly as it was
// written. Without one every block loads its whole page.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <algorithm>

const char AUDIOGENIC_TYPE[] = "AUDIOGENIC";

namespace {

using namespace turbo;

constexpr Format FORMAT{319, 0x1A, 0x36, BitOrder::MsbFirst};
constexpr BytePilot PILOT{0xF0, 3};
constexpr uint8_t SYNC = 0xAA;
constexpr std::size_t PAGE = 256;
constexpr std::size_t PILOT_WRITTEN = 4;
constexpr std::size_t LEADER_WRITTEN = 64;  // 0 bits before a program's first pilot
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t TRAILER_WRITTEN = 32;

struct Bounds {
    uint32_t load, end;
};

BootCodePlan boot_plan() { return one_shot_boot_plan(FORMAT, {PILOT.value, SYNC}); }

// The program bounds our own boot file recorded, when the last CBM ROM data
// file before the block holds our boot code; `blocks` is then the count of
// blocks read since that file.
std::vector<Bounds> recorded_bounds(const std::vector<TapeEntry> &entries, std::size_t &blocks)
{
    static const std::vector<uint8_t> code = make_boot_program(boot_plan());
    std::vector<Bounds> bounds;
    blocks = 0;
    for (std::size_t k = entries.size(); k-- > 0;) {
        const TapeEntry &e = entries[k];
        if (e.type == AUDIOGENIC_TYPE)
            blocks += std::size_t(std::max(e.block_type, 1));
        if (e.scanner != &cbm_rom_scanner || e.type != CBM_TYPE_DATA)
            continue;
        const std::vector<uint8_t> &p = e.payload;
        const std::size_t at = code.size() - 2;  // the payload has no load address
        if (p.size() < at + 1 || !std::equal(code.begin() + 2, code.end(), p.begin()))
            return bounds;
        for (std::size_t i = 0, slot = at + 1; i < p[at] && slot + 4 <= p.size(); ++i, slot += 4) {
            const uint32_t load = uint32_t(p[slot] | p[slot + 1] << 8);
            bounds.push_back({load, load + uint32_t(p[slot + 2] | p[slot + 3] << 8)});
        }
        return bounds;
    }
    return bounds;
}

// The bounds of the program the n-th block since the boot file belongs to,
// when that block is the page expected there (the programs' pages in turn).
const Bounds *program_of_block(const std::vector<Bounds> &bounds, std::size_t n, uint32_t page)
{
    for (const Bounds &b : bounds) {
        const std::size_t pages = ((b.end - 1) >> 8) - (b.load >> 8) + 1;
        if (n < pages)
            return (b.load >> 8) + n == page ? &b : nullptr;
        n -= pages;
    }
    return nullptr;
}

// One block from its sync byte at q: page, bytes, checksum.
struct PageBlock {
    uint8_t page = 0;
    std::vector<uint8_t> bytes;
    uint8_t checksum = 0;
    bool whole = false;       // all 256 bytes and the checksum were read
    bool damaged = false;     // in a chain, its sync or page byte is not what it must be
    std::size_t check_at = 0;  // first pulse of the checksum (or after the last byte)
    std::size_t after = 0;     // first pulse after the block
};

bool read_block(const BitReader &reader, std::size_t q, PageBlock &b, bool in_chain = false)
{
    uint8_t sync = 0;
    if (!reader.byte(q, sync) || (sync != SYNC && !in_chain) || !reader.byte(q + 8, b.page))
        return false;
    b.damaged = sync != SYNC;
    std::size_t p = q + 16;
    uint8_t v = 0;
    while (b.bytes.size() < PAGE && reader.byte(p, v)) {
        b.bytes.push_back(v);
        p += 8;
    }
    b.check_at = p;
    b.whole = b.bytes.size() == PAGE && reader.byte(p, b.checksum);
    if (b.whole)
        p += 8;
    else if (!b.bytes.empty()) {
        // Cut short: the last byte read stands for the checksum.
        b.checksum = b.bytes.back();
        b.bytes.pop_back();
        b.check_at = p - 8;
    }
    b.after = p;
    return !b.bytes.empty();
}

// The next block of a chain from p: its pilot bytes, then the block. Its
// sync and page bytes are those of the chain's next block even when a bad
// spot changed them; the block then fails.
bool next_block(const BitReader &reader, std::size_t p, uint8_t page, PageBlock &b)
{
    // The pilot bytes, one of them allowed to be spoilt.
    auto is_pilot = [&](std::size_t q) {
        uint8_t v = 0;
        return reader.byte(q, v) && v == PILOT.value;
    };
    std::size_t count = 0;
    bool spoilt = false;
    while (count < 2 * PILOT_WRITTEN) {
        if (is_pilot(p) || (!spoilt && count > 0 && is_pilot(p + 8))) {
            spoilt = spoilt || !is_pilot(p);
            ++count;
            p += 8;
            continue;
        }
        break;
    }
    uint8_t v = 0;
    // The last pilot byte spoilt: the sync byte follows it.
    if (!spoilt && count >= PILOT.min_bytes - 1 && reader.byte(p, v) && v != SYNC && reader.byte(p + 8, v) &&
        v == SYNC) {
        spoilt = true;
        ++count;
        p += 8;
    }
    if (count < PILOT.min_bytes)
        return false;
    if (!read_block(reader, p, b, true))
        return false;
    if (b.page != uint8_t(page + 1)) {
        b.page = uint8_t(page + 1);
        b.damaged = true;
    }
    return true;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_plausible_byte_pilot(track, index, FORMAT, PILOT, true, pilot, retry, ctx.horizon))
        return false;
    const BitReader reader(track, pilot.threshold, FORMAT.order);
    std::vector<PageBlock> chain(1);
    if (!read_block(reader, pilot.end, chain[0]))
        return false;
    // Blocks of the following pages straight after it belong to the chain.
    for (;;) {
        const PageBlock &last = chain.back();
        PageBlock next;
        if (!last.whole || !next_block(reader, last.after, last.page, next))
            break;
        chain.push_back(std::move(next));
    }

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.end + 8;
    block.inner_end = chain.back().check_at;
    block.end = trailer_end(reader, chain.back().after, TRAILER_LIMIT,
                            [&](std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); });
    block.threshold = pilot.threshold;
    block.means = pilot.means;

    std::size_t blocks_before = 0;
    const std::vector<Bounds> bounds = recorded_bounds(*ctx.entries, blocks_before);
    bool shown = false;
    for (std::size_t k = 0; k < chain.size(); ++k) {
        const PageBlock &b = chain[k];
        entry.payload.insert(entry.payload.end(), b.bytes.begin(), b.bytes.end());
        // The check byte line: the first block that fails, else the last.
        const uint8_t sum = xor_of(b.bytes.data(), b.bytes.size());
        if (!shown && (sum != b.checksum || !b.whole || b.damaged || k + 1 == chain.size())) {
            set_checkbyte(entry, b.whole ? b.checksum : uint8_t(~sum), sum);
            shown = true;
        }
        // The bytes it loads: its page, or only a recorded program's part of it.
        const uint32_t load = uint32_t(b.page) << 8;
        uint32_t from = load, to = load + uint32_t(b.bytes.size());
        if (const Bounds *program = program_of_block(bounds, blocks_before + k, b.page)) {
            from = std::max(from, program->load);
            to = std::min(to, program->end);
        }
        if (from >= to)
            continue;
        const std::vector<uint8_t> part(b.bytes.begin() + long(from - load), b.bytes.begin() + long(to - load));
        if (!entry.loaded.empty() && entry.loaded.back().load + entry.loaded.back().bytes.size() == from)
            entry.loaded.back().bytes.insert(entry.loaded.back().bytes.end(), part.begin(), part.end());
        else
            entry.loaded.push_back({uint16_t(from), part});
    }
    entry.checkbyte_pass = std::all_of(chain.begin(), chain.end(), [](const PageBlock &b) {
        return b.whole && !b.damaged && b.checksum == xor_of(b.bytes.data(), b.bytes.size());
    });
    entry.type = AUDIOGENIC_TYPE;
    entry.block_type = int(chain.size());
    const uint32_t first = uint32_t(chain.front().page) << 8;
    set_addresses(entry, uint16_t(first), uint16_t(first + entry.payload.size()));
    set_payload_crc(entry);
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "Audiogenic");
    if (error.empty() && prgs.size() > 255)
        error = "at most 255 programs";
    if (!error.empty())
        return {};
    BootCodePlan plan = boot_plan();
    plan.parameters.push_back(uint8_t(prgs.size()));
    for (const PrgInput &prg : prgs) {
        const std::size_t length = prg.bytes.size() - 2;
        plan.parameters.insert(plan.parameters.end(), {prg.bytes[0], prg.bytes[1], uint8_t(length), uint8_t(length >> 8)});
    }
    auto write = [](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t) {
        const uint32_t load = uint32_t(prg.bytes[0] | prg.bytes[1] << 8);
        const uint32_t end = load + uint32_t(prg.bytes.size() - 2);
        Writer w(tap, FORMAT);
        w.zeros(LEADER_WRITTEN);
        for (uint32_t page = load >> 8; page << 8 < end; ++page) {
            // The page's bytes; those outside the program are 0.
            std::vector<uint8_t> bytes(PAGE, 0);
            for (uint32_t a = std::max(load, page << 8); a < std::min(end, (page + 1) << 8); ++a)
                bytes[a - (page << 8)] = prg.bytes[2 + (a - load)];
            w.repeat_byte(PILOT.value, PILOT_WRITTEN);
            w.byte(SYNC);
            w.byte(uint8_t(page));
            w.bytes(bytes);
            w.byte(xor_of(bytes.data(), bytes.size()));
        }
        w.zeros(TRAILER_WRITTEN);
    };
    return tape_of_programs(make_boot_program(plan), "AUDIOGENIC", prgs, options, write);
}

bool identify(const BootFacts &facts) { return facts.shows(FORMAT.threshold_cycles, {PILOT.value, SYNC}); }

const TapeScanner SCANNER = {"audiogenic", "Audiogenic", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_AUDIOGENIC = {"audiogenic", "Audiogenic", 4, &SCANNER, encode, identify};
