#!/usr/bin/env python3
"""Takes the samples out of the documents and makes a project of them, so that each is compiled.

usage: samples.py OUTPUT-DIRECTORY DOCUMENT...

A C++ sample with main() is a program, one with includes or classes stands by itself, any other is a few statements
about an existing manager. A CMake sample is made a whole project with the console program in it, unless it is one:
those are built by scripts/newcomer.py. QML is written to files.
"""
import re
import sys
from pathlib import Path

FENCE = re.compile(r"^(```+) *(\w*)[^\n]*\n(.*?)^\1 *$", re.MULTILINE | re.DOTALL)
STATEMENTS = """#include <vorn_sync_manager.h>
#include <QtCore>
// What the sample leaves to the reader.
void sample(VornSyncManager& manager);
void sample(VornSyncManager& manager)
{{
    Q_UNUSED(manager)
#line {line} "{document}"
{text}}}
"""
PROJECT = """cmake_minimum_required(VERSION 3.21)
project(sample LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 17)
add_executable(my_application {program})
{text}"""


def samples(document):
    text = document.read_text(encoding="utf-8")
    for match in FENCE.finditer(text):
        yield match[2], text.count("\n", 0, match.start(3)) + 1, match[3]


def looks_like_code(text):
    return re.search(r"#include <|VornSyncManager[&*]|VornSyncManager \w+\(|find_package\(|target_link_libraries\(|^import Qt", text,
                     re.MULTILINE)


def main():
    output = Path(sys.argv[1])
    programs, objects, projects, quick = [], [], [], []
    for document in map(Path, sys.argv[2:]):
        for language, line, text in samples(document):
            name = f"{document.stem.lower()}_{line}"
            if language == "cpp":
                lone = re.search(r"^(#include|class|struct|namespace)\b", text, re.MULTILINE)
                source = output / f"{name}.cpp"
                located = f'#line {line} "{document}"\n{text}' if lone else STATEMENTS.format(
                    line=line, document=document, text=text)
                source.write_text(located, encoding="utf-8")
                (programs if "int main(" in text else objects).append(source)
            elif language == "cmake":
                if text.startswith("cmake_minimum_required"):
                    continue
                projects.append((name, text))
            elif language == "qml":
                (output / f"{name}.qml").write_text(text, encoding="utf-8")
                quick.append(name)
            elif looks_like_code(text):
                sys.exit(f"{document}:{line}: a sample without its language is not compiled")
    console = next(source for source in programs if "QCoreApplication app" in source.read_text(encoding="utf-8"))
    for name, text in projects:
        (output / name).mkdir()
        (output / name / "CMakeLists.txt").write_text(PROJECT.format(program=console, text=text), encoding="utf-8")
    lists = {"programs": programs, "objects": objects, "projects": [name for name, _ in projects], "qml": quick}
    for what, entries in lists.items():
        (output / f"{what}.txt").write_text("".join(f"{entry}\n" for entry in entries), encoding="utf-8")
        print(f"{what}: {len(entries)}")


main()
