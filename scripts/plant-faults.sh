#!/usr/bin/env bash
# Plants single faults in the code, one at a time, and checks that the tests catch each.
#   scripts/plant-faults.sh                    every patch in tests/faults/
#   scripts/plant-faults.sh FILE.patch ...     the patches named
#   --debug          build without optimisation (quicker to build; in build-faults-debug/)
#   --tests REGEX    run only the tests whose names match (ctest -R), to check a patch
#                    against the tests meant to catch it
#   --targets "T..." build only these targets (those of the tests run)
# For each patch: apply it, build, run every test but the slow ones, report "caught"
# (a test failed), "MISSED" (all passed) or "BROKEN" (the patch does not apply or the
# code does not build), then take the patch out again. A patch named *.tsan.patch is
# built and run under ThreadSanitizer. Builds go to build-faults/ and build-faults-tsan/.
# Ends with the counts; the exit code is 1 when a fault was missed or a patch is broken.
set -uo pipefail
cd "$(dirname "$0")/.."

build_type=RelWithDebInfo dir_suffix="" test_filter=() targets=()
while [ $# -gt 0 ]; do
    case "$1" in
        --debug) build_type=Debug dir_suffix=-debug; shift ;;
        --tests) test_filter=(-R "$2"); shift 2 ;;
        --targets) read -ra targets <<<"$2"; targets=(--target "${targets[@]}"); shift 2 ;;
        *) break ;;
    esac
done
patches=("$@")
if [ ${#patches[@]} -eq 0 ]; then patches=(tests/faults/*.patch); fi
for patch in "${patches[@]}"; do
    [ -f "$patch" ] || { echo "no such patch: $patch" >&2; exit 1; }
done

applied=""
restore() {
    if [ -n "$applied" ]; then git apply -R "$applied" && applied=""; fi
}
trap 'restore; exit 130' INT TERM
trap restore EXIT

jobs=${JOBS:-$(nproc)}
configured=()
build_dir_for() {
    # Without profile-guided optimisation: its training boots the firmware, which a fault
    # may well prevent, and the build would fail before any test could.
    local dir=build-faults$dir_suffix
    local options=(-DCMAKE_BUILD_TYPE=$build_type -DBRALLIVANE_PGO=OFF)
    case "$1" in
        *.tsan.patch) dir=build-faults-tsan$dir_suffix options+=(-DBRALLIVANE_TSAN=ON) ;;
    esac
    if command -v ccache >/dev/null; then options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
    if [[ ! " ${configured[*]} " =~ " $dir " ]]; then
        cmake -S . -B "$dir" "${options[@]}" >/dev/null || return 1
        configured+=("$dir")
    fi
    echo "$dir"
}

caught=0 missed=0 broken=0
for patch in "${patches[@]}"; do
    name=$(basename "$patch" .patch)
    dir=$(build_dir_for "$patch") || { echo "cannot configure for $name" >&2; exit 1; }
    if ! git apply "$patch" 2>/dev/null; then
        echo "BROKEN  $name (does not apply)"
        broken=$((broken + 1))
        continue
    fi
    applied=$patch
    if ! cmake --build "$dir" -j "$jobs" "${targets[@]}" >"$dir/fault-build.log" 2>&1; then
        echo "BROKEN  $name (does not build, see $dir/fault-build.log)"
        broken=$((broken + 1))
    elif TSAN_OPTIONS=halt_on_error=1 ctest --test-dir "$dir" -LE slow -j "$jobs" "${test_filter[@]}" \
        >"$dir/fault-tests.log" 2>&1; then
        echo "MISSED  $name"
        missed=$((missed + 1))
    else
        failed=$(grep -E '^[[:space:]]+[0-9]+ - ' "$dir/fault-tests.log" |
            sed -E 's/^[[:space:]]+[0-9]+ - //; s/ +[#(].*//' | head -3 | paste -sd' ' -)
        echo "caught  $name  ($failed)"
        caught=$((caught + 1))
    fi
    restore
done
echo "caught $caught, missed $missed, broken $broken of ${#patches[@]}"
[ "$missed" -eq 0 ] && [ "$broken" -eq 0 ]
