#!/usr/bin/env bash
# Takes the README's picture of the overlay on sway again: the Debian 13 root's sway 1.10, headless,
# 1440 x 900 with a 25 px bar at the bottom, a terminal and a Qt window below the panel (grim).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
tree=$(cd "$here/../.." && pwd)
shots=$(mktemp -d)
trap 'rm -rf "$shots"' EXIT
MOSARO_SCREENSHOT_DIR=$shots "${BUILD_DIR:-$tree/build}/tests/mosaro_on_wayland_tests" \
    --gtest_filter='*ThePanelIsDrawnOverTheVisibleFrame/Sway110'
cp "$shots/overlay-sway-Sway110.png" "$tree/docs/screenshots/overlay-sway.png"
echo "wrote docs/screenshots/overlay-sway.png"
