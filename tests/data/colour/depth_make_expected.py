#!/usr/bin/env python3
"""Builds the depth-increase fixtures: small input DIBs and what raising them
must give, from the rules of the increase written out here on their own
(indices kept below 24 bits with the source's table first and black after it;
the palette's full 8-bit channels at 24 and 32 bits; the alpha byte last).

Files are raw packed DIBs: the 40-byte header, the colour table, the rows
bottom-up padded to 32 bits, padding zero.

    depth_<name>.dib                    input
    depth_<name>_to<t>.dib              raised to target t (16 gives a 24-bit DIB)
    depth_<name>_to32_a<alpha>.dib      raised to 32 bits with that fourth byte
"""
import os

from packed_dib import Lcg, dib

HERE = os.path.dirname(os.path.abspath(__file__))


class Source:
    def __init__(self, width, height, bits, table, rows):
        self.width, self.height, self.bits = width, height, bits
        self.table, self.rows = table, rows

    def file_bytes(self):
        return dib(self.width, self.height, self.bits, self.table, len(self.table) if self.bits <= 8 else 0, self.rows)

    def colour(self, v):
        return self.table[v] if v < len(self.table) else (0, 0, 0)

    def raise_to(self, target, alpha):
        o = 24 if target == 16 else target
        if o < 24:
            entries = 1 << self.bits
            table = [self.colour(i) for i in range(entries)] + [(0, 0, 0)] * ((1 << o) - entries)
            return dib(self.width, self.height, o, table, 1 << o, self.rows)
        rows = []
        for row in self.rows:
            out = []
            for v in row:
                if self.bits <= 8:
                    px = self.colour(v)
                else:
                    px = tuple(v[:3])
                out.append(px + ((alpha,) if o == 32 else ()))
            rows.append(out)
        return dib(self.width, self.height, o, [], 0, rows)


def make_sources():
    g = Lcg(4242)
    mono = Source(7, 3, 1, [(10, 20, 30), (250, 129, 7)],
                  [[x % 2 for x in range(7)], [1] * 7, [1 if x % 3 == 0 else 0 for x in range(7)]])
    column = Source(1, 4, 1, [(0, 0, 0), (255, 255, 255)], [[1], [0], [0], [1]])
    c4 = Source(3, 2, 4, [(g.byte(), g.byte(), g.byte()) for _ in range(16)], [[15, 0, 7], [8, 9, 1]])
    c4short = Source(5, 1, 4, [(255, 7, 129), (1, 2, 3), (128, 128, 128), (9, 250, 33), (0, 0, 255), (77, 66, 55)],
                     [[5, 0, 3, 1, 4]])
    c8 = Source(7, 4, 8, [(g.byte(), g.byte(), g.byte()) for _ in range(256)],
                [[g.byte() for _ in range(7)] for _ in range(4)])
    rgb = Source(3, 2, 24, [], [[(g.byte(), g.byte(), g.byte())[::-1] for _ in range(3)] for _ in range(2)])
    return {
        'mono': (mono, [(4, 0), (8, 0), (16, 0), (24, 0), (32, 255), (32, 0)]),
        'column': (column, [(4, 0), (8, 0), (16, 0), (32, 255)]),
        'c4': (c4, [(8, 0), (16, 0), (24, 0), (32, 255)]),
        'c4short': (c4short, [(8, 0), (16, 0), (32, 0)]),
        'c8': (c8, [(16, 0), (24, 0), (32, 0), (32, 255)]),
        'rgb': (rgb, [(32, 255), (32, 0)]),
    }


def main():
    for name, (src, runs) in make_sources().items():
        with open(os.path.join(HERE, 'depth_%s.dib' % name), 'wb') as f:
            f.write(src.file_bytes())
        for target, alpha in runs:
            suffix = '_to%d' % target + ('_a%d' % alpha if target == 32 else '')
            with open(os.path.join(HERE, 'depth_%s%s.dib' % (name, suffix)), 'wb') as f:
                f.write(src.raise_to(target, alpha))


if __name__ == '__main__':
    main()
