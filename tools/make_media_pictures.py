#!/usr/bin/env python3
"""Draws the pictures that sound documents show into resources/.

  sound.dib  HDIB resource "SOUND": a loudspeaker sending out waves
  music.dib  HDIB resource "MUSIC": two joined notes on a staff

Both are packed 4-bit DIBs of 96 by 64 pixels with the 16 standard colours,
drawn from simple geometry so that the output is the same on every machine.
Usage: make_media_pictures.py [RESOURCE_DIR]   (default: resources/ beside tools/)
"""
import os
import struct
import sys

W, H = 96, 64
PALETTE = [(0, 0, 0), (128, 0, 0), (0, 128, 0), (128, 128, 0), (0, 0, 128), (128, 0, 128), (0, 128, 128),
           (192, 192, 192), (128, 128, 128), (255, 0, 0), (0, 255, 0), (255, 255, 0), (0, 0, 255),
           (255, 0, 255), (0, 255, 255), (255, 255, 255)]
BLACK, NAVY, SILVER, GRAY, BLUE, WHITE = 0, 4, 7, 8, 12, 15


def speaker(x, y):
    # Body: a box and a widening cone; waves: three rings to the right.
    if 14 <= x < 26 and 24 <= y < 40:
        return NAVY
    if 26 <= x < 42 and abs(y - 32) <= 8 + (x - 26):
        return BLUE
    r = ((x - 34) ** 2 + (y - 32) ** 2) ** 0.5
    if x > 46 and abs(y - 32) < (x - 34) * 0.9:
        for ring in (18, 28, 38):
            if abs(r - ring) < 2:
                return BLACK
    return WHITE


def notes(x, y):
    if y in (16, 24, 32, 40, 48):
        return GRAY
    heads = ((30, 46), (62, 40))
    for hx, hy in heads:
        if ((x - hx) / 7.0) ** 2 + ((y - hy) / 5.0) ** 2 <= 1:
            return BLACK
        if hx + 5 <= x < hx + 8 and 10 + (hy - 46) <= y <= hy:
            return BLACK
    # The beam joins the two stems, falling to the right.
    if 35 <= x < 70 and 0 <= y - (10 - (x - 35) * 6 / 32.0) < 5:
        return BLACK
    return WHITE


def packed_dib(pixel):
    stride = ((W * 4 + 31) // 32) * 4
    rows = b''
    for y in range(H - 1, -1, -1):
        row = bytearray(stride)
        for x in range(W):
            row[x // 2] |= pixel(x, y) << (0 if x % 2 else 4)
        rows += bytes(row)
    head = struct.pack('<IiiHHIIiiII', 40, W, H, 1, 4, 0, len(rows), 0, 0, 16, 0)
    table = b''.join(struct.pack('<BBBB', b, g, r, 0) for r, g, b in PALETTE)
    return head + table + rows


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), '..', 'resources')
    for name, pixel in (('sound.dib', speaker), ('music.dib', notes)):
        with open(os.path.join(folder, name), 'wb') as f:
            f.write(packed_dib(pixel))


if __name__ == '__main__':
    main()
