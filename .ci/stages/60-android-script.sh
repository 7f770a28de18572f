#!/usr/bin/env bash
# tools/android-run.sh cannot meet a device here: shellcheck it, then run it
# end to end against a stand-in adb whose "device" is this machine, with the
# host driver (test preset build) and the recording test wrapper.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/apt.sh
. .ci/lib/apt.sh
# shellcheck source=.ci/lib/sample-tree.sh
. .ci/lib/sample-tree.sh

ensure_packages shellcheck
shellcheck tools/android-run.sh tools/check-bionic-imports.sh .ci/lib/*.sh .ci/lib/fake-adb .ci/stages/*.sh

cmake --preset test >/dev/null
cmake --build --preset test
wrapper=$(find "$PWD/build/test" -name 'libvireo_recording_wrapper*.so' -print -quit)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
DATAGEN=build/test/tools/datagen/vireo-datagen write_sample_tree "$work/data" 2 4x2
# The recording wrapper returns an output for every sample when told so.
echo "output=1.5 1 2 5000 0" >"$work/tuning.bin"
: >"$work/libalgorithm.so"

status=0
ADB=$PWD/.ci/lib/fake-adb VIREO_DRIVER=build/test/driver/vireo-awbsim \
    VIREO_DEVICE_DIR="$work/device" VIREO_RESULTS="$work/results" \
    tools/android-run.sh "$work/data" "$wrapper" "$work/libalgorithm.so" "$work/tuning.bin" ||
    status=$?
records=$(grep -c '^cct    : ' "$work/results/awbSimulationOutput.txt" || true)
if [ "$status" -ne 0 ] || [ "$records" -ne 16 ]; then
    echo "android-run.sh: exit status $status and $records records, expected 0 and 16" >&2
    exit 1
fi
echo "android-run.sh: pushed, ran and pulled 16 records"
