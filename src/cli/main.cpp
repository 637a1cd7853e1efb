// quillmarfe-cli: what the front end shows and writes, for scripts. Each
// subcommand shares the core code with the window.
#include "core/reportfile.h"
#include "core/summary.h"
#include "core/tapimage.h"

#include <glib.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

struct Subcommand {
    const char *name;
    const char *usage;
    const char *help;
    int (*run)(int argc, char **argv); // argv holds the arguments after the name
};

int usage_error(const Subcommand &command)
{
    std::fprintf(stderr, "usage: quillmarfe-cli %s\n", command.usage);
    return 2;
}

int run_header(int argc, char **argv)
{
    if (argc != 1)
        return -1;
    if (!g_file_test(argv[0], G_FILE_TEST_EXISTS)) {
        std::fprintf(stderr, "quillmarfe-cli: %s: no such file\n", argv[0]);
        return 1;
    }
    const TapePreview preview = tape_header_preview(argv[0]);
    std::printf("File Type: %s\nComputer Platform: %s\nVideo Standard: %s\n", preview.file_type.c_str(),
                preview.platform.c_str(), preview.video.c_str());
    return 0;
}

int run_summary(int argc, char **argv)
{
    if (argc != 2)
        return -1;
    const ParsedReport report = report_parse_file(argv[0], ReportTotals{});
    if (!report.opened) {
        std::fprintf(stderr, "quillmarfe-cli: cannot read the report %s\n", argv[0]);
        return 1;
    }
    // Like the window: no summary without a produced report.
    if (report.totals.total_size <= 0) {
        std::fprintf(stderr, "quillmarfe-cli: the report describes no tape data\n");
        return 1;
    }
    const std::string tape = report.totals.path_last_report.value_or("");
    if (!summary_write_file(argv[1], summary_tape_base_name(tape), report.entries)) {
        std::fprintf(stderr, "Could not save report to HTML file\n");
        return 1;
    }
    return 0;
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
