// Pictures of every page of the main window, written into the build folder
// (screenshots/) so that a person can look at them.
#include "harness.h"

#include "gui/appstate.h"

using Screenshots = GuiTest;

TEST_F(Screenshots, EveryPageAndToolPage)
{
    gtk_window_resize(GTK_WINDOW(mainwindow), 900, 640);
    ASSERT_TRUE(wait_for_window_width(900));
    settle();
    const char *const pages[] = {"report", "scanners", "options", "prg_files", "tools", "system_log"};
    GtkNotebook *notebook = GTK_NOTEBOOK(W("notebook_main"));
    for (int i = 0; i < 6; ++i) {
        gtk_notebook_set_current_page(notebook, i);
        settle();
        EXPECT_FALSE(save_screenshot(mainwindow, std::string("page_") + pages[i]).empty());
    }
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
    gtk_notebook_set_current_page(notebook, 0);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "page_report_interactive").empty());
    GtkNotebook *tools = GTK_NOTEBOOK(W("notebook_tools"));
    gtk_notebook_set_current_page(notebook, 4);
    for (int i = 0; i < gtk_notebook_get_n_pages(tools); ++i) {
        gtk_notebook_set_current_page(tools, i);
        settle();
        EXPECT_FALSE(save_screenshot(mainwindow, "page_tools_" + std::to_string(i)).empty());
    }
    gtk_window_resize(GTK_WINDOW(mainwindow), 640, 400);
    ASSERT_TRUE(wait_for_window_width(640));
    gtk_notebook_set_current_page(notebook, 2);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "page_options_default_size").empty());
}

#include "fake_console.h"
#include "gui/console.h"

#include <glib/gstdio.h>

TEST_F(Screenshots, ReportPagesAfterATest)
{
    FakeConsole console{tmp + "/console"};
    const std::string tape = tmp + "/game.tap";
    write_file(tape, std::string("C64-TAPE-RAW\x01", 13) + std::string(1007, '\0'));
    console.install(sample_report(tape));
    replace_owned_string(utf8_path_consolelocation, console.folder.c_str());
    replace_owned_string(utf8_path_lastopenTAP, tape.c_str());
    replace_owned_string(utf8_path_lastopenfolder, tmp.c_str());
    gtk_window_resize(GTK_WINDOW(mainwindow), 900, 640);
    ASSERT_TRUE(wait_for_window_width(900));
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "after_test_plain").empty());
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
    GtkTreePath *path = gtk_tree_path_new_from_indices(2, -1);
    gtk_tree_view_set_cursor(GTK_TREE_VIEW(W("treeview_file_list")), path, nullptr, FALSE);
    gtk_tree_path_free(path);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "after_test_interactive").empty());
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 3);
    GtkTreePath *first = gtk_tree_path_new_from_indices(1, -1);
    gtk_tree_view_set_cursor(GTK_TREE_VIEW(W("treeview_prgfiles")), first, nullptr, FALSE);
    gtk_tree_path_free(first);
    ASSERT_TRUE(wait_for_prg_decoding());
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "after_test_prg_files").empty());
}

// What a user sees when the console program cannot be run: the dialog, and
// behind it a report page that says the same instead of an old report.
TEST_F(Screenshots, AJobWhoseConsoleCannotBeRun)
{
    const std::string folder = tmp + "/no console here";
    g_mkdir(folder.c_str(), 0700);
    const std::string tape = tmp + "/game.tap";
    write_file(tape, std::string("C64-TAPE-RAW\x01", 13) + std::string(1007, '\0'));
    write_file(folder + "/qmreport.txt", sample_report(tmp + "/another.tap"));
    replace_owned_string(utf8_path_consolelocation, folder.c_str());
    replace_owned_string(utf8_path_lastopenTAP, tape.c_str());
    replace_owned_string(utf8_path_lastopenfolder, tmp.c_str());
    gtk_window_resize(GTK_WINDOW(mainwindow), 900, 640);
    ASSERT_TRUE(wait_for_window_width(900));
    static bool shot = false;
    answer_dialog("Error", [](GtkWidget *dialog) {
        shot = !save_screenshot(dialog, "job_console_missing_dialog").empty();
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
    });
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_TRUE(shot);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "job_console_missing_report").empty());
}
