#!/usr/bin/env python3
"""Draws the two 20 x 20 marks of the batch list's rows: a ticked box for a
file that will be converted (resource 600) and an empty box for one that
will not (601). Writes resources/batch_on.bmp and resources/batch_off.bmp."""
import os
import struct

SIZE = 20
WHITE, GRAY, DARK, GREEN = (255, 255, 255), (192, 192, 192), (64, 64, 64), (0, 128, 0)


def mark(ticked):
    px = [[WHITE] * SIZE for _ in range(SIZE)]
    for i in range(3, 17):  # the box
        for x, y in ((i, 3), (i, 16), (3, i), (16, i)):
            px[y][x] = DARK
    for y in range(4, 16):
        for x in range(4, 16):
            px[y][x] = WHITE if ticked else GRAY
    if ticked:  # a tick: down from (6,10) to (9,13), then up to (14,6), two pixels thick
        points = [(6 + t, 10 + t) for t in range(4)] + [(9 + t, 13 - round(t * 7 / 5)) for t in range(6)]
        for x, y in points:
            px[y][x] = GREEN
            px[y - 1][x] = GREEN
    return px


def bitmap_file(px):
    rows = b''.join(bytes(c for rgb in reversed_row for c in (rgb[2], rgb[1], rgb[0]))
                    for reversed_row in reversed(px))  # bottom-up, BGR; 60 bytes a row needs no padding
    head = struct.pack('<IiiHHIIiiII', 40, SIZE, SIZE, 1, 24, 0, len(rows), 0, 0, 0, 0)
    return b'BM' + struct.pack('<IHHI', 14 + len(head) + len(rows), 0, 0, 54) + head + rows


def main():
    here = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'resources')
    for name, ticked in (('batch_on.bmp', True), ('batch_off.bmp', False)):
        with open(os.path.join(here, name), 'wb') as f:
            f.write(bitmap_file(mark(ticked)))


if __name__ == '__main__':
    main()
