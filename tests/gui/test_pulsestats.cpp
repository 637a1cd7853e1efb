// The Pulse Statistics tool page on a sample tape: the histogram on show
// is the tape's, every recognised file's speed is listed, the picture can
// be saved, and the page asks for a tape when none is attached.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/console.h"
#include "gui/report.h"

#include <glib/gstdio.h>
#include "gui/pulsestats_page.h"

namespace {

class PulseStatistics : public GuiTest {
protected:
    std::string tape;
    void SetUp() override
    {
        GuiTest::SetUp();
        tape = tmp + "/side 'a'.tap";
        write_file(tape, read_file(std::string(QM_BUILD_DIR "/samples/two-programs.tap")));
        ASSERT_TRUE(attach_tape_from_command_line(tape.c_str()));
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 4);
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_tools")), 4);
        settle();
    }
    static int speed_rows()
    {
        return gtk_tree_model_iter_n_children(gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_pulse_speeds"))),
                                              nullptr);
    }
};

TEST_F(PulseStatistics, ComputeShowsTheTapesHistogramAndTheSpeedOfEveryFile)
{
    const std::string hash = sha256_of(tape);
    gtk_button_clicked(GTK_BUTTON(W("button_pulse_statistics_compute")));
    settle();
    const TapeScan scan = scan_tape_file(tape);
    EXPECT_EQ(pulse_statistics_histogram().counts, pulse_histogram(scan).counts);
    EXPECT_EQ(pulse_statistics_histogram().ideals, (std::vector<uint8_t>{0x30, 0x42, 0x56}));
    EXPECT_EQ(speed_rows(), static_cast<int>(tape_speeds(scan).size()));
    EXPECT_GT(speed_rows(), 0);
    GtkTreeModel *model = gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_pulse_speeds")));
    GtkTreeIter iter;
    ASSERT_TRUE(gtk_tree_model_get_iter_first(model, &iter));
    gchar *percent = nullptr;
    gtk_tree_model_get(model, &iter, 5, &percent, -1);
    EXPECT_STREQ(percent, "+0.0 %"); // the encoder's ideal pulses
    g_free(percent);
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_histogram_log")), TRUE);
    settle();
    EXPECT_EQ(sha256_of(tape), hash);
    save_screenshot(mainwindow, "pulse_statistics");
}

TEST_F(PulseStatistics, TheSelectedReportEntryAloneCanBeCounted)
{
    // Test the tape with the real console, so the Interactive page lists its entries.
    const std::string console = tmp + "/console";
    g_mkdir_with_parents(console.c_str(), 0700);
    write_file(console + "/quillmar", read_file(QM_QUILLMAR));
    g_chmod((console + "/quillmar").c_str(), 0755);
    replace_owned_string(utf8_path_consolelocation, console.c_str());
    g_signal_emit_by_name(W("toolbutton_test"), "clicked");
    ASSERT_TRUE(wait_for_job_end());
    settle();
    ASSERT_TRUE(report_has_been_produced());

    gtk_button_clicked(GTK_BUTTON(W("button_pulse_statistics_compute")));
    settle();
    GtkTreePath *third = gtk_tree_path_new_from_indices(2, -1);
    gtk_tree_view_set_cursor(GTK_TREE_VIEW(W("treeview_file_list")), third, nullptr, FALSE);
    gtk_tree_path_free(third);
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_histogram_selected_entry")), TRUE);
    settle();
    const TapeScan scan = scan_tape_file(tape);
    EXPECT_EQ(pulse_statistics_histogram().counts, pulse_histogram(scan, 2).counts);
    EXPECT_NE(pulse_statistics_histogram().counts, pulse_histogram(scan).counts);
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_histogram_selected_entry")), FALSE);
    settle();
    EXPECT_EQ(pulse_statistics_histogram().counts, pulse_histogram(scan).counts);
}

TEST_F(PulseStatistics, TheSnapshotIsAPngPicture)
{
    gtk_button_clicked(GTK_BUTTON(W("button_pulse_statistics_compute")));
    settle();
    const std::string png = tmp + "/histogram.png";
    answer_dialog("Save to a PNG file", [&](GtkWidget *dialog) { choose_file_and_accept(dialog, png); });
    gtk_button_clicked(GTK_BUTTON(W("button_pulse_histogram_snapshot")));
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_TRUE(wait_for("the snapshot to be written", [&] { return g_file_test(png.c_str(), G_FILE_TEST_EXISTS); }));
    EXPECT_EQ(read_file(png).substr(0, 8), "\x89PNG\r\n\x1a\n");
}

TEST_F(PulseStatistics, WithoutATapeItAsksForOne)
{
    replace_owned_string(utf8_path_lastopenTAP, nullptr);
    gtk_button_clicked(GTK_BUTTON(W("button_pulse_statistics_compute")));
    EXPECT_EQ(take_friendly_dialog("Pulse Statistics"), "Attach a tape first.");
    EXPECT_EQ(speed_rows(), 0);
}

} // namespace
