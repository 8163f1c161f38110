#!/usr/bin/env bash
# Measures the test suite's power: applies single-operator mutations to the
# engine's statistics and percentage code one at a time, rebuilds, runs the
# whole suite and counts the mutants it kills.
#
#   scripts/mutate.sh [--count N] [--build DIR] [--list] [FILE ...]
#
# The mutants are a fixed, evenly spaced sample of every mutable site of the
# files, so two runs over the same sources try the same mutants and their kill
# rates compare. A mutant that does not compile is not counted. Each file is
# restored after its mutant, also when the run is interrupted.
set -euo pipefail
cd "$(dirname "$0")/.."

count=160
build=build-mutate
list=0
files=()
while [ $# -gt 0 ]; do
  case "$1" in
    --count) count=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --list) list=1; shift ;;
    -h|--help) sed -n '2,12p' "$0"; exit 0 ;;
    *) files+=("$1"); shift ;;
  esac
done
[ ${#files[@]} -gt 0 ] || files=(aggregator/StatValues.cpp aggregator/CellValues.cpp aggregator/CubeStatistics.cpp aggregator/KvFreqTable.cpp
                                 aggregator/CellStatistics.cpp aggregator/CubeAggregator.cpp aggregator/KvaDistFun.cpp)

# One line per mutant: file, line number, column, original operator, replacement.
sites=$(python3 - "$count" "${files[@]}" <<'EOF'
import re, sys
count, files = int(sys.argv[1]), sys.argv[2:]
swaps = {'+': '-', '-': '+', '*': '/', '/': '*', '<': '<=', '<=': '<', '>': '>=', '>=': '>',
         '==': '!=', '!=': '==', '&&': '||', '||': '&&'}
# Binary operators between spaces, as the code is formatted; unary minus,
# pointers, templates and stream operators do not match this shape.
op = re.compile(r'(?<= )(<=|>=|==|!=|&&|\|\||[-+*/<>])(?= )')
sites = []
for f in files:
    in_comment = False
    for n, line in enumerate(open(f), 1):
        code = line.split('//')[0]
        s = code.strip()
        if in_comment:
            if '*/' in s: in_comment = False
            continue
        if s.startswith('/*'):
            in_comment = '*/' not in s
            continue
        if (not s or s.startswith('#') or 'KV_ASSERT' in s or 'template' in s or '"' in s
                or s.startswith('*')):
            continue
        for m in op.finditer(code):
            sites.append((f, n, m.start(), m.group(1), swaps[m.group(1)]))
step = max(1.0, len(sites) / count)
picked, i = [], 0.0
while int(i) < len(sites) and len(picked) < count:
    picked.append(sites[int(i)])
    i += step
print(f"# {len(sites)} sites, {len(picked)} mutants", file=sys.stderr)
for f, n, c, a, b in picked:
    print(f"{f}\t{n}\t{c}\t{a}\t{b}")
EOF
)

if [ "$list" = 1 ]; then printf '%s\n' "$sites"; exit 0; fi

echo "mutate: configuring $build/ (log: $build/mutate.log)"
mkdir -p "$build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 \
      -DKVAGGR_BUILD_BENCH=OFF > "$build/mutate.log" 2>&1
cmake --build "$build" -j"$(nproc)" >> "$build/mutate.log" 2>&1 || { tail -30 "$build/mutate.log"; exit 1; }
(cd "$build" && ctest -j"$(nproc)" --timeout 60 > /dev/null) || { echo "mutate: the suite fails unmutated"; exit 1; }

backup=$(mktemp)
current=""
restore() { [ -n "$current" ] && cp "$backup" "$current"; current=""; }
trap 'restore; rm -f "$backup"' EXIT
trap 'exit 130' INT TERM

killed=0; survived=0; stillborn=0
survivors=()
while IFS=$'\t' read -r file line col from to; do
  [ -n "$file" ] || continue
  cp "$file" "$backup"; current=$file
  python3 - "$file" "$line" "$col" "$from" "$to" <<'EOF'
import sys
f, n, c, a, b = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4], sys.argv[5]
lines = open(f).read().split('\n')
s = lines[n - 1]
assert s[c:c + len(a)] == a, (f, n, c, a)
lines[n - 1] = s[:c] + b + s[c + len(a):]
open(f, 'w').write('\n'.join(lines))
EOF
  where="$file:$line: '$from' -> '$to'"
  if ! cmake --build "$build" -j"$(nproc)" >> "$build/mutate.log" 2>&1; then
    stillborn=$((stillborn + 1)); echo "  stillborn $where"
  elif (cd "$build" && ctest -j"$(nproc)" --timeout 60 > /dev/null 2>&1); then
    survived=$((survived + 1)); survivors+=("$where"); echo "  survived  $where"
  else
    killed=$((killed + 1)); echo "  killed    $where"
  fi
  restore
done <<< "$sites"
cmake --build "$build" -j"$(nproc)" >> "$build/mutate.log" 2>&1 || true

total=$((killed + survived))
echo "mutate: $killed of $total mutants killed ($(python3 -c "print(f'{100*$killed/max(1,$total):.1f}')") %), $stillborn did not compile"
if [ ${#survivors[@]} -gt 0 ]; then printf 'survivor: %s\n' "${survivors[@]}"; fi
