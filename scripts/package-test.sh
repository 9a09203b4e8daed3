#!/usr/bin/env bash
# Builds the Debian package of a build (cpack -G DEB) and, where this runs as
# root, installs it, runs the installed orvane on the bundled example and
# purges it again.
#
#   scripts/package-test.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
source=$(pwd)
rm -f "$build"/orvane_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/orvane_*.deb)
echo "package: $deb"
dpkg-deb -I "$deb" | grep -E '^ (Package|Version|Depends):'
# The man page is in the package (an image that excludes /usr/share/man from
# installs would not show it after dpkg -i).
dpkg-deb -c "$deb" | grep -q '/usr/share/man/man1/orvane\.1' || { echo "no man page in $deb"; exit 1; }
echo "man page: in the package"
if [[ $(id -u) -ne 0 ]] || ! command -v dpkg >/dev/null; then
  echo "installing the package skipped: not root"
  exit 0
fi
trap 'dpkg -P orvane >/dev/null' EXIT
dpkg -i "$deb" >/dev/null
/usr/bin/orvane --version
out=$(mktemp -d)
/usr/bin/orvane clean -q -o "$out" "$source/examples/sample.mgf"
/usr/bin/orvane info "$out/sample_c.mgf" | cut -f2-
rm -rf "$out"
