// Scanning a tape image: its pulses cut into entries (pauses, unrecognised
// stretches and the files that the scanners recognise), as the report lists
// them.
//
// The pulses of any TAP version or ZORV dump (read by tapimage's
// for_each_tape_pulse) are walked from the first to the last. At every pulse
// not yet claimed:
//   1. a silence pulse starts a PAUSE entry holding the whole run of silence
//      pulses. A silence pulse is one written as a zero byte (the TAP long
//      forms), one of 0 units, one of 256 units or more (longer than any
//      single TAP data byte can express, about 2 ms: a ZORV dump's silence),
//      an overflow mark, and the pulse an overflow mark continues into (the
//      two are one physical pulse);
//   2. otherwise each scanner in turn may recognise a file starting there;
//      the first that does claims the file's pulses. A file without a
//      checksum (a format that has none) is claimed only when no other
//      scanner reads a file with a passing checksum starting among its
//      pulses: a checked reading of the same pulses wins;
//   3. otherwise the pulse is UNRECOGNIZED. Neighbouring unrecognised pulses
//      form one entry; scanners tell from where it is worth trying again, so
//      a long leader that leads nowhere is passed over at once.
// So every pulse, and every byte after the 20-byte header, belongs to exactly
// one entry, and the entries are in tape order.
//
// Memory: the pulses are kept at one byte each (plus a short table of the
// few pulses that need more), with one more byte per pulse for its class, so
// a scan of a TAP file holds about twice the tape's size besides the file
// itself (a ZORV dump: about its size).
#pragma once

#include "core/loadermemory.h"
#include "core/tapimage.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// --- Pulses -------------------------------------------------------------

// A pulse of at least this many units is silence.
constexpr uint32_t SILENCE_MIN_UNITS = 256;

// True for a silence pulse (see the top of this file).
bool is_silence_pulse(const TapePulse &p);

// The pulses of a tape image, with their file offsets, in compact form. An
// ordinary pulse (1..255 units, encoded in `width` bytes, not a zero-byte
// long form) costs one byte; every other pulse belongs to a run of alike
// irregular pulses (a run of version 0 zero bytes or of ZORV overflow marks
// is one record).
struct PulseTrack {
    struct Irregular {
        std::size_t first;   // index of the run's first pulse
        std::size_t count;   // pulses in the run
        uint64_t offset;     // file offset of the first
        uint32_t units;      // of each pulse
        uint8_t length;      // bytes of each pulse's encoding
        bool long_form;
        bool continues;
        bool silence;        // silence pulses, or the rest of an overflowed one
    };
    std::vector<uint8_t> small;        // units of an ordinary pulse; 0 = in a run of `irregular`
    std::vector<Irregular> irregular;  // ascending `first`
    unsigned width = 1;                // bytes of an ordinary pulse: 1 (TAP) or 2 (ZORV)
    uint64_t file_size = 0;

    std::size_t size() const { return small.size(); }
    uint32_t units(std::size_t i) const { return small[i] != 0 ? small[i] : irregular_at(i).units; }
    // File offset of the first byte of pulse i.
    uint64_t offset(std::size_t i) const;
    // File offset of the last byte of pulse i (inclusive).
    uint64_t last_byte(std::size_t i) const;
    TapePulse pulse(std::size_t i) const;
    bool is_silence(std::size_t i) const { return small[i] == 0 && irregular_at(i).silence; }
    // The run holding irregular pulse i (small[i] == 0).
    const Irregular &irregular_at(std::size_t i) const;
};

// Reads every pulse of a whole tape image in memory (header included).
PulseTrack read_pulse_track(const uint8_t *file, std::size_t size);

// --- Entries ------------------------------------------------------------

enum class EntryKind : uint8_t { Pause, Unrecognized, File };

// FIRST or REPEAT copy of a block recorded twice.
enum class CopyId : uint8_t { None, First, Repeat };

// "FIRST", "REPEAT", or "" for None.
const char *copy_id_text(CopyId id);

struct TapeScanner;

// The type descriptors of the two entries that no scanner makes.
extern const char ENTRY_TYPE_PAUSE[];         // "PAUSE"
extern const char ENTRY_TYPE_UNRECOGNIZED[];  // "UNRECOGNIZED"

// One entry of the report. Fields that do not apply keep their defaults; the
// has_* flags tell which groups of report lines apply.
struct TapeEntry {
    EntryKind kind = EntryKind::Unrecognized;
    std::string type;                     // "File Type: %s"
    const TapeScanner *scanner = nullptr; // the scanner that recognised it (File only)

    // Pulses [first_pulse, first_pulse + pulse_count).
    std::size_t first_pulse = 0;
    std::size_t pulse_count = 0;
    // Pulse indexes of the inner start and the inner end (= first_pulse and
    // the last pulse for PAUSE and UNRECOGNIZED).
    std::size_t inner_start_pulse = 0;
    std::size_t inner_end_pulse = 0;

    // "Location: $%04X -> $%04X -> $%04X -> $%04X": file offsets, header
    // included; end is the last byte of the last pulse (inclusive).
    uint64_t start = 0, inner_start = 0, inner_end = 0, end = 0;

    // "LA: $%04X  EA: $%04X  SZ: %u". End address exclusive, as stored;
    // size = end - load modulo $10000.
    bool has_addresses = false;
    uint16_t load_address = 0;
    uint16_t end_address = 0;
    uint32_t size = 0;

    // "File Name: %s": ASCII rendering of the name (see the scanner), and the raw bytes.
    bool has_name = false;
    std::string name;
    std::vector<uint8_t> raw_name;

    // "Checkbyte Actual/Expected: $%02X/$%02X, %s" with "PASS" or "FAIL":
    // Actual is checkbyte_computed, the XOR of the payload as read; Expected
    // is checkbyte_on_tape, the checkbyte byte recorded after the payload.
    bool has_checkbyte = false;
    uint8_t checkbyte_on_tape = 0;
    uint8_t checkbyte_computed = 0;
    bool checkbyte_pass = false;

    // "Read Errors: %u": pulses farther than the tolerance from every class.
    unsigned read_errors = 0;

    // "CRC32: %08X" of the payload (zlib's CRC-32).
    bool has_crc = false;
    uint32_t crc32 = 0;

    // " - File ID : %s" with copy_id_text(copy) unless None.
    CopyId copy = CopyId::None;

    // Payload bytes lost in dropouts (the signal gone for a moment), as runs
    // (offset, count); they stand in the payload as 0 and the copy fails.
    std::vector<std::pair<std::size_t, std::size_t>> lost_bytes;

    // What an UNKNOWN TURBO stretch holds, as a line of the report ("Turbo:
    // threshold ..."); its payload is then the bytes read after its pilots.
    std::string description;

    // The payload as decoded (header: its 192 bytes; data: the program).
    std::vector<uint8_t> payload;

    // Where the payload's bytes load, for the PRG files: runs of bytes with
    // their load address (a format that stores pages gives one run per
    // contiguous stretch). Set by the turbo scanners; the CBM ROM data take
    // their address from their header instead.
    struct LoadedRun {
        uint16_t load = 0;
        std::vector<uint8_t> bytes;
    };
    std::vector<LoadedRun> loaded;

    // What cleaning writes for a pulse of each class (indexed by PulseClass;
    // 0 = the pulse as read).
    uint8_t ideal_units[4] = {0, 0, 0, 0};

    // Scanner details, not printed in the report.
    int block_type = -1;      // header: its type byte (1, 3, 4, 5); -1 otherwise
    int header_entry = -1;    // data: index of the header entry it took LA/EA/SZ from
    bool overlapping = false;  // found by a scanner on its own where others had claimed pulses
    unsigned parity_errors = 0;
    std::size_t sync_pulse = 0;  // first pulse of the countdown
    double pulse_short = 0, pulse_medium = 0, pulse_long = 0;  // calibrated values
};

// --- Options, classes, scanners -------------------------------------------

constexpr int SCAN_TOLERANCE_MIN = 0;
constexpr int SCAN_TOLERANCE_MAX = 15;
constexpr int SCAN_TOLERANCE_DEFAULT = 10;

// Which scanners a scan asks first, from a point of the tape on (loader
// identification: a boot file's loader is asked first up to the next boot
// file). Every selected scanner is still asked where these find nothing.
struct ScanGuide {
    virtual ~ScanGuide() = default;
    // Called after each file a scanner recognised (entries.back()); may
    // change `first`, the scanners asked before all others from here on.
    virtual void after_file(const std::vector<TapeEntry> &entries, std::vector<const TapeScanner *> &first) = 0;
};

struct ScanOptions {
    int tolerance = SCAN_TOLERANCE_DEFAULT;  // TAP units, clamped to 0..15
    bool require_end_marker = true;          // false: accept CBM blocks without end-of-data marker
    // Debug mode: after the scan, every scanner looks at the whole tape on
    // its own (with CBM ROM beside it, for the boot files), and the files it
    // finds where another scanner's entries lie are added to the entries
    // (marked overlapping), so a file hidden under another one shows; its
    // read errors count only where no file of the scan lies. The pulse
    // classes stay those of the scan itself.
    bool overlap = false;
    // Loader variables kept from earlier runs (see loadermemory.h), for
    // tape pieces without their boot file; null: none.
    const LoaderMemory *remembered = nullptr;
    // Loader patch files (Visiload's) go to the PRG files too.
    bool extract_loader_patches = false;
    // Who decides which scanners are asked first; null: the given order.
    ScanGuide *guide = nullptr;
};

// What an ideal tape has at a pulse: the class the recognising scanner gave it.
enum class PulseClass : uint8_t { None = 0, Short = 1, Medium = 2, Long = 3 };

// One byte per pulse: the class in the low two bits, the read-error flag above.
constexpr uint8_t PULSE_CLASS_MASK = 0x03;
constexpr uint8_t PULSE_READ_ERROR = 0x04;

// What a scanner sees while the tape is walked.
struct ScanContext {
    const PulseTrack *pulses = nullptr;
    const ScanOptions *options = nullptr;  // tolerance already clamped
    unsigned platform = 0;                 // platform index of the tape header (0 C64, 1 VIC 20, 2 C16)
    unsigned video = 0;                    // 0 PAL, 1 NTSC
    bool half_waves = false;               // TAP version 2: every pulse is a half-wave, not a full wave
    const std::vector<TapeEntry> *entries = nullptr;  // entries found so far, in tape order
    std::vector<uint8_t> *pulse_info = nullptr;       // one byte per pulse (see PULSE_CLASS_MASK)
    LoaderMemory *learnt = nullptr;                   // what scanners learn from boot files
    // A scanner searching ahead for the start of a file looks no farther
    // than this pulse (a start found later is looked for again later): the
    // pulses another scanner claims meanwhile are never searched through.
    std::size_t horizon = SIZE_MAX;
};

// The machines a scanner reads tapes of (bits of TapeScanner::platforms,
// by the tape header's platform index; an unknown index counts as a C64).
constexpr unsigned SCAN_FOR_C64 = 1u << 0;
constexpr unsigned SCAN_FOR_VIC20 = 1u << 1;
constexpr unsigned SCAN_FOR_C16 = 1u << 2;

// SCAN_FOR_* bit of a platform index.
unsigned scan_platform_bit(unsigned platform);

// A recogniser of one tape format.
struct TapeScanner {
    const char *id;    // as on the console's command line ("c64")
    const char *name;
    unsigned platforms;  // SCAN_FOR_* bits: the scan calls it only on such tapes
    // Tries to recognise a file whose first pulse is `index` (never a silence
    // pulse). On success fills `entry` (kind, type, pulse span, inner pulse
    // indexes and its own fields; the framework sets the offsets and the
    // scanner pointer), writes the class of each of the file's pulses into
    // *ctx.pulse_info, and returns true. On failure returns false, leaves
    // pulse_info as it was and sets `retry` (> index) to the first pulse
    // worth trying again.
    bool (*recognise)(const ScanContext &ctx, std::size_t index, TapeEntry &entry, std::size_t &retry);
};

// The scanners built into the program: the CBM ROM scanner ("c64").
const std::vector<const TapeScanner *> &builtin_scanners();

// A built-in scanner by id, or null.
const TapeScanner *find_scanner(const std::string &id);

// --- Scanning -----------------------------------------------------------

struct TapeScan {
    bool ok = false;           // false: not a tape image (see error)
    std::string error;
    FileType file_type = FileType::Unknown;
    uint8_t header[TAP_HEADER_SIZE] = {};
    uint64_t file_size = 0;    // "TAP Size", header included

    PulseTrack pulses;
    std::vector<uint8_t> pulse_info;  // per pulse: class and read-error flag
    std::vector<TapeEntry> entries;
    // Loader variables the scanners read from the tape's boot files.
    LoaderMemory learnt;

    PulseClass pulse_class(std::size_t i) const { return PulseClass(pulse_info[i] & PULSE_CLASS_MASK); }
    bool pulse_read_error(std::size_t i) const { return (pulse_info[i] & PULSE_READ_ERROR) != 0; }
};

// True for a TAP version 2 file: every pulse is half a wave (C16 and
// Plus/4 tapes), not a whole one.
bool tape_holds_half_waves(const TapeScan &scan);

// Scans a whole tape image in memory (header included) with the given
// scanners, in that order. The entries cover every pulse once, in tape
// order - unless options.overlap adds overlapping files, sorted in by their
// start. A file shorter than the header or with an unknown
// magic is not scanned (ok false).
TapeScan scan_tape(const uint8_t *file, std::size_t size, const ScanOptions &options,
                   const std::vector<const TapeScanner *> &scanners);
TapeScan scan_tape(const uint8_t *file, std::size_t size, const ScanOptions &options = ScanOptions());

// Reads the file at `path` and scans it with the built-in scanners.
TapeScan scan_tape_file(const std::string &path, const ScanOptions &options = ScanOptions());

// The tape-wide results of the report's "Checksum test" and "Read test"
// lines. A pass means something was checked: a tape with no checksummed
// file (nothing recognised, or only formats without a checksum) does not
// pass the checksum test.
struct ScanTotals {
    unsigned checksummed = 0;  // entries with a checkbyte
    unsigned checksum_ok = 0;  // ... that passed
    unsigned read_errors = 0;  // over all entries
    uint64_t data_bytes = 0;        // the tape's bytes after its header
    uint64_t recognised_bytes = 0;  // ... in files (each byte once)
    bool checksum_pass() const { return checksummed > 0 && checksum_ok == checksummed; }
    bool read_pass() const { return read_errors == 0; }
    // Percent of the tape's data in recognised files (0 for an empty tape).
    double recognised_percent() const
    {
        return data_bytes == 0 ? 0.0 : 100.0 * double(recognised_bytes) / double(data_bytes);
    }
};
ScanTotals scan_totals(const TapeScan &scan);

// zlib's CRC-32 (polynomial 0xEDB88320) of `size` bytes, continuing from `crc` (0 to start).
uint32_t crc32_update(uint32_t crc, const uint8_t *data, std::size_t size);
inline uint32_t crc32_of(const std::vector<uint8_t> &bytes) { return crc32_update(0, bytes.data(), bytes.size()); }
