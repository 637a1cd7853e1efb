// A GTK module that drives an installed front end the way a user would, so
// the package test can check the installed program itself: loaded with
// GTK_MODULES=/path/libqm_autopilot.so, it waits until the window has a tape
// attached (the Test button becomes sensitive), presses Test, waits until
// the report is on show and the button is back, then writes what the window
// shows to $QM_AUTOPILOT_OUT and quits. A message dialog, or no result
// within four minutes, is written out too and ends the program with an error.
// Every step waits for a state of the window, never for a time: the window
// greys its toolbar when a job starts and gives it back in the same step
// that puts the job's report on show.
#include <gtk/gtk.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

enum class Stage { WaitForTape, WaitForReport };
Stage stage = Stage::WaitForTape;
std::string report_before;
constexpr int POLL_MS = 100;
constexpr gint64 GIVE_UP_US = gint64(240) * G_USEC_PER_SEC;
gint64 started_at = 0;

struct Search {
    const char *name;
    GtkWidget *found;
};

void search_in(GtkWidget *widget, gpointer data)
{
    auto *s = static_cast<Search *>(data);
    if (s->found != nullptr)
        return;
    if (g_strcmp0(gtk_widget_get_name(widget), s->name) == 0) {
        s->found = widget;
        return;
    }
    if (GTK_IS_CONTAINER(widget))
        gtk_container_forall(GTK_CONTAINER(widget), search_in, data);
}

GtkWidget *find(GtkWidget *top, const char *name)
{
    Search s{name, nullptr};
    search_in(top, &s);
    return s.found;
}

std::string text_of(GtkWidget *view)
{
    if (view == nullptr || !GTK_IS_TEXT_VIEW(view))
        return "";
    GtkTextBuffer *buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(view));
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(buffer, &start, &end);
    gchar *text = gtk_text_buffer_get_text(buffer, &start, &end, FALSE);
    std::string r = text != nullptr ? text : "";
    g_free(text);
    return r;
}

int rows_of(GtkWidget *view)
{
    if (view == nullptr || !GTK_IS_TREE_VIEW(view))
        return -1;
    GtkTreeModel *model = gtk_tree_view_get_model(GTK_TREE_VIEW(view));
    return model != nullptr ? gtk_tree_model_iter_n_children(model, nullptr) : -1;
}

void finish(const std::string &text, int status)
{
    const char *out = g_getenv("QM_AUTOPILOT_OUT");
    if (out != nullptr)
        g_file_set_contents(out, text.c_str(), static_cast<gssize>(text.size()), nullptr);
    std::exit(status);
}

GtkWidget *main_window()
{
    GtkWidget *found = nullptr;
    GList *tops = gtk_window_list_toplevels();
    for (GList *l = tops; l != nullptr; l = l->next) {
        GtkWidget *w = GTK_WIDGET(l->data);
        if (GTK_IS_MESSAGE_DIALOG(w) && gtk_widget_get_visible(w)) {
            gchar *text = nullptr;
            g_object_get(w, "text", &text, nullptr);
            std::string message = std::string("dialog: ") + (text != nullptr ? text : "") + "\n";
            g_free(text);
            g_list_free(tops);
            finish(message, 4);
        }
        if (g_strcmp0(gtk_widget_get_name(w), "mainwindow") == 0 && gtk_widget_get_visible(w))
            found = w;
    }
    g_list_free(tops);
    return found;
}

gboolean poll(gpointer)
{
    if (g_get_monotonic_time() - started_at > GIVE_UP_US)
        finish("timeout\n", 3);
    GtkWidget *top = main_window();
    if (top == nullptr)
        return TRUE;
    GtkWidget *test = find(top, "toolbutton_test");
    if (test == nullptr)
        return TRUE;
    const bool idle = gtk_widget_is_sensitive(test);
    const std::string report = text_of(find(top, "textview_report"));
    switch (stage) {
    case Stage::WaitForTape:
        // The tape given on the command line is attached: Test can be pressed.
        if (!idle)
            return TRUE;
        report_before = report;
        g_signal_emit_by_name(test, "clicked");
        // Pressing Test greys the toolbar at once; a window that left it
        // sensitive started no job, and waiting longer would not change that.
        if (gtk_widget_is_sensitive(test))
            finish("the Test button stayed sensitive: no job started\n", 5);
        stage = Stage::WaitForReport;
        return TRUE;
    case Stage::WaitForReport:
        if (!idle)
            return TRUE;
        break;
    }
    if (report == report_before || report.empty())
        finish("the job ended without a new report on show\n" + report, 6);
    std::string out = std::string("title: ") + gtk_window_get_title(GTK_WINDOW(top)) + "\n";
    out += "prg files: " + std::to_string(rows_of(find(top, "treeview_prgfiles"))) + "\n";
    out += std::string("test button: ") + gtk_tool_button_get_label(GTK_TOOL_BUTTON(test)) + "\n";
    out += "report:\n" + report;
    finish(out, 0);
    return FALSE;
}

} // namespace

extern "C" G_MODULE_EXPORT void gtk_module_init(gint *, gchar ***)
{
    started_at = g_get_monotonic_time();
    g_timeout_add(POLL_MS, poll, nullptr);
}
