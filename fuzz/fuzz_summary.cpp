// The summary page of the entries of a fuzzed report: the fixed head and
// foot, the escaped title, one table row per entry with a known row class
// and nothing from the report taken as markup, and the file written holds
// exactly the page.
#include "core/summary.h"
#include "fuzz_support.h"

#include <cstring>


extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const ParsedReport report = fuzz::parse_report_text(text);
    const std::string tape = report.totals.path_last_report.value_or("tape.tap");
    const std::string base = summary_tape_base_name(tape);
    const std::string page = summary_html(base, report.entries);

    static const char head[] = "<!DOCTYPE html>\n\n<head>\n\n<title>Quillmar Front End Summary Report for ";
    static const char foot[] = "\t\t</div>\n\t</div>\n</body>\n\n</html>\n";
    FUZZ_CHECK(page.compare(0, sizeof head - 1, head) == 0);
    FUZZ_CHECK(page.size() > sizeof foot && page.compare(page.size() - (sizeof foot - 1), sizeof foot - 1, foot) == 0);
    // The title holds the base name as HTML text.
    gchar *valid = g_utf8_make_valid(base.c_str(), static_cast<gssize>(base.size()));
    gchar *markup = g_markup_escape_text(valid, -1);
    const std::string title = markup;
    g_free(markup);
    g_free(valid);
    FUZZ_CHECK(page.compare(sizeof head - 1, title.size() + 8, title + "</title>") == 0);
    FUZZ_CHECK(g_utf8_validate(page.c_str(), static_cast<gssize>(page.size()), nullptr));
    FUZZ_CHECK(page.back() == '\n');
    FUZZ_CHECK(page.find("<tbody>\n") != std::string::npos && page.find("</tbody>\n") != std::string::npos);

    // One row per entry, each with its class. Texts from the report are
    // escaped, so none of them can open or close an element of the page.
    for (const ReportEntry &e : report.entries) {
        const char *cls = summary_row_class(e);
        FUZZ_CHECK(!std::strcmp(cls, "danger") || !std::strcmp(cls, "warning") || !std::strcmp(cls, "success"));
    }
    FUZZ_CHECK(fuzz::count_of(page, "<tr class=\"") == report.entries.size());
    FUZZ_CHECK(fuzz::count_of(page, "</tr>") == report.entries.size() + 1);
    FUZZ_CHECK(fuzz::count_of(page, "<td") == report.entries.size() * 10);
    FUZZ_CHECK(fuzz::count_of(page, "<") == fuzz::count_of(page, ">"));

    const std::string path = fuzz::temp_path("summary.html");
    FUZZ_CHECK(summary_write_file(path, base, report.entries));
    std::vector<uint8_t> written;
    FUZZ_CHECK(fuzz::read_file(path, written));
    FUZZ_CHECK(std::string(written.begin(), written.end()) == page);
    FUZZ_CHECK(summary_suggested_name(tape) == base + "_report.html");
    return 0;
}
