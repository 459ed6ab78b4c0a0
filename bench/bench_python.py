#!/usr/bin/python3
"""Benchmark of the quorvel Python module on a 1 GB EVT 3.0 recording; prints one table.

    bench/bench_python.py [--build build] [--file REC.raw] [--reps 3] [--cold-wait 15]

Rows:
  - iterating the file in 1 M-event chunks, against build/bin/qv-bench-decode on the same file
    (both with the file in the page cache, best of three passes);
  - reading the whole file into one array, end to end (open + read), in a fresh process per run,
    with the pages of the array chosen by measurement (default), forced huge or forced small
    (QUORVEL_HUGE_PAGES). "cold": after --cold-wait seconds of rest, when a virtual machine has
    handed freed memory back to its host; "warm": right after another read of the same size
    freed its array;
  - the resident memory of the chunk iterator over the whole file.

Without --file a 1 GB recording shaped like a busy street scene is made with qv-bench-make in a
temporary folder, removed at the end; the seek index goes to a temporary cache folder too.
Run it on an otherwise idle machine: the load average is printed with the table.
"""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time


def load():
    with open("/proc/loadavg") as f:
        return " ".join(f.read().split()[:3])


def rss_kb():
    with open("/proc/self/status") as f:
        return next(int(line.split()[1]) for line in f if line.startswith("VmRSS:"))


def child(args):
    """One measurement in this (fresh) process; prints a JSON object."""
    import quorvel

    if args.child == "read":
        if args.warm:  # a read of the same size first, whose freed memory the measured one reuses
            with quorvel.open(args.file) as rec:
                rec.read()
        t0 = time.perf_counter()
        with quorvel.open(args.file) as rec:
            events = rec.read()
        seconds = time.perf_counter() - t0
        print(json.dumps({"events": len(events), "seconds": seconds, "pages": quorvel._last_page_choice()}))
    elif args.child == "chunks":
        best, rss = 0.0, []
        for _ in range(3):
            t0 = time.perf_counter()
            n = 0
            with quorvel.open(args.file) as rec:
                for chunk in rec.chunks(n_events=1_000_000):
                    n += len(chunk)
                    rss.append(rss_kb())
            best = max(best, n / (time.perf_counter() - t0))
        print(json.dumps({"events": n, "rate": best, "rss_min": min(rss[2:]), "rss_max": max(rss[2:])}))


def interpreter(build):
    """The Python the module was built for (from the build's cache), whatever python3 ran this."""
    try:
        with open(os.path.join(build, "CMakeCache.txt")) as f:
            for line in f:
                if line.startswith("QV_PYTHON_EXECUTABLE:INTERNAL="):
                    return line.split("=", 1)[1].strip()
    except OSError:
        pass
    return sys.executable


def run_child(py, script_args, env):
    out = subprocess.run([py, __file__, *script_args], env=env, check=True, capture_output=True,
                         text=True).stdout
    return json.loads(out.strip().splitlines()[-1])


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--build", default="build", help="build folder (default: build)")
    ap.add_argument("--file", help="an EVT 3.0 recording (default: a 1 GB busy-scene file made here)")
    ap.add_argument("--reps", type=int, default=3, help="runs per whole-file row (default 3)")
    ap.add_argument("--cold-wait", type=float, default=15, help="seconds of rest before a cold run (default 15)")
    ap.add_argument("--child", choices=["read", "chunks"], help=argparse.SUPPRESS)
    ap.add_argument("--warm", action="store_true", help=argparse.SUPPRESS)
    args = ap.parse_args()
    if args.child:
        return child(args)

    build = os.path.abspath(args.build)
    py = interpreter(build)
    work = tempfile.mkdtemp(prefix="quorvel-bench-")
    try:
        env = dict(os.environ)
        env["PYTHONPATH"] = os.path.join(build, "python") + os.pathsep + env.get("PYTHONPATH", "")
        env["XDG_CACHE_HOME"] = os.path.join(work, "cache")
        env.pop("QUORVEL_HUGE_PAGES", None)
        path = args.file
        if not path:
            path = os.path.join(work, "busy.raw")
            subprocess.run([os.path.join(build, "bin", "qv-bench-make"), "busy", path, "1024"], check=True,
                           stdout=subprocess.DEVNULL)
        print(f"file: {path} ({os.path.getsize(path) / 2**30:.2f} GiB); load average before: {load()}")

        # The index, once (then loaded from the cache folder by every run below).
        t0 = time.perf_counter()
        subprocess.run([py, "-c", f"import quorvel; quorvel.open({path!r}).info"], env=env, check=True)
        index_s = time.perf_counter() - t0

        decode = subprocess.run([os.path.join(build, "bin", "qv-bench-decode"), path], check=True,
                                capture_output=True, text=True).stdout
        decode_rate = float(decode.split(",")[-1].split()[0]) * 1e6
        chunks = run_child(py, ["--child", "chunks", "--file", path], env)

        rows = []
        for state in ("cold", "warm"):
            for mode, label in (("auto", "measured"), ("1", "huge"), ("0", "small")):
                runs = []
                for _ in range(args.reps):
                    if state == "cold":
                        time.sleep(args.cold_wait)
                    e = dict(env, QUORVEL_HUGE_PAGES=mode)
                    extra = ["--warm"] if state == "warm" else []
                    runs.append(run_child(py, ["--child", "read", "--file", path, *extra], e))
                rates = sorted(r["events"] / r["seconds"] / 1e6 for r in runs)
                pages = runs[-1]["pages"]
                rows.append((state, label, rates, pages))
        events = chunks["events"]

        print(f"load average after: {load()}\n")
        print(f"| measurement | result |")
        print(f"|---|---|")
        print(f"| events in the file | {events:,} |")
        print(f"| qv-bench-decode | {decode_rate / 1e6:.1f} M events/s |")
        print(f"| chunks(n_events=1_000_000), best of 3 | {chunks['rate'] / 1e6:.1f} M events/s "
              f"({100 * chunks['rate'] / decode_rate:.0f} % of qv-bench-decode) |")
        print(f"| chunk iterator resident memory over the file | {chunks['rss_min'] / 1024:.0f} .. "
              f"{chunks['rss_max'] / 1024:.0f} MiB |")
        print(f"| index of the file (first open, then cached) | {index_s:.2f} s |")
        for state, label, rates, pages in rows:
            print(f"| read() whole file, {state}, {label} pages (median, min .. max of {len(rates)}) | "
                  f"{statistics.median(rates):.0f} M events/s ({rates[0]:.0f} .. {rates[-1]:.0f}); last run "
                  f"{pages['huge_mib']} MiB huge, {pages['small_mib']} MiB small |")
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
