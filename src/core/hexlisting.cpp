#include "core/hexlisting.h"

namespace {

constexpr size_t BYTES_PER_LINE = 16;
constexpr size_t PROGRESS_STEP = 1024;

// The character-column form of one byte. Letters and digits are classified by
// g_ascii_isalnum, i.e. the C locale's classification of ASCII: in any locale
// the interface may run in, a byte that is valid UTF-8 by itself (below 128)
// is a letter or digit exactly when it is one in ASCII, so the result does not
// depend on the user's locale.
char column_char(uint8_t b, int convert)
{
    if (convert == 1 && b < 32)
        b = static_cast<uint8_t>(b + 64);
    if (b < 128 && (g_ascii_isalnum(static_cast<gchar>(b)) || b == ' '))
        return static_cast<char>(b);
    return '.';
}

void append_column(GString *text, const uint8_t *bytes, size_t count, int convert)
{
    // g_string_append_c writes straight into the pre-sized buffer and only
    // grows it when full.
    g_string_append_c(text, '\'');
    for (size_t j = 0; j < count; j++)
        g_string_append_c(text, column_char(bytes[j], convert));
    g_string_append_c(text, '\'');
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

    size_t o = 0;
    for (; o < full; o += BYTES_PER_LINE) {
        const uint8_t *b = bytes + o;
        // One formatted append per full line.
        g_string_append_printf(text,
                               "\n%04X: %02X %02X %02X %02X %02X %02X %02X %02X "
                               "%02X %02X %02X %02X %02X %02X %02X %02X ",
                               static_cast<unsigned>((load + o) % 65536u), b[0], b[1], b[2], b[3], b[4],
                               b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
        append_column(text, b, BYTES_PER_LINE, convert);
        if (o % PROGRESS_STEP == 0 && hooks.progress)
            hooks.progress(static_cast<double>(o) / static_cast<double>(n), hooks.user);
    }

    const size_t r = n - full;
    if (r == 0) {
        g_string_append_c(text, '\n');
        return 1;
    }

    g_string_append_printf(text, "\n%04X: ", static_cast<unsigned>((load + o) % 65536u));
    for (size_t j = 0; j < r; j++)
        g_string_append_printf(text, "%02X ", bytes[o + j]);
    for (size_t j = r; j < BYTES_PER_LINE; j++)
        g_string_append(text, "   ");
    append_column(text, bytes + o, r, convert);
    g_string_append_c(text, '\n');
    return 1;
}

int make_hex_listing(const char *filename, int convert, GString *text, const DecodeHooks &hooks)
{
    return decode_file(filename, hooks, [&](const uint8_t *data, size_t size) {
        return make_hex_listing_bytes(data, size, convert, text, hooks);
    });
}
