// mktap: programs written to a TAP file the way the KERNAL's SAVE records
// them, or in a turbo loader's format after its boot file (--format ID).
#include "cli/subcommands.h"
#include "core/cbmencode.h"
#include "core/loaders/registry.h"

#include <glib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The file's base name without its last extension, in capitals.
std::string default_prg_name(const char *path)
{
    gchar *base = g_path_get_basename(path);
    std::string name = base;
    g_free(base);
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0)
        name.erase(dot);
    for (char &c : name)
        c = g_ascii_toupper(c);
    return name;
}

bool parse_seconds(const char *text, double *seconds)
{
    char *end = nullptr;
    const double value = g_ascii_strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(value) || value < 0)
        return false;
    *seconds = value;
    return true;
}

} // namespace

int run_mktap(int argc, char **argv)
{
    EncodeOptions options;
    std::vector<std::string> paths;
    std::vector<std::string> names;  // per path; empty: from the file name
    std::vector<bool> named;
    bool name_pending = false;
    std::string pending_name;
    bool options_done = false;
    const TurboLoader *loader = nullptr;

    for (int i = 0; i < argc; ++i) {
        const char *arg = argv[i];
        if (!options_done && arg[0] == '-' && arg[1] != '\0') {
            if (std::strcmp(arg, "--") == 0) {
                options_done = true;
            } else if (std::strcmp(arg, "--v0") == 0) {
                options.tap_version = 0;
            } else if (std::strcmp(arg, "--v1") == 0) {
                options.tap_version = 1;
            } else if (std::strcmp(arg, "--ntsc") == 0) {
                options.ntsc = true;
            } else if (std::strcmp(arg, "--vic20") == 0) {
                options.vic20 = true;
            } else if (std::strcmp(arg, "--pause") == 0) {
                if (i + 1 >= argc || !parse_seconds(argv[i + 1], &options.pause_seconds))
                    return -1;
                ++i;
            } else if (std::strcmp(arg, "--format") == 0) {
                if (i + 1 >= argc)
                    return -1;
                const std::string id = argv[++i];
                if (id != "c64") {
                    loader = find_turbo_loader(id);
                    if (loader == nullptr) {
                        std::fprintf(stderr, "quillmarfe-cli: no format \"%s\"; formats: c64", id.c_str());
                        for (const TurboLoader &l : turbo_loaders())
                            std::fprintf(stderr, ", %s", l.id);
                        std::fprintf(stderr, "\n");
                        return 1;
                    }
                }
            } else if (std::strcmp(arg, "--name") == 0) {
                if (i + 1 >= argc || name_pending)
                    return -1;
                pending_name = argv[++i];
                name_pending = true;
            } else {
                return -1;
            }
            continue;
        }
        paths.push_back(arg);
        names.push_back(name_pending ? pending_name : std::string());
        named.push_back(name_pending);
        name_pending = false;
    }
    // At least one program and the output; a --name must be followed by a program.
    if (paths.size() < 2 || named.back())
        return -1;
    const std::string out = paths.back();
    paths.pop_back();

    std::vector<PrgInput> prgs;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        gchar *contents = nullptr;
        gsize length = 0;
        GError *error = nullptr;
        if (!g_file_get_contents(paths[i].c_str(), &contents, &length, &error)) {
            std::fprintf(stderr, "quillmarfe-cli: %s\n", error->message);
            g_error_free(error);
            return 1;
        }
        PrgInput prg;
        prg.bytes.assign(reinterpret_cast<const uint8_t *>(contents), reinterpret_cast<const uint8_t *>(contents) + length);
        g_free(contents);
        prg.name = named[i] ? names[i] : default_prg_name(paths[i].c_str());
        const std::string problem = prg_input_problem(prg);
        if (!problem.empty()) {
            std::fprintf(stderr, "quillmarfe-cli: %s: %s\n", paths[i].c_str(), problem.c_str());
            return 1;
        }
        prgs.push_back(std::move(prg));
    }

    std::vector<uint8_t> tap;
    if (loader != nullptr) {
        if (options.vic20) {
            std::fprintf(stderr, "quillmarfe-cli: %s is a C64 format; --vic20 does not apply\n", loader->id);
            return 1;
        }
        turbo::TapeOptions turbo_options;
        turbo_options.tap_version = options.tap_version;
        turbo_options.ntsc = options.ntsc;
        turbo_options.pause_seconds = options.pause_seconds;
        std::string problem;
        tap = loader->encode(prgs, turbo_options, problem);
        if (tap.empty()) {
            std::fprintf(stderr, "quillmarfe-cli: %s\n", problem.c_str());
            return 1;
        }
    } else {
        tap = encode_tap(prgs, options);
    }
    GError *error = nullptr;
    if (!g_file_set_contents(out.c_str(), reinterpret_cast<const gchar *>(tap.data()), gssize(tap.size()), &error)) {
        std::fprintf(stderr, "quillmarfe-cli: %s\n", error->message);
        g_error_free(error);
        return 1;
    }
    return 0;
}
