// Microload: bits are single pulses against a one-shot timer of 333 cycles
// (bit 0 about $1C units, bit 1 about $38), bytes least significant bit
// first. Every block: a pilot of the byte $A0 repeated, the sync countdown
// $0A $09 ... $01, the start address (LE), the complement of the length
// (LE: the loader counts it up to zero), the data, then the XOR of the data.
// A block carries its own addresses and no name.
//
// Wild Save shares the pilot, the sync and the bit order at a slower
// threshold (480 cycles): the pilot's measured pulses tell the two apart.
#include "core/loaders/all.h"
#include "core/loaders/countdown.h"

const char MICROLOAD_TYPE[] = "MICROLOAD";

namespace {

using namespace turbo;
using namespace turbo::countdown;

constexpr Format FORMAT{333, 0x1C, 0x38, BitOrder::LsbFirst};
constexpr std::size_t ADDRESS_BYTES = 4;

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    BlockHead head;
    if (!read_block_head(*ctx.pulses, index, FORMAT, PILOT, true, SYNC_SPEC, ADDRESS_BYTES, head, retry,
                         ctx.horizon))
        return false;
    const BitReader reader(*ctx.pulses, head.pilot.threshold, FORMAT.order);
    const uint8_t *address = head.header.data();
    const uint16_t load = uint16_t(address[0] | address[1] << 8);
    const std::size_t size = uint16_t(~(address[2] | address[3] << 8));
    if (size == 0 || load + size > 0x10000)
        return false;

    Block block = head.block();
    std::vector<uint8_t> &payload = entry.payload;
    BlockTail tail;
    if (!read_data_and_checksum(reader, head.header_at + 8 * ADDRESS_BYTES, size, payload, tail))
        return false;
    block.inner_end = tail.checksum_at;
    block.end = trailer_end(reader, tail.after, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q); });

    finish_program_entry(ctx, FORMAT, block, MICROLOAD_TYPE, load, uint16_t(load + size), tail.checksum, entry);
    return true;
}

BootCodePlan boot_plan() { return countdown::boot_plan(FORMAT); }

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "Microload");
    if (!error.empty())
        return {};
    auto write = [](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t) {
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        const uint16_t complement = uint16_t(~data.size());
        Writer w(tap, FORMAT);
        countdown::write_start(w);
        w.bytes({prg.bytes[0], prg.bytes[1], uint8_t(complement), uint8_t(complement >> 8)});
        w.bytes(data);
        w.byte(xor_of(data.data(), data.size()));
        w.zeros(TRAILER_WRITTEN);
    };
    return tape_of_programs(make_boot_program(boot_plan()), "MICROLOAD", prgs, options, write);
}

bool identify(const BootFacts &facts) { return facts.shows(FORMAT.threshold_cycles, {PILOT.value, SYNC.front()}); }

const TapeScanner SCANNER = {"microload", "Microload", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_MICROLOAD = {"microload", "Microload", 4, &SCANNER, encode, identify};
