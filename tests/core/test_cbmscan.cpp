// Tests of the CBM ROM scanner on tapes made by the encoder: exact entry
// locations, decoded fields and pulse classes for every TAP version, video
// standard and platform, and robustness against speed changes, jitter,
// garbage, damaged copies, cut tapes, missing end markers and ZORV dumps.
#include "core/cbmscan.h"

#include "core/cbmencode.h"
#include "core/tapescan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

PrgInput prg(uint16_t load, std::size_t size, const std::string &name, uint8_t seed = 1)
{
    PrgInput p;
    p.name = name;
    p.bytes.push_back(uint8_t(load & 0xFF));
    p.bytes.push_back(uint8_t(load >> 8));
    uint32_t x = seed * 2654435761u + 1;
    for (std::size_t i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        p.bytes.push_back(uint8_t(x >> 16));
    }
    return p;
}

Bytes data_of(const PrgInput &p) { return Bytes(p.bytes.begin() + 2, p.bytes.end()); }

std::vector<PrgInput> two_programs()
{
    return {prg(0x0801, 300, "first one", 1), prg(0xC000, 1000, "SECOND", 2)};
}

TapeScan scan(const Bytes &f, const ScanOptions &o = ScanOptions())
{
    return scan_tape(f.data(), f.size(), o);
}

std::vector<const TapeEntry *> files_of(const TapeScan &s)
{
    std::vector<const TapeEntry *> v;
    for (const TapeEntry &e : s.entries)
        if (e.kind == EntryKind::File)
            v.push_back(&e);
    return v;
}

// --- Expected layout ------------------------------------------------------

struct Expect {
    std::string type;
    CopyId copy;
    uint64_t start, inner_start, inner_end, end;
};

struct Layout {
    unsigned width = 1;  // bytes per ordinary pulse
    std::vector<Expect> entries;
    uint64_t pos = TAP_HEADER_SIZE;

    void copy(const char *type, bool repeat, std::size_t leader, std::size_t payload)
    {
        Expect e{type, repeat ? CopyId::Repeat : CopyId::First, pos, 0, 0, 0};
        e.inner_start = pos + (leader + 180) * width;
        e.inner_end = e.inner_start + payload * 20 * width;
        e.end = e.inner_end + (20 + 2 + (repeat ? 78 : 0)) * width - 1;
        pos = e.end + 1;
        entries.push_back(e);
    }
    void pause(uint64_t bytes)
    {
        if (bytes == 0)
            return;
        entries.push_back(Expect{"PAUSE", CopyId::None, pos, pos, pos + bytes - 1, pos + bytes - 1});
        pos += bytes;
    }
    void program(std::size_t data, uint64_t pause_bytes)
    {
        copy(CBM_TYPE_HEADER, false, CBM_HEADER_LEADER_PULSES, 192);
        copy(CBM_TYPE_HEADER, true, CBM_COPY_GAP_PULSES, 192);
        pause(pause_bytes);
        copy(CBM_TYPE_DATA, false, CBM_DATA_LEADER_PULSES, data);
        copy(CBM_TYPE_DATA, true, CBM_COPY_GAP_PULSES, data);
    }
};

// Layout of encode_tap's output: the pause within a program and between programs in bytes.
Layout tap_layout(const std::vector<PrgInput> &prgs, uint64_t inner_pause, uint64_t between)
{
    Layout l;
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        if (i > 0)
            l.pause(between);
        l.program(prgs[i].bytes.size() - 2, inner_pause);
    }
    return l;
}

void expect_layout(const TapeScan &s, const Layout &l)
{
    ASSERT_EQ(s.entries.size(), l.entries.size());
    for (std::size_t i = 0; i < l.entries.size(); ++i) {
        const TapeEntry &e = s.entries[i];
        const Expect &x = l.entries[i];
        EXPECT_EQ(e.type, x.type) << i;
        EXPECT_EQ(e.copy, x.copy) << i;
        EXPECT_EQ(e.start, x.start) << i;
        EXPECT_EQ(e.inner_start, x.inner_start) << i;
        EXPECT_EQ(e.inner_end, x.inner_end) << i;
        EXPECT_EQ(e.end, x.end) << i;
    }
    EXPECT_EQ(l.pos, s.file_size);
}

// Every copy of every program decoded right: four copies per program.
void expect_programs(const TapeScan &s, const std::vector<PrgInput> &prgs, uint8_t header_type = 1)
{
    const std::vector<const TapeEntry *> files = files_of(s);
    ASSERT_EQ(files.size(), 4 * prgs.size());
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        const Bytes data = data_of(prgs[i]);
        const uint16_t load = uint16_t(prgs[i].bytes[0] | (prgs[i].bytes[1] << 8));
        const uint16_t end = uint16_t(load + data.size());
        const Bytes header = cbm_header_payload(header_type, load, end, prgs[i].name);
        for (int c = 0; c < 4; ++c) {
            const TapeEntry &e = *files[4 * i + c];
            SCOPED_TRACE("program " + std::to_string(i) + " copy " + std::to_string(c));
            EXPECT_EQ(e.scanner, &cbm_rom_scanner);
            EXPECT_EQ(e.copy, c % 2 ? CopyId::Repeat : CopyId::First);
            EXPECT_TRUE(e.has_checkbyte);
            EXPECT_TRUE(e.checkbyte_pass);
            EXPECT_EQ(e.checkbyte_on_tape, e.checkbyte_computed);
            EXPECT_EQ(e.read_errors, 0u);
            EXPECT_EQ(e.parity_errors, 0u);
            EXPECT_TRUE(e.has_addresses);
            EXPECT_EQ(e.load_address, load);
            EXPECT_EQ(e.end_address, end);
            EXPECT_EQ(e.size, data.size());
            EXPECT_TRUE(e.has_crc);
            if (c < 2) {
                EXPECT_EQ(e.type, CBM_TYPE_HEADER);
                EXPECT_EQ(e.payload, header);
                EXPECT_EQ(e.crc32, crc32_of(header));
                EXPECT_EQ(e.block_type, header_type);
                EXPECT_TRUE(e.has_name);
                std::string upper = prgs[i].name.substr(0, 16);
                for (char &ch : upper)
                    ch = char(ascii_to_petscii(ch));
                EXPECT_EQ(e.name, upper);
                EXPECT_EQ(e.raw_name, Bytes(header.begin() + 5, header.begin() + 21));
            } else {
                EXPECT_EQ(e.type, CBM_TYPE_DATA);
                EXPECT_EQ(e.payload, data);
                EXPECT_EQ(e.crc32, crc32_of(data));
                EXPECT_FALSE(e.has_name);
                EXPECT_EQ(e.block_type, -1);
                ASSERT_GE(e.header_entry, 0);
                EXPECT_EQ(&s.entries[std::size_t(e.header_entry)], files[4 * i + 1]);  // the header REPEAT just before
            }
        }
    }
    const ScanTotals t = scan_totals(s);
    EXPECT_EQ(t.checksummed, 4 * prgs.size());
    EXPECT_TRUE(t.checksum_pass());
    EXPECT_TRUE(t.read_pass());
}

// Every pulse of a recognised copy has the ideal value of its class; the rest has none.
void expect_classes_rebuild(const TapeScan &s, const Bytes &tap, const CbmPulseSet &p)
{
    for (const TapeEntry &e : s.entries) {
        for (std::size_t i = e.first_pulse; i < e.first_pulse + e.pulse_count; ++i) {
            const PulseClass c = s.pulse_class(i);
            if (e.kind != EntryKind::File) {
                ASSERT_EQ(c, PulseClass::None) << i;
                continue;
            }
            const uint8_t ideal = c == PulseClass::Short ? p.s : c == PulseClass::Medium ? p.m
                                                             : c == PulseClass::Long     ? p.l
                                                                                         : 0;
            ASSERT_EQ(ideal, tap[s.pulses.offset(i)]) << i;
            ASSERT_FALSE(s.pulse_read_error(i)) << i;
        }
    }
}

// --- Tape changes ---------------------------------------------------------

// Applies f to every pulse written as a data byte (not the zero-byte forms).
template <class F>
Bytes map_pulses(const Bytes &tap, F f)
{
    Bytes out = tap;
    for_each_tape_pulse(tap.data(), tap.size(), [&](const TapePulse &p) {
        if (!p.long_form && p.units != 0)
            out[p.offset] = uint8_t(std::min(255, std::max(1, f(int(p.units)))));
    });
    return out;
}

Bytes scaled(const Bytes &tap, double factor)
{
    return map_pulses(tap, [factor](int u) { return int(std::lround(u * factor)); });
}

Bytes jittered(const Bytes &tap, int amount, uint32_t seed = 12345)
{
    uint32_t x = seed;
    return map_pulses(tap, [&](int u) {
        x = x * 1664525u + 1013904223u;
        return u + int((x >> 16) % uint32_t(2 * amount + 1)) - amount;
    });
}

// ZORV samples for a pulse of `cycles` C64 PAL cycles: the inverse of downsample_c64_pal.
void zorv_append(Bytes &out, uint64_t cycles)
{
    uint64_t samples = (cycles * 62500 + 15394) / 30789;
    while (samples >= ZORV_OVERFLOW_SAMPLE) {
        out.push_back(0xFF);
        out.push_back(0xFF);
        samples -= ZORV_OVERFLOW_SAMPLE;
    }
    if (samples == 0)
        samples = 1;
    out.push_back(uint8_t(samples & 0xFF));
    out.push_back(uint8_t(samples >> 8));
}

Bytes zorv_from_tap(const Bytes &tap)
{
    Bytes out(tap.begin(), tap.begin() + TAP_HEADER_SIZE);
    std::memcpy(out.data(), TAP_MAGIC_ZORV, TAP_MAGIC_SIZE);
    out[TAP_OFFSET_VERSION] = 1;
    for (const TapePulse &p : decode_tape_pulses(tap.data(), tap.size())) {
        const std::size_t before = out.size();
        zorv_append(out, uint64_t(p.units) * 8);
        if (!p.long_form) {
            const uint64_t s = out[before] | (out[before + 1] << 8);
            EXPECT_EQ(zorv_sample_to_units(s, downsample_c64_pal), p.units);
        }
    }
    tap_fix_data_size(out);
    return out;
}

uint64_t zorv_bytes_of(uint64_t cycles)
{
    Bytes b;
    zorv_append(b, cycles);
    return b.size();
}

} // namespace

// --- Round trips ----------------------------------------------------------

TEST(CbmScan, RoundTripVersion1Pal)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes tap = encode_tap(prgs, EncodeOptions());
    const TapeScan s = scan(tap);
    ASSERT_TRUE(s.ok);
    expect_layout(s, tap_layout(prgs, 4, 4));
    expect_programs(s, prgs);
    expect_classes_rebuild(s, tap, CbmPulseSet());
    // The calibration found the ideal values.
    EXPECT_DOUBLE_EQ(s.entries[0].pulse_short, 48.0);
    EXPECT_DOUBLE_EQ(s.entries[0].pulse_medium, 66.0);
    EXPECT_DOUBLE_EQ(s.entries[0].pulse_long, 86.0);
    EXPECT_EQ(s.entries[0].name, "FIRST ONE");
    EXPECT_EQ(s.entries[0].sync_pulse, CBM_HEADER_LEADER_PULSES);
}

TEST(CbmScan, RoundTripVersion0Pal)
{
    const std::vector<PrgInput> prgs = two_programs();
    EncodeOptions o;
    o.tap_version = 0;
    const Bytes tap = encode_tap(prgs, o);
    const TapeScan s = scan(tap);
    expect_layout(s, tap_layout(prgs, 16, 99));  // 2 s = 1970496 cycles = 98.5 zero bytes -> 99
    expect_programs(s, prgs);
    expect_classes_rebuild(s, tap, CbmPulseSet());
}

TEST(CbmScan, RoundTripNtsc)
{
    const std::vector<PrgInput> prgs = two_programs();
    for (int version : {0, 1}) {
        EncodeOptions o;
        o.tap_version = version;
        o.ntsc = true;
        const Bytes tap = encode_tap(prgs, o);
        const TapeScan s = scan(tap);
        expect_layout(s, tap_layout(prgs, version ? 4 : 16, version ? 4 : 102));  // 2045440 / 20000
        expect_programs(s, prgs);
    }
}

TEST(CbmScan, RoundTripVic20)
{
    const std::vector<PrgInput> prgs = {prg(0x1001, 3583, "VIC GAME")};
    for (bool ntsc : {false, true}) {
        for (int version : {0, 1}) {
            EncodeOptions o;
            o.vic20 = true;
            o.ntsc = ntsc;
            o.tap_version = version;
            const Bytes tap = encode_tap(prgs, o);
            const TapeScan s = scan(tap, ScanOptions{0, true});  // exact values even at tolerance 0
            SCOPED_TRACE(std::string(ntsc ? "NTSC" : "PAL") + " v" + std::to_string(version));
            expect_layout(s, tap_layout(prgs, version ? 4 : 16, 0));
            expect_programs(s, prgs);
            expect_classes_rebuild(s, tap, cbm_ideal_pulses(true, ntsc));
        }
    }
}

TEST(CbmScan, ProgramsWithoutPauseBetweenThem)
{
    const std::vector<PrgInput> prgs = {prg(0x0801, 20, "A", 3), prg(0x0801, 30, "B", 4), prg(0x0801, 40, "C", 5)};
    EncodeOptions o;
    o.pause_seconds = 0;
    const TapeScan s = scan(encode_tap(prgs, o));
    expect_layout(s, tap_layout(prgs, 4, 0));
    expect_programs(s, prgs);
}

TEST(CbmScan, HeaderTypeThreeAndNameBytes)
{
    EncodeOptions o;
    o.header_type = 3;
    const std::vector<PrgInput> prgs = {prg(0x2000, 10, "a-b.c 9")};
    const TapeScan s = scan(encode_tap(prgs, o));
    expect_programs(s, prgs, 3);
    EXPECT_EQ(s.entries[0].name, "A-B.C 9");
}

TEST(CbmScan, EmptyData)
{
    const std::vector<PrgInput> prgs = {prg(0x0801, 0, "EMPTY")};
    const Bytes tap = encode_tap(prgs, EncodeOptions());
    const TapeScan s = scan(tap);
    expect_layout(s, tap_layout(prgs, 4, 0));
    expect_programs(s, prgs);
    const std::vector<const TapeEntry *> f = files_of(s);
    EXPECT_EQ(f[2]->inner_start, f[2]->inner_end);
    EXPECT_EQ(f[2]->size, 0u);
    EXPECT_EQ(f[2]->end_address, 0x0801);
    EXPECT_EQ(f[2]->crc32, 0u);
    EXPECT_EQ(f[2]->checkbyte_on_tape, 0);
    EXPECT_EQ(f[2]->checkbyte_computed, 0);
}

TEST(CbmScan, ProgramOf192BytesLookingLikeAHeaderIsData)
{
    PrgInput p = prg(0x0801, 192, "TRICKY");
    p.bytes[2] = 3;  // first data byte looks like a header type
    const TapeScan s = scan(encode_tap({p}, EncodeOptions()));
    expect_programs(s, {p});
}

// --- Speed, jitter, tolerance ------------------------------------------------

TEST(CbmScan, ScaledPulses)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes tap = encode_tap(prgs, EncodeOptions());
    for (double f : {0.90, 0.95, 1.05, 1.10}) {
        SCOPED_TRACE(f);
        const TapeScan s = scan(scaled(tap, f));
        expect_layout(s, tap_layout(prgs, 4, 4));
        expect_programs(s, prgs);
        EXPECT_NEAR(s.entries[0].pulse_short, 48 * f, 0.5);
    }
}

TEST(CbmScan, JitteredPulses)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes tap = jittered(encode_tap(prgs, EncodeOptions()), 3);
    const TapeScan s = scan(tap);
    expect_layout(s, tap_layout(prgs, 4, 4));
    expect_programs(s, prgs);
}

TEST(CbmScan, ToleranceZeroCountsEveryDeviation)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes clean = encode_tap(prgs, EncodeOptions());
    expect_programs(scan(clean, ScanOptions{0, true}), prgs);

    const TapeScan s = scan(jittered(clean, 3), ScanOptions{0, true});
    const std::vector<const TapeEntry *> f = files_of(s);
    ASSERT_EQ(f.size(), 8u);
    unsigned flagged = 0;
    for (std::size_t i = 0; i < s.pulses.size(); ++i)
        flagged += s.pulse_read_error(i);
    for (const TapeEntry *e : f) {
        EXPECT_TRUE(e->checkbyte_pass);
        EXPECT_GT(e->read_errors, 0u);
    }
    EXPECT_EQ(scan_totals(s).read_errors, flagged);
    EXPECT_FALSE(scan_totals(s).read_pass());
}

TEST(CbmScan, ToleranceFifteenAcceptsFastJitteredTape)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes tap = jittered(scaled(encode_tap(prgs, EncodeOptions()), 1.10), 3, 99);
    expect_programs(scan(tap, ScanOptions{15, true}), prgs);
    // Clamped above 15.
    expect_programs(scan(tap, ScanOptions{40, true}), prgs);
}

TEST(CbmScan, FarPulseIsAReadError)
{
    const std::vector<PrgInput> prgs = {prg(0x0801, 50, "ERR")};
    Bytes tap = encode_tap(prgs, EncodeOptions());
    Layout l = tap_layout(prgs, 4, 0);
    // The marker of payload byte 7 of the data FIRST copy becomes 0x10: far from
    // every class; the byte is still read since the next marker is in place.
    const std::size_t at = l.entries[3].inner_start + 7 * 20;
    tap[at] = 0x10;
    const TapeScan s = scan(tap);
    expect_layout(s, l);
    const TapeEntry &e = s.entries[3];
    EXPECT_EQ(e.read_errors, 1u);
    EXPECT_TRUE(e.checkbyte_pass);
    EXPECT_EQ(e.payload, data_of(prgs[0]));
    const std::size_t pulse = e.inner_start_pulse + 7 * 20;
    EXPECT_TRUE(s.pulse_read_error(pulse));
    EXPECT_EQ(s.pulse_class(pulse), PulseClass::Long);
    EXPECT_EQ(scan_totals(s).read_errors, 1u);
}

// --- Damage -----------------------------------------------------------------

TEST(CbmScan, DamagedFirstDataCopy)
{
    const std::vector<PrgInput> prgs = two_programs();
    Bytes tap = encode_tap(prgs, EncodeOptions());
    const Layout l = tap_layout(prgs, 4, 4);
    // Swap the two pulses of bit 0 of payload byte 5 of program 2's data FIRST copy.
    const Expect &first = l.entries[9];
    ASSERT_EQ(first.type, CBM_TYPE_DATA);
    const std::size_t bit = first.inner_start + 5 * 20 + 2;
    std::swap(tap[bit], tap[bit + 1]);

    const TapeScan s = scan(tap);
    expect_layout(s, l);
    const TapeEntry &bad = s.entries[9], &good = s.entries[10];
    EXPECT_FALSE(bad.checkbyte_pass);
    EXPECT_NE(bad.checkbyte_on_tape, bad.checkbyte_computed);
    // On tape: the XOR of the program as saved; computed: the XOR of what was read.
    uint8_t saved_xor = 0;
    for (uint8_t b : data_of(prgs[1]))
        saved_xor ^= b;
    EXPECT_EQ(bad.checkbyte_on_tape, saved_xor);
    EXPECT_EQ(bad.checkbyte_computed, uint8_t(saved_xor ^ 1));
    EXPECT_EQ(good.checkbyte_on_tape, saved_xor);
    EXPECT_EQ(good.checkbyte_computed, saved_xor);
    EXPECT_EQ(bad.parity_errors, 1u);
    EXPECT_EQ(bad.read_errors, 0u);
    Bytes flipped = data_of(prgs[1]);
    flipped[5] ^= 1;
    EXPECT_EQ(bad.payload, flipped);
    EXPECT_NE(bad.crc32, crc32_of(data_of(prgs[1])));
    EXPECT_TRUE(bad.has_addresses);
    EXPECT_EQ(bad.load_address, 0xC000);
    EXPECT_TRUE(good.checkbyte_pass);
    EXPECT_EQ(good.payload, data_of(prgs[1]));
    const ScanTotals t = scan_totals(s);
    EXPECT_EQ(t.checksummed, 8u);
    EXPECT_EQ(t.checksum_ok, 7u);

    // The repair the locations promise: the healthy copy's bytes from its inner
    // start for (inner end - inner start + 20) bytes, then L and S.
    const std::size_t len = good.inner_end - good.inner_start + 20;
    std::memcpy(&tap[bad.inner_start], &tap[good.inner_start], len);
    tap[bad.inner_start + len] = 0x56;
    tap[bad.inner_start + len + 1] = 0x30;
    const TapeScan fixed = scan(tap);
    expect_layout(fixed, l);
    expect_programs(fixed, prgs);
}

TEST(CbmScan, DamagedCountdownStillSyncs)
{
    const std::vector<PrgInput> prgs = {prg(0x0801, 40, "CD")};
    Bytes tap = encode_tap(prgs, EncodeOptions());
    const Layout l = tap_layout(prgs, 4, 0);
    // Break three countdown bytes of the header REPEAT copy (swap a bit each).
    const std::size_t countdown = l.entries[1].start + 79;
    for (std::size_t b : {1, 4, 8}) {
        const std::size_t bit = countdown + b * 20 + 2 + 2 * 3;
        std::swap(tap[bit], tap[bit + 1]);
    }
    const TapeScan s = scan(tap);
    expect_layout(s, l);
    expect_programs(s, prgs);
    // The classes of the countdown are those of the right countdown.
    expect_classes_rebuild(s, encode_tap(prgs, EncodeOptions()), CbmPulseSet());
}

TEST(CbmScan, StrayPulseInLeaderStaysInTheCopy)
{
    const std::vector<PrgInput> prgs = {prg(0x0801, 40, "LEAD")};
    Bytes tap = encode_tap(prgs, EncodeOptions());
    const Layout l = tap_layout(prgs, 4, 0);
    tap[l.entries[0].start + 1000] = 0x70;
    tap[l.entries[4].start + 20] = 0x05;  // inside the gap before the data REPEAT
    const TapeScan s = scan(tap);
    expect_layout(s, l);
    for (std::size_t i : {0, 1, 3, 4}) {
        EXPECT_TRUE(s.entries[i].checkbyte_pass) << i;
        EXPECT_EQ(s.entries[i].read_errors, i == 0 || i == 4 ? 1u : 0u) << i;
    }
    EXPECT_EQ(s.pulse_class(1000), PulseClass::Short);
    EXPECT_TRUE(s.pulse_read_error(1000));
    EXPECT_EQ(s.entries[3].payload, data_of(prgs[0]));
}

TEST(CbmScan, GarbageBetweenTwoPrograms)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes a = encode_tap({prgs[0]}, EncodeOptions());
    const Bytes b = encode_tap({prgs[1]}, EncodeOptions());
    Bytes tap = a;
    uint32_t x = 7;
    for (int i = 0; i < 2000; ++i) {
        x = x * 1664525u + 1013904223u;
        tap.push_back(uint8_t(20 + (x >> 16) % 200));
    }
    tap.push_back(200);  // two pulses no leader takes in
    tap.push_back(200);
    tap.insert(tap.end(), b.begin() + TAP_HEADER_SIZE, b.end());
    tap_fix_data_size(tap);
    const TapeScan s = scan(tap);
    expect_programs(s, prgs);
    int unrecognized = 0;
    for (const TapeEntry &e : s.entries)
        if (e.kind == EntryKind::Unrecognized) {
            ++unrecognized;
            EXPECT_EQ(e.type, "UNRECOGNIZED");
            EXPECT_EQ(e.start, a.size());
            EXPECT_EQ(e.end, a.size() + 2001);
        }
    EXPECT_EQ(unrecognized, 1);
    // Both programs' data copies still find their headers.
    const std::vector<const TapeEntry *> f = files_of(s);
    EXPECT_EQ(f[6]->load_address, 0xC000);
}

TEST(CbmScan, TapeCutInTheMiddleOfABlock)
{
    const std::vector<PrgInput> prgs = {prg(0x0801, 500, "CUT")};
    const Bytes full = encode_tap(prgs, EncodeOptions());
    const Layout l = tap_layout(prgs, 4, 0);
    // Cut inside payload byte 200 of the data FIRST copy (10 pulses into it).
    Bytes tap(full.begin(), full.begin() + l.entries[3].inner_start + 200 * 20 + 10);
    tap_fix_data_size(tap);

    const TapeScan s = scan(tap);
    ASSERT_EQ(s.entries.size(), 4u);
    EXPECT_EQ(s.entries[0].type, CBM_TYPE_HEADER);
    EXPECT_TRUE(s.entries[1].checkbyte_pass);
    EXPECT_EQ(s.entries[2].type, "PAUSE");
    EXPECT_EQ(s.entries[3].type, "UNRECOGNIZED");
    EXPECT_EQ(s.entries[3].start, l.entries[3].start);
    EXPECT_EQ(s.entries[3].end, tap.size() - 1);

    // Accepting blocks without end marker: the bytes before the cut, the last as checkbyte.
    const TapeScan loose = scan(tap, ScanOptions{10, false});
    ASSERT_EQ(loose.entries.size(), 5u);
    const TapeEntry &d = loose.entries[3];
    EXPECT_EQ(d.type, CBM_TYPE_DATA);
    EXPECT_EQ(d.copy, CopyId::First);
    EXPECT_EQ(d.start, l.entries[3].start);
    EXPECT_EQ(d.inner_start, l.entries[3].inner_start);
    const Bytes data = data_of(prgs[0]);
    EXPECT_EQ(d.payload, Bytes(data.begin(), data.begin() + 199));
    EXPECT_EQ(d.checkbyte_on_tape, data[199]);
    EXPECT_EQ(d.inner_end, l.entries[3].inner_start + 199 * 20);
    EXPECT_EQ(d.end, d.inner_end + 19);
    EXPECT_EQ(d.load_address, 0x0801);
    EXPECT_EQ(loose.entries[4].type, "UNRECOGNIZED");
    EXPECT_EQ(loose.entries[4].start, d.end + 1);
    EXPECT_EQ(loose.entries[4].end, tap.size() - 1);
}

TEST(CbmScan, MissingEndMarker)
{
    // A data copy pair whose FIRST copy lacks the end-of-data marker.
    const CbmPulseSet p;
    const Bytes payload = {1, 2, 3, 4, 5};
    Bytes tap = tap_file_header(1, false, false, 0);
    cbm_append_copy(tap, payload.data(), payload.size(), false, 2000, p);
    tap.resize(tap.size() - 2);
    const std::size_t first_end = tap.size();
    cbm_append_copy(tap, payload.data(), payload.size(), true, CBM_COPY_GAP_PULSES, p);
    cbm_append_pulses(tap, p.s, CBM_TRAILER_PULSES);
    tap_fix_data_size(tap);

    const TapeScan strict = scan(tap);
    ASSERT_EQ(strict.entries.size(), 2u);
    EXPECT_EQ(strict.entries[0].type, "UNRECOGNIZED");
    EXPECT_EQ(strict.entries[1].type, CBM_TYPE_DATA);
    EXPECT_EQ(strict.entries[1].copy, CopyId::Repeat);
    EXPECT_TRUE(strict.entries[1].checkbyte_pass);
    EXPECT_FALSE(strict.entries[1].has_addresses);  // no header before it
    EXPECT_EQ(strict.entries[1].header_entry, -1);

    const TapeScan loose = scan(tap, ScanOptions{10, false});
    ASSERT_EQ(loose.entries.size(), 2u);
    EXPECT_EQ(loose.entries[0].copy, CopyId::First);
    EXPECT_TRUE(loose.entries[0].checkbyte_pass);
    EXPECT_EQ(loose.entries[0].payload, payload);
    EXPECT_EQ(loose.entries[0].end, first_end - 1);
    EXPECT_EQ(loose.entries[1].start, first_end);
    EXPECT_EQ(loose.entries[1].end, tap.size() - 1);
    EXPECT_TRUE(loose.entries[1].checkbyte_pass);
}

TEST(CbmScan, DataTakesAddressesFromHeaderFirstWhenRepeatFailed)
{
    const std::vector<PrgInput> prgs = {prg(0x3000, 64, "HDR")};
    Bytes tap = encode_tap(prgs, EncodeOptions());
    const Layout l = tap_layout(prgs, 4, 0);
    // Damage the load address high byte of the header REPEAT copy (bit 0 of byte 2).
    const std::size_t bit = l.entries[1].inner_start + 2 * 20 + 2;
    std::swap(tap[bit], tap[bit + 1]);
    const TapeScan s = scan(tap);
    expect_layout(s, l);
    EXPECT_FALSE(s.entries[1].checkbyte_pass);
    EXPECT_EQ(s.entries[1].load_address, 0x3100);
    EXPECT_EQ(s.entries[3].header_entry, 0);
    EXPECT_EQ(s.entries[3].load_address, 0x3000);
    EXPECT_EQ(s.entries[4].header_entry, 0);
    EXPECT_EQ(s.entries[4].load_address, 0x3000);
}

// --- ZORV -------------------------------------------------------------------

TEST(CbmScan, ZorvDumpOfATape)
{
    const std::vector<PrgInput> prgs = two_programs();
    const Bytes tap = encode_tap(prgs, EncodeOptions());
    const Bytes dump = zorv_from_tap(tap);
    const TapeScan s = scan(dump);
    ASSERT_TRUE(s.ok);
    EXPECT_EQ(s.file_type, FileType::ZorvDump);
    Layout l;
    l.width = 2;
    l.program(300, zorv_bytes_of(CBM_HEADER_DATA_PAUSE_CYCLES / 8 * 8));
    l.pause(zorv_bytes_of(1970496 / 8 * 8));
    l.program(1000, zorv_bytes_of(CBM_HEADER_DATA_PAUSE_CYCLES / 8 * 8));
    expect_layout(s, l);
    expect_programs(s, prgs);
}

// --- Names ------------------------------------------------------------------

TEST(CbmScan, PetsciiNames)
{
    const uint8_t game[] = {'G', 'A', 'M', 'E', ' ', '2', 0x20, 0x20, 0xA0, 0x00};
    EXPECT_EQ(petscii_name_to_ascii(game, sizeof game), "GAME 2");
    const uint8_t mixed[] = {0xC1, 0xDA, 0x61, 0x7A, 0xA0, '-', 0x5C, 0x01, 0xFF, '!'};
    EXPECT_EQ(petscii_name_to_ascii(mixed, sizeof mixed), "azaz -??" "?!");
    EXPECT_EQ(petscii_name_to_ascii(mixed, 0), "");
}

TEST(CbmScan, SilenceBeforeALeaderIsNeverTakenAsAStrayLeaderPulse)
{
    // Program A, two short pulses left over after its trailer, one pause,
    // then program B: the pause must stay a PAUSE entry of its own.
    const Bytes a = encode_tap({prg(0x0801, 100, "A", 3)}, EncodeOptions{});
    const Bytes b = encode_tap({prg(0x0801, 100, "B", 4)}, EncodeOptions{});
    Bytes tape = a;
    tape.push_back(0x30);
    tape.push_back(0x30);
    const size_t pause_offset = tape.size();
    for (uint8_t byte : {0x00, 0x98, 0x01, 0x05})
        tape.push_back(byte);
    tape.insert(tape.end(), b.begin() + 20, b.end());
    tap_fix_data_size(tape);
    const TapeScan s = scan(tape);
    ASSERT_TRUE(s.ok);
    const TapeEntry *holder = nullptr;
    for (const TapeEntry &e : s.entries)
        if (e.start <= pause_offset && pause_offset <= e.end)
            holder = &e;
    ASSERT_NE(holder, nullptr);
    EXPECT_EQ(holder->kind, EntryKind::Pause);
    EXPECT_EQ(files_of(s).size(), 8u) << "both programs, header and data, FIRST and REPEAT";
}

TEST(CbmScan, DataShorterThanItsHeaderAnnouncesIsReadToItsEndMarker)
{
    // Boot files on real tapes: the header announces $0801-$0A00, the data
    // block holds 100 bytes and ends with a proper end-of-data marker.
    const CbmPulseSet p;
    Bytes tap = tap_file_header(1, false, false, 0);
    const Bytes header = cbm_header_payload(CBM_HEADER_RELOCATABLE, 0x0801, 0x0A00, "BOOT");
    cbm_append_copy(tap, header.data(), header.size(), false, 2000, p);
    cbm_append_pulses(tap, p.s, CBM_COPY_GAP_PULSES);
    cbm_append_copy(tap, header.data(), header.size(), true, 0, p);
    cbm_append_pulses(tap, p.s, CBM_TRAILER_PULSES);
    tap_append_pause(tap, CBM_HEADER_DATA_PAUSE_CYCLES, 1);
    Bytes data(100);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = uint8_t(i * 7);
    cbm_append_copy(tap, data.data(), data.size(), false, 2000, p);
    cbm_append_pulses(tap, p.s, CBM_COPY_GAP_PULSES);
    cbm_append_copy(tap, data.data(), data.size(), true, 0, p);
    cbm_append_pulses(tap, p.s, CBM_TRAILER_PULSES);
    tap_fix_data_size(tap);

    const TapeScan s = scan_tape(tap.data(), tap.size());
    std::vector<const TapeEntry *> copies;
    for (const TapeEntry &e : s.entries)
        if (e.type == CBM_TYPE_DATA)
            copies.push_back(&e);
    ASSERT_EQ(copies.size(), 2u);
    for (const TapeEntry *e : copies) {
        EXPECT_EQ(e->payload, data);
        EXPECT_TRUE(e->checkbyte_pass);
        EXPECT_EQ(e->read_errors, 0u);
        // The addresses are the header's, as recorded.
        EXPECT_EQ(e->load_address, 0x0801);
        EXPECT_EQ(e->end_address, 0x0A00);
    }
}
