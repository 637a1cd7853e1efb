// Rack-It (Hewson): bits are single pulses against a one-shot timer of 352
// cycles (bit 0 about $1D units, bit 1 about $3C); the bit order differs
// from tape to tape, and the pilot tells which: it is the byte $25 in the
// tape's order. Every file: the pilot byte repeated, the sync byte $3D, a
// header - the file's XOR key, the end address (exclusive) and the start
// address (both big-endian), the XOR of the data - then the data, each
// byte XOR the key.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include <algorithm>

const char RACKIT_TYPE[] = "RACK-IT";

namespace {

using namespace turbo;

constexpr uint16_t THRESHOLD_CYCLES = 352;
constexpr uint8_t IDEAL0 = 0x1D, IDEAL1 = 0x3C;
constexpr BytePilot PILOT{0x25, 16};
constexpr uint8_t SYNC = 0x3D;
constexpr std::size_t HEADER_BYTES = 6;  // key, end, start, checksum
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 256;
constexpr std::size_t TRAILER_WRITTEN = 32;
constexpr uint8_t KEY_WRITTEN = 0x5C;

constexpr Format format_of(BitOrder order) { return Format{THRESHOLD_CYCLES, IDEAL0, IDEAL1, order}; }

bool recognise_in(const ScanContext &ctx, std::size_t index, BitOrder order, TapeEntry &entry, std::size_t &retry)
{
    const Format format = format_of(order);
    BlockHead head;
    if (!read_block_head(*ctx.pulses, index, format, PILOT, false, SyncSpec{&SYNC, 1, 1}, HEADER_BYTES, head, retry,
                         ctx.horizon))
        return false;
    const BitReader reader(*ctx.pulses, head.pilot.threshold, order);
    const uint8_t *h = head.header.data();
    const uint8_t key = h[0];
    const uint16_t end = uint16_t(h[1] << 8 | h[2]);
    const uint16_t load = uint16_t(h[3] << 8 | h[4]);
    const uint8_t checksum = h[5];
    const uint32_t end_exclusive = end == 0 ? 0x10000u : end;
    if (end_exclusive <= load)
        return false;
    const std::size_t size = end_exclusive - load;

    Block block = head.block();
    std::vector<uint8_t> &payload = entry.payload;
    std::size_t p = block.inner_start + 8 * HEADER_BYTES;
    uint8_t v = 0;
    while (payload.size() < size && reader.byte(p, v)) {
        payload.push_back(uint8_t(v ^ key));
        p += 8;
    }
    if (payload.empty())
        return false;
    block.inner_end = p;
    block.end = trailer_end(reader, p, TRAILER_LIMIT,
                            [&](std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); });

    finish_program_entry(ctx, format, block, RACKIT_TYPE, load, end, checksum, entry);
    return true;
}

// The file in whichever bit order its pilot is read; the nearer pilot wins.
bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    std::size_t retry_msb = 0, retry_lsb = 0;
    if (recognise_in(ctx, index, BitOrder::MsbFirst, entry, retry_msb))
        return true;
    entry = TapeEntry();
    if (recognise_in(ctx, index, BitOrder::LsbFirst, entry, retry_lsb))
        return true;
    entry = TapeEntry();
    retry = std::min(retry_msb, retry_lsb);
    return false;
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "Rack-It");
    if (!error.empty())
        return {};
    // The boot code of this program's tapes reads most significant bit first.
    const Format format = format_of(BitOrder::MsbFirst);
    auto write = [&](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t i) {
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        const uint16_t end = uint16_t(load + data.size());
        const uint8_t key = uint8_t(KEY_WRITTEN + i);
        Writer w(tap, format);
        w.repeat_byte(PILOT.value, PILOT_WRITTEN);
        w.byte(SYNC);
        w.bytes({key, uint8_t(end >> 8), uint8_t(end), uint8_t(load >> 8), uint8_t(load),
                 xor_of(data.data(), data.size())});
        for (uint8_t b : data)
            w.byte(uint8_t(b ^ key));
        w.zeros(TRAILER_WRITTEN);
    };
    return tape_of_programs(make_boot_program(one_shot_boot_plan(format, {PILOT.value, SYNC})), "RACK-IT", prgs,
                            options, write);
}

bool identify(const BootFacts &facts) { return facts.shows(THRESHOLD_CYCLES, {PILOT.value, SYNC}); }

const TapeScanner SCANNER = {"rackit", "Rack-It (Hewson)", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_RACKIT = {"rackit", "Rack-It (Hewson)", 4, &SCANNER, encode, identify};
