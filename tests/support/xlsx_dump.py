"""Prints a workbook as the tests compare it, one JSON list of sheets: each its name, frozen cell, merged ranges
and rows, a number cell as [value, number format], a text cell as its text, empty as null (trailing ones dropped)."""
import json
import sys

import openpyxl


def cell(c):
    if isinstance(c.value, (int, float)) and not isinstance(c.value, bool):
        return [c.value, c.number_format]
    return c.value


sheets = []
for ws in openpyxl.load_workbook(sys.argv[1]):
    rows = []
    for row in ws.iter_rows():
        values = [cell(c) for c in row]
        while values and values[-1] is None:
            values.pop()
        rows.append(values)
    sheets.append({"name": ws.title, "freeze": ws.freeze_panes, "rows": rows,
                   "merged": sorted(str(r) for r in ws.merged_cells.ranges)})
json.dump(sheets, sys.stdout)
