// Console driver: the choices of the Convert and Record drop-down menus.
#pragma once
#include <gtk/gtk.h>

// 0: convert to TAP v 0; 1: to TAP v 1.
extern int convert_tap_version;
// 0: Sun AU; 1: Microsoft WAV.
extern int record_file_type;

void on_menuitem_convert_to_tap_v_0_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_convert_to_tap_v_1_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_record_as_sun_au_activate(GtkMenuItem *item, gpointer data);
void on_menuitem_record_as_microsoft_wav_activate(GtkMenuItem *item, gpointer data);
