"""Recording.chunks(): the events of read() cut into counts or time windows, in one reused buffer."""

import numpy as np
import pytest

import quorvel
from conftest import as_rows, cli_dump


def data_address(a):
    return a.__array_interface__["data"][0]


def test_counted_chunks_cover_the_range_and_reuse_their_memory(written):
    path, ev = written(250_000)
    t = ev["t"]
    with quorvel.open(path) as rec:
        chunks = rec.chunks(n_events=60_000)
        first = next(chunks)
        kept = first.copy()
        address = data_address(first)
        second = next(chunks)
        assert data_address(second) == address, "the next chunk is written into the same memory"
        np.testing.assert_array_equal(first, ev[60_000:120_000])  # the old view now shows the new events
        np.testing.assert_array_equal(kept, ev[:60_000])  # a copy keeps its own
        rest = [second.copy()] + [c.copy() for c in chunks]
        assert [len(c) for c in rest] == [60_000, 60_000, 60_000, 10_000]
        np.testing.assert_array_equal(np.concatenate([kept] + rest), ev)
        # A range, and chunk sizes below and above what one payload word holds.
        a, b = int(t[1234]), int(t[200_000])
        for n in (1, 7, 100_000):
            got = np.concatenate([c.copy() for c in rec.chunks(n_events=n, start_us=a, end_us=b)])
            np.testing.assert_array_equal(as_rows(got), cli_dump(path, a, b - a))


def test_time_windows_hold_their_events_and_quiet_windows_are_empty(written):
    path, ev = written(120_000, gap_at=60_000, gap_us=50_000)
    t = ev["t"]
    with quorvel.open(path) as rec:
        windows = [c.copy() for c in rec.chunks(duration_us=7_000)]
        start = int(t[0])
        for i, w in enumerate(windows):
            lo, hi = start + i * 7_000, start + (i + 1) * 7_000
            np.testing.assert_array_equal(w, ev[(t >= lo) & (t < hi)])
        assert sum(len(w) == 0 for w in windows) >= 6, "the 50 ms gap shows as empty windows"
        assert start + len(windows) * 7_000 > t[-1] >= start + (len(windows) - 1) * 7_000
        # Windows from a given start up to a given end; the last one is cut at the end.
        a, b = int(t[10_000]) + 3, int(t[100_000])
        got = [c.copy() for c in rec.chunks(duration_us=10_000, start_us=a, end_us=b)]
        np.testing.assert_array_equal(np.concatenate(got), ev[(t >= a) & (t < b)])
        assert len(got) == -(-(b - a) // 10_000)
        # A window holding more events than the first buffer: the buffer grows.
        big = list(rec.chunks(duration_us=int(t[-1] - t[0]) + 1))
        assert len(big) == 1 and len(big[0]) == len(ev)


def test_chunk_arguments_are_checked(written):
    path, _ = written(1000)
    with quorvel.open(path) as rec:
        with pytest.raises(TypeError):
            rec.chunks()
        with pytest.raises(TypeError):
            rec.chunks(n_events=10, duration_us=10)
        with pytest.raises(ValueError):
            rec.chunks(n_events=0)
        with pytest.raises(ValueError):
            rec.chunks(duration_us=10, start_us=100, end_us=50)


def test_memory_stays_flat_over_the_whole_file(written):
    path, ev = written(3_000_000)

    def rss_kb():
        with open("/proc/self/status") as f:
            return next(int(line.split()[1]) for line in f if line.startswith("VmRSS:"))

    with quorvel.open(path) as rec:
        samples = []
        total = 0
        for i, c in enumerate(rec.chunks(n_events=50_000)):
            total += int(c["p"].sum())
            if i >= 2:
                samples.append(rss_kb())
    assert total == int(ev["p"].sum())
    # 60 chunks of 0.8 MB each: holding them would add 48 MB.
    assert max(samples) - min(samples) < 8 * 1024
