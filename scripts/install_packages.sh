#!/usr/bin/env bash
# Installs what building and recording need, on Debian 12, as root or with sudo; with --tests also what the tests need,
# the browser's included. Does nothing where all is there.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config
  libboost-dev libfmt-dev nlohmann-json3-dev libavformat-dev libavcodec-dev libavutil-dev libssl-dev libmimalloc-dev
  libmicrohttpd-dev libtomlplusplus-dev
  ffmpeg
)
if [ "${1:-}" = --tests ]; then
  packages+=(
    python3 bc git clang-14 libclang-rt-14-dev clang-format clang-tidy
    libgtest-dev libgmock-dev libbenchmark-dev
    gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad gstreamer1.0-libav
    python3-gi gir1.2-gst-rtsp-server-1.0
    rclone nginx-light
    dpkg-dev file lintian systemd man-db groff-base zsh fish
    chromium
  )
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
