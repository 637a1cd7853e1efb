#!/usr/bin/env python3
"""Draws the application icon for the desktop's hicolor theme.

The picture is the cassette of cassette.py beside this script, the drawing
the program's own XPM pictures come from too; from it the script writes

  icons/scalable/apps/quillmarfe.svg
  icons/NxN/apps/quillmarfe.png   for N in SIZES

The PNG files are painted by cassette.render and written with zlib, so no
drawing program is needed. Run it again after changing the art; the outputs
are committed.

    make_icons.py [OUTPUT-FOLDER]     (default: the icons folder beside it)
"""
import os
import struct
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.dont_write_bytecode = True  # no __pycache__ left in the source tree
import cassette  # noqa: E402

SIZES = (16, 22, 24, 32, 48, 64, 128, 256)
NAME = "quillmarfe"
TITLE = "Quillmar Front End"


def png_bytes(rows, size):
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    raw = b"".join(b"\0" + row for row in rows)
    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)  # 8-bit RGBA
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
            + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def write(path, data):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data)


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "icons")
    parts = cassette.shapes()
    write(os.path.join(root, "scalable", "apps", NAME + ".svg"),
          cassette.svg_text(parts, TITLE).encode())
    for size in SIZES:
        write(os.path.join(root, "%dx%d" % (size, size), "apps", NAME + ".png"),
              png_bytes(cassette.render(parts, size), size))


if __name__ == "__main__":
    main()
