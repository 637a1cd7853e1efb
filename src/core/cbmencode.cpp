// Programs to CBM ROM-loader pulses in a TAP file.
#include "core/cbmencode.h"

#include "core/tapimage.h"

#include <cmath>
#include <cstring>

namespace {

constexpr uint32_t C64_PAL_HZ = 985248;
constexpr uint32_t C64_NTSC_HZ = 1022720;
constexpr uint32_t VIC_PAL_HZ = 1108416;
constexpr uint32_t VIC_NTSC_HZ = 1022720;

// A C64 value (units of 8 cycles at the PAL clock) as units of 8 cycles at `hz`, rounded.
uint8_t same_duration(uint8_t c64_units, uint32_t hz)
{
    const uint64_t num = uint64_t(c64_units) * hz;
    return static_cast<uint8_t>((2 * num + C64_PAL_HZ) / (2 * uint64_t(C64_PAL_HZ)));
}

} // namespace

CbmPulseSet cbm_ideal_pulses(bool vic20, bool ntsc)
{
    const CbmPulseSet c64;
    if (!vic20)
        return c64;
    const uint32_t hz = machine_clock_hz(true, ntsc);
    CbmPulseSet vic;
    vic.s = same_duration(c64.s, hz);
    vic.m = same_duration(c64.m, hz);
    vic.l = same_duration(c64.l, hz);
    return vic;
}

uint32_t machine_clock_hz(bool vic20, bool ntsc)
{
    if (vic20)
        return ntsc ? VIC_NTSC_HZ : VIC_PAL_HZ;
    return ntsc ? C64_NTSC_HZ : C64_PAL_HZ;
}

std::string prg_input_problem(const PrgInput &prg)
{
    if (prg.bytes.size() < 2)
        return "shorter than its 2-byte load address";
    const std::size_t load = prg.bytes[0] | (std::size_t(prg.bytes[1]) << 8);
    if (load + (prg.bytes.size() - 2) > 0x10000)
        return "does not fit below $10000";
    return std::string();
}

void cbm_append_pulses(std::vector<uint8_t> &tap, uint8_t units, std::size_t count)
{
    tap.insert(tap.end(), count, units);
}

void cbm_append_byte(std::vector<uint8_t> &tap, uint8_t value, const CbmPulseSet &p)
{
    uint8_t pulses[CBM_PULSES_PER_BYTE];
    pulses[0] = p.l;
    pulses[1] = p.m;
    unsigned parity = 1;
    for (int bit = 0; bit < 8; ++bit) {
        const unsigned b = (value >> bit) & 1u;
        parity ^= b;
        pulses[2 + 2 * bit] = b ? p.m : p.s;
        pulses[3 + 2 * bit] = b ? p.s : p.m;
    }
    pulses[18] = parity ? p.m : p.s;
    pulses[19] = parity ? p.s : p.m;
    tap.insert(tap.end(), pulses, pulses + CBM_PULSES_PER_BYTE);
}

void cbm_append_end_marker(std::vector<uint8_t> &tap, const CbmPulseSet &p)
{
    tap.push_back(p.l);
    tap.push_back(p.s);
}

void cbm_append_copy(std::vector<uint8_t> &tap, const uint8_t *payload, std::size_t size,
                     bool repeat, std::size_t leader, const CbmPulseSet &p)
{
    tap.reserve(tap.size() + leader + (CBM_COUNTDOWN_BYTES + size + 1) * CBM_PULSES_PER_BYTE + 2);
    cbm_append_pulses(tap, p.s, leader);
    const uint8_t countdown = repeat ? CBM_COUNTDOWN_REPEAT : CBM_COUNTDOWN_FIRST;
    for (std::size_t i = 0; i < CBM_COUNTDOWN_BYTES; ++i)
        cbm_append_byte(tap, static_cast<uint8_t>(countdown - i), p);
    uint8_t check = 0;
    for (std::size_t i = 0; i < size; ++i) {
        cbm_append_byte(tap, payload[i], p);
        check ^= payload[i];
    }
    cbm_append_byte(tap, check, p);
    cbm_append_end_marker(tap, p);
}

void tap_append_pause(std::vector<uint8_t> &tap, uint64_t cycles, int tap_version)
{
    if (cycles == 0)
        return;
    if (tap_version == 0) {
        uint64_t zeros = (cycles + TAP_V0_ZERO_BYTE_CYCLES / 2) / TAP_V0_ZERO_BYTE_CYCLES;
        if (zeros == 0)
            zeros = 1;
        tap.insert(tap.end(), zeros, 0);
        return;
    }
    const uint64_t pieces = (cycles + TAP_V1_MAX_PULSE_CYCLES - 1) / TAP_V1_MAX_PULSE_CYCLES;
    const uint64_t base = cycles / pieces;
    uint64_t extra = cycles % pieces;  // the first `extra` pieces are one cycle longer
    for (uint64_t i = 0; i < pieces; ++i) {
        const uint32_t c = static_cast<uint32_t>(base + (extra > 0 ? 1 : 0));
        if (extra > 0)
            --extra;
        tap.push_back(0);
        tap.push_back(static_cast<uint8_t>(c & 0xFF));
        tap.push_back(static_cast<uint8_t>((c >> 8) & 0xFF));
        tap.push_back(static_cast<uint8_t>((c >> 16) & 0xFF));
    }
}

uint8_t ascii_to_petscii(char c)
{
    if (c >= 'a' && c <= 'z')
        return static_cast<uint8_t>(c - 'a' + 'A');
    return static_cast<uint8_t>(c);
}

std::vector<uint8_t> cbm_header_payload(uint8_t type, uint16_t load, uint16_t end,
                                        const std::string &name)
{
    std::vector<uint8_t> h(CBM_HEADER_PAYLOAD_SIZE, CBM_PAD_BYTE);
    h[0] = type;
    h[1] = static_cast<uint8_t>(load & 0xFF);
    h[2] = static_cast<uint8_t>(load >> 8);
    h[3] = static_cast<uint8_t>(end & 0xFF);
    h[4] = static_cast<uint8_t>(end >> 8);
    for (std::size_t i = 0; i < CBM_NAME_SIZE && i < name.size(); ++i)
        h[5 + i] = ascii_to_petscii(name[i]);
    return h;
}

void cbm_append_prg(std::vector<uint8_t> &tap, const PrgInput &prg, const EncodeOptions &options)
{
    const CbmPulseSet p = cbm_ideal_pulses(options.vic20, options.ntsc);
    const uint16_t load = prg.bytes.size() >= 2 ? uint16_t(prg.bytes[0] | (prg.bytes[1] << 8)) : 0;
    const uint8_t *data = prg.bytes.size() > 2 ? prg.bytes.data() + 2 : nullptr;
    const std::size_t size = prg.bytes.size() > 2 ? prg.bytes.size() - 2 : 0;
    const uint16_t end = static_cast<uint16_t>((load + size) & 0xFFFF);
    const std::vector<uint8_t> header = cbm_header_payload(options.header_type, load, end, prg.name);
    const int version = options.tap_version == 0 ? 0 : 1;

    cbm_append_copy(tap, header.data(), header.size(), false, CBM_HEADER_LEADER_PULSES, p);
    cbm_append_copy(tap, header.data(), header.size(), true, CBM_COPY_GAP_PULSES, p);
    cbm_append_pulses(tap, p.s, CBM_TRAILER_PULSES);
    tap_append_pause(tap, CBM_HEADER_DATA_PAUSE_CYCLES, version);
    cbm_append_copy(tap, data, size, false, CBM_DATA_LEADER_PULSES, p);
    cbm_append_copy(tap, data, size, true, CBM_COPY_GAP_PULSES, p);
    cbm_append_pulses(tap, p.s, CBM_TRAILER_PULSES);
}

std::vector<uint8_t> tap_file_header(int tap_version, bool vic20, bool ntsc, uint32_t data_size)
{
    std::vector<uint8_t> h(TAP_HEADER_SIZE, 0);
    std::memcpy(h.data(), TAP_MAGIC_C64, TAP_MAGIC_SIZE);
    h[TAP_OFFSET_VERSION] = static_cast<uint8_t>(tap_version == 0 ? 0 : 1);
    h[TAP_OFFSET_PLATFORM] = vic20 ? 1 : 0;
    h[TAP_OFFSET_VIDEO] = ntsc ? 1 : 0;
    for (int i = 0; i < 4; ++i)
        h[TAP_OFFSET_DATA_SIZE + i] = static_cast<uint8_t>((data_size >> (8 * i)) & 0xFF);
    return h;
}

void tap_fix_data_size(std::vector<uint8_t> &file)
{
    if (file.size() < TAP_HEADER_SIZE)
        return;
    const uint64_t size = file.size() - TAP_HEADER_SIZE;
    for (int i = 0; i < 4; ++i)
        file[TAP_OFFSET_DATA_SIZE + i] = static_cast<uint8_t>((size >> (8 * i)) & 0xFF);
}

std::vector<uint8_t> encode_tap(const std::vector<PrgInput> &prgs, const EncodeOptions &options)
{
    for (const PrgInput &prg : prgs)
        if (!prg_input_problem(prg).empty())
            return {};
    std::vector<uint8_t> tap = tap_file_header(options.tap_version, options.vic20, options.ntsc, 0);
    std::size_t estimate = 0;
    for (const PrgInput &prg : prgs)
        estimate += 2 * (CBM_HEADER_LEADER_PULSES + CBM_DATA_LEADER_PULSES) +
                    2 * (prg.bytes.size() + CBM_HEADER_PAYLOAD_SIZE + 40) * CBM_PULSES_PER_BYTE;
    tap.reserve(tap.size() + estimate);

    // Up to a day of silence; NaN or a negative value gives none.
    const double seconds = options.pause_seconds > 0 ? std::fmin(options.pause_seconds, 86400.0) : 0.0;
    const uint64_t pause = static_cast<uint64_t>(
        std::llround(seconds * machine_clock_hz(options.vic20, options.ntsc)));
    for (std::size_t i = 0; i < prgs.size(); ++i) {
        if (i > 0)
            tap_append_pause(tap, pause, options.tap_version);
        cbm_append_prg(tap, prgs[i], options);
    }
    tap_fix_data_size(tap);
    return tap;
}
