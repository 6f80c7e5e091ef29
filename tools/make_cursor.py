#!/usr/bin/env python3
"""Draws the capture drag's cursor into resources/capture.cur: a thin cross,
black with a white rim, hot spot in its middle, 32 by 32 pixels, one bit deep.
Usage: make_cursor.py [RESOURCE_DIR]   (default: resources/ beside tools/)
"""
import os
import struct
import sys

SIZE, HOT = 32, 15


def pixel(x, y):
    """'b' black, 'w' white or None (transparent) at x, y counted from the top."""
    dx, dy = abs(x - HOT), abs(y - HOT)
    if (dx == 0 and 2 < dy <= 12) or (dy == 0 and 2 < dx <= 12):
        return 'b'
    if (dx == 1 and 2 < dy <= 13) or (dy == 1 and 2 < dx <= 13) or \
       (dx == 0 and dy == 13) or (dy == 0 and dx == 13):
        return 'w'
    return None


def mask_rows(test):
    rows = b''
    for y in reversed(range(SIZE)):  # bottom-up
        bits = 0
        for x in range(SIZE):
            bits = bits << 1 | (1 if test(pixel(x, y)) else 0)
        rows += struct.pack('>I', bits)
    return rows


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), '..', 'resources')
    header = struct.pack('<IiiHHIIiiII', 40, SIZE, SIZE * 2, 1, 1, 0, 0, 0, 0, 2, 0)
    colours = struct.pack('<4B4B', 0, 0, 0, 0, 255, 255, 255, 0)
    xor = mask_rows(lambda p: p == 'w')
    andmask = mask_rows(lambda p: p is None)
    image = header + colours + xor + andmask
    directory = struct.pack('<HHH', 0, 2, 1) + struct.pack('<BBBBHHII', SIZE, SIZE, 0, 0, HOT, HOT, len(image), 22)
    with open(os.path.join(folder, 'capture.cur'), 'wb') as out:
        out.write(directory + image)


if __name__ == '__main__':
    main()
