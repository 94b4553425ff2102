#!/usr/bin/env bash
# Builds an optimised runner in build-bench/ and prints the speed of fixed workloads, each
# run several times, with the median:
#   - a CPC 6128 boots and runs a BASIC program that prints, computes and plays notes for
#     30 emulated seconds, in "Best" and in "Fastest", then the same with the sound
#     written to a WAV file; the figure is emulated microseconds per host millisecond
#     (1000 is real time);
#   - the ZEXDOC exerciser on the processor alone (a fixed set of its groups), in
#     instructions per second.
#
#   scripts/bench.sh [--runs N] [--roms DIR]
#     --runs N    runs of each workload (default 5)
#     --roms DIR  ROM folder (default ../ROM, or ../shared/roms when that is absent;
#                 BRALLIVANE_ROMS may name one too)
#
# The workloads are defined once, in workload_command, so that other modes can run
# exactly the same sessions.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=5
roms=${BRALLIVANE_ROMS:-../ROM}
if [ -z "${BRALLIVANE_ROMS:-}" ] && [ ! -d "$roms" ] && [ -d ../shared/roms ]; then
    roms=../shared/roms
fi
while [ $# -gt 0 ]; do
    case "$1" in
        --runs)
            runs=${2:-}
            shift 2 || true
            ;;
        --roms)
            roms=${2:-}
            shift 2 || true
            ;;
        -h | --help)
            sed -n '2,17p' "$0" | sed 's/^# \{0,1\}//'
            exit 0
            ;;
        *)
            echo "bench.sh: unknown option '$1' (see --help)" >&2
            exit 1
            ;;
    esac
done
if ! [[ "$runs" =~ ^[1-9][0-9]*$ ]]; then
    echo "bench.sh: --runs needs a positive number, not '$runs'" >&2
    exit 1
fi
if [ ! -d "$roms" ]; then
    echo "bench.sh: no ROM folder '$roms' (see --roms)" >&2
    exit 1
fi

scripts/install-deps.sh
build_dir=build-bench
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j "$(nproc)" --target brallivane-run zexdoc_harness >/dev/null

runner=$build_dir/bin/brallivane-run
zexdoc=$build_dir/tests/zexdoc/zexdoc_harness
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Printing scrolls the screen, the arithmetic runs in the firmware's maths, and a short
# note every 20 lines keeps the sound chip busy (and BASIC waiting when its queue is full).
PROGRAM='10 FOR i=1 TO 1000000:x=SIN(i)*SQR(i):PRINT i;x:IF i MOD 20=0 THEN SOUND 1,100+i MOD 300,10,7\n20 NEXT\nRUN\n'
BASIC_SECONDS=30
ZEXDOC_GROUPS=("aluop a,nn" "<inc,dec>" "ld <bcdehla>,<bcdehla>")

WORKLOADS=(basic-best basic-fastest basic-best-wav basic-fastest-wav zexdoc)

describe() {
    case "$1" in
        basic-best) echo "6128 BASIC, Best" ;;
        basic-fastest) echo "6128 BASIC, Fastest" ;;
        basic-best-wav) echo "6128 BASIC, Best, WAV" ;;
        basic-fastest-wav) echo "6128 BASIC, Fastest, WAV" ;;
        zexdoc) echo "ZEXDOC, processor alone" ;;
    esac
}

# Sets CMD to the command line of workload $1; its output files go to folder $2.
workload_command() {
    local machine=(--model 6128 --roms "$roms" --no-trace)
    local session=(--until-text Ready --type "$PROGRAM" --run-ms $((BASIC_SECONDS * 1000)))
    case "$1" in
        basic-best) CMD=("$runner" "${machine[@]}" "${session[@]}" --bench) ;;
        basic-fastest) CMD=("$runner" "${machine[@]}" --fast "${session[@]}" --bench) ;;
        basic-best-wav) CMD=("$runner" "${machine[@]}" --wav "$2/best.wav" "${session[@]}" --bench) ;;
        basic-fastest-wav)
            CMD=("$runner" "${machine[@]}" --fast --wav "$2/fastest.wav" "${session[@]}" --bench)
            ;;
        zexdoc)
            CMD=("$zexdoc")
            for group in "${ZEXDOC_GROUPS[@]}"; do CMD+=(--only "$group"); done
            ;;
    esac
}

# Runs workload $1 once and prints its figure.
measure() {
    workload_command "$1" "$work"
    local output
    if ! output=$("${CMD[@]}" 2>&1); then
        echo "bench.sh: workload $1 failed:" >&2
        echo "$output" | tail -5 >&2
        exit 1
    fi
    case "$1" in
        zexdoc) echo "$output" | sed -n 's/.*instructions per second: \([0-9]*\).*/\1/p' ;;
        *) echo "$output" | sed -n 's/^speed: \([0-9]*\)$/\1/p' ;;
    esac
}

median() {
    printf '%s\n' "$@" | sort -n | sed -n "$(( ($# + 1) / 2 ))p"
}

echo "Brallivane benchmark: $runs runs of each workload, median first (ROMs from $roms)"
printf '%-26s %10s  %-18s %s\n' "workload" "median" "unit" "all runs"
for workload in "${WORKLOADS[@]}"; do
    figures=()
    for ((run = 0; run < runs; run++)); do figures+=("$(measure "$workload")"); done
    middle=$(median "${figures[@]}")
    if [ "$workload" = zexdoc ]; then
        unit="instr/s"
    else
        unit="us/ms ($(awk "BEGIN { printf \"%.1fx\", $middle / 1000 }"))"
    fi
    printf '%-26s %10s  %-18s %s\n' "$(describe "$workload")" "$middle" "$unit" "${figures[*]}"
done
