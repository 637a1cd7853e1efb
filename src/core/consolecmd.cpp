#include "core/consolecmd.h"

#include <glib.h>
#include <glib/gi18n-lib.h>

#include <cstring>

namespace {

std::string take_gstring(gchar *s)
{
    std::string out(s != nullptr ? s : "");
    g_free(s);
    return out;
}

std::string format1(const char *format, const std::string &value)
{
    return take_gstring(g_strdup_printf(format, value.c_str()));
}

// When a check box writes its switch.
enum class FlagWhen {
    Checked,        // box checked
    NotChecked,     // box not checked: the switch asks for the opposite of its label
    CheckedWithPrg, // checked, and PRG creation checked
    CheckedBatch,   // checked, batch scans only
    CheckedRecord,  // checked, Record only
};

struct FlagSwitch {
    const char *key;
    const char *text;
    FlagWhen when;
};

// In the order the switches are written.
const FlagSwitch flag_switches[] = {
    {"debug", N_("-debug "), FlagWhen::Checked},
    {"noid", N_("-noid "), FlagWhen::NotChecked},
    {"noc64eof", N_("-noc64eof "), FlagWhen::NotChecked},
    {"docyberfault", N_("-docyberfault "), FlagWhen::NotChecked},
    {"boostclean", N_("-boostclean "), FlagWhen::Checked},
    {"noaddpause", N_("-noaddpause "), FlagWhen::NotChecked},
    {"doprg", N_("-doprg "), FlagWhen::Checked},
    {"prgunite", N_("-prgunite "), FlagWhen::CheckedWithPrg},
    {"extvisipatch", N_("-extvisipatch "), FlagWhen::Checked},
    {"incsubdirs", N_("-incsubdirs "), FlagWhen::CheckedBatch},
    {"sortbycrc", N_("-sortbycrc "), FlagWhen::CheckedBatch},
    {"sine", N_("-sine "), FlagWhen::CheckedRecord},
    {"preserve", N_("-preserve "), FlagWhen::Checked},
};

int flag_index(const char *key)
{
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i)
        if (std::strcmp(configurable_options_console_flags[i].key, key) == 0)
            return i;
    return -1;
}

bool button_state(const ConsoleSettings &s, const char *key)
{
    const int i = flag_index(key);
    return i >= 0 && s.buttons[i];
}

bool flag_written(const ConsoleSettings &s, const FlagSwitch &f, int batch, int record)
{
    const bool checked = button_state(s, f.key);
    switch (f.when) {
    case FlagWhen::Checked:
        return checked;
    case FlagWhen::NotChecked:
        return !checked;
    case FlagWhen::CheckedWithPrg:
        return button_state(s, "doprg") && checked;
    case FlagWhen::CheckedBatch:
        return checked && batch == 1;
    case FlagWhen::CheckedRecord:
        return checked && record == 1;
    }
    return false;
}

// "clean.%s" or "converted.%s" filled with the base name, then the dump
// extension rule.
std::string output_tape_name(const char *format, const std::string &base_name)
{
    std::string name = format1(format, base_name);
    auto ends_with = [&name](const char *tail) {
        const std::size_t n = std::strlen(tail);
        return name.size() >= n && name.compare(name.size() - n, n, tail) == 0;
    };
    if (!ends_with(".DMP") && !ends_with(".dmp"))
        return name;
    std::size_t at = name.rfind(".DMP");
    if (at == std::string::npos)
        at = name.rfind(".dmp");
    return name.substr(0, at) + ".tap";
}

} // namespace

bool scanner_id_is_builtin(const char *id)
{
    return id != nullptr && std::strncmp(id, "c64", 3) == 0;
}

std::string scanner_exclude_piece(const std::string &id)
{
    return format1(_("-no%s "), id);
}

std::string scanner_include_piece(const std::string &id)
{
    return format1(_("-do%s "), id);
}

std::string scanner_switches(bool excludeall, const std::vector<ScannerRow> &rows)
{
    if (excludeall)
        return _("-doc64 ");
    int active = 0;
    for (const ScannerRow &row : rows)
        if (row.included)
            ++active;
    std::string out;
    if (active == 2) {
        for (const ScannerRow &row : rows)
            if (row.included && !scanner_id_is_builtin(row.id.c_str())) {
                out += scanner_include_piece(row.id);
                break;
            }
        return out;
    }
    for (const ScannerRow &row : rows)
        if (!row.included)
            out += scanner_exclude_piece(row.id);
    return out;
}

std::string console_command_head(const ConsoleSettings &s, int batch, int record)
{
    gchar *exe = g_build_filename(s.console_location.c_str(), "quillmar", nullptr);
    std::string line = format1(_("'%s' "), exe);
    g_free(exe);

    if (s.tolerance != TOLERANCE_DEFAULT)
        line += take_gstring(g_strdup_printf(_("-tol %d "), static_cast<int>(s.tolerance)));

    for (const FlagSwitch &f : flag_switches)
        if (flag_written(s, f, batch, record))
            line += _(f.text);
    return line;
}

std::string prepare_console_command(const ConsoleSettings &s, int batch, int record)
{
    return console_command_head(s, batch, record) + scanner_switches(s.excludeall, s.scanners);
}

std::string console_operation_piece(ConsoleOperation op, const std::string &path)
{
    const char *format = "";
    switch (op) {
    case ConsoleOperation::Test:
        format = _("-t \"%s\"");
        break;
    case ConsoleOperation::Clean:
        format = _("-o \"%s\"");
        break;
    case ConsoleOperation::Batch:
        format = _("-b \"%s\" ");
        break;
    case ConsoleOperation::ConvertV0:
        format = _("-ct0 \"%s\" ");
        break;
    case ConsoleOperation::ConvertV1:
        format = _("-ct1 \"%s\" ");
        break;
    case ConsoleOperation::RecordAu:
        format = _("-au \"%s\" ");
        break;
    case ConsoleOperation::RecordWav:
        format = _("-wav \"%s\" ");
        break;
    }
    return format1(format, path);
}

std::string build_console_command(const ConsoleSettings &s, ConsoleOperation op,
                                  const std::string &path)
{
    const bool batch = op == ConsoleOperation::Batch;
    const bool record = op == ConsoleOperation::RecordAu || op == ConsoleOperation::RecordWav;
    std::string line = prepare_console_command(s, batch ? 1 : 0, record ? 1 : 0);
    const bool takes_params = op == ConsoleOperation::Test || op == ConsoleOperation::Clean ||
                              op == ConsoleOperation::Batch;
    if (takes_params && !s.additional_params.empty())
        line += format1(_("%s "), s.additional_params);
    line += console_operation_piece(op, path);
    return line;
}

std::string cleaned_tape_name(const std::string &base_name)
{
    return output_tape_name(_("clean.%s"), base_name);
}

std::string converted_tape_name(const std::string &base_name)
{
    return output_tape_name(_("converted.%s"), base_name);
}

std::string move_command_piece(const std::string &cleaned_name, const std::string &destination)
{
    return take_gstring(g_strdup_printf(_("%smv -f \"%s\" \"%s\""), ";", cleaned_name.c_str(),
                                        destination.c_str()));
}

std::vector<std::string> split_console_command(const std::string &line)
{
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start <= line.size()) {
        std::size_t end = line.find(';', start);
        if (end == std::string::npos)
            end = line.size();
        if (end > start)
            pieces.push_back(line.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}
