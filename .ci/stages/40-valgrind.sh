#!/usr/bin/env bash
# valgrind memcheck over whole runs of the driver (test preset build) with the
# recording test wrapper: once over a well-formed tree of eight scenes, once
# over a tree whose samples take every failure path. Any memory error or any
# definitely lost block fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/apt.sh
. .ci/lib/apt.sh
# shellcheck source=.ci/lib/driver-runs.sh
. .ci/lib/driver-runs.sh

ensure_packages valgrind

cmake --preset test >/dev/null
cmake --build --preset test
wrapper=$(find_recording_wrapper build/test)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
check_driver_runs "$work" "$PWD/build/test/driver/vireo-awbsim" "$PWD/$wrapper" \
    valgrind -q --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
    --show-leak-kinds=definite --suppressions="$PWD/tests/valgrind.supp"
