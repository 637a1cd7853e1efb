#!/usr/bin/env python3
"""Finds user-visible texts in the sources that the message template misses.

A string literal reaches the template when it stands inside _(), N_(), C_()
or NC_(), or in an argument that xgettext reads through one of the project's
own keywords (po/keywords.txt: ui::label's text, for example). Every other
literal that reads like something a user sees is reported:

  * it holds two words of letters separated by blanks ("Could not open"),
  * or it starts like a label ("Open", "_File", "Save tape"),
  * or it is passed where the toolkit shows text (a label, a title, a
    tooltip, a dialog text, ...).

Literals a user never sees in this language stay as they are: debug and
warning output, keys the program looks up, and the console program's report
keys. The last kind is listed in po/untranslated.txt with the reason.

    check-translatable.py [--keywords FILE] [--untranslated FILE] FILE...
    check-translatable.py --self-test FIXTURE

Exit status 1 when something is reported. In a fixture, every line that must
be reported ends with the comment "// reported".
"""
import argparse
import re
import sys

# Calls whose literal arguments are message ids.
MARKS = {"_", "N_", "C_", "NC_", "Q_", "ngettext", "gettext", "dgettext", "g_dgettext",
         "g_dngettext", "g_dpgettext2"}

# Calls whose literals a user does not read as interface text: diagnostics
# for developers, lookups by key, names of widgets, files and signals.
EXEMPT_CALLS = {
    "g_debug", "g_info", "g_message", "g_warning", "g_critical", "g_error", "g_log",
    "g_assert", "g_return_val_if_fail", "g_return_if_fail", "static_assert",
    "strcmp", "strncmp", "g_strcmp0", "g_str_has_prefix", "g_str_has_suffix", "strstr",
    "g_strstr_len", "g_ascii_strcasecmp", "g_ascii_strncasecmp", "find", "rfind", "compare",
    "starts_with", "ends_with",
    "g_key_file_get_string", "g_key_file_set_string", "g_key_file_get_integer",
    "g_key_file_set_integer", "g_key_file_get_boolean", "g_key_file_set_boolean",
    "g_key_file_has_key", "g_key_file_get_value", "g_key_file_set_value",
    "g_key_file_remove_key", "g_key_file_has_group",
    "g_object_get_data", "g_object_set_data", "g_object_set_data_full", "g_object_get",
    "g_object_set", "g_signal_connect", "g_signal_connect_after", "g_signal_connect_swapped",
    "g_signal_new", "g_signal_emit_by_name", "g_signal_handlers_block_by_func",
    "lookup_widget", "gtk_widget_set_name", "named", "hookup_object",
    "g_build_filename", "g_getenv", "g_setenv", "getenv", "setenv", "fopen", "g_fopen",
    "g_file_test", "g_spawn_async", "gtk_rc_parse_string", "gtk_text_buffer_create_tag",
    "gtk_tree_view_column_add_attribute", "pango_font_description_from_string",
    "gtk_icon_factory_lookup", "create_pixbuf", "create_pixmap", "g_regex_new",
    "bindtextdomain", "bind_textdomain_codeset", "textdomain", "setlocale",
    "gdk_pixbuf_save", "gtk_selection_data_get_uris", "g_uri_parse_scheme",
    "g_option_context_new",
}

# Where the toolkit or the project shows an argument as text: call -> the
# zero-based argument positions.
SINKS = {
    "gtk_label_new": {0}, "gtk_label_new_with_mnemonic": {0}, "gtk_label_set_text": {1},
    "gtk_label_set_text_with_mnemonic": {1}, "gtk_button_new_with_label": {0},
    "gtk_button_new_with_mnemonic": {0}, "gtk_button_set_label": {1},
    "gtk_check_button_new_with_label": {0}, "gtk_check_button_new_with_mnemonic": {0},
    "gtk_radio_button_new_with_label": {1}, "gtk_radio_button_new_with_mnemonic": {1},
    "gtk_radio_button_new_with_label_from_widget": {1},
    "gtk_radio_button_new_with_mnemonic_from_widget": {1},
    "gtk_menu_item_new_with_label": {0}, "gtk_menu_item_new_with_mnemonic": {0},
    "gtk_check_menu_item_new_with_label": {0}, "gtk_check_menu_item_new_with_mnemonic": {0},
    "gtk_radio_menu_item_new_with_label": {1}, "gtk_radio_menu_item_new_with_mnemonic": {1},
    "gtk_image_menu_item_new_with_label": {0}, "gtk_image_menu_item_new_with_mnemonic": {0},
    "gtk_frame_new": {0}, "gtk_frame_set_label": {1}, "gtk_expander_new": {0},
    "gtk_window_set_title": {1}, "gtk_widget_set_tooltip_text": {1},
    "gtk_widget_set_tooltip_markup": {1}, "gtk_tool_item_set_tooltip_text": {1},
    "gtk_tool_button_new": {1}, "gtk_tool_button_set_label": {1},
    "gtk_message_dialog_new": {4}, "gtk_message_dialog_format_secondary_text": {1},
    "gtk_file_chooser_dialog_new": {0}, "gtk_dialog_new_with_buttons": {0},
    "gtk_dialog_add_button": {1}, "gtk_notebook_set_tab_label_text": {2},
    "gtk_combo_box_append_text": {1}, "gtk_statusbar_push": {2},
    "gtk_progress_bar_set_text": {1}, "gtk_tree_view_column_new_with_attributes": {0},
    "gtk_tree_view_column_set_title": {1}, "gtk_tree_view_insert_column_with_attributes": {2},
    "gtk_link_button_new_with_label": {1}, "gtk_file_filter_set_name": {1},
    "gtk_font_selection_dialog_new": {0}, "gtk_color_selection_dialog_new": {0},
    "common_set_statusbar_text": {0}, "common_append_log_textview": {0},
    "common_create_friendly_dialog": {0, 1}, "common_create_simple_error_dialog": {1},
    "common_prepend_popup_item": {1},
}

PROSE = re.compile(r"[A-Za-z]{2,}[ ]+[A-Za-z]{2,}")
LABEL = re.compile(r"^_?[A-Z][a-z]")
FORMAT = re.compile(r"%[-+ #0-9.*lhzjt$]*[a-zA-Z]|\\[ntr]|<[^<>]*>")


def load_keywords(path):
    """po/keywords.txt: one xgettext keyword per line, "name:N" (1-based)."""
    keywords = {}
    if not path:
        return keywords
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.split("#", 1)[0].strip()
            if not line:
                continue
            name, _, args = line.rpartition(":") if re.search(r":[0-9]", line) else (line, "", "")
            positions = {int(a) - 1 for a in args.split(",") if a.isdigit()} if args else {0}
            keywords.setdefault(name.split("::")[-1], set()).update(positions)
    return keywords


def load_untranslated(path):
    """po/untranslated.txt: "source-path<TAB>literal prefix" per line; a path
    ending in "/" stands for a folder, an empty prefix for every literal."""
    entries = []
    if not path:
        return entries
    with open(path, encoding="utf-8") as f:
        for line in f:
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            source, _, prefix = line.rstrip("\n").partition("\t")
            entries.append((source.strip(), prefix))
    return entries


class Literal:
    def __init__(self, line, text, call, arg):
        self.line, self.text, self.call, self.arg = line, text, call, arg


def literals(source):
    """Yields the string literals of a C++ source with the innermost call
    (name, argument position) around each; adjacent literals join."""
    i, n, line = 0, len(source), 1
    stack = []  # entries: [name or None, argument index]
    last_ident = ""
    pending = None  # a literal that may continue with an adjacent one
    result = []

    def flush():
        nonlocal pending
        if pending is not None:
            result.append(pending)
            pending = None

    while i < n:
        c = source[i]
        if c == "\n":
            line += 1
            i += 1
            continue
        if c in " \t\r":
            i += 1
            continue
        if source.startswith("//", i):
            j = source.find("\n", i)
            i = n if j < 0 else j
            continue
        if source.startswith("/*", i):
            j = source.find("*/", i + 2)
            j = n if j < 0 else j + 2
            line += source.count("\n", i, j)
            i = j
            continue
        if c == "#" and source[source.rfind("\n", 0, i) + 1:i].strip() == "":
            # A preprocessor line (with its continuations): includes and names.
            j = i
            while True:
                k = source.find("\n", j)
                if k < 0:
                    k = n
                    break
                if source[k - 1] != "\\":
                    break
                j = k + 1
            line += source.count("\n", i, k)
            i = k
            flush()
            continue
        if c == "'":
            j = i + 1
            while j < n and source[j] != "'":
                j += 2 if source[j] == "\\" else 1
            i = j + 1
            flush()
            last_ident = ""
            continue
        if c == '"' or (c == "R" and source.startswith('R"', i)):
            start_line = line
            if c == "R":
                m = re.match(r'R"([^(]*)\(', source[i:])
                end = source.find(")" + m.group(1) + '"', i)
                text = source[i + len(m.group(0)):end]
                j = end + len(m.group(1)) + 2
            else:
                j = i + 1
                while j < n and source[j] != '"':
                    j += 2 if source[j] == "\\" else 1
                text = source[i + 1:j]
                j += 1
            line += source.count("\n", i, j)
            if pending is not None:
                pending.text += text
            else:
                call, arg = (stack[-1][0], stack[-1][1]) if stack else (None, 0)
                pending = Literal(start_line, text, call, arg)
            # an encoding prefix (u8, L) was read as an identifier: harmless
            i = j
            last_ident = ""
            continue
        flush()
        if c.isalpha() or c == "_":
            m = re.match(r"[A-Za-z_][A-Za-z0-9_]*(::[A-Za-z_][A-Za-z0-9_]*)*", source[i:])
            last_ident = m.group(0).split("::")[-1]
            i += len(m.group(0))
            continue
        if c == "(":
            stack.append([last_ident or None, 0])
        elif c in "[{":
            stack.append([None, 0])
        elif c in ")]}":
            if stack:
                stack.pop()
        elif c == ",":
            if stack:
                stack[-1][1] += 1
        last_ident = ""
        i += 1
    flush()
    return result


def covers(listed, path):
    if listed.endswith("/"):
        return ("/" + listed) in ("/" + path) or path.startswith(listed)
    return path == listed or path.endswith("/" + listed)


def reported(path, source, keywords, untranslated):
    out = []
    for lit in literals(source):
        call, arg = lit.call, lit.arg
        if call in MARKS or arg in keywords.get(call, ()):
            continue
        if call in EXEMPT_CALLS:
            continue
        if any(covers(src, path) and lit.text.startswith(prefix) for src, prefix in untranslated):
            continue
        words = FORMAT.sub(" ", lit.text)
        in_sink = arg in SINKS.get(call, ())
        if (in_sink and re.search(r"[A-Za-z]", words)) or PROSE.search(words) or LABEL.match(words):
            out.append(lit)
    return out


def self_test(fixture, keywords):
    with open(fixture, encoding="utf-8") as f:
        source = f.read()
    expected = {i + 1 for i, l in enumerate(source.splitlines()) if l.rstrip().endswith("// reported")}
    got = {lit.line for lit in reported(fixture, source, keywords, [])}
    if got != expected:
        print(f"self-test: expected lines {sorted(expected)}, reported {sorted(got)}")
        return 1
    print(f"self-test: {len(expected)} unmarked texts found, nothing else reported")
    return 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--keywords")
    parser.add_argument("--untranslated")
    parser.add_argument("--self-test")
    parser.add_argument("files", nargs="*")
    args = parser.parse_args()
    keywords = load_keywords(args.keywords)
    if args.self_test:
        return self_test(args.self_test, keywords)
    untranslated = load_untranslated(args.untranslated)
    count = 0
    for path in args.files:
        with open(path, encoding="utf-8") as f:
            source = f.read()
        for lit in reported(path, source, keywords, untranslated):
            print(f'{path}:{lit.line}: not marked for translation: "{lit.text}"')
            count += 1
    if count:
        print(f"{count} user-visible texts are not marked for translation "
              "(wrap them in _() or N_(), or list a report key in po/untranslated.txt)")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
