#!/bin/sh
# Screenshots of the update check's answers (up to date, newer version, failure) on a private
# Xvfb without a window manager. Usage: tests/x11/update-answer-screenshots.sh [build folder] [output folder]
set -eu
build=${1:-build}
out=${2:-$build/screenshots}
cmake --build "$build" --target mosaro-update-answer-shots >/dev/null
"$build/tests/mosaro-update-answer-shots" "$out"
