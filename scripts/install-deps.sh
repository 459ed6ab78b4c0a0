#!/usr/bin/env bash
# Installs the Debian packages QuorvelView needs to build, run, test and benchmark.
# Idempotent: only packages that are missing are installed. Works as root (no sudo needed)
# or as a user with sudo.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config git dpkg-dev file
  qt6-base-dev qt6-base-dev-tools qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools
  qt6-svg-dev libqt6svg6 qt6-translations-l10n
  libgl-dev libxkbcommon-dev
  libavformat-dev libavcodec-dev libswscale-dev libavutil-dev
  nlohmann-json3-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  fonts-noto-cjk fonts-noto-cjk-extra python3-fonttools
  xvfb xauth x11-utils openbox xdotool
  clang libclang-rt-dev
  python3-dev pybind11-dev python3-numpy python3-pytest
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

if [ "$(id -u)" -eq 0 ]; then
  SUDO=()
else
  SUDO=(sudo)
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${SUDO[@]}" apt-get update -qq
"${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
