// The tape as SAVE lays it out, checked on the bytes of tapes made by mktap
// against a layout built here pulse by pulse, and the report's locations of
// every copy as numbers worked out from that layout.
#include "console_support.h"

#include <cstdio>

namespace {

constexpr uint8_t S = 0x30, M = 0x42, L = 0x56;  // C64 ideal pulses

constexpr std::size_t HEADER_LEADER = 27136, DATA_LEADER = 5376, GAP = 79, TRAILER = 78;

// The cycles of the pause between a header and its data.
constexpr uint32_t HEADER_DATA_PAUSE = 328088;

// --- The layout, written out independently of the encoder ------------------

void pulses(Bytes &t, uint8_t value, std::size_t count) { t.insert(t.end(), count, value); }

// New-data marker, 8 bits least significant first (0 = S M, 1 = M S), odd parity bit.
void byte(Bytes &t, uint8_t v)
{
    t.push_back(L);
    t.push_back(M);
    int ones = 0;
    for (int b = 0; b < 8; ++b) {
        const bool one = (v >> b) & 1;
        ones += one;
        t.push_back(one ? M : S);
        t.push_back(one ? S : M);
    }
    const bool parity = (ones & 1) == 0;
    t.push_back(parity ? M : S);
    t.push_back(parity ? S : M);
}

// Countdown, payload, checkbyte, end-of-data marker (no leader).
void block(Bytes &t, const Bytes &payload, bool repeat)
{
    for (int i = 0; i < 9; ++i)
        byte(t, uint8_t((repeat ? 0x09 : 0x89) - i));
    uint8_t x = 0;
    for (uint8_t b : payload) {
        byte(t, b);
        x ^= b;
    }
    byte(t, x);
    t.push_back(L);
    t.push_back(S);
}

Bytes header_payload(const std::string &name, const Bytes &prg)
{
    const unsigned load = prg[0] | (prg[1] << 8);
    const unsigned end = (load + unsigned(prg.size()) - 2) & 0xFFFF;
    Bytes h(192, 0x20);
    h[0] = 1;
    h[1] = uint8_t(load & 0xFF);
    h[2] = uint8_t(load >> 8);
    h[3] = uint8_t(end & 0xFF);
    h[4] = uint8_t(end >> 8);
    for (std::size_t i = 0; i < name.size() && i < 16; ++i)
        h[5 + i] = uint8_t(name[i]);
    return h;
}

// Silence of `cycles`: version 1 one long pulse (0, then 24 bits little-endian),
// version 0 zero bytes of 20000 cycles each, rounded to nearest.
void pause(Bytes &t, uint32_t cycles, int version)
{
    if (version == 0) {
        pulses(t, 0, (cycles + 10000) / 20000);
        return;
    }
    t.insert(t.end(), {0, uint8_t(cycles & 0xFF), uint8_t((cycles >> 8) & 0xFF), uint8_t(cycles >> 16)});
}

// One program as SAVE writes it.
void program(Bytes &t, const std::string &name, const Bytes &prg, int version)
{
    const Bytes header = header_payload(name, prg);
    const Bytes data(prg.begin() + 2, prg.end());
    pulses(t, S, HEADER_LEADER);
    block(t, header, false);
    pulses(t, S, GAP);
    block(t, header, true);
    pulses(t, S, TRAILER);
    pause(t, HEADER_DATA_PAUSE, version);
    pulses(t, S, DATA_LEADER);
    block(t, data, false);
    pulses(t, S, GAP);
    block(t, data, true);
    pulses(t, S, TRAILER);
}

Bytes tap_header(int version, uint32_t data_size)
{
    Bytes h = {'C', '6', '4', '-', 'T', 'A', 'P', 'E', '-', 'R', 'A', 'W', uint8_t(version), 0, 0, 0};
    for (int i = 0; i < 4; ++i)
        h.push_back(uint8_t(data_size >> (8 * i)));
    return h;
}

// --- Locations ----------------------------------------------------------------

struct Location {
    uint64_t start, inner_start, inner_end, end;
};

std::string location_text(const Location &l)
{
    char text[96];
    std::snprintf(text, sizeof text, "$%04llX -> $%04llX -> $%04llX -> $%04llX", (unsigned long long)l.start,
                  (unsigned long long)l.inner_start, (unsigned long long)l.inner_end, (unsigned long long)l.end);
    return text;
}

// The locations of one program's entries starting at `pos`; *pos moves past them.
// A copy's inner start is its first payload byte (after the leader and the
// nine countdown bytes); its inner end the checkbyte's first pulse; a FIRST
// copy ends with the end-of-data marker, a REPEAT copy with its trailer, so the
// gap before a REPEAT copy is its own leader.
std::vector<Location> program_locations(uint64_t *pos, std::size_t data_size, uint64_t pause_bytes)
{
    std::vector<Location> v;
    const auto copy = [&](std::size_t leader, std::size_t payload, bool repeat) {
        Location l;
        l.start = *pos;
        l.inner_start = l.start + leader + 9 * 20;
        l.inner_end = l.inner_start + 20 * payload;
        l.end = l.inner_end + 21 + (repeat ? 78 : 0);
        *pos = l.end + 1;
        v.push_back(l);
    };
    copy(HEADER_LEADER, 192, false);
    copy(GAP, 192, true);
    v.push_back(Location{*pos, *pos, *pos + pause_bytes - 1, *pos + pause_bytes - 1});
    *pos += pause_bytes;
    copy(DATA_LEADER, data_size, false);
    copy(GAP, data_size, true);
    return v;
}

// The value of the CBM byte whose first pulse is at `at`.
int byte_at(const Bytes &t, uint64_t at)
{
    if (t[at] != L || t[at + 1] != M)
        return -1;
    int v = 0;
    for (int b = 0; b < 8; ++b)
        v |= (t[at + 2 + 2 * b] == M ? 1 : 0) << b;
    return v;
}

} // namespace

TEST_F(ConsoleTest, MktapWritesWhatSaveWritesVersionOne)
{
    const Bytes a = make_prg(0x0801, 300, 1), b = make_prg(0xC000, 77, 2);
    const std::string tape = mktap("save v1.tap", {{"ALPHA", a}, {"BETA", b}}, {"--v1"});
    Bytes expected;
    program(expected, "ALPHA", a, 1);
    pause(expected, 2 * 985248, 1);  // mktap's default two seconds between programs
    program(expected, "BETA", b, 1);
    Bytes file = tap_header(1, uint32_t(expected.size()));
    file.insert(file.end(), expected.begin(), expected.end());
    const Bytes made = read_bytes(tape);
    ASSERT_EQ(made.size(), file.size());
    EXPECT_TRUE(made == file);

    // The numbers themselves, read off the file.
    std::size_t leader = 0;
    while (made[20 + leader] == S)
        ++leader;
    EXPECT_EQ(leader, 27136u);
    // Header FIRST ends at 20 + 27136 + 20 x (9 + 192 + 1) + 2; then 79 S and the REPEAT countdown.
    const std::size_t first_end = 20 + 27136 + 20 * 202 + 2;
    EXPECT_EQ(made[first_end - 2], L);
    EXPECT_EQ(made[first_end - 1], S);
    for (std::size_t i = 0; i < 79; ++i)
        EXPECT_EQ(made[first_end + i], S) << i;
    EXPECT_EQ(byte_at(made, first_end + 79), 0x09);
    // The REPEAT copy, 78 S, then the pause: a zero byte and 328088 = $050198 little-endian.
    const std::size_t trailer = first_end + 79 + 20 * 202 + 2;
    for (std::size_t i = 0; i < 78; ++i)
        EXPECT_EQ(made[trailer + i], S) << i;
    const std::size_t pause_at = trailer + 78;
    EXPECT_EQ(Bytes(made.begin() + long(pause_at), made.begin() + long(pause_at) + 4), (Bytes{0x00, 0x98, 0x01, 0x05}));
    leader = 0;
    while (made[pause_at + 4 + leader] == S)
        ++leader;
    EXPECT_EQ(leader, 5376u);
    EXPECT_EQ(byte_at(made, pause_at + 4 + 5376), 0x89);
}

TEST_F(ConsoleTest, MktapWritesWhatSaveWritesVersionZero)
{
    const Bytes a = make_prg(0x0801, 120, 3), b = make_prg(0x1000, 20, 4);
    const std::string tape = mktap("save v0.tap", {{"V0", a}, {"NEXT", b}}, {"--v0"});
    Bytes expected;
    program(expected, "V0", a, 0);
    pause(expected, 2 * 985248, 0);
    program(expected, "NEXT", b, 0);
    Bytes file = tap_header(0, uint32_t(expected.size()));
    file.insert(file.end(), expected.begin(), expected.end());
    const Bytes made = read_bytes(tape);
    ASSERT_EQ(made.size(), file.size());
    EXPECT_TRUE(made == file);
    // Version 0: the pause of 328088 cycles is 16 zero bytes of 20000 cycles each.
    const std::size_t pause_at = 20 + 27136 + 20 * 202 + 2 + 79 + 20 * 202 + 2 + 78;
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(made[pause_at + i], 0) << i;
    EXPECT_EQ(made[pause_at - 1], S);
    EXPECT_EQ(made[pause_at + 16], S);
}

TEST_F(ConsoleTest, LocationsOfCopiesAreTheBytesTheyOwn)
{
    const Bytes prg = make_prg(0x0801, 527, 5);
    const std::string tape = mktap("where.tap", {{"GAME", prg}}, {"--v1"});
    const Bytes t = read_bytes(tape);
    ASSERT_EQ(run({"-t", tape}).status, 0);
    expect_consistent_report(report_path(), tape);

    uint64_t pos = 20;
    const std::vector<Location> want = program_locations(&pos, 527, 4);
    EXPECT_EQ(pos, t.size());
    const std::vector<std::string> got = report_values(report(), "Location: ");
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i)
        EXPECT_EQ(got[i], location_text(want[i])) << "entry " << i + 1;
    // Spelt out for the header: inner start 20 + 27136 + 9 x 20 = $6AC8, inner
    // end + 192 x 20, end + 21; the REPEAT from the next byte, 79 + 180 pulses
    // to its payload, 21 + 78 after its inner end; then the 4-byte pause.
    EXPECT_EQ(got[0], "$0014 -> $6AC8 -> $79C8 -> $79DD");
    EXPECT_EQ(got[1], "$79DE -> $7AE1 -> $89E1 -> $8A44");
    EXPECT_EQ(got[2], "$8A45 -> $8A45 -> $8A48 -> $8A48");

    // What the bytes at those offsets are.
    for (std::size_t i : {0u, 1u, 3u, 4u}) {
        const Location &l = want[i];
        const bool repeat = i == 1 || i == 4;
        SCOPED_TRACE("entry " + std::to_string(i + 1));
        EXPECT_EQ(t[l.start], S);
        EXPECT_EQ(byte_at(t, l.inner_start - 20), repeat ? 0x01 : 0x81);  // last countdown byte
        EXPECT_NE(byte_at(t, l.inner_start), -1);                         // first payload byte
        EXPECT_NE(byte_at(t, l.inner_end), -1);                           // the checkbyte
        const uint64_t marker = l.inner_end + 20;
        EXPECT_EQ(t[marker], L);
        EXPECT_EQ(t[marker + 1], S);
        EXPECT_EQ(l.end, marker + 1 + (repeat ? 78 : 0));
        EXPECT_EQ(t[l.end], S);
        if (repeat) {
            EXPECT_EQ(l.start, want[i - 1].end + 1);  // the 79-pulse gap
        }
    }
    // The repair the locations promise: (inner end - inner start + 20) bytes
    // from inner start, then L and S, then 78 S for a REPEAT, make the copy.
    const Location &r = want[4];
    Bytes rebuilt(t.begin() + long(r.inner_start), t.begin() + long(r.inner_end + 20));
    rebuilt.insert(rebuilt.end(), {L, S});
    rebuilt.insert(rebuilt.end(), 78, S);
    EXPECT_TRUE(rebuilt == Bytes(t.begin() + long(r.inner_start), t.begin() + long(r.end + 1)));
}

TEST_F(ConsoleTest, PausesAndUnrecognizedStretchesHaveInnerEqualToOuter)
{
    const std::string clean = mktap("two.tap", {{"ONE", make_prg(0x0801, 60, 6)}, {"TWO", make_prg(0x0801, 30, 7)}},
                                    {"--v1"});
    const std::string tape = path("noisy.tap");
    ASSERT_EQ(run_program(QM_SAMPLETOOL, {"noise", clean, tape}).status, 0);
    ASSERT_EQ(run({"-t", tape}).status, 0);
    expect_consistent_report(report_path(), tape);
    const Bytes t = read_bytes(tape);

    // Program one, 2000 pulses of noise, the pause between programs, program two.
    uint64_t pos = 20;
    std::vector<Location> want = program_locations(&pos, 60, 4);
    want.push_back(Location{pos, pos, pos + 1999, pos + 1999});
    pos += 2000;
    want.push_back(Location{pos, pos, pos + 3, pos + 3});
    pos += 4;
    const std::vector<Location> two = program_locations(&pos, 30, 4);
    want.insert(want.end(), two.begin(), two.end());
    EXPECT_EQ(pos, t.size());

    const std::string text = report();
    const std::vector<std::string> types = report_values(text, "File Type: ");
    const std::vector<std::string> got = report_values(text, "Location: ");
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i)
        EXPECT_EQ(got[i], location_text(want[i])) << "entry " << i + 1;
    EXPECT_EQ(types[5], "UNRECOGNIZED");
    EXPECT_EQ(types[6], "PAUSE");
}

TEST_F(ConsoleTest, CheckbyteActualIsWhatWasReadAndExpectedIsOnTheTape)
{
    const Bytes prg = make_prg(0x0801, 90, 8);
    Bytes t = read_bytes(mktap("cb.tap", {{"CB", prg}}, {"--v1"}));
    uint64_t pos = 20;
    const std::vector<Location> l = program_locations(&pos, 90, 4);
    // Bit 0 of payload byte 3 of the data FIRST copy turned over (its two pulses swapped).
    const uint64_t bit = l[3].inner_start + 3 * 20 + 2;
    std::swap(t[bit], t[bit + 1]);
    const std::string damaged = path("cb damaged.tap");
    write_bytes(damaged, t);
    ASSERT_EQ(run({"-t", damaged}).status, 0);
    expect_consistent_report(report_path(), damaged);

    uint8_t on_tape = 0;
    for (std::size_t i = 2; i < prg.size(); ++i)
        on_tape ^= prg[i];
    const uint8_t read = uint8_t(on_tape ^ 0x01);
    char fail[32], pass[32];
    std::snprintf(fail, sizeof fail, "$%02X/$%02X, FAIL", read, on_tape);
    std::snprintf(pass, sizeof pass, "$%02X/$%02X, PASS", on_tape, on_tape);
    const std::vector<std::string> cb = report_values(report(), "Checkbyte Actual/Expected: ");
    ASSERT_EQ(cb.size(), 4u);
    EXPECT_EQ(cb[2], fail);
    EXPECT_EQ(cb[3], pass);
}
