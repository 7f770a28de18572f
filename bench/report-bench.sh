#!/usr/bin/env bash
# Size and opening time of the HTML report for 2000 samples (8 scenes x 250,
# 64 x 48 regions, two runs with ground truth), opened in headless Chromium
# by the browser test's script. The targets: at most 10 MB, open in under 2 s.
# usage: bash bench/report-bench.sh [BUILD_DIR]   (default build/default)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bin=${1:-$root/build/default}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$bin/tools/datagen/vireo-datagen" --out "$work/data" --samples 250 --quiet
sed 's/^grey_zone_width:.*/grey_zone_width: 0.08/' "$root/reference/tuning/default.yaml" >"$work/narrow.yaml"
"$bin/tools/run/vireo-run" --data "$work/data" --out "$work/out" \
    --tuning "$root/reference/tuning/default.yaml" --tuning "$work/narrow.yaml"
start=$(date +%s.%N)
"$bin/tools/report/vireo-report" --data "$work/data" "$work/out/default/awbSimulationOutput.txt" \
    "$work/out/narrow/awbSimulationOutput.txt" -o "$work/report.html"
echo "vireo-report took $(echo "$(date +%s.%N) - $start" | bc) s"
for _ in 1 2 3; do
    node "$root/tests/report/browser-check.js" "$work/report.html" "$work/shot.png" 2000 2
done
