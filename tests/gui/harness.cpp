#include "harness.h"

#include "gui/appstate.h"
#include "gui/console.h"
#include "gui/startup.h"
#include "gui/support.h"

#include <glib/gstdio.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

namespace {

struct PendingAnswer {
    std::string title;
    std::function<void(GtkWidget *)> act;
    bool started = false;
    bool finished = false;
};
// Shared pointers: an answer may register further answers while it runs.
std::vector<std::shared_ptr<PendingAnswer>> pending_answers;
guint answer_source = 0;

struct AnswerCall {
    std::shared_ptr<PendingAnswer> answer;
    GtkWidget *window;
};

gboolean run_answer(gpointer data)
{
    std::unique_ptr<AnswerCall> call(static_cast<AnswerCall *>(data));
    if (GTK_WIDGET_VISIBLE(call->window)) {
        call->answer->act(call->window);
        call->answer->finished = true;
    } else {
        call->answer->started = false; // gone before its turn: wait for the next one
    }
    g_object_unref(call->window);
    return FALSE;
}

// Looks for the windows the test waits to answer. The answer itself runs in
// an idle of its own: this tick stays free to answer a dialog that the
// answer raises in a nested main loop (an overwrite question after Save).
gboolean answer_tick(gpointer)
{
    for (const std::shared_ptr<PendingAnswer> &answer : pending_answers) {
        if (answer->started)
            continue;
        std::vector<GtkWidget *> found = windows_titled(answer->title);
        if (found.empty())
            continue;
        answer->started = true;
        g_idle_add(run_answer, new AnswerCall{answer, GTK_WIDGET(g_object_ref(found.front()))});
        return TRUE; // one dialog per tick: let it go away first
    }
    return TRUE;
}

std::string current_folder_of(GtkWidget *dialog)
{
    gchar *folder = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(dialog));
    std::string shown = folder ? folder : "";
    g_free(folder);
    return shown;
}

std::string filename_of(GtkWidget *dialog)
{
    gchar *file = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(dialog));
    std::string shown = file ? file : "";
    g_free(file);
    return shown;
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
    wait_for("the main window to be mapped", [] { return GTK_WIDGET_MAPPED(mainwindow) != 0; });
    settle();
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

bool wait_for(const std::string &what, const std::function<bool()> &done, int deadline_ms)
{
    const gint64 start = g_get_monotonic_time();
    const gint64 deadline = start + gint64(deadline_ms) * 1000;
    while (!done()) {
        if (g_get_monotonic_time() > deadline) {
            ADD_FAILURE() << "waited " << (g_get_monotonic_time() - start) / 1000 << " ms for " << what
                          << ", in vain";
            return false;
        }
        // Block in the main loop until something happens: an event, an idle,
        // a timer, or a worker waking the loop up. The 10 ms timeout only
        // bounds how long a condition that changes without waking the loop
        // (a worker's flag) goes unnoticed.
        if (!gtk_events_pending()) {
            const guint wake = g_timeout_add(10, [](gpointer) -> gboolean { return FALSE; }, nullptr);
            gtk_main_iteration_do(TRUE);
            if (GSource *source = g_main_context_find_source_by_id(nullptr, wake))
                g_source_destroy(source);
        } else {
            gtk_main_iteration_do(FALSE);
        }
    }
    return true;
}

bool wait_for_job_end()
{
    return wait_for("the console job to end and its results to be read in",
                    [] { return thread_busy == 0 && console_command == nullptr; });
}

bool wait_for_prg_decoding()
{
    return wait_for("the Prg Files page to decode the selected file", [] { return prg_decoding_busy == 0; });
}

bool wait_for_window_width(int width)
{
    return wait_for("the main window to be " + std::to_string(width) + " pixels wide",
                    [width] { return mainwindow->allocation.width == width; });
}

void settle()
{
    // A timer that comes due while we work makes one more pass; the bound
    // keeps a timer that always comes due from holding the test forever.
    for (int pass = 0; pass < 100; ++pass) {
        gdk_window_process_all_updates();
        gdk_display_sync(gdk_display_get_default());
        if (!gtk_events_pending())
            return;
        while (gtk_events_pending())
            gtk_main_iteration_do(FALSE);
    }
}

bool run_main_loop_until_quit(const std::string &what)
{
    struct Guard {
        std::string what;
        bool fired = false;
    } guard{what};
    const guint source = g_timeout_add(WAIT_DEADLINE_MS, [](gpointer data) -> gboolean {
        auto *g = static_cast<Guard *>(data);
        g->fired = true;
        ADD_FAILURE() << "waited " << WAIT_DEADLINE_MS << " ms for " << g->what << " to quit the main loop, in vain";
        gtk_main_quit();
        return FALSE;
    }, &guard);
    gtk_main();
    if (!guard.fired)
        g_source_remove(source);
    return !guard.fired;
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
    settle();
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
    auto answer = std::make_shared<PendingAnswer>();
    answer->title = title;
    answer->act = std::move(act);
    pending_answers.push_back(std::move(answer));
}

bool all_dialogs_answered()
{
    for (const std::shared_ptr<PendingAnswer> &answer : pending_answers)
        if (!answer->finished)
            return false;
    return true;
}

bool wait_for_dialogs_answered()
{
    return wait_for("every expected dialog to appear and be answered", all_dialogs_answered);
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
    settle();
    gdk_window_invalidate_rect(window, nullptr, TRUE);
    gdk_window_process_updates(window, TRUE);
    settle();
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

std::string chooser_folder(GtkWidget *dialog)
{
    return current_folder_of(dialog);
}

namespace {

struct ChooserWait {
    GtkWidget *dialog;
    std::string path;
    std::function<void(GtkWidget *)> then;
    gint64 deadline;
};

std::string folder_part(const std::string &path)
{
    gchar *folder = g_path_get_dirname(path.c_str());
    std::string result = folder;
    g_free(folder);
    return result;
}

// Whether the chooser shows what the test put in, by its kind.
bool chooser_shows(GtkWidget *dialog, const std::string &path)
{
    switch (gtk_file_chooser_get_action(GTK_FILE_CHOOSER(dialog))) {
    case GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER:
        return current_folder_of(dialog) == path;
    case GTK_FILE_CHOOSER_ACTION_SAVE:
    case GTK_FILE_CHOOSER_ACTION_CREATE_FOLDER:
        return current_folder_of(dialog) == folder_part(path) && filename_of(dialog) == path;
    default:
        return filename_of(dialog) == path;
    }
}

gboolean check_chooser(gpointer data)
{
    auto *wait = static_cast<ChooserWait *>(data);
    const bool shows = chooser_shows(wait->dialog, wait->path);
    if (!shows && g_get_monotonic_time() <= wait->deadline && GTK_WIDGET_VISIBLE(wait->dialog))
        return TRUE;
    if (shows && GTK_WIDGET_VISIBLE(wait->dialog)) {
        wait->then(wait->dialog);
    } else if (GTK_WIDGET_VISIBLE(wait->dialog)) {
        ADD_FAILURE() << "the file chooser \"" << gtk_window_get_title(GTK_WINDOW(wait->dialog))
                      << "\" never showed " << wait->path << " (it shows the folder "
                      << current_folder_of(wait->dialog) << " and the file " << filename_of(wait->dialog) << ")";
        gtk_dialog_response(GTK_DIALOG(wait->dialog), GTK_RESPONSE_CANCEL);
    }
    g_object_unref(wait->dialog);
    delete wait;
    return FALSE;
}

} // namespace

void when_chooser_shows(GtkWidget *dialog, const std::string &path, std::function<void(GtkWidget *)> then)
{
    GtkFileChooser *chooser = GTK_FILE_CHOOSER(dialog);
    switch (gtk_file_chooser_get_action(chooser)) {
    case GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER:
        gtk_file_chooser_set_current_folder(chooser, path.c_str());
        break;
    case GTK_FILE_CHOOSER_ACTION_SAVE:
    case GTK_FILE_CHOOSER_ACTION_CREATE_FOLDER: {
        gtk_file_chooser_set_current_folder(chooser, folder_part(path).c_str());
        gchar *name = g_path_get_basename(path.c_str());
        gtk_file_chooser_set_current_name(chooser, name);
        g_free(name);
        break;
    }
    default:
        gtk_file_chooser_select_filename(chooser, path.c_str());
        break;
    }
    auto *wait = new ChooserWait{GTK_WIDGET(g_object_ref(dialog)), path, std::move(then),
                                 g_get_monotonic_time() + gint64(WAIT_DEADLINE_MS) * 1000};
    g_timeout_add(20, check_chooser, wait);
}

void choose_file_and_accept(GtkWidget *dialog, const std::string &path)
{
    when_chooser_shows(dialog, path, [](GtkWidget *d) { gtk_dialog_response(GTK_DIALOG(d), GTK_RESPONSE_OK); });
}

void choose_folder_and_accept(GtkWidget *dialog, const std::string &folder)
{
    choose_file_and_accept(dialog, folder);
}
