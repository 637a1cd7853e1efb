// File > Import audio capture...: a sound-card capture of a tape becomes a
// TAP file beside it, which is then attached. The conversion runs on its
// own thread; a small window shows its progress and can stop it.
#include "gui/importaudio.h"

#include "core/audioimport.h"
#include "core/tapeoutput.h"
#include "core/tapimage.h"
#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/common.h"
#include "gui/interface.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <atomic>
#include <cstring>
#include <initializer_list>
#include <string>

namespace {

struct ImportJob {
    std::string capture, tap;
    AudioImportOptions options;
    std::atomic<double> progress{0};
    std::atomic<bool> stop{false};
    std::atomic<bool> done{false};
    AudioImportResult result; // written by the worker before `done`
    GtkWidget *window = nullptr;
    GtkWidget *bar = nullptr;
};

ImportJob *running = nullptr;

gpointer import_worker(gpointer data)
{
    auto *job = static_cast<ImportJob *>(data);
    job->result = import_audio_capture(job->capture, job->tap, job->options, [job](double share) {
        job->progress = share;
        return !job->stop.load();
    });
    job->done = true;
    return nullptr;
}

void set_menu_sensitive(bool sensitive)
{
    if (GtkWidget *item = lookup_widget(mainwindow, "menuitem_file_import_audio"))
        gtk_widget_set_sensitive(item, sensitive);
}

// The dialog's text is a format: a "%" of a file name is doubled.
void show_error(const std::string &text)
{
    gchar **parts = g_strsplit(text.c_str(), "%", -1);
    gchar *escaped = g_strjoinv("%%", parts);
    common_create_simple_error_dialog(GTK_WINDOW(mainwindow), escaped);
    g_free(escaped);
    g_strfreev(parts);
}

gboolean watch_import(gpointer data)
{
    auto *job = static_cast<ImportJob *>(data);
    if (!job->done) {
        gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(job->bar), job->progress.load());
        return TRUE;
    }
    gtk_widget_destroy(job->window);
    running = nullptr;
    set_menu_sensitive(true);
    if (job->result.ok) {
        attach_tape_from_command_line(job->tap.c_str());
        gchar *base = g_path_get_basename(job->tap.c_str());
        gchar *line = g_strdup_printf(_("Imported %s: %llu pulses from %.1f s of sound, %s polarity\n"), base,
                                      static_cast<unsigned long long>(job->result.pulses), job->result.seconds,
                                      job->result.inverted ? _("inverted") : _("normal"));
        common_append_log_textview(line);
        g_free(line);
        g_free(base);
        // A capture cut short: what was there is the user's tape, said plainly.
        const std::string shortfall = audio_import_shortfall_text(job->result);
        if (!shortfall.empty()) {
            gchar *capture = g_path_get_basename(job->capture.c_str());
            gchar *said = g_strdup_printf(_("%s: %s"), capture, shortfall.c_str());
            common_append_log_textview(said);
            common_append_log_textview("\n");
            common_create_friendly_dialog(_("Import audio capture"), said);
            g_free(said);
            g_free(capture);
        }
    } else {
        show_error(job->result.error);
    }
    delete job;
    return FALSE;
}

void on_stop_clicked(GtkButton *, gpointer data)
{
    static_cast<ImportJob *>(data)->stop = true;
}

GtkWidget *progress_window(ImportJob *job)
{
    GtkWidget *window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_widget_set_name(window, "window_import_audio");
    gtk_window_set_title(GTK_WINDOW(window), _("Importing audio capture"));
    gtk_window_set_transient_for(GTK_WINDOW(window), GTK_WINDOW(mainwindow));
    gtk_window_set_position(GTK_WINDOW(window), GTK_WIN_POS_CENTER_ON_PARENT);
    gtk_window_set_deletable(GTK_WINDOW(window), FALSE);
    gtk_container_set_border_width(GTK_CONTAINER(window), 10);
    GtkWidget *box = gtk_vbox_new(FALSE, 8);
    gchar *base = g_path_get_basename(job->capture.c_str());
    GtkWidget *label = gtk_label_new(base);
    g_free(base);
    job->bar = gtk_progress_bar_new();
    gtk_widget_set_name(job->bar, "progressbar_import_audio");
    gtk_widget_set_size_request(job->bar, 320, -1);
    GtkWidget *stop = gtk_button_new_from_stock(GTK_STOCK_STOP);
    gtk_widget_set_name(stop, "button_import_audio_stop");
    g_signal_connect(stop, "clicked", G_CALLBACK(on_stop_clicked), job);
    gtk_box_pack_start(GTK_BOX(box), label, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(box), job->bar, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(box), stop, FALSE, FALSE, 0);
    gtk_container_add(GTK_CONTAINER(window), box);
    gtk_widget_show_all(window);
    return window;
}

GtkWidget *combo(GtkWidget *table, int row, const char *caption, const char *name,
                 std::initializer_list<const char *> items)
{
    GtkWidget *label = gtk_label_new(caption);
    gtk_misc_set_alignment(GTK_MISC(label), 1, 0.5);
    GtkWidget *box = gtk_combo_box_new_text();
    gtk_widget_set_name(box, name);
    for (const char *item : items)
        gtk_combo_box_append_text(GTK_COMBO_BOX(box), item);
    gtk_combo_box_set_active(GTK_COMBO_BOX(box), 0);
    gtk_table_attach(GTK_TABLE(table), label, 0, 1, row, row + 1, GTK_FILL, GTK_FILL, 0, 0);
    gtk_table_attach(GTK_TABLE(table), box, 1, 2, row, row + 1, GTK_FILL, GTK_FILL, 0, 0);
    return box;
}

struct OptionWidgets {
    GtkWidget *machine, *video, *channel, *polarity;
};

GtkWidget *options_table(OptionWidgets *w)
{
    GtkWidget *table = gtk_table_new(4, 2, FALSE);
    gtk_widget_set_name(table, "table_import_audio_options");
    gtk_table_set_col_spacings(GTK_TABLE(table), 6);
    gtk_table_set_row_spacings(GTK_TABLE(table), 4);
    w->machine = combo(table, 0, _("Machine:"), "combobox_import_machine",
                       {machine_type_name(0), machine_type_name(1), machine_type_name(2)});
    w->video = combo(table, 1, _("Video standard:"), "combobox_import_video",
                     {video_standard_name(0), video_standard_name(1)});
    w->polarity = combo(table, 2, _("Polarity:"), "combobox_import_polarity",
                        {_("Automatic (the cleaner one)"), _("Normal"), _("Inverted")});
    GtkWidget *label = gtk_label_new(_("Channel:"));
    gtk_misc_set_alignment(GTK_MISC(label), 1, 0.5);
    w->channel = gtk_spin_button_new_with_range(1, 8, 1);
    gtk_widget_set_name(w->channel, "spinbutton_import_channel");
    gtk_table_attach(GTK_TABLE(table), label, 0, 1, 3, 4, GTK_FILL, GTK_FILL, 0, 0);
    gtk_table_attach(GTK_TABLE(table), w->channel, 1, 2, 3, 4, GTK_FILL, GTK_FILL, 0, 0);
    gtk_widget_show_all(table);
    return table;
}

AudioImportOptions chosen_options(const OptionWidgets &w)
{
    AudioImportOptions options;
    options.platform = static_cast<unsigned>(gtk_combo_box_get_active(GTK_COMBO_BOX(w.machine)));
    options.video = static_cast<unsigned>(gtk_combo_box_get_active(GTK_COMBO_BOX(w.video)));
    options.channel = gtk_spin_button_get_value_as_int(GTK_SPIN_BUTTON(w.channel)) - 1;
    const int polarity = gtk_combo_box_get_active(GTK_COMBO_BOX(w.polarity));
    options.polarity = polarity == 1 ? AudioPolarity::Normal
                       : polarity == 2 ? AudioPolarity::Inverted
                                       : AudioPolarity::Automatic;
    return options;
}


bool may_replace(const std::string &tap)
{
    if (!g_file_test(tap.c_str(), G_FILE_TEST_EXISTS))
        return true;
    gchar *base = g_path_get_basename(tap.c_str());
    GtkWidget *ask = gtk_message_dialog_new(GTK_WINDOW(mainwindow), GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION,
                                            GTK_BUTTONS_YES_NO,
                                            _("%s already exists. Replace it with the imported tape?"), base);
    g_free(base);
    gtk_window_set_title(GTK_WINDOW(ask), _("Replace tape?"));
    gtk_dialog_set_default_response(GTK_DIALOG(ask), GTK_RESPONSE_NO);
    const bool yes = gtk_dialog_run(GTK_DIALOG(ask)) == GTK_RESPONSE_YES;
    gtk_widget_destroy(ask);
    return yes;
}

} // namespace

void import_audio_capture_start(const std::string &capture, const AudioImportOptions &options)
{
    if (running != nullptr)
        return;
    const std::string tap = path_beside_with_extension(capture, ".tap");
    if (!may_replace(tap))
        return;
    auto *job = new ImportJob;
    job->capture = capture;
    job->tap = tap;
    job->options = options;
    job->window = progress_window(job);
    running = job;
    set_menu_sensitive(false);
    g_thread_unref(g_thread_new("audio-import", import_worker, job));
    g_timeout_add(100, watch_import, job);
}

bool import_audio_capture_running()
{
    return running != nullptr;
}

void on_menuitem_file_import_audio_activate(GtkMenuItem *, gpointer)
{
    GtkWidget *dialog = create_filechooserdialog_open_generic();
    gtk_window_set_title(GTK_WINDOW(dialog), _("Import an audio capture"));
    GtkFileChooser *chooser = GTK_FILE_CHOOSER(dialog);
    GtkFileFilter *captures = gtk_file_filter_new();
    gtk_file_filter_set_name(captures, _("  Audio captures (*.wav, *.aiff, *.flac, *.au, *.ogg) "));
    for (const char *pattern : {"*.wav", "*.WAV", "*.aif", "*.aiff", "*.AIF", "*.AIFF", "*.flac", "*.FLAC",
                                "*.au", "*.AU", "*.ogg", "*.OGG"})
        gtk_file_filter_add_pattern(captures, pattern);
    GtkFileFilter *all = gtk_file_filter_new();
    gtk_file_filter_set_name(all, _("  All files (*.*) "));
    gtk_file_filter_add_pattern(all, "*");
    gtk_file_chooser_add_filter(chooser, captures);
    gtk_file_chooser_add_filter(chooser, all);
    common_set_dialog_start_folder(chooser, utf8_path_lastopenfolder);
    OptionWidgets widgets;
    gtk_file_chooser_set_extra_widget(chooser, options_table(&widgets));

    std::string capture;
    AudioImportOptions options;
    if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK) {
        if (gchar *path = gtk_file_chooser_get_filename(chooser)) {
            capture = path;
            g_free(path);
        }
        options = chosen_options(widgets);
    }
    gtk_widget_destroy(dialog);
    if (!capture.empty())
        import_audio_capture_start(capture, options);
}
