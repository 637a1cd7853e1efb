// The CBM ROM scanner alone on a fuzzed tape: the framework's invariants plus
// what every recognised copy must hold (checkbyte, CRC, header fields, pulse
// classes and read errors, bytes lost in dropouts), and the PETSCII name
// rendering.
#include "core/cbmscan.h"
#include "scan_checks.h"

namespace {

void check_name_rendering(const uint8_t *data, std::size_t size)
{
    const std::size_t n = std::min<std::size_t>(size, 32);
    const std::string name = petscii_name_to_ascii(data, n);
    FUZZ_CHECK(name.size() <= n);
    for (char c : name) {
        const unsigned char u = static_cast<unsigned char>(c);
        FUZZ_CHECK((u >= 0x20 && u <= 0x5B) || u == 0x5D || (u >= 'a' && u <= 'z'));
    }
}

void check_copy(const TapeScan &scan, std::size_t k)
{
    const TapeEntry &e = scan.entries[k];
    FUZZ_CHECK(e.scanner == &cbm_rom_scanner);
    FUZZ_CHECK(e.type == CBM_TYPE_HEADER || e.type == CBM_TYPE_DATA);
    FUZZ_CHECK(e.copy == CopyId::First || e.copy == CopyId::Repeat);
    FUZZ_CHECK(e.pulse_count >= CBM_MIN_LEADER_PULSES);
    FUZZ_CHECK(e.has_checkbyte && e.has_crc);
    uint8_t x = 0;
    for (uint8_t b : e.payload)
        x ^= b;
    FUZZ_CHECK(e.checkbyte_computed == x);
    // Bytes lost in dropouts stand as 0 and fail the copy.
    std::size_t lost = 0;
    for (const auto &run : e.lost_bytes) {
        FUZZ_CHECK(run.second > 0 && run.first + run.second <= e.payload.size() + 1);
        for (std::size_t b = run.first; b < run.first + run.second && b < e.payload.size(); ++b)
            FUZZ_CHECK(e.payload[b] == 0);
        lost += run.second;
    }
    FUZZ_CHECK(e.checkbyte_pass == (lost == 0 && e.checkbyte_on_tape == e.checkbyte_computed));
    FUZZ_CHECK(e.crc32 == crc32_of(e.payload));
    // The bytes read lie in order; a dropout's debris may stand between them.
    if (e.lost_bytes.empty() && e.inner_end_pulse != e.inner_start_pulse + e.payload.size() * 20)
        FUZZ_CHECK(e.inner_end_pulse > e.inner_start_pulse + e.payload.size() * 20);
    FUZZ_CHECK(e.inner_end_pulse >= e.inner_start_pulse + (e.payload.size() - std::min(lost, e.payload.size())) * 20);
    FUZZ_CHECK(e.inner_start_pulse <= e.inner_end_pulse && e.inner_end_pulse < e.first_pulse + e.pulse_count);
    FUZZ_CHECK(e.first_pulse <= e.sync_pulse && e.sync_pulse < e.inner_start_pulse);
    if (e.type == CBM_TYPE_HEADER) {
        FUZZ_CHECK(e.payload.size() == 192);
        FUZZ_CHECK(e.block_type == 1 || e.block_type == 3 || e.block_type == 4 || e.block_type == 5);
        FUZZ_CHECK(e.block_type == e.payload[0]);
        FUZZ_CHECK(e.has_addresses && e.has_name && e.raw_name.size() == 16);
        FUZZ_CHECK(e.load_address == uint16_t(e.payload[1] | e.payload[2] << 8));
        FUZZ_CHECK(e.end_address == uint16_t(e.payload[3] | e.payload[4] << 8));
        FUZZ_CHECK(e.name == petscii_name_to_ascii(e.raw_name.data(), e.raw_name.size()));
        FUZZ_CHECK(e.header_entry == -1);
    } else {
        FUZZ_CHECK(e.block_type == -1);
        FUZZ_CHECK(e.header_entry < int(k));
        if (e.header_entry >= 0) {
            FUZZ_CHECK(e.has_addresses);
            const TapeEntry &h = scan.entries[std::size_t(e.header_entry)];
            FUZZ_CHECK(h.type == CBM_TYPE_HEADER);
            FUZZ_CHECK(h.load_address == e.load_address && h.end_address == e.end_address);
        }
    }
    if (e.has_addresses)
        FUZZ_CHECK(e.size == uint16_t(e.end_address - e.load_address));
    // Every pulse classed but a dropout's debris among the bytes; the read errors count the
    // flagged pulses and 20 for every byte lost.
    std::size_t errors = lost * 20;
    for (std::size_t i = e.first_pulse; i < e.first_pulse + e.pulse_count; ++i) {
        const bool among_bytes = i >= e.inner_start_pulse && i < e.inner_end_pulse;
        FUZZ_CHECK(among_bytes || scan.pulse_class(i) != PulseClass::None);
        errors += scan.pulse_read_error(i) ? 1 : 0;
    }
    FUZZ_CHECK(errors == e.read_errors);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    check_name_rendering(data, size);
    const TapeScan scan = scan_tape(data, size, scan_options_for(size), {&cbm_rom_scanner});
    check_scan(data, size, scan);
    for (std::size_t k = 0; k < scan.entries.size(); ++k) {
        const TapeEntry &e = scan.entries[k];
        if (e.kind == EntryKind::File) {
            check_copy(scan, k);
            continue;
        }
        // Pulses no scanner claimed keep no class.
        for (std::size_t i = e.first_pulse; i < e.first_pulse + e.pulse_count; ++i)
            FUZZ_CHECK(scan.pulse_info[i] == 0);
    }
    return 0;
}
