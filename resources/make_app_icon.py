#!/usr/bin/env python3
"""Writes VeskonApp.ico, the library's application icon (resource 219), at 16, 32 and 48 pixels.

Each image is a 32-bit BMP entry (BGRA rows bottom-up plus the 1-bit AND mask), the form every
Windows version reads. The picture is drawn here, pixel by pixel, so the icon can be rebuilt
without any image tool: a rounded blue square with a white "V" and a soft edge.

Run: python3 resources/make_app_icon.py   (writes resources/VeskonApp.ico)
"""
import math
import os
import struct


def coverage(size, x, y):
    """Share of pixel (x, y) inside the rounded square, by 4x4 supersampling."""
    radius = size * 0.22
    inside = 0
    for sy in range(4):
        for sx in range(4):
            px = x + (sx + 0.5) / 4
            py = y + (sy + 0.5) / 4
            cx = min(max(px, radius), size - radius)
            cy = min(max(py, radius), size - radius)
            if (px - cx) ** 2 + (py - cy) ** 2 <= radius ** 2:
                inside += 1
    return inside / 16.0


def distance_to_segment(px, py, ax, ay, bx, by):
    dx, dy = bx - ax, by - ay
    t = max(0.0, min(1.0, ((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy)))
    return math.hypot(px - (ax + t * dx), py - (ay + t * dy))


def v_coverage(size, x, y):
    """Share of pixel (x, y) covered by the letter V (two thick strokes)."""
    width = max(1.6, size * 0.13)
    top, bottom = size * 0.24, size * 0.78
    left, right, middle = size * 0.26, size * 0.74, size * 0.5
    inside = 0
    for sy in range(4):
        for sx in range(4):
            px = x + (sx + 0.5) / 4
            py = y + (sy + 0.5) / 4
            d = min(distance_to_segment(px, py, left, top, middle, bottom),
                    distance_to_segment(px, py, right, top, middle, bottom))
            if d <= width / 2:
                inside += 1
    return inside / 16.0


def pixel(size, x, y):
    a = coverage(size, x, y)
    if a == 0:
        return (0, 0, 0, 0)
    # Vertical gradient from a light to a deep blue.
    t = y / max(1, size - 1)
    r = int(40 + (10 - 40) * t)
    g = int(140 + (80 - 140) * t)
    b = int(230 + (170 - 230) * t)
    v = v_coverage(size, x, y)
    r = int(r + (255 - r) * v)
    g = int(g + (255 - g) * v)
    b = int(b + (255 - b) * v)
    return (b, g, r, int(round(255 * a)))


def bmp_entry(size):
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0, 0, 0, 0, 0, 0)
    rows = []
    for y in range(size - 1, -1, -1):  # bottom-up
        rows.append(b"".join(struct.pack("<BBBB", *pixel(size, x, y)) for x in range(size)))
    mask_stride = ((size + 31) // 32) * 4
    mask = []
    for y in range(size - 1, -1, -1):
        bits = bytearray(mask_stride)
        for x in range(size):
            if pixel(size, x, y)[3] == 0:
                bits[x // 8] |= 0x80 >> (x % 8)
        mask.append(bytes(bits))
    return header + b"".join(rows) + b"".join(mask)


def main():
    sizes = [16, 32, 48]
    images = [bmp_entry(s) for s in sizes]
    out = struct.pack("<HHH", 0, 1, len(sizes))
    offset = 6 + 16 * len(sizes)
    for s, data in zip(sizes, images):
        out += struct.pack("<BBBBHHII", s, s, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    out += b"".join(images)
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "VeskonApp.ico")
    with open(path, "wb") as f:
        f.write(out)
    print(path, len(out), "bytes")


if __name__ == "__main__":
    main()
