// Damaged CBM ROM files read through: tapes played by a model of a tape
// deck (a 4 % drift across the tape, +/- 3 % wow, +/- 3 units of jitter,
// dropouts of 10 to 500 ms as silence or noise) stay one entry per copy; the
// bytes read before and after a dropout are where they belong in the
// payload, the bytes lost are counted and failed, and the classes follow
// the tape's speed through long programs on the C64 and the VIC 20.
#include "core/cbmscan.h"

#include "common/tape_deck.h"
#include "core/cbmencode.h"
#include "core/tapescan.h"
#include "loader_testing.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using loader_testing::Bytes;

PrgInput program(uint16_t load, std::size_t size, uint32_t seed)
{
    return loader_testing::program("LONG GAME", load, size, seed);
}

struct Played {
    Bytes tap;
    TapeScan scan;
    std::vector<const TapeEntry *> data;  // the data copies, FIRST then REPEAT
};

// Where the payload byte `k` of the data copy (FIRST or REPEAT) starts on
// the clean tape, in seconds.
double seconds_of_data_byte(const Bytes &clean, const TapeScan &clean_scan, bool repeat, std::size_t k,
                            double clock)
{
    for (const TapeEntry &e : clean_scan.entries)
        if (e.type == CBM_TYPE_DATA && (e.copy == CopyId::Repeat) == repeat)
            return tape_deck::seconds_at_pulse(clean, e.inner_start_pulse + k * CBM_PULSES_PER_BYTE, clock);
    ADD_FAILURE() << "no data copy";
    return 0;
}

struct Damage {
    double first_at = 0.5, first_ms = 0;   // where in the FIRST copy (share of its payload) and how long
    double repeat_at = 0.5, repeat_ms = 0;
    bool noise = false;
};

Played play(const PrgInput &prg, const Damage &damage, bool vic20, uint32_t seed = 3)
{
    EncodeOptions options;
    options.vic20 = vic20;
    const Bytes clean = encode_tap({prg}, options);
    const TapeScan clean_scan = scan_tape(clean.data(), clean.size());
    const double clock = machine_clock_hz(vic20, false);
    const std::size_t size = prg.bytes.size() - 2;
    tape_deck::Deck deck;
    deck.drift = 0.04;
    deck.wow = 0.03;
    deck.jitter = 3;
    deck.seed = seed;
    if (damage.first_ms > 0)
        deck.dropouts.push_back({seconds_of_data_byte(clean, clean_scan, false, std::size_t(damage.first_at * size), clock),
                                 damage.first_ms / 1000, damage.noise});
    if (damage.repeat_ms > 0)
        deck.dropouts.push_back({seconds_of_data_byte(clean, clean_scan, true, std::size_t(damage.repeat_at * size), clock),
                                 damage.repeat_ms / 1000, damage.noise});
    Played p;
    p.tap = tape_deck::play(clean, deck, clock);
    p.scan = scan_tape(p.tap.data(), p.tap.size());
    for (const TapeEntry &e : p.scan.entries)
        if (e.type == CBM_TYPE_DATA)
            p.data.push_back(&e);
    return p;
}

// The payload equals the program's bytes everywhere but where it lost bytes.
void expect_payload_matches(const TapeEntry &e, const Bytes &data)
{
    ASSERT_EQ(e.payload.size(), data.size());
    std::vector<bool> lost(data.size() + 1, false);
    for (const auto &run : e.lost_bytes)
        for (std::size_t k = run.first; k < run.first + run.second; ++k)
            lost[k] = true;
    std::size_t wrong = 0;
    for (std::size_t k = 0; k < data.size(); ++k)
        wrong += !lost[k] && e.payload[k] != data[k];
    EXPECT_EQ(wrong, 0u);
}

std::size_t lost_count(const TapeEntry &e)
{
    std::size_t n = 0;
    for (const auto &run : e.lost_bytes)
        n += run.second;
    return n;
}

} // namespace

TEST(CbmDropouts, ADeckOfDriftWowAndJitterAloneReadsEveryByte)
{
    for (const bool vic20 : {false, true}) {
        SCOPED_TRACE(vic20 ? "VIC 20" : "C64");
        const PrgInput prg = program(0x1001, 30000, 1);
        const Played p = play(prg, Damage{}, vic20);
        ASSERT_EQ(p.data.size(), 2u);
        for (const TapeEntry *e : p.data) {
            EXPECT_TRUE(e->checkbyte_pass);
            EXPECT_TRUE(e->lost_bytes.empty());
            EXPECT_EQ(e->payload, Bytes(prg.bytes.begin() + 2, prg.bytes.end()));
        }
    }
}

TEST(CbmDropouts, EachCopyStaysOneEntryWithItsBytesInPlace)
{
    struct Case {
        double first_ms, repeat_ms;
        bool noise;
    };
    for (const bool vic20 : {false, true})
        for (const Case c : {Case{10, 60, false}, Case{120, 500, false}, Case{500, 250, true}, Case{35, 10, true}}) {
            SCOPED_TRACE(std::string(vic20 ? "VIC 20 " : "C64 ") + std::to_string(c.first_ms) + " ms / " +
                         std::to_string(c.repeat_ms) + " ms" + (c.noise ? " noise" : " silence"));
            const PrgInput prg = program(0x1001, 20000, 2);
            const Bytes data(prg.bytes.begin() + 2, prg.bytes.end());
            Damage d;
            d.first_at = 0.3;
            d.first_ms = c.first_ms;
            d.repeat_at = 0.7;
            d.repeat_ms = c.repeat_ms;
            d.noise = c.noise;
            const Played p = play(prg, d, vic20);
            ASSERT_EQ(p.data.size(), 2u);
            for (const TapeEntry *e : p.data) {
                EXPECT_FALSE(e->checkbyte_pass);
                ASSERT_EQ(e->lost_bytes.size(), 1u);
                expect_payload_matches(*e, data);
                // A byte is about 9.6 ms on a C64 (8.6 on a VIC 20): the bytes lost
                // are those the dropout's time held, and they count as read errors.
                const double ms = e->copy == CopyId::First ? c.first_ms : c.repeat_ms;
                EXPECT_NEAR(double(lost_count(*e)), ms / (vic20 ? 8.6 : 9.6), ms / 40 + 2);
                EXPECT_GE(e->read_errors, lost_count(*e) * CBM_PULSES_PER_BYTE);
            }
            // Where the dropouts were: 30 % and 70 % into the payload.
            EXPECT_NEAR(double(p.data[0]->lost_bytes[0].first), 0.3 * 20000, 3);
            EXPECT_NEAR(double(p.data[1]->lost_bytes[0].first), 0.7 * 20000, 3);
            // Nothing of either copy is left unrecognised: the header pair, the
            // data pair, pauses.
            for (const TapeEntry &e : p.scan.entries)
                EXPECT_NE(e.kind, EntryKind::Unrecognized) << e.start;
        }
}

TEST(CbmDropouts, ADropoutOverTheLastBytesKeepsTheCopyWithItsTailLost)
{
    const PrgInput prg = program(0x0801, 5000, 4);
    const Bytes data(prg.bytes.begin() + 2, prg.bytes.end());
    Damage d;
    d.first_at = 0.997;  // the last 15 bytes, the checkbyte, the end marker and part of the gap
    d.first_ms = 160;
    const Played p = play(prg, d, false);
    ASSERT_EQ(p.data.size(), 2u);
    const TapeEntry &first = *p.data[0];
    EXPECT_FALSE(first.checkbyte_pass);
    expect_payload_matches(first, data);
    ASSERT_EQ(first.lost_bytes.size(), 1u);
    EXPECT_EQ(first.lost_bytes[0].first + first.lost_bytes[0].second, data.size() + 1);  // the checkbyte too
    EXPECT_TRUE(p.data[1]->checkbyte_pass);
    EXPECT_EQ(p.data[1]->payload, data);
}

TEST(CbmDropouts, TheReportedPulseClassesLeaveDebrisAsItWas)
{
    const PrgInput prg = program(0x0801, 3000, 5);
    Damage d;
    d.first_ms = 50;
    d.noise = true;
    const Played p = play(prg, d, false);
    ASSERT_EQ(p.data.size(), 2u);
    const TapeEntry &first = *p.data[0];
    std::size_t unclassed = 0;
    for (std::size_t q = first.inner_start_pulse; q < first.inner_end_pulse; ++q)
        unclassed += p.scan.pulse_class(q) == PulseClass::None;
    EXPECT_GT(unclassed, 0u);
    EXPECT_LT(unclassed, 20 * lost_count(first) + 200);
}
