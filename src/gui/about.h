// The About dialog.
#pragma once
#include <glib.h>

// The clock the About dialog reads (seconds since the epoch, UTC);
// replaceable so that the seasonal picture can be checked on any date.
extern gint64 (*about_current_time)();
