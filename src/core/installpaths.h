// Where a built or installed front end finds what it ships with (the
// message catalogues, the console program and its scanner list), and the
// per-user console folder that an installed front end works in.
//
// Everything is found relative to the running program, so an install under
// any prefix (or a staging root) works without rebuilding: the console
// program sits beside the front end, the shared data under
// <program folder>/QM_BIN_TO_DATA/quillmarfe, the catalogues under
// <program folder>/QM_BIN_TO_DATA/locale.
#pragma once

#include <string>

constexpr const char *CONSOLE_PROGRAM_NAME = "quillmar";

// The folder of the running executable, links resolved; empty when unknown.
std::string running_program_folder();

// The folder to bind the "quillmarfe" message catalogue to: the installed
// catalogues beside the program when they are there, else the build tree's,
// else "" (catalogues looked up from the working folder).
std::string message_catalogue_folder(const std::string &program_folder);

// The folder of the shipped data (scanners.txt) of a program installed in
// program_folder; it need not exist.
std::string shipped_data_folder(const std::string &program_folder);

// $XDG_DATA_HOME/quillmarfe/console (~/.local/share/quillmarfe/console).
std::string user_console_folder();

// True when folder holds an executable console program.
bool folder_has_console_program(const std::string &folder);

struct ConsoleFolderChoice {
    std::string folder;  // the default console location
    std::string error;   // why the per-user folder could not be made; empty when fine
};

// The default console location at start-up. The working folder when it holds
// a console program (a front end started beside its console). Otherwise,
// when program_folder holds the installed console program, user_folder,
// made on first use, holding a link "quillmar" to it and a link
// "scanners.txt" to data_folder's list: the console writes its reports and
// its "prg" folder beside the name it was started by, so they land in the
// user's own folder. Links that point elsewhere (an older install) are
// renewed; real files the user put there (an own console program, an edited
// scanner list) are kept. Without an installed console, or when the folder
// cannot be made, the working folder (with the reason in `error`).
ConsoleFolderChoice choose_default_console_location(const std::string &working_folder,
                                                    const std::string &program_folder,
                                                    const std::string &data_folder,
                                                    const std::string &user_folder);
