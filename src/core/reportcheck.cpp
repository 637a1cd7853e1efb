#include "core/reportcheck.h"

#include "core/textprintf.h"

#include <glib.h>
#include <glib/gi18n-lib.h>
#include <glib/gstdio.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <numeric>

namespace {


long long as_ll(int64_t value)
{
    return static_cast<long long>(value);
}

// The advice that ends every refusal.
std::string refusal(const std::string &what)
{
    return what + "\n\n" + _("Test the tape again to get a report that describes it. Nothing was written.");
}

} // namespace

std::vector<std::size_t> report_tape_order(const std::vector<ReportEntry> &rows)
{
    std::vector<std::size_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(), [&rows](std::size_t a, std::size_t b) {
        if (rows[a].start != rows[b].start)
            return rows[a].start < rows[b].start;
        return rows[a].index < rows[b].index;
    });
    return order;
}

std::vector<ReportEntry> report_rows_in_tape_order(const std::vector<ReportEntry> &rows)
{
    std::vector<ReportEntry> sorted;
    sorted.reserve(rows.size());
    for (std::size_t at : report_tape_order(rows))
        sorted.push_back(rows[at]);
    return sorted;
}

std::string report_offsets_problem(const std::vector<ReportEntry> &rows, int64_t total_size, uint64_t tape_size)
{
    const int64_t header = REPORT_TAP_HEADER_SIZE;
    const int64_t file_size = static_cast<int64_t>(std::min<uint64_t>(tape_size, uint64_t(REPORT_OFFSET_MAX) * 2));
    if (total_size + header != file_size)
        return refusal(text_printf(_("The tape is %lld bytes long, but its report gives %lld bytes: the tape has "
                                       "changed since it was tested, or the report belongs to another tape."),
                                     as_ll(file_size), as_ll(total_size + header)));

    std::vector<const ReportEntry *> in_report_order;
    for (const ReportEntry &row : rows)
        in_report_order.push_back(&row);
    std::stable_sort(in_report_order.begin(), in_report_order.end(),
                     [](const ReportEntry *a, const ReportEntry *b) { return a->index < b->index; });

    const ReportEntry *previous = nullptr;
    for (const ReportEntry *row : in_report_order) {
        // Inner offsets of 0 are offsets a report did not give.
        const bool has_inner = row->inner_start != 0 || row->inner_end != 0;
        if (row->start < header || row->end >= file_size ||
            (has_inner && (row->inner_start < header || row->inner_end >= file_size)))
            return refusal(text_printf(_("Entry %d of the report (offsets %lld to %lld) lies outside the tape, "
                                           "whose pulses run from offset %lld to %lld."),
                                         row->index, as_ll(row->start), as_ll(row->end), as_ll(header),
                                         as_ll(file_size - 1)));
        if (row->end < row->start ||
            (has_inner && (row->inner_start < row->start || row->inner_end < row->inner_start ||
                           row->end < row->inner_end)))
            return refusal(text_printf(_("The offsets of entry %d of the report run backwards "
                                           "(%lld -> %lld -> %lld -> %lld)."),
                                         row->index, as_ll(row->start), as_ll(row->inner_start),
                                         as_ll(row->inner_end), as_ll(row->end)));
        if (previous != nullptr && row->start <= previous->end)
            return refusal(text_printf(_("Entry %d of the report (from offset %lld) overlaps entry %d or comes "
                                           "before it (which ends at offset %lld)."),
                                         row->index, as_ll(row->start), previous->index, as_ll(previous->end)));
        previous = row;
    }
    return std::string();
}

std::string report_tape_problem(const std::string &path, const std::vector<ReportEntry> &rows, int64_t total_size)
{
    GStatBuf status;
    if (g_stat(path.c_str(), &status) != 0) {
        const int error = errno;
        return text_printf(_("Could not read the tape %s: %s"), path.c_str(), g_strerror(error));
    }
    return report_offsets_problem(rows, total_size, static_cast<uint64_t>(status.st_size));
}
