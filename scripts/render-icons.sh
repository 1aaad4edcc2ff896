#!/usr/bin/env bash
# Renders the application icon's PNG sizes from its SVG (run after changing the SVG; the PNGs are
# checked in so that building needs no SVG renderer). Needs rsvg-convert (librsvg2-bin).
set -euo pipefail
cd "$(dirname "$0")/../data/icons"
for size in 16 22 24 32 48 64 128 256; do
  mkdir -p "hicolor/${size}x${size}/apps"
  rsvg-convert -w "$size" -h "$size" tech.brenmark.mosaro.svg -o "hicolor/${size}x${size}/apps/tech.brenmark.mosaro.png"
done
