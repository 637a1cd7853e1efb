// A stand-in console program for contract tests of the console driver: it
// records its arguments, prints to both streams, leaves a report naming the
// tape it describes and PRG files in its own folder, writes the cleaned,
// converted or recorded file beside the source (and, for a Clean, the
// cleaned image into the current folder too, for the move after a Clean),
// and exits with status 3. With QM_FAKE_SILENT set it writes nothing.
#pragma once
#include <string>
#include <vector>

struct FakeConsole {
    std::string folder;             // the console location
    void install(const std::string &report_text) const;
    std::vector<std::string> arguments() const; // of the last run, one per word
    bool ran() const;
};

// A small report in the console program's format: a header, a PAUSE, a
// healthy CBM header and data pair and an unrecognized stretch.
std::string sample_report(const std::string &tape_path);
