// Texts the translation check must and must not report. Lines that must be
// reported end with the marker comment; everything else must pass.
#include "not a text, an include"
#define GETTEXT_PACKAGE "quillmarfe"

static const char *const MESSAGES[] = {
    N_("Could not open the tape."),
    "Could not read the tape.", // reported
};

struct Row { const char *key; const char *label; };
static const Row ROWS[] = {
    {"noid", N_("Only scan for the _identified loader")},
    {"debug", "Allow detected files to _overlap"}, // reported
};

void build(GtkWidget *top, GtkWidget *box)
{
    gtk_widget_set_name(box, "vbox_main_window");
    g_object_set_data(G_OBJECT(top), "label_status text", box);
    ui::label(top, "label_location", "Location:");
    ui::button(top, "button_save", "_Save", "gtk-save", N_("Save the tape"));
    ui::button(top, "button_open", "_Open", "gtk-open", "Open a tape"); // reported
    gtk_label_new(_("Ready"));
    gtk_label_new("Ready"); // reported
    gtk_window_set_title(GTK_WINDOW(top), "X"); // reported
    gtk_frame_new(" Options "); // reported
    tool_button(top, "toolbutton_test", "Test", // reported
                N_("Test the attached file"));
    g_warning("could not load the picture %s", "tape icon");
    g_debug("Worker thread started");
    if (g_str_has_prefix(line, "Read test         : "))
        return;
    gchar *text = g_markup_printf_escaped("<span size=\"small\">%s</span>", _("Free software"));
    common_set_statusbar_text(_("Tape attached"));
    common_set_statusbar_text("Tape attached"); // reported
    std::string joined = std::string("Split offsets as IDX entries:\n") + "x"; // reported
    const char *fmt = C_("tape", "Side %d");
    const char *multi = "The split process has completed.\n" // reported
                        "Note the details in the System Log.";
    const char *ids = "gtk-open"; const char *name = "menuitem_file";
    const char *path = "/usr/share/quillmarfe";
}
