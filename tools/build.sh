#!/usr/bin/env bash
# Sets up a Debian 12 machine, builds the project and runs one of its jobs.
#
#   tools/build.sh run    build, then write the built-in test card and its blurred form to
#                         docs/testcard.png and docs/blurred.png, the README's pictures
#   tools/build.sh test   build, then run every test (unit, GL, media: the README's ffmpeg
#                         pipes, and ffmpeg and melt running the frei0r filter; farm: a
#                         sequence split across a private Slurm cluster) with ctest; then build
#                         with clang under AddressSanitizer and UndefinedBehaviorSanitizer, run
#                         every test but the media and farm ones again and each fuzz target for
#                         FUZZ_SECONDS (default 60); then build under ThreadSanitizer and run
#                         every test but the media and farm ones again; last, even after a
#                         failure, check that /dev/null and /dev/stdout are intact
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

# The test job's last word, whatever failed before it: the machine's /dev/null must still be a
# character device and /dev/stdout a link. A program that replaced either with a plain file (as
# an output renamed over it would) breaks every later command on the machine.
check_system_files() {
    local status=$? broken=()
    [[ -c /dev/null ]] || broken+=("/dev/null is no longer a character device")
    [[ -L /dev/stdout ]] || broken+=("/dev/stdout is no longer a link")
    if ((${#broken[@]})); then
        printf '\nFAILED: %s\n' "${broken[@]}" >&2
        echo "To repair, as root: rm -f /dev/null && mknod -m 666 /dev/null c 1 3;" \
            "ln -sfn /proc/self/fd/1 /dev/stdout" >&2
        exit 1
    fi
    echo "/dev/null is still a character device and /dev/stdout still a link."
    exit "$status"
}
if [[ $job == test ]]; then
    trap check_system_files EXIT
fi

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
    slurmctld slurmd slurm-client munge
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
    # The sanitizer runs go on after a failure, so that one run shows everything they find; the
    # job ends with a summary of what failed, and fails if anything did.
    failures=()

    # What ctest recorded as failing in a build, for the summary.
    ctest_failed() {
        local list="$1/Testing/Temporary/LastTestsFailed.log"
        failures+=("$2: $({ tr '\n' ' ' <"$list"; } 2>/dev/null || true)")
    }

    # Every test again under AddressSanitizer and UndefinedBehaviorSanitizer (clang, so that
    # the same build holds the libFuzzer targets); any report fails the test.
    CC=clang CXX=clang++ cmake -S "$root" -B "$build-asan" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBRINDEL_FUZZ=ON -DBRINDEL_BUILD_BENCH=OFF
    cmake --build "$build-asan" -j "$jobs"
    # The media tests load instrumented modules into ffmpeg and melt, which are not; the farm
    # tests run aehost under Slurm, with a library preloaded ahead of the sanitizer's runtime.
    ctest --test-dir "$build-asan" --output-on-failure -j "$jobs" -LE 'media|farm' ||
        ctest_failed "$build-asan" "AddressSanitizer build"

    # Each fuzz target for a bounded time, from its corpus; what it adds stays in the build, and
    # so does its log, whose closing lines are printed here (all of it when it failed).
    export LSAN_OPTIONS="suppressions=$root/tools/sanitizers/lsan.supp:print_suppressions=0"
    for target in RawFrameReaderFuzz ColorFuzz AehostOptionsFuzz EntryPointFuzz; do
        fuzz="$build-asan/fuzz"
        mkdir -p "$fuzz/$target.corpus" "$fuzz/$target.findings"
        echo "Fuzzing $target for ${fuzz_seconds}s (log: $fuzz/$target.log)"
        # -close_fd_mask=1: the plug-in prints its GL version lines for every context it makes.
        if "$fuzz/$target" -max_total_time="$fuzz_seconds" -close_fd_mask=1 \
            -print_final_stats=1 -artifact_prefix="$fuzz/$target.findings/" \
            "$fuzz/$target.corpus" "$root/Fuzz/Corpus/$target" >"$fuzz/$target.log" 2>&1; then
            grep -E '^(Done|stat::peak_rss_mb)' "$fuzz/$target.log" || true
        else
            tail -n 60 "$fuzz/$target.log"
            # The inputs that failed, so that the job's log alone is enough to replay them.
            found=$(for f in "$fuzz/$target.findings"/*; do
                [[ -f $f ]] && echo " $(basename "$f") (base64 $(head -c 2048 "$f" | base64 -w0))"
            done || true)
            failures+=("fuzz target $target, log above;$found")
        fi
    done
    unset LSAN_OPTIONS

    # Every test again under ThreadSanitizer.
    cmake -S "$root" -B "$build-tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBRINDEL_SANITIZE=thread -DBRINDEL_BUILD_BENCH=OFF
    cmake --build "$build-tsan" -j "$jobs"
    ctest --test-dir "$build-tsan" --output-on-failure -j "$jobs" -LE 'media|farm' ||
        ctest_failed "$build-tsan" "ThreadSanitizer build"

    if ((${#failures[@]})); then
        echo
        printf 'FAILED %s\n' "${failures[@]}"
        exit 1
    fi
    echo "Every test passed in the plain, AddressSanitizer and ThreadSanitizer builds," \
        "and every fuzz target ran clean."
    ;;
esac
