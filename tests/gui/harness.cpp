#include "harness.h"

#include "gui/appstate.h"
#include "gui/startup.h"
#include "gui/support.h"

#include <glib/gstdio.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

struct PendingAnswer {
    std::string title;
    std::function<void(GtkWidget *)> act;
    bool done = false;
};
std::vector<PendingAnswer> pending_answers;
guint answer_source = 0;

gboolean answer_tick(gpointer)
{
    for (PendingAnswer &answer : pending_answers) {
        if (answer.done)
            continue;
        std::vector<GtkWidget *> found = windows_titled(answer.title);
        if (found.empty())
            continue;
        answer.done = true;
        answer.act(found.front());
        return TRUE; // one dialog per tick: let it go away first
    }
    return TRUE;
}

void remove_tree(const std::string &path)
{
    gchar *quoted = g_shell_quote(path.c_str());
    gchar *command = g_strdup_printf("rm -rf %s", quoted);
    if (std::system(command) != 0)
        ADD_FAILURE() << "could not remove " << path;
    g_free(command);
    g_free(quoted);
}

void collect_labels(GtkWidget *widget, std::string &out)
{
    if (GTK_IS_LABEL(widget)) {
        if (!out.empty())
            out += "\n";
        out += gtk_label_get_text(GTK_LABEL(widget));
    }
    if (GTK_IS_CONTAINER(widget)) {
        GList *children = gtk_container_get_children(GTK_CONTAINER(widget));
        for (GList *c = children; c; c = c->next)
            collect_labels(GTK_WIDGET(c->data), out);
        g_list_free(children);
    }
}

void log_to_catcher(const gchar *, GLogLevelFlags, const gchar *message, gpointer data)
{
    static_cast<std::vector<std::string> *>(data)->push_back(message);
}

} // namespace

void GuiTest::SetUp()
{
    gchar *dir = g_dir_make_tmp("quillmarfe-gui-XXXXXX", nullptr);
    ASSERT_NE(dir, nullptr);
    tmp = dir;
    g_free(dir);
    config_dir = tmp + "/config";
    work_dir = tmp + "/work";
    g_mkdir(config_dir.c_str(), 0700);
    g_mkdir(work_dir.c_str(), 0700);
    g_mkdir((tmp + "/data").c_str(), 0700);
    g_setenv("HOME", tmp.c_str(), TRUE);
    g_setenv("XDG_CONFIG_HOME", config_dir.c_str(), TRUE);
    g_setenv("XDG_DATA_HOME", (tmp + "/data").c_str(), TRUE);
    g_unsetenv("TAPHOME");
    gchar *cwd = g_get_current_dir();
    saved_cwd = cwd;
    g_free(cwd);
    ASSERT_EQ(g_chdir(work_dir.c_str()), 0);
    pending_answers.clear();
    answer_source = g_timeout_add(50, answer_tick, nullptr);
    before_startup();
    if (start_in_setup())
        start_front_end();
}

void GuiTest::start_front_end()
{
    static char arg0[] = "quillmarfe";
    static char *args[] = {arg0, nullptr};
    int argc = 1;
    char **argv = args;
    quillmarfe_startup(&argc, &argv);
    // Keep the pointer off the window: no hover highlight or tooltip in pictures.
    gdk_display_warp_pointer(gdk_display_get_default(), gdk_screen_get_default(), 0, 0);
    gtk_widget_show(mainwindow);
    pump_until([] { return GTK_WIDGET_MAPPED(mainwindow) != 0; });
    pump_for(50);
}

void GuiTest::TearDown()
{
    if (answer_source)
        g_source_remove(answer_source);
    answer_source = 0;
    if (mainwindow)
        gtk_widget_destroy(mainwindow);
    mainwindow = nullptr;
    while (gtk_events_pending())
        gtk_main_iteration();
    if (!saved_cwd.empty() && g_chdir(saved_cwd.c_str()) != 0)
        ADD_FAILURE() << "could not return to " << saved_cwd;
    if (!tmp.empty())
        remove_tree(tmp);
}

GtkWidget *W(const char *name)
{
    return lookup_widget(mainwindow, name);
}

bool pump_until(const std::function<bool()> &done, int timeout_ms)
{
    const gint64 deadline = g_get_monotonic_time() + gint64(timeout_ms) * 1000;
    while (!done()) {
        if (g_get_monotonic_time() > deadline)
            return false;
        if (gtk_events_pending())
            gtk_main_iteration_do(FALSE);
        else
            g_usleep(2000);
    }
    return true;
}

void pump_for(int ms)
{
    const gint64 deadline = g_get_monotonic_time() + gint64(ms) * 1000;
    pump_until([&] { return g_get_monotonic_time() > deadline; }, ms + 1000);
}

std::string text_view_text(const char *name)
{
    GtkTextBuffer *buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(W(name)));
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(buffer, &start, &end);
    gchar *text = gtk_text_buffer_get_text(buffer, &start, &end, FALSE);
    std::string result = text;
    g_free(text);
    return result;
}

std::string log_text()
{
    return text_view_text("textview_log");
}

std::string statusbar_text()
{
    // The bar's label shows the top message.
    GtkWidget *area = gtk_statusbar_get_message_area(GTK_STATUSBAR(W("statusbar_mainwin")));
    GtkWidget *label = find_of_type(area, GTK_TYPE_LABEL);
    return label ? gtk_label_get_text(GTK_LABEL(label)) : "";
}

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void write_file(const std::string &path, const std::string &contents)
{
    std::ofstream out(path, std::ios::binary);
    out << contents;
}

std::string take_friendly_dialog(const std::string &title)
{
    std::vector<GtkWidget *> dialogs = windows_titled(title);
    if (dialogs.empty())
        return "<no dialog>";
    GtkWidget *label = find_named(dialogs.back(), "label_friendly_dialog");
    const std::string text = label ? gtk_label_get_text(GTK_LABEL(label)) : "<no label>";
    gtk_dialog_response(GTK_DIALOG(dialogs.back()), GTK_RESPONSE_NONE);
    pump_for(20);
    return text;
}

std::string sha256_of(const std::string &path)
{
    const std::string bytes = read_file(path);
    gchar *sum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar *>(bytes.data()),
                                             bytes.size());
    std::string result = sum;
    g_free(sum);
    return result;
}

std::vector<GtkWidget *> windows_titled(const std::string &title)
{
    std::vector<GtkWidget *> found;
    GList *toplevels = gtk_window_list_toplevels();
    for (GList *t = toplevels; t; t = t->next) {
        GtkWindow *window = GTK_WINDOW(t->data);
        const gchar *window_title = gtk_window_get_title(window);
        if (window_title && title == window_title && GTK_WIDGET_VISIBLE(GTK_WIDGET(window)))
            found.push_back(GTK_WIDGET(window));
    }
    g_list_free(toplevels);
    return found;
}

void answer_dialog(const std::string &title, std::function<void(GtkWidget *)> act)
{
    pending_answers.push_back({title, std::move(act), false});
}

bool all_dialogs_answered()
{
    for (const PendingAnswer &answer : pending_answers)
        if (!answer.done)
            return false;
    return true;
}

GtkWidget *find_named(GtkWidget *root, const char *name)
{
    if (std::strcmp(gtk_widget_get_name(root), name) == 0)
        return root;
    if (!GTK_IS_CONTAINER(root))
        return nullptr;
    GtkWidget *found = nullptr;
    GList *children = gtk_container_get_children(GTK_CONTAINER(root));
    for (GList *c = children; c && !found; c = c->next)
        found = find_named(GTK_WIDGET(c->data), name);
    g_list_free(children);
    return found;
}

GtkWidget *find_of_type(GtkWidget *root, GType type)
{
    if (G_TYPE_CHECK_INSTANCE_TYPE(root, type))
        return root;
    if (!GTK_IS_CONTAINER(root))
        return nullptr;
    GtkWidget *found = nullptr;
    GList *children = gtk_container_get_children(GTK_CONTAINER(root));
    for (GList *c = children; c && !found; c = c->next)
        found = find_of_type(GTK_WIDGET(c->data), type);
    g_list_free(children);
    return found;
}

std::string all_label_texts(GtkWidget *root)
{
    std::string out;
    collect_labels(root, out);
    return out;
}

WarningCatcher::WarningCatcher()
{
    handler_id = g_log_set_handler(nullptr, GLogLevelFlags(G_LOG_LEVEL_WARNING), log_to_catcher,
                                   &messages);
}

WarningCatcher::~WarningCatcher()
{
    g_log_remove_handler(nullptr, handler_id);
}

std::string save_screenshot(GtkWidget *widget, const std::string &name)
{
    const char *folder = std::getenv("QM_SCREENSHOT_DIR");
    std::string dir = folder ? folder : QM_BUILD_DIR "/screenshots";
    g_mkdir_with_parents(dir.c_str(), 0755);
    std::string path = dir + "/" + name + ".png";
    GdkWindow *window = widget->window;
    // Paint everything now, so the picture shows the current page whole.
    gdk_window_invalidate_rect(window, nullptr, TRUE);
    gdk_window_process_updates(window, TRUE);
    gdk_flush();
    pump_for(100);
    int width = 0, height = 0;
    gdk_drawable_get_size(window, &width, &height);
    GdkPixbuf *picture = gdk_pixbuf_get_from_drawable(nullptr, window, nullptr, 0, 0, 0, 0,
                                                      width, height);
    if (!picture)
        return "";
    gdk_pixbuf_save(picture, path.c_str(), "png", nullptr, nullptr);
    g_object_unref(picture);
    return path;
}

std::string chooser_current_name(GtkWidget *dialog)
{
    GtkWidget *entry = find_of_type(dialog, GTK_TYPE_ENTRY);
    return entry ? gtk_entry_get_text(GTK_ENTRY(entry)) : "";
}

void choose_file_and_accept(GtkWidget *dialog, const std::string &path)
{
    gchar *folder = g_path_get_dirname(path.c_str());
    gchar *name = g_path_get_basename(path.c_str());
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(dialog), folder);
    gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(dialog), name);
    g_free(name);
    // The chooser changes folders asynchronously: answer once it is there.
    struct Pending {
        GtkWidget *dialog;
        gchar *folder;
        int ticks;
    };
    g_object_ref(dialog);
    g_timeout_add(50, [](gpointer data) -> gboolean {
        auto *pending = static_cast<Pending *>(data);
        gchar *current = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(pending->dialog));
        const bool arrived = current && g_strcmp0(current, pending->folder) == 0;
        g_free(current);
        if (!arrived && ++pending->ticks < 300)
            return TRUE;
        pending->ticks = 0;
        // One more moment for the chooser to finish loading the folder.
        g_timeout_add(150, [](gpointer inner) -> gboolean {
            auto *done = static_cast<Pending *>(inner);
            if (GTK_WIDGET_VISIBLE(done->dialog))
                gtk_dialog_response(GTK_DIALOG(done->dialog), GTK_RESPONSE_OK);
            g_object_unref(done->dialog);
            g_free(done->folder);
            delete done;
            return FALSE;
        }, pending);
        return FALSE;
    }, new Pending{dialog, folder, 0});
}
