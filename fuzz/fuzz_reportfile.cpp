// The report parser on fuzzed report text: entries numbered 1..n in order,
// types and texts without line breaks, pulses = end + 1 - start when the tape
// size is known, the recognised size summed over recognised entries, and the
// type table counting every entry once.
#include "fuzz_support.h"

#include <cstring>
#include <map>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    ReportTotals previous;
    previous.path_last_report = std::string("previous.tap");
    previous.total_size = 1234;
    previous.recognized_size = 99;
    previous.checksum_test_passed = true;
    previous.read_test_passed = true;
    const ParsedReport report = fuzz::parse_report_text(text, previous);
    FUZZ_CHECK(report.opened);

    const bool has_size_line = text.find("TAP Size    : ") != std::string::npos;
    if (!has_size_line)
        FUZZ_CHECK(report.totals.total_size == 0);
    if (text.find("TAP Name    : ") == std::string::npos)
        FUZZ_CHECK(report.totals.path_last_report == previous.path_last_report);
    if (report.totals.path_last_report && report.totals.path_last_report != previous.path_last_report)
        FUZZ_CHECK(report.totals.path_last_report->find('\n') == std::string::npos);

    std::map<std::string, int> counts;
    for (std::size_t i = 0; i < report.entries.size(); ++i) {
        const ReportEntry &e = report.entries[i];
        FUZZ_CHECK(e.index == int(i) + 1);
        FUZZ_CHECK(e.type.find('\n') == std::string::npos);
        FUZZ_CHECK(e.name.find('\n') == std::string::npos);
        FUZZ_CHECK(e.crc32.find('\n') == std::string::npos);
        FUZZ_CHECK(e.type.size() < std::size_t(REPORT_LINE_BUFFER));
        if (e.read_errors)
            FUZZ_CHECK(*e.read_errors != "0");
        if (e.checkbyte)
            FUZZ_CHECK(*e.checkbyte == "OK" || *e.checkbyte == "FAIL");
        FUZZ_CHECK(!e.split_mark && !e.excluded);
        if (report.totals.total_size == 0) {
            FUZZ_CHECK(e.start == 0 && e.end == 0 && e.pulses == 0 && e.coverage == 0);
        } else {
            // Untouched without a "Location" line.
            const bool located = e.pulses != 0 || e.start != 0 || e.end != 0;
            if (located)
                FUZZ_CHECK(uint32_t(e.pulses) == uint32_t(uint64_t(e.end) + 1u - uint64_t(e.start)));
        }
        ++counts[e.type];
    }

    GHashTable *table = create_hashtable();
    report_fill_type_table(table, report.entries);
    FUZZ_CHECK(g_hash_table_size(table) == counts.size());
    for (const auto &c : counts)
        FUZZ_CHECK(GPOINTER_TO_INT(g_hash_table_lookup(table, c.first.c_str())) == c.second);
    g_hash_table_destroy(table);

    // A stream that cannot be opened keeps only the recognised size.
    const ParsedReport none = report_parse_stream(nullptr, previous);
    FUZZ_CHECK(!none.opened && none.entries.empty() && none.totals.total_size == 0 &&
               none.totals.recognized_size == previous.recognized_size && !none.totals.path_last_report);
    return 0;
}
