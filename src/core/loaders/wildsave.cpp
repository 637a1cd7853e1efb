// Wild Save: bits are single pulses against a one-shot timer of 480 cycles
// (bit 0 about $24 units, bit 1 about $56), bytes least significant bit
// first. Every block: a pilot of the byte $A0 repeated, the sync countdown
// $0A $09 ... $01, the end address (exclusive) and the size (both LE), a
// check byte (the XOR of the data), then the data from the last byte down
// to the first, each stored XOR the low byte of its own address: a byte
// for $C0FF is written as value ^ $FF. A block carries its own addresses
// and no name.
//
// Microload shares the pilot, the sync and the bit order at a faster
// threshold (333 cycles): the pilot's measured pulses tell the two apart.
#include "core/loaders/all.h"
#include "core/loaders/countdown.h"

#include <algorithm>

const char WILDSAVE_TYPE[] = "WILD SAVE";

namespace {

using namespace turbo;
using namespace turbo::countdown;

constexpr Format FORMAT{480, 0x24, 0x56, BitOrder::LsbFirst};
constexpr std::size_t HEADER_BYTES = 5;  // end, size, check byte

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    BlockHead head;
    if (!read_block_head(*ctx.pulses, index, FORMAT, PILOT, true, SYNC_SPEC, HEADER_BYTES, head, retry,
                         ctx.horizon))
        return false;
    const BitReader reader(*ctx.pulses, head.pilot.threshold, FORMAT.order);
    const uint8_t *h = head.header.data();
    const uint32_t end = uint16_t(h[0] | h[1] << 8) == 0 ? 0x10000u : uint16_t(h[0] | h[1] << 8);
    const std::size_t size = uint16_t(h[2] | h[3] << 8);
    const uint8_t checksum = h[4];
    if (size == 0 || size > end)
        return false;
    const uint16_t load = uint16_t(end - size);

    Block block = head.block();
    // The bytes come last first: a block cut short keeps its top end.
    std::vector<uint8_t> backwards;
    std::size_t p = block.inner_start + 8 * HEADER_BYTES;
    uint8_t v = 0;
    while (backwards.size() < size && reader.byte(p, v)) {
        const uint32_t address = end - 1 - backwards.size();
        backwards.push_back(uint8_t(v ^ (address & 0xFF)));
        p += 8;
    }
    if (backwards.empty())
        return false;
    std::vector<uint8_t> &payload = entry.payload;
    payload.assign(backwards.rbegin(), backwards.rend());
    block.inner_end = p;
    block.end = trailer_end(reader, p, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q); });

    entry.type = WILDSAVE_TYPE;
    const uint16_t first = uint16_t(end - payload.size());
    set_addresses(entry, load, uint16_t(end));
    set_checkbyte(entry, checksum, xor_of(payload.data(), payload.size()));
    set_payload_crc(entry);
    entry.loaded.push_back({first, payload});
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

BootCodePlan boot_plan() { return countdown::boot_plan(FORMAT); }

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "Wild Save");
    if (!error.empty())
        return {};
    auto write = [](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t) {
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const std::size_t size = prg.bytes.size() - 2;
        const uint32_t end = load + uint32_t(size);
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        Writer w(tap, FORMAT);
        countdown::write_start(w);
        w.bytes({uint8_t(end), uint8_t(end >> 8), uint8_t(size), uint8_t(size >> 8),
                 xor_of(data.data(), data.size())});
        for (std::size_t k = size; k-- > 0;)
            w.byte(uint8_t(data[k] ^ ((load + k) & 0xFF)));
        w.zeros(TRAILER_WRITTEN);
    };
    return tape_of_programs(make_boot_program(boot_plan()), "WILD SAVE", prgs, options, write);
}

bool identify(const BootFacts &facts) { return facts.shows(FORMAT.threshold_cycles, {PILOT.value, SYNC.front()}); }

const TapeScanner SCANNER = {"wildsave", "Wild Save", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_WILDSAVE = {"wildsave", "Wild Save", 3, &SCANNER, encode, identify};
