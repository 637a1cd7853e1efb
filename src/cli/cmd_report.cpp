// Subcommands about a tape's header and its report.
#include "cli/subcommands.h"
#include "core/reportfile.h"
#include "core/summary.h"
#include "core/tapimage.h"

#include <glib.h>

#include <cstdio>
#include <string>

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
