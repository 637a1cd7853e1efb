// The opcode table: widths, the undocumented opcodes and a listing that holds
// every documented opcode as code.
#include "core/dasm.h"

#include "dasm_testing.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

using namespace dasm_testing;

namespace {

// An opcode's text as printed with the prefix "$", one operand byte $12, two
// operand bytes $1234 or a branch target $1234.
std::string render(uint8_t opcode)
{
    const DasmOpcode &op = opset65xx[opcode];
    gchar *text = nullptr;
    if (op.operands == 0)
        text = g_strdup(op.text);
    else if (op.operands == 2)
        text = g_strdup_printf(op.text, "$", 0x12, 0x34);
    else if ((opcode & 0x1F) == 0x10)
        text = g_strdup_printf(op.text, "$", 0x1234);
    else
        text = g_strdup_printf(op.text, "$", 0x12);
    std::string result(text);
    g_free(text);
    return result;
}

// The undocumented opcodes and their texts, rendered as above.
const std::map<int, std::string> undocumented = {
    {0x02, "JAM*          "}, {0x03, "SLO* ($12,X)  "}, {0x04, "NOP* $12      "}, {0x07, "SLO* $12      "},
    {0x0B, "ANC* #$12     "}, {0x0C, "NOP* $1234    "}, {0x0F, "SLO* $1234    "}, {0x12, "JAM*          "},
    {0x13, "SLO* ($12),Y  "}, {0x14, "NOP* $12,X    "}, {0x17, "SLO* $12,X    "}, {0x1A, "NOP*          "},
    {0x1B, "SLO* $1234,Y  "}, {0x1C, "NOP* $1234,X  "}, {0x1F, "SLO* $1234,X  "}, {0x22, "JAM*          "},
    {0x23, "RLA* ($12,X)  "}, {0x27, "RLA* $12      "}, {0x2B, "ANC* #$12     "}, {0x2F, "RLA* $1234    "},
    {0x32, "JAM*          "}, {0x33, "RLA* ($12),Y  "}, {0x34, "NOP* $12,X    "}, {0x37, "RLA* $12,X    "},
    {0x3A, "NOP*          "}, {0x3B, "RLA* $1234,Y  "}, {0x3C, "NOP* $1234,X  "}, {0x3F, "RLA* $1234,X  "},
    {0x42, "JAM*          "}, {0x43, "SRE* ($12,X)  "}, {0x44, "NOP* $12      "}, {0x47, "SRE* $12      "},
    {0x4B, "ASR* #$12     "}, {0x4F, "SRE* $1234    "}, {0x52, "JAM*          "}, {0x53, "SRE* ($12),Y  "},
    {0x54, "NOP* $12,X    "}, {0x57, "SRE* $12,X    "}, {0x5A, "NOP*          "}, {0x5B, "SRE* $1234,Y  "},
    {0x5C, "NOP* $1234,X  "}, {0x5F, "SRE* $1234,X  "}, {0x62, "JAM*          "}, {0x63, "RRA* ($12,X)  "},
    {0x64, "NOP* $12      "}, {0x67, "RRA* $12      "}, {0x6B, "ARR* #$12     "}, {0x6F, "RRA* $1234    "},
    {0x72, "JAM*          "}, {0x73, "RRA* ($12),Y  "}, {0x74, "NOP* $12,X    "}, {0x77, "RRA* $12,X    "},
    {0x7A, "NOP*          "}, {0x7B, "RRA* $1234,Y  "}, {0x7C, "NOP* $1234,X  "}, {0x7F, "RRA* $1234,X  "},
    {0x80, "NOP* #$12     "}, {0x82, "NOP* #$12     "}, {0x83, "SAX* ($12,x)  "}, {0x87, "SAX* $12      "},
    {0x89, "NOP* #$12     "}, {0x8B, "ANE* #$12     "}, {0x8F, "SAX* $1234    "}, {0x92, "JAM*          "},
    {0x93, "SHA* ($12),Y  "}, {0x97, "SAX* $12,Y    "}, {0x9B, "SHS* $1234,Y  "}, {0x9C, "SHY* $1234,X  "},
    {0x9E, "SHX* $1234,Y  "}, {0x9F, "SHA* $1234,Y  "}, {0xA3, "LAX* ($12,X)  "}, {0xA7, "LAX* $12      "},
    {0xAB, "LXA* #$12     "}, {0xAF, "LAX* $1234    "}, {0xB2, "JAM*          "}, {0xB3, "LAX* ($12),Y  "},
    {0xB7, "LAX* $12,Y    "}, {0xBB, "LAS* $1234,Y  "}, {0xBF, "LAX* $1234,Y  "}, {0xC2, "NOP* #$12     "},
    {0xC3, "DCP* ($12,X)  "}, {0xC7, "DCP* $12      "}, {0xCB, "SBX* #$12     "}, {0xCF, "DCP* $1234    "},
    {0xD2, "JAM*          "}, {0xD3, "DCP* ($12),Y  "}, {0xD4, "NOP* $12,X    "}, {0xD7, "DCP* $12,X    "},
    {0xDA, "NOP*          "}, {0xDB, "DCP* $1234,Y  "}, {0xDC, "NOP* $1234,X  "}, {0xDF, "DCP* $1234,X  "},
    {0xE2, "NOP* #$12     "}, {0xE3, "ISB* ($12,X)  "}, {0xE7, "ISB* $12      "}, {0xEB, "SBC* #$12     "},
    {0xEF, "ISB* $1234    "}, {0xF2, "JAM*          "}, {0xF3, "ISB* ($12),Y  "}, {0xF4, "NOP* $12,X    "},
    {0xF7, "ISB* $12,X    "}, {0xFA, "NOP*          "}, {0xFB, "ISB* $1234,Y  "}, {0xFC, "NOP* $1234,X  "},
    {0xFF, "ISB* $1234,X  "},
};

// Every documented opcode but BRK and the branches, in opcode order, with
// operand $12 or $1234 and the line it lists as.
struct Documented {
    std::vector<uint8_t> bytes;
    const char *text;
};
const Documented documented[] = {
    {{0x01, 0x12}, "ORA ($12,X)   "}, {{0x05, 0x12}, "ORA $12       "}, {{0x06, 0x12}, "ASL $12       "},
    {{0x08}, "PHP           "}, {{0x09, 0x12}, "ORA #$12      "}, {{0x0A}, "ASL A         "},
    {{0x0D, 0x34, 0x12}, "ORA $1234     "}, {{0x0E, 0x34, 0x12}, "ASL $1234     "},
    {{0x11, 0x12}, "ORA ($12),Y   "}, {{0x15, 0x12}, "ORA $12,X     "}, {{0x16, 0x12}, "ASL $12,X     "},
    {{0x18}, "CLC           "}, {{0x19, 0x34, 0x12}, "ORA $1234,Y   "}, {{0x1D, 0x34, 0x12}, "ORA $1234,X   "},
    {{0x1E, 0x34, 0x12}, "ASL $1234,X   "},
    {{0x20, 0x34, 0x12}, "JSR $1234     "}, {{0x21, 0x12}, "AND ($12,X)   "}, {{0x24, 0x12}, "BIT $12       "},
    {{0x25, 0x12}, "AND $12       "}, {{0x26, 0x12}, "ROL $12       "}, {{0x28}, "PLP           "},
    {{0x29, 0x12}, "AND #$12      "}, {{0x2A}, "ROL A         "}, {{0x2C, 0x34, 0x12}, "BIT $1234     "},
    {{0x2D, 0x34, 0x12}, "AND $1234     "}, {{0x2E, 0x34, 0x12}, "ROL $1234     "},
    {{0x31, 0x12}, "AND ($12),Y   "}, {{0x35, 0x12}, "AND $12,X     "}, {{0x36, 0x12}, "ROL $12,X     "},
    {{0x38}, "SEC           "}, {{0x39, 0x34, 0x12}, "AND $1234,Y   "}, {{0x3D, 0x34, 0x12}, "AND $1234,X   "},
    {{0x3E, 0x34, 0x12}, "ROL $1234,X   "},
    {{0x40}, "RTI           "}, {{0x41, 0x12}, "EOR ($12,X)   "}, {{0x45, 0x12}, "EOR $12       "},
    {{0x46, 0x12}, "LSR $12       "}, {{0x48}, "PHA           "}, {{0x49, 0x12}, "EOR #$12      "},
    {{0x4A}, "LSR A         "}, {{0x4C, 0x34, 0x12}, "JMP $1234     "}, {{0x4D, 0x34, 0x12}, "EOR $1234     "},
    {{0x4E, 0x34, 0x12}, "LSR $1234     "},
    {{0x51, 0x12}, "EOR ($12),Y   "}, {{0x55, 0x12}, "EOR $12,X     "}, {{0x56, 0x12}, "LSR $12,X     "},
    {{0x58}, "CLI           "}, {{0x59, 0x34, 0x12}, "EOR $1234,Y   "}, {{0x5D, 0x34, 0x12}, "EOR $1234,X   "},
    {{0x5E, 0x34, 0x12}, "LSR $1234,X   "},
    {{0x60}, "RTS           "}, {{0x61, 0x12}, "ADC ($12,X)   "}, {{0x65, 0x12}, "ADC $12       "},
    {{0x66, 0x12}, "ROR $12       "}, {{0x68}, "PLA           "}, {{0x69, 0x12}, "ADC #$12      "},
    {{0x6A}, "ROR A         "}, {{0x6C, 0x34, 0x12}, "JMP ($1234)   "}, {{0x6D, 0x34, 0x12}, "ADC $1234     "},
    {{0x6E, 0x34, 0x12}, "ROR $1234     "},
    {{0x71, 0x12}, "ADC ($12),Y   "}, {{0x75, 0x12}, "ADC $12,X     "}, {{0x76, 0x12}, "ROR $12,X     "},
    {{0x78}, "SEI           "}, {{0x79, 0x34, 0x12}, "ADC $1234,Y   "}, {{0x7D, 0x34, 0x12}, "ADC $1234,X   "},
    {{0x7E, 0x34, 0x12}, "ROR $1234,X   "},
    {{0x81, 0x12}, "STA ($12,X)   "}, {{0x84, 0x12}, "STY $12       "}, {{0x85, 0x12}, "STA $12       "},
    {{0x86, 0x12}, "STX $12       "}, {{0x88}, "DEY           "}, {{0x8A}, "TXA           "},
    {{0x8C, 0x34, 0x12}, "STY $1234     "}, {{0x8D, 0x34, 0x12}, "STA $1234     "},
    {{0x8E, 0x34, 0x12}, "STX $1234     "},
    {{0x91, 0x12}, "STA ($12),Y   "}, {{0x94, 0x12}, "STY $12,X     "}, {{0x95, 0x12}, "STA $12,X     "},
    {{0x96, 0x12}, "STX $12,Y     "}, {{0x98}, "TYA           "}, {{0x99, 0x34, 0x12}, "STA $1234,Y   "},
    {{0x9A}, "TXS           "}, {{0x9D, 0x34, 0x12}, "STA $1234,X   "},
    {{0xA0, 0x12}, "LDY #$12      "}, {{0xA1, 0x12}, "LDA ($12,X)   "}, {{0xA2, 0x12}, "LDX #$12      "},
    {{0xA4, 0x12}, "LDY $12       "}, {{0xA5, 0x12}, "LDA $12       "}, {{0xA6, 0x12}, "LDX $12       "},
    {{0xA8}, "TAY           "}, {{0xA9, 0x12}, "LDA #$12      "}, {{0xAA}, "TAX           "},
    {{0xAC, 0x34, 0x12}, "LDY $1234     "}, {{0xAD, 0x34, 0x12}, "LDA $1234     "},
    {{0xAE, 0x34, 0x12}, "LDX $1234     "},
    {{0xB1, 0x12}, "LDA ($12),Y   "}, {{0xB4, 0x12}, "LDY $12,X     "}, {{0xB5, 0x12}, "LDA $12,X     "},
    {{0xB6, 0x12}, "LDX $12,Y     "}, {{0xB8}, "CLV           "}, {{0xB9, 0x34, 0x12}, "LDA $1234,Y   "},
    {{0xBA}, "TSX           "}, {{0xBC, 0x34, 0x12}, "LDY $1234,X   "}, {{0xBD, 0x34, 0x12}, "LDA $1234,X   "},
    {{0xBE, 0x34, 0x12}, "LDX $1234,Y   "},
    {{0xC0, 0x12}, "CPY #$12      "}, {{0xC1, 0x12}, "CMP ($12,X)   "}, {{0xC4, 0x12}, "CPY $12       "},
    {{0xC5, 0x12}, "CMP $12       "}, {{0xC6, 0x12}, "DEC $12       "}, {{0xC8}, "INY           "},
    {{0xC9, 0x12}, "CMP #$12      "}, {{0xCA}, "DEX           "}, {{0xCC, 0x34, 0x12}, "CPY $1234     "},
    {{0xCD, 0x34, 0x12}, "CMP $1234     "}, {{0xCE, 0x34, 0x12}, "DEC $1234     "},
    {{0xD1, 0x12}, "CMP ($12),Y   "}, {{0xD5, 0x12}, "CMP $12,X     "}, {{0xD6, 0x12}, "DEC $12,X     "},
    {{0xD8}, "CLD           "}, {{0xD9, 0x34, 0x12}, "CMP $1234,Y   "}, {{0xDD, 0x34, 0x12}, "CMP $1234,X   "},
    {{0xDE, 0x34, 0x12}, "DEC $1234,X   "},
    {{0xE0, 0x12}, "CPX #$12      "}, {{0xE1, 0x12}, "SBC ($12,X)   "}, {{0xE4, 0x12}, "CPX $12       "},
    {{0xE5, 0x12}, "SBC $12       "}, {{0xE6, 0x12}, "INC $12       "}, {{0xE8}, "INX           "},
    {{0xE9, 0x12}, "SBC #$12      "}, {{0xEA}, "NOP           "}, {{0xEC, 0x34, 0x12}, "CPX $1234     "},
    {{0xED, 0x34, 0x12}, "SBC $1234     "}, {{0xEE, 0x34, 0x12}, "INC $1234     "},
    {{0xF1, 0x12}, "SBC ($12),Y   "}, {{0xF5, 0x12}, "SBC $12,X     "}, {{0xF6, 0x12}, "INC $12,X     "},
    {{0xF8}, "SED           "}, {{0xF9, 0x34, 0x12}, "SBC $1234,Y   "}, {{0xFD, 0x34, 0x12}, "SBC $1234,X   "},
    {{0xFE, 0x34, 0x12}, "INC $1234,X   "},
};

}  // namespace

TEST(DasmOpcodes, EveryTextPrintsFourteenCharacters)
{
    for (int opcode = 0; opcode < 256; ++opcode)
        EXPECT_EQ(render(static_cast<uint8_t>(opcode)).size(), 14u) << opcode;
}

TEST(DasmOpcodes, UndocumentedOpcodesAndTheirTexts)
{
    EXPECT_EQ(undocumented.size(), 105u);
    for (int opcode = 0; opcode < 256; ++opcode) {
        auto found = undocumented.find(opcode);
        EXPECT_EQ(dasm_is_undocumented(static_cast<uint8_t>(opcode)), found != undocumented.end()) << opcode;
        if (found != undocumented.end()) {
            EXPECT_EQ(render(static_cast<uint8_t>(opcode)), found->second) << opcode;
        }
    }
}

TEST(DasmOpcodes, SaxIndirectKeepsLowerCaseX)
{
    EXPECT_STREQ(opset65xx[0x83].text, "SAX* (%s%02X,x)  ");
}

TEST(DasmOpcodes, ExampleTextsAsStored)
{
    EXPECT_STREQ(opset65xx[0x00].text, "BRK           ");
    EXPECT_STREQ(opset65xx[0x01].text, "ORA (%s%02X,X)   ");
    EXPECT_STREQ(opset65xx[0x09].text, "ORA #%s%02X      ");
    EXPECT_STREQ(opset65xx[0x0D].text, "ORA %s%02X%02X     ");
    EXPECT_STREQ(opset65xx[0x10].text, "BPL %s%04X     ");
    EXPECT_STREQ(opset65xx[0x19].text, "ORA %s%02X%02X,Y   ");
    EXPECT_STREQ(opset65xx[0x20].text, "JSR %s%02X%02X     ");
    EXPECT_STREQ(opset65xx[0x6C].text, "JMP (%s%02X%02X)   ");
    EXPECT_STREQ(opset65xx[0x96].text, "STX %s%02X,Y     ");
    EXPECT_STREQ(opset65xx[0xEA].text, "NOP           ");
    EXPECT_STREQ(opset65xx[0x0A].text, "ASL A         ");
    EXPECT_STREQ(opset65xx[0x02].text, "JAM*          ");
    EXPECT_STREQ(opset65xx[0x03].text, "SLO* (%s%02X,X)  ");
    EXPECT_STREQ(opset65xx[0x80].text, "NOP* #%s%02X     ");
}

TEST(DasmOpcodes, OperandCounts)
{
    for (const Documented &entry : documented)
        EXPECT_EQ(opset65xx[entry.bytes[0]].operands, static_cast<int>(entry.bytes.size()) - 1) << entry.text;
    for (uint8_t branch : {0x10, 0x30, 0x50, 0x70, 0x90, 0xB0, 0xD0, 0xF0}) {
        EXPECT_EQ(opset65xx[branch].operands, 1);
        EXPECT_TRUE(dasm_is_branch(branch));
    }
    EXPECT_EQ(opset65xx[0x00].operands, 0);
    EXPECT_EQ(opset65xx[0x0C].operands, 2);  // NOP* absolute
    EXPECT_EQ(opset65xx[0x1C].operands, 2);  // NOP* absolute,X
    EXPECT_EQ(opset65xx[0x14].operands, 1);  // NOP* zero page,X
    EXPECT_EQ(opset65xx[0x1A].operands, 0);  // NOP* implied
    EXPECT_FALSE(dasm_is_branch(0x20));
}

TEST(DasmOpcodes, LabelLetters)
{
    EXPECT_STREQ(dasm_labels[0], "T");
    EXPECT_STREQ(dasm_labels[1], "B");
    EXPECT_STREQ(dasm_labels[2], "S");
    EXPECT_STREQ(dasm_labels[3], "J");
}

TEST(DasmOpcodes, GoldenListingOfEveryDocumentedOpcode)
{
    // $C000: LDA $ADAD; LDA $00AD. The five $AD turn into data, which leaves
    // the last operand $00 to list as BRK. Then the eight branches with
    // offset -128 (targets below the program) and every other documented
    // opcode in order.
    std::vector<uint8_t> bytes = {0xAD, 0xAD, 0xAD, 0xAD, 0xAD, 0x00};
    for (uint8_t branch : {0x10, 0x30, 0x50, 0x70, 0x90, 0xB0, 0xD0, 0xF0}) {
        bytes.push_back(branch);
        bytes.push_back(0x80);
    }
    std::set<int> covered = {0x00, 0x10, 0x30, 0x50, 0x70, 0x90, 0xB0, 0xD0, 0xF0};
    for (const Documented &entry : documented) {
        bytes.insert(bytes.end(), entry.bytes.begin(), entry.bytes.end());
        covered.insert(entry.bytes[0]);
    }
    EXPECT_EQ(covered.size(), 151u);

    std::string expected = header(1, 0xC000) + "\nTC000   .byte $AD,$AD,$AD,$AD,$AD" + "\n" + line("BRK           ") +
                           line("BPL $BF88     ") + line("BMI $BF8A     ") + line("BVC $BF8C     ") +
                           line("BVS $BF8E     ") + line("BCC $BF90     ") + line("BCS $BF92     ") +
                           line("BNE $BF94     ") + line("BEQ $BF96     ");
    for (const Documented &entry : documented) {
        expected += line(entry.text);
        uint8_t opcode = entry.bytes[0];
        if (opcode == 0x40 || opcode == 0x4C || opcode == 0x60 || opcode == 0x6C)
            expected += "\n";
    }
    expected += "\n";
    EXPECT_EQ(run(prg(0xC000, bytes)), expected);
}
