"""Bars on copies, saved files and what a share is asked for. Not run by itself."""
import collections
import os
import random
import re
import shutil
import statistics
import subprocess
import time

from common import HURRY, Row, alternate, limit_row, ratio_row, run, say, seconds
from processes import Host, cpu_with_children, wait_until, wait_until_at_rest
from states import ALIAS, Root, distant_elsewhere

MIB = 1 << 20
RATE_LIMIT = 0.95
SAVES = 50
LATENCY_S = 0.30
CPU_A_CHANGE_S = 0.005
POLL_S = 0.0005


def write_random(path, mib):
    with open(path, "wb") as f:
        for _ in range(mib):
            f.write(os.urandom(MIB))


def copy_row(bench, folder, mib, what, peer):
    """`peer` is a command of the shell for "$1" and "$2", or a word of vorn_sync_bench."""
    os.makedirs(folder, exist_ok=True)
    source, target = os.path.join(folder, "source.bin"), os.path.join(folder, "target.bin")
    write_random(source, mib)

    def onto_nothing(measure):
        # A rehearsal leaves pages that the machine has already been given by its host; the timed run meets a target
        # that is gone and a disk that has nothing left to write.
        for _ in ("rehearsal", "timed"):
            result = measure()
            os.remove(target)
            os.sync()
        return result
    command = ["sh", "-c", peer, "sh", source, target]
    theirs = (lambda: run(command)) if "$1" in peer else (lambda: bench.ask(peer, source, target))
    pairs = alternate(bench.rounds, lambda: onto_nothing(lambda: bench.ask("copy", source, target)),
                      lambda: onto_nothing(theirs))
    shutil.rmtree(folder)
    cpu = seconds(statistics.median(a["cpu"] for a, _ in pairs))
    return ratio_row("8", f"{what}: rate; wall (our CPU {cpu})", pairs, "wall", RATE_LIMIT, ("copy", peer),
                     at_least=True)


def bar8(bench):
    """One large file, as a copy task of the library sends it, against cp."""
    disk = bench.scratch("copy")
    size = 128 if bench.is_quick else 1024
    yield copy_row(bench, disk, size, f"{size} MiB", 'cp "$1" "$2"')
    # What the required call takes by itself: no copy of ours can be faster.
    yield copy_row(bench, disk, size, f"{size} MiB, against the call that copies", "plain_copy")
    # What ends up on the disk, not in the page cache, is what a share gets.
    yield copy_row(bench, disk, size, f"{size} MiB, on the disk at the end", 'cp "$1" "$2" && sync -d "$2"')
    yield copy_row(bench, "/dev/shm/vorn_sync_compare", 200, "200 MiB on a tmpfs", 'cp "$1" "$2"')


# ---- Saved files --------------------------------------------------------------------------------------------

def save(root, name):
    """Seconds from the closing of a saved file to its identical distant copy."""
    content = os.urandom(1024)
    with open(os.path.join(root.local, name), "wb") as f:
        f.write(content)
    start = time.monotonic()
    distant = os.path.join(root.distant, name)

    def is_there():
        try:
            with open(distant, "rb") as f:
                return f.read() == content
        except FileNotFoundError:
            return False
    wait_until(is_there, f"{name} was not mirrored", 60, POLL_S)
    return time.monotonic() - start


def watched(command, root, samples):
    """Latency and CPU of a mirror that runs while files are saved."""
    process = subprocess.Popen(HURRY + command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    names = [f"file_{number:07d}.dat" for number in random.sample(range(root.count), samples + 1)]
    try:
        save(root, names.pop())
        wait_until_at_rest(process.pid)
        before, started = cpu_with_children(process.pid), time.monotonic()
        time.sleep(5)
        idle = (cpu_with_children(process.pid) - before) / (time.monotonic() - started)
        before, started, latencies = cpu_with_children(process.pid), time.monotonic(), []
        for name in names:
            time.sleep(random.uniform(0.5, 1.0))
            latencies.append(save(root, name))
        time.sleep(0.5)
        cpu = cpu_with_children(process.pid) - before - idle * (time.monotonic() - started)
        return latencies, cpu / samples
    finally:
        process.terminate()
        process.wait(30)


def lsyncd(folder, root):
    path = os.path.join(folder, "lsyncd.lua")
    with open(path, "w") as f:
        f.write(f'settings {{ nodaemon = true }}\nsync {{ default.rsync, source = "{root.local}", target = '
                f'"{root.distant}", delay = 0, rsync = {{ archive = true }} }}\n')
    return ["lsyncd", path]


def bar9(bench):
    """A saved file, from its closing to the identical distant file, with `vorn_sync mirror --watch`."""
    samples = SAVES // 5 if bench.is_quick else SAVES
    folder = bench.scratch("watch")
    for count in (10000, 100000):
        root, other = Root(bench, count, "watch"), Root(bench, count, "watch-peer")
        # No cycle comes in between: what is measured is the road of one file.
        mirror = [bench.program, "mirror", "--watch", "--quiet", "--state", root.path, "--alias", ALIAS, "--interval",
                  "86400000", root.local, root.distant]
        ours, cpu = watched(mirror, root, samples)
        theirs, their_cpu = watched(lsyncd(folder, other), other, samples)
        row = limit_row("9", f"saved file to distant file, N = {count:,}, median of {samples}", ours, LATENCY_S)
        row.peer += f"; lsyncd {seconds(statistics.median(theirs))}"
        yield row
        row = limit_row("9", f"CPU a saved file, N = {count:,}", [cpu], CPU_A_CHANGE_S)
        row.peer += f"; lsyncd {seconds(their_cpu)}"
        yield row


# ---- Requests to a share ------------------------------------------------------------------------------------

class CountedMount:
    """A FUSE mount of a directory that writes down each request of the kernel."""

    REQUEST = re.compile(rb"opcode: (\w+)")

    def __init__(self, directory, mount_point, log):
        os.makedirs(mount_point, exist_ok=True)
        self.mount_point = mount_point
        self.log = log
        with open(log, "wb") as output:
            self.process = subprocess.Popen(["bindfs", "-d", directory, mount_point], stdout=output, stderr=output)
        wait_until(lambda: os.path.ismount(mount_point), "bindfs did not mount", 30)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        subprocess.run(["umount", self.mount_point], check=False)
        self.process.wait(30)

    def size(self):
        return os.path.getsize(self.log)

    def requests_since(self, offset):
        with open(self.log, "rb") as f:
            f.seek(offset)
            return collections.Counter(name.decode() for name in self.REQUEST.findall(f.read()))


def requests_of_a_cycle(bench, root):
    folder = bench.scratch("requests")
    with CountedMount(root.distant, folder + "/mount", folder + "/log") as mount:
        state = root.state(folder, distant_elsewhere(mount.mount_point))
        with Host(bench, state, folder + "/trash") as host:
            host.pair(ALIAS, root.local, mount.mount_point)
            host.rest()
            offset = mount.size()
            host.ask("sync")
            host.rest()
            requests = mount.requests_since(offset)
            if host.figures()["done"] != root.count:
                raise SystemExit("the cycle found something to do")
            host.quit()
    return requests


def bar13(bench):
    """What a cycle that finds nothing to do asks of the file system that the distant directory lies on."""
    for count in (1000, 10000):
        requests = requests_of_a_cycle(bench, Root(bench, count))
        listings = requests["OPENDIR"]
        reads = requests["READDIR"] + requests["READDIRPLUS"]
        others = sum(requests.values()) - reads - listings - requests["RELEASEDIR"]
        say(str(dict(requests)))
        yield Row("13", f"requests of a cycle over {count:,} unchanged files, FUSE",
                  f"{listings} listing ({reads} reads), {others} others", "1 listing, none a file",
                  f"{others / count:.4f} a file", "", listings == 1 and others <= 5)
