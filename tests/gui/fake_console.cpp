#include "fake_console.h"

#include "harness.h"

#include <glib/gstdio.h>

#include <sstream>

void FakeConsole::install(const std::string &report_text) const
{
    g_mkdir_with_parents(folder.c_str(), 0700);
    write_file(folder + "/report.template", report_text);
    // What the real console program leaves behind, as far as the front end
    // sees it: the report names the tape it describes (the cleaned or
    // converted tape for a Clean or Convert), outputs lie beside the source.
    // QM_FAKE_SILENT=1 makes it write nothing at all; QM_FAKE_KEEP_NAME=1
    // keeps the template's "TAP Name" as it stands.
    const std::string script =
        "#!/bin/sh\n"
        "here=$(dirname \"$0\")\n"
        ": > \"$here/args.txt\"\n"
        "for a in \"$@\"; do printf '%s\\n' \"$a\" >> \"$here/args.txt\"; done\n"
        "echo 'console says hello'\n"
        "echo 'console warns' >&2\n"
        "[ -n \"$QM_FAKE_SILENT\" ] && exit 3\n"
        "op=''; path=''; prev=''\n"
        "for a in \"$@\"; do\n"
        "  case \"$prev\" in -t|-o|-b|-ct0|-ct1|-au|-wav) op=$prev; path=$a;; esac\n"
        "  prev=$a\n"
        "done\n"
        "dir=$(dirname \"$path\"); base=$(basename \"$path\")\n"
        "tapname=$(printf '%s' \"$base\" | sed 's/\\.DMP$/.tap/; s/\\.dmp$/.tap/')\n"
        "target=$path\n"
        "case \"$op\" in\n"
        "  -o) target=\"$dir/clean.$tapname\"; printf 'cleaned' > \"$target\"; printf 'cleaned' > \"clean.$tapname\";;\n"
        "  -ct0|-ct1) target=\"$dir/converted.$tapname\"; printf 'converted' > \"$target\";;\n"
        "  -au) printf 'audio' > \"$dir/${base%.*}.au\"; exit 0;;\n"
        "  -wav) printf 'audio' > \"$dir/${base%.*}.wav\"; exit 0;;\n"
        "esac\n"
        "if [ -n \"$QM_FAKE_KEEP_NAME\" ]; then cp \"$here/report.template\" \"$here/qmreport.txt\"\n"
        "else T=\"$target\" awk 'NR == 1 && /^TAP Name    : / { print \"TAP Name    : \" ENVIRON[\"T\"]; next } { print }'"
        " \"$here/report.template\" > \"$here/qmreport.txt\"; fi\n"
        "cp \"$here/report.template\" \"$here/qmbatch.txt\"\n"
        "mkdir -p \"$here/prg\"\n"
        "printf '\\001\\010\\007\\010\\012\\000\\231\\000\\000\\000' > \"$here/prg/b game.prg\"\n"
        "printf 'AB' > \"$here/prg/a first.prg\"\n"
        "printf 'AB' > \"$here/prg/.hidden\"\n"
        "exit 3\n";
    const std::string path = folder + "/quillmar";
    write_file(path, script);
    g_chmod(path.c_str(), 0755);
}

std::vector<std::string> FakeConsole::arguments() const
{
    std::vector<std::string> words;
    std::istringstream in(read_file(folder + "/args.txt"));
    for (std::string line; std::getline(in, line);)
        words.push_back(line);
    return words;
}

bool FakeConsole::ran() const
{
    return g_file_test((folder + "/args.txt").c_str(), G_FILE_TEST_EXISTS);
}

std::string sample_report(const std::string &tape_path)
{
    return "TAP Name    : " + tape_path + "\n"
           "TAP Size    : 1020\n"
           "TAP Version : 1\n"
           "Checksum test     : PASS\n"
           "Read test         : PASS - 0 read errors\n"
           "\n"
           "File Type: PAUSE\n"
           "Location: $0014 -> $0014 -> $0063 -> $0063\n"
           "\n"
           "File Type: C64 ROM-TAPE HEADER\n"
           "Location: $0064 -> $0070 -> $00C7 -> $00C7\n"
           "LA: $0801  EA: $0810  SZ: 15\n"
           "File Name: GAME\n"
           "Checkbyte Actual/Expected: $12/$12, PASS\n"
           "Read Errors: 0\n"
           "CRC32: 1234ABCD\n"
           " - File ID : FIRST\n"
           "\n"
           "File Type: C64 ROM-TAPE DATA\n"
           "Location: $00C8 -> $00D0 -> $0300 -> $0300\n"
           "LA: $0801  EA: $0810  SZ: 15\n"
           "Checkbyte Actual/Expected: $10/$11, FAIL\n"
           "Read Errors: 3\n"
           "CRC32: 89ABCDEF\n"
           " - File ID : REPEAT\n"
           "\n"
           "File Type: UNRECOGNIZED\n"
           "Location: $0301 -> $0301 -> $03FF -> $03FF\n";
}
