#include "core/installpaths.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#ifndef QM_BIN_TO_DATA
#define QM_BIN_TO_DATA "../share"
#endif
#ifndef QM_BIN_TO_LOCALE
#define QM_BIN_TO_LOCALE "../share/locale"
#endif
#ifndef QM_BUILD_DIR_PATH
#define QM_BUILD_DIR_PATH ""
#endif

namespace {

std::string take(gchar *s)
{
    std::string r = s != nullptr ? s : "";
    g_free(s);
    return r;
}

std::string join(const std::string &folder, const std::string &name)
{
    return take(g_build_filename(folder.c_str(), name.c_str(), nullptr));
}

std::string canonical(const std::string &path)
{
    return take(g_canonicalize_filename(path.c_str(), nullptr));
}

bool inside_folder(const std::string &path, const std::string &folder)
{
    if (folder.empty())
        return false;
    return path == folder || (path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
                              path[folder.size()] == '/');
}

// Makes `link` a symbolic link to `target` unless it already is one, or it is
// a real file (the user's own, kept). A link to anything else is replaced.
bool ensure_link(const std::string &link, const std::string &target, std::string &error)
{
    if (g_file_test(link.c_str(), G_FILE_TEST_IS_SYMLINK)) {
        if (take(g_file_read_link(link.c_str(), nullptr)) == target)
            return true;
        if (g_unlink(link.c_str()) != 0) {
            error = link + ": " + std::strerror(errno);
            return false;
        }
    } else if (g_file_test(link.c_str(), G_FILE_TEST_EXISTS)) {
        return true;
    }
    if (symlink(target.c_str(), link.c_str()) != 0) {
        error = link + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

} // namespace

std::string running_program_folder()
{
    gchar *exe = g_file_read_link("/proc/self/exe", nullptr);
    if (exe == nullptr)
        return "";
    return take(g_path_get_dirname(take(exe).c_str()));
}

std::string message_catalogue_folder(const std::string &program_folder)
{
    if (program_folder.empty())
        return "";
    // A program running from the build tree (the front end or a test) uses
    // the catalogues compiled there; an installed one those of its install.
    const std::string build_dir = QM_BUILD_DIR_PATH;
    const std::string candidate =
        inside_folder(canonical(program_folder), build_dir.empty() ? "" : canonical(build_dir))
            ? join(build_dir, "locale")
            : canonical(join(program_folder, QM_BIN_TO_LOCALE));
    return g_file_test(candidate.c_str(), G_FILE_TEST_IS_DIR) ? candidate : "";
}

std::string shipped_data_folder(const std::string &program_folder)
{
    const std::string build_dir = QM_BUILD_DIR_PATH;
    if (!build_dir.empty() && inside_folder(canonical(program_folder), canonical(build_dir)))
        return build_dir;
    return canonical(join(join(program_folder, QM_BIN_TO_DATA), "quillmarfe"));
}

std::string user_console_folder()
{
    return take(g_build_filename(g_get_user_data_dir(), "quillmarfe", "console", nullptr));
}

bool folder_has_console_program(const std::string &folder)
{
    const std::string program = join(folder, CONSOLE_PROGRAM_NAME);
    return g_file_test(program.c_str(), G_FILE_TEST_IS_REGULAR) &&
           g_file_test(program.c_str(), G_FILE_TEST_IS_EXECUTABLE);
}

ConsoleFolderChoice choose_default_console_location(const std::string &working_folder,
                                                    const std::string &program_folder,
                                                    const std::string &data_folder,
                                                    const std::string &user_folder)
{
    ConsoleFolderChoice choice;
    choice.folder = working_folder;
    if (folder_has_console_program(working_folder) || program_folder.empty() ||
        !folder_has_console_program(program_folder))
        return choice;

    if (g_mkdir_with_parents(user_folder.c_str(), 0700) != 0) {
        choice.error = user_folder + ": " + std::strerror(errno);
        return choice;
    }
    const std::string console = join(program_folder, CONSOLE_PROGRAM_NAME);
    if (!ensure_link(join(user_folder, CONSOLE_PROGRAM_NAME), console, choice.error))
        return choice;
    const std::string scanners = join(data_folder, "scanners.txt");
    if (g_file_test(scanners.c_str(), G_FILE_TEST_IS_REGULAR) &&
        !ensure_link(join(user_folder, "scanners.txt"), scanners, choice.error))
        return choice;
    choice.folder = user_folder;
    return choice;
}
