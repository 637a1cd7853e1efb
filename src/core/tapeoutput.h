// A TAP file that a tool writes from byte ranges of a source tape (the tape
// editor, the split and the repair). Every read and every write is checked:
// a tool either writes every byte it means to, or learns what failed, and no
// half-written file is left behind to pass for a good one.
//
// Pure and GLib-only.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

class TapeOutput {
public:
    TapeOutput() = default;
    TapeOutput(const TapeOutput &) = delete;
    TapeOutput &operator=(const TapeOutput &) = delete;
    // An output that was not finished is closed and removed.
    ~TapeOutput();

    // Creates (or truncates) the file. False, with error() set, when it can't.
    bool create(const std::string &path);

    // Appends source bytes [from, from + length). False (and the output
    // failed) when the span lies outside the source or a read or write fails.
    bool copy_from(FILE *source, int64_t from, int64_t length);

    // Appends bytes. False (and the output failed) when the write fails.
    bool write(const void *bytes, std::size_t count);

    // Sets the header's data size to the number of bytes after the 20-byte
    // header, flushes and closes. True when every step of the output
    // succeeded; otherwise the file is removed and error() says why.
    bool finish();

    // Closes and removes the file.
    void discard();

    // Marks the output failed for a reason found by its writer (the first
    // reason is kept); finish() then removes it.
    void fail(const std::string &what);

    bool failed() const { return !error_.empty(); }
    // The first failure, in words; empty while all went well.
    const std::string &error() const { return error_; }
    const std::string &path() const { return path_; }
    // Bytes written so far.
    int64_t size() const { return size_; }

private:
    FILE *file_ = nullptr;
    std::string path_;
    std::string error_;
    int64_t size_ = 0;
};

// "NAME.EXT" in the folder of `path` ("NAME" its file name without its own
// extension, if it has one): where a tool puts what it makes of a file.
std::string path_beside_with_extension(const std::string &path, const char *extension);

// Size of a file in bytes, or -1 when it can't be read.
int64_t tape_output_file_size(FILE *file);
