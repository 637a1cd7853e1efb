#include "core/optionsfile.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <cstdio>
#include <cstring>

const ConsoleFlag configurable_options_console_flags[CONSOLE_FLAG_COUNT] = {
    {"debug", N_("Allow detected files to _overlap (Debug mode)"),
     N_("This option should only be used when GAPs appear where you expect to find a data file")},
    {"noid", N_("Only scan for the loader whose s_ignature is found in CBM files (Faster scan)"),
     N_("If this option is enabled then the set of running scanners is reduced to the one whose "
        "signature is found in CBM files (including its variants)")},
    {"noc64eof", N_("_EOF markers are mandatory for CBM files"),
     N_("Disabling this option will improve detection percentage with CBM files that lack those "
        "markers")},
    {"docyberfault", N_("Ignore Cyberload F3 bad _checksums of $04"),
     N_("If this option is enabled then a bad checksum value of $04 in Cyberload F3 files doesn't "
        "trigger a checksum error")},
    {"boostclean", N_("Raise cleaning _tolerance"),
     N_("If this option is enabled then the upper limit of the tolerance used for cleaning "
        "purposes can grow far past the read tolerance value")},
    {"noaddpause", N_("_Add a trailing silence at the end of the file after cleaning"),
     N_("If this option is enabled then a 5 second trailing silence is added at the end of the "
        "file after cleaning")},
    {"doprg", N_("C_reate PRG files"),
     N_("If this option is enabled then PRG files are created out of recognized files")},
    {"prgunite", N_("Connect _neighbouring PRG's into a single file"),
     N_("If this option is enabled then data spanning across mutiple files is joined into a "
        "single PRG file")},
    {"extvisipatch", N_("Extract _Visiload loader patching files"),
     N_("If this option is enabled then Visiload loader patching files are decoded (and PRG files "
        "are created out of them if PRG creation is enabled too)")},
    {"incsubdirs", N_("Make _batch scan include subfolders"),
     N_("If this option is enabled then the batch scan is performed recursively on subfolders")},
    {"sortbycrc", N_("Batch scan _sorts report by CBM CRC values"),
     N_("If this option is enabled then the batch scan report will be sorted by CBM CRC values")},
    {"sine", N_("Make audio recorder use sine _waves"),
     N_("If this option is enabled then sine waves are used instead of square ones by the audio "
        "converter")},
    {"preserve", N_("_Preserve loader variables between subsequent test/clean operations"),
     N_("If this option is enabled then loader variables are stored and re-used for subsequent "
        "test/clean operations")},
};

const char options_default_text[] =
    "# Quillmar Front End config file - do NOT edit\n"
    "[console_values]\n"
    "tolerance=10\n"
    "[console_flags]\n"
    "debug=false\n"
    "noid=false\n"
    "noc64eof=false\n"
    "docyberfault=true\n"
    "boostclean=false\n"
    "noaddpause=false\n"
    "doprg=true\n"
    "prgunite=true\n"
    "extvisipatch=false\n"
    "incsubdirs=false\n"
    "sortbycrc=false\n"
    "sine=false\n"
    "preserve=false\n"
    "[frontend_flags]\n"
    "automove=false\n"
    "[frontend_preferences]\n"
    "font=courier 11";

static_assert(sizeof(options_default_text) - 1 == OPTIONS_DEFAULT_TEXT_SIZE,
              "the default options text is 356 bytes");

namespace {

// A string as the key file stores it (line breaks, tabs, backslashes and
// leading blanks escaped), so that it reads back unchanged.
std::string key_file_value(const std::string &text)
{
    GKeyFile *file = g_key_file_new();
    g_key_file_set_string(file, "g", "k", text.c_str());
    gchar *value = g_key_file_get_value(file, "g", "k", nullptr);
    std::string result = value ? value : "";
    g_free(value);
    g_key_file_free(file);
    return result;
}

} // namespace

bool console_flag_is_inverted(const char *key)
{
    return std::strncmp(key, "no", 2) == 0;
}

bool options_parse(const char *text, std::size_t length, OptionsUpdate &update)
{
    GKeyFile *file = g_key_file_new();
    if (!g_key_file_load_from_data(file, text, length, G_KEY_FILE_KEEP_COMMENTS, nullptr)) {
        g_key_file_free(file);
        return false;
    }
    if (g_key_file_has_key(file, "console_values", "tolerance", nullptr)) {
        const double value = g_key_file_get_double(file, "console_values", "tolerance", nullptr);
        if (value >= 0.0 && value <= TOLERANCE_MAX)
            update.tolerance = value;
    }
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i) {
        const char *key = configurable_options_console_flags[i].key;
        if (!g_key_file_has_key(file, "console_flags", key, nullptr))
            continue;
        const bool stored = g_key_file_get_boolean(file, "console_flags", key, nullptr);
        update.buttons[i] = console_flag_is_inverted(key) ? !stored : stored;
    }
    if (g_key_file_has_key(file, "frontend_flags", "automove", nullptr))
        update.automove = g_key_file_get_boolean(file, "frontend_flags", "automove", nullptr);
    if (g_key_file_has_key(file, "frontend_preferences", "font", nullptr)) {
        gchar *font = g_key_file_get_string(file, "frontend_preferences", "font", nullptr);
        update.font = std::string(font ? font : "");
        g_free(font);
    }
    g_key_file_free(file);
    return true;
}

std::string options_serialize(const OptionsState &state)
{
    auto flag = [](bool value) { return value ? "true" : "false"; };
    std::string text = "# Quillmar Front End config file - do NOT edit\n";
    text += "[console_values]\n";
    text += "tolerance=" + std::to_string(static_cast<int>(state.tolerance)) + "\n";
    text += "[console_flags]\n";
    for (int i = 0; i < CONSOLE_FLAG_COUNT; ++i) {
        const char *key = configurable_options_console_flags[i].key;
        const bool stored = console_flag_is_inverted(key) ? !state.buttons[i] : state.buttons[i];
        text += std::string(key) + "=" + flag(stored) + "\n";
    }
    text += "[frontend_flags]\n";
    text += std::string("automove=") + flag(state.automove) + "\n";
    text += "[frontend_preferences]\n";
    text += "font=" + key_file_value(state.font) + "\n";
    return text;
}

std::string options_config_file_path()
{
    gchar *folder = g_build_filename(g_get_user_config_dir(), "quillmarfe", nullptr);
    if (!g_file_test(folder, G_FILE_TEST_IS_DIR) && g_mkdir(folder, 0700) != 0) {
        g_free(folder);
        folder = g_get_current_dir();
    }
    gchar *path = g_build_filename(folder, "user.ini", nullptr);
    std::string result = path;
    g_free(path);
    g_free(folder);
    return result;
}

OptionsLoad options_load_file(const std::string &path, OptionsUpdate &update)
{
    if (!g_file_test(path.c_str(), G_FILE_TEST_EXISTS)) {
        FILE *file = g_fopen(path.c_str(), "w+");
        if (!file)
            return OptionsLoad::CouldNotCreate;
        const bool written = std::fwrite(options_default_text, 1, OPTIONS_DEFAULT_TEXT_SIZE,
                                         file) == OPTIONS_DEFAULT_TEXT_SIZE;
        const bool closed = std::fclose(file) == 0;
        return written && closed ? OptionsLoad::CreatedDefault : OptionsLoad::CouldNotCreate;
    }
    gchar *text = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &text, &length, nullptr))
        return OptionsLoad::Unreadable;
    const bool parsed = options_parse(text, length, update);
    g_free(text);
    return parsed ? OptionsLoad::Loaded : OptionsLoad::Unreadable;
}

bool options_save_file(const std::string &path, const OptionsState &state)
{
    FILE *file = g_fopen(path.c_str(), "w+");
    if (!file)
        return false;
    const std::string text = options_serialize(state);
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    return true;
}
