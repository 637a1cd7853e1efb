// quillmarfe-cli: what the front end shows and writes, for scripts. Each
// subcommand shares the core code with the window.
#include "cli/subcommands.h"
#include "core/appinfo.h"

#include <cstdio>
#include <cstring>

namespace {

int usage_error(const Subcommand &command)
{
    std::fprintf(stderr, "usage: quillmarfe-cli %s\n", command.usage);
    return 2;
}

const Subcommand subcommands[] = {
    {"hex", "hex [--convert] PRG", "Prints a PRG file as the Hex View shows it.", run_hex},
    {"basic", "basic PRG", "Prints a PRG file as the BASIC view lists it.", run_basic},
    {"dasm", "dasm [--exclude-header] [--comment] PRG", "Prints the DASM view's disassembly of a PRG file.", run_dasm},
    {"header", "header FILE", "Prints the three header values the open dialog previews.", run_header},
    {"summary", "summary REPORT OUT.html",
     "Writes the HTML summary of a report file, as the report page's \"Save summary\" does.", run_summary},
    {"split", "split --report REPORT (--auto | --cut N[,N...]) TAPE",
     "Splits a TAP file as the Tape Split page does, at the automatic marks or before the given report entries; prints the System Log and dialog texts.", run_split},
    {"repair", "repair --report REPORT TAPE",
     "Writes repaired_TAPE beside the tape as the CBM File Repair page does, every region included; prints the analysis and the dialog text.", run_repair},
    {"pulses", "pulses TAPE", "Prints the tape analysis's screen lines: \"ENTRIES LINES\", then the first raw entry of every line (the last value is the entry count).", run_pulses},
    {"edit", "edit --report REPORT [--exclude N[,N...]] [--exclude-unrecognized] TAPE", "Saves the tape without the excluded report entries (by index) as \"edited_NAME\" beside it, as the tape editor's \"Save Tape\" does, and prints the dialog's text.", run_edit},
    {"mktap", "mktap [--format ID] [--v0|--v1] [--ntsc] [--vic20] [--pause SECONDS] [--name NAME] PRG... OUT.tap", "Writes programs to a TAP file as the KERNAL's SAVE records them (C64 PAL, version 1 and 2 s between programs unless told otherwise; --name names the next PRG, else its file name in capitals). --format ID writes them in a turbo loader's format after its CBM boot file (ID as in scanners.txt; c64 is the KERNAL's own).", run_mktap},
    {"idx", "idx --report REPORT TAPE",
     "Writes NAME.idx beside the tape as the Tape Split page's \"Save IDX File\" does: a line per program (the offset of its header's first copy in hex, tabs, its name) for tape players and emulators; prints the lines.", run_idx},
    {"d64", "d64 [--report REPORT] [--name DISKNAME] [--force] PRG-FOLDER OUT.d64",
     "Puts the PRG files of a \"prg\" folder on a D64 disk image (through cc1541) in tape order, under their names on the tape (the report's, when given; else from the file names), as the Prg Files page's \"Save all as D64 image\" does; prints each file's disk name.", run_d64},
    {"speed", "speed TAPE",
     "Prints how fast each recognised file plays, as the Pulse Statistics page shows it: report index, type, name, its leader's mean pulse and ideal pulse in TAP units, and the speed in percent (+ fast, - slow).", run_speed},
    {"histogram", "histogram [--entry N] TAPE",
     "Prints the pulse histogram of the tape (or of report entry N): a line \"UNITS<tab>COUNT\" per length that occurs, then the pulses longer than 255 units and the ideal lengths of the recognised files.", run_histogram},
    {"audio2tap", "audio2tap [--c16|--vic20] [--ntsc] [--channel N] [--polarity auto|normal|inverted] [--threshold SHARE] [--force] AUDIO OUT.tap",
     "Turns a sound-card capture of a tape (WAV, AIFF, FLAC, ...) into a TAP file: version 1 for the C64 or VIC 20 (PAL unless told), version 2 for the C16; channel 1 and the cleaner polarity unless told; an existing OUT.tap only with --force.", run_audio2tap},
};

void print_overview(FILE *out)
{
    std::fprintf(out, "usage: quillmarfe-cli SUBCOMMAND [ARGS...]\n\nSubcommands:\n");
    for (const Subcommand &command : subcommands)
        std::fprintf(out, "  %-28s %s\n", command.usage, command.help);
    std::fprintf(out, "\n'quillmarfe-cli SUBCOMMAND --help' describes one subcommand; "
                      "'quillmarfe-cli --version' names the version.\n");
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        print_overview(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    if (std::strcmp(argv[1], "--version") == 0) {
        std::printf("quillmarfe-cli %s (%s)\n", QUILLMARFE_VERSION, QUILLMARFE_NAME);
        return 0;
    }
    for (const Subcommand &command : subcommands) {
        if (std::strcmp(argv[1], command.name) != 0)
            continue;
        if (argc == 3 && std::strcmp(argv[2], "--help") == 0) {
            std::printf("usage: quillmarfe-cli %s\n\n%s\n", command.usage, command.help);
            return 0;
        }
        const int result = command.run(argc - 2, argv + 2);
        return result < 0 ? usage_error(command) : result;
    }
    std::fprintf(stderr, "quillmarfe-cli: unknown subcommand '%s'\n", argv[1]);
    print_overview(stderr);
    return 2;
}
