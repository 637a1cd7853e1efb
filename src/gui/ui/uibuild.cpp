#include "gui/ui/uibuild.h"

#include "gui/support.h"

#include <glib/gi18n-lib.h>

namespace ui {

GtkWidget *named(GtkWidget *top, const char *name, GtkWidget *widget)
{
    gtk_widget_show(widget);
    if (name)
        hookup_object(top, widget, name);
    return widget;
}

void tooltip(GtkWidget *widget, const char *msgid)
{
    if (msgid && msgid[0])
        gtk_widget_set_tooltip_text(widget, _(msgid));
}

GtkWidget *label(GtkWidget *top, const char *name, const char *msgid)
{
    return named(top, name, gtk_label_new(_(msgid)));
}

GtkWidget *mnemonic_label(GtkWidget *top, const char *name, const char *msgid)
{
    return named(top, name, gtk_label_new_with_mnemonic(_(msgid)));
}

GtkWidget *stock_image(GtkWidget *top, const char *name, const char *stock_id, GtkIconSize size)
{
    return named(top, name, gtk_image_new_from_stock(stock_id, size));
}

GtkWidget *button(GtkWidget *top, const char *name, const char *label_msgid,
                  const char *stock_id, const char *tooltip_msgid)
{
    GtkWidget *widget = gtk_button_new_with_mnemonic(_(label_msgid));
    if (stock_id)
        gtk_button_set_image(GTK_BUTTON(widget),
                             gtk_image_new_from_stock(stock_id, GTK_ICON_SIZE_BUTTON));
    tooltip(widget, tooltip_msgid);
    return named(top, name, widget);
}

GtkWidget *check_button(GtkWidget *top, const char *name, const char *label_msgid,
                        const char *tooltip_msgid)
{
    GtkWidget *widget = gtk_check_button_new_with_mnemonic(_(label_msgid));
    tooltip(widget, tooltip_msgid);
    return named(top, name, widget);
}

GtkWidget *scrolled(GtkWidget *top, const char *name, GtkWidget *child)
{
    GtkWidget *widget = gtk_scrolled_window_new(nullptr, nullptr);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(widget), GTK_POLICY_AUTOMATIC,
                                   GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_shadow_type(GTK_SCROLLED_WINDOW(widget), GTK_SHADOW_ETCHED_IN);
    gtk_container_add(GTK_CONTAINER(widget), child);
    return named(top, name, widget);
}

GtkWidget *text_view(GtkWidget *top, const char *name, bool read_only)
{
    GtkWidget *widget = gtk_text_view_new();
    gtk_text_view_set_left_margin(GTK_TEXT_VIEW(widget), 3);
    gtk_text_view_set_right_margin(GTK_TEXT_VIEW(widget), 3);
    if (read_only) {
        gtk_text_view_set_editable(GTK_TEXT_VIEW(widget), FALSE);
        gtk_text_view_set_cursor_visible(GTK_TEXT_VIEW(widget), FALSE);
    }
    return named(top, name, widget);
}

GtkWidget *tree_view(GtkWidget *top, const char *name, const char *tooltip_msgid)
{
    GtkWidget *widget = gtk_tree_view_new();
    tooltip(widget, tooltip_msgid);
    return named(top, name, widget);
}

GtkWidget *tab(GtkWidget *top, const char *box_name, const char *stock_id,
               const char *label_msgid)
{
    GtkWidget *box = named(top, box_name, gtk_hbox_new(FALSE, 2));
    pack(box, named(top, nullptr, gtk_image_new_from_stock(stock_id, GTK_ICON_SIZE_MENU)));
    pack(box, label(top, nullptr, label_msgid));
    return box;
}

GtkWidget *pack(GtkWidget *box, GtkWidget *child, bool expand, bool fill, guint padding)
{
    gtk_box_pack_start(GTK_BOX(box), child, expand, fill, padding);
    return child;
}

} // namespace ui
