#!/usr/bin/env bash
# Builds the libFuzzer harnesses with clang in their own build directory and
# runs each for a while from its seed corpus. The corpus is copied to a
# scratch directory first, so the inputs the fuzzer adds never land in the
# repository. Exits non-zero when any harness finds a crash, a leak, a
# sanitizer report or a hang; the input that did it is kept under
# <build>/findings/<harness>/.
# Usage: run-fuzzers.sh BUILD_DIR SECONDS_PER_HARNESS
set -euo pipefail
build=${1:-build-fuzz}
seconds=${2:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
fuzz="$root/fuzz"
jobs=$(nproc 2>/dev/null || echo 2)

cc=clang; cxx=clang++
if command -v clang++-14 >/dev/null 2>&1; then cc=clang-14; cxx=clang++-14; fi
mkdir -p "$build"
log="$build/fuzz-build.log"
echo "fuzz: building the harnesses in $build (log: $log)"
if ! { CC=$cc CXX=$cxx cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKVAGGR_FUZZ=ON \
         -DKVAGGR_BUILD_BENCH=OFF -DKVAGGR_BUILD_TESTS=OFF -DKVAGGR_BUILD_PYTHON=OFF &&
       cmake --build "$build" -j"$jobs" --target fuzz_request fuzz_dictionary fuzz_csv fuzz_run; } >"$log" 2>&1
then
    tail -n 30 "$log"; echo "fuzz: the build failed" >&2; exit 1
fi

failed=()
for harness in request dictionary csv run; do
    case $harness in request | dictionary) dict=json.dict ;; *) dict=csv.dict ;; esac
    scratch=$(mktemp -d)
    cp -R "$fuzz/corpus/$harness" "$scratch/corpus"
    seeds=("$scratch/corpus")
    # Saved crash inputs are read as seeds too (never written: only the first
    # corpus directory receives new inputs).
    [ -d "$fuzz/regressions/$harness" ] && seeds+=("$fuzz/regressions/$harness")
    mkdir -p "$scratch/artifacts"
    echo "fuzz: $harness for ${seconds}s"
    status=0
    ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1 \
        "$build/fuzz/fuzz_$harness" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -dict="$fuzz/$dict" -artifact_prefix="$scratch/artifacts/" -print_final_stats=1 "${seeds[@]}" \
        >"$scratch/log" 2>&1 || status=$?
    grep -E '^#[0-9]+ +DONE|^Done [0-9]+ runs' "$scratch/log" || true
    if [ "$status" -ne 0 ] || [ -n "$(ls -A "$scratch/artifacts")" ]; then
        mkdir -p "$build/findings/$harness"
        cp "$scratch/artifacts/"* "$build/findings/$harness/" 2>/dev/null || true
        cp "$scratch/log" "$build/findings/$harness/fuzz.log"
        grep -m1 -A40 -E '^==[0-9]+==ERROR|^SUMMARY|ERROR: libFuzzer|runtime error' "$scratch/log" >&2 ||
            tail -n 40 "$scratch/log" >&2
        echo "fuzz: $harness FAILED (input and log in $build/findings/$harness/)" >&2
        failed+=("$harness")
    fi
    rm -rf "$scratch"
done
if [ ${#failed[@]} -ne 0 ]; then
    echo "fuzz: findings in ${failed[*]}" >&2
    exit 1
fi
echo "fuzz: no findings"
