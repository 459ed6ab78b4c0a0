#!/usr/bin/env bash
# The real QuorvelView executable ended by a signal, as logout, `timeout`, a service manager or
# Ctrl+C end it: it must end as "Quit" does, with the settings written and a running recording
# closed and readable. Offscreen, each case in an empty home folder of its own.
# usage: signals_end_cleanly.sh PATH/TO/QuorvelView PATH/TO/quorvel
set -uo pipefail
exe=$1
cli=$2
status=0

# run_case NAME SIGNAL SECONDS [ARGS...]: starts the program, sends SIGNAL after SECONDS and
# expects it to end by itself within 15 s, with exit code 0 and a complete config.ini.
run_case() {
  local name=$1 sig=$2 delay=$3
  shift 3
  local pid code ini="$home/.local/share/Quorvel/QuorvelView/config.ini"
  QT_QPA_PLATFORM=offscreen HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share" \
    XDG_CACHE_HOME="$home/.cache" "$exe" "$@" >"$home/app.log" 2>&1 &
  pid=$!
  sleep "$delay"
  kill -s "$sig" "$pid"
  for _ in $(seq 150); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  if kill -0 "$pid" 2>/dev/null; then
    echo "$name: still running 15 s after SIG$sig"; kill -9 "$pid"; status=1; cat "$home/app.log"; return
  fi
  wait "$pid"; code=$?
  [ "$code" -eq 0 ] || { echo "$name: exit code $code after SIG$sig"; status=1; }
  local keys
  keys=$(grep -c '=' "$ini" 2>/dev/null || echo 0)
  [ "$keys" -eq 10 ] || { echo "$name: config.ini has $keys keys, not 10"; status=1; }
  if [ $status -ne 0 ]; then echo "--- $name log:"; tail -20 "$home/app.log"; fi
}

homes=()
trap 'rm -rf "${homes[@]}"' EXIT
new_home() { home=$(mktemp -d); homes+=("$home"); }

# 1. During the splash: nothing was configured yet, the first run's settings are still written.
new_home
run_case splash TERM 1

# 2. Streaming a camera while a trigger-in recording runs (edges on input 0 start 30 s
#    recordings): the recording is closed complete and decodes.
new_home
mkdir -p "$home/.local/share/Quorvel/QuorvelView" "$home/rec"
cat >"$home/.local/share/Quorvel/QuorvelView/config.ini" <<INI
[Setting]
output_raw_file_path=$home/rec
dvs_trigger_in_rec_enable=true
dvs_trigger_in_rec_edge_type=Rising Edge
dvs_before_tirgger_in_save_time=0
dvs_after_tirgger_in_save_time=30
INI
run_case recording INT 5 --camera QVSIM-DVS-0001
recording=$(ls "$home"/rec/QVSIM-DVS-0001_*.raw 2>/dev/null | head -1)
if [ -z "$recording" ]; then
  echo "recording: no recording was made"; status=1; tail -20 "$home/app.log"
else
  events=$(XDG_CACHE_HOME="$home/.cache" "$cli" info "$recording" --json | sed -n 's/.*"events": *\([0-9]*\).*/\1/p')
  [ "${events:-0}" -gt 100000 ] || { echo "recording: $recording decodes to ${events:-no} events"; status=1; }
  grep -q 'dvs_trigger_in_rec_enable=true' "$home/.local/share/Quorvel/QuorvelView/config.ini" ||
    { echo "recording: the session's settings were not kept"; status=1; }
fi

# 3. A hang-up with the window idle.
new_home
run_case idle HUP 3
exit $status
