#include "core/reportfile.h"

#include <glib/gstdio.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

namespace {

// Header keys, read until the "Read test" line.
constexpr const char KEY_TAP_NAME[] = "TAP Name    : ";
constexpr const char KEY_TAP_SIZE[] = "TAP Size    : ";
constexpr const char KEY_CHECKSUM_TEST[] = "Checksum test     : ";
constexpr const char KEY_READ_TEST[] = "Read test         : ";

// Entry keys; every key after "File Type: " belongs to the entry opened last.
constexpr const char KEY_FILE_TYPE[] = "File Type: ";
constexpr const char KEY_LOCATION[] = "Location: ";
constexpr const char KEY_LOAD_ADDRESS[] = "LA: ";
constexpr const char KEY_FILE_NAME[] = "File Name: ";
constexpr const char KEY_CHECKBYTE[] = "Checkbyte Actual/Expected: ";
constexpr const char KEY_READ_ERRORS[] = "Read Errors: ";
constexpr const char KEY_CRC32[] = "CRC32: ";
constexpr const char KEY_FILE_ID[] = " - File ID : ";
constexpr const char KEY_TURBO[] = "Turbo: ";

constexpr const char UNRECOGNIZED[] = "UNRECOGNIZED";
constexpr const char UNKNOWN_TURBO[] = "UNKNOWN TURBO";

// The text after `key` when the line begins with it, else nullptr.
template <std::size_t N>
const char *after_key(const char *line, const char (&key)[N])
{
    return std::strncmp(line, key, N - 1) == 0 ? line + N - 1 : nullptr;
}

// The text up to its first newline.
std::string without_newline(const char *text)
{
    return std::string(text, std::strcspn(text, "\n"));
}

bool contains(const char *line, const char *word)
{
    return std::strstr(line, word) != nullptr;
}

// A number of the report, clamped to REPORT_OFFSET_MAX.
int64_t clamped(uint64_t value)
{
    return value > uint64_t(REPORT_OFFSET_MAX) ? REPORT_OFFSET_MAX : int64_t(value);
}

// "TAP Size": the whole file, header included, read as it stands (sizes of
// 2 GB and more too). A size up to the header's, or a negative one, leaves
// the tape size unknown (0). A line without a number changes nothing.
void read_tap_size(const char *text, int64_t &total_size)
{
    while (g_ascii_isspace(*text))
        ++text;
    if (*text == '-' && g_ascii_isdigit(text[1])) {
        total_size = 0;
        return;
    }
    if (*text == '+')
        ++text;
    if (!g_ascii_isdigit(*text))
        return;
    const int64_t size = clamped(g_ascii_strtoull(text, nullptr, 10));
    total_size = size <= REPORT_TAP_HEADER_SIZE ? 0 : size - REPORT_TAP_HEADER_SIZE;
}

// Reads "$hex" at text into *value and returns the text after it, or
// nullptr (value unchanged) when there is no such number.
const char *read_hex(const char *text, int64_t *value)
{
    if (*text != '$')
        return nullptr;
    ++text;
    while (g_ascii_isspace(*text))
        ++text;
    if (!g_ascii_isxdigit(*text))
        return nullptr;
    char *end = nullptr;
    *value = clamped(g_ascii_strtoull(text, &end, 16));
    return end;
}

// "Location: $start -> $inner start -> $inner end -> $end". Numbers that
// cannot be read keep the entry's previous values.
void read_location(const char *text, ReportEntry &entry, ReportTotals &totals)
{
    int64_t offsets[4] = {entry.start, entry.inner_start, entry.inner_end, entry.end};
    for (int i = 0; i < 4 && text != nullptr; ++i) {
        if (i > 0) {
            // " -> ", with any white space around the arrow
            while (g_ascii_isspace(*text))
                ++text;
            if (std::strncmp(text, "->", 2) != 0)
                break;
            text += 2;
            while (g_ascii_isspace(*text))
                ++text;
        }
        text = read_hex(text, &offsets[i]);
    }

    // The end offset is inclusive. Offsets are clamped, so nothing overflows.
    const int64_t pulses = offsets[3] + 1 - offsets[0];
    const int64_t total = totals.total_size;
    if (total != 0) {
        entry.start = offsets[0];
        entry.inner_start = offsets[1];
        entry.inner_end = offsets[2];
        entry.end = offsets[3];
        entry.pulses = pulses;
        // Percent rounded to the nearest integer.
        const int64_t percent = (pulses * 100 + total / 2) / total;
        entry.coverage = static_cast<int>(std::clamp<int64_t>(percent, INT_MIN, INT_MAX));
        if (total < 2) {
            entry.start_fraction = 1.0;
            entry.end_fraction = 1.0;
        } else {
            entry.start_fraction = static_cast<double>(entry.start) / static_cast<double>(total);
            entry.end_fraction = static_cast<double>(entry.end) / static_cast<double>(total);
        }
    }
    if (!report_type_unrecognised(entry.type))
        totals.recognized_size = std::clamp<int64_t>(totals.recognized_size + pulses, -REPORT_OFFSET_MAX,
                                                     REPORT_OFFSET_MAX);
}

// "LA: $load  EA: $end  SZ: size": each address is a word without blanks;
// one that cannot be read keeps the entry's previous text. The size is not kept.
void read_addresses(const char *text, ReportEntry &entry)
{
    char load[REPORT_LINE_BUFFER] = "";
    char end[REPORT_LINE_BUFFER] = "";
    int size = 0;
    const int read = std::sscanf(text, "$%255s  EA: $%255s  SZ: %d", load, end, &size);
    if (read >= 1)
        entry.load_address = load;
    if (read >= 2)
        entry.end_address = end;
}

} // namespace

ReportTotals report_totals_without_report(const ReportTotals &previous)
{
    ReportTotals totals;
    totals.recognized_size = previous.recognized_size;
    return totals;
}

ParsedReport report_parse_stream(FILE *stream, ReportTotals previous)
{
    ParsedReport report;
    if (!stream) {
        report.totals = report_totals_without_report(previous);
        return report;
    }
    report.opened = true;
    report.totals = std::move(previous);
    ReportTotals &totals = report.totals;
    totals.total_size = 0;
    totals.recognized_size = 0;

    char line[REPORT_LINE_BUFFER];
    bool in_header = true;
    while (std::fgets(line, sizeof line, stream)) {
        const char *rest = nullptr;
        if (in_header) {
            if ((rest = after_key(line, KEY_TAP_NAME))) {
                totals.path_last_report = without_newline(rest);
            } else if ((rest = after_key(line, KEY_TAP_SIZE))) {
                read_tap_size(rest, totals.total_size);
            } else if (after_key(line, KEY_CHECKSUM_TEST)) {
                totals.checksum_test_passed = !contains(line, "FAIL");
            } else if (after_key(line, KEY_READ_TEST)) {
                totals.read_test_passed = !contains(line, "FAIL");
                in_header = false;
            }
            continue;
        }

        if ((rest = after_key(line, KEY_FILE_TYPE))) {
            ReportEntry entry;
            entry.index = static_cast<int>(report.entries.size()) + 1;
            entry.type = without_newline(rest);
            report.entries.push_back(std::move(entry));
            continue;
        }
        if (report.entries.empty())
            continue;
        ReportEntry &entry = report.entries.back();
        if ((rest = after_key(line, KEY_LOCATION))) {
            read_location(rest, entry, totals);
        } else if ((rest = after_key(line, KEY_LOAD_ADDRESS))) {
            read_addresses(rest, entry);
        } else if ((rest = after_key(line, KEY_FILE_NAME))) {
            entry.name = without_newline(rest);
        } else if (after_key(line, KEY_CHECKBYTE)) {
            entry.checkbyte = contains(line, "FAIL") ? "FAIL" : "OK";
        } else if ((rest = after_key(line, KEY_READ_ERRORS))) {
            std::string count = without_newline(rest);
            if (count != "0")
                entry.read_errors = std::move(count);
        } else if ((rest = after_key(line, KEY_CRC32))) {
            entry.crc32 = without_newline(rest);
        } else if (after_key(line, KEY_FILE_ID)) {
            entry.first_copy = contains(line, "FIRST");
        } else if (after_key(line, KEY_TURBO)) {
            entry.turbo = without_newline(line);
        }
    }
    return report;
}

bool report_type_unrecognised(const std::string &type)
{
    return type.compare(0, sizeof UNRECOGNIZED - 1, UNRECOGNIZED) == 0 || report_type_unknown_turbo(type);
}

bool report_type_unknown_turbo(const std::string &type) { return type == UNKNOWN_TURBO; }

ParsedReport report_parse_file(const std::string &path, ReportTotals previous)
{
    FILE *stream = g_fopen(path.c_str(), "r");
    ParsedReport report = report_parse_stream(stream, std::move(previous));
    if (stream)
        std::fclose(stream);
    return report;
}

guint hash_func(gconstpointer)
{
    return 1;
}

GHashTable *create_hashtable()
{
    return g_hash_table_new_full(hash_func, g_str_equal, g_free, nullptr);
}

void report_fill_type_table(GHashTable *table, const std::vector<ReportEntry> &entries)
{
    g_hash_table_remove_all(table);
    for (const ReportEntry &entry : entries) {
        const int count = GPOINTER_TO_INT(g_hash_table_lookup(table, entry.type.c_str()));
        // An existing key stays; the table frees the new copy.
        g_hash_table_insert(table, g_strdup(entry.type.c_str()), GINT_TO_POINTER(count + 1));
    }
}

const char *report_file_name(bool batch)
{
    return batch ? "qmbatch.txt" : "qmreport.txt";
}
