#!/usr/bin/env python3
"""Draws the program's icons and logo picture into resources/.

  korvanta.ico       icon 400, the frame: a smooth colour ramp beside the same
                     ramp cut to four flat colours, on a rounded tile
  image.ico          icon 401, the image windows: a sheet with a small landscape
  korvanta_logo.dib  the logo picture: a packed 8-bit DIB of 320 by 200 pixels,
                     RLE8-compressed, as the HDIB resource "KORVANTA"

Everything is drawn here from simple geometry, with no imaging library, so
that the output is the same on every machine.
Usage: make_icons.py [RESOURCE_DIR]   (default: resources/ beside tools/)
"""
import colorsys
import os
import struct
import sys

SUPERSAMPLE = 4


def blend(dst, src):
    """Lays the straight-alpha colour src over dst (both r, g, b, a in 0..1)."""
    sr, sg, sb, sa = src
    dr, dg, db, da = dst
    a = sa + da * (1 - sa)
    if a <= 0:
        return (0.0, 0.0, 0.0, 0.0)
    k = da * (1 - sa)
    return ((sr * sa + dr * k) / a, (sg * sa + dg * k) / a, (sb * sa + db * k) / a, a)


def render(size, paint):
    """Samples paint(x, y) -> rgba over a size x size grid in unit coordinates,
    SUPERSAMPLE^2 times per pixel; returns rows top-down of (r, g, b, a) bytes."""
    rows = []
    n = SUPERSAMPLE
    for py in range(size):
        row = []
        for px in range(size):
            acc = [0.0, 0.0, 0.0, 0.0]
            for sy in range(n):
                for sx in range(n):
                    x = (px + (sx + 0.5) / n) / size
                    y = (py + (sy + 0.5) / n) / size
                    r, g, b, a = paint(x, y)
                    acc[0] += r * a
                    acc[1] += g * a
                    acc[2] += b * a
                    acc[3] += a
            a = acc[3] / (n * n)
            if a > 0:
                rgb = [acc[i] / acc[3] for i in range(3)]
            else:
                rgb = [0.0, 0.0, 0.0]
            row.append(tuple(int(round(max(0.0, min(1.0, c)) * 255)) for c in rgb + [a]))
        rows.append(row)
    return rows


def in_rounded_rect(x, y, x0, y0, x1, y1, radius):
    if not (x0 <= x <= x1 and y0 <= y <= y1):
        return False
    cx = min(max(x, x0 + radius), x1 - radius)
    cy = min(max(y, y0 + radius), y1 - radius)
    return (x - cx) ** 2 + (y - cy) ** 2 <= radius ** 2


def hue(t):
    """A colour of the ramp, t in 0..1, from red through yellow and green to blue."""
    return colorsys.hsv_to_rgb(0.68 * t, 0.85, 0.95)


def paint_frame_icon(x, y):
    """The frame's icon: dark rounded tile; on its left a smooth vertical
    colour ramp, on its right the same ramp in four flat steps."""
    out = (0.0, 0.0, 0.0, 0.0)
    if in_rounded_rect(x, y, 0.03, 0.03, 0.97, 0.97, 0.16):
        out = (0.16, 0.18, 0.26, 1.0)
    if in_rounded_rect(x, y, 0.12, 0.12, 0.88, 0.88, 0.06):
        t = (y - 0.12) / 0.76
        if x < 0.47:
            out = blend(out, hue(t) + (1.0,))
        elif x > 0.53:
            step = min(int(t * 4), 3)
            out = blend(out, hue((step + 0.5) / 4) + (1.0,))
    return out


def paint_image_icon(x, y):
    """The image windows' icon: a white sheet with a folded top-right corner,
    holding a small landscape of sky, sun and hill."""
    left, top, right, bottom, fold, edge = 0.12, 0.04, 0.88, 0.96, 0.24, 0.05
    outline = (0.25, 0.25, 0.30, 1.0)
    # d > 0 above the diagonal that cuts the corner off the sheet.
    d = (x - (right - fold)) - (y - top)
    if not (left <= x <= right and top <= y <= bottom) or d > 0:
        return (0.0, 0.0, 0.0, 0.0)
    if x < left + edge or x > right - edge or y < top + edge or y > bottom - edge or d > -edge * 1.41:
        return outline
    # The folded flap: the triangle under the cut.
    if x >= right - fold - edge and y <= top + fold + edge:
        if x < right - fold or y > top + fold:
            return outline
        return (0.80, 0.82, 0.86, 1.0)
    px0, py0, px1, py1 = 0.24, 0.40, 0.76, 0.86
    if px0 <= x <= px1 and py0 <= y <= py1:
        if (x - 0.40) ** 2 / 0.38 ** 2 + (y - 0.98) ** 2 / 0.30 ** 2 <= 1.0:
            return (0.25, 0.62, 0.28, 1.0)
        if (x - 0.62) ** 2 + (y - 0.53) ** 2 <= 0.08 ** 2:
            return (1.0, 0.82, 0.15, 1.0)
        return (0.45, 0.70, 0.95, 1.0)
    return (0.98, 0.98, 0.98, 1.0)


def icon_image(rows):
    """One icon image: BITMAPINFOHEADER, 32-bit BGRA bottom-up, then the AND mask."""
    size = len(rows)
    header = struct.pack('<IiiHHIIiiII', 40, size, size * 2, 1, 32, 0, 0, 0, 0, 0, 0)
    xor = bytearray()
    for row in reversed(rows):
        for r, g, b, a in row:
            xor += bytes((b, g, r, a))
    mask_stride = ((size + 31) // 32) * 4
    mask = bytearray()
    for row in reversed(rows):
        line = bytearray(mask_stride)
        for x, (_, _, _, a) in enumerate(row):
            if a < 128:
                line[x // 8] |= 0x80 >> (x % 8)
        mask += line
    return header + bytes(xor) + bytes(mask)


def write_icon(path, paint, sizes=(32, 16)):
    images = [icon_image(render(size, paint)) for size in sizes]
    out = bytearray(struct.pack('<HHH', 0, 1, len(images)))
    offset = 6 + 16 * len(images)
    for size, image in zip(sizes, images):
        out += struct.pack('<BBBBHHII', size % 256, size % 256, 0, 0, 1, 32, len(image), offset)
        offset += len(image)
    for image in images:
        out += image
    with open(path, 'wb') as f:
        f.write(out)


# ---- the logo picture ---------------------------------------------------------

LOGO_W, LOGO_H = 320, 200
SWATCHES = 20


def logo_palette():
    """Entries 0..63: the background ramp; 64..83: the smooth swatches;
    84..87: the four flat steps; 88: frame line; 89: white."""
    pal = []
    for i in range(64):
        t = i / 63
        pal.append((0.78 + 0.22 * t, 0.86 + 0.14 * t, 0.97 + 0.03 * t))
    for i in range(SWATCHES):
        pal.append(hue(i / (SWATCHES - 1)))
    for step in range(4):
        pal.append(hue((step + 0.5) / 4))
    pal.append((0.16, 0.18, 0.26))
    pal.append((1.0, 1.0, 1.0))
    while len(pal) < 256:
        pal.append((0.0, 0.0, 0.0))
    return [tuple(int(round(c * 255)) for c in rgb) for rgb in pal]


def logo_pixels():
    """Rows top-down of palette indices. The middle stays a plain light ramp,
    since the program writes its lines of text there."""
    frame, white = 88, 89
    rows = []
    for y in range(LOGO_H):
        # Light at the middle, a little bluer towards the top and bottom.
        level = 63 - min(63, abs(y - LOGO_H // 2) * 63 // (LOGO_H // 2))
        row = [level] * LOGO_W
        band = None
        if 10 <= y < 26:
            band = 'smooth'
        elif 174 <= y < 190:
            band = 'flat'
        if band:
            left, width = 20, (LOGO_W - 40) // SWATCHES
            for i in range(SWATCHES):
                index = 64 + i if band == 'smooth' else 84 + min(i * 4 // SWATCHES, 3)
                for x in range(left + i * width, left + (i + 1) * width):
                    row[x] = index
            row[left - 1] = row[left + SWATCHES * width] = white
        for x in (0, 1, LOGO_W - 2, LOGO_W - 1):
            row[x] = frame
        if y in (0, 1, LOGO_H - 2, LOGO_H - 1):
            row = [frame] * LOGO_W
        rows.append(row)
    return rows


def rle8(rows):
    """Encodes bottom-up RLE8: runs of up to 255, an end-of-line after each
    row and an end-of-bitmap at the end."""
    out = bytearray()
    for row in reversed(rows):
        x = 0
        while x < len(row):
            run = 1
            while x + run < len(row) and run < 255 and row[x + run] == row[x]:
                run += 1
            out += bytes((run, row[x]))
            x += run
        out += b'\x00\x00'
    out[-2:] = b'\x00\x01'
    return bytes(out)


def write_logo(path):
    palette = logo_palette()
    bits = rle8(logo_pixels())
    header = struct.pack('<IiiHHIIiiII', 40, LOGO_W, LOGO_H, 1, 8, 1, len(bits), 0, 0, 256, 0)
    quads = b''.join(bytes((b, g, r, 0)) for r, g, b in palette)
    with open(path, 'wb') as f:
        f.write(header + quads + bits)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, '..', 'resources')
    write_icon(os.path.join(out_dir, 'korvanta.ico'), paint_frame_icon)
    write_icon(os.path.join(out_dir, 'image.ico'), paint_image_icon)
    write_logo(os.path.join(out_dir, 'korvanta_logo.dib'))


if __name__ == '__main__':
    main()
