#!/usr/bin/env bash
# The Debian packages as a team gets them: built by CPack from this build
# tree's binaries, lintian finds no error in them, and unpacked into a scratch
# root (dpkg-deb -x) the development package builds examples/ and the tools
# package's tvsimd and sactl work against each other on tvsimd's private bus.
# Usage: debian_packages.sh CPACK BUILD_DIR EXAMPLE_SOURCE WORK_DIR
set -euo pipefail
cpack=$1 build=$2 examples=$3 work=$4
source "$(dirname "$0")/processes.sh"
trap stop_started EXIT
unset DBUS_SESSION_BUS_ADDRESS TVSIM_BUS

rm -rf "$work"
mkdir -p "$work"
"$cpack" --config "$build/CPackConfig.cmake" -B "$work/packages" >"$work/cpack.log" ||
  { cat "$work/cpack.log"; exit 1; }
debs=("$work"/packages/*.deb)
[[ ${#debs[@]} -eq 4 ]] || { echo "expected 4 packages, CPack made: ${debs[*]}" >&2; exit 1; }

# Warnings are shown and pass; any error fails.
lintian --fail-on error "${debs[@]}" 2>&1 || { echo "lintian reports errors" >&2; exit 1; }

root=$work/root
for deb in "${debs[@]}"; do dpkg-deb -x "$deb" "$root"; done
# Unpacked, not installed: the libraries are where the system's would be, under the root.
export LD_LIBRARY_PATH=$root/usr/lib

cmake -S "$examples" -B "$work/example" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/example" >/dev/null
engine=$("$work/example/example_engine")
[[ $engine == *"pauseAV ok, resumeAV ok, zap ok, now on Movies Three"* ]] ||
  { echo "unexpected example output: $engine" >&2; exit 1; }

coproc TVSIMD { exec "$root/usr/bin/tvsimd" --private-bus; }
started+=("$TVSIMD_PID")
export_line=$(read_line "${TVSIMD[0]}" 20)
[[ $(read_line "${TVSIMD[0]}" 20) == ready ]] || { echo "tvsimd did not get ready" >&2; exit 1; }
address=${export_line#export DBUS_SESSION_BUS_ADDRESS=}
address=${address//\'/}
"$root/usr/bin/sactl" --bus="$address" set orvik.sl2.i32.audio.volume 27 >/dev/null
volume=$("$root/usr/bin/sactl" --bus="$address" get orvik.sl2.i32.audio.volume)
[[ $volume == "orvik.sl2.i32.audio.volume = 27" ]] || { echo "unexpected sactl answer: $volume" >&2; exit 1; }
echo "packages: ${debs[*]##*/}"
