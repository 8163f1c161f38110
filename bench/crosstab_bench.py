#!/usr/bin/env python3
"""kvaggr.crosstab on a generated data frame against pandas.crosstab and DataFrame.groupby computing the same
weighted counts and column percentages (with totals), medians of the timed runs after one warm-up. Checks that
the three agree, then prints a Markdown section for bench/RESULTS.md.

    PYTHONPATH=build/python /usr/bin/python3 bench/crosstab_bench.py [--rows 10000000] [--reps 3]

The frame: region (1..8), gender (1..2) and agegrp (1..6) as int64 columns, wt a float64 weight in [0.2, 3).
kvaggr converts the int64 columns into float64 once per call; the run "float64 columns" gives it the same
frame with float64 categories, which it reads in place.
"""
import argparse
import datetime
import os
import platform
import statistics
import time

import numpy as np
import pandas as pd

import kvaggr


def make_frame(rows):
    rng = np.random.default_rng(2024)
    return pd.DataFrame({"region": rng.integers(1, 9, rows), "gender": rng.integers(1, 3, rows),
                         "agegrp": rng.integers(1, 7, rows), "wt": rng.uniform(0.2, 3.0, rows)})


# Each returns (weighted counts, column percentages) as wide frames: rows (and layers) down, columns across,
# totals labelled "Total".
def with_kvaggr(df, rows, column):
    wide = kvaggr.crosstab(df, rows, column, weight="wt", statistics=["Count", "CountPct1"], totals=True)
    return wide.xs("Count", axis=1, level="statistic"), wide.xs("CountPct1", axis=1, level="statistic")


def with_crosstab(df, rows, column):
    index = [df[r] for r in rows]
    if len(rows) == 1:
        counts = pd.crosstab(index, df[column], values=df.wt, aggfunc="sum", margins=True, margins_name="Total")
        percents = pd.crosstab(index, df[column], values=df.wt, aggfunc="sum", normalize="columns", margins=True,
                               margins_name="Total") * 100
        return counts, percents
    # Under nested rows a column percentage is taken within the outer category.
    counts = pd.crosstab(index, df[column], values=df.wt, aggfunc="sum")
    counts["Total"] = counts.sum(axis=1)
    return counts, counts / counts.groupby(level=0).transform("sum") * 100


def with_groupby(df, rows, column):
    counts = df.groupby(rows + [column]).wt.sum().unstack(column)
    counts["Total"] = counts.sum(axis=1)
    if len(rows) > 1:
        return counts, counts / counts.groupby(level=0).transform("sum") * 100
    percents = counts / counts.sum() * 100
    counts.loc["Total"] = counts.sum()
    percents.loc["Total"] = 100.0
    return counts, percents


WORKLOADS = [
    ("region x gender: weighted counts and column percentages, with totals", ["region"], "gender"),
    ("agegrp x region x gender: the same, percentages within each age group", ["agegrp", "region"], "gender"),
]


def numbers(frame):
    """Cells by (row labels, column label) as text, for comparing tools whose labels differ in type."""
    out = {}
    for key, row in frame.iterrows():
        key = key if isinstance(key, tuple) else (key,)
        for column, value in row.items():
            if not pd.isna(value):
                out[tuple(str(k) for k in key) + (str(column),)] = float(value)
    return out


def agree(reference, other):
    """Largest relative difference over the cells both have (pandas leaves out kvaggr's subtotal rows)."""
    common = reference.keys() & other.keys()
    assert len(common) >= 0.5 * len(other), "too few cells in common"
    return max(abs(reference[k] - other[k]) / max(abs(reference[k]), 1e-12) for k in common)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rows", type=int, default=10_000_000)
    parser.add_argument("--reps", type=int, default=3)
    args = parser.parse_args()

    started = time.perf_counter()
    df = make_frame(args.rows)
    made = time.perf_counter() - started
    as_float = df.astype({"region": "float64", "gender": "float64", "agegrp": "float64"})
    tools = [("kvaggr.crosstab", with_kvaggr, df), ("kvaggr.crosstab, float64 columns", with_kvaggr, as_float),
             ("pandas.crosstab", with_crosstab, df), ("DataFrame.groupby", with_groupby, df)]
    load = os.getloadavg()[0]
    sections = []
    for title, rows, column in WORKLOADS:
        results, times = {}, {}
        for name, tool, frame in tools:
            results[name] = tool(frame, rows, column)  # warm-up, and the numbers to check
            runs = []
            for _ in range(args.reps):
                t = time.perf_counter()
                tool(frame, rows, column)
                runs.append(time.perf_counter() - t)
            times[name] = statistics.median(runs)
        reference = [numbers(f) for f in results["kvaggr.crosstab"]]
        diff = max(agree(reference[i], numbers(results[name][i])) for name in times for i in (0, 1))
        lines = [f"### {title}", "", "| tool | median s | / kvaggr.crosstab |", "|---|---:|---:|"]
        lines += [f"| {name} | {t:.3f} | {t / times['kvaggr.crosstab']:.2f} |" for name, t in times.items()]
        lines += ["", f"Largest relative difference from kvaggr over the common cells: {diff:.1e}.", ""]
        sections.append("\n".join(lines))
        assert diff < 1e-9, f"the tools disagree on {title}: {diff}"

    print(f"<!-- python crosstab N={args.rows} -->")
    print(f"## Python: kvaggr.crosstab against pandas, N = {args.rows:,} rows\n")
    print(f"Run {datetime.datetime.utcnow():%Y-%m-%d %H:%M} UTC: `bench/crosstab_bench.py --rows {args.rows} "
          f"--reps {args.reps}` (median of {args.reps} timed runs after a warm-up; the frame took {made:.1f} s to "
          f"make and is in memory before any timing).\n")
    print(f"Machine: {platform.processor() or platform.machine()}, {os.cpu_count()} cores, shared with other "
          f"work (load average {load:.2f} at the start). Versions: pandas {pd.__version__}, numpy {np.__version__}, "
          f"Python {platform.python_version()}.\n")
    print("\n".join(sections))


if __name__ == "__main__":
    main()
