// Tape images: the TAP file (a Commodore cassette recorded as a run of pulse
// lengths) and the dump file of the ZORV tape-dump hardware (".DMP").
//
// Both kinds start with the same 20-byte header; they differ in the magic and
// in how the bytes after the header encode pulses. This module reads and
// classifies the header, names the platform and video standard, decodes the
// pulse data of every TAP version and of ZORV dumps into TAP units (8 clock
// cycles of the recorded machine), converts ZORV samples per platform and
// video standard, and fixes the data-size field of a freshly written TAP file.
//
// Everything here is GLib-only and safe to call from any thread.
#ifndef QUILLMAR_CORE_TAPIMAGE_H
#define QUILLMAR_CORE_TAPIMAGE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// Size of the header shared by TAP files and ZORV dumps; pulse data follows.
constexpr std::size_t TAP_HEADER_SIZE = 20;

// Length of the ASCII magic at the start of the header (no terminator).
constexpr std::size_t TAP_MAGIC_SIZE = 12;

// Byte offsets of the header fields.
constexpr std::size_t TAP_OFFSET_VERSION = 12;
constexpr std::size_t TAP_OFFSET_PLATFORM = 13;
constexpr std::size_t TAP_OFFSET_VIDEO = 14;
constexpr std::size_t TAP_OFFSET_RESERVED = 15;
constexpr std::size_t TAP_OFFSET_DATA_SIZE = 16;

// The three magics, exactly TAP_MAGIC_SIZE characters each.
extern const char TAP_MAGIC_ZORV[];  // "ZORV-TAP-RAW"
extern const char TAP_MAGIC_C64[];   // "C64-TAPE-RAW"
extern const char TAP_MAGIC_C16[];   // "C16-TAPE-RAW"

// A TAP unit is 8 clock cycles; the long pulse of a version 0 zero byte.
constexpr uint32_t TAP_V0_LONG_PULSE_UNITS = 2500;
// The 3-byte overflow mark of versions 1 and 2, and the units it stands for.
constexpr uint32_t TAP_OVERFLOW_CYCLES = 0xFFFFFF;
constexpr uint32_t TAP_OVERFLOW_UNITS = 0x1FFFFF;
// A ZORV sample with this value continues into the next sample.
constexpr uint64_t ZORV_OVERFLOW_SAMPLE = 0xFFFF;

// The first 20 bytes of a tape image, kept raw. Multi-byte numbers are
// little-endian. Fill it with common_read_tap_file_header(path, info.raw).
struct TapeImageInfo {
    uint8_t raw[TAP_HEADER_SIZE];

    const uint8_t *magic() const { return raw; }
    uint8_t version() const { return raw[TAP_OFFSET_VERSION]; }
    // The whole platform byte; see tape_platform_index() for its meaning.
    uint8_t platform() const { return raw[TAP_OFFSET_PLATFORM]; }
    uint8_t video() const { return raw[TAP_OFFSET_VIDEO]; }
    uint8_t reserved() const { return raw[TAP_OFFSET_RESERVED]; }
    // Number of data bytes after the header as recorded in the file. Pulse
    // readers use the end of the file instead.
    uint32_t data_size() const
    {
        return static_cast<uint32_t>(raw[16]) |
               (static_cast<uint32_t>(raw[17]) << 8) |
               (static_cast<uint32_t>(raw[18]) << 16) |
               (static_cast<uint32_t>(raw[19]) << 24);
    }
};
static_assert(sizeof(TapeImageInfo) == TAP_HEADER_SIZE, "header is 20 raw bytes");

// Classification of a header by its magic.
enum class FileType { Unknown, ZorvDump, C64Tap, C16Tap };

// Compares the 12-byte magic byte for byte with "ZORV-TAP-RAW", then
// "C64-TAPE-RAW", then "C16-TAPE-RAW"; anything else (or null) is Unknown.
// header20 must hold at least 12 bytes.
FileType tape_file_type(const uint8_t *header20);

// Reads the first 20 bytes of the file at path (file-system encoding) into
// header20. Returns 0 at once for a folder (nothing is opened), 0 when the
// file cannot be opened for reading, and 1 only when exactly 20 bytes were
// read. The magic is not looked at. The file is always closed on return.
int common_read_tap_file_header(const char *path, uint8_t *header20);

// Untranslated names (marked for translation); index by platform index and
// video standard byte. Use machine_type_name()/video_standard_name() to show.
extern const char *const machine_types[3];    // C64, VIC 20, C16
extern const char *const video_standards[2];  // PAL, NTSC

// The platform index of a header: for a ZORV dump only the low four bits of
// byte 13 (the high nibble is ignored); for anything else the whole byte.
unsigned tape_platform_index(const uint8_t *header20, FileType type);

// Translated platform name, or translated "Unknown" for an index above 2.
const char *machine_type_name(unsigned index);
// Translated video standard name, or translated "Unknown" above 1.
const char *video_standard_name(unsigned index);

// The three texts the open dialog previews for a file under the cursor.
struct TapePreview {
    std::string file_type;
    std::string platform;
    std::string video;
};

// The placeholder shown for each preview value of an unreadable or unknown file.
extern const char TAPE_PREVIEW_NONE[];  // "---"

// Computes the preview of the file at path: the format line ("ZORV v %d",
// "Standard TAP v %d", "Non-standard TAP v %d", "Markus' Extended TAP v %d",
// all translated), the platform name and the video standard name. A null
// path, an unreadable file, a file shorter than the header or an unknown
// magic gives "---" for all three.
TapePreview tape_header_preview(const char *path);

// Same, from a header already in memory (20 bytes).
TapePreview tape_header_preview_from_header(const uint8_t *header20);

// ZORV sample (ticks of a 2 MHz clock) to clock cycles of the target machine,
// rounded to nearest, with unsigned 64-bit arithmetic.
uint64_t downsample_c64_pal(uint64_t s);   // 985,248 Hz
uint64_t downsample_c64_ntsc(uint64_t s);  // 1,022,720 Hz
uint64_t downsample_vic_pal(uint64_t s);   // 1,108,416 Hz
uint64_t downsample_vic_ntsc(uint64_t s);  // 1,022,720 Hz (same as C64 NTSC)
uint64_t downsample_c16_pal(uint64_t s);   // 886,720 Hz
uint64_t downsample_c16_ntsc(uint64_t s);  // 894,880 Hz

using DownsampleFunc = uint64_t (*)(uint64_t);

// Picks the conversion for a platform index and video standard byte:
// platform 0: NTSC for standard 1, else PAL; platform 1: VIC PAL for 0,
// VIC NTSC for 1, C64 PAL otherwise; platform 2: C16 PAL for 0, C16 NTSC
// for 1, C64 PAL otherwise; any other platform: C64 PAL.
DownsampleFunc choose_downsample(unsigned platform, unsigned video);

// One ZORV sample to TAP units: cycles = f(sample) kept to 16 bits; fewer
// than 4 cycles give 1 unit, otherwise (cycles + 4) >> 3.
uint32_t zorv_sample_to_units(uint64_t sample, DownsampleFunc f);

// One pulse as read from the data part of a tape image.
struct TapePulse {
    uint64_t offset;  // file offset where this pulse's encoding begins
    uint32_t units;   // length in TAP units
    // The pulse came from a zero byte standing for a long pulse: the 3-byte
    // form of versions 1/2 (also when it shifts to 0 units, or is cut short
    // by the end of the file) or the 2500-unit zero byte of version 0.
    bool long_form;
    // Overflow mark (TAP 0xFFFFFF, ZORV sample 0xFFFF): this pulse and the
    // next one are a single physical pulse.
    bool continues;

    bool operator==(const TapePulse &o) const
    {
        return offset == o.offset && units == o.units &&
               long_form == o.long_form && continues == o.continues;
    }
    bool operator!=(const TapePulse &o) const { return !(*this == o); }
};

// Walks every pulse of a whole tape image held in memory (header included)
// and calls visit(const TapePulse &) for each, in tape order, without
// allocating. The file is a ZORV dump when its magic is "ZORV-TAP-RAW" and is
// read by TAP rules (per version byte) otherwise. Pulses run from offset 20
// to the end of the buffer; the header's data-size field is not used. A file
// of 20 bytes or fewer has no pulses.
//
// TAP: a byte 1..255 is that many units. A zero byte is
//   - version 0: 2500 units (long_form);
//   - version 1 or 2: followed by a 24-bit little-endian cycle count, the
//     pulse being count >> 3 units (long_form); 0xFFFFFF is the overflow mark
//     (0x1FFFFF units, continues). When the file ends inside the three
//     bytes, the bytes present form the count;
//   - any other version: one pulse of 0 units.
// ZORV: 16-bit little-endian samples converted by zorv_sample_to_units()
//   with the conversion chosen from the header (platform = low nibble of
//   byte 13, video = byte 14); a last lone byte is a sample on its own; a
//   sample of 0xFFFF continues.
// Reads single pulses of a whole tape image held in memory by the rules
// above: the pulse whose encoding begins at a given offset.
class TapePulseReader {
public:
    TapePulseReader(const uint8_t *file, std::size_t size)
        : file_(file), size_(file != nullptr && size > TAP_HEADER_SIZE ? size : 0)
    {
        if (size_ == 0)
            return;
        zorv_ = tape_file_type(file) == FileType::ZorvDump;
        version_ = file[TAP_OFFSET_VERSION];
        if (zorv_)
            downsample_ = choose_downsample(tape_platform_index(file, FileType::ZorvDump), file[TAP_OFFSET_VIDEO]);
    }

    // First offset after the data (0 for a file without pulses).
    std::size_t end() const { return size_; }

    // The pulse beginning at pos (TAP_HEADER_SIZE <= pos < end(), where a
    // pulse begins); returns the offset just after its encoding.
    std::size_t read(std::size_t pos, TapePulse &p) const
    {
        if (zorv_) {
            uint64_t sample = file_[pos];
            if (pos + 1 < size_)
                sample |= static_cast<uint64_t>(file_[pos + 1]) << 8;
            p = TapePulse{pos, zorv_sample_to_units(sample, downsample_), false, sample == ZORV_OVERFLOW_SAMPLE};
            return pos + 2 < size_ ? pos + 2 : size_;
        }
        const uint8_t b = file_[pos];
        p = TapePulse{pos, b, false, false};
        std::size_t step = 1;
        if (b == 0) {
            if (version_ == 0) {
                p.units = TAP_V0_LONG_PULSE_UNITS;
                p.long_form = true;
            } else if (version_ == 1 || version_ == 2) {
                const std::size_t left = size_ - pos - 1;
                const std::size_t present = left < 3 ? left : 3;
                uint32_t cycles = 0;
                for (std::size_t i = 0; i < present; ++i)
                    cycles |= static_cast<uint32_t>(file_[pos + 1 + i]) << (8 * i);
                p.long_form = true;
                if (present == 3 && cycles == TAP_OVERFLOW_CYCLES) {
                    p.units = TAP_OVERFLOW_UNITS;
                    p.continues = true;
                } else {
                    p.units = cycles >> 3;
                }
                step += present;
            } else {
                p.units = 0;
            }
        }
        return pos + step;
    }

private:
    const uint8_t *file_;
    std::size_t size_;
    bool zorv_ = false;
    uint8_t version_ = 0;
    DownsampleFunc downsample_ = nullptr;
};

template <class Visitor>
void for_each_tape_pulse(const uint8_t *file, std::size_t size, Visitor &&visit)
{
    const TapePulseReader reader(file, size);
    TapePulse p{};
    for (std::size_t pos = TAP_HEADER_SIZE; pos < reader.end();) {
        pos = reader.read(pos, p);
        visit(static_cast<const TapePulse &>(p));
    }
}

// All pulses of a whole tape image in memory (header included), as
// for_each_tape_pulse() reads them.
std::vector<TapePulse> decode_tape_pulses(const uint8_t *file, std::size_t size);

// Sets the data-size field of the TAP file open in stream (read/write,
// positioned anywhere) to the file length minus 20, written little-endian at
// offset 16, and leaves the stream at the end of the file. Reports nothing.
// A file shorter than the header has no such field and is left as it is.
void common_fix_tap_file_size_in_header(FILE *stream);

#endif  // QUILLMAR_CORE_TAPIMAGE_H
