#!/usr/bin/env bash
# From a fresh clone to a recording: installs what is needed, builds, makes a short clip, records and verifies it.
set -euo pipefail
cd "$(dirname "$0")/.."

echo "1/3 packages"
scripts/install_packages.sh
echo "2/3 building the command line, the module and the example (some minutes)"
cmake --preset release -DK2R_TESTS=OFF >/dev/null
cmake --build --preset release --target k2r k2r_module minimal_host

mkdir -p rec
clip=rec/clip.mp4
echo "3/3 a clip of 20 seconds, H.264 with B-frames and AAC, and a recording of it"
ffmpeg -v error -y -f lavfi -i testsrc2=size=640x360:rate=25 -f lavfi -i sine=frequency=440:sample_rate=44100 -t 20 \
  -c:v libx264 -preset veryfast -bf 2 -g 50 -pix_fmt yuv420p -c:a aac -b:a 96k "$clip"

k2r=build/release/bin/k2r
"$k2r" record "$clip" --out rec/cam1 --overwrite
"$k2r" verify rec/cam1

cat <<TXT

The recording is in rec/cam1:
$(ls -l rec/cam1 | awk 'NR > 1 {printf "  %9d  %s\n", $5, $9}')

Play it:           ffplay rec/cam1/cam1Seg1.k2r      (or any player that knows fragmented MP4)
Look into it:      $k2r inspect rec/cam1
Record your own:   $k2r record FILE-OR-URL --out rec/cam2
TXT
