#!/usr/bin/env bash
# Runs the main job on the bundled example.
set -euo pipefail
build=${1:-build}
cd "$(dirname "$0")/.."
if [ -x "$build/tools/kvtables/kvtables" ] && [ -f examples/demo.request.json ]; then
  exec "$build/tools/kvtables/kvtables" examples/demo.request.json
fi
exec "$build/examples/kvshow" examples/households.csv examples/households.dict.json
