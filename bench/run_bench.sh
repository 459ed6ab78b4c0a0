#!/usr/bin/env bash
# Runs the benchmark programs and prints one table against the targets of the RAW engine.
#   bench/run_bench.sh [BUILD_DIR]      (default: build)
# Environment: QV_BENCH_GB (size of the generated recording, default 4), QV_BENCH_DIR (where to
# put it; default a new folder under /tmp, deleted at the end).
# Run it when the machine is otherwise idle-ish: the table shows the load average it saw.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
bin=$build/bin
for p in qv-bench-codec qv-bench-file qv-bench-decode quorvel; do
  [ -x "$bin/$p" ] || { echo "run_bench: $bin/$p is missing; build first" >&2; exit 1; }
done
work=${QV_BENCH_DIR:-$(mktemp -d /tmp/qv-bench-XXXXXX)}
mkdir -p "$work"
trap 'rm -rf "$work"' EXIT
export XDG_CACHE_HOME=$work/cache
load_before=$(cut -d' ' -f1-3 /proc/loadavg)

"$bin/qv-bench-codec" --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
  --benchmark_format=json > "$work/codec.json"
QV_BENCH_DIR=$work QV_BENCH_KEEP=1 "$bin/qv-bench-file" --benchmark_format=json > "$work/file.json"

# `quorvel info` as a user runs it, on the indexed recording (best of 3 runs).
info_ms=$(python3 - "$bin/quorvel" "$work/big.raw" <<'PY'
import subprocess, sys, time
best = 1e9
for _ in range(3):
    t = time.perf_counter()
    subprocess.run([sys.argv[1], "info", sys.argv[2]], check=True, stdout=subprocess.DEVNULL)
    best = min(best, (time.perf_counter() - t) * 1e3)
print(f"{best:.1f}")
PY
)
decode_line=$("$bin/qv-bench-decode" "$work/big.raw")
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

python3 - "$work/codec.json" "$work/file.json" "$info_ms" "$decode_line" "$load_before" "$load_after" <<'PY'
import json, sys
codec = {b["run_name"]: b for b in json.load(open(sys.argv[1]))["benchmarks"] if b.get("aggregate_name") == "median"}
files = {b["run_name"]: b for b in json.load(open(sys.argv[2]))["benchmarks"]}
def c(name): return next(v for k, v in codec.items() if k.startswith(name))
def f(name): return next(v for k, v in files.items() if k.startswith(name))
rows = [
    ("Decode EVT 3.0 into Event2D batches", f'{c("BM_DecodeEvt3")["items_per_second"]/1e6:.0f} M ev/s', ">= 450 M ev/s"),
    ("Decode EVT 2.0 into Event2D batches", f'{c("BM_DecodeEvt2")["items_per_second"]/1e6:.0f} M ev/s', ">= 700 M ev/s"),
    ("Decode EVT 2.1 into Event2D batches", f'{c("BM_DecodeEvt21")["items_per_second"]/1e6:.0f} M ev/s', "-"),
    ("Encode EVT 3.0 (writer)", f'{c("BM_EncodeEvt3")["items_per_second"]/1e6:.0f} M ev/s', ">= 150 M ev/s"),
    ("Count EVT 3.0 in memory (index core)", f'{c("BM_CountEvt3")["bytes_per_second"]/1e6:.0f} MB/s', "-"),
    ("Index build, %.1f GB EVT 3.0 from page cache" % f("BM_IndexBuild")["file_GB"],
     f'{f("BM_IndexBuild")["bytes_per_second"]/1e6:.0f} MB/s wall, '
     f'{f("BM_IndexBuild")["file_GB"]*1e3/(f("BM_IndexBuild")["cpu_time"]/1e3):.0f} MB/s per CPU s', ">= 1000 MB/s"),
    ("First 33 ms frame of a never-seen file", f'{f("BM_FirstFrameNeverSeen")["real_time"]:.1f} ms', "<= 300 ms"),
    ("33 ms range read, indexed, mean / max", f'{f("BM_Range33msIndexed")["real_time"]:.2f} / {f("BM_Range33msIndexed")["max_ms"]:.2f} ms '
     f'({f("BM_Range33msIndexed")["events_per_frame"]/1e3:.0f} k ev/frame)', "<= 5 ms"),
    ("  first range read after opening", f'{f("BM_Range33msIndexed")["first_ms"]:.1f} ms', "-"),
    ("Cut 5 s out of a 1 GB recording", f'{f("BM_Cut5sOf1GB")["real_time"]:.0f} ms ({f("BM_Cut5sOf1GB")["cut_MB"]:.0f} MB out)', "< 500 ms"),
    ("Open indexed file + counts (in process)", f'{f("BM_InfoIndexed")["real_time"]:.1f} ms', "-"),
    ("`quorvel info` on the indexed file", f'{float(sys.argv[3]):.0f} ms', "at once"),
    ("qv-bench-decode on the generated file", sys.argv[4].split(", ")[-1], "-"),
]
w = max(len(r[0]) for r in rows)
print(f'{"measure".ljust(w)} | {"result".ljust(40)} | target')
print("-" * (w + 60))
for r in rows:
    print(f"{r[0].ljust(w)} | {r[1].ljust(40)} | {r[2]}")
print(f"\nload average before: {sys.argv[5]}, after: {sys.argv[6]} ({__import__('os').cpu_count()} cores)")
print("Codec rows use CPU time; file rows use wall time, which other work on the machine inflates.")
PY
