#!/usr/bin/env bash
# The frameless main window under a real window manager (openbox on a private X server), driven
# with real pointer events: a double-click on the title bar maximises and a second one restores,
# dragging a corner resizes it, and dragging the title bar moves it. The offscreen tests cannot
# see this, because there the window manager never takes the pointer.
# usage: frame_under_window_manager.sh PATH/TO/QuorvelView
set -euo pipefail
exe=$1
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT

run() {
  export HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share"
  export QT_QPA_PLATFORM=xcb
  openbox --sm-disable >"$home/wm.log" 2>&1 &
  wm=$!
  "$exe" >"$home/app.log" 2>&1 &
  pid=$!
  # Both still write into the home folder as they end (the window saves its settings): wait for
  # them, or removing the folder races with them.
  trap 'kill $pid $wm 2>/dev/null || true; wait $pid $wm 2>/dev/null || true' EXIT
  fail() { echo "$1"; echo "--- application log:"; cat "$home/app.log"; exit 1; }
  geometry() { eval "$(xdotool getwindowgeometry --shell "$win")"; }
  # Waits up to 10 s for the window's width to pass the test given as $1 (e.g. "-gt 1440").
  wait_width() {
    for _ in $(seq 100); do
      geometry
      [ "$WIDTH" $1 ] && return 0
      sleep 0.1
    done
    return 1
  }
  win=""
  for _ in $(seq 150); do
    for w in $(xdotool search --name '^QuorvelView$' 2>/dev/null); do
      eval "$(xdotool getwindowgeometry --shell "$w")"
      [ "$WIDTH" -eq 1440 ] && win=$w
    done
    [ -n "$win" ] && break
    sleep 0.1
  done
  [ -n "$win" ] || fail "no main window after 15 s"
  # Pointer events are only safe once the window manager has given the window the focus.
  for _ in $(seq 50); do
    [ "$(xdotool getwindowfocus 2>/dev/null)" = "$win" ] && break
    sleep 0.1
  done
  sleep 0.3
  geometry
  # An empty spot of the title bar: right of the menus, left of the window buttons.
  tx=$((X + 700)) ty=$((Y + 20))

  xdotool mousemove "$tx" "$ty" click --repeat 2 --delay 80 1
  wait_width "-gt 1440" || fail "double-click on the title bar did not maximise (width $WIDTH)"
  xdotool mousemove 700 20 click --repeat 2 --delay 80 1
  wait_width "-eq 1440" || fail "second double-click did not restore (width $WIDTH)"

  # The bottom-right corner resizes.
  geometry
  xdotool mousemove $((X + WIDTH - 2)) $((Y + HEIGHT - 2)) mousedown 1
  for _ in $(seq 10); do xdotool mousemove_relative -- -10 -6; sleep 0.05; done
  xdotool mouseup 1
  wait_width "-le 1380" || fail "dragging the bottom-right corner by (-100, -60) left the width at $WIDTH"
  [ "$HEIGHT" -le 870 ] || fail "dragging the bottom-right corner by (-100, -60) left the height at $HEIGHT"

  geometry
  x0=$X y0=$Y
  xdotool mousemove $((X + 700)) $((Y + 20)) mousedown 1
  for _ in $(seq 10); do xdotool mousemove_relative -- 12 8; sleep 0.05; done
  xdotool mouseup 1
  for _ in $(seq 50); do
    geometry
    [ $((X - x0)) -ge 60 ] && [ $((Y - y0)) -ge 40 ] && exit 0
    sleep 0.1
  done
  fail "dragging the title bar by (120, 80) moved the window from ($x0, $y0) to ($X, $Y)"
}
xvfb-run -a -s "-screen 0 1600x1000x24" bash -c "$(declare -f run); exe='$exe' home='$home' run"
