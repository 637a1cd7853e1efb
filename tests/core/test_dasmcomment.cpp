// Automatic comments: Kernal routines, VIC-II, SID and CIA registers with
// their mirrors, hardware vectors.
#include "core/dasmcomment.h"

#include "core/dasm.h"

#include "dasm_testing.h"

#include <gtest/gtest.h>

#include <utility>

using namespace dasm_testing;

namespace {

const std::pair<unsigned, const char *> routines[] = {
    {0xED09, "; TALKK : send TALK on serial bus"},
    {0xED0C, "; LSTNK : send LISTEN on serial bus"},
    {0xEDB9, "; SCNDK : send Secondary Address (after LISTEN) on serial bus"},
    {0xEDC7, "; TKSAK : send Secondary Address (after TALK) on serial bus"},
    {0xEDDD, "; CIOUTK: output byte on serial bus"},
    {0xEDEF, "; UNTLKK: send UNTALK on serial bus"},
    {0xEDFE, "; UNLSNK: send UNLISTEN on serial bus"},
    {0xEE13, "; ACPTRK: input byte on serial bus"},
    {0xF291, "; CLOSE a file"},
    {0xF2C8, "; Close cassette device"},
    {0xF2EE, "; Close serial bus device"},
    {0xF642, "; Close serial bus device"},
    {0xF32F, "; Close all files and restore I/O to default devices"},
    {0xF333, "; Restore I/O to default devices"},
    {0xF34A, "; OPEN a file"},
    {0xF38B, "; Open for cassette device"},
    {0xF3B8, "; Open cassette for output"},
    {0xF3D5, "; Open for serial bus devices (device > 3)"},
    {0xFDA3, "; Initialize I/O devices"},
    {0xFF5B, "; Addition to I/O device initialization"},
    {0xFF81, "; CINT  : initialize screen editor and video chip"},
    {0xFF84, "; IOINIT: initialize I/O devices"},
    {0xFF87, "; RAMTAS: initialize RAM, tape buffer, screen"},
    {0xFF8A, "; RESTOR: restore default I/O vectors"},
    {0xFF8D, "; VECTOR: read/set I/O vector table"},
    {0xFF90, "; SETMSG: set Kernal message control flag"},
    {0xFF93, "; SECOND: send secondary address after LISTEN"},
    {0xFF96, "; TKSA  : send secondary address after TALK"},
    {0xFF99, "; MEMTOP: read/set top of memory pointer"},
    {0xFF9C, "; MEMBOT: read/set bottom of memory pointer"},
    {0xFF9F, "; SCNKEY: scan the keyboard"},
    {0xFFA2, "; SETTMO: set time-out flag for IEEE bus"},
    {0xFFA5, "; ACPTR : input byte from serial bus"},
    {0xFFA8, "; CIOUT : output byte to serial bus"},
    {0xFFAB, "; UNTLK : command serial bus device to UNTALK"},
    {0xFFAE, "; UNLSN : command serial bus device to UNLISTEN"},
    {0xFFB1, "; LISTEN: command serial bus device to LISTEN"},
    {0xFFB4, "; TALK  : command serial bus device to TALK"},
    {0xFFB7, "; READST: read I/O status word"},
    {0xFFBA, "; SETLFS: set logical file parameters"},
    {0xFFBD, "; SETNAM: set filename parameters"},
    {0xFFC0, "; OPEN  : open a logical file (via $031A)"},
    {0xFFC3, "; CLOSE : close a logical file (via $031C)"},
    {0xFFC6, "; CHKIN : define an input channel (via $031E)"},
    {0xFFC9, "; CHKOUT: define an output channel (via $0320)"},
    {0xFFCC, "; CLRCHN: restore default devices (via $0322)"},
    {0xFFCF, "; CHRIN : input a character (via $0324)"},
    {0xFFD2, "; CHROUT: output a character (via $0326)"},
    {0xFFD5, "; LOAD  : load from a device (via $0330)"},
    {0xFFD8, "; SAVE  : save to a device (via $0332)"},
    {0xFFDB, "; SETTIM: set the software clock"},
    {0xFFDE, "; RDTIM : read the software clock"},
    {0xFFE1, "; STOP  : check the STOP key (via $0328)"},
    {0xFFE4, "; GETIN : get a character (via $032A)"},
    {0xFFE7, "; CLALL : close all files (via $032C)"},
    {0xFFEA, "; UDTIM : update the software clock"},
    {0xFFED, "; SCREEN: read number of screen rows and columns"},
    {0xFFF0, "; PLOT  : read number of screen rows and columns"},
    {0xFFF3, "; IOBASE: read base address of I/O devices"},
};

// Register comments by address, as listed after the chip prefix.
const char *const vic_names[] = {
    "Sprite 0 Horizontal Position", "Sprite 0 Vertical Position", "Sprite 1 Horizontal Position",
    "Sprite 1 Vertical Position", "Sprite 2 Horizontal Position", "Sprite 2 Vertical Position",
    "Sprite 3 Horizontal Position", "Sprite 3 Vertical Position", "Sprite 4 Horizontal Position",
    "Sprite 4 Vertical Position", "Sprite 5 Horizontal Position", "Sprite 5 Vertical Position",
    "Sprite 6 Horizontal Position", "Sprite 6 Vertical Position", "Sprite 7 Horizontal Position",
    "Sprite 7 Vertical Position", "Most Significant Bits of Sprites 0-7 Horizontal Position",
    "Vertical Fine Scrolling and Control Register", "Raster Compare Register", "Light Pen Horizontal Position",
    "Light Pen Vertical Position", "Sprite Enable Register", "Horizontal Fine Scrolling and Control Register",
    "Sprite Vertical Expansion Register", "Memory Control Register", "Interrupt Flag Register",
    "IRQ Mask Register", "Sprite to Foreground Display Priority Register", "Sprite Multicolor Registers",
    "Sprite Horizontal Expansion Register", "Sprite to Sprite Collision Register",
    "Sprite to Foreground Collision Register", "Border Color Register", "Background Color 0",
    "Background Color 1", "Background Color 2", "Background Color 3", "Sprite Multicolor Register 0",
    "Sprite Multicolor Register 1", "Sprite 0 Color Register", "Sprite 1 Color Register",
    "Sprite 2 Color Register", "Sprite 3 Color Register", "Sprite 4 Color Register", "Sprite 5 Color Register",
    "Sprite 6 Color Register", "Sprite 7 Color Register",
    // $D02F-$D03F: no name
    "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
};

const char *const sid_names[] = {
    "Voice 1 Frequency Control (LSB)", "Voice 1 Frequency Control (MSB)", "Voice 1 Pulse Waveform Width (LSB)",
    "Voice 1 Pulse Waveform Width (MSB)", "Voice 1 Control Register", "Voice 1 Attack/Decay Register",
    "Voice 1 Sustain/Release Control Register", "Voice 2 Frequency Control (LSB)",
    "Voice 2 Frequency Control (MSB)", "Voice 2 Pulse Waveform Width (LSB)", "Voice 2 Pulse Waveform Width (MSB)",
    "Voice 2 Control Register", "Voice 2 Attack/Decay Register", "Voice 2 Sustain/Release Control Register",
    "Voice 3 Frequency Control (LSB)", "Voice 3 Frequency Control (MSB)", "Voice 3 Pulse Waveform Width (LSB)",
    "Voice 3 Pulse Waveform Width (MSB)", "Voice 3 Control Register", "Voice 3 Attack/Decay Register",
    "Voice 3 Sustain/Release Control Register", "Filter Cutoff Frequency (LSB)", "Filter Cutoff Frequency (MSB)",
    "Filter Resonance Control Register", "Volume and Filter Select Register", "Read Game Paddle 1 (or 3) Position",
    "Read Game Paddle 2 (or 4) Position", "Read Oscillator 3/Random Number Generator",
    "Envelope Generator 3 Output",
    // $D41D-$D41F: no name
    "", "", "",
};

const char *const cia_names[] = {
    "Data Port A", "Data Port B", "Data Direction Register A", "Data Direction Register B",
    "Timer A (LSB)", "Timer A (MSB)", "Timer B (LSB)", "Timer B (MSB)",
    "", "", "", "",  // time of day
    "Serial Data Port", "Interrupt Control Register", "Control Register A", "Control Register B",
};

std::string hex4(unsigned value)
{
    char text[8];
    g_snprintf(text, sizeof text, "%04X", value);
    return text;
}

// A program of one three-byte instruction per address, ending with RTS,
// listed with comments; and the expected listing, built from `comment_of`.
template <typename Comment>
void expect_commented(uint8_t opcode, const char *mnemonic, const std::vector<unsigned> &addresses,
                      Comment comment_of)
{
    std::vector<uint8_t> bytes;
    std::string expected = header(0, 0xC000);
    for (unsigned address : addresses) {
        bytes.insert(bytes.end(), {opcode, static_cast<uint8_t>(address & 0xFF), static_cast<uint8_t>(address >> 8)});
        expected += line(std::string(mnemonic) + " $" + hex4(address) + "     ") + comment_of(address);
        if (opcode == 0x4C)
            expected += "\n";
    }
    bytes.push_back(0x60);
    expected += line("RTS           ") + "\n" + "\n";
    EXPECT_EQ(run(prg(0xC000, bytes), 0, 1), expected);
}

std::vector<unsigned> range(unsigned first, unsigned last)
{
    std::vector<unsigned> all;
    for (unsigned a = first; a <= last; ++a)
        all.push_back(a);
    return all;
}

// One instruction `bytes`, NOPs to keep it code, RTS; its listed line.
std::string single(const std::vector<uint8_t> &bytes, int auto_comment = 1)
{
    std::string listing = run(prg(0xC000, join({bytes, repeat(0xEA, 10), {0x60}})), 0, auto_comment);
    std::string head = header(0, 0xC000);
    size_t end = listing.find("\n", head.size() + 1);
    return listing.substr(head.size(), end - head.size());
}

}  // namespace

TEST(DasmComment, EveryRoutineCommentAfterJsr)
{
    std::vector<unsigned> addresses;
    for (const auto &routine : routines)
        addresses.push_back(routine.first);
    expect_commented(0x20, "JSR", addresses, [](unsigned address) {
        for (const auto &routine : routines)
            if (routine.first == address)
                return std::string(routine.second);
        return std::string("?");
    });
}

TEST(DasmComment, RoutineCommentsAfterJmpToo)
{
    expect_commented(0x4C, "JMP", {0xFFD2, 0xF2EE, 0xF642, 0xFFF0}, [](unsigned address) {
        return std::string(address == 0xFFD2   ? "; CHROUT: output a character (via $0326)"
                           : address == 0xFFF0 ? "; PLOT  : read number of screen rows and columns"
                                               : "; Close serial bus device");
    });
}

TEST(DasmComment, JsrChroutCarriesItsCommentOnTheSameLine)
{
    EXPECT_EQ(single({0x20, 0xD2, 0xFF}), "\n        JSR $FFD2     ; CHROUT: output a character (via $0326)");
}

TEST(DasmComment, IndirectJumpThroughChroutHasNoComment)
{
    EXPECT_EQ(single({0x6C, 0xD2, 0xFF}), "\n        JMP ($FFD2)   ");
}

TEST(DasmComment, OtherRoutineAddressesHaveNoComment)
{
    EXPECT_EQ(single({0x20, 0xD3, 0xFF}), "\n        JSR $FFD3     ");
    EXPECT_EQ(single({0x20, 0x20, 0xD0}), "\n        JSR $D020     ");
    EXPECT_EQ(dasm_routine_comment(0xFFD3), nullptr);
    EXPECT_STREQ(dasm_routine_comment(0xFFD2), "; CHROUT: output a character (via $0326)");
}

TEST(DasmComment, NoCommentsWhenOff)
{
    EXPECT_EQ(single({0x20, 0xD2, 0xFF}, 0), "\n        JSR $FFD2     ");
    EXPECT_EQ(single({0x8D, 0x20, 0xD0}, 0), "\n        STA $D020     ");
}

TEST(DasmComment, EveryVicRegister)
{
    expect_commented(0x8D, "STA", range(0xD000, 0xD03F),
                     [](unsigned a) { return "; VIC-II " + std::string(vic_names[a - 0xD000]); });
}

TEST(DasmComment, EverySidRegister)
{
    expect_commented(0x8D, "STA", range(0xD400, 0xD41F),
                     [](unsigned a) { return "; SID " + std::string(sid_names[a - 0xD400]); });
}

TEST(DasmComment, EveryCia1Register)
{
    expect_commented(0xAD, "LDA", range(0xDC00, 0xDC0F),
                     [](unsigned a) { return "; CIA #1 " + std::string(cia_names[a - 0xDC00]); });
}

TEST(DasmComment, EveryCia2RegisterUsesCia1Names)
{
    expect_commented(0xAD, "LDA", range(0xDD00, 0xDD0F),
                     [](unsigned a) { return "; CIA #2 " + std::string(cia_names[a - 0xDD00]); });
}

TEST(DasmComment, EveryHardwareVector)
{
    const char *const vectors[] = {
        "; Non-Maskable Interrupt Hardware Vector (LSB)", "; Non-Maskable Interrupt Hardware Vector (MSB)",
        "; System Reset (RES) Hardware Vector (LSB)", "; System Reset (RES) Hardware Vector (MSB)",
        "; Maskable Interrupt Request and Break Hardware Vector (LSB)",
        "; Maskable Interrupt Request and Break Hardware Vector (MSB)",
    };
    expect_commented(0xAD, "LDA", range(0xFFFA, 0xFFFF),
                     [&](unsigned a) { return std::string(vectors[a - 0xFFFA]); });
}

TEST(DasmComment, BorderColourAndItsMirror)
{
    EXPECT_EQ(single({0x8D, 0x20, 0xD0}), "\n        STA $D020     ; VIC-II Border Color Register");
    EXPECT_EQ(single({0x8D, 0x60, 0xD0}), "\n        STA $D060     ; VIC-II Border Color Register");
}

TEST(DasmComment, VicMirrorsFoldOntoTheFirst64Registers)
{
    EXPECT_EQ(single({0x8D, 0x40, 0xD0}), "\n        STA $D040     ; VIC-II Sprite 0 Horizontal Position");
    EXPECT_EQ(single({0x8D, 0x11, 0xD3}),
              "\n        STA $D311     ; VIC-II Vertical Fine Scrolling and Control Register");
    EXPECT_EQ(single({0x8D, 0xFF, 0xD3}), "\n        STA $D3FF     ; VIC-II ");
}

TEST(DasmComment, SidMirrorsFoldOntoTheFirst32Registers)
{
    EXPECT_EQ(single({0x8D, 0x20, 0xD4}), "\n        STA $D420     ; SID Voice 1 Frequency Control (LSB)");
    EXPECT_EQ(single({0x8D, 0x18, 0xD7}), "\n        STA $D718     ; SID Volume and Filter Select Register");
    EXPECT_EQ(single({0x8D, 0xFF, 0xD7}), "\n        STA $D7FF     ; SID ");
}

TEST(DasmComment, CiaMirrorsFoldOntoTheFirst16Registers)
{
    EXPECT_EQ(single({0xAD, 0x10, 0xDC}), "\n        LDA $DC10     ; CIA #1 Data Port A");
    EXPECT_EQ(single({0xAD, 0xFF, 0xDC}), "\n        LDA $DCFF     ; CIA #1 Control Register B");
    EXPECT_EQ(single({0xAD, 0x1D, 0xDD}), "\n        LDA $DD1D     ; CIA #2 Interrupt Control Register");
    EXPECT_EQ(single({0xAD, 0xFF, 0xDD}), "\n        LDA $DDFF     ; CIA #2 Control Register B");
}

TEST(DasmComment, Cia2DataPortA)
{
    EXPECT_EQ(single({0x8D, 0x00, 0xDD}), "\n        STA $DD00     ; CIA #2 Data Port A");
}

TEST(DasmComment, TimeOfDayHasOnlyThePrefix)
{
    EXPECT_EQ(single({0xAD, 0x08, 0xDC}), "\n        LDA $DC08     ; CIA #1 ");
    EXPECT_EQ(single({0xAD, 0x0B, 0xDD}), "\n        LDA $DD0B     ; CIA #2 ");
}

TEST(DasmComment, EveryCommentedOpcode)
{
    const std::pair<uint8_t, const char *> opcodes[] = {
        {0x8C, "STY"}, {0x8D, "STA"}, {0x8E, "STX"}, {0xAC, "LDY"}, {0xAD, "LDA"}, {0xAE, "LDX"},
        {0xCC, "CPY"}, {0xCD, "CMP"}, {0xCE, "DEC"}, {0xEC, "CPX"}, {0xEE, "INC"},
    };
    for (const auto &op : opcodes)
        EXPECT_EQ(single({op.first, 0x20, 0xD0}),
                  "\n        " + std::string(op.second) + " $D020     ; VIC-II Border Color Register");
}

TEST(DasmComment, IndexedZeroPageAndOtherOpcodesHaveNoComment)
{
    EXPECT_EQ(single({0x9D, 0x20, 0xD0}), "\n        STA $D020,X   ");
    EXPECT_EQ(single({0x99, 0x20, 0xD0}), "\n        STA $D020,Y   ");
    EXPECT_EQ(single({0xBD, 0x20, 0xD0}), "\n        LDA $D020,X   ");
    EXPECT_EQ(single({0x2C, 0x11, 0xD0}), "\n        BIT $D011     ");
    EXPECT_EQ(single({0x0D, 0x20, 0xD0}), "\n        ORA $D020     ");
    EXPECT_EQ(single({0x6D, 0x20, 0xD0}), "\n        ADC $D020     ");
    EXPECT_EQ(single({0x85, 0x20}), "\n        STA $20       ");
}

TEST(DasmComment, AddressesOutsideTheChipsHaveNoComment)
{
    EXPECT_EQ(single({0x8D, 0x00, 0xD8}), "\n        STA $D800     ");  // colour RAM
    EXPECT_EQ(single({0x8D, 0xFF, 0xDB}), "\n        STA $DBFF     ");
    EXPECT_EQ(single({0x8D, 0x00, 0xDE}), "\n        STA $DE00     ");  // I/O 1
    EXPECT_EQ(single({0x8D, 0xFF, 0xCF}), "\n        STA $CFFF     ");
    EXPECT_EQ(single({0x8D, 0xF9, 0xFF}), "\n        STA $FFF9     ");
    EXPECT_EQ(single({0x8D, 0x00, 0x04}), "\n        STA $0400     ");
}

TEST(DasmComment, RegisterCommentDirectly)
{
    GString *text = g_string_new(nullptr);
    EXPECT_FALSE(dasm_append_register_comment(text, 0xD800));
    EXPECT_EQ(text->len, 0u);
    EXPECT_TRUE(dasm_append_register_comment(text, 0xD021));
    EXPECT_STREQ(text->str, "; VIC-II Background Color 0");
    g_string_free(text, TRUE);
}
