// Files of a test: a temporary folder removed with everything in it, and the
// small readings the tape tool tests make of the files they write.
#pragma once
#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

class TempFolder {
public:
    // `pattern` as for g_dir_make_tmp (ending in XXXXXX).
    explicit TempFolder(const char *pattern)
    {
        gchar *made = g_dir_make_tmp(pattern, nullptr);
        EXPECT_NE(made, nullptr) << pattern;
        path_ = made != nullptr ? made : "";
        g_free(made);
    }
    ~TempFolder()
    {
        if (!path_.empty())
            remove_tree(path_);
    }
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;

    const std::string &path() const { return path_; }

    // Writes `bytes` into the file `name` of the folder; returns its path.
    std::string write(const std::string &name, const std::string &bytes) const
    {
        const std::string file = path_ + "/" + name;
        g_file_set_contents(file.c_str(), bytes.data(), static_cast<gssize>(bytes.size()), nullptr);
        return file;
    }

    // Names in the folder, sorted.
    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        if (GDir *d = g_dir_open(path_.c_str(), 0, nullptr)) {
            while (const gchar *name = g_dir_read_name(d))
                names.emplace_back(name);
            g_dir_close(d);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    static void remove_tree(const std::string &path)
    {
        if (g_file_test(path.c_str(), G_FILE_TEST_IS_DIR) && !g_file_test(path.c_str(), G_FILE_TEST_IS_SYMLINK)) {
            if (GDir *d = g_dir_open(path.c_str(), 0, nullptr)) {
                while (const gchar *name = g_dir_read_name(d))
                    remove_tree(path + "/" + name);
                g_dir_close(d);
            }
            g_chmod(path.c_str(), 0700);
            g_rmdir(path.c_str());
        } else {
            g_remove(path.c_str());
        }
    }
    std::string path_;
};

// The whole file, or "<missing>" when it cannot be read.
inline std::string read_file_or_missing(const std::string &path)
{
    gchar *data = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &data, &length, nullptr))
        return "<missing>";
    std::string result(data, length);
    g_free(data);
    return result;
}

// SHA-256 of a file, to show that a tool left its source alone.
inline std::string sha256_of_file(const std::string &path)
{
    const std::string bytes = read_file_or_missing(path);
    gchar *sum = g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar *>(bytes.data()),
                                             bytes.size());
    std::string result(sum);
    g_free(sum);
    return result;
}

// A 32-bit value as the four little-endian bytes of a TAP header field.
inline std::string le32(uint32_t v)
{
    std::string s;
    for (int i = 0; i < 4; ++i)
        s += static_cast<char>((v >> (8 * i)) & 0xFF);
    return s;
}
