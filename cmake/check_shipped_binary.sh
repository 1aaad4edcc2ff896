#!/bin/sh
# The shipped program carries none of the test scaffolding: no private X session harness, no
# XTEST keyboard, no demonstration. Reads the program's own symbol table.
set -eu
binary="$1"
found=$(nm -C "$binary" | grep -E 'mosaro::test::|X11Session|XTestKeyboard|runDemo' || true)
if [ -n "$found" ]; then
  echo "$binary contains test scaffolding:"
  echo "$found" | head -20
  exit 1
fi
echo "$binary: no test scaffolding among $(nm -C "$binary" | wc -l) symbols"
