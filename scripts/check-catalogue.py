#!/usr/bin/env python3
"""Checks that a translation is complete and fits the window.

    check-catalogue.py LANG.po TEMPLATE.pot

Reports, and exits 1 for:
  * a text of the template that the translation lacks, or leaves empty, or
    marks fuzzy (the window would show English there);
  * a different number of mnemonic underscores ("_Save" -> "_Speichern"),
    which would lose or double a keyboard shortcut;
  * different leading or trailing blanks, tabs or line breaks, which the
    window's layout and the logs' columns rely on.
Format directives are msgfmt --check's part.
"""
import re
import sys

MNEMONIC = re.compile(r"_(?=[^\W_])", re.UNICODE)


def unquote(s):
    s = s.strip()
    assert s.startswith('"') and s.endswith('"'), s
    body = s[1:-1]
    out, i = [], 0
    escapes = {"n": "\n", "t": "\t", "r": "\r", '"': '"', "\\": "\\", "a": "\a", "b": "\b",
               "f": "\f", "v": "\v"}
    while i < len(body):
        c = body[i]
        if c == "\\" and i + 1 < len(body):
            out.append(escapes.get(body[i + 1], body[i + 1]))
            i += 2
        else:
            out.append(c)
            i += 1
    return "".join(out)


def entries(path):
    """(msgctxt, msgid) -> (msgstrs, flags) of the file's live entries."""
    result = {}
    cur, field, flags = {}, None, set()

    def finish():
        nonlocal cur, flags, field
        if "msgid" in cur:
            strs = [v for k, v in sorted(cur.items()) if k.startswith("msgstr")]
            result[(cur.get("msgctxt"), cur["msgid"])] = (strs, flags)
        cur, flags, field = {}, set(), None

    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if not line.strip():
                finish()
            elif line.startswith("#~"):
                continue  # obsolete
            elif line.startswith("#,"):
                if "msgid" in cur:
                    finish()
                flags |= {x.strip() for x in line[2:].split(",")}
            elif line.startswith("#"):
                continue
            elif line.startswith('"'):
                cur[field] += unquote(line)
            else:
                key, _, rest = line.partition(" ")
                if key in ("msgctxt", "msgid") and "msgstr" in "".join(cur):
                    finish()
                field = key
                cur[field] = unquote(rest)
    finish()
    return result


def edges(text):
    lead = re.match(r"^[\s]*", text).group(0)
    trail = re.search(r"[\s]*$", text).group(0)
    return lead, trail


def main():
    po_path, pot_path = sys.argv[1], sys.argv[2]
    po, pot = entries(po_path), entries(pot_path)
    problems = []
    for key in pot:
        ctxt, msgid = key
        if msgid == "":
            continue  # the header
        if key not in po:
            problems.append(f"missing: {msgid!r}")
            continue
        strs, flags = po[key]
        if "fuzzy" in flags:
            problems.append(f"fuzzy: {msgid!r}")
        for s in strs:
            if s == "":
                problems.append(f"untranslated: {msgid!r}")
                continue
            if len(MNEMONIC.findall(msgid)) != len(MNEMONIC.findall(s)):
                problems.append(f"mnemonics differ: {msgid!r} -> {s!r}")
            if edges(msgid) != edges(s):
                problems.append(f"leading or trailing blanks differ: {msgid!r} -> {s!r}")
    for p in problems:
        print(f"{po_path}: {p}")
    translated = sum(1 for k in pot if k[1] and k in po)
    print(f"{po_path}: {translated} of {len(pot) - 1} texts, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
