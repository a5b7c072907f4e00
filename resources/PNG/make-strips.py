#!/usr/bin/python3
"""Draws the pixel font strips 101.png (cells 9 by 11) and 102.png (cells 7 by 9) with the condensed bold Open Sans of
package fonts-open-sans: white on black, glyphs side by side, each at the left of its cell."""

import pathlib

from PIL import Image, ImageDraw, ImageFont

FONT = "/usr/share/fonts/truetype/open-sans/OpenSans-CondBold.ttf"
HERE = pathlib.Path(__file__).parent
GLYPHS = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.%-,+#:/"


def glyph_image(font, character, baseline, height):
    """The glyph as wide as its ink."""
    drawn = Image.new("L", (40, height), 0)
    ImageDraw.Draw(drawn).text((10, baseline), character, fill=255, font=font, anchor="ls")
    left, _, right, _ = drawn.point(lambda v: 255 if v > 24 else 0).getbbox()
    return drawn.crop((left, 0, right, height))


def make(number, cell_width, cell_height, size, baseline, widest):
    font = ImageFont.truetype(FONT, size)
    strip = Image.new("L", (cell_width * len(GLYPHS), cell_height), 0)
    for i, character in enumerate(GLYPHS):
        glyph = glyph_image(font, character, baseline, cell_height)
        if glyph.width > widest:
            glyph = glyph.resize((widest, cell_height), Image.Resampling.BOX)
        strip.paste(glyph, (i * cell_width, 0))
    strip.convert("RGB").save(HERE / f"{number}.png", optimize=True)


make(101, 9, 11, 12, 9, 9)
make(102, 7, 9, 10, 7, 7)
