"""The tables of kvtables' end-to-end cases (tests/e2e/tables) through kvaggr.run, from a DataFrame that pandas
read (with the dictionary as a dict) and from the request file: every cell of each expected file, named and
compared as tests/e2e/KvtablesTables_test.cpp does (rows | columns | layers | statistic(params), relative 1e-9)."""
import json
import math
from pathlib import Path

import pandas as pd
import pytest

import kvaggr

CASES = Path(__file__).resolve().parents[2] / "tests" / "e2e" / "tables"


def cell_name(frame, row):
    def labels(axis):
        # A stacked element shallower than the deepest leaves its last levels empty.
        return " / ".join(row[c] for c in frame.columns
                          if c.startswith(axis) and c.endswith("_label") and not pd.isna(row[c]))
    params = ",".join("%g" % row[p] for p in ("cut", "lower", "upper", "level") if not pd.isna(row[p]))
    return " | ".join([labels("row"), labels("column"), labels("layer"), row["statistic"]]) + \
        (f"({params})" if params else "")


def close(actual, expected):
    if expected is None:
        return math.isnan(actual)
    return abs(actual - expected) <= 1e-9 * max(abs(expected), 1e-3)


def check_tests(table, frame, want):
    """The tests frame and the letters of a case with significance tests, as the C++ test reads them."""
    tests = table.tests_frame()
    parts = [[r.test, r.layers, r.rows, r.columns] + ([r.versus] if isinstance(r.versus, str) else [])
             for r in tests.itertuples()]
    assert [" | ".join(p) for p in parts] == [t[0] for t in want["tests"]]
    for r, t in zip(tests.itertuples(), want["tests"]):
        for got, expected in zip((r.statistic, r.df, r.pValue, r.adjustedPValue), t[1:5]):
            assert close(got, expected), f"{t[0]}: {got} != {expected}"
        assert bool(r.significant) == t[5]
    cells = {cell_name(frame, row): row for _, row in frame.iterrows()}
    for name, *value in want["someCells"]:
        if value[0] == "over":
            assert cells[name]["significant_over"] == value[1], name
        else:
            assert close(cells[name]["value"], value[0]), name


@pytest.mark.filterwarnings("ignore::kvaggr.RequestWarning")
@pytest.mark.parametrize("source", ["frame", "file"])
@pytest.mark.parametrize("case", sorted(p.name[:-len(".request.json")] for p in CASES.glob("*.request.json")))
def test_cells_match_the_independent_result(case, source):
    path = CASES / f"{case}.request.json"
    if source == "file":
        result = kvaggr.run(path)
    else:
        request = json.loads(path.read_text())
        csv = request.get("csv", {})
        frame = pd.read_csv(CASES / request["data"], sep=csv.get("delimiter", ","), keep_default_na=False,
                            na_values=[""] + csv.get("na", []))
        result = kvaggr.run(request, frame, json.loads((CASES / request["dictionary"]).read_text()))
    expected = json.loads((CASES / f"{case}.expected.json").read_text())
    assert result.skipped_cases == expected.get("skippedCases", result.skipped_cases)
    assert len(result.tables) == len(expected["tables"])
    for table, want in zip(result.tables, expected["tables"]):
        assert table.title == want.get("title", table.title)
        frame = table.to_frame()
        if "tests" in want:
            check_tests(table, frame, want)
            continue
        assert [cell_name(frame, row) for _, row in frame.iterrows()] == [c[0] for c in want["cells"]]
        for (_, row), cell in zip(frame.iterrows(), want["cells"]):
            for key, value in zip(("value", "value2", "value3"), cell[1:]):
                assert close(row[key], value), f"{cell[0]} {key}: {row[key]} != {value}"
