"""Checks that the installed headers include each other and the standard library alone, and that all of them are
reached from MOXSubscribe.hpp.

usage: check_public_headers.py SOURCE_FOLDER HEADER,HEADER,...
"""
import pathlib
import re
import sys

folder = pathlib.Path(sys.argv[1])
installed = {str(pathlib.Path(header).relative_to(folder)) for header in sys.argv[2].split(",")}
problems = []
reached = set()
waiting = ["SDK/MOXSubscribe.hpp"]
while waiting:
    header = waiting.pop()
    if header in reached:
        continue
    reached.add(header)
    if header not in installed:
        problems.append(f"{header} is included by an installed header but is not installed")
        continue
    text = (folder / header).read_text(encoding="utf-8")
    for line in re.findall(r"^\s*#\s*include\s+(.*)$", text, re.MULTILINE):
        ours = re.fullmatch(r'"([^"]+)"', line)
        if ours:
            waiting.append(ours[1])
        elif not re.fullmatch(r"<[a-z_0-9]+>", line):
            # The standard library's names have neither a folder nor an ending.
            problems.append(f"{header} includes {line}")
problems += [f"{header} is installed but not reached from MOXSubscribe.hpp" for header in installed - reached]
print("\n".join(problems) or f"{len(reached)} headers")
sys.exit(1 if problems else 0)
