// The summary page of the entries of a fuzzed report: the fixed head and
// foot, one table row per entry in order with a known row class, and the
// file written holds exactly the page.
#include "core/summary.h"
#include "fuzz_support.h"

#include <cstring>

namespace {

std::size_t count_of(const std::string &text, const char *what)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

} // namespace

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
    FUZZ_CHECK(page.compare(sizeof head - 1, base.size(), base) == 0);
    FUZZ_CHECK(page.back() == '\n');
    FUZZ_CHECK(page.find("<tbody>\n") != std::string::npos && page.find("</tbody>\n") != std::string::npos);

    // One row per entry, each with its class; the texts are not escaped, so
    // only rows the report's own texts could not fake are counted.
    bool plain_texts = true;
    for (const ReportEntry &e : report.entries) {
        const char *cls = summary_row_class(e);
        FUZZ_CHECK(!std::strcmp(cls, "danger") || !std::strcmp(cls, "warning") || !std::strcmp(cls, "success"));
        for (const std::string *t : {&e.type, &e.name, &e.load_address, &e.end_address, &e.crc32})
            plain_texts = plain_texts && t->find('<') == std::string::npos;
        if (e.read_errors)
            plain_texts = plain_texts && e.read_errors->find('<') == std::string::npos;
    }
    if (plain_texts && base.find('<') == std::string::npos) {
        FUZZ_CHECK(count_of(page, "\t\t\t\t\t<tr class=\"") == report.entries.size());
        FUZZ_CHECK(count_of(page, "\t\t\t\t\t</tr>\n") == report.entries.size() + 1);
    }

    const std::string path = fuzz::temp_path("summary.html");
    FUZZ_CHECK(summary_write_file(path, base, report.entries));
    std::vector<uint8_t> written;
    FUZZ_CHECK(fuzz::read_file(path, written));
    FUZZ_CHECK(std::string(written.begin(), written.end()) == page);
    FUZZ_CHECK(summary_suggested_name(tape) == base + "_report.html");
    return 0;
}
