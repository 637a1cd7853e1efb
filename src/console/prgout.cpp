#include "console/prgout.h"

#include "console/cbmblocks.h"
#include "core/turbodescribe.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::size_t PRG_MAX_DATA = 0x10000;

bool name_char_kept(char c)
{
    return g_ascii_isalnum(c) || c == ' ' || c == '.' || c == '-' || c == '_';
}

// A program without a name is called by its format and load address
// ("OCEAN-0400"), so the pages of a chain are told apart at a glance.
std::string file_name_for(int entry_index, const CbmProgram &p, bool bad)
{
    char number[16], address[8];
    std::snprintf(number, sizeof number, "%03d", entry_index + 1);
    std::snprintf(address, sizeof address, "%04X", unsigned(p.load_address));
    const std::string name = p.name.empty() ? p.format + "-" + address : p.name;
    return std::string(number) + "-" + prg_name_part(name) + (bad ? " (bad)" : "") + ".prg";
}

} // namespace

std::string prg_name_part(const std::string &name)
{
    if (name.empty())
        return "noname";
    std::string out = name;
    for (char &c : out) {
        if (!name_char_kept(c))
            c = '_';
    }
    return out;
}

namespace {

// The programs of a tape in tape order: the CBM ROM programs and every run
// of bytes a turbo entry loaded.
std::vector<CbmProgram> tape_programs(const TapeScan &scan, unsigned *skipped)
{
    std::vector<CbmProgram> programs = cbm_programs(scan, skipped);
    for (std::size_t k = 0; k < scan.entries.size(); ++k) {
        const TapeEntry &e = scan.entries[k];
        const TapeEntry *header =
            e.header_entry >= 0 && std::size_t(e.header_entry) < k ? &scan.entries[std::size_t(e.header_entry)] : nullptr;
        for (const TapeEntry::LoadedRun &run : e.loaded) {
            CbmProgram p;
            p.entry = int(k);
            p.pass = !e.has_checkbyte || e.checkbyte_pass;
            p.header_entry = e.header_entry;
            p.name = e.has_name ? e.name : header != nullptr ? header->name : std::string();
            p.format = e.type;
            p.load_address = run.load;
            p.data = &run.bytes;
            programs.push_back(p);
        }
    }
    std::stable_sort(programs.begin(), programs.end(),
                     [](const CbmProgram &a, const CbmProgram &b) { return a.entry < b.entry; });
    return programs;
}

} // namespace

std::vector<PrgFile> tape_prg_files(const TapeScan &scan, bool unite, unsigned *skipped)
{
    std::vector<PrgFile> files;
    CbmProgram first;  // the first program of the file being built
    uint16_t next_address = 0;
    for (const CbmProgram &p : tape_programs(scan, skipped)) {
        const std::vector<uint8_t> &data = *p.data;
        const bool joins = unite && !files.empty() && p.load_address == next_address &&
                           files.back().bytes.size() - 2 + data.size() <= PRG_MAX_DATA;
        if (joins) {
            PrgFile &f = files.back();
            f.bytes.insert(f.bytes.end(), data.begin(), data.end());
            f.bad = f.bad || !p.pass;
            f.merged = f.merged || p.merged;
            ++f.parts;
            f.file_name = file_name_for(first.entry, first, f.bad);
        } else {
            PrgFile f;
            f.bytes.reserve(data.size() + 2);
            f.bytes.push_back(uint8_t(p.load_address & 0xFF));
            f.bytes.push_back(uint8_t(p.load_address >> 8));
            f.bytes.insert(f.bytes.end(), data.begin(), data.end());
            f.bad = !p.pass;
            f.merged = p.merged;
            first = p;
            f.file_name = file_name_for(first.entry, first, f.bad);
            files.push_back(std::move(f));
        }
        next_address = uint16_t(p.load_address + data.size());
    }
    return files;
}

std::vector<PrgFile> tape_study_files(const TapeScan &scan)
{
    std::vector<PrgFile> files;
    for (std::size_t k = 0; k < scan.entries.size(); ++k) {
        const TapeEntry &e = scan.entries[k];
        if (e.type != ENTRY_TYPE_UNKNOWN_TURBO || e.payload.empty())
            continue;
        char number[32];
        std::snprintf(number, sizeof number, "%03zu", k + 1);
        PrgFile f;
        f.file_name = std::string(number) + "-UNKNOWN-TURBO.bin";
        f.bytes = e.payload;
        files.push_back(std::move(f));
    }
    return files;
}
