#include "gui/interface.h"

#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/callbacks.h"
#include "gui/console.h"
#include "gui/importaudio.h"
#include "gui/support.h"
#include "gui/ui/pages.h"
#include "gui/ui/uibuild.h"

#include <glib/gi18n-lib.h>

namespace {

// A top-level menu entry: an image menu item with a mnemonic label.
GtkWidget *menu_item_with_image(GtkWidget *top, const char *name, const char *label_msgid,
                                const char *image_name, const char *stock_id)
{
    GtkWidget *item = ui::named(top, name, gtk_image_menu_item_new_with_mnemonic(_(label_msgid)));
    GtkWidget *image = ui::stock_image(top, image_name, stock_id, GTK_ICON_SIZE_MENU);
    gtk_image_menu_item_set_image(GTK_IMAGE_MENU_ITEM(item), image);
    return item;
}

GtkWidget *stock_menu_item(GtkWidget *top, const char *name, const char *stock_id,
                           GtkAccelGroup *accel_group, const char *tooltip_msgid)
{
    GtkWidget *item = ui::named(top, name, gtk_image_menu_item_new_from_stock(stock_id, accel_group));
    ui::tooltip(item, tooltip_msgid);
    return item;
}

GtkWidget *create_menubar(GtkWidget *top, GtkAccelGroup *accel_group)
{
    GtkWidget *menubar = ui::named(top, "menubar_main", gtk_menu_bar_new());

    GtkWidget *file = menu_item_with_image(top, "menuitem_file", N_("_File"), "image_menuitem_file",
                                           GTK_STOCK_FLOPPY);
    gtk_container_add(GTK_CONTAINER(menubar), file);
    GtkWidget *file_menu = ui::named(top, "menuitem_file_menu", gtk_menu_new());
    gtk_menu_item_set_submenu(GTK_MENU_ITEM(file), file_menu);
    GtkWidget *open = stock_menu_item(top, "menuitem_file_open", GTK_STOCK_OPEN, accel_group,
                                      N_("Attach a file to test, clean, convert, or record"));
    gtk_container_add(GTK_CONTAINER(file_menu), open);
    GtkWidget *import = menu_item_with_image(top, "menuitem_file_import_audio", N_("_Import audio capture..."),
                                             "image_menuitem_file_import_audio", GTK_STOCK_CONVERT);
    ui::tooltip(import, "Turn a sound-card capture of a tape into a TAP file and attach it");
    gtk_container_add(GTK_CONTAINER(file_menu), import);
    g_signal_connect(import, "activate", G_CALLBACK(on_menuitem_file_import_audio_activate), nullptr);
    GtkWidget *quit = stock_menu_item(top, "menuitem_file_quit", GTK_STOCK_QUIT, accel_group,
                                      N_("Leave program"));
    gtk_container_add(GTK_CONTAINER(file_menu), quit);

    GtkWidget *help = menu_item_with_image(top, "menuitem_help", N_("_Help"), "image_menuitem_help",
                                           GTK_STOCK_HELP);
    gtk_container_add(GTK_CONTAINER(menubar), help);
    GtkWidget *help_menu = ui::named(top, "menuitem_help_menu", gtk_menu_new());
    gtk_menu_item_set_submenu(GTK_MENU_ITEM(help), help_menu);
    // The About item carries the "info" picture and Release notes the "about" one.
    GtkWidget *about = menu_item_with_image(top, "menuitem_help_about", N_("_About"),
                                            "image_menuitem_help_about", GTK_STOCK_INFO);
    ui::tooltip(about, "Show program credits");
    gtk_container_add(GTK_CONTAINER(help_menu), about);
    GtkWidget *notes = menu_item_with_image(top, "menuitem_help_release_notes", N_("_Release notes"),
                                            "image_menuitem_help_release_notes", GTK_STOCK_ABOUT);
    ui::tooltip(notes, "Show release notes");
    gtk_container_add(GTK_CONTAINER(help_menu), notes);

    g_signal_connect(open, "activate", G_CALLBACK(on_menuitem_file_open_activate), nullptr);
    g_signal_connect(quit, "activate", G_CALLBACK(on_menuitem_file_quit_activate), nullptr);
    g_signal_connect(about, "activate", G_CALLBACK(on_menuitem_help_about_activate), nullptr);
    g_signal_connect(notes, "activate", G_CALLBACK(on_menuitem_help_release_notes_activate),
                     nullptr);
    return menubar;
}

GtkToolItem *tool_button(GtkWidget *toolbar, GtkWidget *top, const char *name, bool with_menu,
                         const char *stock_id, const char *label_msgid, const char *tooltip_msgid,
                         GCallback handler)
{
    GtkToolItem *item = with_menu ? gtk_menu_tool_button_new_from_stock(stock_id)
                                  : gtk_tool_button_new_from_stock(stock_id);
    gtk_tool_button_set_label(GTK_TOOL_BUTTON(item), _(label_msgid));
    gtk_tool_item_set_tooltip_text(item, _(tooltip_msgid));
    gtk_toolbar_insert(GTK_TOOLBAR(toolbar), item, -1);
    ui::named(top, name, GTK_WIDGET(item));
    if (handler)
        g_signal_connect(item, "clicked", handler, nullptr);
    return item;
}

void separator(GtkWidget *toolbar, GtkWidget *top, const char *name)
{
    GtkToolItem *item = gtk_separator_tool_item_new();
    gtk_toolbar_insert(GTK_TOOLBAR(toolbar), item, -1);
    ui::named(top, name, GTK_WIDGET(item));
}

GtkWidget *create_toolbar(GtkWidget *top)
{
    GtkWidget *toolbar = ui::named(top, "toolbar_main", gtk_toolbar_new());
    gtk_toolbar_set_style(GTK_TOOLBAR(toolbar), GTK_TOOLBAR_BOTH);
    tool_button(toolbar, top, "toolbutton_open_file", false, GTK_STOCK_OPEN, N_("Open"),
                N_("Attach a file to test, clean, convert, or record"),
                G_CALLBACK(on_toolbutton_open_file_clicked));
    separator(toolbar, top, "separatortoolitem1");
    tool_button(toolbar, top, "toolbutton_batch", false, GTK_STOCK_OPEN, N_("Batch"),
                N_("Select a folder for batch scanning"), G_CALLBACK(on_toolbutton_batch_clicked));
    separator(toolbar, top, "separatortoolitem2");
    tool_button(toolbar, top, "toolbutton_test", false, GTK_STOCK_PROPERTIES, N_("Test"),
                N_("Test the attached file"), G_CALLBACK(on_toolbutton_test_clicked));
    tool_button(toolbar, top, "toolbutton_clean", false, GTK_STOCK_CLEAR, N_("Clean"),
                N_("Clean the attached file"), G_CALLBACK(on_toolbutton_clean_clicked));
    tool_button(toolbar, top, "menutoolbutton_convert", true, GTK_STOCK_CONVERT, N_("Convert"),
                N_("Test and convert the attached file to TAP v 0 or v 1"),
                G_CALLBACK(on_menutoolbutton_convert_clicked));
    tool_button(toolbar, top, "menutoolbutton_recordaudio", true, GTK_STOCK_MEDIA_RECORD,
                N_("Record"), N_("Save the attached file to an audio file"),
                G_CALLBACK(on_menutoolbutton_recordaudio_clicked));
    return toolbar;
}

struct PageSpec {
    GtkWidget *(*build)(GtkWidget *);
    const char *tab_box; // null: the Tools tab box has no name of its own
    const char *stock_id;
    const char *label;
};

const PageSpec main_pages[] = {
    {create_page_report, "hbox_notebook_label_tab_report", GTK_STOCK_EDIT, N_("Report")},
    {create_page_scanners, "hbox_notebook_label_tab_scanners", GTK_STOCK_YES, N_("Scanners")},
    {create_page_options, "hbox_notebook_label_tab_options", GTK_STOCK_PREFERENCES, N_("Options")},
    {create_page_prg_files, "hbox_notebook_label_tab_prg_files", GTK_STOCK_EXECUTE, N_("Prg Files")},
    {create_page_tools, "hbox_notebook_label_tab_tools", GTK_STOCK_DIALOG_INFO, N_("Tools")},
    {create_page_syslog, "hbox_notebook_label_tab_syslog", GTK_STOCK_INDEX, N_("System Log")},
};

} // namespace

GtkWidget *create_mainwindow()
{
    GtkWidget *top = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(top), _("Quillmar Front End"));
    gtk_window_set_position(GTK_WINDOW(top), GTK_WIN_POS_CENTER);
    gtk_window_set_default_size(GTK_WINDOW(top), 640, 400);
    gtk_widget_set_name(top, "mainwindow");
    // The window is registered on itself, without an extra reference, so
    // that it can still be destroyed.
    g_object_set_data(G_OBJECT(top), "mainwindow", top);

    GtkAccelGroup *accel_group = gtk_accel_group_new();
    gtk_window_add_accel_group(GTK_WINDOW(top), accel_group);
    g_object_unref(accel_group);

    GtkWidget *vbox = ui::named(top, "vbox_main", gtk_vbox_new(FALSE, 0));
    gtk_container_add(GTK_CONTAINER(top), vbox);
    ui::pack(vbox, create_menubar(top, accel_group));
    ui::pack(vbox, create_toolbar(top));

    GtkWidget *notebook = ui::pack(vbox, ui::named(top, "notebook_main", gtk_notebook_new()),
                                   true, true);
    for (const PageSpec &page : main_pages) {
        GtkWidget *contents = page.build(top);
        GtkWidget *tab = ui::tab(top, page.tab_box, page.stock_id, page.label);
        gtk_notebook_append_page(GTK_NOTEBOOK(notebook), contents, tab);
    }

    ui::pack(vbox, ui::named(top, "statusbar_mainwin", gtk_statusbar_new()));

    g_signal_connect(top, "delete_event", G_CALLBACK(on_mainwindow_delete_event), nullptr);
    g_signal_connect(top, "drag_data_received", G_CALLBACK(on_mainwindow_drag_data_received),
                     nullptr);
    return top;
}

GtkWidget *create_fontselectiondialog_select_font()
{
    GtkWidget *dialog = gtk_font_selection_dialog_new(_("Select font"));
    gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
    gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER_ON_PARENT);
    if (mainwindow)
        gtk_window_set_transient_for(GTK_WINDOW(dialog), GTK_WINDOW(mainwindow));
    gtk_window_set_type_hint(GTK_WINDOW(dialog), GDK_WINDOW_TYPE_HINT_DIALOG);
    // The dialog's own Apply button answers GTK_RESPONSE_APPLY.
    GtkWidget *apply = gtk_font_selection_dialog_get_apply_button(GTK_FONT_SELECTION_DIALOG(dialog));
    gtk_widget_show(apply);
    gtk_widget_set_name(apply, "button_font_apply");
    return dialog;
}

static GtkWidget *file_chooser_dialog(GtkFileChooserAction action, const char *accept_stock)
{
    GtkWidget *dialog = gtk_file_chooser_dialog_new(
        "", mainwindow ? GTK_WINDOW(mainwindow) : nullptr, action, GTK_STOCK_CANCEL,
        GTK_RESPONSE_CANCEL, accept_stock, GTK_RESPONSE_OK, nullptr);
    gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
    gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER_ON_PARENT);
    gtk_window_set_type_hint(GTK_WINDOW(dialog), GDK_WINDOW_TYPE_HINT_DIALOG);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
    return dialog;
}

GtkWidget *create_filechooserdialog_save_generic()
{
    return file_chooser_dialog(GTK_FILE_CHOOSER_ACTION_SAVE, GTK_STOCK_SAVE);
}

GtkWidget *create_filechooserdialog_open_generic()
{
    return file_chooser_dialog(GTK_FILE_CHOOSER_ACTION_OPEN, GTK_STOCK_OPEN);
}

GtkWidget *create_filechooserdialog_open_file()
{
    return file_chooser_dialog(GTK_FILE_CHOOSER_ACTION_OPEN, GTK_STOCK_OPEN);
}

GtkWidget *create_filechooserdialog_open_batch_location()
{
    GtkWidget *dialog = file_chooser_dialog(GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, GTK_STOCK_OPEN);
    gtk_window_set_title(GTK_WINDOW(dialog), _("Select a folder for batch scan"));
    return dialog;
}

static GtkWidget *radio_menu(const char *menu_name, const char *first_name, const char *first_msgid,
                             GCallback first_handler, const char *second_name,
                             const char *second_msgid, GCallback second_handler)
{
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, menu_name);
    GtkWidget *first = gtk_radio_menu_item_new_with_mnemonic(nullptr, _(first_msgid));
    GSList *group = gtk_radio_menu_item_get_group(GTK_RADIO_MENU_ITEM(first));
    GtkWidget *second = gtk_radio_menu_item_new_with_mnemonic(group, _(second_msgid));
    gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(second), TRUE);
    gtk_widget_set_name(first, first_name);
    gtk_widget_set_name(second, second_name);
    gtk_container_add(GTK_CONTAINER(menu), first);
    gtk_container_add(GTK_CONTAINER(menu), second);
    // The items are found from the main window, like every other widget.
    if (mainwindow) {
        hookup_object(mainwindow, menu, menu_name);
        hookup_object(mainwindow, first, first_name);
        hookup_object(mainwindow, second, second_name);
    }
    g_signal_connect(first, "activate", first_handler, nullptr);
    g_signal_connect(second, "activate", second_handler, nullptr);
    gtk_widget_show_all(menu);
    return menu;
}

GtkWidget *create_menu_convert()
{
    return radio_menu("menu_convert", "menuitem_convert_to_tap_v_0", N_("Convert to TAP v 0"),
                      G_CALLBACK(on_menuitem_convert_to_tap_v_0_activate),
                      "menuitem_convert_to_tap_v_1", N_("Convert to TAP v 1"),
                      G_CALLBACK(on_menuitem_convert_to_tap_v_1_activate));
}

GtkWidget *create_menu_record()
{
    return radio_menu("menu_record", "menuitem_record_as_sun_au", N_("Record as Sun AU"),
                      G_CALLBACK(on_menuitem_record_as_sun_au_activate),
                      "menuitem_record_as_microsoft_wav", N_("Record as Microsoft WAV"),
                      G_CALLBACK(on_menuitem_record_as_microsoft_wav_activate));
}
