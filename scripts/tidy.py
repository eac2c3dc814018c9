#!/usr/bin/env python3
"""Runs clang-tidy over the library and the programs; what was clean once and has not changed is not looked at again.

usage: scripts/tidy.py BUILD [FILE...]    BUILD holds compile_commands.json; without files all of libraries/ and apps/

A file is the same when the compiler's preprocessor, the checks and clang-tidy itself are: the marks lie in
$VORN_SYNC_CACHE/tidy (default ~/.cache/vorn_sync/tidy). Ends with 1 when anything is found.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CACHE = pathlib.Path(os.environ.get("VORN_SYNC_CACHE", "~/.cache/vorn_sync")).expanduser() / "tidy"
TOOL = "clang-tidy"


def preprocessed(entry):
    words = [word for word in shlex.split(entry["command"]) if not word.endswith("ccache")]
    # What the object file and its dependencies are called says nothing about the source.
    for option in ("-o", "-MF", "-MT"):
        if option in words:
            at = words.index(option)
            del words[at:at + 2]
    words = [word for word in words if word not in ("-c", "-MD")]
    # Comments count: clang-tidy obeys those that begin with NOLINT.
    return subprocess.run(words + ["-E", "-C"], cwd=entry["directory"], check=True, capture_output=True).stdout


def look(entry, build, version):
    text = preprocessed(entry).replace(os.fsencode(ROOT), b"~")
    settings = (ROOT / ".clang-tidy").read_bytes()
    mark = CACHE / hashlib.sha256(b"\0".join((text, settings, version))).hexdigest()
    if mark.exists():
        mark.touch()
        return 0, "", False
    done = subprocess.run([TOOL, "-quiet", "-p", build, entry["file"]], capture_output=True, text=True)
    if done.returncode == 0:
        mark.touch()
    return done.returncode, done.stdout + done.stderr, True


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    build = sys.argv[1]
    wanted = {str(pathlib.Path(name).resolve()) for name in sys.argv[2:]}
    folders = tuple(f"{ROOT / folder}/" for folder in ("libraries", "apps"))
    entries = {}
    for entry in json.loads((pathlib.Path(build) / "compile_commands.json").read_text()):
        file = entry["file"]
        generated = "_autogen/" in file or file.startswith(f"{ROOT}/build/")
        if not generated and (file in wanted if wanted else file.startswith(folders)):
            entries.setdefault(file, entry)
    CACHE.mkdir(parents=True, exist_ok=True)
    version = subprocess.run([TOOL, "--version"], check=True, capture_output=True).stdout
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda entry: look(entry, build, version), entries.values()))
    for status, text, _ in results:
        if status:
            print(text)
    looked = sum(is_new for _, _, is_new in results)
    print(f"clang-tidy: {len(entries)} files, {len(entries) - looked} of them known")
    sys.exit(1 if not entries or any(status for status, _, _ in results) else 0)


main()
