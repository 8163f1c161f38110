#!/usr/bin/env bash
# Runs the main job on the bundled example.
set -euo pipefail
build=${1:-build}
cd "$(dirname "$0")/.."
exec "$build/tools/kvtables/kvtables" examples/demo.request.json
