// Fixture and helpers of the GUI tests: each test starts the real front end
// in a temporary home, configuration and working folder, drives widgets by
// name, pumps the main loop and answers dialogs.
#pragma once
#include <gtk/gtk.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

class GuiTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Runs before start-up: a test may set up TAPHOME, user.ini and so on.
    virtual void before_startup() {}
    // Start-up is run by SetUp unless a test asks to run it itself.
    virtual bool start_in_setup() { return true; }
    void start_front_end();

    std::string tmp;        // the test's own folder, removed afterwards
    std::string config_dir; // XDG_CONFIG_HOME
    std::string work_dir;   // the working folder at start-up
    std::string saved_cwd;
};

// The widget registered on the main window under `name`.
GtkWidget *W(const char *name);

// How long a test waits for anything the window does before it calls it a
// failure. Generous on purpose: a busy machine makes a window slow, never
// wrong, so only a window that truly never gets there fails.
constexpr int WAIT_DEADLINE_MS = 60000;

// Runs the main loop until `done` holds and returns true. When the deadline
// passes first it records a failure saying it waited for `what` and returns
// false.
bool wait_for(const std::string &what, const std::function<bool()> &done, int deadline_ms = WAIT_DEADLINE_MS);

// The waits most tests share.
bool wait_for_job_end();             // the console job ended and its results are read in
bool wait_for_prg_decoding();        // the Prg Files page has decoded the selected file
bool wait_for_window_width(int width);

// Lets the window finish everything it has to do now: pending events, idle
// work (sizes, redraws) and the display server's answers to what was asked
// of it. Timers that have not come due are not waited for: a test that
// expects one waits for its result with wait_for.
void settle();

// Runs gtk_main() as the program does, for a test of something that quits
// it. Should nothing quit it before the deadline, it records a failure
// naming `what` and quits it itself; returns whether `what` quit it.
bool run_main_loop_until_quit(const std::string &what);

std::string log_text();
std::string statusbar_text();
std::string text_view_text(const char *name);
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &contents);
// SHA-256 of a file's bytes, to show that a tool left its source alone.
std::string sha256_of(const std::string &path);

// Visible top-level windows with exactly this title.
std::vector<GtkWidget *> windows_titled(const std::string &title);

// The text of the newest friendly dialog with this title, which is then
// closed; "<no dialog>" when there is none.
std::string take_friendly_dialog(const std::string &title);

// When a window with `title` appears (also inside a nested dialog run),
// calls `act` with it once; act usually ends with gtk_dialog_response. The
// call comes from an idle of its own, so a dialog that `act` raises in turn
// is answered too.
void answer_dialog(const std::string &title, std::function<void(GtkWidget *)> act);
// True once every answer_dialog handler has run to its end.
bool all_dialogs_answered();
// Waits until every answer_dialog handler has run.
bool wait_for_dialogs_answered();

// First descendant (including `root`) with the widget name, or of the type.
GtkWidget *find_named(GtkWidget *root, const char *name);
GtkWidget *find_of_type(GtkWidget *root, GType type);
// The file name typed in a save dialog's name entry.
std::string chooser_current_name(GtkWidget *dialog);

// File choosers change folders and select files asynchronously. These put
// the choice in, wait until the chooser shows it (an open chooser: the file
// selected; a save chooser: its folder and name; a folder chooser: that
// folder), and only then answer. A chooser that never shows the choice is a
// failure naming what it shows instead, and is cancelled so the test goes on.
void choose_file_and_accept(GtkWidget *dialog, const std::string &path);
void choose_folder_and_accept(GtkWidget *dialog, const std::string &folder);
// The same, calling `then` (which answers the dialog) once the choice shows.
void when_chooser_shows(GtkWidget *dialog, const std::string &path, std::function<void(GtkWidget *)> then);

// The folder a file chooser shows ("" while it has none).
std::string chooser_folder(GtkWidget *dialog);

// All labels' texts below root, joined by "\n".
std::string all_label_texts(GtkWidget *root);

// Counts warnings with the given text logged by the front end.
class WarningCatcher {
public:
    WarningCatcher();
    ~WarningCatcher();
    std::vector<std::string> messages;
private:
    guint handler_id;
};

// Writes a PNG of the widget's window area into the screenshot folder.
std::string save_screenshot(GtkWidget *widget, const std::string &name);
