"""Shared fixtures of the quorvel module tests: a private cache folder, the CLI to compare with,
the shared third-party samples, and recordings written by the module itself."""

import atexit
import json
import os
import shutil
import subprocess
import tempfile

import numpy as np
import pytest

# Seek indexes go to a cache folder of the tests' own, never the user's.
os.environ["XDG_CACHE_HOME"] = tempfile.mkdtemp(prefix="quorvel-pytest-cache-")
atexit.register(shutil.rmtree, os.environ["XDG_CACHE_HOME"], True)

import quorvel  # noqa: E402  (after the cache folder is set)

CLI = os.environ.get("QUORVEL_CLI", "")
SAMPLES = os.environ.get("QUORVEL_SAMPLES_DIR", "")
SAMPLE_FILES = ["evt2_sample.raw", "evt3_test_pedestrians.raw", "ncars_sample.dat"]


def cli(*args):
    """Runs the quorvel CLI and returns its standard output."""
    if not CLI:
        pytest.skip("QUORVEL_CLI is not set (run the tests through ctest)")
    return subprocess.run([CLI, *map(str, args)], check=True, capture_output=True, text=True).stdout


def cli_dump(path, from_us=None, duration_us=None):
    """The events `quorvel dump` prints, as an (n, 4) array of t, x, y, p."""
    args = ["dump", path]
    if from_us is not None:
        args += ["--from-us", from_us]
    if duration_us is not None:
        args += ["--duration-us", duration_us]
    text = cli(*args)
    if not text:
        return np.zeros((0, 4), dtype=np.uint64)
    return np.array([line.split(",") for line in text.splitlines()], dtype=np.uint64)


def cli_info(path):
    return json.loads(cli("info", path, "--json"))


def as_rows(events):
    """A structured event array as an (n, 4) array of t, x, y, p, for comparing with the CLI."""
    return np.stack([events[f].astype(np.uint64) for f in "txyp"], axis=1).reshape(-1, 4)


def sample(name):
    path = os.path.join(SAMPLES, name)
    if not SAMPLES or not os.path.exists(path):
        pytest.skip(f"shared sample {name} not found (QUORVEL_SAMPLES_DIR={SAMPLES!r})")
    return path


def synthetic_events(n, width=640, height=480, seed=1, gap_at=None, gap_us=0):
    """Events shaped like a sensor's: bursts at the same microsecond, rows of neighbours, a quiet
    gap when asked for; times start far from zero."""
    rng = np.random.default_rng(seed)
    ev = np.zeros(n, dtype=quorvel.EVENT_DTYPE)
    steps = rng.choice([0, 0, 0, 1, 1, 2, 5, 40], size=n).astype(np.uint64)
    ev["t"] = 123_456_789 + np.cumsum(steps)
    if gap_at is not None:
        ev["t"][gap_at:] += np.uint64(gap_us)
    ev["x"] = rng.integers(0, width, n)
    ev["y"] = rng.integers(0, height, n)
    ev["p"] = rng.integers(0, 2, n)
    return ev


@pytest.fixture
def written(tmp_path):
    """A function writing synthetic events (and triggers) with quorvel.write; returns (path, events)."""

    def make(n=200_000, name="rec.raw", triggers=None, **kw):
        ev = synthetic_events(n, **kw)
        path = str(tmp_path / name)
        assert quorvel.write(path, ev, kw.get("width", 640), kw.get("height", 480), triggers=triggers) == n
        return path, ev

    return make
