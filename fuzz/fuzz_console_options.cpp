// The console program's command line from fuzzed arguments (separated by
// NUL bytes): a refusal always says why; an accepted line has exactly one
// operation with a path and a tolerance of 0..15, and the same options come
// back when the line is written in a canonical order (switches first, then
// the operation), so switches really may come in any order. The scanner
// choice, notes and settings line follow from the options.
#include "console/options.h"
#include "core/cbmscan.h"
#include "fuzz_support.h"

#include <algorithm>

namespace {

bool same_options(const ConsoleOptions &a, const ConsoleOptions &b)
{
    return a.operation == b.operation && a.operation_switch == b.operation_switch && a.path == b.path &&
           a.tolerance == b.tolerance && a.tolerance_given == b.tolerance_given && a.doprg == b.doprg &&
           a.prgunite == b.prgunite && a.noc64eof == b.noc64eof && a.noaddpause == b.noaddpause &&
           a.boostclean == b.boostclean && a.sine == b.sine && a.incsubdirs == b.incsubdirs &&
           a.sortbycrc == b.sortbycrc && a.debug == b.debug && a.doc64 == b.doc64 && a.do_ids == b.do_ids &&
           a.no_ids == b.no_ids && a.inert_switches == b.inert_switches && a.help == b.help &&
           a.version == b.version;
}

std::vector<std::string> canonical_line(const ConsoleOptions &o)
{
    std::vector<std::string> args;
    const std::pair<const char *, bool> flags[] = {
        {"-doprg", o.doprg},         {"-prgunite", o.prgunite},     {"-noc64eof", o.noc64eof},
        {"-noaddpause", o.noaddpause}, {"-boostclean", o.boostclean}, {"-sine", o.sine},
        {"-incsubdirs", o.incsubdirs}, {"-sortbycrc", o.sortbycrc},   {"-debug", o.debug},
        {"-doc64", o.doc64}};
    for (const auto &f : flags)
        if (f.second)
            args.push_back(f.first);
    if (o.tolerance_given) {
        args.push_back("-tol");
        args.push_back(std::to_string(o.tolerance));
    }
    for (const std::string &s : o.inert_switches)
        args.push_back(s);
    for (const std::string &id : o.do_ids)
        args.push_back("-do" + id);
    for (const std::string &id : o.no_ids)
        args.push_back("-no" + id);
    args.push_back(o.operation_switch);
    args.push_back(o.path);
    return args;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    std::vector<std::string> args;
    std::size_t from = 0;
    for (std::size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == 0) {
            if (i < size || i > from)
                args.emplace_back(reinterpret_cast<const char *>(data) + from, i - from);
            from = i + 1;
        }
    }
    const ParsedCommandLine parsed = parse_command_line(args);
    if (!parsed.ok) {
        // The message goes into the report as one line.
        FUZZ_CHECK(!parsed.error.empty());
        for (char c : parsed.error)
            FUZZ_CHECK(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
        return 0;
    }
    const ConsoleOptions &o = parsed.options;
    const bool asked = std::find(args.begin(), args.end(), "--help") != args.end() ||
                       std::find(args.begin(), args.end(), "--version") != args.end();
    FUZZ_CHECK(asked == (o.help || o.version));
    if (asked)
        return 0;
    FUZZ_CHECK(o.operation != Operation::None && !o.operation_switch.empty() && !o.path.empty());
    FUZZ_CHECK(o.tolerance >= SCAN_TOLERANCE_MIN && o.tolerance <= SCAN_TOLERANCE_MAX);
    FUZZ_CHECK(o.tolerance_given || o.tolerance == SCAN_TOLERANCE_DEFAULT);

    const ParsedCommandLine again = parse_command_line(canonical_line(o));
    FUZZ_CHECK(again.ok);
    FUZZ_CHECK(same_options(again.options, o));

    std::vector<std::string> notes;
    const std::vector<const TapeScanner *> scanners = selected_scanners(o, &notes);
    if (o.doc64)
        FUZZ_CHECK(scanners.size() == 1 && scanners[0] == &cbm_rom_scanner);
    for (const TapeScanner *s : scanners)
        FUZZ_CHECK(s != nullptr && (o.doc64 || std::find(o.no_ids.begin(), o.no_ids.end(), s->id) == o.no_ids.end()));
    for (const std::string &note : notes)
        FUZZ_CHECK(!note.empty() && note.find('\n') == std::string::npos);
    const ScanOptions scan = scan_options(o);
    FUZZ_CHECK(scan.tolerance == o.tolerance && scan.require_end_marker == !o.noc64eof);
    for (const std::string &note : switch_notes(o))
        FUZZ_CHECK(!note.empty() && note.find('\n') == std::string::npos);
    FUZZ_CHECK(!settings_line(o, scanners).empty());
    FUZZ_CHECK(operation_writes_tape_report(o.operation) ==
               (o.operation == Operation::Test || o.operation == Operation::Clean ||
                o.operation == Operation::ConvertV0 || o.operation == Operation::ConvertV1));
    return 0;
}
