// Tape image header, tables, sample conversions and pulse decoding.
#include "core/tapimage.h"

#include <cstring>

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

const char TAP_MAGIC_ZORV[] = "ZORV-TAP-RAW";
const char TAP_MAGIC_C64[] = "C64-TAPE-RAW";
const char TAP_MAGIC_C16[] = "C16-TAPE-RAW";
static_assert(sizeof(TAP_MAGIC_ZORV) == TAP_MAGIC_SIZE + 1, "magic length");
static_assert(sizeof(TAP_MAGIC_C64) == TAP_MAGIC_SIZE + 1, "magic length");
static_assert(sizeof(TAP_MAGIC_C16) == TAP_MAGIC_SIZE + 1, "magic length");

const char TAPE_PREVIEW_NONE[] = "---";

const char *const machine_types[3] = {
    N_("Commodore 64"),
    N_("VIC 20"),
    N_("Commodore 16"),
};

const char *const video_standards[2] = {
    N_("PAL"),
    N_("NTSC"),
};

FileType tape_file_type(const uint8_t *header20)
{
    if (header20 == nullptr)
        return FileType::Unknown;
    // The order of the comparisons is part of the contract.
    if (std::memcmp(header20, TAP_MAGIC_ZORV, TAP_MAGIC_SIZE) == 0)
        return FileType::ZorvDump;
    if (std::memcmp(header20, TAP_MAGIC_C64, TAP_MAGIC_SIZE) == 0)
        return FileType::C64Tap;
    if (std::memcmp(header20, TAP_MAGIC_C16, TAP_MAGIC_SIZE) == 0)
        return FileType::C16Tap;
    return FileType::Unknown;
}

int common_read_tap_file_header(const char *path, uint8_t *header20)
{
    if (path == nullptr || header20 == nullptr)
        return 0;
    if (g_file_test(path, G_FILE_TEST_IS_DIR))
        return 0;

    FILE *f = g_fopen(path, "rb");
    if (f == nullptr)
        return 0;
    const std::size_t got = std::fread(header20, 1, TAP_HEADER_SIZE, f);
    std::fclose(f);
    return got == TAP_HEADER_SIZE ? 1 : 0;
}

unsigned tape_platform_index(const uint8_t *header20, FileType type)
{
    const uint8_t b = header20[TAP_OFFSET_PLATFORM];
    if (type == FileType::ZorvDump)
        return b & 0x0Fu;
    return b;
}

const char *machine_type_name(unsigned index)
{
    if (index < G_N_ELEMENTS(machine_types))
        return _(machine_types[index]);
    return _("Unknown");
}

const char *video_standard_name(unsigned index)
{
    if (index < G_N_ELEMENTS(video_standards))
        return _(video_standards[index]);
    return _("Unknown");
}

namespace {

std::string take_gstring(gchar *s)
{
    std::string out(s != nullptr ? s : "");
    g_free(s);
    return out;
}

TapePreview preview_none()
{
    return TapePreview{TAPE_PREVIEW_NONE, TAPE_PREVIEW_NONE, TAPE_PREVIEW_NONE};
}

}  // namespace

TapePreview tape_header_preview_from_header(const uint8_t *header20)
{
    const FileType type = tape_file_type(header20);
    if (type == FileType::Unknown)
        return preview_none();

    const int version = header20[TAP_OFFSET_VERSION];
    TapePreview p;
    switch (type) {
    case FileType::ZorvDump:
        p.file_type = take_gstring(g_strdup_printf(_("ZORV v %d"), version));
        break;
    case FileType::C64Tap: {
        // "Standard" needs version 0 or 1 with platform, video and reserved
        // all zero, so a valid NTSC or VIC 20 file is "non-standard" too.
        const bool standard = (version == 0 || version == 1) &&
                              header20[TAP_OFFSET_PLATFORM] == 0 &&
                              header20[TAP_OFFSET_VIDEO] == 0 &&
                              header20[TAP_OFFSET_RESERVED] == 0;
        if (standard)
            p.file_type = take_gstring(g_strdup_printf(_("Standard TAP v %d"), version));
        else
            p.file_type = take_gstring(g_strdup_printf(_("Non-standard TAP v %d"), version));
        break;
    }
    case FileType::C16Tap:
        p.file_type =
            take_gstring(g_strdup_printf(_("Markus' Extended TAP v %d"), version));
        break;
    case FileType::Unknown:
        break;
    }
    p.platform = machine_type_name(tape_platform_index(header20, type));
    p.video = video_standard_name(header20[TAP_OFFSET_VIDEO]);
    return p;
}

TapePreview tape_header_preview(const char *path)
{
    if (path == nullptr)
        return preview_none();
    uint8_t header[TAP_HEADER_SIZE];
    if (!common_read_tap_file_header(path, header))
        return preview_none();
    return tape_header_preview_from_header(header);
}

// Each conversion is samples x clock / 2,000,000, reduced, with half the
// divisor added first so that the quotient rounds to nearest.
uint64_t downsample_c64_pal(uint64_t s) { return (s * 30789u + 31250u) / 62500u; }
uint64_t downsample_c64_ntsc(uint64_t s) { return (s * 15980u + 15625u) / 31250u; }
uint64_t downsample_vic_pal(uint64_t s) { return (s * 17319u + 15625u) / 31250u; }
// Deliberately the same clock as the C64 NTSC conversion.
uint64_t downsample_vic_ntsc(uint64_t s) { return (s * 15980u + 15625u) / 31250u; }
uint64_t downsample_c16_pal(uint64_t s) { return (s * 27710u + 31250u) / 62500u; }
uint64_t downsample_c16_ntsc(uint64_t s) { return (s * 27965u + 31250u) / 62500u; }

DownsampleFunc choose_downsample(unsigned platform, unsigned video)
{
    switch (platform) {
    case 0:
        return video == 1 ? downsample_c64_ntsc : downsample_c64_pal;
    case 1:
        if (video == 0)
            return downsample_vic_pal;
        if (video == 1)
            return downsample_vic_ntsc;
        return downsample_c64_pal;
    case 2:
        if (video == 0)
            return downsample_c16_pal;
        if (video == 1)
            return downsample_c16_ntsc;
        return downsample_c64_pal;
    default:
        return downsample_c64_pal;
    }
}

uint32_t zorv_sample_to_units(uint64_t sample, DownsampleFunc f)
{
    if (f == nullptr)
        f = downsample_c64_pal;
    const uint32_t cycles = static_cast<uint32_t>(f(sample) & 0xFFFFu);
    if (cycles < 4)
        return 1;
    return (cycles + 4) >> 3;
}

std::vector<TapePulse> decode_tape_pulses(const uint8_t *file, std::size_t size)
{
    // Count first so that a multi-megabyte tape is stored without regrowth.
    std::size_t count = 0;
    for_each_tape_pulse(file, size, [&count](const TapePulse &) { ++count; });
    std::vector<TapePulse> pulses;
    pulses.reserve(count);
    for_each_tape_pulse(file, size,
                        [&pulses](const TapePulse &p) { pulses.push_back(p); });
    return pulses;
}

void common_fix_tap_file_size_in_header(FILE *stream)
{
    if (stream == nullptr)
        return;
    if (std::fseek(stream, 0, SEEK_END) != 0)
        return;
    const long length = std::ftell(stream);
    if (length < static_cast<long>(TAP_HEADER_SIZE))
        return;  // no complete header, nothing to fix; still at the end

    const uint32_t size = static_cast<uint32_t>(length - static_cast<long>(TAP_HEADER_SIZE));
    const uint8_t le[4] = {
        static_cast<uint8_t>(size & 0xFFu),
        static_cast<uint8_t>((size >> 8) & 0xFFu),
        static_cast<uint8_t>((size >> 16) & 0xFFu),
        static_cast<uint8_t>((size >> 24) & 0xFFu),
    };
    if (std::fseek(stream, static_cast<long>(TAP_OFFSET_DATA_SIZE), SEEK_SET) == 0)
        std::fwrite(le, 1, sizeof le, stream);
    std::fseek(stream, 0, SEEK_END);
}
