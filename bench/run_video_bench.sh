#!/usr/bin/env bash
# Runs the video and fusion benchmarks and prints one table against their targets.
#   bench/run_video_bench.sh [BUILD_DIR]      (default: build)
# Environment: QV_BENCH_EXPORT_S (length of the generated 1280x720 recordings, default 2 s).
# Run it when the machine is otherwise idle-ish: the table shows the load average it saw. The
# export line also gives the rate two idle cores would reach (the process's CPU time over two),
# which is what a busy shared machine hides.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
bin=$build/bin
[ -x "$bin/qv-bench-video" ] || { echo "run_video_bench: $bin/qv-bench-video is missing; build first" >&2; exit 1; }
work=$(mktemp -d /tmp/qv-bench-video-table-XXXXXX)
trap 'rm -rf "$work"' EXIT
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
"$bin/qv-bench-video" --benchmark_format=json > "$work/video.json"
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

python3 - "$work/video.json" "$load_before" "$load_after" <<'PY'
import json, sys
runs = {b["run_name"]: b for b in json.load(open(sys.argv[1]))["benchmarks"]}
def r(name): return next(v for k, v in runs.items() if k.startswith(name))
def ms(b): return b["real_time"] * {"ms": 1, "us": 1e-3, "s": 1e3, "ns": 1e-6}[b["time_unit"]]
e0, e1 = r("BM_Export/0"), r("BM_Export/1")
rows = [
    ("mapApsToDvs 1920x1080 -> 1280x720, scale", f'{ms(r("BM_MapApsToDvs/0")):.2f} ms', "<= 3 ms"),
    ("mapApsToDvs 1920x1080 -> 1280x720, scale+rotation", f'{ms(r("BM_MapApsToDvs/1")):.2f} ms', "<= 3 ms"),
    ("Fusion alignment per frame (20 M ev/s, 30 fps)", f'{ms(r("BM_FusionAlignPerFrame")):.3f} ms '
     f'({r("BM_FusionAlignPerFrame")["events/frame"]/1e3:.0f} k ev/frame)', "< 1 ms"),
    ("APS read 1280x720 H.264 incl. BGR conversion", f'{r("BM_ApsRead")["frames/s"]:.0f} frames/s', ">= 200 frames/s"),
    ("MP4 export 1280x720, constant 20 M ev/s", f'{e0["x_realtime"]:.2f}x real time '
     f'(two idle cores: {e0["x_realtime_idle2"]:.1f}x, CPU {e0["cpu_s"]:.2f} s)', ">= 4x"),
    ("MP4 export 1280x720, 20 M / 0.2 M ev/s periods", f'{e1["x_realtime"]:.2f}x real time '
     f'(two idle cores: {e1["x_realtime_idle2"]:.1f}x, CPU {e1["cpu_s"]:.2f} s)', ">= 4x"),
]
w = max(len(a) for a, _, _ in rows)
print(f'{"benchmark":<{w}}  {"measured":<52}  target')
for a, b, c in rows:
    print(f"{a:<{w}}  {b:<52}  {c}")
print(f"load average before: {sys.argv[2]}, after: {sys.argv[3]}")
PY
