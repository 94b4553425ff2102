#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, if any is missing, and the
# packages named as arguments (scripts/fuzz.sh adds its compiler that way).
# Runs apt-get update once, and only when something has to be installed.
set -euo pipefail

PACKAGES=(g++ cmake make pkg-config libgtest-dev libgmock-dev pasmo libpng-dev zlib1g-dev
    # The desktop program and its tests under a virtual X server.
    qt6-base-dev libsdl2-dev libxkbcommon-dev libxkbcommon-x11-dev libxcb1-dev
    fonts-dejavu-core xvfb xdotool x11-xkb-utils xauth
    # The Debian package: its manual page, dependencies and checks.
    help2man dpkg-dev fakeroot lintian shared-mime-info "$@")

missing=()
for package in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "Installing: ${missing[*]}"
$SUDO apt-get update
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
