"""quorvel.open(): the same events, counts and errors as the CLI, on real third-party recordings
and on recordings the module wrote."""

import os
import sys
import threading

import numpy as np
import pytest

import quorvel
from conftest import SAMPLE_FILES, as_rows, cli_dump, cli_info, sample, synthetic_events


@pytest.mark.parametrize("name", SAMPLE_FILES)
def test_real_samples_read_as_the_cli_dumps_them(name):
    path = sample(name)
    with quorvel.open(path) as rec:
        assert rec.info == cli_info(path)
        events = rec.read()
        assert events.dtype == quorvel.EVENT_DTYPE
        np.testing.assert_array_equal(as_rows(events), cli_dump(path))
        # Windows that start and end on event times, where off-by-one errors show.
        t = events["t"]
        for a, b in [(0, len(t) // 3), (len(t) // 4, len(t) // 2), (len(t) - 5, len(t) - 1)]:
            start, end = int(t[a]), int(t[b])
            np.testing.assert_array_equal(as_rows(rec.read(start, end)), cli_dump(path, start, end - start))
        assert len(rec.read(int(t[-1]) + 1)) == 0


def test_written_recording_reads_back_with_its_triggers(tmp_path):
    ev = synthetic_events(300_000)
    t = ev["t"]
    trig = np.zeros(3, dtype=quorvel.TRIGGER_DTYPE)
    trig["t"] = [t[10], t[1000], t[-1]]
    trig["p"] = [1, 0, 1]
    trig["id"] = [0, 0, 1]
    path = str(tmp_path / "rec.raw")
    assert quorvel.write(path, ev, 640, 480, triggers=trig) == len(ev)
    with quorvel.open(path) as rec:
        got = rec.read()
        np.testing.assert_array_equal(got, ev)
        np.testing.assert_array_equal(as_rows(got), cli_dump(path))
        np.testing.assert_array_equal(rec.triggers(), trig)
        info = rec.info
        assert info == cli_info(path)
        assert (info["events"], info["triggers"], info["first_ts"], info["last_ts"]) == (len(ev), 3, t[0], t[-1])
        assert (rec.format, rec.width, rec.height) == ("EVT3", 640, 480)
        mid = int(t[len(t) // 2])
        np.testing.assert_array_equal(rec.read(mid, mid + 500), ev[(t >= mid) & (t < mid + 500)])


def test_errors_are_python_exceptions_with_the_sdks_message(tmp_path, written):
    with pytest.raises(FileNotFoundError, match="cannot open"):
        quorvel.open(str(tmp_path / "missing.raw"))
    with pytest.raises(IsADirectoryError, match="not a regular file"):
        quorvel.open(str(tmp_path))
    text = tmp_path / "notes.raw"
    text.write_text("these are not events\n" * 100)
    with pytest.raises(ValueError):
        quorvel.open(str(text))
    path, ev = written(1000)
    rec = quorvel.open(path)
    with pytest.raises(ValueError, match="before start_us"):
        rec.read(200, 100)
    with pytest.raises(TypeError):
        rec.read(-5)
    rec.close()
    with pytest.raises(ValueError, match="closed"):
        rec.read()


def test_cut_keeps_the_range_with_both_ends(tmp_path, written):
    path, ev = written(100_000)
    t = ev["t"]
    a, b = int(t[20_000]), int(t[60_000])
    out = str(tmp_path / "cut.raw")
    with quorvel.open(path) as rec:
        rec.cut(out, a, b)
        with pytest.raises(ValueError):
            rec.cut(str(tmp_path / "bad.raw"), b, a)
    assert not os.path.exists(tmp_path / "bad.raw")
    np.testing.assert_array_equal(quorvel.open(out).read(), ev[(t >= a) & (t <= b)])


def test_a_second_thread_runs_while_a_large_read_decodes(written):
    path, ev = written(4_000_000)
    rec = quorvel.open(path)
    rec.read()  # the index is built; what follows is decoding only
    ticks = 0
    stop = False
    started = threading.Event()

    def spin():
        nonlocal ticks
        started.set()
        while not stop:
            ticks += 1

    # A long switch interval: with the GIL held, the spinning thread could not run during read().
    old = sys.getswitchinterval()
    sys.setswitchinterval(0.5)
    try:
        worker = threading.Thread(target=spin)
        worker.start()
        started.wait()
        for _ in range(3):
            before = ticks
            got = rec.read()
            during = ticks - before
            if during:
                break
        stop = True
        worker.join()
    finally:
        sys.setswitchinterval(old)
    assert len(got) == len(ev)
    assert during > 0, "the spinning thread never ran while read() decoded"


def _process_usage():
    with open("/proc/self/status") as f:
        status = dict(line.split(":", 1) for line in f)
    kb = lambda key: int(status[key].split()[0])  # noqa: E731
    return kb("VmSize"), kb("VmRSS"), len(os.listdir("/proc/self/fd"))


def test_nothing_leaks_over_repeated_opens(written):
    path, ev = written(300_000)

    def cycle():
        with quorvel.open(path) as rec:
            a = rec.read()
            n = sum(len(c) for c in rec.chunks(n_events=70_000))
            m = sum(len(c) for c in rec.chunks(duration_us=20_000))
            rec.triggers()
            assert len(a) == n == m == len(ev)

    for _ in range(5):
        cycle()
    size0, rss0, fds0 = _process_usage()
    for _ in range(60):
        cycle()
    size1, rss1, fds1 = _process_usage()
    assert fds1 == fds0, "file descriptors leak"
    # Every read reserves address space for its array: a buffer never unmapped would show here.
    assert size1 - size0 < 16 * 1024, f"address space grew by {size1 - size0} kB"
    assert rss1 - rss0 < 16 * 1024, f"resident memory grew by {rss1 - rss0} kB"
