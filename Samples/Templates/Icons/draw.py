#!/usr/bin/env python3
"""Draws the icon files of the templates into the templates beside this folder, or into the folder that is its
argument. Needs nothing but Python's standard library; the same program gives the same bytes each time."""

import importlib.util
import pathlib
import struct
import sys

HERE = pathlib.Path(__file__).resolve().parent


def drawing_tools():
    """The program that draws the icons of the sample feeds, as a module."""
    specification = importlib.util.spec_from_file_location("feed_icons", HERE.parents[1] / "Icons" / "draw.py")
    module = importlib.util.module_from_spec(specification)
    specification.loader.exec_module(module)
    return module


tools = drawing_tools()
box, color, disc, polygon, stroke = tools.box, tools.color, tools.disc, tools.polygon, tools.stroke

# Sizes with their own elements for colours and for the mask; every reader of such files knows these.
PLANAR = ((16, b"is32", b"s8mk"), (32, b"il32", b"l8mk"), (48, b"ih32", b"h8mk"), (128, b"it32", b"t8mk"))
# Sizes whose element is a PNG file.
WHOLE = ((256, b"ic08"),)


def dock_application():
    """An open window over an arrow that leads out of it."""
    drawing = tools.Drawing()
    drawing.shadow()
    drawing.add(box(0.06, 0.10, 0.94, 0.90, 0.10), color("F8FAFC"), color("CBD6E2"), 0.1, 0.9)
    drawing.add(box(0.06, 0.10, 0.94, 0.28, 0.09), color("5B8DEF"), color("3563C4"), 0.1, 0.28)
    drawing.add(box(0.06, 0.22, 0.94, 0.29), color("3563C4"))
    for x, light in ((0.15, "FF7B72"), (0.23, "FFD166"), (0.31, "6FD08C")):
        drawing.add(disc(x, 0.19, 0.028), color(light))
    drawing.add(stroke(((0.30, 0.74), (0.62, 0.46)), 0.085), color("35B37E"), color("1E8459"), 0.4, 0.75)
    drawing.add(polygon((0.50, 0.37), (0.74, 0.36), (0.71, 0.60)), color("35B37E"), color("1E8459"), 0.36, 0.7)
    return drawing


def viewer():
    """A screen with nine small programs on it."""
    drawing = tools.Drawing()
    drawing.shadow()
    drawing.add(polygon((0.41, 0.72), (0.59, 0.72), (0.63, 0.89), (0.37, 0.89)), color("97A1AD"), color("C3CAD2"))
    drawing.add(box(0.26, 0.87, 0.74, 0.93, 0.03), color("B4BCC6"))
    drawing.add(box(0.04, 0.07, 0.96, 0.76, 0.07), color("46505C"), color("232A32"), 0.07, 0.76)
    drawing.add(box(0.09, 0.12, 0.91, 0.69, 0.03), color("7A6CF0"), color("3B2F9E"), 0.12, 0.69)
    shades = ("FFD166", "6FD08C", "FF7B72", "8ED1FC", "FFFFFF", "F4A261", "C6E48B", "F7AEF8", "9BF6FF")
    for index, shade in enumerate(shades):
        left, top = 0.22 + index % 3 * 0.205, 0.175 + index // 3 * 0.165
        drawing.add(box(left, top, left + 0.15, top + 0.13, 0.03), color(shade))
    return drawing


def pixels(drawing, size):
    return [
        drawing.pixel((column + 0.5) / size, (row + 0.5) / size, 1 / size)
        for row in range(size)
        for column in range(size)
    ]


def runs(channel):
    """One colour packed: a byte n below 128 before n + 1 bytes as they are, else before one that comes n - 125
    times."""
    packed, waiting, index = bytearray(), bytearray(), 0

    def flush():
        for start in range(0, len(waiting), 128):
            part = waiting[start : start + 128]
            packed.append(len(part) - 1)
            packed.extend(part)
        waiting.clear()

    while index < len(channel):
        length = 1
        while length < 130 and channel[index + length : index + length + 1] == channel[index : index + 1]:
            length += 1
        if length >= 3:
            flush()
            packed += bytes((length + 125, channel[index]))
        else:
            waiting += channel[index : index + length]
        index += length
    flush()
    return bytes(packed)


def element(kind, content):
    return kind + struct.pack(">I", len(content) + 8) + content


def icns(drawing):
    content = b""
    for size, color_kind, mask_kind in PLANAR:
        red, green, blue, alpha = (bytes(channel) for channel in zip(*pixels(drawing, size)))
        filler = bytes(4) if color_kind == b"it32" else b""
        content += element(color_kind, filler + runs(red) + runs(green) + runs(blue)) + element(mask_kind, alpha)
    for size, kind in WHOLE:
        content += element(kind, drawing.png(size))
    return element(b"icns", content)


ICONS = {
    "DockApplication.app/Contents/Resources/DockApplication.icns": dock_application,
    "Korvan Viewer.app/Contents/Resources/025_Apps_Combo_Mac.icns": viewer,
}


def main():
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else HERE.parent
    for path, draw in ICONS.items():
        file = folder / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(icns(draw()))


if __name__ == "__main__":
    main()
