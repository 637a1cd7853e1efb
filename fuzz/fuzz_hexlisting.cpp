// The hex listing of a fuzzed PRG: one line per 16 data bytes (so the line
// count follows from the size), each with the right address and the bytes
// themselves in hexadecimal, and progress fractions within 0..1. Text
// already in the buffer is kept.
#include "core/hexlisting.h"
#include "fuzz_support.h"

#include <cstring>

namespace {

void on_progress(double fraction, void *user)
{
    FUZZ_CHECK(fraction >= 0.0 && fraction < 1.0);
    ++*static_cast<int *>(user);
}

unsigned hex_value(const char *text, int digits)
{
    unsigned v = 0;
    for (int i = 0; i < digits; ++i) {
        const int d = g_ascii_xdigit_value(text[i]);
        FUZZ_CHECK(d >= 0 && !g_ascii_islower(text[i]));
        v = v * 16 + unsigned(d);
    }
    return v;
}

void check_listing(const uint8_t *data, std::size_t size, int convert)
{
    static const char prefix[] = "kept";
    GString *text = g_string_new(prefix);
    int progress_calls = 0;
    DecodeHooks hooks;
    hooks.progress = on_progress;
    hooks.user = &progress_calls;
    const int result = make_hex_listing_bytes(data, size, convert, text, hooks);
    FUZZ_CHECK(std::strncmp(text->str, prefix, sizeof prefix - 1) == 0);
    if (size < 3) {
        FUZZ_CHECK(result == 0 && text->len == sizeof prefix - 1);
        g_string_free(text, TRUE);
        return;
    }
    FUZZ_CHECK(result == 1);
    const std::string listing(text->str + sizeof prefix - 1, text->len - (sizeof prefix - 1));
    g_string_free(text, TRUE);

    const unsigned load = data[0] | data[1] << 8;
    const std::size_t n = size - 2;
    const std::size_t lines = (n + 15) / 16;
    FUZZ_CHECK(listing.size() >= 2 && listing[0] == '\n' && listing.back() == '\n');
    // Text lines: "" before the first break, then the data lines, then "".
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t i = 0; i <= listing.size(); ++i) {
        if (i == listing.size() || listing[i] == '\n') {
            parts.push_back(listing.substr(from, i - from));
            from = i + 1;
        }
    }
    FUZZ_CHECK(parts.size() == lines + 2);
    FUZZ_CHECK(parts.front().empty() && parts.back().empty());
    for (std::size_t k = 0; k < lines; ++k) {
        const std::string &line = parts[k + 1];
        const std::size_t count = std::min<std::size_t>(16, n - 16 * k);
        FUZZ_CHECK(line.size() == 6 + 48 + 2 + count);
        FUZZ_CHECK(hex_value(line.c_str(), 4) == ((load + 16 * k) & 0xFFFF));
        FUZZ_CHECK(line.compare(4, 2, ": ") == 0);
        for (std::size_t j = 0; j < 16; ++j) {
            const char *cell = line.c_str() + 6 + 3 * j;
            if (j < count)
                FUZZ_CHECK(hex_value(cell, 2) == data[2 + 16 * k + j]);
            else
                FUZZ_CHECK(cell[0] == ' ' && cell[1] == ' ');
            FUZZ_CHECK(cell[2] == ' ');
        }
        FUZZ_CHECK(line[54] == '\'' && line.back() == '\'');
        for (std::size_t j = 0; j < count; ++j) {
            const char c = line[55 + j];
            FUZZ_CHECK(c == '.' || c == ' ' || g_ascii_isalnum(c));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    check_listing(data, size, 0);
    check_listing(data, size, 1);
    return 0;
}
