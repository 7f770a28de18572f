#!/usr/bin/env bash
# The report as a user meets it: a small data set run with two tunings,
# the report made from both runs and opened in headless Chromium
# (browser-check.js). Exit 77 (skipped) where chromium or node is missing.
# usage: browser-test.sh BUILD_DIR SOURCE_DIR [SCREENSHOT]
set -euo pipefail
bin=$1 src=$2
if ! command -v "${CHROMIUM:-chromium}" >/dev/null || ! command -v node >/dev/null; then
    echo "chromium or node missing: skipped"
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$bin/tools/datagen/vireo-datagen" --out "$work/data" --samples 4 --grid 32x24 --quiet
sed 's/^grey_zone_width:.*/grey_zone_width: 0.05/' "$src/reference/tuning/default.yaml" >"$work/narrow.yaml"
"$bin/tools/run/vireo-run" --data "$work/data" --out "$work/out" \
    --tuning "$src/reference/tuning/default.yaml" --tuning "$work/narrow.yaml" >/dev/null
"$bin/tools/report/vireo-report" --data "$work/data" "$work/out/default/awbSimulationOutput.txt" \
    "$work/out/narrow/awbSimulationOutput.txt" -o "$work/report.html"
node "$src/tests/report/browser-check.js" "$work/report.html" "${3:-$work/shot.png}" 32 2
