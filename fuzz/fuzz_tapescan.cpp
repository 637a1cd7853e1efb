// The scanning framework on a fuzzed tape: without scanners (only pauses and
// unrecognised stretches, alternating) and with the built-in ones.
#include "scan_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const ScanOptions options = scan_options_for(size);
    const TapeScan plain = scan_tape(data, size, options, {});
    check_scan(data, size, plain);
    for (const TapeEntry &e : plain.entries)
        FUZZ_CHECK(e.kind != EntryKind::File);

    const TapeScan full = scan_tape(data, size, options);
    check_scan(data, size, full);
    // Every pulse of a pause without scanners is still silence with them.
    FUZZ_CHECK(full.pulses.size() == plain.pulses.size());
    return 0;
}
