"""Independent oracle for tests/e2e/EngineCases_test.cpp, run from this directory as
    /usr/bin/python3 engine_oracle.py > ../data/engine/tables.json

Each case is a dataset, a table's shape and every displayed cell's expected statistics, computed from the raw
cases with numpy. A case falls into one category per categorical dimension (a value, the subtotal that
lists it, the total) and into every category a set hits; a cell sums the cases in all of its categories. A
percentage divides by the cell that keeps the dimensions its type holds fixed (engine_bases.py) and puts every
other dimension at its total. Weighted percentiles repeat each case w times ('averaged_inverted_cdf').
"""
import itertools, json
import numpy as np
from engine_bases import percent_base

nan = float("nan")
x, five = 12345, []  # 48 pseudo-random cases over five binary dimensions and a weight
for _ in range(48):
    v = []
    for _ in range(6):
        x = (1103515245 * x + 12345) % 2**31
        v.append((x >> 16) % 6)
    five.append([u % 2 + 1 for u in v[:5]] + [v[5] % 3 + 1])
DATA = {
    # The weight comes first: a weight variable at index 0 still weighs by a variable.
    "region_gender": (["w", "region", "gender"], [[1, 1, 1], [2, 1, 2], [1, 1, 1], [3, 2, 2], [1, 2, 2], [2, 2, 1],
                                               [1, 3, 1], [1, 3, 2], [1, 1, 2], [2, 3, 1]]),
    "answers": (["q1", "q2", "q3", "gender"], [[1, 2, nan, 1], [1, 1, 3, 1], [2, 3, nan, 2], [nan] * 3 + [2],
                                               [3, nan, 1, 2]]),
    "dichotomies": (["d1", "d2", "d3", "gender", "w"], [[1, 0, 1, 1, 2], [0, 1, 0, 1, 1], [1, 1, 1, 2, 1],
                                                        [0, 0, 0, 2, 3], [0, 0, 1, 2, 2]]),
    "answers_dichotomies": (["q1", "q2", "d1", "d2"], [[1, 2, 1, 0], [1, nan, 1, 1], [2, nan, 0, 1], [1, 2, 0, 0]]),
    "abc": (["a", "b", "c"], [[1, 1, 1], [1, 0, 0], [0, 0, 1], [0, 1, 1]]),
    "strings": (["sex:1", "q1:4", "q2:4"], [["F", "a", ""], ["F", "a", "b"], ["M", "b", ""], ["M", "b", "c"],
                                             ["F", "", "c"]]),
    "five": (list("ABCDL") + ["w"], five),
    "missing": (["region", "gender"], [[1, 1], [1, 2], [9, 1], [9, 2], [9, 2], [2, 1], [nan, 1]]),
    "scale": (["region", "gender", "income", "age", "w"], [
        [1, 1, 10, 30, 1], [1, 1, 14, 40, 2], [1, 1, 20, nan, 1], [1, 1, 12, 25, 3], [1, 2, 30, 50, 1],
        [1, 2, nan, 60, 2], [1, 2, 26, 35, 1], [1, 2, 22, 45, 2], [2, 1, 5, 20, 2], [2, 1, 9, 22, 1],
        [2, 1, 7, nan, 2], [2, 1, 11, 28, 1], [2, 2, 40, 55, 1], [2, 2, 44, 65, 1], [2, 2, 36, 60, 2],
        [2, 2, nan, nan, 1]]),
}
COUNT, UCOUNT, ECOUNT, RESP, MEAN, SD, USD, MEDIAN, PTILE, SUM, VALIDN = 1, 5, 9, 289, 179, 203, 204, 187, 468, 205, 222
PCT = {10: (COUNT, COUNT), 14: (UCOUNT, UCOUNT), 297: (RESP, RESP), 353: (RESP, COUNT), 409: (COUNT, RESP),
       233: (SUM, SUM), 66: (VALIDN, VALIDN)}  # first code of type 0: (numerator, denominator); +8 per type


def members(dim, row, cols, missing):
    """The categories a case falls into on one dimension, with the statistics dimension's hits in each."""
    names = dim.get("mc") or ([dim["var"]] if "var" in dim else [])
    valid = [v for c in names for v in [row[cols.index(c)]]
             if v == v and (v not in missing.get(c, []) or dim.get("includeMissing"))]
    if "var" in dim:
        if not valid:
            return []
        v = valid[0]
        sel = ("=" + v) if isinstance(v, str) else v
        if "list" not in dim:
            return [(sel, 1), ("T", 1)]
        item = next((i for i in dim["list"] if i.get("value") == v), None)
        if item is None:
            return []
        sub = [i for i in dim["list"] if "sub" in item and i.get("enc") == item["sub"] and "label" in i]
        return ([] if sub and not sub[0]["shown"] else [(sel, 1)]) + [("S%d" % i["enc"], 1) for i in sub] + [("T", 1)]
    if "md" in dim:
        hit = {"V" + c: 1 for c in dim["md"] if row[cols.index(c)] == dim["counted"]}
    else:
        hit = {}
        for v in valid:
            sel = ("=" + v) if isinstance(v, str) else v
            hit[sel] = hit.get(sel, 0) + 1 if dim.get("countDuplicates") else 1
    out = list(hit.items())
    for i in dim.get("list", []):
        n = sum(hit.get("V" + j["member"], 0) for j in dim["list"] if j.get("sub") == i.get("enc") and "member" in j)
        if "shown" in i and n:
            out.append(("S%d" % i["enc"], n))
    return out + ([("T", sum(hit.values()))] if hit else [])


def table(case):
    cols, rows = DATA[case["data"]]
    cols = [c.split(":")[0] for c in cols]
    dims, stats = case["dims"], case["stats"]
    layout = "".join(d["pos"] for d in dims)
    cells = {}
    for row in rows:
        w = row[cols.index(case["weight"])] if "weight" in case else 1
        scale = [s.get("var") for s in stats if "var" in s]
        if scale and not case.get("pairwise") and any(row[cols.index(v)] != row[cols.index(v)] for v in scale):
            continue
        for combo in itertools.product(*(members(d, row, cols, case.get("missing", {})) for d in dims)):
            key = tuple(m[0] for m in combo)
            hits = combo[case["statsDim"]][1] if "statsDim" in case else 0
            cells.setdefault(key, []).append((w, hits, row))

    def stat(key, s):
        code, sel = s["code"], cells.get(key, [])
        w = np.array([c[0] for c in sel], float)
        if code in (COUNT, UCOUNT, ECOUNT, RESP):
            return {COUNT: w.sum(), UCOUNT: len(w), ECOUNT: w.sum() ** 2 / (w ** 2).sum(),
                    RESP: sum(c[0] * c[1] for c in sel)}[code]
        for first, (num, den) in PCT.items():
            if first <= code < first + 56 and (code - first) % 8 == 0:
                fixed = percent_base(layout, (code - first) // 8, case.get("labelOption", 0))
                base = tuple(k if i in fixed else "T" for i, k in enumerate(key))
                return 100 * stat(key, dict(s, code=num)) / stat(base, dict(s, code=num if den == num else den))
        x = np.array([c[2][cols.index(s["var"])] for c in sel], float)
        w, x = w[~np.isnan(x)], x[~np.isnan(x)]
        mean = (w * x).sum() / w.sum()
        rep = np.repeat(x, w.astype(int))
        return {MEAN: mean, SD: np.sqrt((w * (x - mean) ** 2).sum() / (w.sum() - 1)), USD: x.std(ddof=1),
                SUM: (w * x).sum(), MEDIAN: np.percentile(rep, 50, method="averaged_inverted_cdf"), VALIDN: w.sum(),
                PTILE: np.percentile(rep, s.get("cut", 50), method="averaged_inverted_cdf")}[code]

    shown = []
    for i, d in enumerate(dims):
        hidden = {j["enc"] for j in d.get("list", []) if not j.get("shown", True)}
        listed = {j["value"] for j in d.get("list", []) if "value" in j and j.get("sub") not in hidden}
        cats = sorted({k[i] for k in cells if k[i] != "T"} | listed, key=lambda c: (isinstance(c, str), c))
        shown.append(cats + (["T"] if d.get("total") else []))
    out = []
    for key in itertools.product(*shown):
        sel = [int(k) if isinstance(k, float) else k for k in key]
        total = "totalStats" in case and str(key[case["statsDim"]])[0] in "TS"
        values = [float(stat(key, s)) for s in case["totalStats" if total else "stats"]] if key in cells else None
        out.append([sel, values])
    return dict(case, cells=out)


def stats(*codes):
    return [{"code": c} for c in codes]


SETS = stats(1, 289, 18, 305, 361, 417, 26, 10, 297, 353, 409)
RG = [{"pos": "R", "var": "region", "total": True}, {"pos": "C", "var": "gender", "total": True}]
GENDER = {"pos": "C", "var": "gender", "total": True}


def region_list(*items):
    return [dict({"pos": "R", "var": "region", "total": True, "list": list(items)}), GENDER]


def income(*codes, var="income", cut=None):
    return [dict({"code": c, "var": var}, **({"cut": cut} if cut and c == PTILE else {})) for c in codes]


SCALE = income(MEAN, SD, MEDIAN, PTILE, SUM, VALIDN, USD, cut=25) + income(MEAN, var="age")
cases = [
    dict(name="counts", data="region_gender", dims=RG, statsDim=1, stats=stats(1, 10, 18, 26, 5)),
    dict(name="counts_weighted", data="region_gender", weight="w", dims=RG, statsDim=1,
         stats=stats(1, 10, 18, 26, 5, 22, 9)),
    dict(name="listed_with_subtotal", data="region_gender", weight="w", statsDim=1, stats=stats(1, 18),
         dims=region_list({"value": 1, "sub": -101}, {"value": 2, "sub": -101},
                          {"label": "North", "enc": -101, "shown": True}, {"value": 4}), absent=[[0, 3]]),
    dict(name="hidden_subtotal", data="region_gender", weight="w", statsDim=1, stats=stats(1, 18),
         dims=region_list({"value": 1, "sub": -101}, {"value": 2, "sub": -101},
                          {"label": "1-2", "enc": -101, "shown": True}, {"value": 3, "sub": -102},
                          {"label": "3", "enc": -102, "shown": False}), absent=[[0, 3]]),
    dict(name="total_statistics", data="region_gender", weight="w", dims=RG, statsDim=1, stats=stats(1, 18),
         totalStats=stats(26, 1)),
    dict(name="subtotal_statistics", data="region_gender", weight="w", statsDim=0, stats=stats(1, 10, 9),
         totalStats=stats(1, 26), dims=region_list({"value": 1, "sub": -101}, {"value": 2, "sub": -101},
                                                   {"label": "1 and 2", "enc": -101, "shown": True}, {"value": 3})),
    dict(name="missing_excluded", data="missing", missing={"region": [9]}, dims=RG, statsDim=1, stats=stats(1, 18)),
    dict(name="missing_included", data="missing", missing={"region": [9]}, statsDim=1, stats=stats(1, 18),
         dims=[dict(RG[0], includeMissing=True), GENDER]),
    dict(name="category_set", data="answers", statsDim=0, stats=SETS,
         dims=[{"pos": "R", "mc": ["q1", "q2", "q3"], "total": True}, GENDER]),
    dict(name="duplicates_counted", data="answers", statsDim=0, stats=stats(1, 289, 305, 361),
         dims=[{"pos": "R", "mc": ["q1", "q2", "q3"], "total": True, "countDuplicates": True}, GENDER]),
    dict(name="dichotomy_set_weighted", data="dichotomies", weight="w", statsDim=0, stats=SETS + stats(5, 9),
         dims=[{"pos": "R", "md": ["d1", "d2", "d3"], "counted": 1, "total": True}, GENDER]),
    dict(name="category_by_dichotomy_set", data="answers_dichotomies", statsDim=0, stats=stats(1, 289, 18, 305),
         dims=[{"pos": "R", "mc": ["q1", "q2"], "total": True},
               {"pos": "C", "md": ["d1", "d2"], "counted": 1, "total": True}]),
    dict(name="dichotomy_subtotals", data="abc", statsDim=0, stats=stats(1, 289, 26, 313),
         dims=[{"pos": "R", "md": ["a", "b", "c"], "counted": 1, "total": True,
                "list": [{"member": "a", "sub": -101}, {"member": "b", "sub": -101},
                         {"label": "ab", "enc": -101, "shown": True}, {"member": "c", "sub": -102},
                         {"label": "c", "enc": -102, "shown": True}]}]),
    dict(name="strings_set_in_layer", data="strings", statsDim=1, stats=stats(1, 42, 26),
         missing={"q1": [""], "q2": [""]},
         dims=[{"pos": "R", "var": "sex", "total": True}, {"pos": "L", "mc": ["q1", "q2"], "missingVar": "q1"}]),
    dict(name="scale_listwise", data="scale", weight="w", stats=SCALE,
         dims=[{"pos": "R", "var": "region"}, {"pos": "C", "var": "gender"}]),
    dict(name="scale_pairwise", data="scale", weight="w", pairwise=True, stats=SCALE,
         dims=[{"pos": "R", "var": "region"}, {"pos": "C", "var": "gender"}]),
    dict(name="scale_percentages", data="scale", weight="w", stats=income(SUM, 233, 241, 249, 74),
         dims=[{"pos": "R", "var": "region"}, {"pos": "C", "var": "gender"}]),
] + [dict(name="five_%s_%d" % (lay, opt), data="five", weight="w", labelOption=opt, statsDim=3,
          stats=stats(1, *range(10, 59, 8)),
          dims=[{"pos": p, "var": v, "total": opt % 2 == 0} for p, v in zip(lay, "ABCDL")])
     for lay in ("RRCCL", "RCCLL", "RRRCL") for opt in range(5)]
out = {"datasets": {k: {"columns": c, "rows": [[None if v != v else v for v in r] for r in rows]}
                    for k, (c, rows) in DATA.items()}, "cases": [table(c) for c in cases]}
print(json.dumps(out, indent=None, separators=(",", ":")).replace('{"name"', '\n{"name"'))
