// Console driver: the command line read from the widgets, and the five
// jobs (Test, Clean, Batch, Convert, Record) run on a worker thread while a
// 250 ms main-loop timeout waits for the end.
#pragma once
#include <gtk/gtk.h>

#include <string>

// 0: convert to TAP v 0; 1: to TAP v 1.
extern int convert_tap_version;
// 0: Sun AU; 1: Microsoft WAV.
extern int record_file_type;

// The line of the job being run (built by prepare_console_command).
extern GString *console_command;
// Output captured by a redirected run; a failed start's message goes to the second.
extern gchar *stdout_console_command;
extern gchar *stderr_console_command;

// Builds console_command from scratch: executable, tolerance, option switches
// and scanner switches (each piece ends in one blank).
void prepare_console_command(int batch, int record);

void on_core_test_activate();
void on_toolbutton_test_clicked(GtkToolButton *button, gpointer data);
void on_toolbutton_clean_clicked(GtkToolButton *button, gpointer data);
void on_toolbutton_batch_clicked(GtkToolButton *button, gpointer data);
void on_menutoolbutton_convert_clicked(GtkToolButton *button, gpointer data);
void on_menutoolbutton_recordaudio_clicked(GtkToolButton *button, gpointer data);

void on_menuitem_convert_to_tap_v_0_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_convert_to_tap_v_1_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_record_as_sun_au_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_record_as_microsoft_wav_activate(GtkMenuItem *item, gpointer data);

void on_filechooserbutton_quillmar_location_current_folder_changed(GtkFileChooser *chooser,
                                                                    gpointer data);

// Worker routines (thread entry points).
gpointer thread_func_test_tap(gpointer);
gpointer thread_func_test_tap_redirected(gpointer);
gpointer thread_func_conv_tap(gpointer);
gpointer thread_func_conv_tap_redirected(gpointer);

// Completion timeouts.
gboolean is_test_thread_busy(gpointer storage);
gboolean is_conv_thread_busy(gpointer storage);
