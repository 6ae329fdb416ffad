"""Checks that the one C++ example in the README is the source file that the installation test compiles.

usage: check_readme_example.py README SOURCE
"""
import pathlib
import re
import sys

blocks = re.findall(r"^```cpp\n(.*?)^```$", pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"),
                    re.MULTILINE | re.DOTALL)
source = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8")
if blocks != [source]:
    sys.exit(f"the README's C++ blocks ({len(blocks)}) are not exactly {sys.argv[2]}")
