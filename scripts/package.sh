#!/usr/bin/env bash
# Builds the Debian package of Brallivane in build-package/ (optimised, installed under
# /usr) and prints its file name. Install it with
#   sudo apt-get install ./build-package/brallivane_<version>_<arch>.deb
# The ROM images are not in it: the program looks for them in ~/.local/share/brallivane/ROM/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
# cpack installs only what is built here, not the tests.
cmake -S . -B build-package -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON
cmake --build build-package -j "$(nproc)" \
    --target brallivane brallivane-run Zindrel brallivane_run_manual brallivane_package_texts
(cd build-package && cpack -G DEB >&2)
ls build-package/*.deb
