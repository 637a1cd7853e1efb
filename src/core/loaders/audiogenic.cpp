// Audiogenic: bits are single pulses against a one-shot timer of 319 cycles
// (bit 0 about $1A units, bit 1 about $36), bytes most significant bit
// first. A program is a run of blocks of one memory page each: a short
// pilot of the byte $F0 (four of them), the sync byte $AA, the page's high
// address byte, its 256 bytes, then their XOR. One entry "AUDIOGENIC" per
// block, loaded at page x 256.
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
            ++blocks;
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

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_byte_pilot_after_zeros(track, index, FORMAT, PILOT, pilot, retry))
        return false;
    retry = pilot.end;
    if (!plausible_speed(pilot.means, FORMAT))
        return false;
    const BitReader reader(track, pilot.threshold, FORMAT.order);
    uint8_t sync = 0, page = 0;
    if (!reader.byte(pilot.end, sync) || sync != SYNC || !reader.byte(pilot.end + 8, page))
        return false;

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.end + 8;
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    std::vector<uint8_t> &payload = entry.payload;
    std::size_t p = block.inner_start + 8;
    uint8_t v = 0;
    while (payload.size() < PAGE + 1 && reader.byte(p, v)) {
        payload.push_back(v);
        p += 8;
    }
    if (payload.size() < 2)
        return false;
    const uint8_t checksum = payload.back();
    payload.pop_back();
    block.inner_end = p - 8;
    block.end = trailer_end(reader, p, TRAILER_LIMIT, [&](std::size_t q) { return byte_run_at(reader, q, 0xF0, 3); });

    entry.type = AUDIOGENIC_TYPE;
    const uint32_t load = uint32_t(page) << 8;
    set_addresses(entry, uint16_t(load), uint16_t(load + PAGE));
    set_checkbyte(entry, checksum, xor_of(payload.data(), payload.size()));
    set_payload_crc(entry);
    std::size_t blocks_before = 0;
    const std::vector<Bounds> bounds = recorded_bounds(*ctx.entries, blocks_before);
    const Bounds *program = program_of_block(bounds, blocks_before, page);
    if (program == nullptr) {
        entry.loaded.push_back({uint16_t(load), payload});
    } else {
        // Only the program's own bytes.
        const uint32_t from = std::max(load, program->load);
        const uint32_t to = std::min<uint32_t>(load + uint32_t(payload.size()), program->end);
        if (from < to)
            entry.loaded.push_back({uint16_t(from), std::vector<uint8_t>(payload.begin() + long(from - load),
                                                                         payload.begin() + long(to - load))});
    }
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs);
    if (error.empty() && prgs.size() > 255)
        error = "at most 255 programs";
    for (const PrgInput &prg : prgs)
        if (error.empty() && prg.bytes.size() < 3)
            error = "an Audiogenic program holds at least one byte";
    if (!error.empty())
        return {};
    BootCodePlan plan = boot_plan();
    plan.parameters.push_back(uint8_t(prgs.size()));
    for (const PrgInput &prg : prgs) {
        const std::size_t length = prg.bytes.size() - 2;
        plan.parameters.insert(plan.parameters.end(), {prg.bytes[0], prg.bytes[1], uint8_t(length), uint8_t(length >> 8)});
    }
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(plan), "AUDIOGENIC", options);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const PrgInput &prg = prgs[i];
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
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

bool identify(const BootFacts &facts) { return facts.shows(FORMAT.threshold_cycles, {PILOT.value, SYNC}); }

const TapeScanner SCANNER = {"audiogenic", "Audiogenic", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_AUDIOGENIC = {"audiogenic", "Audiogenic", 4, &SCANNER, encode, identify};
