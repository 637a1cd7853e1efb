// The whole road of a Test with the real console program on the sample
// tapes: attach, Test, report rows, test images, recognition, PRG files.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/console.h"
#include "gui/report.h"

#include <glib/gstdio.h>

namespace {

class EndToEnd : public GuiTest {
protected:
    std::string console, tapes;
    void SetUp() override
    {
        GuiTest::SetUp();
        // A private copy of the console program: its report and PRG folder stay here.
        // (An apostrophe in the console location breaks the single-quoted
        // executable, as the command line is built; the tape path may have one.)
        console = tmp + "/console \xC3\xA9";
        tapes = tmp + "/my tape's";
        g_mkdir_with_parents(console.c_str(), 0700);
        g_mkdir_with_parents(tapes.c_str(), 0700);
        write_file(console + "/quillmar", read_file(QM_QUILLMAR));
        g_chmod((console + "/quillmar").c_str(), 0755);
        replace_owned_string(utf8_path_consolelocation, console.c_str());
    }
    void attach_and_test(const std::string &sample)
    {
        const std::string tape = tapes + "/" + sample;
        write_file(tape, read_file(std::string(QM_BUILD_DIR "/samples/") + sample));
        gchar *uri = g_filename_to_uri(tape.c_str(), nullptr, nullptr);
        std::string list = std::string(uri) + "\r\n";
        g_free(uri);
        GtkSelectionData data = {};
        data.target = data.type = gdk_atom_intern("text/uri-list", FALSE);
        data.format = 8;
        data.display = gdk_display_get_default();
        data.data = reinterpret_cast<guchar *>(list.data());
        data.length = gint(list.size());
        ASSERT_TRUE(main_window_accept_drop(&data)); // a drop starts the Test
        ASSERT_TRUE(pump_until([] { return thread_busy == 0 && console_command == nullptr; }, 30000));
    }
    int rows() { return gtk_tree_model_iter_n_children(GTK_TREE_MODEL(report_file_list_model()), nullptr); }
    std::string stock(const char *image)
    {
        gchar *id = nullptr;
        gtk_image_get_stock(GTK_IMAGE(W(image)), &id, nullptr);
        return id ? id : "";
    }
    std::vector<std::string> prg_names()
    {
        std::vector<std::string> out;
        GtkTreeModel *model = gtk_tree_view_get_model(GTK_TREE_VIEW(W("treeview_prgfiles")));
        GtkTreeIter iter;
        for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok; ok = gtk_tree_model_iter_next(model, &iter)) {
            gchar *name = nullptr;
            gtk_tree_model_get(model, &iter, 0, &name, -1);
            out.push_back(name);
            g_free(name);
        }
        return out;
    }
};

} // namespace

TEST_F(EndToEnd, TestOfTwoProgramsShowsEveryFileHealthy)
{
    attach_and_test("two-programs.tap");
    EXPECT_TRUE(report_has_been_produced());
    // Two programs: header and data, FIRST and REPEAT each, with pauses between.
    EXPECT_GE(rows(), 8);
    EXPECT_EQ(stock("image_checkbyte_test"), "gtk-yes");
    EXPECT_EQ(stock("image_read_test"), "gtk-yes");
    const std::string recognition = gtk_progress_bar_get_text(GTK_PROGRESS_BAR(W("progressbar_recognition")));
    EXPECT_NE(recognition, "N/A");
    EXPECT_EQ(prg_names().size(), 2u);
    for (const ReportEntry &e : report_model_entries())
        if (e.type.rfind("C64 ROM-TAPE", 0) == 0) {
            EXPECT_EQ(e.checkbyte, std::optional<std::string>("OK")) << e.index;
            EXPECT_FALSE(e.read_errors.has_value()) << e.index;
        }
    EXPECT_NE(text_view_text("textview_report").find("TAP Name    : " + tapes + "/two-programs.tap"), std::string::npos);
}

TEST_F(EndToEnd, DamagedFirstCopyFailsItsCheckbyteYetThePrgIsWritten)
{
    attach_and_test("damaged-first-copy.tap");
    EXPECT_EQ(stock("image_checkbyte_test"), "gtk-no");
    int failed = 0;
    for (const ReportEntry &e : report_model_entries())
        if (e.checkbyte == std::optional<std::string>("FAIL"))
            ++failed;
    EXPECT_EQ(failed, 1);
    EXPECT_EQ(prg_names().size(), 1u);
}

TEST_F(EndToEnd, NoiseBetweenFilesIsUnrecognizedAndBothProgramsAreFound)
{
    attach_and_test("noise-between-files.tap");
    int unrecognized = 0;
    for (const ReportEntry &e : report_model_entries())
        if (e.type.rfind("UNRECOGNIZED", 0) == 0)
            ++unrecognized;
    EXPECT_GE(unrecognized, 1);
    EXPECT_EQ(prg_names().size(), 2u);
}
