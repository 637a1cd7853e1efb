#include "core/tapeoutput.h"

#include "core/tapimage.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <sys/types.h>
#include <vector>

namespace {

// Copies go through a buffer of this size: the memory a copy needs does not
// grow with the tape.
constexpr std::size_t COPY_CHUNK = 1 << 20;

std::string printf_string(const char *format, long long a, long long b, const char *c)
{
    gchar *text = g_strdup_printf(format, a, b, c);
    std::string result(text);
    g_free(text);
    return result;
}

} // namespace

int64_t tape_output_file_size(FILE *file)
{
    if (file == nullptr || fseeko(file, 0, SEEK_END) != 0)
        return -1;
    const off_t size = ftello(file);
    return size < 0 ? -1 : static_cast<int64_t>(size);
}

TapeOutput::~TapeOutput()
{
    if (file_ != nullptr)
        discard();
}

bool TapeOutput::create(const std::string &path)
{
    path_ = path;
    file_ = g_fopen(path.c_str(), "w+b");
    if (file_ == nullptr) {
        const int code = errno;
        error_ = std::string(_("Could not create ")) + path + ": " + g_strerror(code);
        return false;
    }
    return true;
}

void TapeOutput::fail(const std::string &what)
{
    if (error_.empty())
        error_ = what;
}

bool TapeOutput::write(const void *bytes, std::size_t count)
{
    if (failed() || file_ == nullptr)
        return false;
    if (count != 0 && std::fwrite(bytes, 1, count, file_) != count) {
        const int code = errno;
        fail(std::string(_("Could not write ")) + path_ + ": " + g_strerror(code));
        return false;
    }
    size_ += static_cast<int64_t>(count);
    return true;
}

bool TapeOutput::copy_from(FILE *source, int64_t from, int64_t length)
{
    if (failed() || file_ == nullptr)
        return false;
    if (length == 0)
        return true;
    const int64_t source_size = tape_output_file_size(source);
    if (from < 0 || length < 0 || source_size < 0 || from > source_size || length > source_size - from) {
        fail(printf_string(_("Could not read bytes %lld to %lld of the source tape: %s"),
                           static_cast<long long>(from), static_cast<long long>(from) + length - 1,
                           _("they lie outside the file")));
        return false;
    }
    std::vector<unsigned char> buffer;
    try {
        buffer.resize(static_cast<std::size_t>(std::min<int64_t>(length, COPY_CHUNK)));
    } catch (const std::exception &) {
        fail(_("Not enough memory to copy the tape."));
        return false;
    }
    if (fseeko(source, static_cast<off_t>(from), SEEK_SET) != 0) {
        const int code = errno;
        fail(printf_string(_("Could not read bytes %lld to %lld of the source tape: %s"),
                           static_cast<long long>(from), static_cast<long long>(from + length - 1),
                           g_strerror(code)));
        return false;
    }
    int64_t left = length;
    while (left > 0) {
        const std::size_t part = static_cast<std::size_t>(std::min<int64_t>(left, COPY_CHUNK));
        if (std::fread(buffer.data(), 1, part, source) != part) {
            const int code = std::ferror(source) ? errno : 0;
            fail(printf_string(_("Could not read bytes %lld to %lld of the source tape: %s"),
                               static_cast<long long>(from), static_cast<long long>(from + length - 1),
                               code != 0 ? g_strerror(code) : _("the file ended early")));
            return false;
        }
        if (!write(buffer.data(), part))
            return false;
        left -= static_cast<int64_t>(part);
    }
    return true;
}

bool TapeOutput::finish()
{
    if (file_ == nullptr)
        return false;
    if (!failed()) {
        if (size_ < static_cast<int64_t>(TAP_HEADER_SIZE)) {
            fail(std::string(_("Could not write ")) + path_ + ": " + _("no complete tape header"));
        } else if (size_ - static_cast<int64_t>(TAP_HEADER_SIZE) > int64_t(UINT32_MAX)) {
            fail(std::string(_("Could not write ")) + path_ + ": " +
                 _("a TAP file holds at most 4 GB of pulses"));
        } else {
            const uint32_t data = static_cast<uint32_t>(size_ - static_cast<int64_t>(TAP_HEADER_SIZE));
            const unsigned char le[4] = {static_cast<unsigned char>(data & 0xFFu),
                                         static_cast<unsigned char>((data >> 8) & 0xFFu),
                                         static_cast<unsigned char>((data >> 16) & 0xFFu),
                                         static_cast<unsigned char>((data >> 24) & 0xFFu)};
            if (fseeko(file_, static_cast<off_t>(TAP_OFFSET_DATA_SIZE), SEEK_SET) != 0 ||
                std::fwrite(le, 1, sizeof le, file_) != sizeof le || std::fflush(file_) != 0) {
                const int code = errno;
                fail(std::string(_("Could not write ")) + path_ + ": " + g_strerror(code));
            }
        }
    }
    FILE *file = file_;
    file_ = nullptr;
    if (std::fclose(file) != 0 && !failed()) {
        const int code = errno;
        fail(std::string(_("Could not write ")) + path_ + ": " + g_strerror(code));
    }
    if (failed()) {
        g_remove(path_.c_str());
        return false;
    }
    return true;
}

void TapeOutput::discard()
{
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
    }
    g_remove(path_.c_str());
}

std::string path_beside_with_extension(const std::string &path, const char *extension)
{
    gchar *folder = g_path_get_dirname(path.c_str());
    gchar *base = g_path_get_basename(path.c_str());
    if (gchar *dot = std::strrchr(base, '.'); dot != nullptr && dot != base)
        *dot = '\0';
    gchar *name = g_strconcat(base, extension, nullptr);
    gchar *beside = g_build_filename(folder, name, nullptr);
    std::string result = beside;
    g_free(beside);
    g_free(name);
    g_free(base);
    g_free(folder);
    return result;
}
