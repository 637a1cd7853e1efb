// Subcommands of the tape tools: the analysis's screen lines and the editor's save.
#include "cli/subcommands.h"
#include "core/pulsemap.h"
#include "core/reportfile.h"
#include "core/tapeedit.h"

#include <glib.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

int run_pulses(int argc, char **argv)
{
    if (argc != 1)
        return -1;
    std::vector<uint8_t> data;
    PulseMap map;
    std::string error;
    if (!pulse_map_parse_file(argv[0], data, map, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    std::printf("%" PRIu64 " %" PRIu64 "\n", static_cast<uint64_t>(map.screen_data.size()), map.num_lines);
    for (const uint64_t start : map.line_starts)
        std::printf("%" PRIu64 "\n", start);
    return 0;
}

namespace {

// Adds the report indexes of "N[,N...]" to indexes; false on anything else.
bool parse_indexes(const char *text, std::vector<int> &indexes)
{
    gchar **pieces = g_strsplit(text, ",", -1);
    bool ok = pieces[0] != nullptr;
    for (gchar **piece = pieces; ok && *piece != nullptr; ++piece) {
        char *end = nullptr;
        const long value = std::strtol(*piece, &end, 10);
        if (end == *piece || *end != '\0' || value < 1 || value > 0x7FFFFFFF)
            ok = false;
        else
            indexes.push_back(static_cast<int>(value));
    }
    g_strfreev(pieces);
    return ok;
}

} // namespace

int run_edit(int argc, char **argv)
{
    const char *report_path = nullptr;
    const char *tape_path = nullptr;
    std::vector<int> indexes;
    bool exclude_unrecognized = false;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--report") == 0 && i + 1 < argc) {
            report_path = argv[++i];
        } else if (std::strcmp(argv[i], "--exclude") == 0 && i + 1 < argc) {
            if (!parse_indexes(argv[++i], indexes))
                return -1;
        } else if (std::strcmp(argv[i], "--exclude-unrecognized") == 0) {
            exclude_unrecognized = true;
        } else if (argv[i][0] != '-' && tape_path == nullptr) {
            tape_path = argv[i];
        } else {
            return -1;
        }
    }
    if (report_path == nullptr || tape_path == nullptr)
        return -1;

    ParsedReport report = report_parse_file(report_path, ReportTotals{});
    if (!report.opened) {
        std::fprintf(stderr, "quillmarfe-cli: cannot read the report %s\n", report_path);
        return 1;
    }
    // Like the window: the editor works only on a produced report.
    if (report.totals.total_size <= 0) {
        std::fprintf(stderr, "quillmarfe-cli: the report describes no tape data\n");
        return 1;
    }
    for (const int index : indexes) {
        bool found = false;
        for (ReportEntry &row : report.entries) {
            if (row.index == index) {
                row.excluded = true;
                found = true;
            }
        }
        if (!found) {
            std::fprintf(stderr, "quillmarfe-cli: the report has no entry %d\n", index);
            return 1;
        }
    }
    if (exclude_unrecognized) {
        std::string message;
        if (!tape_editor_exclude_unrecognized(tape_path, report.entries, message)) {
            std::printf("%s\n", message.c_str());
            return 1;
        }
    }

    const TapeEditResult result = tape_editor_save(tape_path, report.entries, report.totals.total_size);
    std::printf("%s\n", result.message.c_str());
    return result.written ? 0 : 1;
}
