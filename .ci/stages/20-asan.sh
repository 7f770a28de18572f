#!/usr/bin/env bash
# The whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer
# (asan preset: g++, Debug). The test preset's environment makes a sanitizer
# report fail its test, and lets the driver's oversized allocations return
# null as they do without the sanitizer. Then the sanitized driver runs over a
# well-formed and a hostile data tree.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/driver-runs.sh
. .ci/lib/driver-runs.sh

cmake --workflow --preset asan

wrapper=$(find_recording_wrapper build/asan)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
check_driver_runs "$work" "$PWD/build/asan/driver/vireo-awbsim" "$PWD/$wrapper" \
    env ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1:exitcode=99 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1:exitcode=99
