#!/usr/bin/python3
"""Generate the benchmark survey: a CSV of N cases and its JSON dictionary.

    gen_data.py N [--out DIR]      (default DIR: bench/data/nN)

Fixed seed; cases are generated in blocks of 1,000,000 with one random stream
per block, so the first cases of a large file equal a smaller file's cases.
Columns: id, region (1-8), gender (1-2), agegrp (1-6), wave (1-4), b1..b3
(brands 1-12, a multiple-category set: distinct within a case, b2/b3 often
empty), d1..d5 (0/1, a dichotomy set), income (2 decimals, about 5 % empty),
score (0-100), wt (positive, 4 decimals).
"""
import json
import os
import sys
import time

import numpy as np

SEED = 20240611
BLOCK = 1_000_000

COLUMNS = ["id", "region", "gender", "agegrp", "wave", "b1", "b2", "b3",
           "d1", "d2", "d3", "d4", "d5", "income", "score", "wt"]

REGIONS = ["North", "North-East", "East", "South-East", "South", "South-West", "West", "North-West"]
BRANDS = ["Alder", "Birch", "Cedar", "Dogwood", "Elm", "Fir", "Ginkgo", "Hazel", "Ivy", "Juniper",
          "Kapok", "Larch"]


def small_int_strings(hi):
    # lookup table: index v -> "v"; index 0 stands for an empty value when used that way
    return np.array([str(v) for v in range(hi + 1)], dtype=object)


def gen_block(block_index, n):
    rng = np.random.default_rng([SEED, block_index])
    region = rng.choice(8, size=n, p=[.18, .10, .14, .12, .16, .08, .12, .10]) + 1
    gender = (rng.random(n) < 0.51).astype(np.int64) + 1
    agegrp = rng.choice(6, size=n, p=[.12, .18, .20, .19, .17, .14]) + 1
    wave = rng.integers(1, 5, size=n)
    # brands: three distinct values, b1 skewed; b2 / b3 empty (0 here) now and then
    b1 = rng.choice(12, size=n, p=np.array([12, 11, 10, 9, 8, 8, 7, 6, 5, 5, 4, 3]) / 88.0)
    o2 = rng.integers(1, 12, size=n)
    o3 = rng.integers(1, 11, size=n)
    o3 = o3 + (o3 >= o2)
    b2 = (b1 + o2) % 12 + 1
    b3 = (b1 + o3) % 12 + 1
    b1 = b1 + 1
    b2[rng.random(n) < 0.25] = 0
    b3[(b2 == 0) | (rng.random(n) < 0.35)] = 0
    b1[rng.random(n) < 0.03] = 0
    d = [(rng.random(n) < p).astype(np.int64) for p in (0.62, 0.35, 0.48, 0.20, 0.08)]
    inc = np.exp(rng.normal(10.4, 0.55, size=n)) * (0.85 + 0.04 * region) * np.where(gender == 1, 1.06, 0.95)
    income_cents = np.round(inc * 100).astype(np.int64)
    income_missing = rng.random(n) < 0.05
    score = rng.binomial(100, 0.62, size=n)
    wt_units = np.round((0.15 + rng.gamma(4.0, 0.22, size=n)) * 10000).astype(np.int64)
    wt_units = np.maximum(wt_units, 1)
    return dict(region=region, gender=gender, agegrp=agegrp, wave=wave, b1=b1, b2=b2, b3=b3,
                d=d, income_cents=income_cents, income_missing=income_missing, score=score,
                wt_units=wt_units)


def fixed_point(units, decimals):
    """Integers in units of 10**-decimals -> strings, without float formatting."""
    scale = 10 ** decimals
    whole = (units // scale).tolist()
    frac = (units % scale).tolist()
    fmt = "%d.%0" + str(decimals) + "d"
    return [fmt % wf for wf in zip(whole, frac)]


def write_block(f, start, g):
    n = len(g["region"])
    s12 = small_int_strings(12)
    s12[0] = ""
    s100 = small_int_strings(100)
    zero_one = np.array(["0", "1"], dtype=object)
    cols = [list(map(str, range(start + 1, start + n + 1)))]
    for key in ("region", "gender", "agegrp", "wave", "b1", "b2", "b3"):
        cols.append(s12[g[key]].tolist())
    for dk in g["d"]:
        cols.append(zero_one[dk].tolist())
    income = fixed_point(g["income_cents"], 2)
    for i in np.flatnonzero(g["income_missing"]).tolist():
        income[i] = ""
    cols.append(income)
    cols.append(s100[g["score"]].tolist())
    cols.append(fixed_point(g["wt_units"], 4))
    f.write("\n".join(map(",".join, zip(*cols))))
    f.write("\n")


def dictionary():
    def var(name, label, width=8, decimals=0, labels=None):
        v = {"name": name, "type": "numeric", "label": label,
             "format": {"type": "F", "width": width, "decimals": decimals}}
        if labels:
            v["valueLabels"] = [{"value": k, "label": lab} for k, lab in labels]
        return v
    yes_no = [(0, "No"), (1, "Yes")]
    brands = list(enumerate(BRANDS, start=1))
    variables = [
        var("id", "Case id", 10),
        var("region", "Region", labels=list(enumerate(REGIONS, start=1))),
        var("gender", "Gender", labels=[(1, "Male"), (2, "Female")]),
        var("agegrp", "Age group", labels=list(enumerate(["18-24", "25-34", "35-44", "45-54", "55-64", "65+"], start=1))),
        var("wave", "Survey wave", labels=[(k, "Wave %d" % k) for k in range(1, 5)]),
        var("b1", "First brand mentioned", labels=brands),
        var("b2", "Second brand mentioned", labels=brands),
        var("b3", "Third brand mentioned", labels=brands),
        var("d1", "Uses television", labels=yes_no),
        var("d2", "Uses radio", labels=yes_no),
        var("d3", "Uses the web", labels=yes_no),
        var("d4", "Uses newspapers", labels=yes_no),
        var("d5", "Uses podcasts", labels=yes_no),
        var("income", "Household income", 12, 2),
        var("score", "Satisfaction score (0-100)", 8, 0),
        var("wt", "Case weight", 10, 4),
    ]
    return {"variables": variables}


def main(argv):
    if len(argv) < 2 or not argv[1].isdigit():
        sys.stderr.write(__doc__)
        return 2
    n = int(argv[1])
    here = os.path.dirname(os.path.abspath(__file__))
    out = os.path.join(here, "data", "n%d" % n)
    if "--out" in argv:
        out = argv[argv.index("--out") + 1]
    os.makedirs(out, exist_ok=True)
    t0 = time.time()
    tmp = os.path.join(out, "survey.csv.tmp")
    with open(tmp, "w", buffering=1 << 22) as f:
        f.write(",".join(COLUMNS) + "\n")
        done = 0
        block = 0
        while done < n:
            m = min(BLOCK, n - done)
            write_block(f, done, trim(gen_block(block, BLOCK), m))
            done += m
            block += 1
    os.replace(tmp, os.path.join(out, "survey.csv"))
    with open(os.path.join(out, "survey.dict.json"), "w") as f:
        json.dump(dictionary(), f, indent=1)
        f.write("\n")
    sys.stderr.write("gen_data: %d cases -> %s (%.1f s)\n" % (n, out, time.time() - t0))
    return 0


def trim(g, m):
    return {k: ([x[:m] for x in v] if isinstance(v, list) else v[:m]) for k, v in g.items()}


if __name__ == "__main__":
    sys.exit(main(sys.argv))
