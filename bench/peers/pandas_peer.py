#!/usr/bin/python3
"""The benchmark workloads written in pandas, as a user would write them.

    pandas_peer.py CSV WORKLOAD [THREADS]     WORKLOAD: w0 (all four) | w1 | w2 | w3 | w4

Prints one JSON line: {"load": s, "aggregate": s, "checks": {...}}.
pandas has no weighted percentile: wptile() below is written by hand.
"""
import json
import sys
import time

import numpy as np
import pandas as pd

EPS = 2.220446049250313e-16
NEEDS = {"w1": ["region", "gender", "wt"],
         "w2": ["region", "gender", "wave", "wt"],
         "w3": ["region", "gender", "income", "wt"],
         "w4": ["gender", "b1", "b2", "b3", "wt"]}
DTYPES = {"region": "int16", "gender": "int16", "wave": "int16", "wt": "float64",
          "income": "float64", "b1": "float64", "b2": "float64", "b3": "float64"}


def w1(df):
    ct = pd.crosstab(df["region"], df["gender"], values=df["wt"], aggfunc="sum",
                     margins=True, margins_name="Total")
    colpct = ct / ct.loc["Total"] * 100.0
    return {"w1_count_r1_g2": ct.loc[1, 2], "w1_colpct_r1_g2": colpct.loc[1, 2],
            "w1_colpct_r3_gT": colpct.loc[3, "Total"]}


def w2(df):
    g = df.groupby(["wave", "region", "gender"])["wt"].sum()
    res = pd.DataFrame({
        "count": g,
        "rowpct": g / g.groupby(level=["wave", "region"]).transform("sum") * 100.0,
        "colpct": g / g.groupby(level=["wave", "gender"]).transform("sum") * 100.0,
        "layerpct": g / g.groupby(level="wave").transform("sum") * 100.0})
    c = res.loc[(3, 1, 2)]
    return {"w2_rowpct_r1_g2_w3": c["rowpct"], "w2_colpct_r1_g2_w3": c["colpct"],
            "w2_layerpct_r1_g2_w3": c["layerpct"]}


def wptile(x, w, ps):
    """Weighted percentiles of x (sorted ascending) with weights w: the value at which the
    cumulative weight first exceeds p % of the total, the midpoint of it and the next smaller
    value when the cumulative weight meets p % exactly."""
    starts = np.flatnonzero(np.r_[True, x[1:] != x[:-1]])
    vals = x[starts]
    cum = np.cumsum(np.add.reduceat(w, starts))
    total = cum[-1]
    tol = total * len(vals) * EPS
    out = []
    for p in ps:
        target = p / 100.0 * total
        j = int(np.searchsorted(cum, target - tol, side="left"))
        j = min(j, len(vals) - 1)
        if abs(cum[j] - target) <= tol and j + 1 < len(vals):
            out.append((vals[j] + vals[j + 1]) / 2.0)
        else:
            out.append(vals[j])
    return out


def w3(df):
    d = df.loc[df["income"].notna(), ["region", "gender", "income", "wt"]]
    d = d.sort_values("income", kind="stable")
    d["wx"] = d["wt"] * d["income"]
    out = {}
    for keys in (["region", "gender"], ["region"], ["gender"], []):
        if keys:
            gb = d.groupby(keys, sort=True)
            wsum = gb["wt"].sum()
            mean = gb["wx"].sum() / wsum
            m = gb["wx"].transform("sum") / gb["wt"].transform("sum")
            dev = (d["wt"] * (d["income"] - m) ** 2).groupby([d[k] for k in keys]).sum()
            sd = np.sqrt(dev / (wsum - 1.0))
            pt = gb.apply(lambda g: pd.Series(wptile(g["income"].to_numpy(), g["wt"].to_numpy(), (25, 50, 75)),
                                              index=["p25", "median", "p75"]))
            stats = pd.DataFrame({"mean": mean, "sd": sd}).join(pt)
        else:
            wsum = d["wt"].sum()
            mean = d["wx"].sum() / wsum
            sd = np.sqrt((d["wt"] * (d["income"] - mean) ** 2).sum() / (wsum - 1.0))
            p = wptile(d["income"].to_numpy(), d["wt"].to_numpy(), (25, 50, 75))
            stats = pd.DataFrame({"mean": [mean], "sd": [sd], "p25": [p[0]], "median": [p[1]], "p75": [p[2]]})
        out[tuple(keys)] = stats
    rg = out[("region", "gender")].loc[(1, 2)]
    return {"w3_mean_r1_g2": rg["mean"], "w3_sd_r1_g2": rg["sd"], "w3_median_r1_g2": rg["median"],
            "w3_p25_rT_gT": out[()].iloc[0]["p25"], "w3_p75_r2_gT": out[("region",)].loc[2, "p75"]}


def w4(df):
    long = df[["gender", "wt", "b1", "b2", "b3"]].reset_index().melt(
        id_vars=["index", "gender", "wt"], value_vars=["b1", "b2", "b3"], value_name="brand").dropna(subset=["brand"])
    mentions = long.drop_duplicates(["index", "brand"])          # a case counts once per brand
    cases = pd.crosstab(mentions["brand"], mentions["gender"], values=mentions["wt"], aggfunc="sum").fillna(0.0)
    cases["Total"] = cases.sum(axis=1)
    resp = pd.crosstab(long["brand"], long["gender"], values=long["wt"], aggfunc="sum",
                       margins=True, margins_name="Total").fillna(0.0)
    # The set's valid cases: a case with no brand at all counts towards total N only.
    base = df[df[["b1", "b2", "b3"]].notna().any(axis=1)].groupby("gender")["wt"].sum()
    base["Total"] = base.sum()
    cases.loc["Total"] = base
    colpct = cases / base * 100.0
    return {"w4_count_b5_g1": cases.loc[5.0, 1], "w4_resp_b5_g1": resp.loc[5.0, 1],
            "w4_resp_bT_g1": resp.loc["Total", 1], "w4_colpct_b5_g1": colpct.loc[5.0, 1]}


def main():
    path, workload = sys.argv[1], sys.argv[2]
    work = ["w1", "w2", "w3", "w4"] if workload == "w0" else [workload]
    cols = sorted({c for w in work for c in NEEDS[w]})
    t0 = time.perf_counter()
    df = pd.read_csv(path, usecols=cols, dtype={c: DTYPES[c] for c in cols})
    t1 = time.perf_counter()
    checks = {}
    for w in work:
        checks.update(globals()[w](df))
    t2 = time.perf_counter()
    print(json.dumps({"load": t1 - t0, "aggregate": t2 - t1,
                      "checks": {k: float(v) for k, v in checks.items()}}))


if __name__ == "__main__":
    main()
