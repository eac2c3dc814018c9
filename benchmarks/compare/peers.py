#!/usr/bin/env python3
"""Runs what else keeps directories alike on the same small tasks as vorn_sync, and prints what came of each.

usage: benchmarks/compare/peers.py BUILD_DIR [--only NAME,...] [--small N] [--work DIR]

Needs lsyncd, unison, syncthing, rsync and bindfs (Debian's packages), and root for two of the tasks. All run with
their defaults: lsyncd with a delay of 1 s, unison every second, rsync -a --delete every second, syncthing as two
devices on loopback that know nobody else. Nothing fails because an answer is not liked: it is a table.
"""
import argparse
import os
import re
import shutil
import signal
import statistics
import subprocess
import time

KEPT = b"first version of a file that is overwritten"


def wait(condition, seconds=60.0):
    """Seconds until the condition held, or None."""
    start = time.monotonic()
    while time.monotonic() - start < seconds:
        if condition():
            return time.monotonic() - start
        time.sleep(0.02)
    return None


def write(path, content):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


def read(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError:
        return None


def files_below(*roots):
    return [os.path.join(d, n) for root in roots for d, _, names in os.walk(root) for n in names]


class Peer:
    def __init__(self, root, build):
        self.root, self.build = root, build
        self.src, self.dst, self.own = (os.path.join(root, n) for n in ("src", "dst", "own"))
        for path in (self.src, self.dst, self.own):
            os.makedirs(path)
        self.environment = dict(os.environ, HOME=self.own, LC_ALL="C.UTF-8", UNISON=self.own)
        self.processes = []
        self.log = open(os.path.join(root, "log"), "ab")  # pylint: disable=consider-using-with

    def run(self, *command):
        self.processes.append(subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL,
                                               stdout=self.log, stderr=self.log, start_new_session=True))

    def stop(self, number=signal.SIGTERM):
        for process in self.processes:
            try:
                os.killpg(process.pid, number)
            except ProcessLookupError:
                pass
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
        self.processes = []


class VornSync(Peer):
    name = "vorn_sync"

    def __init__(self, root, build):
        super().__init__(root, build)
        self.program = os.path.join(build, "apps/vorn_sync/vorn_sync")
        self.state = ["--state", os.path.join(self.own, "state")]

    def start(self):
        self.run(self.program, "mirror", *self.state, "--watch", "--interval", "5000", "--alias", "a", self.src,
                 self.dst)

    def rename(self, old, new):
        # Refused while the file is being sent.
        wait(lambda: subprocess.run([self.program, "rename", *self.state, "a", old, new], env=self.environment,
                                    capture_output=True).returncode == 0)


class Rsync(Peer):
    name = "rsync loop"

    def start(self):
        self.run("sh", "-c", 'while :; do rsync -a --delete "$1/" "$2/"; sleep 1; done', "sh", self.src, self.dst)


class Lsyncd(Peer):
    name = "lsyncd"

    def start(self):
        self.run("lsyncd", "-nodaemon", "-delay", "1", "-rsync", self.src, self.dst)


class Unison(Peer):
    name = "unison"

    def start(self):
        self.run("unison", self.src, self.dst, "-batch", "-auto", "-repeat", "1", "-ui", "text")


class Syncthing(Peer):
    name = "syncthing"

    def home(self, side):
        return os.path.join(self.own, side)

    def configure(self):
        ids = {}
        for side in "ab":
            subprocess.run(["syncthing", "generate", "--home", self.home(side), "--no-default-folder"], check=True,
                           capture_output=True, env=self.environment)
            with open(os.path.join(self.home(side), "config.xml"), encoding="utf-8") as file:
                ids[side] = re.search(r'<device id="([A-Z0-9-]+)"', file.read())[1]
        for side, path, port in (("a", self.src, 22501), ("b", self.dst, 22502)):
            other = "b" if side == "a" else "a"
            config = os.path.join(self.home(side), "config.xml")
            with open(config, encoding="utf-8") as file:
                text = file.read()
            peer = (f'<device id="{ids[other]}" name="{other}"><address>tcp://127.0.0.1:'
                    f'{22503 - (port - 22500)}</address></device>')
            folder = (f'<folder id="f" label="f" path="{path}" type="sendreceive" rescanIntervalS="3600" '
                      f'fsWatcherEnabled="true" fsWatcherDelayS="10">'
                      f'<device id="{ids["a"]}"></device><device id="{ids["b"]}"></device></folder>')
            text = re.sub(r"(<configuration[^>]*>)", r"\1" + folder + peer, text, count=1)
            text = text.replace("<listenAddress>default<", f"<listenAddress>tcp://127.0.0.1:{port}<")
            for option in ("globalAnnounceEnabled", "localAnnounceEnabled", "relaysEnabled", "natEnabled",
                           "startBrowser", "crashReportingEnabled"):
                text = re.sub(f"<{option}>true<", f"<{option}>false<", text)
            text = re.sub(r"<urAccepted>0<", "<urAccepted>-1<", text)
            text = re.sub(r"<address>127.0.0.1:\d+</address>", f"<address>127.0.0.1:{port + 10}</address>", text)
            with open(config, "w", encoding="utf-8") as file:
                file.write(text)

    def start(self):
        if not os.path.exists(self.home("a")):
            self.configure()
        for side in "ab":
            self.run("syncthing", "serve", "--home", self.home(side), "--no-browser", "--no-upgrade", "--no-restart")


# --- Tasks: each gives what stands in its cell ------------------------------------------------------------


def arrives(peer, name, seconds=40, content=b"content"):
    write(os.path.join(peer.src, name), content)
    return wait(lambda: read(os.path.join(peer.dst, name)) == content, seconds)


def yes(found):
    return "no" if found is None or found is False else "yes"


def latency(peer, _):
    times = [arrives(peer, f"quick {i}.txt") for i in range(5)]
    return "no" if None in times else f"{statistics.median(times):.1f} s"


def deep(peer, _):
    return yes(arrives(peer, "one/two/three/four.txt"))


def newline(peer, _):
    return yes(arrives(peer, "new\nline.txt"))


def many(peer, args):
    for i in range(args.small):
        write(os.path.join(peer.src, f"small-{i}.txt"), b"%d" % i)
    took = wait(lambda: all(os.path.exists(os.path.join(peer.dst, f"small-{i}.txt")) for i in range(args.small)), 300)
    return "no" if took is None else f"{took:.0f} s"


def overwritten(peer, _):
    arrives(peer, "versions.txt", content=KEPT)
    arrives(peer, "versions.txt", content=b"second")
    return yes(any(read(f) == KEPT for f in files_below(peer.src, peer.dst, peer.own)))


def backwards(peer, _):
    write(os.path.join(peer.dst, "theirs.txt"), b"theirs")
    return yes(wait(lambda: read(os.path.join(peer.src, "theirs.txt")) == b"theirs", 30))


def renamed(peer, _):
    arrives(peer, "old name.bin", content=os.urandom(1 << 20))
    # Held open, so that its number is not given to another file.
    with open(os.path.join(peer.dst, "old name.bin"), "rb") as old:
        os.rename(os.path.join(peer.src, "old name.bin"), os.path.join(peer.src, "new name.bin"))
        new = os.path.join(peer.dst, "new name.bin")
        if wait(lambda: os.path.exists(new) and os.path.getsize(new) == 1 << 20, 40) is None:
            return "not there"
        return "renamed" if os.path.samestat(os.fstat(old.fileno()), os.stat(new)) else "copied anew"


def renamed_by_command(peer, _):
    if not hasattr(peer, "rename"):
        return "-"
    arrives(peer, "by command.bin")
    with open(os.path.join(peer.dst, "by command.bin"), "rb") as old:
        peer.rename("by command.bin", "renamed.bin")
        new = os.path.join(peer.dst, "renamed.bin")
        if wait(lambda: os.path.exists(new), 40) is None:
            return "not there"
        return "renamed" if os.path.samestat(os.fstat(old.fileno()), os.stat(new)) else "copied anew"


def deleted(peer, _):
    arrives(peer, "deleted.txt")
    os.remove(os.path.join(peer.src, "deleted.txt"))
    return yes(wait(lambda: not os.path.exists(os.path.join(peer.dst, "deleted.txt")), 30))


def torn(peer, _):
    """A new file, killed in the middle of its copy over a slow mount."""
    peer.stop()
    backing = os.path.join(peer.root, "backing")
    os.rename(peer.dst, backing)
    os.makedirs(peer.dst)
    subprocess.run(["bindfs", "--multithreaded", "--write-rate=8M", backing, peer.dst], check=True)
    try:
        peer.start()
        write(os.path.join(peer.src, "torn.bin"), b"x" * (48 << 20))
        begun = wait(lambda: any(os.path.getsize(f) > 4 << 20 for f in files_below(backing) if os.path.exists(f)), 60)
        peer.stop(signal.SIGKILL)
        if begun is None:
            return "not begun"
        found = os.path.join(backing, "torn.bin")
        return "yes" if os.path.exists(found) and os.path.getsize(found) != 48 << 20 else "no"
    finally:
        peer.stop(signal.SIGKILL)
        subprocess.run(["umount", "-l", peer.dst], check=True)
        os.rmdir(peer.dst)
        os.rename(backing, peer.dst)
        os.remove(os.path.join(peer.src, "torn.bin"))


def emptied(peer, _):
    """The source was a mount, and is an empty directory when the program starts again."""
    peer.stop()
    storage = os.path.join(peer.root, "storage")
    os.rename(peer.src, storage)
    os.makedirs(peer.src)
    before = len([f for f in files_below(peer.dst) if "quick" in f])
    peer.start()
    wait(lambda: not [f for f in files_below(peer.dst) if "quick" in f], 30)
    left = len([f for f in files_below(peer.dst) if "quick" in f])
    peer.stop()
    return f"deletes {before - left} of {before}"


TASKS = [("a new file arrives after", latency), ("deeper directories", deep), ("newline in a name", newline),
         ("the small files (--small) have arrived after", many), ("old version kept on overwrite", overwritten),
         ("a change on the other side comes back", backwards), ("a rename by mv is", renamed), ("... by its own command", renamed_by_command),
         ("a deletion is propagated", deleted), ("killed in a copy: torn file at its name", torn),
         ("source an empty mount point", emptied)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--only", default="")
    parser.add_argument("--small", type=int, default=200)
    parser.add_argument("--work", default="/tmp/vorn_sync_peers")
    args = parser.parse_args()
    peers = [p for p in (VornSync, Rsync, Lsyncd, Unison, Syncthing)
             if not args.only or p.name in args.only.split(",")]
    shutil.rmtree(args.work, ignore_errors=True)
    columns = {}
    for kind in peers:
        peer = kind(os.path.join(args.work, kind.name.replace(" ", "-")), os.path.abspath(args.build))
        column = columns[kind.name] = []
        try:
            peer.start()
            for title, task in TASKS:
                column.append(task(peer, args))
                print(f"{kind.name}: {title}: {column[-1]}", flush=True)
        finally:
            peer.stop(signal.SIGKILL)
    print("| | " + " | ".join(columns) + " |\n|---|" + "---|" * len(columns))
    for i, (title, _) in enumerate(TASKS):
        print(f"| {title} | " + " | ".join(column[i] for column in columns.values()) + " |")


if __name__ == "__main__":
    main()
