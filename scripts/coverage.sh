#!/usr/bin/env bash
# Line and branch coverage of the library, the host, the request layer and the
# front ends under the whole suite: scripts/coverage.sh [BUILD_DIR]
# Leaves an HTML report in BUILD_DIR/coverage/index.html.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build-coverage}
command -v lcov >/dev/null || apt-get install -y -q lcov >/dev/null
flags="--coverage -O0"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DKVAGGR_BUILD_BENCH=OFF \
  -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$dir" -j"$(nproc 2>/dev/null || echo 2)" >"$dir.log" 2>&1 || { tail -30 "$dir.log"; exit 1; }
lcov --quiet --zerocounters --directory "$dir"
(cd "$dir" && ctest -j"$(nproc 2>/dev/null || echo 2)" >/dev/null) || echo "coverage: some tests failed" >&2
rc="--rc lcov_branch_coverage=1 --rc geninfo_no_exception_branch=1"
# Branches the compiler adds for exceptions are not decisions of ours.
lcov --quiet $rc --capture --no-external --directory "$dir" --base-directory . \
  --output-file "$dir/all.info" 2>/dev/null
lcov --quiet $rc --extract "$dir/all.info" "$PWD/aggregator/*" "$PWD/host/*" "$PWD/tables/*" \
  "$PWD/tools/*" "$PWD/python/src/*" --output-file "$dir/coverage.info"
genhtml --quiet $rc --prefix "$PWD" "$dir/coverage.info" --output-directory "$dir/coverage" >/dev/null
lcov $rc --summary "$dir/coverage.info" 2>&1 | grep -E "lines|branches"
