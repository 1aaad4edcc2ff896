#!/bin/sh
# A GNOME Shell session for the tests, run inside the Shell's own system (this one, or the Debian
# 13 root) as its unprivileged user, with XDG_RUNTIME_DIR and HOME set:
#   gnome-session.sh <dir> <enabled-extensions> <disable-user-extensions> [--virtual-monitor WxH]...
# A stand-in system bus (the Shell aborts without logind's bus), a session bus that starts only
# dconf (the Shell's settings store) and lets the tests' root in, the settings the Shell reads at
# start, then the Shell itself, headless, without Xwayland.
set -e
dir=$1 extensions=$2 disable=$3
shift 3
mkdir -p "$dir/services"
sed -e '/^SystemdService=/d' /usr/share/dbus-1/services/ca.desrt.dconf.service > "$dir/services/ca.desrt.dconf.service"
for bus in system session; do
    socket=$XDG_RUNTIME_DIR/bus
    services=""
    if [ $bus = system ]; then socket=$XDG_RUNTIME_DIR/system_bus; else services="<servicedir>$dir/services</servicedir>"; fi
    cat > "$dir/$bus.conf" << CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$socket</listen>
  <auth>EXTERNAL</auth>
  $services
  <policy context="default">
    <allow user="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONF
    dbus-daemon --config-file="$dir/$bus.conf" --nofork --nopidfile &
done
while [ ! -S "$XDG_RUNTIME_DIR/bus" ] || [ ! -S "$XDG_RUNTIME_DIR/system_bus" ]; do sleep 0.05; done
export DBUS_SESSION_BUS_ADDRESS="unix:path=$XDG_RUNTIME_DIR/bus" DBUS_SYSTEM_BUS_ADDRESS="unix:path=$XDG_RUNTIME_DIR/system_bus"
gsettings set org.gnome.shell enabled-extensions "$extensions"
gsettings set org.gnome.shell disable-user-extensions "$disable"
gsettings set org.gnome.shell welcome-dialog-last-shown-version "'999'"
gsettings set org.gnome.desktop.interface enable-animations false
exec gnome-shell --headless "$@" --wayland --no-x11 --sm-disable
