// Where the console program leaves its results: the reports and the "prg"
// folder beside its own executable, and the names of the tapes and audio
// files it writes beside the source.
#pragma once

#include <string>

constexpr const char *TAPE_REPORT_NAME = "qmreport.txt";
constexpr const char *BATCH_REPORT_NAME = "qmbatch.txt";
constexpr const char *PRG_FOLDER_NAME = "prg";
// Loader variables kept between runs (-preserve).
constexpr const char *LOADER_MEMORY_NAME = "qmpreserve.txt";

// The folder of the program entry that was started, links not resolved: for
// an argv[0] with a '/' its folder (made absolute against the working
// folder), for a bare name the folder where the search path finds it; failing
// both the folder of the running executable (/proc/self/exe), else the
// working folder.
std::string executable_folder(const char *argv0);

// folder/name.
std::string join_path(const std::string &folder, const std::string &name);

// The folder part and the base name of a path.
std::string folder_of(const std::string &path);
std::string base_name_of(const std::string &path);

// "clean.NAME" / "converted.NAME" beside the source, with a ".DMP"/".dmp"
// ending turned into ".tap" exactly as the front end expects.
std::string cleaned_tape_path(const std::string &source);
std::string converted_tape_path(const std::string &source);

// NAME with its extension (from the last dot of the base name that is not
// its first character) replaced by `extension` (".au", ".wav"), beside the
// source; a name without an extension gets it appended.
std::string audio_output_path(const std::string &source, const std::string &extension);

// The same file, after resolving links and relative parts of both paths.
bool same_file(const std::string &a, const std::string &b);
