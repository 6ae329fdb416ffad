#!/usr/bin/env python3
"""Draws the icons of the sample feeds, each in several sizes, beside this program or into the folder that is
its argument. Needs nothing but Python's standard library."""

import math
import pathlib
import struct
import sys
import zlib

SIZES = (16, 32, 48, 64, 128, 256)

# A shape is a function from a point of the unit square, the origin at the top left, to its distance from the
# shape's edge: negative inside, positive outside. Distances make smooth edges at every size.


def box(left, top, right, bottom, radius=0.0):
    middle_x, middle_y = (left + right) / 2, (top + bottom) / 2
    half_x, half_y = (right - left) / 2 - radius, (bottom - top) / 2 - radius

    def distance(x, y):
        over_x, over_y = abs(x - middle_x) - half_x, abs(y - middle_y) - half_y
        outside = math.hypot(max(over_x, 0), max(over_y, 0))
        return outside + min(max(over_x, over_y), 0) - radius

    return distance


def disc(middle_x, middle_y, radius):
    return lambda x, y: math.hypot(x - middle_x, y - middle_y) - radius


def ellipse(middle_x, middle_y, radius_x, radius_y):
    smaller = min(radius_x, radius_y)
    return lambda x, y: (math.hypot((x - middle_x) / radius_x, (y - middle_y) / radius_y) - 1) * smaller


def stroke(points, width):
    """A line through the points, with round ends and corners."""
    segments = list(zip(points, points[1:]))

    def distance(x, y):
        nearest = math.inf
        for (from_x, from_y), (to_x, to_y) in segments:
            along_x, along_y = to_x - from_x, to_y - from_y
            share = ((x - from_x) * along_x + (y - from_y) * along_y) / (along_x**2 + along_y**2)
            share = min(max(share, 0), 1)
            nearest = min(nearest, math.hypot(x - from_x - share * along_x, y - from_y - share * along_y))
        return nearest - width / 2

    return distance


def polygon(*points):
    """A convex polygon, its corners in clockwise order on the screen."""
    edges = []
    for (from_x, from_y), (to_x, to_y) in zip(points, points[1:] + points[:1]):
        length = math.hypot(to_x - from_x, to_y - from_y)
        edges.append((from_x, from_y, (to_y - from_y) / length, (from_x - to_x) / length))
    return lambda x, y: max((x - px) * nx + (y - py) * ny for px, py, nx, ny in edges)


def without(shape, hole):
    return lambda x, y: max(shape(x, y), -hole(x, y))


def color(text, alpha=1.0):
    return tuple(int(text[index : index + 2], 16) / 255 for index in (0, 2, 4)) + (alpha,)


class Drawing:
    """Shapes from back to front, each with the colours at its top and at its bottom."""

    def __init__(self):
        self.layers = []

    def add(self, shape, top, bottom=None, top_edge=0.0, bottom_edge=1.0):
        self.layers.append((shape, top, bottom or top, top_edge, bottom_edge))

    def shadow(self):
        self.add(ellipse(0.5, 0.93, 0.40, 0.045), color("000000", 0.22))

    def pixel(self, x, y, pixel_width):
        red = green = blue = alpha = 0.0
        for shape, top, bottom, top_edge, bottom_edge in self.layers:
            coverage = min(max(0.5 - shape(x, y) / pixel_width, 0), 1)
            if coverage == 0:
                continue
            share = min(max((y - top_edge) / (bottom_edge - top_edge), 0), 1)
            layer = [start + (end - start) * share for start, end in zip(top, bottom)]
            above = layer[3] * coverage
            behind = alpha * (1 - above)
            alpha = above + behind
            red, green, blue = (
                (new * above + old * behind) / alpha for new, old in zip(layer, (red, green, blue))
            )
        return bytes(round(value * 255) for value in (red, green, blue, alpha))

    def png(self, size):
        rows = bytearray()
        for row in range(size):
            rows.append(0)
            for column in range(size):
                rows += self.pixel((column + 0.5) / size, (row + 0.5) / size, 1 / size)

        def chunk(kind, content):
            checked = kind + content
            return struct.pack(">I", len(content)) + checked + struct.pack(">I", zlib.crc32(checked))

        header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
        return (
            b"\x89PNG\r\n\x1a\n"
            + chunk(b"IHDR", header)
            + chunk(b"IDAT", zlib.compress(bytes(rows), 9))
            + chunk(b"IEND", b"")
        )


def calculator():
    drawing = Drawing()
    drawing.shadow()
    drawing.add(box(0.18, 0.05, 0.82, 0.93, 0.09), color("5C6B7F"), color("2E3947"))
    drawing.add(box(0.25, 0.12, 0.75, 0.32, 0.04), color("D9F2D0"), color("A5D095"), 0.12, 0.32)
    drawing.add(box(0.60, 0.16, 0.64, 0.28), color("3B5A33"))
    drawing.add(box(0.67, 0.16, 0.71, 0.28), color("3B5A33"))
    for row in range(4):
        for column in range(3):
            left, top = 0.25 + column * 0.175, 0.38 + row * 0.13
            accent = column == 2
            shade = ("FFB347", "E8871E") if accent else ("F4F6F8", "C9D1DA")
            drawing.add(
                box(left, top, left + 0.15, top + 0.105, 0.025), color(shade[0]), color(shade[1]), top, top + 0.1
            )
    return drawing


def notepad():
    drawing = Drawing()
    drawing.shadow()
    drawing.add(box(0.16, 0.10, 0.84, 0.93, 0.05), color("C99B3F"))
    drawing.add(box(0.16, 0.10, 0.84, 0.89, 0.05), color("FFFBE6"), color("FFEFB0"))
    drawing.add(box(0.16, 0.10, 0.84, 0.25, 0.05), color("E0563F"), color("B83A28"), 0.1, 0.25)
    for line in range(5):
        end = 0.58 if line == 4 else 0.74
        drawing.add(stroke(((0.26, 0.36 + line * 0.11), (end, 0.36 + line * 0.11)), 0.03), color("86A3C3"))
    for ring in range(5):
        x = 0.26 + ring * 0.12
        drawing.add(stroke(((x, 0.05), (x, 0.17)), 0.045), color("8C95A0"), color("59616B"), 0.03, 0.2)
    return drawing


def chart():
    drawing = Drawing()
    drawing.shadow()
    drawing.add(box(0.08, 0.08, 0.92, 0.92, 0.10), color("FFFFFF"), color("DCE6F0"))
    bars = ((0.20, 0.55, "4FA3E3", "2C77B8"), (0.40, 0.40, "5CC08A", "328F5D"), (0.60, 0.26, "F2A541", "CE7F1B"))
    for left, top, light, dark in bars:
        drawing.add(box(left, top, left + 0.15, 0.78, 0.025), color(light), color(dark), top, 0.78)
    drawing.add(stroke(((0.15, 0.16), (0.15, 0.81), (0.85, 0.81)), 0.035), color("51606F"))
    drawing.add(stroke(((0.22, 0.43), (0.42, 0.27), (0.58, 0.33), (0.80, 0.15)), 0.04), color("C2405B"))
    drawing.add(disc(0.80, 0.15, 0.045), color("C2405B"))
    return drawing


def mail():
    drawing = Drawing()
    drawing.shadow()
    drawing.add(box(0.06, 0.22, 0.94, 0.88, 0.07), color("F7FAFD"), color("C4D3E3"), 0.2, 0.9)
    drawing.add(stroke(((0.11, 0.83), (0.39, 0.55)), 0.025), color("9DB0C5"))
    drawing.add(stroke(((0.89, 0.83), (0.61, 0.55)), 0.025), color("9DB0C5"))
    drawing.add(polygon((0.09, 0.24), (0.91, 0.24), (0.50, 0.64)), color("FFFFFF"), color("DBE6F1"), 0.2, 0.65)
    drawing.add(stroke(((0.10, 0.26), (0.50, 0.64), (0.90, 0.26)), 0.03), color("7C93AD"))
    drawing.add(disc(0.84, 0.22, 0.15), color("F0524B"), color("C42B2B"), 0.07, 0.37)
    drawing.add(stroke(((0.80, 0.17), (0.85, 0.14), (0.85, 0.30)), 0.035), color("FFFFFF"))
    return drawing


def desktop():
    drawing = Drawing()
    drawing.shadow()
    drawing.add(polygon((0.42, 0.70), (0.58, 0.70), (0.62, 0.88), (0.38, 0.88)), color("8B95A1"), color("B9C1CA"))
    drawing.add(box(0.28, 0.86, 0.72, 0.92, 0.03), color("AEB7C1"))
    drawing.add(box(0.05, 0.10, 0.95, 0.74, 0.06), color("39434F"), color("1F262E"))
    drawing.add(box(0.10, 0.15, 0.90, 0.66, 0.02), color("3FA7E0"), color("1C5FA8"), 0.15, 0.66)
    drawing.add(box(0.16, 0.22, 0.50, 0.48, 0.02), color("FFFFFF", 0.92))
    drawing.add(box(0.16, 0.22, 0.50, 0.28, 0.02), color("FFC857"))
    drawing.add(box(0.40, 0.34, 0.80, 0.59, 0.02), color("F3F6FA"))
    drawing.add(box(0.40, 0.34, 0.80, 0.40, 0.02), color("57C08B"))
    drawing.add(disc(0.50, 0.70, 0.018), color("6FD08C"))
    return drawing


def brush():
    drawing = Drawing()
    drawing.shadow()
    palette = without(ellipse(0.46, 0.60, 0.42, 0.31), disc(0.62, 0.72, 0.075))
    drawing.add(palette, color("E9C79A"), color("B98A55"), 0.3, 0.9)
    blobs = ((0.20, 0.56, "E0463E"), (0.33, 0.43, "F3B52F"), (0.50, 0.40, "4DB86A"), (0.24, 0.72, "3D8FDB"))
    for x, y, paint in blobs:
        drawing.add(disc(x, y, 0.068), color(paint))
    drawing.add(disc(0.42, 0.77, 0.068), color("8C5BC4"))
    drawing.add(stroke(((0.93, 0.08), (0.66, 0.42)), 0.065), color("8A4B2A"), color("B86E3F"), 0.05, 0.45)
    drawing.add(stroke(((0.68, 0.395), (0.62, 0.47)), 0.085), color("C9D1DA"), color("8F99A5"), 0.38, 0.5)
    drawing.add(stroke(((0.61, 0.485), (0.56, 0.55)), 0.085), color("3D8FDB"))
    drawing.add(stroke(((0.56, 0.55), (0.525, 0.60)), 0.045), color("3D8FDB"))
    return drawing


DRAWINGS = {
    "calculator": calculator,
    "notepad": notepad,
    "chart": chart,
    "mail": mail,
    "desktop": desktop,
    "brush": brush,
}


def main():
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else __file__)
    folder = folder if len(sys.argv) > 1 else folder.parent
    for name, draw in DRAWINGS.items():
        for size in SIZES:
            (folder / f"{name}_{size}x{size}.png").write_bytes(draw().png(size))


if __name__ == "__main__":
    main()
