#!/usr/bin/env python3
"""Every link inside the reference leads somewhere, and every picture is there.

usage: reference_links.py HTML-DIRECTORY
"""
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    """What a page points at, and what in it can be pointed at."""

    def __init__(self, path):
        super().__init__()
        self.targets = []
        self.names = set()
        self.feed(path.read_text(encoding="utf-8"))
        self.close()

    def handle_starttag(self, tag, attrs):
        attributes = dict(attrs)
        self.names.update(attributes[key] for key in ("id", "name") if attributes.get(key))
        pointers = ("href", "src", "data") if tag == "object" else ("href", "src")
        self.targets += [attributes[key] for key in pointers if attributes.get(key)]


def main():
    directory = Path(sys.argv[1])
    pages = {path.name: Page(path) for path in directory.glob("*.html")}
    dead, seen = [], 0
    for name, page in pages.items():
        for target in map(urlsplit, page.targets):
            if target.scheme:
                continue
            seen += 1
            file, anchor = unquote(target.path) or name, unquote(target.fragment)
            if not (directory / file).exists() or (anchor and file in pages and anchor not in pages[file].names):
                dead.append(f"{name}: {target.geturl()}")
    if dead or seen == 0:
        sys.exit("\n".join(["links that lead nowhere:"] + dead))
    print(f"{seen} links in {len(pages)} pages")


main()
