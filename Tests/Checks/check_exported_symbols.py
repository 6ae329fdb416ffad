"""Compares what the shared library exports with the list that is kept in the tree.

usage: check_exported_symbols.py [--update] LIBRARY LIST

The list has, one a line and sorted, the functions and objects of namespace mox and the tables of its classes (vtable,
typeinfo and its name, thunks). Of the standard library, the compiler exports the instances of templates that happen not
to be inlined; they are weak, differ from build to build, are no part of the interface, and are left out. Anything else
is an error. --update writes the list.
"""
import re
import subprocess
import sys

OURS = re.compile(r"(?:(?:vtable|typeinfo|typeinfo name|VTT|guard variable) for |(?:non-virtual|virtual) thunk to )?"
                  r"mox::")
WEAK = {"W", "V", "u"}


def exported_symbols(library):
    """Our symbols, readable; and those that nobody should export."""
    lines = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library], check=True,
                           capture_output=True, text=True, env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"}).stdout
    ours, foreign = set(), set()
    for line in lines.splitlines():
        _, kind, name = line.split(" ", 2)
        if OURS.match(name):
            name = name.replace("std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
                                "std::string").replace("std::string >", "std::string>")
            name = name.replace("std::basic_string_view<char, std::char_traits<char> >", "std::string_view")
            ours.add(name)
        elif kind not in WEAK:
            foreign.add(name)
    return ours, foreign


def main(arguments):
    update = arguments[:1] == ["--update"]
    library, list_path = arguments[update:]
    ours, foreign = exported_symbols(library)
    if foreign:
        print("The library exports what is not its own:", *sorted(foreign), sep="\n    ")
        return 1
    if update:
        with open(list_path, "w", encoding="utf-8") as file:
            file.writelines(f"{name}\n" for name in sorted(ours))
        return 0
    with open(list_path, encoding="utf-8") as file:
        kept = file.read().splitlines()
    if kept == sorted(ours):
        print(f"{len(kept)} symbols")
        return 0
    if missing := sorted(set(kept) - ours):
        print("No longer exported, which breaks clients that use them:", *missing, sep="\n    ")
    if added := sorted(ours - set(kept)):
        print("Exported, and not in the list:", *added, sep="\n    ")
    if kept != sorted(set(kept)):
        print(f"{list_path} is not sorted, or names something twice.")
    print("When this is meant: cmake --build --preset dev --target update_exported_symbols, and commit the list.")
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
