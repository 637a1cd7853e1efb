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

// Runs the main loop until `done` holds; false after `timeout_ms`.
bool pump_until(const std::function<bool()> &done, int timeout_ms = 5000);
// Runs the main loop for about `ms` milliseconds.
void pump_for(int ms);

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
// calls `act` with it once; act usually ends with gtk_dialog_response.
void answer_dialog(const std::string &title, std::function<void(GtkWidget *)> act);
// True once every answer_dialog handler has fired.
bool all_dialogs_answered();

// First descendant (including `root`) with the widget name, or of the type.
GtkWidget *find_named(GtkWidget *root, const char *name);
GtkWidget *find_of_type(GtkWidget *root, GType type);
// The file name typed in a save dialog's name entry.
std::string chooser_current_name(GtkWidget *dialog);

// Puts a file name into a file chooser dialog and answers OK once the
// chooser has settled on the folder.
void choose_file_and_accept(GtkWidget *dialog, const std::string &path);

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
