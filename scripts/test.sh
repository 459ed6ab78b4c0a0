#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the whole test suite under ctest.
# GUI tests run offscreen; screenshot checks run under xvfb-run.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
./scripts/build.sh
cd build
ctest --output-on-failure -j"$(nproc)" "$@"
