// The Tape Analysis page: parse, layouts, scrolling, the wheel, moving to a
// file offset and the snapshot.
#include "harness.h"

#include "core/cbmencode.h"
#include "core/pulsemap.h"
#include "gui/analysis.h"
#include "gui/appstate.h"

#include <glib/gstdio.h>

namespace {

class Analysis : public GuiTest {
protected:
    std::string tape;
    std::vector<uint8_t> bytes;
    void SetUp() override
    {
        GuiTest::SetUp();
        PrgInput program;
        program.bytes = {0x01, 0x08};
        for (int i = 0; i < 3000; ++i)
            program.bytes.push_back(uint8_t(i * 7));
        program.name = "GAME";
        bytes = encode_tap({program}, EncodeOptions{});
        tape = tmp + "/analysis tape's.tap";
        write_file(tape, std::string(bytes.begin(), bytes.end()));
        gtk_window_resize(GTK_WINDOW(mainwindow), 800, 600);
    }
    GtkAdjustment *adjustment()
    {
        return gtk_range_get_adjustment(GTK_RANGE(W("vscrollbar_tape_analysis")));
    }
    void show_page()
    {
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 4);
        gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_tools")), 3);
        GtkWidget *area = W("drawingarea_tape_analysis");
        // The window was asked for 800 x 600 pixels in SetUp: the picture is
        // drawn for the area's size once the window has taken it.
        ASSERT_TRUE(wait_for("the analysis page on show in the 800 x 600 window", [&] {
            return GTK_WIDGET_MAPPED(area) && tape_analysis_pixmap() != nullptr &&
                   mainwindow->allocation.width == 800 && mainwindow->allocation.height == 600;
        }));
        settle();
    }
    int height() { return W("drawingarea_tape_analysis")->allocation.height; }
    // The colour of the analysis picture at (x, y), as 0xRRGGBB.
    guint32 pixel(int x, int y)
    {
        GdkPixbuf *picture = gdk_pixbuf_get_from_drawable(nullptr, tape_analysis_pixmap(), nullptr, x, y, 0, 0, 1, 1);
        const guchar *p = gdk_pixbuf_get_pixels(picture);
        const guint32 rgb = (p[0] << 16) | (p[1] << 8) | p[2];
        g_object_unref(picture);
        return rgb;
    }
};

} // namespace

TEST_F(Analysis, ParseButtonWithoutAnOpenTapeDoesNothing)
{
    show_page();
    gtk_button_clicked(GTK_BUTTON(W("button_tape_analysis_parse")));
    EXPECT_EQ(tape_analysis_line_count(), 0u);
}

TEST_F(Analysis, ParseDrawsTheShortPulsesAndSetsTheScrollRange)
{
    show_page();
    replace_owned_string(utf8_path_lastopenTAP, tape.c_str());
    gtk_button_clicked(GTK_BUTTON(W("button_tape_analysis_parse")));
    PulseMap map;
    std::string error;
    ASSERT_TRUE(pulse_map_build(bytes.data(), bytes.size(), map, error));
    EXPECT_EQ(tape_analysis_line_count(), map.num_lines);
    EXPECT_EQ(tape_analysis_first_line(), 0);
    EXPECT_DOUBLE_EQ(adjustment()->upper, double(map.num_lines - 1));
    EXPECT_DOUBLE_EQ(adjustment()->page_size, double(height()));
    // Line 0 is the leader: short pulses of 0x30 units, a dot at x = 96..97.
    GdkColor green;
    gdk_color_parse("green", &green);
    const guint32 expected = ((green.red >> 8) << 16) | ((green.green >> 8) << 8) | (green.blue >> 8);
    EXPECT_EQ(pixel(2 * 0x30, 0), expected);
    EXPECT_EQ(pixel(2 * 0x30 + 1, 0), expected);
    EXPECT_EQ(pixel(2 * 0x42, 0), 0x000000u) << "no medium pulses in the leader";
    gtk_adjustment_set_value(adjustment(), double(map.num_lines) / 3);
    settle();
    EXPECT_FALSE(save_screenshot(mainwindow, "page_tools_tape_analysis_parsed").empty());
}

TEST_F(Analysis, SmallScrollsMoveTheImageLargeOnesRedrawAndTheWheelMovesASixthOfAPage)
{
    show_page();
    tape_analysis_parse(tape.c_str());
    gtk_adjustment_set_value(adjustment(), 10);
    settle();
    EXPECT_EQ(tape_analysis_first_line(), 10);
    gtk_adjustment_set_value(adjustment(), 10 + height() * 2);
    settle();
    EXPECT_EQ(tape_analysis_first_line(), 10 + height() * 2);
    const double before = gtk_adjustment_get_value(adjustment());
    GdkEvent *event = gdk_event_new(GDK_SCROLL);
    event->scroll.direction = GDK_SCROLL_UP;
    event->scroll.window = GDK_WINDOW(g_object_ref(W("drawingarea_tape_analysis")->window));
    gboolean handled = FALSE;
    g_signal_emit_by_name(W("drawingarea_tape_analysis"), "scroll_event", event, &handled);
    gdk_event_free(event);
    EXPECT_TRUE(handled);
    EXPECT_NEAR(gtk_adjustment_get_value(adjustment()), before - adjustment()->page_increment / 6, 1.0);
}

TEST_F(Analysis, LayoutSwitchShowsTheOtherScrollBar)
{
    show_page();
    tape_analysis_parse(tape.c_str());
    EXPECT_TRUE(GTK_WIDGET_VISIBLE(W("vscrollbar_tape_analysis")));
    EXPECT_FALSE(GTK_WIDGET_VISIBLE(W("hscrollbar_tape_analysis")));
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W("radiobutton_layout_horizontal")), TRUE);
    EXPECT_FALSE(GTK_WIDGET_VISIBLE(W("vscrollbar_tape_analysis")));
    EXPECT_TRUE(GTK_WIDGET_VISIBLE(W("hscrollbar_tape_analysis")));
    settle();
    EXPECT_DOUBLE_EQ(adjustment()->page_size, double(W("drawingarea_tape_analysis")->allocation.width));
}

TEST_F(Analysis, MovingToAnOffsetOfTheAnalysedTapeScrollsThereAndShowsThePage)
{
    show_page();
    replace_owned_string(utf8_path_lasttestedTAP, tape.c_str());
    tape_analysis_parse(tape.c_str());
    gtk_notebook_set_current_page(GTK_NOTEBOOK(W("notebook_main")), 0);
    PulseMap map;
    std::string error;
    ASSERT_TRUE(pulse_map_build(bytes.data(), bytes.size(), map, error));
    const uint64_t offset = bytes.size() / 2;
    tape_analysis_move_to_tape_offset(offset);
    settle();
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_main"))), 4);
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_tools"))), 3);
    EXPECT_EQ(uint64_t(gtk_adjustment_get_value(adjustment())), pulse_map_line_of_offset(map, bytes.data(), bytes.size(), offset));
    // An offset beyond the file only switches pages.
    const double kept = gtk_adjustment_get_value(adjustment());
    tape_analysis_move_to_tape_offset(bytes.size() + 100);
    EXPECT_DOUBLE_EQ(gtk_adjustment_get_value(adjustment()), kept);
}

TEST_F(Analysis, UnparsedTapeIsParsedOnYesAfterTheFirstConfigure)
{
    // The page has never been shown: the parse waits for the drawing area's size.
    replace_owned_string(utf8_path_lasttestedTAP, tape.c_str());
    answer_dialog("Confirmation request", [](GtkWidget *dialog) {
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_YES);
    });
    tape_analysis_move_to_tape_offset(20);
    ASSERT_TRUE(wait_for("the tape to be parsed once the page has its size", [] { return tape_analysis_line_count() > 0; }));
    EXPECT_EQ(gtk_notebook_get_current_page(GTK_NOTEBOOK(W("notebook_tools"))), 3);
}

TEST_F(Analysis, UnreadableTapeShowsTheLoadError)
{
    show_page();
    std::string shown;
    answer_dialog("Error", [&](GtkWidget *dialog) {
        shown = all_label_texts(dialog);
        gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CLOSE);
    });
    tape_analysis_parse((tmp + "/missing.tap").c_str());
    EXPECT_NE(shown.find("Could not load data from file '" + tmp + "/missing.tap':"), std::string::npos) << shown;
}

TEST_F(Analysis, SnapshotIsOfferedWithTheScrollPositionInItsName)
{
    show_page();
    tape_analysis_parse(tape.c_str());
    gtk_adjustment_set_value(adjustment(), 7);
    settle();
    const std::string target = tmp + "/snap.png";
    answer_dialog("Save to a PNG file", [&](GtkWidget *dialog) {
        EXPECT_EQ(chooser_current_name(dialog), "analysis tape's.tap_analysis_y=7.png");
        choose_file_and_accept(dialog, target);
    });
    tape_analysis_snapshot_save();
    GdkPixbuf *saved = gdk_pixbuf_new_from_file(target.c_str(), nullptr);
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(gdk_pixbuf_get_height(saved), height());
    g_object_unref(saved);
}
