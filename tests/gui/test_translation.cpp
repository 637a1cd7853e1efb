// The window in German: started with LANGUAGE=de, it finds the catalogue
// built beside it and shows its menus, pages, tools and dialogs translated.
#include "harness.h"

#include "gui/appstate.h"

#include <gdk/gdkkeysyms.h>
#include <glib/gi18n-lib.h>

#include <clocale>
#include <utility>
#include <vector>

namespace {

class German : public GuiTest {
protected:
    void before_startup() override
    {
        // C.UTF-8 exists on every Debian machine; LANGUAGE then picks the catalogue.
        g_unsetenv("LC_ALL");
        g_unsetenv("LC_MESSAGES");
        g_setenv("LANG", "C.UTF-8", TRUE);
        g_setenv("LANGUAGE", "de", TRUE);
    }
    void TearDown() override
    {
        GuiTest::TearDown();
        g_unsetenv("LANGUAGE");
        setlocale(LC_ALL, "C");
    }
};

// The German text of msgid, after checking that there is one.
std::string german(const char *msgid)
{
    const char *text = dgettext(GETTEXT_PACKAGE, msgid);
    EXPECT_STRNE(text, msgid) << "no German text for \"" << msgid << "\"";
    return text;
}

std::string tab_label_text(const char *box_name)
{
    GtkWidget *label = find_of_type(W(box_name), GTK_TYPE_LABEL);
    return label ? gtk_label_get_label(GTK_LABEL(label)) : "<no label>";
}

TEST_F(German, MenusToolbarAndPagesAreTranslated)
{
    EXPECT_EQ(gtk_menu_item_get_label(GTK_MENU_ITEM(W("menuitem_file"))), std::string("_Datei"));
    EXPECT_EQ(gtk_menu_item_get_label(GTK_MENU_ITEM(W("menuitem_help"))), std::string("_Hilfe"));
    EXPECT_EQ(gtk_menu_item_get_label(GTK_MENU_ITEM(W("menuitem_help_release_notes"))),
              german("_Release notes"));

    EXPECT_EQ(gtk_tool_button_get_label(GTK_TOOL_BUTTON(W("toolbutton_clean"))), german("Clean"));
    EXPECT_EQ(gtk_tool_button_get_label(GTK_TOOL_BUTTON(W("toolbutton_test"))), german("Test"));

    EXPECT_EQ(tab_label_text("hbox_notebook_label_tab_options"), german("Options"));
    EXPECT_EQ(tab_label_text("hbox_notebook_label_tab_tools"), german("Tools"));
    EXPECT_EQ(tab_label_text("hbox_notebook_label_tab_syslog"), german("System Log"));
    EXPECT_EQ(tab_label_text("hbox_notebook_label_tab_tape_split"), german("Tape Split"));

    // Texts inside the pages: an option, a button, a tooltip.
    EXPECT_EQ(gtk_button_get_label(GTK_BUTTON(W("button_options_restore_defaults"))),
              german("_Defaults"));
    gchar *tip = gtk_widget_get_tooltip_text(W("button_options_save_config"));
    ASSERT_NE(tip, nullptr);
    EXPECT_EQ(std::string(tip), german("Save options"));
    g_free(tip);
    EXPECT_EQ(statusbar_text(), german(" No TAP/DMP file or folder attached for operation or batch scan"));
}

TEST_F(German, DialogsAreTranslated)
{
    // Splitting with no tested tape: the page refuses, in German.
    gtk_button_clicked(GTK_BUTTON(W("button_tape_split_split")));
    settle();
    const std::string title = german("Split tape");
    EXPECT_EQ(take_friendly_dialog(title), german("You can only split TAP files."));
}

TEST_F(German, TheSystemLogIsTranslated)
{
    EXPECT_NE(log_text().find(german("Quillmar Front End environment options:\n")), std::string::npos)
        << log_text();
}

void collect_mnemonics(GtkWidget *widget, std::vector<std::pair<guint, std::string>> *out)
{
    if (GTK_IS_LABEL(widget)) {
        const guint key = gtk_label_get_mnemonic_keyval(GTK_LABEL(widget));
        if (key != GDK_VoidSymbol)
            out->push_back({gdk_keyval_to_lower(key), gtk_label_get_label(GTK_LABEL(widget))});
    }
    if (GTK_IS_CONTAINER(widget))
        gtk_container_forall(GTK_CONTAINER(widget),
                             [](GtkWidget *child, gpointer data) {
                                 collect_mnemonics(child, static_cast<std::vector<std::pair<guint, std::string>> *>(data));
                             },
                             out);
}

// Alt+letter reaches the menu bar and the page on show: within that, two
// labels with one letter would leave one of them out of reach.
std::string clashes_on(GtkWidget *page)
{
    std::vector<std::pair<guint, std::string>> keys;
    collect_mnemonics(W("menubar_main"), &keys);
    collect_mnemonics(page, &keys);
    std::string found;
    for (std::size_t i = 0; i < keys.size(); ++i)
        for (std::size_t j = i + 1; j < keys.size(); ++j)
            if (keys[i].first == keys[j].first)
                found += "\"" + keys[i].second + "\" and \"" + keys[j].second + "\"\n";
    return found;
}

TEST_F(German, NoTwoLabelsOfAPageShareAMnemonic)
{
    GtkNotebook *notebook = GTK_NOTEBOOK(W("notebook_main"));
    GtkNotebook *tools = GTK_NOTEBOOK(W("notebook_tools"));
    GtkWidget *tools_page = gtk_notebook_get_nth_page(notebook, 4);
    for (int i = 0; i < gtk_notebook_get_n_pages(notebook); ++i) {
        GtkWidget *page = gtk_notebook_get_nth_page(notebook, i);
        if (page != tools_page) {
            EXPECT_EQ(clashes_on(page), "") << "page " << i;
        }
    }
    for (int i = 0; i < gtk_notebook_get_n_pages(tools); ++i)
        EXPECT_EQ(clashes_on(gtk_notebook_get_nth_page(tools, i)), "") << "tool page " << i;
}

TEST_F(German, EveryPageFitsASmallScreen)
{
    // German words are longer: the window must still fit 1024 pixels, and
    // every page is photographed to be looked at.
    GtkRequisition wanted;
    gtk_widget_size_request(mainwindow, &wanted);
    EXPECT_LE(wanted.width, 1024);
    gtk_window_resize(GTK_WINDOW(mainwindow), 960, 680);
    ASSERT_TRUE(wait_for("the main window to be at least 960 pixels wide", [] { return mainwindow->allocation.width >= 960; }));
    GtkNotebook *notebook = GTK_NOTEBOOK(W("notebook_main"));
    for (int i = 0; i < gtk_notebook_get_n_pages(notebook); ++i) {
        gtk_notebook_set_current_page(notebook, i);
        settle();
        EXPECT_FALSE(save_screenshot(mainwindow, "german_page_" + std::to_string(i)).empty());
    }
    GtkNotebook *tools = GTK_NOTEBOOK(W("notebook_tools"));
    gtk_notebook_set_current_page(notebook, 4);
    for (int i = 0; i < gtk_notebook_get_n_pages(tools); ++i) {
        gtk_notebook_set_current_page(tools, i);
        settle();
        gtk_widget_size_request(mainwindow, &wanted);
        EXPECT_LE(wanted.width, 1024) << "tool page " << i;
        EXPECT_FALSE(save_screenshot(mainwindow, "german_tools_" + std::to_string(i)).empty());
    }
}

} // namespace
