// The CHR loader, used by Cauldron, Hewson and Rainbird tapes among others:
// bits are single pulses against a one-shot timer of 263 cycles (bit 0
// about $1A units, bit 1 about $2A, as Turbo Tape's), bytes most
// significant bit first. Every block: a pilot of the byte $63 repeated, the
// sync run $64 $65 ... $FF, a block byte that is never zero, a 10-byte
// header - load address, end address (exclusive), start address of the
// program, two flag words, all LE - the data, then the XOR of the data.
//
// One entry "CHR" per block; the block byte is its block type, the flag
// words stay in the header (they steer the loader, not the data).
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

const char CHR_TYPE[] = "CHR";

namespace {

using namespace turbo;

constexpr Format FORMAT{263, 0x1A, 0x2A, BitOrder::MsbFirst};
constexpr BytePilot PILOT{0x63, 16};
constexpr unsigned SYNC_FIRST = 0x64, SYNC_LAST = 0xFF;
constexpr std::size_t SYNC_BYTES = SYNC_LAST - SYNC_FIRST + 1;
// A damaged byte or two in the long sync run still leaves it a sync run.
constexpr std::size_t SYNC_MIN_MATCHES = SYNC_BYTES - 4;
constexpr std::size_t SYNC_EXACT_LEAD = 8;  // the first bytes after the pilot must be right
constexpr std::size_t HEADER_BYTES = 10;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 256;
constexpr std::size_t TRAILER_WRITTEN = 32;
constexpr uint8_t BLOCK_BYTE_WRITTEN = 0x01;

bool pilot_at(const BitReader &reader, std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); }

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_plausible_byte_pilot(track, index, FORMAT, PILOT, false, pilot, retry, ctx.horizon))
        return false;
    const BitReader reader(track, pilot.threshold, FORMAT.order);

    std::vector<uint8_t> head;
    if (!reader.bytes(pilot.end, SYNC_BYTES + 1 + HEADER_BYTES, head))
        return false;
    std::size_t matches = 0;
    for (std::size_t k = 0; k < SYNC_BYTES; ++k) {
        const bool right = head[k] == SYNC_FIRST + k;
        if (!right && k < SYNC_EXACT_LEAD)
            return false;
        matches += right;
    }
    const uint8_t block_byte = head[SYNC_BYTES];
    if (matches < SYNC_MIN_MATCHES || block_byte == 0)
        return false;
    const uint8_t *h = head.data() + SYNC_BYTES + 1;
    const uint16_t load = uint16_t(h[0] | h[1] << 8);
    const uint16_t end = uint16_t(h[2] | h[3] << 8);
    const uint32_t end_exclusive = end == 0 ? 0x10000u : end;
    if (end_exclusive <= load)
        return false;
    const std::size_t size = end_exclusive - load;

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.end + 8 * (SYNC_BYTES + 1);
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    std::vector<uint8_t> &payload = entry.payload;
    BlockTail tail;
    if (!read_data_and_checksum(reader, block.inner_start + 8 * HEADER_BYTES, size, payload, tail))
        return false;
    block.inner_end = tail.checksum_at;
    block.end = trailer_end(reader, tail.after, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q); });

    entry.block_type = block_byte;
    finish_program_entry(ctx, FORMAT, block, CHR_TYPE, load, end, tail.checksum, entry);
    return true;
}

BootCodePlan boot_plan() { return one_shot_boot_plan(FORMAT, {PILOT.value, uint8_t(SYNC_FIRST)}); }

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "CHR");
    if (!error.empty())
        return {};
    auto write = [](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t) {
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const uint16_t end = uint16_t(load + prg.bytes.size() - 2);
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        Writer w(tap, FORMAT);
        w.repeat_byte(PILOT.value, PILOT_WRITTEN);
        for (unsigned s = SYNC_FIRST; s <= SYNC_LAST; ++s)
            w.byte(uint8_t(s));
        w.byte(BLOCK_BYTE_WRITTEN);
        // The program starts where it loads; no flags set.
        w.bytes({uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8), uint8_t(load),
                 uint8_t(load >> 8), 0, 0, 0, 0});
        w.bytes(data);
        w.byte(xor_of(data.data(), data.size()));
        w.zeros(TRAILER_WRITTEN);
    };
    return tape_of_programs(make_boot_program(boot_plan()), "CHR", prgs, options, write);
}

bool identify(const BootFacts &facts)
{
    return facts.shows(FORMAT.threshold_cycles, {PILOT.value, uint8_t(SYNC_FIRST)});
}

const TapeScanner SCANNER = {"chr", "CHR / Cauldron / Hewson / Rainbird", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_CHR = {"chr", "CHR / Cauldron / Hewson / Rainbird", 5, &SCANNER, encode, identify};
