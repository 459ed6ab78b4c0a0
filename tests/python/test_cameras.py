"""quorvel.cameras() and quorvel.Camera on the SDK's simulated camera: streaming into arrays,
tool parameters by name acting on the events, and recordings the reader reads back."""

import json
import time

import numpy as np
import pytest

import quorvel
from conftest import cli

SIM = "QVSIM-DVS-0001"


def test_the_camera_list_is_the_clis():
    listed = quorvel.cameras()
    assert listed == json.loads(cli("cameras", "--json"))
    assert SIM in [c["serial"] for c in listed]
    with pytest.raises(RuntimeError, match="NO-SUCH-CAMERA"):
        quorvel.Camera("NO-SUCH-CAMERA")


def test_streamed_events_follow_the_region_of_interest():
    with quorvel.Camera(SIM) as cam:
        assert (cam.width, cam.height) == (640, 480)
        assert "ROI" in cam.tools() and "Biases" in cam.tools()
        cam.set("roi", "width", 200)
        cam.set("ROI", "height", 120)
        cam.set("ROI", "x", 100)
        cam.set("ROI", "y", 50)
        cam.set("ROI", "enable", True)
        assert (cam.get("ROI", "x"), cam.get("ROI", "enable")) == (100, True)
        cam.start()
        time.sleep(0.3)
        cam.get_events()  # what came before the region took effect
        time.sleep(0.3)
        ev = cam.get_events()
        cam.stop()
        assert ev.dtype == quorvel.EVENT_DTYPE and len(ev) > 100
        assert np.all(np.diff(ev["t"].astype(np.int64)) >= 0)
        assert ev["x"].min() >= 100 and ev["x"].max() < 300
        assert ev["y"].min() >= 50 and ev["y"].max() < 170
        cam.set("ROI", "enable", False)


def test_parameters_are_checked_by_name_type_and_range():
    with quorvel.Camera(SIM) as cam:
        params = cam.params("Biases")
        assert params["bias_diff_on"]["type"] == "int"
        hi = params["bias_diff_on"]["max"]
        cam.set("Biases", "bias_diff_on", hi)
        assert cam.get("Biases", "bias_diff_on") == hi
        with pytest.raises(ValueError, match=str(hi)):
            cam.set("Biases", "bias_diff_on", hi + 1)
        assert cam.get("Biases", "bias_diff_on") == hi
        cam.set("Biases", "bias_diff_on", params["bias_diff_on"]["default"])
        with pytest.raises(TypeError):
            cam.set("Biases", "bias_diff_on", "high")
        cam.set("Anti Flicker", "mode", "band_pass")
        assert cam.get("AntiFlicker", "mode") == "band_pass"
        with pytest.raises(ValueError, match="band_stop"):
            cam.set("AntiFlicker", "mode", "notch")
        cam.set("AntiFlicker", "mode", "band_stop")
        with pytest.raises(KeyError, match="no tool"):
            cam.get("Shutter", "speed")
        with pytest.raises(KeyError, match="no parameter"):
            cam.get("Biases", "bias_nothing")


def test_a_recording_holds_what_the_camera_says_it_wrote(tmp_path):
    path = str(tmp_path / "cam.raw")
    with quorvel.Camera(SIM) as cam:
        written = cam.record(path, 0.4)
        assert not cam.is_streaming, "record() stops a camera it started"
    assert written > 1000
    with quorvel.open(path) as rec:
        assert rec.info["events"] == written
        ev = rec.read()
        assert len(ev) == written and ev["x"].max() < 640 and ev["y"].max() < 480


def test_a_replayed_recording_streams_its_own_events(written, monkeypatch):
    path, ev = written(300_000, name="walk.raw", width=320, height=240)
    monkeypatch.setenv("QUORVEL_REPLAY", path)
    entry = next(c for c in quorvel.cameras() if c["serial"] == "REPLAY_walk")
    assert (entry["width"], entry["height"]) == (320, 240)
    with quorvel.Camera("REPLAY_walk") as cam:
        with pytest.raises(KeyError, match="no tool 'Biases'"):
            cam.get("Biases", "bias_fo")
        cam.start()
        time.sleep(0.3)
        got = cam.get_events()
        cam.stop()
    assert len(got) > 1000
    pixels = set(zip(ev["x"].tolist(), ev["y"].tolist(), ev["p"].tolist()))
    assert set(zip(got["x"].tolist(), got["y"].tolist(), got["p"].tolist())) <= pixels
