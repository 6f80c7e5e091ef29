"""Raw packed DIBs for the colour fixtures (the 40-byte header, the colour
table, the rows bottom-up padded to 32 bits, padding zero), the noise
generator their inputs are drawn from, and the sample helpers they share."""
import struct


def stride(width, bits):
    return (width * bits + 31) // 32 * 4


def dib(width, height, bits, table, clr_used, rows):
    """table: (R, G, B) entries. rows: in file order (bottom-up), a pixel an index
    for 1, 4 and 8 bits, a word for 16, (R, G, B) for 24, (R, G, B, A) for 32."""
    out = bytearray(struct.pack('<IiiHHIIiiII', 40, width, height, 1, bits, 0, stride(width, bits) * height, 0, 0,
                                clr_used, clr_used))
    for (r, g, b) in table:
        out += bytes((b, g, r, 0))
    for row in rows:
        line = bytearray(stride(width, bits))
        for x, v in enumerate(row):
            if bits == 1:
                line[x // 8] |= (v & 1) << (7 - x % 8)
            elif bits == 4:
                line[x // 2] |= (v & 15) << (4 if x % 2 == 0 else 0)
            elif bits == 8:
                line[x] = v
            elif bits == 16:
                line[2 * x], line[2 * x + 1] = v & 255, v >> 8
            elif bits == 24:
                line[3 * x:3 * x + 3] = bytes((v[2], v[1], v[0]))
            elif bits == 32:
                line[4 * x:4 * x + 4] = bytes((v[2], v[1], v[0], v[3]))
        out += line
    return bytes(out)


class Lcg:
    def __init__(self, seed):
        self.x = seed

    def byte(self):
        self.x = (self.x * 1103515245 + 12345) & 0x7FFFFFFF
        return (self.x >> 16) & 0xFF


def clamp(v):
    return 0 if v < 0 else 255 if v > 255 else v


def nearest(palette, r, g, b):
    """The first entry at the least sum of absolute differences."""
    best, best_d = 0, None
    for i, (pr, pg, pb) in enumerate(palette):
        d = abs(r - pr) + abs(g - pg) + abs(b - pb)
        if best_d is None or d < best_d:
            best, best_d = i, d
    return best
