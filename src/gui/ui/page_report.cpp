// The Report page: an inner notebook with the plain report text and the
// interactive view (tape layout bar, recognition and test results, file list
// and file types).
#include "gui/ui/pages.h"
#include "gui/ui/uibuild.h"

#include <glib/gi18n-lib.h>

namespace {

// "Plain": the report text, read-only; Tab moves the focus on.
GtkWidget *create_plain_tab(GtkWidget *top)
{
    GtkWidget *view = ui::text_view(top, "textview_report", true);
    gtk_text_view_set_accepts_tab(GTK_TEXT_VIEW(view), FALSE);
    ui::tooltip(view, "This is the report area for Quillmar");

    GtkWidget *scroll = ui::scrolled(top, "scrolledwindow_report", view);
    gtk_container_set_border_width(GTK_CONTAINER(scroll), 4);
    return scroll;
}

// A caption followed by a test result picture ("gtk-no" until a report says
// otherwise).
void pack_test_result(GtkWidget *top, GtkWidget *box, const char *caption,
                      const char *image_name)
{
    ui::pack(box, ui::label(top, nullptr, caption), false, false, 0);
    ui::pack(box, ui::stock_image(top, image_name, "gtk-no", GTK_ICON_SIZE_BUTTON), false, false,
             0);
}

// "Interactive": layout bar on top, results row, then the two lists.
GtkWidget *create_interactive_tab(GtkWidget *top)
{
    GtkWidget *vbox = ui::named(top, "vbox_report_interactive", gtk_vbox_new(FALSE, 4));
    gtk_container_set_border_width(GTK_CONTAINER(vbox), 4);

    // Tape layout bar: one coloured slice per file of the tape.
    GtkWidget *frame = ui::named(top, nullptr, gtk_frame_new(nullptr));
    gtk_frame_set_shadow_type(GTK_FRAME(frame), GTK_SHADOW_IN);
    GtkWidget *bar = ui::named(top, "drawingarea_tape_contents", gtk_drawing_area_new());
    gtk_widget_set_size_request(bar, -1, 24);
    gtk_widget_add_events(bar, GDK_BUTTON_PRESS_MASK);
    gtk_container_add(GTK_CONTAINER(frame), bar);
    ui::pack(vbox, frame, false, true, 0);

    // Recognition share and the two test results, the export button last.
    GtkWidget *results = ui::named(top, "hbox_report_results", gtk_hbox_new(FALSE, 6));
    ui::pack(results, ui::label(top, nullptr, "Recognition:"), false, false, 0);
    GtkWidget *recognition = ui::named(top, "progressbar_recognition", gtk_progress_bar_new());
    gtk_widget_set_size_request(recognition, 80, -1);
    ui::pack(results, recognition, true, true, 0);
    ui::pack(results, ui::named(top, nullptr, gtk_vseparator_new()), false, false, 2);
    pack_test_result(top, results, N_("Read test:"), "image_read_test");
    ui::pack(results, ui::named(top, nullptr, gtk_vseparator_new()), false, false, 2);
    pack_test_result(top, results, N_("Checkbyte test:"), "image_checkbyte_test");
    GtkWidget *save = ui::button(top, "button_report_save_summary", "S_ave summary",
                                 "gtk-save-as", N_("Export summary to HTML file"));
    gtk_box_pack_end(GTK_BOX(results), save, FALSE, FALSE, 0);
    ui::pack(vbox, results, false, true, 0);

    // The file list and the table of file types, one tab each.
    GtkWidget *lists = ui::named(top, "notebook_report_lists", gtk_notebook_new());
    gtk_notebook_set_tab_pos(GTK_NOTEBOOK(lists), GTK_POS_BOTTOM);

    GtkWidget *files = ui::tree_view(top, "treeview_file_list",
                                     "Right click to interact with this list");
    gtk_tree_view_set_rules_hint(GTK_TREE_VIEW(files), TRUE);
    GtkWidget *files_scroll = ui::scrolled(top, "scrolledwindow_file_list", files);
    gtk_notebook_append_page(GTK_NOTEBOOK(lists), files_scroll,
                             ui::tab(top, nullptr, "gtk-index", "Files"));

    GtkWidget *types = ui::tree_view(top, "treeview_file_types", nullptr);
    gtk_tree_view_set_rules_hint(GTK_TREE_VIEW(types), TRUE);
    GtkWidget *types_scroll = ui::scrolled(top, "scrolledwindow_file_types", types);
    gtk_notebook_append_page(GTK_NOTEBOOK(lists), types_scroll,
                             ui::tab(top, nullptr, "gtk-dnd-multiple", "File types"));

    ui::pack(vbox, lists, true, true, 0);
    return vbox;
}

} // namespace

GtkWidget *create_page_report(GtkWidget *top)
{
    GtkWidget *notebook = ui::named(top, "notebook_report", gtk_notebook_new());
    gtk_container_set_border_width(GTK_CONTAINER(notebook), 4);

    gtk_notebook_append_page(GTK_NOTEBOOK(notebook), create_plain_tab(top),
                             ui::tab(top, nullptr, "gtk-justify-left", "Plain"));
    gtk_notebook_append_page(GTK_NOTEBOOK(notebook), create_interactive_tab(top),
                             ui::tab(top, nullptr, "gtk-zoom-fit", "Interactive"));
    return notebook;
}
