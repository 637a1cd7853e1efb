// The disassembler without comments: code marking makes every byte data,
// opcode or operand, optimisation only turns code into data, target marking
// only adds target bits (data references on data only), and the listing is
// well-formed text.
#include "dasm_checks.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const int exclude_header = size % 2;
    check_listing(data, size, exclude_header, 0);
    if (size < 3)
        return 0;

    const unsigned load = data[0] | data[1] << 8;
    const uint8_t *bytes = data + 2;
    const std::size_t n = std::min<std::size_t>(size - 2, DASM_MAX_DATA);
    std::vector<uint8_t> marked(n), optimized, targets;
    dasm_mark_code(bytes, n, load, exclude_header, marked.data());
    check_code_structure(bytes, n, marked.data());
    for (std::size_t p = 0; p < n; ++p) {
        FUZZ_CHECK((marked[p] & ~(DASM_DATA | DASM_OPERAND)) == 0);
        if (exclude_header && !(marked[p] & DASM_DATA)) {
            const unsigned address = (load + unsigned(p)) & 0xFFFF;
            FUZZ_CHECK(address < DASM_HEADER_FIRST || address > DASM_HEADER_LAST);
        }
    }

    // Optimisation only turns code into data (a run of equal bytes may take
    // an instruction's operands; the listing then shows its opcode as data).
    optimized = marked;
    const int counter = dasm_optimize(bytes, n, optimized.data());
    FUZZ_CHECK(counter >= 0);
    for (std::size_t p = 0; p < n; ++p) {
        FUZZ_CHECK((optimized[p] & ~(DASM_DATA | DASM_OPERAND)) == 0);
        FUZZ_CHECK((optimized[p] & DASM_OPERAND) == (marked[p] & DASM_OPERAND));
        if (marked[p] & DASM_DATA)
            FUZZ_CHECK(optimized[p] & DASM_DATA);
    }

    targets = optimized;
    dasm_mark_targets(bytes, n, load, targets.data());
    for (std::size_t p = 0; p < n; ++p) {
        FUZZ_CHECK((targets[p] & (DASM_DATA | DASM_OPERAND)) == (optimized[p] & (DASM_DATA | DASM_OPERAND)));
        FUZZ_CHECK((targets[p] & optimized[p]) == optimized[p]);
        if (targets[p] & DASM_DATA_REFERENCE)
            FUZZ_CHECK(targets[p] & DASM_DATA);
    }
    return 0;
}
