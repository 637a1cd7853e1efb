#include "fake_console.h"

#include "harness.h"

#include <glib/gstdio.h>

#include <sstream>

void FakeConsole::install(const std::string &report_text) const
{
    g_mkdir_with_parents(folder.c_str(), 0700);
    write_file(folder + "/report.template", report_text);
    const std::string script =
        "#!/bin/sh\n"
        "here=$(dirname \"$0\")\n"
        ": > \"$here/args.txt\"\n"
        "for a in \"$@\"; do printf '%s\\n' \"$a\" >> \"$here/args.txt\"; done\n"
        "echo 'console says hello'\n"
        "echo 'console warns' >&2\n"
        "cp \"$here/report.template\" \"$here/qmreport.txt\"\n"
        "cp \"$here/report.template\" \"$here/qmbatch.txt\"\n"
        "mkdir -p \"$here/prg\"\n"
        "printf '\\001\\010\\007\\010\\012\\000\\231\\000\\000\\000' > \"$here/prg/b game.prg\"\n"
        "printf 'AB' > \"$here/prg/a first.prg\"\n"
        "printf 'AB' > \"$here/prg/.hidden\"\n"
        "prev=''\n"
        "for a in \"$@\"; do\n"
        "  if [ \"$prev\" = '-o' ]; then printf 'cleaned' > \"clean.$(basename \"$a\")\"; fi\n"
        "  prev=$a\n"
        "done\n"
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
