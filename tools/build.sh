#!/usr/bin/env bash
# Sets up a Debian 12 machine, builds the project and runs one of its jobs.
#
#   tools/build.sh run    build, then write the built-in test card and its blurred form to
#                         docs/testcard.png and docs/blurred.png, the README's pictures
#   tools/build.sh test   build, then run every test (unit, GL, and media: the README's
#                         ffmpeg pipes, and ffmpeg and melt running the frei0r filter) with
#                         ctest, and the thread helpers' tests again under ThreadSanitizer
#
# Missing Debian packages are installed with apt-get (as root, or through sudo).
# BUILD_DIR (default: build) and JOBS (default: all cores) may be set.
set -euo pipefail

job=${1:-}
case "$job" in
run | test) ;;
*)
    echo "usage: tools/build.sh run|test" >&2
    exit 2
    ;;
esac

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${BUILD_DIR:-$root/build}
jobs=${JOBS:-$(nproc)}

packages=(
    build-essential cmake pkg-config
    libglbinding-dev
    libegl-dev libegl-mesa0 libgl1-mesa-dri
    libgtest-dev libgmock-dev libbenchmark-dev
    libopenimageio-dev libcli11-dev
    frei0r-plugins-dev ffmpeg melt
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    sudo=()
    ((EUID == 0)) || sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" -j "$jobs"

case "$job" in
run)
    mkdir -p "$root/docs"
    cd "$root/docs"
    "$build/bin/aehost" --unblurred testcard.png
    ;;
test)
    ctest --test-dir "$build" --output-on-failure -j "$jobs"
    # The thread helpers once more under ThreadSanitizer: any report stops the
    # test at once and fails the run.
    cmake -S "$root" -B "$build-tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBRINDEL_SANITIZE=thread -DBRINDEL_BUILD_BENCH=OFF
    cmake --build "$build-tsan" -j "$jobs" --target HelperTests
    TSAN_OPTIONS=halt_on_error=1 ctest --test-dir "$build-tsan" -R '^(Semaphore|IdleQueue)\.' \
        --no-tests=error --output-on-failure -j "$jobs"
    ;;
esac
