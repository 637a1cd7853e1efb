#include "console/prgout.h"

#include "console/cbmblocks.h"
#include "console/location.h"
#include "console/report.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr std::size_t PRG_MAX_DATA = 0x10000;

bool name_char_kept(char c)
{
    return g_ascii_isalnum(c) || c == ' ' || c == '.' || c == '-' || c == '_';
}

std::string file_name_for(int entry_index, const std::string &name, bool bad)
{
    char number[16];
    std::snprintf(number, sizeof number, "%03d", entry_index + 1);
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

std::vector<PrgFile> tape_prg_files(const TapeScan &scan, bool unite, unsigned *skipped)
{
    std::vector<PrgFile> files;
    int first_entry = -1;
    std::string first_name;
    uint16_t next_address = 0;
    for (const CbmProgram &p : cbm_programs(scan, skipped)) {
        const std::vector<uint8_t> &data = *p.data;
        const bool joins = unite && !files.empty() && p.load_address == next_address &&
                           files.back().bytes.size() - 2 + data.size() <= PRG_MAX_DATA;
        if (joins) {
            PrgFile &f = files.back();
            f.bytes.insert(f.bytes.end(), data.begin(), data.end());
            f.bad = f.bad || !p.pass;
            ++f.parts;
            f.file_name = file_name_for(first_entry, first_name, f.bad);
        } else {
            PrgFile f;
            f.bytes.reserve(data.size() + 2);
            f.bytes.push_back(uint8_t(p.load_address & 0xFF));
            f.bytes.push_back(uint8_t(p.load_address >> 8));
            f.bytes.insert(f.bytes.end(), data.begin(), data.end());
            f.bad = !p.pass;
            first_entry = p.entry;
            first_name = p.name;
            f.file_name = file_name_for(first_entry, first_name, f.bad);
            files.push_back(std::move(f));
        }
        next_address = uint16_t(p.load_address + data.size());
    }
    return files;
}

bool clear_prg_folder(const std::string &folder, std::string *error)
{
    if (g_mkdir_with_parents(folder.c_str(), 0755) != 0) {
        if (error != nullptr)
            *error = "cannot make the folder " + folder + ": " + std::strerror(errno);
        return false;
    }
    remove_prg_files(folder);
    return true;
}

void remove_prg_files(const std::string &folder)
{
    GDir *dir = g_dir_open(folder.c_str(), 0, nullptr);
    if (dir == nullptr)
        return;
    std::vector<std::string> old;
    while (const gchar *name = g_dir_read_name(dir)) {
        const std::size_t n = std::strlen(name);
        if (n >= 4 && std::strcmp(name + n - 4, ".prg") == 0) {
            const std::string path = join_path(folder, name);
            if (!g_file_test(path.c_str(), G_FILE_TEST_IS_DIR))
                old.push_back(path);
        }
    }
    g_dir_close(dir);
    for (const std::string &path : old)
        g_remove(path.c_str());
}

bool write_prg_files(const std::string &folder, const std::vector<PrgFile> &files, std::string *error)
{
    for (const PrgFile &f : files) {
        if (!write_binary_file(join_path(folder, f.file_name), f.bytes, error))
            return false;
    }
    return true;
}
