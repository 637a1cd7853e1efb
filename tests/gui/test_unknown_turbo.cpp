// An unknown turbo stretch in the window: its own colour on the tape layout
// bar (every part of a chain of them), its measured lengths on the Pulse
// Statistics page, and a right-click on its row that saves its bytes for
// study.
#include "harness.h"

#include "core/cbmencode.h"
#include "core/tapescan.h"
#include "core/turbodescribe.h"
#include "core/pulsestats.h"
#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/pulsestats_page.h"
#include "gui/report.h"
#include "gui/report_bar.h"

#include <glib/gstdio.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace {

using Bytes = std::vector<uint8_t>;

class UnknownTurbo : public GuiTest {
protected:
    std::string folder, tape;
    Bytes data;  // the program the turbo carries
    TapeScan scan;

    void SetUp() override
    {
        GuiTest::SetUp();
        folder = tmp + "/console";
        g_mkdir(folder.c_str(), 0700);
        replace_owned_string(utf8_path_consolelocation, folder.c_str());
        // A loader nobody knows: pulses $2C/$50, most significant bit first,
        // a pilot of $71 x 256, the sync $99, then a real program's bytes.
        const std::string prg = read_file(std::string(QM_BUILD_DIR) + "/samples/prg/mcode-demo.prg");
        for (int k = 0; k < 8; ++k)
            data.insert(data.end(), prg.begin(), prg.end());
        Bytes t = tap_file_header(1, false, false, 0);
        const auto byte = [&](uint8_t v) {
            for (int b = 7; b >= 0; --b)
                t.push_back((v >> b) & 1 ? 0x50 : 0x2C);
        };
        for (int k = 0; k < 256; ++k)
            byte(0x71);
        byte(0x99);
        for (uint8_t v : data)
            byte(v);
        t.insert(t.end(), {0x00, 0x40, 0x42, 0x0F});  // a second of silence
        adopt(t);
    }

    // Makes `t` the tape of the test.
    void adopt(Bytes t)
    {
        tap_fix_data_size(t);
        tape = tmp + "/unknown 'turbo'.tap";
        write_file(tape, std::string(t.begin(), t.end()));
        scan = scan_tape(t.data(), t.size());
        replace_owned_string(utf8_path_lasttestedTAP, tape.c_str());
        replace_owned_string(utf8_path_lasttestedfolder, tmp.c_str());
    }

    // A loader of three lengths ($24, $42, and $56 for the bits 1 0), its
    // blocks each after a pause: a pilot of 0 bits, a 1, the sync $66, a
    // part of the program.
    void adopt_three_length_chain(std::size_t blocks)
    {
        Bytes t = tap_file_header(1, false, false, 0);
        int pending = -1;
        const auto bit = [&](int b) {
            if (pending == 1 && b == 0) {
                t.push_back(0x56);
                pending = -1;
                return;
            }
            if (pending >= 0)
                t.push_back(pending ? 0x42 : 0x24);
            pending = b;
        };
        const auto byte = [&](uint8_t v) {
            for (int b = 7; b >= 0; --b)
                bit((v >> b) & 1);
        };
        const std::size_t share = data.size() / blocks;
        for (std::size_t k = 0; k < blocks; ++k) {
            for (int i = 0; i < 1000; ++i)
                bit(0);
            bit(1);
            byte(0x66);
            for (std::size_t i = k * share; i < (k + 1) * share; ++i)
                byte(data[i]);
            for (int i = 0; i < 32; ++i)
                bit(0);
            bit(0);
            t.insert(t.end(), {0x00, 0x20, 0xA1, 0x07});  // half a second of silence
        }
        adopt(t);
    }

    // The report the console writes of that tape.
    void load_report()
    {
        std::string r = "TAP Name    : " + tape + "\nTAP Size    : " + std::to_string(read_file(tape).size()) +
                        " bytes\nChecksum test     : FAIL - no file with a checksum was found\n"
                        "Read test         : PASS - 0 read errors\n\n";
        for (const TapeEntry &e : scan.entries) {
            char location[160];
            std::snprintf(location, sizeof location, "Location: $%04" PRIX64 " -> $%04" PRIX64 " -> $%04" PRIX64
                          " -> $%04" PRIX64 "\n", e.start, e.inner_start, e.inner_end, e.end);
            r += "File Type: " + e.type + "\n" + location;
            if (!e.description.empty())
                r += e.description + "\n";
            r += "\n";
        }
        write_file(folder + "/qmreport.txt", r);
        report_read_report_file(0);
        report_read_report_file_interactive(0);
    }

    const TapeEntry &turbo_entry() const
    {
        return *std::find_if(scan.entries.begin(), scan.entries.end(),
                             [](const TapeEntry &e) { return e.type == ENTRY_TYPE_UNKNOWN_TURBO; });
    }

    int turbo_row() const
    {
        return int(std::find_if(scan.entries.begin(), scan.entries.end(),
                                [](const TapeEntry &e) { return e.type == ENTRY_TYPE_UNKNOWN_TURBO; }) -
                   scan.entries.begin());
    }

    void select_row(int row)
    {
        GtkTreePath *path = gtk_tree_path_new_from_indices(row, -1);
        gtk_tree_view_set_cursor(GTK_TREE_VIEW(W("treeview_file_list")), path, nullptr, FALSE);
        gtk_tree_path_free(path);
    }

    // The Interactive report on show, its layout bar drawn at its width.
    bool show_layout_bar()
    {
        gtk_window_resize(GTK_WINDOW(mainwindow), 900, 600);
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 0);
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_report")), 1);
        GtkWidget *area = W("drawingarea_tape_contents");
        return wait_for_window_width(900) &&
               wait_for("the layout bar on show", [&] { return GTK_WIDGET_MAPPED(area) && area->allocation.width > 100; });
    }

    // The colour of the layout bar in the middle of an entry.
    guint32 bar_colour_of(const TapeEntry &e)
    {
        GtkWidget *area = W("drawingarea_tape_contents");
        const double total = double(read_file(tape).size() - 20);
        const int x = int((e.start + e.end) / 2.0 / total * (area->allocation.width - 1));
        GdkPixbuf *picture = gdk_pixbuf_get_from_drawable(nullptr, report_bar_pixmap(), nullptr, x,
                                                          area->allocation.height / 2, 0, 0, 1, 1);
        const guchar *p = gdk_pixbuf_get_pixels(picture);
        const guint32 rgb = guint32((p[0] << 16) | (p[1] << 8) | p[2]);
        g_object_unref(picture);
        return rgb;
    }

    // The visible pop-up item of that name, after the list's pop-up key.
    GtkWidget *popup_item(const char *name)
    {
        gboolean handled = FALSE;
        g_signal_emit_by_name(W("treeview_file_list"), "popup_menu", &handled);
        GtkWidget *item = nullptr;
        GList *toplevels = gtk_window_list_toplevels();
        for (GList *t = toplevels; t; t = t->next)
            if (GtkWidget *found = find_named(GTK_WIDGET(t->data), name))
                if (GTK_WIDGET_VISIBLE(found))
                    item = found;
        g_list_free(toplevels);
        return item;
    }
};

guint32 named_colour(const char *name)
{
    GdkColor colour;
    gdk_color_parse(name, &colour);
    return guint32(((colour.red >> 8) << 16) | ((colour.green >> 8) << 8) | (colour.blue >> 8));
}

} // namespace

TEST_F(UnknownTurbo, TheTapeHoldsOneStretchTheConsoleWouldDescribe)
{
    ASSERT_EQ(std::count_if(scan.entries.begin(), scan.entries.end(),
                            [](const TapeEntry &e) { return e.type == ENTRY_TYPE_UNKNOWN_TURBO; }),
              1);
    EXPECT_EQ(turbo_entry().description.rfind("Turbo: threshold ", 0), 0u) << turbo_entry().description;
    EXPECT_NE(turbo_entry().description.find("MSB first, pilot $71 x 256, then $99"), std::string::npos)
        << turbo_entry().description;
}

TEST_F(UnknownTurbo, HasItsOwnColourOnTheBarAndCountsAsUnrecognised)
{
    ASSERT_TRUE(show_layout_bar());
    load_report();
    settle();
    const double total = double(read_file(tape).size() - 20);
    const guint32 rgb = bar_colour_of(turbo_entry());
    EXPECT_EQ(rgb, named_colour(UNKNOWN_TURBO_COLOUR));
    EXPECT_NE(rgb, named_colour("red"));
    EXPECT_NE(rgb, named_colour("green"));
    // Nothing was verified: the recognition bar leaves it out (only the
    // pause after it counts).
    double pause = 0;
    for (const TapeEntry &entry : scan.entries)
        if (entry.kind == EntryKind::Pause)
            pause += double(entry.end + 1 - entry.start);
    char expected[32];
    std::snprintf(expected, sizeof expected, "%.6f%%", 100.0 * pause / total);
    const gchar *recognition = gtk_progress_bar_get_text(GTK_PROGRESS_BAR(W("progressbar_recognition")));
    ASSERT_NE(recognition, nullptr);
    EXPECT_EQ(std::string(recognition), expected);
    save_screenshot(mainwindow, "unknown-turbo-report");
}

TEST_F(UnknownTurbo, ARightClickOnItsRowSavesItsBytes)
{
    load_report();
    // Other rows (the pause after it) offer no such thing.
    ASSERT_GE(scan.entries.size(), 2u);
    select_row(turbo_row() == 0 ? 1 : 0);
    ASSERT_NE(popup_item("popupmenu_report_show_in_graphical_tape_analysis_tool"), nullptr);
    EXPECT_EQ(popup_item("popupmenu_report_save_unknown_turbo_bytes"), nullptr);
    select_row(turbo_row());
    GtkWidget *item = popup_item("popupmenu_report_save_unknown_turbo_bytes");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(std::string(gtk_menu_item_get_label(GTK_MENU_ITEM(item))), "Save bytes...");
    const std::string target = tmp + "/bytes of the turbo.bin";
    const std::string before = read_file(tape);
    answer_dialog("Save bytes", [&](GtkWidget *dialog) {
        char expected[64];
        std::snprintf(expected, sizeof expected, "unknown 'turbo'-%03d-UNKNOWN-TURBO.bin", turbo_row() + 1);
        EXPECT_EQ(chooser_current_name(dialog), expected);
        choose_file_and_accept(dialog, target);
    });
    gtk_menu_item_activate(GTK_MENU_ITEM(item));
    ASSERT_TRUE(wait_for_dialogs_answered());
    const std::string text = read_file(target);
    const Bytes saved(text.begin(), text.end());
    EXPECT_EQ(saved, turbo_entry().payload);
    EXPECT_NE(std::search(saved.begin(), saved.end(), data.begin(), data.end()), saved.end())
        << "the program's bytes are among them";
    EXPECT_EQ(read_file(tape), before) << "the tape changed";
    EXPECT_NE(log_text().find("written to " + target), std::string::npos) << log_text();
}

TEST_F(UnknownTurbo, PulseStatisticsMarksItsTwoLengths)
{
    ASSERT_TRUE(attach_tape_from_command_line(tape.c_str()));
    gtk_window_resize(GTK_WINDOW(mainwindow), 900, 600);
    ASSERT_TRUE(wait_for_window_width(900));
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 4);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_tools")), 4);
    settle();
    gtk_button_clicked(GTK_BUTTON(W("button_pulse_statistics_compute")));
    settle();
    EXPECT_EQ(pulse_statistics_histogram().unknown_turbo, (std::vector<uint8_t>{0x2C, 0x50}));
    EXPECT_TRUE(pulse_statistics_histogram().ideals.empty()) << "nothing ideal is known of it";
    save_screenshot(mainwindow, "unknown-turbo-pulse-statistics");
}

TEST_F(UnknownTurbo, EveryPartOfAChainIsOrangeAndItsThreeLengthsAreMarked)
{
    adopt_three_length_chain(4);
    std::vector<const TapeEntry *> parts;
    for (const TapeEntry &e : scan.entries)
        if (e.type == ENTRY_TYPE_UNKNOWN_TURBO)
            parts.push_back(&e);
    ASSERT_EQ(parts.size(), 4u);
    EXPECT_NE(parts[1]->description.find("part 2 of 4 between pauses"), std::string::npos) << parts[1]->description;
    EXPECT_NE(parts[1]->description.find("(the longest two bits, 1 0)"), std::string::npos) << parts[1]->description;

    ASSERT_TRUE(show_layout_bar());
    load_report();
    settle();
    for (const TapeEntry *e : parts)
        EXPECT_EQ(bar_colour_of(*e), named_colour(UNKNOWN_TURBO_COLOUR)) << e->description;
    save_screenshot(mainwindow, "unknown-turbo-chain-report");

    ASSERT_TRUE(attach_tape_from_command_line(tape.c_str()));
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 4);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_tools")), 4);
    settle();
    gtk_button_clicked(GTK_BUTTON(W("button_pulse_statistics_compute")));
    settle();
    const std::vector<uint8_t> marks = pulse_statistics_histogram().unknown_turbo;
    ASSERT_EQ(marks.size(), 3u);
    EXPECT_NEAR(marks[0], 0x24, 1);
    EXPECT_NEAR(marks[1], 0x42, 1);
    EXPECT_NEAR(marks[2], 0x56, 1);
    save_screenshot(mainwindow, "unknown-turbo-chain-pulse-statistics");
}
