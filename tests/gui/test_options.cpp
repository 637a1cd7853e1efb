// The Options page and its "user.ini" file.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/common.h"
#include "gui/options.h"

#include <glib/gstdio.h>

namespace {

// The default file, written out here independently of the program's copy.
const std::string default_text =
    "# Quillmar Front End config file - do NOT edit\n[console_values]\ntolerance=10\n"
    "[console_flags]\ndebug=false\nnoid=false\nnoc64eof=false\ndocyberfault=true\n"
    "boostclean=false\nnoaddpause=false\ndoprg=true\nprgunite=true\nextvisipatch=false\n"
    "incsubdirs=false\nsortbycrc=false\nsine=false\npreserve=false\n[frontend_flags]\n"
    "automove=false\n[frontend_preferences]\nfont=courier 11";

const char *const flag_keys[] = {"debug", "noid", "noc64eof", "docyberfault", "boostclean",
                                 "noaddpause", "doprg", "prgunite", "extvisipatch",
                                 "incsubdirs", "sortbycrc", "sine", "preserve"};
// Button states the defaults give, in the order of flag_keys.
const bool default_states[] = {false, true, true, true, false, true, true, true,
                               false, false, false, false, false};

bool active(const std::string &name)
{
    return gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W(name.c_str())));
}

void set_active(const std::string &name, bool value)
{
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W(name.c_str())), value);
}

double tolerance()
{
    return gtk_range_get_value(GTK_RANGE(W("hscale_tolerance")));
}

void expect_default_widgets()
{
    for (int i = 0; i < 13; ++i)
        EXPECT_EQ(active(std::string("checkbutton_") + flag_keys[i]), default_states[i]) << flag_keys[i];
    EXPECT_FALSE(active("checkbutton_move_files_after_clean"));
    EXPECT_DOUBLE_EQ(tolerance(), 10.0);
    EXPECT_STREQ(common_get_current_font_description(), "courier 11");
}

// A test whose "user.ini" holds the given text before start-up.
class OptionsFile : public GuiTest {
protected:
    void before_startup() override
    {
        if (contents.empty())
            return;
        g_mkdir(folder().c_str(), 0700);
        write_file(ini(), contents);
    }
    std::string folder() const { return config_dir + "/quillmarfe"; }
    std::string ini() const { return folder() + "/user.ini"; }
    std::string contents;
};

} // namespace

using OptionsFirstStart = OptionsFile;

TEST_F(OptionsFirstStart, CreatesTheExact356ByteFileAndLogsIt)
{
    const std::string written = read_file(ini());
    EXPECT_EQ(written.size(), 356u);
    EXPECT_EQ(written, default_text);
    EXPECT_NE(log_text().find("\nDefault options saved to:\n         " + ini() + "\n\n"), std::string::npos)
        << log_text();
    expect_default_widgets();
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("checkbutton_prgunite")) == FALSE) << "doprg is on";
}

class OptionsUnwritableRoot : public OptionsFile {
protected:
    void before_startup() override
    {
        // A plain file where the configuration root should be: no folder can be made.
        write_file(tmp + "/plainfile", "x");
        g_setenv("XDG_CONFIG_HOME", (tmp + "/plainfile/config").c_str(), TRUE);
    }
};

TEST_F(OptionsUnwritableRoot, FallsBackToTheWorkingFolder)
{
    const std::string fallback = work_dir + "/user.ini";
    EXPECT_EQ(options_config_file(), fallback);
    EXPECT_EQ(read_file(fallback), default_text);
}

class OptionsNothingWritable : public OptionsFile {
protected:
    void before_startup() override
    {
        write_file(tmp + "/plainfile", "x");
        g_setenv("XDG_CONFIG_HOME", (tmp + "/plainfile/config").c_str(), TRUE);
        // Nothing can be created in /proc, not even by the superuser.
        ASSERT_EQ(g_chdir("/proc"), 0);
    }
};

TEST_F(OptionsNothingWritable, LogsCouldNotBeSavedAndKeepsBuiltInStates)
{
    EXPECT_EQ(options_config_file(), "/proc/user.ini");
    EXPECT_NE(log_text().find("\nDefault options could not be saved to:\n         /proc/user.ini\n"
                              "Try to create the path manually and restart the application\n\n"),
              std::string::npos)
        << log_text();
    expect_default_widgets();
}

class OptionsTolerance : public OptionsFile {};

TEST_F(OptionsTolerance, AboveFifteenIsIgnored)
{
    write_file(ini(), "[console_values]\ntolerance=15.7\n");
    options_load_from_file();
    EXPECT_DOUBLE_EQ(tolerance(), 10.0);
}

TEST_F(OptionsTolerance, NegativeIsIgnored)
{
    write_file(ini(), "[console_values]\ntolerance=-1\n");
    options_load_from_file();
    EXPECT_DOUBLE_EQ(tolerance(), 10.0);
}

class OptionsFractionalTolerance : public OptionsFile {
protected:
    void before_startup() override
    {
        contents = "[console_values]\ntolerance=7.9\n";
        OptionsFile::before_startup();
    }
};

TEST_F(OptionsFractionalTolerance, SetsTheScaleAndSavesTruncated)
{
    EXPECT_DOUBLE_EQ(tolerance(), 7.9);
    EXPECT_NE(log_text().find("\nOptions loaded from:\n         " + ini() + "\n\n"), std::string::npos);
    gtk_button_clicked(GTK_BUTTON(W("button_options_save_config")));
    EXPECT_NE(read_file(ini()).find("\ntolerance=7\n"), std::string::npos) << read_file(ini());
    EXPECT_EQ(statusbar_text(), " Options saved to file");
}

class OptionsNoIdTrue : public OptionsFile {
protected:
    void before_startup() override
    {
        contents = "[console_flags]\nnoid=true\n";
        OptionsFile::before_startup();
    }
};

TEST_F(OptionsNoIdTrue, LeavesTheSignatureButtonInactiveAndSavesTrueAgain)
{
    EXPECT_FALSE(active("checkbutton_noid"));
    ASSERT_TRUE(options_save_to_file());
    EXPECT_NE(read_file(ini()).find("\nnoid=true\n"), std::string::npos);
}

class OptionsOnlyDoprgFalse : public OptionsFile {
protected:
    void before_startup() override
    {
        contents = "[console_flags]\ndoprg=false\n";
        OptionsFile::before_startup();
    }
};

TEST_F(OptionsOnlyDoprgFalse, ChangesOnlyDoprgAndGreysPrgunite)
{
    EXPECT_FALSE(active("checkbutton_doprg"));
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("checkbutton_prgunite")));
    EXPECT_TRUE(active("checkbutton_prgunite")); // its own state is left alone
    for (int i = 0; i < 13; ++i)
        if (std::string(flag_keys[i]) != "doprg") {
            EXPECT_EQ(active(std::string("checkbutton_") + flag_keys[i]), default_states[i]) << flag_keys[i];
        }
    EXPECT_DOUBLE_EQ(tolerance(), 10.0);
    EXPECT_FALSE(active("checkbutton_move_files_after_clean"));
    EXPECT_STREQ(common_get_current_font_description(), "courier 11");
}

class OptionsCustom : public OptionsFile {
protected:
    void before_startup() override
    {
        contents = "# Quillmar Front End config file - do NOT edit\n[console_values]\ntolerance=4\n"
                   "[console_flags]\ndebug=true\nnoid=true\nnoc64eof=true\ndocyberfault=false\n"
                   "boostclean=true\nnoaddpause=true\ndoprg=false\nprgunite=false\n"
                   "extvisipatch=true\nincsubdirs=true\nsortbycrc=true\nsine=true\npreserve=true\n"
                   "[frontend_flags]\nautomove=true\n[frontend_preferences]\nfont=Monospace 9\n";
        OptionsFile::before_startup();
    }
};

TEST_F(OptionsCustom, EveryKeyIsApplied)
{
    for (int i = 0; i < 13; ++i)
        EXPECT_EQ(active(std::string("checkbutton_") + flag_keys[i]), !default_states[i]) << flag_keys[i];
    EXPECT_DOUBLE_EQ(tolerance(), 4.0);
    EXPECT_TRUE(active("checkbutton_move_files_after_clean"));
    EXPECT_STREQ(common_get_current_font_description(), "Monospace 9");
}

TEST_F(OptionsCustom, SavingWritesTheSameTextBack)
{
    ASSERT_TRUE(options_save_to_file());
    EXPECT_EQ(read_file(ini()), contents);
}

TEST_F(OptionsCustom, RestoreDefaultsThenQuitLeavesTheFileUnchanged)
{
    gtk_button_clicked(GTK_BUTTON(W("button_options_restore_defaults")));
    expect_default_widgets();
    g_idle_add([](gpointer) -> gboolean {
        gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_file_quit")));
        return FALSE;
    }, nullptr);
    EXPECT_TRUE(run_main_loop_until_quit("File > Quit"));
    EXPECT_EQ(read_file(ini()), contents);
}

TEST_F(OptionsCustom, SaveFailureIsShownInTheStatusBar)
{
    g_remove(ini().c_str());
    g_mkdir(ini().c_str(), 0700); // a folder cannot be opened for writing
    gtk_button_clicked(GTK_BUTTON(W("button_options_save_config")));
    EXPECT_EQ(statusbar_text(), " Options could not be saved to file");
}

class OptionsMalformed : public OptionsFile {
protected:
    void before_startup() override
    {
        contents = "this is [not a key file\n=\n";
        OptionsFile::before_startup();
    }
};

TEST_F(OptionsMalformed, IsIgnoredWithoutAMessage)
{
    EXPECT_EQ(log_text().find("Options loaded"), std::string::npos);
    EXPECT_EQ(log_text().find("Default options"), std::string::npos);
    expect_default_widgets();
    EXPECT_EQ(read_file(ini()), contents);
}

using OptionsPage = GuiTest;

TEST_F(OptionsPage, MaxToleranceButtonSetsFifteen)
{
    gtk_button_clicked(GTK_BUTTON(W("button_options_max_tolerance")));
    EXPECT_DOUBLE_EQ(tolerance(), 15.0);
}

TEST_F(OptionsPage, DoprgToggleDrivesPrguniteSensitivityOnly)
{
    set_active("checkbutton_prgunite", false);
    set_active("checkbutton_doprg", false);
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("checkbutton_prgunite")));
    set_active("checkbutton_doprg", true);
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("checkbutton_prgunite")));
    EXPECT_FALSE(active("checkbutton_prgunite"));
}

TEST_F(OptionsPage, SavedTextFollowsTheWidgetsWithInvertedNoKeys)
{
    set_active("checkbutton_noid", false);
    set_active("checkbutton_docyberfault", false);
    set_active("checkbutton_sine", true);
    gtk_range_set_value(GTK_RANGE(W("hscale_tolerance")), 3);
    ASSERT_TRUE(options_save_to_file());
    EXPECT_EQ(read_file(options_config_file()),
              "# Quillmar Front End config file - do NOT edit\n[console_values]\ntolerance=3\n"
              "[console_flags]\ndebug=false\nnoid=true\nnoc64eof=false\ndocyberfault=false\n"
              "boostclean=false\nnoaddpause=false\ndoprg=true\nprgunite=true\nextvisipatch=false\n"
              "incsubdirs=false\nsortbycrc=false\nsine=true\npreserve=false\n[frontend_flags]\n"
              "automove=false\n[frontend_preferences]\nfont=courier 11\n");
}

TEST_F(OptionsPage, LabelsTooltipsAndScaleSettings)
{
    auto label_of = [](const char *name) {
        return std::string(gtk_button_get_label(GTK_BUTTON(W(name))));
    };
    auto tip_of = [](const char *name) {
        gchar *text = gtk_widget_get_tooltip_text(W(name));
        std::string result = text ? text : "";
        g_free(text);
        return result;
    };
    EXPECT_EQ(label_of("checkbutton_noid"),
              "Only scan for the loader whose s_ignature is found in CBM files (Faster scan)");
    EXPECT_EQ(label_of("checkbutton_docyberfault"), "Ignore Cyberload F3 bad _checksums of $04");
    EXPECT_EQ(tip_of("checkbutton_prgunite"),
              "If this option is enabled then data spanning across mutiple files is joined into a single PRG file");
    EXPECT_EQ(label_of("button_options_restore_defaults"), "_Defaults");
    EXPECT_EQ(tip_of("button_options_restore_defaults"), "Restore defaults");
    EXPECT_EQ(label_of("button_options_save_config"), "Save");
    EXPECT_EQ(tip_of("button_options_save_config"), "Save options");
    EXPECT_EQ(label_of("button_options_font"), "Font...");
    EXPECT_EQ(tip_of("button_options_font"), "Change font used in text areas");
    EXPECT_EQ(tip_of("button_options_max_tolerance"), "Set tolerance to its maximum value");
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(W("label_options_quillmar_specific"))), " Quillmar specific ");
    EXPECT_TRUE(gtk_widget_is_ancestor(W("checkbutton_preserve"), W("frame_options_quillmar_specific")));
    EXPECT_FALSE(gtk_widget_is_ancestor(W("checkbutton_move_files_after_clean"),
                                        W("frame_options_quillmar_specific")));
    GtkAdjustment *adj = gtk_range_get_adjustment(GTK_RANGE(W("hscale_tolerance")));
    EXPECT_EQ(adj->lower, 0.0);
    EXPECT_EQ(adj->upper, 15.0);
    EXPECT_EQ(adj->step_increment, 1.0);
    EXPECT_EQ(adj->page_increment, 1.0);
    EXPECT_EQ(adj->page_size, 0.0);
    EXPECT_EQ(gtk_scale_get_digits(GTK_SCALE(W("hscale_tolerance"))), 0);
    EXPECT_EQ(gtk_scale_get_value_pos(GTK_SCALE(W("hscale_tolerance"))), GTK_POS_RIGHT);
    EXPECT_EQ(gtk_range_get_update_policy(GTK_RANGE(W("hscale_tolerance"))), GTK_UPDATE_DISCONTINUOUS);
    EXPECT_EQ(gtk_file_chooser_get_action(GTK_FILE_CHOOSER(W("filechooserbutton_quillmar_location"))),
              GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER);
    EXPECT_TRUE(gtk_combo_box_get_has_entry(GTK_COMBO_BOX(W("comboboxentry_additional_params"))));
    EXPECT_TRUE(GTK_IS_CHECK_BUTTON(W("checkbutton_redirect_console_output")));
}
