// The list of known scanners: the built-in CBM ROM row, the "scanners.txt"
// file beside the console program, and the selection rules of the Scanners page.
#pragma once
#include "core/consolecmd.h"

#include <string>
#include <vector>

constexpr int SCANNER_FREQUENCY_MIN = 0;
constexpr int SCANNER_FREQUENCY_MAX = 9;
constexpr int SCANNER_FREQUENCY_BUILTIN = 10;

// Frequency given to a text that is no number. 0 is the rating of the rarest
// scanner, and of a scanner added by hand: such a row stays included only
// while every scanner is (threshold 0) and is never ranked above a rated one.
constexpr int SCANNER_FREQUENCY_NOT_A_NUMBER = 0;

constexpr const char *SCANNERS_FILE_NAME = "scanners.txt";

// Included, frequency 10, id "c64", name "CBM ROM loader"; always the first row.
ScannerRow builtin_scanner_row();

// Refills the rows from folder/"scanners.txt": the built-in row first, then
// one included row per line "frequency:id:name". Lines are read 255 bytes at
// a time, so the rest of a longer line is read as a line of its own. The
// line is split at its first two ':'; the name runs to the newline (or the
// end of what was read) and may hold ':'. A line with an empty or missing
// field is skipped, and so is an id beginning with "c64". The frequency is
// read like "%d" and clamped to 0..9. False when the file can't be opened:
// the rows then hold only the built-in row.
bool load_scanner_rows(const std::string &folder, std::vector<ScannerRow> &rows);

// "%d:%s:%s\n" per row in order, the built-in row included; an empty name is
// written as "<Missing description>".
std::string scanner_rows_text(const std::vector<ScannerRow> &rows);

// Writes scanner_rows_text with "w+" to folder/"scanners.txt". False when the
// file can't be opened, or the text could not be written out whole.
bool save_scanner_rows(const std::string &folder, const std::vector<ScannerRow> &rows);

int clamp_scanner_frequency(int value);

// Reads the text like "%d" (leading blanks, a sign, decimal digits) and
// clamps it; SCANNER_FREQUENCY_NOT_A_NUMBER when no digit is found.
int parse_scanner_frequency(const char *text);

// Every row not built in: included = frequency >= threshold.
void apply_frequency_threshold(std::vector<ScannerRow> &rows, double threshold);

// Every row not built in: included = value.
void select_all_scanner_rows(std::vector<ScannerRow> &rows, bool value);
