// "Save all as D64 image..." on the Prg Files page.
#include "gui/d64save.h"

#include "core/d64export.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/interface.h"
#include "gui/report.h"

#include <glib/gi18n-lib.h>

#include <cstring>
#include <string>

namespace {

// The tested tape's name without its extension: the image's and the disk's.
std::string tape_base_name()
{
    if (utf8_path_lasttestedTAP == nullptr)
        return "programs";
    gchar *base = g_path_get_basename(utf8_path_lasttestedTAP);
    if (gchar *dot = std::strrchr(base, '.'); dot != nullptr && dot != base)
        *dot = '\0';
    std::string name = base;
    g_free(base);
    return name;
}

} // namespace

void on_button_prgfiles_save_d64_clicked(GtkButton *, gpointer)
{
    gchar *folder = g_build_filename(utf8_path_consolelocation ? utf8_path_consolelocation : "", "prg", nullptr);
    const std::vector<D64Program> programs = d64_programs_in_folder(folder, report_model_entries());
    g_free(folder);
    if (programs.empty()) {
        common_create_friendly_dialog(_("D64 image"), _("There are no PRG files to put on a disk."));
        return;
    }

    GtkWidget *dialog = create_filechooserdialog_save_generic();
    gtk_window_set_title(GTK_WINDOW(dialog), _("Save all as D64 image"));
    GtkFileChooser *chooser = GTK_FILE_CHOOSER(dialog);
    gtk_file_chooser_set_do_overwrite_confirmation(chooser, TRUE);
    gchar *start = utf8_path_lasttestedfolder ? g_strdup(utf8_path_lasttestedfolder) : nullptr;
    common_set_dialog_start_folder(chooser, start);
    g_free(start);
    const std::string base = tape_base_name();
    gtk_file_chooser_set_current_name(chooser, (base + ".d64").c_str());
    std::string image;
    if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK) {
        if (gchar *path = gtk_file_chooser_get_filename(chooser)) {
            image = path;
            g_free(path);
        }
    }
    gtk_widget_destroy(dialog);
    if (image.empty())
        return;

    const D64ExportResult result = d64_export(programs, image, base);
    if (!result.ok) {
        common_create_friendly_dialog(_("D64 image"), result.error.c_str());
        return;
    }
    gchar *line = g_strdup_printf(_("%d PRG files (%d blocks) written to the disk image %s\n"),
                                  static_cast<int>(programs.size()), result.blocks, image.c_str());
    common_append_log_textview(line);
    g_free(line);
    gchar *text = g_strdup_printf(_("Operation finished. Check file:\n%s"), image.c_str());
    common_create_friendly_dialog(_("D64 image"), text);
    g_free(text);
}
