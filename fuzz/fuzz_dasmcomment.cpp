// The disassembler's comments: a comment is only ever added to JSR/JMP
// (routine names) or to the register opcodes, reads as "; ...", and never
// adds a line (the listing with comments has as many lines as without);
// the BASIC boot block is only taken at $0801 and within the program.
#include "core/dasmcomment.h"
#include "dasm_checks.h"

#include <algorithm>

namespace {

void check_printable_comment(const char *text, std::size_t length)
{
    FUZZ_CHECK(length >= 2 && text[0] == ';' && text[1] == ' ');
    for (std::size_t i = 0; i < length; ++i)
        FUZZ_CHECK(text[i] >= 32 && text[i] <= 126);
}

void check_comment(uint8_t opcode, unsigned operand)
{
    GString *text = g_string_new(nullptr);
    dasm_append_comment(text, opcode, operand);
    if (text->len > 0) {
        check_printable_comment(text->str, text->len);
        if (opcode == 0x20 || opcode == 0x4C) {
            const char *routine = dasm_routine_comment(operand);
            FUZZ_CHECK(routine != nullptr && std::string(text->str) == routine);
        } else {
            FUZZ_CHECK(dasm_has_register_comment(opcode));
        }
    }
    g_string_truncate(text, 0);
    const bool named = dasm_append_register_comment(text, operand);
    FUZZ_CHECK(named == (text->len > 0));
    if (named)
        check_printable_comment(text->str, text->len);
    // Only the low 16 bits of an address count.
    GString *low = g_string_new(nullptr);
    FUZZ_CHECK(dasm_append_register_comment(low, operand & 0xFFFF) == named);
    FUZZ_CHECK(std::string(low->str) == text->str);
    g_string_free(low, TRUE);
    g_string_free(text, TRUE);
}

void check_boot_block(const uint8_t *data, std::size_t size)
{
    if (size < 3)
        return;
    const unsigned load = data[0] | data[1] << 8;
    const std::size_t n = size - 2;
    for (unsigned try_load : {load, unsigned(DASM_BASIC_START)}) {
        GString *text = g_string_new(nullptr);
        const std::size_t used = convert_basic_boot(data + 2, try_load, n, text);
        if (used == 0) {
            FUZZ_CHECK(text->len == 0);
        } else {
            FUZZ_CHECK(try_load == DASM_BASIC_START);
            FUZZ_CHECK(used <= n && used >= 8);  // "SYS" may have no argument
            FUZZ_CHECK(data[2 + used - 1] == 0 && data[2 + used - 2] == 0 && data[2 + 4] == DASM_TOKEN_SYS);
            const std::string block(text->str, text->len);
            FUZZ_CHECK(block.find("\nEOBAS ") != std::string::npos && block.back() == '\n');
        }
        g_string_free(text, TRUE);
    }
}

std::size_t count_lines(const std::string &text)
{
    return std::size_t(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    for (std::size_t i = 0; i + 2 < size && i < 3 * 64; i += 3)
        check_comment(data[i], unsigned(data[i + 1] | data[i + 2] << 8) | (i % 2 ? 0x10000u : 0u));
    check_boot_block(data, size);

    const int exclude_header = size % 2;
    const std::string with = check_listing(data, size, exclude_header, 1);
    const std::string without = check_listing(data, size, exclude_header, 0);
    FUZZ_CHECK(count_lines(with) == count_lines(without));
    FUZZ_CHECK(with.size() >= without.size());
    return 0;
}
