// Callbacks through which a file decoder (hex listing, BASIC listing, disassembler)
// reports progress and load errors to whoever shows them, without knowing the toolkit.
#pragma once
#include <glib.h>

#include <cstdint>

// Called with fractions 0..1 while a listing is made (may be null).
using ProgressFunc = void (*)(double fraction, void *user);

// Called when the file can't be read, with the path and the system's message (may be null).
using LoadErrorFunc = void (*)(const char *path, const char *message, void *user);

struct DecodeHooks {
    ProgressFunc progress = nullptr;
    LoadErrorFunc load_error = nullptr;
    void *user = nullptr; // passed back to both callbacks
};

// Reads the whole file and hands its bytes to `decode`; when the file can't
// be read, tells hooks.load_error and returns 0.
template <class Decode>
int decode_file(const char *filename, const DecodeHooks &hooks, Decode &&decode)
{
    gchar *contents = nullptr;
    gsize length = 0;
    GError *error = nullptr;
    if (!g_file_get_contents(filename, &contents, &length, &error)) {
        if (hooks.load_error)
            hooks.load_error(filename, error->message, hooks.user);
        g_error_free(error);
        return 0;
    }
    const int result = decode(reinterpret_cast<const uint8_t *>(contents), static_cast<size_t>(length));
    g_free(contents);
    return result;
}
