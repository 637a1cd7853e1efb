// The whole road of a Test with the real console program on the sample
// tapes: attach, Test, report rows, test images, recognition, PRG files.
#include "harness.h"

#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/console.h"
#include "gui/report.h"
#include "gui/scanners.h"
#include "core/loaders/registry.h"
#include "core/loaders/turbo.h"
#include "core/tapewrite.h"

#include <glib/gstdio.h>

#include <algorithm>
#include <functional>

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
    // Copies a sample tape into the tape folder, then drops and tests it.
    void attach_and_test(const std::string &sample)
    {
        const std::string tape = tapes + "/" + sample;
        write_file(tape, read_file(std::string(QM_BUILD_DIR "/samples/") + sample));
        drop_and_test(tape);
    }
    void drop_and_test(const std::string &tape)
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
        ASSERT_TRUE(main_window_accept_drop(&data)); // a drop starts the Test
        ASSERT_TRUE(wait_for_job_end());
    }
    // Runs a console job started by `start` to its end.
    void run_job(const std::function<void()> &start)
    {
        start();
        ASSERT_TRUE(wait_for_job_end());
    }
    void click(const char *name) { gtk_button_clicked(GTK_BUTTON(W(name))); }
    // Every C64 ROM copy of the last report passed its checkbyte test with no read error.
    void expect_every_copy_passes()
    {
        int copies = 0;
        for (const ReportEntry &e : report_model_entries()) {
            EXPECT_FALSE(e.read_errors.has_value()) << e.index;
            if (e.type.rfind("C64 ROM-TAPE", 0) != 0)
                continue;
            ++copies;
            EXPECT_EQ(e.checkbyte, std::optional<std::string>("OK")) << e.index;
        }
        EXPECT_GT(copies, 0);
        EXPECT_EQ(stock("image_checkbyte_test"), "gtk-yes");
        EXPECT_EQ(stock("image_read_test"), "gtk-yes");
    }
    int entries_of_type(const char *type)
    {
        int count = 0;
        for (const ReportEntry &e : report_model_entries())
            count += e.type == type;
        return count;
    }
    // The bytes of the PRG files the console program wrote, by name.
    std::vector<std::string> written_prgs()
    {
        std::vector<std::string> out;
        for (const std::string &name : prg_names())
            out.push_back(read_file(console + "/prg/" + name));
        std::sort(out.begin(), out.end());
        return out;
    }
    static std::vector<std::string> sorted(std::vector<std::string> v)
    {
        std::sort(v.begin(), v.end());
        return v;
    }
    static std::string sample_prg(const char *name) { return read_file(std::string(QM_BUILD_DIR "/samples/prg/") + name); }
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

TEST_F(EndToEnd, ATapeOfWhichNothingIsRecognisedIsNoGreenLight)
{
    // Nothing was checked: the checksum test is no pass, whatever else.
    const std::string tape = tapes + "/blank tape's hiss.tap";
    std::string bytes = read_file(std::string(QM_BUILD_DIR "/samples/two-programs.tap")).substr(0, 20);
    uint32_t x = 5;
    for (int k = 0; k < 30000; ++k) {
        x = x * 1103515245u + 12345u;
        bytes += char(0x08 + (x >> 16) % 0xA0);
    }
    const uint32_t size = uint32_t(bytes.size() - 20);
    for (int b = 0; b < 4; ++b)
        bytes[16 + b] = char((size >> (8 * b)) & 0xFF);
    write_file(tape, bytes);
    drop_and_test(tape);
    EXPECT_TRUE(report_has_been_produced());
    EXPECT_NE(stock("image_checkbyte_test"), "gtk-yes");
    EXPECT_NE(text_view_text("textview_report").find("Checksum test     : FAIL - no file with a checksum was found"),
              std::string::npos);
    EXPECT_NE(text_view_text("textview_report").find("Recognised  : 0.0 % of the tape in recognised files"),
              std::string::npos);
    EXPECT_TRUE(prg_names().empty());
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

TEST_F(EndToEnd, CleanWritesTheCleanedTapeBesideTheSourceAndReportsOnIt)
{
    attach_and_test("two-programs.tap");
    const std::string source = tapes + "/two-programs.tap";
    const std::string before = sha256_of(source);
    run_job([] { gtk_button_clicked(GTK_BUTTON(gtk_bin_get_child(GTK_BIN(W("toolbutton_clean"))))); });
    const std::string cleaned = tapes + "/clean.two-programs.tap";
    EXPECT_EQ(std::string(utf8_path_lasttestedTAP), cleaned);
    EXPECT_TRUE(g_file_test(cleaned.c_str(), G_FILE_TEST_IS_REGULAR));
    EXPECT_NE(text_view_text("textview_report").find("TAP Name    : " + cleaned), std::string::npos);
    expect_every_copy_passes();
    EXPECT_EQ(written_prgs(), sorted({sample_prg("hello-basic.prg"), sample_prg("mcode-demo.prg")}));
    EXPECT_EQ(sha256_of(source), before);
}

TEST_F(EndToEnd, ConvertToVersionZeroKeepsEveryFile)
{
    attach_and_test("two-programs.tap");
    gtk_menu_item_activate(GTK_MENU_ITEM(W("menuitem_convert_to_tap_v_0")));
    run_job([] { on_menutoolbutton_convert_clicked(nullptr, nullptr); });
    const std::string converted = tapes + "/converted.two-programs.tap";
    EXPECT_EQ(std::string(utf8_path_lasttestedTAP), converted);
    const std::string bytes = read_file(converted);
    ASSERT_GT(bytes.size(), 20u);
    EXPECT_EQ(bytes[12], '\0');
    EXPECT_NE(text_view_text("textview_report").find("TAP Name    : " + converted), std::string::npos);
    expect_every_copy_passes();
    EXPECT_EQ(prg_names().size(), 2u);
}

TEST_F(EndToEnd, RepairOfADamagedFirstCopyTestsClean)
{
    attach_and_test("damaged-first-copy.tap");
    const std::string source = tapes + "/damaged-first-copy.tap";
    const std::string before = sha256_of(source);
    click("button_cbm_file_repair_analyze");
    EXPECT_NE(text_view_text("textview_cbm_file_repair").find("Faulty CBM region count: 1 - Can be fixed: 1\n"),
              std::string::npos);
    click("button_cbm_file_repair_fix_all");
    EXPECT_EQ(take_friendly_dialog("CBM File Repair"), "Operation finished. Check file:\nrepaired_damaged-first-copy.tap");
    EXPECT_EQ(sha256_of(source), before);

    drop_and_test(tapes + "/repaired_damaged-first-copy.tap");
    expect_every_copy_passes();
    EXPECT_EQ(written_prgs(), std::vector<std::string>{sample_prg("sys-boot.prg")});
}

TEST_F(EndToEnd, ExcludingTheNoiseLeavesATapeOfTheSamePrograms)
{
    attach_and_test("noise-between-files.tap");
    const std::string source = tapes + "/noise-between-files.tap";
    const std::string before = sha256_of(source);
    click("button_tape_editor_exclude_unrecognized");
    click("button_tape_editor_save_tape_as");
    EXPECT_EQ(take_friendly_dialog("Tape Editor"), "Operation finished. Check file:\nedited_noise-between-files.tap");
    EXPECT_EQ(sha256_of(source), before);

    drop_and_test(tapes + "/edited_noise-between-files.tap");
    EXPECT_EQ(entries_of_type("UNRECOGNIZED"), 0);
    expect_every_copy_passes();
    EXPECT_EQ(written_prgs(), sorted({sample_prg("hello-basic.prg"), sample_prg("sys-boot.prg")}));
}

TEST_F(EndToEnd, SplitGivesOneCleanTapePerProgram)
{
    attach_and_test("noise-between-files.tap");
    const std::string source = tapes + "/noise-between-files.tap";
    const std::string before = sha256_of(source);
    click("button_tape_split_analyze");
    EXPECT_EQ(take_friendly_dialog("Analysis completed").rfind("The automatic analysis has completed", 0), 0u);
    click("button_tape_split_split");
    EXPECT_EQ(take_friendly_dialog("Split tape").rfind("The split process has completed.", 0), 0u);
    EXPECT_EQ(sha256_of(source), before);

    std::vector<std::string> pieces;
    GDir *dir = g_dir_open(tapes.c_str(), 0, nullptr);
    while (const gchar *name = g_dir_read_name(dir))
        if (g_str_has_prefix(name, "splitted-"))
            pieces.push_back(tapes + "/" + name);
    g_dir_close(dir);
    std::sort(pieces.begin(), pieces.end());
    ASSERT_EQ(pieces.size(), 2u);
    const std::string expected[] = {sample_prg("hello-basic.prg"), sample_prg("sys-boot.prg")};
    for (size_t i = 0; i < pieces.size(); ++i) {
        drop_and_test(pieces[i]);
        expect_every_copy_passes();
        EXPECT_EQ(written_prgs(), std::vector<std::string>{expected[i]}) << pieces[i];
    }
}

TEST_F(EndToEnd, TurboSampleFillsTheReportAndTheThresholdLeavesAScannerOut)
{
    // The console folder with the program's own list of scanners: the
    // Scanners page shows every turbo scanner.
    write_file(console + "/scanners.txt", read_file(QM_BUILD_DIR "/scanners.txt"));
    scanners_reload(console.c_str());
    ASSERT_EQ(scanners_read_rows().size(), 1 + turbo_loaders().size());
    int lowest = 9;
    for (std::size_t i = 0; i < turbo_loaders().size(); ++i) {
        const ScannerRow row = scanners_read_rows()[i + 1];
        EXPECT_EQ(row.id, turbo_loaders()[i].id);
        EXPECT_TRUE(row.included);
        lowest = std::min(lowest, row.frequency);
    }

    attach_and_test("turbo-mix.tap");
    EXPECT_EQ(stock("image_checkbyte_test"), "gtk-yes");
    EXPECT_EQ(stock("image_read_test"), "gtk-yes");
    EXPECT_EQ(entries_of_type("TURBOTAPE-250 HEADER"), 2);
    EXPECT_EQ(entries_of_type("TURBOTAPE-250 DATA"), 2);
    EXPECT_EQ(entries_of_type("UNRECOGNIZED"), 0);
    // Every program in its PRG file: per loader a boot file and the two samples.
    const std::vector<std::string> prgs = written_prgs();
    // Pictures for a person to look at: the report of the turbo sample and
    // the Scanners page with the program's list.
    gtk_window_resize(GTK_WINDOW(mainwindow), 900, 640);
    wait_for_window_width(900);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 0);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "turbo_sample_report").empty());
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 0);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "turbo_sample_report_plain").empty());
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 1);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "turbo_scanners_page").empty());
    const long c64_loaders = std::count_if(turbo_loaders().begin(), turbo_loaders().end(),
                                           [](const TurboLoader &l) { return l.scanner->platforms & SCAN_FOR_C64; });
    EXPECT_EQ(std::count(prgs.begin(), prgs.end(), sample_prg("mcode-demo.prg")), c64_loaders);
    EXPECT_EQ(std::count(prgs.begin(), prgs.end(), sample_prg("hello-basic.prg")), c64_loaders);

    // The threshold one above the lowest rating leaves the rarest loaders
    // out: "-noID" for each on the command line, their blocks unrecognised.
    gtk_range_set_value(GTK_RANGE(W("vscale_frequency_threshold")), lowest + 1);
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(W("textview_log"))), "", -1);
    run_job([] { gtk_button_clicked(GTK_BUTTON(gtk_bin_get_child(GTK_BIN(W("toolbutton_test"))))); });
    const std::string log = log_text();
    const std::string report = text_view_text("textview_report");
    for (const TurboLoader &l : turbo_loaders()) {
        const bool out = l.rating < lowest + 1;
        EXPECT_EQ(log.find(std::string("-no") + l.id + " ") != std::string::npos, out) << l.id << "\n" << log;
        EXPECT_EQ(report.find(std::string(", ") + l.id) == std::string::npos, out) << l.id;
    }
    // Their blocks are no files: unrecognised, or described as an unknown
    // turbo where their shape is plain enough (still unrecognised).
    EXPECT_GT(entries_of_type("UNRECOGNIZED") + entries_of_type("UNKNOWN TURBO"), 0);
}

TEST_F(EndToEnd, SplitCutsBeforeEveryTurboTapeHeader)
{
    attach_and_test("turbo-mix.tap");
    ASSERT_EQ(entries_of_type("TURBOTAPE-250 HEADER"), 2);
    click("button_tape_split_analyze");
    take_friendly_dialog("Analysis completed");
    // The rows whose cut comes first are those of the headers.
    int marked_headers = 0;
    for (const ReportEntry &e : report_model_entries())
        if (e.split_mark) {
            EXPECT_TRUE(e.type == "TURBOTAPE-250 HEADER" || e.type == "C64 ROM-TAPE HEADER") << e.type;
            marked_headers += e.type == "TURBOTAPE-250 HEADER";
        }
    EXPECT_EQ(marked_headers, 2);
}

// Pictures of the tool pages at work on a damaged sample, for a person to look at.
TEST_F(EndToEnd, ToolPagesWithADamagedSample)
{
    gtk_window_resize(GTK_WINDOW(mainwindow), 900, 640);
    ASSERT_TRUE(wait_for_window_width(900));
    attach_and_test("damaged-first-copy.tap");
    click("button_cbm_file_repair_analyze");
    click("button_tape_split_analyze");
    take_friendly_dialog("Analysis completed");
    gtk_expander_set_expanded(GTK_EXPANDER(W("expander_cbm_file_repair_region_breakdown")), TRUE);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 4);
    GtkNotebook *tools = GTK_NOTEBOOK(W("notebook_tools"));
    const char *const pages[] = {"vbox_tape_editor", "vbox_tape_split", "vbox_cbm_file_repair"};
    for (const char *page : pages) {
        gtk_notebook_set_current_page(tools, gtk_notebook_page_num(tools, W(page)));
        settle();
        EXPECT_FALSE(save_screenshot(mainwindow, std::string("tool_") + page).empty());
    }
    EXPECT_EQ(std::string(gtk_label_get_text(GTK_LABEL(W("label_cbm_file_repair_faulty_total")))), "1");
}

// Debug mode ("Allow detected files to overlap"): a CHR block hidden under
// the trailer of the Freeload block before it shows in the report as a row
// of its own, overlapping; the window takes the overlapping rows in stride.
TEST_F(EndToEnd, DebugModeShowsAFileHiddenUnderAnother)
{
    std::vector<uint8_t> tap = tap_file_header(1, false, false, 0);
    std::vector<uint8_t> first(300), second(200);
    for (std::size_t i = 0; i < first.size(); ++i)
        first[i] = uint8_t(i * 13 + 1);
    for (std::size_t i = 0; i < second.size(); ++i)
        second[i] = uint8_t(i * 7 + 5);
    turbo::Writer freeload(tap, turbo::Format{360, 0x24, 0x41, turbo::BitOrder::MsbFirst});
    freeload.repeat_byte(0x40, 64);
    freeload.bytes({0x5A, 0x00, 0x10, 0x2C, 0x11});
    freeload.bytes(first);
    freeload.byte(turbo::xor_of(first.data(), first.size()));
    turbo::Writer chr(tap, turbo::Format{263, 0x1A, 0x2A, turbo::BitOrder::MsbFirst});
    chr.repeat_byte(0x63, 300);
    for (unsigned v = 0x64; v <= 0xFF; ++v)
        chr.byte(uint8_t(v));
    chr.bytes({0x01, 0x00, 0x40, 0xC8, 0x40, 0x00, 0x40, 0, 0, 0, 0});
    chr.bytes(second);
    chr.byte(turbo::xor_of(second.data(), second.size()));
    chr.zeros(32);
    tap_fix_data_size(tap);
    const std::string tape = tapes + "/hidden chr.tap";
    write_file(tape, std::string(tap.begin(), tap.end()));
    const std::string before = sha256_of(tape);

    drop_and_test(tape);
    EXPECT_EQ(entries_of_type("CHR"), 0);
    EXPECT_EQ(entries_of_type("UNRECOGNIZED"), 1);

    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_debug")), TRUE);
    drop_and_test(tape);
    ASSERT_EQ(entries_of_type("CHR"), 1);
    const std::vector<ReportEntry> rows = report_model_entries();
    ASSERT_GE(rows.size(), 3u);
    EXPECT_EQ(rows[0].type, "FREELOAD");
    EXPECT_EQ(rows[1].type, "CHR");
    EXPECT_LT(rows[1].start, rows[0].end);  // it lies under the Freeload block's trailer
    EXPECT_EQ(rows[1].checkbyte, std::optional<std::string>("OK"));
    EXPECT_EQ(stock("image_checkbyte_test"), "gtk-yes");
    EXPECT_EQ(stock("image_read_test"), "gtk-yes");  // its lead-in is the Freeload block's end
    EXPECT_EQ(prg_names().size(), 2u);
    EXPECT_EQ(sha256_of(tape), before);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
    EXPECT_FALSE(save_screenshot(mainwindow, "debug_overlapping_rows").empty());
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("checkbutton_debug")), FALSE);
}
