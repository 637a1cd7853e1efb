#include "core/appinfo.h"

#include <glib/gi18n-lib.h>

const char *release_notes_text()
{
    return _("Quillmar Front End 0.40\n"
             "\n"
             "Changelog:\n"
             "\n"
             "22 Nov 2026\n"
             " - Options page with persistent settings in user.ini\n"
             " - Tape image header reading for TAP v0, v1, v2 and ZORV dumps\n"
             " - Main window with report, scanners, options, PRG files, tools and log pages\n"
             "\n"
             "01 Nov 2026\n"
             " - Project started: a GTK+ 2 front end for the quillmar tape cleaner\n"
             "\n"
             "Acknowledgements:\n"
             "\n"
             " - Everyone who keeps Commodore cassettes alive by dumping and cleaning them\n"
             " - The authors of GTK+, GLib and the tools this front end is built with\n"
             "\n"
             "Credits:\n"
             "\n"
             " - Front end design and code: the Quillmar Front End developers\n"
             " - Cassette artwork: the Quillmar Front End developers\n");
}

bool about_shows_seasonal_picture(gint64 unix_seconds_utc)
{
    GDateTime *moment = g_date_time_new_from_unix_utc(unix_seconds_utc);
    if (!moment)
        return false;
    const bool december = g_date_time_get_month(moment) == 12;
    g_date_time_unref(moment);
    return december;
}

std::string about_build_text(const char *build_date, int cc_major, int cc_minor, int cc_patch,
                             unsigned tk_major, unsigned tk_minor, unsigned tk_micro)
{
    std::string text = _("Multi-platform tape handling tool\n\nCompiled on: ");
    text += build_date;
    gchar *versions = g_strdup_printf(_("\nCompiled with gcc version: %d.%d.%d\nGTK+ runtime in use: %u.%u.%u"),
                                      cc_major, cc_minor, cc_patch, tk_major, tk_minor, tk_micro);
    text += versions;
    g_free(versions);
    return text;
}
