// CBM file repair: pairing of faulty C64 ROM copies with healthy twins, the
// repair regions, their ticks, and the writer of the repaired tape.
#include "core/cbmrepair.h"

#include "core/reportcheck.h"
#include "core/tapeoutput.h"
#include "core/textprintf.h"
#include "core/tapimage.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <cstdio>
#include <cstring>
#include <vector>

const char *const CBM_REPAIR_TITLE = N_("CBM File Repair");
const char *const CBM_REPAIR_NO_FILE = N_("No file to repair.");
const char *const CBM_REPAIR_CANNOT_OPEN = N_("Could not open source TAP.");
const char *const CBM_REPAIR_CANNOT_CREATE = N_("Could not create destination TAP.");

namespace {

// Known REPEAT copies that fail their checkbyte on every original tape of
// Booga-Boo and load fine anyway.
const char *const KNOWN_EXCEPTION_CRCS[] = {"F66703CD", "2E15A09F"};

// Addresses are remembered as at most this many characters.
constexpr std::size_t REMEMBERED_ADDRESS_LENGTH = 4;

// Unrecognised stretches of at least this many pulses belong to the damage.
constexpr int DEBRIS_MIN_PULSES = 21;

// Bytes of the healthy copy taken after its inner end.
constexpr int HEALTHY_TAIL_BYTES = 20;

// The ending written after the healthy copy: a long and a short pulse, then,
// after a FIRST copy, 78 more short pulses.
const uint8_t ENDING[] = {0x56, 0x30};
constexpr uint8_t SHORT_PULSE = 0x30;
constexpr int FIRST_COPY_EXTRA_SHORT_PULSES = 78;

bool starts_with(const std::string &text, const char *prefix)
{
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

bool is_c64_rom(const ReportEntry &row)
{
    return starts_with(row.type, "C64 ROM-TAPE");
}

bool is_faulty(const ReportEntry &row)
{
    return row.checkbyte && !starts_with(*row.checkbyte, "OK");
}

const char *file_id(const ReportEntry &row)
{
    return row.first_copy ? "FIRST" : "REPEAT";
}

// Position in `rows` of the row with report index `index`; -1 when none.
int find_row(const std::vector<ReportEntry> &rows, int index)
{
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].index == index)
            return static_cast<int>(i);
    }
    return -1;
}

// What the walk keeps of the last C64 ROM copy whose twin may still follow.
struct Remembered {
    int index = -1;
    int position = -1;
    bool faulty = false;
    std::string load_address;
    std::string end_address;

    void remember(const ReportEntry &row, int at, bool row_faulty)
    {
        index = row.index;
        position = at;
        faulty = row_faulty;
        load_address = row.load_address.substr(0, REMEMBERED_ADDRESS_LENGTH);
        end_address = row.end_address.substr(0, REMEMBERED_ADDRESS_LENGTH);
    }
    // Headers pair on the load address; data blocks on both addresses.
    bool addresses_match(const ReportEntry &row) const
    {
        if (load_address != row.load_address)
            return false;
        return row.type == "C64 ROM-TAPE HEADER" || end_address == row.end_address;
    }
};

RepairRow region_row(const ReportEntry &e)
{
    RepairRow r;
    r.index = e.index;
    r.pulses = e.pulses;
    r.file_id = is_c64_rom(e) ? file_id(e) : "";
    r.type = e.type;
    r.inner_start = e.inner_start;
    r.end = e.end;
    r.data_pulses = e.inner_start != 0 ? e.end + 1 - e.inner_start : e.pulses;
    r.start = e.start;
    return r;
}

// Fills the region's rows from the damaged copy at `faulty` on: the pauses
// and long unrecognised stretches after it, never reaching a REPEAT twin.
void build_region(const std::vector<ReportEntry> &rows, int faulty, int healthy, RepairRegion &region)
{
    int end = faulty + 1;
    const bool faulty_is_first = rows[static_cast<std::size_t>(faulty)].first_copy;
    for (int j = faulty + 1; j < static_cast<int>(rows.size()); ++j) {
        if (faulty_is_first && j >= healthy)
            break;
        const ReportEntry &row = rows[static_cast<std::size_t>(j)];
        if (starts_with(row.type, "PAUSE"))
            continue;
        if (!starts_with(row.type, "UNRECOGNIZED"))
            break;
        if (row.pulses >= DEBRIS_MIN_PULSES)
            end = j + 1;
    }
    region.row_count = end - faulty;
    for (int j = faulty; j < end; ++j)
        region.rows.push_back(region_row(rows[static_cast<std::size_t>(j)]));
    region.ticks.assign(region.rows.size(), true);
    region.size = cbm_repair_region_size(region);
}

// One region of the fix; `copied` is the source offset dealt with so far.
void repair_region(const std::vector<ReportEntry> &rows, const RepairRegion &region, FILE *source,
                   TapeOutput &destination, int64_t &copied)
{
    if (!region.include || region.rows.empty())
        return;
    const int healthy = find_row(rows, region.healthy_index);
    if (healthy < 0)
        return;  // the twin is not in the report: the region stays as it is

    int64_t last_end = region.rows[0].end;
    for (std::size_t i = 0; i < region.rows.size(); ++i) {
        if (i < region.ticks.size() && region.ticks[i])
            last_end = region.rows[i].end;
    }
    const int64_t inner_start = region.rows[0].inner_start;
    if (inner_start < copied) {
        // Two regions that share bytes cannot both be rebuilt in place.
        destination.fail(_("Two repair regions share bytes of the tape; nothing was repaired."));
        return;
    }
    destination.copy_from(source, copied, inner_start - copied);
    copied = last_end + 1;

    const ReportEntry &twin = rows[static_cast<std::size_t>(healthy)];
    destination.copy_from(source, twin.inner_start, twin.inner_end - twin.inner_start + HEALTHY_TAIL_BYTES);
    destination.write(ENDING, sizeof ENDING);
    if (twin.first_copy) {
        const std::vector<uint8_t> shorts(FIRST_COPY_EXTRA_SHORT_PULSES, SHORT_PULSE);
        destination.write(shorts.data(), shorts.size());
    }
}

} // namespace

RepairAnalysis cbm_repair_analyze(const std::vector<ReportEntry> &list_rows)
{
    // Twins are paired along the tape, whatever order the list is sorted in.
    const std::vector<ReportEntry> rows = report_rows_in_tape_order(list_rows);
    RepairAnalysis analysis;
    Remembered remembered;
    struct Pair {
        int faulty, healthy;  // positions in rows
    };
    std::vector<Pair> pairs;

    for (std::size_t i = 0; i < rows.size(); ++i) {
        const ReportEntry &row = rows[i];
        const int at = static_cast<int>(i);
        if (!is_c64_rom(row))
            continue;  // pauses and other files do not break a pair
        if (is_faulty(row)) {
            analysis.faulty_count++;
            analysis.text += text_printf(_("Index: %d - %s - File ID: %s\n"), row.index, row.type.c_str(),
                                         file_id(row));
            if (row.first_copy) {
                remembered.remember(row, at, true);
                continue;
            }
            if (remembered.index != -1 && !remembered.faulty && remembered.addresses_match(row)) {
                if (row.crc32 == KNOWN_EXCEPTION_CRCS[0] || row.crc32 == KNOWN_EXCEPTION_CRCS[1]) {
                    analysis.faulty_count--;
                    analysis.text += _(" - doesn't need to be fixed as this is a known exception (Booga-Boo)\n");
                } else {
                    analysis.text += text_printf(_(" - can be fixed using its FIRST copy at index %d\n"),
                                                 remembered.index);
                    RepairRegion region;
                    region.faulty_index = row.index;
                    region.healthy_index = remembered.index;
                    analysis.regions.push_back(region);
                    pairs.push_back({at, remembered.position});
                    analysis.fixable_count++;
                }
            }
            remembered.index = -1;
            remembered.position = -1;
            remembered.faulty = true;
        } else if (!row.first_copy) {
            if (remembered.index != -1 && remembered.faulty && remembered.addresses_match(row)) {
                analysis.text += text_printf(_(" - can be fixed using its REPEAT copy at index %d\n"), row.index);
                RepairRegion region;
                region.faulty_index = remembered.index;
                region.healthy_index = row.index;
                analysis.regions.push_back(region);
                pairs.push_back({remembered.position, at});
                analysis.fixable_count++;
            }
            remembered.index = -1;
            remembered.position = -1;
            remembered.faulty = false;
        } else {
            remembered.remember(row, at, false);
        }
    }

    if (analysis.faulty_count == 0) {
        analysis.text += _("Faulty CBM region count: 0 - Hurray!\n");
        return analysis;
    }
    analysis.text += text_printf(_("Faulty CBM region count: %d - Can be fixed: %d\n"), analysis.faulty_count,
                                 analysis.fixable_count);
    for (std::size_t r = 0; r < analysis.regions.size(); ++r)
        build_region(rows, pairs[r].faulty, pairs[r].healthy, analysis.regions[r]);
    return analysis;
}

int64_t cbm_repair_region_size(const RepairRegion &region)
{
    int64_t size = 0;
    for (std::size_t i = 0; i < region.rows.size(); ++i) {
        if (i >= region.ticks.size() || !region.ticks[i])
            break;
        size += region.rows[i].data_pulses;
    }
    return size;
}

void cbm_repair_toggle_tick(RepairRegion &region, int row)
{
    const int count = static_cast<int>(region.ticks.size());
    if (row <= 0 || row >= count)
        return;  // the damaged copy itself always stays ticked
    if (region.ticks[static_cast<std::size_t>(row)]) {
        for (int i = row; i < count; ++i)
            region.ticks[static_cast<std::size_t>(i)] = false;
    } else {
        for (int i = 0; i <= row; ++i)
            region.ticks[static_cast<std::size_t>(i)] = true;
    }
    region.size = cbm_repair_region_size(region);
}

void cbm_repair_select_all(RepairRegion &region)
{
    region.ticks.assign(region.ticks.size(), true);
    region.size = cbm_repair_region_size(region);
}

void cbm_repair_set_include(RepairRegion &region, bool include)
{
    region.include = include;
}

RepairHealthyInfo cbm_repair_healthy_info(const std::vector<ReportEntry> &rows, const RepairRegion &region)
{
    RepairHealthyInfo info;
    const int at = find_row(rows, region.healthy_index);
    if (at < 0)
        return info;
    const ReportEntry &twin = rows[static_cast<std::size_t>(at)];
    info.index = twin.index;
    info.pulses = twin.pulses;
    info.data_pulses = twin.inner_end + HEALTHY_TAIL_BYTES - twin.inner_start;
    info.file_id = file_id(twin);
    info.type = twin.type;
    return info;
}

std::string cbm_repair_destination_name(const std::string &tape_path)
{
    gchar *base = g_path_get_basename(tape_path.c_str());
    std::string name = std::string("repaired_") + base;
    g_free(base);
    return name;
}

std::string cbm_repair_fix(const std::string &tape_path, const std::vector<ReportEntry> &list_rows,
                           const RepairAnalysis &analysis, int64_t total_size)
{
    if (analysis.fixable_count == 0)
        return _(CBM_REPAIR_NO_FILE);
    FILE *source = g_fopen(tape_path.c_str(), "rb");
    if (source == nullptr)
        return _(CBM_REPAIR_CANNOT_OPEN);
    const int64_t source_size = tape_output_file_size(source);
    const std::vector<ReportEntry> rows = report_rows_in_tape_order(list_rows);
    const std::string problem =
        report_offsets_problem(rows, total_size, source_size < 0 ? 0 : static_cast<uint64_t>(source_size));
    if (!problem.empty()) {
        std::fclose(source);
        return problem;
    }

    const std::string name = cbm_repair_destination_name(tape_path);
    gchar *folder = g_path_get_dirname(tape_path.c_str());
    gchar *path = g_build_filename(folder, name.c_str(), nullptr);
    TapeOutput destination;
    const bool created = destination.create(path);
    g_free(path);
    g_free(folder);
    if (!created) {
        std::fclose(source);
        return _(CBM_REPAIR_CANNOT_CREATE);
    }

    int64_t copied = 0;
    for (const RepairRegion &region : analysis.regions)
        repair_region(rows, region, source, destination, copied);
    destination.copy_from(source, copied, source_size - copied);
    std::fclose(source);
    if (!destination.finish()) {
        // A repaired tape with a gap would pass for a good one: none is left.
        return text_printf(_("The repaired tape could not be written, so no %s was left.\n\n%s"), name.c_str(),
                           destination.error().c_str());
    }
    return text_printf(_("Operation finished. Check file:\n%s"), name.c_str());
}
