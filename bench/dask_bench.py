#!/usr/bin/env python3
"""kvaggr.run on a Dask DataFrame of 4 partitions held by 2 worker processes, against the same frame run whole in
pandas in this process: the workloads W1 to W4 and W0 (bench/requests), medians of the timed runs after one
warm-up, seconds. Checks that the two agree, then prints a Markdown section for bench/RESULTS.md.

    PYTHONPATH=build/python /usr/bin/python3 bench/dask_bench.py [--rows 4000000] [--reps 3]

The frame: the first ROWS cases of bench/data/survey.csv (gen_data.py), as float64 columns. The Dask frame is
persisted on the workers before the clock starts: what is timed is what a user with a frame on a cluster waits
for (a pass that profiles the partitions when no dictionary describes the columns, the partial tables, their
merge, the tables read back).
"""
import argparse
import json
import os
import statistics
import time
from pathlib import Path

import pandas as pd

import dask.dataframe as dd
from dask.distributed import Client, LocalCluster, wait

import kvaggr

HERE = Path(__file__).resolve().parent


def timed(fn, reps):
    fn()
    times = []
    for _ in range(reps):
        start = time.perf_counter()
        result = fn()
        times.append(time.perf_counter() - start)
    return statistics.median(times), result


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--rows", type=int, default=4_000_000)
    parser.add_argument("--reps", type=int, default=3)
    args = parser.parse_args()
    frame = pd.read_csv(HERE / "data" / "survey.csv", nrows=args.rows, dtype="float64")
    dictionary = json.loads((HERE / "data" / "survey.dict.json").read_text())
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        parts = client.persist(dd.from_pandas(frame, npartitions=4))
        wait(parts)
        print(f"## Dask: {args.rows:,} cases in 4 partitions on 2 worker processes against one pandas frame\n")
        print("Seconds, median of %d after a warm-up; %d cores." % (args.reps, os.cpu_count()))
        print("| workload | pandas frame | Dask, dictionary | Dask, inferred |")
        print("|---|---|---|---|")
        for w in ("w1", "w2", "w3", "w4", "w0"):
            request = json.loads((HERE / "requests" / f"{w}.json").read_text())
            for key in ("data", "dictionary"):
                request.pop(key)
            whole, a = timed(lambda: kvaggr.run(request, frame, dictionary), args.reps)
            described, b = timed(lambda: kvaggr.run(request, parts, dictionary), args.reps)
            inferred, _ = timed(lambda: kvaggr.run(request, parts), args.reps)
            for x, y in zip(a.tables, b.tables):
                pd.testing.assert_frame_equal(y.to_frame(), x.to_frame(), rtol=1e-12)
            print(f"| {w.upper()} | {whole:.2f} | {described:.2f} | {inferred:.2f} |")


if __name__ == "__main__":
    main()
