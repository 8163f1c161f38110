"""Multi-dimensional statistical tables of pandas data frames.

    res = kvaggr.run(request, data=None, dictionary=None)      # data: pandas or Dask DataFrame
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


def _is_dask_frame(data):
    """A Dask DataFrame, told by its class's package so that Dask is imported only by those who use it."""
    return type(data).__module__.split(".")[0] == "dask" and hasattr(data, "to_delayed")


class _RequestSource:
    """A request as text, parsed again where it is needed: what travels to a Dask worker."""

    def __init__(self, text, name, base_dir):
        self.text, self.name, self.base_dir = text, name, base_dir

    def parse(self):
        return _kvaggr.parse_request(self.text, self.name, self.base_dir, False)


def _partition_profile(names_used, part):
    names, columns = _frame_columns(part, names_used)
    return _kvaggr.frame_profile(len(part), names, columns)


def _partition_state(source, dictionary, max_memory, part):
    parsed = source.parse()
    names, columns = _frame_columns(part, set(parsed.names_used))
    return _kvaggr.frame_state(parsed, len(part), names, columns, dictionary, max_memory)


def _merge_states(source, dictionary, meta, *states):
    parsed = source.parse()
    names, columns = _frame_columns(meta, set(parsed.names_used))
    return _kvaggr.merge_states(parsed, names, columns, dictionary, list(states))


def _inferred_dictionary(profiles):
    """The dictionary's text for the columns no partition's profile leaves in doubt: a column is text if any
    partition holds text in it (a partition of blanks reads as numbers), as wide as its widest value; numbers take
    the most decimals any partition needs."""
    merged = {}
    for profile in profiles:
        for name, (kind, width, decimals) in profile.items():
            was = merged.get(name, (0, 0, 0))
            merged[name] = (max(was[0], kind), max(was[1], width), max(was[2], decimals))
    variables = []
    for name, (kind, width, decimals) in merged.items():
        if kind > 0:
            variables.append({"name": name, "type": "string", "width": kind})
        else:
            variables.append({"name": name, "type": "numeric",
                              "format": {"type": "F", "width": width, "decimals": decimals}})
    return json.dumps({"variables": variables})


def _run_dask(parsed, source, frame, dictionary_text, limit):
    """One state per partition, computed where the partition lives, merged pairwise in partition order (a tree
    of depth log2 of the partitions), the tables read from the last state here."""
    import dask

    used = set(parsed.names_used)
    name = "dictionary"
    if dictionary_text is None and parsed.dictionary_path:
        # Read here, where the request's paths lead: a worker may not see the file.
        name = parsed.dictionary_path
        try:
            with open(name, "rb") as file:
                dictionary_text = file.read()
        except OSError as e:
            raise RequestError(f"{name}: cannot open the file: {e.strerror}") from None
    described = set()
    if dictionary_text is not None:
        described = set(_kvaggr.dictionary_names(dictionary_text, name))
    for column in frame.columns:
        # Partitions must code a categorical column alike.
        if str(column) in used and isinstance(frame[column].dtype, pd.CategoricalDtype) and not frame[column].cat.known:
            frame = frame.copy()
            frame[column] = frame[column].cat.as_known()
    parts = frame.to_delayed()
    inferred = None
    if used - described:
        profile = dask.delayed(_partition_profile)
        inferred = _inferred_dictionary(dask.compute(*[profile(used - described, p) for p in parts]))
    dictionary = _kvaggr.FrameDictionary(dictionary_text, name, inferred)
    meta = frame._meta
    names, columns = _frame_columns(meta, used)
    # The request checked here, against the columns as every partition will read them, before any aggregation.
    _kvaggr.merge_states(parsed, names, columns, dictionary, [])
    state = dask.delayed(_partition_state)
    states = [state(source, dictionary, limit, p) for p in parts]
    merge = dask.delayed(_merge_states)
    while len(states) > 1:
        states = [merge(source, dictionary, meta, *states[i:i + 2]) if i + 1 < len(states) else states[i]
                  for i in range(0, len(states), 2)]
    (final,) = dask.compute(states[0])
    return _kvaggr.finish_states(parsed, names, columns, dictionary, [final], limit)


def run(request, data=None, dictionary=None, max_memory=None):
    """Computes the tables of a kvtables request.

    request: the request as a dict (named "request" in messages; "data" and "dictionary" optional) or the
        path of a request file (relative "data" and "dictionary" paths are relative to that file).
    data: a pandas DataFrame; or a Dask DataFrame, aggregated partition by partition where each lives and the
        partial tables merged (the same tables as from the whole frame in pandas); or None to read the request's
        "data" file as kvtables does.
    dictionary: a dict in the dictionary format (named "dictionary" in messages), or None for the
        request's "dictionary" file, or when it has none, types inferred from the data.
    max_memory: stop with a RequestError once the tables need more memory than this: a number of bytes
        or a text such as "4G" (default: three quarters of the memory available).
    Raises RequestError (a ValueError) with the message kvtables prints for any mistake in these.
    """
    dask_frame = _is_dask_frame(data)
    if data is not None and not isinstance(data, pd.DataFrame) and not dask_frame:
        raise TypeError(f"data must be a pandas or Dask DataFrame or None, not {type(data).__name__}")
    data_required = data is None
    if isinstance(request, (str, os.PathLike)):
        path = os.fspath(request)
        parsed = _kvaggr.load_request(path, data_required)
        source = _RequestSource(None, path, os.path.dirname(path))
        if dask_frame:
            with open(path, "rb") as file:
                source.text = file.read()
    else:
        # Any other value is the request's JSON, checked as a file's would be.
        source = _RequestSource(_json(request), "request", "")
        parsed = _kvaggr.parse_request(source.text, source.name, source.base_dir, data_required)
    dictionary_text = None if dictionary is None else _json(dictionary)
    limit = None if max_memory is None else str(max_memory)
    if dask_frame:
        raw = _run_dask(parsed, source, data, dictionary_text, limit)
    elif data is None:
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
