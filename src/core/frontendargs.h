// The front end's own command line: "quillmarfe [--help] [--version] [FILE]".
// --help and --version are answered before the toolkit starts, so they work
// without a display; FILE is attached at start-up as Open would. The
// toolkit's own options (--display, --sync...) are taken out by the toolkit
// first; what is left is read here.
#pragma once

#include <string>
#include <vector>

struct FrontEndArgs {
    bool help = false;
    bool version = false;
    std::string file;   // the tape to attach, as given; empty when none
    std::string error;  // a usage error in plain words; empty when none
};

// True when the arguments (program name excluded) ask for --help or
// --version (before a "--"): nothing else needs the toolkit then.
bool front_end_wants_text_only(const std::vector<std::string> &args);

// Reads the arguments left after the toolkit took its own (program name
// excluded). One FILE at most; an argument after "--" is a file even when it
// begins with '-'; any other option is an error.
FrontEndArgs parse_front_end_args(const std::vector<std::string> &args);

// The text of --help (usage and options) and of --version.
std::string front_end_usage_text();
std::string front_end_version_text();
