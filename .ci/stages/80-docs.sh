#!/usr/bin/env bash
# Every fenced command of README.md and docs/*.md, run as a user would after
# the main job (whose build and data set the commands use), with the shown
# output checked: see "Documentation commands" in the README.
set -euo pipefail
cd "$(dirname "$0")/../.."
bash tests/docs/run-doc-commands.sh
