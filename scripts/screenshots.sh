#!/usr/bin/env bash
# Regenerates the screenshots of the README and of the user manuals
# (docs/images/*.png) from the current build: builds ostrel_shots and runs it
# on the simulated adapter under a virtual X server (xcb, real fonts).
# Needs: xvfb xauth fonts-wqy-microhei (apt-get install -y xvfb xauth fonts-wqy-microhei).
set -euo pipefail
cd "$(dirname "$0")/.."

for tool in xvfb-run xauth; do
    command -v "$tool" >/dev/null || { echo "screenshots: $tool is missing (apt-get install -y xvfb xauth)" >&2; exit 1; }
done

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target ostrel_shots

out=docs/images
mkdir -p "$out"
env -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb QT_SCALE_FACTOR=1 \
    xvfb-run -a -s "-screen 0 1600x1000x24 -dpi 96" ./build/bin/ostrel_shots "$out"
echo "screenshots written to $out/ (the manuals pick them up at the next build)"
