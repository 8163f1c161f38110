"""kvaggr.crosstab against pandas: weighted counts and column percentages as pandas.crosstab gives them (values=
weights, aggfunc="sum", normalize="columns"), with and without margins, nested and layered rows, a Categorical,
and one statistic per column without column variables."""
import numpy as np
import pandas as pd
import pytest

import kvaggr

rng = np.random.default_rng(11)
N = 2000
DF = pd.DataFrame({"a": rng.integers(1, 4, N), "b": rng.integers(1, 3, N), "w": rng.uniform(0.5, 2.0, N),
                   "c": pd.Categorical(rng.choice(["lo", "mid", "hi"], N), categories=["lo", "mid", "hi"])})


def as_text(frame):
    """pandas' labels as kvaggr shows them (integers as they are, categories by name)."""
    def text(index):
        if isinstance(index, pd.MultiIndex):
            return pd.MultiIndex.from_arrays([index.get_level_values(i).astype(str) for i in range(index.nlevels)],
                                             names=index.names)
        return pd.Index(index.astype(str), name=index.name)
    return frame.set_axis(text(frame.index), axis=0).set_axis(text(frame.columns), axis=1)


@pytest.mark.parametrize("totals", [False, True])
@pytest.mark.parametrize("rows", ["a", "c"])
def test_weighted_counts_and_column_percentages(rows, totals):
    got = kvaggr.crosstab(DF, rows, "b", weight="w", statistics=["Count", "CountPct1"], totals=totals)
    crosstab = dict(values=DF.w, aggfunc="sum", margins=totals, margins_name="Total")
    counts = as_text(pd.crosstab(DF[rows], DF.b, **crosstab))
    percents = as_text(pd.crosstab(DF[rows], DF.b, normalize="columns", **crosstab) * 100)
    pd.testing.assert_frame_equal(got.xs("Count", axis=1, level="statistic"), counts, check_names=False, rtol=1e-12)
    # pandas normalizes without a total row; kvaggr's total row is 100 throughout.
    pd.testing.assert_frame_equal(got.xs("CountPct1", axis=1, level="statistic").loc[percents.index], percents,
                                  check_names=False, rtol=1e-12)
    if totals:
        assert (got.xs("CountPct1", axis=1, level="statistic").loc["Total"] == 100).all()


def test_layers_and_nested_rows_index_outermost_first():
    expected = as_text(pd.crosstab([DF.c, DF.a], DF.b, values=DF.w, aggfunc="sum"))
    for got in (kvaggr.crosstab(DF, ["c", "a"], "b", weight="w"),
                kvaggr.crosstab(DF, "a", "b", layers="c", weight="w")):
        assert list(got.index.names) == ["c", "a"] and list(got.columns.names) == ["b", "statistic"]
        pd.testing.assert_frame_equal(got.xs("Count", axis=1, level="statistic"), expected, check_names=False)


def test_without_columns_one_column_per_statistic():
    got = kvaggr.crosstab(DF, "c", weight="w", statistics=["Count", "UCount", "Mean"], summary="a")
    grouped = DF.groupby("c").agg(Count=("w", "sum"), UCount=("w", "size"))
    grouped["Mean"] = DF.assign(aw=DF.a * DF.w).groupby("c").aw.sum() / grouped.Count
    assert got.columns.name == "statistic" and got.index.name == "c"
    pd.testing.assert_frame_equal(got, as_text(grouped).astype(float), check_names=False)
