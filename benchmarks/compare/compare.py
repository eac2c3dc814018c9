#!/usr/bin/env python3
"""Measures the library beside its peers and against its bars; prints one table.

usage: benchmarks/compare/compare.py BUILD_DIR [--bars 1,2,5] [--rounds R] [--quick] [--work DIR]

BUILD_DIR is a build of the preset "benchmark". Directories of up to a million files are made below DIR at the first
run and kept. Every round measures both sides, in alternating order, so that a busy machine meets both; figures are
medians over the rounds. CPU time is that of the whole process for a peer, and of the part that is measured for ours.
Nothing fails because a machine is slow: a bar that is missed is only said.
"""
import argparse
import os
import sys

import bars_engine
import bars_files
import bars_host
from common import HEAD, HURRY, Bench, machine_busy, say

BARS = {1: bars_engine.bar1, 2: bars_engine.bar2, 3: bars_host.bar3, 4: bars_host.bar4, 5: bars_engine.bar5,
        6: bars_host.bar6, 7: bars_host.bar7, 8: bars_files.bar8, 9: bars_files.bar9, 10: bars_host.bar10,
        11: bars_engine.bar11, 12: bars_host.bar12, 13: bars_files.bar13}

QUICK_ROUNDS = 3
QUICK_MILLION = 20000


def options():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--bars", default=",".join(map(str, BARS)), help="numbers, comma between them")
    parser.add_argument("--rounds", type=int, default=11)
    parser.add_argument("--quick", action="store_true",
                        help=f"{QUICK_ROUNDS} rounds, {QUICK_MILLION:,} files instead of a million")
    parser.add_argument("--work", default=os.path.join(os.environ.get("TMPDIR", "/tmp"), "vorn_sync_compare"))
    arguments = parser.parse_args()
    unknown = [number for number in arguments.bars.split(",") if not number.isdigit() or int(number) not in BARS]
    if unknown:
        parser.error(f"no such bar: {', '.join(unknown)}")
    return arguments


def main():
    arguments = options()
    os.makedirs(arguments.work, exist_ok=True)
    bench = Bench(os.path.abspath(arguments.build), os.path.abspath(arguments.work),
                  QUICK_ROUNDS if arguments.quick else arguments.rounds,
                  QUICK_MILLION if arguments.quick else 1000000, arguments.quick)
    busy, total = machine_busy()
    missed = 0
    print(HEAD, flush=True)
    for number in map(int, arguments.bars.split(",")):
        say(BARS[number].__doc__)
        for row in BARS[number](bench):
            print(row.text(), flush=True)
            missed += row.is_met is False
    busy_now, total_now = machine_busy()
    say(f"{missed} rows missed; the machine was {100 * (busy_now - busy) / (total_now - total):.0f} % busy, this run "
        f"included; " + (f"hosts ran with {' '.join(HURRY)}" if HURRY else "hosts ran without priority (not root)"))


if __name__ == "__main__":
    sys.exit(main())
