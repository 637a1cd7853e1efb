// The folder "prg" beside the console program is shared with its user, who
// may keep PRG files of their own there. The program therefore removes and
// writes only files it can tell are its own:
//
// - The list file PRG_WRITTEN_LIST_NAME in the folder names the files the
//   last run wrote, one base name a line (UTF-8, "\n" after each). A run that
//   writes PRG files starts by removing the files named there and starting a
//   new list; nothing else in the folder is ever removed or replaced.
// - The list is read as untrusted text: a line counts only when it is a name
//   this program could have written (letters, digits, blank, dot, minus,
//   underscore and parentheses, ending in ".prg"), so no line can reach a
//   file outside the folder or one of another kind. Only plain files are
//   removed; links and folders under a listed name are left alone. A file
//   the user put under a listed name after that run is removed like the
//   one it replaced: the list says which names were written, not by whom
//   the file now there was made.
// - A file is written under its name only when no entry of that name exists;
//   otherwise under "BASE (2).prg", "BASE (3).prg", ... (BASE the name without
//   ".prg", " (bad)" included), the first that is free. The file is created
//   exclusively, and its name goes into the list before its data is written,
//   so a run that dies half-way still leaves every file it made to the next
//   run's clean-up.
// - Listed files that could not be removed stay in the new list, so the next
//   run tries again.
#pragma once

#include "console/prgout.h"

#include <string>
#include <vector>

constexpr const char *PRG_WRITTEN_LIST_NAME = ".quillmar-written.txt";

// The lines of a list file's text that name a file this program may remove.
std::vector<std::string> listed_prg_names(const std::string &text);

// Removes the files of the previous run (when the folder and its list
// exist; makes neither). The list then names only the files that could not
// be removed, and goes when there are none. False with a reason when the
// list can't be read or rewritten or a listed file can't be removed.
bool remove_previous_prg_files(const std::string &folder, std::string *error);

// The PRG output of one run.
class PrgFolder {
public:
    explicit PrgFolder(std::string folder);
    ~PrgFolder();
    PrgFolder(const PrgFolder &) = delete;
    PrgFolder &operator=(const PrgFolder &) = delete;

    // Makes the folder when needed, removes the previous run's files and
    // starts the list of this run's. False with a reason when any of it
    // fails; write() then writes nothing.
    bool start(std::string *error);

    // Writes the file under its own name or the first free suffixed one
    // (*written_name). False with a reason when it could not be written.
    bool write(const PrgFile &file, std::string *written_name, std::string *error);

    const std::string &folder() const { return folder_; }

private:
    std::string folder_;
    int list_fd_ = -1;
};
