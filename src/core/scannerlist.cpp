#include "core/scannerlist.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr int SCANNER_LINE_BUFFER = 256;

std::string scanners_file_path(const std::string &folder)
{
    gchar *path = g_build_filename(folder.c_str(), SCANNERS_FILE_NAME, nullptr);
    std::string out(path);
    g_free(path);
    return out;
}

// Splits one piece read from the file into a row; false when a field is
// missing or empty.
bool parse_scanner_line(const char *line, ScannerRow &row)
{
    const char *first = std::strchr(line, ':');
    if (first == nullptr || first == line)
        return false;
    const char *id = first + 1;
    const char *second = std::strchr(id, ':');
    if (second == nullptr || second == id)
        return false;
    const char *name = second + 1;
    const char *newline = std::strchr(name, '\n');
    const std::size_t name_length = newline ? std::size_t(newline - name) : std::strlen(name);
    if (name_length == 0)
        return false;

    const std::string frequency_text(line, std::size_t(first - line));
    row.included = true;
    row.frequency = parse_scanner_frequency(frequency_text.c_str());
    row.id.assign(id, std::size_t(second - id));
    row.name.assign(name, name_length);
    return true;
}

} // namespace

ScannerRow builtin_scanner_row()
{
    return ScannerRow{true, SCANNER_FREQUENCY_BUILTIN, "c64", _("CBM ROM loader")};
}

int clamp_scanner_frequency(int value)
{
    if (value < SCANNER_FREQUENCY_MIN)
        return SCANNER_FREQUENCY_MIN;
    if (value > SCANNER_FREQUENCY_MAX)
        return SCANNER_FREQUENCY_MAX;
    return value;
}

int parse_scanner_frequency(const char *text)
{
    if (text == nullptr)
        return SCANNER_FREQUENCY_NOT_A_NUMBER;
    gchar *end = nullptr;
    // Saturates instead of overflowing, which the clamp then absorbs.
    const gint64 value = g_ascii_strtoll(text, &end, 10);
    if (end == text)
        return SCANNER_FREQUENCY_NOT_A_NUMBER;
    if (value < SCANNER_FREQUENCY_MIN)
        return SCANNER_FREQUENCY_MIN;
    if (value > SCANNER_FREQUENCY_MAX)
        return SCANNER_FREQUENCY_MAX;
    return static_cast<int>(value);
}

bool load_scanner_rows(const std::string &folder, std::vector<ScannerRow> &rows)
{
    rows.clear();
    rows.push_back(builtin_scanner_row());

    FILE *file = g_fopen(scanners_file_path(folder).c_str(), "r");
    if (file == nullptr)
        return false;
    char line[SCANNER_LINE_BUFFER];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        ScannerRow row;
        if (!parse_scanner_line(line, row))
            continue;
        if (scanner_id_is_builtin(row.id.c_str()))
            continue;
        rows.push_back(row);
    }
    std::fclose(file);
    return true;
}

std::string scanner_rows_text(const std::vector<ScannerRow> &rows)
{
    std::string text;
    for (const ScannerRow &row : rows) {
        const char *name = row.name.empty() ? _("<Missing description>") : row.name.c_str();
        gchar *line = g_strdup_printf(_("%d:%s:%s\n"), row.frequency, row.id.c_str(), name);
        text += line;
        g_free(line);
    }
    return text;
}

bool save_scanner_rows(const std::string &folder, const std::vector<ScannerRow> &rows)
{
    // A list that is a link to the shipped one (an installed front end's
    // console folder) becomes the user's own file: the shipped list is not
    // the user's to change.
    const std::string path = scanners_file_path(folder);
    if (g_file_test(path.c_str(), G_FILE_TEST_IS_SYMLINK))
        g_unlink(path.c_str());
    FILE *file = g_fopen(path.c_str(), "w+");
    if (file == nullptr)
        return false;
    const std::string text = scanner_rows_text(rows);
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const bool closed = std::fclose(file) == 0;
    return written && closed;
}

void apply_frequency_threshold(std::vector<ScannerRow> &rows, double threshold)
{
    for (ScannerRow &row : rows)
        if (!scanner_id_is_builtin(row.id.c_str()))
            row.included = static_cast<double>(row.frequency) >= threshold;
}

void select_all_scanner_rows(std::vector<ScannerRow> &rows, bool value)
{
    for (ScannerRow &row : rows)
        if (!scanner_id_is_builtin(row.id.c_str()))
            row.included = value;
}
