// Tests of the scanning framework: the compact pulse track against tapimage's
// decoder, the silence rule and PAUSE / UNRECOGNIZED entries, coverage of the
// file, the scanner interface (order, retry hints, clamped tolerance) and CRC-32.
#include "core/tapescan.h"
#include "core/loaders/registry.h"

#include "core/cbmscan.h"

#include <gtest/gtest.h>

#include <glib.h>
#include <glib/gstdio.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes file_with(const char *magic, uint8_t version, std::initializer_list<uint8_t> data, uint8_t platform = 0)
{
    Bytes f(TAP_HEADER_SIZE, 0);
    std::memcpy(f.data(), magic, 12);
    f[12] = version;
    f[13] = platform;
    for (uint8_t b : data)
        f.push_back(b);
    return f;
}

TapeScan scan(const Bytes &f, const ScanOptions &o = ScanOptions())
{
    return scan_tape(f.data(), f.size(), o);
}

// Entries are contiguous, in order, and cover every byte after the header.
void expect_covering(const TapeScan &s)
{
    uint64_t next = TAP_HEADER_SIZE;
    std::size_t pulse = 0;
    for (const TapeEntry &e : s.entries) {
        EXPECT_EQ(e.start, next);
        EXPECT_EQ(e.first_pulse, pulse);
        EXPECT_LE(e.start, e.inner_start);
        EXPECT_LE(e.inner_start, e.inner_end);
        EXPECT_LE(e.inner_end, e.end);
        next = e.end + 1;
        pulse += e.pulse_count;
    }
    EXPECT_EQ(next, s.file_size);
    EXPECT_EQ(pulse, s.pulses.size());
}

void expect_same_pulses(const Bytes &f)
{
    const std::vector<TapePulse> ref = decode_tape_pulses(f.data(), f.size());
    const PulseTrack t = read_pulse_track(f.data(), f.size());
    ASSERT_EQ(t.size(), ref.size());
    for (std::size_t i = 0; i < ref.size(); ++i) {
        EXPECT_EQ(t.pulse(i), ref[i]) << i;
        EXPECT_EQ(t.offset(i), ref[i].offset) << i;
        EXPECT_EQ(t.units(i), ref[i].units) << i;
        const uint64_t next = i + 1 < ref.size() ? ref[i + 1].offset : f.size();
        EXPECT_EQ(t.last_byte(i), next - 1) << i;
    }
}

} // namespace

TEST(ScanCrc, KnownValues)
{
    const char *text = "123456789";
    EXPECT_EQ(crc32_update(0, reinterpret_cast<const uint8_t *>(text), 9), 0xCBF43926u);
    EXPECT_EQ(crc32_of(Bytes()), 0u);
    EXPECT_EQ(crc32_of(Bytes{0x00}), 0xD202EF8Du);
    // Continuing over two pieces is the same as one.
    const uint32_t a = crc32_update(0, reinterpret_cast<const uint8_t *>(text), 4);
    EXPECT_EQ(crc32_update(a, reinterpret_cast<const uint8_t *>(text) + 4, 5), 0xCBF43926u);
}

TEST(ScanPulses, TrackMatchesTheDecoderForEveryFormat)
{
    expect_same_pulses(file_with("C64-TAPE-RAW", 0, {0x30, 0x00, 0x42, 0x00, 0x00, 0xFF, 0x01}));
    expect_same_pulses(file_with("C64-TAPE-RAW", 1, {0x30, 0x00, 0x98, 0x01, 0x05, 0x42, 0x00, 0xFF, 0xFF, 0xFF,
                                                     0x00, 0x07, 0x00, 0x00, 0x56, 0x00, 0x10}));
    expect_same_pulses(file_with("C64-TAPE-RAW", 2, {0x00, 0x20, 0x00, 0x00, 0x31}));
    expect_same_pulses(file_with("C64-TAPE-RAW", 3, {0x30, 0x00, 0x42}));
    expect_same_pulses(file_with("C16-TAPE-RAW", 1, {0x30, 0x31}));
    // ZORV: 780 samples (48 units), an overflow chain, a lone last byte.
    expect_same_pulses(file_with("ZORV-TAP-RAW", 1, {0x0C, 0x03, 0xFF, 0xFF, 0x10, 0x00, 0x0C, 0x03, 0x40}));
    expect_same_pulses(file_with("C64-TAPE-RAW", 1, {}));
}

TEST(ScanPulses, AlikeIrregularPulsesShareOneRecord)
{
    const Bytes v0 = file_with("C64-TAPE-RAW", 0, {0x00, 0x00, 0x00, 0x00, 0x30, 0x00, 0x00, 0x31});
    expect_same_pulses(v0);
    EXPECT_EQ(read_pulse_track(v0.data(), v0.size()).irregular.size(), 2u);

    const Bytes v1 = file_with("C64-TAPE-RAW", 1, {0x00, 0x10, 0x27, 0x00, 0x00, 0x10, 0x27, 0x00, 0x00, 0x00, 0x28,
                                                   0x00, 0x00, 0x00, 0x28});  // last one cut short
    expect_same_pulses(v1);
    const PulseTrack t1 = read_pulse_track(v1.data(), v1.size());
    ASSERT_EQ(t1.irregular.size(), 3u);
    EXPECT_EQ(t1.irregular[0].count, 2u);
    EXPECT_EQ(t1.irregular[2].length, 3u);

    const Bytes zorv = file_with("ZORV-TAP-RAW", 1, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x34, 0x12, 0x0C, 0x03});
    expect_same_pulses(zorv);
    const PulseTrack tz = read_pulse_track(zorv.data(), zorv.size());
    ASSERT_EQ(tz.irregular.size(), 2u);  // the overflow marks, and the sample they continue into
    EXPECT_EQ(tz.irregular[0].count, 3u);
    EXPECT_TRUE(tz.is_silence(3));
    EXPECT_FALSE(tz.is_silence(4));
}

TEST(ScanPulses, SilenceRule)
{
    TapePulse p{20, 48, false, false};
    EXPECT_FALSE(is_silence_pulse(p));
    p.units = 255;
    EXPECT_FALSE(is_silence_pulse(p));
    p.units = 256;
    EXPECT_TRUE(is_silence_pulse(p));
    p.units = 0;
    EXPECT_TRUE(is_silence_pulse(p));
    p.units = 40;
    p.long_form = true;  // a zero byte, however short its count
    EXPECT_TRUE(is_silence_pulse(p));
    p.long_form = false;
    p.continues = true;
    EXPECT_TRUE(is_silence_pulse(p));
}

TEST(ScanTape, NotATapeImage)
{
    Bytes f = file_with("NOT-A-TAPE!!", 1, {0x30});
    TapeScan s = scan(f);
    EXPECT_FALSE(s.ok);
    EXPECT_FALSE(s.error.empty());
    EXPECT_TRUE(s.entries.empty());
    f.resize(19);
    s = scan(f);
    EXPECT_FALSE(s.ok);
}

TEST(ScanTape, HeaderOnlyHasNoEntries)
{
    const TapeScan s = scan(file_with("C64-TAPE-RAW", 1, {}));
    EXPECT_TRUE(s.ok);
    EXPECT_TRUE(s.entries.empty());
    EXPECT_EQ(s.file_size, 20u);
}

TEST(ScanTape, PausesAndUnrecognizedStretchesVersion1)
{
    const Bytes f = file_with("C64-TAPE-RAW", 1, {0x40, 0x41, 0x42, 0x00, 0x10, 0x27, 0x00, 0x00, 0x05, 0x00, 0x00,
                                                  0x90, 0x91});
    const TapeScan s = scan(f);
    ASSERT_TRUE(s.ok);
    ASSERT_EQ(s.entries.size(), 3u);
    const TapeEntry &u1 = s.entries[0], &pause = s.entries[1], &u2 = s.entries[2];
    EXPECT_EQ(u1.type, "UNRECOGNIZED");
    EXPECT_EQ(u1.kind, EntryKind::Unrecognized);
    EXPECT_EQ(u1.start, 20u);
    EXPECT_EQ(u1.inner_start, 20u);
    EXPECT_EQ(u1.inner_end, 22u);
    EXPECT_EQ(u1.end, 22u);
    EXPECT_EQ(pause.type, "PAUSE");
    EXPECT_EQ(pause.kind, EntryKind::Pause);
    EXPECT_EQ(pause.pulse_count, 2u);  // two long pulses in a row make one pause
    EXPECT_EQ(pause.start, 23u);
    EXPECT_EQ(pause.inner_start, 23u);
    EXPECT_EQ(pause.inner_end, 30u);
    EXPECT_EQ(pause.end, 30u);
    EXPECT_EQ(u2.start, 31u);
    EXPECT_EQ(u2.end, 32u);
    EXPECT_FALSE(u1.has_checkbyte);
    EXPECT_FALSE(u1.has_addresses);
    EXPECT_EQ(u1.copy, CopyId::None);
    expect_covering(s);
    for (std::size_t i = 0; i < s.pulses.size(); ++i)
        EXPECT_EQ(s.pulse_class(i), PulseClass::None);
}

TEST(ScanTape, Version0ZeroBytesAreOnePause)
{
    const TapeScan s = scan(file_with("C64-TAPE-RAW", 0, {0x00, 0x00, 0x00, 0x50, 0x00}));
    ASSERT_EQ(s.entries.size(), 3u);
    EXPECT_EQ(s.entries[0].type, "PAUSE");
    EXPECT_EQ(s.entries[0].end, 22u);
    EXPECT_EQ(s.entries[1].type, "UNRECOGNIZED");
    EXPECT_EQ(s.entries[2].type, "PAUSE");
    EXPECT_EQ(s.entries[2].start, 24u);
    expect_covering(s);
}

TEST(ScanTape, ZorvSilenceAndOverflowChainsArePauses)
{
    // 48 units, 8192 samples (504 units: silence), 48 units, an overflow mark
    // and the short sample it continues into (one physical pulse), 48 units,
    // a lone last byte.
    const TapeScan s = scan(file_with("ZORV-TAP-RAW", 1,
                                      {0x0C, 0x03, 0x00, 0x20, 0x0C, 0x03, 0xFF, 0xFF, 0x10, 0x00, 0x0C, 0x03, 0x40}));
    ASSERT_EQ(s.entries.size(), 5u);
    const char *types[] = {"UNRECOGNIZED", "PAUSE", "UNRECOGNIZED", "PAUSE", "UNRECOGNIZED"};
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(s.entries[i].type, types[i]) << i;
    EXPECT_EQ(s.entries[1].start, 22u);
    EXPECT_EQ(s.entries[1].end, 23u);
    EXPECT_EQ(s.entries[3].pulse_count, 2u);
    EXPECT_EQ(s.entries[3].start, 26u);
    EXPECT_EQ(s.entries[3].end, 29u);
    // The lone last byte is a pulse of its own, not silence: it joins the stretch before it.
    EXPECT_EQ(s.entries[4].start, 30u);
    EXPECT_EQ(s.entries[4].end, 32u);
    EXPECT_EQ(s.entries[4].pulse_count, 2u);
    expect_covering(s);
}

TEST(ScanTape, Version3ZeroByteIsSilence)
{
    const TapeScan s = scan(file_with("C64-TAPE-RAW", 3, {0x30, 0x00, 0x30}));
    ASSERT_EQ(s.entries.size(), 3u);
    EXPECT_EQ(s.entries[1].type, "PAUSE");
    EXPECT_EQ(s.entries[1].start, 21u);
    EXPECT_EQ(s.entries[1].end, 21u);
}

namespace {

// A toy format: a run of at least three pulses of 0x99 units.
int toy_calls = 0;
int toy_tolerance = -1;
bool toy_recognise(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry)
{
    ++toy_calls;
    toy_tolerance = ctx.options->tolerance;
    const PulseTrack &t = *ctx.pulses;
    std::size_t k = index;
    while (k < t.size() && t.small[k] == 0x99)
        ++k;
    if (k - index < 3) {
        // Nothing can start before the next 0x99.
        std::size_t j = index + 1;
        while (j < t.size() && t.small[j] != 0x99)
            ++j;
        retry = j;
        return false;
    }
    entry.type = "TOY";
    entry.first_pulse = index;
    entry.pulse_count = k - index;
    entry.inner_start_pulse = index + 1;
    entry.inner_end_pulse = k - 1;
    entry.has_checkbyte = true;
    entry.checkbyte_pass = false;
    entry.read_errors = 2;
    for (std::size_t i = index; i < k; ++i)
        (*ctx.pulse_info)[i] = uint8_t(PulseClass::Long);
    return true;
}
const TapeScanner toy_scanner = {"toy", "Toy", SCAN_FOR_C64, toy_recognise};

// Claims everything; placed second it must never be reached while the toy matches.
bool greedy_recognise(const ScanContext &, std::size_t index, TapeEntry &entry, std::size_t &)
{
    entry.type = "GREEDY";
    entry.first_pulse = index;
    entry.pulse_count = 1;
    entry.inner_start_pulse = entry.inner_end_pulse = index;
    return true;
}
const TapeScanner greedy_scanner = {"greedy", "Greedy", SCAN_FOR_C64, greedy_recognise};

} // namespace

TEST(ScanTape, ScannersRecogniseFilesAndSkipByTheirHint)
{
    toy_calls = 0;
    const Bytes f = file_with("C64-TAPE-RAW", 1, {0x10, 0x11, 0x12, 0x13, 0x14, 0x99, 0x99, 0x99, 0x99, 0x20, 0x99});
    ScanOptions o;
    o.tolerance = 99;
    const TapeScan s = scan_tape(f.data(), f.size(), o, {&toy_scanner});
    ASSERT_EQ(s.entries.size(), 3u);
    EXPECT_EQ(s.entries[0].type, "UNRECOGNIZED");
    EXPECT_EQ(s.entries[0].end, 24u);
    const TapeEntry &toy = s.entries[1];
    EXPECT_EQ(toy.type, "TOY");
    EXPECT_EQ(toy.kind, EntryKind::File);
    EXPECT_EQ(toy.scanner, &toy_scanner);
    EXPECT_EQ(toy.start, 25u);
    EXPECT_EQ(toy.inner_start, 26u);
    EXPECT_EQ(toy.inner_end, 28u);
    EXPECT_EQ(toy.end, 28u);
    EXPECT_EQ(s.entries[2].type, "UNRECOGNIZED");
    EXPECT_EQ(s.entries[2].start, 29u);
    expect_covering(s);
    // Called at 0 (hint: 5), 5 (match), 9 (hint: 10), 10: four calls.
    EXPECT_EQ(toy_calls, 4);
    EXPECT_EQ(toy_tolerance, 15);  // clamped
    EXPECT_EQ(s.pulse_class(5), PulseClass::Long);
    EXPECT_EQ(s.pulse_class(4), PulseClass::None);

    const ScanTotals t = scan_totals(s);
    EXPECT_EQ(t.checksummed, 1u);
    EXPECT_EQ(t.checksum_ok, 0u);
    EXPECT_EQ(t.read_errors, 2u);
    EXPECT_FALSE(t.checksum_pass());
    EXPECT_FALSE(t.read_pass());

    o.tolerance = -3;
    scan_tape(f.data(), f.size(), o, {&toy_scanner});
    EXPECT_EQ(toy_tolerance, 0);
}

TEST(ScanTape, FirstScannerThatRecognisesWins)
{
    const Bytes f = file_with("C64-TAPE-RAW", 1, {0x99, 0x99, 0x99, 0x10});
    const TapeScan s = scan_tape(f.data(), f.size(), ScanOptions(), {&toy_scanner, &greedy_scanner});
    ASSERT_EQ(s.entries.size(), 2u);
    EXPECT_EQ(s.entries[0].type, "TOY");
    EXPECT_EQ(s.entries[1].type, "GREEDY");
    EXPECT_EQ(s.entries[1].scanner, &greedy_scanner);
    expect_covering(s);
}

TEST(ScanTape, NoScannersLeavesOnlyPausesAndUnrecognized)
{
    const Bytes f = file_with("C64-TAPE-RAW", 0, {0x30, 0x30, 0x00, 0x30});
    const TapeScan s = scan_tape(f.data(), f.size(), ScanOptions(), {});
    ASSERT_EQ(s.entries.size(), 3u);
    expect_covering(s);
}

TEST(ScanTape, BuiltinScanners)
{
    ASSERT_EQ(builtin_scanners().size(), 1u + turbo_loaders().size());
    EXPECT_STREQ(builtin_scanners()[0]->id, "c64");
    for (std::size_t i = 0; i < turbo_loaders().size(); ++i) {
        EXPECT_EQ(builtin_scanners()[i + 1], turbo_loaders()[i].scanner);
        EXPECT_EQ(find_scanner(turbo_loaders()[i].id), turbo_loaders()[i].scanner);
    }
    EXPECT_EQ(find_scanner("c64"), &cbm_rom_scanner);
    EXPECT_EQ(find_scanner("nope"), nullptr);
    EXPECT_STREQ(copy_id_text(CopyId::First), "FIRST");
    EXPECT_STREQ(copy_id_text(CopyId::Repeat), "REPEAT");
    EXPECT_STREQ(copy_id_text(CopyId::None), "");
}

TEST(ScanTape, FromAFile)
{
    gchar *dir = g_dir_make_tmp("tapescan-XXXXXX", nullptr);
    ASSERT_NE(dir, nullptr);
    const std::string path = std::string(dir) + "/t.tap";
    const Bytes f = file_with("C64-TAPE-RAW", 1, {0x30, 0x00, 0x10, 0x00, 0x00});
    ASSERT_TRUE(g_file_set_contents(path.c_str(), reinterpret_cast<const gchar *>(f.data()), gssize(f.size()), nullptr));
    const TapeScan s = scan_tape_file(path);
    EXPECT_TRUE(s.ok);
    EXPECT_EQ(s.file_size, f.size());
    EXPECT_EQ(s.entries.size(), 2u);
    g_remove(path.c_str());
    const TapeScan missing = scan_tape_file(path);
    EXPECT_FALSE(missing.ok);
    EXPECT_FALSE(missing.error.empty());
    g_rmdir(dir);
    g_free(dir);
}
