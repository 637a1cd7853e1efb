// Batch scan (-b FOLDER): every tape image in a folder scanned, and one
// summary per tape in qmbatch.txt beside the console program.
//
// Tapes are the files whose names end in ".tap" or ".dmp" in any case; with
// -incsubdirs the subfolders are searched too (links to folders are not
// followed). The tapes are listed by path, or with -sortbycrc by their CBM
// CRC (see cbm_crc: the same recorded contents give the same value, so
// copies of one tape end up next to each other), equal values by path, with
// the tapes that could not be scanned last.
#pragma once

#include "console/options.h"

#include <string>
#include <vector>

// The tape images in the folder, sorted by path.
std::vector<std::string> find_batch_tapes(const std::string &folder, bool recursive);

// Runs the batch scan; returns the exit status (1 when the folder can't be
// read or the batch report can't be written).
int run_batch(const ConsoleOptions &o, const std::string &report_folder);
