// Loader identification; see identify.h.
#include "core/loaders/identify.h"

#include "core/cbmscan.h"

#include <algorithm>

namespace {

bool is_cbm(const TapeEntry &e, const char *type) { return e.scanner == &cbm_rom_scanner && e.type == type; }

// The CBM header the data block at `k` belongs to, or null.
const TapeEntry *header_of(const std::vector<TapeEntry> &entries, std::size_t k)
{
    const int h = entries[k].header_entry;
    if (h >= 0 && std::size_t(h) < entries.size() && is_cbm(entries[std::size_t(h)], CBM_TYPE_HEADER))
        return &entries[std::size_t(h)];
    return nullptr;
}

// One region of the tape: from a boot file to the next.
struct Region {
    std::vector<const TurboLoader *> loaders;  // identified there, most common first
    bool asked_first = false;                  // some of their scanners are selected
};

// Decides, at every CBM boot file the scan reads, which scanners are asked
// first up to the next one.
class Guide : public ScanGuide {
public:
    explicit Guide(const std::vector<const TapeScanner *> &selected) : selected_(selected) {}

    void after_file(const std::vector<TapeEntry> &entries, std::vector<const TapeScanner *> &first) override
    {
        const std::size_t k = entries.size() - 1;
        const TapeEntry &e = entries[k];
        if (!is_cbm(e, CBM_TYPE_DATA))
            return;
        // The REPEAT copy of the boot file just read changes nothing.
        if (e.copy == CopyId::Repeat && !regions.empty() && e.crc32 == last_crc_)
            return;
        last_crc_ = e.crc32;
        Region region;
        region.loaders = loaders_in_boot_code(header_of(entries, k), e);
        first.clear();
        for (const TurboLoader *l : region.loaders)
            if (std::find(selected_.begin(), selected_.end(), l->scanner) != selected_.end()) {
                first.push_back(l->scanner);
                region.asked_first = true;
            }
        regions.push_back(std::move(region));
    }

    std::vector<Region> regions;

private:
    const std::vector<const TapeScanner *> &selected_;
    uint32_t last_crc_ = 0;
};

std::string names_of(const std::vector<const TurboLoader *> &loaders)
{
    std::string names;
    for (const TurboLoader *l : loaders)
        names += (names.empty() ? "" : ", ") + std::string(l->name);
    return names;
}

std::string boot_files(std::size_t count)
{
    return count == 1 ? "the boot file" : std::to_string(count) + " boot files";
}

// The report's line: which loaders were found in how many boot files, and
// where every selected scanner ran in the usual order.
std::string summary_of(const std::vector<Region> &regions, const TurboLoader *&first_loader)
{
    std::vector<const TurboLoader *> asked, unselected;
    std::size_t asked_regions = 0, unknown_regions = 0, unselected_regions = 0;
    for (const Region &r : regions) {
        if (r.loaders.empty()) {
            ++unknown_regions;
            continue;
        }
        std::vector<const TurboLoader *> &into = r.asked_first ? asked : unselected;
        ++(r.asked_first ? asked_regions : unselected_regions);
        for (const TurboLoader *l : r.loaders)
            if (std::find(into.begin(), into.end(), l) == into.end())
                into.push_back(l);
    }
    first_loader = asked.empty() ? nullptr : asked.front();
    if (asked.empty() && unselected.empty())
        return "no known loader in the boot files: every selected scanner ran";
    std::string line;
    if (!asked.empty())
        line = names_of(asked) + " in " + boot_files(asked_regions) + ": " +
               (asked.size() > 1 ? "their scanners" : "its scanner") + " asked first up to the next boot file";
    if (!unselected.empty())
        line += (line.empty() ? "" : "; ") + names_of(unselected) + " in " + boot_files(unselected_regions) + ", but " +
                (unselected.size() > 1 ? "their scanners are" : "its scanner is") + " not selected";
    if (unknown_regions > 0)
        line += "; no known loader in " + boot_files(unknown_regions);
    if (unknown_regions > 0 || !unselected.empty())
        line += asked.empty() ? ": every selected scanner ran" : ": every selected scanner ran there";
    return line;
}

} // namespace

std::vector<const TurboLoader *> loaders_in_boot_code(const TapeEntry *header, const TapeEntry &data)
{
    std::vector<uint8_t> code;
    if (header != nullptr)
        code = header->payload;
    code.insert(code.end(), data.payload.begin(), data.payload.end());
    const BootFacts facts = read_boot_code(code.data(), code.size());
    std::vector<const TurboLoader *> found;
    for (const TurboLoader &l : turbo_loaders())
        if (l.identify(facts))
            found.push_back(&l);
    return found;  // the table is most common first
}

std::vector<const TurboLoader *> loaders_in_boot_files(const TapeScan &cbm_scan)
{
    // Each boot file on its own: the threshold of one and the compares of
    // another are no loader.
    std::vector<const TurboLoader *> found;
    for (std::size_t k = 0; k < cbm_scan.entries.size(); ++k) {
        if (!is_cbm(cbm_scan.entries[k], CBM_TYPE_DATA))
            continue;
        for (const TurboLoader *l : loaders_in_boot_code(header_of(cbm_scan.entries, k), cbm_scan.entries[k]))
            if (std::find(found.begin(), found.end(), l) == found.end())
                found.push_back(l);
    }
    std::sort(found.begin(), found.end());  // the table's order: most common first
    return found;
}

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
    Guide guide(selected);
    ScanOptions guided = options;
    guided.guide = &guide;
    result.scan = scan_tape(file, size, guided, selected);
    result.summary = summary_of(guide.regions, result.loader);
    return result;
}
