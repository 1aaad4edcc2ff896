#!/usr/bin/env bash
# Runs Mosaro on the current display; without one, the demonstration on a private X server.
set -uo pipefail
cd "$(dirname "$0")/.."
if [ -z "${DISPLAY:-}" ]; then
  echo "No X display: running the demonstration on a private X server (screenshots in build/demo/)."
  exec build/mosaro-demo
fi
exec build/mosaro "$@"
