// Process-wide state of the front end, owned by the main thread (except
// thread_busy, the one word shared with a console job's worker thread).
#pragma once
#include <gtk/gtk.h>

#include <atomic>

extern GtkWidget *mainwindow;

// Owned UTF-8 strings, null until set.
extern gchar *utf8_path_consolelocation;
extern gchar *utf8_path_lastopenTAP;
extern gchar *utf8_path_lastopenfolder;
extern gchar *utf8_path_lasttestedTAP;
extern gchar *utf8_path_lasttestedfolder;

// 1 while the Report page's plain view shows the release notes.
extern int release_notes_on;
// 1 from just before a console job's worker starts until it has finished.
extern std::atomic<int> thread_busy;
// 1 while a deferred decode of the PRG view is scheduled.
extern int prg_decoding_busy;

// Replaces an owned string with a copy of `value` (null clears it).
void replace_owned_string(gchar *&owned, const gchar *value);
