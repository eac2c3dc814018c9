#!/usr/bin/env python3
"""Every link inside the reference leads somewhere.

usage: reference_links.py HTML-DIRECTORY
"""
import re
import sys
from pathlib import Path

TARGET = re.compile(r'(?:href|src)="([^"]*)"')
NAME = re.compile(r'(?:id|name)="([^"]*)"')


def main():
    directory = Path(sys.argv[1])
    texts = {page.name: page.read_text(encoding="utf-8") for page in directory.glob("*.html")}
    names = {page: set(NAME.findall(text)) for page, text in texts.items()}
    dead, seen = [], 0
    for page, text in texts.items():
        for target in TARGET.findall(text):
            if "://" in target or target.startswith(("javascript:", "mailto:")):
                continue
            seen += 1
            file, _, name = target.partition("#")
            file = file or page
            if not (directory / file).exists() or (name and file in names and name not in names[file]):
                dead.append(f"{page}: {target}")
    if dead or seen == 0:
        sys.exit("\n".join(["links that lead nowhere:"] + dead))
    print(f"{seen} links in {len(texts)} pages")


main()
