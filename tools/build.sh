#!/usr/bin/env bash
# Sets up a Debian 12 machine, builds the project and runs one of its jobs.
#
#   tools/build.sh run    build, then write the built-in test card and its blurred form to
#                         docs/testcard.png and docs/blurred.png, the README's pictures
#   tools/build.sh test   build, then run every test (unit, GL, and media: the README's
#                         ffmpeg pipes, and ffmpeg and melt running the frei0r filter) with
#                         ctest; then build with clang under AddressSanitizer and
#                         UndefinedBehaviorSanitizer, run every test but the media ones again
#                         and each fuzz target for FUZZ_SECONDS (default 60); then build under
#                         ThreadSanitizer and run every test but the media ones again
#
# Missing Debian packages are installed with apt-get (as root, or through sudo).
# BUILD_DIR (default: build), JOBS (default: all cores) and FUZZ_SECONDS may be set; the
# sanitizer builds go to $BUILD_DIR-asan and $BUILD_DIR-tsan.
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
fuzz_seconds=${FUZZ_SECONDS:-60}

packages=(
    build-essential cmake pkg-config
    libglbinding-dev
    libegl-dev libegl-mesa0 libgl1-mesa-dri
    libgtest-dev libgmock-dev libbenchmark-dev
    libopenimageio-dev libcli11-dev
    frei0r-plugins-dev ffmpeg melt
    clang libclang-rt-14-dev
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
    # The sanitizer runs go on after a failure, so that one run shows everything they find;
    # the job fails at the end if any of them did.
    failed=0

    # Every test again under AddressSanitizer and UndefinedBehaviorSanitizer (clang, so that
    # the same build holds the libFuzzer targets); any report fails the test.
    CC=clang CXX=clang++ cmake -S "$root" -B "$build-asan" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBRINDEL_FUZZ=ON -DBRINDEL_BUILD_BENCH=OFF
    cmake --build "$build-asan" -j "$jobs"
    # The media tests load instrumented modules into ffmpeg and melt, which are not.
    ctest --test-dir "$build-asan" --output-on-failure -j "$jobs" -LE media || failed=1

    # Each fuzz target for a bounded time, from its corpus; what it adds stays in the build.
    export LSAN_OPTIONS="suppressions=$root/tools/sanitizers/lsan.supp:print_suppressions=0"
    for target in RawFrameReaderFuzz ColorFuzz AehostOptionsFuzz EntryPointFuzz; do
        mkdir -p "$build-asan/fuzz/$target.corpus" "$build-asan/fuzz/$target.findings"
        # -close_fd_mask=1: the plug-in prints its GL version lines for every context it makes.
        "$build-asan/fuzz/$target" -max_total_time="$fuzz_seconds" -close_fd_mask=1 \
            -print_final_stats=1 -artifact_prefix="$build-asan/fuzz/$target.findings/" \
            "$build-asan/fuzz/$target.corpus" "$root/Fuzz/Corpus/$target" || failed=1
    done
    unset LSAN_OPTIONS

    # Every test again under ThreadSanitizer.
    cmake -S "$root" -B "$build-tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBRINDEL_SANITIZE=thread -DBRINDEL_BUILD_BENCH=OFF
    cmake --build "$build-tsan" -j "$jobs"
    ctest --test-dir "$build-tsan" --output-on-failure -j "$jobs" -LE media || failed=1
    exit "$failed"
    ;;
esac
