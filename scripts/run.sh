#!/usr/bin/env bash
# Installs what is missing, builds QuorvelView and starts it. Arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
./scripts/build.sh
exec ./build/bin/QuorvelView "$@"
