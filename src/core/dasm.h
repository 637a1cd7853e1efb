// The 6502 disassembler of the "DASM" page: turns a PRG file (a two-byte load
// address, least significant byte first, then the bytes it places in memory)
// into assembler source text.
//
// The work is done in stages over one attribute byte per data byte:
//   1. code marking: every byte starts as data; a walk from the first byte
//      takes each documented, non-BRK opcode whose operands fit in the file as
//      an instruction and skips one byte otherwise;
//   2. optimizations: repeated passes turn short code islands between data and
//      runs of five equal bytes into data, counting what they did;
//   3. targets: branch, JSR and JMP targets and data read or written by
//      absolute instructions are marked inside the program;
// then a header with the optimization count and a cross reference is written,
// followed by the listing (labels, data lines of 16 values, the optional
// cassette header block, the optional BASIC boot block and comments).
//
// Addresses are 16-bit: data byte p sits at (load + p) modulo 65536, and an
// address a lies inside the program when (a - load) modulo 65536 < n. Since
// memory holds 65536 bytes, data beyond the first 65536 bytes are ignored.
//
// GLib-only; safe to call from any thread.
#ifndef QUILLMAR_CORE_DASM_H
#define QUILLMAR_CORE_DASM_H

#include "core/decodehooks.h"

#include <glib.h>

#include <cstddef>
#include <cstdint>

// One entry of the opcode table.
struct DasmOpcode {
    // printf format of the instruction, padded with blanks so that it prints
    // 14 characters wide. "%s" is the operand prefix ("$" or a label letter),
    // followed by "%02X" (one operand byte), "%02X%02X" (high byte, low byte)
    // or "%04X" (the target address of a branch). Undocumented opcodes carry
    // a "*" right after the three-letter mnemonic.
    const char *text;
    int8_t operands;  // operand bytes: 0, 1 or 2
};

// The 256 opcodes of the NMOS 6502, indexed by the opcode byte.
extern const DasmOpcode opset65xx[256];

// Label letters, in this order: data/table, conditional branch target,
// subroutine entry (JSR target), JMP target.
extern const char *const dasm_labels[4];

// Bits of the per-byte attribute array.
constexpr uint8_t DASM_DATA = 1;            // not part of an instruction
constexpr uint8_t DASM_BRANCH_TARGET = 2;   // target of a conditional branch
constexpr uint8_t DASM_JSR_TARGET = 4;      // subroutine entry
constexpr uint8_t DASM_JMP_TARGET = 8;      // target of a JMP
constexpr uint8_t DASM_OPERAND = 16;        // operand byte of an instruction
constexpr uint8_t DASM_DATA_REFERENCE = 32; // data byte used by an absolute instruction

// The cassette buffer's 21-byte file header: never code when excluded.
constexpr unsigned DASM_HEADER_FIRST = 0x033C;
constexpr unsigned DASM_HEADER_LAST = 0x0350;

// The I/O area: no label there, operands pointing there print "$".
constexpr unsigned DASM_IO_FIRST = 0xD000;
constexpr unsigned DASM_IO_LAST = 0xDDFF;

// Most data bytes looked at (the 64 KB address space).
constexpr size_t DASM_MAX_DATA = 65536;

// Progress is reported whenever the listing reaches a multiple of this.
constexpr size_t DASM_PROGRESS_STEP = 1024;

// True for the opcodes marked with "*" (never taken as code).
bool dasm_is_undocumented(uint8_t opcode);

// True for the conditional branches ($10, $30, ... $F0).
bool dasm_is_branch(uint8_t opcode);

// Stage 1. `data` holds the n bytes after the load address; `attributes`
// (n bytes) is overwritten. With exclude_header, no instruction starts or
// reaches into $033C-$0350.
void dasm_mark_code(const uint8_t *data, size_t n, unsigned load, int exclude_header, uint8_t *attributes);

// Stage 2 on the result of stage 1; returns the optimization counter.
int dasm_optimize(const uint8_t *data, size_t n, uint8_t *attributes);

// Stage 3 on the result of stage 2: adds the target and data reference bits.
void dasm_mark_targets(const uint8_t *data, size_t n, unsigned load, uint8_t *attributes);

// Disassembles a PRG file held in memory (`data` starts with the load
// address) and appends the source text to `text`. Returns 0, appending
// nothing, when it holds fewer than 3 bytes or the attribute array cannot be
// allocated; else 1. hooks.progress receives position / n whenever the
// listing reaches a multiple of 1024 positions.
int disassemble_bytes(const uint8_t *data, size_t size, int exclude_header, int auto_comment, GString *text,
                      const DecodeHooks &hooks = {});

// Reads the PRG file at `filename` and disassembles it as above. When the file
// cannot be read, calls hooks.load_error(filename, system message) and returns 0.
int disassemble(const char *filename, int exclude_header, int auto_comment, GString *text,
                const DecodeHooks &hooks = {});

#endif
