// The options key file "user.ini": its built-in default text, the table of
// console flags, reading a file into the states its widgets should take,
// and writing the widgets' states back.
#pragma once
#include <cstddef>
#include <optional>
#include <string>

struct ConsoleFlag {
    const char *key;     // key in group console_flags; button "checkbutton_" + key
    const char *label;   // check button label (mnemonic)
    const char *tooltip; // check button tooltip
};

constexpr int CONSOLE_FLAG_COUNT = 13;
extern const ConsoleFlag configurable_options_console_flags[CONSOLE_FLAG_COUNT];

// Keys beginning with "no" are stored as the console's negative switch while
// their button shows the positive wording: button state = !stored value.
bool console_flag_is_inverted(const char *key);

constexpr double TOLERANCE_DEFAULT = 10.0;
constexpr double TOLERANCE_MAX = 15.0;
constexpr const char *FONT_DEFAULT = "courier 11";

// The file written on first start and parsed by "Restore defaults".
extern const char options_default_text[];
constexpr std::size_t OPTIONS_DEFAULT_TEXT_SIZE = 356;

// What the Options page shows: the states of its widgets.
struct OptionsState {
    double tolerance = TOLERANCE_DEFAULT;
    bool buttons[CONSOLE_FLAG_COUNT] = {};
    bool automove = false;
    std::string font = FONT_DEFAULT;
};

// What a key file asks of the widgets; an absent key leaves its widget.
struct OptionsUpdate {
    std::optional<double> tolerance;
    std::optional<bool> buttons[CONSOLE_FLAG_COUNT];
    std::optional<bool> automove;
    std::optional<std::string> font;
};

// Parses key-file text; false (and nothing set) when it is no key file.
// A tolerance outside 0..15 is dropped; a value of the wrong type reads as
// false or 0, like the key-file reader returns it.
bool options_parse(const char *text, std::size_t length, OptionsUpdate &update);

// The text "Save options" writes: every line ends in a newline.
std::string options_serialize(const OptionsState &state);

// Folder of the file: the user's configuration folder + "quillmarfe",
// created (one level, 0700) when missing; the current folder when that
// fails. Returns the full path of "user.ini".
std::string options_config_file_path();

enum class OptionsLoad {
    CreatedDefault,   // no file: the default text was written
    CouldNotCreate,   // no file, and none could be created
    Loaded,           // parsed into the update
    Unreadable,       // present but not a readable key file: ignored
};
OptionsLoad options_load_file(const std::string &path, OptionsUpdate &update);

// Writes the text with "w+" in one piece; false when nothing could be opened.
bool options_save_file(const std::string &path, const OptionsState &state);
