// Product texts: name, version, release notes and the About dialog's lines.
#pragma once
#include <glib.h>

#include <string>

#define QUILLMARFE_NAME "Quillmar Front End"
#define QUILLMARFE_VERSION "0.40"

// The release notes shown in the Report page's plain view (translated).
const char *release_notes_text();

// True when the About dialog shows the seasonal picture: the month of the
// given moment, read in UTC, is December. The local date plays no part.
bool about_shows_seasonal_picture(gint64 unix_seconds_utc);

// "Multi-platform tape handling tool\n\nCompiled on: ..." with the build
// date, the compiler version and the toolkit's run-time version.
std::string about_build_text(const char *build_date, int cc_major, int cc_minor, int cc_patch,
                             unsigned tk_major, unsigned tk_minor, unsigned tk_micro);
