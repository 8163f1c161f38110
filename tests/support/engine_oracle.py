"""Independent oracle for the end-to-end percentage tests (pandas).

Prints the dataset and the expected cells of tests/e2e/EnginePercentBases_test.cpp:
for three layouts of five binary dimensions and all five label options, each
cell's weighted count and its seven percentages. The dimensions each percentage
type holds fixed come from engine_bases.py, written out from the base rules and
checked against a hand derivation for rows A B, columns C D, layer L.
"""
import itertools

import pandas as pd

from engine_bases import percent_base

# A deterministic pseudo-random dataset: 48 cases over five binary dimensions.
rows = []
x = 12345
for _ in range(48):
    vals = []
    for _ in range(6):
        x = (1103515245 * x + 12345) % (2**31)
        vals.append((x >> 16) % 6)
    a, b, c, d, l = (v % 2 + 1 for v in vals[:5])
    w = vals[5] % 3 + 1
    rows.append((a, b, c, d, l, w))
df = pd.DataFrame(rows, columns=list("ABCDL") + ["w"])
dims = list("ABCDL")
LAYOUTS = ["RRCCL", "RCCLL", "RRRCL"]

print("const std::vector<std::vector<double>> kFiveDims = {")
print(",\n".join("    {%d, %d, %d, %d, %d, %d}" % r for r in rows) + ",\n};")
print('const char* const kLayouts[3] = {%s};' % ", ".join('"%s"' % l for l in LAYOUTS))
cell = df.groupby(dims)["w"].sum()
absent = [combo for combo in itertools.product([1, 2], repeat=5) if combo not in cell.index]
print("const double kAbsent[%d][5] = {%s};" % (len(absent), ", ".join("{%s}" % ", ".join(map(str, c)) for c in absent)))
print("// [layout][label option][cell]: A B C D L, weighted count, percentage types 0..6")
print("const double kExpected[3][5][%d][13] = {" % len(cell))
for layout in LAYOUTS:
    print("  {")
    for opt in range(5):
        bases = {t: percent_base(layout, t, opt) for t in range(7)}
        print("    { // %s, option %d: %s" % (layout, opt, " ".join(str(bases[t]).replace(" ", "") for t in range(7))))
        for combo in itertools.product([1, 2], repeat=5):
            if combo not in cell.index:
                continue
            n = cell[combo]
            pcts = []
            for t in range(7):
                mask = pd.Series(True, index=df.index)
                for i in bases[t]:
                    mask &= df[dims[i]] == combo[i]
                pcts.append(100.0 * n / df.loc[mask, "w"].sum())
            print("      {%s, %d, %s}," % (", ".join(map(str, combo)), n, ", ".join("%.15g" % p for p in pcts)))
        print("    },")
    print("  },")
print("};")
