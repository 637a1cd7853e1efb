// Sound-card captures to TAP files: the console's own recordings (square and
// sine waves, WAV and AU) and captures spoilt the way real tapes and sound
// cards spoil them - noise, a worn tape's lost treble, a DC offset, a
// wobbling level, swapped polarity, other rates, depths and channels - go
// through "quillmarfe-cli audio2tap" and the imported tape must test clean.
// The spoilt captures come from a model of a tape deck of their own, not from
// the console's recorder, and every pulse is compared with its source: within
// a unit where the capture has no hiss, and hiss may move only a few.
#include "console_support.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>

namespace {

struct Capture {
    int rate = 0;
    std::vector<float> samples; // mono
};

Capture read_capture(const std::string &path)
{
    SF_INFO info{};
    SNDFILE *f = sf_open(path.c_str(), SFM_READ, &info);
    Capture c;
    if (f == nullptr)
        return c;
    c.rate = info.samplerate;
    std::vector<float> frames(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_float(f, frames.data(), info.frames);
    sf_close(f);
    for (sf_count_t i = 0; i < info.frames; ++i)
        c.samples.push_back(frames[static_cast<std::size_t>(i * info.channels)]);
    return c;
}

// Writes channels (interleaved on the way) in the given libsndfile format.
void write_capture(const std::string &path, const std::vector<std::vector<float>> &channels, int rate, int format)
{
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = static_cast<int>(channels.size());
    info.format = format;
    SNDFILE *f = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr) << sf_strerror(nullptr);
    std::vector<float> frames;
    for (std::size_t i = 0; i < channels[0].size(); ++i)
        for (const std::vector<float> &ch : channels)
            frames.push_back(ch[i]);
    sf_writef_float(f, frames.data(), static_cast<sf_count_t>(channels[0].size()));
    sf_close(f);
}

// A tape deck playing the tape into a sound card, modelled apart from the
// console's recorder: every pulse of the TAP file (C64 PAL clock) is a
// square wave with its edges at their exact times, and silences are silent;
// the head and amplifier round it like an RC low-pass of the given cutoff,
// worked out exactly between edges; the card takes the level at each of its
// sample instants.
std::vector<float> play_tape(const Bytes &tap, int rate, double cutoff_hz)
{
    struct Piece {
        double seconds;
        float level;
    };
    std::vector<Piece> pieces;
    constexpr double clock = 985248;
    for (std::size_t i = 20; i < tap.size();) {
        if (tap[i] == 0 && i + 3 < tap.size()) {
            const uint32_t cycles = tap[i + 1] | (tap[i + 2] << 8) | (tap[i + 3] << 16);
            pieces.push_back({cycles / clock, 0.0f});
            i += 4;
        } else {
            const double half = tap[i++] * 4 / clock;
            pieces.push_back({half, 1.0f});
            pieces.push_back({half, -1.0f});
        }
    }
    const double tau = 1 / (2 * M_PI * cutoff_hz);
    std::vector<float> out;
    double y = 0, at = 0;  // the output level at time `at`
    double next = 0;       // the next sample instant
    for (const Piece &p : pieces) {
        const double end = at + p.seconds;
        while (next < end) {
            y = p.level + (y - p.level) * std::exp(-(next - at) / tau);
            at = next;
            out.push_back(static_cast<float>(y));
            next = static_cast<double>(out.size()) / rate;
        }
        y = p.level + (y - p.level) * std::exp(-(end - at) / tau);
        at = end;
    }
    return out;
}

// What a worn tape and a cheap sound card do to the signal.
struct Spoil {
    double cutoff_hz = 0;  // one-pole low-pass (lost treble, rounded edges)
    double snr_db = 0;     // white noise this far below the signal
    double dc = 0;         // offset
    double wobble = 0;     // slow level change, share of the level
    bool invert = false;
};

std::vector<float> spoil(std::vector<float> s, int rate, const Spoil &how, uint32_t seed)
{
    if (how.cutoff_hz > 0) {
        const double a = 1 - std::exp(-2 * M_PI * how.cutoff_hz / rate);
        double y = 0;
        for (float &x : s)
            x = static_cast<float>(y += a * (x - y));
    }
    double power = 0;
    for (float x : s)
        power += double(x) * x;
    const double rms = std::sqrt(power / s.size());
    std::mt19937 random(seed);
    std::normal_distribution<double> noise(0, how.snr_db > 0 ? rms * std::pow(10, -how.snr_db / 20) : 0);
    for (std::size_t i = 0; i < s.size(); ++i) {
        double x = s[i] * (1 + how.wobble * std::sin(2 * M_PI * 0.7 * i / rate));
        x += (how.snr_db > 0 ? noise(random) : 0) + how.dc;
        s[i] = static_cast<float>((how.invert ? -x : x) * 0.45);
    }
    return s;
}

// The ordinary pulses (1..255 units) of a TAP v1 file, long ones as -1.
std::vector<int> tap_pulses(const Bytes &tap)
{
    std::vector<int> out;
    for (std::size_t i = 20; i < tap.size();) {
        if (tap[i] == 0) {
            out.push_back(-1);
            i += 4;
        } else {
            out.push_back(tap[i++]);
        }
    }
    return out;
}

struct Match {
    std::size_t matched = 0, resyncs = 0;
    int worst = 0;
    double total = 0;  // of the differences of the matched pulses
    std::size_t within_one = 0;
    double mean() const { return matched == 0 ? 0 : total / static_cast<double>(matched); }
};

// Walks both pulse lists side by side. Where they part (the wave before a
// silence joins the silence in any recording, a capture starts mid-wave),
// it finds the next run of 8 pulses that agree and goes on from there.
Match match_pulses(const std::vector<int> &a, const std::vector<int> &b, int tolerance)
{
    Match m;
    std::size_t i = 0, j = 0;
    auto agree = [&](std::size_t x, std::size_t y) {
        for (std::size_t k = 0; k < 8; ++k)
            if (x + k >= a.size() || y + k >= b.size() || a[x + k] < 0 || b[y + k] < 0 ||
                std::abs(a[x + k] - b[y + k]) > tolerance)
                return false;
        return true;
    };
    while (i < a.size() && j < b.size()) {
        if (a[i] > 0 && b[j] > 0 && std::abs(a[i] - b[j]) <= tolerance) {
            m.worst = std::max(m.worst, std::abs(a[i] - b[j]));
            m.within_one += std::abs(a[i] - b[j]) <= 1;
            ++m.matched, ++i, ++j;
            continue;
        }
        bool found = false;
        for (std::size_t d = 0; d < 6 && !found; ++d)
            for (std::size_t di = 0; di <= d && !found; ++di)
                if (agree(i + di, j + (d - di))) {
                    i += di, j += d - di, found = true;
                }
        if (!found)
            break;
        ++m.resyncs;
    }
    return m;
}

// A worn tape on a cheap card: lost treble, hiss 20 dB down, an offset, a
// level that wobbles by 30 %.
const Spoil worn{7000, 20, 0.2, 0.3, false};
const Spoil worn_inverted{7000, 20, -0.2, 0.3, true};

class AudioImport : public ConsoleTest {
protected:
    std::string tape;
    Bytes source;

    void SetUp() override
    {
        ConsoleTest::SetUp();
        tape = mktap("two 'programs'.tap", {{"FIRST ONE", make_prg(0x0801, 700, 5)},
                                            {"SECOND", make_prg(0xC000, 400, 6)}});
        source = read_bytes(tape);
    }

    static ProgramRun cli(const std::vector<std::string> &args) { return run_program(QM_CLI, args); }

    // The console's own recording of the tape: "NAME.wav" or "NAME.au".
    std::string record(const std::string &switch_, bool sine)
    {
        std::vector<std::string> args;
        if (sine)
            args.push_back("-sine");
        args.insert(args.end(), {switch_, tape});
        EXPECT_EQ(run(args).status, 0);
        return tape.substr(0, tape.size() - 4) + (switch_ == "-wav" ? ".wav" : ".au");
    }

    // Imports the capture and tests the TAP with quillmar: every copy's
    // checkbyte passes, no read errors. Returns the imported pulses.
    std::vector<int> import_and_test(const std::string &capture, const std::vector<std::string> &flags = {})
    {
        const std::string out = capture + ".tap";
        const std::string hash = sha256_of_file(capture);
        std::vector<std::string> args = {"audio2tap", "--force"};
        args.insert(args.end(), flags.begin(), flags.end());
        args.insert(args.end(), {capture, out});
        const ProgramRun r = cli(args);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(sha256_of_file(capture), hash) << "the capture changed";
        const ProgramRun t = run({"-t", out});
        EXPECT_EQ(t.status, 0) << t.err;
        const std::string text = report();
        EXPECT_EQ(report_value(text, "Checksum test     : ").substr(0, 4), "PASS") << capture << ": " << report_value(text, "Checksum test     : ");
        EXPECT_EQ(report_value(text, "Read test         : "), "PASS - 0 read errors") << capture;
        return tap_pulses(read_bytes(out));
    }
};

TEST_F(AudioImport, TheConsolesRecordingsComeBackWithinOneUnit)
{
    // The recorder keeps every edge's exact time between samples, so every
    // wave comes back within a unit of its length, though a sample at
    // 44.1 kHz lasts 2.8 units of the C64's clock. Only the waves that join a
    // silence (in any recording the last wave before a pause runs into it)
    // part company.
    const std::vector<int> original = tap_pulses(source);
    const std::size_t longs = static_cast<std::size_t>(std::count(original.begin(), original.end(), -1));
    for (const auto &[format, sine] : {std::pair<const char *, bool>{"-wav", true}, {"-wav", false}, {"-au", false},
                                       {"-au", true}}) {
        const std::vector<int> pulses = import_and_test(record(format, sine));
        const Match m = match_pulses(original, pulses, 1);
        EXPECT_GE(m.matched + 8 * m.resyncs + 8, original.size()) << format << sine;
        EXPECT_LE(m.resyncs, 2 * longs + 2) << format << sine;
        EXPECT_LE(m.worst, 1) << format << sine;
    }
}

TEST_F(AudioImport, AC16CaptureBecomesHalfWavesOfVersion2)
{
    // A C16 tape holds half waves: a made-up run of three lengths, with a
    // pause, recorded by the console and read back half wave by half wave.
    Bytes tap = {'C', '1', '6', '-', 'T', 'A', 'P', 'E', '-', 'R', 'A', 'W', 2, 2, 0, 0, 0, 0, 0, 0};
    std::mt19937 random(3);
    const uint8_t lengths[3] = {24, 36, 52};
    for (int i = 0; i < 6000; ++i) {
        if (i == 3000)
            tap.insert(tap.end(), {0, 0x40, 0x42, 0x0F}); // about a second of silence
        tap.push_back(lengths[random() % 3]);
    }
    const uint32_t size = static_cast<uint32_t>(tap.size() - 20);
    for (int k = 0; k < 4; ++k)
        tap[16 + k] = static_cast<uint8_t>(size >> (8 * k));
    const std::string c16 = path("plus four.tap");
    write_bytes(c16, tap);
    ASSERT_EQ(run({"-wav", c16}).status, 0);
    const std::string capture = path("plus four.wav");
    const std::string out = path("plus four imported.tap");
    const ProgramRun r = cli({"audio2tap", "--c16", capture, out});
    ASSERT_EQ(r.status, 0) << r.err;
    const Bytes imported = read_bytes(out);
    ASSERT_GT(imported.size(), 20u);
    EXPECT_EQ(Bytes(imported.begin(), imported.begin() + 16), Bytes(tap.begin(), tap.begin() + 16));
    const std::vector<int> original = tap_pulses(tap);
    const Match m = match_pulses(original, tap_pulses(imported), 1);
    EXPECT_GE(m.matched + 8 * m.resyncs + 8, original.size());
    EXPECT_LE(m.worst, 1);
    EXPECT_LE(m.resyncs, 4u);
}

struct Case {
    const char *name;
    int rate;
    int format;
    double cutoff_hz;  // of the tape deck
    Spoil how;         // what happens on the way to the card
    int tolerance;     // units a pulse may come back away from its source
    double within_one; // the share of pulses that must come back within a unit
};

// Hiss 20 dB down, an offset, a level that wobbles by 30 %.
const Spoil noisy{0, 20, 0.2, 0.3, false};
const Spoil noisy_inverted{0, 20, -0.2, 0.3, true};
const Spoil clean{0, 0, 0, 0, false};

class SpoiltCaptures : public AudioImport, public ::testing::WithParamInterface<Case> {};

TEST_P(SpoiltCaptures, TestClean)
{
    const Case &c = GetParam();
    std::vector<float> s = play_tape(source, c.rate, c.cutoff_hz);
    s = spoil(s, c.rate, c.how, 7);
    const std::string capture = path(std::string("capture ") + c.name + ".wav");
    write_capture(capture, {s}, c.rate, c.format);
    const std::vector<int> pulses = import_and_test(capture);
    const Match m = match_pulses(tap_pulses(source), pulses, c.tolerance);
    EXPECT_GE(m.matched + 8 * m.resyncs + 8, tap_pulses(source).size()) << c.name;
    EXPECT_LE(m.worst, c.tolerance) << c.name;
    EXPECT_GE(static_cast<double>(m.within_one), c.within_one * static_cast<double>(m.matched)) << c.name;
}

INSTANTIATE_TEST_SUITE_P(
    RatesDepthsAndFaults, SpoiltCaptures,
    ::testing::Values(
        // Without hiss every pulse comes back within a unit, whatever the
        // rate, depth, offset, level or polarity.
        Case{"22k_16bit_offset_wobble", 22050, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 7000, Spoil{0, 0, 0.2, 0.3, false}, 1, 1},
        Case{"22k_8bit_inverted", 22050, SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 7000, Spoil{0, 0, 0, 0, true}, 1, 1},
        Case{"44k_24bit_offset", 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 9000, Spoil{0, 0, 0.4, 0, false}, 1, 1},
        Case{"44k_aiff_float_wobble_inverted", 44100, SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 15000,
             Spoil{0, 0, 0.4, 0.3, true}, 1, 1},
        Case{"48k_16bit_dull", 48000, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 4500, clean, 1, 1},
        Case{"48k_flac_wobble", 48000, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 9000, Spoil{0, 0, 0, 0.3, false}, 1, 1},
        Case{"96k_24bit_clean", 96000, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 12000, clean, 1, 1},
        Case{"96k_16bit_offset_inverted", 96000, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 12000,
             Spoil{0, 0, -0.3, 0, true}, 1, 1},
        // Hiss 20 dB down moves every edge a little: at 22.05 kHz, where a
        // sample lasts 5.6 units, most pulses still come back within a unit,
        // at the higher rates all but a few in a thousand; none ever moves
        // far enough to be taken for a pulse of another length.
        Case{"22k_16bit_worn", 22050, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 7000, noisy, 6, 0.9},
        Case{"22k_8bit_worn_inverted", 22050, SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 7000, noisy_inverted, 6, 0.9},
        Case{"44k_24bit_worn", 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 7000, noisy, 6, 0.995},
        Case{"44k_16bit_worn_inverted", 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 7000, noisy_inverted, 6, 0.995},
        Case{"44k_8bit_noisy", 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 15000, Spoil{0, 20, 0, 0, false}, 6, 0.995},
        Case{"48k_24bit_worn", 48000, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 7000, noisy, 6, 0.995},
        Case{"48k_flac_dull_hiss", 48000, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 4500, Spoil{0, 30, 0, 0, false}, 6, 0.995},
        Case{"96k_16bit_worn", 96000, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 7000, noisy, 6, 0.995},
        Case{"96k_24bit_worn_inverted", 96000, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 7000, noisy_inverted, 6, 0.995}),
    [](const ::testing::TestParamInfo<Case> &param) { return std::string(param.param.name); });

TEST_F(AudioImport, AStereoCaptureUsesTheChosenChannel)
{
    const Capture recorded = read_capture(record("-wav", true));
    std::vector<float> hiss = spoil(std::vector<float>(recorded.samples.size(), 0.0f), recorded.rate,
                                    Spoil{0, 0, 0, 0, false}, 1);
    const std::vector<float> signal = spoil(recorded.samples, recorded.rate, worn, 2);
    const std::string capture = path("stereo capture.wav");
    write_capture(capture, {hiss, signal}, recorded.rate, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    import_and_test(capture, {"--channel", "2"});

    // The silent left channel holds no tape, and says so.
    const ProgramRun left = cli({"audio2tap", capture, path("left.tap")});
    EXPECT_EQ(left.status, 1);
    EXPECT_NE(left.err.find("No tape signal was found"), std::string::npos) << left.err;
    EXPECT_FALSE(g_file_test(path("left.tap").c_str(), G_FILE_TEST_EXISTS));
    const ProgramRun third = cli({"audio2tap", "--channel", "3", capture, path("third.tap")});
    EXPECT_EQ(third.status, 1);
    EXPECT_NE(third.err.find("there is no channel 3"), std::string::npos) << third.err;
}

TEST_F(AudioImport, ACaptureCutShortIsImportedUpToWhereItsSoundEnds)
{
    // A recorder stopped halfway: its header still promises the whole.
    const std::string recorded = record("-wav", false);
    const Bytes wav = read_bytes(recorded);
    const std::string cut = path("cut short 'ü'.wav");
    write_bytes(cut, Bytes(wav.begin(), wav.begin() + static_cast<long>(wav.size() / 2)));
    const std::string hash = sha256_of_file(cut);
    const std::string tap = path("cut short.tap");
    const ProgramRun r = cli({"audio2tap", cut, tap});
    ASSERT_EQ(r.status, 0) << r.err;
    // Half of a 44.1 kHz 16-bit mono capture is missing: the header's bytes tell how long.
    SF_INFO info = {};
    SNDFILE *whole = sf_open(recorded.c_str(), SFM_READ, &info);
    ASSERT_NE(whole, nullptr);
    sf_close(whole);
    ASSERT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16);
    const double missing = double(wav.size() - wav.size() / 2) / (2.0 * info.channels) / info.samplerate;
    char expected[64];
    std::snprintf(expected, sizeof expected, "the capture ends %.1f s early; imported what it holds", missing);
    EXPECT_NE(r.out.find(expected), std::string::npos) << r.out;
    EXPECT_EQ(sha256_of_file(cut), hash);
    // What it holds reads: the first program's header pair at least passes.
    ASSERT_TRUE(g_file_test(tap.c_str(), G_FILE_TEST_EXISTS));
    ASSERT_EQ(run({"-t", tap}).status, 0);
    const std::string text = report();
    EXPECT_NE(text.find("File Type: C64 ROM-TAPE HEADER"), std::string::npos) << text;
    EXPECT_NE(report_value(text, "Checksum test     : ").find(" of "), std::string::npos) << text;
}

TEST_F(AudioImport, BadCapturesGetAReasonAndNoTape)
{
    const Bytes wav = read_bytes(record("-wav", false));
    const std::string silent = path("silence.wav");
    write_capture(silent, {std::vector<float>(44100 * 3, 0.0f)}, 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    write_bytes(path("empty.wav"), {});
    write_bytes(path("text.wav"), Bytes{'n', 'o', 't', ' ', 's', 'o', 'u', 'n', 'd', '\n'});
    write_bytes(path("header only.wav"), Bytes(wav.begin(), wav.begin() + 30));
    write_bytes(path("cut short.wav"), Bytes(wav.begin(), wav.begin() + static_cast<long>(wav.size() / 2)));
    const struct {
        const char *file, *says;
    } cases[] = {{"silence.wav", "No tape signal was found"},
                 {"empty.wav", "is not a sound file that can be read"},
                 {"text.wav", "is not a sound file that can be read"},
                 {"header only.wav", "is not a sound file that can be read"}};
    for (const auto &c : cases) {
        const std::string out = path(std::string(c.file) + ".tap");
        const ProgramRun r = cli({"audio2tap", path(c.file), out});
        EXPECT_EQ(r.status, 1) << c.file;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.file << ": " << r.err;
        EXPECT_FALSE(g_file_test(out.c_str(), G_FILE_TEST_EXISTS)) << c.file;
        EXPECT_FALSE(g_file_test((out + ".part-normal").c_str(), G_FILE_TEST_EXISTS)) << c.file;
        EXPECT_FALSE(g_file_test((out + ".part-inverted").c_str(), G_FILE_TEST_EXISTS)) << c.file;
    }
}

TEST_F(AudioImport, AnExistingTapeIsReplacedOnlyWhenAsked)
{
    const std::string capture = record("-wav", true);
    const std::string out = path("already here.tap");
    write_bytes(out, source);
    const ProgramRun refused = cli({"audio2tap", capture, out});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("--force"), std::string::npos) << refused.err;
    EXPECT_EQ(read_bytes(out), source);
    // A failed import with --force leaves the old file alone too.
    const ProgramRun failed = cli({"audio2tap", "--force", path("missing.wav"), out});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(read_bytes(out), source);
    EXPECT_EQ(cli({"audio2tap", "--force", capture, out}).status, 0);
    EXPECT_NE(read_bytes(out), source);
}

} // namespace
