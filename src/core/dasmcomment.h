// Refinements of the disassembly listing for the Commodore 64:
// - automatic comments after instructions that call a well-known Kernal ROM
//   routine (JSR or JMP absolute) or touch a register of the VIC-II, the SID,
//   the two CIAs (mirrors folded onto the base registers) or a hardware vector;
// - the one-line BASIC boot program ("10 SYS2061") at the start of a program
//   loaded at $0801, written as data directives with the end label EOBAS.
//
// Comments are appended right after an instruction's 14-character text.
// GLib-only; safe to call from any thread.
#ifndef QUILLMAR_CORE_DASMCOMMENT_H
#define QUILLMAR_CORE_DASMCOMMENT_H

#include <glib.h>

#include <cstddef>
#include <cstdint>

// The comment of a JSR or JMP to `address` ("; CHROUT: ..."), or nullptr.
const char *dasm_routine_comment(unsigned address);

// Appends the register or hardware vector comment of an absolute operand
// ("; VIC-II Border Color Register", "; CIA #1 " for an unnamed register ...).
// Returns false, appending nothing, for any other address.
bool dasm_append_register_comment(GString *text, unsigned address);

// True for the absolute instructions whose operand gets a register comment:
// STY, STA, STX, LDY, LDA, LDX, CPY, CMP, DEC, CPX, INC.
bool dasm_has_register_comment(uint8_t opcode);

// Appends the automatic comment of an instruction with a two-byte operand:
// routine comments for JSR and JMP absolute, register comments for the
// opcodes above; nothing for any other opcode.
void dasm_append_comment(GString *text, uint8_t opcode, unsigned operand);

// Load address of a BASIC program and its SYS token.
constexpr unsigned DASM_BASIC_START = 0x0801;
constexpr uint8_t DASM_TOKEN_SYS = 0x9E;

// Checks whether `data` (the `length` bytes after the load address) starts
// with a one-line BASIC program "SYS ..." at $0801 and, if so, appends it as
// .word/.byte/.text directives ending with the label EOBAS. Returns the number
// of bytes consumed (the line and the zero end-of-program link), or 0,
// appending nothing, when the conditions do not hold.
size_t convert_basic_boot(const uint8_t *data, unsigned load, size_t length, GString *text);

#endif
