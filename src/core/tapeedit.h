// The tape editor: drops report entries from the last tested TAP file and
// saves the rest as "edited_NAME" beside it. Nothing is decoded: the new tape
// is put together from byte ranges of the source, which is never changed.
//
// Rows are the report entries (ReportEntry, the rows of the shared file list) in
// the list's current order with their `excluded` flags. Every message is
// shown in a dialog titled TAPE_EDITOR_TITLE.
//
// Pure and GLib-only.
#ifndef QUILLMAR_CORE_TAPEEDIT_H
#define QUILLMAR_CORE_TAPEEDIT_H

#include "core/reportfile.h"

#include <cstdint>
#include <string>
#include <vector>

// Title of every dialog of the tape editor (untranslated; show with _()).
extern const char TAPE_EDITOR_TITLE[];  // "Tape Editor"

// True when the path ends in ".TAP" or ".tap" (exactly these two spellings).
bool tape_editor_is_tap_path(const std::string &path);

// True when a type descriptor begins with the nine characters "UNRECOGNI".
bool tape_editor_type_is_unrecognized(const std::string &type);

// "Exclude _Unrecognized": for a path that is not a TAP file returns false
// with message "You can only edit and save TAP files." and changes nothing;
// otherwise sets excluded on every row of an unrecognized type (other rows
// keep their flags) and returns true with an empty message.
bool tape_editor_exclude_unrecognized(const std::string &tape_path, std::vector<ReportEntry> &rows,
                                      std::string &message);

// "Include _All Files": clears excluded on every row.
void tape_editor_include_all(std::vector<ReportEntry> &rows);

// The list's pop-up opens only for exactly one selected row of a TAP file.
bool tape_editor_popup_allowed(std::size_t selected_rows, const std::string &tape_path);

// Name of the saved tape beside the source: "edited_" + the source's base name.
std::string tape_editor_output_name(const std::string &tape_path);
// Its full path, in the folder of the source.
std::string tape_editor_output_path(const std::string &tape_path);

struct TapeEditResult {
    bool written = false;     // the edited tape was written
    std::string message;      // the dialog's text (title TAPE_EDITOR_TITLE)
    std::string output_path;  // the edited tape's path when written
};

// Bytes of the tape held by the excluded rows (end - start + 1 each).
int64_t tape_editor_excluded_bytes(const std::vector<ReportEntry> &rows);
// A save that drops more than half of the tape's data (total_size bytes)
// asks the user first.
bool tape_editor_cut_needs_confirmation(const std::vector<ReportEntry> &rows, int64_t total_size);
// The excluded share of the tape's data in percent, rounded.
int tape_editor_excluded_percent(const std::vector<ReportEntry> &rows, int64_t total_size);

// "_Save Tape". Refuses a path not ending in ".TAP"/".tap" ("You can only save
// TAP files.") and a list without excluded rows ("No changes to save.");
// reports "Could not open source TAP." / "Could not create destination TAP.".
// A report whose offsets do not fit the tape (total_size is the report's
// size less the header; see reportcheck.h) is refused before anything is
// written. Otherwise walks the rows in tape order (by start offset, whatever
// order the list shows) from the copy state run [0, 19] (the header), start
// pending false, run open true:
//   included row: a pending start takes the row's start offset; the run end
//     becomes the row's end offset; the run is open;
//   excluded row: an open run is copied (bytes start..end inclusive) and
//     closed; a start is pending.
// After the walk a run without a pending start is copied once more, then the
// header's data size is set, and the message is
// "Operation finished. Check file:\nedited_NAME". When any range cannot be
// read or written the save fails as a whole: the message says what failed
// and no edited tape is left (rather than one with a silent gap). An
// existing edited tape is overwritten.
TapeEditResult tape_editor_save(const std::string &tape_path, const std::vector<ReportEntry> &rows,
                                int64_t total_size);

#endif  // QUILLMAR_CORE_TAPEEDIT_H
