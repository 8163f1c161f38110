#!/usr/bin/env bash
# Runs the main job on the bundled example, and writes its tables as a
# workbook beside it (examples/demo.xlsx).
set -euo pipefail
build=${1:-build}
cd "$(dirname "$0")/.."
"$build/tools/kvtables/kvtables" examples/demo.request.json
"$build/tools/kvtables/kvtables" examples/demo.request.json --format xlsx --output examples/demo.xlsx
echo "demo: the same tables as a workbook in examples/demo.xlsx" >&2
