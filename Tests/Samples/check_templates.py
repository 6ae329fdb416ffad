"""Looks at the templates with other programs' eyes.

usage: check_templates.py bundles FOLDER VERSION RESOURCES | icons SOURCES | size FOLDER
"""
import pathlib
import plistlib
import subprocess
import sys
import tempfile

TEMPLATES = {
    "DockApplication": ("com.Korvan.DockApplication", "DockApplication.icns"),
    "Korvan Viewer": ("com.korvan.TarvioViewer", "025_Apps_Combo_Mac.icns"),
}
SIZES = {(16, 16), (32, 32), (48, 48), (128, 128), (256, 256)}


def expect(condition, message):
    if not condition:
        sys.exit(f"check_templates.py: {message}")


def contents(folder, name):
    return pathlib.Path(folder) / f"{name}.app" / "Contents"


def png_size(path):
    header = path.read_bytes()[:24]
    return int.from_bytes(header[16:20], "big"), int.from_bytes(header[20:24], "big")


def check_icon(path):
    with tempfile.TemporaryDirectory() as scratch:
        subprocess.run(["icns2png", "-x", "-o", scratch, path], check=True, stdout=subprocess.DEVNULL)
        found = {png_size(image) for image in pathlib.Path(scratch).iterdir()}
    expect(found == SIZES, f"{path} has the sizes {sorted(found)}")


def strings_in(path):
    """The lines `"key" = "value";` of a file in which nothing is escaped."""
    text = path.read_text(encoding="utf-8")
    lines = [line for line in text.splitlines() if line.startswith('"')]
    expect(all(line.endswith('";') and line.count('"') == 4 for line in lines), f"{path} is malformed")
    return {line.split('"')[1]: line.split('"')[3] for line in lines}


def check_bundles(folder, version, resources):
    languages = {path.name for path in pathlib.Path(resources).glob("*.lproj")}
    expect(len(languages) >= 4, f"only {languages} have error texts")
    for name, (identifier, icon) in TEMPLATES.items():
        bundle = contents(folder, name)
        with (bundle / "Info.plist").open("rb") as file:
            information = plistlib.load(file)
        expected = {
            "CFBundleName": name,
            "CFBundleIdentifier": identifier,
            "CFBundleIconFile": icon,
            "CFBundlePackageType": "APPL",
            "CFBundleDevelopmentRegion": "en",
            "CFBundleExecutable": "launcher",
            "CFBundleDocumentTypes": [],
            "CFBundleShortVersionString": version,
            "KorvanVersionString": version,
            "KVLaunchURLSchemes": [],
        }
        for key, value in expected.items():
            expect(information.get(key) == value, f"{name}: {key} is {information.get(key)!r}, not {value!r}")
        for key in ("KVClientProgram", "KVDesktopViewer"):
            expect(key not in information, f"{name} has {key}, which is for stubs and for integrators")
        expect((bundle / "MacOS" / "launcher").stat().st_mode & 0o111 == 0o111, f"{name}: nothing to execute")
        expect(not (bundle / "Resources" / "Korvalias.plist").exists(), f"{name} is a subscription itself")
        check_icon(bundle / "Resources" / icon)
        found = {path.name for path in (bundle / "Resources").glob("*.lproj")}
        expect(found == languages, f"{name} is in {found}, the error texts are in {languages}")
        texts = {language: strings_in(bundle / "Resources" / language / "InfoPlist.strings") for language in languages}
        for language, strings in texts.items():
            expect(strings.keys() == texts["en.lproj"].keys(), f"{name}: {language} has other keys")
            expect(all(strings.values()), f"{name}: {language} has empty texts")
        for key in texts["en.lproj"]:
            expect(len({strings[key] for strings in texts.values()}) == len(texts), f"{name}: {key} is not translated")
            expect(texts["en.lproj"][key] == information[key], f"{name}: {key} differs from the information list")


def check_icons(sources):
    with tempfile.TemporaryDirectory() as scratch:
        subprocess.run([sys.executable, "-B", pathlib.Path(sources) / "Icons" / "draw.py", scratch], check=True)
        for name, (_, icon) in TEMPLATES.items():
            drawn = contents(scratch, name) / "Resources" / icon
            kept = contents(sources, name) / "Resources" / icon
            expect(drawn.read_bytes() == kept.read_bytes(), f"{kept} is not what Icons/draw.py draws")


def check_size(folder):
    for name in TEMPLATES:
        size = (contents(folder, name) / "MacOS" / "launcher").stat().st_size
        expect(size <= 64 * 1024, f"the launcher of {name} takes {size} bytes")


{"bundles": check_bundles, "icons": check_icons, "size": check_size}[sys.argv[1]](*sys.argv[2:])
