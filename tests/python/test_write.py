"""quorvel.write(): EVT 3.0 from arrays of any integer types, refusing what a recording cannot hold."""

import os

import numpy as np
import pytest

import quorvel
from conftest import as_rows, cli_dump, synthetic_events


def test_arrays_of_any_layout_write_the_same_recording(tmp_path):
    ev = synthetic_events(50_000, width=1280, height=720)
    columns = (ev["t"].astype(np.int64), ev["x"].astype(np.int32), ev["y"].astype(np.uint64), ev["p"].astype(bool))
    packed = np.zeros(len(ev), dtype=[("p", "i1"), ("t", "<u8"), ("y", "<i4"), ("x", "<u2")])
    for f in "txyp":
        packed[f] = ev[f]
    strided = np.zeros(2 * len(ev), dtype=np.int64)[::2]
    strided[:] = ev["t"]
    table = np.stack([ev[f].astype(np.int64) for f in "txyp"], axis=1)  # rows t,x,y,p as the CLI dumps them
    for i, events in enumerate([ev, columns, packed, (strided, ev["x"], ev["y"], ev["p"]), table]):
        path = str(tmp_path / f"w{i}.raw")
        assert quorvel.write(path, events, 1280, 720, serial="SN-7") == len(ev)
        rec = quorvel.open(path)
        np.testing.assert_array_equal(rec.read(), ev)
        assert rec.info["serial"] == "SN-7"
    np.testing.assert_array_equal(as_rows(ev), cli_dump(str(tmp_path / "w0.raw")))
    # Triggers as separate arrays, without channel ids.
    path = str(tmp_path / "trig.raw")
    quorvel.write(path, ev, 1280, 720, triggers=(ev["t"][[5, 500]], np.array([1, 0])))
    assert quorvel.open(path).triggers().tolist() == [(int(ev["t"][5]), 1, 0), (int(ev["t"][500]), 0, 0)]


@pytest.mark.parametrize(
    "change, error, message",
    [
        (lambda e: e["t"].__setitem__(700, e["t"][700] - 100), ValueError, r"must not decrease: t\[700\]"),
        (lambda e: e["x"].__setitem__(3, 640), ValueError, "outside the 640x480 sensor"),
        (lambda e: e["p"].__setitem__(9, 2), ValueError, "polarity must be 0"),
    ],
)
def test_what_a_recording_cannot_hold_is_refused_and_leaves_no_file(tmp_path, change, error, message):
    ev = synthetic_events(200_000)
    change(ev)
    path = tmp_path / "bad.raw"
    with pytest.raises(error, match=message):
        quorvel.write(str(path), ev, 640, 480)
    assert os.listdir(tmp_path) == []


def test_bad_arguments(tmp_path):
    ev = synthetic_events(100)
    path = str(tmp_path / "x.raw")
    with pytest.raises(ValueError, match="negative"):
        quorvel.write(path, (ev["t"].astype(np.int64) - 200_000_000, ev["x"], ev["y"], ev["p"]), 640, 480)
    with pytest.raises(TypeError, match="integers"):
        quorvel.write(path, (ev["t"].astype(float), ev["x"], ev["y"], ev["p"]), 640, 480)
    with pytest.raises(ValueError, match="elements"):
        quorvel.write(path, (ev["t"], ev["x"][:50], ev["y"], ev["p"]), 640, 480)
    with pytest.raises(ValueError, match="field 'p'"):
        quorvel.write(path, np.zeros(3, dtype=[("t", "u8"), ("x", "u2"), ("y", "u2")]), 640, 480)
    with pytest.raises(ValueError, match="1 .. 2048"):
        quorvel.write(path, ev, 0, 480)
    with pytest.raises(ValueError, match="trigger times must not decrease"):
        quorvel.write(path, ev, 640, 480, triggers=(np.array([5, 3]), np.array([1, 0])))
    with pytest.raises(OSError, match="cannot write"):
        quorvel.write(str(tmp_path / "no" / "such" / "dir.raw"), ev, 640, 480)
    assert os.listdir(tmp_path) == []
