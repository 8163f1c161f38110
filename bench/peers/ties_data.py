#!/usr/bin/python3
"""Writes a tiny survey whose weighted percentiles meet p % exactly, with the known answers.

    ties_data.py DIR    -> DIR/survey.csv, DIR/survey.dict.json, DIR/expected.json
"""
import json
import math
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
import gen_data  # noqa: E402  (for the dictionary)

out = sys.argv[1]
os.makedirs(out, exist_ok=True)
# region, gender, income, wt
cases = [(1, 2, "1", "1"), (1, 2, "2", "1"), (1, 2, "3", "1"), (1, 2, "4", "1"),
         (2, 1, "10", "2"), (2, 1, "20", "2"), (3, 1, "", "1")]
with open(os.path.join(out, "survey.csv"), "w") as f:
    f.write(",".join(gen_data.COLUMNS) + "\n")
    for i, (r, g, inc, wt) in enumerate(cases, start=1):
        f.write("%d,%d,%d,1,3,5,,,1,0,0,0,0,%s,50,%s\n" % (i, r, g, inc, wt))
with open(os.path.join(out, "survey.dict.json"), "w") as f:
    json.dump(gen_data.dictionary(), f, indent=1)
expected = {
    "w3_mean_r1_g2": 2.5,
    "w3_sd_r1_g2": math.sqrt(5.0 / 3.0),
    "w3_median_r1_g2": 2.5,      # 1, 2, 3, 4 with unit weights: the target 2 is met at 2
    "w3_p25_rT_gT": 2.5,         # weights 1, 1, 1, 1, 2, 2 (total 8): the target 2 is met at 2
    "w3_p75_r2_gT": 20.0,        # 10 and 20 with weight 2 each: the target 3 first exceeded at 20
}
with open(os.path.join(out, "expected.json"), "w") as f:
    json.dump(expected, f, indent=1)
