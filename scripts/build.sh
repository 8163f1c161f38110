#!/usr/bin/env bash
# Configures and builds the given targets (all when none), showing one short
# progress line per compiled file; the build's full output goes to
# BUILD/build.log and its end is shown when the build fails.
#
#   scripts/build.sh BUILD [TARGET ...]
set -euo pipefail
build=$1; shift
cd "$(dirname "$0")/.."
mkdir -p "$build"
log=$build/build.log
targets=()
for t in "$@"; do targets+=(--target "$t"); done

echo "configuring $build/ (log: $log)"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo > "$log" 2>&1 || { cat "$log"; exit 1; }
echo "building ${*:-everything} with $(nproc 2>/dev/null || echo 2) jobs"
# "[ 42%] Building CXX object aggregator/.../CellValues.cpp.o" -> "[ 42%] CellValues.cpp"
if ! cmake --build "$build" -j"$(nproc 2>/dev/null || echo 2)" "${targets[@]}" 2>&1 | tee -a "$log" |
     sed -u -n -E 's|^(\[ *[0-9]+%\]) Building CXX object .*/([^/]+)\.o$|\1 \2|p'; then
  echo "build failed; the end of $log:"
  tail -n 60 "$log"
  exit 1
fi
