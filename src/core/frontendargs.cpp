// The front end's command line; see frontendargs.h.
#include "core/frontendargs.h"

#include "core/appinfo.h"
#include "core/textprintf.h"

#include <glib/gi18n-lib.h>

bool front_end_wants_text_only(const std::vector<std::string> &args)
{
    for (const std::string &a : args) {
        if (a == "--")
            return false;
        if (a == "--help" || a == "-h" || a == "--version")
            return true;
    }
    return false;
}

FrontEndArgs parse_front_end_args(const std::vector<std::string> &args)
{
    FrontEndArgs r;
    bool options_done = false;
    for (const std::string &a : args) {
        if (!options_done && a == "--") {
            options_done = true;
        } else if (!options_done && (a == "--help" || a == "-h")) {
            r.help = true;
        } else if (!options_done && a == "--version") {
            r.version = true;
        } else if (!options_done && a.size() > 1 && a[0] == '-') {
            r.error = text_printf(_("unknown option \"%s\""), a.c_str());
            return r;
        } else if (!r.file.empty()) {
            r.error = text_printf(_("one tape at most (got \"%s\" and \"%s\")"), r.file.c_str(), a.c_str());
            return r;
        } else {
            r.file = a;
        }
    }
    return r;
}

std::string front_end_usage_text()
{
    return _("usage: quillmarfe [OPTION...] [FILE]\n"
             "\n"
             "A desktop front end for the quillmar tape cleaner: attach a TAP file or ZORV\n"
             "dump, run Test, Clean, Batch, Convert or Record through the console program,\n"
             "read its report, browse the programs it extracted, and repair or split tapes.\n"
             "\n"
             "  FILE            attach this tape at start-up, as File > Open would\n"
             "  -h, --help      print this help and exit\n"
             "  --version       print the version and exit\n"
             "  --display=DISPLAY and the other GTK+ options are understood as well.\n"
             "\n"
             "Options are kept in ~/.config/quillmarfe/user.ini.\n");
}

std::string front_end_version_text()
{
    return std::string("quillmarfe ") + QUILLMARFE_VERSION + " (" + QUILLMARFE_NAME + ")\n";
}
