#!/usr/bin/env bash
# Builds Brallivane and runs every test.
#   scripts/test.sh              optimised build in build/, the whole suite
#   scripts/test.sh --sanitize   AddressSanitizer + UndefinedBehaviorSanitizer build in
#                                build-sanitize/, the whole suite but the package check
#   scripts/test.sh --tsan       ThreadSanitizer build in build-tsan/, every test but the
#                                slow ones (the threads live in the unit and firmware tests
#                                and in every suite added later; ZEXDOC has only one) and
#                                the desktop program under Xvfb (Qt, X and font libraries,
#                                built without ThreadSanitizer, report races of their own;
#                                our emulation, audio and repaint threads are checked by
#                                the unit tests of desktop/)
# The Debian package is checked in the optimised build only: a package of a sanitizer
# build would prove nothing.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

build_dir=build
cmake_options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
ctest_options=()
case "${1:-}" in
    --sanitize)
        build_dir=build-sanitize
        cmake_options=(-DCMAKE_BUILD_TYPE=Debug -DBRALLIVANE_SANITIZE=ON)
        ctest_options=(-LE package)
        export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
        export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
        ;;
    --tsan)
        build_dir=build-tsan
        cmake_options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DBRALLIVANE_TSAN=ON)
        ctest_options=(-LE 'slow|desktop|package')
        export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
        ;;
    "") ;;
    *)
        echo "usage: $0 [--sanitize|--tsan]" >&2
        exit 1
        ;;
esac

jobs=$(nproc)
cmake -S . -B "$build_dir" "${cmake_options[@]}"
cmake --build "$build_dir" -j "$jobs"
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" "${ctest_options[@]}"
