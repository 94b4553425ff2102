#!/usr/bin/env bash
# Builds Brallivane and starts the emulator. Until the desktop program exists this is
# the headless runner: it boots a CPC, prints its screen as text and writes a PNG.
#   scripts/run.sh [runner options...]    (see build/bin/brallivane-run --help)
# The ROM images go in ../ROM (next to the project folder) or are named with --roms.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target brallivane-run
if [ $# -eq 0 ]; then
    set -- --model 6128 --until-text Ready --screen-text --screenshot brallivane-screen.png
fi
exec build/bin/brallivane-run "$@"
