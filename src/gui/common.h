// Interface services shared by every module: job controls by status mask,
// status bar, System Log, text view fonts, progress, dialogs, PNG snapshots
// and text saving. All run on the main thread.
#pragma once

#include "core/statusmask.h"

#include <gtk/gtk.h>

#include <string>

void common_set_toolbar_and_menu_status(int mask);
void common_enable_toolbar_and_menu_status_all();
void common_disable_toolbar_and_menu_status_all();

void common_set_statusbar_text(const gchar *text);
// Appends to the System Log as it is: no newline added, no scrolling.
void common_append_log_textview(const gchar *text);

void common_init_textview_properties();
const gchar *common_get_current_font_description();
// Takes ownership of `font` and applies it to the five text views.
void common_set_textview_fonts_from_description(gchar *font);
void common_on_set_textview_fonts();

void common_advertise_progress(gdouble fraction);

void common_create_friendly_dialog(const gchar *title, const gchar *text);
void common_create_simple_error_dialog(GtkWindow *parent, const gchar *text);
// Where a file dialog starts: `folder` when it is one, else the user's home
// folder (never an empty "Recently Used" view).
void common_set_dialog_start_folder(GtkFileChooser *chooser, const gchar *folder);
// Asks where to save, in the save chooser: its `title`, the `proposed`
// name, starting in `folder` (see above); an existing file is overwritten
// only when the user says so. The chosen path, or "" when cancelled;
// `chosen_folder`, when given, receives the folder the chooser showed.
std::string common_choose_save_path(const gchar *title, const std::string &proposed, const gchar *folder,
                                    std::string *chosen_folder = nullptr);
// The tested tape's file name without its extension ("game" for
// /tapes/game.tap), or `fallback` when no tape was tested.
std::string common_tested_tape_base_name(const char *fallback);

void common_save_as_png(GtkWidget *widget, GdkDrawable *drawable, const gchar *path,
                        const gchar *suffix);
// Writes the whole text of the view; nonzero on success. A failed write
// logs its message to the System Log and returns 0.
int common_textview_save_contents(GtkTextView *view, const gchar *path);

void common_show_release_notes();

// Puts an image item above a separator at the top of a view's context
// menu; `name` names the item (for lookups in tests).
GtkWidget *common_prepend_popup_item(GtkMenu *menu, const gchar *label, const gchar *stock_id,
                                     const gchar *name, GCallback handler);

void on_textview_report_save_contents_activate(GtkMenuItem *item, gpointer data);

// The file lists' pop-up: shows the menu of `kind` (0 report list, 1 tape
// bar, 2 tape editor, 3 split, 4 CBM repair) when exactly one row of `view`
// is selected and the last tested tape is a TAP file. TRUE when shown.
gboolean on_view_file_popup_menu(GtkWidget *view, GdkEventButton *event, guint kind);

// The module owning a file list registers the builder of its pop-up menu.
using FilePopupBuilder = GtkWidget *(*)();
constexpr guint FILE_POPUP_KINDS = 5;
void common_register_file_popup_builder(guint kind, FilePopupBuilder builder);
