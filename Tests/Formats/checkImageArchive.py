"""Checks the keyed archive of an image on standard input: its representations have the widths that are the
arguments. Every property of the archive is checked by a property list reader that is not ours."""

import plistlib
import struct
import sys

archive = plistlib.loads(sys.stdin.buffer.read(), fmt=plistlib.FMT_BINARY)
widths = [int(argument) for argument in sys.argv[1:]]
objects = archive["$objects"]


def follow(reference):
    assert isinstance(reference, plistlib.UID), reference
    return objects[reference.data]


def check_class(value, *hierarchy):
    assert follow(value["$class"]) == {"$classname": hierarchy[0], "$classes": list(hierarchy)}, value


def fields(tiff):
    """The fields of the first directory whose values are numbers that stand in the directory itself."""
    assert tiff[:4] == b"II*\0"
    (start,) = struct.unpack_from("<I", tiff, 4)
    (count,) = struct.unpack_from("<H", tiff, start)
    found = {}
    for index in range(count):
        tag, kind, length, value = struct.unpack_from("<HHII", tiff, start + 2 + 12 * index)
        found[tag] = (value & 0xFFFF if kind == 3 and length == 1 else value, length)
    (following,) = struct.unpack_from("<I", tiff, start + 2 + 12 * count)
    assert following == 0, "one picture only"
    return found


assert set(archive) == {"$version", "$archiver", "$top", "$objects"}
assert archive["$version"] == 100000
assert archive["$archiver"] == "NSKeyedArchiver"
assert archive["$top"] == {"root": plistlib.UID(1)}
assert objects[0] == "$null"

image = objects[1]
check_class(image, "NSImage", "NSObject")
assert set(image) == {"$class", "NSImageFlags", "NSSize", "NSReps", "NSColor"}
assert image["NSImageFlags"] == 0x20C00000
assert follow(image["NSSize"]) == "{%d, %d}" % (widths[0], widths[0])

color = follow(image["NSColor"])
check_class(color, "NSColor", "NSObject")
assert set(color) == {"$class", "NSColorSpace", "NSWhite"}
assert color["NSColorSpace"] == 3 and color["NSWhite"] == b"0 0\0"

pairs = follow(image["NSReps"])
check_class(pairs, "NSMutableArray", "NSArray", "NSObject")
assert len(pairs["NS.objects"]) == len(widths)
zeros = set()
for pair, width in zip(map(follow, pairs["NS.objects"]), widths):
    check_class(pair, "NSArray", "NSObject")
    zero, representation = pair["NS.objects"]
    assert follow(zero) == 0
    zeros.add(zero.data)
    representation = follow(representation)
    check_class(representation, "NSBitmapImageRep", "NSImageRep", "NSObject")
    assert set(representation) == {"$class", "NSTIFFRepresentation"}
    tiff = follow(representation["NSTIFFRepresentation"])
    assert isinstance(tiff, bytes)
    found = fields(tiff)
    assert found[256][0] == width and found[257][0] == width
    assert found[258][1] == 4 and struct.unpack_from("<4H", tiff, found[258][0]) == (8, 8, 8, 8)
    assert found[262][0] == 2, "red, green, blue"
    assert found[277][0] == 4
    assert found[338][0] == 2, "alpha that is not multiplied into the colours"
assert len(zeros) == 1, "the zero is shared"
