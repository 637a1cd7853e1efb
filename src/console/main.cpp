// quillmar: the console program of Quillmar Front End. Reads the command
// line, then runs the one operation asked for; see options.h for the line
// and operations.h / batch.h for what each operation leaves behind.
#include "console/batch.h"
#include "console/location.h"
#include "console/operations.h"
#include "console/options.h"
#include "console/prgfolder.h"
#include "console/report.h"
#include "core/appinfo.h"

#include <glib.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// A usage error: said on standard error and in the report the front end will
// read (the batch report too when the line asked for a batch scan). With
// -doprg on the line the PRG files of the previous run go too (and nothing
// else in the folder), so that none of them passes for a result of this run.
int usage_error(const std::string &message, const std::vector<std::string> &args, const std::string &folder)
{
    std::string prg_error;
    for (const std::string &a : args) {
        if (a == "-doprg") {
            if (!remove_previous_prg_files(join_path(folder, PRG_FOLDER_NAME), &prg_error))
                std::fprintf(stderr, "quillmar: %s\n", prg_error.c_str());
            break;
        }
    }
    std::fprintf(stderr, "quillmar: %s\n%s", message.c_str(), usage_text());
    const std::string title = std::string("quillmar ") + QUILLMARFE_VERSION + " - usage error";
    std::string text = format_usage_report(title, message);
    if (!prg_error.empty())
        text += "Note: " + prg_error + "\n";
    write_text_file(join_path(folder, TAPE_REPORT_NAME), text, nullptr);
    for (const std::string &a : args) {
        if (a == "-b") {
            write_text_file(join_path(folder, BATCH_REPORT_NAME), text, nullptr);
            break;
        }
    }
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> args(argv + 1, argv + argc);
    const ParsedCommandLine parsed = parse_command_line(args);
    if (parsed.ok && parsed.options.help) {
        std::fputs(usage_text(), stdout);
        return 0;
    }
    if (parsed.ok && parsed.options.version) {
        std::fputs(version_text().c_str(), stdout);
        return 0;
    }
    const std::string folder = executable_folder(argc > 0 ? argv[0] : nullptr);
    if (!parsed.ok)
        return usage_error(parsed.error, args, folder);

    // Reports name the tape by its full path.
    ConsoleOptions o = parsed.options;
    gchar *absolute = g_canonicalize_filename(o.path.c_str(), nullptr);
    o.path = absolute;
    g_free(absolute);
    switch (o.operation) {
    case Operation::Batch:
        return run_batch(o, folder);
    case Operation::RecordAu:
    case Operation::RecordWav:
        return run_record(o);
    case Operation::Test:
    case Operation::Clean:
    case Operation::ConvertV0:
    case Operation::ConvertV1:
        return run_tape_job(o, folder);
    case Operation::None:
        break;
    }
    return usage_error("no operation given", args, folder);
}
