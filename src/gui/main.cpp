// Quillmar Front End: a desktop front end for the quillmar tape cleaner.
#include "core/frontendargs.h"
#include "gui/appstate.h"
#include "gui/attach.h"
#include "gui/startup.h"

#include <glib/gi18n-lib.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char *argv[])
{
    bind_message_catalogue();
    // --help and --version need no display: answered before the toolkit starts.
    const std::vector<std::string> given(argv + 1, argv + argc);
    if (front_end_wants_text_only(given)) {
        const bool help = std::find(given.begin(), given.end(), "--help") != given.end() ||
                          std::find(given.begin(), given.end(), "-h") != given.end();
        std::fputs(help ? front_end_usage_text().c_str() : front_end_version_text().c_str(), stdout);
        return 0;
    }
    if (!gtk_init_check(&argc, &argv)) {
        const char *display = g_getenv("DISPLAY");
        std::fprintf(stderr, _("quillmarfe: cannot open the display%s%s: the front end needs a graphical desktop "
                               "(see quillmarfe --help)\n"),
                     display && *display ? " " : "", display && *display ? display : _(" (DISPLAY is not set)"));
        return 1;
    }
    quillmarfe_startup(&argc, &argv);
    const FrontEndArgs args = parse_front_end_args(std::vector<std::string>(argv + 1, argv + argc));
    if (!args.error.empty()) {
        std::fprintf(stderr, "quillmarfe: %s\n%s", args.error.c_str(), front_end_usage_text().c_str());
        return 2;
    }
    gtk_widget_show(mainwindow);
    if (!args.file.empty())
        attach_tape_from_command_line(args.file.c_str());
    gtk_main();
    return 0;
}
