#include "gui/prgfiles.h"

#include "core/basiclisting.h"
#include "core/dasm.h"
#include "core/hexlisting.h"
#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/d64save.h"
#include "gui/interface.h"
#include "gui/support.h"

#include <glib/gi18n-lib.h>

#include <initializer_list>

namespace {

// The "Select a PRG file" dialog's memory, kept until the program ends.
gchar *path_lastopenprgfolder = nullptr;
int filter_lastopenPRG = 0;

constexpr gsize HEX_TEXT_SIZE = 303104;
constexpr gsize LISTING_TEXT_SIZE = 1048576;

GtkWidget *W(const char *name)
{
    return lookup_widget(mainwindow, name);
}

GtkTreeView *prg_list()
{
    return GTK_TREE_VIEW(W("treeview_prgfiles"));
}

GtkListStore *prg_store()
{
    return GTK_LIST_STORE(gtk_tree_view_get_model(prg_list()));
}

bool option(const char *check_button)
{
    return gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W(check_button))) != FALSE;
}

void report_progress(double fraction, void *)
{
    common_advertise_progress(fraction);
}

void report_load_error(const char *path, const char *message, void *)
{
    gchar *text = g_strdup_printf(_("Could not load data from file '%s':\n\n%s"), path, message);
    // The dialog takes its text as a format: keep a "%" in a path literal.
    gchar **parts = g_strsplit(text, "%", -1);
    gchar *escaped = g_strjoinv("%%", parts);
    common_create_simple_error_dialog(GTK_WINDOW(mainwindow), escaped);
    g_free(escaped);
    g_strfreev(parts);
    g_free(text);
}

const DecodeHooks viewer_hooks = {report_progress, report_load_error, nullptr};

void show_text(const char *view, const char *entry, const gchar *text, const gchar *name)
{
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W(view))), text, -1);
    gtk_entry_set_text(GTK_ENTRY(W(entry)), name);
}

void on_show_as_hex_activate(const gchar *path, const gchar *name)
{
    GString *text = g_string_sized_new(HEX_TEXT_SIZE);
    make_hex_listing(path, option("checkbutton_prg_hex_convert") ? 1 : 0, text, viewer_hooks);
    show_text("textview_prgfiles_hex", "textentry_prg_hexview_filename", text->str, name);
    g_string_free(text, TRUE);
}

void on_show_in_dasm_activate(const gchar *path, const gchar *name)
{
    GString *text = g_string_sized_new(LISTING_TEXT_SIZE);
    disassemble(path, option("checkbutton_prg_dasm_exclude") ? 1 : 0,
                option("checkbutton_prg_dasm_comment") ? 1 : 0, text, viewer_hooks);
    show_text("textview_prgfiles_dasm", "textentry_prg_dasm_filename", text->str, name);
    g_string_free(text, TRUE);
}

void on_show_as_basic_activate(const gchar *path, const gchar *name)
{
    GString *text = g_string_sized_new(LISTING_TEXT_SIZE);
    const int listed = untokenize(path, text, viewer_hooks);
    show_text("textview_prgfiles_basic", "textentry_prg_basic_filename",
              listed == 1 ? text->str : _(BASIC_NOT_VALID_TEXT), name);
    g_string_free(text, TRUE);
}

// Decodes a file into viewer `view` with the progress bar on show and the
// list insensitive, so no second decode can start from it meanwhile.
void decode_into_view(int view, const gchar *path, const gchar *name)
{
    GtkWidget *bar = W("progressbar_prg_files_processing");
    gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(bar), 0.0);
    gtk_progress_bar_set_text(GTK_PROGRESS_BAR(bar), _("Please wait, updating controls..."));
    gtk_widget_show(bar);
    while (gtk_events_pending())
        gtk_main_iteration();
    gtk_progress_bar_set_text(GTK_PROGRESS_BAR(bar), _("Processing..."));
    gtk_widget_set_sensitive(GTK_WIDGET(prg_list()), FALSE);
    switch (view) {
    case PRG_VIEW_HEX: on_show_as_hex_activate(path, name); break;
    case PRG_VIEW_DASM: on_show_in_dasm_activate(path, name); break;
    case PRG_VIEW_BASIC: on_show_as_basic_activate(path, name); break;
    default: break;
    }
    gtk_widget_hide(bar);
    gtk_widget_set_sensitive(GTK_WIDGET(prg_list()), TRUE);
}

// The selected row's base name (owned), or null without a selection.
gchar *selected_name()
{
    GtkTreeModel *model = nullptr;
    GtkTreeIter iter;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(prg_list()), &model, &iter))
        return nullptr;
    gchar *name = nullptr;
    gtk_tree_model_get(model, &iter, 0, &name, -1);
    return name;
}

gchar *extracted_path(const gchar *name)
{
    return g_build_filename(utf8_path_consolelocation ? utf8_path_consolelocation : "", "prg", name, nullptr);
}

GtkWidget *menu_item(GtkWidget *menu, const char *name, const char *label, const char *tooltip, GCallback handler)
{
    GtkWidget *item = gtk_menu_item_new_with_label(label);
    gtk_widget_set_name(item, name);
    gtk_widget_set_tooltip_text(item, tooltip);
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_signal_connect_swapped(item, "activate", handler, nullptr);
    return item;
}

void popup_prg_handlers(guint button, guint32 time)
{
    GtkWidget *menu = gtk_menu_new();
    gtk_widget_set_name(menu, "popupmenu_prg_handlers");
    menu_item(menu, "popupmenuitem_view_as_hex", _("View as Hex"), _("Display the selected file as hex values"),
              G_CALLBACK(prgfiles_view_as_hex));
    menu_item(menu, "popupmenuitem_view_in_dasm", _("View in DASM"), _("Disassemble the selected file"),
              G_CALLBACK(prgfiles_view_in_dasm));
    menu_item(menu, "popupmenuitem_view_as_basic_listing", _("View as BASIC listing"),
              _("Display the selected file as CBM BASIC listing"), G_CALLBACK(prgfiles_view_as_basic_listing));
    menu_item(menu, "popupmenuitem_save_a_copy", _("Save a copy as..."), _("Save a copy of the selected file"),
              G_CALLBACK(prgfiles_save_a_copy));
    gtk_widget_show_all(menu);
    gtk_menu_popup(GTK_MENU(menu), nullptr, nullptr, nullptr, nullptr, button, time);
}

gboolean decode_prg(gpointer view)
{
    const int page = gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_prg_views")));
    gchar *name = selected_name();
    if (name) {
        gchar *path = extracted_path(name);
        decode_into_view(page, path, name);
        g_free(path);
        g_free(name);
    }
    prg_decoding_busy = 0;
    gtk_widget_grab_focus(GTK_WIDGET(view));
    return FALSE;
}

void prepend_load_foreign_item(GtkMenu *menu, GCallback handler)
{
    common_prepend_popup_item(menu, _("Load foreign PRG file..."), GTK_STOCK_OPEN, "menuitem_load_foreign_prg",
                              handler);
}

void on_textview_load_foreign_hex_menuitem_activate(GtkMenuItem *, gpointer)
{
    prgfiles_load_foreign(PRG_VIEW_HEX);
}

void on_textview_load_foreign_dasm_menuitem_activate(GtkMenuItem *, gpointer)
{
    prgfiles_load_foreign(PRG_VIEW_DASM);
}

void on_textview_load_foreign_basic_menuitem_activate(GtkMenuItem *, gpointer)
{
    prgfiles_load_foreign(PRG_VIEW_BASIC);
}

} // namespace

void prgfiles_module_init()
{
    GtkListStore *store = gtk_list_store_new(1, G_TYPE_STRING);
    gtk_tree_sortable_set_sort_column_id(GTK_TREE_SORTABLE(store), 0, GTK_SORT_ASCENDING);

    GtkCellRenderer *renderer = gtk_cell_renderer_text_new();
    g_object_set_data(G_OBJECT(renderer), "column_index", GINT_TO_POINTER(0));
    GtkTreeViewColumn *column =
        gtk_tree_view_column_new_with_attributes(_(" File name "), renderer, "text", 0, nullptr);
    gtk_tree_view_column_set_sort_column_id(column, 0);

    GtkTreeView *view = prg_list();
    gtk_tree_view_append_column(view, column);
    gtk_tree_view_set_model(view, GTK_TREE_MODEL(store));
    // The view holds the only reference.
    g_object_unref(store);

    g_signal_connect(view, "button_press_event", G_CALLBACK(on_treeview_prgfiles_button_press_event), nullptr);
    g_signal_connect(lookup_widget(mainwindow, "button_prgfiles_save_d64"), "clicked",
                     G_CALLBACK(on_button_prgfiles_save_d64_clicked), nullptr);
    g_signal_connect(view, "popup_menu", G_CALLBACK(on_treeview_prgfiles_popup_menu), nullptr);
    g_signal_connect(view, "cursor_changed", G_CALLBACK(on_treeview_prgfiles_cursor_changed), nullptr);
    g_signal_connect(W("textview_prgfiles_hex"), "populate_popup",
                     G_CALLBACK(on_textview_prgfiles_hex_populate_popup), nullptr);
    g_signal_connect(W("textview_prgfiles_dasm"), "populate_popup",
                     G_CALLBACK(on_textview_prgfiles_dasm_populate_popup), nullptr);
    g_signal_connect(W("textview_prgfiles_basic"), "populate_popup",
                     G_CALLBACK(on_textview_prgfiles_basic_populate_popup), nullptr);
}

void prgfiles_update_list(const gchar *folder)
{
    if (!option("checkbutton_doprg"))
        return;
    GtkListStore *store = prg_store();
    gtk_list_store_clear(store);
    gchar *prg_folder = g_build_filename(folder, "prg", nullptr);
    GDir *dir = g_dir_open(prg_folder, 0, nullptr);
    g_free(prg_folder);
    if (!dir)
        return;
    // g_dir_read_name never yields "." or ".."; other hidden names are skipped too.
    while (const gchar *name = g_dir_read_name(dir)) {
        if (name[0] == '.')
            continue;
        GtkTreeIter iter;
        gtk_list_store_insert_with_values(store, &iter, -1, 0, name, -1);
    }
    g_dir_close(dir);
}

// The empty text is set as it is: looking up "" in a message catalogue
// would yield the catalogue's header instead.
void prgfiles_clear_list()
{
    gtk_list_store_clear(prg_store());
    for (const char *view : {"textview_prgfiles_hex", "textview_prgfiles_dasm", "textview_prgfiles_basic"})
        gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W(view))), "", -1);
    for (const char *entry : {"textentry_prg_hexview_filename", "textentry_prg_dasm_filename",
                              "textentry_prg_basic_filename"})
        gtk_entry_set_text(GTK_ENTRY(W(entry)), "");
}

void on_prgfiles_menuitems_activate(int view)
{
    gchar *name = selected_name();
    if (!name)
        return;
    gchar *path = extracted_path(name);
    decode_into_view(view, path, name);
    g_free(path);
    g_free(name);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_prg_views")), view);
}

void prgfiles_view_as_hex()
{
    on_prgfiles_menuitems_activate(PRG_VIEW_HEX);
}

void prgfiles_view_in_dasm()
{
    on_prgfiles_menuitems_activate(PRG_VIEW_DASM);
}

void prgfiles_view_as_basic_listing()
{
    on_prgfiles_menuitems_activate(PRG_VIEW_BASIC);
}

void prgfiles_load_foreign(int view)
{
    GtkWidget *dialog = create_filechooserdialog_open_generic();
    gtk_window_set_title(GTK_WINDOW(dialog), _("Select a PRG file"));
    GtkFileChooser *chooser = GTK_FILE_CHOOSER(dialog);
    GtkFileFilter *prg = gtk_file_filter_new();
    gtk_file_filter_set_name(prg, _("  PRG files (*.PRG) "));
    for (const char *pattern : {"*.PRG", "*.Prg", "*.prg"})
        gtk_file_filter_add_pattern(prg, pattern);
    GtkFileFilter *all = gtk_file_filter_new();
    gtk_file_filter_set_name(all, _("  All files (*.*) "));
    gtk_file_filter_add_pattern(all, "*");
    gtk_file_chooser_add_filter(chooser, prg);
    gtk_file_chooser_add_filter(chooser, all);
    gtk_file_chooser_set_filter(chooser, filter_lastopenPRG == 0 ? prg : all);
    common_set_dialog_start_folder(chooser, path_lastopenprgfolder);

    if (gtk_dialog_run(GTK_DIALOG(dialog)) != GTK_RESPONSE_OK) {
        gtk_widget_destroy(dialog);
        return;
    }
    gchar *path = gtk_file_chooser_get_filename(chooser);
    gchar *folder = gtk_file_chooser_get_current_folder(chooser);
    if (folder) {
        g_free(path_lastopenprgfolder);
        path_lastopenprgfolder = folder;
    }
    filter_lastopenPRG = gtk_file_chooser_get_filter(chooser) == prg ? 0 : 1;
    gtk_widget_destroy(dialog);
    if (!path)
        return;
    gchar *name = g_path_get_basename(path);
    decode_into_view(view, path, name);
    g_free(name);
    g_free(path);
}

void prgfiles_save_a_copy()
{
    gchar *name = selected_name();
    if (!name)
        return;
    gchar *source = extracted_path(name);
    const std::string target = common_choose_save_path(_("Save a copy of a PRG file"), name, utf8_path_lasttestedfolder);
    if (!target.empty()) {
        GFile *from = g_file_new_for_path(source);
        GFile *to = g_file_new_for_path(target.c_str());
        GError *error = nullptr;
        if (!g_file_copy(from, to, G_FILE_COPY_OVERWRITE, nullptr, nullptr, nullptr, &error)) {
            common_append_log_textview(error->message);
            common_append_log_textview("\n");
            g_error_free(error);
        }
        g_object_unref(from);
        g_object_unref(to);
    }
    g_free(source);
    g_free(name);
}

gboolean on_treeview_prgfiles_button_press_event(GtkWidget *view, GdkEventButton *event, gpointer)
{
    if (event->type != GDK_BUTTON_PRESS || event->button != 3)
        return FALSE;
    if (gtk_tree_selection_count_selected_rows(gtk_tree_view_get_selection(GTK_TREE_VIEW(view))) == 1)
        popup_prg_handlers(event->button, event->time);
    return TRUE;
}

gboolean on_treeview_prgfiles_popup_menu(GtkWidget *view, gpointer)
{
    if (gtk_tree_selection_count_selected_rows(gtk_tree_view_get_selection(GTK_TREE_VIEW(view))) == 1)
        popup_prg_handlers(0, gtk_get_current_event_time());
    return TRUE;
}

void on_treeview_prgfiles_cursor_changed(GtkTreeView *view, gpointer)
{
    // Moves within the 250 ms are absorbed: the row selected then is decoded.
    if (prg_decoding_busy)
        return;
    prg_decoding_busy = 1;
    g_timeout_add(250, decode_prg, view);
}

void on_textview_prgfiles_hex_populate_popup(GtkTextView *, GtkMenu *menu, gpointer)
{
    prepend_load_foreign_item(menu, G_CALLBACK(on_textview_load_foreign_hex_menuitem_activate));
}

void on_textview_prgfiles_dasm_populate_popup(GtkTextView *, GtkMenu *menu, gpointer)
{
    prepend_load_foreign_item(menu, G_CALLBACK(on_textview_load_foreign_dasm_menuitem_activate));
}

void on_textview_prgfiles_basic_populate_popup(GtkTextView *, GtkMenu *menu, gpointer)
{
    prepend_load_foreign_item(menu, G_CALLBACK(on_textview_load_foreign_basic_menuitem_activate));
}
