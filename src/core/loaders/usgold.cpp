// The US Gold loader (first seen on "720"), also used by other publishers.
//
// Bits are single pulses against a threshold of 360 cycles (bit 0 about $24
// units, bit 1 about $42), bytes most significant bit first. Every block: a
// pilot of the byte $20 (about 64 of them), the sync byte $FF, a 20-byte
// header, the data, then the XOR of the data. The header holds a 16-byte
// name and the start and end (exclusive) addresses, little-endian: name
// first on most tapes, name last on a variant. Which one a block uses is
// read from the block itself: the layout whose addresses give a checksum
// that passes, else one whose size fits the bytes on the tape, else one
// with plausible addresses (the name that looks most like text decides a
// tie, then name first).
//
// As for Freeload, the pilot is searched with a threshold halfway between
// the pulses and the block read at the middle of the pilot's measured
// pulses; a block cut short keeps its bytes, the last taken as checksum.
#include "core/loaders/usgold.h"

#include "core/cbmscan.h"
#include "core/loaders/all.h"

#include <algorithm>

const char USGOLD_TYPE[] = "US GOLD";

namespace {

using namespace turbo;

constexpr Format FORMAT{360, 0x24, 0x42, BitOrder::MsbFirst};
constexpr Format SEARCH{408, 0x24, 0x42, BitOrder::MsbFirst};  // threshold between the ideal pulses
constexpr BytePilot PILOT{0x20, 16};
constexpr uint8_t SYNC = 0xFF;
constexpr std::size_t NAME_SIZE = 16;
constexpr std::size_t HEADER_BYTES = NAME_SIZE + 4;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 64;
constexpr std::size_t TRAILER_WRITTEN = 16;

// Three pilot bytes in a row from q: another block begins.
bool pilot_at(const BitReader &reader, std::size_t q) { return byte_run_at(reader, q, PILOT.value, 3); }

// One reading of the header.
struct Layout {
    bool name_last = false;
    uint16_t load = 0, end = 0;
    std::size_t size = 0;  // 0: the addresses make no block
    int rank = 0;          // 3 checksum passes, 2 size fits, 1 plausible, 0 not
    int text = 0;          // name bytes that look like text
};

Layout read_layout(const std::vector<uint8_t> &header, bool name_last)
{
    Layout l;
    l.name_last = name_last;
    const std::size_t a = name_last ? 0 : NAME_SIZE;
    const std::size_t n = name_last ? 4 : 0;
    l.load = uint16_t(header[a] | header[a + 1] << 8);
    l.end = uint16_t(header[a + 2] | header[a + 3] << 8);
    const uint32_t end_exclusive = l.end == 0 ? 0x10000u : l.end;
    for (std::size_t k = n; k < n + NAME_SIZE; ++k)
        l.text += (header[k] >= 0x20 && header[k] < 0x60) || (header[k] >= 0xC1 && header[k] <= 0xDA);
    if (end_exclusive > l.load) {
        l.size = end_exclusive - l.load;
        l.rank = 1;
    }
    return l;
}

// Ranks a plausible layout by the bytes on the tape (data and checksum).
void rank_layout(Layout &l, const std::vector<uint8_t> &bytes)
{
    if (l.rank == 0 || bytes.size() < l.size + 1)
        return;
    l.rank = xor_of(bytes.data(), l.size) == bytes[l.size] ? 3 : 2;
}

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

    std::vector<uint8_t> header;
    if (!reader.bytes(pilot.end, 1 + HEADER_BYTES, header) || header[0] != SYNC)
        return false;
    header.erase(header.begin());

    Layout first = read_layout(header, false);
    Layout last = read_layout(header, true);
    if (first.rank == 0 && last.rank == 0)
        return false;
    // The bytes up to a silence, as many as the longer reading wants.
    const std::size_t data_start = pilot.end + 8 * (1 + HEADER_BYTES);
    const std::size_t wanted = std::max(first.rank ? first.size : 0, last.rank ? last.size : 0) + 1;
    std::vector<uint8_t> bytes;
    uint8_t v = 0;
    for (std::size_t p = data_start; bytes.size() < wanted && reader.byte(p, v); p += 8)
        bytes.push_back(v);
    rank_layout(first, bytes);
    rank_layout(last, bytes);
    const Layout &l = (last.rank > first.rank || (last.rank == first.rank && last.text > first.text)) ? last : first;
    bytes.resize(std::min(bytes.size(), l.size + 1));
    if (bytes.size() < 2)
        return false;

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.end + 8;
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    const std::size_t after = data_start + 8 * bytes.size();
    block.inner_end = after - 8;
    block.end = trailer_end(reader, after, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q); });

    const uint8_t checksum = bytes.back();
    bytes.pop_back();
    entry.payload = std::move(bytes);
    entry.type = USGOLD_TYPE;
    set_addresses(entry, l.load, l.end);
    entry.has_name = true;
    const std::size_t n = l.name_last ? 4 : 0;
    entry.raw_name.assign(header.begin() + long(n), header.begin() + long(n + NAME_SIZE));
    entry.name = petscii_name_to_ascii(entry.raw_name.data(), entry.raw_name.size());
    set_checkbyte(entry, checksum, xor_of(entry.payload.data(), entry.payload.size()));
    set_payload_crc(entry);
    entry.loaded.push_back({l.load, entry.payload});
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

BootCodePlan boot_plan() { return one_shot_boot_plan(FORMAT, {PILOT.value, SYNC}); }

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    return usgold_encode(prgs, options, false, error);
}

// Freeload shares the threshold: the pilot and sync values tell them apart.
bool identify(const BootFacts &facts)
{
    return facts.shows(FORMAT.threshold_cycles, {PILOT.value, SYNC});
}

const TapeScanner SCANNER = {"usgold", "US Gold", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_USGOLD = {"usgold", "US Gold", 6, &SCANNER, encode, identify};

std::vector<uint8_t> usgold_encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, bool name_last,
                                   std::string &error)
{
    error = programs_problem(prgs);
    for (const PrgInput &prg : prgs)
        if (error.empty() && prg.bytes.size() < 3)
            error = "a US Gold block holds at least one byte";
    if (!error.empty())
        return {};
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(boot_plan()), "US GOLD", options);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const PrgInput &prg = prgs[i];
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const uint16_t end = uint16_t(load + prg.bytes.size() - 2);
        const std::vector<uint8_t> addresses = {uint8_t(load), uint8_t(load >> 8), uint8_t(end), uint8_t(end >> 8)};
        const std::vector<uint8_t> name = petscii_name(prg.name, NAME_SIZE);
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        Writer w(tap, FORMAT);
        w.repeat_byte(PILOT.value, PILOT_WRITTEN);
        w.byte(SYNC);
        w.bytes(name_last ? addresses : name);
        w.bytes(name_last ? name : addresses);
        w.bytes(data);
        w.byte(xor_of(data.data(), data.size()));
        w.zeros(TRAILER_WRITTEN);
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}
