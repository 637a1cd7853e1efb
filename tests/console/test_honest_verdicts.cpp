// What the console says of a tape is what it verified: no PASS where no
// checksum was checked, the share of the tape it recognised, a batch that
// counts a tape as passed only when something on it was checked and nothing
// failed, nameless programs named by format and load address, and a
// damaged CBM program put together from the bytes each copy read.
#include "console_support.h"

#include "common/tape_deck.h"
#include "core/cbmencode.h"
#include "core/cbmscan.h"
#include "core/loaders/all.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <cstdio>

namespace {

// Noise: pulses of every length, nothing any scanner reads.
Bytes noise_tape()
{
    Bytes tap = tap_file_header(1, false, false, 0);
    uint32_t x = 17;
    for (int k = 0; k < 50000; ++k) {
        x = x * 1103515245u + 12345u;
        tap.push_back(uint8_t(0x08 + (x >> 16) % 0xA0));
    }
    tap_fix_data_size(tap);
    return tap;
}

// A tape holding nothing but one Ocean chain (its boot file cut away).
Bytes ocean_chain_only(const Bytes &prg)
{
    PrgInput in;
    in.name = "";
    in.bytes = prg;
    std::string error;
    const Bytes whole = LOADER_OCEAN.encode({in}, turbo::TapeOptions(), error);
    EXPECT_EQ(error, "");
    const TapeScan scan = scan_tape(whole.data(), whole.size());
    for (const TapeEntry &e : scan.entries)
        if (e.type == OCEAN_TYPE) {
            Bytes tap = tap_file_header(1, false, false, 0);
            tap.insert(tap.end(), whole.begin() + long(e.start), whole.begin() + long(e.end + 1));
            tap_fix_data_size(tap);
            return tap;
        }
    ADD_FAILURE() << "no chain";
    return {};
}

double percent_of(const std::string &value)
{
    double v = -1;
    std::sscanf(value.c_str(), "%lf", &v);
    return v;
}

class HonestVerdicts : public ConsoleTest {};

} // namespace

TEST_F(HonestVerdicts, NothingRecognisedIsNoPassAndZeroPercent)
{
    const std::string tape = path("noise 'only'.tap");
    write_bytes(tape, noise_tape());
    ASSERT_EQ(run({"-t", tape}).status, 0);
    const std::string text = report();
    EXPECT_EQ(report_value(text, "Checksum test     : "), "FAIL - no file with a checksum was found") << text;
    EXPECT_EQ(report_value(text, "Recognised  : "), "0.0 % of the tape in recognised files");
    expect_consistent_report(report_path(), tape);
    EXPECT_FALSE(parsed().totals.checksum_test_passed);
}

TEST_F(HonestVerdicts, OnlyAFormatWithoutAChecksumIsNoPassEither)
{
    const std::string tape = path("chain.tap");
    write_bytes(tape, ocean_chain_only(make_prg(0x0400, 3072, 1)));
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    const std::string text = report();
    EXPECT_EQ(report_value(text, "Checksum test     : "), "FAIL - no file with a checksum was found") << text;
    EXPECT_GT(percent_of(report_value(text, "Recognised  : ")), 95.0);
    // Its nameless pages are named by their format and load address.
    EXPECT_EQ(prg_files(), (std::vector<std::string>{"001-OCEAN-0400.prg"}));
    EXPECT_EQ(read_bytes(bin + "/prg/001-OCEAN-0400.prg"), make_prg(0x0400, 3072, 1));
}

TEST_F(HonestVerdicts, TheRecognisedShareCountsTheFilesBytes)
{
    const std::string tape = mktap("two.tap", {{"ONE", make_prg(0x0801, 500, 2)}, {"TWO", make_prg(0x0801, 800, 3)}});
    // Noise after the programs: a known share of the tape is unrecognised.
    Bytes bytes = read_bytes(tape);
    const Bytes noise = noise_tape();
    bytes.insert(bytes.end(), noise.begin() + 20, noise.end());
    tap_fix_data_size(bytes);
    write_bytes(tape, bytes);
    ASSERT_EQ(run({"-t", tape}).status, 0);
    const std::string text = report();
    const ParsedReport r = parsed();
    long long in_files = 0;
    for (const ReportEntry &e : r.entries)
        if (e.type != "PAUSE" && e.type != "UNRECOGNIZED")
            in_files += e.end + 1 - e.start;
    const double expected = 100.0 * double(in_files) / double(bytes.size() - 20);
    EXPECT_NEAR(percent_of(report_value(text, "Recognised  : ")), expected, 0.05) << text;
    EXPECT_EQ(report_value(text, "Checksum test     : "), "PASS - 8 of 8 checksummed files OK");
}

TEST_F(HonestVerdicts, ABatchPassesOnlyTapesWithACheckedFileAndNoFailure)
{
    const std::string folder = path("batch");
    ASSERT_EQ(g_mkdir(folder.c_str(), 0700), 0);
    const std::string good = mktap("batch/good.tap", {{"GOOD", make_prg(0x0801, 200, 4)}});
    write_bytes(folder + "/noise.tap", noise_tape());
    write_bytes(folder + "/unchecked.tap", ocean_chain_only(make_prg(0x0400, 1000, 5)));
    ASSERT_EQ(run({"-b", folder}).status, 0);
    const std::string text = read_text(batch_path());
    EXPECT_NE(text.find("Tapes       : 3 found, 1 passed both tests, 2 with errors, 0 not scanned\n"),
              std::string::npos)
        << text;
    const std::vector<std::string> shares = report_values(text, "    Recognised    : ");
    ASSERT_EQ(shares.size(), 3u);
    EXPECT_GT(percent_of(shares[0]), 90.0);   // good.tap
    EXPECT_EQ(shares[1], "0.0 % of the tape in recognised files");  // noise.tap
    EXPECT_GT(percent_of(shares[2]), 90.0);   // unchecked.tap: read, but nothing checked
    EXPECT_EQ(report_values(text, "    Checksum test : ")[2], "FAIL - no file with a checksum was found");
}

TEST_F(HonestVerdicts, AProgramWhoseCopiesLostOtherBytesInDropoutsIsPutTogether)
{
    for (const bool vic20 : {false, true}) {
        SCOPED_TRACE(vic20 ? "VIC 20" : "C64");
        const Bytes prg = make_prg(0x1001, 16000, vic20 ? 7 : 6);
        EncodeOptions options;
        options.vic20 = vic20;
        PrgInput in;
        in.name = "ONLY COPY";
        in.bytes = prg;
        const Bytes clean = encode_tap({in}, options);
        const double clock = machine_clock_hz(vic20, false);
        // The data copies' payloads start after the header pair and the pause.
        const TapeScan clean_scan = scan_tape(clean.data(), clean.size());
        double first = 0, repeat = 0;
        for (const TapeEntry &e : clean_scan.entries)
            if (e.type == CBM_TYPE_DATA)
                (e.copy == CopyId::First ? first : repeat) =
                    tape_deck::seconds_at_pulse(clean, e.inner_start_pulse, clock);
        tape_deck::Deck deck;
        deck.drift = 0.04;
        deck.wow = 0.03;
        deck.jitter = 3;
        const double payload_seconds = 16000 * (vic20 ? 0.0086 : 0.0096);
        deck.dropouts = {{first + 0.25 * payload_seconds, 0.3, false},
                         {first + 0.8 * payload_seconds, 0.02, true},
                         {repeat + 0.5 * payload_seconds, 0.5, true}};
        const std::string tape = path(vic20 ? "vic 20 worn.tap" : "c64 worn.tap");
        write_bytes(tape, tape_deck::play(clean, deck, clock));
        const std::string hash = sha256_of_file(tape);
        ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
        const std::string text = report();
        // Both copies fail and say what they lost; the program is whole.
        EXPECT_EQ(report_value(text, "Checksum test     : "), "FAIL - 2 of 4 checksummed files OK") << text;
        EXPECT_EQ(report_values(text, "Note: ").size() >= 3, true) << text;
        EXPECT_NE(text.find("bytes lost in 2 dropouts"), std::string::npos) << text;
        EXPECT_NE(text.find("bytes lost in 1 dropout "), std::string::npos) << text;
        EXPECT_NE(text.find("was put together from both copies"), std::string::npos) << text;
        ASSERT_EQ(prg_files().size(), 1u);
        const std::string name = prg_files()[0];
        EXPECT_EQ(name.substr(3), "-ONLY COPY.prg");
        EXPECT_EQ(read_bytes(bin + "/prg/" + prg_files()[0]), prg);
        EXPECT_EQ(sha256_of_file(tape), hash);
        expect_consistent_report(report_path(), tape);
    }
}

TEST_F(HonestVerdicts, CopiesLostAtTheSamePlaceStayBad)
{
    const Bytes prg = make_prg(0x0801, 4000, 8);
    PrgInput in;
    in.name = "TWICE LOST";
    in.bytes = prg;
    const Bytes clean = encode_tap({in}, EncodeOptions());
    const double clock = machine_clock_hz(false, false);
    const TapeScan clean_scan = scan_tape(clean.data(), clean.size());
    tape_deck::Deck deck;
    for (const TapeEntry &e : clean_scan.entries)
        if (e.type == CBM_TYPE_DATA)
            deck.dropouts.push_back(
                {tape_deck::seconds_at_pulse(clean, e.inner_start_pulse + 2000 * CBM_PULSES_PER_BYTE, clock), 0.1, false});
    const std::string tape = path("twice.tap");
    write_bytes(tape, tape_deck::play(clean, deck, clock));
    ASSERT_EQ(run({"-doprg", "-t", tape}).status, 0);
    ASSERT_EQ(prg_files().size(), 1u);
    EXPECT_EQ(prg_files()[0].substr(3), "-TWICE LOST (bad).prg");
}
