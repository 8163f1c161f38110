"""Multi-dimensional statistical tables of pandas data frames.

    res = kvaggr.run(request, data=None, dictionary=None)
    res.to_excel("tables.xlsx")
    wide = kvaggr.crosstab(df, rows, columns=None, ...)

The request, the numbers and the error messages are those of the kvtables
command line; see README.md beside this package's sources.
"""
import json
import os
import warnings
from collections.abc import Mapping

import numpy as np
import pandas as pd

from . import _kvaggr
from ._kvaggr import RequestError

__all__ = ["run", "crosstab", "Result", "Table", "RequestError", "RequestWarning"]


class RequestWarning(UserWarning):
    """Something in the request that does not stop the run (kvtables prints it as a warning)."""


class Table:
    """One table of a result: its title and its cells."""

    def __init__(self, raw):
        self._raw = raw
        self.title = raw["title"]

    def __repr__(self):
        return f"<kvaggr.Table {self.title!r}: {len(self._raw['value'])} cells>"

    def to_frame(self):
        """One row per cell in display order, with the columns of kvtables --format csv; NaN for missing."""
        header = self._raw["header"]
        return pd.DataFrame(dict(zip(header, self._raw["columns"])), columns=header)

    def tests_frame(self):
        """The significance tests of the table, one row per compared pair of columns in a row (proportions,
        means) or per sub-table (chiSquare); categories as their labels, nested ones joined by " / "."""
        columns = _kvaggr.TEST_COLUMNS
        records = self._raw["tests"]
        if not records:
            return pd.DataFrame({name: pd.Series(dtype=object) for name in columns})
        return pd.DataFrame.from_records(records, columns=columns)

    def _wide(self):
        """Cells as a wide frame: layer and row labels down, column labels and statistic across."""
        raw = self._raw
        cells, stat, value = raw["cells"], raw["statistic"], raw["value"]
        down = raw["layers"] + raw["rows"]
        across = raw["columns_axis"]
        # Categories are in display order, so sorting the category indices gives display order.
        row_keys, row_at = np.unique(cells[:, :len(down)], axis=0, return_inverse=True)
        col_keys, col_at = np.unique(np.column_stack([cells[:, len(down):], stat]), axis=0, return_inverse=True)
        wide = np.full((len(row_keys), len(col_keys)), np.nan)
        wide[row_at.ravel(), col_at.ravel()] = value

        def axis_index(keys, variables, last=None):
            arrays = [[v["labels"][k] for k in keys[:, i]] for i, v in enumerate(variables)]
            names = [v["name"] for v in variables]
            if last is not None:
                arrays.append([raw["statistics"][k] for k in keys[:, -1]])
                names.append(last)
            if len(arrays) == 1:
                return pd.Index(arrays[0], name=names[0])
            return pd.MultiIndex.from_arrays(arrays, names=names)

        return pd.DataFrame(wide, index=axis_index(row_keys, down), columns=axis_index(col_keys, across, "statistic"))


class Result:
    """What a run gives: the tables in request order and the cases left out for their weight."""

    def __init__(self, raw):
        self.tables = [Table(t) for t in raw["tables"]]
        self.skipped_cases = int(raw["skipped_cases"])
        self.warnings = list(raw["warnings"])
        self._results = raw["results"]

    def to_excel(self, path):
        """Writes the tables as an xlsx workbook, as kvtables --format xlsx does: a worksheet per table.

        path: a file name, or a binary file object to write the workbook's bytes to. The workbook is made
        whole before the file is opened, so a table too large for a worksheet (RequestError) writes nothing.
        """
        workbook = _kvaggr.render_xlsx(self._results)
        if hasattr(path, "write"):
            path.write(workbook)
            return
        with open(os.fspath(path), "wb") as out:
            out.write(workbook)

    def __repr__(self):
        return f"<kvaggr.Result: {len(self.tables)} tables, {self.skipped_cases} skipped cases>"


def _json(value):
    """JSON text of a request or dictionary; numpy scalars are written as the numbers they hold."""
    def plain(o):
        if isinstance(o, np.generic):
            return o.item()
        raise TypeError(f"{type(o).__name__} is not valid in a request or dictionary")
    return json.dumps(value, default=plain)


def _frame_columns(frame, used):
    """The frame's column names, and for those the request uses what the engine reads (see python/src/FrameData.h)."""
    names = [str(c) for c in frame.columns]
    columns = {}
    for position, name in enumerate(names):
        if name not in used or name in columns:
            continue
        series = frame.iloc[:, position]
        dtype = series.dtype
        if isinstance(dtype, pd.CategoricalDtype):
            columns[name] = ("categorical", series.cat.codes.to_numpy(), [str(c) for c in dtype.categories])
        elif isinstance(dtype, np.dtype) and dtype.kind in "biuf":
            columns[name] = ("numeric", series.to_numpy(copy=False))
        elif pd.api.types.is_bool_dtype(dtype) or pd.api.types.is_numeric_dtype(dtype) and dtype.kind in "biuf":
            # The nullable extension types: their missing values become NaN.
            columns[name] = ("numeric", series.to_numpy(dtype="float64", na_value=np.nan))
        elif pd.api.types.is_object_dtype(dtype) or pd.api.types.is_string_dtype(dtype):
            columns[name] = ("string", series.to_numpy(dtype=object))
        else:
            columns[name] = ("unsupported", str(dtype))
    return names, columns


def run(request, data=None, dictionary=None, max_memory=None):
    """Computes the tables of a kvtables request.

    request: the request as a dict (named "request" in messages; "data" and "dictionary" optional) or the
        path of a request file (relative "data" and "dictionary" paths are relative to that file).
    data: a pandas DataFrame, or None to read the request's "data" file as kvtables does.
    dictionary: a dict in the dictionary format (named "dictionary" in messages), or None for the
        request's "dictionary" file, or when it has none, types inferred from the data.
    max_memory: stop with a RequestError once the tables need more memory than this: a number of bytes
        or a text such as "4G" (default: three quarters of the memory available).
    Raises RequestError (a ValueError) with the message kvtables prints for any mistake in these.
    """
    if data is not None and not isinstance(data, pd.DataFrame):
        raise TypeError(f"data must be a pandas DataFrame or None, not {type(data).__name__}")
    data_required = data is None
    if isinstance(request, (str, os.PathLike)):
        parsed = _kvaggr.load_request(os.fspath(request), data_required)
    else:
        # Any other value is the request's JSON, checked as a file's would be.
        parsed = _kvaggr.parse_request(_json(request), "request", "", data_required)
    dictionary_text = None if dictionary is None else _json(dictionary)
    limit = None if max_memory is None else str(max_memory)
    if data is None:
        raw = _kvaggr.run_csv(parsed, dictionary_text, limit)
    else:
        names, columns = _frame_columns(data, set(parsed.names_used))
        raw = _kvaggr.run_frame(parsed, len(data), names, columns, dictionary_text, limit)
    for message in raw["warnings"]:
        warnings.warn(message, RequestWarning, stacklevel=2)
    return Result(raw)


def _names(value):
    if value is None:
        return []
    return [value] if isinstance(value, str) else list(value)


def crosstab(df, rows, columns=None, layers=None, weight=None, statistics=("Count",), summary=None, totals=False,
             dictionary=None):
    """A wide table of a DataFrame, laid out as pandas.crosstab lays it out.

    rows, columns, layers: column names of df (a name or a list, outermost first); layers go outside the rows.
    statistics: statistic names or dicts as in a request ("Count", "CountPct1", {"name": "Ptile", "cut": 25});
        summary names the scale variable of Mean, Median, ... weight a weight column.
    totals: a total on every row and column variable, labelled "Total".
    The index holds the row categories' labels; the columns are (column labels ..., statistic), or the
    statistics alone without column variables.
    """
    table = {"rows": _names(rows), "statistics": [statistics] if isinstance(statistics, (str, Mapping))
             else list(statistics)}
    for key, names in (("columns", _names(columns)), ("layers", _names(layers))):
        if names:
            table[key] = names
    if summary is not None:
        table["summary"] = summary
    if totals:
        table["categories"] = {name: {"total": True} for name in table["rows"] + table.get("columns", [])}
    request = {"tables": [table]}
    if weight is not None:
        request["weight"] = weight
    return run(request, df, dictionary).tables[0]._wide()
