#!/usr/bin/env bash
# A Debian 13 root for the Wayland tests: the compositors people run today, started headless in
# it by an unprivileged user and reached from the host only through sockets in a folder shared
# with it. Root only (mounts, chroot).
#
#   debian-root.sh ensure
#       Builds the root if it is missing or its package lists (*.packages beside this script, each
#       with an optional *.setup run in the root afterwards)
#       changed, and prints its path. Building takes a minute or two and needs Debian's registry.
#   debian-root.sh run [options] -- command [argument...]
#       Runs the command in the root, in the foreground, as the unprivileged user, in a mount
#       namespace of its own. Ends when the command ends; then whatever the run started is killed
#       and its mounts are gone. SIGTERM is passed on to the command; after SIGKILL (or the death of
#       the caller) the processes are killed a moment later.
#         --uid N            the user (default $MOSARO_TEST_UID, else 65534); it exists in the root
#                            under the host's name for it, so one user owns the sockets on both sides
#         --gid N            its group (default: the host's primary group of that uid, else N)
#         --as-root          run as root instead (installing a package)
#         --runtime DIR      a host folder seen at the same path inside, owned by the user, mode 0700;
#                            the command's XDG_RUNTIME_DIR. The compositor's sockets land there.
#         --session-bus      a session bus at unix:path=DIR/bus (needs --runtime), started before the
#                            command, which gets DBUS_SESSION_BUS_ADDRESS; the host's root may use it
#         --bind SRC[:DEST]  a host folder or file seen at DEST (default: the same path), writable
#         --ro-bind SRC[:DEST]  the same, read-only. tests/wayland/ of the tree is always seen
#                            read-only at its own path, so a configuration in it needs no binding.
#         --env NAME=VALUE   an environment variable of the command (the environment is otherwise
#                            PATH, HOME, USER, LOGNAME, LANG=C.UTF-8, XDG_RUNTIME_DIR)
#         --join PID         run beside a running `run` whose PID is given (its mounts, its user,
#                            its runtime folder), ending with it at the latest
#   debian-root.sh leftovers
#       Fails, naming them, when a mount under the root's folder or a process inside it is left.
#   debian-root.sh path
#       Prints where the root is (built or not).
#
# Exit status 77: the root cannot be had on this machine (not root, no mount permission, no
# registry); one line on standard error says why. Where CI=true that status is 1 instead.
# MOSARO_WAYLAND_ROOT_DIR moves the root's folder (default: build/wayland-root/ of the tree).
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
self=$here/$(basename "${BASH_SOURCE[0]}")
tree=$(cd "$here/../../.." && pwd)
suite=trixie
# Bump when the way the root is made changes, so that existing roots are rebuilt.
recipe=2
base=${MOSARO_WAYLAND_ROOT_DIR:-$tree/build/wayland-root}
root=$base/$suite
# Per run, a tmpfs here (in the run's namespace only) holds the overlay over the root.
mnt=$base/mnt
merged=$mnt/root

say() { echo "debian-root: $*" >&2; }

# One line saying why the root cannot be had; a skip on a developer's machine, a failure in CI.
unavailable() {
    say "Debian 13 root unavailable: $*"
    [ "${CI:-}" = true ] && exit 1
    exit 77
}

need_privileges() {
    [ "$(id -u)" -eq 0 ] || unavailable "needs root (mounts and chroot); run the tests as root"
    unshare --mount true 2>/dev/null || unavailable "no permission to make a mount namespace"
}

# The package names of every list, sorted, without comments.
packages() {
    sed -e 's/#.*//' -e 's/[[:space:]]//g' "$here"/*.packages | grep -v '^$' | sort -u
}

stamp() {
    { echo "suite=$suite recipe=$recipe variant=minbase"; packages; cat "$here"/*.setup 2>/dev/null; } | sha256sum | cut -d' ' -f1
}

up_to_date() {
    [ -f "$root/.mosaro-stamp" ] && [ "$(cat "$root/.mosaro-stamp")" = "$(stamp)" ]
}

# The machine's own Debian mirror, from its apt sources (deb822 or one-line), never a fixed host.
host_mirror() {
    local f
    for f in /etc/apt/sources.list.d/*.sources; do
        [ -f "$f" ] || continue
        awk 'BEGIN { RS = ""; FS = "\n" }
             {
               types = uris = suites = ""; enabled = 1
               for (i = 1; i <= NF; i++) {
                 if ($i ~ /^Types:/) types = $i
                 if ($i ~ /^URIs:/) { uris = $i; sub(/^URIs:[ \t]*/, "", uris) }
                 if ($i ~ /^Suites:/) suites = $i
                 if ($i ~ /^Enabled:[ \t]*no/) enabled = 0
               }
               if (enabled && types ~ /[ \t]deb([ \t]|$)/ && suites !~ /-security/ && uris != "") {
                 split(uris, u, /[ \t]+/); print u[1]; exit
               }
             }' "$f"
    done
    cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
        awk '$1 == "deb" { i = 2; if ($2 ~ /^\[/) { while ($i !~ /\]$/) i++; i++ }
                           if ($(i + 1) !~ /-security/) print $i }' || true
}

# Mount points under the root's folder, in any process's namespace.
mounts_under() {
    cat /proc/[0-9]*/mountinfo 2>/dev/null | awk -v d="$1" '$5 == d || index($5, d "/") == 1 { print $5 }' | sort -u
}

build_root() {
    local new=$base/$suite.new mirror log=$base/build.log started failed=$base/failed
    if [ -n "$(find "$failed" -mmin -10 2>/dev/null)" ] && [ "$(head -n1 "$failed")" = "$(stamp)" ]; then
        unavailable "$(tail -n1 "$failed") (tried less than 10 minutes ago; delete $failed to try again)"
    fi
    command -v mmdebstrap >/dev/null || unavailable "mmdebstrap is not installed (packages.txt lists it)"
    mirror=$(host_mirror | head -n1) || true
    [ -n "$mirror" ] || unavailable "no Debian mirror in the machine's apt sources"
    [ -z "$(mounts_under "$base")" ] || unavailable "mounts are left under $base: $(mounts_under "$base" | head -n3)"
    rm -rf "$new"
    say "building the Debian 13 root in $root from $mirror (log: $log)"
    started=$(date +%s)
    # A pid namespace of its own: whatever a maintainer script starts dies with the build, and the
    # mounts mmdebstrap makes in the root cannot outlive it.
    if ! unshare --mount --propagation private --pid --fork --kill-child --mount-proc \
        mmdebstrap --mode=root --variant=minbase --components=main \
        --include="$(packages | paste -sd,)" \
        --aptopt='Acquire::Languages "none"' \
        --dpkgopt='path-exclude=/usr/share/man/*' \
        --dpkgopt='path-exclude=/usr/share/doc/*' \
        --dpkgopt='path-include=/usr/share/doc/*/copyright' \
        --dpkgopt='path-exclude=/usr/share/locale/*' \
        --skip=cleanup/apt/lists \
        "$suite" "$new" "deb $mirror $suite main" >"$log" 2>&1; then
        rm -rf "$new"
        # Remembered for a while, so that the tests after the first one skip at once.
        { stamp; echo "mmdebstrap failed: $(grep -E '^E:' "$log" | head -n1) (log: $log)"; } >"$failed"
        unavailable "$(tail -n1 "$failed")"
    fi
    # mmdebstrap empties machine-id last (a booting system makes its own); D-Bus needs one.
    # (--ensure refuses the empty file it leaves, which newer D-Bus no longer takes for missing.)
    chroot "$new" dbus-uuidgen > "$new/etc/machine-id"
    # What a package list needs beyond its packages, in a <list>.setup beside it.
    local setup
    for setup in "$here"/*.setup; do
        [ -e "$setup" ] || continue
        chroot "$new" /bin/sh -e <"$setup" >>"$log" 2>&1 || { rm -rf "$new"; unavailable "$(basename "$setup") failed (log: $log)"; }
    done
    stamp >"$new/.mosaro-stamp"
    rm -rf "$root" "$failed"
    mv "$new" "$root"
    say "built in $(($(date +%s) - started)) s, $(du -sh "$root" | cut -f1) on disk"
}

cmd_ensure() {
    need_privileges
    mkdir -p "$base" "$mnt"
    exec {lock}>"$base/lock"
    flock -s "$lock"
    if ! up_to_date; then
        # Runs hold the lock shared for their whole life: the root is not replaced under them.
        flock -u "$lock"
        flock -x "$lock"
        up_to_date || build_root
    fi
    echo "$root"
}

# The user's name and home inside: the host's name for the uid, so both sides agree.
user_name() {
    local name
    name=$(getent passwd "$1" | cut -d: -f1) || true
    echo "${name:-mosaro}"
}

parse_run() {
    uid=${MOSARO_TEST_UID:-65534} gid='' as_root=0 runtime='' bus=0 join='' binds=() envs=()
    while [ $# -gt 0 ]; do
        case $1 in
        --uid) uid=$2; shift 2 ;;
        --gid) gid=$2; shift 2 ;;
        --as-root) as_root=1; shift ;;
        --runtime) runtime=$2; shift 2 ;;
        --session-bus) bus=1; shift ;;
        --bind) binds+=("rw:$2"); shift 2 ;;
        --ro-bind) binds+=("ro:$2"); shift 2 ;;
        --env) envs+=("$2"); shift 2 ;;
        --join) join=$2; shift 2 ;;
        --) shift; break ;;
        *) say "unknown option $1"; exit 2 ;;
        esac
    done
    command=("$@")
    [ ${#command[@]} -gt 0 ] || { say "run: no command"; exit 2; }
    if ! [[ $uid =~ ^[0-9]+$ ]] || [ "$uid" -eq 0 ]; then say "run: --uid must be an unprivileged uid"; exit 2; fi
    [ -n "$gid" ] || gid=$(getent passwd "$uid" | cut -d: -f4) || true
    [ -n "$gid" ] || gid=$uid
    [ -z "$runtime" ] || runtime=$(realpath -m "$runtime")
    [ "$bus" = 0 ] || [ -n "$runtime" ] || { say "run: --session-bus needs --runtime"; exit 2; }
    name=$(user_name "$uid")
    home=/home/$name
    [ "$as_root" = 0 ] || uid=0 gid=0 name=root home=/root
    xdg_runtime=${runtime:-/run/user/$uid}
}

# The command line that becomes the user inside the root and runs the command there. Signals
# go back to their defaults: bash starts background commands with SIGINT and SIGQUIT ignored.
as_user() {
    chroot_cmd=(chroot "$merged")
    [ "$as_root" = 1 ] || chroot_cmd+=(setpriv --reuid="$uid" --regid="$gid" --clear-groups)
    chroot_cmd+=(env -i --default-signal PATH=/usr/local/bin:/usr/bin:/bin HOME="$home" USER="$name"
        LOGNAME="$name" LANG=C.UTF-8 XDG_RUNTIME_DIR="$xdg_runtime")
    [ "$bus" = 0 ] || chroot_cmd+=(DBUS_SESSION_BUS_ADDRESS="unix:path=$runtime/bus")
    chroot_cmd+=("${envs[@]}")
}

# Kills every process of this mount namespace but the caller and its parent, until none is left.
sweep() {
    local spare=$1 d p
    for _ in $(seq 100); do
        local found=0
        for d in /proc/[0-9]*; do
            p=${d#/proc/}
            [ "$p" = "$BASHPID" ] || [ "$p" = "$spare" ] && continue
            [[ $d/ns/mnt -ef /proc/self/ns/mnt ]] || continue
            kill -KILL "$p" 2>/dev/null && found=1
        done
        [ $found = 0 ] && return 0
        sleep 0.02
    done
}

# Mounts what the root needs, inside the run's own mount namespace: nothing is seen outside it,
# and all of it goes when the namespace's last process ends.
mount_root() {
    mount -t tmpfs -o mode=0755 mosaro-root "$mnt"
    mkdir "$mnt/upper" "$mnt/work" "$merged"
    # Writes go to the tmpfs: every run starts from the root as built, and concurrent runs are apart.
    mount -t overlay overlay -o "lowerdir=$root,upperdir=$mnt/upper,workdir=$mnt/work" "$merged"
    mount -t proc proc "$merged/proc" 2>/dev/null || mount --rbind /proc "$merged/proc"
    mount --rbind /sys "$merged/sys"
    mount --rbind /dev "$merged/dev"
    mount -t tmpfs -o mode=1777,nosuid,nodev shm "$merged/dev/shm"
    bind_into ro "$tree/tests/wayland" "$tree/tests/wayland"
    local b spec src dest
    for b in "${binds[@]}"; do
        spec=${b#*:} src=$(realpath "${spec%%:*}")
        dest=$src
        [[ $spec != *:* ]] || dest=${spec#*:}
        [[ $dest = /* ]] || { say "run: the destination $dest is not an absolute path"; exit 2; }
        bind_into "${b%%:*}" "$src" "$dest"
    done
    if [ -n "$runtime" ]; then
        mkdir -p "$runtime"
        chown "$uid:$gid" "$runtime"
        chmod 0700 "$runtime"
        bind_into rw "$runtime" "$runtime"
    fi
}

bind_into() {
    local mode=$1 src=$2 dest=$merged$3
    if [ -d "$src" ]; then mkdir -p "$dest"; else mkdir -p "$(dirname "$dest")" && touch "$dest"; fi
    mount --bind "$src" "$dest"
    [ "$mode" = rw ] || mount -o remount,bind,ro "$dest"
}

add_user() {
    grep -q "^[^:]*:[^:]*:$uid:" "$merged/etc/passwd" ||
        echo "$name:x:$uid:$gid:Mosaro tests:$home:/bin/sh" >>"$merged/etc/passwd"
    grep -q "^[^:]*:[^:]*:$gid:" "$merged/etc/group" || echo "$name:x:$gid:" >>"$merged/etc/group"
    mkdir -p "$merged$home"
    chown "$uid:$gid" "$merged$home"
    [ -n "$runtime" ] || install -d -m 0700 -o "$uid" -g "$gid" "$merged$xdg_runtime"
}

start_bus() {
    rm -f "$runtime/bus"
    "${chroot_cmd[@]}" dbus-daemon --nofork --nopidfile --address="unix:path=$runtime/bus" \
        --config-file="$here/session-bus.conf" {watch_fd}>&- &
    for _ in $(seq 500); do
        [ -S "$runtime/bus" ] && return 0
        kill -0 $! 2>/dev/null || break
        sleep 0.01
    done
    say "the session bus did not start"
    return 1
}

# The run's first process, in its own mount namespace (see cmd_run).
cmd_init() {
    parse_run "$@"
    exec {lock}>"$base/lock"
    flock -s "$lock"
    up_to_date || unavailable "the root is not built or out of date: run '$self ensure' first"
    # The watcher holds the read end of a pipe whose only writer is this process: however this
    # process ends, even by SIGKILL, the watcher then kills whatever the run left behind.
    exec {watch_fd}> >(
        trap '' TERM INT HUP
        read -r _ || true
        sweep "$$"
    )
    local watcher=$!
    mount_root
    add_user
    as_user
    [ "$bus" = 0 ] || start_bus || exit 1
    "${chroot_cmd[@]}" "${command[@]}" {watch_fd}>&- &
    local child=$! status=0 signalled s
    trap 'signalled=1; kill -TERM $child 2>/dev/null' TERM INT HUP
    # A signal's trap cuts the wait short: wait again for the command's own status. 127 then
    # means the status was already the command's.
    while :; do
        signalled=0
        wait $child && s=0 || s=$?
        [ $s = 127 ] && [ $status -gt 128 ] && break
        status=$s
        if [ $signalled = 0 ] || [ $s -le 128 ]; then break; fi
    done
    # Done in the foreground, so that once this process is gone nothing of the run is.
    exec {watch_fd}>&-
    wait $watcher || true
    reap_orphans
    exit $status
}

# The run's orphans were handed to this process (a subreaper): collect the last of them, so that
# none waits as a zombie for the machine's init. Bash reaps any child when SIGCHLD arrives.
reap_orphans() {
    local f stat ppid
    for _ in $(seq 100); do
        local left=0
        for f in /proc/[0-9]*/stat; do
            read -r stat 2>/dev/null <"$f" || continue
            # pid (name) state ppid …: the name may hold spaces and parentheses.
            read -r _ ppid _ <<<"${stat##*) }"
            [ "$ppid" = $$ ] && left=1 && break
        done
        [ $left = 0 ] && return 0
        sleep 0.01
    done
}

cmd_run() {
    need_privileges
    parse_run "$@"
    if [ -n "$join" ]; then
        [ -d "/proc/$join/root$merged/proc" ] || { say "run: process $join is not a run of the root"; exit 2; }
        as_user
        exec nsenter --target "$join" --mount -- "${chroot_cmd[@]}" "${command[@]}"
    fi
    [ -d "$root" ] || unavailable "the root is not built: run '$self ensure' first"
    # Killed with the caller; the mount namespace is private, so nothing mounted leaks out.
    # The first process becomes a subreaper (prctl 36): what the run's processes leave behind is its
    # child. Perl is there with mmdebstrap, and starts in a tenth of Python's time.
    exec setpriv --pdeathsig KILL -- unshare --mount --propagation private -- perl -e \
        'require "syscall.ph"; syscall(&SYS_prctl, 36, 1, 0, 0, 0) == 0 or die "prctl: $!"; exec @ARGV' \
        bash "$self" __init "$@"
}

cmd_leftovers() {
    local left=0 d p r
    while read -r m; do
        say "mount left: $m"
        left=1
    done < <(mounts_under "$base")
    for d in /proc/[0-9]*; do
        p=${d#/proc/}
        r=$(readlink "$d/root" 2>/dev/null) || continue
        case $r in "$base" | "$base"/*)
            say "process left: $p $(cat "$d/comm" 2>/dev/null) (root $r)"
            left=1
            ;;
        esac
    done
    [ $left = 0 ] || exit 1
    echo "debian-root: no mount and no process of a run left under $base"
}

case ${1:-} in
ensure) shift; cmd_ensure "$@" ;;
run) shift; cmd_run "$@" ;;
__init) shift; cmd_init "$@" ;;
leftovers) shift; cmd_leftovers "$@" ;;
path) echo "$root" ;;
*) sed -n '2,/^set -euo/p' "$self" | sed -e '$d' -e 's/^# \{0,1\}//' >&2; exit 2 ;;
esac
