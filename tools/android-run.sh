#!/usr/bin/env bash
# Runs the driver on an Android device over adb: pushes the driver, the
# libraries, the tuning file and a data folder, writes the configuration on
# the device, runs the driver there and pulls the output folder back.
#
# usage: tools/android-run.sh DATA_DIR WRAPPER_SO ALGORITHM_SO TUNING_FILE [EXTRA_LIB...]
#
#   DATA_DIR      local folder holding the scene folders (ball, chart, ...)
#   WRAPPER_SO    simulation wrapper library built for arm64-v8a
#   ALGORITHM_SO  white-balance algorithm library built for arm64-v8a
#   TUNING_FILE   tuning data file
#   EXTRA_LIB     further libraries the two need (libc++_shared.so, ...)
#
# Environment: VIREO_DRIVER (default build/android/driver/vireo-awbsim),
# VIREO_DEVICE_DIR (default /data/local/tmp/vireo-awbsim), VIREO_RESULTS
# (default ./android-results), ADB (default adb), ANDROID_SERIAL (which
# device, read by adb itself). Exits with the driver's exit status.
set -euo pipefail

if [ $# -lt 4 ]; then
    sed -n '6,12p' "$0" | sed 's/^# \{0,1\}//' >&2
    exit 2
fi
data=$1 wrapper=$2 algorithm=$3 tuning=$4
shift 4

adb=${ADB:-adb}
driver=${VIREO_DRIVER:-build/android/driver/vireo-awbsim}
device_dir=${VIREO_DEVICE_DIR:-/data/local/tmp/vireo-awbsim}
results=${VIREO_RESULTS:-./android-results}

for path in "$driver" "$wrapper" "$algorithm" "$tuning" "$@"; do
    [ -f "$path" ] || { echo "not a file: $path" >&2; exit 2; }
done
[ -d "$data" ] || { echo "not a folder: $data" >&2; exit 2; }

"$adb" wait-for-device
"$adb" shell "rm -rf '$device_dir' && mkdir -p '$device_dir/lib'"
"$adb" push "$driver" "$device_dir/vireo-awbsim"
"$adb" shell "chmod 755 '$device_dir/vireo-awbsim'"
"$adb" push "$wrapper" "$algorithm" "$@" "$device_dir/lib/"
"$adb" push "$tuning" "$device_dir/tuning.bin"
"$adb" push "$data" "$device_dir/data"

settings=$(mktemp)
trap 'rm -f "$settings"' EXIT
printf '%s\n' "tuningFile=$device_dir/tuning.bin" \
    "awbDLL=$device_dir/lib/$(basename "$algorithm")" \
    "awbSimWrapperDLL=$device_dir/lib/$(basename "$wrapper")" \
    "dataDir=$device_dir/data" "outputDir=$device_dir/out" >"$settings"
"$adb" push "$settings" "$device_dir/settings.cfg"

# adb shell passes the remote exit status on (Android 7 and later).
status=0
"$adb" shell "cd '$device_dir' && LD_LIBRARY_PATH='$device_dir/lib' ./vireo-awbsim settings.cfg" ||
    status=$?

# Pulling a folder to a path that does not exist creates it with the contents.
rm -rf "$results"
mkdir -p "$(dirname "$results")"
"$adb" pull "$device_dir/out" "$results"
echo "driver exit status $status; results in $results"
exit "$status"
