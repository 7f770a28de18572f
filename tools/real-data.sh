#!/usr/bin/env bash
# Cross-validates the learned white balance on real captures: each camera
# folder (linear RGB PNG images and a ground_truth.csv of file,r,g,b) is
# imported with vireo-import, cross-validated with vireo-tune crossval
# (3 folds), and shown as a table per camera; then the geometric mean over
# the cameras (the usual way results on multi-camera sets are combined)
# next to the published figures for the NUS 8-camera set.
#
# usage: bash tools/real-data.sh DIR...
#   DIR: a camera folder (holds ground_truth.csv), or a folder of camera folders
# environment: VIREO_BUILD_DIR (default build/default) holds the built tools.
set -euo pipefail

usage() {
    sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//'
}
if [ $# -eq 0 ]; then
    usage >&2
    exit 2
fi
case "$1" in -h | --help)
    usage
    exit 0
    ;;
esac

root=$(cd "$(dirname "$0")/.." && pwd)
build=${VIREO_BUILD_DIR:-$root/build/default}
tune=$build/tools/tune/vireo-tune
import=$build/tools/import/vireo-import
for tool in "$tune" "$import"; do
    if [ ! -x "$tool" ]; then
        echo "real-data.sh: $tool is missing; build first: cmake --preset default &&" \
            "cmake --build --preset default" >&2
        exit 1
    fi
done

cameras=()
for dir in "$@"; do
    if [ -f "$dir/ground_truth.csv" ]; then
        cameras+=("${dir%/}")
    elif [ -d "$dir" ]; then
        for sub in "$dir"/*/; do
            [ -f "$sub/ground_truth.csv" ] && cameras+=("${sub%/}")
        done
    fi
done
if [ ${#cameras[@]} -eq 0 ]; then
    echo "real-data.sh: no camera folder (with a ground_truth.csv) in $*" >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# One camera: import, then cross-validate; its table rows to $work/NAME.csv,
# or what went wrong to $work/NAME.log.
validate() {
    local camera=$1 name
    name=$(basename "$camera")
    failed() {
        { echo "real-data.sh: $1 failed on $camera:" && cat "$work/$name.out"; } >"$work/$name.log"
        return 1
    }
    "$import" images --images "$camera" --truth "$camera/ground_truth.csv" \
        --out "$work/$name" >"$work/$name.out" 2>&1 || failed vireo-import || return 1
    "$tune" crossval --data "$work/$name" --folds 3 --csv >"$work/$name.csv" \
        2>"$work/$name.out" || failed "vireo-tune crossval" || return 1
}

# The cameras are independent: as many at a time as there are cores.
parallel=$(nproc 2>/dev/null || echo 2)
pids=()
for camera in "${cameras[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$parallel" ]; do sleep 0.2; done
    validate "$camera" &
    pids+=($!)
done
failed=0
for i in "${!cameras[@]}"; do
    if ! wait "${pids[$i]}"; then
        cat "$work/$(basename "${cameras[$i]}").log" >&2
        failed=1
    fi
done
[ "$failed" -eq 0 ] || exit 1

printf '%-15s %-15s %4s %7s %7s %7s %7s %7s\n' camera method n mean median trimean best25 worst25
for camera in "${cameras[@]}"; do
    name=$(basename "$camera")
    awk -F, -v camera="$name" 'NR > 1 {
        printf "%-15s %-15s %4d %7.2f %7.2f %7.2f %7.2f %7.2f\n", camera, $1, $2, $3, $4, $5, $6, $7
        camera = ""
    }' "$work/$name.csv"
done

echo
echo "geometric mean over ${#cameras[@]} cameras, 3-fold cross-validation per camera:"
for camera in "${cameras[@]}"; do tail -n +2 "$work/$(basename "$camera").csv"; done |
    awk -F, '{
        if (!($1 in count)) order[++methods] = $1
        count[$1]++
        for (i = 3; i <= 7; ++i) logsum[$1, i] += log($i)
    } END {
        for (m = 1; m <= methods; ++m) {
            name = order[m]
            printf "%-15s %-15s %4s", "", name, ""
            for (i = 3; i <= 7; ++i) printf " %7.2f", exp(logsum[name, i] / count[name])
            printf "\n"
        }
    }'
echo "published on NUS-8 (3-fold per camera, geometric mean over its 8 cameras):"
printf '%-15s %-15s %4s %7.2f %7.2f %7.2f %7.2f %7.2f\n' \
    "" "grey world" "" 4.14 3.20 3.39 0.90 9.00 \
    "" "shades of grey" "" 3.40 2.57 2.73 0.77 7.41 \
    "" "Cheng 2015" "" 2.35 1.58 1.73 0.49 5.53 \
    "" "FFCC 32x48" "" 2.17 1.34 1.53 0.39 5.27 \
    "" "FFCC full res" "" 2.14 1.31 1.48 0.39 5.23
