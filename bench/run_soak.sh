#!/usr/bin/env bash
# Soak test of recording from an Ethernet camera: a camera daemon serves a fixed-rate stress camera
# on 127.0.0.91 and `quorvel record` records it for the whole run, as a user recording for a long
# time would. Samples the resident memory of both processes every second, then checks that the
# file decodes completely, and prints one table.
#
#   bench/run_soak.sh [BUILD_DIR] [--minutes N] [--rate EVENTS_PER_S] [--dir FOLDER] [--keep]
#
# Defaults: build, 10 minutes, 20000000 events/s, a new folder under ${TMPDIR:-/tmp} (removed at
# the end unless --keep). The recording needs about 4 bytes an event (48 GB for the defaults); the
# run refuses to start without that much free space. Goals: no event lost, memory flat after the
# first minute, the whole file decodes with no error. Run it on an otherwise idle machine: the
# load average at start and end is printed.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build minutes=10 rate=20000000 dir="" keep=0
while [ $# -gt 0 ]; do
  case "$1" in
    --minutes) minutes=$2; shift 2 ;;
    --rate) rate=$2; shift 2 ;;
    --dir) dir=$2; shift 2 ;;
    --keep) keep=1; shift ;;
    -h|--help) sed -n '2,14p' "$0"; exit 0 ;;
    -*) echo "run_soak: unknown option $1" >&2; exit 2 ;;
    *) build=$1; shift ;;
  esac
done
[[ "$minutes" =~ ^[0-9]+$ && "$minutes" -ge 1 ]] || { echo "run_soak: --minutes needs a whole number >= 1" >&2; exit 2; }
[[ "$rate" =~ ^[0-9]+$ && "$rate" -ge 1 ]] || { echo "run_soak: --rate needs events per second" >&2; exit 2; }
cli=$build/bin/quorvel camd=$build/bin/quorvel-camd
[ -x "$cli" ] && [ -x "$camd" ] || { echo "run_soak: $cli or $camd is missing; build first" >&2; exit 1; }

made_dir=0
if [ -z "$dir" ]; then
  dir=$(mktemp -d "${TMPDIR:-/tmp}/qv-soak-XXXXXX")
  made_dir=1
fi
mkdir -p "$dir"
seconds=$((minutes * 60))
need=$((seconds * rate * 4))
free=$(($(df --output=avail -k "$dir" | tail -1) * 1024))
if [ "$free" -lt "$need" ]; then
  echo "run_soak: $dir has $((free >> 30)) GB free, the recording needs about $((need >> 30)) GB" >&2
  [ $made_dir = 1 ] && rmdir "$dir"
  exit 1
fi

out=$dir/soak.raw samples=$dir/memory.tsv
camd_pid="" rec_pid=""
cleanup() {
  [ -n "$rec_pid" ] && kill "$rec_pid" 2>/dev/null || true
  [ -n "$camd_pid" ] && kill "$camd_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  if [ $keep = 0 ]; then
    rm -f "$out" "$samples" "$dir"/*.log
    rm -rf "$dir/cache"
    [ $made_dir = 1 ] && rmdir "$dir" 2>/dev/null || true
  fi
}
trap cleanup EXIT

rss_mb() { awk '/^VmRSS:/ { printf "%.1f", $2 / 1024 }' "/proc/$1/status" 2>/dev/null || echo "-"; }

load_before=$(cut -d' ' -f1-3 /proc/loadavg)
"$camd" --bind 127.0.0.91 --serial SOAK-1 --stress "$rate" 2> "$dir/camd.log" &
camd_pid=$!
sleep 0.5
QUORVEL_DISCOVERY_ADDRS=127.0.0.91 QUORVEL_VIRTUAL_CAMERAS=0 XDG_CACHE_HOME=$dir/cache \
  "$cli" record SOAK-1 "$out" --seconds "$seconds" --verbose > "$dir/record.log" 2> "$dir/record-progress.log" &
rec_pid=$!

# One line a second: elapsed seconds, daemon RSS, recorder RSS (MB).
: > "$samples"
t=0
while kill -0 "$rec_pid" 2>/dev/null; do
  sleep 1
  t=$((t + 1))
  printf '%d\t%s\t%s\n' "$t" "$(rss_mb "$camd_pid")" "$(rss_mb "$rec_pid")" >> "$samples"
done
rc=0
wait "$rec_pid" || rc=$?
rec_pid=""
load_after=$(cut -d' ' -f1-3 /proc/loadavg)
kill "$camd_pid" 2>/dev/null || true
wait "$camd_pid" 2>/dev/null || true
camd_pid=""

decode_start=$(date +%s%N)
info=$(XDG_CACHE_HOME=$dir/cache "$cli" info "$out" --json 2> "$dir/info.log") || info="{}"
decode_s=$(( ($(date +%s%N) - decode_start) / 1000000000 ))
file_bytes=$(stat -c %s "$out" 2>/dev/null || echo 0)

python3 - "$samples" "$dir/record.log" "$dir/record-progress.log" "$rc" "$info" "$decode_s" "$file_bytes" \
  "$minutes" "$rate" "$load_before" "$load_after" <<'PY'
import json, re, sys
samples_path, log_path, progress_path, rc, info, decode_s, file_bytes, minutes, rate, lb, la = sys.argv[1:]
rows = []
for line in open(samples_path):
    t, d, r = line.split("\t")
    if d.strip() != "-" and r.strip() != "-":
        rows.append((int(t), float(d), float(r)))
log = open(log_path).read()
progress = open(progress_path).read()
lost_by_second = {int(m.group(1)): int(m.group(2)) for m in re.finditer(r"(\d+) s recorded, (\d+) events lost", progress)}
print(f"soak: {minutes} min of recording a {int(rate)/1e6:.0f} M events/s camera daemon on 127.0.0.91")
print(f"{'minute':>6}  {'daemon RSS MB (min..max)':>24}  {'recorder RSS MB (min..max)':>26}  {'events lost so far':>18}")
for minute in range(1, int(minutes) + 1):
    sel = [r for r in rows if (minute - 1) * 60 < r[0] <= minute * 60]
    if not sel:
        continue
    lost = max([v for s, v in lost_by_second.items() if s <= minute * 60] or [0])
    d = [r[1] for r in sel]; rr = [r[2] for r in sel]
    print(f"{minute:>6}  {min(d):>11.1f} .. {max(d):>9.1f}  {min(rr):>12.1f} .. {max(rr):>10.1f}  {lost:>18}")
m = re.search(r"wrote (\d+) events", log)
written = int(m.group(1)) if m else None
m = re.search(r"lost: (\d+) events, (\d+) packets", log)
lost, packets = (int(m.group(1)), int(m.group(2))) if m else (None, None)
try:
    j = json.loads(info)
except ValueError:
    j = {}
print(f"record exit code: {rc}")
print(f"events written: {written}, lost: {lost} events in {packets} packets (goal: 0)")
for g in re.findall(r"^  gap .*$", log, re.M)[:10]:
    print(g)
events, errors = j.get("events"), j.get("errors")
ok = events is not None and events == written and errors == 0
print(f"file: {int(file_bytes)/1e9:.1f} GB, decodes to {events} events with {errors} errors in {float(decode_s):.0f} s "
      f"({'complete' if ok else 'NOT complete: ' + info[:200]})")
after = [r for r in rows if r[0] > 60]
first = [r for r in rows if r[0] <= 60]
if after and first:
    d0, r0 = first[-1][1], first[-1][2]
    print(f"memory after the first minute (from {d0:.0f} / {r0:.0f} MB): daemon {min(r[1] for r in after) - d0:+.1f} .. "
          f"{max(r[1] for r in after) - d0:+.1f} MB, recorder {min(r[2] for r in after) - r0:+.1f} .. "
          f"{max(r[2] for r in after) - r0:+.1f} MB (goal: flat)")
print(f"load average before: {lb}, after: {la}")
PY
