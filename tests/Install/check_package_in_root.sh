#!/usr/bin/env bash
# The package on Debian 13: installs the .deb with apt in the Debian 13 root (into a throw-away
# layer over it) and runs `mosaro --version` and `mosaro --check` there under Xvfb, as the
# unprivileged user. Built on Debian 12, it must install against Debian 13's Qt.
# Usage: check_package_in_root.sh build/package/mosaro_VERSION_ARCH.deb
# Where the root cannot be had, says so in one line and succeeds (fails where CI=true).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root_sh=$here/../wayland/root/debian-root.sh

if [ "${1:-}" = --inside ]; then
    deb=$2 uid=$3
    export DEBIAN_FRONTEND=noninteractive
    apt-get install -y -q "$deb" >/tmp/apt.log 2>&1 || { cat /tmp/apt.log; exit 1; }
    echo "installed $(dpkg-query -W -f='${Package} ${Version}' mosaro) with Qt $(dpkg-query -W -f='${Version}' libqt6core6t64)"
    version=$(mosaro --version)
    [ "$version" = "mosaro $(dpkg-query -W -f='${Version}' mosaro)" ] || { echo "FAIL: --version says '$version'"; exit 1; }
    echo "$version"
    user() { setpriv --reuid="$uid" --regid="$uid" --clear-groups "$@"; }
    # The run's /tmp is its own, so display 1 is free; no abstract socket, which the host shares.
    user Xvfb :1 -nolisten tcp -nolisten local >/tmp/xvfb.log 2>&1 &
    for _ in $(seq 100); do [ -S /tmp/.X11-unix/X1 ] && break; sleep 0.05; done
    status=0
    check=$(HOME=/tmp DISPLAY=:1 user mosaro --check 2>&1) || status=$?
    sed 's/^/  /' <<<"$check"
    # A bare X server has no window manager, so 1 is the answer; anything else is a fault.
    case $status in 0 | 1) ;; *) echo "FAIL: mosaro --check exited $status"; exit 1 ;; esac
    echo "$check" | grep -q '^ok: display :1 (X11 session)' || { echo "FAIL: --check did not find its display"; exit 1; }
    exit 0
fi

deb=$(realpath "$1")
[ -f "$deb" ] || { echo "no package at $1"; exit 1; }
status=0
"$root_sh" ensure >/dev/null || status=$?
[ $status -eq 77 ] && exit 0
[ $status -eq 0 ] || exit $status
uid=${MOSARO_TEST_UID:-65534}
"$root_sh" run --as-root --ro-bind "$(dirname "$deb")" --ro-bind "$here" -- bash "$here/$(basename "$0")" --inside "$deb" "$uid"
echo "Debian 13: the package installs and runs"
