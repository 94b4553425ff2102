#!/usr/bin/env bash
# Builds an optimised runner in build-bench/ and prints the speed of fixed workloads, each
# run several times, with the median:
#   - a CPC 6128 boots and runs a BASIC program that prints, computes and plays notes for
#     30 emulated seconds, in "Best" and in "Fastest", then the same with the sound
#     written to a WAV file, then in "Best" with a memory watchpoint set that the program
#     never hits; the figure is emulated microseconds per host millisecond (1000 is real
#     time);
#   - the ZEXDOC exerciser on the processor alone (a fixed set of its groups), in
#     instructions per second;
#   - when GDB for the Z80 is at hand (BRALLIVANE_GDB, default
#     ../shared/tools/z80-unknown-elf-gdb), the cost of its stepi through the remote
#     debugger at the firmware's keyboard wait, in milliseconds: without symbols GDB
#     scans the stack from SP to the top of memory several times per step, in tens of
#     thousands of small reads, so this measures the answer time per packet.
#
#   scripts/bench.sh [--runs N] [--roms DIR] [--check [--reference DIR]]
#     --runs N         runs of each workload (default 5)
#     --roms DIR       ROM folder (default ../ROM, or ../shared/roms when that is absent;
#                      BRALLIVANE_ROMS may name one too)
#     --check          instead of timing, run each workload once (and a few more that
#                      cover the other screen modes, CRTC type 0 and a disk) and compare
#                      a hash of every frame, the WAV files and the ZEXDOC report with
#                      those recorded in the reference folder; the first run records them.
#                      Fails, naming the first difference, when anything changed.
#     --reference DIR  reference folder of --check (default build-bench/check-reference)
#
# The workloads are defined once, in workload_command, so that both modes run exactly
# the same sessions.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=5
check=0
reference=build-bench/check-reference
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
        --check)
            check=1
            shift
            ;;
        --reference)
            reference=${2:-}
            shift 2 || true
            ;;
        -h | --help)
            sed -n '2,25p' "$0" | sed 's/^# \{0,1\}//'
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

WORKLOADS=(basic-best basic-fastest basic-best-wav basic-fastest-wav basic-best-watch zexdoc)
# Checked but not timed: every screen mode with changing inks, CRTC registers rewritten
# every frame (both variants and types), and a machine-code program loaded from disk.
MODES_PROGRAM='10 FOR m=0 TO 2:MODE m:FOR i=0 TO 15:INK i,(i*5+m) MOD 27:PEN i:PRINT "Brallivane";i;:NEXT:BORDER m*9,m*3:FOR t=1 TO 400:NEXT:NEXT:GOTO 10\nRUN\n'
CRTC_PROGRAM='10 MODE 1:FOR i=1 TO 30:PRINT "Brallivane CRTC";i:NEXT\n20 FOR n=0 TO 60:OUT &BC00,1:OUT &BD00,30+n MOD 20:OUT &BC00,2:OUT &BD00,42+n MOD 8\n30 OUT &BC00,12:OUT &BD00,48+n MOD 4:OUT &BC00,13:OUT &BD00,n*8:OUT &BC00,7:OUT &BD00,30+n MOD 6\n40 OUT &BC00,9:OUT &BD00,7-(n MOD 2):OUT &BC00,3:OUT &BD00,142-(n MOD 3)*16:FRAME:NEXT:GOTO 20\nRUN\n'
CHECK_SECONDS=12
CHECK_ONLY_WORKLOADS=(modes-best modes-fastest crtc-best crtc-best-type0 crtc-fastest disk-best)

describe() {
    case "$1" in
        basic-best) echo "6128 BASIC, Best" ;;
        basic-fastest) echo "6128 BASIC, Fastest" ;;
        basic-best-wav) echo "6128 BASIC, Best, WAV" ;;
        basic-fastest-wav) echo "6128 BASIC, Fastest, WAV" ;;
        basic-best-watch) echo "6128 BASIC, Best, watchpoint" ;;
        modes-best) echo "6128 screen modes, Best" ;;
        modes-fastest) echo "6128 screen modes, Fastest" ;;
        crtc-best) echo "6128 CRTC rewritten, Best" ;;
        crtc-best-type0) echo "6128 CRTC rewritten, Best, type 0" ;;
        crtc-fastest) echo "6128 CRTC rewritten, Fastest" ;;
        disk-best) echo "6128 program from disk, Best" ;;
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
        basic-best-watch)
            # A write watchpoint the program never hits puts every write through the
            # watch check.
            CMD=("$runner" "${machine[@]}" --until-text Ready --monitor "WP W 8000 80FF"
                --type "$PROGRAM" --run-ms $((BASIC_SECONDS * 1000)) --bench)
            ;;
        basic-fastest-wav)
            CMD=("$runner" "${machine[@]}" --fast --wav "$2/fastest.wav" "${session[@]}" --bench)
            ;;
        modes-* | crtc-*)
            local variant=() program=$MODES_PROGRAM
            case "$1" in *-type0) variant=(--crtc 0) ;; *-fastest) variant=(--fast) ;; esac
            case "$1" in crtc-*) program=$CRTC_PROGRAM ;; esac
            CMD=("$runner" "${machine[@]}" "${variant[@]}" --until-text Ready
                --type "$program" --run-ms $((CHECK_SECONDS * 1000)))
            ;;
        disk-best)
            CMD=("$runner" "${machine[@]}" --disk-a ../shared/testdata/dsk/std_sphere3d.dsk
                --until-text Ready --type 'RUN"LOADER"\n' --run-ms $((CHECK_SECONDS * 1000)))
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

# --check: runs workload $1 once with hashing and leaves in folder $2 what identifies its
# results: <workload>.frames (a hash per frame), <workload>.wav.sha256, zexdoc.txt.
record_results() {
    workload_command "$1" "$work"
    local output
    if [ "$1" = zexdoc ]; then
        if ! output=$("${CMD[@]}" 2>&1); then
            echo "bench.sh: workload $1 failed:" >&2
            echo "$output" | tail -5 >&2
            exit 1
        fi
        # The report without the host-timed figures.
        echo "$output" | sed -e 's/host seconds: [0-9.]*, //' \
            -e 's/, instructions per second: [0-9]*//' >"$2/zexdoc.txt"
        return
    fi
    rm -f "$work"/*.wav
    if ! output=$("${CMD[@]}" --frame-hashes "$2/$1.frames" 2>&1); then
        echo "bench.sh: workload $1 failed:" >&2
        echo "$output" | tail -5 >&2
        exit 1
    fi
    for wav in "$work"/*.wav; do
        [ -e "$wav" ] && sha256sum <"$wav" | cut -d' ' -f1 >"$2/$1.wav.sha256"
    done
    return 0
}

# Compares the results of the folder $1 with the reference; prints the first difference
# of each workload that differs and returns nonzero when any did.
compare_results() {
    local differ=0 file name
    for file in "$reference"/*; do
        name=$(basename "$file")
        if [ ! -e "$1/$name" ]; then
            echo "DIFFERENT: $name was not produced" >&2
            differ=1
        elif ! cmp -s "$file" "$1/$name"; then
            echo "DIFFERENT: $name" >&2
            diff "$file" "$1/$name" | sed -n '1,5p' | sed 's/^/    /' >&2
            differ=1
        fi
    done
    return $differ
}

run_check() {
    local results=$work/results
    mkdir -p "$results"
    for workload in "${WORKLOADS[@]}" "${CHECK_ONLY_WORKLOADS[@]}"; do
        echo "checking: $(describe "$workload")"
        record_results "$workload" "$results"
    done
    if [ ! -d "$reference" ] || [ -z "$(ls -A "$reference" 2>/dev/null)" ]; then
        mkdir -p "$reference"
        cp "$results"/* "$reference"/
        echo "bench.sh: no reference yet: recorded these results in $reference"
        return 0
    fi
    if compare_results "$results"; then
        echo "bench.sh: check passed: every frame, WAV and report is as recorded in $reference"
        return 0
    fi
    echo "bench.sh: CHECK FAILED: results differ from $reference (see above)" >&2
    return 1
}

# GDB attaches to a runner waiting at BASIC's prompt, stops at the keyboard wait and
# steps; prints the milliseconds per stepi.
GDB_STEPS=3
measure_gdb_stepi() {
    local log=$work/gdb-runner.txt port="" i
    "$runner" --model 6128 --roms "$roms" --no-trace --gdb 0 --until-text Ready --gdb-wait \
        >"$log" 2>&1 &
    local pid=$!
    for ((i = 0; i < 300; i++)); do
        if grep -q '^gdb: waiting for a client' "$log"; then
            port=$(sed -n 's/^gdb: listening on port \([0-9]*\)$/\1/p' "$log")
            break
        fi
        sleep 0.1
    done
    {
        echo "target remote 127.0.0.1:$port"
        echo "break *0x1bbf"
        echo "continue"
        echo "shell date +%s%N >$work/gdb-start"
        for ((i = 0; i < GDB_STEPS; i++)); do echo "stepi"; done
        echo "shell date +%s%N >$work/gdb-end"
        echo "detach"
    } >"$work/steps.gdb"
    if [ -z "$port" ] || ! "$gdb" -nx -batch -x "$work/steps.gdb" >"$work/gdb.txt" 2>&1; then
        echo "bench.sh: the GDB session failed:" >&2
        tail -5 "$log" "$work/gdb.txt" >&2
        kill "$pid" 2>/dev/null
        exit 1
    fi
    wait "$pid"
    echo $((($(cat "$work/gdb-end") - $(cat "$work/gdb-start")) / 1000000 / GDB_STEPS))
}

median() {
    printf '%s\n' "$@" | sort -n | sed -n "$(( ($# + 1) / 2 ))p"
}

if [ "$check" = 1 ]; then
    run_check
    exit $?
fi

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

gdb=${BRALLIVANE_GDB:-../shared/tools/z80-unknown-elf-gdb}
if [ -x "$gdb" ]; then
    figures=()
    for ((run = 0; run < runs; run++)); do figures+=("$(measure_gdb_stepi)"); done
    printf '%-26s %10s  %-18s %s\n' "GDB stepi, no symbols" "$(median "${figures[@]}")" \
        "ms per stepi" "${figures[*]}"
else
    echo "(no GDB for the Z80 at $gdb: its stepi is not measured)"
fi
