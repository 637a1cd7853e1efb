// quillmarfe-cli audio2tap: a sound-card capture of a tape as a TAP file.
#include "cli/subcommands.h"
#include "core/audioimport.h"

#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

bool parse_number(const char *text, double *value)
{
    char *end = nullptr;
    *value = std::strtod(text, &end);
    return end != text && *end == '\0';
}

} // namespace

int run_audio2tap(int argc, char **argv)
{
    AudioImportOptions options;
    bool force = false;
    std::string paths[2];
    int given = 0;
    for (int i = 0; i < argc; ++i) {
        const char *arg = argv[i];
        double number = 0;
        if (std::strcmp(arg, "--vic20") == 0) {
            options.platform = 1;
        } else if (std::strcmp(arg, "--c16") == 0) {
            options.platform = 2;
        } else if (std::strcmp(arg, "--ntsc") == 0) {
            options.video = 1;
        } else if (std::strcmp(arg, "--force") == 0) {
            force = true;
        } else if (std::strcmp(arg, "--channel") == 0) {
            if (i + 1 >= argc || !parse_number(argv[++i], &number) || number < 1 || number != static_cast<int>(number))
                return -1;
            options.channel = static_cast<int>(number) - 1;
        } else if (std::strcmp(arg, "--threshold") == 0) {
            if (i + 1 >= argc || !parse_number(argv[++i], &number) || number < 0.05 || number > 0.9)
                return -1;
            options.threshold = number;
        } else if (std::strcmp(arg, "--polarity") == 0) {
            if (i + 1 >= argc)
                return -1;
            const char *p = argv[++i];
            if (std::strcmp(p, "auto") == 0)
                options.polarity = AudioPolarity::Automatic;
            else if (std::strcmp(p, "normal") == 0)
                options.polarity = AudioPolarity::Normal;
            else if (std::strcmp(p, "inverted") == 0)
                options.polarity = AudioPolarity::Inverted;
            else
                return -1;
        } else if (arg[0] == '-' && arg[1] != '\0') {
            return -1;
        } else if (given < 2) {
            paths[given++] = arg;
        } else {
            return -1;
        }
    }
    if (given != 2)
        return -1;
    if (!force && g_file_test(paths[1].c_str(), G_FILE_TEST_EXISTS)) {
        std::fprintf(stderr, "quillmarfe-cli: %s exists; --force replaces it\n", paths[1].c_str());
        return 1;
    }
    const AudioImportResult result = import_audio_capture(paths[0], paths[1], options);
    if (!result.ok) {
        std::fprintf(stderr, "quillmarfe-cli: %s\n", result.error.c_str());
        return 1;
    }
    std::printf("%s: %llu pulses from %.1f s at %d Hz, channel %d of %d, %s polarity\n", paths[1].c_str(),
                static_cast<unsigned long long>(result.pulses), result.seconds, result.sample_rate,
                options.channel + 1, result.channels, result.inverted ? "inverted" : "normal");
    const std::string shortfall = audio_import_shortfall_text(result);
    if (!shortfall.empty())
        std::printf("%s: %s\n", paths[0].c_str(), shortfall.c_str());
    return 0;
}
