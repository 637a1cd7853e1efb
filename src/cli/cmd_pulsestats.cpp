// quillmarfe-cli speed / histogram: what the pulses say about the tape.
#include "cli/subcommands.h"
#include "core/pulsestats.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int run_speed(int argc, char **argv)
{
    if (argc != 1 || argv[0][0] == '-')
        return -1;
    const TapeScan scan = scan_tape_file(argv[0]);
    if (!scan.ok) {
        std::fprintf(stderr, "quillmarfe-cli: %s: %s\n", argv[0], scan.error.c_str());
        return 1;
    }
    for (const FileSpeed &s : tape_speeds(scan))
        std::printf("%zu\t%s\t%s\t%.2f\t%.2f\t%+.1f%%\n", s.entry + 1, s.type.c_str(), s.name.c_str(), s.measured,
                    s.ideal, s.percent);
    return 0;
}

int run_histogram(int argc, char **argv)
{
    int entry = -1;
    const char *tape = nullptr;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--entry") == 0 && i + 1 < argc) {
            entry = std::atoi(argv[++i]) - 1;
            if (entry < 0)
                return -1;
        } else if (argv[i][0] != '-' && tape == nullptr) {
            tape = argv[i];
        } else {
            return -1;
        }
    }
    if (tape == nullptr)
        return -1;
    const TapeScan scan = scan_tape_file(tape);
    if (!scan.ok) {
        std::fprintf(stderr, "quillmarfe-cli: %s: %s\n", tape, scan.error.c_str());
        return 1;
    }
    if (entry >= static_cast<int>(scan.entries.size())) {
        std::fprintf(stderr, "quillmarfe-cli: the tape has %zu entries\n", scan.entries.size());
        return 1;
    }
    const PulseHistogram h = pulse_histogram(scan, entry);
    for (int u = 1; u < 256; ++u)
        if (h.counts[static_cast<std::size_t>(u)] != 0)
            std::printf("%d\t%llu\n", u, static_cast<unsigned long long>(h.counts[static_cast<std::size_t>(u)]));
    std::printf("longer\t%llu\nideal", static_cast<unsigned long long>(h.longer));
    for (uint8_t ideal : h.ideals)
        std::printf("\t%d", ideal);
    std::printf("\n");
    return 0;
}
