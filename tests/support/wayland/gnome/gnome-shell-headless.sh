#!/bin/bash
# A real GNOME Shell, headless, for tests: its own runtime directory, home, session bus and
# stand-in system bus, run as an unprivileged user, with extensions from the tree enabled and
# the overview closed. Everything it starts is found again by `stop`, which leaves nothing behind.
#
#   gnome-shell-headless.sh start <dir> [extension-variants-dir...]
#       Starts the Shell in <dir> (created; it must not exist) and writes <dir>/env: the lines
#       WAYLAND_DISPLAY, XDG_RUNTIME_DIR, DBUS_SESSION_BUS_ADDRESS, HOME, SHELL_UID, SHELL_PID,
#       SHELL_VERSION and SHELL_READY_MS (from the Shell's start to ready), to be sourced by the
#       caller. Each extension directory is one built by
#       cmake/GnomeShellExtension.cmake (script/<uuid>/ and module/<uuid>/): the variant for the
#       running Shell is installed for the user and enabled before the Shell starts.
#   gnome-shell-headless.sh stop <dir>
#       Stops every process of that session, the ones the session bus started included, and
#       removes <dir>.
#   gnome-shell-headless.sh run <dir> <command>...
#       Runs a command as the session's user, in its environment (gdbus, gsettings, foot).
#
# Environment: SHELL_USER (default nobody) when started as root; MONITORS, the virtual
# monitors (default 1440x900; the Shell orders them its own way); SHELL_TIMEOUT, seconds to
# become ready (default 30).
#
# This runs the host's GNOME Shell. In a Debian system root (GNOME 48 in Debian 13) the same
# steps run inside the root's own mount namespace, with /proc, /dev and /dev/shm mounted: the
# buses, the settings and the Shell must share one HOME, since the session bus starts
# dconf-service, which writes the settings the Shell reads from HOME.
set -u
MONITORS=${MONITORS:-1440x900}
SHELL_TIMEOUT=${SHELL_TIMEOUT:-30}

die() {
    echo "gnome-shell-headless: $*" >&2
    exit 1
}

# The command line that runs a command as the session's user with the session's environment,
# into CMD: every step execs the next, so a background job's $! is the command's.
user_cmd() {
    local dir=$1
    shift
    CMD=()
    [ "$(id -u)" = 0 ] && CMD+=(setpriv --reuid="$(cat "$dir/uid")" --regid="$(cat "$dir/gid")" --clear-groups)
    CMD+=(env -i PATH=/usr/bin:/bin HOME="$dir/home" XDG_RUNTIME_DIR="$dir/run"
        DBUS_SESSION_BUS_ADDRESS="unix:path=$dir/run/bus" DBUS_SYSTEM_BUS_ADDRESS="unix:path=$dir/run/system_bus"
        WAYLAND_DISPLAY=wayland-0 LANG=C.UTF-8 "$@")
}

as_user() {
    user_cmd "$@"
    "${CMD[@]}"
}

# Starts a command as the session's user in the background; its pid is left in LAST_PID.
spawn() {
    local dir=$1 log=$2
    shift 2
    user_cmd "$dir" "$@"
    "${CMD[@]}" > "$dir/$log" 2>&1 &
    LAST_PID=$!
}

# A bus of the session's own: the session bus starts only dconf (the Shell's settings store),
# none of the desktop's other services, and lets root in, which runs the tests.
write_bus_config() {
    local dir=$1 kind=$2
    local services=""
    if [ "$kind" = session ]; then
        mkdir -p "$dir/services"
        sed -e '/^SystemdService=/d' /usr/share/dbus-1/services/ca.desrt.dconf.service \
            > "$dir/services/ca.desrt.dconf.service"
        services="<servicedir>$dir/services</servicedir>"
    fi
    cat > "$dir/$kind.conf" << EOF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$dir/run/$( [ "$kind" = session ] && echo bus || echo system_bus )</listen>
  <auth>EXTERNAL</auth>
  $services
  <policy context="default">
    <allow user="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
EOF
}

# Every process whose runtime directory is the session's: the bus daemons, the Shell, and what
# the bus started (dconf-service), which are children of init rather than of anything here.
session_pids() {
    local dir=$1
    local p
    for p in /proc/[0-9]*; do
        { tr '\0' '\n' < "$p/environ"; } 2> /dev/null | grep -qxF "XDG_RUNTIME_DIR=$dir/run" && echo "${p#/proc/}"
    done
}

# The overview's state, or with a second argument, sets it.
overview() {
    local dir=$1
    shift
    if [ $# = 0 ]; then
        as_user "$dir" gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
            --method org.freedesktop.DBus.Properties.Get org.gnome.Shell OverviewActive
    else
        as_user "$dir" gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
            --method org.freedesktop.DBus.Properties.Set org.gnome.Shell OverviewActive "<$1>"
    fi
}

start() {
    local dir=$1
    shift
    [ -e "$dir" ] && die "$dir exists"
    # Whatever fails from here leaves nothing running.
    trap "stop '$dir'" EXIT
    mkdir -p "$dir/run" "$dir/home/.config" "$dir/home/.local/share/gnome-shell/extensions" || exit 1
    chmod 0700 "$dir/run"
    local uid gid
    if [ "$(id -u)" = 0 ]; then
        uid=$(id -u "${SHELL_USER:-nobody}") gid=$(id -g "${SHELL_USER:-nobody}") || die "no user ${SHELL_USER:-nobody}"
    else
        uid=$(id -u) gid=$(id -g)
    fi
    echo "$uid" > "$dir/uid"
    echo "$gid" > "$dir/gid"

    local version
    version=$(as_user "$dir" gnome-shell --version | sed -n 's/^GNOME Shell \([0-9.]*\).*/\1/p')
    [ -n "$version" ] || die "no gnome-shell"
    local major=${version%%.*}
    local format=module
    [ "$major" -lt 45 ] && format=script

    local uuids=() variants uuid
    for variants in "$@"; do
        for uuid in "$variants/$format"/*; do
            [ -f "$uuid/metadata.json" ] || die "no $format variant in $variants"
            cp -r "$uuid" "$dir/home/.local/share/gnome-shell/extensions/"
            uuids+=("'$(basename "$uuid")'")
        done
    done
    # Without a display manager the Shell has no lock screen and says so once, in a notification
    # that would cover what the tests look at.
    touch "$dir/home/.local/share/gnome-shell/lock-warning-shown"
    write_bus_config "$dir" session
    write_bus_config "$dir" system
    chown -R "$uid:$gid" "$dir"

    # The buses first, then the settings the Shell reads at start, then the Shell.
    spawn "$dir" system-bus.log dbus-daemon --config-file="$dir/system.conf" --nofork --nopidfile
    spawn "$dir" session-bus.log dbus-daemon --config-file="$dir/session.conf" --nofork --nopidfile
    local i
    for i in $(seq 100); do
        [ -S "$dir/run/bus" ] && [ -S "$dir/run/system_bus" ] && break
        sleep 0.05
    done
    local list
    list=$(IFS=,; echo "[${uuids[*]}]")
    as_user "$dir" gsettings set org.gnome.shell enabled-extensions "$list"
    as_user "$dir" gsettings set org.gnome.shell welcome-dialog-last-shown-version "'999'"
    as_user "$dir" gsettings set org.gnome.desktop.interface enable-animations false

    local started
    started=$(date +%s%N)
    local monitors=() monitor
    for monitor in $MONITORS; do
        monitors+=(--virtual-monitor "$monitor")
    done
    spawn "$dir" shell.log gnome-shell --headless "${monitors[@]}" --wayland --no-x11 --sm-disable
    local pid=$LAST_PID

    # Ready: the Shell owns its name, every extension is enabled, the overview is closed.
    local deadline=$(($(date +%s) + SHELL_TIMEOUT)) state
    while :; do
        [ "$(date +%s)" -lt "$deadline" ] || { tail -20 "$dir/shell.log" >&2; die "the Shell did not start"; }
        kill -0 "$pid" 2> /dev/null || { tail -20 "$dir/shell.log" >&2; die "the Shell exited"; }
        if as_user "$dir" gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
            --method org.freedesktop.DBus.Properties.Get org.gnome.Shell ShellVersion > /dev/null 2>&1; then
            break
        fi
        sleep 0.05
    done
    for uuid in "${uuids[@]}"; do
        uuid=${uuid//\'/}
        while :; do
            [ "$(date +%s)" -lt "$deadline" ] || { tail -20 "$dir/shell.log" >&2; die "extension $uuid: $state"; }
            state=$(as_user "$dir" gdbus call --session --dest org.gnome.Shell --object-path /org/gnome/Shell \
                --method org.gnome.Shell.Extensions.GetExtensionInfo "$uuid" 2>&1)
            # State 1 is enabled; anything else (3 error, 4 out of date) is final once it shows.
            case $state in
                *"'state': <1.0>"*) break ;;
                *"'state': <"[2-9]*) tail -20 "$dir/shell.log" >&2; die "extension $uuid: $state" ;;
            esac
            sleep 0.05
        done
    done
    # The Shell opens the overview when its start-up animation ends, which may come after a
    # close asked too early: ask until it stays closed.
    local closed=0
    while [ $closed -lt 2 ]; do
        [ "$(date +%s)" -lt "$deadline" ] || die "the overview stays open"
        if overview "$dir" | grep -q false; then
            closed=$((closed + 1))
        else
            closed=0
            overview "$dir" false > /dev/null
        fi
        sleep 0.1
    done
    local ready=$((($(date +%s%N) - started) / 1000000))

    cat > "$dir/env" << EOF
WAYLAND_DISPLAY=$dir/run/wayland-0
XDG_RUNTIME_DIR=$dir/run
DBUS_SESSION_BUS_ADDRESS=unix:path=$dir/run/bus
HOME=$dir/home
SHELL_UID=$uid
SHELL_PID=$pid
SHELL_VERSION=$version
SHELL_READY_MS=$ready
EOF
    trap - EXIT
    cat "$dir/env"
}

stop() {
    local dir=$1
    [ -f "$dir/uid" ] || die "$dir holds no session"
    local pids i
    pids=$(session_pids "$dir")
    [ -n "$pids" ] && kill -TERM $pids 2> /dev/null
    for i in $(seq 50); do
        pids=$(session_pids "$dir")
        [ -z "$pids" ] && break
        sleep 0.1
    done
    [ -n "$pids" ] && kill -KILL $pids 2> /dev/null
    for i in $(seq 20); do
        [ -z "$(session_pids "$dir")" ] && break
        sleep 0.1
    done
    [ -z "$(session_pids "$dir")" ] || die "processes left: $(session_pids "$dir")"
    rm -rf "$dir"
}

[ $# -ge 2 ] && set -- "$1" "$(realpath -m "$2")" "${@:3}"
case ${1:-} in
    start) [ $# -ge 2 ] || die "usage: $0 start <dir> [extension-variants-dir...]"; shift; start "$@" ;;
    stop) [ $# = 2 ] || die "usage: $0 stop <dir>"; stop "$2" ;;
    run)
        [ $# -ge 3 ] || die "usage: $0 run <dir> <command>..."
        dir=$2
        shift 2
        user_cmd "$dir" "$@"
        exec "${CMD[@]}"
        ;;
    *) die "usage: $0 start|stop|run <dir> ..." ;;
esac
