// The About dialog, release notes and quitting.
#include "harness.h"

#include "gui/about.h"
#include "gui/appstate.h"
#include "gui/callbacks.h"

#include <ctime>
#include <regex>

namespace {

gint64 fake_now = 0;
gint64 fake_clock()
{
    return fake_now;
}

gint64 utc(int year, int month, int day, int hour, int minute)
{
    GDateTime *moment = g_date_time_new_utc(year, month, day, hour, minute, 0);
    const gint64 seconds = g_date_time_to_unix(moment);
    g_date_time_unref(moment);
    return seconds;
}

// Opens About at the given moment and returns the width of its picture.
int about_picture_width(gint64 moment)
{
    fake_now = moment;
    about_current_time = fake_clock;
    gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_help_about")));
    std::vector<GtkWidget *> dialogs = windows_titled("About Quillmar Front End");
    if (dialogs.size() != 1)
        return -1;
    GtkWidget *image = find_named(dialogs[0], "image_about");
    GdkPixbuf *picture = image ? gtk_image_get_pixbuf(GTK_IMAGE(image)) : nullptr;
    const int width = picture ? gdk_pixbuf_get_width(picture) : -1;
    gtk_dialog_response(GTK_DIALOG(dialogs[0]), GTK_RESPONSE_NONE);
    settle();
    return width;
}

class About : public GuiTest {
protected:
    void TearDown() override
    {
        g_unsetenv("TZ");
        tzset();
        GuiTest::TearDown();
    }
};

} // namespace

TEST_F(About, DecemberInUtcShowsTheSeasonalPicture)
{
    EXPECT_EQ(about_picture_width(utc(2026, 12, 15, 12, 0)), 57);
}

TEST_F(About, OtherMonthsShowTheNormalPicture)
{
    EXPECT_EQ(about_picture_width(utc(2026, 11, 15, 12, 0)), 48);
    EXPECT_EQ(about_picture_width(utc(2027, 1, 1, 0, 0)), 48);
}

TEST_F(About, LocalDateAlreadyInJanuaryStillSeasonal)
{
    // 31 December 20:00 UTC is already 1 January in UTC+14.
    g_setenv("TZ", "UTC-14", TRUE);
    tzset();
    EXPECT_EQ(about_picture_width(utc(2026, 12, 31, 20, 0)), 57);
}

TEST_F(About, LocalDateStillInNovemberStillSeasonal)
{
    // 1 December 03:00 UTC is still 30 November in UTC-12.
    g_setenv("TZ", "UTC+12", TRUE);
    tzset();
    EXPECT_EQ(about_picture_width(utc(2026, 12, 1, 3, 0)), 57);
}

TEST_F(About, DialogTextsAndButton)
{
    gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_help_about")));
    std::vector<GtkWidget *> dialogs = windows_titled("About Quillmar Front End");
    ASSERT_EQ(dialogs.size(), 1u);
    GtkWidget *dialog = dialogs[0];
    EXPECT_TRUE(gtk_window_get_modal(GTK_WINDOW(dialog)));
    EXPECT_FALSE(gtk_window_get_resizable(GTK_WINDOW(dialog)));
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(dialog)), GTK_WINDOW(mainwindow));
    const std::string labels = all_label_texts(dialog);
    EXPECT_NE(labels.find("Quillmar Front End 0.40"), std::string::npos);
    GtkWidget *build = find_named(dialog, "label_about_build");
    ASSERT_NE(build, nullptr);
    const std::string text = gtk_label_get_text(GTK_LABEL(build));
    // The program's own compile date (this test may be compiled on another day).
    EXPECT_TRUE(std::regex_search(text, std::regex("^Multi-platform tape handling tool\n\nCompiled on: "
                                                   "[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4}\n")))
        << text;
    gchar *versions = g_strdup_printf("\nCompiled with gcc version: %d.%d.%d\nGTK+ runtime in use: %u.%u.%u",
                                      __GNUC__, __GNUC_MINOR__, __GNUC_PATCHLEVEL__,
                                      gtk_major_version, gtk_minor_version, gtk_micro_version);
    EXPECT_NE(text.find(versions), std::string::npos);
    g_free(versions);
    EXPECT_NE(find_of_type(dialog, GTK_TYPE_LINK_BUTTON), nullptr);
    // Shown without blocking: we are here, and any response destroys it.
    gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_NONE);
    settle();
    EXPECT_TRUE(windows_titled("About Quillmar Front End").empty());
}

using ReleaseNotes = GuiTest;

TEST_F(ReleaseNotes, MenuShowsPlainReportPageWithTheNotes)
{
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 5);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
    GtkTextBuffer *buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_report")));
    gtk_text_buffer_set_text(buffer, "a report", -1);
    release_notes_on = 0;
    gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_help_release_notes")));
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_main"))), 0);
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_report"))), 0);
    EXPECT_EQ(text_view_text("textview_report").rfind("Quillmar Front End 0.40\n", 0), 0u);
    EXPECT_EQ(release_notes_on, 1);
}

using Quitting = GuiTest;

TEST_F(Quitting, QuitMenuItemEndsTheMainLoopAtOnce)
{
    g_idle_add([](gpointer) -> gboolean {
        gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_file_quit")));
        return FALSE;
    }, nullptr);
    EXPECT_TRUE(run_main_loop_until_quit("File > Quit"));
    SUCCEED();
}

TEST_F(Quitting, ClosingTheWindowQuitsWithoutPromptEvenWhileAJobRuns)
{
    thread_busy = 1;
    g_idle_add([](gpointer) -> gboolean {
        GdkEvent *event = gdk_event_new(GDK_DELETE);
        event->any.window = GDK_WINDOW(g_object_ref(mainwindow->window));
        gboolean handled = TRUE;
        g_signal_emit_by_name(mainwindow, "delete_event", event, &handled);
        EXPECT_FALSE(handled);
        gdk_event_free(event);
        return FALSE;
    }, nullptr);
    EXPECT_TRUE(run_main_loop_until_quit("closing the window"));
    EXPECT_TRUE(windows_titled("Quillmar Front End").size() <= 1u);
    EXPECT_TRUE(all_dialogs_answered());
    thread_busy = 0;
}
