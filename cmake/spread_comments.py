"""Doxygen's input filter: a comment stands for every declaration of the paragraph below it, as in "a property's
getter and setter"; Doxygen wants one for each. Lines keep their numbers.

usage: spread_comments.py HEADER
"""
import re
import sys

comment, follows_comment, inside, depth = [], False, False, 0
with open(sys.argv[1], encoding="utf-8") as header:
    for line in header:
        text = line.strip()
        if inside or not text.startswith("///"):
            starts = not inside
            if starts and (not text or re.match(r"//|#|\}|(public|protected|private):$", text)):
                comment, follows_comment = [], False
                starts = False
            elif starts:
                if comment and not follows_comment and not text.startswith("friend "):
                    line = f"/** {' '.join(comment)} */ {line}"
                follows_comment = False
            if starts or inside:
                code = text.split("//")[0].rstrip()
                if starts and re.match(r"(class|struct|enum|namespace)\b", code) and code.endswith("{"):
                    comment = []
                else:
                    depth += code.count("{") - code.count("}")
                    inside = depth > 0 or not code.endswith((";", "}", ","))
        else:
            if not follows_comment:
                comment = []
            comment.append(text[3:].strip())
            follows_comment = True
        sys.stdout.write(line)
