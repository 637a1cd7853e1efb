#include "core/reportfile.h"

#include <glib/gstdio.h>

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

constexpr const char UNRECOGNIZED[] = "UNRECOGNIZED";

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

// "TAP Size": the whole file, header included. The comparison is unsigned,
// so a negative size is also reduced by the header.
int32_t total_size_from_tap_size(int value)
{
    const uint32_t size = static_cast<uint32_t>(value);
    if (size <= static_cast<uint32_t>(REPORT_TAP_HEADER_SIZE))
        return 0;
    return static_cast<int32_t>(size - static_cast<uint32_t>(REPORT_TAP_HEADER_SIZE));
}

// "Location: $start -> $inner start -> $inner end -> $end". Numbers that
// cannot be read keep the entry's previous values.
void read_location(const char *text, ReportEntry &entry, ReportTotals &totals)
{
    unsigned int offsets[4] = {
        static_cast<unsigned int>(entry.start), static_cast<unsigned int>(entry.inner_start),
        static_cast<unsigned int>(entry.inner_end), static_cast<unsigned int>(entry.end)};
    std::sscanf(text, "$%x -> $%x -> $%x -> $%x", &offsets[0], &offsets[1], &offsets[2], &offsets[3]);

    // The end offset is inclusive.
    const int32_t pulses = static_cast<int32_t>(offsets[3] + 1u - offsets[0]);
    const int32_t total = totals.total_size;
    if (total != 0) {
        entry.start = static_cast<int32_t>(offsets[0]);
        entry.inner_start = static_cast<int32_t>(offsets[1]);
        entry.inner_end = static_cast<int32_t>(offsets[2]);
        entry.end = static_cast<int32_t>(offsets[3]);
        entry.pulses = pulses;
        // Percent rounded to the nearest integer (64-bit, so long tapes do not overflow).
        entry.coverage = static_cast<int>((static_cast<int64_t>(pulses) * 100 + total / 2) / total);
        if (total < 2) {
            entry.start_fraction = 1.0;
            entry.end_fraction = 1.0;
        } else {
            entry.start_fraction = static_cast<double>(entry.start) / total;
            entry.end_fraction = static_cast<double>(entry.end) / total;
        }
    }
    if (std::strncmp(entry.type.c_str(), UNRECOGNIZED, sizeof UNRECOGNIZED - 1) != 0)
        totals.recognized_size = static_cast<int32_t>(static_cast<uint32_t>(totals.recognized_size) +
                                                      static_cast<uint32_t>(pulses));
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
                int value = 0;
                if (std::sscanf(rest, "%d", &value) == 1)
                    totals.total_size = total_size_from_tap_size(value);
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
        }
    }
    return report;
}

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
