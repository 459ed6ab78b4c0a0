#!/usr/bin/env bash
# Runs the virtual camera benchmarks and prints one table against the targets.
#   bench/run_camera_bench.sh [BUILD_DIR]      (default: build)
# Environment: QV_BENCH_DIR (where the recording benchmark writes; default /tmp).
# The machine's load average is printed: other work on the cores lowers the wall-clock figures,
# while the per-CPU-second figures stay comparable.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
bin=$build/bin/qv-bench-cameras
[ -x "$bin" ] || { echo "run_camera_bench: $bin is missing; build first" >&2; exit 1; }
out=$(mktemp /tmp/qv-camera-bench-XXXXXX.json)
trap 'rm -f "$out"' EXIT
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
"$bin" --benchmark_format=json > "$out"
load_after=$(cut -d' ' -f1-3 /proc/loadavg)
python3 - "$out" "$load_before" "$load_after" <<'PY'
import json, sys
b = {x["run_name"].split("/")[0]: x for x in json.load(open(sys.argv[1]))["benchmarks"]}
def m(name, key="items_per_second"): return b[name][key] / 1e6
rows = [
    ("Simulated sensor, busy scene 640x480 (one core)", f'{m("BM_SensorBusy640"):.1f} M ev/s', ">= 30 M ev/s"),
    ("  its scene's own event rate", f'{b["BM_SensorBusy640"]["scene_Mev_per_s"]:.1f} M ev/s of sensor time', "-"),
    ("Simulated sensor, busy scene 1280x720 (one core)", f'{m("BM_SensorBusy1280"):.1f} M ev/s', "-"),
    ("Simulated sensor, default scene 640x480", f'{m("BM_SensorDefault640"):.1f} M ev/s, {b["BM_SensorDefault640"]["realtime_x"]:.1f}x real time', "-"),
    ("Simulated sensor, default scene 1280x720", f'{m("BM_SensorDefault1280"):.1f} M ev/s, {b["BM_SensorDefault1280"]["realtime_x"]:.1f}x real time', "-"),
    ("Stress source", f'{m("BM_StressSource"):.0f} M ev/s', ">= 100 M ev/s"),
    ("Record stress source to .raw (wall clock)", f'{m("BM_RecordStress"):.1f} M ev/s', ">= 100 M ev/s"),
    ("  per CPU second, both threads", f'{b["BM_RecordStress"]["Mev_per_cpu_s"]:.1f} M ev/s', "-"),
    ("  events lost", f'{int(b["BM_RecordStress"]["lost"])}', "0"),
    ("  file size", f'{b["BM_RecordStress"]["bytes_per_event"]:.2f} bytes/event', "-"),
]
w = max(len(r[0]) for r in rows)
print(f'{"measure":<{w}}  {"result":<40}  target')
for r in rows:
    print(f'{r[0]:<{w}}  {r[1]:<40}  {r[2]}')
print(f"load average before: {sys.argv[2]}, after: {sys.argv[3]}")
PY
