#!/usr/bin/env python3
"""Measures what looking at N unchanged files costs, ours and the peers', and plots it.

usage: benchmarks/compare/plot.py BUILD_DIR [--rounds R] [--counts 1000,10000] [--skip NAME,...] [--work DIR]
                                  [--svg FILE] [--data FILE]

CPU time, of the whole process for a peer; medians over R rounds, in each of which everything runs once, in an order
of its own. The floor lists both directories and asks for the size and time of every file on both sides, no more.
The figures go to --data, the plot (gnuplot) to --svg, after each count; those of other counts that are in --data stay.
"""
import argparse
import csv
import os
import random
import statistics
import subprocess

from common import Bench, run, say, wait_for_quiet_machine
from states import Root

DOCS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs")
OURS = "VornSync, a pass"
FLOOR = "floor: list and stat both sides"

GNUPLOT = """
set terminal svg size 720,420 dynamic background rgb 'white' font 'sans-serif,13'
set output '{svg}'
set logscale xy
set xrange [{least}:{most}]
set yrange [1:*]
set format x '10^{{%T}}'
set xlabel 'files on each side, nothing to do'
set ylabel 'CPU, µs a file'
set grid ytics xtics lc rgb '#dddddd'
set key outside right center samplen 2 spacing 1.3
set datafile separator '\\t'
plot {lines}
"""


def contenders(bench, root):
    """Name and measurement of everything that looks at the two directories of a root."""
    local, distant = root.local + "/", root.distant + "/"
    unison = {"UNISON": os.path.join(bench.work, "unison")}
    return {
        OURS: lambda: bench.ask("pass", root.database),
        FLOOR: lambda: bench.ask("floor", root.local, root.distant),
        "cp -au": lambda: run(["cp", "-au", local + ".", distant]),
        "rsync -a": lambda: run(["rsync", "-a", local, distant]),
        "unison -batch": lambda: run(["unison", "-batch", "-silent", "-times", local, distant], unison),
        "rclone sync": lambda: run(["rclone", "--config", "/dev/null", "sync", local, distant]),
    }


def measured(bench, count, skipped):
    """Median CPU seconds by name."""
    jobs = {name: job for name, job in contenders(bench, Root(bench, count)).items() if name not in skipped}
    results = {name: [] for name in jobs}
    for job in jobs.values():  # caches, and unison's archive
        job()
    for number in range(bench.rounds):
        say(f"{count:,} files, round {number + 1} of {bench.rounds}")
        wait_for_quiet_machine()
        for name in random.sample(list(jobs), len(jobs)):
            results[name].append(jobs[name]()["cpu"])
    return {name: statistics.median(values) for name, values in results.items()}


def read_data(path):
    """The figures of an earlier run, by count."""
    if not os.path.exists(path):
        return {}
    with open(path, newline="") as f:
        rows = list(csv.DictReader(f, delimiter="\t"))
    return {int(row.pop("files")): {name: float(value) for name, value in row.items() if value} for row in rows}


def write_data(path, table):
    names = max((list(row) for row in table.values()), key=len)
    with open(path, "w", newline="") as f:
        writer = csv.DictWriter(f, ["files", *names], delimiter="\t", lineterminator="\n")
        writer.writeheader()
        for count in sorted(table):
            writer.writerow({"files": count, **{name: f"{value:.6f}" for name, value in table[count].items()}})
    return len(names) + 1


def plot(data, svg, columns, counts):
    styles = {2: "lw 3", 3: "lw 1.5 dt 2"}  # ours, and the floor
    lines = ", ".join(f"'{data}' using 1:(column({i}) / column(1) * 1e6) with linespoints pt 7 ps 0.6 "
                      f"{styles.get(i, 'lw 1.5')} title columnheader({i})" for i in range(2, columns + 1))
    script = GNUPLOT.format(svg=svg, lines=lines, least=min(counts), most=max(counts))
    subprocess.run(["gnuplot"], input=script.encode(), check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--skip", default="", help="names of peers to leave out, comma between them")
    parser.add_argument("--counts", default="1000,10000,100000,1000000")
    parser.add_argument("--work", default=os.path.join(os.environ.get("TMPDIR", "/tmp"), "vorn_sync_compare"))
    parser.add_argument("--svg", default=os.path.join(DOCS, "cost_over_files.svg"))
    parser.add_argument("--data", default=os.path.join(DOCS, "cost_over_files.tsv"))
    arguments = parser.parse_args()
    os.makedirs(arguments.work, exist_ok=True)
    counts = [int(count) for count in arguments.counts.split(",")]
    bench = Bench(os.path.abspath(arguments.build), os.path.abspath(arguments.work), arguments.rounds, max(counts))
    table = read_data(arguments.data)
    for count in counts:
        table[count] = measured(bench, count, arguments.skip.split(","))
        columns = write_data(arguments.data, table)
        if len(table) > 1:
            plot(arguments.data, arguments.svg, columns, table)
    say(f"wrote {arguments.data} and {arguments.svg}")


if __name__ == "__main__":
    main()
