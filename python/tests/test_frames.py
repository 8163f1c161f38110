"""Data in: every kind of column a DataFrame holds, read without the columns the request does not use, with and
without a dictionary; and runs that hold their memory."""
import os

import numpy as np
import pandas as pd
import pytest

import kvaggr


def frame():
    # Built from a row-major block, so that the float columns are strided views into it.
    df = pd.DataFrame(np.array([[1.0, 10.0], [2.0, np.nan], [2.0, 30.0], [np.nan, 40.0]]), columns=["f", "g"])
    df["i8"] = np.array([1, 1, 2, 3], dtype=np.int8)
    df["u16"] = np.array([7, 7, 7, 65535], dtype=np.uint16)
    df["f32"] = np.array([0.5, 0.5, np.nan, 1.25], dtype=np.float32)
    df["b"] = [True, False, True, True]
    df["ni"] = pd.array([1, None, 1, 2], dtype="Int64")
    df["s"] = ["x", None, np.nan, "yy  "]
    df["c"] = pd.Categorical(["lo", "hi", None, "lo"], categories=["lo", "hi"])
    df["when"] = pd.to_datetime(["2024-01-01"] * 4)  # never used, so never converted
    return df


# (variable, dictionary entry or None, [(category label, count)] in display order), derived by hand from frame():
# NaN, missing codes and pd.NA are system-missing; None and NaN in a text column are the blank string.
COUNTS = [
    ("f", None, [("1", 1), ("2", 2)]),
    ("g", None, [("10", 1), ("30", 1), ("40", 1)]),
    ("i8", None, [("1", 2), ("2", 1), ("3", 1)]),
    ("u16", None, [("7", 3), ("65535", 1)]),
    ("f32", None, [("0.50", 2), ("1.25", 1)]),
    ("b", None, [("0", 1), ("1", 3)]),
    ("ni", None, [("1", 2), ("2", 1)]),
    ("s", None, [("", 2), ("x", 1), ("yy", 1)]),
    ("c", None, [("lo", 2), ("hi", 1)]),
    ("i8", {"type": "numeric", "format": {"decimals": 1}, "missing": {"values": [3]},
            "valueLabels": [{"value": 1, "label": "one"}]}, [("one", 2), ("2.0", 1)]),
    ("c", {"type": "numeric", "valueLabels": [{"value": 2, "label": "high"}]}, [("lo", 2), ("high", 1)]),
    ("c", {"type": "string", "width": 2}, [("", 1), ("hi", 1), ("lo", 2)]),
    ("s", {"type": "string", "width": 4, "missing": {"values": ["x"]}}, [("", 2), ("yy", 1)]),
]


@pytest.mark.parametrize("variable, described, expected", COUNTS)
def test_every_kind_of_column(variable, described, expected):
    df = frame()
    assert df["f"].to_numpy().strides == (16,)
    dictionary = None if described is None else {"variables": [dict(name=variable, **described)]}
    table = kvaggr.run({"tables": [{"rows": [variable]}]}, df, dictionary).tables[0].to_frame()
    assert list(zip(table["row1_label"], table["value"])) == expected


def test_a_weight_column_of_nan_and_a_borrowed_column_read_in_place():
    df = pd.DataFrame({"a": [1, 1, 2], "w": [2.0, np.nan, 0.5]})
    res = kvaggr.run({"weight": "w", "tables": [{"rows": ["a"]}]}, df)
    assert res.skipped_cases == 1
    assert list(res.tables[0].to_frame()["value"]) == [2.0, 0.5]


def test_the_tidy_frame_and_the_tests_frame():
    res = kvaggr.run({"tables": [{"title": "T", "rows": ["c"], "columns": ["s"], "statistics": ["Count"]},
                                 {"rows": ["i8"], "summary": "f", "statistics": [{"name": "Ptile", "cut": 50}]}]},
                     frame())
    first, second = (t.to_frame() for t in res.tables)
    assert [t.title for t in res.tables] == ["T", "Table 2"]
    assert list(first.columns[:10]) == ["table", "title", "row1_variable", "row1_category", "row1_value",
                                         "row1_label", "column1_variable", "column1_category", "column1_value",
                                         "column1_label"]
    assert first["table"].dtype == np.int64 and set(second["table"]) == {2}
    assert first.loc[0, "column1_value"] == "" and np.isnan(first.loc[0, "cut"])
    assert list(second["cut"]) == [50.0] * 3 and "column1_label" not in second
    assert list(res.tables[0].tests_frame().columns) == ["test", "layers", "rows", "columns", "versus", "statistic",
                                                         "df", "pValue", "adjustedPValue", "significant"]


def test_runs_hold_their_memory():
    df = frame()
    good = {"tables": [{"rows": ["c"], "columns": ["s"], "statistics": ["Count", "CountPct1"]}]}
    bad = {"tables": [{"rows": ["when"]}]}

    def rss():
        with open("/proc/self/statm") as statm:
            return int(statm.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

    def runs(n):
        for i in range(n):
            kvaggr.run(good, df).tables[0].to_frame()
            if i % 10 == 0:
                with pytest.raises(kvaggr.RequestError):
                    kvaggr.run(bad, df)
    runs(500)
    before = rss()
    runs(10_000)
    # Keeping one request, dataset or result of each run would take a kilobyte or more a run: 10 MB and more.
    assert rss() - before < 4 << 20
