// Shared helpers of the disassembler tests: PRG images built in memory and
// the fixed text that precedes every listing.
#ifndef QUILLMAR_TESTS_DASM_TESTING_H
#define QUILLMAR_TESTS_DASM_TESTING_H

#include "core/dasm.h"

#include <glib.h>

#include <cstdint>
#include <string>
#include <vector>

namespace dasm_testing {

// A PRG image: the load address (low byte first), then the bytes.
inline std::vector<uint8_t> prg(unsigned load, const std::vector<uint8_t> &bytes)
{
    // Reserved first: growing a 2-byte vector by insert trips a false
    // array-bounds warning of GCC 12 at -O3.
    std::vector<uint8_t> file;
    file.reserve(2 + bytes.size());
    file.push_back(static_cast<uint8_t>(load & 0xFF));
    file.push_back(static_cast<uint8_t>(load >> 8));
    file.insert(file.end(), bytes.begin(), bytes.end());
    return file;
}

// `count` copies of `value`.
inline std::vector<uint8_t> repeat(uint8_t value, size_t count)
{
    return std::vector<uint8_t>(count, value);
}

// Concatenation of byte runs.
inline std::vector<uint8_t> join(std::initializer_list<std::vector<uint8_t>> parts)
{
    std::vector<uint8_t> all;
    for (const auto &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline std::string run(const std::vector<uint8_t> &file, int exclude_header = 0, int auto_comment = 0)
{
    GString *text = g_string_new(nullptr);
    int result = disassemble_bytes(file.data(), file.size(), exclude_header, auto_comment, text);
    std::string listing(text->str, text->len);
    g_string_free(text, TRUE);
    return result == 1 ? listing : "<failed>";
}

// The optimization count, the cross reference (each section's entries as
// written, e.g. "\n;   100A: 1003 ") and the origin line.
inline std::string header(int optimizations, unsigned load, const std::string &branches = "",
                          const std::string &calls = "", const std::string &jumps = "")
{
    return "\n;\n; DASM performed " + std::to_string(optimizations) +
           (optimizations == 1 ? " optimization\n;" : " optimizations\n;") +
           "\n; Cross reference:"
           "\n;\n;  Conditional branches (B) with more than one ref:" +
           branches + "\n;\n;  Subroutine calls (S):" + calls + "\n;\n;  Jumps (J):" + jumps + "\n" +
           "\n*=$" + [&] {
               char origin[8];
               g_snprintf(origin, sizeof origin, "%04X", load);
               return std::string(origin);
           }();
}

// An unlabelled instruction line.
inline std::string line(const std::string &instruction)
{
    return "\n        " + instruction;
}

// `count` unlabelled NOP lines.
inline std::string nops(size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += line("NOP           ");
    return text;
}

// A data line "T<address>   .byte $v,$v..." with `count` copies of `value`.
inline std::string data_line(const std::string &address, uint8_t value, size_t count)
{
    std::string text = "\nT" + address + "   .byte ";
    for (size_t i = 0; i < count; ++i) {
        char item[8];
        g_snprintf(item, sizeof item, i == 0 ? "$%02X" : ",$%02X", value);
        text += item;
    }
    return text;
}

}  // namespace dasm_testing

#endif
