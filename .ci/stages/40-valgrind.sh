#!/usr/bin/env bash
# valgrind memcheck over whole runs of the driver (test preset build) with the
# recording test wrapper: once over a well-formed tree of eight scenes, once
# over a tree whose samples take every failure path. Any memory error or any
# definitely lost block fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/apt.sh
. .ci/lib/apt.sh
# shellcheck source=.ci/lib/sample-tree.sh
. .ci/lib/sample-tree.sh

ensure_packages valgrind

cmake --preset test >/dev/null
cmake --build --preset test
driver=$PWD/build/test/driver/vireo-awbsim
wrapper=$(find "$PWD/build/test" -name 'libvireo_recording_wrapper*.so' -print -quit)
[ -n "$wrapper" ] || { echo "recording test wrapper not found in build/test" >&2; exit 1; }

suppressions=$PWD/tests/valgrind.supp
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# run_under_valgrind NAME EXPECTED_STATUS: runs the driver on $work/NAME.
run_under_valgrind() {
    local name=$1 expected=$2 status=0
    printf '%s\n' "tuningFile=$work/tuning.bin" "awbDLL=$work/libalgorithm.so" \
        "awbSimWrapperDLL=$wrapper" "dataDir=$work/$name" "outputDir=$work/$name-out" \
        >"$work/$name.cfg"
    (cd "$work" && valgrind -q --error-exitcode=99 --leak-check=full \
        --suppressions="$suppressions" \
        --errors-for-leak-kinds=definite --show-leak-kinds=definite \
        "$driver" "$work/$name.cfg") >"$work/$name.log" 2>&1 || status=$?
    if [ "$status" -ne "$expected" ]; then
        cat "$work/$name.log"
        echo "$name: exit status $status, expected $expected (99: valgrind found errors)" >&2
        return 1
    fi
    echo "$name: clean, exit status $status, $(grep -c '^cct    : ' "$work/$name-out/awbSimulationOutput.txt") records"
}

# The recording wrapper returns the outputs its tuning file lists, in turn.
printf '%s\n' "output=1.5 1 0.75 5000 0" "output=2 1 1.23456789 6500 16" >"$work/tuning.bin"
write_sample_tree "$work/clean" 3 48
run_under_valgrind clean 0
[ "$(grep -c '^cct    : ' "$work/clean-out/awbSimulationOutput.txt")" -eq 24 ] ||
    { echo "clean: expected 24 records" >&2; exit 1; }
# The negative region count ends the last scene, so the run ends with -1.
write_hostile_tree "$work/hostile"
run_under_valgrind hostile 255
