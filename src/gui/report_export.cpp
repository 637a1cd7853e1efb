#include "gui/report_export.h"

#include "core/summary.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/interface.h"
#include "gui/report_model.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace {

// The folder of the last HTML export; none before the first.
gchar *utf8_path_lastopenfolder_report = nullptr;

} // namespace

void report_export_init()
{
    g_signal_connect(lookup_widget(mainwindow, "button_report_save_summary"), "clicked",
                     G_CALLBACK(on_button_report_save_summary_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "textview_report"), "populate_popup",
                     G_CALLBACK(on_textview_report_populate_popup), nullptr);
}

void on_button_report_save_summary_clicked(GtkButton *, gpointer)
{
    if (!report_has_been_produced())
        return;
    const std::string tape = report_path_last_report() ? report_path_last_report() : "";
    const gchar *start = utf8_path_lastopenfolder_report ? utf8_path_lastopenfolder_report
                                                         : utf8_path_lasttestedfolder;
    std::string folder;
    const std::string target =
        common_choose_save_path(_("Save report to HTML file"), summary_suggested_name(tape), start, &folder);
    if (!folder.empty()) {
        g_free(utf8_path_lastopenfolder_report);
        utf8_path_lastopenfolder_report = g_strdup(folder.c_str());
    }
    if (target.empty())
        return;
    if (!summary_write_file(target, summary_tape_base_name(tape), report_model_entries())) {
        common_set_statusbar_text(_(" Could not save report. Check write and sharing permissions!"));
        common_append_log_textview(_("Could not save report to HTML file\n"));
    }
}

void on_textview_report_populate_popup(GtkTextView *, GtkMenu *menu, gpointer)
{
    // Only a tested tape's report can be saved, not the release notes.
    if (!utf8_path_lasttestedTAP || release_notes_on)
        return;
    common_prepend_popup_item(menu, _("Save a copy..."), GTK_STOCK_SAVE, "menuitem_report_save_a_copy",
                              G_CALLBACK(on_textview_report_save_contents_activate));
}
