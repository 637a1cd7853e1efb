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
    gchar *exe = g_file_read_link("/proc/self/exe", nullptr);
    if (exe != nullptr)
        return take(g_path_get_dirname(take(exe).c_str()));
    if (argv0 != nullptr && std::string(argv0).find('/') != std::string::npos) {
        const std::string dir = take(g_path_get_dirname(argv0));
        if (g_path_is_absolute(dir.c_str()))
            return dir;
        return take(g_build_filename(take(g_get_current_dir()).c_str(), dir.c_str(), nullptr));
    }
    return take(g_get_current_dir());
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
