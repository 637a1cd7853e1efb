// Freeload: the turbo of Ocean's tapes from 1988 on.
//
// Bits are single pulses against a threshold of 360 cycles (bit 0 about $24
// units, bit 1 about $41), bytes most significant bit first. Every block: a
// pilot of the byte $40 repeated, the sync byte $5A, the start address and
// the end address + 1 (both little-endian), the data, then the XOR of the
// data. A block stands alone: it carries its own addresses and no name.
//
// The pilot is searched with a threshold halfway between the two pulses
// rather than the loader's (which sits close to bit 0), so that slow tapes
// still show it; the block itself is read at the middle of the pilot's
// measured pulses. A block shorter than its addresses announce (cut by
// silence) keeps the bytes it has, its last one taken as the checksum.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include <algorithm>

const char FREELOAD_TYPE[] = "FREELOAD";

namespace {

using namespace turbo;

constexpr Format FORMAT{360, 0x24, 0x41, BitOrder::MsbFirst};
constexpr Format SEARCH{404, 0x24, 0x41, BitOrder::MsbFirst};  // threshold between the ideal pulses
constexpr BytePilot PILOT{0x40, 10};  // pilots of real tapes vary; the sync and addresses confirm
constexpr uint8_t SYNC = 0x5A;
constexpr std::size_t ADDRESS_BYTES = 4;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 256;
constexpr std::size_t TRAILER_WRITTEN = 16;

// Three pilot bytes in a row from q: another block begins.
bool pilot_at(const BitReader &reader, std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); }

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_byte_pilot_after_zeros(track, index, SEARCH, PILOT, pilot, retry, ctx.horizon))
        return false;
    retry = pilot.end;  // whatever follows, this pilot leads nowhere else
    // Read in the middle of the pilot's two lengths (or, when asked, at the
    // loader's own threshold: the pilot was searched with a middle one).
    pilot.threshold = calibrated_threshold(pilot.means, FORMAT);
    const BitReader reader(track, pilot.threshold, FORMAT.order);

    std::vector<uint8_t> head;
    if (!reader.bytes(pilot.end, 1 + ADDRESS_BYTES, head) || head[0] != SYNC)
        return false;
    const uint16_t load = uint16_t(head[1] | head[2] << 8);
    const uint16_t end = uint16_t(head[3] | head[4] << 8);
    const uint32_t end_exclusive = end == 0 ? 0x10000u : end;
    if (end_exclusive <= load)
        return false;
    const std::size_t size = end_exclusive - load;

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.end + 8;
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    std::vector<uint8_t> &payload = entry.payload;
    BlockTail tail;
    if (!read_data_and_checksum(reader, block.inner_start + 8 * ADDRESS_BYTES, size, payload, tail))
        return false;
    block.inner_end = tail.checksum_at;
    block.end = trailer_end(reader, tail.after, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q); });

    finish_program_entry(ctx, FORMAT, block, FREELOAD_TYPE, load, end, tail.checksum, entry);
    return true;
}

BootCodePlan boot_plan() { return one_shot_boot_plan(FORMAT, {PILOT.value, SYNC}); }

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs);
    for (const PrgInput &prg : prgs)
        if (error.empty() && prg.bytes.size() < 3)
            error = "a Freeload block holds at least one byte";
    if (!error.empty())
        return {};
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(boot_plan()), "FREELOAD", options);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const PrgInput &prg = prgs[i];
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const uint16_t end = uint16_t(load + prg.bytes.size() - 2);
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        Writer w(tap, FORMAT);
        w.repeat_byte(PILOT.value, PILOT_WRITTEN);
        w.byte(SYNC);
        w.bytes({uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8)});
        w.bytes(data);
        w.byte(xor_of(data.data(), data.size()));
        w.zeros(TRAILER_WRITTEN);
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

// The threshold alone is shared with other loaders of the same years: the
// pilot and sync values tell Freeload apart.
bool identify(const BootFacts &facts)
{
    return facts.shows(FORMAT.threshold_cycles, {PILOT.value, SYNC});
}

const TapeScanner SCANNER = {"freeload", "Freeload", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_FREELOAD = {"freeload", "Freeload", 7, &SCANNER, encode, identify};
