// A D64 disk image of the programs found on a tape; see d64export.h.
#include "core/d64export.h"

#include "core/textprintf.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

namespace {

// "NNN-" at the start of a PRG file's name: the report index, or -1.
int index_of(const std::string &file_name)
{
    std::size_t digits = 0;
    while (digits < file_name.size() && std::isdigit(static_cast<unsigned char>(file_name[digits])))
        ++digits;
    if (digits < 3 || digits >= file_name.size() || file_name[digits] != '-')
        return -1;
    return std::atoi(file_name.substr(0, digits).c_str());
}

// The name part of "NNN-NAME (bad) (2).prg".
std::string name_of_file(const std::string &file_name)
{
    std::string name = file_name;
    if (name.size() > 4 && g_ascii_strcasecmp(name.c_str() + name.size() - 4, ".prg") == 0)
        name.resize(name.size() - 4);
    if (index_of(name) >= 0)
        name = name.substr(name.find('-') + 1);
    for (;;) {
        const std::size_t open = name.rfind(" (");
        if (open == std::string::npos || name.back() != ')')
            break;
        name.resize(open);
    }
    return name;
}

std::string trimmed(const std::string &text)
{
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// A name as cc1541's -f takes it. cc1541 turns lower-case ASCII into the
// machine's capitals (PETSCII $41-$5A) and "#hh" into the code hh; a tape
// name shows those capitals as ASCII capitals, so letters go down to lower
// case. Returns the encoded name and its length on the disk.
std::string encode(const std::string &name, std::size_t *length)
{
    static const char plain[] = " !\"$%&'()*+,-./0123456789:;<=>?@[]";
    std::string out;
    *length = 0;
    for (unsigned char c : name) {
        if (*length == static_cast<std::size_t>(D64_NAME_LENGTH))
            break;
        if (std::isalpha(c) && c < 0x80)
            out += static_cast<char>(std::tolower(c));
        else if (c != 0 && std::strchr(plain, c) != nullptr)
            out += static_cast<char>(c);
        else
            out += text_printf("#%02x", c);
        ++*length;
    }
    return out;
}

} // namespace

int d64_blocks(long long bytes)
{
    return bytes <= 0 ? 1 : static_cast<int>((bytes + 253) / 254);
}

std::vector<D64Program> d64_programs_in_folder(const std::string &folder, const std::vector<ReportEntry> &rows)
{
    std::map<int, std::string> report_names;
    for (const ReportEntry &row : rows)
        report_names[row.index] = trimmed(row.name);
    std::vector<std::pair<std::pair<int, std::string>, D64Program>> found;
    if (GDir *dir = g_dir_open(folder.c_str(), 0, nullptr)) {
        while (const gchar *entry = g_dir_read_name(dir)) {
            const std::string file = entry;
            if (file.size() < 5 || g_ascii_strcasecmp(file.c_str() + file.size() - 4, ".prg") != 0 || file[0] == '.')
                continue;
            gchar *path = g_build_filename(folder.c_str(), entry, nullptr);
            const bool regular = g_file_test(path, G_FILE_TEST_IS_REGULAR);
            if (regular) {
                const int index = index_of(file);
                // A data copy has no name: the report's name is the one of
                // the nearest header before it (NNN-1 after a FIRST data
                // copy, NNN-2 or NNN-3 after a REPEAT one).
                std::string name = name_of_file(file);
                for (int i = index; index >= 0 && i >= index - 3; --i)
                    if (auto it = report_names.find(i); it != report_names.end() && !it->second.empty()) {
                        name = it->second;
                        break;
                    }
                found.push_back({{index < 0 ? G_MAXINT : index, file}, D64Program{path, name}});
            }
            g_free(path);
        }
        g_dir_close(dir);
    }
    std::sort(found.begin(), found.end(),
              [](const auto &a, const auto &b) { return a.first < b.first; });
    std::vector<D64Program> programs;
    for (auto &f : found)
        programs.push_back(f.second);
    return programs;
}

std::vector<std::string> d64_disk_names(const std::vector<D64Program> &programs)
{
    std::vector<std::string> names;
    std::set<std::string> taken;
    for (const D64Program &p : programs) {
        std::size_t length = 0;
        std::string base = p.name.empty() ? std::string("NONAME") : p.name;
        std::string name = encode(base, &length);
        for (int n = 2; taken.count(name) != 0; ++n) {
            const std::string suffix = " " + std::to_string(n);
            std::size_t shortened = 0;
            // Drop characters from the end until the suffix fits.
            std::string head = base;
            std::string encoded = encode(head, &shortened);
            while (shortened + suffix.size() > static_cast<std::size_t>(D64_NAME_LENGTH) && !head.empty()) {
                head.pop_back();
                encoded = encode(head, &shortened);
            }
            name = encoded + suffix;
        }
        taken.insert(name);
        names.push_back(name);
    }
    return names;
}

D64ExportResult d64_export(const std::vector<D64Program> &programs, const std::string &image_path,
                           const std::string &disk_name)
{
    D64ExportResult result;
    if (programs.empty()) {
        result.error = _("There are no PRG files to put on a disk.");
        return result;
    }
    for (const D64Program &p : programs) {
        GStatBuf st;
        if (g_stat(p.path.c_str(), &st) != 0) {
            result.error = text_printf(_("Could not read %s."), p.path.c_str());
            return result;
        }
        result.blocks += d64_blocks(static_cast<long long>(st.st_size));
    }
    if (result.blocks > D64_FREE_BLOCKS || programs.size() > static_cast<std::size_t>(D64_DIRECTORY_ENTRIES)) {
        result.error = text_printf(_("The %d programs take %d blocks; a D64 disk holds %d blocks and %d files. "
                                     "Nothing was written."),
                                   static_cast<int>(programs.size()), result.blocks, D64_FREE_BLOCKS,
                                   D64_DIRECTORY_ENTRIES);
        return result;
    }
    gchar *cc1541 = g_find_program_in_path("cc1541");
    if (cc1541 == nullptr) {
        result.error = _("The program cc1541, which writes D64 images, is not installed (Debian package cc1541).");
        return result;
    }

    // A fresh file beside the image: cc1541 adds to an image that exists.
    const std::string partial = image_path + ".part";
    g_remove(partial.c_str());
    std::size_t disk_name_length = 0;
    std::vector<std::string> args = {cc1541, "-n", encode(disk_name.empty() ? "TAPE" : disk_name, &disk_name_length)};
    g_free(cc1541);
    const std::vector<std::string> names = d64_disk_names(programs);
    for (std::size_t i = 0; i < programs.size(); ++i) {
        args.insert(args.end(), {"-f", names[i], "-w", programs[i].path});
    }
    args.push_back(partial);
    std::vector<gchar *> argv;
    for (std::string &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    gchar *out = nullptr, *err = nullptr;
    gint status = 0;
    GError *error = nullptr;
    const bool ran = g_spawn_sync(nullptr, argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out, &err,
                                  &status, &error);
    const bool ok = ran && g_spawn_check_wait_status(status, nullptr);
    if (!ok) {
        result.error = text_printf(_("cc1541 could not write the disk image: %s"),
                                   ran ? (err && *err ? err : out ? out : "") : error->message);
    } else if (g_rename(partial.c_str(), image_path.c_str()) != 0) {
        result.error = text_printf(_("Could not write %s: %s"), image_path.c_str(), g_strerror(errno));
    } else {
        result.ok = true;
    }
    if (!result.ok)
        g_remove(partial.c_str());
    g_clear_error(&error);
    g_free(out);
    g_free(err);
    return result;
}
