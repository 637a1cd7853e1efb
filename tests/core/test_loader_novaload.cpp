// Novaload tapes built pulse by pulse (not by the loader's encoder): pilots
// of other lengths, files touching without a pause, no trailer, Special
// chains with pages apart, damaged and cut files, a spike in the pilot, and
// the bit pilot search itself.
#include "core/loaders/all.h"
#include "core/loaders/turbo.h"
#include "core/tapescan.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

using namespace loader_testing;

namespace {

constexpr turbo::Format NOVA{500, 0x24, 0x56, turbo::BitOrder::LsbFirst};

Bytes new_tap() { return tap_file_header(1, false, false, 0); }

void finish(Bytes &tap) { tap_fix_data_size(tap); }

void pause(Bytes &tap) { tap_append_pause(tap, 200000, 1); }

// The bytes of a Normal file after the sync byte, sums computed here from
// the layout: every check byte is the sum of all bytes before it.
Bytes normal_body(const std::string &name, uint16_t load, const Bytes &data)
{
    Bytes out = {uint8_t(name.size())};
    for (char c : name)
        out.push_back(uint8_t(c));
    const uint16_t stored_load = uint16_t(load - 0x100);
    const uint16_t end = uint16_t(load + data.size());
    const uint16_t stored_length = uint16_t(data.size() + 0x100);
    out.insert(out.end(), {uint8_t(stored_load), uint8_t(stored_load >> 8), uint8_t(end), uint8_t(end >> 8),
                           uint8_t(stored_length), uint8_t(stored_length >> 8)});
    auto sum_so_far = [&out] {
        unsigned s = 0;
        for (uint8_t b : out)
            s += b;
        return uint8_t(s);
    };
    for (std::size_t i = 0; i < data.size(); i += 256) {
        out.push_back(sum_so_far());
        for (std::size_t k = i; k < data.size() && k < i + 256; ++k)
            out.push_back(data[k]);
    }
    out.push_back(sum_so_far());
    return out;
}

void write_file(Bytes &tap, std::size_t pilot, const Bytes &body, std::size_t trailer)
{
    turbo::Writer w(tap, NOVA);
    w.zeros(pilot);
    w.bit(1);
    w.byte(0xAA);
    w.bytes(body);
    w.zeros(trailer);
}

// A Special chain: the given pages with their data, then page $00.
Bytes special_body(const std::vector<std::pair<uint8_t, Bytes>> &pages)
{
    Bytes out = {0x55};
    for (const auto &[page, data] : pages) {
        out.push_back(page);
        unsigned sum = page;
        for (uint8_t b : data) {
            out.push_back(b);
            sum += b;
        }
        out.push_back(uint8_t(sum));
    }
    out.push_back(0x00);
    return out;
}

TapeScan scan_nova(const Bytes &tap)
{
    return scan_tape(tap.data(), tap.size(), ScanOptions(), {LOADER_NOVALOAD.scanner});
}

std::vector<const TapeEntry *> nova_entries(const TapeScan &scan) { return entries_of(scan, LOADER_NOVALOAD.scanner); }

} // namespace

TEST(NovaloadScanner, NormalFileWithShortPilotAndNoBootFile)
{
    Bytes tap = new_tap();
    const Bytes data = data_of(700, 5);
    pause(tap);
    const std::size_t first_pulse = 1;
    write_file(tap, 400, normal_body("ABC", 0x1000, data), 100);
    pause(tap);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    expect_covering(scan);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    const TapeEntry &e = *files[0];
    EXPECT_EQ(e.type, "NOVALOAD");
    EXPECT_EQ(e.first_pulse, first_pulse);
    EXPECT_EQ(e.inner_start_pulse, first_pulse + 400 + 1 + 8);
    // Header 1 + 3 + 6 bytes, 3 pieces with their check bytes: the final sum.
    EXPECT_EQ(e.inner_end_pulse, e.inner_start_pulse + 8 * (10 + 3 + 700));
    EXPECT_EQ(e.pulse_count, 400 + 1 + 8 + 8 * (10 + 3 + 700 + 1) + 100);
    EXPECT_EQ(e.name, "ABC");
    EXPECT_EQ(e.load_address, 0x1000);
    EXPECT_EQ(e.end_address, 0x1000 + 700);
    EXPECT_TRUE(e.checkbyte_pass);
    EXPECT_EQ(e.payload, data);
    ASSERT_EQ(e.loaded.size(), 1u);
    EXPECT_EQ(e.loaded[0].load, 0x1000);
    EXPECT_EQ(e.loaded[0].bytes, data);
    EXPECT_EQ(e.read_errors, 0u);
}

TEST(NovaloadScanner, ExactMultipleOfAPieceAndOneByte)
{
    for (const std::size_t size : {std::size_t(1), std::size_t(256), std::size_t(512)}) {
        Bytes tap = new_tap();
        const Bytes data = data_of(size, unsigned(size));
        write_file(tap, 2064, normal_body("X", 0xC000, data), 2000);
        finish(tap);
        const auto scan = scan_nova(tap);
        const auto files = nova_entries(scan);
        ASSERT_EQ(files.size(), 1u) << size;
        EXPECT_TRUE(files[0]->checkbyte_pass) << size;
        EXPECT_EQ(files[0]->payload, data) << size;
        EXPECT_EQ(files[0]->pulse_count, 2064 + 9 + 8 * (8 + (size + 255) / 256 + size + 1) + 2000) << size;
    }
}

TEST(NovaloadScanner, ChecksWithoutTheRunningSumFail)
{
    // Plain sums of each piece (not including what came before) are not
    // Novaload's: the file is not taken as one, or fails.
    Bytes body = normal_body("AB", 0x2000, data_of(600, 9));
    Bytes plain = body;
    // Replace the second check byte (after header + 256 bytes) by the sum of the piece alone.
    const std::size_t second = 1 + 2 + 6 + 1 + 256;
    unsigned s = 0;
    for (std::size_t k = second - 256; k < second; ++k)
        s += plain[k];
    plain[second] = uint8_t(s);
    ASSERT_NE(plain[second], body[second]);
    Bytes tap = new_tap();
    write_file(tap, 2064, plain, 2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_FALSE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->checkbyte_on_tape, plain[second]);
    EXPECT_EQ(files[0]->checkbyte_computed, body[second]);
}

TEST(NovaloadScanner, TrailerRunningIntoTheNextPilotGoesToTheNextFile)
{
    Bytes tap = new_tap();
    const Bytes a = data_of(300, 1), b = data_of(300, 2);
    const Bytes body_a = normal_body("A", 0x0801, a);
    write_file(tap, 2064, body_a, 2000);
    write_file(tap, 2064, normal_body("B", 0x4000, b), 2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    expect_covering(scan);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(scan.entries.size(), 2u);
    EXPECT_EQ(files[0]->pulse_count, 2064 + 9 + 8 * body_a.size());
    EXPECT_EQ(files[1]->first_pulse, files[0]->pulse_count);
    EXPECT_EQ(files[1]->load_address, 0x4000);
    EXPECT_TRUE(files[0]->checkbyte_pass && files[1]->checkbyte_pass);
}

TEST(NovaloadScanner, TrailerWithoutANextFileBelongsToTheFile)
{
    Bytes tap = new_tap();
    const Bytes body = normal_body("A", 0x0801, data_of(10, 1));
    write_file(tap, 2064, body, 1500);
    tap.push_back(0x56);  // a last 1 with nothing after it
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    ASSERT_EQ(scan.entries.size(), 1u);
    EXPECT_EQ(scan.entries[0].pulse_count, 2064 + 9 + 8 * body.size() + 1500 + 1);
}

TEST(NovaloadScanner, SpecialChainWithPagesApart)
{
    const Bytes p10 = data_of(256, 10), p11 = data_of(256, 11), p30 = data_of(256, 30);
    Bytes tap = new_tap();
    write_file(tap, 2064, special_body({{0x10, p10}, {0x11, p11}, {0x30, p30}}), 2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    expect_covering(scan);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    const TapeEntry &e = *files[0];
    EXPECT_EQ(e.type, "NOVALOAD SPECIAL");
    EXPECT_TRUE(e.checkbyte_pass);
    EXPECT_EQ(e.inner_start_pulse, 2064 + 1 + 16);
    EXPECT_EQ(e.inner_end_pulse, e.inner_start_pulse + 8 * (3 * 258 - 1));
    ASSERT_EQ(e.loaded.size(), 2u);
    EXPECT_EQ(e.loaded[0].load, 0x1000);
    Bytes joined = p10;
    joined.insert(joined.end(), p11.begin(), p11.end());
    EXPECT_EQ(e.loaded[0].bytes, joined);
    EXPECT_EQ(e.loaded[1].load, 0x3000);
    EXPECT_EQ(e.loaded[1].bytes, p30);
    EXPECT_FALSE(e.has_addresses);
    EXPECT_EQ(e.payload.size(), 3u * 256);
}

TEST(NovaloadScanner, SpecialChainShowsItsFirstFailingBlock)
{
    Bytes body = special_body({{0x20, data_of(256, 1)}, {0x21, data_of(256, 2)}, {0x22, data_of(256, 3)}});
    const std::size_t second_check = 1 + 258 + 257;
    const uint8_t good = body[second_check];
    body[second_check - 5] = uint8_t(body[second_check - 5] + 0x10);  // a data byte of page $21
    Bytes tap = new_tap();
    write_file(tap, 2064, body, 2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_FALSE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->checkbyte_on_tape, good);
    EXPECT_EQ(files[0]->checkbyte_computed, uint8_t(good + 0x10));
}

TEST(NovaloadScanner, DamagedNameStillFoundButFails)
{
    Bytes body = normal_body("NAME", 0x0801, data_of(900, 4));
    body[2] ^= 0x01;
    Bytes tap = new_tap();
    write_file(tap, 2064, body, 2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_FALSE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->payload.size(), 900u);
}

TEST(NovaloadScanner, FileCutBySilenceKeepsWhatWasReadAndFails)
{
    const Bytes data = data_of(1000, 6);
    const Bytes body = normal_body("CUT", 0x3000, data);
    Bytes tap = new_tap();
    turbo::Writer w(tap, NOVA);
    w.zeros(2064);
    w.bit(1);
    w.byte(0xAA);
    w.bytes(body.data(), 1 + 3 + 6 + 1 + 256 + 1 + 100);
    pause(tap);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    expect_covering(scan);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_FALSE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->payload, Bytes(data.begin(), data.begin() + 356));
    EXPECT_EQ(files[0]->end_address, 0x3000 + 1000);
}

TEST(NovaloadScanner, SpikeInThePilotDoesNotMoveTheThreshold)
{
    const Bytes data = data_of(500, 8);
    Bytes tap = new_tap();
    turbo::Writer w(tap, NOVA);
    w.zeros(1000);
    tap.push_back(220);  // a spike, far off any class
    w.zeros(1000);
    w.bit(1);
    w.byte(0xAA);
    w.bytes(normal_body("S", 0x0801, data));
    w.zeros(2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_TRUE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->payload, data);
    EXPECT_EQ(files[0]->first_pulse, 0u);
}

TEST(NovaloadScanner, CbmLeaderIsNoPilot)
{
    // Short pulses of the CBM ROM ($30) then a long one and $AA read at a
    // threshold scaled from them: not a Novaload pilot.
    Bytes tap = new_tap();
    tap.insert(tap.end(), 3000, 0x30);
    tap.push_back(0x80);
    turbo::Writer w(tap, turbo::Format{666, 0x30, 0x72, turbo::BitOrder::LsbFirst});
    w.byte(0xAA);
    w.bytes(normal_body("A", 0x0801, data_of(10, 1)));
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    EXPECT_TRUE(nova_entries(scan).empty());
}

TEST(NovaloadIdentify, ThresholdAndSyncCompare)
{
    BootFacts facts;
    facts.thresholds = {500};
    facts.compares = {0xAA};
    EXPECT_TRUE(LOADER_NOVALOAD.identify(facts));
    facts.thresholds = {480};
    EXPECT_FALSE(LOADER_NOVALOAD.identify(facts));
    facts.thresholds = {500};
    facts.compares = {0x02};
    EXPECT_FALSE(LOADER_NOVALOAD.identify(facts));
}

TEST(BitPilot, FoundWithItsEndAndCalibration)
{
    Bytes tap = new_tap();
    tap.insert(tap.end(), 600, 0x26);  // 5 % slow
    tap.push_back(0x5A);
    tap.insert(tap.end(), {0x26, 0x5A, 0x26});
    finish(tap);
    const PulseTrack track = read_pulse_track(tap.data(), tap.size());
    turbo::PilotFound found;
    std::size_t retry = 0;
    ASSERT_TRUE(turbo::find_bit_pilot(track, 0, NOVA, 500, found, retry));
    EXPECT_EQ(found.start, 0u);
    EXPECT_EQ(found.end, 601u);
    // The middle of the 0 pulses and the ideal 1 at their speed; at the
    // loader's own threshold, 500 cycles at that speed.
    EXPECT_NEAR(found.threshold, 0x26 * (0x24 + 0x56) / (2.0 * 0x24), 0.01);
    {
        const turbo::LoaderThresholdReading at_loader_threshold;
        ASSERT_TRUE(turbo::find_bit_pilot(track, 0, NOVA, 500, found, retry));
        EXPECT_NEAR(found.threshold, 62.5 * 0x26 / 0x24, 0.01);
    }
    // Too short for 700: retry after the 1 that ended the run.
    EXPECT_FALSE(turbo::find_bit_pilot(track, 0, NOVA, 700, found, retry));
    EXPECT_EQ(retry, 601u);
    // From a 1: retry at the next 0.
    EXPECT_FALSE(turbo::find_bit_pilot(track, 600, NOVA, 1, found, retry));
    EXPECT_EQ(retry, 601u);
}

TEST(BitPilot, StrayOneInsideIsPartOfThePilotAndEveryPulseIsReadOnce)
{
    Bytes tap = new_tap();
    tap.insert(tap.end(), 300, 0x24);
    tap.push_back(0x56);  // stray: many zeros follow
    tap.insert(tap.end(), 300, 0x24);
    tap.push_back(0x56);  // the end
    tap.insert(tap.end(), {0x24, 0x56});
    finish(tap);
    const PulseTrack track = read_pulse_track(tap.data(), tap.size());
    turbo::PilotFound found;
    std::size_t retry = 0;
    ASSERT_TRUE(turbo::find_bit_pilot(track, 0, NOVA, 500, found, retry));
    EXPECT_EQ(found.end, 602u);
    EXPECT_EQ(found.means.zeros, 600u);
    EXPECT_EQ(found.means.ones, 0u);
    // Retries walk the track forward only.
    std::size_t from = 0, calls = 0;
    while (from < track.size()) {
        if (turbo::find_bit_pilot(track, from, NOVA, 1000, found, retry))
            break;
        ASSERT_GT(retry, from);
        from = retry;
        ++calls;
    }
    EXPECT_LE(calls, 4u);
}

TEST(NovaloadScanner, StrayOneJustBeforeTheSync)
{
    const Bytes data = data_of(300, 12);
    Bytes tap = new_tap();
    turbo::Writer w(tap, NOVA);
    w.zeros(2000);
    w.bit(1);  // noise, 5 pulses before the pilot's end
    w.zeros(5);
    w.bit(1);
    w.byte(0xAA);
    w.bytes(normal_body("S", 0x0801, data));
    w.zeros(2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    ASSERT_EQ(scan.entries.size(), 1u);
    EXPECT_TRUE(scan.entries[0].checkbyte_pass);
    EXPECT_EQ(scan.entries[0].inner_start_pulse, 2000u + 1 + 5 + 1 + 8);
    EXPECT_EQ(scan.entries[0].payload, data);
}

TEST(NovaloadScanner, LongTrailerStaysWholeAndJunkAfterItIsBounded)
{
    const Bytes body = normal_body("T", 0x0801, data_of(50, 3));
    const std::size_t file = 2064 + 9 + 8 * body.size();
    Bytes tap = new_tap();
    write_file(tap, 2064, body, 10000);
    pause(tap);
    write_file(tap, 2064, body, 100);
    tap.insert(tap.end(), 6000, 0x56);  // not a trailer: only part of it joins the file
    const std::size_t second_start = file + 10000 + 1;
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    expect_covering(scan);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]->pulse_count, file + 10000);
    EXPECT_EQ(files[1]->first_pulse, second_start);
    EXPECT_EQ(files[1]->pulse_count, file + 4096);
    EXPECT_EQ(scan.entries.back().kind, EntryKind::Unrecognized);
}

TEST(NovaloadScanner, SingleBlockSpecialWithADamagedByteIsStillFound)
{
    Bytes body = special_body({{0x80, data_of(256, 21)}});
    body[10] = uint8_t(body[10] + 1);
    Bytes tap = new_tap();
    write_file(tap, 2064, body, 2000);
    finish(tap);
    const TapeScan scan = scan_nova(tap);
    const auto files = nova_entries(scan);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]->type, "NOVALOAD SPECIAL");
    EXPECT_FALSE(files[0]->checkbyte_pass);
    EXPECT_EQ(files[0]->checkbyte_computed, uint8_t(files[0]->checkbyte_on_tape + 1));
}
