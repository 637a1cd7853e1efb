// The pilots of an unknown turbo; see turbopilots.h.
#include "core/turbopilots.h"

namespace turbo_shape {

// The pilots of one byte (or of one bit) among bits [begin, end).
std::vector<Pilot> find_pilots(const std::vector<uint8_t> &bit, std::size_t begin, std::size_t end)
{
    std::vector<Pilot> out;
    // repeat_from: where the run of bits equal to those 8 before began;
    // same_from: where the run of one bit value began.
    std::size_t repeat_from = begin, same_from = begin;
    const auto close = [&](std::size_t at) {
        const bool uniform = same_from <= repeat_from + 8;
        const bool bits = uniform && at - same_from >= MIN_PILOT_BITS;
        if (!bits && at - repeat_from < 8 * MIN_SHORT_PILOT_BYTES)
            return;
        Pilot p;
        p.start = uniform ? std::max(same_from, repeat_from) : repeat_from;
        p.end = at;
        p.bits = bits;
        p.uniform = uniform;
        p.at_part_start = p.start < begin + PART_START_SLACK;
        // A pilot leads into a block: a run of one bit value with less than
        // a few bytes after it before the next pilot is a block's trailer
        // (a long one only before another long pilot).
        const bool long_pilot = bits || at - repeat_from >= 8 * MIN_PILOT_BYTES;
        if (!out.empty() && out.back().uniform && (!out.back().bits || long_pilot) &&
            p.start < out.back().end + 8 * 16)
            out.pop_back();
        out.push_back(p);
    };
    for (std::size_t q = begin + 1; q < end; ++q) {
        if (q >= begin + 8 && bit[q] != bit[q - 8]) {
            close(q);
            repeat_from = q - 7;  // the 8 bits before q may begin the next pilot
        }
        if (bit[q] != bit[q - 1])
            same_from = q;
    }
    if (!out.empty() && out.back().end + 8 * 16 > end)
        out.pop_back();
    return out;
}

// The long pilots of a pair of different bytes repeated (IRQTape's lead-in
// $C3 $FF ...) among bits [begin, end).
std::vector<Pilot> find_pair_pilots(const std::vector<uint8_t> &bit, std::size_t begin, std::size_t end)
{
    std::vector<Pilot> out;
    std::size_t from = begin;
    const auto close = [&](std::size_t at) {
        if (at - from < 8 * MIN_PILOT_BYTES || at + 8 * 16 > end)
            return;
        bool differ = false;
        for (std::size_t k = from; k < from + 8; ++k)
            differ = differ || bit[k] != bit[k + 8];
        if (!differ)
            return;  // a pilot of one byte
        Pilot p;
        p.start = from;
        p.end = at;
        p.pair = true;
        p.at_part_start = from < begin + PART_START_SLACK;
        out.push_back(p);
    };
    for (std::size_t q = begin + 16; q < end; ++q)
        if (bit[q] != bit[q - 16]) {
            close(q);
            from = q - 15;
        }
    return out;
}

} // namespace turbo_shape
