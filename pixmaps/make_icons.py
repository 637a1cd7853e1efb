#!/usr/bin/env python3
"""Draws the two compiled-in program pictures as XPM sources.

tape_icon.xpm       the cassette of desktop/cassette.py, 48 x 48, 73 colours
tape_icon_xmas.xpm  the same cassette wearing a winter hat with holly,
                    57 x 50, 92 colours

The cassette is painted exactly as the 48 x 48 desktop icon is, so the window
and the desktop show one drawing. An XPM pixel is opaque or not, so a pixel
more than half covered keeps its colour and the rest are left out; the colours
are then cut down (median cut) to what one character a pixel can name.
Run it again after changing the art; the outputs are committed.

    make_icons.py [OUTPUT-FOLDER]     (default: the pixmaps folder beside it)
"""
import math
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, os.pardir, "desktop"))
sys.dont_write_bytecode = True  # no __pycache__ left in the source tree
import cassette  # noqa: E402

CHARS = [chr(c) for c in range(32, 127) if chr(c) not in '"\\']  # 93 symbols
SIZE = 48
ICON_COLOURS = 72       # plus "None"
SEASONAL_COLOURS = 91   # plus "None"; the hat and holly take 20 of them
SEASONAL_WIDTH, SEASONAL_HEIGHT = 57, 50
SEASONAL_OFFSET = (7, 9)  # where the cassette's square sits under the hat


def lerp(a, b, t):
    return tuple(round(a[i] + (b[i] - a[i]) * t) for i in range(3))


def ramp(a, b, n):
    return [lerp(a, b, i / max(1, n - 1)) for i in range(n)]


def unique(seq):
    out = []
    for c in seq:
        if c not in out:
            out.append(c)
    return out


def cassette_pixels():
    """{(x, y): colour} of the cassette's pixels more than half covered."""
    px = {}
    for y, row in enumerate(cassette.render(cassette.shapes(), SIZE)):
        for x in range(SIZE):
            r, g, b, a = row[4 * x:4 * x + 4]
            if a > 128:  # 128 is exactly half of the samples
                px[(x, y)] = (r, g, b)
    return px


def spread(box, counts):
    """A box's pixel-weighted variance over all channels, and its widest channel."""
    weight = sum(counts[c] for c in box)
    var = []
    for i in range(3):
        m = sum(c[i] * counts[c] for c in box) / weight
        var.append(sum(counts[c] * (c[i] - m) ** 2 for c in box))
    return sum(var), var.index(max(var))


def mean(box, counts):
    weight = sum(counts[c] for c in box)
    return tuple(round(sum(c[i] * counts[c] for c in box) / weight) for i in range(3))


def reduce_colours(px, n):
    """Repaints px in n colours: the colours are split into n boxes, each
    painted in its pixels' mean, always splitting the box that strays most."""
    counts = {}
    for c in px.values():
        counts[c] = counts.get(c, 0) + 1
    if len(counts) < n:
        raise SystemExit('the picture has only %d colours, not %d' % (len(counts), n))
    boxes = [list(counts)]
    while len({mean(b, counts) for b in boxes}) < n:
        box = max((b for b in boxes if len(b) > 1), key=lambda b: spread(b, counts)[0])
        axis = spread(box, counts)[1]
        box.sort(key=lambda c: (c[axis], c))
        half, acc, k = sum(counts[c] for c in box) / 2, 0, 0
        while acc < half:
            acc += counts[box[k]]
            k += 1
        k = min(max(k, 1), len(box) - 1)
        boxes.remove(box)
        boxes += [box[:k], box[k:]]
    to = {c: mean(b, counts) for b in boxes for c in b}
    return {p: to[c] for p, c in px.items()}


def write_xpm(path, name, width, height, px, colours):
    assert len(colours) <= len(CHARS) - 1
    symbol = {c: CHARS[i + 1] for i, c in enumerate(colours)}
    lines = ['/* XPM */', 'static const char *%s[] = {' % name,
             '"%d %d %d 1",' % (width, height, len(colours) + 1), '"  c None",']
    for c in colours:
        lines.append('"%s c #%02X%02X%02X",' % (symbol[c], *c))
    rows = []
    for y in range(height):
        rows.append('"' + ''.join(symbol[px[(x, y)]] if (x, y) in px else ' '
                                  for x in range(width)) + '"')
    lines.append(',\n'.join(rows))
    lines.append('};')
    with open(path, 'w') as f:
        f.write('\n'.join(lines) + '\n')


HAT_RED = ramp((236, 40, 44), (120, 12, 18), 8)
FUR = ramp((255, 255, 255), (206, 214, 224), 4)
LEAF = ramp((70, 170, 70), (20, 90, 34), 6)
BERRY = [(200, 20, 30), (255, 120, 120)]
DECORATION_COLOURS = HAT_RED + FUR + LEAF + BERRY


def decoration():
    """{(x, y): colour} of the hat and holly on the seasonal picture."""
    px = {}
    # hat: a red cone leaning right over the cassette's left corner, with a pompom
    for y in range(0, 19):
        half = y * 0.55
        cx = 14 + (18 - y) * 0.25
        for x in range(0, SEASONAL_WIDTH):
            if abs(x - cx) <= half + 0.5:
                px[(x, y)] = HAT_RED[min(7, int(abs(x - cx) / max(1, half) * 7))]
    for y in range(16, 21):
        for x in range(3, 27):
            px[(x, y)] = FUR[min(3, abs(y - 18))]
    for y in range(0, 5):
        for x in range(16, 22):
            if math.hypot(x - 18.5, y - 2) <= 2.6:
                px[(x, y)] = FUR[min(3, int(math.hypot(x - 18.5, y - 2)))]
    # holly at the right corner
    for (lx, ly, ang) in ((44, 12, 0.5), (52, 13, -0.6)):
        for y in range(5, 21):
            for x in range(36, SEASONAL_WIDTH):
                u = (x - lx) * math.cos(ang) + (y - ly) * math.sin(ang)
                v = -(x - lx) * math.sin(ang) + (y - ly) * math.cos(ang)
                if (u / 6.0) ** 2 + (v / 2.6) ** 2 <= 1.0:
                    px[(x, y)] = LEAF[min(5, int(abs(v) * 2))]
    for (bx, by) in ((47, 9), (50, 8), (48.5, 6)):
        for y in range(3, 13):
            for x in range(44, 54):
                if math.hypot(x - bx, y - by) <= 1.6:
                    px[(x, y)] = BERRY[1] if (x - bx < -0.5 and y - by < -0.5) else BERRY[0]
    return px


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else HERE
    os.makedirs(root, exist_ok=True)
    tape = cassette_pixels()

    icon = reduce_colours(tape, ICON_COLOURS)
    write_xpm(os.path.join(root, 'tape_icon.xpm'), 'tape_icon_xpm', SIZE, SIZE, icon,
              unique(icon.values()))

    # The seasonal picture: the cassette moved right and down under the hat;
    # only the part the hat leaves visible shares out the remaining colours.
    ox, oy = SEASONAL_OFFSET
    hat = decoration()
    moved = {(x + ox, y + oy): c for (x, y), c in tape.items()}
    assert all(x < SEASONAL_WIDTH and y < SEASONAL_HEIGHT for x, y in moved)
    extra = unique(DECORATION_COLOURS)
    shown = reduce_colours({p: c for p, c in moved.items() if p not in hat},
                           SEASONAL_COLOURS - len(extra))
    colours = unique(list(shown.values()) + extra)
    assert len(colours) == SEASONAL_COLOURS
    write_xpm(os.path.join(root, 'tape_icon_xmas.xpm'), 'tape_icon_xmas_xpm',
              SEASONAL_WIDTH, SEASONAL_HEIGHT, {**shown, **hat}, colours)


if __name__ == '__main__':
    main()
