#!/usr/bin/env bash
# The benchmark's programs built and run once on a small data set: checks
# that the driver, the floor and the straightforward readers all still work
# and see every sample. Timings are not judged here (CI machines are shared);
# bench/README.md holds the measured figures.
set -euo pipefail
cd "$(dirname "$0")/../.."
bash bench/run-bench.sh --smoke
