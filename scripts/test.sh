#!/usr/bin/env bash
# Builds Brallivane and runs every test.
#   scripts/test.sh              optimised build in build/, the whole suite
#   scripts/test.sh --sanitize   AddressSanitizer + UndefinedBehaviorSanitizer build in
#                                build-sanitize/, the whole suite
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

build_dir=build
cmake_options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
if [ "${1:-}" = "--sanitize" ]; then
    build_dir=build-sanitize
    cmake_options=(-DCMAKE_BUILD_TYPE=Debug -DBRALLIVANE_SANITIZE=ON)
    export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
fi

jobs=$(nproc)
cmake -S . -B "$build_dir" "${cmake_options[@]}"
cmake --build "$build_dir" -j "$jobs"
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs"
