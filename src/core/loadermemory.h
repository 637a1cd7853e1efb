// Loader variables learnt from boot files (a turbo's pilot and sync bytes,
// its bit order, ...) kept from one run of the console to the next when it
// is told to (-preserve), so that a piece of a tape without its boot file -
// another side, a piece split off - still decodes.
//
// Each loader keeps one line of its own text under its id; the file holds
// "ID: TEXT" lines. Only the loader that wrote a text reads it.
#pragma once

#include <map>
#include <string>

struct LoaderMemory {
    std::map<std::string, std::string> values;  // loader id -> its variables

    bool empty() const { return values.empty(); }
    // The variables of a loader, or null.
    const std::string *find(const std::string &id) const;

    // "ID: TEXT" lines; the text never holds a line break.
    std::string to_text() const;
    // Reads such lines; lines of another shape are skipped.
    static LoaderMemory from_text(const std::string &text);
};
