#include "gui/report_model.h"

#include <optional>
#include <string>
#include <utility>

namespace {

GtkListStore *file_list_model = nullptr;
ReportTotals totals;

} // namespace

void report_model_init()
{
    file_list_model = gtk_list_store_new(
        REPORT_COLUMNS, G_TYPE_INT, G_TYPE_INT, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_INT64, G_TYPE_INT64,
        G_TYPE_INT64, G_TYPE_INT64, G_TYPE_INT64, G_TYPE_DOUBLE, G_TYPE_DOUBLE, G_TYPE_STRING, G_TYPE_STRING,
        G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_BOOLEAN, G_TYPE_BOOLEAN, G_TYPE_BOOLEAN);
    gtk_tree_sortable_set_sort_column_id(GTK_TREE_SORTABLE(file_list_model), REPORT_INDEX, GTK_SORT_ASCENDING);
}

GtkListStore *report_file_list_model()
{
    return file_list_model;
}

void report_model_clear()
{
    gtk_list_store_clear(file_list_model);
}

void report_model_append(const ReportEntry &e)
{
    GtkTreeIter iter;
    gtk_list_store_append(file_list_model, &iter);
    gtk_list_store_set(file_list_model, &iter, REPORT_INDEX, e.index, REPORT_COVERAGE, e.coverage,
                       REPORT_TYPE, e.type.c_str(), REPORT_NAME, e.name.c_str(), REPORT_START, e.start,
                       REPORT_INNER_START, e.inner_start, REPORT_INNER_END, e.inner_end, REPORT_END,
                       e.end, REPORT_PULSES, e.pulses, REPORT_START_FRACTION, e.start_fraction,
                       REPORT_END_FRACTION, e.end_fraction, REPORT_LOAD, e.load_address.c_str(),
                       REPORT_END_ADDRESS, e.end_address.c_str(), REPORT_CRC32, e.crc32.c_str(),
                       REPORT_READ_ERRORS, e.read_errors ? e.read_errors->c_str() : nullptr,
                       REPORT_CHECKBYTE, e.checkbyte ? e.checkbyte->c_str() : nullptr,
                       REPORT_SPLIT_MARK, e.split_mark, REPORT_FIRST_COPY, e.first_copy,
                       REPORT_EXCLUDED, e.excluded, -1);
}

const ReportTotals &report_model_totals()
{
    return totals;
}

void report_model_set_totals(const ReportTotals &value)
{
    totals = value;
}

gboolean report_has_been_produced()
{
    return totals.total_size > 0;
}

gint64 report_get_total_size()
{
    return totals.total_size;
}

const gchar *report_path_last_report()
{
    return totals.path_last_report ? totals.path_last_report->c_str() : nullptr;
}

std::vector<ReportEntry> report_model_entries()
{
    std::vector<ReportEntry> entries;
    GtkTreeModel *model = GTK_TREE_MODEL(file_list_model);
    GtkTreeIter iter;
    for (gboolean ok = gtk_tree_model_get_iter_first(model, &iter); ok; ok = gtk_tree_model_iter_next(model, &iter)) {
        ReportEntry e;
        gchar *type = nullptr, *name = nullptr, *load = nullptr, *end_address = nullptr, *crc = nullptr,
              *read_errors = nullptr, *checkbyte = nullptr;
        gboolean split = FALSE, first = FALSE, excluded = FALSE;
        gtk_tree_model_get(model, &iter, REPORT_INDEX, &e.index, REPORT_COVERAGE, &e.coverage, REPORT_TYPE, &type,
                           REPORT_NAME, &name, REPORT_START, &e.start, REPORT_INNER_START, &e.inner_start,
                           REPORT_INNER_END, &e.inner_end, REPORT_END, &e.end, REPORT_PULSES, &e.pulses,
                           REPORT_START_FRACTION, &e.start_fraction, REPORT_END_FRACTION, &e.end_fraction,
                           REPORT_LOAD, &load, REPORT_END_ADDRESS, &end_address, REPORT_CRC32, &crc,
                           REPORT_READ_ERRORS, &read_errors, REPORT_CHECKBYTE, &checkbyte, REPORT_SPLIT_MARK,
                           &split, REPORT_FIRST_COPY, &first, REPORT_EXCLUDED, &excluded, -1);
        auto take = [](gchar *text) {
            std::string value = text ? text : "";
            g_free(text);
            return value;
        };
        auto take_optional = [](gchar *text) -> std::optional<std::string> {
            if (!text)
                return std::nullopt;
            std::string value = text;
            g_free(text);
            return value;
        };
        e.type = take(type);
        e.name = take(name);
        e.load_address = take(load);
        e.end_address = take(end_address);
        e.crc32 = take(crc);
        e.read_errors = take_optional(read_errors);
        e.checkbyte = take_optional(checkbyte);
        e.split_mark = split;
        e.first_copy = first;
        e.excluded = excluded;
        entries.push_back(std::move(e));
    }
    return entries;
}
