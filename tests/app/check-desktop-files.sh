#!/bin/sh
# Installs the program into a scratch prefix and checks the desktop files
# there: the launcher entry with desktop-file-validate, the AppStream
# metadata with appstreamcli (no network), the icon and the program present.
# Usage: check-desktop-files.sh BUILD_DIR PREFIX
set -eu
build="$1"
prefix="$2"
rm -rf "$prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null
share="$prefix/share"
out=$(desktop-file-validate "$share/applications/com.wendmark.quillbeat.desktop" 2>&1) || { echo "$out"; exit 1; }
[ -z "$out" ] || { echo "desktop-file-validate: $out"; exit 1; }
appstreamcli validate --no-net --pedantic "$share/metainfo/com.wendmark.quillbeat.metainfo.xml"
test -s "$share/icons/hicolor/scalable/apps/com.wendmark.quillbeat.svg"
test -x "$prefix/bin/quillbeat"
echo "desktop files valid"
