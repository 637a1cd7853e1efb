// Turbo Tape 64 / Turbo 250 and its clones: the most common home-made turbo
// of the C64.
//
// Bits are single pulses against a one-shot timer of 263 cycles (bit 0
// about $1A-$1E units, bit 1 about $2A), bytes most significant bit first.
// Every block: a pilot of the byte $02 (hundreds of them), the sync
// countdown $09 $08 ... $01, then a type byte:
//   - 1 or 2, a header: start address, end address (exclusive, both
//     little-endian), one byte, a 16-byte name, padding: 193 bytes in all
//     with the type. No checksum.
//   - 0, data: end - start bytes, then their XOR.
// Pulses after a block's last byte and before the next pilot (the end of the
// header's padding, a short trailer) belong to the block.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <algorithm>
#include <array>

const char TURBOTAPE_TYPE_HEADER[] = "TURBOTAPE-250 HEADER";
const char TURBOTAPE_TYPE_DATA[] = "TURBOTAPE-250 DATA";

namespace {

using namespace turbo;

constexpr Format FORMAT{263, 0x1A, 0x2A, BitOrder::MsbFirst};
constexpr BytePilot PILOT{0x02, 16};
constexpr std::array<uint8_t, 9> SYNC = {9, 8, 7, 6, 5, 4, 3, 2, 1};
constexpr int SYNC_MIN_MATCHES = 7;
constexpr std::size_t HEADER_BYTES = 192;  // after the type byte
constexpr std::size_t NAME_OFFSET = 5;
constexpr std::size_t NAME_SIZE = 16;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 256;
constexpr std::size_t TRAILER_WRITTEN = 64;

// Three pilot bytes in a row from q: another block begins.
bool pilot_at(const BitReader &reader, std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); }

// The header just before the entry being recognised (no other file in between).
const TapeEntry *header_before(const std::vector<TapeEntry> &entries, int *index)
{
    for (std::size_t k = entries.size(); k-- > 0;) {
        const TapeEntry &e = entries[k];
        if (e.kind != EntryKind::File)
            continue;
        if (e.type != TURBOTAPE_TYPE_HEADER)
            return nullptr;
        *index = int(k);
        return &e;
    }
    return nullptr;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_byte_pilot(track, index, FORMAT, PILOT, pilot, retry, ctx.horizon))
        return false;
    retry = pilot.end;  // whatever follows, this pilot leads nowhere else
    const BitReader reader(track, pilot.threshold, FORMAT.order);

    std::vector<uint8_t> sync;
    if (!reader.bytes(pilot.end, SYNC.size() + 1, sync))
        return false;
    int matches = 0;
    for (std::size_t k = 0; k < SYNC.size(); ++k)
        matches += sync[k] == SYNC[k];
    const uint8_t type = sync.back();
    if (matches < SYNC_MIN_MATCHES || type > 2)
        return false;

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.end + 8 * (SYNC.size() + 1);
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    std::vector<uint8_t> &payload = entry.payload;
    std::size_t after = 0;
    if (type != 0) {
        if (!reader.bytes(block.inner_start, HEADER_BYTES, payload))
            return false;
        after = block.inner_start + 8 * HEADER_BYTES;
        block.inner_end = after;
        entry.type = TURBOTAPE_TYPE_HEADER;
        entry.block_type = type;
        set_addresses(entry, uint16_t(payload[0] | payload[1] << 8), uint16_t(payload[2] | payload[3] << 8));
        entry.has_name = true;
        entry.raw_name.assign(payload.begin() + NAME_OFFSET, payload.begin() + NAME_OFFSET + NAME_SIZE);
        entry.name = petscii_name_to_ascii(entry.raw_name.data(), entry.raw_name.size());
    } else {
        // The header tells how many bytes; without one, the block runs as far
        // as there are bytes and the last is the checksum.
        int header_index = -1;
        const TapeEntry *header = header_before(*ctx.entries, &header_index);
        const std::size_t wanted = header != nullptr ? std::size_t(header->size) + 1 : SIZE_MAX / 16;
        std::size_t p = block.inner_start;
        uint8_t v = 0;
        while (payload.size() < wanted && !(header == nullptr && pilot_at(reader, p)) && reader.byte(p, v)) {
            payload.push_back(v);
            p += 8;
        }
        if (payload.size() < 2)
            return false;
        after = p;
        block.inner_end = p - 8;
        const uint8_t checksum = payload.back();
        payload.pop_back();
        entry.type = TURBOTAPE_TYPE_DATA;
        set_checkbyte(entry, checksum, xor_of(payload.data(), payload.size()));
        if (header != nullptr) {
            set_addresses(entry, header->load_address, header->end_address);
            entry.header_entry = header_index;
            entry.loaded.push_back({header->load_address, payload});
        }
    }
    block.end = trailer_end(reader, after, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q); });
    set_payload_crc(entry);
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

void append_block(std::vector<uint8_t> &tap, uint8_t type, const std::vector<uint8_t> &body)
{
    Writer w(tap, FORMAT);
    w.repeat_byte(PILOT.value, PILOT_WRITTEN);
    w.bytes(SYNC.data(), SYNC.size());
    w.byte(type);
    w.bytes(body);
    w.zeros(TRAILER_WRITTEN);
}

BootCodePlan boot_plan() { return one_shot_boot_plan(FORMAT, {PILOT.value, SYNC.front()}); }

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs);
    if (!error.empty())
        return {};
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(boot_plan()), "TURBO TAPE", options);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const PrgInput &prg = prgs[i];
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const uint16_t end = uint16_t(load + prg.bytes.size() - 2);
        std::vector<uint8_t> header = {uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8), 0x00};
        const std::vector<uint8_t> name = petscii_name(prg.name, NAME_SIZE);
        header.insert(header.end(), name.begin(), name.end());
        header.resize(HEADER_BYTES, 0x20);
        append_block(tap, 1, header);
        std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        data.push_back(xor_of(data.data(), data.size()));
        append_block(tap, 0, data);
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

bool identify(const BootFacts &facts)
{
    return facts.shows(FORMAT.threshold_cycles, {PILOT.value, SYNC.front()});
}

const TapeScanner SCANNER = {"turbotape", "Turbo Tape 64 / Turbo 250", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_TURBOTAPE = {"turbotape", "Turbo Tape 64 / Turbo 250", 9, &SCANNER, encode, identify};
