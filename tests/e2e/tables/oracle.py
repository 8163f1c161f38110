#!/usr/bin/python3
"""The independent oracle of the table tests: computes the expected cells of
each NAME.request.json in this directory straight from people.csv with
pandas, numpy and scipy, and writes NAME.expected.json. It shares no code or
logic with the tool: categories, bases and statistics are written out here
from their definitions.

Run it once after changing a case or the data, check the diff by eye, commit:

    /usr/bin/python3 tests/e2e/tables/oracle.py

Conventions of the tables (what the tool promises, restated here):
- a case counts when its weight is a valid positive number;
- a category is a set of cases; a total is the union of the listed
  categories (user-missing values excluded unless included);
- a percentage divides the cell's count by the count of its base: the cases
  in the same categories of the held dimensions and in any listed category
  of the others (row %: every dimension but the innermost column held;
  column %: all but the innermost row; layer %: the layers only;
  table %: nothing held);
- an empty cell reports counts 0, a percentage 0 when its base has cases and
  null otherwise; summary statistics and confidence limits null.
- listwise: a case missing any summary variable of the request leaves every
  summary table.
"""
import json
import math
import os

import numpy as np
import pandas as pd
from scipy import stats as st

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = pd.read_csv(os.path.join(HERE, "people.csv"), keep_default_na=False, na_values=[""])
DATA["sex"] = DATA["sex"].astype(str)

REGION = {1: "North", 2: "South", 3: "East", 4: "West", 9: "No answer"}
SEX = {"F": "Female", "M": "Male"}
BRAND = {1: "Acorn", 2: "Birch", 3: "Cedar", 99: "Refused"}


def weights(weighted):
    if not weighted:
        return pd.Series(1.0, index=DATA.index)
    w = DATA["wt"]
    ok = w.notna() & (w != 99) & (w > 0)
    return w.where(ok, 0.0)


def skipped(weighted):
    return int((weights(weighted) == 0).sum()) if weighted else 0


class Cat:
    """A category: label and per-case hit counts (0 or 1 for variables)."""

    def __init__(self, label, hits, kind="value"):
        self.label, self.hits, self.kind = label, hits.astype(float), kind


def values(col, labels, order, missing=(), include_missing=False, total=False, total_label="Total",
           total_before=False, keep_empty=True):
    cats = []
    for v in order:
        if v in missing and not include_missing:
            continue
        hits = (DATA[col] == v)
        if not keep_empty and hits.sum() == 0:
            continue
        cats.append(Cat(labels.get(v, str(v)), hits))
    return with_total(cats, total, total_label, total_before)


def with_total(cats, total, label="Total", before=False):
    listed = [c for c in cats if c.kind in ("value", "hidden")]
    union = sum((c.hits for c in listed), pd.Series(0.0, index=DATA.index)).clip(upper=1)
    shown = [c for c in cats if c.kind != "hidden"]
    if total:
        t = Cat(label, union, "total")
        shown = [t] + shown if before else shown + [t]
    return shown, union


def subtotal(label, members):
    return Cat(label, sum(m.hits for m in members).clip(upper=1), "subtotal")


def name(rows, cols, layers, stat):
    return " | ".join([" / ".join(rows), " / ".join(cols), " / ".join(layers), stat])


def combos(axes):
    out = [([], pd.Series(1.0, index=DATA.index))]
    for cats, _ in axes:
        out = [(labels + [c.label], hits * c.hits) for labels, hits in out for c in cats]
    return out


def count_table(rows, cols, layers, stats, weighted=False, level=95.0, bases=None):
    """Counts and percentages of variables (one category per case and dimension)."""
    w = weights(weighted)
    cells = []
    listed = [u for _, u in rows + cols + layers]
    nr, nc = len(rows), len(cols)

    def base(held_mask, held_dims, r_hits, c_hits, l_hits):
        mask = pd.Series(1.0, index=DATA.index)
        all_hits = r_hits + c_hits + l_hits
        for d, u in enumerate(listed):
            mask = mask * (all_hits[d] if d in held_dims else u)
        return float((w * mask).sum())

    def held(t):
        if bases and t in bases:
            return bases[t]
        dims = list(range(nr + nc + len(layers)))
        if t == 0:
            dims.remove(nr + nc - 1)       # all but the innermost column
        elif t == 1:
            dims.remove(nr - 1)            # all but the innermost row
        elif t == 2:
            dims = []
        elif t == 3:
            dims = [d for d in dims if d not in (nr - 1, nr + nc - 1)]  # all but the innermost row and column
        elif t == 4:
            dims = list(range(nr + nc, nr + nc + len(layers)))
        elif t == 5:
            dims = list(range(nr)) + list(range(nr + nc, nr + nc + len(layers)))  # rows and layers
        elif t == 6:
            dims = list(range(nr, nr + nc + len(layers)))  # columns and layers
        return dims

    def hits_of(axes):
        out = [([], [], pd.Series(1.0, index=DATA.index))]
        for cats, _ in axes:
            out = [(lab + [c.label], hs + [c.hits], m * c.hits) for lab, hs, m in out for c in cats]
        return out

    for ll, lh, lm in hits_of(layers):
        for rl, rh, rm in hits_of(rows):
            for cl, ch, cm in hits_of(cols):
                m = rm * cm * lm
                n = float((w * m).sum())
                for s in stats:
                    if s == "Count":
                        v = [n]
                    elif s == "UCount":
                        v = [float((m * (w > 0)).sum())]
                    elif s.startswith("CountPct"):
                        t = int(s[8])
                        b = base(None, held(t), rh, ch, lh)
                        p = 100.0 * n / b if b > 0 else None
                        if s.endswith("LCL") or s.endswith("UCL"):
                            a = (1 - level / 100.0) / 2
                            q = a if s.endswith("LCL") else 1 - a
                            # An empty cell has no limits (the tool's choice).
                            v = [100.0 * st.beta.ppf(q, n + 0.5, b - n + 0.5) if n > 0 else None]
                        else:
                            v = [p]
                    else:
                        raise ValueError(s)
                    cells.append([name(rl, cl, ll, s)] + v)
    return cells


def summary_table(rows, cols, var, stats, weighted=False, listwise_vars=()):
    """Summary statistics of `var` in each row x column combination."""
    w = weights(weighted)
    x = DATA[var]
    missing_codes = {"income": [-1]}.get(var, [])
    valid = x.notna() & ~x.isin(missing_codes)
    for other in listwise_vars:
        o = DATA[other]
        valid &= o.notna() & ~o.isin({"income": [-1]}.get(other, []))
    cells = []
    for rl, rm in combos(rows):
        for cl, cm in combos(cols):
            m = (rm * cm > 0) & valid & (w > 0)
            xs, ws = x[m].astype(float).to_numpy(), w[m].to_numpy()
            for s in stats:
                shown = s.replace("Ptile ", "Ptile(") + (")" if s.startswith("Ptile") else "")
                cells.append([name(rl, cl, [], shown)] + [summary(s, xs, ws)])
    return cells


def summary(s, xs, ws):
    n = ws.sum()
    if s in ("Median", "Ptile 25", "Ptile 75"):
        # Unweighted: the empirical distribution with averaging where np is whole.
        q = {"Median": 50, "Ptile 25": 25, "Ptile 75": 75}[s]
        return float(np.percentile(xs, q, method="averaged_inverted_cdf")) if len(xs) else None
    if s == "ValidN":
        return float(n)
    if n == 0:
        return None
    mean = float((xs * ws).sum() / n)
    if s == "Mean":
        return mean
    if s == "StdDev":
        return math.sqrt(float((ws * (xs - mean) ** 2).sum() / (n - 1))) if n > 1 else None
    if s == "Sum":
        return float((xs * ws).sum())
    if s == "Minimum":
        return float(xs.min())
    if s == "Maximum":
        return float(xs.max())
    if s.startswith("MeanLCL") or s.startswith("MeanUCL"):
        if n <= 1:
            return None
        sd = math.sqrt(float((ws * (xs - mean) ** 2).sum() / (n - 1)))
        tq = st.t.ppf(0.975, n - 1)
        return mean - tq * sd / math.sqrt(n) if "LCL" in s else mean + tq * sd / math.sqrt(n)
    raise ValueError(s)


def mc_set(members, labels, order, missing=(), duplicates=False):
    """Categories of a multiple-category set: per case, the number of
    mentions of each value (at most one unless duplicates count)."""
    cats = []
    for v in order:
        if v in missing:
            continue
        n = sum((DATA[m] == v).astype(float) for m in members)
        cats.append(Cat(labels.get(v, str(v)), n if duplicates else n.clip(upper=1)))
    return cats


def md_set(members, labels, counted=1):
    return [Cat(labels[m], (DATA[m] == counted).astype(float)) for m in members]


def set_table(set_cats, total, cols, stats, weighted=False, total_before=False):
    """A set in the rows, variables in the columns: Count counts cases with a
    mention, Responses the mentions; the set's total is the cases with any
    mention, and its responses all mentions. A subtotal counts the cases
    with a mention of any of its members, and their mentions."""
    shown = list(set_cats)
    w = weights(weighted)
    set_cats = [c for c in set_cats if c.kind != "subtotal"]
    any_mention = sum(c.hits for c in set_cats).clip(upper=1)
    if total:
        t = Cat("Total", sum(c.hits for c in set_cats), "total")
        rows = [t] + list(shown) if total_before else list(shown) + [t]
    else:
        rows = list(shown)
    cells = []
    for r in rows:
        for cl, cm in combos(cols):
            for s in stats:
                cases = r.hits.clip(upper=1) if r.kind != "total" else any_mention
                count = float((w * cases * cm).sum())
                resp = float((w * r.hits * cm).sum())
                if s == "Count":
                    v = count
                elif s == "Responses":
                    v = resp
                elif s == "CountPct1":
                    base = float((w * any_mention * cm).sum())
                    v = 100.0 * count / base if base > 0 else None
                elif s == "ResponsesPct1":
                    v = 100.0 * resp / float((w * sum(c.hits for c in set_cats) * cm).sum())
                else:
                    raise ValueError(s)
                cells.append([name([r.label], cl, [], s), v])
    return cells


def write(case, tables, weighted=False, comment=None):
    doc = {}
    if comment:
        doc["_comment"] = comment
    doc["skippedCases"] = skipped(weighted)
    doc["tables"] = [{"title": t, "cells": c} for t, c in tables]
    with open(os.path.join(HERE, case + ".expected.json"), "w") as f:
        f.write("{\n")
        if comment:
            f.write(' "_comment": %s,\n' % json.dumps(comment))
        f.write(' "skippedCases": %d,\n "tables": [\n' % doc["skippedCases"])
        for i, (title, cells) in enumerate(tables):
            f.write('  {"title": %s, "cells": [\n' % json.dumps(title))
            f.write(",\n".join("   " + json.dumps(c) for c in cells))
            f.write("\n  ]}%s\n" % ("," if i + 1 < len(tables) else ""))
        f.write(" ]\n}\n")


def region(**kw):
    return values("region", REGION, [1, 2, 3, 4, 9], missing=(9,), **kw)


def sex(**kw):
    return values("sex", SEX, ["F", "M"], **kw)


def main():
    gen = "generated by oracle.py (pandas/scipy)"
    # Counts and percentages, unweighted; West has a label but no case
    # (an empty category, included by default); 9 is user-missing.
    write("counts", [("Region by sex", count_table(
        [region(total=True)], [sex(total=True)], [], ["Count", "CountPct1", "CountPct0"]))], comment=gen)

    # Weighted: cases 10 (no weight), 11 (0), 13 (-1) and 14 (99, user-missing) are skipped.
    write("weighted", [("Weighted", count_table(
        [region(total=True)], [sex(total=True)], [], ["Count", "UCount", "CountPct1", "CountPct0", "CountPct2"],
        weighted=True))], weighted=True, comment=gen)

    # A layer: layer and table percentages.
    tv = values("tv", {0: "No", 1: "Watches"}, [0, 1])
    write("layers", [("Layers", count_table(
        [region()], [sex(total=True)], [tv], ["Count", "CountPct0", "CountPct1", "CountPct2", "CountPct4"]))],
        comment=gen)

    # Confidence limits of a column percentage at 90 %: Jeffreys interval,
    # 100 x beta.ppf(0.05 and 0.95, x + 0.5, n - x + 0.5).
    write("ci_level", [("Limits", count_table(
        [region()], [sex()], [], ["CountPct1", "CountPct1LCL", "CountPct1UCL"], level=90.0))], comment=gen)

    # Excluded empty categories, included user-missing values, total before.
    write("missing_empty", [("Included", count_table(
        [region(include_missing=True, keep_empty=False, total=True, total_before=True)], [], [], ["Count"]))],
        comment=gen)

    # Summary statistics with totals (rows and columns), weighted.
    write("summary", [("Income", summary_table(
        [region(total=True)], [sex(total=True)], "income", ["ValidN", "Mean", "StdDev", "Sum", "Minimum", "Maximum"],
        weighted=True))], weighted=True, comment=gen)

    # The same data with ";" between the fields and R's NA for no value:
    # pandas, told the same, must read the very frame of people.csv, so the
    # cells are those of the same tables there.
    dialect = pd.read_csv(os.path.join(HERE, "people_dialect.csv"), sep=";", keep_default_na=False, na_values=["NA"])
    dialect["sex"] = dialect["sex"].astype(str)
    assert dialect.equals(DATA)
    write("csv_dialect", [
        ("Income", summary_table([region(total=True)], [sex()], "income", ["ValidN", "Mean", "Sum"], weighted=True)),
        ("Second brand", count_table([values("b2", BRAND, [1, 2, 3, 99], missing=(99,), total=True)], [], [],
                                     ["Count"], weighted=True)),
    ], weighted=True, comment=gen)

    # Subtotals: the subtotal of 1 and 2 and the hidden subtotal of 3 count
    # exactly their cases, for counts and for summary statistics alike.
    r = [Cat("North", DATA["region"] == 1), Cat("South", DATA["region"] == 2)]
    r.append(subtotal("North+South", r))
    east = Cat("East", DATA["region"] == 3, "hidden")
    r += [east, subtotal("East only", [east])]
    rs = with_total(r, True, "All regions")
    write("subtotals", [
        ("Counts", count_table([rs], [sex(total=True)], [], ["Count", "CountPct1"])),
        ("Means", summary_table([rs], [], "income", ["ValidN", "Mean"])),
    ], comment=gen)

    # With the total before, a subtotal adds up the items after it, up to the
    # next subtotal; the hidden subtotal hides West (no case, still listed);
    # a subtotal with nothing after it does not show.
    r = [Cat("North", DATA["region"] == 1)]
    south_east = [Cat("South", DATA["region"] == 2), Cat("East", DATA["region"] == 3)]
    west = Cat("West", DATA["region"] == 4, "hidden")
    r += [subtotal("South+East", south_east)] + south_east + [subtotal("West only", [west]), west]
    media = md_set(["tv", "web"], {"tv": "Television", "web": "Internet"})
    any_medium = Cat("Any medium", sum(c.hits for c in media), "subtotal")
    write("subtotals_before", [
        ("Counts", count_table([with_total(r, True, "All regions", before=True)], [sex(total=True)], [],
                               ["Count", "CountPct1"])),
        ("Media", set_table([any_medium] + media, True, [], ["Count", "Responses"], total_before=True)),
    ], comment=gen)

    # Listwise: a case missing income or age leaves both tables.
    write("listwise", [
        ("Income", summary_table([sex(total=True)], [], "income", ["ValidN", "Mean"], listwise_vars=("age",))),
        ("Age", summary_table([sex(total=True)], [], "age", ["ValidN", "Mean"], listwise_vars=("income",))),
    ], comment=gen)
    write("pairwise", [
        ("Income", summary_table([sex(total=True)], [], "income", ["ValidN", "Mean"])),
        ("Age", summary_table([sex(total=True)], [], "age", ["ValidN", "Mean"])),
    ], comment=gen)


def total_element(label):
    """A stacked total element: one category that holds every case."""
    every = pd.Series(1.0, index=DATA.index)
    return [Cat(label, every, "total")], every


def stacked(row_elements, column_elements, layers, table):
    """A stacked table: each row element by each column element is a table of
    its own (`table(rows, columns)` gives its cells layer by layer, row by
    row, column by column); the cells go layer by layer, then row element by
    row element and row by row, then column element by column element."""
    parts = {(i, j): table(r, c) for i, r in enumerate(row_elements) for j, c in enumerate(column_elements)}
    out = []
    for layer in range(len(combos(layers))):
        for i, r in enumerate(row_elements):
            nr = len(combos(r))
            for row in range(nr):
                for j, c in enumerate(column_elements):
                    cells = parts[(i, j)]
                    block = len(cells) // (len(combos(layers)) * nr)
                    start = (layer * nr + row) * block
                    out += cells[start:start + block]
    return out


def stacking():
    gen = "generated by oracle.py (pandas)"
    every_base = ["Count"] + ["CountPct%d" % t for t in range(7)]
    tv = values("tv", {0: "No", 1: "Watches"}, [0, 1])
    web = values("web", {0: "No", 1: "Online"}, [0, 1])
    rows = [[region(total=True)], [tv], [total_element("Everyone")]]
    columns = [[total_element("All")], [sex(total=True)], [web, sex(total=True)]]  # one variable, one set of options
    media = md_set(["tv", "web"], {"tv": "Television", "web": "Internet"})
    write("stacked", [
        ("Banner", stacked(rows, columns, [], lambda r, c: count_table(r, c, [], every_base, weighted=True))),
        ("Banner by layer", stacked([[region()], [total_element("Everyone")]], [[total_element("All")], [sex()]],
                                    [tv], lambda r, c: count_table(r, c, [tv], every_base, weighted=True))),
        ("Set element", stacked([[(media, None)], [sex()]], [[total_element("All")], [region()]], [],
                                lambda r, c: set_table(r[0][0], False, c, ["Count", "CountPct1"], weighted=True)
                                if r[0][1] is None else count_table(r, c, [], ["Count", "CountPct1"], weighted=True))),
    ], weighted=True, comment=gen)


def sorted_cats(cats, key, descending=False):
    """Sorted by the key, ties by value; descending turns both around."""
    idx = sorted(range(len(cats)), key=lambda i: (key(cats[i]), i), reverse=descending)
    return [cats[i] for i in idx]


def order_and_lists():
    gen = "generated by oracle.py (pandas/numpy)"
    desc = values("sex", SEX, ["M", "F"])
    by_label = values("region", REGION, [3, 1, 2, 4], missing=(9,))  # East, North, South, West
    # Descending by count over the whole table; West (no case) last.
    reg, union = region()
    count = lambda c: float(c.hits.sum())
    by_count = with_total(sorted_cats(reg, count, descending=True), True)
    # Ascending by mean income; West has no mean and goes last.
    inc_ok = DATA["income"].notna() & (DATA["income"] != -1)
    mean = lambda c: DATA["income"][(c.hits > 0) & inc_ok].mean() if ((c.hits > 0) & inc_ok).any() else math.inf
    by_mean = with_total(sorted_cats(reg, mean), True)
    write("sorting", [
        ("Descending", count_table([desc], [], [], ["Count"])),
        ("By label", count_table([by_label], [], [], ["Count"])),
        ("By count", count_table([by_count], [sex()], [], ["Count"])),
        ("By mean", summary_table([by_mean], [], "income", ["Mean", "Median", "Ptile 25", "MeanLCL", "MeanUCL"])),
    ], comment=gen)

    # Ranges with open ends: each value in a range is a category of its own;
    # ages 50 to 59 are in no item and leave the table (and its total).
    age = DATA["age"]
    young = [Cat(str(v), age == v) for v in sorted(age[age <= 29].unique())]
    rest = [Cat(str(v), age == v) for v in sorted(age[((age >= 30) & (age <= 49)) | (age >= 60)].unique())]
    ages = with_total(young + [subtotal("Young", young)] + rest + [subtotal("Rest", rest)], True)
    # Region: 2 first, then the other valid values (West has a label), then
    # the missing values; with missing values listed the total holds them.
    other = [Cat(REGION[v], DATA["region"] == v) for v in (1, 3, 4)]
    regions = with_total([Cat("South", DATA["region"] == 2)] + other + [Cat("No answer", DATA["region"] == 9)], True)
    write("explicit_lists", [
        ("Age ranges", count_table([ages], [sex()], [], ["Count", "CountPct1"])),
        ("Other and missing", count_table([regions], [], [], ["Count"])),
    ], comment=gen)

    # Total statistics: the statistics variable (region, the innermost row)
    # shows only Count on its total; the columns' total keeps both.
    cells = count_table([region(total=True)], [sex(total=True)], [], ["Count", "CountPct1"])
    cells = [c for c in cells if not (c[0].startswith("Total |") and c[0].endswith("CountPct1"))]
    write("total_statistics", [("Total statistics", cells)], comment=gen)

    # The same for summary statistics: the total row shows Mean and ValidN.
    cells = summary_table([region(total=True)], [], "income", ["Mean", "StdDev", "ValidN"])
    cells = [c for c in cells if not (c[0].startswith("Total |") and c[0].endswith("StdDev"))
             and not (not c[0].startswith("Total |") and c[0].endswith("ValidN"))]
    write("total_statistics_summary", [("Income", cells)], comment=gen)

    # Label option 1 (row labels opposite) turns the row percentage's base
    # into the column: dimension 1 (sex) held, region free.
    write("label_option", [("Opposite", count_table([region()], [sex()], [], ["CountPct0", "CountPct1"],
                                                    bases={0: [1]}))], comment=gen)


def sets():
    gen = "generated by oracle.py (pandas)"
    brands = mc_set(["b1", "b2"], BRAND, [1, 2, 3, 99], missing=(99,))
    write("mc_set", [("Brands", set_table(brands, True, [sex(total=True)],
                                          ["Count", "CountPct1", "Responses", "ResponsesPct1"]))], comment=gen)
    dup = mc_set(["b1", "b2"], BRAND, [1, 2, 3, 99], missing=(99,), duplicates=True)
    write("mc_set_duplicates", [("Each mention", set_table(dup, True, [], ["Count", "Responses"]))], comment=gen)
    media = md_set(["tv", "web"], {"tv": "Television", "web": "Internet"})
    write("md_set", [
        ("Media", set_table(media, True, [sex()], ["Count", "CountPct1", "Responses"], weighted=True)),
        # Labelled by the counted value's label, in the order of the items.
        ("Media by value label", set_table(md_set(["web", "tv"], {"tv": "Watches", "web": "Online"}), False, [],
                                           ["Count"], weighted=True)),
    ], weighted=True, comment=gen)


if __name__ == "__main__":
    main()
    sets()
    order_and_lists()
    stacking()
