"""The program's picture: a compact cassette, described once as shapes on a
48-unit square, with the two ways of turning it into pixels or vectors.

Every picture of the cassette starts here: desktop/make_icons.py writes the
hicolor icons (SVG and PNGs) and pixmaps/make_icons.py the XPM pictures
compiled into the program, so the window, the About dialog and the desktop
show the same drawing. Change the art here, then run both scripts.
"""

DESIGN = 48          # the side of the square the shapes are described on
SAMPLES = 4          # render() takes SAMPLES x SAMPLES samples a pixel


def mix(a, b, t):
    t = max(0.0, min(1.0, t))
    return tuple(a[i] + (b[i] - a[i]) * t for i in range(3))


class Gradient:
    """A linear gradient between two points of the design square."""

    def __init__(self, ident, p0, p1, c0, c1):
        self.ident, self.p0, self.p1, self.c0, self.c1 = ident, p0, p1, c0, c1

    def at(self, x, y):
        dx, dy = self.p1[0] - self.p0[0], self.p1[1] - self.p0[1]
        t = ((x - self.p0[0]) * dx + (y - self.p0[1]) * dy) / (dx * dx + dy * dy)
        return mix(self.c0, self.c1, t)


def colour_at(fill, x, y):
    return fill.at(x, y) if isinstance(fill, Gradient) else fill


def paint(fill):
    if isinstance(fill, Gradient):
        return "url(#%s)" % fill.ident
    return "#%02x%02x%02x" % tuple(round(c) for c in fill)


class RoundRect:
    def __init__(self, x0, y0, x1, y1, r, fill):
        self.x0, self.y0, self.x1, self.y1, self.r, self.fill = x0, y0, x1, y1, r, fill

    def inside(self, x, y):
        if not (self.x0 <= x <= self.x1 and self.y0 <= y <= self.y1):
            return False
        cx = min(max(x, self.x0 + self.r), self.x1 - self.r)
        cy = min(max(y, self.y0 + self.r), self.y1 - self.r)
        return (x - cx) ** 2 + (y - cy) ** 2 <= self.r ** 2

    def svg(self):
        return ('<rect x="%g" y="%g" width="%g" height="%g" rx="%g" fill="%s"/>'
                % (self.x0, self.y0, self.x1 - self.x0, self.y1 - self.y0, self.r,
                   paint(self.fill)))


class Circle:
    def __init__(self, cx, cy, r, fill):
        self.cx, self.cy, self.r, self.fill = cx, cy, r, fill

    def inside(self, x, y):
        return (x - self.cx) ** 2 + (y - self.cy) ** 2 <= self.r ** 2

    def svg(self):
        return '<circle cx="%g" cy="%g" r="%g" fill="%s"/>' % (self.cx, self.cy, self.r,
                                                               paint(self.fill))


class Polygon:
    def __init__(self, points, fill):
        self.points, self.fill = points, fill

    def inside(self, x, y):
        # even-odd crossing count
        inside = False
        pts = self.points
        for i in range(len(pts)):
            (xa, ya), (xb, yb) = pts[i], pts[(i + 1) % len(pts)]
            if (ya > y) != (yb > y) and x < xa + (y - ya) * (xb - xa) / (yb - ya):
                inside = not inside
        return inside

    def svg(self):
        return '<polygon points="%s" fill="%s"/>' % (
            " ".join("%g,%g" % p for p in self.points), paint(self.fill))


EDGE = (18, 20, 26)
HOLE = (10, 10, 12)
BODY = Gradient("body", (2, 8), (46, 40), (112, 118, 130), (38, 42, 52))
LABEL = Gradient("label", (0, 11), (0, 29), (250, 244, 220), (214, 204, 170))
WINDOW = Gradient("window", (0, 17), (0, 26), (60, 44, 34), (24, 18, 14))
BOTTOM = Gradient("bottom", (0, 31), (0, 40), (150, 156, 168), (92, 98, 110))
GRADIENTS = (BODY, LABEL, WINDOW, BOTTOM)
STRIPES = ((214, 48, 49), (232, 110, 40), (243, 176, 45), (96, 170, 70))


def shapes():
    """The cassette, back to front."""
    out = [RoundRect(1.5, 7.5, 46.5, 40.5, 2.5, EDGE),
           RoundRect(2.5, 8.5, 45.5, 39.5, 1.8, BODY),
           RoundRect(6, 11, 42, 29, 1.0, LABEL)]
    for i, colour in enumerate(STRIPES):
        out.append(RoundRect(6 + 9 * i, 12, 15 + 9 * i, 14, 0, colour))
    out.append(RoundRect(9, 15.3, 31, 16.1, 0, (70, 60, 50)))
    out.append(RoundRect(9, 26.6, 39, 27.2, 0, (120, 105, 90)))
    out.append(RoundRect(13, 17, 35, 26.5, 1.2, WINDOW))
    for cx in (18.5, 29.5):
        out.append(Circle(cx, 21.7, 4.6, (122, 72, 38)))
        out.append(Circle(cx, 21.7, 2.3, (236, 236, 240)))
        out.append(Circle(cx, 21.7, 1.0, HOLE))
    out.append(Polygon([(11, 31), (37, 31), (41, 40), (7, 40)], BOTTOM))
    for hx in (15, 31):
        out.append(RoundRect(hx, 34, hx + 2, 36, 0.5, HOLE))
    out.append(RoundRect(22, 35, 26, 37, 0.6, HOLE))
    for sx, sy in ((4.2, 10.2), (43.8, 10.2), (4.2, 37.6), (43.8, 37.6)):
        out.append(Circle(sx, sy, 1.1, (200, 202, 208)))
    return out


def svg_text(parts, title):
    """The shapes as an SVG document on the design square."""
    grads = []
    for g in GRADIENTS:
        grads.append(
            '<linearGradient id="%s" gradientUnits="userSpaceOnUse" x1="%g" y1="%g" x2="%g" '
            'y2="%g"><stop offset="0" stop-color="%s"/><stop offset="1" stop-color="%s"/>'
            '</linearGradient>' % (g.ident, g.p0[0], g.p0[1], g.p1[0], g.p1[1],
                                   paint(g.c0), paint(g.c1)))
    return ('<?xml version="1.0" encoding="UTF-8"?>\n'
            '<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" '
            'viewBox="0 0 %d %d">\n<title>%s</title>\n<defs>\n  '
            % (DESIGN, DESIGN, DESIGN, DESIGN, title)
            + "\n  ".join(grads) + "\n</defs>\n" + "\n".join(s.svg() for s in parts) + "\n</svg>\n")


def render(parts, size):
    """RGBA rows of the picture at size x size pixels.

    A pixel's colour is the mean of the samples that fall on a shape (so an
    edge keeps the shape's colour) and its alpha the share of samples that do.
    """
    scale = DESIGN / size
    offsets = [(i + 0.5) / SAMPLES for i in range(SAMPLES)]
    rows = []
    for py in range(size):
        row = bytearray()
        for px in range(size):
            r = g = b = a = 0.0
            for oy in offsets:
                y = (py + oy) * scale
                for ox in offsets:
                    x = (px + ox) * scale
                    for shape in reversed(parts):
                        if shape.inside(x, y):
                            c = colour_at(shape.fill, x, y)
                            r, g, b, a = r + c[0], g + c[1], b + c[2], a + 1
                            break
            n = SAMPLES * SAMPLES
            if a:
                row += bytes((round(r / a), round(g / a), round(b / a), round(255 * a / n)))
            else:
                row += bytes(4)
        rows.append(bytes(row))
    return rows
