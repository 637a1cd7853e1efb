#include "console/prgfolder.h"

#include "console/location.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

// Suffixes tried for a name that is taken, before giving up.
constexpr int MAX_NAME_SUFFIX = 999;

bool listable_char(char c)
{
    return g_ascii_isalnum(c) || c == ' ' || c == '.' || c == '-' || c == '_' || c == '(' || c == ')';
}

// The endings of the files this program writes there: programs, and the
// bytes of unknown turbo stretches for study.
bool written_ending(const std::string &name)
{
    constexpr std::size_t ending = 4;  // ".prg", ".bin"
    return name.size() > ending && (name.compare(name.size() - ending, ending, ".prg") == 0 ||
                                    name.compare(name.size() - ending, ending, ".bin") == 0);
}

bool listable_name(const std::string &name)
{
    if (!written_ending(name))
        return false;
    for (char c : name) {
        if (!listable_char(c))
            return false;
    }
    return true;
}

std::string reason(int error_number) { return std::strerror(error_number); }

// Writes all of the bytes, retrying short writes.
bool write_all(int fd, const void *data, std::size_t size)
{
    const char *p = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t n = ::write(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= std::size_t(n);
    }
    return true;
}

bool append_name(int fd, const std::string &name)
{
    const std::string line = name + "\n";
    return write_all(fd, line.data(), line.size());
}

// Removes the plain files the folder's list names; *kept gets the names of
// those that could not be removed.
bool remove_listed_files(const std::string &folder, std::vector<std::string> *kept, std::string *error)
{
    const std::string list = join_path(folder, PRG_WRITTEN_LIST_NAME);
    gchar *contents = nullptr;
    gsize length = 0;
    GError *e = nullptr;
    if (!g_file_get_contents(list.c_str(), &contents, &length, &e)) {
        const bool missing = g_error_matches(e, G_FILE_ERROR, G_FILE_ERROR_NOENT);
        if (!missing)
            *error = "cannot read the list of PRG files written before, " + list + ": " + e->message;
        g_clear_error(&e);
        return missing;
    }
    const std::vector<std::string> names = listed_prg_names(std::string(contents, length));
    g_free(contents);

    std::string first_failure;
    for (const std::string &name : names) {
        const std::string path = join_path(folder, name);
        struct stat st;
        if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        if (g_unlink(path.c_str()) != 0) {
            if (first_failure.empty())
                first_failure = path + ": " + reason(errno);
            kept->push_back(name);
        }
    }
    if (!kept->empty()) {
        *error = "cannot remove " + std::to_string(kept->size()) + " PRG file(s) written before (" + first_failure +
                 ")";
        return false;
    }
    return true;
}

// Replaces the list with one holding `names`; returns its descriptor, open
// for appending, or -1. A link or other entry under the list's name is
// removed, never written through.
int start_list(const std::string &folder, const std::vector<std::string> &names, std::string *error)
{
    const std::string list = join_path(folder, PRG_WRITTEN_LIST_NAME);
    if (g_unlink(list.c_str()) != 0 && errno != ENOENT) {
        *error = "cannot replace the list of written PRG files " + list + ": " + reason(errno);
        return -1;
    }
    const int fd = ::open(list.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
        *error = "cannot write the list of written PRG files " + list + ": " + reason(errno);
        return -1;
    }
    for (const std::string &name : names) {
        if (!append_name(fd, name)) {
            *error = "cannot write the list of written PRG files " + list + ": " + reason(errno);
            ::close(fd);
            return -1;
        }
    }
    return fd;
}

// Removes the previous run's files and leaves the list naming only those
// that could not be removed. With `fd` the list stays (made when there is
// none) and *fd gets it, open for this run's names; without, it goes when it
// would be empty.
bool clear_previous_run(const std::string &folder, int *fd, std::string *error)
{
    std::vector<std::string> kept;
    std::string removing_error;
    const bool removed = remove_listed_files(folder, &kept, &removing_error);
    if (!removed && kept.empty()) {  // the list could not be read: it stays as it is
        *error = removing_error;
        return false;
    }
    int list = -1;
    std::string list_error;
    if (kept.empty() && fd == nullptr) {
        const std::string path = join_path(folder, PRG_WRITTEN_LIST_NAME);
        if (g_unlink(path.c_str()) != 0 && errno != ENOENT)
            list_error = "cannot remove the list of written PRG files " + path + ": " + reason(errno);
    } else {
        list = start_list(folder, kept, &list_error);
    }
    if (!removed || !list_error.empty()) {
        *error = removing_error + (!removing_error.empty() && !list_error.empty() ? "; " : "") + list_error;
        if (list >= 0)
            ::close(list);
        return false;
    }
    if (fd != nullptr)
        *fd = list;
    else if (list >= 0)
        ::close(list);
    return true;
}

} // namespace

std::vector<std::string> listed_prg_names(const std::string &text)
{
    std::vector<std::string> names;
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        std::string name = text.substr(pos, end - pos);
        if (listable_name(name))
            names.push_back(std::move(name));
        pos = end + 1;
    }
    return names;
}

bool remove_previous_prg_files(const std::string &folder, std::string *error)
{
    if (!g_file_test(folder.c_str(), G_FILE_TEST_IS_DIR))
        return true;
    return clear_previous_run(folder, nullptr, error);
}

PrgFolder::PrgFolder(std::string folder) : folder_(std::move(folder)) {}

PrgFolder::~PrgFolder()
{
    if (list_fd_ >= 0)
        ::close(list_fd_);
}

bool PrgFolder::start(std::string *error)
{
    if (g_mkdir_with_parents(folder_.c_str(), 0755) != 0) {
        *error = "cannot make the folder " + folder_ + ": " + reason(errno);
        return false;
    }
    return clear_previous_run(folder_, &list_fd_, error);
}

bool PrgFolder::write(const PrgFile &file, std::string *written_name, std::string *error)
{
    if (list_fd_ < 0) {
        *error = "the folder " + folder_ + " was not made ready for PRG files";
        return false;
    }
    const std::string base = file.file_name.substr(0, file.file_name.size() - 4);
    const std::string ending = file.file_name.substr(file.file_name.size() - 4);
    for (int n = 1; n <= MAX_NAME_SUFFIX; ++n) {
        const std::string name = n == 1 ? file.file_name : base + " (" + std::to_string(n) + ")" + ending;
        const std::string path = join_path(folder_, name);
        // Created exclusively: an entry of this name, whatever it is, is
        // never replaced or written through.
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd < 0) {
            *error = "cannot write " + path + ": " + reason(errno);
            return false;
        }
        if (!append_name(list_fd_, name)) {
            *error = "cannot add " + name + " to the list of written PRG files: " + reason(errno);
            ::close(fd);
            g_unlink(path.c_str());  // made just now, empty, and not listed
            return false;
        }
        const bool wrote = write_all(fd, file.bytes.data(), file.bytes.size());
        const int write_errno = errno;
        const bool closed = ::close(fd) == 0;
        if (!wrote || !closed) {
            *error = "cannot write " + path + ": " + reason(wrote ? errno : write_errno);
            g_unlink(path.c_str());  // no partial program is left to pass for a result
            return false;
        }
        *written_name = name;
        return true;
    }
    *error = "no free name for " + file.file_name + " in " + folder_;
    return false;
}
