#!/usr/bin/env bash
# Builds Brallivane and starts the emulator. Until the desktop program exists this is
# the headless runner: by default it boots a CPC 6128 to BASIC, prints its screen as
# text and writes brallivane-screen.png.
#   scripts/run.sh [runner options...]    (scripts/run.sh --help lists them)
# ROM images are read from ../ROM (beside the project folder) unless --roms names a
# folder; BRALLIVANE_ROMS may name one too.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target brallivane-run

# Without BRALLIVANE_ROMS, ../ROM is the folder; a developer checkout that has none
# uses the images the test machines keep in ../shared/roms.
roms=${BRALLIVANE_ROMS:-../ROM}
if [ -z "${BRALLIVANE_ROMS:-}" ] && [ ! -d "$roms" ] && [ -d ../shared/roms ]; then
    roms=../shared/roms
fi
if [ $# -eq 0 ]; then
    set -- --model 6128 --until-text Ready --screen-text --screenshot brallivane-screen.png
fi
case " $* " in
    *" --roms "*|*" --help "*) exec build/bin/brallivane-run "$@" ;;
    *) exec build/bin/brallivane-run --roms "$roms" "$@" ;;
esac
