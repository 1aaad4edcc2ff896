#!/bin/sh
# Installs the build into a temporary prefix and checks the tree a desktop reads: the program,
# its desktop entry, icons, AppStream metainfo and man page.
set -u
build="$1"
version="$2"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

cmake --install "$build" --prefix "$prefix" >/dev/null || { echo "FAIL: cmake --install"; exit 1; }

# The program answers without any display.
bin="$prefix/bin/mosaro"
[ -x "$bin" ] || fail "no executable $bin"
[ "$("$bin" --version)" = "mosaro $version" ] || fail "--version prints '$("$bin" --version)'"
help=$("$bin" --help) || fail "--help exits non-zero"

# The desktop entry, as desktop-file-validate reads it.
desktop="$prefix/share/applications/tech.brenmark.mosaro.desktop"
[ -f "$desktop" ] || fail "no desktop entry"
out=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate: $out"
[ -z "$out" ] || fail "desktop-file-validate says: $out"
grep -qx 'Icon=tech.brenmark.mosaro' "$desktop" || fail "the desktop entry names another icon"

# Icons: the scalable one and every rendered size, each as large as its folder says.
[ -f "$prefix/share/icons/hicolor/scalable/apps/tech.brenmark.mosaro.svg" ] || fail "no scalable icon"
for size in 16 22 24 32 48 64 128 256; do
  png="$prefix/share/icons/hicolor/${size}x${size}/apps/tech.brenmark.mosaro.png"
  file "$png" | grep -q "PNG image data, $size x $size," || fail "icon $size: $(file -b "$png")"
done

# AppStream metainfo, validated without the network.
metainfo="$prefix/share/metainfo/tech.brenmark.mosaro.metainfo.xml"
out=$(appstreamcli validate --no-net --explain "$metainfo" 2>&1) || fail "appstreamcli validate: $out"
grep -q "<release version=\"$version\"" "$metainfo" || fail "metainfo has no release $version"

# The man page: well formed, every option of --help, and the D-Bus interface.
man="$prefix/share/man/man1/mosaro.1.gz"
[ -f "$man" ] || fail "no man page"
warnings=$(zcat "$man" | groff -man -ww -z 2>&1)
[ -z "$warnings" ] || fail "groff: $warnings"
text=$(zcat "$man" | groff -man -Tutf8 -P-c 2>/dev/null | sed 's/\x1b\[[0-9;]*m//g; s/.\x08//g')
for option in $(echo "$help" | sed -n 's/^  \(--[a-z-]*\).*/\1/p'); do
  echo "$text" | grep -q -- "$option" || fail "man page lacks $option"
done
for name in tech.brenmark.mosaro /tech/brenmark/mosaro Trigger ShowSettings ShowAbout Quit "gdbus call"; do
  echo "$text" | grep -q -- "$name" || fail "man page lacks $name"
done

# What Debian wants beside it.
[ -f "$prefix/share/doc/mosaro/copyright" ] || fail "no copyright file"
[ -f "$prefix/share/doc/mosaro/changelog.gz" ] || fail "no changelog"

[ "$failures" -eq 0 ] || exit 1
echo "installed tree: ok ($(find "$prefix" -type f | wc -l) files)"
