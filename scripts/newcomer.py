#!/usr/bin/env python3
"""Does what the documents tell a newcomer to do: for each host that they hold in full, writes its files into an empty
directory, runs the commands and sees the file arrive. Says how long each command took.

usage: newcomer.py [--qt 5|6] DOCUMENT...

The library has to be there, installed or below CMAKE_PREFIX_PATH. Windows are not shown unless QT_QPA_PLATFORM says so.
A host is a section with files (a name alone on a line as code, then the block) and commands (blocks of "sh").
"""
import argparse
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SECTION = re.compile(r"^## +(.*)$", re.MULTILINE)
FILE = re.compile(r"^`([\w./-]+)`\n\n(```+)\w+\n(.*?)^\2$", re.MULTILINE | re.DOTALL)
COMMANDS = re.compile(r"^```sh\n(.*?)^```$", re.MULTILINE | re.DOTALL)
PATIENCE_S = 60


class Host:
    """One host in a directory of its own."""

    def __init__(self, title, text, qt):
        self.title = title
        self.files = {name: content for name, _, content in FILE.findall(text)}
        if qt == 6:
            # As docs/EMBEDDING.md says.
            self.files["CMakeLists.txt"] = self.files["CMakeLists.txt"].replace("(VornSync ", "(VornSyncQt6 ")
        self.commands = [line for block in COMMANDS.findall(text) for line in block.splitlines()]
        self.running = None

    def run(self, directory):
        for name, content in self.files.items():
            (directory / name).write_text(content, encoding="utf-8")
        self.output = directory / "output.txt"
        print(self.title)
        try:
            for command in self.commands:
                started = time.monotonic()
                self.execute(command, directory)
                print(f"  {time.monotonic() - started:5.1f} s  {command}", flush=True)
            if not self.running:
                self.fail("the commands start no program")
        finally:
            self.stop()

    def execute(self, command, directory):
        if command.startswith("./build/"):
            with self.output.open("w", encoding="utf-8") as output:
                self.running = subprocess.Popen(shlex.split(command), cwd=directory, stdin=subprocess.DEVNULL,
                                                stdout=output, stderr=output)
        else:
            done = subprocess.run(command, shell=True, cwd=directory, text=True, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            if done.returncode != 0:
                self.fail(f"'{command}' ended with {done.returncode}:\n{done.stdout}")
        if self.running:
            self.wait_for_arrival(directory)

    def wait_for_arrival(self, directory):
        """A command is over when what it has led to is to be seen: whatever is in "local" is in "distant"."""
        local = contents(directory / "local")
        if not local:
            self.fail("there is nothing to mirror")
        end = time.monotonic() + PATIENCE_S
        while contents(directory / "distant") != local or not self.has_said_so():
            if self.running.poll() is not None:
                self.fail(f"the program ended with {self.running.returncode}:\n{self.output.read_text()}")
            if time.monotonic() > end:
                self.fail(f"nothing has arrived, or the program does not say so:\n{self.output.read_text()}")
            time.sleep(0.02)

    def has_said_so(self):
        return '"sent"' not in self.files["main.cpp"] or "sent" in self.output.read_text(encoding="utf-8")

    def stop(self):
        if self.running:
            self.running.terminate()
            self.running.wait()

    def fail(self, reason):
        sys.exit(f"FAIL: {self.title}: {reason}")


def contents(directory):
    """None while something is on its way."""
    try:
        return {path.name: path.read_bytes() for path in directory.iterdir()}
    except FileNotFoundError:
        return None


def hosts(document, qt):
    pieces = SECTION.split(document.read_text(encoding="utf-8"))
    for title, text in zip(pieces[1::2], pieces[2::2]):
        if FILE.search(text):
            yield Host(f"{document.name}: {title}", text, qt)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--qt", type=int, choices=(5, 6), default=5)
    parser.add_argument("documents", metavar="DOCUMENT", type=Path, nargs="+")
    arguments = parser.parse_args()
    if "QT_QPA_PLATFORM" not in os.environ:
        # There is no OpenGL behind it.
        os.environ.update(QT_QPA_PLATFORM="offscreen", QT_QUICK_BACKEND="software")
    for document in arguments.documents:
        found = list(hosts(document, arguments.qt))
        if not found:
            sys.exit(f"FAIL: {document} holds no host")
        for host in found:
            with tempfile.TemporaryDirectory(prefix="newcomer_") as directory:
                host.run(Path(directory))


main()
