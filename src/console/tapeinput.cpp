#include "console/tapeinput.h"

#include "core/tapimage.h"

#include <glib.h>

#include <string>

TapeInput read_tape_input(const std::string &path)
{
    TapeInput in;
    if (!g_file_test(path.c_str(), G_FILE_TEST_EXISTS)) {
        in.error = "the file does not exist";
        return in;
    }
    if (g_file_test(path.c_str(), G_FILE_TEST_IS_DIR)) {
        in.error = "it is a folder, not a tape file";
        return in;
    }
    gchar *contents = nullptr;
    gsize length = 0;
    GError *error = nullptr;
    if (!g_file_get_contents(path.c_str(), &contents, &length, &error)) {
        in.error = std::string("the file cannot be read: ") + (error != nullptr ? error->message : "unknown error");
        g_clear_error(&error);
        return in;
    }
    in.size_known = true;
    in.file_size = length;
    in.bytes.assign(reinterpret_cast<const uint8_t *>(contents), reinterpret_cast<const uint8_t *>(contents) + length);
    g_free(contents);

    if (length == 0) {
        in.error = "the file is empty";
        return in;
    }
    if (length < TAP_HEADER_SIZE) {
        in.error = "the file is only " + std::to_string(length) +
                   " bytes long, shorter than the 20-byte header of a tape image";
        return in;
    }
    const FileType type = tape_file_type(in.bytes.data());
    if (type == FileType::Unknown) {
        in.error = "not a tape image: it starts with none of \"C64-TAPE-RAW\", \"C16-TAPE-RAW\" and \"ZORV-TAP-RAW\"";
        return in;
    }
    const unsigned version = in.bytes[TAP_OFFSET_VERSION];
    if (type != FileType::ZorvDump && version > 2) {
        in.error = "TAP version " + std::to_string(version) + " is not supported (versions 0, 1 and 2 are)";
        return in;
    }
    in.ok = true;
    return in;
}

std::string tape_format_text(const TapeScan &scan)
{
    const char *kind = scan.file_type == FileType::ZorvDump ? "ZORV dump"
                       : scan.file_type == FileType::C16Tap ? "C16 TAP"
                                                            : "C64 TAP";
    const unsigned platform = tape_platform_index(scan.header, scan.file_type);
    const unsigned video = scan.header[TAP_OFFSET_VIDEO];
    const char *platform_name = platform < 3 ? machine_types[platform] : "unknown platform";
    const char *video_name = video < 2 ? video_standards[video] : "unknown video standard";
    return std::string(kind) + " version " + std::to_string(scan.header[TAP_OFFSET_VERSION]) + ", " +
           platform_name + ", " + video_name;
}
