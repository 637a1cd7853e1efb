// IRQTape, a loader of modern home-made tapes: bits are single pulses of
// 256 (bit 0, $20 units) or 512 cycles (bit 1, $40) against a threshold of
// 384, bytes most significant bit first. As mastering tools write it:
//   - a file begins with a lead-in of the pair $C3 $FF repeated;
//   - the file is written as blocks that follow one another with no gap,
//     none to a few $FF bytes between one block's checksum and the next
//     block's start, usually one page each at consecutive addresses;
//   - a block: $C3 $AA, a header - $F0, the coding byte ($96 plain, $B7
//     run-length coded), a one-byte file name, the start address (LE), a
//     byte whose meaning is not known (1 for a 63-byte block, 8 for pages),
//     the end address (exclusive, LE) and the XOR of $AA and those eight
//     bytes - then the data (end - start bytes once decoded) and the XOR of
//     the data as they stand on the tape.
// So the scanner looks for $C3 $AA $F0, not for a pilot run, and calibrates
// each block from the 24 bits it knows there (and the lead-in before it).
// Tapes written by a real C64 spread the pulses about 2 units either way.
//
// One entry "IRQTAPE" per file: the blocks that follow one another, each
// starting where the previous one ended, with the same name byte. The
// entry's checkbyte is that of its first failing block, else of its last.
//
// Run-length coded data begin with their escape byte; after it, "escape,
// count, value" stands for count copies of value (a count of 0 for 256)
// and every other byte for itself (an escape byte of the data is written
// as "escape, 1, escape"). They end when end - start bytes are decoded.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <array>
#include <cstdint>

const char IRQTAPE_TYPE[] = "IRQTAPE";

namespace {

using namespace turbo;

constexpr Format FORMAT{384, 0x20, 0x40, BitOrder::MsbFirst};
constexpr uint8_t LEAD = 0xC3, FILL = 0xFF, SYNC = 0xAA, HEADER_MARK = 0xF0;
constexpr uint8_t PLAIN = 0x96, RUN_LENGTH = 0xB7;
constexpr uint32_t BLOCK_START = 0xC3AAF0;  // the 24 bits every block begins with
constexpr std::size_t HEADER_BYTES = 8;     // $F0 .. end address high byte
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t LEAD_IN_WRITTEN = 128;  // $C3 $FF pairs
constexpr std::size_t BLOCK_SIZE = 256;

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

// The first pulse at or after `from` (and before `until`, where the last of
// its bits lies) where $C3 $AA $F0 begins, read with the nominal threshold
// (the classes lie 16 units either side of it); the track's size when there
// is none.
std::size_t find_block_start(const BitReader &reader, std::size_t from, std::size_t until = SIZE_MAX)
{
    const std::size_t n = reader.size();
    uint32_t bits = 0;
    unsigned valid = 0;
    for (std::size_t q = from; q < n && q < until; ++q) {
        const int b = reader.bit(q);
        if (b < 0) {
            valid = 0;
            continue;
        }
        bits = ((bits << 1) | unsigned(b)) & 0xFFFFFFu;
        if (++valid >= 24 && bits == BLOCK_START)
            return q - 23;
    }
    return n;
}

// Where the lead-in before a block start at `at` begins: $C3 and $FF bytes
// back from it, not before `limit`.
std::size_t lead_in_start(const BitReader &reader, std::size_t at, std::size_t limit)
{
    std::size_t p = at;
    uint8_t v = 0;
    while (p >= limit + 8 && reader.byte(p - 8, v) && (v == LEAD || v == FILL))
        p -= 8;
    return p;
}

// A block of a file, as read.
struct IrqBlock {
    std::size_t start = 0;     // first pulse of its $C3
    std::size_t header = 0;    // first pulse of its $F0
    std::size_t checksum = 0;  // first pulse of its checksum (or where it would be)
    std::size_t after = 0;     // first pulse after it
    uint8_t name = 0;
    uint16_t load = 0, end = 0;
    bool coded = false;
    std::vector<uint8_t> data;  // decoded
    bool whole = false;         // every byte and the checksum read
    uint8_t on_tape = 0, computed = 0;
};

// Reads the block whose $C3 is at `at` with `reader`; false when no block
// header is there (wrong bytes, a header XOR that fails, addresses that
// make no file). Inside a file (`continues` set to the previous block) a
// bad spot in a block's start or header fails the block but does not end
// the file: with two of its three start bytes right and two of its coding
// byte, name and start address as the file goes on, it is read as the file's
// next block (what its header no longer tells taken from the file: the
// coding of the previous block, its name, its end as the start, at most a
// page of data).
bool read_block(const BitReader &reader, std::size_t at, IrqBlock &block, const IrqBlock *continues = nullptr)
{
    std::vector<uint8_t> h;
    if (!reader.bytes(at, 2 + HEADER_BYTES + 1, h))
        return false;
    const uint8_t *header = h.data() + 2;
    const int start_bytes = (h[0] == LEAD) + (h[1] == SYNC) + (header[0] == HEADER_MARK);
    const bool coding_ok = header[1] == PLAIN || header[1] == RUN_LENGTH;
    const bool header_ok =
        start_bytes == 3 && coding_ok && uint8_t(SYNC ^ xor_of(header, HEADER_BYTES)) == header[HEADER_BYTES];
    uint8_t coding = header[1];
    block.start = at;
    block.header = at + 16;
    block.name = header[2];
    block.load = uint16_t(header[3] | header[4] << 8);
    block.end = uint16_t(header[6] | header[7] << 8);
    if (!header_ok) {
        if (continues == nullptr || start_bytes < 2)
            return false;
        const int agree = coding_ok + (block.name == continues->name) + (block.load == continues->end);
        if (agree < 2)
            return false;
        if (!coding_ok)
            coding = continues->coded ? RUN_LENGTH : PLAIN;
        block.name = continues->name;
        block.load = continues->end;
        const uint32_t size = uint16_t(block.end - block.load);
        if (size == 0 || size > BLOCK_SIZE)
            block.end = uint16_t(block.load + BLOCK_SIZE);
    }
    block.coded = coding == RUN_LENGTH;
    const uint32_t end_exclusive = block.end == 0 ? 0x10000u : block.end;
    if (end_exclusive <= block.load)
        return false;
    const std::size_t size = end_exclusive - block.load;

    std::vector<uint8_t> stored;
    std::size_t p = block.header + 8 * (HEADER_BYTES + 1);
    auto next = [&](uint8_t &v) {
        if (!reader.byte(p, v))
            return false;
        stored.push_back(v);
        p += 8;
        return true;
    };
    bool decoded = true;
    if (block.coded) {
        decoded = run_length_decode(next, size, block.data);
    } else {
        uint8_t v = 0;
        while (block.data.size() < size && next(v))
            block.data.push_back(v);
        decoded = block.data.size() == size;
    }
    block.checksum = p;
    block.computed = xor_of(stored.data(), stored.size());
    block.whole = decoded && reader.byte(p, block.on_tape);
    if (block.whole)
        p += 8;
    if (!block.whole || !header_ok)
        block.on_tape = uint8_t(~block.computed);  // a block cut short, or with a bad header, fails
    block.after = p;
    return !block.data.empty();
}

// Where the next block of the same file starts after one ending at `after`:
// none to a few $FF bytes (a bad spot may have changed one), then $C3 $AA
// $F0; the track's size when none comes within 16 bytes.
std::size_t next_block_start(const BitReader &reader, std::size_t after)
{
    const std::size_t at = find_block_start(reader, after, after + 16 * 8 + 24);
    return at <= after + 16 * 8 ? at : reader.size();
}

// A block start ($C3 $AA) or a lead-in ($C3 $FF $C3) at q: a trailer ends there.
bool block_or_lead_in_at(const BitReader &reader, std::size_t q)
{
    uint8_t a = 0, b = 0, c = 0;
    return reader.byte(q, a) && a == LEAD && reader.byte(q + 8, b) &&
           (b == SYNC || (b == FILL && reader.byte(q + 16, c) && c == LEAD));
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    const BitReader nominal(track, units_of_cycles(FORMAT.threshold_cycles), FORMAT.order);
    // A block start beginning before the horizon has its last bit 23 pulses on.
    const std::size_t until = ctx.horizon > SIZE_MAX - 23 ? SIZE_MAX : ctx.horizon + 23;
    const std::size_t at = find_block_start(nominal, index, until);
    if (at >= nominal.size()) {
        retry = retry_after_search(index, ctx.horizon, nominal.size());
        return false;
    }
    const std::size_t lead = lead_in_start(nominal, at, index);
    // A few pulses before the lead-in (its first byte cut, a stray pulse)
    // belong to the entry; farther ones are for other scanners first.
    if (lead > index + 7) {
        retry = lead;
        return false;
    }
    retry = at + 1;
    // The lead-in and the 24 bits of the block start are known: they give
    // the tape's speed.
    const ClassMeans means = class_means(track, lead, at + 24, nominal.threshold());
    if (!plausible_speed(means, FORMAT))
        return false;
    const double threshold = calibrated_threshold(means, FORMAT);
    const BitReader reader(track, threshold, FORMAT.order);

    IrqBlock first;
    if (!read_block(reader, at, first))
        return false;
    std::vector<IrqBlock> blocks = {first};
    // The file's further blocks: gapless, each where the previous one ended.
    while (blocks.back().whole) {
        const IrqBlock &last = blocks.back();
        IrqBlock block;
        auto continues_at = [&](std::size_t q) {
            block = IrqBlock();
            return q < reader.size() && read_block(reader, q, block, &last) && block.name == last.name &&
                   block.load == last.end;
        };
        bool found = continues_at(next_block_start(reader, last.after));
        // A spoilt start byte: the block where it should begin, after none
        // to a few fill bytes.
        for (std::size_t fill = 0; !found && fill < 4; ++fill)
            found = continues_at(last.after + 8 * fill);
        if (!found)
            break;
        blocks.push_back(std::move(block));
    }

    Block span;
    span.first = index;
    span.inner_start = first.header;
    span.inner_end = blocks.back().checksum;
    span.threshold = threshold;
    span.means = means;
    span.end = trailer_end(reader, blocks.back().after, TRAILER_LIMIT,
                           [&](std::size_t q) { return block_or_lead_in_at(reader, q); });

    const IrqBlock *verdict = &blocks.back();
    for (const IrqBlock &b : blocks)
        if (b.on_tape != b.computed) {
            verdict = &b;
            break;
        }
    entry.type = IRQTAPE_TYPE;
    entry.block_type = int(blocks.size());
    entry.has_name = true;
    entry.raw_name = {first.name};
    entry.name = petscii_name_to_ascii(entry.raw_name.data(), entry.raw_name.size());
    for (const IrqBlock &b : blocks)
        entry.payload.insert(entry.payload.end(), b.data.begin(), b.data.end());
    set_addresses(entry, first.load, blocks.back().end);
    set_checkbyte(entry, verdict->on_tape, verdict->computed);
    set_payload_crc(entry);
    entry.loaded.push_back({first.load, entry.payload});
    fill_entry(ctx, FORMAT, span, entry);
    return true;
}

BootCodePlan boot_plan() { return one_shot_boot_plan(FORMAT, {LEAD, SYNC, HEADER_MARK}); }

// One block: $C3 $AA, header, data (coded when that is shorter), checksum.
void write_block(Writer &w, uint8_t name, uint16_t load, const std::vector<uint8_t> &data)
{
    const uint16_t end = uint16_t(load + data.size());
    const std::vector<uint8_t> coded = run_length_encode(data);
    const bool shorter = coded.size() < data.size();
    const std::vector<uint8_t> &stored = shorter ? coded : data;
    std::vector<uint8_t> header = {HEADER_MARK,   shorter ? RUN_LENGTH : PLAIN, name, uint8_t(load),
                                   uint8_t(load >> 8), uint8_t(data.size() / 32), uint8_t(end), uint8_t(end >> 8)};
    header.push_back(uint8_t(SYNC ^ xor_of(header.data(), header.size())));
    w.bytes({LEAD, SYNC});
    w.bytes(header);
    w.bytes(stored);
    w.byte(xor_of(stored.data(), stored.size()));
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs, "IRQTape");
    if (!error.empty())
        return {};
    auto write = [](std::vector<uint8_t> &tap, const PrgInput &prg, std::size_t) {
        const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
        const std::vector<uint8_t> data(prg.bytes.begin() + 2, prg.bytes.end());
        const uint8_t name = petscii_name(prg.name.empty() ? " " : prg.name, 1)[0];
        Writer w(tap, FORMAT);
        for (std::size_t k = 0; k < LEAD_IN_WRITTEN; ++k)
            w.bytes({LEAD, FILL});
        // One block per page, as mastering tools write them, with none to
        // two $FF bytes between two blocks.
        for (std::size_t at = 0, k = 0; at < data.size(); at += BLOCK_SIZE, ++k) {
            if (k > 0)
                w.repeat_byte(FILL, k % 3);
            const std::size_t size = std::min(BLOCK_SIZE, data.size() - at);
            write_block(w, name, uint16_t(load + at),
                        std::vector<uint8_t>(data.begin() + long(at), data.begin() + long(at + size)));
        }
        w.repeat_byte(FILL, 4);
    };
    return tape_of_programs(make_boot_program(boot_plan()), "IRQTAPE", prgs, options, write);
}

bool identify(const BootFacts &facts) { return facts.shows(FORMAT.threshold_cycles, {SYNC, HEADER_MARK}); }

const TapeScanner SCANNER = {"irqtape", "IRQTape", SCAN_FOR_C64, recognise};

} // namespace

const TurboLoader LOADER_IRQTAPE = {"irqtape", "IRQTape", 2, &SCANNER, encode, identify};
