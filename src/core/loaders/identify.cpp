// Loader identification; see identify.h.
#include "core/loaders/identify.h"

#include "core/cbmscan.h"

#include <algorithm>

std::vector<const TurboLoader *> loaders_in_boot_files(const TapeScan &cbm_scan)
{
    // Each boot file on its own: the threshold of one and the compares of
    // another are no loader.
    std::vector<const TurboLoader *> found;
    for (const TapeEntry &e : cbm_scan.entries) {
        if (e.scanner != &cbm_rom_scanner || e.type != CBM_TYPE_DATA)
            continue;
        const BootFacts facts = read_boot_code(e.payload.data(), e.payload.size());
        for (const TurboLoader &l : turbo_loaders())
            if (l.identify(facts) && std::find(found.begin(), found.end(), &l) == found.end())
                found.push_back(&l);
    }
    // Most common first, as in the table.
    std::sort(found.begin(), found.end());
    return found;
}

namespace {

bool found_by(const TapeScan &scan, const TapeScanner *scanner)
{
    return std::any_of(scan.entries.begin(), scan.entries.end(),
                       [scanner](const TapeEntry &e) { return e.scanner == scanner; });
}

} // namespace

IdentifiedScan scan_tape_identified(const uint8_t *file, std::size_t size, const ScanOptions &options,
                                    const std::vector<const TapeScanner *> &selected, bool identify)
{
    IdentifiedScan result;
    const bool has_cbm = std::find(selected.begin(), selected.end(), &cbm_rom_scanner) != selected.end();
    const bool has_turbo = std::any_of(selected.begin(), selected.end(),
                                       [](const TapeScanner *s) { return turbo_loader_of(s) != nullptr; });
    if (!identify || !has_cbm || !has_turbo) {
        result.scan = scan_tape(file, size, options, selected);
        result.summary = !identify   ? "off (-noid): every selected scanner ran"
                         : !has_cbm  ? "not possible without the CBM ROM scanner: every selected scanner ran"
                                     : "not needed: no turbo scanner selected";
        return result;
    }
    const TapeScan cbm_only = scan_tape(file, size, options, {&cbm_rom_scanner});
    if (!cbm_only.ok) {
        result.scan = cbm_only;
        return result;
    }
    const std::vector<const TurboLoader *> found = loaders_in_boot_files(cbm_only);
    // The loaders found whose scanners are selected run beside CBM ROM.
    std::vector<const TapeScanner *> narrowed_scanners = {&cbm_rom_scanner};
    std::string names;
    for (const TurboLoader *l : found) {
        if (std::find(selected.begin(), selected.end(), l->scanner) == selected.end())
            continue;
        narrowed_scanners.push_back(l->scanner);
        names += (names.empty() ? "" : ", ") + std::string(l->name);
        if (result.loader == nullptr)
            result.loader = l;
    }
    if (result.loader != nullptr) {
        TapeScan narrowed = scan_tape(file, size, options, narrowed_scanners);
        const bool any = std::any_of(narrowed_scanners.begin() + 1, narrowed_scanners.end(),
                                     [&](const TapeScanner *s) { return found_by(narrowed, s); });
        if (any) {
            result.scan = std::move(narrowed);
            result.summary = names + " in the boot file" + (narrowed_scanners.size() > 2 ? "s" : "") +
                             ": faster scan, only " + (narrowed_scanners.size() > 2 ? "their scanners" : "its scanner") +
                             " ran beside CBM ROM";
            return result;
        }
        result.loader = nullptr;
        result.scan = scan_tape(file, size, options, selected);
        result.summary = names + " in the boot file, but none of its files was found: every selected scanner ran";
        return result;
    }
    result.scan = scan_tape(file, size, options, selected);
    result.summary = found.empty() ? "no known loader in the boot files: every selected scanner ran"
                                   : std::string(found.front()->name) +
                                         " in the boot file, but its scanner is not selected: " +
                                         "every selected scanner ran";
    return result;
}
