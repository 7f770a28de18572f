#!/usr/bin/env bash
# The whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer
# (asan preset: g++, Debug). The test preset's environment makes a sanitizer
# report fail its test, and lets the driver's oversized allocations return
# null as they do without the sanitizer.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset asan
