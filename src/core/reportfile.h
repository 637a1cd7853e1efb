// The console program's report file ("qmreport.txt", or "qmbatch.txt" after a
// batch scan) read line by line into report entries (one per file found on
// the tape), the tape-wide totals and the count of files per type.
//
// A report has a header part (tape name and size, checksum and read test
// results) that ends with the "Read test" line, then one block per entry,
// each opened by its "File Type: " line. Keys are exact prefixes at column 0.
// Lines are read with a 256-byte buffer: a longer line arrives as several
// pieces, and every piece is taken as a line of its own.
//
// Pure and GLib-only: the GTK layer copies the entries into its file list
// store and the type table into the file types view.
#pragma once
#include <glib.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

// A report is a text file that anyone can edit, so its numbers are read as
// 64-bit values and clamped to REPORT_OFFSET_MAX (far beyond any tape): no
// sum or difference of them can overflow, and a tool refuses offsets that
// do not fit its tape (see reportcheck.h) instead of wrapping around.
//
// Size of the line buffer; a line piece holds at most REPORT_LINE_BUFFER - 1 bytes.
constexpr int REPORT_LINE_BUFFER = 256;

// The tape header that "TAP Size" includes and total_size leaves out.
constexpr int32_t REPORT_TAP_HEADER_SIZE = 20;

// Largest offset or size kept from a report (2^50 bytes); larger numbers are
// clamped to it.
constexpr int64_t REPORT_OFFSET_MAX = int64_t(1) << 50;

// One row of the file list; field order = model column order 0..18.
// Columns 1 and 4..10 stay zero when the tape size is unknown (total_size 0);
// a field whose line never comes stays empty (none, 0 or false).
struct ReportEntry {
    int index = 0;               // 0: 1-based ordinal of the entry in the report
    int coverage = 0;            // 1: share of the tape in percent, rounded
    std::string type;            // 2: type descriptor ("PAUSE", "UNRECOGNIZED", ...)
    std::string name;            // 3: file name
    int64_t start = 0;           // 4: start offset (bytes into the file, header included)
    int64_t inner_start = 0;     // 5: inner start offset
    int64_t inner_end = 0;       // 6: inner end offset
    int64_t end = 0;             // 7: end offset, inclusive
    int64_t pulses = 0;          // 8: end + 1 - start
    double start_fraction = 0;   // 9: start / total_size (1.0 when total_size < 2)
    double end_fraction = 0;     // 10: end / total_size (1.0 when total_size < 2)
    std::string load_address;    // 11: hexadecimal text without "$"
    std::string end_address;     // 12: hexadecimal text without "$"
    std::string crc32;           // 13
    std::optional<std::string> read_errors; // 14: set unless the count is exactly "0"
    std::optional<std::string> checkbyte;   // 15: "OK" or "FAIL"
    bool split_mark = false;     // 16: owned by the split tool
    bool first_copy = false;     // 17: the "File ID" line says FIRST
    bool excluded = false;       // 18: owned by the tape editor
    // Not a model column: the "Turbo: ..." line of an UNKNOWN TURBO stretch.
    std::string turbo;
};

// True for the types of stretches no scanner verified: "UNRECOGNIZED..." and
// "UNKNOWN TURBO" (a turbo described from its pulses, nothing checked).
bool report_type_unrecognised(const std::string &type);
bool report_type_unknown_turbo(const std::string &type);

struct ReportTotals {
    std::optional<std::string> path_last_report; // tape named by "TAP Name"
    int64_t total_size = 0;      // "TAP Size" less the 20-byte header; 0 when unknown
    int64_t recognized_size = 0; // pulses of every entry not of an unrecognised type (see below)
    bool checksum_test_passed = false;
    bool read_test_passed = false;
};

struct ParsedReport {
    bool opened = false;         // the report could be read
    ReportTotals totals;
    std::vector<ReportEntry> entries;
};

// Parses a whole report. The totals start from `previous` with total_size and
// recognized_size reset to 0; the tape path and the two test flags keep their
// previous values unless the report sets them. A null stream is treated like
// a report that cannot be opened (see report_totals_without_report).
ParsedReport report_parse_stream(FILE *stream, ReportTotals previous);

// Opens and parses the report at `path`. When it cannot be opened: opened is
// false, no entries, totals as report_totals_without_report(previous).
ParsedReport report_parse_file(const std::string &path, ReportTotals previous);

// Totals when no report is read (batch run, or a missing report): the tape
// path is forgotten, total_size is 0 and both tests count as failed;
// recognized_size keeps its previous value (it is not shown while
// total_size is 0).
ReportTotals report_totals_without_report(const ReportTotals &previous);

// The type table maps a type descriptor (an owned copy, freed by the table)
// to its occurrence count, stored as an integer in the value slot
// (GPOINTER_TO_INT). Its hash function returns 1 for every key, so every
// lookup compares with all keys: the table only ever holds a few types.
guint hash_func(gconstpointer key);

// A new, empty type table: constant hash, string equality, keys freed by the table.
GHashTable *create_hashtable();

// Empties the table, then counts the type descriptor of every entry.
void report_fill_type_table(GHashTable *table, const std::vector<ReportEntry> &entries);

// File name of the report in the console program's folder:
// "qmbatch.txt" after a batch scan, else "qmreport.txt".
const char *report_file_name(bool batch);
