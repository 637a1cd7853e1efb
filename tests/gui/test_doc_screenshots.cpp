// The pictures of the README's tour and of the software-centre listing: the
// real window testing a sample tape with the real console program. Written
// to build/screenshots/ like every picture; scripts/make-doc-screenshots.sh
// runs these tests with QM_SCREENSHOT_DIR=docs/screenshots to renew the
// committed ones.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/console.h"
#include "gui/report.h"

#include <glib/gstdio.h>

namespace {

class DocScreenshots : public GuiTest {
protected:
    std::string console;
    void SetUp() override
    {
        GuiTest::SetUp();
        console = tmp + "/console";
        g_mkdir_with_parents(console.c_str(), 0700);
        write_file(console + "/quillmar", read_file(QM_QUILLMAR));
        g_chmod((console + "/quillmar").c_str(), 0755);
        replace_owned_string(utf8_path_consolelocation, console.c_str());
        gtk_window_resize(GTK_WINDOW(mainwindow), 960, 680);
        ASSERT_TRUE(wait_for_window_width(960));
        settle();
    }
    // Attaches a copy of the sample tape as the command line would, and tests it.
    void test_sample(const char *sample)
    {
        const std::string tape = tmp + "/" + sample;
        write_file(tape, read_file(std::string(QM_BUILD_DIR "/samples/") + sample));
        ASSERT_TRUE(attach_tape_from_command_line(tape.c_str()));
        ASSERT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
        g_signal_emit_by_name(W("toolbutton_test"), "clicked");
        ASSERT_TRUE(wait_for_job_end());
        settle();
    }
    void shoot(const char *name) { EXPECT_FALSE(save_screenshot(mainwindow, name).empty()) << name; }
    void show_page(const char *notebook, int page)
    {
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W(notebook)), page);
        settle();
    }
    void select_row(const char *tree, int row)
    {
        GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
        gtk_tree_view_set_cursor(GTK_TREE_VIEW(W(tree)), path, nullptr, FALSE);
        gtk_tree_path_free(path);
        settle();
    }
    int tools_page_holding(const char *widget)
    {
        GtkNotebook *tools = GTK_NOTEBOOK(W("notebook_tools"));
        for (int i = 0; i < gtk_notebook_get_n_pages(tools); ++i)
            if (gtk_widget_is_ancestor(W(widget), gtk_notebook_get_nth_page(tools, i)))
                return i;
        return -1;
    }
};

} // namespace

TEST_F(DocScreenshots, ATestedTapeItsReportFilesAndPulses)
{
    test_sample("turbo-mix.tap");
    ASSERT_TRUE(report_has_been_produced());
    show_page("notebook_main", 0);
    show_page("notebook_report", 0);
    EXPECT_NE(text_view_text("textview_report").find("turbo-mix.tap"), std::string::npos);
    shoot("main-window");

    show_page("notebook_report", 1);
    select_row("treeview_file_list", 3);
    shoot("report");

    show_page("notebook_main", 3);
    show_page("notebook_prg_views", 1);
    select_row("treeview_prgfiles", 1);
    ASSERT_TRUE(wait_for("the disassembly to be shown", [] { return !text_view_text("textview_prgfiles_dasm").empty(); }));
    ASSERT_TRUE(wait_for_prg_decoding());
    shoot("prg-files");

    const int analysis = tools_page_holding("drawingarea_tape_analysis");
    ASSERT_GE(analysis, 0);
    show_page("notebook_main", 4);
    show_page("notebook_tools", analysis);
    gtk_button_clicked(GTK_BUTTON(W("button_tape_analysis_parse")));
    settle();
    // Past the first leader, where the files' pulses make their pattern.
    GtkAdjustment *lines = gtk_range_get_adjustment(GTK_RANGE(W("vscrollbar_tape_analysis")));
    ASSERT_GT(lines->upper, 100.0);
    gtk_adjustment_set_value(lines, lines->upper * 0.09);
    settle();
    shoot("tape-analysis");

    // Every loader's pulse lengths against their ideals, and the files' speeds.
    show_page("notebook_tools", tools_page_holding("drawingarea_pulse_histogram"));
    gtk_button_clicked(GTK_BUTTON(W("button_pulse_statistics_compute")));
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_histogram_log")), TRUE);
    settle();
    EXPECT_GT(gtk_tree_model_iter_n_children(gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_pulse_speeds"))),
                                             nullptr),
              3);
    shoot("pulse-statistics");
}
