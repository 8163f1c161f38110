"""Result.to_excel read back with openpyxl, over the demo and every end-to-end request: a sheet per table, each
value of the tidy frame (kvtables' JSON and CSV numbers) a number cell of its sheet, no number written as text;
nested column labels as merged ranges over the columns they head."""
import io
import re
from pathlib import Path

import openpyxl
import pytest

import kvaggr

ROOT = Path(__file__).resolve().parents[2]
REQUESTS = [ROOT / "examples" / "demo.request.json"] + sorted((ROOT / "tests" / "e2e" / "tables").glob("*.request.json"))
NUMBER = re.compile(r"\s*[-+]?[\d,]*\.?\d+([eE][-+]?\d+)?\s*")


def workbook(result):
    out = io.BytesIO()
    result.to_excel(out)
    return openpyxl.load_workbook(out)


@pytest.mark.filterwarnings("ignore::kvaggr.RequestWarning")
@pytest.mark.parametrize("path", REQUESTS, ids=lambda p: p.name[:-len(".request.json")])
def test_every_number_is_a_number_cell(path):
    result = kvaggr.run(path)
    book = workbook(result)
    assert len(book.worksheets) == len(result.tables)
    for table, sheet in zip(result.tables, book.worksheets):
        values = table.to_frame()["value"].dropna()
        cells = [c.value for row in sheet.iter_rows() for c in row]
        numbers = [v for v in cells if isinstance(v, (int, float))]
        # The format keeps 16 significant digits (the spreadsheet itself shows 15).
        assert sorted(numbers) == pytest.approx(sorted(values.tolist()), rel=1e-15, abs=0), table.title
        # Labels may read as numbers ("19" for an unlabelled age); the values right of and under the frozen
        # labels may not.
        corner = sheet[sheet.freeze_panes]
        texts = [c.value for row in sheet.iter_rows(min_row=corner.row, min_col=corner.column) for c in row
                 if isinstance(c.value, str)]
        assert not [v for v in texts if NUMBER.fullmatch(v)], table.title


def test_nested_columns_are_merged_over_what_they_head(tmp_path):
    examples = ROOT / "examples"
    request = {"data": str(examples / "survey.csv"), "dictionary": str(examples / "survey.dict.json"),
               "tables": [{"title": "Nested", "rows": ["region"], "columns": ["gender", "wave"],
                           "statistics": ["Count", "CountPct1"],
                           "categories": {"gender": {"items": ["F", "M"]}}}]}
    path = tmp_path / "nested.xlsx"
    kvaggr.run(request).to_excel(path)
    sheet = openpyxl.load_workbook(path).active
    merged = {sheet.cell(r.min_row, r.min_col).value: (r.min_row, r.min_col, r.max_col)
              for r in sheet.merged_cells.ranges}
    # One stub column, then gender F and M, each over two waves of two statistics.
    assert merged["Female"][1:] == (2, 5) and merged["Male"][1:] == (6, 9)
    assert merged["Gender"][1:] == (2, 9) and merged["Gender"][0] + 1 == merged["Female"][0]
    assert [sheet.cell(merged["Female"][0] + 2, c).value for c in range(2, 10, 2)] == ["Spring 2023", "Spring 2024"] * 2
    assert sheet.freeze_panes == f"B{merged['Female'][0] + 4}"
