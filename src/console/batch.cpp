#include "console/batch.h"

#include "console/cbmblocks.h"
#include "console/location.h"
#include "console/operations.h"
#include "console/report.h"
#include "console/tapeinput.h"
#include "core/loaders/identify.h"

#include <glib.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

bool is_tape_name(const char *name)
{
    const std::size_t n = std::strlen(name);
    return n > 4 && (g_ascii_strcasecmp(name + n - 4, ".tap") == 0 || g_ascii_strcasecmp(name + n - 4, ".dmp") == 0);
}

void collect(const std::string &folder, bool recursive, std::vector<std::string> &tapes)
{
    GDir *dir = g_dir_open(folder.c_str(), 0, nullptr);
    if (dir == nullptr)
        return;
    std::vector<std::string> subfolders;
    while (const gchar *name = g_dir_read_name(dir)) {
        const std::string path = join_path(folder, name);
        if (g_file_test(path.c_str(), G_FILE_TEST_IS_DIR)) {
            if (recursive && !g_file_test(path.c_str(), G_FILE_TEST_IS_SYMLINK))
                subfolders.push_back(path);
        } else if (is_tape_name(name)) {
            tapes.push_back(path);
        }
    }
    g_dir_close(dir);
    for (const std::string &sub : subfolders)
        collect(sub, recursive, tapes);
}

struct BatchTape {
    std::string path;
    bool scanned = false;
    std::string error;
    bool size_known = false;
    uint64_t size = 0;
    std::string format;
    ScanTotals totals;
    uint32_t crc = 0;
    std::vector<std::pair<std::string, unsigned>> file_types;  // in order of first appearance
    unsigned pauses = 0, unrecognized = 0;
    std::vector<std::string> programs;

    bool passed() const { return scanned && totals.checksum_pass() && totals.read_pass(); }
};

std::string hex32(uint32_t v)
{
    char text[16];
    std::snprintf(text, sizeof text, "%08X", unsigned(v));
    return text;
}

BatchTape summarise(const std::string &path, const ConsoleOptions &o, const std::vector<const TapeScanner *> &scanners)
{
    BatchTape t;
    t.path = path;
    TapeInput in = read_tape_input(path);
    t.size_known = in.size_known;
    t.size = in.file_size;
    if (!in.ok) {
        t.error = in.error;
        return t;
    }
    const TapeScan scan =
        scan_tape_identified(in.bytes.data(), in.bytes.size(), scan_options(o), scanners, !o.noid).scan;
    in.bytes.clear();
    if (!scan.ok) {
        t.error = scan.error;
        return t;
    }
    t.scanned = true;
    t.format = tape_format_text(scan);
    t.totals = scan_totals(scan);
    t.crc = cbm_crc(scan);
    for (const TapeEntry &e : scan.entries) {
        if (e.kind == EntryKind::Pause) {
            ++t.pauses;
        } else if (e.kind == EntryKind::Unrecognized) {
            ++t.unrecognized;
        } else {
            auto it = std::find_if(t.file_types.begin(), t.file_types.end(),
                                   [&](const std::pair<std::string, unsigned> &p) { return p.first == e.type; });
            if (it == t.file_types.end())
                t.file_types.emplace_back(e.type, 1);
            else
                ++it->second;
        }
    }
    for (const CbmProgram &p : cbm_programs(scan)) {
        char text[160];
        std::snprintf(text, sizeof text, "\"%s\" $%04X-$%04X, %zu bytes, %s", p.name.c_str(), unsigned(p.load_address),
                      unsigned(uint16_t(p.load_address + p.data->size())), p.data->size(), p.pass ? "PASS" : "FAIL");
        t.programs.push_back(text);
    }
    return t;
}

void write_tape(std::string &out, std::size_t number, const BatchTape &t, bool same_crc_as_previous)
{
    out += std::to_string(number) + ". " + t.path + "\n";
    if (!t.scanned) {
        if (t.size_known)
            out += "    Size          : " + std::to_string(t.size) + " bytes\n";
        out += "    Error         : " + t.error + "\n\n";
        return;
    }
    out += "    Size          : " + std::to_string(t.size) + " bytes\n";
    out += "    Format        : " + t.format + "\n";
    out += "    Checksum test : " + checksum_result_text(t.totals) + "\n";
    out += "    Read test     : " + read_result_text(t.totals) + "\n";
    out += "    Recognised    : " + recognised_text(t.totals) + "\n";
    out += "    CBM CRC       : " + hex32(t.crc) + (same_crc_as_previous ? " (same as the tape above)" : "") + "\n";
    unsigned files = 0;
    std::string kinds;
    for (const auto &p : t.file_types) {
        files += p.second;
        kinds += (kinds.empty() ? "" : ", ") + std::to_string(p.second) + " " + p.first;
    }
    out += "    Files found   : " + std::to_string(files) + (kinds.empty() ? "" : " (" + kinds + ")") + "; " +
           std::to_string(t.pauses) + " pause(s), " + std::to_string(t.unrecognized) + " unrecognized stretch(es)\n";
    for (const std::string &p : t.programs)
        out += "    Program       : " + p + "\n";
    out += "\n";
}

} // namespace

std::vector<std::string> find_batch_tapes(const std::string &folder, bool recursive)
{
    std::vector<std::string> tapes;
    collect(folder, recursive, tapes);
    std::sort(tapes.begin(), tapes.end());
    return tapes;
}

int run_batch(const ConsoleOptions &o, const std::string &report_folder)
{
    std::vector<std::string> scanner_notes;
    const std::vector<const TapeScanner *> scanners = selected_scanners(o, &scanner_notes);
    const ReportHead head = report_head(o, "batch report", scanners, scanner_notes);
    const std::string report_path = join_path(report_folder, BATCH_REPORT_NAME);
    std::string error;
    if (!write_text_file(report_path, format_started_report(head), &error)) {
        std::fprintf(stderr, "quillmar: cannot write the batch report %s: %s\n", report_path.c_str(), error.c_str());
        return 1;
    }

    std::string out = head.title + "\n";
    out += "Command     : " + head.command + "\n";
    out += "Settings    : " + head.settings + "\n";
    for (const std::string &note : head.notes)
        out += "Note: " + note + "\n";
    out += "\n";
    out += "Folder      : " + o.path + "\n";
    if (!g_file_test(o.path.c_str(), G_FILE_TEST_IS_DIR)) {
        const std::string reason = g_file_test(o.path.c_str(), G_FILE_TEST_EXISTS) ? "it is not a folder"
                                                                                   : "the folder does not exist";
        out += "Error       : " + reason + "; nothing was scanned\n";
        write_text_file(report_path, out, nullptr);
        std::fprintf(stderr, "quillmar: %s: %s\n", o.path.c_str(), reason.c_str());
        return 1;
    }

    std::vector<BatchTape> tapes;
    for (const std::string &path : find_batch_tapes(o.path, o.incsubdirs))
        tapes.push_back(summarise(path, o, scanners));
    if (o.sortbycrc) {
        std::stable_sort(tapes.begin(), tapes.end(), [](const BatchTape &a, const BatchTape &b) {
            if (a.scanned != b.scanned)
                return a.scanned;
            return a.scanned && a.crc < b.crc;
        });
    }

    std::size_t passed = 0, unreadable = 0;
    for (const BatchTape &t : tapes) {
        passed += t.passed() ? 1 : 0;
        unreadable += t.scanned ? 0 : 1;
    }
    out += std::string("Subfolders  : ") + (o.incsubdirs ? "included" : "not included") + "\n";
    out += std::string("Order       : ") + (o.sortbycrc ? "by CBM CRC, then by path" : "by path") + "\n";
    out += "Tapes       : " + std::to_string(tapes.size()) + " found, " + std::to_string(passed) +
           " passed both tests, " + std::to_string(tapes.size() - passed - unreadable) + " with errors, " +
           std::to_string(unreadable) + " not scanned\n\n";
    for (std::size_t i = 0; i < tapes.size(); ++i) {
        const bool same = o.sortbycrc && i > 0 && tapes[i].scanned && tapes[i - 1].scanned && tapes[i].crc != 0 &&
                          tapes[i].crc == tapes[i - 1].crc;
        write_tape(out, i + 1, tapes[i], same);
    }

    if (!write_text_file(report_path, out, &error)) {
        std::fprintf(stderr, "quillmar: cannot write the batch report %s: %s\n", report_path.c_str(), error.c_str());
        return 1;
    }
    std::printf("quillmar: %zu tape(s) scanned in %s, %zu passed both tests\n", tapes.size(), o.path.c_str(), passed);
    std::printf("quillmar: batch report written to %s\n", report_path.c_str());
    return 0;
}
