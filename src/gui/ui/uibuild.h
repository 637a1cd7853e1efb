// Small constructors for the window builders. Each one translates its texts
// through the "quillmarfe" domain, shows the widget and registers it on the
// top-level window under its name, so lookup_widget finds it.
#pragma once
#include <gtk/gtk.h>

namespace ui {

// Registers and shows an already made widget; returns it.
GtkWidget *named(GtkWidget *top, const char *name, GtkWidget *widget);

// Tooltip text through the domain (null or "" leaves none).
void tooltip(GtkWidget *widget, const char *msgid);

GtkWidget *label(GtkWidget *top, const char *name, const char *msgid);
GtkWidget *mnemonic_label(GtkWidget *top, const char *name, const char *msgid);
GtkWidget *stock_image(GtkWidget *top, const char *name, const char *stock_id, GtkIconSize size);

// A button with a mnemonic label; with a stock id it shows that picture
// beside the label.
GtkWidget *button(GtkWidget *top, const char *name, const char *label_msgid,
                  const char *stock_id, const char *tooltip_msgid);
GtkWidget *check_button(GtkWidget *top, const char *name, const char *label_msgid,
                        const char *tooltip_msgid);

// A scrolled window holding `child`, scroll bars as needed, etched in.
GtkWidget *scrolled(GtkWidget *top, const char *name, GtkWidget *child);

// A text view with 3-pixel margins; read-only views have no cursor.
GtkWidget *text_view(GtkWidget *top, const char *name, bool read_only);

// A tree view (no columns: its module builds them).
GtkWidget *tree_view(GtkWidget *top, const char *name, const char *tooltip_msgid);

// Notebook tab: a box of a stock image and a label; `box_name` may be null.
GtkWidget *tab(GtkWidget *top, const char *box_name, const char *stock_id,
               const char *label_msgid);

// Packs with the given expand/fill/padding; returns the child.
GtkWidget *pack(GtkWidget *box, GtkWidget *child, bool expand = false, bool fill = false,
                guint padding = 0);

} // namespace ui
