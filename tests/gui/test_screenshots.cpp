// Pictures of every page of the main window, written into the build folder
// (screenshots/) so that a person can look at them.
#include "harness.h"

#include "gui/appstate.h"

using Screenshots = GuiTest;

TEST_F(Screenshots, EveryPageAndToolPage)
{
    gtk_window_resize(GTK_WINDOW(mainwindow), 900, 640);
    ASSERT_TRUE(pump_until([] { return mainwindow->allocation.width == 900; }));
    pump_for(200);
    const char *const pages[] = {"report", "scanners", "options", "prg_files", "tools", "system_log"};
    GtkNotebook *notebook = GTK_NOTEBOOK(W("notebook_main"));
    for (int i = 0; i < 6; ++i) {
        gtk_notebook_set_current_page(notebook, i);
        pump_for(150);
        EXPECT_FALSE(save_screenshot(mainwindow, std::string("page_") + pages[i]).empty());
    }
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
    gtk_notebook_set_current_page(notebook, 0);
    pump_for(150);
    EXPECT_FALSE(save_screenshot(mainwindow, "page_report_interactive").empty());
    GtkNotebook *tools = GTK_NOTEBOOK(W("notebook_tools"));
    gtk_notebook_set_current_page(notebook, 4);
    for (int i = 0; i < gtk_notebook_get_n_pages(tools); ++i) {
        gtk_notebook_set_current_page(tools, i);
        pump_for(150);
        EXPECT_FALSE(save_screenshot(mainwindow, "page_tools_" + std::to_string(i)).empty());
    }
    gtk_window_resize(GTK_WINDOW(mainwindow), 640, 400);
    ASSERT_TRUE(pump_until([] { return mainwindow->allocation.width == 640; }));
    gtk_notebook_set_current_page(notebook, 2);
    pump_for(200);
    EXPECT_FALSE(save_screenshot(mainwindow, "page_options_default_size").empty());
}
