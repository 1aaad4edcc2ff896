#!/usr/bin/env bash
# Screenshots of the tray menu, the welcome window, the window-manager help and the About dialog,
# on a private X server. Writes them to build/screenshots/shell/ (or the folder given).
set -euo pipefail
cd "$(dirname "$0")/../.."
[ -x build/tests/mosaro-shell-screenshots ] || cmake --build build --target mosaro-shell-screenshots >/dev/null
exec env -u DISPLAY build/tests/mosaro-shell-screenshots "${1:-build/screenshots/shell}"
