// Callbacks through which a file decoder (hex listing, BASIC listing, disassembler)
// reports progress and load errors to whoever shows them, without knowing the toolkit.
#pragma once

// Called with fractions 0..1 while a listing is made (may be null).
using ProgressFunc = void (*)(double fraction, void *user);

// Called when the file can't be read, with the path and the system's message (may be null).
using LoadErrorFunc = void (*)(const char *path, const char *message, void *user);

struct DecodeHooks {
    ProgressFunc progress = nullptr;
    LoadErrorFunc load_error = nullptr;
    void *user = nullptr; // passed back to both callbacks
};
