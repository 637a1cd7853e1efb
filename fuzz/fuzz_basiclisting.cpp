// The BASIC listing of a fuzzed PRG: the text is printable ASCII and line
// breaks only, every listed line is "\n<number> ..." with a 16-bit line
// number, at most 6484 lines are listed, a success ends in "\n", progress is
// never reported, and text already in the buffer is kept.
#include "core/basiclisting.h"
#include "fuzz_support.h"

#include <cstring>

namespace {

void no_progress(double, void *)
{
    FUZZ_CHECK(false);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    static const char prefix[] = "kept";
    GString *text = g_string_new(prefix);
    DecodeHooks hooks;
    hooks.progress = no_progress;
    const int result = untokenize_bytes(data, size, text, hooks);
    FUZZ_CHECK(result == 0 || result == 1);
    FUZZ_CHECK(std::strncmp(text->str, prefix, sizeof prefix - 1) == 0);
    const std::string listing(text->str + sizeof prefix - 1, text->len - (sizeof prefix - 1));
    g_string_free(text, TRUE);

    if (size <= 2)
        FUZZ_CHECK(result == 0 && listing.empty());
    if (size == 4 && result == 1)
        FUZZ_CHECK(listing == "\n" && data[2] == 0 && data[3] == 0);
    if (result == 1)
        FUZZ_CHECK(!listing.empty() && listing.back() == '\n');

    std::size_t lines = 0;
    for (std::size_t i = 0; i < listing.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(listing[i]);
        FUZZ_CHECK(c == '\n' || (c >= 32 && c <= 126));
        if (c != '\n' || i + 1 == listing.size())
            continue;
        // A listed line: its number and one blank.
        ++lines;
        std::size_t j = i + 1;
        unsigned long number = 0;
        while (j < listing.size() && g_ascii_isdigit(listing[j]))
            number = number * 10 + unsigned(listing[j++] - '0');
        FUZZ_CHECK(j > i + 1 && j - i - 1 <= 5 && number <= 65535);
        FUZZ_CHECK(j < listing.size() && listing[j] == ' ');
    }
    FUZZ_CHECK(lines <= 6484);
    return 0;
}
