#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the whole test suite under ctest.
# GUI tests run offscreen; screenshot checks run under xvfb-run.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
./scripts/build.sh
cd build
# One test at a time: the camera and playback tests run in real time and must not compete
# with each other for the CPU.
ctest --output-on-failure "$@"
