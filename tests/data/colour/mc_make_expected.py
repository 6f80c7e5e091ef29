#!/usr/bin/env python3
"""Builds the Optimized Cut fixtures: small input DIBs and the DIBs the cut
must make of them, from a model of the cut's rules written apart from the
program (plain Python lists and dicts, none of its code).

Files are raw packed DIBs: the 40-byte header, the colour table, the rows
bottom-up padded to 32 bits.

    mc_<name>.dib                 input
    mc_<name>_<count>.dib         Optimized Cut to <count> colours, direct mapping
    mc_<name>_<count>_fs.dib      the same ended with Floyd-Steinberg to the
                                  palette (dither_type 2, fast_dither 1)

Run it from anywhere; it writes beside itself.
"""
import os

from packed_dib import Lcg, clamp, dib, nearest

HERE = os.path.dirname(os.path.abspath(__file__))


# ---- DIB files -----------------------------------------------------------------

def write(name, data):
    with open(os.path.join(HERE, name), 'wb') as f:
        f.write(data)


class Image:
    """A source image: its depth, its pixels as (r,g,b) seen through any
    table, and its own file bytes."""

    def __init__(self, width, height, bits, rows, table=None):
        self.width, self.height, self.bits = width, height, bits
        self.table = table or []
        self.raw = rows
        if bits == 8:
            self.rgb = [[self.table[v] if v < len(self.table) else (0, 0, 0) for v in row] for row in rows]
        else:
            self.rgb = [[px[:3] for px in row] for row in rows]

    def file_bytes(self):
        return dib(self.width, self.height, self.bits, self.table, len(self.table) if self.bits == 8 else 0, self.raw)


# ---- the cut -------------------------------------------------------------------

def key_of(r, g, b):
    return ((r & 0xF8) << 7) | ((g & 0xF8) << 2) | (b >> 3)


def chan(key, axis):
    return (key >> (10 - 5 * axis)) & 31  # axis 0 red, 1 green, 2 blue


class Box:
    def __init__(self, keys, hist):
        self.keys = keys
        self.pixels = sum(hist[k] for k in keys)
        lo = [min(chan(k, a) for k in keys) for a in range(3)] if keys else [0, 0, 0]
        hi = [max(chan(k, a) for k in keys) for a in range(3)] if keys else [0, 0, 0]
        d = [hi[a] - lo[a] for a in range(3)]
        # Ties: blue over green and red, green over red.
        if d[0] <= d[1]:
            self.axis = 2 if d[1] <= d[2] else 1
        else:
            self.axis = 2 if d[0] <= d[2] else 0
        self.width = d[self.axis]


def insert(boxes, b):
    if not boxes:
        boxes.append(b)
        return
    if len(boxes) == 1:
        if boxes[0].width > b.width:
            boxes.append(b)
        else:
            boxes.insert(0, b)
        return
    i = 0
    while i < len(boxes) - 1 and boxes[i].width >= b.width:
        if boxes[i].width == b.width and boxes[i].pixels <= b.pixels:
            break
        i += 1
    if i == 0:
        boxes.insert(0, b)
    elif i == len(boxes) - 1 and b.width < boxes[i].width:
        boxes.append(b)
    else:
        boxes.insert(i, b)


def median_cut(image, count):
    """Returns (palette as list of (r,g,b), map key -> index)."""
    hist = {}
    for row in image.rgb:
        for (r, g, b) in row:
            k = key_of(r, g, b)
            hist[k] = hist.get(k, 0) + 1
    boxes = [Box(sorted(hist), hist)]
    made = 1
    while made < count:
        b = boxes.pop(0)
        # A stable sort of the reversed slice leaves equal values in reversed order.
        b.keys = sorted(reversed(b.keys), key=lambda k: chan(k, b.axis))
        if b.width == 0:
            insert(boxes, b)
            break
        half = b.pixels // 2
        run = 0
        stop = None
        for i, k in enumerate(b.keys):
            if run + hist[k] > half and run > 0:
                stop = i
                break
            run += hist[k]
        lower, upper = Box(b.keys[:stop], hist), Box(b.keys[stop:], hist)
        insert(boxes, lower)
        insert(boxes, upper)
        made += 1
    palette = []
    mapping = {}
    for index, b in enumerate(boxes):
        n = sum(hist[k] for k in b.keys)
        mean = [sum(chan(k, a) * hist[k] for k in b.keys) // n if n else 0 for a in range(3)]
        palette.append((mean[0] * 8, mean[1] * 8, mean[2] * 8))
        for k in b.keys:
            mapping[k] = index
    return palette, mapping


def floyd_to_palette(image, palette):
    """Floyd-Steinberg to a palette, left to right on every line, with the
    five-bit match cache; the rows carry pixel plus error."""
    w, h = image.width, image.height
    nrows = 2
    rows = [[[0, 0, 0] for _ in range(w)] for _ in range(nrows)]
    for i in range(min(nrows, h)):
        rows[i] = [list(p) for p in image.rgb[i]]
    cache = {}
    out = []
    for y in range(h):
        line = []
        for x in range(w):
            r, g, b = (clamp(c) for c in rows[0][x])
            cell = ((r & 0xF8) << 7) | ((g & 0xF8) << 2) | ((b & 0xF8) >> 3)
            if cell not in cache:
                cache[cell] = nearest(palette, r, g, b)
            idx = cache[cell]
            line.append(idx)
            e = (r - palette[idx][0], g - palette[idx][1], b - palette[idx][2])
            for (dy, dx, wgt) in ((0, 1, 7), (1, -1, 3), (1, 0, 5), (1, 1, 1)):
                if 0 <= x + dx < w:
                    cell_ = rows[dy][x + dx]
                    for c in range(3):
                        cell_[c] += (wgt * e[c]) >> 4
        out.append(line)
        rows = rows[1:] + rows[:1]
        if y + nrows < h:
            rows[-1] = [list(p) for p in image.rgb[y + nrows]]
    return out


def cut_bytes(image, count, dither):
    palette, mapping = median_cut(image, count)
    bits = 8 if count > 16 else 4
    table = palette + [(0, 0, 0)] * (count - len(palette))
    if dither:
        rows = floyd_to_palette(image, table)
    else:
        rows = [[mapping[key_of(*p)] for p in row] for row in image.rgb]
        if image.bits == 8 and bits == 8:
            raise ValueError('a paletted source maps to nibbles only')
    return dib(image.width, image.height, bits, table, count, rows)


# ---- the inputs ------------------------------------------------------------------

def noise(width, height, seed, bits=24):
    g = Lcg(seed)
    rows = []
    for _ in range(height):
        row = []
        for _ in range(width):
            r, gg, b = g.byte(), g.byte(), g.byte()
            row.append((r, gg, b, g.byte()) if bits == 32 else (r, gg, b))
        rows.append(row)
    return Image(width, height, bits, rows)


def gradient(width, height):
    rows = [[(x * 255 // max(1, width - 1), y * 255 // max(1, height - 1), (x + y) * 20) for x in range(width)]
            for y in range(height)]
    return Image(width, height, 24, rows)


def primaries():
    cols = [(0, 0, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255), (0, 255, 255), (255, 0, 255), (255, 255, 0),
            (255, 255, 255)]
    rows = [[cols[(x * 3 + y * 5) % 8] for x in range(7)] for y in range(3)]
    return Image(7, 3, 24, rows)


def paletted():
    g = Lcg(77)
    table = [(g.byte(), g.byte(), g.byte()) for _ in range(20)]
    rows = [[(x * 7 + y * 3) % 20 for x in range(9)] for y in range(4)]
    return Image(9, 4, 8, rows, table)


def gray_ramp():
    # 16 grays in 3 rows of 5 (padding tested by width 5) plus one extra shade.
    rows = [[((y * 5 + x) * 17, (y * 5 + x) * 17, (y * 5 + x) * 17) for x in range(5)] for y in range(3)]
    return Image(5, 3, 24, rows)


CASES = {
    'bw': (Image(3, 2, 24, [[(0, 0, 0), (255, 255, 255), (0, 0, 0)], [(255, 255, 255), (255, 255, 255), (0, 0, 0)]]),
           [(16, False), (256, False), (16, True)]),
    'one': (Image(1, 1, 24, [[(200, 100, 50)]]), [(16, False), (256, False), (256, True)]),
    'primaries': (primaries(), [(16, False), (256, False), (16, True)]),
    'gradient': (gradient(7, 4), [(16, False), (256, False), (16, True), (256, True)]),
    'noise': (noise(33, 4, 12345), [(16, False), (256, False), (16, True), (256, True)]),
    'noisebig': (noise(61, 47, 2024), [(16, False), (256, False), (16, True), (256, True)]),
    'noise32': (noise(5, 3, 99, bits=32), [(16, False), (256, False), (16, True)]),
    'pal8': (paletted(), [(16, False), (16, True)]),
    'column': (noise(1, 4, 5), [(16, False), (16, True)]),
    'gray': (gray_ramp(), [(16, False), (256, False), (16, True)]),
}


def main():
    for name, (image, runs) in CASES.items():
        write('mc_%s.dib' % name, image.file_bytes())
        for count, dither in runs:
            write('mc_%s_%d%s.dib' % (name, count, '_fs' if dither else ''), cut_bytes(image, count, dither))


if __name__ == '__main__':
    main()
