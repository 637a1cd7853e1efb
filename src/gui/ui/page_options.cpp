#include "core/optionsfile.h"
#include "gui/callbacks.h"
#include "gui/console.h"
#include "gui/ui/pages.h"
#include "gui/ui/uibuild.h"

#include <glib/gi18n-lib.h>

namespace {

GtkWidget *quillmar_specific_group(GtkWidget *top)
{
    GtkWidget *frame = ui::named(top, "frame_options_quillmar_specific", gtk_frame_new(nullptr));
    gtk_frame_set_label_widget(GTK_FRAME(frame),
                               ui::label(top, "label_options_quillmar_specific", " Quillmar specific "));
    GtkWidget *vbox = ui::named(top, "vbox_options_quillmar_specific", gtk_vbox_new(FALSE, 0));
    gtk_container_set_border_width(GTK_CONTAINER(vbox), 4);
    gtk_container_add(GTK_CONTAINER(frame), vbox);

    for (const ConsoleFlag &flag : configurable_options_console_flags) {
        gchar *name = g_strconcat("checkbutton_", flag.key, nullptr);
        ui::pack(vbox, ui::check_button(top, name, flag.label, flag.tooltip));
        g_free(name);
    }
    // Initial states equal the defaults of "user.ini".
    for (const char *active : {"checkbutton_noid", "checkbutton_noc64eof",
                               "checkbutton_docyberfault", "checkbutton_noaddpause",
                               "checkbutton_doprg", "checkbutton_prgunite"})
        gtk_toggle_button_set_active(
            GTK_TOGGLE_BUTTON(g_object_get_data(G_OBJECT(top), active)), TRUE);
    g_signal_connect(g_object_get_data(G_OBJECT(top), "checkbutton_doprg"), "toggled",
                     G_CALLBACK(on_checkbutton_doprg_toggled), nullptr);

    GtkWidget *row = ui::pack(vbox, ui::named(top, "hbox_options_tolerance", gtk_hbox_new(FALSE, 6)),
                              false, false, 4);
    ui::pack(row, ui::label(top, "label_options_tolerance", "Read tolerance:"));
    GtkObject *adjustment = gtk_adjustment_new(TOLERANCE_DEFAULT, 0, TOLERANCE_MAX, 1, 1, 0);
    GtkWidget *scale = ui::named(top, "hscale_tolerance", gtk_hscale_new(GTK_ADJUSTMENT(adjustment)));
    gtk_scale_set_digits(GTK_SCALE(scale), 0);
    gtk_scale_set_value_pos(GTK_SCALE(scale), GTK_POS_RIGHT);
    gtk_range_set_update_policy(GTK_RANGE(scale), GTK_UPDATE_DISCONTINUOUS);
    gtk_widget_set_size_request(scale, 200, -1);
    ui::pack(row, scale);
    GtkWidget *max = ui::named(top, "button_options_max_tolerance", gtk_button_new());
    gtk_container_add(GTK_CONTAINER(max),
                      ui::stock_image(top, nullptr, GTK_STOCK_GOTO_LAST, GTK_ICON_SIZE_BUTTON));
    ui::tooltip(max, "Set tolerance to its maximum value");
    g_signal_connect(max, "clicked", G_CALLBACK(on_button_options_max_tolerance_clicked), nullptr);
    ui::pack(row, max);
    return frame;
}

GtkWidget *console_group(GtkWidget *top)
{
    GtkWidget *frame = ui::named(top, "frame_options_console", gtk_frame_new(_(" Console program ")));
    GtkWidget *table = ui::named(top, "table_options_console", gtk_table_new(3, 2, FALSE));
    gtk_container_set_border_width(GTK_CONTAINER(table), 4);
    gtk_table_set_row_spacings(GTK_TABLE(table), 4);
    gtk_table_set_col_spacings(GTK_TABLE(table), 6);
    gtk_container_add(GTK_CONTAINER(frame), table);

    GtkWidget *location_label = ui::label(top, "label_quillmar_location", "Location:");
    gtk_misc_set_alignment(GTK_MISC(location_label), 0.0, 0.5);
    gtk_table_attach(GTK_TABLE(table), location_label, 0, 1, 0, 1, GTK_FILL, GTK_FILL, 0, 0);
    GtkWidget *location = ui::named(
        top, "filechooserbutton_quillmar_location",
        gtk_file_chooser_button_new(_("Select the folder of the console program"),
                                    GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER));
    ui::tooltip(location, "Folder holding the quillmar console program");
    // It starts on the working folder, where the console program is looked for first.
    gchar *cwd = g_get_current_dir();
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(location), cwd);
    g_free(cwd);
    g_signal_connect(location, "current-folder-changed",
                     G_CALLBACK(on_filechooserbutton_quillmar_location_current_folder_changed), nullptr);
    gtk_table_attach(GTK_TABLE(table), location, 1, 2, 0, 1,
                     GtkAttachOptions(GTK_EXPAND | GTK_FILL), GTK_FILL, 0, 0);

    GtkWidget *params_label = ui::label(top, "label_additional_params", "Additional parameters:");
    gtk_misc_set_alignment(GTK_MISC(params_label), 0.0, 0.5);
    gtk_table_attach(GTK_TABLE(table), params_label, 0, 1, 1, 2, GTK_FILL, GTK_FILL, 0, 0);
    GtkWidget *params = ui::named(top, "comboboxentry_additional_params",
                                  gtk_combo_box_new_with_entry());
    ui::tooltip(params, "Passed as they stand to Test, Clean and Batch");
    gtk_table_attach(GTK_TABLE(table), params, 1, 2, 1, 2,
                     GtkAttachOptions(GTK_EXPAND | GTK_FILL), GTK_FILL, 0, 0);

    GtkWidget *redirect = ui::check_button(top, "checkbutton_redirect_console_output",
                                           "_Redirect console output to the System Log",
                                           N_("If this option is enabled then what the console "
                                           "program prints is shown in the System Log"));
    gtk_table_attach(GTK_TABLE(table), redirect, 0, 2, 2, 3, GTK_FILL, GTK_FILL, 0, 0);
    return frame;
}

GtkWidget *button_row(GtkWidget *top)
{
    GtkWidget *row = ui::named(top, "hbuttonbox_options", gtk_hbutton_box_new());
    gtk_button_box_set_layout(GTK_BUTTON_BOX(row), GTK_BUTTONBOX_END);
    gtk_box_set_spacing(GTK_BOX(row), 6);
    GtkWidget *font = ui::button(top, "button_options_font", "Font...", GTK_STOCK_SELECT_FONT,
                                 N_("Change font used in text areas"));
    GtkWidget *defaults = ui::button(top, "button_options_restore_defaults", "_Defaults",
                                     GTK_STOCK_UNDO, N_("Restore defaults"));
    GtkWidget *save = ui::button(top, "button_options_save_config", "Save", GTK_STOCK_SAVE,
                                 N_("Save options"));
    for (GtkWidget *button : {font, defaults, save})
        gtk_container_add(GTK_CONTAINER(row), button);
    g_signal_connect(font, "clicked", G_CALLBACK(on_button_options_font_clicked), nullptr);
    g_signal_connect(defaults, "clicked", G_CALLBACK(on_button_options_restore_defaults_clicked),
                     nullptr);
    g_signal_connect(save, "clicked", G_CALLBACK(on_button_options_save_config_clicked), nullptr);
    return row;
}

} // namespace

GtkWidget *create_page_options(GtkWidget *top)
{
    GtkWidget *vbox = ui::named(top, "vbox_options", gtk_vbox_new(FALSE, 6));
    gtk_container_set_border_width(GTK_CONTAINER(vbox), 6);
    ui::pack(vbox, quillmar_specific_group(top));
    ui::pack(vbox, ui::check_button(
                       top, "checkbutton_move_files_after_clean",
                       "_Move files to their original folder after cleaning them (use with "
                       "Quillmar 0.24 or older)",
                       N_("If this option is enabled then each cleaned file is moved to the folder "
                       "where the source file is (only required for Quillmar 0.24 or older)")));
    ui::pack(vbox, console_group(top));

    // The page is taller than the default window: let it scroll.
    GtkWidget *scrolled = ui::named(top, "scrolledwindow_options",
                                    gtk_scrolled_window_new(nullptr, nullptr));
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_AUTOMATIC,
                                   GTK_POLICY_AUTOMATIC);
    // The shadow is set while the viewport is still empty: set later, it would
    // allocate the page into the viewport's first 1-pixel size.
    GtkWidget *viewport = ui::named(top, "viewport_options", gtk_viewport_new(nullptr, nullptr));
    gtk_viewport_set_shadow_type(GTK_VIEWPORT(viewport), GTK_SHADOW_NONE);
    gtk_container_add(GTK_CONTAINER(viewport), vbox);
    gtk_container_add(GTK_CONTAINER(scrolled), viewport);

    // The buttons stay in sight below the scrolled options.
    GtkWidget *page = ui::named(top, "vbox_options_page", gtk_vbox_new(FALSE, 4));
    ui::pack(page, scrolled, true, true);
    GtkWidget *buttons = ui::pack(page, button_row(top));
    gtk_container_set_border_width(GTK_CONTAINER(buttons), 4);
    return page;
}
