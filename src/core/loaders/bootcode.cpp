// Reading and writing turbo loaders' boot code; see bootcode.h.
#include "core/loaders/bootcode.h"

#include <algorithm>

namespace {

constexpr uint8_t LDA_IMM = 0xA9, LDX_IMM = 0xA2, LDY_IMM = 0xA0;
constexpr uint8_t STA_ABS = 0x8D, STX_ABS = 0x8E, STY_ABS = 0x8C;
constexpr uint8_t LDA_ABS = 0xAD, EOR_IMM = 0x49, LSR_A = 0x4A, CMP_IMM = 0xC9;
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
    // Timer latch bytes written, per CIA (index 0 $DC, 1 $DD); -1 = not seen.
    int low[2] = {-1, -1}, high[2] = {-1, -1};
    bool one_shot_read = false, continuous_read = false;
    for (std::size_t i = 0; i + 1 < size; ++i) {
        const uint8_t op = code[i];
        if (op == CMP_IMM) {
            facts.compares.push_back(code[i + 1]);
            continue;
        }
        if (i + 4 < size && store_for(op) != 0 && code[i + 2] == store_for(op) && is_cia(code[i + 4])) {
            const int cia = code[i + 4] == 0xDD ? 1 : 0;
            if (code[i + 3] == 0x04)
                low[cia] = code[i + 1];
            else if (code[i + 3] == 0x05)
                high[cia] = code[i + 1];
        }
        // The rotate right after the bit read takes the bit into the byte.
        auto rotate_after = [&](std::size_t at) {
            if (facts.bit_order == 0 && at < size)
                facts.bit_order = code[at] == ROL_ZP ? 1 : code[at] == ROR_ZP ? 2 : 0;
        };
        if (i + 4 < size && op == LDA_ABS && code[i + 1] == 0x0D && is_cia(code[i + 2]) && code[i + 3] == LSR_A &&
            code[i + 4] == LSR_A) {
            one_shot_read = true;
            rotate_after(i + 5);
        }
        if (i + 3 < size && op == EOR_IMM && code[i + 1] == 0x02 && code[i + 2] == LSR_A && code[i + 3] == LSR_A) {
            continuous_read = true;
            rotate_after(i + 4);
        }
    }
    facts.continuous = continuous_read;
    for (int cia = 0; cia < 2; ++cia) {
        if (low[cia] < 0 || high[cia] < 0)
            continue;
        const unsigned latch = unsigned(low[cia]) | (unsigned(high[cia]) << 8);
        if (continuous_read && latch > 0x200)
            facts.thresholds.push_back(latch - 0x200);
        if (one_shot_read || !continuous_read)
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
