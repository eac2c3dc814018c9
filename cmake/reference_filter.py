#!/usr/bin/env python3
"""Doxygen's view of a Markdown document: its headings and the links to them as a forge has them.

usage: reference_filter.py FILE
"""
import re
import sys
from pathlib import Path


def anchor(document, heading):
    """The forge's name of a heading, in a name space of its own for each document."""
    words = re.sub(r"[^\w\- ]", "", heading.strip().lower().replace("`", ""))
    return f"{document.lower()}-{words.replace(' ', '-')}"


def link(document, match):
    label, target = match[1], match[2]
    if "://" in target or match[0].startswith("!"):
        return match[0]
    path, _, name = target.partition("#")
    if path and not path.endswith(".md"):
        return label  # a file of the repository, which the reference does not have
    if name:
        return f"[{label}](#{anchor(Path(path).stem or document, name.replace('-', ' '))})"
    return match[0]


def outside_code(document, text):
    text = re.sub(r"!?\[([^\]]*)\]\(([^)]*)\)", lambda match: link(document, match), text)
    # Commands are for the comments of the header; a letter's sign is not one.
    return text.replace("@", "\\@")


def main():
    path = Path(sys.argv[1])
    text = path.read_text(encoding="utf-8")
    if path.suffix != ".md":
        sys.stdout.write(text)
        return
    fenced, has_section, lines = False, False, []
    for line in text.split("\n"):
        if line.startswith("```"):
            fenced = not fenced
        elif not fenced:
            pieces = re.split(r"(`[^`]*`)", line)
            # A label may hold code, so links are looked for in whole lines.
            if "](" in line:
                line = outside_code(path.stem, line)
            else:
                line = "".join(piece if index % 2 else outside_code(path.stem, piece)
                               for index, piece in enumerate(pieces))
            heading = re.match(r"##+ (.*)", line)
            if heading:
                # A section comes before its first subsection.
                line = line if has_section else line.replace("###", "##", 1)
                has_section = True
                line += f" {{#{anchor(path.stem, heading[1])}}}"
        lines.append(line)
    sys.stdout.write("\n".join(lines))


main()
