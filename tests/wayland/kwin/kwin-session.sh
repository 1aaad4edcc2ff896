#!/usr/bin/env bash
# A headless KWin session of its own for one command: a private runtime folder, home and session
# bus, KWin on a 1440 x 900 output, and the command run beside it as the same user; everything is
# stopped and removed when the command ends, whatever happens.
#
#   kwin-session.sh [--outputs N] [--x11] [--client PATH] -- command [argument...]
#
#   --outputs N    N outputs side by side (default 1)
#   --x11          KWin draws into windows of a private Xvfb instead of memory: the command can
#                  take screenshots of the X screen (DISPLAY is set) and resize an output by
#                  resizing its X window
#   --client PATH  a program that KWin grants its fake-input protocol (the tests' key injector)
#
# As root (CI), KWin, its session bus (which admits only its owner) and the command run as
# $MOSARO_TEST_UID (default 65534, nobody), unless that user cannot run the command. Exit status:
# the command's, or 77 when KWin cannot be had here (one line on standard error says why).
set -euo pipefail

outputs=1 x11=0 client=
while [ $# -gt 0 ]; do
    case $1 in
    --outputs) outputs=$2; shift 2 ;;
    --x11) x11=1; shift ;;
    --client) client=$(realpath "$2"); shift 2 ;;
    --) shift; break ;;
    *) echo "kwin-session: unknown option $1" >&2; exit 2 ;;
    esac
done
[ $# -gt 0 ] || { echo "usage: kwin-session.sh [--outputs N] [--x11] [--client PATH] -- command..." >&2; exit 2; }

skip() { echo "kwin-session: KWin unavailable: $*" >&2; exit 77; }
kwin=$(command -v kwin_wayland) || skip "kwin_wayland is not installed"
[ "$x11" = 0 ] || command -v Xvfb >/dev/null || skip "Xvfb is not installed"

dir=$(mktemp -d /tmp/mosaro-kwin.XXXXXX)
pids=()
finish() {
    local p
    for p in "${pids[@]}"; do kill -TERM "$p" 2>/dev/null || true; done
    for p in "${pids[@]}"; do wait "$p" 2>/dev/null || true; done
    rm -rf "$dir"
}
trap finish EXIT
trap 'exit 143' TERM INT HUP

uid=$(id -u)
as=()
if [ "$uid" = 0 ]; then
    uid=${MOSARO_TEST_UID:-65534}
    as=(setpriv --reuid="$uid" --regid="$(id -g "$uid" 2>/dev/null || echo "$uid")" --clear-groups)
    # A tree the test user cannot read (a checkout under /root): KWin accepts root, so all runs as root.
    for program in "$1" ${client:+"$client"}; do
        if ! "${as[@]}" test -x "$(command -v "$program" || echo "$program")"; then
            echo "kwin-session: user $uid cannot run $program; KWin and the command run as root" >&2
            uid=0 as=()
            break
        fi
    done
fi
rt=$dir/run
mkdir -p "$rt" "$dir/home/.local/share/applications" "$dir/bin"
chmod 0700 "$rt"
# The Debian binary carries a file capability a container may refuse to grant ("Operation not
# permitted"); a copy has none. Its name must still end in kwin_wayland: KWin picks its own Qt
# platform plugin by it.
cp "$kwin" "$dir/bin/kwin_wayland"
if [ -n "$client" ]; then
    # KWin reads a client's executable from /proc and grants what a .desktop file naming it asks.
    printf '[Desktop Entry]\nType=Application\nName=Mosaro test client\nExec=%s\nNoDisplay=true\n%s\n' \
        "$client" "X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input" \
        >"$dir/home/.local/share/applications/mosaro-test-client.desktop"
fi
chown -R "$uid" "$dir"

env=(HOME="$dir/home" XDG_RUNTIME_DIR="$rt" PATH=/usr/local/bin:/usr/bin:/bin LANG=C.UTF-8
    DBUS_SESSION_BUS_ADDRESS="unix:path=$rt/bus" WAYLAND_DISPLAY=wayland-kwin QT_QPA_PLATFORM=wayland)
backend=(--virtual)
if [ "$x11" = 1 ]; then
    # A display number of its own, above the range the X11 tests take, never a shared one.
    for n in $(seq 300 399); do
        [ -e /tmp/.X11-unix/X$n ] || [ -e /tmp/.X$n-lock ] && continue
        Xvfb :$n -screen 0 1440x900x24 -nolisten tcp -ac -displayfd 3 3>"$dir/display" >/dev/null 2>&1 &
        pids+=($!)
        for _ in $(seq 100); do [ -s "$dir/display" ] && break; kill -0 $! 2>/dev/null || break; sleep 0.05; done
        [ -s "$dir/display" ] && break
    done
    [ -s "$dir/display" ] || skip "Xvfb did not start"
    env+=(DISPLAY=":$(cat "$dir/display")")
    backend=(--x11-display ":$(cat "$dir/display")")
fi
run_as() { "${as[@]}" env -i "${env[@]}" "$@"; }
# In the background, as the process itself, so that its PID is the one stopped at the end.
spawn_as() { (exec "${as[@]}" env -i "${env[@]}" "$@") & }

spawn_as dbus-daemon --session --nofork --nopidfile --address="unix:path=$rt/bus" >/dev/null 2>&1
pids+=($!)
for _ in $(seq 200); do [ -S "$rt/bus" ] && break; sleep 0.01; done
spawn_as KWIN_COMPOSE=Q "$dir/bin/kwin_wayland" "${backend[@]}" --width 1440 --height 900 \
    --output-count "$outputs" --socket wayland-kwin --no-lockscreen 2>"$dir/kwin.log"
pids=($! "${pids[@]}") # KWin goes first, before its bus and X server
ready=0
for _ in $(seq 200); do
    if run_as gdbus call --session -d org.kde.KWin -o /Scripting -m org.kde.kwin.Scripting.isScriptLoaded - \
        >/dev/null 2>&1; then
        ready=1
        break
    fi
    kill -0 "${pids[0]}" 2>/dev/null || break
    sleep 0.05
done
[ "$ready" = 1 ] || skip "KWin did not start: $(grep -v '^\s*$' "$dir/kwin.log" | tail -n1)"

status=0
run_as "$@" || status=$?
exit $status
