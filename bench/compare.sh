#!/usr/bin/env bash
# Side-by-side benchmark of kvtables against pandas, data.table, DuckDB and Polars.
#
#   bench/compare.sh N [--write-results] [--reps R] [--threads T] [--timeout S]
#                      [--tools kvtables,pandas,data.table,duckdb,polars] [--workloads w0,w1,w2,w3,w4]
#   bench/compare.sh --self-check      (N = 2000 plus a small data set with known percentiles:
#                                       the tools must agree on the check cells; no timing)
#
# Generates the data (cached in bench/data/nN), installs the peers when missing (Debian packages
# python3-pandas and r-cran-data.table; @duckdb/node-api and nodejs-polars from npm into bench/.peers),
# builds kvtables when its sources are present (or uses $KVTABLES), then runs bench/peers/harness.py.
# Environment: KVTABLES=/path/to/kvtables to use a given binary; KVTABLES_BUILD_DIR (default build).
set -euo pipefail

BENCH="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
ROOT="$(dirname "$BENCH")"
PY=/usr/bin/python3
DUCKDB_NODE_API_VERSION="${DUCKDB_NODE_API_VERSION:-1.5.6-r.1}"
# Under Node 20 npm does not fetch the native binary by itself: it is named with the package.
POLARS_VERSION="${POLARS_VERSION:-0.26.1}"

usage() { sed -n '2,14p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'; exit 2; }

N=""; SELF_CHECK=0; WRITE=0; PASS=()
while [ $# -gt 0 ]; do
  case "$1" in
    --self-check) SELF_CHECK=1 ;;
    --write-results) WRITE=1 ;;
    --reps|--threads|--timeout|--tools|--workloads) PASS+=("$1" "$2"); shift ;;
    -h|--help) usage ;;
    [0-9]*) N="$1" ;;
    *) echo "compare.sh: unknown argument $1" >&2; usage ;;
  esac
  shift
done
[ "$SELF_CHECK" = 1 ] && N=2000
[ -n "$N" ] || usage

say() { echo "compare.sh: $*" >&2; }

# ---- peers -------------------------------------------------------------------------------------
apt_install() {
  local missing=()
  for p in "$@"; do dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p"); done
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  say "installing ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive timeout 1200 $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}
apt_install python3 python3-numpy python3-pandas r-cran-data.table
command -v node >/dev/null 2>&1 && command -v npm >/dev/null 2>&1 || apt_install nodejs npm

DUCK="$BENCH/.peers/duckdb"
if [ ! -f "$DUCK/node_modules/@duckdb/node-api/package.json" ]; then
  say "installing @duckdb/node-api@$DUCKDB_NODE_API_VERSION into bench/.peers/duckdb"
  mkdir -p "$DUCK"
  [ -f "$DUCK/package.json" ] || echo '{"name": "kvtables-bench-peers", "private": true}' > "$DUCK/package.json"
  (cd "$DUCK" && timeout 600 npm install --no-audit --no-fund --loglevel=error \
      "@duckdb/node-api@$DUCKDB_NODE_API_VERSION" >&2)
fi

POLARS="$BENCH/.peers/polars"
if [ ! -f "$POLARS/node_modules/nodejs-polars-linux-x64-gnu/package.json" ]; then
  say "installing nodejs-polars@$POLARS_VERSION into bench/.peers/polars"
  mkdir -p "$POLARS"
  [ -f "$POLARS/package.json" ] || echo '{"name": "kvtables-bench-peers", "private": true}' > "$POLARS/package.json"
  (cd "$POLARS" && timeout 600 npm install --no-audit --no-fund --loglevel=error \
      "nodejs-polars@$POLARS_VERSION" "nodejs-polars-linux-x64-gnu@$POLARS_VERSION" >&2)
fi

# ---- data --------------------------------------------------------------------------------------
DATA="$BENCH/data/n$N"
STAMP="$(sha1sum "$BENCH/gen_data.py" | cut -c1-16)"
if [ ! -s "$DATA/survey.csv" ] || [ "$(cat "$DATA/.stamp" 2>/dev/null)" != "$STAMP" ]; then
  say "generating $N cases"
  timeout 900 "$PY" "$BENCH/gen_data.py" "$N" --out "$DATA"
  echo "$STAMP" > "$DATA/.stamp"
fi
# bench/requests/*.json name ../data/survey.csv: point it at the data set last used
ln -sfn "n$N/survey.csv" "$BENCH/data/survey.csv"
ln -sfn "n$N/survey.dict.json" "$BENCH/data/survey.dict.json"

# ---- kvtables ----------------------------------------------------------------------------------
KV="${KVTABLES:-}"; KV_MISSING="not built"
BUILD="${KVTABLES_BUILD_DIR:-$ROOT/build}"
if [ -z "$KV" ]; then
  if [ -f "$ROOT/tools/kvtables/CMakeLists.txt" ]; then
    log="$BENCH/data/kvtables-build.log"
    : >"$log"
    if [ ! -f "$BUILD/CMakeCache.txt" ]; then
      [ -x "$ROOT/scripts/install-deps.sh" ] && "$ROOT/scripts/install-deps.sh" >>"$log" 2>&1 || true
      say "configuring $BUILD (Release)"
      cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release >>"$log" 2>&1 || true
    fi
    say "building kvtables (log: $log)"
    if timeout 1800 nice cmake --build "$BUILD" --target kvtables -j 1 >>"$log" 2>&1 \
        && [ -x "$BUILD/tools/kvtables/kvtables" ]; then
      KV="$BUILD/tools/kvtables/kvtables"
    else
      KV_MISSING="not built (build failed, see bench/data/kvtables-build.log)"
    fi
  else
    KV_MISSING="not built (no tools/kvtables in this checkout)"
  fi
elif [ ! -x "$KV" ]; then
  KV_MISSING="not built ($KV is not executable)"; KV=""
fi
[ -n "$KV" ] && say "kvtables: $KV" || say "kvtables: $KV_MISSING"

ARGS=(--data "$DATA" --kvtables "$KV" --kvtables-missing "$KV_MISSING")
[ "$WRITE" = 1 ] && ARGS+=(--write-results "$BENCH/RESULTS.md")
if [ "$SELF_CHECK" = 1 ]; then
  rc=0
  "$PY" "$BENCH/peers/harness.py" "${ARGS[@]}" --self-check "${PASS[@]}" || rc=1
  # small data with ties, where the weighted percentiles meet p % exactly: known answers
  TIES="$BENCH/data/ties"
  "$PY" "$BENCH/peers/ties_data.py" "$TIES"
  "$PY" "$BENCH/peers/harness.py" --data "$TIES" --kvtables "$KV" --kvtables-missing "$KV_MISSING" \
      --self-check --expect "$TIES/expected.json" --workloads w3 "${PASS[@]}" || rc=1
  exit $rc
fi
exec "$PY" "$BENCH/peers/harness.py" "${ARGS[@]}" "${PASS[@]}"
