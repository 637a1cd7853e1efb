// Tapes through sound and back: a tape of every loader and every sample
// tape, recorded by the console's recorder and played by a synthesiser of
// the tests' own (both polarities, square and sine, 22.05 to 96 kHz, hiss,
// lost treble, an off-speed deck with wow), imported again, must read the
// same files with the same checks passing. The tapes are cut so that every
// file ends straight at a pause, with no trailer after its last bit, as many
// real tapes are: the last wave before a pause must survive the round trip.
#include "common/audio_synth.h"
#include "common/tape_roundtrip.h"
#include "common/temp_folder.h"
#include "core/audioimport.h"
#include "core/audiowrite.h"
#include "core/cbmencode.h"
#include "core/loaders/registry.h"
#include "loader_testing.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <map>
#include <sstream>

using namespace loader_testing;
using namespace tape_roundtrip;

namespace {

// One way of turning a tape into sound.
struct Playing {
    const char *name;
    bool recorder;            // the console's recorder, else the synthesiser
    AudioFormat format;       // the recorder's
    bool sine;
    audio_synth::Player player;  // the synthesiser's
};

audio_synth::Player player(int rate, bool sine, bool low_first, double cutoff, double hiss, double speed, double wow)
{
    audio_synth::Player p;
    p.rate = rate;
    p.sine = sine;
    p.low_first = low_first;
    p.cutoff_hz = cutoff;
    p.hiss_db = hiss;
    p.speed = speed;
    p.wow = wow;
    return p;
}

// Square and sine, WAV and AU, both polarities, 22.05 to 96 kHz, clean and
// with hiss, lost treble, off speed and wow: every property at least once.
const std::vector<Playing> &playings()
{
    static const std::vector<Playing> all = {
        {"recorder WAV square", true, AudioFormat::Wav, false, {}},
        {"recorder AU sine", true, AudioFormat::Au, true, {}},
        {"synth 44.1 kHz square low first", false, AudioFormat::Wav, false,
         player(44100, false, true, 0, 0, 1, 0)},
        {"synth 22.05 kHz square high first, 6 kHz treble, hiss 30 dB down", false, AudioFormat::Wav, false,
         player(22050, false, false, 6000, 30, 1, 0)},
        {"synth 44.1 kHz sine low first, hiss 26 dB down, 3 % slow, wow 1 %", false, AudioFormat::Wav, true,
         player(44100, true, true, 0, 26, 1.03, 0.01)},
        {"synth 96 kHz square high first, 9 kHz treble, hiss 26 dB down, 3 % fast, wow 0.5 %", false,
         AudioFormat::Wav, false, player(96000, false, false, 9000, 26, 0.97, 0.005)},
    };
    return all;
}

// Fewer for the long sample tapes: the recorder, and hiss both ways.
std::vector<Playing> sample_playings()
{
    const std::vector<Playing> &all = playings();
    return {all[0], all[3], all[4]};
}

// The tape through one playing and back.
Bytes round_trip(const Bytes &tap, const Playing &how, const TempFolder &folder)
{
    if (how.recorder) {
        const TapeScan scan = scan_tape(tap.data(), tap.size());
        const Bytes sound = render_audio(scan, how.format, how.sine);
        const std::string path =
            folder.write(how.format == AudioFormat::Au ? "recorded.au" : "recorded.wav",
                         std::string(sound.begin(), sound.end()));
        return imported_tape(path, tap);
    }
    const std::string path = folder.path() + "/played.wav";
    EXPECT_TRUE(write_capture(path, audio_synth::play(tap, how.player), how.player.rate));
    return imported_tape(path, tap);
}

void expect_same_files_through_sound(const Bytes &tap, const std::vector<Playing> &how, const std::string &what,
                                     bool every_check_passes = true)
{
    TempFolder folder("qm-audio-roundtrip-XXXXXX");
    const std::vector<FileRead> want = files_of(tap);
    ASSERT_FALSE(want.empty()) << what;
    for (const FileRead &f : want) {
        if (every_check_passes) {
            ASSERT_TRUE(!f.checked || f.pass) << what << ": " << f;
        }
    }
    for (const Playing &p : how) {
        const Bytes back = round_trip(tap, p, folder);
        EXPECT_GT(back.size(), TAP_HEADER_SIZE) << what << ", " << p.name << ": nothing imported";
        const std::vector<FileRead> got = files_of(back);
        EXPECT_EQ(got, want) << what << ", " << p.name << "\nread back:\n"
                             << listing(got) << "the tape itself:\n"
                             << listing(want);
    }
}

// A loader's tape of programs (and the plain CBM tape for "cbm"), cut to
// end at its pauses; made once per loader.
const Bytes &tape_of(const std::string &id)
{
    static std::map<std::string, Bytes> made;
    auto it = made.find(id);
    if (it != made.end())
        return it->second;
    // The ROM loaders' slow pulses and two copies make long tapes: two
    // shorter programs there.
    const bool rom = id == "cbm" || id == "c16";
    const std::vector<PrgInput> prgs =
        rom ? std::vector<PrgInput>{program("first one", 0x0801, 600, 1), program("SECOND", 0xC000, 100, 2)}
            : std::vector<PrgInput>{program("first one", 0x0801, 1500, 1), program("SECOND", 0xC000, 400, 2),
                                    program("THIRD", 0x4000, 200, 3)};
    const Bytes tap = id == "cbm" ? encode_tap(prgs, EncodeOptions()) : encode(*find_turbo_loader(id), prgs);
    return made[id] = ending_at_pauses(tap);
}

class AudioRoundTrip : public testing::TestWithParam<std::string> {};

} // namespace

TEST(AudioRoundTripCut, EveryFileEndsStraightAtAPause)
{
    // The cut itself: the US Gold tape's files lose their trailers, so the
    // last pulse before each pause is the last bit of the file's checksum.
    const std::vector<PrgInput> prgs = {program("A", 0x0801, 200, 1), program("B", 0x1000, 100, 2)};
    const Bytes whole = encode(*find_turbo_loader("usgold"), prgs);
    const Bytes ending = ending_at_pauses(whole);
    EXPECT_LT(ending.size(), whole.size());
    EXPECT_EQ(files_of(ending), files_of(whole));
    // One pulse fewer before any pause, and a file no longer reads the same.
    const std::vector<PulseAt> pulses = pulses_at(ending);
    for (std::size_t i = 1; i <= pulses.size(); ++i)
        if ((i == pulses.size() || pulses[i].silence) && !pulses[i - 1].silence) {
            EXPECT_NE(files_of(cut(ending, pulses, i, 1)), files_of(whole)) << "before pulse " << i;
        }
}

TEST_P(AudioRoundTrip, FilesEndingAtPausesComeBackWhole)
{
    expect_same_files_through_sound(tape_of(GetParam()), playings(), GetParam());
    // A worn tape: every pulse up to 4 units off at random, 2 % slow; then
    // played with hiss 26 dB down and lost treble. Bits are read in the
    // middle of each file's own pulse lengths, so the two add up safely.
    const Bytes jittered = distorted(tape_of(GetParam()), 1.02, 4, 99);
    expect_same_files_through_sound(
        jittered,
        {{"synth 44.1 kHz square low first, 7 kHz treble, hiss 26 dB down", false, AudioFormat::Wav, false,
          player(44100, false, true, 7000, 26, 1, 0)}},
        GetParam() + " jittered");
}

INSTANTIATE_TEST_SUITE_P(Loaders, AudioRoundTrip, testing::ValuesIn([] {
                             std::vector<std::string> ids = {"cbm"};
                             for (const TurboLoader &l : turbo_loaders())
                                 ids.push_back(l.id);
                             return ids;
                         }()),
                         [](const testing::TestParamInfo<std::string> &param) { return param.param; });

class SampleTapeThroughSound : public testing::TestWithParam<std::string> {};

TEST_P(SampleTapeThroughSound, ComesBackWithTheSameFiles)
{
    gchar *data = nullptr;
    gsize size = 0;
    const std::string path = std::string(QM_SAMPLES_DIR) + "/" + GetParam() + ".tap";
    ASSERT_TRUE(g_file_get_contents(path.c_str(), &data, &size, nullptr)) << path;
    const Bytes tap(data, data + size);
    g_free(data);
    // The damaged sample's first copy fails on the tape itself: it must
    // fail the same way after the round trip, and its repeat pass.
    expect_same_files_through_sound(tap, sample_playings(), GetParam(), GetParam() != "damaged-first-copy");
}

INSTANTIATE_TEST_SUITE_P(Samples, SampleTapeThroughSound,
                         testing::Values("two-programs", "damaged-first-copy", "noise-between-files", "turbo-mix"),
                         [](const testing::TestParamInfo<std::string> &param) {
                             std::string name = param.param;
                             name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                             return name;
                         });
