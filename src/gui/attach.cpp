#include "gui/attach.h"

#include "core/statusmask.h"
#include "core/tapimage.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/console.h"
#include "gui/interface.h"

#include <glib/gi18n-lib.h>

int filter_lastopenTAP = 0;

namespace {

struct FilterSpec {
    const char *name;
    const char *patterns[7];
};

const FilterSpec open_filters[] = {
    {N_("  All supported types (*.TAP, *.DMP) "), {"*.TAP", "*.Tap", "*.tap", "*.DMP", "*.Dmp", "*.dmp", nullptr}},
    {N_("  TAP image files (*.TAP) "), {"*.TAP", "*.Tap", "*.tap", nullptr}},
    {N_("  ZORV image files (*.DMP) "), {"*.DMP", "*.Dmp", "*.dmp", nullptr}},
    {N_("  All files (*.*) "), {"*", nullptr}},
};

// Records the attached tape and enables the job controls.
void attach_tape(const gchar *path, const gchar *folder)
{
    replace_owned_string(utf8_path_lastopenTAP, path);
    replace_owned_string(utf8_path_lastopenfolder, folder);
    common_set_toolbar_and_menu_status(STATUS_FILE_ATTACHED);
    gchar *base = g_path_get_basename(path);
    gchar *text = g_strdup_printf(_(" Attached file: %s"), base);
    common_set_statusbar_text(text);
    g_free(text);
    g_free(base);
}

GtkWidget *preview_label(const char *text, gfloat xalign)
{
    GtkWidget *label = gtk_label_new(text);
    gtk_misc_set_alignment(GTK_MISC(label), xalign, 0.5);
    gtk_widget_show(label);
    return label;
}

// The row of captions and values under the chooser; fills `values`.
GtkWidget *create_preview_row(GtkWidget *values[3])
{
    GtkWidget *row = gtk_hbox_new(FALSE, 0);
    gtk_widget_set_name(row, "hbox_open_file_preview");
    const char *captions[3] = {_("File Type:"), _("Computer Platform:"), _("Video Standard:")};
    const char *value_names[3] = {"label_preview_file_type", "label_preview_platform",
                                  "label_preview_video"};
    for (int i = 0; i < 3; ++i) {
        if (i > 0) {
            GtkWidget *separator = gtk_vseparator_new();
            gtk_widget_show(separator);
            gtk_box_pack_start(GTK_BOX(row), separator, FALSE, FALSE, 0);
        }
        gtk_box_pack_start(GTK_BOX(row), preview_label(captions[i], 0.0), TRUE, TRUE, i == 1 ? 2 : 4);
        values[i] = preview_label(TAPE_PREVIEW_NONE, 1.0);
        gtk_widget_set_name(values[i], value_names[i]);
        gtk_box_pack_start(GTK_BOX(row), values[i], TRUE, TRUE, 4);
    }
    gtk_widget_show(row);
    return row;
}

} // namespace

void on_toolbutton_open_file_clicked(GtkToolButton *, gpointer)
{
    on_openfile_activate();
}

void on_menuitem_file_open_activate(GtkMenuItem *, gpointer)
{
    on_openfile_activate();
}

void on_openfile_activate()
{
    GtkWidget *dialog = create_filechooserdialog_open_file();
    gtk_window_set_title(GTK_WINDOW(dialog), _("Select a tape image"));
    GtkFileChooser *chooser = GTK_FILE_CHOOSER(dialog);

    GtkFileFilter *filters[G_N_ELEMENTS(open_filters)];
    for (size_t i = 0; i < G_N_ELEMENTS(open_filters); ++i) {
        filters[i] = gtk_file_filter_new();
        gtk_file_filter_set_name(filters[i], _(open_filters[i].name));
        for (const char *const *pattern = open_filters[i].patterns; *pattern; ++pattern)
            gtk_file_filter_add_pattern(filters[i], *pattern);
        gtk_file_chooser_add_filter(chooser, filters[i]);
    }
    const int shown = filter_lastopenTAP >= 0 && filter_lastopenTAP <= 2 ? filter_lastopenTAP : 3;
    gtk_file_chooser_set_filter(chooser, filters[shown]);

    common_set_dialog_start_folder(chooser, utf8_path_lastopenfolder);

    GtkWidget *values[3];
    gtk_file_chooser_set_extra_widget(chooser, create_preview_row(values));
    g_signal_connect(dialog, "selection-changed", G_CALLBACK(on_open_file_selection_changed), values);

    if (gtk_dialog_run(GTK_DIALOG(dialog)) != GTK_RESPONSE_OK) {
        gtk_widget_destroy(dialog);
        return;
    }
    gchar *path = gtk_file_chooser_get_filename(chooser);
    gchar *folder = gtk_file_chooser_get_current_folder(chooser);
    GtkFileFilter *in_use = gtk_file_chooser_get_filter(chooser);
    for (size_t i = 0; i < G_N_ELEMENTS(open_filters); ++i)
        if (filters[i] == in_use)
            filter_lastopenTAP = int(i);
    gtk_widget_destroy(dialog);

    if (path) {
        if (!folder)
            folder = g_path_get_dirname(path);
        attach_tape(path, folder);
    }
    g_free(path);
    g_free(folder);
}

void on_open_file_selection_changed(GtkFileChooser *chooser, gpointer labels)
{
    auto **values = static_cast<GtkWidget **>(labels);
    gchar *path = gtk_file_chooser_get_filename(chooser);
    const TapePreview preview = path ? tape_header_preview(path)
                                     : TapePreview{TAPE_PREVIEW_NONE, TAPE_PREVIEW_NONE, TAPE_PREVIEW_NONE};
    g_free(path);
    gtk_label_set_text(GTK_LABEL(values[0]), preview.file_type.c_str());
    gtk_label_set_text(GTK_LABEL(values[1]), preview.platform.c_str());
    gtk_label_set_text(GTK_LABEL(values[2]), preview.video.c_str());
}

bool attach_tape_from_command_line(const char *argument)
{
    GFile *file = g_file_new_for_commandline_arg(argument);
    gchar *path = g_file_get_path(file);
    g_object_unref(file);
    if (path == nullptr || !g_file_test(path, G_FILE_TEST_IS_REGULAR)) {
        gchar *text = g_strdup_printf(_("The tape '%s' given on the command line is not a file that can be attached."),
                                      argument);
        // The dialog reads its text as a format: a '%' of the name is doubled.
        gchar **parts = g_strsplit(text, "%", -1);
        gchar *escaped = g_strjoinv("%%", parts);
        common_create_simple_error_dialog(GTK_WINDOW(mainwindow), escaped);
        g_free(escaped);
        g_strfreev(parts);
        g_free(text);
        g_free(path);
        return false;
    }
    gchar *folder = g_path_get_dirname(path);
    attach_tape(path, folder);
    g_free(folder);
    g_free(path);
    return true;
}

bool main_window_accept_drop(GtkSelectionData *data)
{
    gchar **uris = nullptr;
    if (data && gtk_selection_data_get_length(data) >= 0 && gtk_selection_data_get_format(data) == 8)
        uris = gtk_selection_data_get_uris(data);
    if (!uris || !uris[0]) {
        g_strfreev(uris);
        return false;
    }
    // Only the first file counts; a URI that is no local file is ignored.
    gchar *path = g_filename_from_uri(uris[0], nullptr, nullptr);
    if (path) {
        gchar *folder = g_path_get_dirname(path);
        attach_tape(path, folder);
        g_free(folder);
        if (thread_busy == 0)
            on_core_test_activate();
    }
    g_free(path);
    g_strfreev(uris);
    return true;
}

void on_mainwindow_drag_data_received(GtkWidget *, GdkDragContext *context, gint, gint,
                                      GtkSelectionData *data, guint, guint time)
{
    // The source keeps its file: the drop never asks it to delete.
    gtk_drag_finish(context, main_window_accept_drop(data), FALSE, time);
}
