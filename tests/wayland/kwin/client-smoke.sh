#!/usr/bin/env bash
# The KWin test client against a real KWin (run inside kwin-session.sh with --client): keys typed
# through fake input reach the focused window as evdev codes, a click lands, and the frames
# script reports that window, decorated, as the active one.
#   client-smoke.sh CLIENT FRAMES_SCRIPT
set -uo pipefail
client=$1 frames=$2
out=$(mktemp)
"$client" window "Client smoke" 640x400 >"$out" &
window=$!
trap 'kill $window 2>/dev/null; wait $window 2>/dev/null; rm -f "$out"' EXIT
for _ in $(seq 100); do grep -q 'focus in' "$out" && break; sleep 0.05; done
"$client" keys a Escape Shift+Left click:600,400 || exit 1
sleep 0.3
got=$(grep -E '^(key|click)' "$out" | tr '\n' ' ')
want="key 30 key 1 key 42 key 105 click "
[ "$got" = "$want" ] || { echo "keys: got '$got', want '$want'"; exit 1; }
report=$("$client" frames "$frames") || exit 1
echo "$report" | grep -q '"caption":"Client smoke","pid":[0-9]*,"resourceClass":"mosaro_kwin_client","frame":{"x":[0-9]*,"y":[0-9]*,"width":6[0-9][0-9],"height":4[0-9][0-9]},"active":true' ||
    { echo "frames: $report"; exit 1; }
echo "keys, click and frames: ok"
