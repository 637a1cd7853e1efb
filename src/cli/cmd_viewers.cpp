// Subcommands that print what the Prg Files page's viewers show.
#include "cli/subcommands.h"
#include "core/basiclisting.h"
#include "core/dasm.h"
#include "core/hexlisting.h"

#include <glib.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>

namespace {

void print_load_error(const char *path, const char *message, void *)
{
    std::fprintf(stderr, "Could not load data from file '%s':\n\n%s\n", path, message);
}

const DecodeHooks cli_hooks = {nullptr, print_load_error, nullptr};

// Prints the text on success; on failure prints nothing to standard output.
int print_listing(int listed, GString *text, const char *failure)
{
    if (listed == 1)
        std::fwrite(text->str, 1, text->len, stdout);
    else if (failure)
        std::fputs(failure, stderr);
    g_string_free(text, TRUE);
    return listed == 1 ? 0 : 1;
}

// Splits argv into the flags named in `known` and exactly one file; false on anything else.
bool read_arguments(int argc, char **argv, std::initializer_list<const char *> known, bool *flags, const char **file)
{
    *file = nullptr;
    for (int i = 0; i < argc; ++i) {
        bool matched = false;
        int index = 0;
        for (const char *flag : known) {
            if (std::strcmp(argv[i], flag) == 0) {
                flags[index] = true;
                matched = true;
            }
            ++index;
        }
        if (matched)
            continue;
        if (*file || argv[i][0] == '-')
            return false;
        *file = argv[i];
    }
    return *file != nullptr;
}

} // namespace

int run_hex(int argc, char **argv)
{
    bool flags[1] = {false};
    const char *file = nullptr;
    if (!read_arguments(argc, argv, {"--convert"}, flags, &file))
        return -1;
    // Streamed: a large PRG's listing is printed as it is made.
    const int listed = write_hex_listing(file, flags[0] ? 1 : 0, stdout, cli_hooks);
    if (listed != 1)
        std::fputs("quillmarfe-cli: no hex listing: the file holds fewer than 3 bytes\n", stderr);
    return listed == 1 ? 0 : 1;
}

int run_basic(int argc, char **argv)
{
    bool flags[1] = {false};
    const char *file = nullptr;
    if (!read_arguments(argc, argv, {}, flags, &file))
        return -1;
    GString *text = g_string_sized_new(1048576);
    const bool readable = g_file_test(file, G_FILE_TEST_IS_REGULAR);
    return print_listing(untokenize(file, text, cli_hooks), text, readable ? BASIC_NOT_VALID_TEXT : nullptr);
}

int run_dasm(int argc, char **argv)
{
    bool flags[2] = {false, false};
    const char *file = nullptr;
    if (!read_arguments(argc, argv, {"--exclude-header", "--comment"}, flags, &file))
        return -1;
    GString *text = g_string_sized_new(1048576);
    return print_listing(disassemble(file, flags[0] ? 1 : 0, flags[1] ? 1 : 0, text, cli_hooks), text,
                         "quillmarfe-cli: no disassembly: the file holds no program\n");
}
