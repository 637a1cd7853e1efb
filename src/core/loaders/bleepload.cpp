// Bleepload (Firebird): a chain of blocks, each with its own pilot byte.
//
// Bits are single pulses against a one-shot timer of 562 cycles (bit 0
// about $30 units, bit 1 about $5A), bytes most significant bit first.
// Every block:
//   - pilot: a byte P ten times, then its complement, then P again. P is
//     $0F for the first block; each block announces the next one's;
//   - next P, block number, load address (little-endian);
//   - 64 bytes (block number 0) or 256 bytes loaded there;
//   - a count N, then N filler bytes;
//   - a checksum: the XOR of the loaded bytes;
//   - a 2-byte vector (not interpreted here).
// A pause separates the blocks; each block is an entry.
//
// The pilot is found by its shape, whatever P is: a stretch whose bits
// repeat every 8 pulses breaks at the first bit of the complement, which
// gives the byte boundary too. A pilot must hold 6 bytes of P at least, so a
// pilot whose first bytes were lost after a pause still reads.
//
// The checksum is taken over the loaded bytes. Since what it covers on
// every real tape is not certain, a block whose checksum equals the XOR of
// its bytes from the next P on (through the loaded bytes, or through the
// filler) passes as well; a damaged byte changes all three alike.
//
// Blocks hold whole pages. Tapes written here mark a last block that holds
// fewer bytes of the program: N = 3 and the filler $BB, count, count EOR
// $FF; such a block loads only its first `count` bytes into the PRG files.
// Without the mark a block loads all its bytes.
//
// So that a program split into blocks makes one PRG file, the blocks that
// load one after the other form one run, carried by the block that closes
// it: the last before a block loading elsewhere (or none), a marked block,
// or one whose checksum failed (its PRG file then says so; the rest of the
// stretch starts a new run). The blocks before it carry no run.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include <algorithm>
#include <iterator>

const char BLEEPLOAD_TYPE[] = "BLEEPLOAD";

namespace {

using namespace turbo;

constexpr Format FORMAT{562, 0x30, 0x5A, BitOrder::MsbFirst};
constexpr uint8_t FIRST_PILOT = 0x0F;
constexpr std::size_t PILOT_MIN_BYTES = 6;
constexpr std::size_t PILOT_WRITTEN = 10;
constexpr std::size_t FIRST_BLOCK_BYTES = 64;
constexpr std::size_t BLOCK_BYTES = 256;
constexpr std::size_t HEADER_BYTES = 4;  // next P, block number, load address
constexpr std::size_t TRAILER_LIMIT = 2048;
constexpr std::size_t TRAILER_WRITTEN = 8;
constexpr double BLOCK_PAUSE_SECONDS = 0.25;
constexpr uint8_t USED_MARK = 0xBB;
constexpr std::size_t USED_MARK_BYTES = 3;

// Pilot values the encoder announces, in turn after the first.
constexpr uint8_t PILOTS[] = {0x0F, 0x3C, 0x71, 0xA5, 0x4B, 0xC3, 0x96, 0x2D};

struct PilotAt {
    uint8_t value = 0;
    std::size_t start = 0;  // first pulse of the entry
    std::size_t aligned = 0;  // first pulse of the first whole P
    std::size_t header = 0;   // first pulse after the closing P
    double threshold = 0;
    ClassMeans means;
};

bool find_pilot(const PulseTrack &track, std::size_t from, PilotAt &found, std::size_t &retry,
                std::size_t until = SIZE_MAX)
{
    const BitReader reader(track, units_of_cycles(FORMAT.threshold_cycles), FORMAT.order);
    const std::size_t n = reader.size();
    // Only where 8 * PILOT_MIN_BYTES pulses repeat the pulse 8 before them
    // can a pilot end: the stretches where they do are read pulse by pulse.
    std::size_t begin = 0, end = 0, searched = from;
    while (next_repeating_stretch(reader, searched, 8 * (PILOT_MIN_BYTES - 1), {}, begin, end, until)) {
        searched = end;
        std::size_t valid = 0;  // bit pulses in a row up to q
        std::size_t run = 0;    // pulses in a row equal to the one 8 before
        for (std::size_t q = std::max(from, begin >= 8 ? begin - 8 : 0); q < n && q <= end + 8; ++q) {
            const int b = reader.bit(q);
            if (b < 0) {
                valid = 0;
                run = 0;
                continue;
            }
            if (++valid <= 8)
                continue;
            if (b == reader.bit(q - 8)) {
                ++run;
                continue;
            }
            const std::size_t repeated = run + 8;  // pulses of the periodic stretch before q
            run = 0;
            if (repeated < 8 * PILOT_MIN_BYTES)
                continue;
            // q would be the first pulse of the complement: 8 flipped bits, then P again.
            bool shaped = true;
            for (std::size_t k = 0; k < 8 && shaped; ++k)
                shaped = reader.bit(q + k) == 1 - reader.bit(q - 8 + k) && reader.bit(q + 8 + k) == reader.bit(q - 8 + k);
            if (!shaped)
                continue;
            const std::size_t aligned = q - 8 * (repeated / 8);
            const ClassMeans means = class_means(track, aligned, q + 16, reader.threshold());
            if (!plausible_speed(means, FORMAT))
                continue;
            const std::size_t start = aligned - std::min<std::size_t>(repeated % 8, 7);
            if (start > from) {
                retry = start;
                return false;
            }
            found.start = from;
            found.aligned = aligned;
            found.header = q + 16;
            reader.byte(q - 8, found.value);
            found.means = means;
            found.threshold = calibrated_threshold(found.means, FORMAT);
            return true;
        }
    }
    retry = retry_after_search(from, until, n);
    return false;
}

// Three equal bytes from q: the next block's pilot begins, whether its byte
// is the one announced or not (a block may be missing). Runs of 0 or 1 bits
// are trailers, unless announced.
bool pilot_at(const BitReader &reader, std::size_t q, uint8_t announced)
{
    uint8_t first = 0, v = 0;
    if (!reader.byte(q, first) || ((first == 0x00 || first == 0xFF) && first != announced))
        return false;
    for (std::size_t k = 1; k < 3; ++k)
        if (!reader.byte(q + 8 * k, v) || v != first)
            return false;
    return true;
}

// The load address of the block that follows from `q` on (after pauses
// only), or a value no address has.
uint32_t next_load(const PulseTrack &track, std::size_t q)
{
    constexpr uint32_t NONE = 0x10000;
    while (q < track.size() && track.is_silence(q))
        ++q;
    PilotAt pilot;
    std::size_t ignored = 0;
    // It follows at once: a search of a few hundred bytes is enough.
    if (q >= track.size() || !find_pilot(track, q, pilot, ignored, q + 8192))
        return NONE;
    const BitReader reader(track, pilot.threshold, FORMAT.order);
    std::vector<uint8_t> header;
    if (!reader.bytes(pilot.header, HEADER_BYTES, header))
        return NONE;
    return uint32_t(header[2] | header[3] << 8);
}

// The bytes of the blocks just before that the block loading at `load`
// continues: blocks that carry no run of their own (the next block went on
// where they stopped), separated by pauses only.
std::vector<uint8_t> run_before(const std::vector<TapeEntry> &entries, uint16_t load)
{
    std::vector<const TapeEntry *> blocks;
    uint16_t expected = load;
    for (std::size_t k = entries.size(); k-- > 0;) {
        const TapeEntry &e = entries[k];
        if (e.kind == EntryKind::Pause)
            continue;
        if (e.type != BLEEPLOAD_TYPE || !e.loaded.empty() || uint16_t(e.load_address + e.payload.size()) != expected)
            break;
        blocks.push_back(&e);
        expected = e.load_address;
    }
    std::vector<uint8_t> run;
    for (std::size_t k = blocks.size(); k-- > 0;)
        run.insert(run.end(), blocks[k]->payload.begin(), blocks[k]->payload.end());
    return run;
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotAt pilot;
    if (!find_pilot(track, index, pilot, retry, ctx.horizon))
        return false;
    retry = pilot.header;
    const BitReader reader(track, pilot.threshold, FORMAT.order);
    std::vector<uint8_t> header;
    if (!reader.bytes(pilot.header, HEADER_BYTES, header))
        return false;
    const uint8_t next_pilot = header[0];
    const uint8_t number = header[1];
    const uint16_t load = uint16_t(header[2] | header[3] << 8);
    const std::size_t size = number == 0 ? FIRST_BLOCK_BYTES : BLOCK_BYTES;

    Block block;
    block.first = pilot.start;
    block.inner_start = pilot.header + 8 * HEADER_BYTES;
    block.threshold = pilot.threshold;
    block.means = pilot.means;

    // The bytes as far as they read; a block cut short fails its checksum.
    std::vector<uint8_t> &data = entry.payload;
    std::size_t p = block.inner_start;
    uint8_t v = 0;
    while (data.size() < size && reader.byte(p, v)) {
        data.push_back(v);
        p += 8;
    }
    std::vector<uint8_t> filler;
    uint8_t count = 0, checksum = 0;
    bool whole = data.size() == size && reader.byte(p, count);
    if (whole) {
        p += 8;
        whole = reader.bytes(p, count, filler);
        p += 8 * filler.size();
    }
    whole = whole && reader.byte(p, checksum);
    block.inner_end = p;
    std::vector<uint8_t> vector;
    if (whole) {
        p += 8;
        reader.bytes(p, 2, vector);
        p += 8 * vector.size();
    }
    block.end = trailer_end(reader, p, TRAILER_LIMIT, [&](std::size_t q) { return pilot_at(reader, q, next_pilot); });

    const uint8_t over_data = xor_of(data.data(), data.size());
    const uint8_t over_header = uint8_t(over_data ^ xor_of(header.data(), header.size()));
    const uint8_t over_all = uint8_t(over_header ^ count ^ xor_of(filler.data(), filler.size()));
    uint8_t computed = over_data;
    if (whole && checksum != over_data)
        computed = checksum == over_header ? over_header : checksum == over_all ? over_all : over_data;
    set_checkbyte(entry, checksum, computed);
    if (!whole)
        entry.checkbyte_pass = false;

    entry.type = BLEEPLOAD_TYPE;
    set_addresses(entry, load, uint16_t(load + size));
    entry.has_crc = true;
    entry.crc32 = crc32_of(data);
    std::size_t used = data.size();
    const bool marked = filler.size() == USED_MARK_BYTES && filler[0] == USED_MARK &&
                        filler[2] == uint8_t(filler[1] ^ 0xFF) && filler[1] != 0 && filler[1] < used;
    if (marked)
        used = filler[1];
    const bool closes = marked || !entry.checkbyte_pass || next_load(track, block.end) != uint32_t(load + used);
    if (closes) {
        std::vector<uint8_t> run = run_before(*ctx.entries, load);
        run.insert(run.end(), data.begin(), data.begin() + long(used));
        if (!run.empty())
            entry.loaded.push_back({uint16_t(load - (run.size() - used)), std::move(run)});
    }
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

// --- Encoding ----------------------------------------------------------------

void append_block(std::vector<uint8_t> &tap, uint8_t pilot, uint8_t next_pilot, uint8_t number, uint16_t load,
                  const std::vector<uint8_t> &bytes, std::size_t size, uint16_t vector)
{
    std::vector<uint8_t> data = bytes;
    std::vector<uint8_t> filler;
    if (data.size() < size) {
        filler = {USED_MARK, uint8_t(data.size()), uint8_t(data.size() ^ 0xFF)};
        data.resize(size, 0x00);
    }
    Writer w(tap, FORMAT);
    w.repeat_byte(pilot, PILOT_WRITTEN);
    w.byte(uint8_t(pilot ^ 0xFF));
    w.byte(pilot);
    w.bytes({next_pilot, number, uint8_t(load), uint8_t(load >> 8)});
    w.bytes(data);
    w.byte(uint8_t(filler.size()));
    w.bytes(filler);
    w.byte(xor_of(data.data(), data.size()));
    w.bytes({uint8_t(vector), uint8_t(vector >> 8)});
    w.zeros(TRAILER_WRITTEN);
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs);
    if (!error.empty())
        return {};
    BootCodePlan loop;
    loop.threshold_cycles = FORMAT.threshold_cycles;
    loop.one_shot = true;
    loop.compares = {FIRST_PILOT, uint8_t(FIRST_PILOT ^ 0xFF)};
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(loop), "BLEEPLOAD", options);
    TapeOptions between = options;
    between.pause_seconds = BLOCK_PAUSE_SECONDS;

    // The chain: block 0 holds the first 64 bytes, every later block 256;
    // a program's last block holds what is left of it.
    struct Piece {
        uint16_t load;
        std::vector<uint8_t> bytes;
        std::size_t size;
        uint16_t vector;
    };
    std::vector<Piece> pieces;
    for (const PrgInput &prg : prgs) {
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        std::size_t at = 2;
        while (at < prg.bytes.size()) {
            const std::size_t size = pieces.empty() ? FIRST_BLOCK_BYTES : BLOCK_BYTES;
            const std::size_t take = std::min(size, prg.bytes.size() - at);
            pieces.push_back({uint16_t(load + at - 2),
                              std::vector<uint8_t>(prg.bytes.begin() + long(at), prg.bytes.begin() + long(at + take)),
                              size, load});
            at += take;
        }
    }
    if (pieces.size() > 256) {
        error = "the programs need more than 256 Bleepload blocks";
        return {};
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const Piece &piece = pieces[i];
        const uint8_t pilot = PILOTS[i % std::size(PILOTS)];
        const uint8_t next = PILOTS[(i + 1) % std::size(PILOTS)];
        append_block(tap, pilot, next, uint8_t(i), piece.load, piece.bytes, piece.size, piece.vector);
        append_pause(tap, i + 1 < pieces.size() ? between : options);
    }
    tap_fix_data_size(tap);
    return tap;
}

bool identify(const BootFacts &facts) { return facts.has_threshold_near(FORMAT.threshold_cycles); }

const TapeScanner SCANNER = {"bleepload", "Bleepload (Firebird)", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_BLEEPLOAD = {"bleepload", "Bleepload (Firebird)", 5, &SCANNER, encode, identify};
