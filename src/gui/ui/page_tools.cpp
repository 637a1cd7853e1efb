// The Tools page: a notebook of the tools that work on the last tested tape
// (tape editor, tape split, CBM file repair) and the graphical tape analysis,
// page 3, the page that the other tools switch to by number.
#include "gui/ui/pages.h"
#include "gui/ui/uibuild.h"

#include <glib/gi18n-lib.h>

namespace {

const char *const list_tooltip = N_("Right click to interact with this list");

// A tool page's outer box.
GtkWidget *page_box(GtkWidget *top, const char *name)
{
    GtkWidget *vbox = ui::named(top, name, gtk_vbox_new(FALSE, 4));
    gtk_container_set_border_width(GTK_CONTAINER(vbox), 4);
    return vbox;
}

GtkWidget *list_view(GtkWidget *top, const char *name)
{
    GtkWidget *view = ui::tree_view(top, name, list_tooltip);
    gtk_tree_view_set_rules_hint(GTK_TREE_VIEW(view), TRUE);
    return view;
}

// A button that shows only a stock picture; the tooltip names its action.
GtkWidget *icon_button(GtkWidget *top, const char *name, const char *stock_id,
                       const char *tooltip_msgid)
{
    GtkWidget *button = gtk_button_new();
    gtk_container_add(GTK_CONTAINER(button),
                      ui::stock_image(top, nullptr, stock_id, GTK_ICON_SIZE_BUTTON));
    ui::tooltip(button, tooltip_msgid);
    return ui::named(top, name, button);
}

// A label aligned to the left (or right) of its table cell.
GtkWidget *cell_label(GtkWidget *top, const char *name, const char *msgid, float xalign)
{
    GtkWidget *label = ui::label(top, name, msgid);
    gtk_misc_set_alignment(GTK_MISC(label), xalign, 0.5f);
    return label;
}

GtkWidget *create_tape_editor(GtkWidget *top)
{
    GtkWidget *vbox = page_box(top, "vbox_tape_editor");
    GtkWidget *list = list_view(top, "treeview_tape_editor");
    ui::pack(vbox, ui::scrolled(top, "scrolledwindow_tape_editor", list), true, true, 0);

    GtkWidget *buttons = ui::named(top, "hbox_tape_editor_buttons", gtk_hbox_new(FALSE, 6));
    ui::pack(buttons, ui::button(top, "button_tape_editor_exclude_unrecognized",
                                 "Exclude _Unrecognized", "gtk-remove",
                                 N_("Exclude unrecognized files")));
    ui::pack(buttons, ui::button(top, "button_tape_editor_include_all_files", "Include _All Files",
                                 "gtk-add", N_("Include back all files")));
    gtk_box_pack_end(GTK_BOX(buttons),
                     ui::button(top, "button_tape_editor_save_tape_as", "_Save Tape", "gtk-save",
                                N_("Save resulting tape to disk")),
                     FALSE, FALSE, 0);
    ui::pack(vbox, buttons, false, true, 0);
    return vbox;
}

GtkWidget *create_tape_split(GtkWidget *top)
{
    GtkWidget *vbox = page_box(top, "vbox_tape_split");
    GtkWidget *list = list_view(top, "treeview_file_split");
    ui::pack(vbox, ui::scrolled(top, "scrolledwindow_file_split", list), true, true, 0);

    GtkWidget *buttons = ui::named(top, "hbox_tape_split_buttons", gtk_hbox_new(FALSE, 6));
    ui::pack(buttons, ui::button(top, "button_tape_split_analyze", "_Analyze", "gtk-find",
                                 N_("Mark the split points automatically")));
    ui::pack(buttons, ui::button(top, "button_tape_split_clear_all", "_Clear All", "gtk-clear",
                                 N_("Clear all the split points")));
    ui::pack(buttons, ui::button(top, "button_tape_split_save_idx", "Save _IDX File", "gtk-index",
                                 N_("Write a line per program start as NAME.idx beside the tape, for tape "
                                    "players and emulators")));
    gtk_box_pack_end(GTK_BOX(buttons),
                     ui::button(top, "button_tape_split_split", "_Split", "gtk-cut",
                                N_("Split the tape at the marked points")),
                     FALSE, FALSE, 0);
    ui::pack(vbox, buttons, false, true, 0);
    return vbox;
}

// CBM file repair, top row: analysis, region navigation, the region's size,
// whether it is to be fixed, and the fix itself.
GtkWidget *create_cbm_repair_navigation(GtkWidget *top)
{
    GtkWidget *row = ui::named(top, "hbox_cbm_file_repair_navigation", gtk_hbox_new(FALSE, 6));
    ui::pack(row, ui::button(top, "button_cbm_file_repair_analyze", "A_nalyze", "gtk-find",
                             N_("Look for faulty CBM files that can be fixed from their twin copy")));
    ui::pack(row, ui::named(top, nullptr, gtk_vseparator_new()));

    ui::pack(row, icon_button(top, "button_cbm_file_repair_previous_region", "gtk-go-back",
                              N_("Show the previous region")));
    ui::pack(row, ui::label(top, nullptr, "Region"));
    ui::pack(row, ui::label(top, "label_cbm_file_repair_faulty_current", "-"));
    ui::pack(row, ui::label(top, nullptr, "of"));
    ui::pack(row, ui::label(top, "label_cbm_file_repair_faulty_total", "-"));
    ui::pack(row, icon_button(top, "button_cbm_file_repair_next_region", "gtk-go-forward",
                              N_("Show the next region")));
    ui::pack(row, ui::named(top, nullptr, gtk_vseparator_new()));

    GtkWidget *size_caption = ui::label(top, nullptr, "Size:");
    ui::tooltip(size_caption, "Data pulses of the region's included rows");
    ui::pack(row, size_caption);
    GtkWidget *size = ui::label(top, "label_cbm_file_repair_faulty_size_current", "-");
    ui::tooltip(size, "Data pulses of the region's included rows");
    ui::pack(row, size);
    ui::pack(row, ui::named(top, nullptr, gtk_vseparator_new()));

    ui::pack(row, ui::check_button(top, "checkbutton_cbm_file_repair_fix_region",
                                   "Fix this _region", N_("Include this region in the repair")));

    gtk_box_pack_end(GTK_BOX(row),
                     ui::button(top, "button_cbm_file_repair_fix_all", "_Fix All", "gtk-execute",
                                N_("Write a repaired copy of the tape with the selected regions "
                                "fixed")),
                     FALSE, FALSE, 0);
    return row;
}

// CBM file repair: the healthy twin of the region shown.
GtkWidget *create_cbm_repair_healthy(GtkWidget *top)
{
    struct Row {
        const char *caption;
        const char *name;
    };
    static const Row rows[] = {
        {N_("Index:"), "label_cbm_file_repair_healthy_index"},
        {N_("Pulses:"), "label_cbm_file_repair_healthy_pulses"},
        {N_("Data pulses:"), "label_cbm_file_repair_healthy_data_pulses"},
        {N_("File ID:"), "label_cbm_file_repair_healthy_id"},
        {N_("Type:"), "label_cbm_file_repair_healthy_type"},
    };
    const guint count = G_N_ELEMENTS(rows);

    GtkWidget *frame = ui::named(top, "frame_cbm_file_repair_healthy",
                                 gtk_frame_new(_("Healthy copy")));
    GtkWidget *table = ui::named(top, nullptr, gtk_table_new(count, 2, FALSE));
    gtk_container_set_border_width(GTK_CONTAINER(table), 4);
    gtk_table_set_row_spacings(GTK_TABLE(table), 2);
    gtk_table_set_col_spacings(GTK_TABLE(table), 6);
    for (guint i = 0; i < count; ++i) {
        gtk_table_attach(GTK_TABLE(table), cell_label(top, nullptr, rows[i].caption, 1.0f), 0, 1,
                         i, i + 1, GTK_FILL, GTK_FILL, 0, 0);
        GtkWidget *value = cell_label(top, rows[i].name, "-", 0.0f);
        gtk_label_set_width_chars(GTK_LABEL(value), 20);
        gtk_label_set_ellipsize(GTK_LABEL(value), PANGO_ELLIPSIZE_END);
        gtk_table_attach(GTK_TABLE(table), value, 1, 2, i, i + 1,
                         static_cast<GtkAttachOptions>(GTK_EXPAND | GTK_FILL), GTK_FILL, 0, 0);
    }
    gtk_container_add(GTK_CONTAINER(frame), table);
    return frame;
}

// CBM file repair: the rows of the region shown, folded away by default.
GtkWidget *create_cbm_repair_breakdown(GtkWidget *top)
{
    GtkWidget *expander = gtk_expander_new(nullptr);
    GtkWidget *caption = ui::label(top, nullptr,
                                   "Region breakdown (autopopulated - only review if you know "
                                   "what you're doing)");
    gtk_label_set_line_wrap(GTK_LABEL(caption), TRUE);
    gtk_widget_set_size_request(caption, 300, -1);
    gtk_expander_set_label_widget(GTK_EXPANDER(expander), caption);

    GtkWidget *hbox = ui::named(top, nullptr, gtk_hbox_new(FALSE, 6));
    gtk_container_set_border_width(GTK_CONTAINER(hbox), 2);
    GtkWidget *scroll = ui::scrolled(top, "scrolledwindow_cbm_file_repair_faulty_files",
                                     list_view(top, "treeview_cbm_file_repair_faulty_files"));
    gtk_widget_set_size_request(scroll, -1, 56);
    ui::pack(hbox, scroll, true, true, 0);
    GtkWidget *side = ui::named(top, nullptr, gtk_vbox_new(FALSE, 0));
    ui::pack(side, ui::button(top, "button_cbm_file_repair_select_all", "Select _All",
                              "gtk-select-all", N_("Include every row of this region")));
    ui::pack(hbox, side);
    gtk_container_add(GTK_CONTAINER(expander), hbox);
    return ui::named(top, "expander_cbm_file_repair_region_breakdown", expander);
}

// CBM file repair: the repair method (only overwriting is offered).
GtkWidget *create_cbm_repair_method(GtkWidget *top)
{
    GtkWidget *methods = ui::named(top, "vbox_cbm_file_repair_method", gtk_vbox_new(FALSE, 0));
    GtkWidget *overwrite = ui::named(
        top, "radiobutton_cbm_file_repair_radio_overwrite",
        gtk_radio_button_new_with_mnemonic(nullptr,
                                           _("Use healthy file to _overwrite faulty file chain")));
    ui::pack(methods, overwrite);
    GtkWidget *reconstruct = ui::named(
        top, "radiobutton_cbm_file_repair_radio_reconstruct",
        gtk_radio_button_new_with_mnemonic_from_widget(
            GTK_RADIO_BUTTON(overwrite),
            _("Attempt a re_construction of the damaged area(s) only")));
    gtk_widget_set_sensitive(reconstruct, FALSE);
    ui::pack(methods, reconstruct);
    return methods;
}

// CBM file repair: the analysis results and the unfoldable region breakdown
// beside the healthy twin, the repair method below.
GtkWidget *create_cbm_file_repair(GtkWidget *top)
{
    GtkWidget *vbox = page_box(top, "vbox_cbm_file_repair");
    ui::pack(vbox, create_cbm_repair_navigation(top), false, true, 0);

    GtkWidget *middle = ui::named(top, "hbox_cbm_file_repair", gtk_hbox_new(FALSE, 6));
    GtkWidget *left = ui::named(top, nullptr, gtk_vbox_new(FALSE, 4));
    GtkWidget *text = ui::text_view(top, "textview_cbm_file_repair", true);
    gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(text), GTK_WRAP_WORD);
    // A low minimum height leaves room for the unfolded breakdown.
    GtkWidget *text_scroll = ui::scrolled(top, "scrolledwindow_cbm_file_repair", text);
    gtk_widget_set_size_request(text_scroll, -1, 32);
    ui::pack(left, text_scroll, true, true, 0);
    ui::pack(left, create_cbm_repair_breakdown(top), false, true, 0);
    ui::pack(middle, left, true, true, 0);

    GtkWidget *right = ui::named(top, nullptr, gtk_vbox_new(FALSE, 0));
    ui::pack(right, create_cbm_repair_healthy(top), false, true, 0);
    ui::pack(middle, right, false, true, 0);
    ui::pack(vbox, middle, true, true, 0);

    ui::pack(vbox, create_cbm_repair_method(top), false, true, 0);
    return vbox;
}

// Tape analysis: the pulse drawing with its two scroll bars (only the one of
// the layout in force is shown), then the controls.
GtkWidget *create_tape_analysis(GtkWidget *top)
{
    GtkWidget *vbox = page_box(top, "vbox_tape_analysis");

    GtkWidget *table = ui::named(top, "table_tape_analysis", gtk_table_new(2, 2, FALSE));
    GtkWidget *area = ui::named(top, "drawingarea_tape_analysis", gtk_drawing_area_new());
    gtk_widget_set_size_request(area, 128, 64);
    gtk_widget_add_events(area, GDK_BUTTON_PRESS_MASK);
    gtk_table_attach(GTK_TABLE(table), area, 0, 1, 0, 1,
                     static_cast<GtkAttachOptions>(GTK_EXPAND | GTK_FILL),
                     static_cast<GtkAttachOptions>(GTK_EXPAND | GTK_FILL), 0, 0);

    GtkWidget *vscroll = ui::named(top, "vscrollbar_tape_analysis", gtk_vscrollbar_new(nullptr));
    gtk_table_attach(GTK_TABLE(table), vscroll, 1, 2, 0, 1, GTK_FILL,
                     static_cast<GtkAttachOptions>(GTK_EXPAND | GTK_FILL), 0, 0);

    GtkWidget *hscroll = ui::named(top, "hscrollbar_tape_analysis", gtk_hscrollbar_new(nullptr));
    gtk_widget_hide(hscroll);
    gtk_widget_set_no_show_all(hscroll, TRUE);
    gtk_table_attach(GTK_TABLE(table), hscroll, 0, 1, 1, 2,
                     static_cast<GtkAttachOptions>(GTK_EXPAND | GTK_FILL), GTK_FILL, 0, 0);
    ui::pack(vbox, table, true, true, 0);

    GtkWidget *controls = ui::named(top, "hbox_tape_analysis_controls", gtk_hbox_new(FALSE, 6));
    ui::pack(controls, ui::button(top, "button_tape_analysis_parse", "_Parse", "gtk-execute",
                                  N_("Parse the attached tape and draw its pulses")));
    ui::pack(controls, ui::named(top, nullptr, gtk_vseparator_new()));
    ui::pack(controls, ui::label(top, nullptr, "Layout:"));
    GtkWidget *vertical =
        ui::named(top, "radiobutton_layout_vertical",
                  gtk_radio_button_new_with_mnemonic(nullptr, _("_Vertical")));
    ui::tooltip(vertical, "One pixel row per line of tape time, pulse length to the right");
    ui::pack(controls, vertical);
    GtkWidget *horizontal = ui::named(
        top, "radiobutton_layout_horizontal",
        gtk_radio_button_new_with_mnemonic_from_widget(GTK_RADIO_BUTTON(vertical),
                                                       _("_Horizontal")));
    ui::tooltip(horizontal, "One pixel column per line of tape time, pulse length upwards");
    ui::pack(controls, horizontal);
    ui::pack(vbox, controls, false, true, 0);
    return vbox;
}

// The Pulse Statistics page: histogram above, file speeds below, controls.
GtkWidget *create_pulse_statistics(GtkWidget *top)
{
    GtkWidget *vbox = ui::named(top, "vbox_pulse_statistics", gtk_vbox_new(FALSE, 4));
    gtk_container_set_border_width(GTK_CONTAINER(vbox), 4);
    GtkWidget *area = ui::named(top, "drawingarea_pulse_histogram", gtk_drawing_area_new());
    gtk_widget_set_size_request(area, 256, 120);
    ui::tooltip(area, "How many pulses have each length (TAP units); red: the ideal lengths of the recognised files");
    ui::pack(vbox, area, true, true, 0);
    GtkWidget *list = ui::tree_view(top, "treeview_pulse_speeds",
                                    "How fast each recognised file plays: its leader against the ideal pulses");
    GtkWidget *scroll = ui::scrolled(top, "scrolledwindow_pulse_speeds", list);
    gtk_widget_set_size_request(scroll, -1, 110);
    ui::pack(vbox, scroll, false, true, 0);

    GtkWidget *controls = ui::named(top, "hbox_pulse_statistics_controls", gtk_hbox_new(FALSE, 6));
    ui::pack(controls, ui::button(top, "button_pulse_statistics_compute", "C_ompute", "gtk-execute",
                                  N_("Read the attached tape and count its pulses")));
    ui::pack(controls, ui::named(top, nullptr, gtk_vseparator_new()));
    ui::pack(controls, ui::check_button(top, "checkbutton_histogram_log", "_Logarithmic counts",
                                        N_("Show the counts on a logarithmic scale, so rare lengths show too")));
    ui::pack(controls, ui::check_button(top, "checkbutton_histogram_selected_entry", "Selected _entry only",
                                        N_("Count only the entry selected on the Interactive report page")));
    gtk_box_pack_end(GTK_BOX(controls),
                     ui::button(top, "button_pulse_histogram_snapshot", "Sna_pshot...", "gtk-save-as",
                                N_("Save the histogram as a PNG picture")),
                     FALSE, FALSE, 0);
    ui::pack(vbox, controls, false, true, 0);
    return vbox;
}

} // namespace

GtkWidget *create_page_tools(GtkWidget *top)
{
    GtkWidget *notebook = ui::named(top, "notebook_tools", gtk_notebook_new());
    gtk_container_set_border_width(GTK_CONTAINER(notebook), 4);
    gtk_notebook_set_scrollable(GTK_NOTEBOOK(notebook), TRUE);

    GtkNotebook *nb = GTK_NOTEBOOK(notebook);
    gtk_notebook_append_page(nb, create_tape_editor(top),
                             ui::tab(top, "hbox_notebook_label_tab_tape_editor", "gtk-edit",
                                     "Tape Editor"));
    gtk_notebook_append_page(nb, create_tape_split(top),
                             ui::tab(top, "hbox_notebook_label_tab_tape_split", "gtk-cut",
                                     "Tape Split"));
    gtk_notebook_append_page(nb, create_cbm_file_repair(top),
                             ui::tab(top, "hbox_notebook_label_tab_cbm_file_repair",
                                     "gtk-undelete", "CBM File Repair"));
    gtk_notebook_append_page(nb, create_tape_analysis(top),
                             ui::tab(top, "hbox_notebook_label_tab_tape_analysis", "gtk-zoom-in",
                                     "Tape Analysis"));
    gtk_notebook_append_page(nb, create_pulse_statistics(top),
                             ui::tab(top, "hbox_notebook_label_tab_pulse_statistics", "gtk-sort-ascending",
                                     "Pulse Statistics"));
    return notebook;
}
