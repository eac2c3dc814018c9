"""What the comparison scripts share: running things, taking figures, judging them. Not run by itself."""
import json
import os
import shutil
import statistics
import subprocess
import sys
import time
from dataclasses import dataclass
from typing import Optional

QUIET_LIMIT = 0.10  # a machine whose other work takes less of it than this counts as quiet
QUIET_WAIT_S = 4.0
# Other load shall not count: a process whose wall time matters goes before others.
HURRY = ["nice", "-n", "-20"] if os.geteuid() == 0 else []


@dataclass
class Row:
    """One line of the table."""
    bar: str
    what: str
    ours: str
    peer: str
    ratio: str
    spread: str
    is_met: Optional[bool]  # None: told, but no bar

    def text(self):
        verdict = {True: "met", False: "**missed**", None: "no bar"}[self.is_met]
        return f"| {self.bar} | {self.what} | {self.ours} | {self.peer} | {self.ratio} | {self.spread} | {verdict} |"


HEAD = "| bar | what | ours | peer or bar | ratio | spread | verdict |\n|---|---|---|---|---|---|---|"


@dataclass
class Bench:
    """Where things are, and how thorough the run is."""
    build: str
    work: str
    rounds: int
    million: int  # what the bars about a million rows are measured with
    is_quick: bool = False

    @property
    def tool(self):
        return os.path.join(self.build, "benchmarks", "vorn_sync_bench")

    @property
    def host(self):
        return os.path.join(self.build, "benchmarks", "vorn_sync_bench_host")

    @property
    def program(self):
        return os.path.join(self.build, "apps", "vorn_sync", "vorn_sync")

    def ask(self, *arguments, hurry=False):
        """What vorn_sync_bench says of one of its commands."""
        command = (HURRY if hurry else []) + [self.tool, *map(str, arguments)]
        answer = json.loads(subprocess.run(command, check=False, capture_output=True).stdout or "{}")
        if answer.get("ok") is False or not answer:
            sys.exit(f"{command}: failed ({answer})")
        return answer

    def scratch(self, name):
        """An empty directory for one measurement."""
        path = os.path.join(self.work, "scratch-" + name)
        shutil.rmtree(path, ignore_errors=True)
        os.makedirs(path)
        return path


def say(text):
    print(f"  {text}", file=sys.stderr, flush=True)


# ---- Running ------------------------------------------------------------------------------------------------

def run(command, environment=None):
    """CPU and wall seconds, and the largest resident memory, of a process and its children."""
    start = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                               env=dict(os.environ, **(environment or {})))
    errors = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    process.stderr.close()
    if process.returncode != 0:
        sys.exit(f"{command}: ended with {process.returncode}\n{errors.decode(errors='replace')[-2000:]}")
    return {"cpu": usage.ru_utime + usage.ru_stime, "wall": time.monotonic() - start,
            "peak_mib": usage.ru_maxrss / 1024}


def machine_busy():
    """Busy and all CPU seconds since the machine started."""
    with open("/proc/stat") as f:
        values = [int(x) for x in f.readline().split()[1:9]]
    return sum(values) - values[3] - values[4], sum(values)


def wait_for_quiet_machine():
    """Other work on the machine gets some seconds to end; how busy the machine is then, 0 to 1."""
    deadline = time.monotonic() + QUIET_WAIT_S
    while True:
        busy, total = machine_busy()
        time.sleep(0.15)
        busy_now, total_now = machine_busy()
        share = (busy_now - busy) / max(total_now - total, 1)
        if share <= QUIET_LIMIT or time.monotonic() > deadline:
            return share


def alternate(count, ours, theirs):
    """Both measured in every round, each before the other in every second one."""
    pairs = []
    for i in range(count):
        wait_for_quiet_machine()
        if i % 2:
            peer = theirs()
            own = ours()
        else:
            own = ours()
            peer = theirs()
        pairs.append((own, peer))
    return pairs


def repeat(count, measure):
    results = []
    for _ in range(count):
        wait_for_quiet_machine()
        results.append(measure())
    return results


# ---- Figures ------------------------------------------------------------------------------------------------

def of(results, key):
    return [result[key] for result in results]


def seconds(value):
    if value >= 1:
        return f"{value:.3g} s"
    return f"{value * 1e3:.3g} ms" if value >= 1e-3 else f"{value * 1e6:.3g} µs"


def median_seconds(values):
    return seconds(statistics.median(values))


def span(values, show=lambda x: f"{x:.2f}"):
    return f"{show(min(values))}..{show(max(values))}"


def ratio_row(bar, what, pairs, key, limit, names, at_least=False):
    """The row of a bar that is a ratio of ours to a peer's, in each round."""
    ours, theirs = of([a for a, _ in pairs], key), of([b for _, b in pairs], key)
    ratios = [b / a if at_least else a / b for a, b in zip(ours, theirs)]
    ratio = statistics.median(ratios)
    is_met = ratio >= limit if at_least else ratio <= limit
    sign = "≥" if at_least else "≤"
    return Row(bar, what, f"{names[0]} {median_seconds(ours)}", f"{names[1]} {median_seconds(theirs)}",
               f"{ratio:.2f} ({sign} {limit})", span(ratios), is_met)


def limit_row(bar, what, values, limit, show=seconds, beside=None):
    """The row of a bar that is a figure of ours alone; judged by the median. `beside` is told with it."""
    value = statistics.median(values)
    note = f", {beside}" if beside else ""
    return Row(bar, what, show(value) + note, f"≤ {show(limit)}", f"{value / limit:.2f}", span(values, show),
               value <= limit)


def mib(value):
    return f"{value:.1f} MiB"
