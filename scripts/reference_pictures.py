"""What the generators of picture references share: the pixels of a one-pixel line as the platform's
LineTo draws it, and a minimal PNG writer. Imported by scripts/make_measurement_references and
scripts/make_spatial_series; it needs only Python's standard library.

A line from A to B (LineTo) is one pixel wide and leaves out B: along its major axis (x when
|dx| >= |dy|) it takes each step k from 0 to n-1, n = |major extent|, and the minor coordinate nearest
to k x minor extent / n, a tie going toward A.
"""

import math
import struct
import zlib
from fractions import Fraction


def line_pixels(a, b):
    dx, dy = b[0] - a[0], b[1] - a[1]
    x_major = abs(dx) >= abs(dy)
    n = abs(dx) if x_major else abs(dy)
    minor = dy if x_major else dx
    step = 1 if (dx if x_major else dy) > 0 else -1
    pixels = []
    for k in range(n):
        offset = math.ceil(Fraction(k * minor, n) - Fraction(1, 2)) if minor >= 0 else \
            -math.ceil(Fraction(k * -minor, n) - Fraction(1, 2))
        if x_major:
            pixels.append((a[0] + step * k, a[1] + offset))
        else:
            pixels.append((a[0] + offset, a[1] + step * k))
    return pixels


def write_png(path, width, height, pixels):
    """An 8-bit RGB PNG of width x height: `pixels` maps (x, y) to an (r, g, b) triple, black elsewhere."""
    rows = bytearray()
    for y in range(height):
        rows.append(0)
        for x in range(width):
            rows.extend(pixels.get((x, y), (0, 0, 0)))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF)

    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n")
        out.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)))
        out.write(chunk(b"IDAT", zlib.compress(bytes(rows), 9)))
        out.write(chunk(b"IEND", b""))
