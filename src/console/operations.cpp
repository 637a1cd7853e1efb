#include "console/operations.h"

#include "console/location.h"
#include "console/prgfolder.h"
#include "console/prgout.h"
#include "console/report.h"
#include "console/tapeinput.h"
#include "core/appinfo.h"
#include "core/audiowrite.h"
#include "core/loadermemory.h"
#include "core/loaders/all.h"
#include "core/loaders/identify.h"
#include "core/tapewrite.h"

#include <glib.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace {

void say(const std::string &text) { std::printf("quillmar: %s\n", text.c_str()); }

void complain(const std::string &text) { std::fprintf(stderr, "quillmar: %s\n", text.c_str()); }

// Scans a tape image already read and checked, with loader identification
// unless -noid; *identification (when given) gets the report's line on it.
TapeScan scan_input(const TapeInput &in, const ConsoleOptions &o, const std::vector<const TapeScanner *> &scanners,
                    std::string *identification = nullptr, const LoaderMemory *remembered = nullptr)
{
    ScanOptions options = scan_options(o);
    options.remembered = remembered;
    IdentifiedScan s = scan_tape_identified(in.bytes.data(), in.bytes.size(), options, scanners, !o.noid);
    if (identification != nullptr)
        *identification = s.summary;
    return std::move(s.scan);
}

// The tape written by Clean or Convert, and where it went.
struct WrittenTape {
    bool ok = false;
    std::string path;
    std::string error;
};

WrittenTape write_tape_output(const ConsoleOptions &o, const TapeScan &scan)
{
    WrittenTape w;
    std::vector<uint8_t> bytes;
    if (o.operation == Operation::Clean) {
        w.path = cleaned_tape_path(o.path);
        CleanOptions c;
        c.add_trailing_pause = !o.noaddpause;
        c.boost = o.boostclean;
        bytes = clean_tap(scan, c);
    } else {
        w.path = converted_tape_path(o.path);
        bytes = convert_tap(scan, o.operation == Operation::ConvertV0 ? 0 : 1);
    }
    if (bytes.empty()) {
        w.error = "no tape could be written from it";
        return w;
    }
    if (same_file(w.path, o.path)) {
        w.error = "the output " + w.path + " would replace the source";
        return w;
    }
    std::string error;
    if (!write_binary_file(w.path, bytes, &error)) {
        w.error = "cannot write " + w.path + ": " + error;
        return w;
    }
    w.ok = true;
    return w;
}

// Writes the PRG files and puts how it went into the report. False when
// not all of them were written.
bool write_prgs(PrgFolder &prg, const std::vector<PrgFile> &files, TapeReportExtras &extras)
{
    std::vector<std::string> renamed;
    std::size_t written = 0;
    std::string error;
    for (const PrgFile &f : files) {
        std::string name;
        if (!prg.write(f, &name, &error))
            break;
        ++written;
        if (f.merged)
            renamed.push_back("Note: " + name + " was put together from both copies of its CBM block: each " +
                              "lost in dropouts bytes the other read, and the checkbyte matches");
        if (name != f.file_name)
            renamed.push_back("Note: " + f.file_name + " in the folder is not this program's and was kept; " +
                              "written as " + name);
    }
    const std::string count = std::to_string(files.size()) + " PRG file" + (files.size() == 1 ? "" : "s");
    const bool all = written == files.size();
    if (all) {
        extras.after_totals.push_back("PRG files   : " + std::to_string(files.size()) + " written to " + prg.folder());
        say(count + " written to " + prg.folder());
    } else {
        extras.after_totals.push_back("PRG files   : not all written (" + std::to_string(written) + " of " +
                                      std::to_string(files.size()) + "): " + error);
        complain(error);
    }
    extras.after_totals.insert(extras.after_totals.end(), renamed.begin(), renamed.end());
    return all;
}

// The bytes of unknown turbo stretches, beside the PRG files and removed
// with them by the next run.
bool write_study_files(PrgFolder &prg, const std::vector<PrgFile> &files, TapeReportExtras &extras)
{
    std::string names, error;
    for (const PrgFile &f : files) {
        std::string name;
        if (!prg.write(f, &name, &error)) {
            extras.after_totals.push_back("Study files : not all written: " + error);
            complain(error);
            return false;
        }
        names += (names.empty() ? "" : ", ") + name;
    }
    if (!files.empty())
        extras.after_totals.push_back("Study files : " + names + " (bytes of unknown turbo stretches, not programs)");
    return true;
}

// The loader variables earlier runs kept (-preserve): none when the file is
// missing or unreadable.
LoaderMemory read_loader_memory(const std::string &path)
{
    gchar *contents = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &contents, &length, nullptr))
        return LoaderMemory();
    const LoaderMemory memory = LoaderMemory::from_text(std::string(contents, length));
    g_free(contents);
    return memory;
}

// "burner pilot=E3 ..., ocean ..." for the report.
std::string loader_memory_summary(const LoaderMemory &memory)
{
    std::string text;
    for (const auto &[id, value] : memory.values)
        text += (text.empty() ? "" : "; ") + id + " " + value;
    return text;
}

} // namespace

ReportHead report_head(const ConsoleOptions &o, const char *kind, const std::vector<const TapeScanner *> &scanners,
                       const std::vector<std::string> &scanner_notes)
{
    ReportHead head;
    head.title = std::string("quillmar ") + QUILLMARFE_VERSION + " - " + kind;
    head.command = o.operation_switch + " " + o.path;
    head.settings = settings_line(o, scanners);
    head.notes = switch_notes(o);
    head.notes.insert(head.notes.end(), scanner_notes.begin(), scanner_notes.end());
    return head;
}

int run_tape_job(const ConsoleOptions &o, const std::string &report_folder)
{
    std::vector<std::string> scanner_notes;
    const std::vector<const TapeScanner *> scanners = selected_scanners(o, &scanner_notes);
    const ReportHead head = report_head(o, "tape report", scanners, scanner_notes);
    const std::string report_path = join_path(report_folder, TAPE_REPORT_NAME);
    std::string error;
    bool report_ok = write_text_file(report_path, format_started_report(head), &error);
    if (!report_ok)
        complain("cannot write the report " + report_path + ": " + error);

    // The previous run's PRG files go first, also when this run fails.
    PrgFolder prg(join_path(report_folder, PRG_FOLDER_NAME));
    std::string prg_error;
    if (o.doprg && !prg.start(&prg_error))
        complain(prg_error);
    bool prg_ok = prg_error.empty();

    const auto fail = [&](const std::string &tape, const TapeInput &in, const std::string &reason) {
        complain(tape + ": " + reason);
        if (report_ok)
            write_text_file(report_path, format_failure_report(head, tape, in.size_known, in.file_size, reason), nullptr);
        return 1;
    };

    TapeInput in = read_tape_input(o.path);
    if (!in.ok)
        return fail(o.path, in, in.error);
    // Loader variables of earlier runs, when told to keep them.
    const std::string memory_path = join_path(report_folder, LOADER_MEMORY_NAME);
    LoaderMemory memory;
    if (o.preserve)
        memory = read_loader_memory(memory_path);
    const LoaderMemory *remembered = o.preserve ? &memory : nullptr;

    std::string identification;
    TapeScan scan = scan_input(in, o, scanners, &identification, remembered);
    if (!scan.ok)
        return fail(o.path, in, scan.error);
    // What this tape's boot files taught, before a rescan of the written tape.
    LoaderMemory learnt = scan.learnt;

    std::string tape_path = o.path;
    TapeReportExtras extras;
    extras.debug = o.debug;
    if (o.operation != Operation::Test) {
        const WrittenTape w = write_tape_output(o, scan);
        if (!w.ok)
            return fail(o.path, in, w.error);
        say("wrote " + w.path);
        extras.after_totals.push_back("Source      : " + o.path);
        // The report describes the tape as written, read back from disk.
        tape_path = w.path;
        in = read_tape_input(w.path);
        if (!in.ok)
            return fail(w.path, in, in.error);
        scan = scan_input(in, o, scanners, &identification, remembered);
        if (!scan.ok)
            return fail(w.path, in, scan.error);
        for (const auto &[id, value] : scan.learnt.values)
            learnt.values[id] = value;
    }
    extras.after_totals.push_back("Loader ID   : " + identification);
    if (o.preserve) {
        if (!memory.empty())
            extras.after_totals.push_back("Preserved   : offered from earlier runs: " + loader_memory_summary(memory));
        if (!learnt.empty()) {
            for (const auto &[id, value] : learnt.values)
                memory.values[id] = value;
            std::string memory_error;
            if (write_text_file(memory_path, memory.to_text(), &memory_error))
                extras.after_totals.push_back("Preserved   : kept for the next runs: " +
                                              loader_memory_summary(learnt));
            else
                extras.after_totals.push_back("Preserved   : could not keep " + loader_memory_summary(learnt) +
                                              ": " + memory_error);
        }
    }
    in.bytes.clear();
    in.bytes.shrink_to_fit();

    if (o.extvisipatch && o.doprg &&
        std::none_of(scan.entries.begin(), scan.entries.end(),
                     [](const TapeEntry &e) { return e.type == VISILOAD_PATCH_TYPE; }))
        extras.after_totals.push_back("Note: -extvisipatch had no effect: the tape holds no Visiload patch file");
    if (o.doprg) {
        unsigned skipped = 0;
        const std::vector<PrgFile> files = tape_prg_files(scan, o.prgunite, &skipped);
        if (prg_ok) {
            prg_ok = write_prgs(prg, files, extras) && write_study_files(prg, tape_study_files(scan), extras);
        } else {
            extras.after_totals.push_back("PRG files   : none written: " + prg_error);
        }
        if (skipped > 0)
            extras.after_totals.push_back("Note: " + std::to_string(skipped) +
                                          " data block(s) without a program header; no PRG file for them");
    }

    const ScanTotals totals = scan_totals(scan);
    say(tape_path + ": checksum test " + checksum_result_text(totals) + "; read test " + read_result_text(totals));
    if (report_ok) {
        report_ok = write_text_file(report_path, format_tape_report(head, scan, tape_path, extras), &error);
        if (report_ok)
            say("report written to " + report_path);
        else
            complain("cannot write the report " + report_path + ": " + error);
    }
    return report_ok && prg_ok ? 0 : 1;
}

int run_record(const ConsoleOptions &o)
{
    std::vector<std::string> notes;
    const std::vector<const TapeScanner *> scanners = selected_scanners(o, &notes);
    const TapeInput in = read_tape_input(o.path);
    if (!in.ok) {
        complain(o.path + ": " + in.error);
        return 1;
    }
    const TapeScan scan = scan_input(in, o, scanners);
    if (!scan.ok) {
        complain(o.path + ": " + scan.error);
        return 1;
    }
    const bool au = o.operation == Operation::RecordAu;
    const std::string out = audio_output_path(o.path, au ? ".au" : ".wav");
    if (same_file(out, o.path)) {
        complain(o.path + ": the output " + out + " would replace the source");
        return 1;
    }
    const std::vector<uint8_t> audio = render_audio(scan, au ? AudioFormat::Au : AudioFormat::Wav, o.sine);
    if (audio.empty()) {
        complain(o.path + ": no recording could be made from it");
        return 1;
    }
    std::string error;
    if (!write_binary_file(out, audio, &error)) {
        complain("cannot write " + out + ": " + error);
        return 1;
    }
    for (const std::string &note : switch_notes(o))
        say(note);
    say("wrote " + out);
    return 0;
}
