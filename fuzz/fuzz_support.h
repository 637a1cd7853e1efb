// Shared pieces of the libFuzzer harnesses: a failed invariant stops the run
// with a message (libFuzzer then keeps the input), a per-process temporary
// folder for the tools that write files, whole-file reads and writes, and the
// split of one input into a tape and a report.
#pragma once

#include <glib.h>
#include <glib/gstdio.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#define FUZZ_CHECK(cond)                                                                              \
    do {                                                                                              \
        if (!(cond)) {                                                                                \
            std::fprintf(stderr, "invariant failed at %s:%d: %s\n", __FILE__, __LINE__, #cond);       \
            std::abort();                                                                             \
        }                                                                                             \
    } while (0)

namespace fuzz {

// How often `what` stands in `text` (overlapping places counted).
inline std::size_t count_of(const std::string &text, const std::string &what)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

// One folder per process, made on first use and removed at exit; the
// harnesses overwrite their files in it on every run.
inline const std::string &temp_folder()
{
    static const std::string folder = [] {
        GError *error = nullptr;
        gchar *made = g_dir_make_tmp("qmfuzz-XXXXXX", &error);
        if (made == nullptr) {
            std::fprintf(stderr, "cannot make a temporary folder: %s\n", error->message);
            std::abort();
        }
        std::string path(made);
        g_free(made);
        static std::string removed_at_exit;
        removed_at_exit = path;
        std::atexit([] {
            const std::string command = "rm -rf '" + removed_at_exit + "'";
            if (std::system(command.c_str()) != 0)
                std::fprintf(stderr, "could not remove %s\n", removed_at_exit.c_str());
        });
        return path;
    }();
    return folder;
}

inline std::string temp_path(const std::string &name)
{
    return temp_folder() + "/" + name;
}

inline void write_file(const std::string &path, const uint8_t *data, std::size_t size)
{
    FILE *f = g_fopen(path.c_str(), "wb");
    FUZZ_CHECK(f != nullptr);
    if (size > 0)
        FUZZ_CHECK(std::fwrite(data, 1, size, f) == size);
    FUZZ_CHECK(std::fclose(f) == 0);
}

inline void write_file(const std::string &path, const std::string &text)
{
    write_file(path, reinterpret_cast<const uint8_t *>(text.data()), text.size());
}

// The whole file, or false when it does not exist.
inline bool read_file(const std::string &path, std::vector<uint8_t> &bytes)
{
    gchar *contents = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &contents, &length, nullptr))
        return false;
    bytes.assign(reinterpret_cast<uint8_t *>(contents), reinterpret_cast<uint8_t *>(contents) + length);
    g_free(contents);
    return true;
}

inline uint32_t le32(const uint8_t *p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// A tape image written by one of the tools: its header's data-size field
// holds the data length (file size - 20).
inline void check_tape_size_field(const std::vector<uint8_t> &tape)
{
    if (tape.size() < 20)
        return;
    FUZZ_CHECK(le32(tape.data() + 16) == uint32_t(tape.size() - 20));
}

// Input of the tools that take a tape and a report: a 16-bit little-endian
// tape length, a byte of flags (exclude / cut marks / ticks, one bit per row,
// repeating every 8 rows), the tape, then the report text.
struct TapeAndReport {
    std::vector<uint8_t> tape;
    std::string report;
    uint8_t flags = 0;

    bool flag(std::size_t row) const { return (flags >> (row % 8)) & 1; }
};

inline bool split_tape_and_report(const uint8_t *data, std::size_t size, TapeAndReport &out)
{
    if (size < 3)
        return false;
    std::size_t tape_size = std::size_t(data[0]) | std::size_t(data[1]) << 8;
    out.flags = data[2];
    data += 3;
    size -= 3;
    if (tape_size > size)
        tape_size = size;
    out.tape.assign(data, data + tape_size);
    out.report.assign(reinterpret_cast<const char *>(data + tape_size), size - tape_size);
    return true;
}

} // namespace fuzz

#include "core/reportfile.h"

namespace fuzz {

// Parses report text held in memory, as the front end parses the file.
inline ParsedReport parse_report_text(const std::string &text, ReportTotals previous = ReportTotals())
{
    FILE *stream = text.empty() ? std::fopen("/dev/null", "r")
                                : fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    FUZZ_CHECK(stream != nullptr);
    ParsedReport report = report_parse_stream(stream, previous);
    std::fclose(stream);
    return report;
}

} // namespace fuzz
