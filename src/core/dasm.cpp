#include "core/dasm.h"

#include "core/dasmcomment.h"

#include <glib/gi18n-lib.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

// Standard NMOS 6502 rows; undocumented opcodes carry "*" after the mnemonic.
// $83 keeps its lower-case "x", unlike every other indexed form.
const DasmOpcode opset65xx[256] = {
    {"BRK           ", 0}, // $00
    {"ORA (%s%02X,X)   ", 1}, // $01
    {"JAM*          ", 0}, // $02
    {"SLO* (%s%02X,X)  ", 1}, // $03
    {"NOP* %s%02X      ", 1}, // $04
    {"ORA %s%02X       ", 1}, // $05
    {"ASL %s%02X       ", 1}, // $06
    {"SLO* %s%02X      ", 1}, // $07
    {"PHP           ", 0}, // $08
    {"ORA #%s%02X      ", 1}, // $09
    {"ASL A         ", 0}, // $0A
    {"ANC* #%s%02X     ", 1}, // $0B
    {"NOP* %s%02X%02X    ", 2}, // $0C
    {"ORA %s%02X%02X     ", 2}, // $0D
    {"ASL %s%02X%02X     ", 2}, // $0E
    {"SLO* %s%02X%02X    ", 2}, // $0F
    {"BPL %s%04X     ", 1}, // $10
    {"ORA (%s%02X),Y   ", 1}, // $11
    {"JAM*          ", 0}, // $12
    {"SLO* (%s%02X),Y  ", 1}, // $13
    {"NOP* %s%02X,X    ", 1}, // $14
    {"ORA %s%02X,X     ", 1}, // $15
    {"ASL %s%02X,X     ", 1}, // $16
    {"SLO* %s%02X,X    ", 1}, // $17
    {"CLC           ", 0}, // $18
    {"ORA %s%02X%02X,Y   ", 2}, // $19
    {"NOP*          ", 0}, // $1A
    {"SLO* %s%02X%02X,Y  ", 2}, // $1B
    {"NOP* %s%02X%02X,X  ", 2}, // $1C
    {"ORA %s%02X%02X,X   ", 2}, // $1D
    {"ASL %s%02X%02X,X   ", 2}, // $1E
    {"SLO* %s%02X%02X,X  ", 2}, // $1F
    {"JSR %s%02X%02X     ", 2}, // $20
    {"AND (%s%02X,X)   ", 1}, // $21
    {"JAM*          ", 0}, // $22
    {"RLA* (%s%02X,X)  ", 1}, // $23
    {"BIT %s%02X       ", 1}, // $24
    {"AND %s%02X       ", 1}, // $25
    {"ROL %s%02X       ", 1}, // $26
    {"RLA* %s%02X      ", 1}, // $27
    {"PLP           ", 0}, // $28
    {"AND #%s%02X      ", 1}, // $29
    {"ROL A         ", 0}, // $2A
    {"ANC* #%s%02X     ", 1}, // $2B
    {"BIT %s%02X%02X     ", 2}, // $2C
    {"AND %s%02X%02X     ", 2}, // $2D
    {"ROL %s%02X%02X     ", 2}, // $2E
    {"RLA* %s%02X%02X    ", 2}, // $2F
    {"BMI %s%04X     ", 1}, // $30
    {"AND (%s%02X),Y   ", 1}, // $31
    {"JAM*          ", 0}, // $32
    {"RLA* (%s%02X),Y  ", 1}, // $33
    {"NOP* %s%02X,X    ", 1}, // $34
    {"AND %s%02X,X     ", 1}, // $35
    {"ROL %s%02X,X     ", 1}, // $36
    {"RLA* %s%02X,X    ", 1}, // $37
    {"SEC           ", 0}, // $38
    {"AND %s%02X%02X,Y   ", 2}, // $39
    {"NOP*          ", 0}, // $3A
    {"RLA* %s%02X%02X,Y  ", 2}, // $3B
    {"NOP* %s%02X%02X,X  ", 2}, // $3C
    {"AND %s%02X%02X,X   ", 2}, // $3D
    {"ROL %s%02X%02X,X   ", 2}, // $3E
    {"RLA* %s%02X%02X,X  ", 2}, // $3F
    {"RTI           ", 0}, // $40
    {"EOR (%s%02X,X)   ", 1}, // $41
    {"JAM*          ", 0}, // $42
    {"SRE* (%s%02X,X)  ", 1}, // $43
    {"NOP* %s%02X      ", 1}, // $44
    {"EOR %s%02X       ", 1}, // $45
    {"LSR %s%02X       ", 1}, // $46
    {"SRE* %s%02X      ", 1}, // $47
    {"PHA           ", 0}, // $48
    {"EOR #%s%02X      ", 1}, // $49
    {"LSR A         ", 0}, // $4A
    {"ASR* #%s%02X     ", 1}, // $4B
    {"JMP %s%02X%02X     ", 2}, // $4C
    {"EOR %s%02X%02X     ", 2}, // $4D
    {"LSR %s%02X%02X     ", 2}, // $4E
    {"SRE* %s%02X%02X    ", 2}, // $4F
    {"BVC %s%04X     ", 1}, // $50
    {"EOR (%s%02X),Y   ", 1}, // $51
    {"JAM*          ", 0}, // $52
    {"SRE* (%s%02X),Y  ", 1}, // $53
    {"NOP* %s%02X,X    ", 1}, // $54
    {"EOR %s%02X,X     ", 1}, // $55
    {"LSR %s%02X,X     ", 1}, // $56
    {"SRE* %s%02X,X    ", 1}, // $57
    {"CLI           ", 0}, // $58
    {"EOR %s%02X%02X,Y   ", 2}, // $59
    {"NOP*          ", 0}, // $5A
    {"SRE* %s%02X%02X,Y  ", 2}, // $5B
    {"NOP* %s%02X%02X,X  ", 2}, // $5C
    {"EOR %s%02X%02X,X   ", 2}, // $5D
    {"LSR %s%02X%02X,X   ", 2}, // $5E
    {"SRE* %s%02X%02X,X  ", 2}, // $5F
    {"RTS           ", 0}, // $60
    {"ADC (%s%02X,X)   ", 1}, // $61
    {"JAM*          ", 0}, // $62
    {"RRA* (%s%02X,X)  ", 1}, // $63
    {"NOP* %s%02X      ", 1}, // $64
    {"ADC %s%02X       ", 1}, // $65
    {"ROR %s%02X       ", 1}, // $66
    {"RRA* %s%02X      ", 1}, // $67
    {"PLA           ", 0}, // $68
    {"ADC #%s%02X      ", 1}, // $69
    {"ROR A         ", 0}, // $6A
    {"ARR* #%s%02X     ", 1}, // $6B
    {"JMP (%s%02X%02X)   ", 2}, // $6C
    {"ADC %s%02X%02X     ", 2}, // $6D
    {"ROR %s%02X%02X     ", 2}, // $6E
    {"RRA* %s%02X%02X    ", 2}, // $6F
    {"BVS %s%04X     ", 1}, // $70
    {"ADC (%s%02X),Y   ", 1}, // $71
    {"JAM*          ", 0}, // $72
    {"RRA* (%s%02X),Y  ", 1}, // $73
    {"NOP* %s%02X,X    ", 1}, // $74
    {"ADC %s%02X,X     ", 1}, // $75
    {"ROR %s%02X,X     ", 1}, // $76
    {"RRA* %s%02X,X    ", 1}, // $77
    {"SEI           ", 0}, // $78
    {"ADC %s%02X%02X,Y   ", 2}, // $79
    {"NOP*          ", 0}, // $7A
    {"RRA* %s%02X%02X,Y  ", 2}, // $7B
    {"NOP* %s%02X%02X,X  ", 2}, // $7C
    {"ADC %s%02X%02X,X   ", 2}, // $7D
    {"ROR %s%02X%02X,X   ", 2}, // $7E
    {"RRA* %s%02X%02X,X  ", 2}, // $7F
    {"NOP* #%s%02X     ", 1}, // $80
    {"STA (%s%02X,X)   ", 1}, // $81
    {"NOP* #%s%02X     ", 1}, // $82
    {"SAX* (%s%02X,x)  ", 1}, // $83
    {"STY %s%02X       ", 1}, // $84
    {"STA %s%02X       ", 1}, // $85
    {"STX %s%02X       ", 1}, // $86
    {"SAX* %s%02X      ", 1}, // $87
    {"DEY           ", 0}, // $88
    {"NOP* #%s%02X     ", 1}, // $89
    {"TXA           ", 0}, // $8A
    {"ANE* #%s%02X     ", 1}, // $8B
    {"STY %s%02X%02X     ", 2}, // $8C
    {"STA %s%02X%02X     ", 2}, // $8D
    {"STX %s%02X%02X     ", 2}, // $8E
    {"SAX* %s%02X%02X    ", 2}, // $8F
    {"BCC %s%04X     ", 1}, // $90
    {"STA (%s%02X),Y   ", 1}, // $91
    {"JAM*          ", 0}, // $92
    {"SHA* (%s%02X),Y  ", 1}, // $93
    {"STY %s%02X,X     ", 1}, // $94
    {"STA %s%02X,X     ", 1}, // $95
    {"STX %s%02X,Y     ", 1}, // $96
    {"SAX* %s%02X,Y    ", 1}, // $97
    {"TYA           ", 0}, // $98
    {"STA %s%02X%02X,Y   ", 2}, // $99
    {"TXS           ", 0}, // $9A
    {"SHS* %s%02X%02X,Y  ", 2}, // $9B
    {"SHY* %s%02X%02X,X  ", 2}, // $9C
    {"STA %s%02X%02X,X   ", 2}, // $9D
    {"SHX* %s%02X%02X,Y  ", 2}, // $9E
    {"SHA* %s%02X%02X,Y  ", 2}, // $9F
    {"LDY #%s%02X      ", 1}, // $A0
    {"LDA (%s%02X,X)   ", 1}, // $A1
    {"LDX #%s%02X      ", 1}, // $A2
    {"LAX* (%s%02X,X)  ", 1}, // $A3
    {"LDY %s%02X       ", 1}, // $A4
    {"LDA %s%02X       ", 1}, // $A5
    {"LDX %s%02X       ", 1}, // $A6
    {"LAX* %s%02X      ", 1}, // $A7
    {"TAY           ", 0}, // $A8
    {"LDA #%s%02X      ", 1}, // $A9
    {"TAX           ", 0}, // $AA
    {"LXA* #%s%02X     ", 1}, // $AB
    {"LDY %s%02X%02X     ", 2}, // $AC
    {"LDA %s%02X%02X     ", 2}, // $AD
    {"LDX %s%02X%02X     ", 2}, // $AE
    {"LAX* %s%02X%02X    ", 2}, // $AF
    {"BCS %s%04X     ", 1}, // $B0
    {"LDA (%s%02X),Y   ", 1}, // $B1
    {"JAM*          ", 0}, // $B2
    {"LAX* (%s%02X),Y  ", 1}, // $B3
    {"LDY %s%02X,X     ", 1}, // $B4
    {"LDA %s%02X,X     ", 1}, // $B5
    {"LDX %s%02X,Y     ", 1}, // $B6
    {"LAX* %s%02X,Y    ", 1}, // $B7
    {"CLV           ", 0}, // $B8
    {"LDA %s%02X%02X,Y   ", 2}, // $B9
    {"TSX           ", 0}, // $BA
    {"LAS* %s%02X%02X,Y  ", 2}, // $BB
    {"LDY %s%02X%02X,X   ", 2}, // $BC
    {"LDA %s%02X%02X,X   ", 2}, // $BD
    {"LDX %s%02X%02X,Y   ", 2}, // $BE
    {"LAX* %s%02X%02X,Y  ", 2}, // $BF
    {"CPY #%s%02X      ", 1}, // $C0
    {"CMP (%s%02X,X)   ", 1}, // $C1
    {"NOP* #%s%02X     ", 1}, // $C2
    {"DCP* (%s%02X,X)  ", 1}, // $C3
    {"CPY %s%02X       ", 1}, // $C4
    {"CMP %s%02X       ", 1}, // $C5
    {"DEC %s%02X       ", 1}, // $C6
    {"DCP* %s%02X      ", 1}, // $C7
    {"INY           ", 0}, // $C8
    {"CMP #%s%02X      ", 1}, // $C9
    {"DEX           ", 0}, // $CA
    {"SBX* #%s%02X     ", 1}, // $CB
    {"CPY %s%02X%02X     ", 2}, // $CC
    {"CMP %s%02X%02X     ", 2}, // $CD
    {"DEC %s%02X%02X     ", 2}, // $CE
    {"DCP* %s%02X%02X    ", 2}, // $CF
    {"BNE %s%04X     ", 1}, // $D0
    {"CMP (%s%02X),Y   ", 1}, // $D1
    {"JAM*          ", 0}, // $D2
    {"DCP* (%s%02X),Y  ", 1}, // $D3
    {"NOP* %s%02X,X    ", 1}, // $D4
    {"CMP %s%02X,X     ", 1}, // $D5
    {"DEC %s%02X,X     ", 1}, // $D6
    {"DCP* %s%02X,X    ", 1}, // $D7
    {"CLD           ", 0}, // $D8
    {"CMP %s%02X%02X,Y   ", 2}, // $D9
    {"NOP*          ", 0}, // $DA
    {"DCP* %s%02X%02X,Y  ", 2}, // $DB
    {"NOP* %s%02X%02X,X  ", 2}, // $DC
    {"CMP %s%02X%02X,X   ", 2}, // $DD
    {"DEC %s%02X%02X,X   ", 2}, // $DE
    {"DCP* %s%02X%02X,X  ", 2}, // $DF
    {"CPX #%s%02X      ", 1}, // $E0
    {"SBC (%s%02X,X)   ", 1}, // $E1
    {"NOP* #%s%02X     ", 1}, // $E2
    {"ISB* (%s%02X,X)  ", 1}, // $E3
    {"CPX %s%02X       ", 1}, // $E4
    {"SBC %s%02X       ", 1}, // $E5
    {"INC %s%02X       ", 1}, // $E6
    {"ISB* %s%02X      ", 1}, // $E7
    {"INX           ", 0}, // $E8
    {"SBC #%s%02X      ", 1}, // $E9
    {"NOP           ", 0}, // $EA
    {"SBC* #%s%02X     ", 1}, // $EB
    {"CPX %s%02X%02X     ", 2}, // $EC
    {"SBC %s%02X%02X     ", 2}, // $ED
    {"INC %s%02X%02X     ", 2}, // $EE
    {"ISB* %s%02X%02X    ", 2}, // $EF
    {"BEQ %s%04X     ", 1}, // $F0
    {"SBC (%s%02X),Y   ", 1}, // $F1
    {"JAM*          ", 0}, // $F2
    {"ISB* (%s%02X),Y  ", 1}, // $F3
    {"NOP* %s%02X,X    ", 1}, // $F4
    {"SBC %s%02X,X     ", 1}, // $F5
    {"INC %s%02X,X     ", 1}, // $F6
    {"ISB* %s%02X,X    ", 1}, // $F7
    {"SED           ", 0}, // $F8
    {"SBC %s%02X%02X,Y   ", 2}, // $F9
    {"NOP*          ", 0}, // $FA
    {"ISB* %s%02X%02X,Y  ", 2}, // $FB
    {"NOP* %s%02X%02X,X  ", 2}, // $FC
    {"SBC %s%02X%02X,X   ", 2}, // $FD
    {"INC %s%02X%02X,X   ", 2}, // $FE
    {"ISB* %s%02X%02X,X  ", 2}, // $FF
};

const char *const dasm_labels[4] = {"T", "B", "S", "J"};

namespace {

constexpr uint8_t OPCODE_BRK = 0x00, OPCODE_JSR = 0x20, OPCODE_RTI = 0x40, OPCODE_JMP = 0x4C;
constexpr uint8_t OPCODE_RTS = 0x60, OPCODE_JMP_INDIRECT = 0x6C, OPCODE_NOP = 0xEA;

// Branches with an offset in this range print as "*+d" and get no label.
constexpr int SHORT_BRANCH_MIN = -10, SHORT_BRANCH_MAX = 6;

// A run of at most this many code bytes between data is not believable code.
constexpr size_t ISLAND_LOOKAHEAD = 9;
// Equal bytes making a run of data, and the shortest run at the end of the file.
constexpr size_t EQUAL_RUN = 5, EQUAL_RUN_AT_END_MIN = 2;
// The optimization passes stop once the counter exceeds this.
constexpr int OPTIMIZATION_LIMIT = 255;

// Window of positions searched for the referrers of a branch target t: from
// t - 125 to t + 129. It is shifted against the reach of a branch (t - 129 to
// t + 126) on purpose, as the cross reference has always listed it.
constexpr size_t XREF_BEFORE = 125, XREF_AFTER = 129;

constexpr size_t DATA_VALUES_PER_LINE = 16;

// The absolute instructions whose operand, when it is a data byte inside the
// program, marks a data reference.
bool references_data(uint8_t opcode)
{
    switch (opcode) {
    case 0x8C: case 0x8D: case 0x8E:  // STY, STA, STX
    case 0x99: case 0x9D:             // STA abs,Y / abs,X
    case 0xAC: case 0xAD: case 0xAE:  // LDY, LDA, LDX
    case 0xB9: case 0xBC: case 0xBD:  // LDA abs,Y, LDY abs,X, LDA abs,X
    case 0xBE:                        // LDX abs,Y
    case 0xCE: case 0xEE:             // DEC, INC
        return true;
    default:
        return false;
    }
}

bool ends_block(uint8_t opcode)
{
    return opcode == OPCODE_RTI || opcode == OPCODE_JMP || opcode == OPCODE_RTS || opcode == OPCODE_JMP_INDIRECT;
}

unsigned address_at(unsigned load, size_t p)
{
    return (load + p) & 0xFFFF;
}

// Position of `address` when it lies inside the program.
bool position_of(unsigned load, size_t n, unsigned address, size_t *position)
{
    size_t offset = (address - load) & 0xFFFF;
    if (offset >= n)
        return false;
    *position = offset;
    return true;
}

bool in_header(unsigned address)
{
    return address >= DASM_HEADER_FIRST && address <= DASM_HEADER_LAST;
}

bool in_io(unsigned address)
{
    return address >= DASM_IO_FIRST && address <= DASM_IO_LAST;
}

// True when any of the bytes p .. p + k lies in the cassette header range.
bool touches_header(unsigned load, size_t p, int k)
{
    for (int i = 0; i <= k; ++i)
        if (in_header(address_at(load, p + i)))
            return true;
    return false;
}

unsigned word_at(const uint8_t *data, size_t p)
{
    return data[p + 1] | (data[p + 2] << 8);
}

// Target position of the branch at p, modulo 65536 (may lie outside).
size_t branch_target(const uint8_t *data, size_t p)
{
    return (p + 2 + static_cast<int8_t>(data[p + 1])) & 0xFFFF;
}

bool is_short_branch(int offset)
{
    return offset >= SHORT_BRANCH_MIN && offset <= SHORT_BRANCH_MAX;
}

// Whether the walk over the code takes p as the start of an instruction.
bool walk_takes(const uint8_t *data, size_t n, const uint8_t *attributes, size_t p)
{
    uint8_t c = data[p];
    return c != OPCODE_BRK && !dasm_is_undocumented(c) && !(attributes[p] & DASM_DATA) &&
           p + opset65xx[c].operands < n;
}

void mark_data(uint8_t *attributes, size_t first, size_t last)
{
    for (size_t i = first; i <= last; ++i)
        attributes[i] |= DASM_DATA;
}

// Short code islands: from position 0 or a data byte, a data byte within the
// next nine turns the code between into data. Changes at position 0 alone
// (the island of length one) are not counted.
bool optimize_islands(size_t n, uint8_t *attributes)
{
    bool changed = false;
    size_t p = 0;
    while (p < n) {
        if (p != 0 && !(attributes[p] & DASM_DATA)) {
            ++p;
            continue;
        }
        size_t j = 1;
        while (j <= ISLAND_LOOKAHEAD && p + j < n && !(attributes[p + j] & DASM_DATA))
            ++j;
        if (j > ISLAND_LOOKAHEAD) {
            p += ISLAND_LOOKAHEAD + 1;
        } else if (p + j == n) {
            p = n;  // the run reaches the end of the file: it stays code
        } else {
            mark_data(attributes, p, p + j - 1);
            if (j > 1)
                changed = true;
            p += j;
        }
    }
    return changed;
}

// Repeated bytes: a byte other than NOP followed by four equal code bytes, or
// two to four equal bytes ending the file, become data.
bool optimize_repeats(const uint8_t *data, size_t n, uint8_t *attributes)
{
    bool changed = false;
    for (size_t q = 0; q < n; ++q) {
        uint8_t b = data[q];
        if (b == OPCODE_NOP)
            continue;
        size_t run = q + EQUAL_RUN <= n ? EQUAL_RUN : n - q;
        if (run < EQUAL_RUN_AT_END_MIN)
            continue;
        bool equal = true;
        for (size_t i = 1; i < run && equal; ++i)
            equal = data[q + i] == b && !(attributes[q + i] & DASM_DATA);
        if (equal) {
            mark_data(attributes, q, q + run - 1);
            changed = true;
        }
    }
    return changed;
}

// State of the listing: the kind of the last item listed and the current data line.
enum class Item { None, Instruction, Data };

struct Listing {
    const uint8_t *data;
    size_t n;
    unsigned load;
    const uint8_t *attributes;
    int auto_comment;
    GString *text;
    Item previous = Item::None;
    size_t line_values = 0;  // values on the current data line
};

// Label letter of a position inside the program, or nullptr.
const char *label_of(const uint8_t *attributes, size_t p)
{
    uint8_t a = attributes[p];
    if (a & DASM_DATA)
        return dasm_labels[0];
    if (a & DASM_BRANCH_TARGET)
        return dasm_labels[1];
    if (a & DASM_JSR_TARGET)
        return dasm_labels[2];
    if (a & DASM_JMP_TARGET)
        return dasm_labels[3];
    return nullptr;
}

// Prefix of an operand pointing to `address`: its label letter when it lies
// inside the program, outside the I/O area and is labelled, else "$".
const char *operand_prefix(const Listing &l, unsigned address)
{
    size_t target = 0;
    if (in_io(address) || !position_of(l.load, l.n, address, &target))
        return "$";
    const char *label = label_of(l.attributes, target);
    return label ? label : "$";
}

bool listable_instruction(const Listing &l, size_t p, int exclude_header)
{
    uint8_t c = l.data[p];
    int k = opset65xx[c].operands;
    return !(l.attributes[p] & DASM_DATA) && !dasm_is_undocumented(c) && p + k < l.n &&
           !(exclude_header && touches_header(l.load, p, k));
}

void list_instruction(Listing &l, size_t p)
{
    GString *text = l.text;
    uint8_t c = l.data[p];
    const DasmOpcode &op = opset65xx[c];
    unsigned address = address_at(l.load, p);
    if (l.previous == Item::Data)
        g_string_append(text, "\n");
    const char *label = in_io(address) ? nullptr : label_of(l.attributes, p);
    if (label)
        g_string_append_printf(text, "\n%s%04X ", label, address);
    else
        g_string_append(text, "\n      ");
    g_string_append(text, "  ");
    if (op.operands == 0) {
        g_string_append(text, op.text);
    } else if (op.operands == 2) {
        unsigned operand = word_at(l.data, p);
        g_string_append_printf(text, op.text, operand_prefix(l, operand), operand >> 8, operand & 0xFF);
        if (l.auto_comment)
            dasm_append_comment(text, c, operand);
    } else if (dasm_is_branch(c)) {
        int offset = static_cast<int8_t>(l.data[p + 1]);
        if (is_short_branch(offset)) {
            g_string_append_len(text, op.text, 3);
            g_string_append_printf(text, " *%+d       ", offset + 2);
        } else {
            unsigned target = (address + 2 + offset) & 0xFFFF;
            g_string_append_printf(text, op.text, operand_prefix(l, target), target);
        }
    } else {
        g_string_append_printf(text, op.text, "$", l.data[p + 1]);
    }
    if (ends_block(c))
        g_string_append(text, "\n");
    l.previous = Item::Instruction;
}

void list_data_byte(Listing &l, size_t p)
{
    GString *text = l.text;
    uint8_t value = l.data[p];
    bool new_line = l.previous != Item::Data || l.line_values >= DATA_VALUES_PER_LINE ||
                    p % DATA_VALUES_PER_LINE == 0 || (l.attributes[p] & DASM_DATA_REFERENCE);
    if (new_line) {
        if (l.previous == Item::Instruction)
            g_string_append(text, "\n");
        // Data lines carry "T" everywhere, the I/O area included.
        g_string_append_printf(text, "\n%s%04X %s.byte $%02X", dasm_labels[0], address_at(l.load, p), "  ", value);
        l.line_values = 1;
    } else {
        g_string_append_printf(text, ",$%02X", value);
        ++l.line_values;
    }
    l.previous = Item::Data;
}

void append_header(GString *text, const uint8_t *data, size_t n, unsigned load, const uint8_t *attributes,
                   int counter)
{
    g_string_append_printf(text, _("\n;\n; DASM performed %d "), counter);
    g_string_append(text, counter == 1 ? _("optimization\n;") : _("optimizations\n;"));
    g_string_append(text, _("\n; Cross reference:"));

    // Instructions as the target walk sees them.
    std::vector<std::pair<size_t, size_t>> calls, jumps;  // (target, position)
    std::vector<bool> branch_at(n, false);
    for (size_t p = 0; p < n;) {
        if (!walk_takes(data, n, attributes, p)) {
            ++p;
            continue;
        }
        uint8_t c = data[p];
        size_t target = 0;
        if (dasm_is_branch(c))
            branch_at[p] = true;
        else if (c == OPCODE_JSR && position_of(load, n, word_at(data, p), &target))
            calls.emplace_back(target, p);
        else if (c == OPCODE_JMP && position_of(load, n, word_at(data, p), &target))
            jumps.emplace_back(target, p);
        p += opset65xx[c].operands + 1;
    }

    g_string_append(text, _("\n;\n;  Conditional branches (B) with more than one ref:"));
    std::vector<size_t> referrers;
    for (size_t t = 0; t < n; ++t) {
        if (!(attributes[t] & DASM_BRANCH_TARGET))
            continue;
        referrers.clear();
        size_t first = t > XREF_BEFORE ? t - XREF_BEFORE : 0;
        size_t last = std::min(t + XREF_AFTER, n - 1);
        for (size_t q = first; q <= last; ++q)
            if (branch_at[q] && branch_target(data, q) == t)
                referrers.push_back(q);
        if (referrers.size() < 2)
            continue;
        g_string_append_printf(text, "\n;   %04X: ", address_at(load, t));
        for (size_t q : referrers)
            g_string_append_printf(text, "%04X ", address_at(load, q));
    }

    auto append_references = [&](const char *title, std::vector<std::pair<size_t, size_t>> &refs) {
        g_string_append(text, title);
        std::stable_sort(refs.begin(), refs.end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
        for (size_t i = 0; i < refs.size(); ++i) {
            if (i == 0 || refs[i].first != refs[i - 1].first)
                g_string_append_printf(text, "\n;   %04X: ", address_at(load, refs[i].first));
            g_string_append_printf(text, "%04X ", address_at(load, refs[i].second));
        }
    };
    append_references(_("\n;\n;  Subroutine calls (S):"), calls);
    append_references(_("\n;\n;  Jumps (J):"), jumps);

    g_string_append(text, "\n");
    g_string_append_printf(text, "\n*=$%04X", load);
}

}  // namespace

bool dasm_is_undocumented(uint8_t opcode)
{
    return opset65xx[opcode].text[3] == '*';
}

bool dasm_is_branch(uint8_t opcode)
{
    return (opcode & 0x1F) == 0x10;
}

void dasm_mark_code(const uint8_t *data, size_t n, unsigned load, int exclude_header, uint8_t *attributes)
{
    std::memset(attributes, DASM_DATA, n);
    size_t p = 0;
    while (p < n) {
        uint8_t c = data[p];
        int k = opset65xx[c].operands;
        if (c == OPCODE_BRK || dasm_is_undocumented(c) || p + k >= n ||
            (exclude_header && touches_header(load, p, k))) {
            ++p;
            continue;
        }
        for (int i = 0; i <= k; ++i)
            attributes[p + i] &= static_cast<uint8_t>(~DASM_DATA);
        for (int i = 1; i <= k; ++i)
            attributes[p + i] |= DASM_OPERAND;
        p += k + 1;
    }
}

int dasm_optimize(const uint8_t *data, size_t n, uint8_t *attributes)
{
    int counter = 0;
    while (counter <= OPTIMIZATION_LIMIT) {
        bool islands = optimize_islands(n, attributes);
        if (islands)
            ++counter;
        bool repeats = optimize_repeats(data, n, attributes);
        if (!islands && !repeats)
            break;
        ++counter;
    }
    return counter;
}

void dasm_mark_targets(const uint8_t *data, size_t n, unsigned load, uint8_t *attributes)
{
    size_t p = 0;
    while (p < n) {
        if (!walk_takes(data, n, attributes, p)) {
            ++p;
            continue;
        }
        uint8_t c = data[p];
        size_t target = 0;
        if (dasm_is_branch(c)) {
            int offset = static_cast<int8_t>(data[p + 1]);
            if (!is_short_branch(offset) && position_of(load, n, address_at(load, p + 2 + offset), &target))
                attributes[target] |= DASM_BRANCH_TARGET;
        } else if (c == OPCODE_JSR) {
            if (position_of(load, n, word_at(data, p), &target))
                attributes[target] |= DASM_JSR_TARGET;
        } else if (c == OPCODE_JMP) {
            if (position_of(load, n, word_at(data, p), &target))
                attributes[target] |= DASM_JMP_TARGET;
        } else if (references_data(c)) {
            if (position_of(load, n, word_at(data, p), &target) && (attributes[target] & DASM_DATA))
                attributes[target] |= DASM_DATA_REFERENCE;
        }
        p += opset65xx[c].operands + 1;
    }
}

int disassemble_bytes(const uint8_t *file, size_t size, int exclude_header, int auto_comment, GString *text,
                      const DecodeHooks &hooks)
{
    if (size < 3)
        return 0;
    const unsigned load = file[0] | (file[1] << 8);
    const uint8_t *data = file + 2;
    const size_t n = std::min(size - 2, DASM_MAX_DATA);
    uint8_t *attributes = static_cast<uint8_t *>(g_try_malloc(n));
    if (!attributes)
        return 0;

    dasm_mark_code(data, n, load, exclude_header, attributes);
    int counter = dasm_optimize(data, n, attributes);
    dasm_mark_targets(data, n, load, attributes);
    append_header(text, data, n, load, attributes, counter);

    Listing l{data, n, load, attributes, auto_comment, text};
    size_t p = convert_basic_boot(data, load, n, text);
    size_t next_report = 0;
    bool header_open = false;
    while (p < n) {
        // Positions inside a listed instruction are reported when passed.
        for (; next_report <= p; next_report += DASM_PROGRESS_STEP)
            if (hooks.progress)
                hooks.progress(static_cast<double>(next_report) / n, hooks.user);
        unsigned address = address_at(load, p);
        if (exclude_header && in_header(address)) {
            if (!header_open) {
                g_string_append(text, _("\n\n; Cassette I/O Buffer - Header"));
                l.previous = Item::None;
                header_open = true;
            }
            list_data_byte(l, p);
            ++p;
            if (p == n || !in_header(address_at(load, p))) {
                g_string_append(text, "\n");
                l.previous = Item::None;
                header_open = false;
            }
        } else if (listable_instruction(l, p, exclude_header)) {
            list_instruction(l, p);
            p += opset65xx[data[p]].operands + 1;
        } else {
            list_data_byte(l, p);
            ++p;
        }
    }
    g_string_append(text, "\n");
    g_free(attributes);
    return 1;
}

int disassemble(const char *filename, int exclude_header, int auto_comment, GString *text,
                const DecodeHooks &hooks)
{
    return decode_file(filename, hooks, [&](const uint8_t *data, size_t size) {
        return disassemble_bytes(data, size, exclude_header, auto_comment, text, hooks);
    });
}
