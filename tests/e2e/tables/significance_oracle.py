#!/usr/bin/python3
"""The independent oracle of significance.request.json: writes panel.csv (a
seeded sample) and significance.expected.json, computing every expected test
from the definitions with pandas and scipy (norm, t, chi2_contingency,
ttest_ind_from_stats) and the computed rows from the cells' definitions. It
shares no code with the tool. Run once, check the diff, commit:

    /usr/bin/python3 tests/e2e/tables/significance_oracle.py
"""
import json
import os

import numpy as np
import pandas as pd
from scipy import stats as st

HERE = os.path.dirname(os.path.abspath(__file__))
rng = np.random.default_rng(20261123)
N = 360
grp = rng.integers(1, 4, N)
d = pd.DataFrame({
    "id": np.arange(1, N + 1),
    "grp": grp,
    "sex": rng.choice(["F", "M"], N),
    "wave": rng.integers(1, 3, N),
    "sat": np.clip(rng.integers(1, 6, N) + (grp == 3) - (grp == 1), 1, 5),
    "tv": (rng.random(N) < 0.3 + 0.2 * (grp == 2)).astype(int),
    "web": (rng.random(N) < 0.5).astype(int),
    "score": np.round(rng.normal(50 + 4 * grp, 10), 1),
    "wt": np.round(rng.uniform(0.4, 2.2, N), 2),
})
d.loc[rng.random(N) < 0.1, "score"] = np.nan
d.to_csv(os.path.join(HERE, "panel.csv"), index=False, na_rep="")

GRP = {1: "Low", 2: "Mid", 3: "High"}
SAT = {1: "1", 2: "2", 3: "3", 4: "4", 5: "5"}
LETTER = "ABC"


def prop_tests(sub, rowsets, w, base, compare, adjust, layer="", outer=""):
    """Column proportions over the groups of `sub`; rowsets: label -> boolean mask of the row's cases."""
    out, over = [], {}
    cols = [g for g in (1, 2, 3) if (sub.grp == g).any()]
    inrow = pd.Series(False, index=sub.index)
    for m in rowsets.values():
        inrow |= m
    for label, mask in rowsets.items():
        xs, ns = [], []
        for g in cols:
            c = sub.grp == g
            wb, wx = w[c & inrow], w[c & mask]
            if base == "unweighted":
                xs.append(float((c & mask).sum())); ns.append(float((c & inrow).sum()))
            elif base == "effective":
                neff = wb.sum() ** 2 / (wb ** 2).sum()
                xs.append(wx.sum() / wb.sum() * neff); ns.append(neff)
            else:
                xs.append(wx.sum()); ns.append(wb.sum())
        pairs = {"subtable": [(i, j) for i in range(len(cols)) for j in range(i + 1, len(cols))],
                 "firstColumn": [(0, j) for j in range(1, len(cols))],
                 "previousColumn": [(j - 1, j) for j in range(1, len(cols))]}[compare]
        done = []
        for i, j in pairs:
            p = (xs[i] + xs[j]) / (ns[i] + ns[j])
            if ns[i] > 1 and ns[j] > 1 and 0 < p < 1:
                z = (xs[i] / ns[i] - xs[j] / ns[j]) / np.sqrt(p * (1 - p) * (1 / ns[i] + 1 / ns[j]))
                done.append((i, j, z, 2 * st.norm.sf(abs(z)), None))
        rows = record_rows(done, adjust, f"{layer} | {label}", cols, outer, "proportions")
        out += rows[0]
        for k, v in rows[1].items():
            over[(label, k)] = v
    return out, over


def record_rows(done, adjust, where, cols, outer, test):
    recs, greater = [], {}
    for i, j, stat, p, df in done:
        q = min(1.0, p * len(done)) if adjust == "bonferroni" else p
        name = f"{test} | {where} | {outer}{GRP[cols[i]]} | {outer}{GRP[cols[j]]}"
        recs.append([name, stat, df, p, q, bool(q < 0.05)])
        if q < 0.05:
            win, lose = (i, j) if stat > 0 else (j, i)
            greater.setdefault(GRP[cols[win]], []).append(LETTER[lose])
    return recs, {k: "".join(sorted(v)) for k, v in greater.items()}


def chi_square(sub, w, row, cats, prefix=""):
    table = np.array([[w[(sub[row] == r) & (sub.grp == g)].sum() for g in (1, 2, 3)] for r in cats])
    table = table[table.sum(axis=1) > 0][:, table.sum(axis=0) > 0]
    x2, p, df, _ = st.chi2_contingency(table, correction=False)
    return [f"chiSquare |  |  | {prefix}", x2, df, p, None, bool(p < 0.05)]


w = d.wt
cells, tables = [], []

# Table 1: sat by grp (+ total column), weighted, all pairs, Bonferroni; chi-square; computed rows.
# Display order; a subtotal row is tested too.
sat_rows = {"1": d.sat == 1, "2": d.sat == 2, "Low (1-2)": d.sat <= 2, "3": d.sat == 3, "4": d.sat == 4, "5": d.sat == 5}
recs, over = prop_tests(d, sat_rows, w, "weighted", "subtable", "bonferroni", "")
recs.append(chi_square(d, w, "sat", [1, 2, 3, 4, 5]))
some = []
for g in (1, 2, 3):
    c = d.grp == g
    cnt = {v: w[c & (d.sat == v)].sum() for v in (1, 2, 3, 4, 5)}
    tot = sum(cnt.values())
    pct = {v: 100 * cnt[v] / tot for v in cnt}
    some.append([f"Top two | {GRP[g]} |  | Count", cnt[4] + cnt[5]])
    some.append([f"Top two | {GRP[g]} |  | CountPct1", pct[4] + pct[5]])
    some.append([f"Net (5 - low) per total | {GRP[g]} |  | Count", (cnt[5] - (cnt[1] + cnt[2])) / tot])
    some.append([f"Net (5 - low) per total | {GRP[g]} |  | CountPct1", (pct[5] - (pct[1] + pct[2])) / 100])
    some.append([f"Divide by nothing | {GRP[g]} |  | Count", None])
for g in (1, 2, 3):
    for v, lab in list(SAT.items()) + [(0, "Low (1-2)")]:
        o = over.get((lab, GRP[g]))
        if o:
            some += [[f"{lab} | {GRP[g]} |  | {s}", "over", o] for s in ("Count", "CountPct1")]
tables.append({"letters": {"Low": "A", "Mid": "B", "High": "C", "All": ""}, "someCells": some, "tests": recs})

# Table 2: sex by grp in each wave (a layer), effective bases, against the first column, unadjusted.
recs, some = [], []
for wave in (1, 2):
    sub = d[d.wave == wave]
    r, o = prop_tests(sub, {"Female": sub.sex == "F", "Male": sub.sex == "M"}, sub.wt, "effective", "firstColumn",
                      "none", str(wave))
    recs += r
    for (lab, col), letters in o.items():
        some.append([f"{lab} | {col} | {wave} | CountPct1", "over", letters])
    fcnt = sub.wt[sub.sex == "F"].groupby(sub.grp).sum()
    some += [[f"Female minus male | {GRP[g]} | {wave} | CountPct1",
              100 * (fcnt[g] - sub.wt[(sub.sex == "M") & (sub.grp == g)].sum()) / sub.wt[sub.grp == g].sum()]
             for g in (1, 2, 3)]
tables.append({"someCells": some, "tests": recs})

# Table 3: a dichotomy set in the rows by grp nested in sex, unweighted bases, each column against the one before.
recs, some = [], []
for sx, lab in (("F", "Female"), ("M", "Male")):
    sub = d[d.sex == sx]
    mr = {"Television": sub.tv == 1, "Internet": sub.web == 1}
    r, o = prop_tests(sub, mr, sub.wt, "unweighted", "previousColumn", "bonferroni", "", lab + " / ")
    recs += r
    for (row, col), letters in o.items():
        some.append([f"{row} | {lab} / {col} |  | UCountPct1", "over", letters])
    some += [[f"TV share of web | {lab} / {GRP[g]} |  | UCount", float((mr["Television"] & (sub.grp == g)).sum()) /
              float((mr["Internet"] & (sub.grp == g)).sum())] for g in (1, 2, 3)]
recs.sort(key=lambda r: ["Television", "Internet"].index(r[0].split(" | ")[2]))  # display order: rows outermost
tables.append({"someCells": some, "tests": recs})

# Tables 4 and 5: means of score by grp, Welch (all pairs, Bonferroni) and pooled (first column, none).
for pooled, compare, adjust in ((False, "subtable", "bonferroni"), (True, "firstColumn", "none")):
    recs, greater = [], {}
    for sx, lab in (("F", "Female"), ("M", "Male")):
        summ = []
        for g in (1, 2, 3):
            s = d[(d.sex == sx) & (d.grp == g) & d.score.notna()]
            n = s.wt.sum()
            m = (s.wt * s.score).sum() / n
            v = (s.wt * (s.score - m) ** 2).sum() / (n - 1)
            summ.append((n, m, v))
        pairs = [(0, 1), (0, 2), (1, 2)] if compare == "subtable" else [(0, 1), (0, 2)]
        done = []
        for i, j in pairs:
            (n1, m1, v1), (n2, m2, v2) = summ[i], summ[j]
            t, p = st.ttest_ind_from_stats(m1, np.sqrt(v1), n1, m2, np.sqrt(v2), n2, equal_var=pooled)
            df = n1 + n2 - 2 if pooled else (v1 / n1 + v2 / n2) ** 2 / ((v1 / n1) ** 2 / (n1 - 1) + (v2 / n2) ** 2 / (n2 - 1))
            done.append((i, j, t, p, df))
        r, o = record_rows(done, adjust, f" | {lab}", [1, 2, 3], "", "means")
        recs += r
        for k, letters in o.items():
            greater[f"{lab} | {k} |  | Mean"] = letters
    tables.append({"someCells": [[k, "over", v] for k, v in greater.items()], "tests": recs})

expected = {"_comment": "Written by significance_oracle.py (pandas, scipy): only the cells named here are checked.",
            "tables": tables}
with open(os.path.join(HERE, "significance.expected.json"), "w") as f:
    json.dump(expected, f, indent=None, separators=(",", ": "))
    f.write("\n")
