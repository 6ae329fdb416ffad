"""Pictures and icon files of other writers, and another reader's view of ours.

usage: exchangeImages.py pictures FOLDER      writes pictures of many kinds
       exchangeImages.py icon FILE SIDE...    writes an icon file
       exchangeImages.py read FILE FOLDER     writes what Pillow finds in an icon file

Each picture NAME comes with NAME.rgba, its pixels as they are expected. Prints a line for each: NAME, width, height, and
by how much a value may differ where it is seen whole; as much more where it is seen less. The icon file comes with
SIDE.rgba beside it.
"""
import os
import subprocess
import sys

from PIL import Image, features


def pattern(wide, high, opaque=False):
    image = Image.new("RGBA", (wide, high))
    image.putdata([(x * 7 & 255, (y * 11 + x) & 255, (x * y) & 255, 255 if opaque else (x * 5 + y * 13) & 255)
                   for y in range(high) for x in range(wide)])
    return image


def announce(folder, name, pixels, size, tolerance=0):
    with open(os.path.join(folder, name + ".rgba"), "wb") as file:
        file.write(pixels)
    print(name, *size, tolerance)


def gray_pixels(values):
    return b"".join(bytes((value, value, value, 255)) for value in values)


def write_pictures(folder):
    size = (37, 23)
    clear = pattern(*size)
    solid = pattern(*size, opaque=True)

    def save(name, image, expected=None, tolerance=0, **options):
        image.save(os.path.join(folder, name), **options)
        announce(folder, name, (expected or image.convert("RGBA")).tobytes(), image.size, tolerance)

    palette = solid.convert("RGB").quantize(200)
    gray = solid.convert("L")
    black_and_white = solid.convert("1")
    save("rgba.png", clear)
    save("rgb.png", solid.convert("RGB"))
    save("gray.png", gray)
    save("gray-alpha.png", clear.convert("LA"))
    save("black-and-white.png", black_and_white)
    save("palette.png", palette)
    for bits in (1, 2, 4):
        save(f"palette-{bits}.png", solid.convert("RGB").quantize(2 ** bits), bits=bits)
    transparent = palette.copy()
    transparent.info["transparency"] = bytes(range(200))
    save("palette-alpha.png", transparent)
    deep = Image.new("I;16", size)
    values = [(x * 1789 + y * 977) & 0xFFFF for y in range(size[1]) for x in range(size[0])]
    deep.frombytes(b"".join(value.to_bytes(2, "little") for value in values))
    deep.save(os.path.join(folder, "gray-16.png"))
    announce(folder, "gray-16.png", gray_pixels((value * 255 + 32895) >> 16 for value in values), size)

    for compression in (None, "tiff_lzw", "packbits", "tiff_adobe_deflate", "tiff_deflate"):
        if compression and not features.check("libtiff"):
            continue
        kind = compression or "plain"
        save(f"rgba-{kind}.tiff", clear, compression=compression)
        save(f"rgb-{kind}.tiff", solid.convert("RGB"), compression=compression)
        save(f"gray-{kind}.tiff", gray, compression=compression)
        save(f"gray-alpha-{kind}.tiff", clear.convert("LA"), compression=compression)
        save(f"palette-{kind}.tiff", palette, compression=compression)
        save(f"black-and-white-{kind}.tiff", black_and_white, compression=compression)
    # The reader keeps the upper half of 16 bits, where the lower might have rounded it up.
    deep.save(os.path.join(folder, "gray-16.tiff"))
    announce(folder, "gray-16.tiff", gray_pixels(value >> 8 for value in values), size, 1)

    write_converted_pictures(folder, os.path.join(folder, "rgba.png"), clear)


def write_converted_pictures(folder, source, image):
    """What only ImageMagick writes."""
    tiff = ["-compress", "None"]
    big_endian = ["-define", "tiff:endian=msb"]
    multiplied = ["-define", "tiff:alpha=associated"]
    kinds = {
        "interlaced.png": ["-interlace", "PNG"],
        "rgba-16.png": ["-define", "png:bit-depth=16", "-define", "png:color-type=6"],
        "big-endian.tiff": tiff + big_endian,
        "big-endian-16.tiff": tiff + big_endian + ["-depth", "16"],
        "big-endian-lzw.tiff": ["-compress", "LZW"] + big_endian,
        "big-endian-zip.tiff": ["-compress", "Zip"] + big_endian,
        "big-endian-rle.tiff": ["-compress", "RLE"] + big_endian,
        "planes.tiff": tiff + ["-interlace", "plane"],
        "multiplied.tiff": tiff + multiplied,
        "multiplied-big-endian-16.tiff": tiff + multiplied + big_endian + ["-depth", "16"],
    }
    for name, options in kinds.items():
        path = os.path.join(folder, name)
        try:
            subprocess.run(["convert", source, *options, path], check=True)
        except FileNotFoundError:
            return
        announce(folder, name, image.tobytes(), image.size, 1 if "multiplied" in name else 0)


def write_icon(path, sides):
    images = {side: pattern(side, side) for side in sides}
    for side, image in images.items():
        announce(os.path.dirname(path), str(side), image.tobytes(), image.size)
    largest = max(sides)
    images[largest].save(path, append_images=[image for side, image in images.items() if side != largest])


def read_icon(path, folder):
    with Image.open(path) as icon:
        sizes = icon.info["sizes"]
    for size in sizes:
        with Image.open(path) as icon:
            icon.size = size
            icon.load()
            announce(folder, "x".join(map(str, size)), icon.convert("RGBA").tobytes(), icon.size)


command, *arguments = sys.argv[1:]
if command == "pictures":
    write_pictures(*arguments)
elif command == "icon":
    write_icon(arguments[0], [int(side) for side in arguments[1:]])
else:
    read_icon(*arguments)
