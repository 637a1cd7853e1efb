// Real C64 programs that nobody here wrote: Debian's cc65 builds them from
// its bundled samples at test time. The listings must account for every
// byte of each program exactly once.
#include "common/cc65_sample.h"
#include "core/basiclisting.h"
#include "core/dasm.h"
#include "core/hexlisting.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

const char *const samples[] = {"sieve", "hello", "ascii", "fire", "plasma", "mandelbrot", "nachtm"};

// Compiles a cc65 sample into `folder`; the path of the PRG, or "" on failure.
std::string build_sample(const std::string &folder, const std::string &name)
{
    std::string error;
    const std::string output = build_cc65_sample(folder, name, &error);
    if (output.empty())
        ADD_FAILURE() << error;
    return output;
}

bool is_branch(const std::string &mnemonic)
{
    static const char *const branches[] = {"BPL", "BMI", "BVC", "BVS", "BCC", "BCS", "BNE", "BEQ"};
    for (const char *b : branches)
        if (mnemonic == b)
            return true;
    return false;
}

// Bytes one listing line stands for, read back from its text.
size_t bytes_of_line(std::string line)
{
    const size_t comment = line.find(';');
    std::string code = comment == std::string::npos ? line : line.substr(0, comment);
    if (code.find_first_not_of(' ') == std::string::npos)
        return 0;
    std::istringstream in(code);
    std::string first;
    in >> first;
    if (code[0] != ' ' && code[0] != '\t') { // a label starts the line
        if (first.rfind("*=", 0) == 0)
            return 0;
        first.clear();
        in >> first;
    }
    std::string rest;
    std::getline(in, rest);
    rest.erase(0, rest.find_first_not_of(' '));
    rest.erase(rest.find_last_not_of(' ') + 1);
    if (first == ".word")
        return 2;
    if (first == ".byte")
        return size_t(std::count(rest.begin(), rest.end(), ',')) + 1;
    if (first == ".text")
        return rest.size() - 2; // the quotes
    if (rest.empty() || rest == "A")
        return 1;
    if (rest[0] == '#')
        return 2;
    if (rest[0] == '*' || is_branch(first))
        return 2;
    std::smatch match;
    std::string address = rest;
    if (std::regex_search(rest, match, std::regex(R"(\$([0-9A-F]+))")))
        return match[1].length() <= 2 ? 2 : 3;
    return 3; // a label stands for an absolute address
}

size_t listed_bytes(const std::string &listing)
{
    size_t total = 0;
    std::istringstream in(listing);
    for (std::string line; std::getline(in, line);)
        total += bytes_of_line(line);
    return total;
}

class RealPrograms : public ::testing::Test {
protected:
    std::string folder;
    void SetUp() override
    {
        gchar *made = g_dir_make_tmp("quillmarfe-cc65-XXXXXX", nullptr);
        folder = made;
        g_free(made);
    }
    void TearDown() override
    {
        for (const char *name : samples) {
            for (const char *ext : {".prg", ".o"}) {
                const std::string path = folder + "/" + name + ext;
                g_remove(path.c_str());
            }
        }
        g_rmdir(folder.c_str());
    }
};

} // namespace

TEST_F(RealPrograms, DisassemblyListsEveryByteOnceWithTheBasicBootBlock)
{
    for (const char *name : samples) {
        SCOPED_TRACE(name);
        const std::string prg = build_sample(folder, name);
        ASSERT_FALSE(prg.empty());
        gchar *contents = nullptr;
        gsize size = 0;
        ASSERT_TRUE(g_file_get_contents(prg.c_str(), &contents, &size, nullptr));
        g_free(contents);
        for (int comment : {0, 1}) {
            GString *text = g_string_new("");
            ASSERT_EQ(disassemble(prg.c_str(), 0, comment, text), 1);
            const std::string listing = text->str;
            g_string_free(text, TRUE);
            EXPECT_NE(listing.find("*=$0801\n        .word EOBAS\n"), std::string::npos);
            EXPECT_NE(listing.find(".byte $9E     ; 'SYS'\n"), std::string::npos);
            // Every byte once: nothing missing, nothing twice, nothing past the end.
            EXPECT_EQ(listed_bytes(listing), size - 2);
        }
    }
}

TEST_F(RealPrograms, HexListingHasOneLinePerSixteenBytes)
{
    const std::string prg = build_sample(folder, "hello");
    ASSERT_FALSE(prg.empty());
    gchar *contents = nullptr;
    gsize size = 0;
    ASSERT_TRUE(g_file_get_contents(prg.c_str(), &contents, &size, nullptr));
    g_free(contents);
    GString *text = g_string_new("");
    ASSERT_EQ(make_hex_listing(prg.c_str(), 0, text), 1);
    const std::string listing = text->str;
    g_string_free(text, TRUE);
    const size_t lines = size_t(std::count(listing.begin(), listing.end(), '\n'));
    // Each line starts with a line break, and one more ends the listing.
    EXPECT_EQ(lines, (size - 2 + 15) / 16 + 1);
    EXPECT_EQ(listing.rfind("\n0801: ", 0), 0u);
}

TEST_F(RealPrograms, CompiledProgramsAreNoBasicListingsBeyondTheirBootLine)
{
    const std::string prg = build_sample(folder, "sieve");
    ASSERT_FALSE(prg.empty());
    GString *text = g_string_new("");
    // The boot line links to the end of BASIC; what follows is machine code.
    EXPECT_EQ(untokenize(prg.c_str(), text), 1);
    EXPECT_EQ(std::string(text->str), "\n800 SYS2061\n");
    g_string_free(text, TRUE);
}
