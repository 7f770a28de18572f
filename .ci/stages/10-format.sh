#!/usr/bin/env bash
# Every C and C++ source laid out as .clang-format says: clang-format lists
# each file it would change, and any such file fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/apt.sh
. .ci/lib/apt.sh

ensure_packages clang-format

find . -path ./build -prune -o -path ./.git -prune -o \
    \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format --dry-run --Werror
echo "clang-format: every source file is formatted"
