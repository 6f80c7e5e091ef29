#!/usr/bin/env python3
"""Writes the expected results of the colour engine's reductions for a set of
small generated images, computed here from the rules of Flat Cut,
error diffusion and palette matching, independently of the C++ code.

The model is deliberately plain: whole-image planes of integers, errors kept
at image columns (a reverse line sends its right-hand taps to the left), the
nearest colour by brute force, luminance by exact fractions.

Output (little-endian), one file per group:
  "KVCG", u32 image count, images: u32 length + packed DIB bytes;
  u32 case count, cases: u8 name length + name, u8 op (0 Flat Cut, 1 Flat Cut
  with dither, 2 dither to palette), u8 image, u8 target, u8 gray,
  u8 dither_type, u8 fast_dither, u32 length + destination template (op 2
  only, else 0), u32 length + expected packed DIB.
Run: python3 flat_make_golden.py  (writes flat_cut_golden.bin, flat_dither_golden.bin,
dither_palette_golden.bin beside itself)
"""
import os
import struct
from fractions import Fraction

from packed_dib import Lcg, clamp, dib, nearest

HERE = os.path.dirname(os.path.abspath(__file__))

# ---- rules: luminance --------------------------------------------------------

def weighted(v, w):
    # truncation toward zero of v*w + 0.51, or of v*w - 0.51 for negative v
    x = Fraction(v) * w
    x = x + Fraction(51, 100) if v >= 0 else x - Fraction(51, 100)
    return int(x)  # int() truncates toward zero

LR = {v: weighted(v, Fraction(30, 100)) for v in range(-256, 256)}
LG = {v: weighted(v, Fraction(59, 100)) for v in range(-256, 256)}
LB = {v: weighted(v, Fraction(11, 100)) for v in range(-256, 256)}

def luma(r, g, b):
    return LR[r] + LG[g] + LB[b]

assert luma(0, 0, 0) == 0 and luma(255, 255, 255) == 255 and luma(128, 128, 128) == 128
assert luma(121, 121, 121) == 120 and luma(123, 123, 123) == 124


def tdiv(a, b):
    # division truncating toward zero
    q = abs(a) // abs(b)
    return q if (a >= 0) == (b > 0) else -q

# ---- rules: fixed palettes and maps ---------------------------------------------

# index: (R, G, B), as the table of the 16 colours lists them
FLAT16 = [(0, 0, 0), (128, 0, 0), (0, 128, 0), (128, 128, 0), (0, 0, 128), (128, 0, 128), (0, 128, 128),
          (192, 192, 192), (128, 128, 128), (255, 0, 0), (0, 255, 0), (255, 255, 0), (0, 0, 255),
          (255, 0, 255), (0, 255, 255), (255, 255, 255)]
FLAT16_MAP = [0, 4, 4, 12, 2, 6, 6, 12, 2, 6, 6, 12, 10, 10, 14, 14,
              1, 5, 5, 12, 3, 0, 4, 12, 2, 2, 6, 12, 10, 10, 14, 14,
              1, 5, 5, 13, 3, 1, 5, 13, 3, 3, 15, 15, 11, 11, 15, 14,
              9, 13, 13, 13, 11, 9, 13, 13, 11, 11, 15, 15, 11, 11, 15, 15]
HALF16_MAP = [0, 4, 12, 12, 2, 6, 6, 6, 10, 6, 7, 14, 10, 6, 14, 14,
              1, 5, 5, 5, 3, 8, 8, 8, 3, 8, 7, 7, 3, 8, 7, 15,
              9, 5, 7, 13, 3, 8, 7, 7, 7, 7, 7, 7, 11, 7, 7, 15,
              9, 5, 13, 13, 3, 8, 7, 15, 11, 7, 7, 15, 11, 15, 15, 15]
MATRIX = [[-7, 1, -5, 3], [5, -3, 7, -1], [-4, 4, -6, 2], [8, 0, 6, -2]]

def cube(i):
    r, g, b = i % 8, (i // 8) % 8, i // 64
    return (r * 36 + r // 2, g * 36 + g // 2, b * 85)

def map_key(r, g, b):
    return ((r >> 6) << 4) | ((g >> 6) << 2) | (b >> 6)

def gray_rule(red):
    if red < 64: return 0
    if red < 160: return 8
    if red < 223: return 7
    return 15

def sixteen(r, g, b, gray, threshold):
    d1, d2, d3 = (g - r) >> 2, (g - b) >> 2, (b - r) >> 2  # Python's >> is arithmetic
    s = d1 * d1 + d2 * d2 + d3 * d3
    if not gray and s >= threshold:
        return FLAT16_MAP[map_key(r, g, b)]
    return gray_rule(r)

def index332(r, g, b):
    return r // 32 + (g // 32) * 8 + (b // 64) * 64

# ---- packed DIBs -------------------------------------------------------------

class Image:
    def __init__(self, name, width, height, bits, rows, colors=None):
        self.name, self.width, self.height, self.bits, self.rows = name, width, height, bits, rows
        self.colors = colors or []
        self.dib = dib(width, height, bits, self.colors, len(self.colors), rows)

    def flat_colour(self, x, y):
        """The colour Flat Cut reads: 4 and 8 bits through the table, 24 and 32
        bits directly; other depths are not read (black throughout)."""
        v = self.rows[y][x]
        if self.bits in (4, 8):
            return self.colors[v] if v < len(self.colors) else (0, 0, 0)
        if self.bits in (24, 32):
            return v[:3]
        return (0, 0, 0)

    def load_colour(self, x, y):
        """The colour a dither row is loaded with (1, 4, 8 bits through the
        table; 16 bits with the low five bits as red)."""
        v = self.rows[y][x]
        if self.bits in (1, 4, 8):
            return self.colors[v] if v < len(self.colors) else (0, 0, 0)
        if self.bits == 16:
            return ((v & 31) * 8, (v & 0x3E0) >> 2, (v & 0x7C00) >> 7)
        return v[:3]

# ---- the images -------------------------------------------------------------------

def lcg_bytes(seed, n):
    g = Lcg(seed)
    return [g.byte() for _ in range(n)]

def make_images():
    imgs = []
    # a smooth colour gradient, odd width
    imgs.append(Image('gradient7x3', 7, 3, 24,
                      [[(x * 255 // 6, y * 127, (x + y) * 30) for x in range(7)] for y in range(3)]))
    # LCG noise, 24 and 32 bits
    nb = lcg_bytes(12345, 16 * 4 * 3)
    imgs.append(Image('noise16x4', 16, 4, 24,
                      [[tuple(nb[(y * 16 + x) * 3:(y * 16 + x) * 3 + 3]) for x in range(16)] for y in range(4)]))
    nb = lcg_bytes(777, 5 * 3 * 4)
    imgs.append(Image('noise5x3x32', 5, 3, 32,
                      [[tuple(nb[(y * 5 + x) * 4:(y * 5 + x) * 4 + 4]) for x in range(5)] for y in range(3)]))
    # the primaries and their mixes, one line
    prim = [(0, 0, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0), (0, 255, 255), (255, 0, 255),
            (255, 255, 255)]
    imgs.append(Image('primaries8x1', 8, 1, 24, [prim]))
    # a flat mid gray, the hand-checked case
    imgs.append(Image('gray100_3x2', 3, 2, 24, [[(100, 100, 100)] * 3] * 2))
    # one column, four lines
    imgs.append(Image('column1x4', 1, 4, 24, [[(40 * y + 20, 200 - 30 * y, 90)] for y in range(4)]))
    # one pixel near the gray axis
    imgs.append(Image('pixel1x1', 1, 1, 24, [[(117, 100, 100)]]))
    # few colours: an 8-bit image with a short table
    few = [(10, 20, 30), (200, 50, 50), (128, 128, 128), (250, 250, 5), (60, 180, 90)]
    imgs.append(Image('few6x2x8', 6, 2, 8, [[0, 1, 2, 3, 4, 2], [4, 3, 2, 1, 0, 1]], few))
    # a 4-bit image with odd width
    pal4 = FLAT16[:]
    imgs.append(Image('nibbles3x3x4', 3, 3, 4, [[1, 9, 15], [7, 8, 0], [12, 14, 3]], pal4))
    # a 1-bit image (not read by Flat Cut, read by the palette dither)
    imgs.append(Image('mono9x2x1', 9, 2, 1, [[1, 0, 1, 1, 0, 0, 1, 0, 1], [0, 1, 0, 0, 1, 1, 0, 1, 0]],
                      [(0, 0, 0), (255, 255, 255)]))
    # a packed 16-bit image (low five bits are read as red by the dither load)
    imgs.append(Image('words3x2x16', 3, 2, 16, [[0x001F, 0x03E0, 0x7C00], [0x7FFF, 0x1234, 0x0421]]))
    # a wider gradient for the wide kernels, four lines
    imgs.append(Image('ramp9x4', 9, 4, 24,
                      [[(x * 28 + y * 3, 255 - x * 25, y * 60 + x) for x in range(9)] for y in range(4)]))
    return imgs

# ---- Flat Cut -------------------------------------------------------------------

def flat_palette(target):
    if target == 1: return [(0, 0, 0), (255, 255, 255)]
    if target == 4: return FLAT16
    if target == 8: return [cube(i) for i in range(256)]
    return []

def out_bits(target):
    return 24 if target in (16, 24) else target

def flat_dib(img, target, pixel_rows):
    bits = out_bits(target)
    pal = flat_palette(target)
    return dib(img.width, img.height, bits, pal, len(pal), pixel_rows)

def flat_reduce(img, target, gray):
    rows = []
    for y in range(img.height):
        row = []
        for x in range(img.width):
            r, g, b = img.flat_colour(x, y)
            if target == 1: row.append(1 if luma(r, g, b) > 127 else 0)
            elif target == 4: row.append(sixteen(r, g, b, gray, 50))
            elif target == 8: row.append(index332(r, g, b))
            elif target == 16: row.append((r & 0xF8, g & 0xF8, b & 0xF8))
            else: row.append((r, g, b))
        rows.append(row)
    return flat_dib(img, target, rows)

# ---- kernels, as tap lists: (dy, dx, share function) -------------------------------

def shift(w, n): return lambda e: (w * e) >> n
def div(w, d): return lambda e: tdiv(w * e, d)

KERNELS = {
    'floyd': (2, [(0, 1, shift(7, 4)), (1, -1, shift(3, 4)), (1, 0, shift(5, 4)), (1, 1, shift(1, 4))]),
    'stucki': (3, [(0, 1, div(8, 42)), (0, 2, div(4, 42)), (1, -2, div(2, 42)), (1, -1, div(4, 42)),
                   (1, 0, div(8, 42)), (1, 1, div(4, 42)), (1, 2, div(2, 42)), (2, -2, div(1, 42)),
                   (2, -1, div(2, 42)), (2, 0, div(4, 42)), (2, 1, div(2, 42)), (2, 2, div(1, 42))]),
    'burkes': (2, [(0, 1, shift(1, 2)), (0, 2, shift(1, 3)), (1, -2, shift(1, 4)), (1, -1, shift(1, 3)),
                   (1, 0, shift(1, 2)), (1, 1, shift(1, 3)), (1, 2, shift(1, 4))]),
    'sierra': (3, [(0, 1, shift(5, 5)), (0, 2, shift(3, 5)), (1, -2, shift(1, 4)), (1, -1, shift(1, 3)),
                   (1, 0, shift(5, 5)), (1, 1, shift(1, 3)), (1, 2, shift(1, 4)), (2, -1, shift(1, 4)),
                   (2, 0, shift(3, 5)), ('sierra', 1, shift(1, 4))]),
    'jarvis': (3, [(0, 1, div(7, 48)), (0, 2, div(5, 48)), (1, -2, div(3, 48)), (1, -1, div(5, 48)),
                   (1, 0, div(7, 48)), (1, 1, div(5, 48)), (1, 2, div(3, 48)), (2, -2, div(1, 48)),
                   (2, -1, div(3, 48)), (2, 0, div(5, 48)), (2, 1, div(3, 48)), (2, 2, div(1, 48))]),
    'stevenson': (4, [(0, 2, div(32, 200)), (1, -3, div(12, 200)), (1, -1, div(26, 200)), (1, 1, div(30, 200)),
                      (1, 3, div(16, 200)), (2, -2, div(12, 200)), (2, 0, div(26, 200)), (2, 2, div(12, 200)),
                      (3, -3, div(5, 200)), (3, -1, div(12, 200)), (3, 1, div(12, 200)), (3, 3, div(5, 200))]),
    'fast': (2, [(0, 1, shift(1, 1)), (1, 0, shift(1, 2)), (1, 1, shift(1, 2))]),
    'noise': (2, None),
}
# dither_type -> kernel (0, halftone, has none)
BY_TYPE = {1: 'fast', 2: 'floyd', 3: 'stucki', 4: 'burkes', 5: 'sierra', 6: 'jarvis', 7: 'stevenson', 8: 'noise'}

def spread(kind, plane, x, y, width, height, direction, errors):
    """Adds the shares of errors (r, g, b) of the pixel at scan position x of
    line y; plane[y][column] holds [r, g, b]. Taps are in scan order: a tap dx
    lands on the image column that is dx further along the scan."""
    if kind == 'noise':
        errors = tuple(0 if e < 16 else e for e in errors)
        kind = 'floyd'
    taps = KERNELS[kind][1]
    for dy, dx, share in taps:
        if dy == 'sierra':
            # two lines down, one right: only from the next-to-last scan position
            if x + 1 != width - 1:
                continue
            dy = 2
        if kind == 'jarvis' and y + dy >= height:
            continue
        sx = x + dx
        if sx < 0 or sx >= width:
            continue
        if y + dy >= height:
            continue  # lines past the image are never read
        col = sx if direction > 0 else width - 1 - sx
        cell = plane[y + dy][col]
        for ch in range(3):
            cell[ch] += share(errors[ch])

# ---- Flat Cut with dither ------------------------------------------------------------

def flat_dither(img, target, gray, dither_type):
    w, h = img.width, img.height
    halftone = dither_type == 0
    kind = BY_TYPE.get(dither_type, 'floyd')
    err = [[[0, 0, 0] for _ in range(w)] for _ in range(h)]
    out = [[0] * w for _ in range(h)]
    direction = 1
    for y in range(h):
        for x in range(w):
            c = x if direction > 0 else w - 1 - x
            r, g, b = img.flat_colour(c, y)
            if halftone:
                m = MATRIX[y % 4][x % 4]
                L = luma(r, g, b)
                if target == 1:
                    out[y][c] = clamp(L + m * 16) >> 7
                elif target == 4:
                    off = m * 2 * (L >> 4)
                    r = clamp(r + off)
                    if not gray:
                        g, b = clamp(g + off), clamp(b + off)
                        out[y][c] = HALF16_MAP[map_key(r, g, b)]
                    else:
                        out[y][c] = gray_rule(r)
                elif target == 8:
                    off = m * (L >> 5)
                    out[y][c] = index332(clamp(r + off), clamp(g + off), clamp(b + off))
                else:
                    out[y][c] = (r & 0xF8, g & 0xF8, b & 0xF8)
                continue
            e = err[y][c]
            r, g, b = clamp(r + e[0]), clamp(g + e[1]), clamp(b + e[2])
            if target == 1:
                L = luma(r, g, b)
                bit = L >> 7
                out[y][c] = bit
                r = g = b = L
                q = (bit * 255,) * 3
            elif target == 4:
                i = sixteen(r, g, b, gray, 200)
                out[y][c] = i
                q = FLAT16[i]
            elif target == 8:
                out[y][c] = index332(r, g, b)
                q = (r & 0xE0, g & 0xE0, b & 0xC0)
            else:
                q = (r & 0xF8, g & 0xF8, b & 0xF8)
                out[y][c] = q
            spread(kind, err, x, y, w, h, direction, (r - q[0], g - q[1], b - q[2]))
        if not halftone:
            direction = -direction
    return flat_dib(img, target, out)

# ---- dither to an arbitrary palette ----------------------------------------------------


def dest_bits(count):
    return 8 if count > 16 else 1 if count < 3 else 4

def dither_palette(img, pal, dither_type, fast):
    w, h = img.width, img.height
    bits = dest_bits(len(pal))
    halftone = dither_type == 0
    kind = BY_TYPE.get(dither_type, 'floyd')
    plane = [[list(img.load_colour(x, y)) for x in range(w)] for y in range(h)]
    cache = {} if fast else None
    out = [[0] * w for _ in range(h)]
    for y in range(h):
        for x in range(w):
            r, g, b = (clamp(v) for v in plane[y][x])
            if halftone:
                L = luma(r, g, b)
                m = MATRIX[y % 4][x % 4]
                off = m * (L >> 6) if bits == 8 else m * 2 * (L >> 4)
                r, g, b = clamp(r + off), clamp(g + off), clamp(b + off)
            if cache is not None:
                cell = ((r & 0xF8) << 7) | ((g & 0xF8) << 2) | ((b & 0xF8) >> 3)
                if cell not in cache:
                    cache[cell] = nearest(pal, r, g, b)
                i = cache[cell]
            else:
                i = nearest(pal, r, g, b)
            if bits == 1:
                i = nearest(pal, r, g, b)
            out[y][x] = i
            if not halftone:
                q = pal[i]
                spread(kind, plane, x, y, w, h, 1, (r - q[0], g - q[1], b - q[2]))
    return dib(w, h, bits, pal, len(pal), [[0] * w] * h), dib(w, h, bits, pal, len(pal), out)

PALETTES = {
    'mono': [(0, 0, 0), (255, 255, 255)],
    'six': [(0, 0, 0), (255, 255, 255), (200, 30, 30), (30, 160, 60), (40, 60, 200), (128, 128, 128)],
    'twenty': [cube(i * 13 % 256) for i in range(19)] + [(255, 255, 255)],
}

# ---- output ---------------------------------------------------------------------------

def write(path, images, cases):
    with open(path, 'wb') as f:
        f.write(b'KVCG' + struct.pack('<I', len(images)))
        for img in images:
            f.write(struct.pack('<I', len(img.dib)) + img.dib)
        f.write(struct.pack('<I', len(cases)))
        for name, op, image, target, gray, dtype, fast, template, expected in cases:
            nb = name.encode()
            f.write(struct.pack('<B', len(nb)) + nb)
            f.write(struct.pack('<BBBBBB', op, image, target, gray, dtype, fast))
            f.write(struct.pack('<I', len(template)) + template)
            f.write(struct.pack('<I', len(expected)) + expected)

def main():
    images = make_images()
    flat, dith, pal = [], [], []
    for k, img in enumerate(images):
        for target in (1, 4, 8, 16, 24):
            for gray in ((0, 1) if target == 4 else (0,)):
                flat.append(('%s/flat%d%s' % (img.name, target, 'g' if gray else ''), 0, k, target, gray, 2, 1,
                             b'', flat_reduce(img, target, gray)))
        for target in (1, 4, 8, 16):
            for gray in ((0, 1) if target == 4 else (0,)):
                for dtype in range(9):
                    dith.append(('%s/dither%d%s/type%d' % (img.name, target, 'g' if gray else '', dtype), 1, k,
                                 target, gray, dtype, 1, b'', flat_dither(img, target, gray, dtype)))
        if img.bits in (8, 1, 4, 16, 24, 32):
            for pname, p in PALETTES.items():
                for dtype in range(9):
                    for fast in (0, 1):
                        template, expected = dither_palette(img, p, dtype, fast)
                        pal.append(('%s/%s/type%d/fast%d' % (img.name, pname, dtype, fast), 2, k, 0, 0, dtype, fast,
                                    template, expected))
    write(os.path.join(HERE, 'flat_cut_golden.bin'), images, flat)
    write(os.path.join(HERE, 'flat_dither_golden.bin'), images, dith)
    write(os.path.join(HERE, 'dither_palette_golden.bin'), images, pal)
    print(len(flat), len(dith), len(pal))

if __name__ == '__main__':
    main()
