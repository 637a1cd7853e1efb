// The console program's command line: the executable, tolerance, option
// switches and scanner switches built from the Options and Scanners pages,
// the operation's own piece, the names of cleaned and converted tapes, the
// move that follows a Clean, and the split of a line into its commands.
#pragma once
#include "core/optionsfile.h"

#include <string>
#include <vector>

// One row of the scanner list: checked, frequency rating, loader id (the
// name the console program knows it by) and its description.
struct ScannerRow {
    bool included;
    int frequency;
    std::string id;
    std::string name;
};

// What the GTK layer reads from the widgets to build a line.
struct ConsoleSettings {
    std::string console_location;          // folder of the console program (UTF-8)
    double tolerance = TOLERANCE_DEFAULT;  // value of hscale_tolerance
    bool buttons[CONSOLE_FLAG_COUNT] = {}; // the 13 check buttons, flag-table order
    bool excludeall = false;               // checkbutton_excludeall
    std::vector<ScannerRow> scanners;      // scanner rows in model order (row 0: "c64")
    std::string additional_params;         // text of comboboxentry_additional_params
};

// The executable in single quotes (not escaped), the tolerance when it is not
// 10.0, the check-box switches and the scanner switches; every piece ends in
// one blank. batch and record are compared with 1: batch enables the
// subfolder and CRC-sort switches, record the sine switch.
// The executable, tolerance and option switches: the line before the
// scanner switches.
std::string console_command_head(const ConsoleSettings &s, int batch, int record);
std::string prepare_console_command(const ConsoleSettings &s, int batch, int record);

enum class ConsoleOperation { Test, Clean, Batch, ConvertV0, ConvertV1, RecordAu, RecordWav };

// The operation's switch with the tape path (or batch folder) in double
// quotes, not escaped. Test and Clean end without a blank, the others with one.
std::string console_operation_piece(ConsoleOperation op, const std::string &path);

// The whole line of a job: prepare_console_command (batch for Batch, record
// for both Record operations), then for Test, Clean and Batch the additional
// parameters followed by a blank when the text is not empty (blanks only
// count as text), then the operation's piece.
std::string build_console_command(const ConsoleSettings &s, ConsoleOperation op,
                                  const std::string &path);

// "clean." / "converted." before the tape's base name; a name ending in
// ".DMP" or ".dmp" (exact case) gets ".tap" written over its last ".DMP",
// or when there is none its last ".dmp", and loses whatever followed.
std::string cleaned_tape_name(const std::string &base_name);
std::string converted_tape_name(const std::string &base_name);

// ";mv -f \"cleaned\" \"destination\"": appended to a Clean's line so that
// the cleaned image, written into the working folder, is moved beside the tape.
std::string move_command_piece(const std::string &cleaned_name, const std::string &destination);

// The commands of a line: its pieces between ";" characters, empty ones skipped.
std::vector<std::string> split_console_command(const std::string &line);

// Per-row rules, shared with the tree-model walkers of the GTK layer.

// The CBM ROM scanner and every id beginning with the three characters "c64"
// (nullptr is no id and is not built in).
bool scanner_id_is_builtin(const char *id);

// "-no%s " for a scanner left out, "-do%s " for the one scanner asked for.
std::string scanner_exclude_piece(const std::string &id);
std::string scanner_include_piece(const std::string &id);

// The scanner switches: "-doc64 " alone with excludeall; otherwise, when
// exactly two rows are checked (built-in row included), "-do%s " for the
// first checked row whose id does not begin with "c64" (nothing when there is
// none); for any other count, "-no%s " for every unchecked row in order.
std::string scanner_switches(bool excludeall, const std::vector<ScannerRow> &rows);
