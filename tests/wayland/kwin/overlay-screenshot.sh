#!/usr/bin/env bash
# Takes the README's picture of the overlay on KWin again: KWin 5.27 drawing into a private Xvfb
# (headless, KWin's screenshot interface needs OpenGL), 1440 x 900 with a 40 px bar at the top that
# the grid leaves free, a Qt window under it, the real Mosaro; the X screen is grabbed with xwd.
#   overlay-screenshot.sh            writes docs/screenshots/overlay-kwin.png
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
tree=$(cd "$here/../../.." && pwd)
build=${BUILD_DIR:-$tree/build}
client=$build/wayland-clients/mosaro_kwin_client
if [ "${1:-}" = --inside ]; then
    # In the session, as its user: the scene, the grid with a two-cell highlight, the grab.
    pids=()
    trap 'kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null' EXIT
    /usr/bin/python3 "$here/bar.py" 40 top & pids+=($!)
    "$build/wayland-clients/mosaro_wayland_client" "Mosaro target" 700x500 >/dev/null & pids+=($!)
    sleep 1.5
    XDG_CONFIG_HOME=$HOME/config XDG_DATA_HOME=$HOME/data "$build/mosaro" 2>/dev/null & pids+=($!)
    sleep 2
    echo Meta+Return | "$client"
    sleep 0.5
    echo Shift+Right | "$client"
    sleep 0.5
    xwd -root -silent -out "$2"
    exit 0
fi
shots=$(mktemp -d)
chmod 0777 "$shots"
trap 'rm -rf "$shots"' EXIT
"$here/kwin-session.sh" --x11 --client "$client" -- "$here/overlay-screenshot.sh" --inside "$shots/shot.xwd"
python3 "$here/xwd-to-png.py" "$shots/shot.xwd" "$tree/docs/screenshots/overlay-kwin.png"
echo "wrote docs/screenshots/overlay-kwin.png"
