#!/usr/bin/env bash
# Installs what building and proving need, on Debian 12, as root or with sudo; with --browser also what the test of
# playback needs. Does nothing where all is there.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config python3 bc
  libboost-dev libfmt-dev nlohmann-json3-dev
  libavformat-dev libavcodec-dev libavutil-dev ffmpeg
  gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad gstreamer1.0-libav
  libssl-dev libmimalloc-dev libgtest-dev libgmock-dev libbenchmark-dev
  python3-gi gir1.2-gst-rtsp-server-1.0
  clang-14 libclang-rt-14-dev clang-format clang-tidy
)
if [ "${1:-}" = --browser ]; then
  packages+=(chromium)
  # Another node than Debian's does as well.
  command -v node >/dev/null || packages+=(nodejs)
  command -v npm >/dev/null || packages+=(npm)
fi

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
