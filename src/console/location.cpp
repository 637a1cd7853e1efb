#include "console/location.h"

#include "core/consolecmd.h"

#include <glib.h>
#include <sys/stat.h>

namespace {

std::string take(gchar *s)
{
    std::string r = s != nullptr ? s : "";
    g_free(s);
    return r;
}

} // namespace

std::string executable_folder(const char *argv0)
{
    // The folder of the name the program was started by, links left as they
    // are: the front end looks for the reports and the "prg" folder beside
    // the entry it started, which may be a link to a build elsewhere.
    const std::string cwd = take(g_get_current_dir());
    // "." and ".." are taken out by name only, so a link stays a link.
    const auto absolute_folder_of = [&](const std::string &program) {
        const std::string absolute = take(g_canonicalize_filename(program.c_str(), cwd.c_str()));
        return take(g_path_get_dirname(absolute.c_str()));
    };
    if (argv0 != nullptr && *argv0 != '\0') {
        const std::string name = argv0;
        if (name.find('/') != std::string::npos)
            return absolute_folder_of(name);
        const std::string found = take(g_find_program_in_path(argv0));
        if (!found.empty())
            return absolute_folder_of(found);
    }
    gchar *exe = g_file_read_link("/proc/self/exe", nullptr);
    if (exe != nullptr)
        return take(g_path_get_dirname(take(exe).c_str()));
    return cwd;
}

std::string join_path(const std::string &folder, const std::string &name)
{
    return take(g_build_filename(folder.c_str(), name.c_str(), nullptr));
}

std::string folder_of(const std::string &path) { return take(g_path_get_dirname(path.c_str())); }

std::string base_name_of(const std::string &path) { return take(g_path_get_basename(path.c_str())); }

std::string cleaned_tape_path(const std::string &source)
{
    return join_path(folder_of(source), cleaned_tape_name(base_name_of(source)));
}

std::string converted_tape_path(const std::string &source)
{
    return join_path(folder_of(source), converted_tape_name(base_name_of(source)));
}

std::string audio_output_path(const std::string &source, const std::string &extension)
{
    std::string name = base_name_of(source);
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0)
        name.erase(dot);
    return join_path(folder_of(source), name + extension);
}

bool same_file(const std::string &a, const std::string &b)
{
    struct stat sa, sb;
    if (stat(a.c_str(), &sa) != 0 || stat(b.c_str(), &sb) != 0)
        return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}
