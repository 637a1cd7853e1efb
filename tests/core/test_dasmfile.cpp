// The disassembler's file handling: reading, short and unreadable files,
// progress reports and 64 KB programs.
#include "core/dasm.h"

#include "dasm_testing.h"

#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dasm_testing;

namespace {

struct Recorder {
    std::vector<double> fractions;
    std::vector<std::string> errors;  // "path|message"
};

void record_progress(double fraction, void *user)
{
    static_cast<Recorder *>(user)->fractions.push_back(fraction);
}

void record_error(const char *path, const char *message, void *user)
{
    static_cast<Recorder *>(user)->errors.push_back(std::string(path) + "|" + message);
}

DecodeHooks hooks_for(Recorder &recorder)
{
    DecodeHooks hooks;
    hooks.progress = record_progress;
    hooks.load_error = record_error;
    hooks.user = &recorder;
    return hooks;
}

// A file in a fresh temporary folder, removed with it.
class DasmFile : public ::testing::Test {
protected:
    void SetUp() override { folder_ = g_dir_make_tmp("dasm-XXXXXX", nullptr); }
    void TearDown() override
    {
        for (const std::string &path : written_)
            g_remove(path.c_str());
        g_rmdir(folder_);
        g_free(folder_);
    }
    std::string write(const char *name, const std::vector<uint8_t> &bytes)
    {
        gchar *path = g_build_filename(folder_, name, nullptr);
        std::string result(path);
        g_free(path);
        EXPECT_TRUE(g_file_set_contents(result.c_str(), reinterpret_cast<const gchar *>(bytes.data()),
                                        static_cast<gssize>(bytes.size()), nullptr));
        written_.push_back(result);
        return result;
    }
    gchar *folder_ = nullptr;
    std::vector<std::string> written_;
};

std::string disassemble_file(const std::string &path, Recorder &recorder, int *result, const char *before = "")
{
    GString *text = g_string_new(before);
    *result = disassemble(path.c_str(), 0, 0, text, hooks_for(recorder));
    std::string listing(text->str, text->len);
    g_string_free(text, TRUE);
    return listing;
}

}  // namespace

TEST_F(DasmFile, ReadsTheFileLikeTheBytes)
{
    auto bytes = prg(0x1000, {0x00, 0xA9, 0x05, 0x00});
    Recorder recorder;
    int result = 0;
    std::string listing = disassemble_file(write("a.prg", bytes), recorder, &result);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(listing, run(bytes));
    EXPECT_TRUE(recorder.errors.empty());
}

TEST_F(DasmFile, TextIsAppended)
{
    Recorder recorder;
    int result = 0;
    std::string listing = disassemble_file(write("a.prg", prg(0x1000, {0x00})), recorder, &result, "before");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(listing, "before" + header(0, 0x1000) + "\nT1000   .byte $00" + "\n");
}

TEST_F(DasmFile, UnreadablePathCallsLoadError)
{
    gchar *path = g_build_filename(folder_, "missing.prg", nullptr);
    Recorder recorder;
    int result = 1;
    std::string listing = disassemble_file(path, recorder, &result, "kept");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(listing, "kept");
    ASSERT_EQ(recorder.errors.size(), 1u);
    std::string prefix = std::string(path) + "|";
    EXPECT_EQ(recorder.errors[0].substr(0, prefix.size()), prefix);
    EXPECT_GT(recorder.errors[0].size(), prefix.size());
    EXPECT_TRUE(recorder.fractions.empty());
    g_free(path);
}

TEST_F(DasmFile, UnreadablePathWithoutHooksJustFails)
{
    gchar *path = g_build_filename(folder_, "missing.prg", nullptr);
    GString *text = g_string_new(nullptr);
    EXPECT_EQ(disassemble(path, 0, 0, text), 0);
    EXPECT_EQ(text->len, 0u);
    g_string_free(text, TRUE);
    g_free(path);
}

TEST_F(DasmFile, FilesOfFewerThanThreeBytesFailWithoutText)
{
    for (size_t size : {0, 1, 2}) {
        Recorder recorder;
        int result = 1;
        std::string listing =
            disassemble_file(write("short.prg", std::vector<uint8_t>(size, 0x10)), recorder, &result);
        EXPECT_EQ(result, 0) << size;
        EXPECT_EQ(listing, "") << size;
        EXPECT_TRUE(recorder.errors.empty());
    }
}

TEST_F(DasmFile, ThreeByteFileListsOneDataByte)
{
    EXPECT_EQ(run({0x00, 0x10, 0x00}), header(0, 0x1000) + "\nT1000   .byte $00" + "\n");
    EXPECT_EQ(run({0x00, 0x10, 0x60}), header(0, 0x1000) + line("RTS           ") + "\n\n");
}

TEST(DasmProgress, ReportsEveryMultipleOf1024)
{
    Recorder recorder;
    GString *text = g_string_new(nullptr);
    auto file = prg(0x1000, repeat(0, 3000));
    EXPECT_EQ(disassemble_bytes(file.data(), file.size(), 0, 0, text, hooks_for(recorder)), 1);
    g_string_free(text, TRUE);
    ASSERT_EQ(recorder.fractions.size(), 3u);
    EXPECT_DOUBLE_EQ(recorder.fractions[0], 0.0);
    EXPECT_DOUBLE_EQ(recorder.fractions[1], 1024.0 / 3000);
    EXPECT_DOUBLE_EQ(recorder.fractions[2], 2048.0 / 3000);
}

TEST(DasmProgress, MultipleInsideAnInstructionIsStillReported)
{
    // JSR $FFD2 at positions 1022-1024: the listing steps from 1022 to 1025.
    std::vector<uint8_t> bytes = repeat(0xEA, 2000);
    bytes[1022] = 0x20, bytes[1023] = 0xD2, bytes[1024] = 0xFF;
    bytes[1999] = 0x60;
    Recorder recorder;
    GString *text = g_string_new(nullptr);
    auto file = prg(0x1000, bytes);
    EXPECT_EQ(disassemble_bytes(file.data(), file.size(), 0, 0, text, hooks_for(recorder)), 1);
    EXPECT_NE(std::string(text->str).find(line("JSR $FFD2     ")), std::string::npos);
    g_string_free(text, TRUE);
    ASSERT_EQ(recorder.fractions.size(), 2u);
    EXPECT_DOUBLE_EQ(recorder.fractions[0], 0.0);
    EXPECT_DOUBLE_EQ(recorder.fractions[1], 1024.0 / 2000);
}

TEST(DasmProgress, NoHooksIsFine)
{
    auto file = prg(0x1000, repeat(0, 3000));
    EXPECT_NE(run(file), "<failed>");
}

TEST(DasmLarge, SixtyFourKilobyteFile)
{
    // 65536 bytes: load address $0000 and 65534 zero bytes.
    auto file = prg(0x0000, repeat(0, 65534));
    ASSERT_EQ(file.size(), 65536u);
    Recorder recorder;
    GString *text = g_string_new(nullptr);
    EXPECT_EQ(disassemble_bytes(file.data(), file.size(), 0, 0, text, hooks_for(recorder)), 1);
    std::string listing(text->str, text->len);
    g_string_free(text, TRUE);

    std::string head = header(0, 0x0000) + data_line("0000", 0, 16) + data_line("0010", 0, 16);
    EXPECT_EQ(listing.substr(0, head.size()), head);
    std::string tail = data_line("FFE0", 0, 16) + data_line("FFF0", 0, 14) + "\n";
    EXPECT_EQ(listing.substr(listing.size() - tail.size()), tail);
    size_t lines = 0;
    for (size_t at = listing.find("\nT"); at != std::string::npos; at = listing.find("\nT", at + 1))
        ++lines;
    EXPECT_EQ(lines, 4096u);
    EXPECT_EQ(recorder.fractions.size(), 64u);
    EXPECT_DOUBLE_EQ(recorder.fractions.back(), 64512.0 / 65534);
}

TEST(DasmLarge, FullAddressSpaceWrapsAndExtraBytesAreIgnored)
{
    // 65536 data bytes from $8000 fill memory once; $0000 follows $FFFF.
    std::vector<uint8_t> bytes = repeat(0, 65536);
    std::string listing = run(prg(0x8000, bytes));
    EXPECT_NE(listing.find(data_line("FFF0", 0, 16) + data_line("0000", 0, 16)), std::string::npos);
    std::string tail = data_line("7FF0", 0, 16) + "\n";
    EXPECT_EQ(listing.substr(listing.size() - tail.size()), tail);

    bytes.insert(bytes.end(), {0x60, 0x60, 0x60});
    EXPECT_EQ(run(prg(0x8000, bytes)), listing);
}

TEST(DasmLarge, JumpsAcrossTheWholeSpaceAreInside)
{
    // With 65536 bytes every address is inside: JSR $7FFF calls the last byte.
    std::vector<uint8_t> bytes = repeat(0xEA, 65536);
    bytes[0] = 0x20, bytes[1] = 0xFF, bytes[2] = 0x7F;
    bytes[65535] = 0x60;
    std::string listing = run(prg(0x8000, bytes));
    EXPECT_NE(listing.find("\n;  Subroutine calls (S):\n;   7FFF: 8000 \n"), std::string::npos);
    EXPECT_NE(listing.find(line("JSR S7FFF     ")), std::string::npos);
    EXPECT_NE(listing.find("\nS7FFF   RTS           \n"), std::string::npos);
}
