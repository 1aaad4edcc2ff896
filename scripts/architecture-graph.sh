#!/usr/bin/env bash
# Draws docs/layers.svg, the product's target graph with redundant arrows removed, from the
# manifest that configuring the build writes, and keeps its source next to it (docs/layers.gv,
# which the ctest ArchitectureGraphIsCurrent compares with the build). Run by `make graph`.
set -euo pipefail
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build}"
mkdir -p docs
python3 cmake/layers_graph.py "$build/layers.manifest" > docs/layers.gv
tred docs/layers.gv | dot -Tsvg -o docs/layers.svg
echo "wrote docs/layers.gv and docs/layers.svg"
