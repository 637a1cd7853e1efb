#!/usr/bin/env python3
"""Draws the two compiled-in program pictures as XPM sources.

tape_icon.xpm       a compact cassette, 48 x 48, 73 colours
tape_icon_xmas.xpm  the same cassette wearing a winter hat with holly,
                    57 x 50, 92 colours
Run it again after changing the art; the outputs are committed.
"""
import math

CHARS = [chr(c) for c in range(32, 127) if chr(c) not in '"\\']  # 93 symbols


def lerp(a, b, t):
    return tuple(round(a[i] + (b[i] - a[i]) * t) for i in range(3))


def ramp(a, b, n):
    return [lerp(a, b, i / max(1, n - 1)) for i in range(n)]


def cassette_palette(body_shades, tint=0):
    pal = {}
    pal['body'] = ramp((112, 118, 130 + tint), (38, 42, 52), body_shades)
    pal['edge'] = [(18, 20, 26)]
    pal['label'] = ramp((250, 244, 220), (214, 204, 170), 8)
    pal['stripe'] = [(214, 48, 49), (232, 110, 40), (243, 176, 45), (96, 170, 70)]
    pal['ink'] = [(70, 60, 50), (120, 105, 90)]
    pal['window'] = ramp((60, 44, 34), (24, 18, 14), 5)
    pal['tape'] = ramp((150, 92, 50), (92, 52, 26), 5)
    pal['hub'] = ramp((250, 250, 250), (170, 172, 178), 5)
    pal['screw'] = ramp((226, 228, 232), (120, 122, 128), 4)
    pal['bottom'] = ramp((150, 156, 168), (92, 98, 110), 6)
    pal['hole'] = [(10, 10, 12)]
    return pal


def draw_cassette(px, ox, oy, pal):
    """Paints a 44 x 32 cassette with its top-left corner at (ox+2, oy+8)."""
    nb = len(pal['body'])
    x0, y0, x1, y1 = 2, 8, 45, 39
    for y in range(y0, y1 + 1):
        for x in range(x0, x1 + 1):
            corner = (x in (x0, x1) and y in (y0, y1))
            if corner:
                continue
            edge = x in (x0, x1) or y in (y0, y1)
            if edge:
                c = pal['edge'][0]
            else:
                t = ((x - x0) + (y - y0)) / ((x1 - x0) + (y1 - y0))
                c = pal['body'][round(t * (nb - 1))]
            px[(ox + x, oy + y)] = c
    # label with coloured stripes and a written line
    for y in range(11, 29):
        for x in range(6, 42):
            t = (y - 11) / 17
            c = pal['label'][round(t * 7)]
            if y in (12, 13):
                c = pal['stripe'][min(3, (x - 6) // 9)]
            if y == 15 and 9 <= x <= 30 and (x % 4) != 3:
                c = pal['ink'][0]
            if y == 27 and 9 <= x <= 38:
                c = pal['ink'][1]
            px[(ox + x, oy + y)] = c
    # window with two reels of tape
    for y in range(17, 26):
        for x in range(13, 35):
            px[(ox + x, oy + y)] = pal['window'][min(4, (y - 17) // 2)]
    for cx in (18.5, 29.5):
        for y in range(16, 27):
            for x in range(12, 36):
                d = math.hypot(x - cx, y - 21)
                if d <= 4.6 and d > 2.2:
                    px[(ox + x, oy + y)] = pal['tape'][min(4, int((d - 2.2) * 2))]
                elif d <= 2.2:
                    spoke = (x + y) % 2 == 0 and d > 1.0
                    px[(ox + x, oy + y)] = pal['hole'][0] if spoke else pal['hub'][min(4, int(d * 2))]
    # lower trapezoid with its guide holes
    for y in range(31, 39):
        inset = (y - 31) // 2
        for x in range(11 - inset, 37 + inset):
            c = pal['bottom'][min(5, y - 31)]
            if y in (34, 35) and x in (15, 16, 31, 32):
                c = pal['hole'][0]
            if y in (35, 36) and x in (22, 23, 24, 25):
                c = pal['hole'][0]
            px[(ox + x, oy + y)] = c
    # four screws
    for sx, sy in ((4, 10), (43, 10), (4, 37), (43, 37)):
        for dx in (-1, 0):
            for dy in (-1, 0):
                px[(ox + sx + dx, oy + sy + dy)] = pal['screw'][(dx + 1) * 2 + (dy + 1)]


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


def unique(seq):
    out = []
    for c in seq:
        if c not in out:
            out.append(c)
    return out


def palette_colours(pal):
    return unique([c for key in pal for c in pal[key]])


def fit_body(total_wanted, extra=()):
    """Picks the body ramp length that makes the table exactly the size wanted."""
    for shades in range(2, 200):
        for tint in range(0, 8):
            pal = cassette_palette(shades, tint)
            if len(unique(palette_colours(pal) + list(extra))) == total_wanted:
                return pal
    raise SystemExit('cannot fit palette')


# The normal icon: 72 colours plus "None" = 73.
pal = fit_body(72)
px = {}
draw_cassette(px, 0, 0, pal)
write_xpm('tape_icon.xpm', 'tape_icon_xpm', 48, 48, px, palette_colours(pal))

# The seasonal picture: the cassette moved right and down, with a hat and holly.
hat_red = ramp((236, 40, 44), (120, 12, 18), 8)
fur = ramp((255, 255, 255), (206, 214, 224), 4)
leaf = ramp((70, 170, 70), (20, 90, 34), 6)
berry = [(200, 20, 30), (255, 120, 120)]
extra = hat_red + fur + leaf + berry
pal = fit_body(91, extra)
px = {}
draw_cassette(px, 7, 9, pal)
# hat: a red cone leaning right over the cassette's left corner, with a pompom
for y in range(0, 19):
    half = y * 0.55
    cx = 14 + (18 - y) * 0.25
    for x in range(0, 57):
        if abs(x - cx) <= half + 0.5:
            px[(x, y)] = hat_red[min(7, int(abs(x - cx) / max(1, half) * 7))]
for y in range(16, 21):
    for x in range(3, 27):
        px[(x, y)] = fur[min(3, abs(y - 18))]
for y in range(0, 5):
    for x in range(16, 22):
        if math.hypot(x - 18.5, y - 2) <= 2.6:
            px[(x, y)] = fur[min(3, int(math.hypot(x - 18.5, y - 2)))]
# holly at the right corner
for (lx, ly, ang) in ((44, 12, 0.5), (52, 13, -0.6)):
    for y in range(5, 21):
        for x in range(36, 57):
            u = (x - lx) * math.cos(ang) + (y - ly) * math.sin(ang)
            v = -(x - lx) * math.sin(ang) + (y - ly) * math.cos(ang)
            if (u / 6.0) ** 2 + (v / 2.6) ** 2 <= 1.0:
                px[(x, y)] = leaf[min(5, int(abs(v) * 2))]
for (bx, by) in ((47, 9), (50, 8), (48.5, 6)):
    for y in range(3, 13):
        for x in range(44, 54):
            d = math.hypot(x - bx, y - by)
            if d <= 1.6:
                px[(x, y)] = berry[1] if (x - bx < -0.5 and y - by < -0.5) else berry[0]
write_xpm('tape_icon_xmas.xpm', 'tape_icon_xmas_xpm', 57, 50, px,
          unique(palette_colours(pal) + extra))
