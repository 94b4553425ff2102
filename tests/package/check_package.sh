#!/bin/sh
# The Debian package of a build: cpack makes it; it holds the files listed, depends on the
# libraries the programs link, registers the MIME types by their first bytes, has the
# runner's manual page, runs from where it installs (the trace library found through the
# run path, the ROM images in the user's data folder) and passes lintian without an error.
# Arguments: the build folder, the list of files, the firmware folder.
set -eu
build=$1 expected=$2 roms=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }

(cd "$build" && cpack -G DEB -B "$work" > /dev/null)
deb=$(ls "$work"/*.deb)
dpkg-deb --contents "$deb" | awk '{print $6}' > "$work/contents"
missing=$(grep -vxFf "$work/contents" "$expected" || true)
[ -z "$missing" ] || fail "missing from the package: $missing"
depends=$(dpkg-deb -f "$deb" Depends)
for package in libqt6widgets6 libsdl2-2.0-0 libpng16-16 shared-mime-info; do
    case "$depends, " in *"$package "* | *"$package,"*) ;; *) fail "no dependency on $package: $depends" ;; esac
done

root=$work/root
dpkg-deb -x "$deb" "$root"
grep -qx 'MimeType=application/x-amstrad-dsk;application/x-amstrad-sna;application/x-amstrad-cdt;' \
    "$root/usr/share/applications/brallivane.desktop" || fail "the desktop entry lacks its MIME types"
update-mime-database "$root/usr/share/mime" > /dev/null 2>&1
[ -f "$root/usr/share/mime/application/x-amstrad-cdt.xml" ] || fail "the MIME types are not registered"
grep -q "EXTENDED CPC DSK" "$root/usr/share/mime/magic" || fail "no magic bytes for disk images"
zcat "$root/usr/share/man/man1/brallivane-run.1.gz" | grep -q "autorun" ||
    fail "the manual page does not describe --autorun"

if [ -f "$roms/CPC6128.rom" ]; then
    # Started outside a run folder, with the ROM images where a user of the package puts
    # them.
    mkdir -p "$work/home/.local/share/brallivane" "$work/away"
    cp -r "$roms" "$work/home/.local/share/brallivane/ROM"
    (cd "$work/away" && env -u XDG_DATA_HOME HOME="$work/home" \
        "$root/usr/bin/brallivane-run" --until-text Ready > /dev/null) ||
        fail "the installed runner did not start with the ROM images in the user's folder"
    [ -s "$work/away/Zindrel.log" ] || fail "the installed runner did not find its trace library"
fi
if command -v lintian > /dev/null; then
    lintian --fail-on error "$deb" > "$work/lintian" 2>&1 || fail "lintian: $(cat "$work/lintian")"
fi
echo "package checked: $(basename "$deb")"
