// The BASIC boot line ("10 SYS2061") at the start of a program loaded at
// $0801, written as data directives.
#include "core/dasmcomment.h"

#include "core/dasm.h"

#include "dasm_testing.h"

#include <gtest/gtest.h>

using namespace dasm_testing;

namespace {

// convert_basic_boot on the bytes after the load address; "<none>" when it
// declines (and then nothing may have been written).
std::string boot(const std::vector<uint8_t> &data, unsigned load = 0x0801, size_t *consumed = nullptr)
{
    GString *text = g_string_new(nullptr);
    size_t used = convert_basic_boot(data.data(), load, data.size(), text);
    std::string result = used ? std::string(text->str, text->len) : (text->len ? "<text written>" : "<none>");
    g_string_free(text, TRUE);
    if (consumed)
        *consumed = used;
    return result;
}

// A one-line program "<number> SYS<characters>" with its end link.
std::vector<uint8_t> sys_line(unsigned number, const std::string &characters)
{
    unsigned link = 0x0801 + 4 + 1 + static_cast<unsigned>(characters.size()) + 1;
    std::vector<uint8_t> data = {static_cast<uint8_t>(link & 0xFF), static_cast<uint8_t>(link >> 8),
                                 static_cast<uint8_t>(number & 0xFF), static_cast<uint8_t>(number >> 8), 0x9E};
    for (char c : characters)
        data.push_back(static_cast<uint8_t>(c));
    for (int i = 0; i < 3; ++i)
        data.push_back(0x00);
    return data;
}

std::string block(const std::string &number, const std::string &blanks, const std::string &characters)
{
    return "\n        .word EOBAS"
           "\n        .word " + number +
           "\n        .byte $9E     ; 'SYS'" + blanks + "\n        .text \"" + characters + "\"" +
           "\n        .byte $00"
           "\nEOBAS   .word 0"
           "\n";
}

const std::vector<uint8_t> sys2061 = {0x0B, 0x08, 0x0A, 0x00, 0x9E, 0x32, 0x30, 0x36, 0x31, 0x00, 0x00, 0x00};

}  // namespace

TEST(DasmBoot, Sys2061ListsAsDirectives)
{
    // 10 SYS2061, then LDA #$00, STA $D020, RTS at $080D.
    auto file = prg(0x0801, join({sys2061, {0xA9, 0x00, 0x8D, 0x20, 0xD0, 0x60}}));
    std::string expected = header(2, 0x0801) +
                           "\n        .word EOBAS"
                           "\n        .word 10"
                           "\n        .byte $9E     ; 'SYS'"
                           "\n        .text \"2061\""
                           "\n        .byte $00"
                           "\nEOBAS   .word 0"
                           "\n"
                           "\n        LDA #$00      "
                           "\n        STA $D020     "
                           "\n        RTS           \n"
                           "\n";
    EXPECT_EQ(run(file), expected);
}

TEST(DasmBoot, Sys2061WithCommentsOn)
{
    auto file = prg(0x0801, join({sys2061, {0xA9, 0x00, 0x8D, 0x20, 0xD0, 0x60}}));
    std::string expected = header(2, 0x0801) + block("10", "", "2061") + "\n        LDA #$00      " +
                           "\n        STA $D020     ; VIC-II Border Color Register" + "\n        RTS           \n" +
                           "\n";
    EXPECT_EQ(run(file, 0, 1), expected);
}

TEST(DasmBoot, SecondStatementMeansNoBootBlock)
{
    // 10 SYS2061:END is listed as plain bytes.
    auto file = prg(0x0801, {0x0D, 0x08, 0x0A, 0x00, 0x9E, 0x32, 0x30, 0x36, 0x31, 0x3A, 0x80, 0x00, 0x00, 0x00,
                             0xA9, 0x00, 0x8D, 0x20, 0xD0, 0x60});
    std::string expected = header(2, 0x0801) +
                           "\nT0801   .byte $0D,$08,$0A,$00,$9E,$32,$30,$36,$31,$3A,$80,$00,$00,$00" + "\n" +
                           "\n        LDA #$00      "
                           "\n        STA $D020     "
                           "\n        RTS           \n"
                           "\n";
    EXPECT_EQ(run(file), expected);
}

TEST(DasmBoot, DataAfterTheBlockStartsALineWithoutExtraEmptyLine)
{
    auto file = prg(0x0801, join({sys2061, {0x00, 0x00, 0x00}}));
    EXPECT_EQ(run(file), header(2, 0x0801) + block("10", "", "2061") + "\nT080D   .byte $00,$00,$00" + "\n");
}

TEST(DasmBoot, OtherLoadAddressMeansNoBootBlock)
{
    auto file = prg(0x0800, sys2061);
    EXPECT_EQ(run(file).find(".word EOBAS"), std::string::npos);
    EXPECT_EQ(boot(sys2061, 0x0800), "<none>");
    EXPECT_EQ(boot(sys2061, 0x1001), "<none>");
}

TEST(DasmBoot, ConsumesTheLineAndTheEndLink)
{
    size_t consumed = 0;
    EXPECT_EQ(boot(sys2061, 0x0801, &consumed), block("10", "", "2061"));
    EXPECT_EQ(consumed, 12u);
}

TEST(DasmBoot, BlanksAfterTheTokenAreBytes)
{
    EXPECT_EQ(boot(sys_line(10, " 2061")), block("10", "\n        .byte $20", "2061"));
    EXPECT_EQ(boot(sys_line(10, "  2061")), block("10", "\n        .byte $20,$20", "2061"));
}

TEST(DasmBoot, LaterBlanksStayInTheText)
{
    EXPECT_EQ(boot(sys_line(10, " 2061 ")), block("10", "\n        .byte $20", "2061 "));
}

TEST(DasmBoot, TextLineIsWrittenEvenWhenEmpty)
{
    size_t consumed = 0;
    EXPECT_EQ(boot(sys_line(10, ""), 0x0801, &consumed), block("10", "", ""));
    EXPECT_EQ(consumed, 8u);
    EXPECT_EQ(boot(sys_line(10, "   ")), block("10", "\n        .byte $20,$20,$20", ""));
}

TEST(DasmBoot, LineNumberIsUnsignedDecimal)
{
    EXPECT_EQ(boot(sys_line(65535, "2061")), block("65535", "", "2061"));
    EXPECT_EQ(boot(sys_line(0, "2061")), block("0", "", "2061"));
}

TEST(DasmBoot, AllowedCharacters)
{
    EXPECT_EQ(boot(sys_line(10, "(2061)")), block("10", "", "(2061)"));
    EXPECT_EQ(boot(sys_line(10, "4096+13")), block("10", "", "4096+13"));
    EXPECT_EQ(boot(sys_line(10, "2*1030-1/1")), block("10", "", "2*1030-1/1"));
    EXPECT_EQ(boot(sys_line(10, "2061@AZ[]")), block("10", "", "2061@AZ[]"));
}

TEST(DasmBoot, OtherCharactersAndTokensAreRefused)
{
    for (const char *characters : {"2061:", "2061.", "20\\61", "2061a", "2061\"", "2061,1", "2061^"})
        EXPECT_EQ(boot(sys_line(10, characters)), "<none>") << characters;
    std::string plus_token = "4096";
    plus_token += static_cast<char>(0xAA);
    plus_token += "13";
    EXPECT_EQ(boot(sys_line(10, plus_token)), "<none>");
}

TEST(DasmBoot, FirstTokenMustBeSys)
{
    auto data = sys_line(10, "2061");
    data[4] = 0x99;  // PRINT
    EXPECT_EQ(boot(data), "<none>");
}

TEST(DasmBoot, SecondLineMeansNoBootBlock)
{
    // 10 SYS2061 followed by a line 20 END.
    std::vector<uint8_t> data = {0x0B, 0x08, 0x0A, 0x00, 0x9E, 0x32, 0x30, 0x36, 0x31, 0x00,
                                 0x11, 0x08, 0x14, 0x00, 0x80, 0x00, 0x00, 0x00};
    EXPECT_EQ(boot(data), "<none>");
}

TEST(DasmBoot, TerminatorMustSitRightBeforeTheNextLine)
{
    // The link points one byte past the terminator.
    std::vector<uint8_t> data = {0x0C, 0x08, 0x0A, 0x00, 0x9E, 0x32, 0x30, 0x36, 0x31, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(boot(data), "<none>");
    // The link points into the line.
    data = {0x08, 0x08, 0x0A, 0x00, 0x9E, 0x32, 0x30, 0x00, 0x00, 0x00};
    EXPECT_EQ(boot(data), "<none>");
}

TEST(DasmBoot, LinkMustStayInPageEight)
{
    std::string digits(250, '1');
    auto data = sys_line(10, digits);
    ASSERT_EQ(data[1], 0x09);  // the link is $0901
    EXPECT_EQ(boot(data), "<none>");
    EXPECT_EQ(boot({0x00, 0x08, 0x0A, 0x00, 0x9E, 0x00, 0x00, 0x00}), "<none>");  // link $0800
}

TEST(DasmBoot, EndLinkMustBeInsideTheData)
{
    auto data = sys_line(10, "2061");
    data.pop_back();  // only one byte of the end link
    EXPECT_EQ(boot(data), "<none>");
}

TEST(DasmBoot, FewerThanSevenBytesAreRefused)
{
    EXPECT_EQ(boot({0x07, 0x08, 0x0A, 0x00, 0x9E, 0x00}), "<none>");
}
