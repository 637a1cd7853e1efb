#include "core/summary.h"

#include "core/appinfo.h"

#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <cstdio>

namespace {

constexpr const char NBSP[] = "&nbsp;";

std::string take_gstring(gchar *text)
{
    std::string result(text);
    g_free(text);
    return result;
}

// Text from the tape (names come from tape data) as HTML text: made valid
// UTF-8, then "<", ">", "&" and both quotes escaped, so that no name is ever
// taken as markup.
std::string escaped(const std::string &text)
{
    gchar *valid = g_utf8_make_valid(text.c_str(), static_cast<gssize>(text.size()));
    gchar *markup = g_markup_escape_text(valid, -1);
    std::string result(markup);
    g_free(markup);
    g_free(valid);
    return result;
}

std::string cell_text(const std::string &text)
{
    return text.empty() ? NBSP : escaped(text);
}

void append_row(std::string &page, const ReportEntry &e)
{
    page += take_gstring(g_strdup_printf(_("\t\t\t\t\t<tr class=\"%s\">\n"), summary_row_class(e)));
    page += take_gstring(g_strdup_printf(_("\t\t\t\t\t\t<td>%d</td>\n"), e.index));
    page += take_gstring(g_strdup_printf(
        _("\t\t\t\t\t\t<td><div class=\"progress\"><div class=\"progress-bar progress-bar-striped\" "
          "role=\"progressbar\" aria-valuenow=\"%d\" aria-valuemin=\"0\" aria-valuemax=\"100\" "
          "style=\"width:%d%%\"><span>%d&nbsp;&#37;</span></div></div></td>\n"),
        e.coverage, e.coverage, e.coverage));
    page += take_gstring(g_strdup_printf(_("\t\t\t\t\t\t<td>%lld</td>\n"), static_cast<long long>(e.pulses)));
    const std::string texts[] = {cell_text(e.type), cell_text(e.load_address), cell_text(e.end_address),
                                 cell_text(e.crc32), summary_cell_text(e.read_errors),
                                 summary_cell_text(e.checkbyte)};
    for (const std::string &text : texts)
        page += take_gstring(g_strdup_printf(_("\t\t\t\t\t\t<td>%s</td>\n"), text.c_str()));
    page += take_gstring(g_strdup_printf(_("\t\t\t\t\t\t<td class=\"left\">%s</td>\n"), cell_text(e.name).c_str()));
    page += _("\t\t\t\t\t</tr>\n");
}

} // namespace

std::string summary_cell_text(const std::optional<std::string> &text)
{
    return text ? cell_text(*text) : NBSP;
}

const char *summary_row_class(const ReportEntry &e)
{
    // Nothing verified: what no scanner read, and a turbo only described.
    if (e.type == "UNRECOGNIZED" || report_type_unknown_turbo(e.type))
        return "danger";
    if (summary_cell_text(e.read_errors) != NBSP)
        return "warning";
    if (summary_cell_text(e.checkbyte) == "FAIL")
        return "warning";
    return "success";
}

std::string summary_html(const std::string &tape_base_name, const std::vector<ReportEntry> &entries)
{
    std::string page = _("<!DOCTYPE html>\n"
                         "\n"
                         "<head>\n"
                         "\n");
    page += take_gstring(g_strdup_printf(_("<title>Quillmar Front End Summary Report for %s</title>\n"),
                                         escaped(tape_base_name).c_str()));
    page += _("<meta charset=\"utf-8\">\n"
              "<link rel=\"stylesheet\" href=\"http://maxcdn.bootstrapcdn.com/bootstrap/3.3.6/css/bootstrap.min.css\">\n"
              "<style>\n"
              "\t.progress {\n"
              "\t\tposition: relative;\n"
              "\t\tmargin-bottom: 0 !important;\n"
              "\t}\n"
              "\t.progress span {\n"
              "\t\tposition: absolute;\n"
              "\t\tdisplay: block;\n"
              "\t\twidth: 100%;\n"
              "\t\tcolor: black;\n"
              "\t}\n"
              "</style>\n"
              "</head>\n"
              "\n"
              "<body>\n"
              "\t<div class=\"container\">\n"
              "\t\t<div class=\"table-responsive\">\n"
              "\t\t\t<table class=\"table\">\n"
              "\t\t\t\t<thead>\n"
              "\t\t\t\t\t<tr>\n"
              "\t\t\t\t\t\t<th>Index</th>\n"
              "\t\t\t\t\t\t<th>Coverage</th>\n"
              "\t\t\t\t\t\t<th>Pulses</th>\n"
              "\t\t\t\t\t\t<th>Type descriptor</th>\n"
              "\t\t\t\t\t\t<th>Load</th>\n"
              "\t\t\t\t\t\t<th>End</th>\n"
              "\t\t\t\t\t\t<th>CRC32</th>\n"
              "\t\t\t\t\t\t<th>Read err</th>\n"
              "\t\t\t\t\t\t<th>Check?</th>\n"
              "\t\t\t\t\t\t<th style=\"width:30%\">File name</th>\n"
              "\t\t\t\t\t</tr>\n"
              "\t\t\t\t</thead>\n"
              "\t\t\t\t<tbody>\n");
    for (const ReportEntry &e : entries)
        append_row(page, e);
    page += take_gstring(g_strdup_printf(_("\t\t\t\t</tbody>\n"
                                           "\t\t\t</table>\n"
                                           "\t\t</div>\n"
                                           "\t</div>\n"
                                           "\t<div class=\"container\">\n"
                                           "\t\t<div class=\"row text-center\">\n"
                                           "\t\t\tSummary report generated by %s %s\n"
                                           "\t\t</div>\n"
                                           "\t</div>\n"
                                           "</body>\n"
                                           "\n"
                                           "</html>\n"),
                                         QUILLMARFE_NAME, QUILLMARFE_VERSION));
    return page;
}

bool summary_write_file(const std::string &path, const std::string &tape_base_name,
                        const std::vector<ReportEntry> &entries)
{
    FILE *file = g_fopen(path.c_str(), "w+");
    if (!file)
        return false;
    const std::string page = summary_html(tape_base_name, entries);
    const bool written = std::fwrite(page.data(), 1, page.size(), file) == page.size();
    // A page cut short by a full disk is not a saved page.
    return (std::fclose(file) == 0) && written;
}

std::string summary_tape_base_name(const std::string &report_tape_path)
{
    return take_gstring(g_path_get_basename(report_tape_path.c_str()));
}

std::string summary_suggested_name(const std::string &report_tape_path)
{
    return take_gstring(
        g_strdup_printf(_("%s_report.html"), summary_tape_base_name(report_tape_path).c_str()));
}
