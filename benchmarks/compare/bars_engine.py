"""Bars on passes, refreshes and the opening of a state. Not run by itself."""
import statistics

from common import alternate, limit_row, mib, ratio_row, repeat, run, say, seconds
from states import Root, first_generation, fresh_copy, in_error, pending

PASS_LIMITS = {1000: 0.5, 10000: 0.5, 100000: 0.75}
GROWTH_LIMIT = 1.25
REFRESHES = 50  # of one process; the first ones of it meet cold caches
ERRORS = 5000


def bar1(bench):
    """One pass over N unchanged files against `rsync -a` on the same directories: the first one after the start, which
    reads all rows, and one after it, as a host that runs makes it in each cycle."""
    for count, limit in PASS_LIMITS.items():
        root = Root(bench, count)
        command = ["rsync", "-a", root.local + "/", root.distant + "/"]
        for passes_before, which in ((0, "first pass after the start"), (1, "later pass")):
            pairs = alternate(bench.rounds, lambda n=passes_before: bench.ask("pass", root.database, n),
                              lambda: run(command))
            yield ratio_row("1", f"{which} over {count:,} unchanged files, CPU", pairs, "cpu", limit,
                            ("pass", "rsync -a"))
            say(f"wall: {statistics.median(a['wall'] for a, _ in pairs):.4f} s, rsync "
                f"{statistics.median(b['wall'] for _, b in pairs):.4f} s")


def bar2(bench):
    """CPU a file of a first pass, large against small; both in every round."""
    small, large = Root(bench, 10000), Root(bench, bench.million)

    def a_file(root):
        return {"cpu": bench.ask("pass", root.database)["cpu"] / root.count}
    pairs = alternate(bench.rounds, lambda: a_file(large), lambda: a_file(small))
    yield ratio_row("2", f"growth: CPU a file at {large.count:,} files, against 10,000", pairs, "cpu", GROWTH_LIMIT,
                    (f"{large.count:,}:", "10,000:"))


def bar5(bench):
    """The refresh of counters and error list on the host's thread, 5 % of the rows pending."""
    root = Root(bench, bench.million)
    folder = bench.scratch("refresh")
    plain = root.state(folder, pending(20))
    yield refresh_row(bench, "no file in error", plain, "nobody", 0.2e-3, 0)
    errors = root.state(folder, pending(20), in_error(ERRORS))
    yield refresh_row(bench, f"{ERRORS:,} in error, none changed", errors, "nobody", 0.2e-3, ERRORS)
    yield refresh_row(bench, f"{ERRORS:,} in error, one changed", errors, "own", 10e-3, ERRORS)
    yield refresh_row(bench, f"{ERRORS:,} in error, one changed by another process", errors, "other", 10e-3, ERRORS)


def refresh_row(bench, what, database, writer, limit, errors):
    def measure():
        figures = bench.ask("refresh", database, writer, REFRESHES, hurry=True)
        if figures["errors"] != errors:
            raise SystemExit(f"{figures['errors']} files in error instead of {errors}")
        return {key: statistics.median(figures[key]) for key in ("wall", "cpu")}
    results = repeat(bench.rounds, measure)
    cpu = seconds(statistics.median(result["cpu"] for result in results))
    return limit_row("5", f"counter refresh, {bench.million:,} rows, {what}; wall", [r["wall"] for r in results], limit,
                     beside=f"CPU {cpu}")


def bar11(bench):
    """A file of the first generation; its files exist on both sides and are asked for their times."""
    root = Root(bench, bench.million)
    folder = bench.scratch("migration")
    old = first_generation(root, folder)

    def measure():
        figures = bench.ask("open", fresh_copy(old, folder))
        if figures["up_to_date"] != root.count:
            raise SystemExit(f"{figures['up_to_date']} rows of {root.count} came through")
        return figures
    results = repeat(bench.rounds, measure)
    cpu = seconds(statistics.median(result["cpu"] for result in results))
    what = f"first-generation file with {root.count:,} rows"
    yield limit_row("11", f"{what} migrated, wall", [r["wall"] for r in results], 20.0, beside=f"CPU {cpu}")
    yield limit_row("11", f"{what}, peak memory", [r["peak_mib"] for r in results], 1024, show=mib)
