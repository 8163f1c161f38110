#!/usr/bin/env python3
"""Generates the synthetic survey of the examples: survey.csv and its
dictionary survey.dict.json.

The survey is made up but behaves like a real one: two waves, regions of
different size, answers that depend on age and region, user-missing codes
("no answer", "refused", "don't know"), a non-integer design weight (a few
cases with a zero or missing weight), two scale variables with missing
values, a multiple-category set (up to three brands named) and a dichotomy
set (media used). A fixed seed makes the files identical on every run.

    python3 examples/gen_survey.py [--cases N] [--seed S] [--out DIR]
"""
import argparse
import csv
import json
import math
import os
import random

REGIONS = {1: "North", 2: "South", 3: "East", 4: "West", 5: "Capital"}
REGION_SHARE = [0.22, 0.25, 0.15, 0.18, 0.20]
AGE_GROUPS = {1: "18-29", 2: "30-44", 3: "45-59", 4: "60-74", 5: "75 and over"}
AGE_SHARE = [0.18, 0.24, 0.26, 0.20, 0.12]
BRANDS = {1: "Acorn", 2: "Birch", 3: "Cedar", 4: "Dogwood", 5: "Elm", 6: "Other brand"}
MEDIA = [("tv", "Television"), ("radio", "Radio"), ("web", "Internet"), ("press", "Newspapers")]


def pick(rng, values, weights):
    return rng.choices(values, weights=weights, k=1)[0]


def respondent(rng, rid):
    wave = 1 if rid % 2 else 2
    region = pick(rng, list(REGIONS), REGION_SHARE)
    if rng.random() < 0.015:
        region = 9  # no answer
    agegrp = pick(rng, list(AGE_GROUPS), AGE_SHARE)
    gender = pick(rng, ["F", "M", "D"], [0.51, 0.475, 0.015])
    if rng.random() < 0.01:
        gender = "X"  # refused
    educ = pick(rng, ["LO", "MI", "HI"], [0.25, 0.45, 0.30] if agegrp < 4 else [0.45, 0.40, 0.15])
    if rng.random() < 0.02:
        educ = "NA"

    # Satisfaction leans up with age and in the capital; 8 = don't know, 9 = refused.
    lean = 0.25 * (agegrp - 3) + (0.4 if region == 5 else 0.0) + (0.2 if wave == 2 else 0.0)
    satisf = min(5, max(1, round(rng.gauss(3.3 + lean, 1.0))))
    r = rng.random()
    if r < 0.03:
        satisf = 8
    elif r < 0.045:
        satisf = 9

    # Monthly income: log-normal, higher with education and in the capital;
    # -1 = refused (user-missing), empty = not asked (system-missing).
    base = {"LO": 7.3, "MI": 7.6, "HI": 8.0, "NA": 7.5}[educ] + (0.15 if region == 5 else 0.0)
    base += {1: -0.35, 2: 0.05, 3: 0.15, 4: -0.05, 5: -0.2}[agegrp]
    income = round(math.exp(rng.gauss(base, 0.45)) / 10) * 10
    r = rng.random()
    if r < 0.06:
        income = -1
    elif r < 0.09:
        income = None

    # Weekly hours online, one decimal, fewer with age; some not answered.
    hours = max(0.0, rng.gauss(24 - 4 * agegrp, 6))
    hours = None if rng.random() < 0.05 else round(hours, 1)

    # Up to three brands named, without repeats mostly (a few repeat one).
    n = pick(rng, [0, 1, 2, 3], [0.12, 0.38, 0.32, 0.18])
    named = rng.sample(list(BRANDS), n) if n else []
    if n >= 2 and rng.random() < 0.03:
        named[1] = named[0]  # a repeated mention
    brands = named + [None] * (3 - len(named))
    if n == 0 and rng.random() < 0.3:
        brands[0] = 99  # refused the question

    use = {
        "tv": rng.random() < 0.55 + 0.08 * agegrp,
        "radio": rng.random() < 0.45 + 0.04 * agegrp,
        "web": rng.random() < 0.97 - 0.12 * agegrp,
        "press": rng.random() < 0.10 + 0.09 * agegrp,
    }

    # Design weight: corrects the age shares and the regional sample sizes.
    wt = round(rng.uniform(0.4, 2.2) * (1.15 if agegrp == 1 else 1.0), 3)
    r = rng.random()
    if r < 0.004:
        wt = 0.0
    elif r < 0.006:
        wt = None

    row = {
        "id": rid, "wave": wave, "region": region, "gender": gender, "agegrp": agegrp, "educ": educ,
        "satisf": satisf, "income": income, "hours": hours, "wt": wt,
        "brand1": brands[0], "brand2": brands[1], "brand3": brands[2],
    }
    for key, _ in MEDIA:
        row[key] = 1 if use[key] else 0
    return row


def labels(mapping):
    return [{"value": k, "label": v} for k, v in mapping.items()]


def fmt(text):
    """"F8.2" -> {"type": "F", "width": 8, "decimals": 2}."""
    kind, rest = text[0], text[1:]
    width, _, decimals = rest.partition(".")
    out = {"type": kind, "width": int(width)}
    if kind != "A":
        out["decimals"] = int(decimals or 0)
    return out


def host_format(variables):
    """Writes the descriptions the way the host's dictionary reader takes them."""
    for v in variables:
        if "format" in v:
            v["format"] = fmt(v["format"])
        if "missingValues" in v:
            v["missing"] = {"values": v.pop("missingValues")}
    return variables


def dictionary():
    brand_labels = labels(BRANDS) + [{"value": 99, "label": "Refused"}]
    variables = [
        {"name": "id", "label": "Respondent number", "type": "numeric", "format": "F5.0"},
        {"name": "wave", "label": "Survey wave", "type": "numeric", "format": "F1.0",
         "valueLabels": [{"value": 1, "label": "Spring 2023"}, {"value": 2, "label": "Spring 2024"}]},
        {"name": "region", "label": "Region", "type": "numeric", "format": "F1.0",
         "valueLabels": labels(REGIONS) + [{"value": 9, "label": "No answer"}], "missingValues": [9]},
        {"name": "gender", "label": "Gender", "type": "string", "width": 1, "format": "A1",
         "valueLabels": [{"value": "D", "label": "Diverse"}, {"value": "F", "label": "Female"}, {"value": "M", "label": "Male"}, {"value": "X", "label": "Refused"}],
         "missingValues": ["X"]},
        {"name": "agegrp", "label": "Age group", "type": "numeric", "format": "F1.0",
         "valueLabels": labels(AGE_GROUPS)},
        {"name": "educ", "label": "Education", "type": "string", "width": 2, "format": "A2",
         "valueLabels": [{"value": "HI", "label": "Higher"}, {"value": "LO", "label": "Lower"}, {"value": "MI", "label": "Middle"}, {"value": "NA", "label": "No answer"}],
         "missingValues": ["NA"]},
        {"name": "satisf", "label": "Satisfaction with local services", "type": "numeric", "format": "F1.0",
         "valueLabels": [{"value": 1, "label": "Very dissatisfied"}, {"value": 2, "label": "Dissatisfied"}, {"value": 3, "label": "Neither"}, {"value": 4, "label": "Satisfied"},
                         {"value": 5, "label": "Very satisfied"}, {"value": 8, "label": "Don't know"}, {"value": 9, "label": "Refused"}],
         "missingValues": [8, 9]},
        {"name": "income", "label": "Monthly net income", "type": "numeric", "format": "F8.0",
         "valueLabels": [{"value": -1, "label": "Refused"}], "missingValues": [-1]},
        {"name": "hours", "label": "Hours online per week", "type": "numeric", "format": "F5.1"},
        {"name": "wt", "label": "Design weight", "type": "numeric", "format": "F6.3"},
    ]
    for i in (1, 2, 3):
        variables.append({"name": f"brand{i}", "label": f"Brand named {i}", "type": "numeric", "format": "F2.0",
                          "valueLabels": brand_labels, "missingValues": [99]})
    for key, label in MEDIA:
        variables.append({"name": key, "label": label, "type": "numeric", "format": "F1.0",
                          "valueLabels": [{"value": 0, "label": "No"}, {"value": 1, "label": "Yes"}]})
    return {"variables": host_format(variables)}


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--cases", type=int, default=3000)
    ap.add_argument("--seed", type=int, default=20240611)
    ap.add_argument("--out", default=here)
    args = ap.parse_args()

    rng = random.Random(args.seed)
    rows = [respondent(rng, rid) for rid in range(1, args.cases + 1)]
    names = [v["name"] for v in dictionary()["variables"]]
    with open(os.path.join(args.out, "survey.csv"), "w", newline="") as f:
        w = csv.writer(f, lineterminator="\n")
        w.writerow(names)
        for row in rows:
            w.writerow(["" if row[n] is None else row[n] for n in names])
    with open(os.path.join(args.out, "survey.dict.json"), "w") as f:
        json.dump(dictionary(), f, indent=1)
        f.write("\n")


if __name__ == "__main__":
    main()
