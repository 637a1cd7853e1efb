// Tapes for round trips through sound, shared by the tests and the
// benchmarks: what the files of a tape read (enough to tell whether the same
// files came back), and a tape cut so that every file ends straight at the
// pause after it, with no trailer after its last bit, as many real tapes do.
#pragma once

#include "core/tapescan.h"
#include "core/audioimport.h"
#include "core/cbmencode.h"

#include <glib.h>
#include <sndfile.h>

#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace tape_roundtrip {

using Bytes = std::vector<uint8_t>;

// What a file entry read: enough to tell whether the same file came back.
struct FileRead {
    std::string type, name;
    uint16_t load = 0, end = 0;
    uint32_t crc = 0;
    bool checked = false, pass = false;
    CopyId copy = CopyId::None;
    bool operator==(const FileRead &o) const
    {
        return type == o.type && name == o.name && load == o.load && end == o.end && crc == o.crc &&
               checked == o.checked && pass == o.pass && copy == o.copy;
    }
};

inline std::ostream &operator<<(std::ostream &out, const FileRead &f)
{
    return out << f.type << " \"" << f.name << "\" $" << std::hex << f.load << "-$" << f.end << " crc " << f.crc
               << std::dec << (f.checked ? (f.pass ? " PASS" : " FAIL") : " unchecked") << " " << copy_id_text(f.copy);
}

inline std::vector<FileRead> files_of(const Bytes &tap)
{
    const TapeScan scan = scan_tape(tap.data(), tap.size());
    std::vector<FileRead> out;
    for (const TapeEntry &e : scan.entries)
        if (e.kind == EntryKind::File)
            out.push_back({e.type, e.name, e.load_address, e.end_address, e.crc32, e.has_checkbyte,
                           e.checkbyte_pass, e.copy});
    return out;
}

inline std::string listing(const std::vector<FileRead> &files)
{
    std::ostringstream out;
    for (const FileRead &f : files)
        out << "  " << f << "\n";
    return out.str();
}

// Offsets of the pulses of a TAP file (a long pulse takes 4 bytes from
// version 1 on), and whether each is a long one.
struct PulseAt {
    std::size_t offset;
    bool silence;
};

inline std::vector<PulseAt> pulses_at(const Bytes &tap)
{
    std::vector<PulseAt> out;
    for (std::size_t i = TAP_HEADER_SIZE; i < tap.size(); ++i) {
        out.push_back({i, tap[i] == 0});
        if (tap[i] == 0 && tap[12] >= 1)
            i += 3;
    }
    return out;
}

// The tape with `count` pulses taken out before pulse `at` (one past the last
// when at is the end).
inline Bytes cut(const Bytes &tap, const std::vector<PulseAt> &pulses, std::size_t at, std::size_t count)
{
    const std::size_t to = at < pulses.size() ? pulses[at].offset : tap.size();
    const std::size_t from = pulses[at - count].offset;
    Bytes out(tap.begin(), tap.begin() + long(from));
    out.insert(out.end(), tap.begin() + long(to), tap.end());
    tap_fix_data_size(out);
    return out;
}

// The tape with every file ending straight at the pause after it (and the
// last at the tape's end): before every long pulse, and at the end, as many
// pulses taken out as can be while every file still reads the same.
inline Bytes ending_at_pauses(const Bytes &tap)
{
    const std::vector<FileRead> want = files_of(tap);
    Bytes t = tap;
    for (std::size_t n = 0;; ++n) {
        const std::vector<PulseAt> pulses = pulses_at(t);
        // The n-th place a pause (or the end) follows ordinary pulses.
        std::size_t at = 0, seen = 0;
        bool found = false;
        for (std::size_t i = 1; i <= pulses.size() && !found; ++i) {
            const bool pause_here = i == pulses.size() || pulses[i].silence;
            if (pause_here && !pulses[i - 1].silence && seen++ == n) {
                at = i;
                found = true;
            }
        }
        if (!found)
            return t;
        std::size_t run = 0;
        while (run < at && !pulses[at - 1 - run].silence && run < 8192)
            ++run;
        std::size_t good = 0, bad = run + 1;
        while (bad - good > 1) {
            const std::size_t mid = (good + bad) / 2;
            (files_of(cut(t, pulses, at, mid)) == want ? good : bad) = mid;
        }
        if (good > 0)
            t = cut(t, pulses, at, good);
    }
}

// Writes mono samples as a 16-bit PCM WAV file; false when it could not.
inline bool write_capture(const std::string &path, const std::vector<float> &samples, int rate)
{
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE *f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (f == nullptr)
        return false;
    const bool whole = sf_writef_float(f, samples.data(), sf_count_t(samples.size())) == sf_count_t(samples.size());
    return sf_close(f) == 0 && whole;
}

// The capture imported as `tap`'s machine and video standard (written
// beside it as CAPTURE.tap): the TAP file's bytes, empty when the import
// failed.
inline Bytes imported_tape(const std::string &capture, const Bytes &tap)
{
    AudioImportOptions options;
    options.platform = tap[0] == 'C' && tap[1] == '1' ? 2 : tap[13];
    options.video = tap[14];
    const std::string out = capture + ".tap";
    if (!import_audio_capture(capture, out, options).ok)
        return {};
    gchar *data = nullptr;
    gsize size = 0;
    Bytes bytes;
    if (g_file_get_contents(out.c_str(), &data, &size, nullptr))
        bytes.assign(data, data + size);
    g_free(data);
    return bytes;
}

} // namespace tape_roundtrip
