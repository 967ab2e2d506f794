#!/usr/bin/env bash
# A prefix install as a new user makes it: installed into a fresh prefix, the
# pkg-config file answers for it, and D-Bus activation starts its tvsimd from
# the prefix (no LD_LIBRARY_PATH) on a private dbus-daemon whose configuration
# lists the prefix's services folder. The daemon is not a session bus, so it
# passes its address in DBUS_STARTER_ADDRESS alone.
# Usage: prefix_install.sh BUILD_DIR WORK_DIR
set -euo pipefail
build=$1 work=$2
source "$(dirname "$0")/processes.sh"
trap stop_started EXIT
unset LD_LIBRARY_PATH DBUS_SESSION_BUS_ADDRESS DBUS_STARTER_ADDRESS DBUS_STARTER_BUS_TYPE

rm -rf "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

pc=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs system_access)
[[ $pc == *"-I$prefix/lib/pkgconfig/../../include/system_access"* && $pc == *-lsystem_access* ]] ||
  { echo "unexpected pkg-config answer: $pc" >&2; exit 1; }

cat >"$work/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:dir=$work</listen>
  <auth>EXTERNAL</auth>
  <servicedir>$prefix/share/dbus-1/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONF
coproc BUS { exec dbus-daemon --config-file="$work/bus.conf" --nofork --nopidfile --print-address; }
started+=("$BUS_PID")
address=$(read_line "${BUS[0]}" 20)

busctl --address="$address" status io.sysaccess.TvSim >/dev/null 2>&1 &&
  { echo "io.sysaccess.TvSim is owned before any call" >&2; exit 1; }
listed=$(timeout 60 busctl --address="$address" call io.sysaccess.TvSim /io/sysaccess/TvSim \
  io.sysaccess.TvSim.Control List s 'orvik.sl2.i32.audio')
[[ $listed == *orvik.sl2.i32.audio.volume* ]] || { echo "unexpected List answer: $listed" >&2; exit 1; }

# The activated tvsimd is the prefix's, and it leaves with the bus.
pid=$(busctl --address="$address" call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus \
  GetConnectionUnixProcessID s io.sysaccess.TvSim | awk '{print $2}')
[[ $(readlink "/proc/$pid/exe") == "$prefix/bin/tvsimd" ]] ||
  { echo "io.sysaccess.TvSim is served by $(readlink "/proc/$pid/exe")" >&2; exit 1; }
stop_started
gone "$pid" 20 || { kill "$pid"; echo "the activated tvsimd outlived its bus" >&2; exit 1; }
echo "activated $prefix/bin/tvsimd (pid $pid) on $address"
