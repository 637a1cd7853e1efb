// Invariants of the disassembler shared by the dasm and dasmcomment harnesses.
#pragma once

#include "core/dasm.h"
#include "fuzz_support.h"

#include <cstring>

// Every byte is data, an instruction's opcode or one of its operands: an
// opcode is documented and not BRK and is followed by exactly its operand
// bytes, all inside the program.
inline void check_code_structure(const uint8_t *data, std::size_t n, const uint8_t *attributes)
{
    std::size_t p = 0;
    while (p < n) {
        const uint8_t a = attributes[p];
        FUZZ_CHECK(!((a & DASM_DATA) && (a & DASM_OPERAND)));
        if (a & DASM_DATA) {
            ++p;
            continue;
        }
        FUZZ_CHECK(!(a & DASM_OPERAND));
        const uint8_t c = data[p];
        FUZZ_CHECK(c != 0x00 && !dasm_is_undocumented(c));
        const int k = opset65xx[c].operands;
        FUZZ_CHECK(p + std::size_t(k) < n);
        for (int i = 1; i <= k; ++i)
            FUZZ_CHECK((attributes[p + i] & (DASM_DATA | DASM_OPERAND)) == DASM_OPERAND);
        p += std::size_t(k) + 1;
    }
}

struct ProgressSeen {
    double last = -1.0;
};

inline void on_dasm_progress(double fraction, void *user)
{
    auto *seen = static_cast<ProgressSeen *>(user);
    FUZZ_CHECK(fraction >= 0.0 && fraction < 1.0 && fraction > seen->last);
    seen->last = fraction;
}

// The whole listing: nothing appended for fewer than 3 bytes; otherwise
// text already there is kept and the listing is printable ASCII in lines,
// ending in a line break.
inline std::string check_listing(const uint8_t *data, std::size_t size, int exclude_header, int auto_comment)
{
    static const char prefix[] = "kept";
    GString *text = g_string_new(prefix);
    ProgressSeen seen;
    DecodeHooks hooks;
    hooks.progress = on_dasm_progress;
    hooks.user = &seen;
    const int result = disassemble_bytes(data, size, exclude_header, auto_comment, text, hooks);
    FUZZ_CHECK(std::strncmp(text->str, prefix, sizeof prefix - 1) == 0);
    const std::string listing(text->str + sizeof prefix - 1, text->len - (sizeof prefix - 1));
    g_string_free(text, TRUE);
    if (size < 3) {
        FUZZ_CHECK(result == 0 && listing.empty());
        return listing;
    }
    FUZZ_CHECK(result == 1);
    FUZZ_CHECK(!listing.empty() && listing.back() == '\n');
    for (char ch : listing) {
        const unsigned char c = static_cast<unsigned char>(ch);
        FUZZ_CHECK(c == '\n' || c == '\t' || (c >= 32 && c <= 126));
    }
    char origin[16];
    std::snprintf(origin, sizeof origin, "\n*=$%04X", unsigned(data[0] | data[1] << 8));
    FUZZ_CHECK(listing.find(origin) != std::string::npos);
    return listing;
}
