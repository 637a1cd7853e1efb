// The table of turbo loaders; see registry.h.
#include "core/loaders/registry.h"

#include "core/loaders/all.h"

const std::vector<TurboLoader> &turbo_loaders()
{
    // Pavloda and Visiload go before Ocean: an Ocean chain has no checksum
    // and would take their files for one; their sync bytes (and Visiload's
    // checksum) never let them take an Ocean chain.
    static const std::vector<TurboLoader> table = {LOADER_TURBOTAPE, LOADER_NOVALOAD,  LOADER_PAVLODA,   LOADER_VISILOAD,
                                                   LOADER_OCEAN,
                                                   LOADER_FREELOAD,  LOADER_USGOLD,    LOADER_BURNER,
                                                   LOADER_CHR,       LOADER_BLEEPLOAD, LOADER_RACKIT,
                                                   LOADER_AUDIOGENIC, LOADER_MICROLOAD, LOADER_WILDSAVE,
                                                   LOADER_IRQTAPE,   LOADER_C16};
    return table;
}

const TurboLoader *find_turbo_loader(const std::string &id)
{
    for (const TurboLoader &l : turbo_loaders())
        if (id == l.id)
            return &l;
    return nullptr;
}

const TurboLoader *turbo_loader_of(const TapeScanner *scanner)
{
    for (const TurboLoader &l : turbo_loaders())
        if (l.scanner == scanner)
            return &l;
    return nullptr;
}

std::string turbo_scanner_lines()
{
    std::string text;
    for (const TurboLoader &l : turbo_loaders())
        text += std::to_string(l.rating) + ":" + l.id + ":" + l.name + "\n";
    return text;
}
