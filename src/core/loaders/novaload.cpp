// Novaload: bits are single pulses against a continuous timer of 500
// cycles (bit 0 about $24 units, bit 1 about $56), bytes least significant
// bit first. Every file: a pilot of about 2064 0 bits, one 1 bit, the sync
// byte $AA, then its kind:
//   - Special ($55 after the sync): blocks of [page][256 bytes][check]
//     where check = page + the sum of the 256 bytes (modulo 256), loaded at
//     page * 256; a page byte $00 ends the chain. Pages need not follow each
//     other, so the bytes load as one run per stretch of consecutive pages.
//   - Normal (anything else): the byte is the name's length, then the name,
//     load - 256 (LE), end (LE, ignored by the loader), length + 256 (LE);
//     then for every 256 bytes of data (the last piece may be shorter) a
//     check byte followed by the piece, and after the last piece a final
//     check byte. A check byte is the running sum (modulo 256) of every byte
//     read since the name's length, check bytes included: the first one
//     covers the header, each later one the previous check and piece too.
//     The header is its own sub-block, checked by the first check byte.
// About 2000 0 bits follow a file. When a trailer runs straight into the
// next file's pilot the whole run of 0 bits is that pilot (no gap tells
// where one ends): the entry of a file begins where its run of 0 bits does.
//
// One entry per file: "NOVALOAD" (inner start at the name's length, inner
// end at the final check byte; payload = the data) or "NOVALOAD SPECIAL"
// (inner start at the first page byte, inner end at the last check byte;
// payload = the pages' bytes in tape order). A check byte that does not
// match fails the entry; the report shows the first failing sub-block's
// values, else the last one's. A file cut short by silence keeps what was
// read and fails (its check byte is missing). Bytes after a pilot and $AA
// are taken as a file only when at least half of their check bytes agree
// (see Agreement): Ocean chains share the pilot and the sync byte. A stray
// 1 a few pulses before the pilot's end is passed over when the sync byte
// follows the next 1.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"

#include "core/cbmscan.h"

#include <algorithm>

const char NOVALOAD_TYPE_NORMAL[] = "NOVALOAD";
const char NOVALOAD_TYPE_SPECIAL[] = "NOVALOAD SPECIAL";

namespace {

using namespace turbo;

constexpr Format FORMAT{500, 0x24, 0x56, BitOrder::LsbFirst};
constexpr uint8_t SYNC = 0xAA;
constexpr uint8_t SPECIAL = 0x55;
constexpr std::size_t PILOT_MIN = 256;
constexpr int STRAY_ONES = 3;
constexpr std::size_t STRAY_ZEROS = 32;
constexpr std::size_t TRAILER_LIMIT = 4096;
constexpr std::size_t PILOT_WRITTEN = 2064;
constexpr std::size_t TRAILER_WRITTEN = 2000;
constexpr std::size_t PIECE = 256;
constexpr std::size_t NAME_WRITTEN_MAX = 16;

// The running checks of a file: the first failing one, else the last.
struct Checks {
    bool any = false, failed = false, cut = false;
    uint8_t on_tape = 0, computed = 0;
    void add(uint8_t tape, uint8_t sum)
    {
        if (failed)
            return;
        any = true;
        on_tape = tape;
        computed = sum;
        failed = tape != sum;
    }
    // A sub-block whose check byte never came.
    void missing(uint8_t sum)
    {
        if (failed)
            return;
        any = true;
        cut = failed = true;
        on_tape = uint8_t(~sum);
        computed = sum;
    }
    void apply(TapeEntry &entry) const
    {
        set_checkbyte(entry, on_tape, computed);
        entry.checkbyte_pass = !failed;
    }
};

// How many check bytes fit the bytes before them, each judged on its own:
// a Normal file's first against the header, every later one against the
// check byte before it as on tape (c' = 2c + the piece's sum), so a damaged
// byte disagrees once only; a Special block's against its page, and the
// page byte $00 ending a chain counts as one that agrees. Bytes that
// are no Novaload file (an Ocean chain has the same pilot and sync) agree
// by chance, once in 256: half of them at least must agree.
struct Agreement {
    unsigned checks = 0, agreeing = 0;
    void add(bool agrees)
    {
        ++checks;
        agreeing += agrees ? 1 : 0;
    }
    bool enough() const { return agreeing > 0 && 2 * agreeing >= checks; }
};

// A pilot's 0 pulses near the format's ideal (other leaders of short pulses,
// like the CBM ROM's, are slower).
bool plausible_pilot(const PilotFound &pilot)
{
    return pilot.means.zeros > 0 && pilot.means.zero > FORMAT.ideal0 * 0.78 && pilot.means.zero < FORMAT.ideal0 * 1.22;
}

// The sync byte after the 1 at q: another file begins.
bool sync_after(const BitReader &reader, std::size_t q)
{
    uint8_t v = 0;
    return reader.byte(q + 1, v) && v == SYNC;
}

// Reads a Normal file from p (its name's length). False when it does not
// look like one: the header unreadable, or too few check bytes agreeing.
bool read_normal(const BitReader &reader, std::size_t p, TapeEntry &entry, std::size_t &inner_end,
                 std::size_t &after)
{
    std::vector<uint8_t> head;
    uint8_t name_length = 0;
    if (!reader.byte(p, name_length) || !reader.bytes(p, std::size_t(name_length) + 7, head))
        return false;
    const std::size_t h = std::size_t(name_length) + 1;
    const uint16_t load = uint16_t((head[h] | head[h + 1] << 8) + 0x100);
    const unsigned stored_length = head[h + 4] | head[h + 5] << 8;
    if (stored_length <= 0x100 || load + (stored_length - 0x100) > 0x10000)
        return false;
    const std::size_t length = stored_length - 0x100;
    p += 8 * head.size();

    unsigned sum = sum_of(head.data(), head.size());
    Checks checks;
    Agreement agreement;
    int previous = -1;      // the check byte before the current piece, as on tape
    unsigned piece_sum = 0;
    std::vector<uint8_t> &data = entry.payload;
    for (;;) {
        uint8_t check = 0;
        if (!reader.byte(p, check)) {
            checks.missing(uint8_t(sum));
            inner_end = p;
            break;
        }
        checks.add(check, uint8_t(sum));
        agreement.add(previous < 0 ? check == uint8_t(sum) : check == uint8_t(2 * previous + piece_sum));
        inner_end = p;
        p += 8;
        sum += check;
        if (data.size() == length)
            break;
        previous = check;
        piece_sum = 0;
        const std::size_t piece = std::min(PIECE, length - data.size());
        uint8_t v = 0;
        for (std::size_t k = 0; k < piece && reader.byte(p, v); ++k, p += 8) {
            data.push_back(v);
            sum += v;
            piece_sum += v;
        }
        if (data.size() % PIECE != 0 && data.size() != length) {
            checks.missing(uint8_t(sum));
            inner_end = p;
            break;
        }
    }
    if (!agreement.enough())
        return false;
    after = p;
    entry.type = NOVALOAD_TYPE_NORMAL;
    entry.has_name = true;
    entry.raw_name.assign(head.begin() + 1, head.begin() + std::ptrdiff_t(h));
    entry.name = petscii_name_to_ascii(entry.raw_name.data(), entry.raw_name.size());
    set_addresses(entry, load, uint16_t(load + length));
    checks.apply(entry);
    entry.loaded.push_back({load, data});
    return true;
}

// Reads a Special chain from p (its first page byte). False when no block's
// check byte agrees.
bool read_special(const BitReader &reader, std::size_t p, TapeEntry &entry, std::size_t &inner_end,
                  std::size_t &after)
{
    Checks checks;
    Agreement agreement;
    int last_page = -2;
    inner_end = p;
    std::vector<uint8_t> &data = entry.payload;
    for (;;) {
        uint8_t page = 0;
        if (!reader.byte(p, page))
            break;
        p += 8;
        if (page == 0) {
            agreement.add(true);  // the chain ends as it should
            break;
        }
        std::vector<uint8_t> bytes;
        const bool whole = reader.bytes(p, PIECE, bytes);
        p += 8 * bytes.size();
        const uint8_t sum = uint8_t(page + sum_of(bytes.data(), bytes.size()));
        if (page != last_page + 1 || entry.loaded.empty())
            entry.loaded.push_back({uint16_t(page << 8), {}});
        entry.loaded.back().bytes.insert(entry.loaded.back().bytes.end(), bytes.begin(), bytes.end());
        data.insert(data.end(), bytes.begin(), bytes.end());
        last_page = page;
        uint8_t check = 0;
        if (!whole || !reader.byte(p, check)) {
            checks.missing(sum);
            inner_end = p;
            break;
        }
        checks.add(check, sum);
        agreement.add(check == sum);
        inner_end = p;
        p += 8;
    }
    if (!agreement.enough())
        return false;
    after = p;
    entry.type = NOVALOAD_TYPE_SPECIAL;
    if (entry.loaded.size() == 1)
        set_addresses(entry, entry.loaded[0].load, uint16_t(entry.loaded[0].load + entry.loaded[0].bytes.size()));
    checks.apply(entry);
    return true;
}

// Reads the file whose sync byte ends just before p; false when none.
bool read_file(const BitReader &reader, std::size_t p, TapeEntry &entry, std::size_t &inner_start,
               std::size_t &inner_end, std::size_t &after)
{
    uint8_t kind = 0;
    if (!reader.byte(p, kind))
        return false;
    inner_start = kind == SPECIAL ? p + 8 : p;
    return kind == SPECIAL ? read_special(reader, inner_start, entry, inner_end, after)
                           : read_normal(reader, inner_start, entry, inner_end, after);
}

bool recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    const PulseTrack &track = *ctx.pulses;
    PilotFound pilot;
    if (!find_bit_pilot(track, index, FORMAT, PILOT_MIN, pilot, retry, ctx.horizon))
        return false;
    retry = pilot.end;  // whatever follows, this pilot leads nowhere else
    if (!plausible_pilot(pilot))
        return false;
    const BitReader reader(track, pilot.threshold, FORMAT.order);
    // A stray 1 in the pilot's last pulses ends the search early: when the
    // sync is not there, the pilot goes on to the next 1 after a few 0s.
    std::size_t sync_at = pilot.end;
    uint8_t sync = 0;
    for (int stray = 0; stray < STRAY_ONES && !(reader.byte(sync_at, sync) && sync == SYNC); ++stray) {
        std::size_t q = sync_at;
        while (q - sync_at < STRAY_ZEROS && reader.bit(q) == 0)
            ++q;
        if (reader.bit(q) != 1)
            return false;
        sync_at = q + 1;
    }
    if (sync != SYNC)
        return false;
    pilot.end = sync_at;

    Block block;
    block.first = pilot.start;
    block.threshold = pilot.threshold;
    block.means = pilot.means;
    std::size_t after = 0;
    if (!read_file(reader, pilot.end + 8, entry, block.inner_start, block.inner_end, after))
        return false;
    block.end = bit_trailer_end(reader, after, TRAILER_LIMIT, PILOT_MIN,
                                [&](std::size_t q) { return sync_after(reader, q); });
    set_payload_crc(entry);
    fill_entry(ctx, FORMAT, block, entry);
    return true;
}

BootCodePlan boot_setup()
{
    BootCodePlan setup;
    setup.threshold_cycles = FORMAT.threshold_cycles;
    setup.one_shot = false;
    setup.lsb_first = FORMAT.order == BitOrder::LsbFirst;  // bits rotated in from the top
    setup.compares = {SYNC, SPECIAL};
    return setup;
}

void append_normal(std::vector<uint8_t> &tap, const PrgInput &prg)
{
    const uint16_t load = uint16_t(prg.bytes[0] | prg.bytes[1] << 8);
    const std::size_t length = prg.bytes.size() - 2;
    const uint16_t end = uint16_t(load + length);
    const uint16_t stored_load = uint16_t(load - 0x100);
    const uint16_t stored_length = uint16_t(length + 0x100);
    const std::vector<uint8_t> name = petscii_name(prg.name, std::min(prg.name.size(), NAME_WRITTEN_MAX));
    std::vector<uint8_t> out = {uint8_t(name.size())};
    out.insert(out.end(), name.begin(), name.end());
    out.insert(out.end(), {uint8_t(stored_load), uint8_t(stored_load >> 8), uint8_t(end), uint8_t(end >> 8),
                           uint8_t(stored_length), uint8_t(stored_length >> 8)});
    uint8_t sum = sum_of(out.data(), out.size());
    for (std::size_t i = 2; i < prg.bytes.size(); i += PIECE) {
        out.push_back(sum);
        sum = uint8_t(sum + sum);
        const std::size_t piece = std::min(PIECE, prg.bytes.size() - i);
        out.insert(out.end(), prg.bytes.begin() + std::ptrdiff_t(i), prg.bytes.begin() + std::ptrdiff_t(i + piece));
        sum = uint8_t(sum + sum_of(prg.bytes.data() + i, piece));
    }
    out.push_back(sum);

    Writer w(tap, FORMAT);
    w.zeros(PILOT_WRITTEN);
    w.bit(1);
    w.byte(SYNC);
    w.bytes(out);
    w.zeros(TRAILER_WRITTEN);
}

std::vector<uint8_t> encode(const std::vector<PrgInput> &prgs, const TapeOptions &options, std::string &error)
{
    error = programs_problem(prgs);
    for (const PrgInput &prg : prgs)
        if (error.empty() && (prg.bytes.size() < 3 || prg.bytes.size() - 2 > 0xFFFF - 0x100))
            error = "a Novaload file holds 1 to 65279 bytes";
    if (!error.empty())
        return {};
    std::vector<uint8_t> tap = tape_with_boot_file(make_boot_program(boot_setup()), "NOVALOAD", options);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        append_normal(tap, prgs[i]);
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

// Novaload's boot code runs a continuous timer of 500 cycles and waits for
// the sync byte $AA.
bool identify(const BootFacts &facts)
{
    return facts.shows(FORMAT.threshold_cycles, {SYNC});
}

const TapeScanner SCANNER = {"novaload", "Novaload", SCAN_FOR_C64, recognise};

} // namespace

bool novaload_file_at(const turbo::BitReader &reader, std::size_t p)
{
    TapeEntry scratch;
    std::size_t inner_start = 0, inner_end = 0, after = 0;
    return read_file(reader, p, scratch, inner_start, inner_end, after);
}

const TurboLoader LOADER_NOVALOAD = {"novaload", "Novaload", 8, &SCANNER, encode, identify};
