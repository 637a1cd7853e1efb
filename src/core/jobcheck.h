// After a console job, the front end checks what the console program left
// behind before it shows anything: a report is shown only for the tape it
// describes and only when this job wrote it, and an output the job should
// have written (clean., converted., .au, .wav) must be there, new.
//
// Without these checks a missing console program left the previous report
// of another tape on screen, with its green lights and its files, and the
// tools would then cut the attached tape at that tape's offsets.
//
// Pure and GLib-only: the GTK layer takes the stamps, shows the dialogs.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

// What identifies one version of a file: taken before the job starts and
// again after it ends, it tells whether the job wrote the file.
struct FileStamp {
    bool exists = false;
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = 0;
    int64_t mtime_ns = 0;   // last modification, nanoseconds since the epoch
    int64_t ctime_ns = 0;   // last status change (any write changes it)
};

FileStamp job_file_stamp(const std::string &path);

// The file was written after the job started: it exists, it is not the
// version seen before the job (`before`), and it was modified at or after
// the job's start (job_start_ns, wall clock; a second of slack for file
// systems that keep whole seconds).
bool job_file_is_new(const FileStamp &before, const FileStamp &after, int64_t job_start_ns);

// Now, in nanoseconds since the epoch (the clock file times are kept in).
int64_t job_clock_ns();

enum class JobKind { Test, Clean, Batch, Convert, Record };

// What the completion of a job knows.
struct JobOutcome {
    JobKind kind = JobKind::Test;
    bool started = true;            // the console program could be run
    std::string start_error;        // the spawner's message when it could not
    bool exit_known = false;        // the exit status below is known
    int exit_status = 0;            // 0: success
    std::string console_folder;     // where the console program and its reports are
    std::string report_path;        // the report this job should have written
    bool report_new = false;        // job_file_is_new() of that report
    std::optional<std::string> report_tape;  // its "TAP Name", when it gives one
    std::string expected_tape;      // the tape the report must describe (not for Batch)
};

// Why the report must not be shown, as the text of an error dialog that
// says what happened and what to do; empty when it may be shown. Refused:
// a console program that could not be run; no new report (the console
// failed, or wrote nothing); a report of another tape than expected_tape.
std::string job_report_problem(const JobOutcome &outcome);

// The "TAP Name" of a report file, or none when it has no such line or
// cannot be read.
std::optional<std::string> job_report_tape_name(const std::string &report_path);

// True when two paths name the same file (the same device and inode when
// both exist, else the same canonical path).
bool job_same_file(const std::string &a, const std::string &b);

// The audio file that Record writes for a tape: beside it, its name with
// the extension (from the last dot, when that is not the first character)
// replaced by ".au" or ".wav".
std::string job_recorded_audio_path(const std::string &tape_path, bool sun_au);

// What to say about an output that the job should have written: "Written:
// PATH\n" for the System Log when it is new, else (empty log text) the text
// of a dialog saying that nothing was written.
struct OutputVerdict {
    bool written = false;
    std::string log_line;
    std::string dialog_text;
};
OutputVerdict job_output_verdict(const std::string &path, bool is_new, const JobOutcome &outcome);
