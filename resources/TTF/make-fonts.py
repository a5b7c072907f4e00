#!/usr/bin/python3
"""Makes the embedded fonts from the Open Sans of package fonts-open-sans (scripts/install-packages font).

OpenSans-Regular: Latin, Greek, Cyrillic and punctuation of the regular face, with arrows, which the face lacks.
DSP-Bold: the same of the bold face; icons stand at U+0104 (bypass), U+0112 and U+0113 (lock open, lock closed) and
U+F129 (information).

Kerning is kept as a plain kern table, and hints and layout tables are dropped: the text routines read no others.
"""

import math
import pathlib

from fontTools.pens.ttGlyphPen import TTGlyphPen
from fontTools.subset import Options, Subsetter
from fontTools.ttLib import TTFont

SOURCE = pathlib.Path("/usr/share/fonts/truetype/open-sans")
HERE = pathlib.Path(__file__).parent
NOTICE = "Modified from Open Sans: a part of its characters, with arrows and icons added. Apache License 2.0."
BUILT_AT = 3_800_000_000  # seconds since 1904, so that the files are the same every time

CHARACTERS = [*range(0x20, 0x7F), *range(0xA0, 0x180), *range(0x384, 0x3CF), *range(0x400, 0x460),
              *range(0x2010, 0x2027), 0x2030, 0x2039, 0x203A, 0x20AC, 0x2122, 0x2212, 0x221E, 0x2248, 0x2260, 0x2264,
              0x2265]


def arc(centre, radius, start, end):
    """Points of a quadratic arc, angles in degrees: [on, off, on, off, ..., on]."""
    count = max(1, math.ceil(abs(end - start) / 30))
    step = math.radians((end - start) / count)
    points = []
    for i in range(2 * count + 1):
        angle = math.radians(start) + step * i / 2
        r = radius / math.cos(step / 2) if i % 2 else radius
        points.append((round(centre[0] + r * math.cos(angle)), round(centre[1] + r * math.sin(angle))))
    return points


def draw(contours):
    """A glyph of contours, each a list of strokes: straight ("line", points) or curved ("arc", points)."""
    pen = TTGlyphPen(None)
    for contour in contours:
        started = False
        for kind, points in contour:
            if started:
                pen.lineTo(points[0])
            else:
                pen.moveTo(points[0])
                started = True
            if kind == "line":
                for point in points[1:]:
                    pen.lineTo(point)
            else:
                for off, on in zip(points[1::2], points[2::2]):
                    pen.qCurveTo(off, on)
        pen.closePath()
    return pen.glyph()


def box(left, bottom, right, top):
    return [("line", [(left, bottom), (left, top), (right, top), (right, bottom)])]


def disc(centre, radius, clockwise=True):
    return [("arc", arc(centre, radius, 0, -360 if clockwise else 360))]


def power():
    centre, outer, inner, gap = (760, 690), 700, 500, 40
    ring = [("arc", arc(centre, outer, 90 - gap, 90 + gap - 360)), ("arc", arc(centre, inner, 90 + gap - 360, 90 - gap))]
    return draw([ring, box(660, 700, 860, 1560)]), 1520


def lock(closed):
    # The shackle of an open lock is lifted out of the body on its right.
    lift = 0 if closed else 260
    left, right, thick = 290, 910, 150
    middle, top = (left + right) // 2, 900 + lift
    radius = (right - left) // 2
    right_end = 700 if closed else 1000
    shackle = [("line", [(left, 700), (left, top)]), ("arc", arc((middle, top), radius, 180, 0)),
               ("line", [(right, right_end), (right - thick, right_end)]),
               ("arc", arc((middle, top), radius - thick, 0, 180)), ("line", [(left + thick, 700)])]
    hole = [("line", [(550, 180), (650, 180), (650, 400), (550, 400)])]
    return draw([shackle, box(150, 0, 1050, 760), hole, disc((600, 430), 105, clockwise=False)]), 1200


def information():
    serif = [("line", [(180, 0), (180, 190), (310, 190), (310, 780), (180, 780), (180, 970), (580, 970), (580, 190),
                       (720, 190), (720, 0)])]
    return draw([serif, disc((440, 1310), 190)]), 900


def arrow(points_left):
    points = [(120, 560), (560, 1000), (700, 860), (490, 650), (1380, 650), (1380, 470), (490, 470), (700, 260), (560, 120)]
    if not points_left:
        points = [(1500 - x, y) for x, y in reversed(points)]
    return draw([[("line", points)]]), 1500


def add(font, code, name, drawn):
    glyph, advance = drawn
    glyph.recalcBounds(font["glyf"])
    if name not in font.getGlyphOrder():
        font.setGlyphOrder(font.getGlyphOrder() + [name])
    font["glyf"][name] = glyph
    font["hmtx"][name] = (advance, glyph.xMin)
    for table in font["cmap"].tables:
        if table.isUnicode():
            table.cmap[code] = name


def make(face, name, additions, family, style):
    font = TTFont(SOURCE / face, recalcTimestamp=False)
    options = Options()
    options.hinting = False
    options.legacy_kern = True
    options.notdef_outline = True
    options.glyph_names = False
    options.drop_tables += ["GPOS", "GSUB", "GDEF", "DSIG", "gasp"]
    subsetter = Subsetter(options)
    subsetter.populate(unicodes=[c for c in CHARACTERS if c not in additions])
    subsetter.subset(font)
    for code, (glyph_name, drawn) in additions.items():
        add(font, code, glyph_name, drawn)
    # The name of the original is kept to what it is: a modified font.
    for record in font["name"].names:
        if record.nameID in (1, 16):
            record.string = family
        elif record.nameID in (2, 17):
            record.string = style
        elif record.nameID in (3, 4, 6):
            record.string = name
    font["name"].setName(NOTICE, 10, 3, 1, 0x409)
    font["maxp"].recalc(font)
    font["head"].modified = BUILT_AT
    font.save(HERE / f"{name}.ttf")
    pairs = sum(len(t.kernTable) for t in font["kern"].kernTables)
    print(f"{name}.ttf: {(HERE / f'{name}.ttf').stat().st_size} bytes, {pairs} kerning pairs")
    assert pairs * 6 + 18 < 0x10000, "more kerning than a subtable can hold"


ARROWS = {0x2190: ("arrowleft", arrow(True)), 0x2192: ("arrowright", arrow(False))}
make("OpenSans-Regular.ttf", "OpenSans-Regular", ARROWS, "Open Sans", "Regular")
make("OpenSans-Bold.ttf", "DSP-Bold",
     ARROWS | {0x104: ("bypass", power()), 0x112: ("lockopen", lock(False)), 0x113: ("lockclosed", lock(True)),
               0xF129: ("information", information())}, "DSP", "Bold")
