#include "gui/report_popups.h"

#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/filelist.h"
#include "gui/report_model.h"
#include "gui/support.h"
#include "gui/turbobytes.h"

#include <glib/gi18n-lib.h>

namespace {

void (*select_slice)(gdouble x) = nullptr;

GtkWidget *file_list()
{
    return lookup_widget(mainwindow, "treeview_file_list");
}

} // namespace

GtkWidget *create_popupmenu_report_file()
{
    GtkWidget *menu = file_list_analysis_menu("popupmenu_report_file",
                                              "popupmenu_report_show_in_graphical_tape_analysis_tool",
                                              "treeview_file_list");
    // An unknown turbo's bytes can be saved for study.
    GtkTreeView *view = GTK_TREE_VIEW(file_list());
    if (turbobytes_selected_row_is_unknown_turbo(view))
        turbobytes_append_menu_item(menu, view);
    return menu;
}

// The bar's menu, too, is about the row selected in the file list.
GtkWidget *create_popupmenu_drawing_area_tape_contents()
{
    return file_list_analysis_menu("popupmenu_drawing_area_tape_contents",
                                   "popupmenu_drawing_area_show_in_graphical_tape_analysis_tool", "treeview_file_list");
}

void report_popups_init(void (*select_at)(gdouble x))
{
    select_slice = select_at;
    common_register_file_popup_builder(0, create_popupmenu_report_file);
    common_register_file_popup_builder(1, create_popupmenu_drawing_area_tape_contents);
    file_list_connect_popup(file_list(), 0);
    g_signal_connect(lookup_widget(mainwindow, "drawingarea_tape_contents"), "button_press_event",
                     G_CALLBACK(on_drawingarea_tape_contents_button_press_event), nullptr);
}

gboolean on_drawingarea_tape_contents_button_press_event(GtkWidget *, GdkEventButton *event, gpointer)
{
    if (event->button == 1) {
        if (report_has_been_produced() && select_slice)
            select_slice(event->x);
        return TRUE;
    }
    if (event->button == 3) {
        on_view_file_popup_menu(file_list(), event, 1);
        return TRUE;
    }
    return FALSE;
}
