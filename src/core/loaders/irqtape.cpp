// IRQTape, a loader of modern home-made tapes: bits are single pulses of
// 256 (bit 0, $20 units) or 512 cycles (bit 1, $40) against a threshold of
// 384, bytes most significant bit first. Every file: a pilot of the byte
// $FF repeated, $C3, the sync byte $AA, then a header - $F0, the coding
// byte ($96 plain, $B7 run-length coded), a one-byte file name, the start
// address (LE), the count of 256-byte pages, the end address (exclusive,
// LE) and the XOR of these header bytes from $F0 on - the data, and the
// XOR of the data as they stand on the tape.
//
// Run-length coded data begin with their escape byte; after it, "escape,
// count, value" stands for count copies of value (a count of 0 for 256)
// and every other byte for itself (an escape byte of the data is written
// as "escape, 1, escape"). They end when end - start bytes are decoded.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <array>

const char IRQTAPE_TYPE[] = "IRQTAPE";

namespace {

using namespace turbo;

constexpr Format FORMAT{384, 0x20, 0x40, BitOrder::MsbFirst};
constexpr BytePilot PILOT{0xFF, 16};
constexpr uint8_t PRE_SYNC = 0xC3, SYNC = 0xAA, HEADER_MARK = 0xF0;
constexpr uint8_t PLAIN = 0x96, RUN_LENGTH = 0xB7;
constexpr std::size_t HEADER_BYTES = 9;  // $F0, coding, name, start, pages, end, XOR
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 256;
constexpr std::size_t TRAILER_WRITTEN = 32;

bool pilot_at(const BitReader &reader, std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); }

// Decodes run-length coded bytes read one by one from `next` until `size`
// bytes are out; false when the coding breaks off (next() fails).
template <class Next>
bool run_length_decode(Next &&next, std::size_t size, std::vector<uint8_t> &out)
{
    uint8_t escape = 0, v = 0, count = 0, value = 0;
    if (!next(escape))
        return false;
    while (out.size() < size) {
        if (!next(v))
            return false;
        if (v != escape) {
            out.push_back(v);
            continue;
        }
        if (!next(count) || !next(value))
            return false;
        out.insert(out.end(), count == 0 ? 256u : count, value);
    }
    out.resize(size);
    return true;
}

// The run-length coding of data: the escape byte is the value the data
// hold least often.
std::vector<uint8_t> run_length_encode(const std::vector<uint8_t> &data)
{
    std::array<std::size_t, 256> seen{};
    for (uint8_t v : data)
        ++seen[v];
    uint8_t escape = 0;
    for (unsigned v = 1; v < 256; ++v)
        if (seen[v] < seen[escape])
            escape = uint8_t(v);
    std::vector<uint8_t> out = {escape};
    for (std::size_t i = 0; i < data.size();) {
        std::size_t run = 1;
        while (i + run < data.size() && run < 256 && data[i + run] == data[i])
            ++run;
        if (run >= 4 || data[i] == escape) {
            out.insert(out.end(), {escape, uint8_t(run), data[i]});
        } else {
            out.insert(out.end(), data.begin() + long(i), data.begin() + long(i + run));
        }
        i += run;
    }
    return out;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_plausible_byte_pilot(track, index, FORMAT, PILOT, false, pilot, retry))
        return false;
    // A pilot of 1 bits measures only the 1 pulses: the threshold keeps its
    // nominal share of them.
    if (pilot.means.zeros == 0 && pilot.means.ones > 0)
        pilot.threshold = pilot.means.one * units_of_cycles(FORMAT.threshold_cycles) / FORMAT.ideal1;
    const BitReader reader(track, pilot.threshold, FORMAT.order);

    std::vector<uint8_t> head;
    if (!reader.bytes(pilot.end, 2 + HEADER_BYTES, head) || head[0] != PRE_SYNC || head[1] != SYNC ||
        head[2] != HEADER_MARK || (head[3] != PLAIN && head[3] != RUN_LENGTH))
        return false;
    const uint8_t *h = head.data() + 2;
    const uint16_t load = uint16_t(h[3] | h[4] << 8);
    const uint8_t pages = h[5];
    const uint16_t end = uint16_t(h[6] | h[7] << 8);
    const uint32_t end_exclusive = end == 0 ? 0x10000u : end;
    if (end_exclusive <= load || xor_of(h, HEADER_BYTES - 1) != h[HEADER_BYTES - 1])
        return false;
    const std::size_t size = end_exclusive - load;

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.end + 8 * 2;
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    // The bytes as they stand on the tape (coded or not) and their XOR.
    std::vector<uint8_t> stored;
    std::size_t p = block.inner_start + 8 * HEADER_BYTES;
    auto next = [&](uint8_t &v) {
        if (!reader.byte(p, v))
            return false;
        stored.push_back(v);
        p += 8;
        return true;
    };
    std::vector<uint8_t> &payload = entry.payload;
    bool whole = true;
    if (h[1] == RUN_LENGTH) {
        whole = run_length_decode(next, size, payload);
    } else {
        uint8_t v = 0;
        while (payload.size() < size && next(v))
            payload.push_back(v);
        whole = payload.size() == size;
    }
    uint8_t checksum = 0;
    const bool has_checksum = whole && reader.byte(p, checksum);
    if (has_checksum)
        p += 8;
    if (payload.empty())
        return false;
    block.inner_end = has_checksum ? p - 8 : p;
    block.end = trailer_end(reader, p, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q); });

    entry.type = IRQTAPE_TYPE;
    entry.block_type = pages;
    entry.has_name = true;
    entry.raw_name = {h[2]};
    entry.name = petscii_name_to_ascii(entry.raw_name.data(), entry.raw_name.size());
    set_addresses(entry, load, end);
    // A file cut short has no checksum on the tape: it fails.
    set_checkbyte(entry, checksum, has_checksum ? xor_of(stored.data(), stored.size()) : uint8_t(~checksum));
    set_payload_crc(entry);
    entry.loaded.push_back({load, payload});
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

BootCodePlan boot_plan() { return one_shot_boot_plan(FORMAT, {PRE_SYNC, SYNC}); }

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "IRQTape");
    if (!error.empty())
        return {};
    auto write = [](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t) {
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        const uint16_t end = uint16_t(load + data.size());
        const std::vector<uint8_t> coded = run_length_encode(data);
        const bool shorter = coded.size() < data.size();
        const std::vector<uint8_t> &stored = shorter ? coded : data;
        const std::vector<uint8_t> name = petscii_name(prg.name.empty() ? " " : prg.name, 1);
        std::vector<uint8_t> header = {HEADER_MARK,       shorter ? RUN_LENGTH : PLAIN,
                                       name[0],           uint8_t(load),
                                       uint8_t(load >> 8), uint8_t((data.size() + 255) / 256),
                                       uint8_t(end),       uint8_t(end >> 8)};
        header.push_back(xor_of(header.data(), header.size()));
        Writer w(tap, FORMAT);
        w.repeat_byte(PILOT.value, PILOT_WRITTEN);
        w.bytes({PRE_SYNC, SYNC});
        w.bytes(header);
        w.bytes(stored);
        w.byte(xor_of(stored.data(), stored.size()));
        w.zeros(TRAILER_WRITTEN);
    };
    return tape_of_programs(make_boot_program(boot_plan()), "IRQTAPE", prgs, options, write);
}

bool identify(const BootFacts &facts) { return facts.shows(FORMAT.threshold_cycles, {PRE_SYNC, SYNC}); }

const TapeScanner SCANNER = {"irqtape", "IRQTape", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_IRQTAPE = {"irqtape", "IRQTape", 2, &SCANNER, encode, identify};
