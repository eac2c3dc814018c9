"""Processes that are watched while they run. Not run by itself."""
import json
import os
import subprocess
import sys
import time

from common import HURRY

MAX_WAIT_S = 900


def threads(pid):
    """By thread id: name, CPU seconds, and how often it went to sleep by itself."""
    found = {}
    for tid in os.listdir(f"/proc/{pid}/task"):
        base = f"/proc/{pid}/task/{tid}/"
        try:
            with open(base + "comm") as f:
                name = f.read().strip()
            with open(base + "schedstat") as f:
                cpu = int(f.read().split()[0]) / 1e9
            with open(base + "status") as f:
                sleeps = next(int(line.split()[1]) for line in f if line.startswith("voluntary"))
        except FileNotFoundError:
            continue  # it has ended meanwhile
        found[int(tid)] = {"name": name, "cpu": cpu, "sleeps": sleeps}
    return found


def cpu_with_children(pid):
    """CPU seconds of a process and of its children that it has waited for, in steps of 10 ms."""
    with open(f"/proc/{pid}/stat") as f:
        values = f.read().rsplit(")", 1)[1].split()
    return sum(int(x) for x in values[11:15]) / os.sysconf("SC_CLK_TCK")


def wait_until(condition, what, limit=MAX_WAIT_S, pause=0.05):
    deadline = time.monotonic() + limit
    while not condition():
        if time.monotonic() > deadline:
            sys.exit(f"waited {limit} s in vain: {what}")
        time.sleep(pause)


def wait_until_at_rest(pid, window=0.6, share=0.02, main_share=0.15):
    """Until no thread does anything; the main thread may have a heartbeat."""
    def is_at_rest():
        before = threads(pid)
        time.sleep(window)
        for tid, now in threads(pid).items():
            used = now["cpu"] - before.get(tid, {"cpu": 0})["cpu"]
            if used > window * (main_share if tid == pid else share):
                return False
        return True
    wait_until(is_at_rest, "the process never came to rest")


class Host:
    """vorn_sync_bench_host: the exported class, led by this script."""

    def __init__(self, bench, database, trash, interval_ms=24 * 3600 * 1000, patterns=()):
        os.makedirs(trash, exist_ok=True)
        command = HURRY + [bench.host, database, trash, str(interval_ms), *patterns]
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        self.constructed = self.answer()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()

    def answer(self):
        line = self.process.stdout.readline()
        if not line:
            sys.exit("the host has ended")
        return json.loads(line)

    def ask(self, *words):
        self.process.stdin.write(("\t".join(words) + "\n").encode())
        self.process.stdin.flush()
        answer = self.answer()
        if answer.get("ok") is False:
            sys.exit(f"{words}: refused")
        return answer

    def put_main_thread_first(self):
        """A gap shall be due to the library, not to other work on the machine; the other threads stay as they are."""
        if os.geteuid() == 0:
            os.sched_setscheduler(self.process.pid, os.SCHED_RR | os.SCHED_RESET_ON_FORK, os.sched_param(1))

    def figures(self):
        return self.ask("figures")

    def pair(self, alias, local, distant):
        self.ask("pair", alias, local, distant)

    def rest(self):
        wait_until_at_rest(self.process.pid)

    def wait(self, key, value, limit=MAX_WAIT_S, pause=0.05):
        """Until a figure has reached a value (or, for `errors` to vanish, is exactly 0)."""
        def is_reached():
            now = self.ask("counts")[key]
            return now == 0 if value == 0 else now >= value
        wait_until(is_reached, f"{key} never came to {value}", limit, pause)

    def threads(self):
        return threads(self.process.pid)

    def quit(self):
        """What the destruction of the manager took."""
        destroyed = self.ask("quit")
        self.process.wait(30)
        return destroyed
