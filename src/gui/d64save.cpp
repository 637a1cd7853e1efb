// "Save all as D64 image..." on the Prg Files page.
#include "gui/d64save.h"

#include "core/d64export.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/interface.h"
#include "gui/report.h"

#include <glib/gi18n-lib.h>

#include <string>

void on_button_prgfiles_save_d64_clicked(GtkButton *, gpointer)
{
    gchar *folder = g_build_filename(utf8_path_consolelocation ? utf8_path_consolelocation : "", "prg", nullptr);
    const std::vector<D64Program> programs = d64_programs_in_folder(folder, report_model_entries());
    g_free(folder);
    if (programs.empty()) {
        common_create_friendly_dialog(_("D64 image"), _("There are no PRG files to put on a disk."));
        return;
    }

    // The tested tape's name without its extension: the image's and the disk's.
    const std::string base = common_tested_tape_base_name("programs");
    const std::string image =
        common_choose_save_path(_("Save all as D64 image"), base + ".d64", utf8_path_lasttestedfolder);
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
