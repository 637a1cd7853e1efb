// Start-up: the environment echo, TAPHOME, pictures and widget lookup.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/support.h"

#include <glib/gstdio.h>

namespace {

class TapHome : public GuiTest {
protected:
    void before_startup() override
    {
        if (!value.empty())
            g_setenv("TAPHOME", value.c_str(), TRUE);
    }
    std::string value;
};

class TapHomeUnset : public TapHome {};

class TapHomeFolder : public TapHome {
protected:
    void before_startup() override
    {
        value = tmp + "/tapes with blanks 'n' \xC3\xA4";
        g_mkdir(value.c_str(), 0700);
        TapHome::before_startup();
    }
};

class TapHomeMissing : public TapHome {
protected:
    void before_startup() override
    {
        value = tmp + "/no such folder";
        TapHome::before_startup();
    }
};

const std::string echo_head = "Quillmar Front End environment options:\n         TAPHOME: ";

} // namespace

TEST_F(TapHomeUnset, LogsNoneAndLeavesTheOpenFolderUnset)
{
    EXPECT_EQ(log_text().rfind(echo_head + "[none]\n", 0), 0u) << log_text();
    EXPECT_EQ(utf8_path_lastopenfolder, nullptr);
}

TEST_F(TapHomeFolder, LogsTheFolderAndStartsTheOpenDialogsThere)
{
    EXPECT_EQ(log_text().rfind(echo_head + value + "\n", 0), 0u) << log_text();
    ASSERT_NE(utf8_path_lastopenfolder, nullptr);
    EXPECT_EQ(std::string(utf8_path_lastopenfolder), value);
}

TEST_F(TapHomeMissing, LogsThePathButDoesNotUseIt)
{
    EXPECT_EQ(log_text().rfind(echo_head + value + "\n", 0), 0u) << log_text();
    EXPECT_EQ(utf8_path_lastopenfolder, nullptr);
}

using Startup = GuiTest;

TEST_F(Startup, ConsoleLocationIsTheWorkingFolder)
{
    ASSERT_NE(utf8_path_consolelocation, nullptr);
    gchar *cwd = g_get_current_dir();
    EXPECT_STREQ(utf8_path_consolelocation, cwd);
    g_free(cwd);
}

TEST_F(Startup, OptionsAreLoadedAfterTheEnvironmentEcho)
{
    const std::string log = log_text();
    const size_t echo = log.find("TAPHOME: ");
    const size_t options = log.find("\nDefault options saved to:\n         ");
    ASSERT_NE(echo, std::string::npos);
    ASSERT_NE(options, std::string::npos);
    EXPECT_LT(echo, options);
}

TEST_F(Startup, PicturesFolderIsTheAbsoluteQuillmarfePixmaps)
{
    const GList *folders = pixmaps_directories_list();
    ASSERT_NE(folders, nullptr);
    EXPECT_STREQ(static_cast<const char *>(folders->data), "/quillmarfe/pixmaps");
}

TEST_F(Startup, LookupOfAnUnknownNameYieldsNullAndOneWarning)
{
    WarningCatcher warnings;
    EXPECT_EQ(lookup_widget(mainwindow, "no_such_widget"), nullptr);
    ASSERT_EQ(warnings.messages.size(), 1u);
    EXPECT_EQ(warnings.messages[0], "Widget not found: no_such_widget");
}

TEST_F(Startup, LookupClimbsFromAnyChildAndThroughAttachedMenus)
{
    EXPECT_EQ(lookup_widget(W("textview_log"), "hscale_tolerance"), W("hscale_tolerance"));
    // A menu item climbs through its menu to the widget the menu is attached to.
    EXPECT_EQ(lookup_widget(W("menuitem_file_quit"), "toolbar_main"), W("toolbar_main"));
    EXPECT_EQ(lookup_widget(W("menuitem_convert_to_tap_v_0"), "toolbar_main"), W("toolbar_main"));
}

TEST_F(Startup, LookupFollowsTheGladeParentKeyOfAParentlessWidget)
{
    GtkWidget *orphan = gtk_label_new("orphan");
    g_object_ref_sink(orphan);
    g_object_set_data(G_OBJECT(orphan), "GladeParentKey", mainwindow);
    EXPECT_EQ(lookup_widget(orphan, "statusbar_mainwin"), W("statusbar_mainwin"));
    g_object_unref(orphan);
}

TEST_F(Startup, MissingPictureWarnsAndGivesAnEmptyImage)
{
    WarningCatcher warnings;
    GtkWidget *image = create_pixmap(mainwindow, "missing.png");
    ASSERT_TRUE(GTK_IS_IMAGE(image));
    EXPECT_EQ(gtk_image_get_storage_type(GTK_IMAGE(image)), GTK_IMAGE_EMPTY);
    ASSERT_EQ(warnings.messages.size(), 1u);
    EXPECT_EQ(warnings.messages[0], "Couldn't find pixmap file: missing.png");
    EXPECT_EQ(create_pixbuf("missing.png"), nullptr);
    g_object_ref_sink(image);
    g_object_unref(image);
}

TEST_F(Startup, EmptyPictureNameGivesAnEmptyImageWithoutWarning)
{
    WarningCatcher warnings;
    GtkWidget *image = create_pixmap(mainwindow, "");
    EXPECT_EQ(gtk_image_get_storage_type(GTK_IMAGE(image)), GTK_IMAGE_EMPTY);
    EXPECT_TRUE(warnings.messages.empty());
    g_object_ref_sink(image);
    g_object_unref(image);
}

TEST_F(Startup, PicturesAreFoundInTheMostRecentlyAddedFolderFirst)
{
    const std::string older = tmp + "/older", newer = tmp + "/newer";
    g_mkdir(older.c_str(), 0700);
    g_mkdir(newer.c_str(), 0700);
    // A 2 x 1 picture in the older folder and a 3 x 1 picture in the newer one.
    for (auto [folder, width] : {std::pair{older, 2}, std::pair{newer, 3}}) {
        GdkPixbuf *picture = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, 1);
        gdk_pixbuf_save(picture, (folder + "/p.png").c_str(), "png", nullptr, nullptr);
        g_object_unref(picture);
    }
    add_pixmap_directory(older.c_str());
    add_pixmap_directory(newer.c_str());
    GdkPixbuf *found = create_pixbuf("p.png");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(gdk_pixbuf_get_width(found), 3);
    g_object_unref(found);
}

TEST_F(Startup, BrokenPictureFileIsReportedAndNotSearchedFurther)
{
    const std::string broken = tmp + "/broken", good = tmp + "/good";
    g_mkdir(broken.c_str(), 0700);
    g_mkdir(good.c_str(), 0700);
    write_file(broken + "/q.png", "not a picture");
    GdkPixbuf *picture = gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, 4, 4);
    gdk_pixbuf_save(picture, (good + "/q.png").c_str(), "png", nullptr, nullptr);
    g_object_unref(picture);
    add_pixmap_directory(good.c_str());
    add_pixmap_directory(broken.c_str());
    testing::internal::CaptureStderr();
    GdkPixbuf *found = create_pixbuf("q.png");
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(err.rfind("Failed to load pixbuf file: " + broken + "/q.png: ", 0), 0u) << err;
}

// Start-up and the first showing of every page give no toolkit warning.
class QuietStartup : public GuiTest {
protected:
    bool start_in_setup() override { return false; }
};

TEST_F(QuietStartup, NoToolkitWarningWhileStartingAndShowingEveryPage)
{
    std::vector<std::string> messages;
    const guint handler = g_log_set_handler(
        "Gtk", GLogLevelFlags(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_CRITICAL),
        [](const gchar *, GLogLevelFlags, const gchar *message, gpointer data) {
            static_cast<std::vector<std::string> *>(data)->push_back(message);
        },
        &messages);
    start_front_end();
    GtkNotebook *notebook = GTK_NOTEBOOK(W("notebook_main"));
    for (int i = 0; i < gtk_notebook_get_n_pages(notebook); ++i) {
        gtk_notebook_set_current_page(notebook, i);
        settle();
    }
    g_log_remove_handler("Gtk", handler);
    EXPECT_EQ(messages, std::vector<std::string>());
}

// The Options page shows its groups, not just its buttons.
TEST_F(Startup, OptionsPageShowsEveryGroupOnScreen)
{
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 2);
    for (const char *name : {"frame_options_quillmar_specific", "checkbutton_doprg", "frame_options_console",
                             "hscale_tolerance", "button_options_save_config"})
        EXPECT_TRUE(wait_for(std::string(name) + " to be mapped", [name] { return GTK_WIDGET_MAPPED(W(name)) != 0; })) << name;
}
