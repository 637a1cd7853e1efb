// Reading and writing turbo loaders' boot code; see bootcode.h.
#include "core/loaders/bootcode.h"

#include <algorithm>

namespace {

constexpr uint8_t LDA_IMM = 0xA9, LDX_IMM = 0xA2, LDY_IMM = 0xA0;
constexpr uint8_t STA_ABS = 0x8D, STX_ABS = 0x8E, STY_ABS = 0x8C;
constexpr uint8_t LDA_ABS = 0xAD, EOR_IMM = 0x49, LSR_A = 0x4A, CMP_IMM = 0xC9, CPX_IMM = 0xE0, CPY_IMM = 0xC0;
constexpr uint8_t AND_IMM = 0x29;
constexpr uint8_t SEI = 0x78, RTS = 0x60, ROL_ZP = 0x26, ROR_ZP = 0x66, BNE = 0xD0;

// The store that goes with a load-immediate opcode.
uint8_t store_for(uint8_t load)
{
    switch (load) {
    case LDA_IMM:
        return STA_ABS;
    case LDX_IMM:
        return STX_ABS;
    case LDY_IMM:
        return STY_ABS;
    default:
        return 0;
    }
}

bool is_cia(uint8_t high) { return high == 0xDC || high == 0xDD; }

} // namespace

bool BootFacts::has_threshold_near(unsigned cycles, unsigned slack) const
{
    return std::any_of(thresholds.begin(), thresholds.end(), [&](unsigned t) {
        return t + slack >= cycles && t <= cycles + slack;
    });
}

bool BootFacts::compares_with(uint8_t value) const
{
    return std::find(compares.begin(), compares.end(), value) != compares.end();
}

bool BootFacts::shows(unsigned cycles, std::initializer_list<uint8_t> values) const
{
    return has_threshold_near(cycles) &&
           std::all_of(values.begin(), values.end(), [this](uint8_t v) { return compares_with(v); });
}

BootFacts read_boot_code(const uint8_t *code, std::size_t size)
{
    BootFacts facts;
    if (code == nullptr)
        return facts;
    // Timer latch bytes written, per CIA (index 0 $DC, 1 $DD) and timer (A,
    // B); -1 = not seen. Real loaders load the value a few instructions
    // before the store (LDA #lo / LDX #hi / STA / STX), so the store looks
    // back for the load of its register.
    int low[2][2] = {{-1, -1}, {-1, -1}}, high[2][2] = {{-1, -1}, {-1, -1}};
    bool one_shot_read = false, continuous_read = false, one_shot_mode = false;
    auto loaded_before = [&](std::size_t store_at, uint8_t store) -> int {
        for (std::size_t back = 2; back <= 10 && back <= store_at; ++back) {
            const std::size_t at = store_at - back;
            if (store_for(code[at]) == store)
                return code[at + 1];
        }
        return -1;
    };
    for (std::size_t i = 0; i + 1 < size; ++i) {
        const uint8_t op = code[i];
        if (op == CMP_IMM || op == CPX_IMM || op == CPY_IMM) {
            facts.compares.push_back(code[i + 1]);
            continue;
        }
        if (i + 2 < size && (op == STA_ABS || op == STX_ABS || op == STY_ABS) && is_cia(code[i + 2])) {
            const int cia = code[i + 2] == 0xDD ? 1 : 0;
            const uint8_t reg = code[i + 1];
            const int value = loaded_before(i, op);
            if (value >= 0 && reg >= 0x04 && reg <= 0x07) {
                const int timer = reg >= 0x06 ? 1 : 0;
                (reg % 2 == 0 ? low : high)[cia][timer] = value;
            } else if (value >= 0 && (reg == 0x0E || reg == 0x0F) && (value & 0x01) != 0 && (value & 0x08) != 0) {
                one_shot_mode = true;  // a timer started in one-shot mode
            }
        }
        // The rotate right after the bit read takes the bit into the byte.
        auto rotate_after = [&](std::size_t at) {
            if (facts.bit_order == 0 && at < size)
                facts.bit_order = code[at] == ROL_ZP ? 1 : code[at] == ROR_ZP ? 2 : 0;
        };
        // An interrupt register read that tests a timer's underflow: into
        // the carry (LSR, LSR) or masked (AND #1 / AND #2).
        if (i + 4 < size && op == LDA_ABS && code[i + 1] == 0x0D && is_cia(code[i + 2])) {
            if (code[i + 3] == LSR_A && code[i + 4] == LSR_A) {
                one_shot_read = true;
                rotate_after(i + 5);
            } else if (code[i + 3] == AND_IMM && (code[i + 4] == 0x01 || code[i + 4] == 0x02)) {
                one_shot_read = true;
            }
        }
        if (i + 3 < size && op == EOR_IMM && code[i + 1] == 0x02 && code[i + 2] == LSR_A && code[i + 3] == LSR_A) {
            continuous_read = true;
            rotate_after(i + 4);
        }
    }
    facts.continuous = continuous_read;
    for (int cia = 0; cia < 2; ++cia)
        for (int timer = 0; timer < 2; ++timer) {
            if (low[cia][timer] < 0 || high[cia][timer] < 0)
                continue;
            const unsigned latch = unsigned(low[cia][timer]) | (unsigned(high[cia][timer]) << 8);
            if (continuous_read && latch > 0x200)
                facts.thresholds.push_back(latch - 0x200);
            if (one_shot_read || one_shot_mode || !continuous_read)
                facts.thresholds.push_back(latch);
        }
    return facts;
}

namespace {

// The BASIC line "10 SYS 2061" at $0801, with the load address first.
std::vector<uint8_t> basic_sys_line()
{
    return {0x01, 0x08, 0x0B, 0x08, 0x0A, 0x00, 0x9E, '2', '0', '6', '1', 0x00, 0x00, 0x00};
}

std::vector<uint8_t> boot_code(const BootCodePlan &plan)
{
    const unsigned latch = plan.one_shot ? plan.threshold_cycles : plan.threshold_cycles + 0x200;
    std::vector<uint8_t> c = {SEI,
                              LDA_IMM, uint8_t(latch & 0xFF), STA_ABS, 0x04, 0xDD,
                              LDA_IMM, uint8_t(latch >> 8), STA_ABS, 0x05, 0xDD,
                              LDA_IMM, uint8_t(plan.one_shot ? 0x19 : 0x11), STA_ABS, 0x0F, 0xDD};
    // The bit read: timer state into the carry, rotated into a byte.
    const uint8_t rotate = plan.lsb_first ? ROR_ZP : ROL_ZP;
    if (plan.one_shot)
        c.insert(c.end(), {LDA_ABS, 0x0D, 0xDD, LSR_A, LSR_A, rotate, 0xA9});
    else
        c.insert(c.end(), {LDA_ABS, 0x07, 0xDD, EOR_IMM, 0x02, LSR_A, LSR_A, rotate, 0xA9});
    for (const uint8_t value : plan.compares)
        c.insert(c.end(), {0xA5, 0xA9, CMP_IMM, value, BNE, 0xF0});
    c.push_back(RTS);
    return c;
}

} // namespace

std::vector<uint8_t> make_boot_program(const BootCodePlan &plan)
{
    std::vector<uint8_t> prg = basic_sys_line();
    const std::vector<uint8_t> code = boot_code(plan);
    prg.insert(prg.end(), code.begin(), code.end());
    prg.insert(prg.end(), plan.parameters.begin(), plan.parameters.end());
    return prg;
}

std::size_t boot_parameters_offset(const BootCodePlan &plan)
{
    return basic_sys_line().size() + boot_code(plan).size();
}
