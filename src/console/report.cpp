#include "console/report.h"

#include "console/tapeinput.h"

#include <glib.h>

#include <cinttypes>
#include <cstdarg>
#include <cstdio>

namespace {

// printf into a std::string, line by line.
void line(std::string &out, const char *format, ...) G_GNUC_PRINTF(2, 3);
void line(std::string &out, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    gchar *text = g_strdup_vprintf(format, args);
    va_end(args);
    out += text;
    out += '\n';
    g_free(text);
}

void write_head(std::string &out, const ReportHead &head)
{
    line(out, "%s", head.title.c_str());
    if (!head.command.empty())
        line(out, "Command     : %s", head.command.c_str());
    if (!head.settings.empty())
        line(out, "Settings    : %s", head.settings.c_str());
    for (const std::string &note : head.notes)
        line(out, "Note: %s", note.c_str());
    out += '\n';
}

void write_not_tested(std::string &out, const char *why)
{
    line(out, "Checksum test     : FAIL - not tested: %s", why);
    line(out, "Read test         : FAIL - not tested: %s", why);
}

std::string entry_counts(const TapeScan &scan)
{
    unsigned files = 0, pauses = 0, unrecognized = 0;
    for (const TapeEntry &e : scan.entries) {
        if (e.kind == EntryKind::File)
            ++files;
        else if (e.kind == EntryKind::Pause)
            ++pauses;
        else
            ++unrecognized;
    }
    return std::to_string(scan.entries.size()) + " (" + std::to_string(files) + (files == 1 ? " file, " : " files, ") +
           std::to_string(pauses) + (pauses == 1 ? " pause, " : " pauses, ") + std::to_string(unrecognized) +
           " unrecognized)";
}

void write_entry(std::string &out, const TapeScan &scan, const TapeEntry &e, bool debug)
{
    line(out, "File Type: %s", e.type.c_str());
    line(out, "Location: $%04" PRIX64 " -> $%04" PRIX64 " -> $%04" PRIX64 " -> $%04" PRIX64, e.start, e.inner_start,
         e.inner_end, e.end);
    if (e.kind != EntryKind::File) {
        if (!e.description.empty())
            line(out, "%s", e.description.c_str());
        out += '\n';
        return;
    }
    if (e.has_addresses)
        line(out, "LA: $%04X  EA: $%04X  SZ: %u", unsigned(e.load_address), unsigned(e.end_address), unsigned(e.size));
    // A data block shows the name of the header it belongs to.
    const TapeEntry *named = e.has_name ? &e : nullptr;
    if (named == nullptr && e.header_entry >= 0 && std::size_t(e.header_entry) < scan.entries.size() &&
        scan.entries[std::size_t(e.header_entry)].has_name)
        named = &scan.entries[std::size_t(e.header_entry)];
    if (named != nullptr)
        line(out, "File Name: %s", named->name.c_str());
    if (e.has_checkbyte) {
        // Actual: the XOR of the payload as read; Expected: the checkbyte on the tape.
        line(out, "Checkbyte Actual/Expected: $%02X/$%02X, %s", unsigned(e.checkbyte_computed),
             unsigned(e.checkbyte_on_tape), e.checkbyte_pass ? "PASS" : "FAIL");
    }
    line(out, "Read Errors: %u", e.read_errors);
    if (e.has_crc)
        line(out, "CRC32: %08X", unsigned(e.crc32));
    if (e.copy != CopyId::None)
        line(out, " - File ID : %s", copy_id_text(e.copy));
    if (!e.lost_bytes.empty()) {
        std::size_t lost = 0;
        std::string where;
        for (const auto &run : e.lost_bytes) {
            lost += run.second;
            where += (where.empty() ? "" : ", ") + std::to_string(run.first);
        }
        line(out, "Note: %zu bytes lost in %zu dropout%s (read as $00; at payload offset%s %s)", lost,
             e.lost_bytes.size(), e.lost_bytes.size() == 1 ? "" : "s", e.lost_bytes.size() == 1 ? "" : "s",
             where.c_str());
    }
    if (e.overlapping)
        line(out, "Note: overlaps other entries (debug mode: found by its scanner looking at the whole tape)");
    if (e.has_addresses && e.header_entry >= 0 && e.payload.size() != e.size)
        line(out, "Note: %zu bytes read, the header announces %u", e.payload.size(), unsigned(e.size));
    // Formats of one pulse per bit have two lengths; the CBM ROM formats three.
    if (debug && e.kind == EntryKind::File && e.ideal_units[std::size_t(PulseClass::Long)] == 0)
        line(out, "Pulse lengths bit 0/bit 1: %.1f/%.1f TAP units (calibrated)", e.pulse_short, e.pulse_medium);
    else if (debug)
        line(out, "Pulse lengths S/M/L: %.1f/%.1f/%.1f TAP units (calibrated), parity errors: %u", e.pulse_short,
             e.pulse_medium, e.pulse_long, e.parity_errors);
    out += '\n';
}

} // namespace

std::string checksum_result_text(const ScanTotals &t)
{
    if (t.checksummed == 0)
        return "FAIL - no file with a checksum was found";
    return std::string(t.checksum_pass() ? "PASS" : "FAIL") + " - " + std::to_string(t.checksum_ok) + " of " +
           std::to_string(t.checksummed) + " checksummed files OK";
}

std::string recognised_text(const ScanTotals &t)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.1f %% of the tape in recognised files", t.recognised_percent());
    return text;
}

std::string read_result_text(const ScanTotals &t)
{
    return std::string(t.read_pass() ? "PASS" : "FAIL") + " - " + std::to_string(t.read_errors) +
           (t.read_errors == 1 ? " read error" : " read errors");
}

std::string format_tape_report(const ReportHead &head, const TapeScan &scan, const std::string &tape_path,
                               const TapeReportExtras &extras)
{
    std::string out;
    out.reserve(256 + scan.entries.size() * 200);
    write_head(out, head);
    const ScanTotals totals = scan_totals(scan);
    line(out, "TAP Name    : %s", tape_path.c_str());
    line(out, "TAP Size    : %" PRIu64 " bytes", scan.file_size);
    line(out, "TAP Format  : %s", tape_format_text(scan).c_str());
    line(out, "Checksum test     : %s", checksum_result_text(totals).c_str());
    line(out, "Read test         : %s", read_result_text(totals).c_str());
    line(out, "Entries     : %s", entry_counts(scan).c_str());
    line(out, "Recognised  : %s", recognised_text(totals).c_str());
    for (const std::string &l : extras.after_totals)
        line(out, "%s", l.c_str());
    out += '\n';
    for (const TapeEntry &e : scan.entries)
        write_entry(out, scan, e, extras.debug);
    return out;
}

std::string format_failure_report(const ReportHead &head, const std::string &tape_path, bool size_known,
                                  uint64_t file_size, const std::string &reason)
{
    std::string out;
    write_head(out, head);
    line(out, "TAP Name    : %s", tape_path.c_str());
    // No "TAP Size" line: the front end's tools must not take the file for a scanned tape.
    if (size_known)
        line(out, "File size   : %" PRIu64 " bytes", file_size);
    line(out, "Error       : %s", reason.c_str());
    write_not_tested(out, "the tape could not be scanned");
    return out;
}

std::string format_usage_report(const std::string &title, const std::string &message)
{
    std::string out;
    line(out, "%s", title.c_str());
    line(out, "Usage error : %s", message.c_str());
    line(out, "Nothing was done. Call: quillmar [switches] OPERATION PATH (\"quillmar --help\" lists them).");
    write_not_tested(out, "usage error");
    return out;
}

std::string format_started_report(const ReportHead &head)
{
    std::string out;
    write_head(out, head);
    line(out, "Status      : the job started but did not finish");
    write_not_tested(out, "the job did not finish");
    return out;
}

bool write_text_file(const std::string &path, const std::string &text, std::string *error)
{
    GError *e = nullptr;
    if (g_file_set_contents(path.c_str(), text.data(), gssize(text.size()), &e))
        return true;
    if (error != nullptr)
        *error = e != nullptr ? e->message : "cannot write " + path;
    g_clear_error(&e);
    return false;
}

bool write_binary_file(const std::string &path, const std::vector<uint8_t> &bytes, std::string *error)
{
    GError *e = nullptr;
    if (g_file_set_contents(path.c_str(), reinterpret_cast<const gchar *>(bytes.data()), gssize(bytes.size()), &e))
        return true;
    if (error != nullptr)
        *error = e != nullptr ? e->message : "cannot write " + path;
    g_clear_error(&e);
    return false;
}
