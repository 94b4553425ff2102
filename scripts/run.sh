#!/usr/bin/env bash
# Builds Brallivane and starts the desktop program: the CPC screen in the main window and
# the monitor in a second one (press F5 in the monitor to start the machine).
#   scripts/run.sh                       the desktop program
#   scripts/run.sh [runner options...]   the headless runner instead (--help lists them)
# The program runs in run/bin/ of the project, so it reads its ROM images from run/ROM/
# and keeps its settings in run/Brallivane.ini. run/ROM is made a link to the ROM folder:
# BRALLIVANE_ROMS if set, else the folder ROM beside the project, else the test machines'
# ../shared/roms.
set -euo pipefail
cd "$(dirname "$0")/.."
project=$(pwd)
scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target brallivane brallivane-run

roms=${BRALLIVANE_ROMS:-}
if [ -z "$roms" ]; then
    for candidate in ../ROM ../shared/roms; do
        if [ -d "$candidate" ]; then roms=$candidate; break; fi
    done
fi

if [ $# -gt 0 ]; then
    case " $* " in
        *" --roms "*|*" --help "*) exec build/bin/brallivane-run "$@" ;;
        *) exec build/bin/brallivane-run --roms "${roms:-../ROM}" "$@" ;;
    esac
fi

mkdir -p run/bin
if [ -n "$roms" ] && { [ -L run/ROM ] || [ ! -e run/ROM ]; }; then
    ln -sfn "$(cd "$roms" && pwd)" run/ROM
fi
if [ ! -f run/ROM/CPC6128.rom ] && [ ! -f run/ROM/CPC464.rom ]; then
    echo "No ROM images found. Put CPC464.rom, CPC664.rom, CPC6128.rom and amsdos.rom in" >&2
    echo "$(dirname "$project")/ROM (or set BRALLIVANE_ROMS=DIR); see README.md, \"ROM images\"." >&2
fi
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    echo "No graphical display: the desktop program needs one. The headless runner works" >&2
    echo "without: scripts/run.sh --help" >&2
    exit 1
fi
cd run/bin
exec "$project/build/bin/brallivane"
