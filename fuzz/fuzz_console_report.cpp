// The console program's tape report of a fuzzed tape, read back by the
// front end's report parser: the same entries in the same order (types,
// offsets, names, checkbyte and read-error cells), the tape's name and data
// size, and both test results. The failure, usage and started reports read
// as no entries with both tests failed.
#include "console/operations.h"
#include "console/options.h"
#include "console/report.h"
#include "console/tapeinput.h"
#include "fuzz_support.h"
#include "scan_checks.h"

namespace {

void check_not_tested(const std::string &text)
{
    ReportTotals previous;
    previous.checksum_test_passed = previous.read_test_passed = true;
    const ParsedReport parsed = fuzz::parse_report_text(text, previous);
    FUZZ_CHECK(parsed.entries.empty());
    FUZZ_CHECK(parsed.totals.total_size == 0);
    FUZZ_CHECK(!parsed.totals.checksum_test_passed && !parsed.totals.read_test_passed);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const std::string tape_path = fuzz::temp_path("report test.tap");
    fuzz::write_file(tape_path, data, size);
    // Switches that change the report (debug lines) or the scan (no end marker needed).
    std::vector<std::string> args;
    if (size % 3 == 0)
        args.push_back("-debug");
    if (size % 2 == 1)
        args.push_back("-noc64eof");
    args.push_back("-t");
    args.push_back(tape_path);
    const ParsedCommandLine line = parse_command_line(args);
    FUZZ_CHECK(line.ok);
    const ConsoleOptions &o = line.options;
    FUZZ_CHECK(o.operation == Operation::Test);
    std::vector<std::string> scanner_notes;
    const std::vector<const TapeScanner *> scanners = selected_scanners(o, &scanner_notes);
    const ReportHead head = report_head(o, "tape report", scanners, scanner_notes);

    const TapeInput in = read_tape_input(tape_path);
    FUZZ_CHECK(in.size_known && in.file_size == size);
    if (!in.ok) {
        FUZZ_CHECK(!in.error.empty());
        check_not_tested(format_failure_report(head, tape_path, in.size_known, in.file_size, in.error));
        return 0;
    }
    FUZZ_CHECK(in.bytes.size() == size);
    const TapeScan scan = scan_tape(in.bytes.data(), in.bytes.size(), scan_options(o), scanners);
    check_scan(data, size, scan);
    FUZZ_CHECK(scan.ok);
    FUZZ_CHECK(!tape_format_text(scan).empty());

    TapeReportExtras extras;
    extras.debug = o.debug;
    const std::string text = format_tape_report(head, scan, tape_path, extras);
    const ParsedReport parsed = fuzz::parse_report_text(text);
    const ScanTotals totals = scan_totals(scan);
    FUZZ_CHECK(parsed.totals.path_last_report && *parsed.totals.path_last_report == tape_path);
    FUZZ_CHECK(static_cast<int64_t>(parsed.totals.total_size) == static_cast<int64_t>(size) - 20);
    FUZZ_CHECK(parsed.totals.checksum_test_passed == totals.checksum_pass());
    FUZZ_CHECK(parsed.totals.read_test_passed == totals.read_pass());
    FUZZ_CHECK(parsed.entries.size() == scan.entries.size());
    for (std::size_t i = 0; i < scan.entries.size(); ++i) {
        const TapeEntry &e = scan.entries[i];
        const ReportEntry &r = parsed.entries[i];
        FUZZ_CHECK(r.type == e.type);
        if (size > 20) {
            FUZZ_CHECK(static_cast<uint64_t>(r.start) == e.start);
            FUZZ_CHECK(static_cast<uint64_t>(r.inner_start) == e.inner_start);
            FUZZ_CHECK(static_cast<uint64_t>(r.inner_end) == e.inner_end);
            FUZZ_CHECK(static_cast<uint64_t>(r.end) == e.end);
        }
        if (e.has_name)
            FUZZ_CHECK(r.name == e.name);
        FUZZ_CHECK(r.read_errors.has_value() == (e.kind == EntryKind::File && e.read_errors != 0));
        FUZZ_CHECK(r.checkbyte.has_value() == e.has_checkbyte);
        if (e.has_checkbyte)
            FUZZ_CHECK(*r.checkbyte == (e.checkbyte_pass ? "OK" : "FAIL"));
        FUZZ_CHECK(r.first_copy == (e.copy == CopyId::First));
    }

    check_not_tested(format_started_report(head));
    check_not_tested(format_usage_report(head.title, "fuzzed"));
    return 0;
}
