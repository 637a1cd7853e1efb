// The code of a CBM boot file that loads a turbo loader: what it tells about
// the loader (the threshold its CIA timer sets, the bytes it compares with),
// and the code the encoders put in the boot files they write.
//
// Two idioms set a loader's threshold (public descriptions of C64 loaders):
//   - a continuous timer, read as LDA timer-high / EOR #2 / LSR / LSR: the
//     threshold is the latch minus $200 cycles;
//   - a one-shot timer, read as LDA $DD0D (or $DC0D) / LSR / LSR: the
//     threshold is the latch.
// The latch is written as LDA/LDX/LDY #value, then (a few instructions on,
// as real loaders write it) STA/STX/STY to a timer's low and high registers
// ($DC04-$DC07, $DD04-$DD07); a control register written with the one-shot
// bit tells a one-shot timer too, and an interrupt register read masked with
// AND #1 or #2 is a one-shot bit read as well. The compares are the
// operands of CMP, CPX and CPY #imm. Every byte position is looked at (no
// disassembly), so code hidden behind data is found too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

struct BootFacts {
    std::vector<unsigned> thresholds;  // cycles, in the order found
    std::vector<uint8_t> compares;     // operands of CMP #imm, in the order found
    bool continuous = false;           // the continuous timer's idiom reads the bits
    int bit_order = 0;                 // the rotate after the bit read: 0 none, 1 ROL (MSB first), 2 ROR

    bool has_threshold_near(unsigned cycles, unsigned slack = 8) const;
    bool compares_with(uint8_t value) const;
    // A threshold near `cycles` and a compare with every one of `values`.
    bool shows(unsigned cycles, std::initializer_list<uint8_t> values) const;
};

BootFacts read_boot_code(const uint8_t *code, std::size_t size);

// What the encoders' boot code sets up.
struct BootCodePlan {
    unsigned threshold_cycles = 0;
    bool one_shot = true;              // one-shot timer idiom, else continuous
    bool lsb_first = false;            // bits rotated in from the top (ROR), else from the bottom (ROL)
    std::vector<uint8_t> compares;     // bytes the loop compares with (pilot, sync...)
    std::vector<uint8_t> parameters;   // loader parameters kept after the code
};

// A PRG (load address $0801 first) holding a BASIC line "SYS 2061" and code
// that sets the timer with the plan's threshold, reads bits with the
// matching idiom and compares with the plan's bytes; the parameters follow
// the code. The code only has to carry what the scanners read from it.
std::vector<uint8_t> make_boot_program(const BootCodePlan &plan);

// Where make_boot_program put the parameters (offset in the PRG, load
// address included), for loaders that read them back.
std::size_t boot_parameters_offset(const BootCodePlan &plan);
