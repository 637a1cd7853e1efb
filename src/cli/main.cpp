// quillmarfe-cli: what the front end shows and writes, for scripts. Each
// subcommand shares the core code with the window.
#include "cli/subcommands.h"

#include <cstdio>
#include <cstring>

namespace {

int usage_error(const Subcommand &command)
{
    std::fprintf(stderr, "usage: quillmarfe-cli %s\n", command.usage);
    return 2;
}

const Subcommand subcommands[] = {
    {"header", "header FILE", "Prints the three header values the open dialog previews.", run_header},
    {"summary", "summary REPORT OUT.html",
     "Writes the HTML summary of a report file, as the report page's \"Save summary\" does.", run_summary},
};

void print_overview(FILE *out)
{
    std::fprintf(out, "usage: quillmarfe-cli SUBCOMMAND [ARGS...]\n\nSubcommands:\n");
    for (const Subcommand &command : subcommands)
        std::fprintf(out, "  %-28s %s\n", command.usage, command.help);
    std::fprintf(out, "\n'quillmarfe-cli SUBCOMMAND --help' describes one subcommand.\n");
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        print_overview(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    for (const Subcommand &command : subcommands) {
        if (std::strcmp(argv[1], command.name) != 0)
            continue;
        if (argc == 3 && std::strcmp(argv[2], "--help") == 0) {
            std::printf("usage: quillmarfe-cli %s\n\n%s\n", command.usage, command.help);
            return 0;
        }
        const int result = command.run(argc - 2, argv + 2);
        return result < 0 ? usage_error(command) : result;
    }
    std::fprintf(stderr, "quillmarfe-cli: unknown subcommand '%s'\n", argv[1]);
    print_overview(stderr);
    return 2;
}
