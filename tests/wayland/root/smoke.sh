#!/usr/bin/env bash
# The Debian 13 root serves the host: sway inside it, started by the unprivileged user, answers the
# host's swaymsg over its IPC socket, takes keys from the host's wtype into a foot window that runs
# inside, gives the host's grim a screenshot, and shares a session bus the host's gdbus reaches.
# Then everything is stopped and nothing of it is left. Exit 77: skipped (one line says why).
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root_sh=$here/debian-root.sh
"$root_sh" ensure >/dev/null || exit $?
for tool in swaymsg wtype grim gdbus; do
    command -v $tool >/dev/null || { echo "skip: $tool is not installed on the host"; exit 77; }
done

work=$(mktemp -d /tmp/mosaro-root-smoke.XXXXXX)
rt=$work/run
pids=()
finish() {
    local p
    for p in "${pids[@]}"; do kill -TERM "$p" 2>/dev/null; done
    for p in "${pids[@]}"; do wait "$p" 2>/dev/null; done
    rm -rf "$work"
}
trap finish EXIT
failures=0
ok() { echo "ok: $*"; }
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# Waits up to 20 s for a command to succeed.
await() {
    for _ in $(seq 200); do "$@" >/dev/null 2>&1 && return 0; sleep 0.1; done
    return 1
}

"$root_sh" run --runtime "$rt" --session-bus --env SWAYSOCK="$rt/sway.sock" \
    --env WLR_BACKENDS=headless --env WLR_LIBINPUT_NO_DEVICES=1 --env WLR_RENDERER=pixman \
    -- sway -c "$here/smoke-sway.config" 2>"$work/sway.log" &
session=$!
pids+=("$session")
# sway 1.10 takes the first free name from wayland-1 on: read it rather than assume it.
display_socket() {
    local s
    for s in "$rt"/wayland-[0-9]*; do [[ $s =~ /wayland-[0-9]+$ && -S $s ]] && echo "${s##*/}" && return 0; done
    return 1
}
if ! await display_socket || ! await test -S "$rt/sway.sock"; then
    fail "sway did not start; its log:"
    tail -n 20 "$work/sway.log"
    exit 1
fi
display=$rt/$(display_socket)
# The run's own mount namespace, which its first process entered before sway started.
namespace=$(readlink "/proc/$session/ns/mnt")
export WAYLAND_DISPLAY=$display SWAYSOCK=$rt/sway.sock
version=$(swaymsg -t get_version -r | sed -n 's/.*"human_readable": "\([^"]*\)".*/\1/p')
case $version in 1.10*) ok "sway $version answers over $SWAYSOCK, display $WAYLAND_DISPLAY" ;;
*) fail "get_version: '$version'" ;; esac

"$root_sh" run --join "$session" --runtime "$rt" --session-bus --env WAYLAND_DISPLAY="$display" \
    -- foot -o resize-by-cells=no --app-id root-smoke sh -c "head -n1 >$rt/typed" \
    2>"$work/foot.log" &
pids+=($!)
if await sh -c 'swaymsg -t get_tree -r | grep -q "\"app_id\": \"root-smoke\""'; then
    ok "foot maps inside: $(swaymsg -t get_tree -r | grep -c '"app_id": "root-smoke"') window in get_tree"
else
    fail "foot did not map; its log:"
    tail -n 20 "$work/foot.log"
fi

# A keyboard kept on the seat: each wtype run makes its own, and a client sees only the release
# of the first key typed through a fresh one.
wtype -s 600000 &
pids+=($!)
sleep 0.3
wtype 'typed from the host' -k Return
if await test -s "$rt/typed" && [ "$(cat "$rt/typed")" = 'typed from the host' ]; then
    ok "the host's wtype typed into foot"
else
    fail "foot read '$(cat "$rt/typed" 2>/dev/null)'"
fi

if grim "$work/shot.png" && file "$work/shot.png" | grep -q 'PNG image data, 1280 x 720'; then
    ok "the host's grim took $(file -b "$work/shot.png")"
else
    fail "grim: $(file -b "$work/shot.png" 2>&1)"
fi

if id=$(gdbus call --address "unix:path=$rt/bus" --dest org.freedesktop.DBus \
    --object-path /org/freedesktop/DBus --method org.freedesktop.DBus.GetId 2>&1); then
    ok "the host's gdbus (uid $(id -u)) reached the root's session bus: $id"
else
    fail "gdbus: $id"
fi

kill -TERM "$session"
wait "$session"
echo "sway ended with status $?"
# Other tests may be using the root meanwhile: look for what is left of this run only.
left=()
for ns in /proc/[0-9]*/ns/mnt; do [ "$(readlink "$ns" 2>/dev/null)" = "$namespace" ] && left+=("$ns"); done
if [ ${#left[@]} -eq 0 ]; then ok "stopped: no process left in the run's namespace $namespace"; else fail "left: ${left[*]}"; fi
[ $failures -eq 0 ]
