"""Independent oracle for the end-to-end percentage tests (pandas).

Prints the dataset and the expected cells of tests/e2e/EnginePercentBases_test.cpp.
The dimensions held fixed by each percentage type under each label option were
derived by hand from the base rules (rows A, B; columns C, D; layer L).
"""
import itertools
import pandas as pd

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

BASES = {
    "default": {0: [0, 1, 2, 4], 1: [0, 2, 3, 4], 2: [], 3: [0, 2, 4], 4: [4], 5: [0, 1, 4], 6: [2, 3, 4]},
    "rowOpposite": {0: [0, 2, 3, 4], 1: [1, 2, 3, 4], 2: [], 3: [2, 3, 4], 4: [4], 5: [0, 4], 6: [1, 2, 3, 4]},
    "colOpposite": {0: [0, 1, 3, 4], 1: [0, 1, 2, 4], 2: [], 3: [0, 1, 4], 4: [4], 5: [0, 1, 3, 4], 6: [2, 4]},
    "rowLayer": {0: [0, 1, 2, 4], 1: [1, 2, 3, 4], 2: [], 3: [1, 2, 4], 4: [1, 4], 5: [0, 1, 4], 6: [1, 2, 3, 4]},
    "colLayer": {0: [0, 1, 3, 4], 1: [0, 2, 3, 4], 2: [], 3: [0, 3, 4], 4: [3, 4], 5: [0, 1, 3, 4], 6: [2, 3, 4]},
}

print("const std::vector<std::vector<double>> kFiveDims = {")
print(",\n".join("    {%d, %d, %d, %d, %d, %d}" % r for r in rows) + ",\n};")
cell = df.groupby(dims)["w"].sum()
for name, bases in BASES.items():
    print(f"// {name}: A B C D L, weighted count, then percentage types 0..6 (-1: no cell)")
    print(f"const double kExpected_{name}[32][13] = {{")
    for combo in itertools.product([1, 2], repeat=5):
        if combo not in cell.index:
            print("    {%s, -1, -1, -1, -1, -1, -1, -1, -1}," % ", ".join(map(str, combo)))
            continue
        n = cell[combo]
        pcts = []
        for t in range(7):
            keep = [dims[i] for i in bases[t]]
            mask = pd.Series(True, index=df.index)
            for i in bases[t]:
                mask &= df[dims[i]] == combo[i]
            base = df.loc[mask, "w"].sum()
            pcts.append(100.0 * n / base)
        print("    {%s, %d, %s}," % (", ".join(map(str, combo)), n, ", ".join("%.15g" % p for p in pcts)))
    print("};")
