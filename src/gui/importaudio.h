// File > Import audio capture...: a sound-card capture of a tape becomes a
// TAP file beside it ("NAME.tap", asked before an existing one is replaced),
// converted on a worker thread with a progress window, then attached.
#pragma once
#include "core/audioimport.h"

#include <gtk/gtk.h>

#include <string>

void on_menuitem_file_import_audio_activate(GtkMenuItem *item, gpointer data);

// Converts `capture` with these options as the menu does once its dialog is
// answered; nothing happens while another import runs.
void import_audio_capture_start(const std::string &capture, const AudioImportOptions &options);
bool import_audio_capture_running();
