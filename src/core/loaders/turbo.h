// What the turbo loaders' scanners and encoders share: pulses read as bits
// against a threshold, bytes read least or most significant bit first, the
// search for a pilot and its sync, calibration from the pilot, the classes
// written for cleaning, read errors, checksums, and the pulses an encoder
// writes.
//
// A turbo format stores a bit as one pulse: shorter than the threshold is a
// 0, longer is a 1. Its ideal values (TAP units) are what its encoder writes
// and what cleaning writes back; its threshold (CPU cycles) is the loader's.
// Real tapes run a few percent fast or slow, so a scanner calibrates: the
// mean of the pilot's 0 pulses (and of its 1 pulses when it has some) gives
// the threshold used for the block (the middle between the two means).
#pragma once

#include "core/cbmencode.h"
#include "core/loaders/bootcode.h"
#include "core/tapescan.h"
#include "core/tapewrite.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace turbo {

// Pulse classes a turbo scanner writes: bit 0 and bit 1 (cleaning writes the
// entry's ideal value of that class).
constexpr PulseClass BIT0 = PulseClass::Short;
constexpr PulseClass BIT1 = PulseClass::Medium;

enum class BitOrder : uint8_t { LsbFirst, MsbFirst };

// The constants of a two-class format.
struct Format {
    uint16_t threshold_cycles;  // the loader's threshold
    uint8_t ideal0, ideal1;     // TAP units written for bit 0 and bit 1
    BitOrder order;
};

// Threshold in TAP units from one in cycles.
inline double units_of_cycles(double cycles) { return cycles / 8.0; }

// Reads the ordinary pulses of a track as bits and bytes against one
// threshold. An irregular pulse (silence, a long form) is no bit.
class BitReader {
public:
    BitReader(const PulseTrack &track, double threshold_units, BitOrder order);

    std::size_t size() const { return n_; }
    double threshold() const { return threshold_; }
    BitOrder order() const { return order_; }
    uint8_t units(std::size_t q) const { return small_[q]; }
    // 0, 1, or -1 for an irregular pulse or one beyond the track.
    int bit(std::size_t q) const { return q < n_ ? bit_of(small_[q]) : -1; }
    // The byte of the 8 pulses from p; false when one of them is no bit.
    bool byte(std::size_t p, uint8_t &value) const;
    // Bytes of n pulses each read from p on into out (8 pulses each); false
    // (out partly filled) when a pulse is no bit.
    bool bytes(std::size_t p, std::size_t count, std::vector<uint8_t> &out) const;

private:
    const uint8_t *small_;
    std::size_t n_;
    double threshold_;
    BitOrder order_;
    unsigned cutoff_;  // pulses of this many units or more are 1 bits

    int bit_of(uint8_t units) const { return units == 0 ? -1 : units >= cutoff_ ? 1 : 0; }
};

// Mean units of the 0 and 1 pulses among [first, end) against a threshold.
struct ClassMeans {
    double zero = 0, one = 0;
    std::size_t zeros = 0, ones = 0;
};
ClassMeans class_means(const PulseTrack &track, std::size_t first, std::size_t end, double threshold_units);

// The threshold for reading a block whose pilot has these means: halfway
// between them; with no 1 pulse in the pilot, halfway between the 0 pulses
// and the ideal 1 at their speed. Many loaders' own thresholds lie off that
// middle (US Gold's 360 cycles is 9 units above bit 0 and 21 below bit 1):
// a tape's jitter and a capture's noise are read more safely in the middle.
// While a LoaderThresholdReading lives (on this thread), it is the loader's
// own threshold at the tape's speed instead: the nominal ratio of threshold
// to ideal 0 applied to the measured 0 pulses.
double calibrated_threshold(const ClassMeans &means, const Format &format);

// The scan reads a file whose checksum failed once more at the loader's own
// threshold, and keeps that reading when its checksum passes (a tape
// mastered for the loader's threshold may read only there).
class LoaderThresholdReading {
public:
    LoaderThresholdReading();
    ~LoaderThresholdReading();
    LoaderThresholdReading(const LoaderThresholdReading &) = delete;
    LoaderThresholdReading &operator=(const LoaderThresholdReading &) = delete;

private:
    bool was_;
};

// True when the measured means lie within `slack` (a fraction) of the
// format's ideal values: the pilot is of this format, read at a plausible
// speed, and not another format's pilot whose pulses happen to straddle
// this threshold. A class not measured is not checked.
bool plausible_speed(const ClassMeans &means, const Format &format, double slack = 0.18);

// The evidence a format without a checksum needs before it claims pulses:
// both classes measured (at least `min_each` pulses of each), the 0 pulses
// within `speed_slack` of the format's ideal 0 (the tape's speed), and the
// 1 pulses at the format's ratio of 1 to 0 within `ratio_slack`. Pulses of
// another format that straddle the same threshold have another ratio
// ($20/$40 is not $24/$56, however fast or slow the tape runs).
bool pulses_fit(const ClassMeans &means, const Format &format, double speed_slack = 0.15, double ratio_slack = 0.08,
                std::size_t min_each = 16);

// The same over the pulses [first, end) read against `threshold_units`, and
// tight as a recording is: nine in ten pulses of each class within 20 % of
// the class's mean (noise that happens to have the right means spreads over
// every length). At least 16 0 pulses and 4 1 pulses (a page of zeros has few).
bool pulses_fit(const PulseTrack &track, std::size_t first, std::size_t end, double threshold_units,
                const Format &format);

// --- Pilots ---------------------------------------------------------------
//
// Every search for a pilot takes `until` (the scan's horizon): it looks for
// pilots that begin before that pulse only, and when it finds none sets
// retry to `until` (or past the track's end) - a pilot beginning there or
// later is found by the next search, from there.

// Where to look again when a search up to `until` found nothing.
inline std::size_t retry_after_search(std::size_t from, std::size_t until, std::size_t n)
{
    return until < n ? std::max(until, from + 1) : std::max(n, from + 1);
}

// A pilot of one byte value repeated, read with the format's nominal
// threshold: `min_bytes` of them in a row at least.
struct BytePilot {
    uint8_t value;
    std::size_t min_bytes;
};

// Where a byte pilot was found.
struct PilotFound {
    std::size_t start = 0;     // first pulse of the entry (lead-in pulses included)
    std::size_t aligned = 0;   // first pulse of the first whole pilot byte
    std::size_t end = 0;       // first pulse after the last pilot byte
    double threshold = 0;      // calibrated from the pilot
    ClassMeans means;
};

// Looks for a byte pilot starting at or after `from`, within the run of
// pulses that are bits (no silence). On success fills `found` and returns
// true when the pilot begins at `from` or at most 7 pulses after it (those
// pulses then lead into the entry); otherwise returns false and sets retry
// to where to look next (never before from + 1). Linear in the pulses
// looked at: a caller that retries where told never reads a pulse twice.
bool find_byte_pilot(const PulseTrack &track, std::size_t from, const Format &format, const BytePilot &pilot,
                     PilotFound &found, std::size_t &retry, std::size_t until = SIZE_MAX);

// The next stretch [begin, end) at or after `from` of at least `span` pulses
// where every pulse holds a bit and the pulse 8 later the same one - where a
// pilot of one byte value repeated can be - whose bits are those of one of
// `values` (a rotation, in either bit order; any byte when empty). A pilot
// of m bytes makes such a stretch of 8 x (m - 1) pulses at least. Where
// there is none only one pulse in `span` is looked at, so searches for
// pilots through noise and other formats' data go fast.
bool next_repeating_stretch(const BitReader &reader, std::size_t from, std::size_t span,
                            const std::vector<uint8_t> &values, std::size_t &begin, std::size_t &end,
                            std::size_t until = SIZE_MAX);

// As find_byte_pilot, and also when the pilot follows a leader of 0 bits
// that starts at `from` (found.start = from then: the leader belongs to the
// entry). Same retry contract.
bool find_byte_pilot_after_zeros(const PulseTrack &track, std::size_t from, const Format &format,
                                 const BytePilot &pilot, PilotFound &found, std::size_t &retry,
                                 std::size_t until = SIZE_MAX);

// A pilot of 0 bits: at least `min_pulses` pulses below the nominal
// threshold in a row (a stray 1 pulse among them is taken as part of it
// when 32 zeros follow), ended by a 1 bit. found.end is the pulse after that
// 1 bit; found.aligned = found.start. The calibration uses the 0 pulses
// only (a stray pulse, often a spike far off any class, would move the
// threshold). Same retry contract as above.
bool find_bit_pilot(const PulseTrack &track, std::size_t from, const Format &format, std::size_t min_pulses,
                    PilotFound &found, std::size_t &retry, std::size_t until = SIZE_MAX);

// --- Entries --------------------------------------------------------------

// What a scanner read of one block, turned into an entry by fill_entry().
struct Block {
    std::size_t first = 0;        // first pulse (pilot)
    std::size_t inner_start = 0;  // first pulse of the payload
    std::size_t inner_end = 0;    // first pulse of the checksum (or after the payload)
    std::size_t end = 0;          // first pulse after the block
    double threshold = 0;
    ClassMeans means;
};

// Sets the entry's pulse span, inner pulses, ideal values and calibrated
// pulse values; writes every pulse's class (by the threshold) and counts
// read errors: pulses farther than the tolerance from both calibrated
// means (with no 1 pulse measured, the ideal 1 scaled like the 0).
void fill_entry(const ScanContext &ctx, const Format &format, const Block &block, TapeEntry &entry);

// Pulses after `from` that still belong to a block: bits up to a silence,
// the start of another pilot (is_pilot_start), or `limit` pulses. Returns
// the first pulse not taken.
template <class IsPilotStart>
std::size_t trailer_end(const BitReader &reader, std::size_t from, std::size_t limit, IsPilotStart &&is_pilot_start)
{
    std::size_t q = from;
    while (q < reader.size() && q - from < limit && reader.bit(q) >= 0 && !is_pilot_start(q))
        ++q;
    return q;
}

// The same for a format whose pilot is a run of 0 bits, where a block's
// trailer of 0 bits and the next block's pilot may touch: a run of at least
// `min_pilot` 0 bits ended by a 1 at which `pilot_ends(q)` sees another
// block's sync is left to that block. A run of 0 bits is taken whole (a
// long trailer stays one), other pulses up to `limit` from `from`. Each run
// is read once.
template <class PilotEnds>
std::size_t bit_trailer_end(const BitReader &reader, std::size_t from, std::size_t limit, std::size_t min_pilot,
                            PilotEnds &&pilot_ends)
{
    const std::size_t n = reader.size();
    std::size_t q = from;
    while (q < n) {
        const int b = reader.bit(q);
        if (b < 0 || (b == 1 && q - from >= limit))
            break;
        if (b == 1) {
            ++q;
            continue;
        }
        std::size_t r = q;
        while (r < n && reader.bit(r) == 0)
            ++r;
        if (r - q >= min_pilot && reader.bit(r) == 1 && pilot_ends(r))
            break;
        q = r;
    }
    return q;
}

// A pilot of a repeated byte (after 0 bits when `after_zeros`) at `from`
// whose pulses are this format's at a plausible speed: find_byte_pilot or
// find_byte_pilot_after_zeros, then plausible_speed. When found and
// implausible, retry is set past the pilot.
bool find_plausible_byte_pilot(const PulseTrack &track, std::size_t from, const Format &format,
                               const BytePilot &pilot, bool after_zeros, PilotFound &found, std::size_t &retry,
                               std::size_t until = SIZE_MAX);

// The start of a block in formats of a byte pilot and sync bytes: the pilot
// (find_plausible_byte_pilot), the sync bytes right after it (at least
// `min_matches` of them as they must be), then `header_bytes` bytes.
struct SyncSpec {
    const uint8_t *bytes;
    std::size_t size;
    std::size_t min_matches;
};
struct BlockHead {
    PilotFound pilot;
    std::vector<uint8_t> header;  // the bytes after the sync
    std::size_t header_at = 0;    // first pulse of the header
    // A block of the entry, from the pilot's start; inner start at the header.
    Block block() const;
};
bool read_block_head(const PulseTrack &track, std::size_t from, const Format &format, const BytePilot &pilot,
                     bool after_zeros, const SyncSpec &sync, std::size_t header_bytes, BlockHead &head,
                     std::size_t &retry, std::size_t until = SIZE_MAX);

// The data of a block and the checksum after them, read from p: up to
// `size` bytes, then one more. A block cut short (by a silence) keeps what
// it has, its last byte taken as the checksum. False when fewer than two
// bytes could be read.
struct BlockTail {
    uint8_t checksum = 0;
    std::size_t checksum_at = 0;  // first pulse of the checksum byte
    std::size_t after = 0;        // first pulse after it
};
bool read_data_and_checksum(const BitReader &reader, std::size_t p, std::size_t size, std::vector<uint8_t> &data,
                            BlockTail &tail);

// Bytes equal in both, position by position.
std::size_t count_matching(const uint8_t *a, const uint8_t *b, std::size_t size);

// `count` bytes of `value` in a row from q: a pilot of that byte begins.
bool byte_run_at(const BitReader &reader, std::size_t q, uint8_t value, std::size_t count);

// The usual end of a block holding one program (its payload already read):
// type, addresses, the checksum on the tape against the XOR of the payload,
// its CRC, the payload loaded at `load`, and the pulses (fill_entry).
void finish_program_entry(const ScanContext &ctx, const Format &format, const Block &block, const char *type,
                          uint16_t load, uint16_t end, uint8_t checksum, TapeEntry &entry);

// Sets the CRC-32 of the entry's payload.
void set_payload_crc(TapeEntry &entry);

// Checksums.
uint8_t xor_of(const uint8_t *bytes, std::size_t size);
uint8_t sum_of(const uint8_t *bytes, std::size_t size);  // modulo 256

// Sets the checkbyte fields of an entry.
void set_checkbyte(TapeEntry &entry, uint8_t on_tape, uint8_t computed);

// Sets the load address, end address (exclusive) and size fields.
void set_addresses(TapeEntry &entry, uint16_t load, uint16_t end);

// --- Encoding -------------------------------------------------------------

// What a loader's encoder writes besides the programs.
struct TapeOptions {
    int tap_version = 1;          // 0 or 1
    bool ntsc = false;
    double pause_seconds = 2.0;   // silence after the boot file and between programs
};

// Boot code with a one-shot timer of the format's threshold, rotating the
// bits in in the format's order, that compares with the given bytes (pilot,
// sync...).
BootCodePlan one_shot_boot_plan(const Format &format, std::vector<uint8_t> compares);

// A C64 TAP file (header and data, size field not yet set) beginning with a
// CBM boot file holding `boot_prg` under `name`, then a pause.
std::vector<uint8_t> tape_with_boot_file(const std::vector<uint8_t> &boot_prg, const std::string &name,
                                         const TapeOptions &options);

// Appends a pause of the options' length.
void append_pause(std::vector<uint8_t> &tap, const TapeOptions &options);

// Empty when every program can be written (see prg_input_problem), else why not.
std::string programs_problem(const std::vector<PrgInput> &prgs);
// The same, and every program holds at least one byte (a `format` file does).
std::string programs_problem(const std::vector<PrgInput> &prgs, const char *format);

// A whole tape: the boot file, then each program written by
// write(tap, program, index), a pause between two programs.
template <class WriteProgram>
std::vector<uint8_t> tape_of_programs(const std::vector<uint8_t> &boot_prg, const std::string &boot_name,
                                      const std::vector<PrgInput> &prgs, const TapeOptions &options,
                                      WriteProgram &&write)
{
    std::vector<uint8_t> tap = tape_with_boot_file(boot_prg, boot_name, options);
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        write(tap, prgs[i], i);
        if (i + 1 < prgs.size())
            append_pause(tap, options);
    }
    tap_fix_data_size(tap);
    return tap;
}

// The PETSCII bytes of a program's name, padded with `pad` to `size` bytes.
std::vector<uint8_t> petscii_name(const std::string &name, std::size_t size, uint8_t pad = 0x20);

// Appends pulses of a format to a TAP file's data (one byte per pulse).
class Writer {
public:
    Writer(std::vector<uint8_t> &tap, const Format &format) : tap_(tap), format_(format) {}
    void bit(int b) { tap_.push_back(b ? format_.ideal1 : format_.ideal0); }
    void byte(uint8_t value);
    void bytes(const uint8_t *data, std::size_t size);
    void bytes(const std::vector<uint8_t> &data) { bytes(data.data(), data.size()); }
    void repeat_byte(uint8_t value, std::size_t count);
    void zeros(std::size_t count);

private:
    std::vector<uint8_t> &tap_;
    Format format_;
};

} // namespace turbo
