// The Tape Analysis page: every pulse of a tape drawn as a dot whose distance
// from the base line is its length, one screen line per 622 TAP units.
#pragma once
#include <gtk/gtk.h>

void tape_analysis_module_init();
void tape_analysis_parse(const gchar *path);
// Shows the screen line of the pulse at `offset` of the tape tested last,
// offering to parse that tape first when it isn't the one on show.
void tape_analysis_move_to_tape_offset(guint64 offset);
void tape_analysis_snapshot_save();

// What the view shows now (for the window's tests).
gint tape_analysis_first_line();
guint64 tape_analysis_line_count();
GdkPixmap *tape_analysis_pixmap();
