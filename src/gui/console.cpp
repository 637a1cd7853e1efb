#include "gui/console.h"

int convert_tap_version = 1;
int record_file_type = 1;

// Choosing an item only records the choice; the tool button starts the job.
void on_menuitem_convert_to_tap_v_0_activate(GtkMenuItem *, gpointer)
{
    convert_tap_version = 0;
}

void on_menuitem_convert_to_tap_v_1_activate(GtkMenuItem *, gpointer)
{
    convert_tap_version = 1;
}

void on_menuitem_record_as_sun_au_activate(GtkMenuItem *, gpointer)
{
    record_file_type = 0;
}

void on_menuitem_record_as_microsoft_wav_activate(GtkMenuItem *, gpointer)
{
    record_file_type = 1;
}
