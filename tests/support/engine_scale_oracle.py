"""Independent oracle for tests/e2e/EngineScale_test.cpp (numpy).

Weighted statistics with integer weights equal the unweighted statistics of the
data with every case repeated w times, so np.repeat gives an oracle for the
weighted median and percentiles (method 'averaged_inverted_cdf': the value where
the cumulative weight first exceeds p %, the midpoint when it meets p % exactly).
"""
import numpy as np

nan = float("nan")
# region, gender, income, age, w
rows = [
    (1, 1, 10, 30, 1), (1, 1, 14, 40, 2), (1, 1, 20, nan, 1), (1, 1, 12, 25, 3),
    (1, 2, 30, 50, 1), (1, 2, nan, 60, 2), (1, 2, 26, 35, 1), (1, 2, 22, 45, 2),
    (2, 1, 5, 20, 2), (2, 1, 9, 22, 1), (2, 1, 7, nan, 2), (2, 1, 11, 28, 1),
    (2, 2, 40, 55, 1), (2, 2, 44, 65, 1), (2, 2, 36, 60, 2), (2, 2, nan, nan, 1),
]
print("const std::vector<std::vector<double>> kScaleRows = {")
for r in rows:
    print("    {%s}," % ", ".join("NAN" if v != v else "%g" % v for v in r))
print("};")

def stats(sel, var):
    x = np.array([r[var] for r in sel], float)
    w = np.array([r[4] for r in sel], float)
    ok = ~np.isnan(x)
    x, w = x[ok], w[ok]
    W = w.sum()
    mean = (w * x).sum() / W
    var_ = (w * (x - mean) ** 2).sum() / (W - 1)
    rep = np.repeat(x, w.astype(int))
    med = np.percentile(rep, 50, method="averaged_inverted_cdf")
    p25 = np.percentile(rep, 25, method="averaged_inverted_cdf")
    return [mean, np.sqrt(var_), med, p25, (w * x).sum(), W]

for mode in ("listwise", "pairwise"):
    print(f"// {mode}: region, gender, then income mean, std dev, median, 25th percentile, sum, valid N; age mean")
    print(f"const double kScale_{mode}[4][9] = {{")
    for reg in (1, 2):
        for gen in (1, 2):
            sel = [r for r in rows if r[0] == reg and r[1] == gen]
            if mode == "listwise":
                sel = [r for r in sel if r[2] == r[2] and r[3] == r[3]]
            s = stats(sel, 2) + [stats(sel, 3)[0]]
            print("    {%d, %d, %s}," % (reg, gen, ", ".join("%.15g" % v for v in s)))
    print("};")
