#!/usr/bin/env bash
# arm64: cross-builds the driver, the test libraries and the tests with
# Debian's aarch64 cross compiler and runs the whole suite under qemu-user
# (arm64 preset). No binfmt registration is needed: CTest starts every test
# through the emulator, and the tests start the driver through
# VIREO_TEST_EMULATOR.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/apt.sh
. .ci/lib/apt.sh

ensure_packages g++-aarch64-linux-gnu qemu-user googletest

cmake --workflow --preset arm64

# What runs on arm64 Linux must also run on Android: the driver's C library
# imports must all exist in Bionic.
tools/check-bionic-imports.sh build/arm64/driver/vireo-awbsim
