# shellcheck shell=bash
# Sourced by the CI stages: whole runs of the driver with the recording test
# wrapper over the trees of sample-tree.sh, optionally under a checker.
# shellcheck source=.ci/lib/sample-tree.sh
. "$(dirname "${BASH_SOURCE[0]}")/sample-tree.sh"

# find_recording_wrapper BUILD_DIR: path of the recording test wrapper.
find_recording_wrapper() {
    local found
    found=$(find "$1" -name 'libvireo_recording_wrapper*.so' -print -quit)
    [ -n "$found" ] || { echo "recording test wrapper not found in $1" >&2; return 1; }
    echo "$found"
}

# run_driver WORK NAME EXPECTED_STATUS DRIVER WRAPPER [CHECKER...]: runs
# CHECKER... DRIVER on WORK/NAME with the output in WORK/NAME-out; a checker
# reports its own findings with exit status 99.
run_driver() {
    local work=$1 name=$2 expected=$3 driver=$4 wrapper=$5 status=0
    shift 5
    printf '%s\n' "tuningFile=$work/tuning.bin" "awbDLL=$work/libalgorithm.so" \
        "awbSimWrapperDLL=$wrapper" "dataDir=$work/$name" "outputDir=$work/$name-out" \
        >"$work/$name.cfg"
    (cd "$work" && "$@" "$driver" "$work/$name.cfg") >"$work/$name.log" 2>&1 || status=$?
    if [ "$status" -ne "$expected" ]; then
        cat "$work/$name.log"
        echo "$name: exit status $status, expected $expected (99: the checker found errors)" >&2
        return 1
    fi
    echo "$name: clean, exit status $status," \
        "$(grep -c '^cct    : ' "$work/$name-out/awbSimulationOutput.txt") records"
}

# check_driver_runs WORK DRIVER WRAPPER [CHECKER...]: a well-formed tree of
# eight scenes (24 records, status 0), then a tree whose samples take every
# failure path (status 255: its last scene ends on a negative region count).
# The trees come from the vireo-datagen built beside DRIVER.
check_driver_runs() {
    local work=$1 driver=$2 wrapper=$3
    shift 3
    DATAGEN=${DATAGEN:-$(dirname "$driver")/../tools/datagen/vireo-datagen}
    # The recording wrapper returns the outputs its tuning file lists, in turn.
    printf '%s\n' "output=1.5 1 0.75 5000 0" "output=2 1 1.23456789 6500 16" >"$work/tuning.bin"
    write_sample_tree "$work/clean" 3 8x6
    run_driver "$work" clean 0 "$driver" "$wrapper" "$@"
    [ "$(grep -c '^cct    : ' "$work/clean-out/awbSimulationOutput.txt")" -eq 24 ] ||
        { echo "clean: expected 24 records" >&2; return 1; }
    write_hostile_tree "$work/hostile"
    run_driver "$work" hostile 255 "$driver" "$wrapper" "$@"
}
