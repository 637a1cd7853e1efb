// The Scanners page: the list of known scanners, the frequency threshold
// slider beside it and the selection controls below.
#include "gui/ui/pages.h"
#include "gui/ui/uibuild.h"

#include <glib/gi18n-lib.h>

namespace {

// The threshold slider, 10 ("most frequent only") at the top down to 0
// ("all scanners") at the bottom, with its caption written upwards.
GtkWidget *create_threshold(GtkWidget *top)
{
    GtkWidget *vbox = ui::named(top, "vbox_scanners_threshold", gtk_vbox_new(FALSE, 2));

    GtkWidget *most = ui::label(top, nullptr, "(most frequent only)");
    ui::pack(vbox, most, false, false, 0);

    GtkWidget *hbox = ui::named(top, nullptr, gtk_hbox_new(FALSE, 0));
    GtkWidget *caption = ui::label(top, "label_frequency_threshold", "Frequency threshold");
    gtk_label_set_angle(GTK_LABEL(caption), 90);
    ui::pack(hbox, caption, false, false, 0);

    GtkObject *adjustment = gtk_adjustment_new(0, 0, 10, 1, 2, 0);
    GtkWidget *scale = ui::named(top, "vscale_frequency_threshold",
                                 gtk_vscale_new(GTK_ADJUSTMENT(adjustment)));
    gtk_scale_set_digits(GTK_SCALE(scale), 0);
    gtk_scale_set_draw_value(GTK_SCALE(scale), TRUE);
    gtk_scale_set_value_pos(GTK_SCALE(scale), GTK_POS_BOTTOM);
    gtk_range_set_inverted(GTK_RANGE(scale), TRUE);
    ui::pack(hbox, scale, false, false, 0);
    // Caption and slider stay together in the middle of the column.
    GtkWidget *centre = ui::named(top, nullptr, gtk_alignment_new(0.5f, 0.5f, 0.0f, 1.0f));
    gtk_container_add(GTK_CONTAINER(centre), hbox);
    ui::pack(vbox, centre, true, true, 0);

    GtkWidget *all = ui::label(top, nullptr, "(all scanners)");
    ui::pack(vbox, all, false, false, 0);
    return vbox;
}

// A check button whose label has a stock picture beside it.
GtkWidget *create_exclude_all(GtkWidget *top)
{
    GtkWidget *check = gtk_check_button_new();
    ui::tooltip(check, "If this option is enabled the above settings are ignored and only the "
                       "CBM ROM scanner is used");

    GtkWidget *hbox = ui::named(top, nullptr, gtk_hbox_new(FALSE, 4));
    ui::pack(hbox, ui::stock_image(top, "image_excludeall", "gtk-delete", GTK_ICON_SIZE_BUTTON));
    GtkWidget *label =
        ui::mnemonic_label(top, nullptr, "_Exclude all scanners but CBM ROM (doc64)");
    gtk_label_set_mnemonic_widget(GTK_LABEL(label), check);
    ui::pack(hbox, label);
    gtk_container_add(GTK_CONTAINER(check), hbox);
    return ui::named(top, "checkbutton_excludeall", check);
}

} // namespace

GtkWidget *create_page_scanners(GtkWidget *top)
{
    GtkWidget *page = ui::named(top, "vbox_scanners", gtk_vbox_new(FALSE, 4));
    gtk_container_set_border_width(GTK_CONTAINER(page), 4);

    GtkWidget *upper = ui::named(top, nullptr, gtk_hbox_new(FALSE, 6));
    GtkWidget *list = ui::tree_view(top, "treeview_scanners",
                                    "Right click to interact with this list");
    gtk_tree_view_set_rules_hint(GTK_TREE_VIEW(list), TRUE);
    ui::pack(upper, ui::scrolled(top, "scrolledwindow_scanners", list), true, true, 0);
    ui::pack(upper, create_threshold(top), false, false, 0);
    ui::pack(page, upper, true, true, 0);

    GtkWidget *lower = ui::named(top, "hbox_scanners_buttons", gtk_hbox_new(FALSE, 6));
    ui::pack(lower, ui::button(top, "button_scanners_select_all", "Select _All", "gtk-apply",
                               N_("Enable all scanners")));
    ui::pack(lower, ui::button(top, "button_scanners_select_none", "Select _None", "gtk-cancel",
                               N_("If just a tiny subset of scanners needs to be enabled, start "
                               "with disabling them all and then just select the ones "
                               "required")));
    ui::pack(lower, ui::named(top, nullptr, gtk_vseparator_new()), false, false, 2);
    ui::pack(lower, create_exclude_all(top));
    ui::pack(page, lower, false, true, 0);
    return page;
}
