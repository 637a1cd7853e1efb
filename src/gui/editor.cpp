#include "gui/editor.h"

#include "core/tapeedit.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/filelist.h"
#include "gui/report.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <string>
#include <vector>

namespace {

constexpr guint EDITOR_POPUP_KIND = 2;

GtkTreeView *editor_view()
{
    return GTK_TREE_VIEW(lookup_widget(mainwindow, "treeview_tape_editor"));
}

std::string tested_tape()
{
    return utf8_path_lasttestedTAP ? utf8_path_lasttestedTAP : "";
}

void editor_dialog(const std::string &text)
{
    common_create_friendly_dialog(_(TAPE_EDITOR_TITLE), text.c_str());
}

void set_all_excluded_where(bool (*wanted)(const std::string &type), gboolean value)
{
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok; ok = gtk_tree_model_iter_next(model, &iter)) {
        gchar *type = nullptr;
        gtk_tree_model_get(model, &iter, REPORT_TYPE, &type, -1);
        if (!wanted || wanted(type ? type : ""))
            gtk_list_store_set(report_file_list_model(), &iter, REPORT_EXCLUDED, value, -1);
        g_free(type);
    }
}

void on_exclude_cell_toggled(GtkCellRendererToggle *, gchar *path_text, gpointer)
{
    GtkTreeModel *model = GTK_TREE_MODEL(report_file_list_model());
    GtkTreeIter iter;
    if (!gtk_tree_model_get_iter_from_string(model, &iter, path_text))
        return;
    gboolean excluded = FALSE;
    gtk_tree_model_get(model, &iter, REPORT_EXCLUDED, &excluded, -1);
    gtk_list_store_set(report_file_list_model(), &iter, REPORT_EXCLUDED, !excluded, -1);
}

void on_button_tape_editor_exclude_unrecognized_clicked(GtkButton *, gpointer)
{
    if (!report_has_been_produced())
        return;
    if (!tape_editor_is_tap_path(tested_tape())) {
        editor_dialog(_("You can only edit and save TAP files."));
        return;
    }
    set_all_excluded_where([](const std::string &type) { return tape_editor_type_is_unrecognized(type); }, TRUE);
}

void on_button_tape_editor_select_all_clicked(GtkButton *, gpointer)
{
    if (report_has_been_produced())
        set_all_excluded_where(nullptr, FALSE);
}

void on_button_tape_editor_save_tape_as_clicked(GtkButton *, gpointer)
{
    tape_editor_save_as();
}

} // namespace

GtkWidget *create_popupmenu_tape_editor()
{
    return file_list_analysis_menu("popupmenu_tape_editor", "popupmenu_editor_show_in_graphical_tape_analysis_tool",
                                   "treeview_tape_editor");
}

void tape_editor_module_init()
{
    GtkListStore *model = report_file_list_model();
    if (!model)
        return;
    GtkTreeView *view = editor_view();
    file_list_text_column(view, _(" Index "), REPORT_INDEX, 0.0);
    file_list_text_column(view, _(" Offset "), REPORT_START, 1.0);
    file_list_text_column(view, _(" Pulses "), REPORT_PULSES, 1.0);
    file_list_text_column(view, _(" Type descriptor "), REPORT_TYPE, 0.0);
    GtkCellRenderer *toggle = gtk_cell_renderer_toggle_new();
    g_object_set_data(G_OBJECT(toggle), "column_index", GINT_TO_POINTER(REPORT_EXCLUDED));
    g_signal_connect(toggle, "toggled", G_CALLBACK(on_exclude_cell_toggled), nullptr);
    gtk_tree_view_append_column(view, gtk_tree_view_column_new_with_attributes(_(" Exclude "), toggle, "active",
                                                                               REPORT_EXCLUDED, nullptr));
    file_list_text_column(view, _(" File name "), REPORT_NAME, 0.0);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(model));

    common_register_file_popup_builder(EDITOR_POPUP_KIND, create_popupmenu_tape_editor);
    file_list_connect_popup(GTK_WIDGET(view), EDITOR_POPUP_KIND);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_editor_exclude_unrecognized"), "clicked",
                     G_CALLBACK(on_button_tape_editor_exclude_unrecognized_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_editor_include_all_files"), "clicked",
                     G_CALLBACK(on_button_tape_editor_select_all_clicked), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_tape_editor_save_tape_as"), "clicked",
                     G_CALLBACK(on_button_tape_editor_save_tape_as_clicked), nullptr);
}

// A save that drops most of the tape (on a turbo tape, "Exclude
// Unrecognized" can leave a tenth of it) asks first, with the share.
bool big_cut_confirmed(const std::vector<ReportEntry> &rows)
{
    const gint64 total = report_get_total_size();
    if (!tape_editor_is_tap_path(tested_tape()) || !tape_editor_cut_needs_confirmation(rows, total))
        return true;
    const int percent = tape_editor_excluded_percent(rows, total);
    GtkWidget *dialog = gtk_message_dialog_new(
        GTK_WINDOW(mainwindow), GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
        GTK_MESSAGE_QUESTION, GTK_BUTTONS_YES_NO,
        _("The files you excluded hold %d %% of the tape's data: the edited tape keeps only about %d %% of it.\n\n"
          "Save the edited tape anyway?"),
        percent, 100 - percent);
    gtk_window_set_title(GTK_WINDOW(dialog), _(TAPE_EDITOR_TITLE));
    const gint answer = gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
    return answer == GTK_RESPONSE_YES;
}

void tape_editor_save_as()
{
    if (!report_has_been_produced())
        return;
    const std::vector<ReportEntry> rows = report_model_entries();
    if (!big_cut_confirmed(rows))
        return;
    editor_dialog(tape_editor_save(tested_tape(), rows, report_get_total_size()).message);
}
