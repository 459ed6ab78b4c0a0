#!/usr/bin/env bash
# Builds the camera SDK, its command-line tools and their tests with AddressSanitizer and
# UndefinedBehaviorSanitizer (no GUI, no benchmarks) into ./build-asan, and runs those tests.
# Any memory error, leak or undefined behaviour fails the run. CI runs it after test.sh; on a
# 2-core machine a first build takes about 10 minutes, the tests under 2.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
if [ ! -f build-asan/build.ninja ]; then
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQV_SANITIZE=address \
    -DQV_BUILD_GUI=OFF -DQV_BUILD_BENCH=OFF
fi
cmake --build build-asan
cd build-asan
ctest --output-on-failure "$@"
