// Real C64 programs that nobody here wrote: Debian's cc65 builds them from
// its bundled samples (/usr/share/cc65/samples) when a test asks.
#pragma once

#include <glib.h>

#include <string>

// Compiles the cc65 sample `name` ("sieve", "plasma", ...) for the C64
// into `folder`; the path of the PRG, or "" with `error` set.
inline std::string build_cc65_sample(const std::string &folder, const std::string &name, std::string *error)
{
    // cl65 writes its assembly beside the source: a copy in the folder
    // keeps tests that build the same sample at once out of each other's way.
    const std::string shipped = "/usr/share/cc65/samples/" + name + ".c";
    const std::string source = folder + "/" + name + ".c";
    gchar *text = nullptr;
    gsize size = 0;
    if (!g_file_get_contents(shipped.c_str(), &text, &size, nullptr) ||
        !g_file_set_contents(source.c_str(), text, gssize(size), nullptr)) {
        g_free(text);
        *error = "cannot copy " + shipped + " into " + folder;
        return "";
    }
    g_free(text);
    const std::string output = folder + "/" + name + ".prg";
    gchar *argv[] = {const_cast<gchar *>("cl65"), const_cast<gchar *>("-t"), const_cast<gchar *>("c64"),
                     const_cast<gchar *>("-O"), const_cast<gchar *>(source.c_str()), const_cast<gchar *>("-o"),
                     const_cast<gchar *>(output.c_str()), nullptr};
    gint status = -1;
    gchar *err = nullptr;
    const gboolean ran = g_spawn_sync(folder.c_str(), argv, nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr,
                                      nullptr, &err, &status, nullptr);
    const bool ok = ran && g_spawn_check_wait_status(status, nullptr);
    if (!ok)
        *error = "cl65 could not build " + name + ": " + (err != nullptr ? err : "not found");
    g_free(err);
    return ok ? output : "";
}
