#!/usr/bin/env python3
"""Runs the library beside its peers on the same directories and prints the ratios.

usage: benchmarks/compare/compare.py BUILD_DIR [--files N] [--large MIB] [--rounds R] [--work DIR]

  pass     one pass over N unchanged files against `rsync -a` finding nothing to do: CPU and wall time
  copy     one large file, sent by a copy task, against `cp`: to the cache, to the disk, on a tmpfs
  memory   the command-line host at rest with N tracked files: resident memory

Every round runs both sides, in alternating order, so that a busy machine hits both. Ratios are medians over the
rounds; nothing fails because a machine is slow. BUILD_DIR is a build of the preset "benchmark".
"""
import argparse
import json
import os
import resource
import shutil
import signal
import statistics
import subprocess
import sys
import time


def run(command):
    """CPU and wall seconds of a whole process."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    wall = time.monotonic() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return {"cpu": cpu, "wall": wall}


def bench(tool, *arguments):
    """What vorn_sync_bench measured of itself."""
    result = json.loads(subprocess.run([tool, *arguments], check=True, capture_output=True).stdout)
    if result.get("ok") is False:
        sys.exit(f"{arguments}: failed")
    return result


def rounds(count, ours, theirs):
    pairs = []
    for i in range(count):
        if i % 2:
            peer, own = theirs(), ours()
        else:
            own, peer = ours(), theirs()
        pairs.append((own, peer))
    return pairs


def spread(values):
    return f"{min(values):.3f}..{max(values):.3f}"


def report(title, pairs, key, own_name, peer_name):
    own = [a[key] for a, _ in pairs]
    peer = [b[key] for _, b in pairs]
    ratio = [a / b for a, b in zip(own, peer) if b]
    print(f"| {title} | {own_name} {statistics.median(own):.3f} s ({spread(own)}) | "
          f"{peer_name} {statistics.median(peer):.3f} s ({spread(peer)}) | {statistics.median(ratio):.2f} "
          f"({spread(ratio)}) |", flush=True)


def compare_pass(args, tool):
    root = os.path.join(args.work, f"pass-{args.files}")
    paths = bench(tool, "prepare", root, str(args.files))
    # rsync -a compares modification times: give the copies those of the originals, as it would have.
    rsync = ["rsync", "-a", paths["local"] + "/", paths["distant"] + "/"]
    subprocess.run(rsync, check=True)
    pairs = rounds(args.rounds, lambda: bench(tool, "pass", root, str(args.files)), lambda: run(rsync))
    report(f"pass over {args.files} unchanged files, CPU", pairs, "cpu", "library", "rsync -a")
    report(f"pass over {args.files} unchanged files, wall", pairs, "wall", "library", "rsync -a")


def compare_copy(args, tool, folder, title, peer):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    source = os.path.join(folder, "source.bin")
    with open(source, "wb") as f:
        for _ in range(args.large):
            f.write(os.urandom(1 << 20))
    target = os.path.join(folder, "target.bin")

    def fresh(measure):
        if os.path.exists(target):
            os.remove(target)
        os.sync()
        return measure()

    command = ["sh", "-c", peer, "sh", source, target]
    pairs = rounds(args.rounds, lambda: fresh(lambda: bench(tool, "copy", source, target)),
                   lambda: fresh(lambda: run(command)))
    rate = statistics.median([b["wall"] / a["wall"] for a, b in pairs])
    report(f"{title}, {args.large} MiB: {rate:.2f} of the peer's rate; wall", pairs, "wall", "library", peer)
    shutil.rmtree(folder)


def compare_copies(args, tool):
    """A copy of the library is on the disk when it ends (QFile::copy flushes it), one of cp is in the page cache."""
    disk = os.path.join(args.work, "copy")
    compare_copy(args, tool, disk, "large file", 'cp "$1" "$2"')
    compare_copy(args, tool, disk, "large file, on disk at the end", 'cp "$1" "$2" && sync -d "$2"')
    compare_copy(args, tool, "/dev/shm/vorn_sync_compare", "large file, tmpfs", 'cp "$1" "$2"')


def resident_kib(pid):
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith("VmRSS"):
                return int(line.split()[1])
    return 0


def measure_memory(args, tool, host):
    root = os.path.join(args.work, f"memory-{args.files}")
    shutil.rmtree(root, ignore_errors=True)
    os.makedirs(root)
    paths = bench(tool, "prepare", root, str(args.files))
    process = subprocess.Popen([host, "mirror", "--state", root, "--alias", "bench", "--interval", "2000",
                                paths["local"], paths["distant"]], stdout=subprocess.DEVNULL)
    # At rest: several cycles (verification included) have gone by and the figure stands still.
    seen = []
    deadline = time.monotonic() + 120
    while time.monotonic() < deadline:
        time.sleep(2)
        seen.append(resident_kib(process.pid))
        if len(seen) > 10 and max(seen[-5:]) - min(seen[-5:]) < 512:
            break
    process.send_signal(signal.SIGTERM)
    process.wait(30)
    print(f"resident at rest with {args.files} tracked files: {seen[-1] / 1024:.1f} MiB "
          f"(highest seen {max(seen) / 1024:.1f} MiB)")
    shutil.rmtree(root)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--files", type=int, default=100000)
    parser.add_argument("--large", type=int, default=1024)
    parser.add_argument("--rounds", type=int, default=11)
    parser.add_argument("--work", default=os.path.join(os.environ.get("TMPDIR", "/tmp"), "vorn_sync_compare"))
    args = parser.parse_args()
    tool = os.path.join(args.build, "benchmarks", "vorn_sync_bench")
    host = os.path.join(args.build, "apps", "vorn_sync", "vorn_sync")
    os.makedirs(args.work, exist_ok=True)

    print("| what | library: median (spread) | peer: median (spread) | ratio |\n|---|---|---|---|")
    compare_pass(args, tool)
    compare_copies(args, tool)
    measure_memory(args, tool, host)


if __name__ == "__main__":
    main()
