// The scanner list file: rows read from a fuzzed scanners.txt keep the
// built-in row first, clamped frequencies, non-empty fields and no second
// built-in id; the rows written back read back the same (when no line is
// longer than the 255-byte read buffer); threshold and select-all never
// touch the built-in row.
#include "core/scannerlist.h"
#include "fuzz_support.h"

namespace {

bool same_rows(const std::vector<ScannerRow> &a, const std::vector<ScannerRow> &b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].included != b[i].included || a[i].frequency != b[i].frequency || a[i].id != b[i].id ||
            a[i].name != b[i].name)
            return false;
    return true;
}

void check_rows(const std::vector<ScannerRow> &rows)
{
    FUZZ_CHECK(!rows.empty());
    const ScannerRow builtin = builtin_scanner_row();
    FUZZ_CHECK(same_rows({rows[0]}, {builtin}));
    for (std::size_t i = 1; i < rows.size(); ++i) {
        const ScannerRow &r = rows[i];
        FUZZ_CHECK(r.included);
        FUZZ_CHECK(r.frequency >= SCANNER_FREQUENCY_MIN && r.frequency <= SCANNER_FREQUENCY_MAX);
        FUZZ_CHECK(!r.id.empty() && !r.name.empty());
        FUZZ_CHECK(r.id.find(':') == std::string::npos && r.id.find('\n') == std::string::npos);
        FUZZ_CHECK(r.name.find('\n') == std::string::npos);
        FUZZ_CHECK(r.id.compare(0, 3, "c64") != 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const std::string folder = fuzz::temp_folder();
    fuzz::write_file(fuzz::temp_path(SCANNERS_FILE_NAME), data, size);
    std::vector<ScannerRow> rows;
    FUZZ_CHECK(load_scanner_rows(folder, rows));
    check_rows(rows);

    const std::string text = scanner_rows_text(rows);
    std::size_t lines = 0, line_start = 0;
    bool short_lines = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\n')
            continue;
        ++lines;
        short_lines = short_lines && i + 1 - line_start < 255;
        line_start = i + 1;
    }
    FUZZ_CHECK(lines == rows.size() && line_start == text.size());

    FUZZ_CHECK(save_scanner_rows(folder, rows));
    std::vector<ScannerRow> again;
    FUZZ_CHECK(load_scanner_rows(folder, again));
    check_rows(again);
    // A name or id holding a NUL byte ends early on the way back.
    bool has_nul = false;
    for (const ScannerRow &r : rows)
        has_nul = has_nul || r.id.find('\0') != std::string::npos || r.name.find('\0') != std::string::npos;
    if (short_lines && !has_nul)
        FUZZ_CHECK(same_rows(rows, again));

    const int threshold = size % 11;
    apply_frequency_threshold(rows, threshold);
    FUZZ_CHECK(rows[0].included);
    for (std::size_t i = 1; i < rows.size(); ++i)
        FUZZ_CHECK(rows[i].included == (rows[i].frequency >= threshold));
    select_all_scanner_rows(rows, false);
    FUZZ_CHECK(rows[0].included);
    for (std::size_t i = 1; i < rows.size(); ++i)
        FUZZ_CHECK(!rows[i].included);
    return 0;
}
