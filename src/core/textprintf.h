// printf into a std::string (GLib's formatting, so "%lld" and positional
// arguments work everywhere the core builds messages).
#pragma once
#include <glib.h>

#include <string>

std::string text_printf(const char *format, ...) G_GNUC_PRINTF(1, 2);
