// Console jobs with a stand-in console program: the command line, the
// worker, the completion and what reaches the System Log.
#include "harness.h"

#include "fake_console.h"
#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/console.h"
#include "gui/report.h"

#include <glib/gstdio.h>

#include <functional>
#include <memory>

namespace {

class Jobs : public GuiTest {
protected:
    FakeConsole console;
    std::string tapes, tape;
    void before_startup() override
    {
        console.folder = tmp + "/console place";
        tapes = tmp + "/tapes";
        g_mkdir(tapes.c_str(), 0700);
        tape = tapes + "/it's a game.tap";
        write_file(tape, std::string("C64-TAPE-RAW\x01", 13) + std::string(7, '\0'));
        console.install(sample_report(tape));
    }
    void SetUp() override
    {
        GuiTest::SetUp();
        replace_owned_string(utf8_path_consolelocation, console.folder.c_str());
        replace_owned_string(utf8_path_lastopenTAP, tape.c_str());
        replace_owned_string(utf8_path_lastopenfolder, tapes.c_str());
        common_log_clear();
    }
    void common_log_clear()
    {
        gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_log"))), "", -1);
    }
    void set_redirect(bool on)
    {
        gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_redirect_console_output")), on);
    }
    // Answers the batch folder dialog with `folder` once the chooser shows it.
    void answer_batch_dialog(const std::string &folder)
    {
        answer_dialog("Select a folder for batch scan",
                      [folder](GtkWidget *dialog) { choose_folder_and_accept(dialog, folder); });
    }
    std::string executable() const { return "'" + console.folder + "/quillmar' "; }
    // Answers the next error dialog and hands back its text (empty until then).
    std::shared_ptr<std::string> answer_error_dialog()
    {
        auto text = std::make_shared<std::string>();
        answer_dialog("Error", [text](GtkWidget *dialog) {
            gchar *message = nullptr;
            g_object_get(dialog, "text", &message, nullptr);
            *text = message ? message : "";
            g_free(message);
            gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
        });
        return text;
    }
    void TearDown() override
    {
        g_unsetenv("QM_FAKE_SILENT");
        g_unsetenv("QM_FAKE_KEEP_NAME");
        GuiTest::TearDown();
    }
    std::string written(const std::string &path) const { return "Written: " + path + "\n"; }
    int prg_rows()
    {
        return gtk_tree_model_iter_n_children(gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_prgfiles"))), nullptr);
    }
};

} // namespace

TEST_F(Jobs, TestRunsTheConsoleWithTheLineEchoedAndReadsTheResults)
{
    gtk_button_clicked(GTK_BUTTON(gtk_bin_get_child(GTK_BIN(W("toolbutton_test")))));
    EXPECT_EQ(thread_busy, 1);
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("toolbutton_open_file")));
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("toolbutton_batch")));
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite -t \"" + tape + "\"\n");
    // The quotes keep the path with its blanks and apostrophe one word.
    EXPECT_EQ(console.arguments(), (std::vector<std::string>{"-doprg", "-prgunite", "-t", tape}));
    EXPECT_EQ(std::string(utf8_path_lasttestedTAP), tape);
    EXPECT_EQ(std::string(utf8_path_lasttestedfolder), tapes);
    EXPECT_EQ(release_notes_on, 0);
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_batch")));
    EXPECT_EQ(text_view_text("textview_report"), sample_report(tape));
    EXPECT_TRUE(report_has_been_produced());
    EXPECT_EQ(prg_rows(), 2);
}

TEST_F(Jobs, RedirectedRunLogsBothStreams)
{
    set_redirect(true);
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite -t \"" + tape + "\"\n" +
                              "console says hello\n\n" + "console warns\n\n");
}

TEST_F(Jobs, WithoutRedirectOnlyTheEchoReachesTheLog)
{
    set_redirect(false);
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite -t \"" + tape + "\"\n");
}

// A console program that cannot be run leaves no report on screen (not the
// previous one, of another tape) and says what to do, in a dialog.
TEST_F(Jobs, MissingConsoleProgramSaysSoInADialogAndLeavesThePagesEmpty)
{
    // A report of another tape, left by an earlier run.
    write_file(console.folder + "/qmreport.txt", sample_report(tmp + "/another tape.tap"));
    g_remove((console.folder + "/quillmar").c_str());
    for (bool redirected : {false, true}) {
        SCOPED_TRACE(redirected);
        common_log_clear();
        set_redirect(redirected);
        auto dialog = answer_error_dialog();
        on_core_test_activate();
        ASSERT_TRUE(wait_for_job_end());
        ASSERT_TRUE(wait_for_dialogs_answered());
        EXPECT_NE(dialog->find("The console program could not be run"), std::string::npos) << *dialog;
        EXPECT_NE(dialog->find("It was looked for in " + console.folder + ". Choose the folder that holds it on the "
                               "Options page"),
                  std::string::npos)
            << *dialog;
        const std::string log = log_text();
        EXPECT_NE(log.find("\nCannot execute console program: "), std::string::npos) << log;
        EXPECT_NE(log.find("The console program could not be run"), std::string::npos) << log;
        EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
        EXPECT_EQ(text_view_text("textview_report").rfind("The console program could not be run", 0), 0u);
        EXPECT_FALSE(report_has_been_produced());
        EXPECT_EQ(gtk_tree_model_iter_n_children(GTK_TREE_MODEL(report_file_list_model()), nullptr), 0);
        EXPECT_EQ(prg_rows(), 0);
    }
}

TEST_F(Jobs, AReportOfAnotherTapeIsNotShown)
{
    console.install(sample_report(tmp + "/another tape.tap"));
    g_setenv("QM_FAKE_KEEP_NAME", "1", TRUE);
    auto dialog = answer_error_dialog();
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(dialog->find("The report describes " + tmp + "/another tape.tap, not the tape just processed (" + tape +
                           ")"),
              std::string::npos)
        << *dialog;
    EXPECT_FALSE(report_has_been_produced());
    EXPECT_EQ(gtk_tree_model_iter_n_children(GTK_TREE_MODEL(report_file_list_model()), nullptr), 0);
    EXPECT_EQ(prg_rows(), 0);
}

TEST_F(Jobs, AnOldReportIsNotTakenForTheJobsOwn)
{
    // The console runs, fails and writes nothing; the report of an earlier
    // test of this very tape is still in its folder.
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(report_has_been_produced());
    g_setenv("QM_FAKE_SILENT", "1", TRUE);
    auto dialog = answer_error_dialog();
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(dialog->find("The console program failed (exit status 3) and wrote no report."), std::string::npos)
        << *dialog;
    EXPECT_FALSE(report_has_been_produced());
    EXPECT_EQ(prg_rows(), 0);
}

TEST_F(Jobs, AReportWithAnOldDateIsNotTheJobsOwn)
{
    g_setenv("QM_FAKE_SILENT", "1", TRUE);
    // Put there during the job with a date of yesterday (a copy that kept its date).
    write_file(console.folder + "/qmreport.txt", sample_report(tape));
    auto dialog = answer_error_dialog();
    on_core_test_activate();
    const std::string report = console.folder + "/qmreport.txt";
    const std::string touch = "touch -d yesterday '" + report + "'";
    ASSERT_EQ(std::system(touch.c_str()), 0);
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(dialog->find("wrote no report"), std::string::npos) << *dialog;
    EXPECT_FALSE(report_has_been_produced());
}

TEST_F(Jobs, ABatchThatWritesNoReportSaysSo)
{
    g_setenv("QM_FAKE_SILENT", "1", TRUE);
    write_file(console.folder + "/qmbatch.txt", "an old batch report\n");
    const std::string folder = tmp + "/batch here";
    g_mkdir(folder.c_str(), 0700);
    answer_batch_dialog(folder);
    auto dialog = answer_error_dialog();
    on_toolbutton_batch_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(dialog->find("wrote no report"), std::string::npos) << *dialog;
    EXPECT_EQ(statusbar_text(), " Batch scan failed");
    EXPECT_EQ(text_view_text("textview_report").find("an old batch report"), std::string::npos);
}

TEST_F(Jobs, CleanWithMoveEchoesWithoutTheMoveButMovesTheCleanedImage)
{
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_move_files_after_clean")), TRUE);
    gtk_button_clicked(GTK_BUTTON(gtk_bin_get_child(GTK_BIN(W("toolbutton_clean")))));
    ASSERT_TRUE(wait_for_job_end());
    const std::string cleaned = tapes + "/clean.it's a game.tap";
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite -o \"" + tape + "\"\n" + written(cleaned));
    EXPECT_EQ(std::string(utf8_path_lasttestedTAP), cleaned);
    EXPECT_EQ(read_file(cleaned), "cleaned");
    EXPECT_FALSE(g_file_test((work_dir + "/clean.it's a game.tap").c_str(), G_FILE_TEST_EXISTS));
}

TEST_F(Jobs, CleanOfADumpNamesTheCleanedTapeTap)
{
    const std::string dump = tapes + "/game.DMP";
    write_file(dump, "ZORV-TAP-RAW");
    replace_owned_string(utf8_path_lastopenTAP, dump.c_str());
    on_toolbutton_clean_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(std::string(utf8_path_lasttestedTAP), tapes + "/clean.game.tap");
}

TEST_F(Jobs, BatchScansTheDialogsFolderAndGreysTheTapeJobs)
{
    const std::string folder = tmp + "/batch here";
    g_mkdir(folder.c_str(), 0700);
    g_mkdir((folder + "/sub").c_str(), 0700);
    answer_batch_dialog(folder);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
    gtk_button_clicked(GTK_BUTTON(gtk_bin_get_child(GTK_BIN(W("toolbutton_batch")))));
    EXPECT_EQ(statusbar_text(), " Processing...");
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(console.arguments(), (std::vector<std::string>{"-doprg", "-prgunite", "-b", folder}));
    EXPECT_EQ(std::string(utf8_path_lastopenfolder), folder);
    EXPECT_EQ(statusbar_text(), " Batch scan complete");
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_open_file")));
    EXPECT_TRUE(GTK_WIDGET_SENSITIVE(W("toolbutton_batch")));
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("toolbutton_test")));
    EXPECT_FALSE(GTK_WIDGET_SENSITIVE(W("menutoolbutton_recordaudio")));
    EXPECT_NE(log_text().find("NOTE: in batch mode the interactive report is not applicable\n"), std::string::npos);
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_report"))), 0);
    EXPECT_EQ(utf8_path_lasttestedTAP, nullptr) << "a batch leaves the tested tape alone";
    EXPECT_EQ(release_notes_on, 0);
}

TEST_F(Jobs, BatchDialogCancelledStartsNothing)
{
    answer_dialog("Select a folder for batch scan", [](GtkWidget *dialog) {
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    });
    on_toolbutton_batch_clicked(nullptr, nullptr);
    EXPECT_EQ(thread_busy, 0);
    EXPECT_EQ(log_text(), "");
    EXPECT_FALSE(console.ran());
}

TEST_F(Jobs, ConvertUsesTheChosenVersionAndKeepsReleaseNotesFlag)
{
    release_notes_on = 1;
    gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_convert_to_tap_v_0")));
    on_menutoolbutton_convert_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite -ct0 \"" + tape + "\" \n" +
                              written(tapes + "/converted.it's a game.tap"));
    EXPECT_EQ(release_notes_on, 1);
    EXPECT_EQ(std::string(utf8_path_lasttestedTAP), tapes + "/converted.it's a game.tap");
    EXPECT_EQ(prg_rows(), 2);
}

TEST_F(Jobs, RecordLeavesTestedPathsAndEmptiesThePrgList)
{
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_EQ(prg_rows(), 2);
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_sine")), TRUE);
    gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_record_as_sun_au")));
    common_log_clear();
    on_menutoolbutton_recordaudio_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite -sine -au \"" + tape + "\" \n" +
                              written(tapes + "/it's a game.au"));
    EXPECT_EQ(std::string(utf8_path_lasttestedTAP), tape);
    EXPECT_EQ(prg_rows(), 0);
    EXPECT_EQ(release_notes_on, 0);
}

TEST_F(Jobs, AdditionalParametersOnlyForTestCleanAndBatch)
{
    GtkWidget *entry = gtk_bin_get_child(GTK_BIN(W("comboboxentry_additional_params")));
    gtk_entry_set_text(GTK_ENTRY(entry), "  ");
    on_core_test_activate();
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite    -t \"" + tape + "\"\n");
    common_log_clear();
    on_menutoolbutton_convert_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(log_text(), executable() + "-doprg -prgunite -ct1 \"" + tape + "\" \n" +
                              written(tapes + "/converted.it's a game.tap"));
}

// Outputs are checked: one that was not written is said in a dialog.
TEST_F(Jobs, RecordAndConvertThatWriteNothingSaySo)
{
    g_setenv("QM_FAKE_SILENT", "1", TRUE);
    gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_record_as_microsoft_wav")));
    auto dialog = answer_error_dialog();
    on_menutoolbutton_recordaudio_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(dialog->find("Nothing was written: the console program did not write " + tapes + "/it's a game.wav"),
              std::string::npos)
        << *dialog;
    EXPECT_NE(dialog->find("exit status 3"), std::string::npos) << *dialog;
    EXPECT_EQ(log_text().find("Written:"), std::string::npos);

    // An old converted tape beside the source is not this job's output.
    write_file(tapes + "/converted.it's a game.tap", "old");
    dialog = answer_error_dialog();
    on_menutoolbutton_convert_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(dialog->find("Nothing was written: the console program did not write " + tapes +
                           "/converted.it's a game.tap"),
              std::string::npos)
        << *dialog;
    EXPECT_NE(dialog->find("wrote no report"), std::string::npos) << *dialog;
}

TEST_F(Jobs, RecordWithAMissingConsoleSaysSo)
{
    g_remove((console.folder + "/quillmar").c_str());
    auto dialog = answer_error_dialog();
    on_menutoolbutton_recordaudio_clicked(nullptr, nullptr);
    ASSERT_TRUE(wait_for_job_end());
    ASSERT_TRUE(wait_for_dialogs_answered());
    EXPECT_NE(dialog->find("The console program could not be run"), std::string::npos) << *dialog;
    EXPECT_NE(dialog->find("Nothing was written: " + tapes + "/it's a game.wav"), std::string::npos) << *dialog;
}

TEST_F(Jobs, DropWhenIdleStartsATestOfTheDroppedFile)
{
    gchar *uri = g_filename_to_uri(tape.c_str(), nullptr, nullptr);
    std::string list = std::string(uri) + "\r\n";
    g_free(uri);
    GtkSelectionData data = {};
    data.target = data.type = gdk_atom_intern("text/uri-list", FALSE);
    data.format = 8;
    data.display = gdk_display_get_default();
    data.data = reinterpret_cast<guchar *>(list.data());
    data.length = gint(list.size());
    EXPECT_TRUE(main_window_accept_drop(&data));
    ASSERT_TRUE(wait_for_job_end());
    EXPECT_EQ(console.arguments(), (std::vector<std::string>{"-doprg", "-prgunite", "-t", tape}));
}

TEST_F(Jobs, EveryJobStartsWithAnEmptyRepairPage)
{
    const char *labels[] = {"label_cbm_file_repair_faulty_current",     "label_cbm_file_repair_faulty_total",
                            "label_cbm_file_repair_faulty_size_current", "label_cbm_file_repair_healthy_index",
                            "label_cbm_file_repair_healthy_pulses",     "label_cbm_file_repair_healthy_data_pulses",
                            "label_cbm_file_repair_healthy_id",         "label_cbm_file_repair_healthy_type"};
    for (const auto &start : std::vector<std::function<void()>>{
             [] { on_core_test_activate(); }, [] { on_toolbutton_clean_clicked(nullptr, nullptr); },
             [] { on_menutoolbutton_convert_clicked(nullptr, nullptr); },
             [] { on_menutoolbutton_recordaudio_clicked(nullptr, nullptr); },
             [this] {
                 answer_batch_dialog(tapes);
                 on_toolbutton_batch_clicked(nullptr, nullptr);
             }}) {
        for (const char *name : labels)
            gtk_label_set_text(GTK_LABEL(W(name)), "7");
        gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_cbm_file_repair"))), "old", -1);
        start();
        for (const char *name : labels)
            EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(W(name))), "-") << name;
        EXPECT_EQ(text_view_text("textview_cbm_file_repair"), "");
        EXPECT_EQ(gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_cbm_file_repair_faulty_files"))), nullptr);
        ASSERT_TRUE(wait_for_job_end());
    }
}
