#include "gui/appstate.h"

GtkWidget *mainwindow = nullptr;

gchar *utf8_path_consolelocation = nullptr;
gchar *utf8_path_lastopenTAP = nullptr;
gchar *utf8_path_lastopenfolder = nullptr;
gchar *utf8_path_lasttestedTAP = nullptr;
gchar *utf8_path_lasttestedfolder = nullptr;

int release_notes_on = 1;
std::atomic<int> thread_busy{0};
int prg_decoding_busy = 0;

void replace_owned_string(gchar *&owned, const gchar *value)
{
    gchar *copy = g_strdup(value);
    g_free(owned);
    owned = copy;
}
