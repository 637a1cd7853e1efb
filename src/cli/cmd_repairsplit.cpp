// Subcommands of the tape tools: the tape split and the CBM file repair.
// Both write the files the window writes, beside the tape, and print the
// System Log text and the dialog texts the window shows.
#include "cli/subcommands.h"
#include "core/cbmrepair.h"
#include "core/reportfile.h"
#include "core/tapeidx.h"
#include "core/tapesplit.h"

#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Reads the report; prints why and returns false when there is none the
// tools would work on.
bool load_report(const char *path, ParsedReport &report)
{
    report = report_parse_file(path, ReportTotals{});
    if (!report.opened) {
        std::fprintf(stderr, "quillmarfe-cli: cannot read the report %s\n", path);
        return false;
    }
    return true;
}

// Parses "N[,N...]" into report indexes; false on anything else.
bool parse_indexes(const char *text, std::vector<int> &indexes)
{
    gchar **parts = g_strsplit(text, ",", -1);
    bool ok = parts[0] != nullptr;
    for (gchar **part = parts; ok && *part != nullptr; ++part) {
        char *end = nullptr;
        const long value = std::strtol(*part, &end, 10);
        ok = **part != '\0' && *end == '\0' && value > 0 && value <= G_MAXINT;
        if (ok)
            indexes.push_back(static_cast<int>(value));
    }
    g_strfreev(parts);
    return ok;
}

// "--report REPORT TAPE", in any order; false on anything else.
bool read_report_and_tape(int argc, char **argv, const char **report_path, const char **tape)
{
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--report") == 0 && i + 1 < argc)
            *report_path = argv[++i];
        else if (argv[i][0] != '-' && *tape == nullptr)
            *tape = argv[i];
        else
            return false;
    }
    return *report_path != nullptr && *tape != nullptr;
}

} // namespace

int run_split(int argc, char **argv)
{
    const char *report_path = nullptr;
    const char *tape = nullptr;
    bool automatic = false;
    const char *cut = nullptr;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--report") == 0 && i + 1 < argc)
            report_path = argv[++i];
        else if (std::strcmp(argv[i], "--auto") == 0)
            automatic = true;
        else if (std::strcmp(argv[i], "--cut") == 0 && i + 1 < argc)
            cut = argv[++i];
        else if (argv[i][0] != '-' && tape == nullptr)
            tape = argv[i];
        else
            return -1;
    }
    if (report_path == nullptr || tape == nullptr || automatic == (cut != nullptr))
        return -1;
    std::vector<int> indexes;
    if (cut != nullptr && !parse_indexes(cut, indexes))
        return -1;

    ParsedReport report;
    if (!load_report(report_path, report))
        return 1;
    std::vector<ReportEntry> &rows = report.entries;
    const bool usable = report.totals.total_size > 0 && tape_split_is_tap_name(tape);

    if (automatic) {
        if (!usable) {
            std::printf("%s\n", TAPE_SPLIT_ANALYZE_ONLY_TAP);
            return 1;
        }
        std::fputs(tape_split_analyze(rows).c_str(), stdout);
        std::printf("%s\n", TAPE_SPLIT_ANALYSIS_DONE);
    } else {
        for (const int index : indexes) {
            bool found = false;
            for (ReportEntry &row : rows) {
                if (row.index == index) {
                    row.split_mark = true;
                    found = true;
                }
            }
            if (!found) {
                std::fprintf(stderr, "quillmarfe-cli: the report has no entry %d\n", index);
                return 2;
            }
        }
    }

    if (!usable) {
        std::printf("%s\n", TAPE_SPLIT_ONLY_TAP);
        return 1;
    }
    const SplitResult result = tape_split_write(tape, rows, report.totals.total_size);
    std::fputs(result.log.c_str(), stdout);
    std::printf("%s\n", result.message.c_str());
    return result.ok ? 0 : 1;
}

int run_repair(int argc, char **argv)
{
    const char *report_path = nullptr;
    const char *tape = nullptr;
    if (!read_report_and_tape(argc, argv, &report_path, &tape))
        return -1;

    ParsedReport report;
    if (!load_report(report_path, report))
        return 1;
    if (report.totals.total_size <= 0) {
        std::fprintf(stderr, "quillmarfe-cli: the report describes no tape data\n");
        return 1;
    }
    // Every region and every row included, as the analysis leaves them.
    const RepairAnalysis analysis = cbm_repair_analyze(report.entries);
    std::fputs(analysis.text.c_str(), stdout);
    const std::string message = cbm_repair_fix(tape, report.entries, analysis, report.totals.total_size);
    std::printf("%s\n", message.c_str());
    return g_str_has_prefix(message.c_str(), "Operation finished.") ? 0 : 1;
}

int run_idx(int argc, char **argv)
{
    const char *report_path = nullptr;
    const char *tape = nullptr;
    if (!read_report_and_tape(argc, argv, &report_path, &tape))
        return -1;
    ParsedReport report;
    if (!load_report(report_path, report))
        return 1;
    const TapeIdxResult result = tape_idx_write(tape, report.entries, report.totals.total_size);
    if (!result.ok) {
        std::fprintf(stderr, "quillmarfe-cli: %s\n", result.error.c_str());
        return 1;
    }
    std::printf("%s", result.text.c_str());
    return 0;
}
