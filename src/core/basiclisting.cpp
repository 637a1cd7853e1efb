#include "core/basiclisting.h"

#include <glib/gi18n-lib.h>

const char BASIC_NOT_VALID_TEXT[] = N_("\nNot a valid CBM BASIC listing!\n");

namespace {

// Keywords of the tokens 128 ($80) to 203 ($CB), in token order.
const char *const CBMBASICSet[76] = {
    "END",    "FOR",    "NEXT",  "DATA",  "INPUT#", "INPUT",  "DIM",  "READ",  // $80
    "LET",    "GOTO",   "RUN",   "IF",    "RESTORE", "GOSUB", "RETURN", "REM", // $88
    "STOP",   "ON",     "WAIT",  "LOAD",  "SAVE",   "VERIFY", "DEF",  "POKE",  // $90
    "PRINT#", "PRINT",  "CONT",  "LIST",  "CLR",    "CMD",    "SYS",  "OPEN",  // $98
    "CLOSE",  "GET",    "NEW",   "TAB(",  "TO",     "FN",     "SPC(", "THEN",  // $A0
    "NOT",    "STEP",   "+",     "-",     "*",      "/",      "^",    "AND",   // $A8
    "OR",     ">",      "=",     "<",     "SGN",    "INT",    "ABS",  "USR",   // $B0
    "FRE",    "POS",    "SQR",   "RND",   "LOG",    "EXP",    "COS",  "SIN",   // $B8
    "TAN",    "ATN",    "PEEK",  "LEN",   "STR$",   "VAL",    "ASC",  "CHR$",  // $C0
    "LEFT$",  "RIGHT$", "MID$",  "GO",                                         // $C8
};

// Names of the control bytes 5 to 31; "" for bytes without a name.
const char *const CBMControlChars1[27] = {
    "{WHITE}",      // $05
    "",             // $06
    "",             // $07
    "{LOCK}",       // $08
    "{UNLOCK}",     // $09
    "",             // $0A
    "",             // $0B
    "",             // $0C
    "{RETURN}",     // $0D
    "{LOWER CASE}", // $0E
    "",             // $0F
    "",             // $10
    "{CRSR DOWN}",  // $11
    "{REVS ON}",    // $12
    "{HOME}",       // $13
    "{DEL}",        // $14
    "",             // $15
    "",             // $16
    "",             // $17
    "",             // $18
    "",             // $19
    "",             // $1A
    "",             // $1B
    "{RED}",        // $1C
    "{CRSR RIGHT}", // $1D
    "{GREEN}",      // $1E
    "{BLUE}",       // $1F
};

// Names of the control bytes 129 to 160 (inside quotes); "" for bytes without a name.
const char *const CBMControlChars2[32] = {
    "{ORANGE}",       // $81
    "",               // $82
    "",               // $83
    "",               // $84
    "{F1}",           // $85
    "{F3}",           // $86
    "{F5}",           // $87
    "{F7}",           // $88
    "{F2}",           // $89
    "{F4}",           // $8A
    "{F6}",           // $8B
    "{F8}",           // $8C
    "{SHIFT+RETURN}", // $8D
    "{UPPER CASE}",   // $8E
    "",               // $8F
    "{BLACK}",        // $90
    "{CRSR UP}",      // $91
    "{REVS OFF}",     // $92
    "{CLEAR}",        // $93
    "{INSERT}",       // $94
    "{BROWN}",        // $95
    "{LIGHT RED}",    // $96
    "{DARK GREY}",    // $97
    "{MEDIUM GREY}",  // $98
    "{LIGHT GREEN}",  // $99
    "{LIGHT BLUE}",   // $9A
    "{LIGHT GREY}",   // $9B
    "{PURPLE}",       // $9C
    "{CRSR LEFT}",    // $9D
    "{YELLOW}",       // $9E
    "{CYAN}",         // $9F
    "{SHIFT+SPACE}",  // $A0
};

// The walk gives up at this line: at most LINE_CEILING - 1 lines are listed.
constexpr long LINE_CEILING = 6485;

// Appends one body byte and updates quote mode.
void render(uint8_t c, bool &quote, GString *text)
{
    if (c == 34) {
        g_string_append_c(text, '"');
        quote = !quote;
    } else if (c >= 5 && c <= 31) {
        g_string_append(text, CBMControlChars1[c - 5]);
    } else if (c >= 129 && c <= 160 && quote) {
        g_string_append(text, CBMControlChars2[c - 129]);
    } else if (c >= 128 && c <= 203 && !quote) {
        g_string_append(text, CBMBASICSet[c - 128]);
    } else if (c >= 32 && c <= 126) {
        // Printable: the ASCII range, the only single bytes that are
        // printable and valid UTF-8 by themselves.
        g_string_append_c(text, static_cast<char>(c));
    } else {
        g_string_append_c(text, '.');
    }
}

} // namespace

int untokenize_bytes(const uint8_t *file, size_t size, GString *text, const DecodeHooks &)
{
    // n is the file length; data[] are the bytes after the load address.
    const long n = static_cast<long>(size);
    if (n <= 2)
        return 0;
    const long load = file[0] + 256L * file[1];
    const uint8_t *data = file + 2;

    long i = 0;
    long lines = 0;
    for (;;) {
        if (i >= n - 3)
            return 0;
        const long link = data[i] + 256L * data[i + 1];
        if (link == 0) {
            g_string_append_c(text, '\n');
            return 1;
        }
        lines++;
        if (link == load || i + 2 >= n - 4 || lines >= LINE_CEILING)
            return 0;
        g_string_append_printf(text, "\n%ld ", data[i + 2] + 256L * data[i + 3]);
        if (i + 4 >= n - 2)
            return 0;
        bool quote = false;
        for (long k = i + 4; data[k] != 0;) {
            render(data[k], quote, text);
            k++;
            if (k >= n - 2)
                return 0;
        }
        i = link - load;
        if (i < 0)
            return 0;
    }
}

int untokenize(const char *filename, GString *text, const DecodeHooks &hooks)
{
    return decode_file(filename, hooks, [&](const uint8_t *data, size_t size) {
        return untokenize_bytes(data, size, text, hooks);
    });
}
