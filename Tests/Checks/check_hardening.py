"""Checks with readelf that programs and libraries are built so that a mistake in them is hard to exploit.

usage: check_hardening.py [--fortified] FILE=RUNPATH...   the library and the programs
       check_hardening.py --control-flow FILE...          the same: marked for control-flow enforcement
       check_hardening.py --control-flow ARCHIVE.a...     the objects in archives: likewise

RUNPATH is the one folder that the dynamic linker may be told to look in, empty for none. --fortified wants calls
of the C library that know their target's size, which only an optimised build has. Status 77 is a reason to skip.
"""
import os
import re
import subprocess
import sys

SKIPPED = 77


def readelf(*arguments):
    return subprocess.run(["readelf", "--wide", *arguments], check=True, capture_output=True, text=True,
                          env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"}).stdout


def problems_of(path, runpath, fortified):
    header = readelf("--file-header", path)
    segments = readelf("--segments", path)
    dynamic = readelf("--dynamic", path)
    imported = re.findall(r" UND (\w+)", readelf("--dyn-syms", path))
    is_program = "INTERP" in segments

    def flags(name):
        return re.findall(rf"\({name}\).*?(?:Flags:)?\s+([A-Z_0-9 ]+)$", dynamic, re.MULTILINE)

    if not re.search(r"Type:\s+DYN", header):
        yield "is not loaded at an address of chance"
    if is_program and "PIE" not in " ".join(flags("FLAGS_1")).split():
        yield "is a program that is not marked as position-independent"
    if not re.search(r"^\s+GNU_RELRO ", segments, re.MULTILINE):
        yield "has no part that is read-only after relocation (relro)"
    if "NOW" not in " ".join(flags("FLAGS_1")).split():
        yield "binds functions lazily, so that their addresses stay writable"
    stack = re.search(r"^\s+GNU_STACK\s.*\s([RWE ]{3})\s+0x", segments, re.MULTILINE)
    if not stack or "E" in stack[1]:
        yield "wants an executable stack"
    for flags_of_segment in re.findall(r"^\s+LOAD\s.*\s([RWE ]{3})\s+0x", segments, re.MULTILINE):
        if "W" in flags_of_segment and "E" in flags_of_segment:
            yield "has memory that is writable and executable"
    if "TEXTREL" in dynamic:
        yield "changes its code when it is loaded (text relocations)"
    if "(RPATH)" in dynamic:
        yield "has an RPATH, which no environment can override"
    folders = re.findall(r"\(RUNPATH\).*\[(.*)\]", dynamic)
    # CMake and the launcher's link keep room for a longer folder: empty entries, or a row of "/".
    folders = [re.sub("(?<=.)/+$", "", folder.rstrip(":")) for folder in folders]
    if folders != ([runpath] if runpath else []):
        yield f"looks for libraries in {folders}, not in {[runpath] if runpath else []}"
    if "__stack_chk_fail" not in imported:
        yield "has no guarded stack frame"
    if fortified and not any(re.fullmatch(r"__\w+_chk", name) for name in imported
                             if name != "__stack_chk_fail"):
        yield "has no fortified call"


def lacks_control_flow_marks(notes):
    return not re.search(r"x86 feature:.*\bIBT\b.*\bSHSTK\b", notes)


def startup_file_without_marks():
    """The first of the C library's startup files without the marks: the linker then leaves them out too."""
    for name in ("Scrt1.o", "crti.o", "crtn.o"):
        path = subprocess.run([os.environ.get("CXX", "cc"), f"-print-file-name={name}"], check=True, capture_output=True,
                              text=True).stdout.strip()
        if lacks_control_flow_marks(readelf("--notes", path)):
            return name
    return None


def check_control_flow(paths):
    problems = []
    for path in paths:
        notes = readelf("--notes", path)
        # Of an archive, readelf prints "File: ARCHIVE(OBJECT)" before each object's notes.
        parts = re.split(r"^File: (.*)$", notes, flags=re.MULTILINE)[1:] if path.endswith(".a") else [path, notes]
        if not parts:
            problems.append(f"{path} has no objects")
        problems += [f"{name} is not marked for control-flow enforcement"
                     for name, of_object in zip(parts[::2], parts[1::2]) if lacks_control_flow_marks(of_object)]
    if problems and not any(path.endswith(".a") for path in paths) and (without := startup_file_without_marks()):
        print(f"skipped: this system's {without} is not marked for control-flow enforcement, so no program can be")
        return SKIPPED
    print("\n".join(problems) or f"{len(paths)} files")
    return 1 if problems else 0


def main(arguments):
    if arguments[:1] == ["--control-flow"]:
        return check_control_flow(arguments[1:])
    fortified = arguments[:1] == ["--fortified"]
    files = [argument.split("=", 1) for argument in arguments[fortified:]]
    problems = [f"{path} {problem}" for path, runpath in files for problem in problems_of(path, runpath, fortified)]
    print("\n".join(problems) or f"{len(files)} files")
    return 1 if problems or not files else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
