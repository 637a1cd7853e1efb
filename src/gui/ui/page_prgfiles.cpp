// The Prg Files page: the list of extracted PRG files on the left and, in a
// notebook on the right, its three viewers (hex, disassembly, BASIC).
#include "gui/ui/pages.h"
#include "gui/ui/uibuild.h"

#include <glib/gi18n-lib.h>

namespace {

// The names and texts of one viewer page.
struct Viewer {
    const char *tab_box;
    const char *tab_stock;
    const char *tab_label;
    const char *vbox;
    const char *entry;
    const char *entry_tooltip;
    const char *textview;
    const char *scrolled;
};

struct Option {
    const char *name;
    const char *label;
    const char *tooltip;
};

// Left pane: the list, the progress bar (shown only while a viewer works)
// and a note under the list.
GtkWidget *create_list_pane(GtkWidget *top)
{
    GtkWidget *vbox = ui::named(top, "vbox_prgfiles_contents", gtk_vbox_new(FALSE, 4));

    GtkWidget *list = ui::tree_view(top, "treeview_prgfiles",
                                    "Right click to interact with this list");
    GtkWidget *scroll = ui::scrolled(top, "scrolledwindow_prgfiles", list);
    gtk_widget_set_size_request(scroll, 180, -1);
    ui::pack(vbox, scroll, true, true, 0);

    GtkWidget *progress =
        ui::named(top, "progressbar_prg_files_processing", gtk_progress_bar_new());
    ui::tooltip(progress, "Indicates a progress of the file processing");
    gtk_widget_hide(progress);
    gtk_widget_set_no_show_all(progress, TRUE);
    ui::pack(vbox, progress, false, true, 0);

    GtkWidget *note = ui::label(top, "label_prg_list_bottom_note",
                                "The above list is populated after a Test/Clean ");
    gtk_label_set_line_wrap(GTK_LABEL(note), TRUE);
    gtk_label_set_justify(GTK_LABEL(note), GTK_JUSTIFY_CENTER);
    gtk_widget_set_size_request(note, 180, -1);
    ui::pack(vbox, note, false, true, 0);
    ui::pack(vbox, ui::button(top, "button_prgfiles_save_d64", "Save all as _D64 image...", "gtk-floppy",
                              N_("Put every PRG file of the list on a D64 disk image, in tape order under "
                                 "their names on the tape")),
             false, true, 0);
    return vbox;
}

// One viewer: "Filename:" and the shown file's name, the options, the text.
GtkWidget *create_viewer(GtkWidget *top, const Viewer &viewer, const Option *options,
                         int option_count)
{
    GtkWidget *vbox = ui::named(top, viewer.vbox, gtk_vbox_new(FALSE, 4));
    gtk_container_set_border_width(GTK_CONTAINER(vbox), 4);

    GtkWidget *name_row = ui::named(top, nullptr, gtk_hbox_new(FALSE, 6));
    ui::pack(name_row, ui::label(top, nullptr, "Filename:"));
    GtkWidget *entry = gtk_entry_new();
    gtk_editable_set_editable(GTK_EDITABLE(entry), FALSE);
    gtk_entry_set_text(GTK_ENTRY(entry), _("none yet"));
    ui::tooltip(entry, viewer.entry_tooltip);
    ui::pack(name_row, ui::named(top, viewer.entry, entry), true, true, 0);
    ui::pack(vbox, name_row, false, true, 0);

    for (int i = 0; i < option_count; ++i)
        ui::pack(vbox, ui::check_button(top, options[i].name, options[i].label,
                                        options[i].tooltip),
                 false, false, 0);

    GtkWidget *text = ui::text_view(top, viewer.textview, true);
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(text)),
                             _("Nothing yet to show here..."), -1);
    ui::pack(vbox, ui::scrolled(top, viewer.scrolled, text), true, true, 0);
    return vbox;
}

} // namespace

GtkWidget *create_page_prg_files(GtkWidget *top)
{
    static const Viewer hex = {
        "hbox_notebook_label_tab_prg_hex", "gtk-file", N_("Hex View"),
        "vbox_prgfiles_hex", "textentry_prg_hexview_filename",
        N_("Name of the file currently displayed as hex"), "textview_prgfiles_hex",
        "scrolledwindow_prgfiles_hex"};
    static const Viewer dasm = {
        "hbox_notebook_label_tab_prg_dasm", "gtk-execute", N_("DASM"),
        "vbox_prgfiles_dasm", "textentry_prg_dasm_filename",
        N_("Name of the file currently disassembled"), "textview_prgfiles_dasm",
        "scrolledwindow_prgfiles_dasm"};
    static const Viewer basic = {
        "hbox_notebook_label_tab_prg_basic", "gtk-justify-left", N_("BASIC"),
        "vbox_prgfiles_basic", "textentry_prg_basic_filename",
        N_("Name of the file currently listed"), "textview_prgfiles_basic",
        "scrolledwindow_prgfiles_basic"};

    static const Option hex_options[] = {
        {"checkbutton_prg_hex_convert", N_("_Convert screen codes (changes apply on reload)"),
         N_("If this option is enabled the CBM screen codes become printable ASCII (changes "
            "apply on reload)")}};
    static const Option dasm_options[] = {
        {"checkbutton_prg_dasm_exclude", N_("E_xclude CBM file header (changes apply on reload)"),
         N_("If this option is enabled the CBM file header within the Cassette I/O Buffer "
            "area is not disassembled (changes apply on reload)")},
        {"checkbutton_prg_dasm_comment", N_("_Auto comment asm code (changes apply on reload)"),
         N_("If this option is enabled the asm source code is commented automatically "
            "(changes apply on reload)")}};

    GtkWidget *paned = ui::named(top, "hpaned_prg_files", gtk_hpaned_new());
    gtk_container_set_border_width(GTK_CONTAINER(paned), 4);
    gtk_paned_pack1(GTK_PANED(paned), create_list_pane(top), FALSE, FALSE);

    GtkWidget *views = ui::named(top, "notebook_prg_views", gtk_notebook_new());
    const Viewer *viewers[] = {&hex, &dasm, &basic};
    const Option *options[] = {hex_options, dasm_options, nullptr};
    const int option_counts[] = {1, 2, 0};
    for (int i = 0; i < 3; ++i)
        gtk_notebook_append_page(
            GTK_NOTEBOOK(views), create_viewer(top, *viewers[i], options[i], option_counts[i]),
            ui::tab(top, viewers[i]->tab_box, viewers[i]->tab_stock, viewers[i]->tab_label));
    gtk_paned_pack2(GTK_PANED(paned), views, TRUE, FALSE);
    return paned;
}
