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
# The help menu in the pictures lists the manuals as built. A manual that
# already names a picture not taken yet cannot be rendered before this run:
# the manuals of the last build are listed then.
cmake --build build -j"$(nproc)" --target ostrel_help || echo "screenshots: manuals not rendered, the help menu shows the last ones built" >&2
cmake --build build -j"$(nproc)" --target ostrel_shots

out=docs/images
mkdir -p "$out"
env -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb QT_SCALE_FACTOR=1 \
    xvfb-run -a -s "-screen 0 1600x1000x24 -dpi 96" ./build/bin/ostrel_shots "$out"
cmake --build build -j"$(nproc)" --target ostrel_help
echo "screenshots written to $out/; manuals rendered again in build/bin/help/"
