#include "core/textprintf.h"

#include <cstdarg>

std::string text_printf(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    gchar *text = g_strdup_vprintf(format, args);
    va_end(args);
    std::string result(text);
    g_free(text);
    return result;
}
