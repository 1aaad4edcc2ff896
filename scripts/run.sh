#!/usr/bin/env bash
# Runs the app on the current display.
set -uo pipefail
cd "$(dirname "$0")/.."
exec build/mosaro "$@"
