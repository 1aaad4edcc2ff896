#!/usr/bin/env bash
# Screenshots of the overlay on a private Xvfb with openbox, over a light and a dark window,
# drawn as an outline (no compositing manager) and translucent (xcompmgr). The README shows the
# copies in docs/screenshots/. Usage: tests/x11/overlay-screenshots.sh [OUTPUT_DIR]
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
out="${1:-$root/build/screenshots/overlay}"
make -C "$root" --no-print-directory build >/dev/null
"$root/build/bench/mosaro_bench" --screenshots "$out"
