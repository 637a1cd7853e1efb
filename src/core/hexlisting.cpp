#include "core/hexlisting.h"

#include <glib/gstdio.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr size_t BYTES_PER_LINE = 16;
constexpr size_t PROGRESS_STEP = 1024;

// "\nAAAA: " + 16 x "XX " + "'" + 16 characters + "'".
constexpr size_t FULL_LINE_SIZE = 1 + 6 + 3 * BYTES_PER_LINE + 1 + BYTES_PER_LINE + 1;

// The character-column form of one byte: ASCII letters, digits and the space
// stand for themselves, anything else is "." (so the result never depends on
// the user's locale, and no byte from 128 up, not UTF-8 by itself, is shown).
constexpr char column_char(unsigned b)
{
    const bool shown = (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || b == ' ';
    return shown ? static_cast<char>(b) : '.';
}

// Per byte value: its two hexadecimal digits and a blank, and its column
// character without and with screen-code conversion (screen codes below 32
// shown as b + 64).
struct ByteTables {
    char hex[256][3] = {};
    char column[2][256] = {};

    constexpr ByteTables()
    {
        constexpr char digits[] = "0123456789ABCDEF";
        for (unsigned b = 0; b < 256; ++b) {
            hex[b][0] = digits[b >> 4];
            hex[b][1] = digits[b & 15];
            hex[b][2] = ' ';
            column[0][b] = column_char(b);
            column[1][b] = column_char(b < 32 ? b + 64 : b);
        }
    }
};

constexpr ByteTables TABLES;

// Writes "\nAAAA: " at out; returns the position after it.
char *put_address(char *out, unsigned address)
{
    *out++ = '\n';
    std::memcpy(out, TABLES.hex[address >> 8], 2);
    std::memcpy(out + 2, TABLES.hex[address & 0xFF], 2);
    out[4] = ':';
    out[5] = ' ';
    return out + 6;
}

// Writes "XX " for each of count bytes.
char *put_bytes(char *out, const uint8_t *bytes, size_t count)
{
    for (size_t j = 0; j < count; j++, out += 3)
        std::memcpy(out, TABLES.hex[bytes[j]], 3);
    return out;
}

// Writes the quoted character column of count bytes.
char *put_column(char *out, const uint8_t *bytes, size_t count, const char *column)
{
    *out++ = '\'';
    for (size_t j = 0; j < count; j++)
        *out++ = column[bytes[j]];
    *out++ = '\'';
    return out;
}

// Writes the full lines of `lines` x 16 bytes, the first at `address`.
char *put_full_lines(char *out, const uint8_t *bytes, size_t lines, unsigned address, const char *column)
{
    for (size_t line = 0; line < lines; ++line, bytes += BYTES_PER_LINE, address += BYTES_PER_LINE) {
        out = put_address(out, address % 65536u);
        out = put_bytes(out, bytes, BYTES_PER_LINE);
        out = put_column(out, bytes, BYTES_PER_LINE, column);
    }
    return out;
}

// Size of what put_end() writes for r < 16 bytes left.
constexpr size_t end_size(size_t r)
{
    return r == 0 ? 1 : 1 + 6 + 3 * BYTES_PER_LINE + 1 + r + 1 + 1;
}

// Writes the end of the listing: the short last line of r bytes and a line
// break, or the line break alone.
char *put_end(char *out, const uint8_t *bytes, size_t r, unsigned address, const char *column)
{
    if (r > 0) {
        out = put_address(out, address % 65536u);
        out = put_bytes(out, bytes, r);
        std::memset(out, ' ', 3 * (BYTES_PER_LINE - r));
        out = put_column(out + 3 * (BYTES_PER_LINE - r), bytes, r, column);
    }
    *out++ = '\n';
    return out;
}

const char *column_table(int convert)
{
    return TABLES.column[convert == 1 ? 1 : 0];
}

} // namespace

int make_hex_listing_bytes(const uint8_t *data, size_t size, int convert, GString *text,
                           const DecodeHooks &hooks)
{
    if (size < 3)
        return 0;

    const unsigned load = data[0] + 256u * data[1];
    const uint8_t *bytes = data + 2;
    const size_t n = size - 2;
    const size_t full = n - n % BYTES_PER_LINE;
    const char *column = column_table(convert);

    // The whole listing is written into the string grown once to its final size.
    const size_t start = text->len;
    g_string_set_size(text, start + full / BYTES_PER_LINE * FULL_LINE_SIZE + end_size(n - full));
    char *out = text->str + start;

    // Progress is reported after every line whose data offset is a multiple of 1024.
    const size_t lines_per_step = PROGRESS_STEP / BYTES_PER_LINE;
    for (size_t o = 0; o < full; o += PROGRESS_STEP) {
        const size_t lines = (full - o) / BYTES_PER_LINE < lines_per_step ? (full - o) / BYTES_PER_LINE
                                                                         : lines_per_step;
        out = put_full_lines(out, bytes + o, 1, load + static_cast<unsigned>(o), column);
        if (hooks.progress)
            hooks.progress(static_cast<double>(o) / static_cast<double>(n), hooks.user);
        out = put_full_lines(out, bytes + o + BYTES_PER_LINE, lines - 1,
                             load + static_cast<unsigned>(o + BYTES_PER_LINE), column);
    }
    put_end(out, bytes + full, n - full, load + static_cast<unsigned>(full), column);
    return 1;
}

int make_hex_listing(const char *filename, int convert, GString *text, const DecodeHooks &hooks)
{
    return decode_file(filename, hooks, [&](const uint8_t *data, size_t size) {
        return make_hex_listing_bytes(data, size, convert, text, hooks);
    });
}

namespace {

// The file listed through a growing string, for the cases the streaming
// writer leaves to the whole-file reader (which reports load errors).
int write_whole_listing(const char *filename, int convert, FILE *out, const DecodeHooks &hooks)
{
    GString *text = g_string_new(nullptr);
    const int listed = make_hex_listing(filename, convert, text, hooks);
    if (listed == 1)
        std::fwrite(text->str, 1, text->len, out);
    g_string_free(text, TRUE);
    return listed;
}

} // namespace

int write_hex_listing(const char *filename, int convert, FILE *out, const DecodeHooks &hooks)
{
    FILE *in = g_fopen(filename, "rb");
    if (in == nullptr)
        return write_whole_listing(filename, convert, out, hooks);
    std::setvbuf(in, nullptr, _IONBF, 0);

    // Data is read CHUNK bytes at a time behind the bytes of a line not yet
    // complete; full lines are formatted into the text buffer and written.
    constexpr size_t CHUNK = 16384;
    std::vector<uint8_t> data(BYTES_PER_LINE + CHUNK);
    std::vector<char> text(CHUNK / BYTES_PER_LINE * FULL_LINE_SIZE + end_size(BYTES_PER_LINE - 1));
    const char *column = column_table(convert);

    uint8_t load_bytes[2];
    size_t header = std::fread(load_bytes, 1, 2, in);
    size_t kept = header == 2 ? std::fread(data.data(), 1, 1, in) : 0;
    if (std::ferror(in) || kept == 0) {
        // Unreadable (a folder, say) or under 3 bytes: as the whole-file reader says.
        std::fclose(in);
        return write_whole_listing(filename, convert, out, hooks);
    }
    unsigned address = load_bytes[0] + 256u * load_bytes[1];
    for (;;) {
        const size_t got = std::fread(data.data() + kept, 1, CHUNK, in);
        if (std::ferror(in)) {
            const int code = errno;
            std::fclose(in);
            if (hooks.load_error)
                hooks.load_error(filename, g_strerror(code), hooks.user);
            return 0;
        }
        kept += got;
        const size_t lines = kept / BYTES_PER_LINE;
        char *end = put_full_lines(text.data(), data.data(), lines, address, column);
        const size_t used = lines * BYTES_PER_LINE;
        address += static_cast<unsigned>(used);
        kept -= used;
        std::memmove(data.data(), data.data() + used, kept);
        if (got == 0) {
            end = put_end(end, data.data(), kept, address, column);
            std::fwrite(text.data(), 1, static_cast<size_t>(end - text.data()), out);
            break;
        }
        std::fwrite(text.data(), 1, static_cast<size_t>(end - text.data()), out);
    }
    std::fclose(in);
    return 1;
}
