// Tape image header and pulse decoding: the header's type, preview and
// platform, every pulse of TAP v0/1/2 and ZORV dumps, and the data-size fix.
#include "core/tapimage.h"
#include "fuzz_support.h"

#include <cstring>

namespace {

void check_pulses(const uint8_t *data, std::size_t size)
{
    const std::vector<TapePulse> pulses = decode_tape_pulses(data, size);
    if (size <= TAP_HEADER_SIZE) {
        FUZZ_CHECK(pulses.empty());
        return;
    }
    const bool zorv = tape_file_type(data) == FileType::ZorvDump;
    const uint8_t version = data[TAP_OFFSET_VERSION];
    // Pulses tile the data part: each starts where the one before ended.
    uint64_t expected_offset = TAP_HEADER_SIZE;
    std::size_t visited = 0;
    for_each_tape_pulse(data, size, [&](const TapePulse &p) {
        FUZZ_CHECK(visited < pulses.size());
        FUZZ_CHECK(p == pulses[visited]);
        ++visited;
    });
    FUZZ_CHECK(visited == pulses.size());
    for (const TapePulse &p : pulses) {
        FUZZ_CHECK(p.offset == expected_offset);
        FUZZ_CHECK(p.offset < size);
        const uint8_t b = data[p.offset];
        if (zorv) {
            FUZZ_CHECK(!p.long_form);
            FUZZ_CHECK(p.units >= 1 && p.units <= 0x2000);
            expected_offset += 2;
            continue;
        }
        if (b != 0) {
            FUZZ_CHECK(p.units == b && !p.long_form && !p.continues);
            expected_offset += 1;
        } else if (version == 0) {
            FUZZ_CHECK(p.units == TAP_V0_LONG_PULSE_UNITS && p.long_form && !p.continues);
            expected_offset += 1;
        } else if (version == 1 || version == 2) {
            FUZZ_CHECK(p.long_form);
            FUZZ_CHECK(p.continues == (p.units == TAP_OVERFLOW_UNITS && p.offset + 4 <= size &&
                                       data[p.offset + 1] == 0xFF && data[p.offset + 2] == 0xFF &&
                                       data[p.offset + 3] == 0xFF));
            FUZZ_CHECK(p.units <= TAP_OVERFLOW_UNITS);
            expected_offset += 1 + std::min<uint64_t>(3, size - p.offset - 1);
        } else {
            FUZZ_CHECK(p.units == 0 && !p.long_form && !p.continues);
            expected_offset += 1;
        }
    }
    // The last pulse reaches the end of the file (a lone last ZORV byte is a sample).
    FUZZ_CHECK(expected_offset == size || (zorv && expected_offset == size + 1));
}

void check_header(const uint8_t *data, std::size_t size)
{
    if (size < TAP_HEADER_SIZE)
        return;
    const FileType type = tape_file_type(data);
    const bool zorv = std::memcmp(data, TAP_MAGIC_ZORV, TAP_MAGIC_SIZE) == 0;
    const bool c64 = std::memcmp(data, TAP_MAGIC_C64, TAP_MAGIC_SIZE) == 0;
    const bool c16 = std::memcmp(data, TAP_MAGIC_C16, TAP_MAGIC_SIZE) == 0;
    FUZZ_CHECK((type == FileType::ZorvDump) == zorv);
    FUZZ_CHECK((type == FileType::C64Tap) == c64);
    FUZZ_CHECK((type == FileType::C16Tap) == c16);
    const unsigned platform = tape_platform_index(data, type);
    FUZZ_CHECK(platform == (zorv ? (data[TAP_OFFSET_PLATFORM] & 0x0Fu) : data[TAP_OFFSET_PLATFORM]));
    FUZZ_CHECK(machine_type_name(platform) != nullptr);
    FUZZ_CHECK(video_standard_name(data[TAP_OFFSET_VIDEO]) != nullptr);
    FUZZ_CHECK(choose_downsample(platform, data[TAP_OFFSET_VIDEO]) != nullptr);

    const TapePreview preview = tape_header_preview_from_header(data);
    const bool none = preview.file_type == TAPE_PREVIEW_NONE;
    FUZZ_CHECK(none == (type == FileType::Unknown));
    FUZZ_CHECK(!preview.file_type.empty() && !preview.platform.empty() && !preview.video.empty());
    if (none)
        FUZZ_CHECK(preview.platform == TAPE_PREVIEW_NONE && preview.video == TAPE_PREVIEW_NONE);

    TapeImageInfo info;
    std::memcpy(info.raw, data, TAP_HEADER_SIZE);
    FUZZ_CHECK(info.data_size() == fuzz::le32(data + TAP_OFFSET_DATA_SIZE));
    FUZZ_CHECK(info.version() == data[TAP_OFFSET_VERSION]);
}

// The size fix on a copy in memory: afterwards the field holds size - 20 and
// nothing else changed.
void check_size_fix(const uint8_t *data, std::size_t size)
{
    if (size == 0)
        return;
    std::vector<uint8_t> copy(data, data + size);
    FILE *stream = fmemopen(copy.data(), copy.size(), "r+");
    FUZZ_CHECK(stream != nullptr);
    common_fix_tap_file_size_in_header(stream);
    std::fclose(stream);
    if (size < TAP_HEADER_SIZE) {
        FUZZ_CHECK(std::memcmp(copy.data(), data, size) == 0);
        return;
    }
    fuzz::check_tape_size_field(copy);
    FUZZ_CHECK(std::memcmp(copy.data(), data, TAP_OFFSET_DATA_SIZE) == 0);
    FUZZ_CHECK(std::memcmp(copy.data() + TAP_HEADER_SIZE, data + TAP_HEADER_SIZE, size - TAP_HEADER_SIZE) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    check_header(data, size);
    check_pulses(data, size);
    check_size_fix(data, size);
    return 0;
}
