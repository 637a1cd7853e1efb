// quillmarfe-cli d64: the PRG files of a "prg" folder on a D64 disk image.
#include "cli/subcommands.h"
#include "core/d64export.h"
#include "core/reportfile.h"

#include <glib.h>

#include <cstdio>
#include <cstring>
#include <string>

int run_d64(int argc, char **argv)
{
    const char *report_path = nullptr;
    const char *disk_name = "TAPE";
    bool force = false;
    std::string paths[2];
    int given = 0;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--report") == 0 && i + 1 < argc)
            report_path = argv[++i];
        else if (std::strcmp(argv[i], "--name") == 0 && i + 1 < argc)
            disk_name = argv[++i];
        else if (std::strcmp(argv[i], "--force") == 0)
            force = true;
        else if (argv[i][0] != '-' && given < 2)
            paths[given++] = argv[i];
        else
            return -1;
    }
    if (given != 2)
        return -1;
    ParsedReport report;
    if (report_path != nullptr) {
        report = report_parse_file(report_path, ReportTotals{});
        if (!report.opened) {
            std::fprintf(stderr, "quillmarfe-cli: cannot read the report %s\n", report_path);
            return 1;
        }
    }
    if (!force && g_file_test(paths[1].c_str(), G_FILE_TEST_EXISTS)) {
        std::fprintf(stderr, "quillmarfe-cli: %s exists; --force replaces it\n", paths[1].c_str());
        return 1;
    }
    const std::vector<D64Program> programs = d64_programs_in_folder(paths[0], report.entries);
    const D64ExportResult result = d64_export(programs, paths[1], disk_name);
    if (!result.ok) {
        std::fprintf(stderr, "quillmarfe-cli: %s\n", result.error.c_str());
        return 1;
    }
    const std::vector<std::string> names = d64_disk_names(programs);
    for (std::size_t i = 0; i < programs.size(); ++i)
        std::printf("%s -> \"%s\"\n", programs[i].path.c_str(), names[i].c_str());
    std::printf("%s: %zu files, %d blocks\n", paths[1].c_str(), programs.size(), result.blocks);
    return 0;
}
