#include "console/cbmblocks.h"

#include "core/cbmencode.h"
#include "core/cbmscan.h"

namespace {

bool is_cbm(const TapeEntry &e) { return e.kind == EntryKind::File && e.scanner == &cbm_rom_scanner; }

bool is_cbm_header(const TapeEntry &e) { return e.type == CBM_TYPE_HEADER; }

} // namespace

std::vector<CbmBlock> cbm_blocks(const TapeScan &scan)
{
    std::vector<CbmBlock> blocks;
    int previous_file = -1;  // the last file entry seen, of any scanner
    for (std::size_t i = 0; i < scan.entries.size(); ++i) {
        const TapeEntry &e = scan.entries[i];
        if (e.kind != EntryKind::File)
            continue;
        const int index = int(i);
        if (is_cbm(e)) {
            const bool header = is_cbm_header(e);
            if (e.copy == CopyId::Repeat && !blocks.empty() && previous_file >= 0 &&
                blocks.back().first == previous_file && blocks.back().repeat < 0 &&
                blocks.back().header == header) {
                blocks.back().repeat = index;
            } else {
                CbmBlock b;
                b.header = header;
                if (e.copy == CopyId::Repeat)
                    b.repeat = index;
                else
                    b.first = index;
                blocks.push_back(b);
            }
        }
        previous_file = index;
    }
    return blocks;
}

int cbm_block_copy(const TapeScan &scan, const CbmBlock &block, bool *pass)
{
    const auto passed = [&](int i) { return i >= 0 && scan.entries[std::size_t(i)].checkbyte_pass; };
    int chosen = block.first >= 0 ? block.first : block.repeat;
    if (passed(block.first))
        chosen = block.first;
    else if (passed(block.repeat))
        chosen = block.repeat;
    if (pass != nullptr)
        *pass = passed(chosen);
    return chosen;
}

namespace {

// Per payload byte, and for the checkbyte after them: lost in a dropout.
std::vector<bool> lost_mask(const TapeEntry &e)
{
    std::vector<bool> lost(e.payload.size() + 1, false);
    for (const auto &run : e.lost_bytes)
        for (std::size_t k = run.first; k < run.first + run.second && k < lost.size(); ++k)
            lost[k] = true;
    return lost;
}

} // namespace

std::shared_ptr<const std::vector<uint8_t>> merged_copies(const TapeEntry &a, const TapeEntry &b)
{
    if (a.payload.size() != b.payload.size() || (a.lost_bytes.empty() && b.lost_bytes.empty()))
        return nullptr;
    const std::vector<bool> lost_a = lost_mask(a), lost_b = lost_mask(b);
    auto bytes = std::make_shared<std::vector<uint8_t>>(a.payload.size());
    uint8_t computed = 0;
    for (std::size_t k = 0; k < a.payload.size(); ++k) {
        if (lost_a[k] && lost_b[k])
            return nullptr;
        if (!lost_a[k] && !lost_b[k] && a.payload[k] != b.payload[k])
            return nullptr;
        (*bytes)[k] = lost_a[k] ? b.payload[k] : a.payload[k];
        computed ^= (*bytes)[k];
    }
    const std::size_t check = a.payload.size();
    if (lost_a[check] && lost_b[check])
        return nullptr;
    const uint8_t checkbyte = lost_a[check] ? b.checkbyte_on_tape : a.checkbyte_on_tape;
    if (!lost_a[check] && !lost_b[check] && a.checkbyte_on_tape != b.checkbyte_on_tape)
        return nullptr;
    if (computed != checkbyte)
        return nullptr;
    return bytes;
}

std::vector<CbmProgram> cbm_programs(const TapeScan &scan, unsigned *skipped)
{
    std::vector<CbmProgram> programs;
    if (skipped != nullptr)
        *skipped = 0;
    for (const CbmBlock &block : cbm_blocks(scan)) {
        if (block.header)
            continue;
        CbmProgram p;
        p.entry = cbm_block_copy(scan, block, &p.pass);
        // Either copy may know its header (a lone REPEAT finds it itself).
        for (int i : {p.entry, block.first, block.repeat}) {
            if (i >= 0 && scan.entries[std::size_t(i)].header_entry >= 0) {
                p.header_entry = scan.entries[std::size_t(i)].header_entry;
                break;
            }
        }
        const TapeEntry *header =
            p.header_entry >= 0 && std::size_t(p.header_entry) < scan.entries.size() ? &scan.entries[std::size_t(p.header_entry)] : nullptr;
        if (header == nullptr ||
            (header->block_type != CBM_HEADER_RELOCATABLE && header->block_type != CBM_HEADER_ABSOLUTE)) {
            if (skipped != nullptr)
                ++*skipped;
            continue;
        }
        p.name = header->name;
        p.load_address = header->load_address;
        p.data = &scan.entries[std::size_t(p.entry)].payload;
        if (!p.pass && block.first >= 0 && block.repeat >= 0) {
            p.merged_bytes = merged_copies(scan.entries[std::size_t(block.first)], scan.entries[std::size_t(block.repeat)]);
            if (p.merged_bytes != nullptr) {
                p.merged = true;
                p.pass = true;
                p.data = p.merged_bytes.get();
            }
        }
        programs.push_back(p);
    }
    return programs;
}

uint32_t cbm_crc(const TapeScan &scan)
{
    uint32_t crc = 0;
    for (const CbmBlock &block : cbm_blocks(scan)) {
        const std::vector<uint8_t> &payload = scan.entries[std::size_t(cbm_block_copy(scan, block, nullptr))].payload;
        crc = crc32_update(crc, payload.data(), payload.size());
    }
    return crc;
}
