#!/usr/bin/env bash
# Set up, build and then run Ostrel ("run") or its test suite ("test"); "check"
# runs the suite under the sanitizers (scripts/check.sh), "fuzz [seconds]" the
# fuzz targets (scripts/fuzz.sh, needs clang), "bench" the benchmark.
# Works as root on a fresh Debian 12 machine: installs only what is missing.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=${1:-run}
packages=(cmake make g++ qtbase5-dev qttools5-dev qttools5-dev-tools libqt5charts5-dev libqt5serialbus5-dev libqt5serialbus5-plugins clang-format fonts-wqy-microhei python3 python3-can python3-canmatrix zlib1g-dev)
# libFuzzer comes with clang's run-time libraries; only the fuzz mode needs them.
if [ "$mode" = fuzz ]; then
    packages+=(clang libclang-rt-14-dev)
fi

missing=()
for p in "${packages[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

case "$mode" in
check)
    shift
    exec bash scripts/check.sh "$@"
    ;;
fuzz)
    shift
    exec bash scripts/fuzz.sh "$@"
    ;;
esac

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOSTREL_WARNINGS_AS_ERRORS=ON >/dev/null
cmake --build build -j"$(nproc)"

case "$mode" in
run)
    if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
        echo "ostrel: no display found (neither DISPLAY nor WAYLAND_DISPLAY is set); start it from a desktop session, or under xvfb-run." >&2
        exit 1
    fi
    exec ./build/bin/ostrel
    ;;
test)
    bash scripts/format.sh check
    cd build
    QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j"$(nproc)"
    ;;
bench)
    shift
    exec env QT_QPA_PLATFORM=offscreen ./build/bin/ostrel_bench "$@"
    ;;
bench-logs)
    shift
    exec ./build/bin/ostrel_log_bench "$@"
    ;;
*)
    echo "usage: scripts/ostrel.sh run|test|check|fuzz|bench|bench-logs" >&2
    exit 2
    ;;
esac
