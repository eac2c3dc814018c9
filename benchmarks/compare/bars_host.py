"""Bars on a whole manager in a host of the exported class. Not run by itself."""
import os
import statistics
import time

from common import Row, limit_row, mib, of, repeat, run, say, seconds
from processes import Host
from states import ALIAS, Root, in_error, many_pairs, outdated, suspended

PATTERNS = ("*.tmp", "*-wal", "*-shm", "*-journal", "~$*")
CHANGED = 10000
VANISHED = 1000
CYCLE_MS = 1000  # short, so that verification (every sixth cycle) comes soon
REGISTRATION = "registration"
REGISTRATION_S = 0.3  # the first pass begins after 0.1 s and takes longer
CYCLES_S = 40
COPYING_S = 15
PACED = 500
PACE_S = 0.2
REST_S = 60
SETTLED_S = 10  # ten pairs start one after the other


def bar3(bench):
    """Resident memory of a whole host process with one pair."""
    root = Root(bench, bench.million)
    state = root.state(bench.scratch("memory"))

    def measure():
        with Host(bench, state, os.path.dirname(state) + "/trash") as host:
            host.pair(ALIAS, root.local, root.distant)
            host.rest()
            first = host.figures()
            host.ask("reset")
            host.ask("sync")
            host.rest()
            later = host.figures()
            if later["done"] != root.count:
                raise SystemExit(f"{later['done']} files up to date instead of {root.count}")
            return {"rest": later["rss_mib"], "peak": max(first["peak_mib"], later["peak_mib"])}
    results = repeat(bench.rounds, measure)
    yield limit_row("3", f"resident with {root.count:,} tracked files, at rest", of(results, "rest"), 60, mib)
    yield limit_row("3", f"resident with {root.count:,} tracked files, peak of a pass", of(results, "peak"), 400, mib)


# ---- Heartbeat ----------------------------------------------------------------------------------------------

class Phases:
    """What the host's thread does, phase by phase, each with the gaps of its own."""

    def __init__(self, host):
        self.host = host
        self.gaps = {}

    def run(self, name, act):
        self.host.ask("reset")
        started = time.monotonic()
        cpu = self.host.figures()["thread_cpu"]
        act()
        figures = self.host.figures()
        self.gaps[name] = figures["heartbeat"]
        say(f"{name}: {time.monotonic() - started:.0f} s, host's thread {figures['thread_cpu'] - cpu:.2f} s, "
            f"{figures['heartbeat']}")


def moved(paths, source, destination):
    for path in paths:
        os.rename(os.path.join(source, path), os.path.join(destination, path))


def errors_come(host, names, root, aside):
    moved(names, root.local, aside)
    try:
        host.ask("sync")
        host.wait("errors", len(names))
    finally:
        moved(names, aside, root.local)


def register(host, root):
    host.pair(ALIAS, root.local, root.distant)
    time.sleep(REGISTRATION_S)


def errors_go(host):
    host.ask("sync")
    host.wait("errors", 0)


def changes_come(host, names, root):
    for name in names:
        os.utime(os.path.join(root.local, name))
    host.ask("sync")
    host.wait("started", len(names))
    time.sleep(COPYING_S)


def heartbeat(bench, root):
    """The gaps of every phase. Files vanish and come back, and others seem changed: all is as before at the end."""
    folder = bench.scratch("heartbeat")
    recorded = root.recorded()
    names = sorted(recorded)
    changed = names[:min(CHANGED, len(names) // 2)]
    vanished = names[-min(VANISHED, len(names) // 2):]
    root.repair(recorded, changed + vanished)
    state = root.state(folder, suspended(), in_error(len(vanished)))
    with Host(bench, state, folder + "/trash", CYCLE_MS, PATTERNS) as host:
        host.put_main_thread_first()
        host.ask("heartbeat", "on")
        phases = Phases(host)
        try:
            phases.run("nothing to do", lambda: time.sleep(5))
            phases.run(REGISTRATION, lambda: register(host, root))
            phases.run(f"{len(vanished):,} errors go", lambda: errors_go(host))
            phases.run("passes and verification", lambda: time.sleep(CYCLES_S))
            phases.run(f"{len(vanished):,} errors come", lambda: errors_come(host, vanished, root, folder))
            phases.run(f"{len(changed):,} changed files", lambda: changes_come(host, changed, root))
        finally:
            root.repair(recorded, changed + vanished)
    return phases.gaps


def bar4(bench):
    """Gaps of a timer of 1 ms on the host's thread while the mirror works."""
    gaps = heartbeat(bench, Root(bench, bench.million, "heartbeat"))
    control = gaps.pop("nothing to do")
    for name, figures in gaps.items():
        is_met = figures["p999_ms"] < 4 and figures["longest_ms"] < 16
        # The kernel marks every cached name of a directory that is newly watched, and lets nobody else on that core.
        is_met = None if name == REGISTRATION else is_met
        yield Row("4", f"heartbeat of 1 ms, {bench.million:,} rows, {name}",
                  f"99.9 %: {figures['p999_ms']:.2f} ms, longest {figures['longest_ms']:.1f} ms",
                  f"< 4 ms, < 16 ms (idle manager: {control['p999_ms']:.2f} ms, {control['longest_ms']:.1f} ms)",
                  f"{figures['longest_ms'] / 16:.2f}",
                  f"{figures['over_4_ms']} over 4 ms, {figures['over_16_ms']} over 16 ms of {figures['beats']}", is_met)


# ---- Dispatch -----------------------------------------------------------------------------------------------

def bar6(bench):
    """A pass that finds 10,000 changed files: both threads, from the registration to the last syncStarted."""
    root = Root(bench, CHANGED, "dispatch")
    for patterns in ((), PATTERNS):
        def measure():
            folder = bench.scratch("dispatch")
            with Host(bench, root.state(folder, outdated(CHANGED)), folder + "/trash", patterns=patterns) as host:
                host.rest()
                before = host.figures()
                host.ask("reset")
                host.pair(ALIAS, root.local, root.distant)
                # Asking costs the host's thread something as well: seldom.
                host.wait("started", CHANGED, pause=1)
                after = host.figures()
                return {"cpu": after["started_process_cpu"] - before["process_cpu"],
                        "host": after["started_thread_cpu"] - before["thread_cpu"],
                        "memory": after["peak_mib"] - before["rss_mib"]}
        results = repeat(bench.rounds, measure)
        what = f"pass that finds {CHANGED:,} changed files, {'5' if patterns else 'no'} patterns"
        host_cpu = seconds(statistics.median(of(results, "host")))
        yield limit_row("6", f"{what}, CPU", of(results, "cpu"), 1.5, beside=f"host's thread {host_cpu}")
        yield limit_row("6", f"{what}, memory above rest", of(results, "memory"), 60, mib)


def bar7(bench):
    """500 small files, from the registration of their pair to the last end of a copy."""
    folder = bench.scratch("paced")
    count = PACED // 10 if bench.is_quick else PACED
    local, distant, peer = (os.path.join(folder, name) for name in ("local", "distant", "peer"))
    for path in (local, distant):
        os.makedirs(path)
    for number in range(count):
        with open(os.path.join(local, f"file_{number:07d}.dat"), "wb") as f:
            f.write(os.urandom(1024))
    copied = run(["cp", "-r", local, peer])
    with Host(bench, folder + "/state.db", folder + "/trash") as host:
        started = host.figures()["now"]
        host.pair(ALIAS, local, distant)
        host.wait("completed", count, pause=1)
        figures = host.figures()
    if figures["failed"]:
        raise SystemExit(f"{figures['failed']} copies failed")
    run(["diff", "-r", local, distant])
    limit = 1.02 * count * PACE_S + copied["wall"]
    yield limit_row("7", f"{count} small files paced, wall", [figures["completed_at"] - started], limit,
                    beside=f"cp -r {seconds(copied['wall'])}")


# ---- Start, end, rest ---------------------------------------------------------------------------------------

def bar10(bench):
    """Construction of the manager on a state of a million rows, and its destruction at rest."""
    root = Root(bench, bench.million)
    state = root.state(bench.scratch("start"))

    def measure():
        with Host(bench, state, os.path.dirname(state) + "/trash") as host:
            host.rest()
            return {"constructed": host.constructed, "destroyed": host.quit()}
    results = repeat(bench.rounds, measure)
    for what, key, limit in (("construction", "constructed", 0.150), ("destruction at rest", "destroyed", 0.050)):
        parts = of(results, key)
        yield limit_row("10", f"{what}, {root.count:,} rows, wall", of(parts, "wall"), limit,
                        beside=f"CPU {seconds(statistics.median(of(parts, 'cpu')))}")


def bar12(bench):
    """Ten pairs of 10,000 files at rest, the cycle longer than the measurement."""
    root = Root(bench, bench.million // 100)
    folder = bench.scratch("rest")
    database, pairs = many_pairs(root, folder, 10)
    duration = REST_S // 6 if bench.is_quick else REST_S
    with Host(bench, database, folder + "/trash") as host:
        for pair in pairs:
            host.pair(*pair)
        time.sleep(SETTLED_S)
        before = host.threads()
        time.sleep(duration)
        after = host.threads()
    sleeps = {now["name"]: now["sleeps"] - before[tid]["sleeps"] for tid, now in after.items()}
    cpu = sum(now["cpu"] - before[tid]["cpu"] for tid, now in after.items())
    say(str(sleeps))
    total = sum(sleeps.values()) * 60 / duration
    yield Row("12", f"at rest, 10 pairs of {root.count:,} files, a minute without a cycle",
              f"{total:.0f} wake-ups, {cpu * 60 / duration * 1000:.1f} ms CPU", "0, 0 ms", "", "",
              total == 0 and cpu == 0)
