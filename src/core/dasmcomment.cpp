#include "core/dasmcomment.h"

#include <glib/gi18n-lib.h>

namespace {

struct RoutineComment {
    unsigned address;
    const char *text;
};

// Kernal routines and jump table entries, by the address called.
const RoutineComment routine_comments[] = {
    {0xED09, N_("; TALKK : send TALK on serial bus")},
    {0xED0C, N_("; LSTNK : send LISTEN on serial bus")},
    {0xEDB9, N_("; SCNDK : send Secondary Address (after LISTEN) on serial bus")},
    {0xEDC7, N_("; TKSAK : send Secondary Address (after TALK) on serial bus")},
    {0xEDDD, N_("; CIOUTK: output byte on serial bus")},
    {0xEDEF, N_("; UNTLKK: send UNTALK on serial bus")},
    {0xEDFE, N_("; UNLSNK: send UNLISTEN on serial bus")},
    {0xEE13, N_("; ACPTRK: input byte on serial bus")},
    {0xF291, N_("; CLOSE a file")},
    {0xF2C8, N_("; Close cassette device")},
    {0xF2EE, N_("; Close serial bus device")},
    {0xF32F, N_("; Close all files and restore I/O to default devices")},
    {0xF333, N_("; Restore I/O to default devices")},
    {0xF34A, N_("; OPEN a file")},
    {0xF38B, N_("; Open for cassette device")},
    {0xF3B8, N_("; Open cassette for output")},
    {0xF3D5, N_("; Open for serial bus devices (device > 3)")},
    {0xF642, N_("; Close serial bus device")},
    {0xFDA3, N_("; Initialize I/O devices")},
    {0xFF5B, N_("; Addition to I/O device initialization")},
    {0xFF81, N_("; CINT  : initialize screen editor and video chip")},
    {0xFF84, N_("; IOINIT: initialize I/O devices")},
    {0xFF87, N_("; RAMTAS: initialize RAM, tape buffer, screen")},
    {0xFF8A, N_("; RESTOR: restore default I/O vectors")},
    {0xFF8D, N_("; VECTOR: read/set I/O vector table")},
    {0xFF90, N_("; SETMSG: set Kernal message control flag")},
    {0xFF93, N_("; SECOND: send secondary address after LISTEN")},
    {0xFF96, N_("; TKSA  : send secondary address after TALK")},
    {0xFF99, N_("; MEMTOP: read/set top of memory pointer")},
    {0xFF9C, N_("; MEMBOT: read/set bottom of memory pointer")},
    {0xFF9F, N_("; SCNKEY: scan the keyboard")},
    {0xFFA2, N_("; SETTMO: set time-out flag for IEEE bus")},
    {0xFFA5, N_("; ACPTR : input byte from serial bus")},
    {0xFFA8, N_("; CIOUT : output byte to serial bus")},
    {0xFFAB, N_("; UNTLK : command serial bus device to UNTALK")},
    {0xFFAE, N_("; UNLSN : command serial bus device to UNLISTEN")},
    {0xFFB1, N_("; LISTEN: command serial bus device to LISTEN")},
    {0xFFB4, N_("; TALK  : command serial bus device to TALK")},
    {0xFFB7, N_("; READST: read I/O status word")},
    {0xFFBA, N_("; SETLFS: set logical file parameters")},
    {0xFFBD, N_("; SETNAM: set filename parameters")},
    {0xFFC0, N_("; OPEN  : open a logical file (via $031A)")},
    {0xFFC3, N_("; CLOSE : close a logical file (via $031C)")},
    {0xFFC6, N_("; CHKIN : define an input channel (via $031E)")},
    {0xFFC9, N_("; CHKOUT: define an output channel (via $0320)")},
    {0xFFCC, N_("; CLRCHN: restore default devices (via $0322)")},
    {0xFFCF, N_("; CHRIN : input a character (via $0324)")},
    {0xFFD2, N_("; CHROUT: output a character (via $0326)")},
    {0xFFD5, N_("; LOAD  : load from a device (via $0330)")},
    {0xFFD8, N_("; SAVE  : save to a device (via $0332)")},
    {0xFFDB, N_("; SETTIM: set the software clock")},
    {0xFFDE, N_("; RDTIM : read the software clock")},
    {0xFFE1, N_("; STOP  : check the STOP key (via $0328)")},
    {0xFFE4, N_("; GETIN : get a character (via $032A)")},
    {0xFFE7, N_("; CLALL : close all files (via $032C)")},
    {0xFFEA, N_("; UDTIM : update the software clock")},
    {0xFFED, N_("; SCREEN: read number of screen rows and columns")},
    // The Kernal's PLOT reads or sets the cursor; the text repeats SCREEN's on purpose.
    {0xFFF0, N_("; PLOT  : read number of screen rows and columns")},
    {0xFFF3, N_("; IOBASE: read base address of I/O devices")},
};

// VIC-II registers $D000-$D02E; $D02F-$D03F are unnamed.
const char *const vic_registers[] = {
    N_("Sprite 0 Horizontal Position"), N_("Sprite 0 Vertical Position"),
    N_("Sprite 1 Horizontal Position"), N_("Sprite 1 Vertical Position"),
    N_("Sprite 2 Horizontal Position"), N_("Sprite 2 Vertical Position"),
    N_("Sprite 3 Horizontal Position"), N_("Sprite 3 Vertical Position"),
    N_("Sprite 4 Horizontal Position"), N_("Sprite 4 Vertical Position"),
    N_("Sprite 5 Horizontal Position"), N_("Sprite 5 Vertical Position"),
    N_("Sprite 6 Horizontal Position"), N_("Sprite 6 Vertical Position"),
    N_("Sprite 7 Horizontal Position"), N_("Sprite 7 Vertical Position"),
    N_("Most Significant Bits of Sprites 0-7 Horizontal Position"),  // $D010
    N_("Vertical Fine Scrolling and Control Register"),
    N_("Raster Compare Register"),
    N_("Light Pen Horizontal Position"),
    N_("Light Pen Vertical Position"),
    N_("Sprite Enable Register"),
    N_("Horizontal Fine Scrolling and Control Register"),
    N_("Sprite Vertical Expansion Register"),
    N_("Memory Control Register"),  // $D018
    N_("Interrupt Flag Register"),
    N_("IRQ Mask Register"),
    N_("Sprite to Foreground Display Priority Register"),
    N_("Sprite Multicolor Registers"),
    N_("Sprite Horizontal Expansion Register"),
    N_("Sprite to Sprite Collision Register"),
    N_("Sprite to Foreground Collision Register"),
    N_("Border Color Register"),  // $D020
    N_("Background Color 0"), N_("Background Color 1"), N_("Background Color 2"), N_("Background Color 3"),
    N_("Sprite Multicolor Register 0"), N_("Sprite Multicolor Register 1"),
    N_("Sprite 0 Color Register"), N_("Sprite 1 Color Register"),  // $D027
    N_("Sprite 2 Color Register"), N_("Sprite 3 Color Register"),
    N_("Sprite 4 Color Register"), N_("Sprite 5 Color Register"),
    N_("Sprite 6 Color Register"), N_("Sprite 7 Color Register"),
};

// SID registers $D400-$D41C (three voices of seven registers first);
// $D41D-$D41F are unnamed.
const char *const sid_registers[] = {
    N_("Voice 1 Frequency Control (LSB)"), N_("Voice 1 Frequency Control (MSB)"),
    N_("Voice 1 Pulse Waveform Width (LSB)"), N_("Voice 1 Pulse Waveform Width (MSB)"),
    N_("Voice 1 Control Register"), N_("Voice 1 Attack/Decay Register"),
    N_("Voice 1 Sustain/Release Control Register"),
    N_("Voice 2 Frequency Control (LSB)"), N_("Voice 2 Frequency Control (MSB)"),
    N_("Voice 2 Pulse Waveform Width (LSB)"), N_("Voice 2 Pulse Waveform Width (MSB)"),
    N_("Voice 2 Control Register"), N_("Voice 2 Attack/Decay Register"),
    N_("Voice 2 Sustain/Release Control Register"),
    N_("Voice 3 Frequency Control (LSB)"), N_("Voice 3 Frequency Control (MSB)"),
    N_("Voice 3 Pulse Waveform Width (LSB)"), N_("Voice 3 Pulse Waveform Width (MSB)"),
    N_("Voice 3 Control Register"), N_("Voice 3 Attack/Decay Register"),
    N_("Voice 3 Sustain/Release Control Register"),
    N_("Filter Cutoff Frequency (LSB)"), N_("Filter Cutoff Frequency (MSB)"),  // $D415
    N_("Filter Resonance Control Register"),
    N_("Volume and Filter Select Register"),
    N_("Read Game Paddle 1 (or 3) Position"), N_("Read Game Paddle 2 (or 4) Position"),
    N_("Read Oscillator 3/Random Number Generator"),
    N_("Envelope Generator 3 Output"),  // $D41C
};

// CIA registers 0-15 (both chips); the time-of-day clock (8-11) is unnamed.
const char *const cia_registers[16] = {
    N_("Data Port A"), N_("Data Port B"),
    N_("Data Direction Register A"), N_("Data Direction Register B"),
    N_("Timer A (LSB)"), N_("Timer A (MSB)"), N_("Timer B (LSB)"), N_("Timer B (MSB)"),
    nullptr, nullptr, nullptr, nullptr,
    N_("Serial Data Port"), N_("Interrupt Control Register"),
    N_("Control Register A"), N_("Control Register B"),
};

// The 6502's hardware vectors $FFFA-$FFFF (no chip prefix).
const char *const hardware_vectors[6] = {
    N_("; Non-Maskable Interrupt Hardware Vector (LSB)"),
    N_("; Non-Maskable Interrupt Hardware Vector (MSB)"),
    N_("; System Reset (RES) Hardware Vector (LSB)"),
    N_("; System Reset (RES) Hardware Vector (MSB)"),
    N_("; Maskable Interrupt Request and Break Hardware Vector (LSB)"),
    N_("; Maskable Interrupt Request and Break Hardware Vector (MSB)"),
};

constexpr unsigned VIC_FIRST = 0xD000, VIC_END = 0xD400, VIC_MIRROR_FIRST = 0xD040, VIC_FOLD = 0xD03F;
constexpr unsigned SID_FIRST = 0xD400, SID_END = 0xD800, SID_MIRROR_FIRST = 0xD420, SID_FOLD = 0xD41F;
constexpr unsigned CIA1_FIRST = 0xDC00, CIA2_FIRST = 0xDD00, CIA_END = 0xDE00;
constexpr unsigned CIA_MIRROR_FIRST = 0xDC10, CIA_FOLD = 0xDC0F;
constexpr unsigned VECTORS_FIRST = 0xFFFA;

constexpr uint8_t OPCODE_JSR = 0x20, OPCODE_JMP = 0x4C;

// Register name at `index` of a table, or nullptr past its end.
template <size_t N>
const char *table_name(const char *const (&table)[N], unsigned index)
{
    return index < N ? table[index] : nullptr;
}

void append_name(GString *text, const char *name)
{
    if (name)
        g_string_append(text, _(name));
}

// Bytes allowed in the rest of a boot line: "@", "A"-"Z", "[", "]", blank,
// digits, parentheses, "*", "+", "-", "/".
bool boot_character(uint8_t c)
{
    return (c >= 64 && c <= 91) || c == 93 || c == ' ' || (c >= '0' && c <= '9') || c == '(' || c == ')' ||
           c == '*' || c == '+' || c == '-' || c == '/';
}

}  // namespace

const char *dasm_routine_comment(unsigned address)
{
    for (const RoutineComment &entry : routine_comments)
        if (entry.address == address)
            return _(entry.text);
    return nullptr;
}

bool dasm_append_register_comment(GString *text, unsigned address)
{
    unsigned a = address & 0xFFFF;
    if (a >= VIC_FIRST && a < VIC_END) {
        g_string_append(text, _("; VIC-II "));
        if (a >= VIC_MIRROR_FIRST)
            a &= VIC_FOLD;
        append_name(text, table_name(vic_registers, a - VIC_FIRST));
        return true;
    }
    if (a >= SID_FIRST && a < SID_END) {
        g_string_append(text, _("; SID "));
        if (a >= SID_MIRROR_FIRST)
            a &= SID_FOLD;
        append_name(text, table_name(sid_registers, a - SID_FIRST));
        return true;
    }
    if (a >= CIA1_FIRST && a < CIA_END) {
        if (a < CIA2_FIRST) {
            g_string_append(text, _("; CIA #1 "));
        } else {
            // CIA #2 is described with CIA #1's register names.
            g_string_append(text, _("; CIA #2 "));
            a -= 0x100;
        }
        if (a >= CIA_MIRROR_FIRST)
            a &= CIA_FOLD;
        append_name(text, cia_registers[a - CIA1_FIRST]);
        return true;
    }
    if (a >= VECTORS_FIRST) {
        g_string_append(text, _(hardware_vectors[a - VECTORS_FIRST]));
        return true;
    }
    return false;
}

bool dasm_has_register_comment(uint8_t opcode)
{
    switch (opcode) {
    case 0x8C: case 0x8D: case 0x8E:  // STY, STA, STX
    case 0xAC: case 0xAD: case 0xAE:  // LDY, LDA, LDX
    case 0xCC: case 0xCD: case 0xCE:  // CPY, CMP, DEC
    case 0xEC: case 0xEE:             // CPX, INC
        return true;
    default:
        return false;
    }
}

void dasm_append_comment(GString *text, uint8_t opcode, unsigned operand)
{
    if (opcode == OPCODE_JSR || opcode == OPCODE_JMP) {
        if (const char *comment = dasm_routine_comment(operand))
            g_string_append(text, comment);
    } else if (dasm_has_register_comment(opcode)) {
        dasm_append_register_comment(text, operand);
    }
}

size_t convert_basic_boot(const uint8_t *data, unsigned load, size_t length, GString *text)
{
    // Layout: link (2), line number (2), SYS token, characters, 0, then the
    // zero end-of-program link where the line's link points.
    constexpr size_t MIN_LENGTH = 7, TOKEN = 4;
    if (load != DASM_BASIC_START || length < MIN_LENGTH || data[1] != (DASM_BASIC_START >> 8) ||
        data[TOKEN] != DASM_TOKEN_SYS)
        return 0;
    unsigned link = data[0] | (data[1] << 8);
    if (link < DASM_BASIC_START)
        return 0;
    size_t next = link - DASM_BASIC_START;
    if (next + 1 >= length || data[next] != 0 || data[next + 1] != 0)
        return 0;
    size_t end = TOKEN + 1;
    while (end < length && data[end] != 0) {
        if (!boot_character(data[end]))
            return 0;
        ++end;
    }
    if (end + 1 != next)
        return 0;

    const char *column = "  ";
    g_string_append_printf(text, "\n      %s.word EOBAS", column);
    g_string_append_printf(text, "\n      %s.word %d", column, data[2] | (data[3] << 8));
    g_string_append_printf(text, "\n      %s.byte $9E     ; 'SYS'", column);
    size_t k = TOKEN + 1;
    for (; k < end && data[k] == ' '; ++k) {
        if (k == TOKEN + 1)
            g_string_append_printf(text, "\n      %s.byte $20", column);
        else
            g_string_append(text, ",$20");
    }
    g_string_append_printf(text, "\n      %s.text \"", column);
    for (; k < end; ++k)
        g_string_append_printf(text, "%c", data[k]);
    g_string_append(text, "\"");
    g_string_append_printf(text, "\n      %s.byte $00", column);
    g_string_append_printf(text, "\nEOBAS %s.word 0", column);
    g_string_append(text, "\n");
    return next + 2;
}
