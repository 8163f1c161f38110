"""A Dask DataFrame in: one partial table per partition on worker processes, merged, against the same frame run
whole in pandas (itself checked against the oracles in test_tables.py). The states travel between processes."""
import json
from pathlib import Path

import numpy as np
import pandas as pd
import pytest

import dask.dataframe as dd
from dask.distributed import Client, LocalCluster

import kvaggr

CASES = Path(__file__).resolve().parents[2] / "tests" / "e2e" / "tables"


@pytest.fixture(scope="module")
def client():
    with LocalCluster(n_workers=2, processes=True, threads_per_worker=1, dashboard_address=None) as cluster, \
            Client(cluster) as c:
        yield c


def same_tables(whole, parts):
    assert parts.skipped_cases == whole.skipped_cases
    assert [t.title for t in parts.tables] == [t.title for t in whole.tables]
    for a, b in zip(whole.tables, parts.tables):
        pd.testing.assert_frame_equal(b.to_frame(), a.to_frame(), rtol=1e-12)
        pd.testing.assert_frame_equal(b.tests_frame(), a.tests_frame(), rtol=1e-12)


@pytest.mark.filterwarnings("ignore::kvaggr.RequestWarning", "ignore::DeprecationWarning")
@pytest.mark.parametrize("described", [True, False])
@pytest.mark.parametrize("case", sorted(p.name[:-len(".request.json")] for p in CASES.glob("*.request.json")))
def test_partitions_merged_give_the_tables_of_the_whole_frame(client, case, described):
    request = json.loads((CASES / f"{case}.request.json").read_text())
    csv = request.get("csv", {})
    frame = pd.read_csv(CASES / request.pop("data"), sep=csv.get("delimiter", ","), keep_default_na=False,
                        na_values=[""] + csv.get("na", []))
    dictionary = json.loads((CASES / request.pop("dictionary")).read_text())
    dictionary = dictionary if described else None
    for partitions in (1, 3):
        same_tables(kvaggr.run(request, frame, dictionary),
                    kvaggr.run(request, dd.from_pandas(frame, npartitions=partitions), dictionary))


def test_partitions_that_would_read_their_columns_differently(client):
    # Each partition of 3 rows alone would infer another width, type, format or coding than the whole frame.
    frame = pd.DataFrame({
        "city": ["a", "b", "a", "London", "a", "b", "Rome", "Rome", "a"],    # width 1 in the first partition
        "note": [None, None, None, "x", np.nan, "yy", "x", None, "x"],        # all blank (numbers) in the first
        "score": [1, 2, 3, 1.5, 2.25, 3, 4, 5, 6.125],                       # integers in the first
        "grp": ["lo", "lo", "lo", "hi", "lo", "mid", "hi", "hi", "mid"],     # categories met in another order
    })
    frame["score"] = frame["score"].astype(float)
    parts = dd.from_pandas(frame, npartitions=3, sort=False).astype({"grp": "category"})
    assert not parts["grp"].cat.known
    request = {"tables": [{"rows": ["city"], "columns": ["grp"], "statistics": ["Count", "CountPct1"]},
                          {"rows": ["note"], "summary": "score", "statistics": ["Mean", "Sum", "Maximum"]}]}
    whole = frame.astype({"grp": pd.CategoricalDtype(parts["grp"].cat.as_known().cat.categories)})
    same_tables(kvaggr.run(request, whole), kvaggr.run(request, parts))


def test_a_mistake_is_the_message_of_a_pandas_run(client):
    frame = pd.DataFrame({"a": [1.0, 2.0], "b": ["x", "y"]})
    for request in ({"tables": [{"rows": ["nope"]}]}, {"weight": "b", "tables": [{"rows": ["a"]}]}):
        with pytest.raises(kvaggr.RequestError) as whole:
            kvaggr.run(request, frame)
        with pytest.raises(kvaggr.RequestError, match=r"^request: /(tables/0/rows/0|weight):") as parts:
            kvaggr.run(request, dd.from_pandas(frame, npartitions=2))
        assert str(parts.value).split(":")[:2] == str(whole.value).split(":")[:2]
