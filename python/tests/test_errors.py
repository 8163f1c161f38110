"""Every kind of bad input raises kvaggr.RequestError (a ValueError) with the command line's one-line message:
the cases of tests/e2e/cli/cases.json from their request files and as dicts (then named "request"), and what
only a data frame can get wrong."""
import json
import warnings
from pathlib import Path

import numpy as np
import pandas as pd
import pytest

import kvaggr

CLI = Path(__file__).resolve().parents[2] / "tests" / "e2e" / "cli"
CLI_CASES = json.loads((CLI / "cases.json").read_text())["cases"]


@pytest.fixture(scope="module")
def case_dir(tmp_path_factory):
    directory = tmp_path_factory.mktemp("cli")
    for f in CLI.iterdir():
        (directory / f.name).symlink_to(f)
    return directory


# A request written as text (syntax errors, comments) has no dict form.
FORMS = [(c, form) for c in CLI_CASES for form in ("file", "dict") if form == "file" or "request" in c]


@pytest.mark.parametrize("case, form", FORMS, ids=[f"{c['name']}-{form}" for c, form in FORMS])
def test_cli_cases_give_the_same_message(case, form, case_dir, monkeypatch):
    monkeypatch.chdir(case_dir)
    path = case["name"] + ".request.json"
    Path(path).write_text(case["text"] if "text" in case else json.dumps(case["request"]))
    request = path if form == "file" else case["request"]
    message = case["stderr"] if form == "file" else case["stderr"].replace(path, "request")
    if case.get("exit", 2) == 2:
        with pytest.raises(kvaggr.RequestError) as raised:
            kvaggr.run(request)
        assert isinstance(raised.value, ValueError) and str(raised.value) == message
    else:
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            kvaggr.run(request)
        assert "".join(f"warning: {w.message}\n" for w in caught) == (message + "\n" if message else "")


def test_a_request_file_that_is_not_there(case_dir, monkeypatch):
    monkeypatch.chdir(case_dir)
    with pytest.raises(kvaggr.RequestError, match=r"^nosuch\.request\.json: cannot open the file: No such file"):
        kvaggr.run("nosuch.request.json")


FRAME = pd.DataFrame({"region": [1, 2, 9], "sex": ["F", "M", None], "name": ["Al", "Bea", "Cy"],
                      "when": pd.to_datetime(["2024-01-01"] * 3)})
NUMERIC_REGION = {"variables": [{"name": "region", "type": "string", "width": 1}]}

FRAME_ERRORS = [
    ({"rows": ["when"]}, None, 'data frame: column "when": dtype datetime64[ns] is not numbers, text or categories'),
    ({"rows": ["nosuch"]}, None, 'request: /tables/0/rows/0: unknown variable or set "nosuch"'),
    ({"rows": ["region"], "summary": "sex"}, None,
     'request: /tables/0/summary: summary variable "sex" is not numeric: data frame row 0 holds "F"'),
    ({"rows": ["region"]}, {"variables": [{"name": "nosuch", "type": "numeric"}]},
     'dictionary: /variables/0/name: no column "nosuch" in the data frame'),
    ({"rows": ["region"]}, {"variables": [{"name": "region", "type": "numeric", "width": 1}]},
     'dictionary: /variables/0/width: only string variables have a width (use "format")'),
    ({"rows": ["sex"]}, {"variables": [{"name": "sex", "type": "numeric"}]},
     'data frame: column "sex": the dictionary describes a numeric variable, but the frame holds text (dtype object)'),
    ({"rows": ["region"]}, NUMERIC_REGION, 'data frame: column "region": the dictionary describes a string variable, '
                                           'but the frame holds numbers (dtype int64)'),
    ({"rows": ["name"]}, {"variables": [{"name": "name", "type": "string", "width": 2}]},
     'data frame: column "name": row 1: "Bea" is 3 bytes, wider than the width 2'),
]


@pytest.mark.parametrize("table, dictionary, message", FRAME_ERRORS)
def test_frame_errors(table, dictionary, message):
    with pytest.raises(kvaggr.RequestError) as raised:
        kvaggr.run({"tables": [table]}, FRAME, dictionary)
    assert str(raised.value) == message


def test_frames_without_names_or_data():
    twice = pd.DataFrame(np.zeros((2, 3)), columns=["a", "b", "a"])
    with pytest.raises(kvaggr.RequestError, match=r'^data frame: duplicate column name "a" \(columns 1 and 3\)$'):
        kvaggr.run({"tables": [{"rows": ["b"]}]}, twice)
    with pytest.raises(kvaggr.RequestError, match=r'^request: /: missing key "data"$'):
        kvaggr.run({"tables": [{"rows": ["region"]}]})
    with pytest.raises(TypeError):
        kvaggr.run({"tables": [{"rows": ["region"]}]}, FRAME.to_dict())


def test_memory_limit():
    ids = pd.DataFrame({"id": np.arange(200_000, dtype="float64")})
    request = {"tables": [{"title": "Ids", "rows": ["id"]}]}
    with pytest.raises(kvaggr.RequestError, match=r'^the tables reached the memory limit of 1\.0 MB after [0-9,]+ '
                                                  r'cases: table "Ids" holds [0-9,]+ cells .*set max_memory\)$'):
        kvaggr.run(request, ids, max_memory=1 << 20)
    with pytest.raises(kvaggr.RequestError, match=r'^max_memory: "lots" is not a memory size'):
        kvaggr.run(request, ids, max_memory="lots")
    assert kvaggr.run(request, ids.head(3), max_memory="64M").tables[0].to_frame()["value"].tolist() == [1.0] * 3
