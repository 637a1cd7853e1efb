// A full redraw of the Tape Analysis page on a real window: a 50 MB tape is
// parsed into the view, then each iteration jumps far enough for the whole
// picture to be redrawn into the off-screen pixmap and copied to the window.
// Needs a display (run it under xvfb-run).
#include "../bench_programs.h"
#include "core/cbmencode.h"
#include "core/tapimage.h"
#include "gui/analysis.h"
#include "gui/appstate.h"
#include "gui/startup.h"
#include "gui/support.h"

#include <benchmark/benchmark.h>
#include <glib/gstdio.h>
#include <gtk/gtk.h>

#include <string>
#include <vector>

namespace {

std::string write_big_tape()
{
    const std::vector<PrgInput> prgs = bench_programs(1, 60000, 3);
    const std::vector<uint8_t> one = encode_tap(prgs, EncodeOptions());
    std::vector<uint8_t> tape(one.begin(), one.begin() + TAP_HEADER_SIZE);
    while (tape.size() < 50u * 1024 * 1024)
        tape.insert(tape.end(), one.begin() + TAP_HEADER_SIZE, one.end());
    tap_fix_data_size(tape);
    gchar *dir = g_dir_make_tmp("qmbench-XXXXXX", nullptr);
    const std::string path = std::string(dir) + "/big.tap";
    g_free(dir);
    g_file_set_contents(path.c_str(), reinterpret_cast<const gchar *>(tape.data()), gssize(tape.size()), nullptr);
    return path;
}

void pump()
{
    while (gtk_events_pending())
        gtk_main_iteration();
    gdk_flush();
}

void BM_FullRedrawOfOneScreen(benchmark::State &state)
{
    GtkWidget *area = lookup_widget(mainwindow, "drawingarea_tape_analysis");
    GtkRange *scroll = GTK_RANGE(lookup_widget(mainwindow, "vscrollbar_tape_analysis"));
    const double far = double(tape_analysis_line_count()) / 4;
    bool up = false;
    for (auto _ : state) {
        gtk_range_set_value(scroll, up ? 0 : far);  // a jump of more than a screen redraws everything
        pump();
        up = !up;
    }
    state.counters["lines_on_screen"] = area->allocation.height;
}

} // namespace

int main(int argc, char **argv)
{
    if (!g_getenv("DISPLAY")) {
        g_printerr("bench_analysis_redraw needs a display: run it under xvfb-run\n");
        return 1;
    }
    const std::string tape = write_big_tape();
    quillmarfe_startup(&argc, &argv);
    gtk_window_resize(GTK_WINDOW(mainwindow), 1000, 800);
    gtk_widget_show(mainwindow);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(lookup_widget(mainwindow, "notebook_main")), 4);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(lookup_widget(mainwindow, "notebook_tools")), 3);
    GtkWidget *area = lookup_widget(mainwindow, "drawingarea_tape_analysis");
    // The picture is drawn once the drawing area has its size on screen.
    for (int i = 0; i < 500 && !(GTK_WIDGET_MAPPED(area) && tape_analysis_pixmap() && area->allocation.height > 400); ++i) {
        pump();
        g_usleep(10000);
    }
    tape_analysis_parse(tape.c_str());
    pump();
    benchmark::Initialize(&argc, argv);
    benchmark::RegisterBenchmark("BM_FullRedrawOfOneScreen", BM_FullRedrawOfOneScreen)->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    g_remove(tape.c_str());
    return 0;
}
