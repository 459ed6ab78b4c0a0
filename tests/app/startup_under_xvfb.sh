#!/usr/bin/env bash
# Starts the real QuorvelView executable on a private X server with an empty home folder and
# watches its windows: the splash (620x380) must be up at once and gone after two seconds, the
# main window must then be up, and the first run must have made the data folders and copied the
# factory camera configuration. usage: startup_under_xvfb.sh PATH/TO/QuorvelView
set -euo pipefail
exe=$1
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT

run() {
  export HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share"
  export QT_QPA_PLATFORM=xcb
  "$exe" >"$home/app.log" 2>&1 &
  pid=$!
  windows() { xwininfo -root -tree 2>/dev/null | grep -E '"QuorvelView"' || true; }
  sleep 1
  early=$(windows)
  sleep 2.5
  late=$(windows)
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
  status=0
  echo "$early" | grep -q '620x380' || { echo "no splash window after 1 s:"; echo "$early"; status=1; }
  echo "$late" | grep -q '620x380' && { echo "splash still up after 3.5 s"; status=1; }
  echo "$late" | grep -q '1440x900' || { echo "no main window after 3.5 s:"; echo "$late"; status=1; }
  [ -d "$home/Documents/QuorvelData" ] || { echo "no Documents/QuorvelData"; status=1; }
  [ -f "$home/Documents/QuorvelConfig/dvs_default_config.json" ] || { echo "factory DVS configuration not copied"; status=1; }
  [ -f "$home/Documents/QuorvelConfig/fusion_camera_default_config.json" ] || { echo "factory fusion configuration not copied"; status=1; }
  grep -q "QuorvelView Version: 1.2.3" "$home/app.log" || { echo "no version line in the log"; status=1; }
  if [ $status -ne 0 ]; then echo "--- application log:"; cat "$home/app.log"; fi
  exit $status
}
export -f run 2>/dev/null || true
export exe home
xvfb-run -a -s "-screen 0 1600x1000x24" bash -c "$(declare -f run); exe='$exe' home='$home' run"
