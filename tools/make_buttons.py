#!/usr/bin/env python3
"""Draws the pictures of the picture buttons into resources/.

Each picture is an 18 by 18 pixel, 4-bit bitmap file: a gray key with a
raised bevel holding a small glyph, and a pressed twin (the same name with
"i" added) whose bevel is sunken and whose glyph sits one pixel lower and
to the right, as a pushed key looks.

  check    a green tick: accept
  cancel   a red cross: drop
  select   three rows with ticked boxes: select all
  deselt   three rows with empty boxes: deselect all

Drawn from plain pixel geometry so the output is the same on every machine.
Usage: make_buttons.py [RESOURCE_DIR]   (default: resources/ beside tools/)
"""
import os
import struct
import sys

SIZE = 18

# The sixteen colours of the standard system palette, index order.
PALETTE = [
    (0, 0, 0), (128, 0, 0), (0, 128, 0), (128, 128, 0),
    (0, 0, 128), (128, 0, 128), (0, 128, 128), (192, 192, 192),
    (128, 128, 128), (255, 0, 0), (0, 255, 0), (255, 255, 0),
    (0, 0, 255), (255, 0, 255), (0, 255, 255), (255, 255, 255),
]
BLACK, DARK_GREEN, GRAY, DARK_GRAY, RED, WHITE = 0, 2, 7, 8, 9, 15


def tick(put, x, y, colour):
    """A tick whose short stroke starts at (x, y): down-right 3, up-right 6, 2 pixels thick."""
    for i in range(3):
        put(x + i, y + i, colour)
        put(x + i, y + i + 1, colour)
    for i in range(6):
        put(x + 3 + i, y + 1 - i, colour)
        put(x + 3 + i, y + 2 - i, colour)


def glyph_check(put):
    tick(put, 4, 8, DARK_GREEN)


def glyph_cancel(put):
    for i in range(8):
        for dx in (0, 1):
            put(5 + i + dx, 5 + i, RED)
            put(12 - i - dx, 5 + i, RED)


def rows(put, ticked):
    """Three list rows: a small box (ticked or empty) and a line of text."""
    for r in range(3):
        y = 4 + r * 4
        for x in range(4, 7):
            put(x, y - 1, BLACK)
            put(x, y + 1, BLACK)
        put(4, y, BLACK)
        put(6, y, BLACK)
        if ticked:
            put(5, y, DARK_GREEN)
        for x in range(8, 14):
            put(x, y, DARK_GRAY)


def glyph_select(put):
    rows(put, True)


def glyph_deselt(put):
    rows(put, False)


def picture(glyph, pressed):
    """Rows top-down of palette indices."""
    pixels = [[GRAY] * SIZE for _ in range(SIZE)]
    shift = 1 if pressed else 0

    def put(x, y, colour):
        x += shift
        y += shift
        if 2 <= x < SIZE - 2 and 2 <= y < SIZE - 2:
            pixels[y][x] = colour

    glyph(put)
    light, dark = (DARK_GRAY, WHITE) if pressed else (WHITE, DARK_GRAY)
    last = SIZE - 1
    for i in range(SIZE):
        pixels[0][i] = BLACK
        pixels[last][i] = BLACK
        pixels[i][0] = BLACK
        pixels[i][last] = BLACK
    for i in range(1, last):
        pixels[1][i] = light
        pixels[i][1] = light
        pixels[last - 1][i] = dark
        pixels[i][last - 1] = dark
    return pixels


def bitmap_file(pixels):
    """A 4-bit bottom-up bitmap file with the sixteen-colour palette."""
    stride = ((SIZE * 4 + 31) // 32) * 4
    bits = bytearray()
    for row in reversed(pixels):
        line = bytearray(stride)
        for x, index in enumerate(row):
            line[x // 2] |= index << (4 if x % 2 == 0 else 0)
        bits += line
    colours = b''.join(bytes((b, g, r, 0)) for r, g, b in PALETTE)
    offset = 14 + 40 + len(colours)
    info = struct.pack('<IiiHHIIiiII', 40, SIZE, SIZE, 1, 4, 0, len(bits), 0, 0, 16, 16)
    head = struct.pack('<2sIHHI', b'BM', offset + len(bits), 0, 0, offset)
    return head + info + colours + bytes(bits)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, '..', 'resources')
    for name, glyph in (('check', glyph_check), ('cancel', glyph_cancel),
                        ('select', glyph_select), ('deselt', glyph_deselt)):
        for pressed, suffix in ((False, ''), (True, 'i')):
            with open(os.path.join(out, 'button_%s%s.bmp' % (name, suffix)), 'wb') as f:
                f.write(bitmap_file(picture(glyph, pressed)))


if __name__ == '__main__':
    main()
