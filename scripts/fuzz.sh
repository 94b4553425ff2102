#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/*_fuzzer.cpp) with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer in build-fuzz/, and runs each for SECONDS (default 60) from its
# seed corpus (fuzz/corpus/<target>/). Fails on the first finding; the input that caused it
# is left in build-fuzz/findings/.
#   scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
scripts/install-deps.sh clang libclang-rt-14-dev

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBRALLIVANE_FUZZ=ON
cmake --build build-fuzz -j "$(nproc)"

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
mkdir -p build-fuzz/findings
for source in fuzz/*_fuzzer.cpp; do
    name=$(basename "$source" .cpp)
    corpus=build-fuzz/corpus/$name
    mkdir -p "$corpus"
    seeds=()
    if [ -d "fuzz/corpus/$name" ]; then seeds=("fuzz/corpus/$name"); fi
    echo "== $name: $seconds s"
    log=build-fuzz/$name.log
    status=0
    "build-fuzz/fuzz/$name" -max_total_time="$seconds" -print_final_stats=1 \
        -artifact_prefix="build-fuzz/findings/$name-" "$corpus" "${seeds[@]}" >"$log" 2>&1 || status=$?
    grep -E "^stat::(number_of_executed_units|new_units_added)|^#[0-9]+ +DONE" "$log" || true
    if [ "$status" -ne 0 ]; then
        tail -n 60 "$log" >&2
        echo "$name: finding (exit $status), input in build-fuzz/findings/" >&2
        exit 1
    fi
done
