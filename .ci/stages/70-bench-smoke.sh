#!/usr/bin/env bash
# The benchmark's programs built and run once on a small data set: checks
# that the driver, the floor and the straightforward readers all still work
# and see every sample, and that the reference wrapper and algorithm
# benchmark runs to its verdict. Timings are not judged here (CI machines
# are shared); bench/README.md and docs/reference-libraries.md hold the
# measured figures.
set -euo pipefail
cd "$(dirname "$0")/../.."
bash bench/run-bench.sh --smoke

# Exit 0: under a tenth of the reading, 1: not; anything else is a crash.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
build/bench/bench/reference/reference_bench --benchmark_min_time=0.01 >"$log" 2>&1 || status=$?
if [ "$status" -gt 1 ]; then
    cat "$log" >&2
    echo "reference_bench failed with status $status" >&2
    exit 1
fi
echo "reference_bench (not judged here): $(tail -n 1 "$log")"
