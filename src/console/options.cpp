#include "console/options.h"

#include "core/appinfo.h"
#include "core/cbmscan.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

struct OperationSwitch {
    const char *text;
    Operation op;
};

const OperationSwitch operation_switches[] = {
    {"-t", Operation::Test},         {"-o", Operation::Clean},       {"-b", Operation::Batch},
    {"-ct0", Operation::ConvertV0},  {"-ct1", Operation::ConvertV1}, {"-au", Operation::RecordAu},
    {"-wav", Operation::RecordWav},
};

struct FlagSwitch {
    const char *text;
    bool ConsoleOptions::*flag;
};

const FlagSwitch flag_switches[] = {
    {"-doprg", &ConsoleOptions::doprg},           {"-prgunite", &ConsoleOptions::prgunite},
    {"-noc64eof", &ConsoleOptions::noc64eof},     {"-noaddpause", &ConsoleOptions::noaddpause},
    {"-boostclean", &ConsoleOptions::boostclean}, {"-sine", &ConsoleOptions::sine},
    {"-incsubdirs", &ConsoleOptions::incsubdirs}, {"-sortbycrc", &ConsoleOptions::sortbycrc},
    {"-debug", &ConsoleOptions::debug},           {"-doc64", &ConsoleOptions::doc64},
    {"-noid", &ConsoleOptions::noid},             {"-preserve", &ConsoleOptions::preserve},
    {"-extvisipatch", &ConsoleOptions::extvisipatch},
};

// Accepted; this program has no loader they apply to.
const char *const inert_switch_texts[] = {"-docyberfault"};

void add_unique(std::vector<std::string> &list, const std::string &item)
{
    if (std::find(list.begin(), list.end(), item) == list.end())
        list.push_back(item);
}

bool parse_tolerance(const std::string &text, int *value)
{
    if (text.empty() || text.size() > 2)
        return false;
    int v = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        v = v * 10 + (c - '0');
    }
    if (v < SCAN_TOLERANCE_MIN || v > SCAN_TOLERANCE_MAX)
        return false;
    *value = v;
    return true;
}

bool is_builtin_id(const std::string &id) { return find_scanner(id) != nullptr; }

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

// An argument as a message quotes it: control characters written as escapes,
// so that a line break in an argument cannot start a line of its own in the
// report (where it could pass for one of the report's keys).
std::string shown(const std::string &text)
{
    std::string out;
    for (char c : text) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\t')
            out += "\\t";
        else if (c == '\r')
            out += "\\r";
        else if (is_control(c)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02X", unsigned(static_cast<unsigned char>(c)));
            out += escape;
        } else
            out += c;
    }
    return out;
}

} // namespace

ParsedCommandLine parse_command_line(const std::vector<std::string> &args)
{
    ParsedCommandLine result;
    ConsoleOptions &o = result.options;
    for (const std::string &a : args) {
        if (a == "--help")
            o.help = true;
        else if (a == "--version")
            o.version = true;
    }
    if (o.help || o.version) {
        result.ok = true;
        return result;
    }
    if (args.empty()) {
        result.error = "no operation given: nothing to do";
        return result;
    }

    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        bool handled = false;
        for (const OperationSwitch &s : operation_switches) {
            if (a != s.text)
                continue;
            handled = true;
            if (o.operation != Operation::None) {
                result.error = "two operations given (" + o.operation_switch + " and " + a + "); give only one";
                return result;
            }
            if (i + 1 >= args.size() || args[i + 1].empty()) {
                result.error = "the operation " + a + " needs a " + (s.op == Operation::Batch ? "folder" : "tape") +
                               " path after it";
                return result;
            }
            o.operation = s.op;
            o.operation_switch = a;
            o.path = args[++i];
        }
        if (handled)
            continue;
        if (a == "-tol") {
            o.tolerance_given = true;
            if (i + 1 >= args.size() || !parse_tolerance(args[i + 1], &o.tolerance)) {
                result.error = "-tol needs a tolerance from 0 to 15 after it" +
                               (i + 1 < args.size() ? " (got \"" + shown(args[i + 1]) + "\")" : std::string());
                return result;
            }
            ++i;
            continue;
        }
        for (const FlagSwitch &s : flag_switches) {
            if (a == s.text) {
                o.*s.flag = true;
                handled = true;
            }
        }
        for (const char *s : inert_switch_texts) {
            if (a == s) {
                add_unique(o.inert_switches, a);
                handled = true;
            }
        }
        if (handled)
            continue;
        // Scanner switches: any other "-doID" or "-noID" (an id never holds
        // a control character: it is written into the report's notes).
        if (a.size() > 3 && (a.compare(0, 3, "-do") == 0 || a.compare(0, 3, "-no") == 0) &&
            std::none_of(a.begin(), a.end(), is_control)) {
            const std::string id = a.substr(3);
            if (a[1] == 'd')
                add_unique(o.do_ids, id);
            else
                add_unique(o.no_ids, id);
            continue;
        }
        if (!a.empty() && a[0] == '-')
            result.error = "unknown switch \"" + shown(a) + "\"";
        else
            result.error = "unexpected word \"" + shown(a) + "\" (a path must follow its operation switch)";
        return result;
    }
    if (o.operation == Operation::None) {
        result.error = "no operation given (one of -t, -o, -b, -ct0, -ct1, -au, -wav with its path)";
        return result;
    }
    result.ok = true;
    return result;
}

bool operation_writes_tape_report(Operation op)
{
    return op == Operation::Test || op == Operation::Clean || op == Operation::ConvertV0 ||
           op == Operation::ConvertV1;
}

std::vector<const TapeScanner *> selected_scanners(const ConsoleOptions &o, std::vector<std::string> *notes)
{
    if (o.doc64) {
        if (notes != nullptr) {
            for (const std::string &id : o.do_ids)
                notes->push_back("-do" + id + " had no effect: -doc64 runs the CBM ROM scanner (c64) alone");
            for (const std::string &id : o.no_ids)
                notes->push_back("-no" + id + " had no effect: -doc64 runs the CBM ROM scanner (c64) alone");
        }
        return {&cbm_rom_scanner};
    }
    for (const std::string &id : o.do_ids) {
        if (!is_builtin_id(id) && notes != nullptr)
            notes->push_back("-do" + id + ": this program has no scanner \"" + id + "\"; it adds nothing");
    }
    for (const std::string &id : o.no_ids) {
        if (!is_builtin_id(id) && notes != nullptr)
            notes->push_back("-no" + id + ": this program has no scanner \"" + id + "\"; nothing to leave out");
    }
    auto named = [](const std::vector<std::string> &ids, const TapeScanner *s) {
        return std::find(ids.begin(), ids.end(), s->id) != ids.end();
    };
    std::vector<const TapeScanner *> scanners;
    for (const TapeScanner *s : builtin_scanners()) {
        if (named(o.no_ids, s))
            continue;
        // "-doID" narrows the choice to CBM ROM and the scanners it names.
        if (!o.do_ids.empty() && s != &cbm_rom_scanner && !named(o.do_ids, s))
            continue;
        scanners.push_back(s);
    }
    return scanners;
}

ScanOptions scan_options(const ConsoleOptions &o)
{
    ScanOptions s;
    s.tolerance = o.tolerance;
    s.require_end_marker = !o.noc64eof;
    s.overlap = o.debug;
    s.extract_loader_patches = o.extvisipatch;
    return s;
}

std::vector<std::string> switch_notes(const ConsoleOptions &o)
{
    std::vector<std::string> notes;
    const bool batch = o.operation == Operation::Batch;
    const bool clean = o.operation == Operation::Clean;
    const bool record = o.operation == Operation::RecordAu || o.operation == Operation::RecordWav;
    for (const std::string &s : o.inert_switches)
        notes.push_back(s + " had no effect: this program has no loader it applies to");
    if (o.doprg && (batch || record))
        notes.push_back("-doprg had no effect: PRG files are written by -t, -o, -ct0 and -ct1");
    if (o.prgunite && (!o.doprg || batch || record))
        notes.push_back("-prgunite had no effect: PRG files were not written");
    if (o.noaddpause && !clean)
        notes.push_back("-noaddpause had no effect: it applies to cleaning (-o)");
    if (o.boostclean && clean)
        notes.push_back("-boostclean had no effect: this cleaner rewrites every pulse of a recognised file "
                        "whatever the tolerance");
    else if (o.boostclean)
        notes.push_back("-boostclean had no effect: it applies to cleaning (-o)");
    if (o.sine && !record)
        notes.push_back("-sine had no effect: it applies to recording (-au, -wav)");
    if (o.incsubdirs && !batch)
        notes.push_back("-incsubdirs had no effect: it applies to batch scans (-b)");
    if (o.sortbycrc && !batch)
        notes.push_back("-sortbycrc had no effect: it applies to batch scans (-b)");
    // The pulse lengths are printed per file of a tape report only.
    if (o.extvisipatch && (batch || record || !o.doprg))
        notes.push_back("-extvisipatch had no effect: Visiload patch files go to PRG files of -t, -o, -ct0 and "
                        "-ct1 with -doprg");
    if (o.preserve && (batch || record))
        notes.push_back("-preserve had no effect: it applies to -t, -o, -ct0 and -ct1");
    if (o.debug && (batch || record))
        notes.push_back("-debug had no effect: it applies to the tape report of -t, -o, -ct0 and -ct1");
    // A recording plays every pulse as it is, whatever the scan made of it.
    if (record) {
        const char *why = " had no effect: a recording plays the pulses as they are, whatever the scan reads";
        if (o.tolerance_given)
            notes.push_back(std::string("-tol") + why);
        if (o.noc64eof)
            notes.push_back(std::string("-noc64eof") + why);
        if (o.doc64)
            notes.push_back(std::string("-doc64") + why);
        for (const std::string &id : o.do_ids)
            notes.push_back("-do" + id + why);
        for (const std::string &id : o.no_ids)
            notes.push_back("-no" + id + why);
    }
    return notes;
}

std::string settings_line(const ConsoleOptions &o, const std::vector<const TapeScanner *> &scanners)
{
    std::string line = "tolerance " + std::to_string(o.tolerance) + ", end-of-data markers " +
                       (o.noc64eof ? "optional" : "required") + ", scanners:";
    if (scanners.empty())
        line += " none";
    for (std::size_t i = 0; i < scanners.size(); ++i)
        line += std::string(i == 0 ? " " : ", ") + scanners[i]->id;
    return line;
}

const char *usage_text()
{
    return "usage: quillmar [switches] OPERATION PATH\n"
           "\n"
           "Operations (exactly one):\n"
           "  -t PATH         test a TAP file or ZORV dump: scan it, write qmreport.txt\n"
           "  -o PATH         clean: write clean.NAME beside it, then report on that tape\n"
           "  -b FOLDER       batch scan every .tap/.dmp in FOLDER, write qmbatch.txt\n"
           "  -ct0 PATH       convert to TAP version 0 (converted.NAME), then report on it\n"
           "  -ct1 PATH       convert to TAP version 1 (converted.NAME), then report on it\n"
           "  -au PATH        record to Sun AU audio (NAME.au beside it)\n"
           "  -wav PATH       record to Microsoft WAV audio (NAME.wav beside it)\n"
           "\n"
           "Switches:\n"
           "  -tol N          read tolerance in TAP units, 0 to 15 (default 10)\n"
           "  -doprg          write the programs found to the folder \"prg\" beside quillmar\n"
           "  -prgunite       join programs whose addresses continue into one PRG file\n"
           "  -noc64eof       accept CBM blocks without their end-of-data marker\n"
           "  -noaddpause     no 5-second silence at the end of a cleaned tape\n"
           "  -boostclean     accepted; cleaning rewrites every recognised pulse anyway\n"
           "  -sine           record sine waves instead of square waves\n"
           "  -incsubdirs     batch: include subfolders\n"
           "  -sortbycrc      batch: sort the tapes by their CBM CRC\n"
           "  -doc64          run only the CBM ROM scanner\n"
           "  -doID, -noID    run only scanner ID beside CBM ROM / leave scanner ID out\n"
           "                  (-noc64 leaves out the CBM ROM scanner)\n"
           "  -debug          debug mode: files may overlap (every scanner also looks at\n"
           "                  the whole tape on its own), and the report gives every\n"
           "                  file's calibrated pulse lengths\n"
           "  -noid           no loader identification: every selected scanner runs\n"
           "                  (by default a known loader in the boot file runs alone)\n"
           "  -preserve       keep loader variables learnt from boot files (pilot, sync,\n"
           "                  bit order) in qmpreserve.txt beside quillmar and use them\n"
           "                  for tape pieces without their boot file\n"
           "  -extvisipatch   write Visiload's loader patch files to PRG files too\n"
           "  -docyberfault\n"
           "                  accepted; no loader of this program uses them\n"
           "  --help, --version\n"
           "\n"
           "Reports (qmreport.txt, qmbatch.txt) and the folder \"prg\" are written beside\n"
           "the quillmar executable. Of the files in \"prg\" only those of the previous\n"
           "-doprg run are removed; a name taken by another file gets a suffix \" (2)\".\n"
           "Exit status: 0 done, 1 unreadable or unsupported input (or an output that\n"
           "could not be written), 2 usage error.\n";
}

std::string version_text()
{
    return std::string("quillmar ") + QUILLMARFE_VERSION + " (" + QUILLMARFE_NAME +
           "): tape scanner for the CBM ROM loader and common turbo loaders\n";
}
