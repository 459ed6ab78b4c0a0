#!/usr/bin/env bash
# Configures (once) and builds QuorvelView into ./build with Ninja; extra arguments go to cmake.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ ! -f build/build.ninja ]; then
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
elif [ $# -gt 0 ]; then
  cmake -S . -B build "$@"
fi
cmake --build build
