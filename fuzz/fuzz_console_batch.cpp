// The console program's batch scan of a folder holding the fuzzed tape (as a
// TAP file, and as a dump in a subfolder): it finds exactly the tapes it
// should, writes qmbatch.txt with one numbered block per tape, and changes
// none of them.
#include "console/batch.h"
#include "console/location.h"
#include "fuzz_support.h"

#include <algorithm>


extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    static const std::string folder = [] {
        const std::string f = fuzz::temp_path("tapes");
        g_mkdir_with_parents((f + "/sub").c_str(), 0700);
        g_mkdir_with_parents(fuzz::temp_path("report").c_str(), 0700);
        // Not a tape: never listed.
        fuzz::write_file(f + "/notes.txt", std::string("not a tape"));
        return f;
    }();
    const std::string report_folder = fuzz::temp_path("report");
    const std::string tap = folder + "/fuzzed.tap";
    const std::string dmp = folder + "/sub/fuzzed.DMP";
    fuzz::write_file(tap, data, size);
    fuzz::write_file(dmp, data, size);

    const bool recursive = size % 2 == 1;
    std::vector<std::string> args;
    if (recursive)
        args.push_back("-incsubdirs");
    if (size % 3 == 0)
        args.push_back("-sortbycrc");
    args.push_back("-b");
    args.push_back(folder);
    const ParsedCommandLine line = parse_command_line(args);
    FUZZ_CHECK(line.ok);

    const std::vector<std::string> found = find_batch_tapes(folder, recursive);
    FUZZ_CHECK(found.size() == (recursive ? 2u : 1u));
    FUZZ_CHECK(std::is_sorted(found.begin(), found.end()));
    FUZZ_CHECK(std::find(found.begin(), found.end(), tap) != found.end());

    const std::string report_path = join_path(report_folder, BATCH_REPORT_NAME);
    g_remove(report_path.c_str());
    FUZZ_CHECK(run_batch(line.options, report_folder) == 0);
    std::vector<uint8_t> bytes;
    FUZZ_CHECK(fuzz::read_file(report_path, bytes));
    const std::string report(bytes.begin(), bytes.end());
    const std::string tapes_line = "Tapes       : " + std::to_string(found.size()) + " found, ";
    FUZZ_CHECK(report.find(tapes_line) != std::string::npos);
    FUZZ_CHECK(report.find("\n1. ") != std::string::npos);
    FUZZ_CHECK((report.find("\n2. ") != std::string::npos) == recursive);
    FUZZ_CHECK(fuzz::count_of(report, "    Size          : " + std::to_string(size) + " bytes\n") == found.size());

    for (const std::string &path : {tap, dmp}) {
        FUZZ_CHECK(fuzz::read_file(path, bytes));
        FUZZ_CHECK(bytes.size() == size && std::equal(bytes.begin(), bytes.end(), data));
    }
    return 0;
}
