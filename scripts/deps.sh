#!/usr/bin/env bash
# Installs what building and testing qvflts needs on Debian 12, and nothing that is there already.
set -euo pipefail

packages=(
  g++ cmake ninja-build ccache pkg-config
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libpng-dev
  libavcodec-dev libavutil-dev libswscale-dev libswresample-dev
  ffmpeg mediainfo sox
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then SUDO=sudo; else SUDO=; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
