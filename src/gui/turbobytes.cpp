// Saving an unknown turbo stretch's bytes; see turbobytes.h.
#include "gui/turbobytes.h"

#include "core/reportfile.h"
#include "core/turbodescribe.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/interface.h"
#include "gui/report_model.h"

#include <glib/gi18n-lib.h>

#include <string>
#include <vector>

namespace {

struct SelectedRow {
    bool ok = false;
    int index = 0;
    gint64 start = 0, end = 0;
    std::string type;
};

SelectedRow selected_row(GtkTreeView *view)
{
    SelectedRow row;
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(view), &model, &iter))
        return row;
    gchar *type = nullptr;
    gtk_tree_model_get(model, &iter, REPORT_INDEX, &row.index, REPORT_TYPE, &type, REPORT_START, &row.start,
                       REPORT_END, &row.end, -1);
    row.type = type != nullptr ? type : "";
    g_free(type);
    row.ok = true;
    return row;
}

// "game-005-UNKNOWN-TURBO.bin" for row 5 of game.tap.
std::string proposed_name(int index)
{
    gchar *text = g_strdup_printf("%s-%03d-UNKNOWN-TURBO.bin", common_tested_tape_base_name("tape").c_str(), index);
    std::string out = text;
    g_free(text);
    return out;
}

void on_save_bytes_activate(GtkMenuItem *, gpointer data)
{
    const SelectedRow row = selected_row(GTK_TREE_VIEW(data));
    if (!row.ok || utf8_path_lasttestedTAP == nullptr)
        return;
    gchar *contents = nullptr;
    gsize size = 0;
    GError *error = nullptr;
    if (!g_file_get_contents(utf8_path_lasttestedTAP, &contents, &size, &error)) {
        gchar *text = g_strdup_printf(_("The tape %s could not be read: %s"), utf8_path_lasttestedTAP, error->message);
        common_create_friendly_dialog(_("Save bytes"), text);
        g_free(text);
        g_error_free(error);
        return;
    }
    const std::vector<uint8_t> bytes = unknown_turbo_bytes(reinterpret_cast<const uint8_t *>(contents), size,
                                                           uint64_t(row.start), uint64_t(row.end));
    g_free(contents);
    if (bytes.empty()) {
        common_create_friendly_dialog(_("Save bytes"),
                                      _("No unknown turbo could be read at this place of the tape: has the tape "
                                        "changed since it was tested?"));
        return;
    }

    const std::string target =
        common_choose_save_path(_("Save bytes"), proposed_name(row.index), utf8_path_lasttestedfolder);
    if (target.empty())
        return;
    if (!g_file_set_contents(target.c_str(), reinterpret_cast<const gchar *>(bytes.data()), gssize(bytes.size()),
                             &error)) {
        gchar *text = g_strdup_printf(_("Could not write %s: %s"), target.c_str(), error->message);
        common_create_friendly_dialog(_("Save bytes"), text);
        g_free(text);
        g_error_free(error);
        return;
    }
    gchar *line = g_strdup_printf(_("%u bytes of the unknown turbo at $%04llX written to %s (for study: not a "
                                    "program, nothing was verified)\n"),
                                  unsigned(bytes.size()), static_cast<unsigned long long>(row.start), target.c_str());
    common_append_log_textview(line);
    g_free(line);
}

} // namespace

bool turbobytes_selected_row_is_unknown_turbo(GtkTreeView *view)
{
    const SelectedRow row = selected_row(view);
    return row.ok && report_type_unknown_turbo(row.type);
}

void turbobytes_append_menu_item(GtkWidget *menu, GtkTreeView *view)
{
    GtkWidget *item = gtk_image_menu_item_new_with_label(_("Save bytes..."));
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item), gtk_image_new_from_stock(GTK_STOCK_SAVE_AS, GTK_ICON_SIZE_MENU));
    gtk_widget_set_name(item, "popupmenu_report_save_unknown_turbo_bytes");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_signal_connect(item, "activate", G_CALLBACK(on_save_bytes_activate), view);
}
